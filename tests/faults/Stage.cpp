#include "faults/Stage.h"

#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>

#include "ConfigLib.h"
#include "support/Files.h"

namespace faults {
namespace {

const std::string kTemporary[] = {kGlobal + ".temp", kLocal + ".tmp"};
constexpr unsigned kPatience = 120;  // seconds; a bound that only a save that hangs reaches

void Check(bool done, const std::string& what) {
    if (!done) {
        throw std::runtime_error(what + ": " + std::strerror(errno));
    }
}

void HideTheMachine() {
    Check(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "the mounts cannot be made private");
    Check(mount("tmpfs", "/etc", "tmpfs", 0, nullptr) == 0, "no file system in memory");
    Check(mount("tmpfs", "/run", "tmpfs", 0, nullptr) == 0, "no file system in memory");
    std::filesystem::create_directories(kFolder);
}

// What differs between small and large files.
struct Measures {
    unsigned nodes;
    unsigned storages;
    std::size_t pathLength;
};

Measures MeasuresOf(Size size) {
    return size == Size::Small ? Measures{2, 2, 20} : Measures{64, 15, 900};
}

std::string Name(unsigned version) {
    return "Site " + std::to_string(version);
}

// Ends in a slash, so that no load adds one.
std::string Path(Size size, unsigned version, unsigned number) {
    const auto letter = static_cast<char>('a' + (version + number) % 26);
    const std::size_t length = MeasuresOf(size).pathLength + version % 16;
    return "/mnt/" + std::to_string(version) + "/" + std::string(length, letter) + "/";
}

template <std::size_t N>
void Copy(char (&field)[N], const std::string& text) {
    std::memset(field, 0, N);
    text.copy(field, N - 1);
}

// False where there is no such file.
bool Read(const std::string& path, std::string& bytes) {
    std::ifstream file(path, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(file), {});
    return file.is_open();
}

std::string LossOfFile(const std::string& path, const std::string& old, const std::string& fresh, int result) {
    std::string bytes;
    if (!Read(path, bytes)) {
        return path + " is gone; ";
    }
    const bool isNew = bytes == fresh;
    if (!isNew && bytes != old) {
        return path + " has " + std::to_string(bytes.size()) + " bytes, neither the old " + std::to_string(old.size()) +
               " nor the new " + std::to_string(fresh.size()) + "; result " + std::to_string(result) + "; ";
    }
    if (result != Results::kUnknown && isNew != (result == 1)) {
        return path + " is the " + (isNew ? "new" : "old") + " one, but the save said " + std::to_string(result) + "; ";
    }
    return "";
}

}  // namespace

int RunInPrivateSystem(const std::function<int()>& function) {
    Check(geteuid() == 0, "only root may mount file systems");
    Check(unshare(CLONE_NEWNS | CLONE_NEWPID) == 0, "no private mounts and processes");
    std::fflush(nullptr);
    const pid_t child = fork();
    Check(child >= 0, "no process");
    if (child == 0) {
        // The first process of its kind: everything that runs beside it ends with it.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        int result = 1;
        try {
            HideTheMachine();
            result = function();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s\n", error.what());
        }
        std::fflush(nullptr);
        _exit(result);
    }
    int status = 0;
    Check(waitpid(child, &status, 0) == child, "no end of the process");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

Mounted::Mounted(const std::string& device, const std::string& folder, const std::string& type,
                 const std::string& options)
    : m_folder(folder) {
    std::filesystem::create_directories(folder);
    Check(mount(device.c_str(), folder.c_str(), type.c_str(), 0, options.c_str()) == 0,
          "no " + type + " (" + options + ") on " + folder);
    chmod(folder.c_str(), 0777);
}

Mounted::~Mounted() {
    if (m_mounted) {
        umount2(m_folder.c_str(), MNT_DETACH);
    }
}

bool Mounted::Leave() {
    m_mounted = m_mounted && umount(m_folder.c_str()) != 0;
    return !m_mounted;
}

std::string GlobalText(Size size, unsigned version) {
    const Measures measures = MeasuresOf(size);
    std::string text = "ClusterName = \"" + Name(version) + "\"\n\n" + "NodeCount = " + std::to_string(measures.nodes) +
                       "\n\nCamerasConnectedToNode1 = 4\n";
    for (unsigned node = 2; node <= measures.nodes; ++node) {
        text += "CamerasConnectedToNode" + std::to_string(node) + " = 0\n";
    }
    return text + "\nManagerMachineIP = 192.168.0.1\n\nGeneralStoragePath = \"" + Path(size, version, 0) +
           "\"\n\nLogLevelNode = 3\n\nLogLevelManager = 4\n\nShowAllParameters = 1\n\nAllowFailedDevices = 0\n\n"
           "AllowFailedNodes = 1\n\n";
}

std::string LocalText(Size size, unsigned version) {
    std::string text = "NodeID = 1\n\nIP = 192.168.0.11\n\n";
    for (unsigned number = 1; number <= MeasuresOf(size).storages; ++number) {
        text += "RecordingStorage" + std::to_string(number) + " = \"" + Path(size, version, number) + "\"\n\n";
    }
    return text +
           "MaxMemUseAllowed = 50%\n\n[Camera 1-4]\nCaptureDevice = \"board\", \"board settings\"\n"
           "CTI = \"producer\", \"options\"\nSyncMode = 1\nCameraMAC1 = 00:11:22:33:44:01\n"
           "CameraMAC2 = 00:11:22:33:44:02\nCameraMAC3 = 00:11:22:33:44:03\nCameraMAC4 = 00:11:22:33:44:04\n"
           "CameraModel = \"model\", \"model settings\"\n\n";
}

void RemoveTemporaryFiles() {
    for (const std::string& temporary : kTemporary) {
        std::filesystem::remove(temporary);
    }
}

void Put(Size size, unsigned version) {
    RemoveTemporaryFiles();
    if (size == Size::Large) {
        for (const std::string& temporary : kTemporary) {
            test_support::WriteFile(temporary, "left by a save that failed");
        }
    }
    test_support::WriteFile(kGlobal, GlobalText(size, version));
    test_support::WriteFile(kLocal, LocalText(size, version));
}

bool Load() {
    if (g_DeviceTypeName == nullptr) {
        ConfigLib_Init(0);
    }
    return ConfigLib_Load_Global() == CONFIG_LOAD_CLEAN && ConfigLib_Load_Local() == CONFIG_LOAD_CLEAN;
}

void LoadAndChange(Size size, unsigned version) {
    if (!Load()) {
        throw std::runtime_error("the files do not load");
    }
    Change(size, version);
}

void Change(Size size, unsigned version) {
    CONFIGURATION__GLOBAL& global = *ConfigFile_GetStructPtr_Global();
    CONFIGURATION__LOCAL& local = *ConfigFile_GetStructPtr_Local();
    Copy(global.szClusterName, Name(version));
    Copy(global.szGeneralStoragePath, Path(size, version, 0));
    for (unsigned number = 1; number <= MeasuresOf(size).storages; ++number) {
        Copy(local.szRecordingStorage[number - 1], Path(size, version, number));
    }
}

void SaveBoth(Results& results) {
    const auto begin = std::chrono::steady_clock::now();
    results.started = 1;
    results.global = ConfigLib_Save_Global(ConfigFile_GetStructPtr_Global()) ? 1 : 0;
    results.local = ConfigLib_Save_Local(ConfigFile_GetStructPtr_Local()) ? 1 : 0;
    results.ended = 1;
    results.nanoseconds = std::chrono::nanoseconds(std::chrono::steady_clock::now() - begin).count();
}

SharedResults::SharedResults() : m_results(nullptr) {
    void* memory = mmap(nullptr, sizeof(Results), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Check(memory != MAP_FAILED, "no memory to share");
    m_results = new (memory) Results();
}

SharedResults::~SharedResults() {
    munmap(m_results, sizeof(Results));
}

void SharedResults::Clear() {
    new (m_results) Results();
}

std::string LossOf(Size size, unsigned oldVersion, unsigned newVersion, const Results& results) {
    return LossOfFile(kGlobal, GlobalText(size, oldVersion), GlobalText(size, newVersion), results.global) +
           LossOfFile(kLocal, LocalText(size, oldVersion), LocalText(size, newVersion), results.local);
}

std::string LossOfNextSave(Size size, unsigned version) {
    const SharedResults results;
    const int status = RunChild([&] {
        LoadAndChange(size, version);
        SaveBoth(*results);
    });
    if (status != 0 || results->global != 1 || results->local != 1) {
        return "the next save failed, " + std::to_string(results->global) + " " + std::to_string(results->local);
    }
    return LossOf(size, version, version, *results);
}

int StartChild(const std::function<void()>& function) {
    const pid_t child = fork();
    Check(child >= 0, "no process");
    if (child != 0) {
        return child;
    }
    alarm(kPatience);
    try {
        function();
    } catch (...) {
        _exit(2);
    }
    _exit(0);
}

int RunChild(const std::function<void()>& function) {
    const pid_t child = StartChild(function);
    int status = 0;
    Check(waitpid(child, &status, 0) == child, "no end of the process");
    return status;
}

}  // namespace faults
