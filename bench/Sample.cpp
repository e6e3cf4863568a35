#include "Sample.h"

#include <cstdio>
#include <cstring>

#include "ConfigLib.h"
#include "Place.h"
#include "Work.h"

namespace bench {
namespace {

Tag Plain(std::string name, std::string value) {
    return {std::move(name), {}, std::move(value)};
}

Tag Quoted(std::string name, std::string value) {
    return {std::move(name), {std::move(value)}, {}};
}

Tag Pair(std::string name, std::string first, std::string second) {
    return {std::move(name), {std::move(first), std::move(second)}, {}};
}

std::string Mac(unsigned int camera) {
    char text[32];
    std::snprintf(text, sizeof text, "00:1B:2C:3D:%02X:%02X", camera, 255 - camera);
    return text;
}

Group CameraSection(unsigned int camera) {
    const std::string number = std::to_string(camera);
    return {"Camera " + number,
            {
                Pair("CaptureDevice", "Frame grabber " + number, "Board=" + number + "; Port=0; Trigger=External"),
                Pair("CTI", "/opt/producers/lib/producer" + number + ".cti", "Interface=" + number),
                Plain("SyncMode", std::to_string(1 + camera % 4)),
                Plain("MaxDMABuffers", std::to_string(16 + camera)),
                Plain("MaxDetectionTime", std::to_string(5000 + camera)),
                Plain("LinkSpeed", std::to_string(10000 + camera)),
                Plain("CameraMAC" + number, Mac(camera)),
                Pair("CameraModel", "Model X" + number, "Width=4096; Height=3000; Gain=" + number),
            }};
}

std::string Line(const Tag& tag, const char* quote) {
    std::string line = tag.name + " = " + tag.plain;
    const char* separator = "";
    for (const std::string& text : tag.texts) {
        line += separator + (quote + text) + quote;
        separator = ", ";
    }
    return line + "\n";
}

template <std::size_t N>
bool Same(const char (&a)[N], const char (&b)[N]) {
    return std::strcmp(a, b) == 0;
}

bool SameGlobal(const CONFIGURATION__GLOBAL& a, const CONFIGURATION__GLOBAL& b) {
    const auto& counts = a.uiDevicesConnected[CAPTURE_DEVICE_CAMERA];
    const auto& otherCounts = b.uiDevicesConnected[CAPTURE_DEVICE_CAMERA];
    return Same(a.szClusterName, b.szClusterName) && a.uiNodeCount == b.uiNodeCount &&
           std::memcmp(counts + 1, otherCounts + 1, sizeof counts - sizeof counts[0]) == 0 &&
           a.ullNodesOffline == b.ullNodesOffline && a.uiManagerMachineIP[0] == b.uiManagerMachineIP[0] &&
           a.uiLogLevelNode == b.uiLogLevelNode && a.uiLogLevelManager == b.uiLogLevelManager &&
           a.bShowAllParameters == b.bShowAllParameters && a.bAllowFailedDevices == b.bAllowFailedDevices &&
           a.bAllowFailedNodes == b.bAllowFailedNodes && Same(a.szGeneralStoragePath, b.szGeneralStoragePath);
}

bool SameSection(const CONFIGURATION__CAPTURE_HARDWARE& a, const CONFIGURATION__CAPTURE_HARDWARE& b) {
    const auto& model = *a.vCameraModels.at(0);
    const auto& otherModel = *b.vCameraModels.at(0);
    return Same(a.szDeviceName, b.szDeviceName) && Same(a.szDeviceParams, b.szDeviceParams) &&
           a.uiFirstDevice == b.uiFirstDevice && a.uiLastDevice == b.uiLastDevice && Same(a.szCTIName, b.szCTIName) &&
           Same(a.szCTIParams, b.szCTIParams) && a.uiSyncMode == b.uiSyncMode &&
           a.uiMaxDMABuffers == b.uiMaxDMABuffers && a.uiMaxDetectionTime == b.uiMaxDetectionTime &&
           a.uiLinkSpeed == b.uiLinkSpeed && a.vCameraMAC == b.vCameraMAC &&
           Same(model.szModelName, otherModel.szModelName) && Same(model.szModelParams, otherModel.szModelParams) &&
           model.uiModelCameras == otherModel.uiModelCameras;
}

bool SameSections(const CONFIGURATION__LOCAL& a, const CONFIGURATION__LOCAL& b) {
    const auto& sections = a.vHardware[CAPTURE_DEVICE_CAMERA];
    const auto& otherSections = b.vHardware[CAPTURE_DEVICE_CAMERA];
    if (sections.size() != otherSections.size()) {
        return false;
    }
    for (std::size_t i = 0; i < sections.size(); ++i) {
        if (!SameSection(*sections[i], *otherSections[i])) {
            return false;
        }
    }
    return true;
}

bool SameLocal(const CONFIGURATION__LOCAL& a, const CONFIGURATION__LOCAL& b) {
    bool same = a.uiNodeID == b.uiNodeID && a.uiIP[0] == b.uiIP[0] && a.uiIP[1] == b.uiIP[1] &&
                a.uiRecordingStorageCount == b.uiRecordingStorageCount && a.fMaxMemUseAllowed == b.fMaxMemUseAllowed &&
                Same(a.szCaptureProcessPluginName, b.szCaptureProcessPluginName) &&
                Same(a.szPostProcessPluginName, b.szPostProcessPluginName) && SameSections(a, b);
    for (unsigned int slot = 0; slot < MAX_RECORDING_STORAGES; ++slot) {
        same = same && Same(a.szRecordingStorage[slot], b.szRecordingStorage[slot]);
    }
    for (unsigned int type = 0; type < CAPTURE_DEVICE_TYPES; ++type) {
        same = same && Same(a.szStreamPluginName[type], b.szStreamPluginName[type]);
    }
    return same;
}

}  // namespace

std::vector<Group> GlobalFacts(const SampleSize& size) {
    Group group;
    group.tags = {Quoted("ClusterName", "Site A, Hall 3"), Plain("NodeCount", "64"),
                  Plain("NodesOffline", "5, 17, 64")};
    for (unsigned int node = 1; node <= MAX_NODES; ++node) {
        group.tags.push_back(
            Plain("CamerasConnectedToNode" + std::to_string(node), std::to_string(node == 1 ? size.sections : 0)));
    }
    group.tags.push_back(Plain("ManagerMachineIP", "192.168.10.1"));
    group.tags.push_back(Quoted("GeneralStoragePath", "/mnt/general/"));
    for (const char* name :
         {"LogLevelNode", "LogLevelManager", "ShowAllParameters", "AllowFailedDevices", "AllowFailedNodes"}) {
        group.tags.push_back(Plain(name, "1"));
    }
    return {group};
}

std::vector<Group> LocalFacts(const SampleSize& size) {
    Group top;
    top.tags = {Plain("NodeID", "1"), Plain("IP", "192.168.10.11, 10.0.0.11")};
    for (unsigned int number = 1; number <= size.storages; ++number) {
        top.tags.push_back(
            Quoted("RecordingStorage" + std::to_string(number), "/mnt/recordings" + std::to_string(number) + "/"));
    }
    top.tags.push_back(Quoted("CameraStreamPluginName", "libCameraStream.so"));
    top.tags.push_back(Quoted("SensorStreamPluginName", "libSensorStream.so"));
    top.tags.push_back(Quoted("CaptureProcessPluginName", "libCaptureProcess.so"));
    top.tags.push_back(Quoted("PostProcessPluginName", "libPostProcess.so"));
    top.tags.push_back(Plain("MaxMemUseAllowed", "75%"));
    std::vector<Group> groups = {top};
    for (unsigned int camera = 1; camera <= size.sections; ++camera) {
        groups.push_back(CameraSection(camera));
    }
    return groups;
}

std::string OwnText(const std::vector<Group>& groups, unsigned int ignoredLines) {
    std::string text;
    for (unsigned int i = 0; i < ignoredLines; ++i) {
        text += "# A note that the administrator left here\n";
    }
    for (const Group& group : groups) {
        if (!group.header.empty()) {
            text += "[" + group.header + "]\n";
        }
        for (const Tag& tag : group.tags) {
            text += Line(tag, "\"");
            // As the writer leaves it: blank lines behind the settings outside sections.
            text += group.header.empty() ? "\n" : "";
        }
        text += "\n";
    }
    return text;
}

std::string IniText(const std::vector<Group>& groups) {
    std::string text;
    for (const Group& group : groups) {
        text += "[" + (group.header.empty() ? "node" : group.header) + "]\n";
        for (const Tag& tag : group.tags) {
            text += Line(tag, "");
            text += group.header.empty() ? "\n" : "";
        }
        text += "\n";
    }
    return text;
}

void InstallSample(const SampleSize& size) {
    WriteFile(ConfigFolder() + "/global.cfg", OwnText(GlobalFacts(size)));
    WriteFile(ConfigFolder() + "/local.cfg", OwnText(LocalFacts(size), size.ignoredLines));
}

std::string InstallIniSample(const SampleSize& size) {
    const std::string folder = Folder("ini");
    WriteFile(folder + "/global.ini", IniText(GlobalFacts(size)));
    WriteFile(folder + "/local.ini", IniText(LocalFacts(size)));
    return folder;
}

void RequireSameFacts(const CONFIGURATION__GLOBAL& global, const CONFIGURATION__LOCAL& local) {
    if (!SameGlobal(global, *ConfigFile_GetStructPtr_Global()) || !SameLocal(local, *ConfigFile_GetStructPtr_Local())) {
        Fail("a competitor has not read the same facts");
    }
}

}  // namespace bench
