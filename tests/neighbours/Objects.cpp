#include "Objects.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "World.h"

namespace neighbours {
namespace fs = std::filesystem;
namespace {

constexpr unsigned int kMemoryDevices = 1;  // major number
constexpr unsigned int kZero = 5;
constexpr unsigned int kFull = 7;
constexpr char kFullDevice[] = "/etc/roots/full";

void Check(bool good, const std::string& what) {
    if (!good) {
        throw std::runtime_error(what + ": " + std::strerror(errno));
    }
}

void Give(const std::string& path, uid_t owner) {
    Check(lchown(path.c_str(), owner, owner) == 0, "cannot give away " + path);
}

void Link(const std::string& path, const std::string& target, uid_t owner) {
    fs::create_symlink(target, path);
    Give(path, owner);
}

void HardLink(const std::string& path, const std::string& target) {
    Check(link(target.c_str(), path.c_str()) == 0, "cannot link " + path);
}

void Node(const std::string& path, mode_t mode, unsigned int minor, uid_t owner) {
    Check(mknod(path.c_str(), mode | 0666, makedev(kMemoryDevices, minor)) == 0, "cannot make the node " + path);
    Check(chmod(path.c_str(), 0666) == 0, "no mode for " + path);
    Give(path, owner);
}

void Socket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    const int end = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    Check(end >= 0 && bind(end, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "no socket " + path);
    close(end);
    Check(chmod(path.c_str(), 0777) == 0, "no mode for " + path);
    Give(path, kStranger);
}

void MakeFolder(const std::string& path) {
    fs::create_directory(path);
    Give(path, kStranger);
}

struct Row {
    Object object;
    const char* name;
    void (*plant)(const std::string& path);
};

// Those without a function are made by Plant itself.
const Row kRows[] = {
    {Object::Nothing, "nothing", [](const std::string&) {}},
    {Object::CallersFile, "a file of the caller's",
     [](const std::string& path) { World::Write(path, kVictimText, kCaller, 0644); }},
    {Object::RootsFile, "a file of root's",
     [](const std::string& path) { World::Write(path, kVictimText, kRoot, 0644); }},
    {Object::StrangersFile, "a file of the stranger's",
     [](const std::string& path) { World::Write(path, kVictimText, kStranger, 0666); }},
    {Object::LinkToRootsFile, "a link to a file of root's",
     [](const std::string& path) { Link(path, kRootsFile, kStranger); }},
    {Object::LinkToCallersFile, "a link to a file of the caller's",
     [](const std::string& path) { Link(path, kCallersFile, kStranger); }},
    {Object::LinkToMissingFile, "a link to a missing file",
     [](const std::string& path) { Link(path, kRootsMissing, kStranger); }},
    {Object::DanglingLink, "a link to a missing folder",
     [](const std::string& path) { Link(path, kRootsFolder + "/none/file", kStranger); }},
    {Object::LoopingLink, "a link to itself", [](const std::string& path) { Link(path, path, kStranger); }},
    {Object::LinkToFifo, "a link to a FIFO",
     [](const std::string& path) {
         const std::string fifo = kStrangersFolder + "/fifo";
         Check(mkfifo(fifo.c_str(), 0666) == 0, "no FIFO");
         Link(path, fifo, kStranger);
     }},
    {Object::LinkToDevice, "a link to an endless device",
     [](const std::string& path) {
         Node(kRootsFolder + "/zero", S_IFCHR, kZero, kRoot);
         Link(path, kRootsFolder + "/zero", kStranger);
     }},
    {Object::LinkToTerminal, "a link to a terminal", nullptr},
    {Object::HardLinkToRootsFile, "a hard link to a file of root's",
     [](const std::string& path) { HardLink(path, kRootsFile); }},
    {Object::HardLinkToCallersFile, "a hard link to a file of the caller's",
     [](const std::string& path) { HardLink(path, kCallersFile); }},
    {Object::Fifo, "a FIFO",
     [](const std::string& path) {
         Check(mkfifo(path.c_str(), 0666) == 0 && chmod(path.c_str(), 0666) == 0, "no FIFO");
         Give(path, kStranger);
     }},
    {Object::ReadFifo, "a FIFO that is read", nullptr},
    {Object::FedFifo, "a FIFO that is written to", nullptr},
    {Object::Socket, "a socket", Socket},
    {Object::Device, "a device", [](const std::string& path) { Node(path, S_IFCHR, kFull, kStranger); }},
    {Object::EndlessDevice, "an endless device",
     [](const std::string& path) { Node(path, S_IFCHR, kZero, kStranger); }},
    {Object::Folder, "an empty folder", MakeFolder},
    {Object::FullFolder, "a folder with a file",
     [](const std::string& path) {
         MakeFolder(path);
         World::Write(path + "/file", kVictimText, kStranger, 0644);
     }},
    {Object::RootsLink, "root's link to a file of root's",
     [](const std::string& path) { Link(path, kRootsLinkedFile, kRoot); }},
    {Object::CallersLink, "the caller's link to a file of the caller's",
     [](const std::string& path) { Link(path, kCallersLinkedFile, kCaller); }},
    {Object::RootsLinkToDevice, "root's link to a device",
     [](const std::string& path) {
         Node(kFullDevice, S_IFCHR, kFull, kRoot);
         Link(path, kFullDevice, kRoot);
     }},
    {Object::CallersLinkToDevice, "the caller's link to a device",
     [](const std::string& path) {
         Node(kFullDevice, S_IFCHR, kFull, kRoot);
         Link(path, kFullDevice, kCaller);
     }},
    {Object::RootsLinkToTerminal, "root's link to a terminal", nullptr},
    {Object::RootsLinkToStrangersLink, "root's link to a link of the stranger's",
     [](const std::string& path) { Link(path, kStrangersLink, kRoot); }},
    {Object::RootsLinkToHardLink, "root's link to a file with two names",
     [](const std::string& path) {
         HardLink(kRootsFolder + "/second", kRootsLinkedFile);
         Link(path, kRootsFolder + "/second", kRoot);
     }},
    {Object::HardLinkToRootsLink, "a second name of root's link",
     [](const std::string& path) {
         Link(kRootsFolder + "/pointer", kRootsFile, kRoot);
         HardLink(path, kRootsFolder + "/pointer");
     }},
};

const Row& RowOf(Object object) {
    for (const Row& row : kRows) {
        if (row.object == object) {
            return row;
        }
    }
    throw std::logic_error("an object without a row");
}

}  // namespace

const char* NameOf(Object object) {
    return RowOf(object).name;
}

Plant::Plant(Object object, const std::string& path) {
    fs::remove_all(path);
    const Row& row = RowOf(object);
    if (row.plant != nullptr) {
        row.plant(path);
    } else if (object == Object::LinkToTerminal || object == Object::RootsLinkToTerminal) {
        MakeTerminal(path, object == Object::LinkToTerminal ? kStranger : kRoot);
    } else {
        MakeHeldFifo(path, object == Object::FedFifo);
    }
}

Plant::~Plant() {
    if (end_ >= 0) {
        close(end_);
    }
    if (!terminal_.empty()) {
        umount2("/etc/terminals", MNT_DETACH);
    }
}

// Both ends are open: the product never finds that the other side is missing.
void Plant::MakeHeldFifo(const std::string& path, bool fed) {
    RowOf(Object::Fifo).plant(path);
    end_ = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    Check(end_ >= 0, "cannot hold the FIFO");
    fed_ = fed;
    if (fed) {
        const std::string text = kFedText;
        Check(write(end_, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "cannot feed the FIFO");
    }
}

// Terminals of our own: those of the machine are not touched, and not every machine has any.
void Plant::MakeTerminal(const std::string& path, uid_t owner) {
    fs::create_directory("/etc/terminals");
    Check(mount("devpts", "/etc/terminals", "devpts", 0, "newinstance,ptmxmode=0666,mode=0646") == 0, "no terminals");
    end_ = open("/etc/terminals/ptmx", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    Check(end_ >= 0 && unlockpt(end_) == 0, "no terminal");
    terminal_ = "/etc/terminals/0";
    struct stat status {};
    Check(chown(terminal_.c_str(), kRoot, kRoot) == 0 && stat(terminal_.c_str(), &status) == 0, "no terminal");
    mode_ = status.st_mode;
    Link(path, terminal_, owner);
}

std::string Plant::WhatArrived() const {
    std::string text;
    char block[256];
    for (ssize_t n = 0; end_ >= 0 && (n = read(end_, block, sizeof block)) > 0;) {
        text.append(block, static_cast<std::size_t>(n));
    }
    if (fed_) {
        text = text == kFedText ? "" : "(what was fed is gone)";
    }
    return text;
}

// A terminal that was never opened has nothing to read; one that was closed is at its end.
bool Plant::WasOpened() const {
    char byte = 0;
    return !terminal_.empty() && read(end_, &byte, 1) < 0 && errno == EIO;
}

bool Plant::HasOtherMode() const {
    struct stat status {};
    return !terminal_.empty() && stat(terminal_.c_str(), &status) == 0 && status.st_mode != mode_;
}

}  // namespace neighbours
