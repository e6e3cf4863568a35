// A machine for the program to run on: a private root with its own /etc, /mnt and /media, so that the real machine is
// never touched, and real mounts as drives.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

namespace gui {

// The fixed places of the installation.
namespace place {
inline const std::string kConfig = "/etc/Orvan/Config/Server";
inline const std::string kGlobal = kConfig + "/global.cfg";
inline const std::string kLocal = kConfig + "/local.cfg";
inline const std::string kLogDirectory = "/etc/Orvan/Log/Server";
inline const std::string kLog = kLogDirectory + "/Log.txt";
inline const std::string kOldLog = kLogDirectory + "/Log.old";
inline const std::string kFont = "/etc/Orvan/Assets/Fonts/Roboto-Regular.ttf";
inline const std::string kStartEntry = "/usr/share/applications/StartRecordingServer.desktop";
inline const std::string kAutostart = "/etc/xdg/autostart/StartRecordingServer.desktop";
inline const std::string kMountTable = "/etc/mtab";
}  // namespace place

inline const std::string kStartEntryText =
    "[Desktop Entry]\nType=Application\nName=Recording server\nExec=/opt/Orvan/bin/RecordingServer\n";

// Moves the process into its private root. Called once, before any test.
void EnterPrivateRoot();

// Folders of the build and the source tree as seen from inside the private root.
std::string ProgramPath();
std::string ShimPath(const std::string& name);
std::string ReferenceFolder();
// Where pictures of failed comparisons are kept, and the same place's name outside of the private root.
std::string KeptFolder();
std::string KeptFolderOutside();
// Scratch space of one test process, gone with it.
std::string ScratchFolder();

// A folder for LOCPATH with a "de_DE.UTF-8": the C locale in UTF-8, but with a decimal comma.
std::string CommaLocaleFolder();

class Machine {
public:
    // An installed machine with both fixed directories, the font, the start entry, a mount table and no drive.
    Machine();
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    void Write(const std::string& path, const std::string& text, mode_t mode = 0644);
    void Link(const std::string& path, const std::string& target);
    void Remove(const std::string& path);
    std::string Read(const std::string& path) const;
    bool Exists(const std::string& path) const;
    bool IsLink(const std::string& path) const;
    mode_t Mode(const std::string& path) const;
    std::vector<std::string> Files(const std::string& folder) const;

    void Global(const std::string& text) { Write(place::kGlobal, text); }
    void Local(const std::string& text) { Write(place::kLocal, text); }
    std::string Global() const { return Read(place::kGlobal); }
    std::string Local() const { return Read(place::kLocal); }
    // The log's lines behind the last banner.
    std::string Log() const;
    void AutostartOn() { Write(place::kAutostart, "an older entry\n"); }

    // A drive of this many bytes, a multiple of the page size, all of them free.
    void Drive(const std::string& mountPoint, long long bytes = 1 << 20);
    void Drives(const std::vector<std::string>& mountPoints);
    // Makes a folder unwritable for everybody, root included.
    void ReadOnly(const std::string& folder);
    // A mount table of our own in the place of the kernel's.
    void MountTable(const std::string& text);
    void NoMountTable() { Remove(place::kMountTable); }

private:
    std::vector<std::string> mounts_;
};

}  // namespace gui
