#include "Machine.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace gui {
namespace fs = std::filesystem;
namespace {

// Folders of the machine that the private root shows as they are. /usr is rebuilt out of links, see BuildUsr.
constexpr const char* kShared[] = {"bin", "sbin", "lib", "lib32", "lib64", "libx32", "dev", "proc", "sys"};
constexpr const char* kOwn[] = {"etc", "media", "mnt", "root", "run", "srv", "tmp", "usr/share", "var/lib/xkb", "home"};
constexpr const char* kMachineUsr = "/machine-usr";
constexpr const char* kInstalledFont = "/usr/share/fonts/truetype/roboto/unhinted/RobotoTTF/Roboto-Regular.ttf";

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

void Check(int result, const std::string& what) {
    if (result != 0) {
        Fail(what);
    }
}

void WriteText(const std::string& path, const std::string& text) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        Fail("cannot write " + path);
    }
    const ssize_t written = write(fd, text.data(), text.size());
    close(fd);
    if (written != static_cast<ssize_t>(text.size())) {
        Fail("cannot write " + path);
    }
}

// Without root's rights the namespaces come with a user namespace in which the caller is root.
void Unshare() {
    const uid_t uid = geteuid();
    const gid_t gid = getegid();
    if (uid == 0) {
        Check(unshare(CLONE_NEWNS), "no private mount namespace");
        return;
    }
    Check(unshare(CLONE_NEWUSER | CLONE_NEWNS), "no private user and mount namespace");
    WriteText("/proc/self/setgroups", "deny");
    WriteText("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1");
    WriteText("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

void Bind(const std::string& from, const std::string& to) {
    fs::create_directories(to);
    Check(mount(from.c_str(), to.c_str(), nullptr, MS_BIND | MS_REC, nullptr), "cannot show " + from + " at " + to);
}

// Links for all entries of a folder but one, which stays the private root's own.
void LinkEntries(const fs::path& folder, const fs::path& shown, const fs::path& to, const std::string& butNot) {
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().filename() != butNot) {
            fs::create_symlink(shown / entry.path().filename(), to / entry.path().filename());
        }
    }
}

// The start entry has its place below /usr, which no test may write to. So /usr is a folder of links to the machine's.
void BuildUsr(const std::string& root) {
    Bind("/usr", root + kMachineUsr);
    LinkEntries("/usr", kMachineUsr, root + "/usr", "share");
    LinkEntries("/usr/share", std::string(kMachineUsr) + "/share", root + "/usr/share", "applications");
}

// The run-time linker's cache, the user names and the settings of the GL stack: what a program may look for in /etc.
void BuildEtc(const std::string& root) {
    for (const char* name : {"ld.so.cache", "ld.so.conf", "passwd", "group", "nsswitch.conf"}) {
        std::error_code ignored;
        fs::copy_file(std::string("/etc/") + name, root + "/etc/" + name, ignored);
    }
    for (const char* name : {"ld.so.conf.d", "glvnd", "alternatives", "X11"}) {
        if (fs::is_directory(std::string("/etc/") + name)) {
            fs::copy(std::string("/etc/") + name, root + "/etc/" + name,
                     fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        }
    }
}

class Descriptor {
public:
    explicit Descriptor(const char* folder) : fd_(open(folder, O_PATH | O_DIRECTORY | O_CLOEXEC)) {
        if (fd_ < 0) {
            Fail(std::string("cannot open ") + folder);
        }
    }
    ~Descriptor() { close(fd_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    std::string Path() const { return "/proc/self/fd/" + std::to_string(fd_); }

private:
    int fd_;
};

}  // namespace

void EnterPrivateRoot() {
    Unshare();
    Check(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "cannot make the mounts private");
    // Opened before /tmp is covered: the build may lie there.
    fs::create_directories(GUI_KEPT_FOLDER);
    const Descriptor binaries(GUI_BINARY_FOLDER);
    const Descriptor references(GUI_REFERENCE_FOLDER);
    const Descriptor kept(GUI_KEPT_FOLDER);

    const std::string root = "/tmp";
    Check(mount("tmpfs", root.c_str(), "tmpfs", 0, "mode=755"), "cannot mount the private root");
    for (const char* folder : kOwn) {
        fs::create_directories(root + "/" + folder);
    }
    for (const char* folder : kShared) {
        const fs::path from = fs::path("/") / folder;
        if (fs::is_symlink(from)) {
            fs::copy_symlink(from, root + "/" + folder);
        } else if (fs::is_directory(from)) {
            Bind(from, root + "/" + folder);
        }
    }
    Check(chmod((root + "/tmp").c_str(), 01777), "cannot open the private /tmp to all");
    BuildUsr(root);
    BuildEtc(root);
    Bind(binaries.Path(), root + "/under-test/bin");
    Bind(references.Path(), root + "/under-test/reference");
    Bind(kept.Path(), root + "/under-test/kept");

    Check(chdir(root.c_str()), "cannot enter the private root");
    Check(static_cast<int>(syscall(SYS_pivot_root, ".", ".")), "cannot change to the private root");
    Check(umount2(".", MNT_DETACH), "cannot leave the machine's root");
    Check(chdir("/"), "cannot enter the private root");
    fs::create_directories(ScratchFolder());
    umask(022);
}

std::string ProgramPath() {
    return "/under-test/bin/Vesmara";
}

std::string ShimPath(const std::string& name) {
    return "/under-test/bin/" + name;
}

std::string ReferenceFolder() {
    return "/under-test/reference";
}

std::string KeptFolder() {
    return "/under-test/kept";
}

std::string KeptFolderOutside() {
    return GUI_KEPT_FOLDER;
}

std::string ScratchFolder() {
    return "/run/scratch";
}

std::string CommaLocaleFolder() {
    const std::string folder = ScratchFolder() + "/locale";
    const std::string own = folder + "/de_DE.utf8";
    fs::create_directories(folder);
    fs::copy("/usr/lib/locale/C.utf8", own, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    std::string numeric;
    {
        std::ifstream file(own + "/LC_NUMERIC", std::ios::binary);
        numeric.assign(std::istreambuf_iterator<char>(file), {});
    }
    // The texts stand behind the table of their offsets: a magic number, a count, then one offset for each of them.
    const std::size_t texts = 8 + 4 * static_cast<std::size_t>(static_cast<unsigned char>(numeric.at(4)));
    std::replace(numeric.begin() + static_cast<std::ptrdiff_t>(texts), numeric.end(), '.', ',');
    WriteText(own + "/LC_NUMERIC", numeric);
    return folder;
}

Machine::Machine() {
    for (const char* folder : {"/etc/Orvan", "/etc/xdg", "/mnt", "/media", "/usr/share/applications"}) {
        fs::remove_all(folder);
    }
    for (const std::string& folder : {place::kConfig, place::kLogDirectory, std::string("/mnt"), std::string("/media"),
                                      fs::path(place::kFont).parent_path().string(), std::string("/etc/xdg/autostart"),
                                      std::string("/usr/share/applications")}) {
        fs::create_directories(folder);
    }
    fs::copy_file(kInstalledFont, place::kFont);
    Write(place::kStartEntry, kStartEntryText);
    Link(place::kMountTable, "/proc/self/mounts");
}

Machine::~Machine() {
    for (auto mounted = mounts_.rbegin(); mounted != mounts_.rend(); ++mounted) {
        umount2(mounted->c_str(), MNT_DETACH);
    }
}

void Machine::Write(const std::string& path, const std::string& text, mode_t mode) {
    fs::create_directories(fs::path(path).parent_path());
    WriteText(path, text);
    Check(chmod(path.c_str(), mode), "cannot set the mode of " + path);
}

void Machine::Link(const std::string& path, const std::string& target) {
    Remove(path);
    fs::create_symlink(target, path);
}

void Machine::Remove(const std::string& path) {
    fs::remove_all(path);
}

std::string Machine::Read(const std::string& path) const {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        Fail("cannot read " + path);
    }
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

bool Machine::Exists(const std::string& path) const {
    return fs::exists(fs::symlink_status(path));
}

bool Machine::IsLink(const std::string& path) const {
    return fs::is_symlink(path);
}

mode_t Machine::Mode(const std::string& path) const {
    struct stat status {};
    Check(stat(path.c_str(), &status), "no status of " + path);
    return status.st_mode & 07777;
}

std::vector<std::string> Machine::Files(const std::string& folder) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string Machine::Log() const {
    const std::string text = Read(place::kLog);
    const std::string bannerEnd = "   -----\n\n";
    const std::size_t banner = text.rfind(bannerEnd);
    return banner == std::string::npos ? text : text.substr(banner + bannerEnd.size());
}

void Machine::Drive(const std::string& mountPoint, long long bytes) {
    fs::create_directories(mountPoint);
    const std::string options = "mode=755,size=" + std::to_string(bytes);
    Check(mount("drive", mountPoint.c_str(), "tmpfs", 0, options.c_str()), "cannot mount " + mountPoint);
    mounts_.push_back(mountPoint);
}

void Machine::Drives(const std::vector<std::string>& mountPoints) {
    for (const std::string& mountPoint : mountPoints) {
        Drive(mountPoint);
    }
}

void Machine::ReadOnly(const std::string& folder) {
    Check(mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr), "cannot mount " + folder);
    mounts_.push_back(folder);
    Check(mount(nullptr, folder.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr),
          "cannot make read-only: " + folder);
}

void Machine::MountTable(const std::string& text) {
    Remove(place::kMountTable);
    Write(place::kMountTable, text);
}

}  // namespace gui
