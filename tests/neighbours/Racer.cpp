#include "Racer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <new>
#include <random>
#include <stdexcept>

#include "World.h"

namespace neighbours {
namespace {

const std::string kSecondNames = kStrangersFolder + "/names";
const std::string kReady = kStrangersFolder + "/ready";  // the object that is put into a name's place next

std::string SecondName(int number) {
    return kSecondNames + "/" + std::to_string(number);
}

void MakeSecondNames(int count) {
    if (mkdir(kSecondNames.c_str(), 0755) != 0) {
        throw std::runtime_error("no folder for second names");
    }
    for (int i = 0; i < count; ++i) {
        if (link(kRootsFile.c_str(), SecondName(i).c_str()) != 0) {
            throw std::runtime_error("no second name");
        }
    }
    if (chown(kSecondNames.c_str(), kStranger, kStranger) != 0) {
        throw std::runtime_error("no folder for second names");
    }
}

// What the stranger does, each call one turn. Nothing that fails is looked at: the next turn follows.
class Stranger {
public:
    Stranger(const std::vector<std::string>& names, int secondNames) : names_(names), secondNames_(secondNames) {}

    bool Swap() {
        const std::string& name = names_[Choose(names_.size())];
        Make();
        bool came = false;
        switch (Choose(4)) {
            case 0:
                came = renameat2(AT_FDCWD, kReady.c_str(), AT_FDCWD, name.c_str(), RENAME_EXCHANGE) == 0;
                break;
            case 1:
                unlink(name.c_str());
                came = rename(kReady.c_str(), name.c_str()) == 0;
                break;
            case 2:
                rmdir(name.c_str());
                came = renameat2(AT_FDCWD, kReady.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0;
                break;
            default:
                came = rename(kReady.c_str(), name.c_str()) == 0;
                break;
        }
        if (unlink(kReady.c_str()) != 0) {
            rmdir(kReady.c_str());
        }
        return came;
    }

private:
    std::size_t Choose(std::size_t count) { return random_() % count; }

    void Make() {
        const char* ready = kReady.c_str();
        switch (Choose(8)) {
            case 0:
            case 1:
            case 2:
                (void)!symlink(kRootsFile.c_str(), ready);
                break;
            case 3:
                (void)!symlink(kRootsMissing.c_str(), ready);
                break;
            case 4:
                mkfifo(ready, 0666);
                break;
            case 5:
                close(open(ready, O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
                break;
            case 6:
                mkdir(ready, 0777);
                break;
            default:
                rename(SecondName(nextSecondName_++ % secondNames_).c_str(), ready);
                break;
        }
    }

    const std::vector<std::string>& names_;
    int secondNames_;
    std::minstd_rand random_{1};
    int nextSecondName_ = 0;
};

[[noreturn]] void Race(const std::vector<std::string>& names, int secondNames, std::atomic<std::uint64_t>& swaps) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (setresgid(kStranger, kStranger, kStranger) != 0 || setresuid(kStranger, kStranger, kStranger) != 0) {
        _exit(126);
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    umask(0);
    for (Stranger stranger(names, secondNames);;) {
        swaps.fetch_add(stranger.Swap() ? 1 : 0);
    }
}

}  // namespace

Racer::Racer(const std::vector<std::string>& names, int secondNames) {
    void* shared = mmap(nullptr, sizeof *swaps_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        throw std::runtime_error("no shared memory");
    }
    swaps_ = new (shared) std::atomic<std::uint64_t>(0);
    MakeSecondNames(secondNames);
    process_ = fork();
    if (process_ == 0) {
        Race(names, secondNames, *swaps_);
    }
    if (process_ < 0) {
        throw std::runtime_error("no process for the stranger");
    }
}

Racer::~Racer() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    munmap(swaps_, sizeof *swaps_);
}

}  // namespace neighbours
