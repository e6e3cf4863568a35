#include "Run.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include "World.h"

namespace neighbours {
namespace {

// Seconds after which a step counts as hanging. None needs a second; VESMARA_NEIGHBOURS_PATIENCE makes it shorter
// where many are known to hang.
int Patience() {
    const char* text = std::getenv("VESMARA_NEIGHBOURS_PATIENCE");
    return text == nullptr ? 30 : std::atoi(text);
}

std::string ReadAll(int file) {
    std::string text;
    char block[4096];
    for (ssize_t n = 0; (n = pread(file, block, sizeof block, static_cast<off_t>(text.size()))) > 0;) {
        text.append(block, static_cast<std::size_t>(n));
    }
    return text;
}

void Become(uid_t user) {
    // Root stays the saved user, for AsRoot.
    if (user != 0 && (setresgid(user, user, user) != 0 || setresuid(user, user, 0) != 0)) {
        _exit(126);
    }
}

[[noreturn]] void RunInChild(uid_t user, int output, const std::function<int()>& step) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    dup2(output, STDOUT_FILENO);
    Become(user);
    int status = 125;
    try {
        status = step();
    } catch (const std::exception& error) {
        std::printf("exception: %s\n", error.what());
    } catch (...) {
        std::printf("exception\n");
    }
    std::fflush(nullptr);
    _exit(status);
}

// The write end of the pipe goes with the child, however it ends.
bool EndsInTime(int pipeEnd, int seconds) {
    pollfd ended{pipeEnd, POLLIN, 0};
    return poll(&ended, 1, (Patience() + seconds) * 1000) == 1;
}

}  // namespace

void PrintLog(const char* format, va_list arguments) {
    char text[2048];
    std::vsnprintf(text, sizeof text, format, arguments);
    std::printf("%s%s\n", kLogged.c_str(), text);
}

Outcome RunAs(uid_t user, const std::function<int()>& step, int seconds) {
    const int output = memfd_create("output", MFD_CLOEXEC);
    int ends[2];
    if (output < 0 || pipe(ends) != 0) {
        throw std::runtime_error("no pipe for a child process");
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        RunInChild(user, output, step);
    }
    close(ends[1]);
    Outcome outcome;
    outcome.hung = child < 0 || !EndsInTime(ends[0], seconds);
    close(ends[0]);
    if (outcome.hung) {
        kill(child, SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    outcome.output = ReadAll(output);
    close(output);
    return outcome;
}

Outcome StartProgram(uid_t user) {
    return RunAs(user, [user]() -> int {
        if (user != 0 && setresuid(user, user, user) != 0) {
            return 126;
        }
        // A sanitizer leaves the fault to be seen as what it is. Standard output without a buffer outlives it.
        const char* const environment[] = {"PATH=/usr/bin:/bin",
                                           "ASAN_OPTIONS=detect_leaks=0:handle_segv=0:verify_asan_link_order=0",
                                           "UBSAN_OPTIONS=handle_segv=0", "TSAN_OPTIONS=handle_segv=0", nullptr};
        const char* const words[] = {"stdbuf", "-o0", kProgram.c_str(), nullptr};
        execve("/usr/bin/stdbuf", const_cast<char* const*>(words), const_cast<char* const*>(environment));
        return 127;
    });
}

AsRoot::AsRoot() : user_(geteuid()) {
    if (seteuid(0) != 0) {
        throw std::runtime_error("root's rights are gone");
    }
}

AsRoot::~AsRoot() {
    (void)seteuid(user_);
}

}  // namespace neighbours
