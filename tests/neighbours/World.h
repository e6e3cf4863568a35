// A machine with neighbours: the fixed folders, open to everybody, beside files of root, of the caller and of a
// stranger that nothing may touch. All in the test process's own mounts, and made anew for each case.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace neighbours {

// The users. The two that are not root have no entry in any list of users.
inline constexpr uid_t kRoot = 0;
inline constexpr uid_t kCaller = 2001;
inline constexpr uid_t kStranger = 2002;

// The modes of the fixed folders.
inline constexpr mode_t kOpenToAll = 0777;
inline constexpr mode_t kSticky = 01777;
inline constexpr mode_t kRootsAlone = 0755;

inline const std::string kConfigFolder = "/etc/Orvan/Config/Server";
inline const std::string kLogFolder = "/etc/Orvan/Log/Server";
inline const std::string kAutostartFolder = "/etc/xdg/autostart";
inline const std::string kGlobal = kConfigFolder + "/global.cfg";
inline const std::string kLocal = kConfigFolder + "/local.cfg";
inline const std::string kCamera = kConfigFolder + "/camera.cfg";
inline const std::string kMap = kConfigFolder + "/DeviceMapInfo.cfgbin";
inline const std::string kGlobalTemporary = kConfigFolder + "/global.cfg.temp";
inline const std::string kLocalTemporary = kConfigFolder + "/local.cfg.tmp";
inline const std::string kLog = kLogFolder + "/Log.txt";
inline const std::string kOldLog = kLogFolder + "/Log.old";
inline const std::string kAutostart = kAutostartFolder + "/StartRecordingServer.desktop";
inline const std::string kStartEntry = "/usr/share/applications/StartRecordingServer.desktop";

// Files that nobody may reach through a planted object.
inline const std::string kRootsFolder = "/etc/roots";
inline const std::string kRootsFile = kRootsFolder + "/secret";        // 0600
inline const std::string kRootsOpenFile = kRootsFolder + "/open";      // 0666
inline const std::string kRootsLinkedFile = kRootsFolder + "/linked";  // where an administrator's own link leads
inline const std::string kRootsMissing = kRootsFolder + "/missing";    // not there
inline const std::string kCallersFolder = "/etc/callers";
inline const std::string kCallersFile = kCallersFolder + "/own";  // 0600
inline const std::string kCallersLinkedFile = kCallersFolder + "/linked";
inline const std::string kStrangersFolder = "/etc/stranger";
inline const std::string kStrangersLink = kStrangersFolder + "/link";  // leads to kRootsFile

inline const std::string kVictimText = "root's own text\n";
// The program under test as it is found in the private mounts, by every user.
inline const std::string kProgram = "/usr/share/applications/under-test/Vesmara";

inline const std::string kStartEntryText = "[Desktop Entry]\nType=Application\nName=Recording server\n";

// What one name is, followed by nobody.
struct Entry {
    mode_t mode = 0;
    uid_t owner = 0;
    ino_t inode = 0;
    nlink_t links = 0;
    off_t size = 0;         // bytes; 0 of a folder
    long long changed = 0;  // nanoseconds
    std::string content;    // the last bytes of a regular file, target of a link

    bool operator==(const Entry& other) const;
    std::string Describe() const;
};

using Snapshot = std::map<std::string, Entry>;

class World {
public:
    // Empties /etc and fills it. The fixed folders get this mode and belong to root.
    explicit World(mode_t mode);

    // Everything below /etc but folders' times.
    static Snapshot Look();

    static void Write(const std::string& path, const std::string& text, uid_t owner = kRoot, mode_t mode = 0644);
    static std::string Read(const std::string& path);
    static bool Exists(const std::string& path);
    static Entry At(const std::string& path);
};

// What differs between two looks, one line each. Names in `mayChange` are left out, and so is the number of links.
std::vector<std::string> Differences(const Snapshot& before, const Snapshot& after,
                                     const std::vector<std::string>& mayChange);

// Whether the kernel itself keeps everybody from following a stranger's link in a folder with the sticky bit.
bool KernelProtectsLinks();

// The kernel's own protections against planted objects, as this machine has them.
std::string KernelProtections();

}  // namespace neighbours
