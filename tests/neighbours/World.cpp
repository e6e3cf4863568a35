#include "World.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "support/Files.h"

namespace neighbours {
namespace fs = std::filesystem;
namespace {

void Check(bool good, const std::string& what) {
    if (!good) {
        throw std::runtime_error(what + ": " + std::strerror(errno));
    }
}

void Mount(const std::string& folder) {
    Check(mount("tmpfs", folder.c_str(), "tmpfs", 0, "mode=755,size=64m") == 0, "cannot mount " + folder);
}

void MakeFolder(const std::string& path, uid_t owner, mode_t mode) {
    fs::create_directories(path);
    Check(lchown(path.c_str(), owner, owner) == 0 && chmod(path.c_str(), mode) == 0, "cannot make " + path);
}

// A long file, such as a log about to rotate, is known by its end.
std::string End(const std::string& path, off_t size) {
    constexpr off_t kShown = 16384;
    std::ifstream file(path, std::ios::binary);
    Check(static_cast<bool>(file), "cannot read " + path);
    file.seekg(std::max<off_t>(size - kShown, 0));
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Once in a process, before any test: nothing that is mounted here is seen outside.
class PrivateMounts : public testing::Environment {
    void SetUp() override {
        ASSERT_EQ(geteuid(), 0U) << "the neighbours are other users, which takes root's rights";
        ASSERT_EQ(unshare(CLONE_NEWNS), 0) << "no private mounts";
        ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0) << "mounts cannot be made private";
        umask(022);
        Mount("/etc");
        Mount("/usr/share/applications");
        const std::string program = fs::path(kProgram).parent_path();
        fs::create_directory(program);
        Check(mount(VESMARA_BINARY_FOLDER, program.c_str(), nullptr, MS_BIND, nullptr) == 0, "cannot show the program");
    }
};

const testing::Environment* const g_privateMounts = testing::AddGlobalTestEnvironment(new PrivateMounts);

}  // namespace

bool Entry::operator==(const Entry& other) const {
    return mode == other.mode && owner == other.owner && inode == other.inode && changed == other.changed &&
           content == other.content && size == other.size;
}

std::string Entry::Describe() const {
    std::ostringstream text;
    text << "mode " << std::oct << mode << std::dec << " owner " << owner << " inode " << inode << " " << size
         << " bytes '" << content.substr(0, 40) << "'";
    return text.str();
}

World::World(mode_t mode) {
    umount2("/etc/terminals", MNT_DETACH);  // of a case that could not do so
    for (const auto& entry : fs::directory_iterator("/etc")) {
        fs::remove_all(entry.path());
    }
    for (const std::string& folder : {kConfigFolder, kLogFolder, kAutostartFolder}) {
        MakeFolder(folder, kRoot, mode);
    }
    MakeFolder(kRootsFolder, kRoot, 0755);
    MakeFolder(kCallersFolder, kCaller, 0755);
    MakeFolder(kStrangersFolder, kStranger, 0755);
    Write(kRootsFile, kVictimText, kRoot, 0600);
    Write(kRootsOpenFile, kVictimText, kRoot, 0666);
    Write(kRootsLinkedFile, kVictimText, kRoot, 0666);
    Write(kCallersFile, kVictimText, kCaller, 0600);
    Write(kCallersLinkedFile, kVictimText, kCaller, 0644);
    fs::create_symlink(kRootsFile, kStrangersLink);
    Check(lchown(kStrangersLink.c_str(), kStranger, kStranger) == 0, "cannot give a link away");
    Write(kStartEntry, kStartEntryText);
    fs::create_symlink("/proc/self/mounts", "/etc/mtab");
}

Snapshot World::Look() {
    Snapshot entries;
    for (const auto& entry : fs::recursive_directory_iterator("/etc")) {
        entries[entry.path()] = At(entry.path());
    }
    return entries;
}

void World::Write(const std::string& path, const std::string& text, uid_t owner, mode_t mode) {
    test_support::WriteFile(path, text);
    Check(chown(path.c_str(), owner, owner) == 0 && chmod(path.c_str(), mode) == 0, "cannot give away " + path);
}

std::string World::Read(const std::string& path) {
    return test_support::ReadFile(path);
}

bool World::Exists(const std::string& path) {
    return test_support::Exists(path);
}

Entry World::At(const std::string& path) {
    struct stat status {};
    Check(lstat(path.c_str(), &status) == 0, "no status of " + path);
    Entry entry{status.st_mode, status.st_uid, status.st_ino, status.st_nlink, status.st_size, 0, ""};
    if (S_ISDIR(status.st_mode)) {
        entry.size = 0;
    } else {
        entry.changed = status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec;
    }
    if (S_ISREG(status.st_mode)) {
        entry.content = End(path, status.st_size);
    } else if (S_ISLNK(status.st_mode)) {
        entry.content = fs::read_symlink(path);
    }
    return entry;
}

std::vector<std::string> Differences(const Snapshot& before, const Snapshot& after,
                                     const std::vector<std::string>& mayChange) {
    std::vector<std::string> lines;
    const auto free = [&](const std::string& path) {
        for (const std::string& name : mayChange) {
            if (path == name || path.rfind(name + "/", 0) == 0) {
                return true;
            }
        }
        return false;
    };
    for (const auto& [path, entry] : before) {
        const auto found = after.find(path);
        if (free(path)) {
            continue;
        }
        if (found == after.end()) {
            lines.push_back(path + " is gone");
        } else if (!(found->second == entry)) {
            lines.push_back(path + " was " + entry.Describe() + ", is " + found->second.Describe());
        }
    }
    for (const auto& [path, entry] : after) {
        if (!free(path) && before.count(path) == 0) {
            lines.push_back(path + " is new: " + entry.Describe());
        }
    }
    return lines;
}

bool KernelProtectsLinks() {
    std::ifstream file("/proc/sys/fs/protected_symlinks");
    int value = 0;
    return file >> value && value != 0;
}

std::string KernelProtections() {
    std::string text;
    for (const char* name : {"symlinks", "hardlinks", "fifos", "regular"}) {
        std::ifstream file(std::string("/proc/sys/fs/protected_") + name);
        std::string value = "unknown";
        file >> value;
        text += (text.empty() ? "" : ", ") + std::string(name) + " " + value;
    }
    return text;
}

}  // namespace neighbours
