// Load, save, load, save: what a save wrote loads with the fields that were saved, apart from what the formats are
// known to lose, and a second save writes the same bytes. The losses are stated here as changes to the record.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "ConfigLib.h"
#include "FuzzSupport.h"

namespace {

using fuzz::Expect;
using Hardware = CONFIGURATION__CAPTURE_HARDWARE;

// ---- global.cfg ----------------------------------------------------------------------------------------------------

std::uint64_t NodesMask(std::uint32_t nodeCount) {
    return nodeCount == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << nodeCount) - 1;
}

// Sensor counts and offline nodes outside of the system are not written. Sums and first numbers are the reader's work.
CONFIGURATION__GLOBAL AfterSave(CONFIGURATION__GLOBAL global) {
    std::memset(global.uiDevicesConnected[CAPTURE_DEVICE_SENSOR], 0,
                sizeof global.uiDevicesConnected[CAPTURE_DEVICE_SENSOR]);
    std::memset(global.uiFirstDeviceOfNode, 0, sizeof global.uiFirstDeviceOfNode);
    global.ullNodesOffline &= NodesMask(global.uiNodeCount);
    global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA][0] = 0;
    if (global.szClusterName[0] == '\0' || global.uiNodeCount == 0) {
        return global;
    }
    for (unsigned type = 0; type < CAPTURE_DEVICE_TYPES; ++type) {
        auto& connected = global.uiDevicesConnected[type];
        auto& first = global.uiFirstDeviceOfNode[type];
        first[1] = 1;
        for (unsigned node = 1; node <= MAX_NODES; ++node) {
            connected[0] += connected[node];
        }
        if (connected[0] > MAX_DEVICES) {
            CONFIGURATION__GLOBAL cleared;
            std::memset(&cleared, 0, sizeof cleared);
            return cleared;
        }
        for (unsigned node = 1; node < global.uiNodeCount; ++node) {
            first[node + 1] = first[node] + connected[node];
        }
    }
    return global;
}

// A name that holds the tag of the offline list is searched for such a list on every load.
bool NameHoldsOfflineTag(const CONFIGURATION__GLOBAL& global) {
    return std::strstr(fuzz::Normalised("\"" + std::string(global.szClusterName) + "\"").c_str(), "nodesoffline=") !=
           nullptr;
}

void CheckSameGlobal(const CONFIGURATION__GLOBAL& expected, const CONFIGURATION__GLOBAL& actual) {
    Expect(std::strcmp(expected.szClusterName, actual.szClusterName) == 0, "the name comes back");
    Expect(expected.uiNodeCount == actual.uiNodeCount, "the count of nodes comes back");
    Expect(std::memcmp(expected.uiDevicesConnected, actual.uiDevicesConnected, sizeof actual.uiDevicesConnected) == 0,
           "the camera counts come back and the sensor counts do not");
    Expect(
        std::memcmp(expected.uiFirstDeviceOfNode, actual.uiFirstDeviceOfNode, sizeof actual.uiFirstDeviceOfNode) == 0,
        "the first devices come back");
    Expect(expected.ullNodesOffline == actual.ullNodesOffline || NameHoldsOfflineTag(expected),
           "the offline nodes of the system come back");
    Expect(std::memcmp(expected.uiManagerMachineIP, actual.uiManagerMachineIP, sizeof actual.uiManagerMachineIP) == 0,
           "the manager's addresses come back");
    Expect(expected.uiLogLevelNode == actual.uiLogLevelNode && expected.uiLogLevelManager == actual.uiLogLevelManager,
           "the log levels come back");
    Expect(expected.bShowAllParameters == actual.bShowAllParameters &&
               expected.bAllowFailedDevices == actual.bAllowFailedDevices &&
               expected.bAllowFailedNodes == actual.bAllowFailedNodes,
           "the flags come back");
    Expect(std::strcmp(expected.szGeneralStoragePath, actual.szGeneralStoragePath) == 0,
           "the general storage comes back");
}

std::string SaveGlobal() {
    CONFIGURATION__GLOBAL* global = ConfigFile_GetStructPtr_Global();
    const CONFIGURATION__GLOBAL before = *global;
    Expect(ConfigLib_Save_Global(global), "global.cfg can be saved");
    CheckSameGlobal(before, *global);
    Expect(!fuzz::HasFile("global.cfg.temp"), "no temporary file stays");
    return fuzz::ReadFile("global.cfg");
}

void CheckGlobal() {
    const CONFIGURATION__GLOBAL loaded = *ConfigFile_GetStructPtr_Global();
    const CONFIGURATION__GLOBAL expected = AfterSave(loaded);
    const std::string saved = SaveGlobal();
    if (fuzz::OnLeash(fuzz::GlobalNeverEnds(saved), ConfigLib_Load_Global) == fuzz::kNeverEnds) {
        return;  // a name with an offline list in it can be cut so that its last number becomes a 0
    }
    CheckSameGlobal(expected, *ConfigFile_GetStructPtr_Global());
    // Offline nodes outside of the system leave a blank line behind, once. A cleared record has lost all.
    const bool marksOutside = (loaded.ullNodesOffline & ~NodesMask(loaded.uiNodeCount)) != 0;
    if (!marksOutside && expected.uiNodeCount == loaded.uiNodeCount) {
        Expect(SaveGlobal() == saved, "a second save of global.cfg writes the same bytes");
    }
}

// ---- local.cfg -----------------------------------------------------------------------------------------------------

// A section as a value. The camera part of a sensor stays empty.
struct Section {
    std::string deviceName, deviceParams, ctiName, ctiParams;
    std::uint32_t first = 0, last = 0, syncMode = 0, buffers = 0, detectionTime = 0, linkSpeed = 0;
    std::vector<std::uint64_t> macs;
    struct Model {
        std::string name, params;
        std::uint32_t cameras;
        bool operator==(const Model& other) const {
            return name == other.name && params == other.params && cameras == other.cameras;
        }
    };
    std::vector<Model> models;

    Section(const Hardware& hardware, unsigned type)
        : deviceName(hardware.szDeviceName),
          deviceParams(hardware.szDeviceParams),
          first(hardware.uiFirstDevice),
          last(hardware.uiLastDevice) {
        if (type == CAPTURE_DEVICE_CAMERA) {
            TakeCameraPart(hardware);
        }
    }

    bool operator==(const Section& other) const {
        return deviceName == other.deviceName && deviceParams == other.deviceParams && ctiName == other.ctiName &&
               ctiParams == other.ctiParams && first == other.first && last == other.last &&
               syncMode == other.syncMode && buffers == other.buffers && detectionTime == other.detectionTime &&
               linkSpeed == other.linkSpeed && macs == other.macs && models == other.models;
    }

private:
    void TakeCameraPart(const Hardware& hardware) {
        ctiName = hardware.szCTIName;
        ctiParams = hardware.szCTIParams;
        syncMode = hardware.uiSyncMode;
        buffers = hardware.uiMaxDMABuffers;
        detectionTime = hardware.uiMaxDetectionTime;
        linkSpeed = hardware.uiLinkSpeed;
        macs = hardware.vCameraMAC;
        for (const CONFIGURATION__CAPTURE_DEVICE* model : hardware.vCameraModels) {
            models.push_back({model->szModelName, model->szModelParams, model->uiModelCameras});
        }
    }
};

// A local record as a value.
struct Node {
    std::uint32_t id = 0, storageCount = 0;
    std::uint32_t ip[2] = {};
    std::vector<std::string> storages, streamPlugins;
    std::string capturePlugin, postPlugin;
    float maxMem = 0.0F;
    std::vector<Section> sections[CAPTURE_DEVICE_TYPES];
    bool anyOffline = false;

    explicit Node(const CONFIGURATION__LOCAL& local)
        : id(local.uiNodeID),
          storageCount(local.uiRecordingStorageCount),
          ip{local.uiIP[0], local.uiIP[1]},
          storages(local.szRecordingStorage, local.szRecordingStorage + MAX_RECORDING_STORAGES),
          streamPlugins(local.szStreamPluginName, local.szStreamPluginName + CAPTURE_DEVICE_TYPES),
          capturePlugin(local.szCaptureProcessPluginName),
          postPlugin(local.szPostProcessPluginName),
          maxMem(local.fMaxMemUseAllowed) {
        for (unsigned type = 0; type < CAPTURE_DEVICE_TYPES; ++type) {
            for (const Hardware* hardware : local.vHardware[type]) {
                sections[type].emplace_back(*hardware, type);
            }
            for (const bool offline : local.bDeviceOffline[type]) {
                anyOffline = anyOffline || offline;
            }
        }
    }
};

// Only slots within the count are written, and the new count is that of the slots found. The reader's closing slash
// reaches as many slots, counted from the first.
void LoseStorages(Node& node) {
    std::uint32_t kept = 0;
    for (std::uint32_t slot = 0; slot < node.storages.size(); ++slot) {
        if (slot >= node.storageCount) {
            node.storages[slot].clear();
        }
        kept += node.storages[slot].empty() ? 0 : 1;
    }
    node.storageCount = kept;
    for (std::uint32_t slot = 0; slot < kept && node.id != 0; ++slot) {
        std::string& path = node.storages[slot];
        if (path.size() >= 2 && path.size() < 1023 && path.back() != '/' && path.back() != '\\') {
            path += '/';
        }
    }
}

// The writer numbers the models by their place; a number behind the section's end is refused by the reader.
void LoseModels(Section& section) {
    const std::uint32_t size = section.last - section.first + 1;
    std::vector<Section::Model> kept;
    std::uint32_t camera = section.first;
    for (const Section::Model& model : section.models) {
        if (model.cameras == size || camera <= section.last) {
            kept.push_back(model);
        }
        camera += model.cameras;
    }
    section.models = kept;
}

// A section without a second CaptureDevice value is not written; one that runs backwards is refused by the reader.
void LoseSections(std::vector<Section>& sections) {
    const auto isLost = [](const Section& section) {
        return section.deviceParams.empty() || section.first > section.last;
    };
    sections.erase(std::remove_if(sections.begin(), sections.end(), isLost), sections.end());
    std::for_each(sections.begin(), sections.end(), LoseModels);
}

Node AfterSave(Node node) {
    if (node.ip[0] == 0) {
        node.ip[1] = 0;  // alone on its line, the second address is not read
    }
    node.maxMem = static_cast<float>(static_cast<std::uint32_t>(node.maxMem * 100.0F)) / 100.0F;
    node.anyOffline = false;
    LoseStorages(node);
    for (auto& sections : node.sections) {
        LoseSections(sections);
    }
    return node;
}

// What does not come back in `actual`, null when all does.
const char* Difference(const Node& expected, const Node& actual) {
    const struct {
        bool holds;
        const char* promise;
    } rules[] = {
        {expected.id == actual.id, "the node's number comes back"},
        {expected.ip[0] == actual.ip[0] && expected.ip[1] == actual.ip[1], "the addresses come back"},
        {expected.storages == actual.storages, "the storages come back"},
        {expected.storageCount == actual.storageCount, "the count of storages comes back"},
        {expected.streamPlugins == actual.streamPlugins, "the stream plug-ins come back"},
        {expected.capturePlugin == actual.capturePlugin, "the capture processing plug-in comes back"},
        {expected.postPlugin == actual.postPlugin, "the post-processing plug-in comes back"},
        {expected.maxMem == actual.maxMem, "the share of memory comes back in whole percent"},
        {expected.sections[CAPTURE_DEVICE_CAMERA] == actual.sections[CAPTURE_DEVICE_CAMERA], "the cameras come back"},
        {expected.sections[CAPTURE_DEVICE_SENSOR] == actual.sections[CAPTURE_DEVICE_SENSOR], "the sensors come back"},
        {expected.anyOffline == actual.anyOffline, "no device comes back offline"},
    };
    const auto* broken = std::find_if(std::begin(rules), std::end(rules), [](const auto& rule) { return !rule.holds; });
    return broken == std::end(rules) ? nullptr : broken->promise;
}

void CheckSameNode(const Node& expected, const Node& actual) {
    const char* difference = Difference(expected, actual);
    Expect(difference == nullptr, difference);
}

std::string SaveLocal() {
    Expect(ConfigLib_Save_Local(ConfigFile_GetStructPtr_Local()), "local.cfg can be saved");
    Expect(!fuzz::HasFile("local.cfg.tmp"), "no temporary file stays");
    return fuzz::ReadFile("local.cfg");
}

// Devices that a mangled line marked as offline: their list would swallow the header of the section behind it.
void ForgetOfflineDevices(CONFIGURATION__LOCAL& local) {
    std::memset(local.bDeviceOffline, 0, sizeof local.bDeviceOffline);
}

void CheckLocal() {
    CONFIGURATION__LOCAL& local = *ConfigFile_GetStructPtr_Local();
    ForgetOfflineDevices(local);
    const Node loaded(local);
    const Node expected = AfterSave(loaded);
    const std::string saved = SaveLocal();
    const bool neverEnds = fuzz::LocalNeverEnds(saved, ConfigFile_GetStructPtr_Global()->uiNodeCount);
    Expect(!neverEnds, "a saved local.cfg has no offline list");
    fuzz::OnLeash(false, ConfigLib_Load_Local);
    CheckSameNode(expected, Node(local));

    const std::string second = SaveLocal();
    Expect(second == saved || Difference(loaded, expected) != nullptr,
           "a second save of local.cfg writes the same bytes when the first one lost nothing");

    // A loss happens once, unless the list of storages has gaps: each round then counts fewer.
    fuzz::OnLeash(false, ConfigLib_Load_Local);
    CheckSameNode(AfterSave(expected), Node(local));
    const auto end = loaded.storages.begin() + loaded.storageCount;
    if (std::find(loaded.storages.begin(), end, "") == end) {
        Expect(SaveLocal() == second, "a third save of local.cfg writes the same bytes as the second");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::TwoFiles files = fuzz::Split(fuzz::AsText(data, size));
    fuzz::PutFile("global.cfg", files.global);
    fuzz::PutFile("local.cfg", files.local);
    if (fuzz::OnLeash(fuzz::GlobalNeverEnds(files.global), ConfigLib_Load_Global) == fuzz::kNeverEnds) {
        return 0;
    }
    const std::uint32_t nodeCount = ConfigFile_GetStructPtr_Global()->uiNodeCount;
    if (fuzz::OnLeash(fuzz::LocalNeverEnds(files.local, nodeCount), ConfigLib_Load_Local) != fuzz::kNeverEnds) {
        CheckLocal();  // against the global record as loaded, with its sensors
    }
    CheckGlobal();
    return 0;
}
