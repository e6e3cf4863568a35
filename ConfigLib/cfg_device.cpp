#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "Log.h"
#include "OpenFile.h"
#include "cfg_utils.h"

namespace ConfigLib {
std::map<std::uint64_t, CAPTURE_DEVICE_INFO> g_DeviceNameAndPos[CAPTURE_DEVICE_TYPES];
void* pMapInfo = nullptr;
unsigned int uiMapInfoSize = 0;
}  // namespace ConfigLib

namespace {

constexpr int kLineSize = 1024;          // read buffer, bytes
constexpr unsigned int kNameWidth = 64;  // a name is scanned up to this width and cut to its field
constexpr std::size_t kFileNameSize = 64;
constexpr char kDeviceMap[] = "DeviceMapInfo.cfgbin";
constexpr char kDeviceMapEmuDef[] = "DeviceMapInfoEmuDef.cfgbin";

using FileName = char[kFileNameSize];

void BuildInfoName(FileName& name, CAPTURE_DEVICE_TYPE type, bool emuDef) {
    const char* label = DeviceLabel(type, DEVICE_LABEL_SINGULAR_LOWER);
    if (emuDef) {
        std::snprintf(name, sizeof name, "%sEmuDef.cfg", label);
    } else if (g_uiConfigIdx < 2) {
        std::snprintf(name, sizeof name, "%s.cfg", label);
    } else {
        std::snprintf(name, sizeof name, "%s%u.cfg", label, g_uiConfigIdx);
    }
}

// What a file of this matter is opened for. None is written through a temporary one.
enum class Purpose { Read, Write };

FilePtr OpenInLocation(ConfigPath& path, const char* name, Purpose purpose) {
    BuildConfigPath(path, name);
    return FilePtr(purpose == Purpose::Read ? StreamOf(OpenToRead(path), "r")
                                            : StreamOf(OpenLogFile(path, OldBytes::Cut), "w"));
}

FilePtr OpenInfoFile(CAPTURE_DEVICE_TYPE type, bool emuDef, Purpose purpose) {
    FileName name;
    ConfigPath path;
    BuildInfoName(name, type, emuDef);
    FilePtr file = OpenInLocation(path, name, purpose);
    if (file == nullptr) {
        Log(LOG_LEVEL_ERROR, "Config: Cannot open %s config file '%s'", DeviceLabel(type, DEVICE_LABEL_SINGULAR_LOWER),
            path);
    }
    return file;
}

FilePtr OpenMapFile(const char* name, Purpose purpose) {
    ConfigPath path;
    FilePtr file = OpenInLocation(path, name, purpose);
    if (file == nullptr) {
        Log(LOG_LEVEL_ERROR, "Config: Cannot open Device Map info file '%s'", path);
    }
    return file;
}

// One line of the file, as scanned.
struct InfoLine {
    unsigned int key;
    char name[kNameWidth + 1];
    float position[7];
};

// All nine items must scan.
bool ScanInfoLine(const char* line, const char* pattern, InfoLine& info) {
    float* p = info.position;
    return std::sscanf(line, pattern, &info.key, info.name, &p[0], &p[1], &p[2], &p[3], &p[4], &p[5], &p[6]) == 9;
}

// A later line with the same key replaces the earlier one.
void StoreInfoLine(CAPTURE_DEVICE_TYPE type, const InfoLine& info) {
    CAPTURE_DEVICE_INFO& entry = ConfigLib::g_DeviceNameAndPos[type][info.key];  // all zero when new
    CopyRun(entry.szName, sizeof entry.szName, {info.name, std::strlen(info.name)});
    std::memcpy(entry.fPosition, info.position, sizeof entry.fPosition);
}

// Size of an open file, with the position back at the start; 0 when it does not tell.
std::size_t SizeOf(std::FILE* file) {
    std::fseek(file, 0, SEEK_END);
    const long size = std::ftell(file);
    std::rewind(file);
    return size > 0 ? static_cast<std::size_t>(size) : 0;
}

}  // namespace

std::map<std::uint64_t, CAPTURE_DEVICE_INFO>* ConfigFile_GetStructPtr_DeviceInfo(CAPTURE_DEVICE_TYPE type) {
    return &ConfigLib::g_DeviceNameAndPos[type];
}

int ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_TYPE type, bool emuDef) {
    ConfigLib::g_DeviceNameAndPos[type].clear();
    const FilePtr file = OpenInfoFile(type, emuDef, Purpose::Read);
    if (file == nullptr) {
        return CONFIG_LOAD_FAILED;
    }
    char pattern[96];
    std::snprintf(pattern, sizeof pattern, "%s#%%x=%%%u[^,\n],%%f,%%f,%%f,%%f,%%f,%%f,%%f",
                  DeviceLabel(type, DEVICE_LABEL_SINGULAR_LOWER), kNameWidth);
    char line[kLineSize];
    InfoLine info;
    while (ReadConfigLine(file.get(), line, kLineSize)) {
        if (ScanInfoLine(line, pattern, info)) {
            StoreInfoLine(type, info);
        }
    }
    return CONFIG_LOAD_CLEAN;
}

bool ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_TYPE type, std::vector<CAPTURE_DEVICE_INFO>* infos,
                               std::vector<unsigned int>* keys) {
    const FilePtr file = OpenInfoFile(type, false, Purpose::Write);
    if (file == nullptr) {
        return false;
    }
    for (std::size_t i = 0; i < infos->size(); ++i) {
        const CAPTURE_DEVICE_INFO& info = (*infos)[i];
        const float* p = info.fPosition;
        const unsigned int key = keys->at(i);
        // The results of the writes are not looked at.
        (void)std::fprintf(file.get(), "%s#%8x = \"%s\", %f, %f, %f,   %f, %f, %f,   %f\n",
                           DeviceLabel(type, DEVICE_LABEL_SINGULAR), key, info.szName, static_cast<double>(p[0]),
                           static_cast<double>(p[1]), static_cast<double>(p[2]), static_cast<double>(p[3]),
                           static_cast<double>(p[4]), static_cast<double>(p[5]), static_cast<double>(p[6]));
    }
    return true;
}

int ConfigLib_Load_DeviceMap(bool emuDef) {
    const FilePtr file = OpenMapFile(emuDef ? kDeviceMapEmuDef : kDeviceMap, Purpose::Read);
    if (file == nullptr) {
        return CONFIG_LOAD_FAILED;
    }
    const std::size_t size = SizeOf(file.get());
    if (ConfigLib::pMapInfo != nullptr) {
        std::free(ConfigLib::pMapInfo);
        ConfigLib::uiMapInfoSize = 0;
    }
    // An empty file gives a pointer too.
    ConfigLib::pMapInfo = std::malloc(std::max<std::size_t>(size, 1));
    if (ConfigLib::pMapInfo != nullptr && std::fread(ConfigLib::pMapInfo, 1, size, file.get()) == size) {
        ConfigLib::uiMapInfoSize = static_cast<unsigned int>(size);
    }
    return ConfigLib::uiMapInfoSize != 0 ? CONFIG_LOAD_CLEAN : CONFIG_LOAD_FAILED;
}

bool ConfigLib_Save_DeviceMap(void* block, unsigned int size) {
    const FilePtr file = OpenMapFile(kDeviceMap, Purpose::Write);
    if (file == nullptr) {
        return false;
    }
    // The result of the write is not looked at.
    (void)std::fwrite(block, 1, size, file.get());
    return true;
}

void ConfigFile_GetStructPtr_DeviceMapInfo(void** block, unsigned int* size) {
    *block = ConfigLib::pMapInfo;
    *size = ConfigLib::uiMapInfoSize;
}
