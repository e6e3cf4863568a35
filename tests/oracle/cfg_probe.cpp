// Runs lists of operations on the configuration library and answers each with lines of text, in the words of
// cfg_oracle.py. Cases come on the standard input, one operation a line, closed by "end"; every case runs in a process
// of its own, so that it begins with untouched records and a crash or a load without end costs no other case.
//
// Usage: cfg_probe <root>: an empty folder that stands in for the program data path.
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "ConfigLib.h"
#include "Log.h"
#include "OsLayer.h"

namespace fs = std::filesystem;

namespace {

// As many equal messages in a row are taken for a load without end; no case has as many lines of one kind.
constexpr unsigned int ENDLESS = 1000;
// Seconds on a processor after which a case is ended from outside, for a load that hangs without a word.
constexpr rlim_t GUARD = 10;

std::string g_root;
bool g_hasRoot = true;
std::vector<std::string> g_messages;
unsigned int g_repeated = 0;

using Words = std::vector<std::string>;

std::string Hex(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
    return out.empty() ? "-" : out;
}

std::string Unhex(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; text != "-" && i + 1 < text.size(); i += 2) {
        out += static_cast<char>(std::stoul(text.substr(i, 2), nullptr, 16));
    }
    return out;
}

// A text field up to its terminator; one without a terminator shows as such.
template <std::size_t Size>
std::string Field(const char (&field)[Size]) {
    const std::size_t length = strnlen(field, Size);
    return length == Size ? "unterminated" : Hex(std::string(field, length));
}

template <typename Numbers>
std::string Joined(const Numbers& numbers) {
    std::string out;
    for (auto number : numbers) {
        out += (out.empty() ? "" : " ") + std::to_string(number);
    }
    return out.empty() ? "-" : out;
}

std::string Bits(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    char text[16];
    std::snprintf(text, sizeof text, "%08x", bits);
    return text;
}

float FromBits(const std::string& text) {
    const auto bits = static_cast<std::uint32_t>(std::stoul(text, nullptr, 16));
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// The byte as it lies in memory: a flag that holds neither 0 nor 1 shows.
unsigned int FlagByte(const bool& flag) {
    unsigned char byte;
    std::memcpy(&byte, &flag, 1);
    return byte;
}

void Print(const std::string& line) {
    std::fputs((line + "\n").c_str(), stdout);
}

unsigned int Number(const std::string& text) {
    return static_cast<unsigned int>(std::stoul(text));
}

void PrintMessages() {
    for (const std::string& message : g_messages) {
        Print("msg " + Hex(message));
    }
    g_messages.clear();
    g_repeated = 0;
}

void Record(LOG_LEVEL level, const char* format, ...) {
    char text[8192];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    std::string message = length < 0 ? "unprintable" : text;
    if (level != LOG_LEVEL_ERROR) {
        message = "level " + std::to_string(level) + ": " + message;
    }
    g_repeated = !g_messages.empty() && g_messages.back() == message ? g_repeated + 1 : 0;
    if (g_repeated == ENDLESS) {
        while (!g_messages.empty() && g_messages.back() == message) {
            g_messages.pop_back();
        }
        PrintMessages();
        Print("endless " + Hex(message));
        std::fflush(stdout);
        _exit(0);
    }
    g_messages.push_back(message);
}

void Result(int result) {
    PrintMessages();
    Print("ret " + std::to_string(result));
}

fs::path Folder() {
    return fs::path(g_root) / "Orvan/Config/Server";
}

std::string Contents(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void Put(const Words& words) {
    std::ofstream(Folder() / words[1], std::ios::binary) << Unhex(words[2]);
}

void Get(const Words& words) {
    const fs::path path = Folder() / words[1];
    if (fs::is_symlink(path)) {
        Print("file full device");
    } else if (fs::is_directory(path)) {
        Print("file directory");
    } else {
        Print("file " + (fs::exists(path) ? Hex(Contents(path)) : "absent"));
    }
}

void Normalise(const Words& words) {
    const std::string line = Unhex(words[1]);
    std::vector<char> buffer(line.begin(), line.end());
    buffer.push_back('\0');
    ConfigFile_Utils_RemoveSpaces(buffer.data());
    Print("norm " + Hex(buffer.data()));
}

void Location(const Words& words) {
    char location[1024];
    g_hasRoot = words[1] == "1";
    ConfigFile_Utils_GetConfigFileLocation(location);
    g_hasRoot = true;
    Print("loc " + Hex(location));
}

void DumpGlobal(const Words&) {
    const CONFIGURATION__GLOBAL& g = *ConfigFile_GetStructPtr_Global();
    Print("cluster " + Field(g.szClusterName));
    Print("nodes " + std::to_string(g.uiNodeCount));
    for (int type = 0; type < 2; ++type) {
        Print("connected" + std::to_string(type) + " " + Joined(g.uiDevicesConnected[type]));
    }
    for (int type = 0; type < 2; ++type) {
        Print("first" + std::to_string(type) + " " + Joined(g.uiFirstDeviceOfNode[type]));
    }
    Print("offline " + std::to_string(g.ullNodesOffline));
    Print("manager " + Joined(g.uiManagerMachineIP));
    Print("levels " + Joined(std::vector<std::uint32_t>{g.uiLogLevelNode, g.uiLogLevelManager}));
    Print("flags " + Joined(std::vector<unsigned int>{FlagByte(g.bShowAllParameters), FlagByte(g.bAllowFailedDevices),
                                                      FlagByte(g.bAllowFailedNodes)}));
    Print("storage " + Field(g.szGeneralStoragePath));
}

void DumpSection(int type, const CONFIGURATION__CAPTURE_HARDWARE& s) {
    Print("section" + std::to_string(type) + " " + std::to_string(s.uiFirstDevice) + " " +
          std::to_string(s.uiLastDevice) + " " + Field(s.szDeviceName) + " " + Field(s.szDeviceParams));
    if (type != CAPTURE_DEVICE_CAMERA) {
        return;
    }
    Print("cti " + Field(s.szCTIName) + " " + Field(s.szCTIParams));
    Print("numbers " +
          Joined(std::vector<std::uint32_t>{s.uiSyncMode, s.uiMaxDMABuffers, s.uiMaxDetectionTime, s.uiLinkSpeed}));
    Print("macs " + Joined(s.vCameraMAC));
    for (const CONFIGURATION__CAPTURE_DEVICE* model : s.vCameraModels) {
        Print("model " + Field(model->szModelName) + " " + Field(model->szModelParams) + " " +
              std::to_string(model->uiModelCameras));
    }
}

void DumpLocal(const Words&) {
    const CONFIGURATION__LOCAL& r = *ConfigFile_GetStructPtr_Local();
    Print("node " + std::to_string(r.uiNodeID));
    Print("ip " + Joined(r.uiIP));
    Print("count " + std::to_string(r.uiRecordingStorageCount));
    for (std::size_t i = 0; i < MAX_RECORDING_STORAGES; ++i) {
        Print("storage" + std::to_string(i) + " " + Field(r.szRecordingStorage[i]));
    }
    for (int type = 0; type < 2; ++type) {
        Print("stream" + std::to_string(type) + " " + Field(r.szStreamPluginName[type]));
    }
    Print("capture " + Field(r.szCaptureProcessPluginName));
    Print("post " + Field(r.szPostProcessPluginName));
    Print("memory " + Bits(r.fMaxMemUseAllowed));
    for (int type = 0; type < 2; ++type) {
        std::vector<std::size_t> offline;
        for (std::size_t n = 0; n <= MAX_DEVICES; ++n) {
            if (FlagByte(r.bDeviceOffline[type][n]) != 0) {
                offline.push_back(n);
            }
        }
        Print("offline" + std::to_string(type) + " " + Joined(offline));
        for (const CONFIGURATION__CAPTURE_HARDWARE* section : r.vHardware[type]) {
            DumpSection(type, *section);
        }
    }
}

CAPTURE_DEVICE_TYPE Type(const std::string& word) {
    return static_cast<CAPTURE_DEVICE_TYPE>(Number(word));
}

void DumpDevices(const Words& words) {
    for (const auto& [key, info] : *ConfigFile_GetStructPtr_DeviceInfo(Type(words[1]))) {
        char text[32];
        std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(key));
        std::string line = std::string("device ") + text + " " + Field(info.szName);
        for (float position : info.fPosition) {
            line += " " + Bits(position);
        }
        for (std::uint8_t byte : info.reserved) {
            line += byte != 0 ? " reserved" : "";
        }
        Print(line);
    }
}

void SaveLoadedDevices(const Words& words) {
    std::vector<CAPTURE_DEVICE_INFO> infos;
    std::vector<unsigned int> keys;
    for (const auto& [key, info] : *ConfigFile_GetStructPtr_DeviceInfo(Type(words[1]))) {
        keys.push_back(static_cast<unsigned int>(key));
        infos.push_back(info);
    }
    Result(ConfigLib_Save_DeviceInfo(Type(words[1]), &infos, &keys));
}

Words Split(const std::string& text, char separator) {
    Words words(1);
    for (char c : text) {
        if (c == separator) {
            words.emplace_back();
        } else {
            words.back() += c;
        }
    }
    return words;
}

void SaveGivenDevices(const Words& words) {
    std::vector<CAPTURE_DEVICE_INFO> infos;
    std::vector<unsigned int> keys;
    for (std::size_t i = 2; i < words.size(); ++i) {
        const Words parts = Split(words[i], ':');
        const Words positions = Split(parts[2], ',');
        CAPTURE_DEVICE_INFO info = {};
        std::snprintf(info.szName, sizeof info.szName, "%s", Unhex(parts[1]).c_str());
        for (std::size_t p = 0; p < 7; ++p) {
            info.fPosition[p] = FromBits(positions[p]);
        }
        keys.push_back(static_cast<unsigned int>(std::stoul(parts[0], nullptr, 16)));
        infos.push_back(info);
    }
    Result(ConfigLib_Save_DeviceInfo(Type(words[1]), &infos, &keys));
}

void SaveMap(const Words& words) {
    std::string block = Unhex(words[1]);
    Result(ConfigLib_Save_DeviceMap(block.data(), static_cast<unsigned int>(block.size())));
}

void DumpMap(const Words&) {
    void* block = nullptr;
    unsigned int size = 0;
    ConfigFile_GetStructPtr_DeviceMapInfo(&block, &size);
    Print(std::string("map ") + (block == nullptr ? "null " : "set ") + std::to_string(size) + " " +
          Hex(std::string(static_cast<const char*>(block), size)));
}

// Fields set from outside, as a client of the library does.

template <std::size_t Size>
void SetText(char (&field)[Size], const std::string& hex) {
    std::snprintf(field, Size, "%s", Unhex(hex).c_str());
}

void AddSection(const Words& words) {
    const CAPTURE_DEVICE_TYPE type = Type(words[2]);
    CONFIGURATION__CAPTURE_HARDWARE* section;
    if (type == CAPTURE_DEVICE_CAMERA) {
        section = new CONFIGURATION__CAPTURE_HARDWARE();
    } else {
        // A sensor's record is short; nothing may look behind it.
        section = static_cast<CONFIGURATION__CAPTURE_HARDWARE*>(std::calloc(1, CAPTURE_HARDWARE_COMMON_SIZE));
    }
    section->uiFirstDevice = Number(words[3]);
    section->uiLastDevice = Number(words[4]);
    SetText(section->szDeviceName, words[5]);
    SetText(section->szDeviceParams, words[6]);
    ConfigFile_GetStructPtr_Local()->vHardware[type].push_back(section);
}

CONFIGURATION__CAPTURE_HARDWARE& LastSection() {
    return *ConfigFile_GetStructPtr_Local()->vHardware[CAPTURE_DEVICE_CAMERA].back();
}

void AddModel(const Words& words) {
    auto* model = new CONFIGURATION__CAPTURE_DEVICE();
    SetText(model->szModelName, words[2]);
    SetText(model->szModelParams, words[3]);
    model->uiModelCameras = Number(words[4]);
    LastSection().vCameraModels.push_back(model);
}

void SetNumbers(const Words& words) {
    LastSection().uiSyncMode = Number(words[2]);
    LastSection().uiMaxDMABuffers = Number(words[3]);
    LastSection().uiMaxDetectionTime = Number(words[4]);
    LastSection().uiLinkSpeed = Number(words[5]);
}

void SetMacs(const Words& words) {
    for (std::size_t i = 2; i < words.size(); ++i) {
        LastSection().vCameraMAC.push_back(std::stoull(words[i]));
    }
}

using Handler = void (*)(const Words&);

void Edit(const Words& words) {
    static CONFIGURATION__GLOBAL& g = *ConfigFile_GetStructPtr_Global();
    static CONFIGURATION__LOCAL& r = *ConfigFile_GetStructPtr_Local();
    static const std::map<std::string, Handler> fields = {
        {"cluster", [](const Words& w) { SetText(g.szClusterName, w[2]); }},
        {"general", [](const Words& w) { SetText(g.szGeneralStoragePath, w[2]); }},
        {"nodes", [](const Words& w) { g.uiNodeCount = Number(w[2]); }},
        {"nodesoffline", [](const Words& w) { g.ullNodesOffline = std::stoull(w[2]); }},
        {"connected", [](const Words& w) { g.uiDevicesConnected[Number(w[2])][Number(w[3])] = Number(w[4]); }},
        {"manager",
         [](const Words& w) {
             g.uiManagerMachineIP[0] = Number(w[2]);
             g.uiManagerMachineIP[1] = Number(w[3]);
         }},
        {"node", [](const Words& w) { r.uiNodeID = Number(w[2]); }},
        {"ip",
         [](const Words& w) {
             r.uiIP[0] = Number(w[2]);
             r.uiIP[1] = Number(w[3]);
         }},
        {"storage", [](const Words& w) { SetText(r.szRecordingStorage[Number(w[2])], w[3]); }},
        {"count", [](const Words& w) { r.uiRecordingStorageCount = Number(w[2]); }},
        {"stream", [](const Words& w) { SetText(r.szStreamPluginName[Number(w[2])], w[3]); }},
        {"capture", [](const Words& w) { SetText(r.szCaptureProcessPluginName, w[2]); }},
        {"post", [](const Words& w) { SetText(r.szPostProcessPluginName, w[2]); }},
        {"memory", [](const Words& w) { r.fMaxMemUseAllowed = FromBits(w[2]); }},
        {"deviceoffline", [](const Words& w) { r.bDeviceOffline[Number(w[2])][Number(w[3])] = true; }},
        {"section", AddSection},
        {"cti",
         [](const Words& w) {
             SetText(LastSection().szCTIName, w[2]);
             SetText(LastSection().szCTIParams, w[3]);
         }},
        {"numbers", SetNumbers},
        {"macs", SetMacs},
        {"model", AddModel},
    };
    fields.at(words[1])(words);
}

const std::map<std::string, Handler>& Operations() {
    static const std::map<std::string, Handler> operations = {
        {"init", [](const Words& w) { ConfigLib_Init(Number(w[1])); }},
        {"deinit", [](const Words&) { ConfigLib_DeInit(); }},
        {"put", Put},
        {"del", [](const Words& w) { fs::remove_all(Folder() / w[1]); }},
        {"mkdir", [](const Words& w) { fs::create_directory(Folder() / w[1]); }},
        {"full", [](const Words& w) { fs::create_symlink("/dev/full", Folder() / w[1]); }},
        {"get", Get},
        {"norm", Normalise},
        {"loc", Location},
        {"loadg", [](const Words&) { Result(ConfigLib_Load_Global()); }},
        {"saveg", [](const Words&) { Result(ConfigLib_Save_Global(ConfigFile_GetStructPtr_Global())); }},
        {"dumpg", DumpGlobal},
        {"loadl", [](const Words&) { Result(ConfigLib_Load_Local()); }},
        {"savel", [](const Words&) { Result(ConfigLib_Save_Local(ConfigFile_GetStructPtr_Local())); }},
        {"dumpl", DumpLocal},
        {"loadi", [](const Words& w) { Result(ConfigLib_Load_DeviceInfo(Type(w[1]), w[2] == "1")); }},
        {"savei", SaveLoadedDevices},
        {"dumpi", DumpDevices},
        {"savex", SaveGivenDevices},
        {"loadm", [](const Words& w) { Result(ConfigLib_Load_DeviceMap(w[1] == "1")); }},
        {"savem", SaveMap},
        {"dumpm", DumpMap},
        {"edit", Edit},
    };
    return operations;
}

void RunCase(const std::vector<Words>& operations) {
    const rlimit guard = {GUARD, GUARD};
    setrlimit(RLIMIT_CPU, &guard);
    for (const Words& words : operations) {
        Operations().at(words[0])(words);
        Print("--");
    }
    std::fflush(stdout);
    _exit(0);
}

void CleanFolder() {
    fs::remove_all(Folder());
    fs::create_directories(Folder());
}

void StartCase(const std::vector<Words>& operations) {
    CleanFolder();
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        RunCase(operations);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (child < 0 || status != 0) {
        Print("crash " + std::to_string(status));
    }
    Print("end");
}

}  // namespace

// The program's own definition stands ahead of the shared library's.
int OS_GetProgramDataPath(char* buffer, unsigned int size) {
    if (!g_hasRoot) {
        return 0;
    }
    std::snprintf(buffer, size, "%s", g_root.c_str());
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <empty folder>\n", argv[0]);
        return 2;
    }
    g_root = argv[1];
    Log = Record;
    std::ios::sync_with_stdio(false);
    std::vector<Words> operations;
    for (std::string line; std::getline(std::cin, line);) {
        if (line != "end") {
            operations.push_back(Split(line, ' '));
            continue;
        }
        StartCase(operations);
        operations.clear();
    }
    fs::remove_all(fs::path(g_root) / "Orvan");
    return 0;
}
