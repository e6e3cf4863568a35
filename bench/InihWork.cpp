// The same facts read with inih.
#include <ini.h>

#include <cstring>
#include <string>

#include "Facts.h"
#include "OwnConfig.h"
#include "Work.h"

namespace bench {
namespace {

// Falls through a chain of comparisons, as users of the library write it.
int StoreGlobal(void* user, const char* /*section*/, const char* name, const char* value) {
    CONFIGURATION__GLOBAL& global = static_cast<Facts*>(user)->global;
    constexpr char kCameras[] = "CamerasConnectedToNode";
    if (std::strcmp(name, "ClusterName") == 0) {
        StoreText(global.szClusterName, sizeof global.szClusterName, value);
    } else if (std::strcmp(name, "NodeCount") == 0) {
        global.uiNodeCount = ToNumber(value);
    } else if (std::strcmp(name, "NodesOffline") == 0) {
        global.ullNodesOffline = ToMask(value);
    } else if (std::strncmp(name, kCameras, sizeof kCameras - 1) == 0) {
        global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA][ToNumber(name + sizeof kCameras - 1)] = ToNumber(value);
    } else if (std::strcmp(name, "ManagerMachineIP") == 0) {
        StoreAddresses(global.uiManagerMachineIP, value);
    } else if (std::strcmp(name, "GeneralStoragePath") == 0) {
        StoreText(global.szGeneralStoragePath, sizeof global.szGeneralStoragePath, value);
        CloseDirectory(global.szGeneralStoragePath);
    } else if (std::strcmp(name, "LogLevelNode") == 0) {
        global.uiLogLevelNode = ToNumber(value);
    } else if (std::strcmp(name, "LogLevelManager") == 0) {
        global.uiLogLevelManager = ToNumber(value);
    } else if (std::strcmp(name, "ShowAllParameters") == 0) {
        global.bShowAllParameters = ToNumber(value) != 0;
    } else if (std::strcmp(name, "AllowFailedDevices") == 0) {
        global.bAllowFailedDevices = ToNumber(value) != 0;
    } else if (std::strcmp(name, "AllowFailedNodes") == 0) {
        global.bAllowFailedNodes = ToNumber(value) != 0;
    }
    return 1;
}

void StoreNode(CONFIGURATION__LOCAL& local, const char* name, const char* value) {
    constexpr char kStorage[] = "RecordingStorage";
    if (std::strcmp(name, "NodeID") == 0) {
        local.uiNodeID = ToNumber(value);
    } else if (std::strcmp(name, "IP") == 0) {
        StoreAddresses(local.uiIP, value);
    } else if (std::strncmp(name, kStorage, sizeof kStorage - 1) == 0) {
        auto& slot = local.szRecordingStorage[ToNumber(name + sizeof kStorage - 1) - 1];
        StoreText(slot, sizeof slot, value);
        CloseDirectory(slot);
        ++local.uiRecordingStorageCount;
    } else if (std::strcmp(name, "CameraStreamPluginName") == 0) {
        StoreText(local.szStreamPluginName[CAPTURE_DEVICE_CAMERA], sizeof local.szStreamPluginName[0], value);
    } else if (std::strcmp(name, "SensorStreamPluginName") == 0) {
        StoreText(local.szStreamPluginName[CAPTURE_DEVICE_SENSOR], sizeof local.szStreamPluginName[0], value);
    } else if (std::strcmp(name, "CaptureProcessPluginName") == 0) {
        StoreText(local.szCaptureProcessPluginName, sizeof local.szCaptureProcessPluginName, value);
    } else if (std::strcmp(name, "PostProcessPluginName") == 0) {
        StoreText(local.szPostProcessPluginName, sizeof local.szPostProcessPluginName, value);
    } else if (std::strcmp(name, "MaxMemUseAllowed") == 0) {
        local.fMaxMemUseAllowed = ToFraction(value);
    }
}

void StoreCamera(CONFIGURATION__CAPTURE_HARDWARE& section, const char* name, const char* value) {
    if (std::strcmp(name, "CaptureDevice") == 0) {
        StorePair(section.szDeviceName, sizeof section.szDeviceName, section.szDeviceParams,
                  sizeof section.szDeviceParams, value);
    } else if (std::strcmp(name, "CTI") == 0) {
        StorePair(section.szCTIName, sizeof section.szCTIName, section.szCTIParams, sizeof section.szCTIParams, value);
    } else if (std::strcmp(name, "SyncMode") == 0) {
        section.uiSyncMode = ToNumber(value);
    } else if (std::strcmp(name, "MaxDMABuffers") == 0) {
        section.uiMaxDMABuffers = ToNumber(value);
    } else if (std::strcmp(name, "MaxDetectionTime") == 0) {
        section.uiMaxDetectionTime = ToNumber(value);
    } else if (std::strcmp(name, "LinkSpeed") == 0) {
        section.uiLinkSpeed = ToNumber(value);
    } else if (std::strncmp(name, "CameraMAC", 9) == 0) {
        StoreMac(section, value);
    } else if (std::strcmp(name, "CameraModel") == 0) {
        StoreModel(section, value);
    }
}

int StoreLocal(void* user, const char* section, const char* name, const char* value) {
    Facts& facts = *static_cast<Facts*>(user);
    constexpr char kCamera[] = "Camera ";
    if (std::strncmp(section, kCamera, sizeof kCamera - 1) != 0) {
        StoreNode(facts.local, name, value);
        return 1;
    }
    const std::uint32_t camera = ToNumber(section + sizeof kCamera - 1);
    const auto& sections = facts.local.vHardware[CAPTURE_DEVICE_CAMERA];
    const bool open = !sections.empty() && sections.back()->uiFirstDevice == camera;
    StoreCamera(open ? *sections.back() : facts.AddCamera(camera), name, value);
    return 1;
}

int StoreNothing(void* /*user*/, const char* /*section*/, const char* /*name*/, const char* /*value*/) {
    return 1;
}

class LoadInih : public Job {
public:
    LoadInih() : m_config({}), m_folder(InstallIniSample({})) {
        Run();
        RequireSameFacts(m_facts.global, m_facts.local);
    }
    void Run() override {
        m_facts.Clear();
        Parse("/global.ini", StoreGlobal);
        Parse("/local.ini", StoreLocal);
    }

protected:
    void Parse(const char* name, ini_handler handler) {
        if (ini_parse((m_folder + name).c_str(), handler, &m_facts) != 0) {
            Fail("inih does not take the sample");
        }
    }

private:
    OwnConfig m_config;
    std::string m_folder;
    Facts m_facts;
};

// inih alone: the values are found and dropped.
class ScanInih : public LoadInih {
public:
    void Run() override {
        Parse("/global.ini", StoreNothing);
        Parse("/local.ini", StoreNothing);
    }
};

const bool kAdded = AddWork("load/inih", [] { return std::make_unique<LoadInih>(); }) &&
                    AddWork("load/inih-scan", [] { return std::make_unique<ScanInih>(); });

}  // namespace
}  // namespace bench
