// The reader of device information files, and what its writer makes of the entries.
#include <cmath>

#include "ConfigLib.h"
#include "FuzzSupport.h"

namespace {

using fuzz::Expect;
using Entries = std::map<std::uint64_t, CAPTURE_DEVICE_INFO>;

template <CAPTURE_DEVICE_TYPE Type>
int Load() {
    return ConfigLib_Load_DeviceInfo(Type, false);
}
template <CAPTURE_DEVICE_TYPE Type>
int LoadEmuDef() {
    return ConfigLib_Load_DeviceInfo(Type, true);
}

// Names of one type's files: index 0, index 2, with the flag set.
constexpr const char* kNames[][3] = {
    {"camera.cfg", "camera2.cfg", "cameraEmuDef.cfg"},
    {"sensor.cfg", "sensor2.cfg", "sensorEmuDef.cfg"},
};

void CheckEntries(const Entries& entries) {
    for (const auto& [key, entry] : entries) {
        Expect(key <= 0xFFFFFFFF, "a key has 32 bits");
        Expect(fuzz::IsTerminated(entry.szName) && entry.szName[0] != '\0', "a name is terminated and not empty");
        for (const std::uint8_t byte : entry.reserved) {
            Expect(byte == 0, "the reserved bytes are zero");
        }
    }
}

void Save(CAPTURE_DEVICE_TYPE type, const Entries& entries) {
    std::vector<CAPTURE_DEVICE_INFO> infos;
    std::vector<unsigned int> keys;
    for (const auto& [key, entry] : entries) {
        keys.push_back(static_cast<unsigned int>(key));
        infos.push_back(entry);
    }
    Expect(ConfigLib_Save_DeviceInfo(type, &infos, &keys), "the entries can be saved");
}

// The file has six decimals.
bool IsAlike(float before, float after) {
    if (std::isnan(before) || std::isinf(before)) {
        return std::isnan(before) ? std::isnan(after) : before == after;
    }
    return std::fabs(before - after) <= std::fmax(1e-6F, std::fabs(before) * 1e-6F);
}

void CheckSame(const Entries& before, const Entries& after) {
    Expect(before.size() == after.size(), "saving and loading keeps the number of entries");
    for (const auto& [key, entry] : before) {
        const auto found = after.find(key);
        Expect(found != after.end(), "saving and loading keeps the keys");
        Expect(std::string(entry.szName) == found->second.szName, "saving and loading keeps the names");
        for (unsigned i = 0; i < 7; ++i) {
            Expect(IsAlike(entry.fPosition[i], found->second.fPosition[i]),
                   "saving and loading keeps the positions to six decimals");
        }
    }
}

template <CAPTURE_DEVICE_TYPE Type>
void Run(std::string_view bytes) {
    const bool isSecond = bytes.size() % 2 == 1;
    const char* name = kNames[Type][isSecond ? 1 : 0];
    fuzz::UseIndex(isSecond ? 2 : 0);
    fuzz::RemoveFile(name);
    Expect(fuzz::OnLeash(false, Load<Type>) == CONFIG_LOAD_FAILED, "without a file nothing loads");
    Expect(ConfigFile_GetStructPtr_DeviceInfo(Type)->empty(), "and no entry stays");
    fuzz::PutFile(kNames[Type][2], bytes);
    Expect(fuzz::OnLeash(false, LoadEmuDef<Type>) == CONFIG_LOAD_CLEAN, "the other file is read with the flag set");
    const Entries emuDef = *ConfigFile_GetStructPtr_DeviceInfo(Type);
    fuzz::PutFile(name, bytes);
    Expect(fuzz::OnLeash(false, Load<Type>) == CONFIG_LOAD_CLEAN, "a file that opens loads clean");
    const Entries loaded = *ConfigFile_GetStructPtr_DeviceInfo(Type);
    CheckEntries(loaded);
    CheckSame(emuDef, loaded);
    Save(Type, loaded);
    const std::string saved = fuzz::ReadFile(name);
    Expect(fuzz::OnLeash(false, Load<Type>) == CONFIG_LOAD_CLEAN, "a saved file loads clean");
    CheckSame(loaded, *ConfigFile_GetStructPtr_DeviceInfo(Type));
    Save(Type, *ConfigFile_GetStructPtr_DeviceInfo(Type));
    Expect(saved == fuzz::ReadFile(name), "a second save writes the same bytes");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Run<CAPTURE_DEVICE_CAMERA>(fuzz::AsText(data, size));
    Run<CAPTURE_DEVICE_SENSOR>(fuzz::AsText(data, size));
    return 0;
}
