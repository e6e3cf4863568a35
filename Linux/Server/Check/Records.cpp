#include "Records.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace {

Json Addresses(const std::uint32_t (&addresses)[2]) {
    Json list = Json::array();
    const int count = addresses[1] != 0 ? 2 : (addresses[0] != 0 ? 1 : 0);
    for (int i = 0; i < count; ++i) {
        const std::uint32_t address = addresses[i];
        char text[16];
        std::snprintf(text, sizeof text, "%u.%u.%u.%u", address & 0xFF, address >> 8 & 0xFF, address >> 16 & 0xFF,
                      address >> 24);
        list.push_back(text);
    }
    return list;
}

Json OfflineNodes(std::uint64_t mask) {
    Json list = Json::array();
    for (unsigned int node = 1; node <= MAX_NODES; ++node) {
        if ((mask >> (node - 1) & 1) != 0) {
            list.push_back(node);
        }
    }
    return list;
}

// The counts of nodes 1 to `nodes`.
Json Counts(const std::uint32_t (&connected)[MAX_NODES + 1], unsigned int nodes) {
    Json list = Json::array();
    for (unsigned int node = 1; node <= nodes && node <= MAX_NODES; ++node) {
        list.push_back(connected[node]);
    }
    return list;
}

std::string MacText(std::uint64_t mac) {
    const auto byte = [mac](int shift) { return static_cast<unsigned int>(mac >> shift & 0xFF); };
    char text[18];
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", byte(40), byte(32), byte(24), byte(16), byte(8),
                  byte(0));
    return text;
}

void AddCameraPart(const CONFIGURATION__CAPTURE_HARDWARE& section, Json& values) {
    values["cti"] = {section.szCTIName, section.szCTIParams};
    values["sync_mode"] = section.uiSyncMode;
    values["max_dma_buffers"] = section.uiMaxDMABuffers;
    values["max_detection_time"] = section.uiMaxDetectionTime;
    values["link_speed"] = section.uiLinkSpeed;
    values["macs"] = Json::array();
    for (const std::uint64_t mac : section.vCameraMAC) {
        values["macs"].push_back(MacText(mac));
    }
    values["models"] = Json::array();
    for (const CONFIGURATION__CAPTURE_DEVICE* model : section.vCameraModels) {
        values["models"].push_back({model->szModelName, model->szModelParams});
    }
}

// A pointer, since a sensor's record is no whole one.
Json SectionValues(const CONFIGURATION__CAPTURE_HARDWARE* section, CAPTURE_DEVICE_TYPE type) {
    Json values;
    values["type"] = type == CAPTURE_DEVICE_CAMERA ? "camera" : "sensor";
    values["first"] = section->uiFirstDevice;
    values["last"] = section->uiLastDevice;
    values["capture_device"] = {section->szDeviceName, section->szDeviceParams};
    if (type == CAPTURE_DEVICE_CAMERA) {
        AddCameraPart(*section, values);
    }
    return values;
}

Json Sections(const CONFIGURATION__LOCAL& local, CAPTURE_DEVICE_TYPE type) {
    Json list = Json::array();
    for (const CONFIGURATION__CAPTURE_HARDWARE* section : local.vHardware[type]) {
        list.push_back(SectionValues(section, type));
    }
    return list;
}

// What the values leave out: how many cameras each model covers.
Json ModelSizes(const CONFIGURATION__LOCAL& local) {
    Json list = Json::array();
    for (const CONFIGURATION__CAPTURE_HARDWARE* section : local.vHardware[CAPTURE_DEVICE_CAMERA]) {
        Json sizes = Json::array();
        for (const CONFIGURATION__CAPTURE_DEVICE* model : section->vCameraModels) {
            sizes.push_back(model->uiModelCameras);
        }
        list.push_back(sizes);
    }
    return list;
}

// Without closing slashes, but never empty where it was not.
std::string Directory(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

Json Slots(const CONFIGURATION__LOCAL& local) {
    Json list = Json::array();
    for (const auto& slot : local.szRecordingStorage) {
        list.push_back(Directory(slot));
    }
    return list;
}

// Binary, since texts need not be UTF-8.
RecordFields Encoded(const std::vector<std::pair<std::string, Json>>& fields) {
    RecordFields encoded;
    for (const auto& [tag, value] : fields) {
        std::string bytes;
        Json::to_cbor(value, bytes);
        encoded.emplace_back(tag, bytes);
    }
    return encoded;
}

}  // namespace

std::shared_ptr<const Json> GlobalValues(const CONFIGURATION__GLOBAL& global) {
    Json values;
    values["cluster_name"] = global.szClusterName;
    values["node_count"] = global.uiNodeCount;
    values["nodes_offline"] = OfflineNodes(global.ullNodesOffline);
    values["cameras_connected"] = Counts(global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA], global.uiNodeCount);
    values["sensors_connected"] = Counts(global.uiDevicesConnected[CAPTURE_DEVICE_SENSOR], global.uiNodeCount);
    values["manager_ips"] = Addresses(global.uiManagerMachineIP);
    values["general_storage"] = global.szGeneralStoragePath;
    values["log_level_node"] = global.uiLogLevelNode;
    values["log_level_manager"] = global.uiLogLevelManager;
    values["show_all_parameters"] = global.bShowAllParameters;
    values["allow_failed_devices"] = global.bAllowFailedDevices;
    values["allow_failed_nodes"] = global.bAllowFailedNodes;
    return std::make_shared<const Json>(std::move(values));
}

std::shared_ptr<const Json> LocalValues(const CONFIGURATION__LOCAL& local) {
    Json values;
    values["node_id"] = local.uiNodeID;
    values["ips"] = Addresses(local.uiIP);
    values["recording_storages"] = Json::array();
    for (const auto& slot : local.szRecordingStorage) {
        if (slot[0] != '\0') {
            values["recording_storages"].push_back(slot);
        }
    }
    values["camera_stream_plugin"] = local.szStreamPluginName[CAPTURE_DEVICE_CAMERA];
    values["sensor_stream_plugin"] = local.szStreamPluginName[CAPTURE_DEVICE_SENSOR];
    values["capture_process_plugin"] = local.szCaptureProcessPluginName;
    values["post_process_plugin"] = local.szPostProcessPluginName;
    values["max_mem_use"] = static_cast<unsigned int>(local.fMaxMemUseAllowed * 100.0F);
    values["sections"] = Sections(local, CAPTURE_DEVICE_CAMERA);
    for (const Json& sensor : Sections(local, CAPTURE_DEVICE_SENSOR)) {
        values["sections"].push_back(sensor);
    }
    return std::make_shared<const Json>(std::move(values));
}

RecordFields FieldsOf(const CONFIGURATION__GLOBAL& global) {
    return Encoded({
        {"ClusterName", global.szClusterName},
        {"NodeCount", global.uiNodeCount},
        {"NodesOffline", global.ullNodesOffline},
        {"CamerasConnectedToNode", Counts(global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA], MAX_NODES)},
        {"SensorsConnectedToNode", Counts(global.uiDevicesConnected[CAPTURE_DEVICE_SENSOR], MAX_NODES)},
        {"ManagerMachineIP", Json(global.uiManagerMachineIP)},
        {"GeneralStoragePath", Directory(global.szGeneralStoragePath)},
        {"LogLevelNode", global.uiLogLevelNode},
        {"LogLevelManager", global.uiLogLevelManager},
        {"ShowAllParameters", global.bShowAllParameters},
        {"AllowFailedDevices", global.bAllowFailedDevices},
        {"AllowFailedNodes", global.bAllowFailedNodes},
    });
}

RecordFields FieldsOf(const CONFIGURATION__LOCAL& local) {
    return Encoded({
        {"NodeID", local.uiNodeID},
        {"IP", Json(local.uiIP)},
        {"RecordingStorage", {local.uiRecordingStorageCount, Slots(local)}},
        {"CameraStreamPluginName", local.szStreamPluginName[CAPTURE_DEVICE_CAMERA]},
        {"SensorStreamPluginName", local.szStreamPluginName[CAPTURE_DEVICE_SENSOR]},
        {"CaptureProcessPluginName", local.szCaptureProcessPluginName},
        {"PostProcessPluginName", local.szPostProcessPluginName},
        {"MaxMemUseAllowed", local.fMaxMemUseAllowed},
        {"CamerasOffline", Json(local.bDeviceOffline[CAPTURE_DEVICE_CAMERA])},
        {"SensorsOffline", Json(local.bDeviceOffline[CAPTURE_DEVICE_SENSOR])},
        {"[Camera]", {Sections(local, CAPTURE_DEVICE_CAMERA), ModelSizes(local)}},
        {"[Sensor]", Sections(local, CAPTURE_DEVICE_SENSOR)},
    });
}

std::vector<std::string> ChangedTags(const RecordFields& before, const RecordFields& after) {
    std::vector<std::string> tags;
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i].second != after[i].second) {
            tags.push_back(before[i].first);
        }
    }
    return tags;
}
