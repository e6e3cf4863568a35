// The same facts read with GLib's key file reader.
#include <glib.h>

#include <cstring>
#include <memory>
#include <string>

#include "Facts.h"
#include "OwnConfig.h"
#include "Work.h"

namespace bench {
namespace {

struct KeyFileFree {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileFree>;

struct TextFree {
    void operator()(gchar* text) const { g_free(text); }
};
using Text = std::unique_ptr<gchar, TextFree>;

// A group of a key file; every value has to be there.
class KeyGroup {
public:
    KeyGroup(GKeyFile* file, const char* group) : m_file(file), m_group(group) {}

    Text Get(const char* key) const {
        Text text(g_key_file_get_value(m_file, m_group, key, nullptr));
        if (text == nullptr) {
            Fail(std::string("the key file has no ") + key);
        }
        return text;
    }
    std::uint32_t Number(const char* key) const { return ToNumber(Get(key).get()); }
    bool Flag(const char* key) const { return Number(key) != 0; }
    void Store(const char* key, char* field, std::size_t size) const { StoreText(field, size, Get(key).get()); }

private:
    GKeyFile* m_file;
    const char* m_group;
};

KeyFile Open(const std::string& path) {
    KeyFile file(g_key_file_new());
    if (g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr) == 0) {
        Fail("GLib does not take the sample");
    }
    return file;
}

void LoadGlobal(const std::string& path, CONFIGURATION__GLOBAL& global) {
    const KeyFile file = Open(path);
    const KeyGroup group(file.get(), "node");
    group.Store("ClusterName", global.szClusterName, sizeof global.szClusterName);
    global.uiNodeCount = group.Number("NodeCount");
    global.ullNodesOffline = ToMask(group.Get("NodesOffline").get());
    for (std::uint32_t node = 1; node <= global.uiNodeCount; ++node) {
        char key[32];
        g_snprintf(key, sizeof key, "CamerasConnectedToNode%u", node);
        global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA][node] = group.Number(key);
    }
    StoreAddresses(global.uiManagerMachineIP, group.Get("ManagerMachineIP").get());
    group.Store("GeneralStoragePath", global.szGeneralStoragePath, sizeof global.szGeneralStoragePath);
    CloseDirectory(global.szGeneralStoragePath);
    global.uiLogLevelNode = group.Number("LogLevelNode");
    global.uiLogLevelManager = group.Number("LogLevelManager");
    global.bShowAllParameters = group.Flag("ShowAllParameters");
    global.bAllowFailedDevices = group.Flag("AllowFailedDevices");
    global.bAllowFailedNodes = group.Flag("AllowFailedNodes");
}

void LoadNode(const KeyGroup& group, CONFIGURATION__LOCAL& local) {
    local.uiNodeID = group.Number("NodeID");
    StoreAddresses(local.uiIP, group.Get("IP").get());
    for (unsigned int number = 1; number <= SampleSize().storages; ++number) {
        char key[32];
        g_snprintf(key, sizeof key, "RecordingStorage%u", number);
        auto& slot = local.szRecordingStorage[number - 1];
        group.Store(key, slot, sizeof slot);
        CloseDirectory(slot);
        ++local.uiRecordingStorageCount;
    }
    auto& plugins = local.szStreamPluginName;
    group.Store("CameraStreamPluginName", plugins[CAPTURE_DEVICE_CAMERA], sizeof plugins[0]);
    group.Store("SensorStreamPluginName", plugins[CAPTURE_DEVICE_SENSOR], sizeof plugins[0]);
    group.Store("CaptureProcessPluginName", local.szCaptureProcessPluginName, sizeof local.szCaptureProcessPluginName);
    group.Store("PostProcessPluginName", local.szPostProcessPluginName, sizeof local.szPostProcessPluginName);
    local.fMaxMemUseAllowed = ToFraction(group.Get("MaxMemUseAllowed").get());
}

void LoadCamera(const KeyGroup& group, std::uint32_t camera, CONFIGURATION__CAPTURE_HARDWARE& section) {
    StorePair(section.szDeviceName, sizeof section.szDeviceName, section.szDeviceParams, sizeof section.szDeviceParams,
              group.Get("CaptureDevice").get());
    StorePair(section.szCTIName, sizeof section.szCTIName, section.szCTIParams, sizeof section.szCTIParams,
              group.Get("CTI").get());
    section.uiSyncMode = group.Number("SyncMode");
    section.uiMaxDMABuffers = group.Number("MaxDMABuffers");
    section.uiMaxDetectionTime = group.Number("MaxDetectionTime");
    section.uiLinkSpeed = group.Number("LinkSpeed");
    char key[32];
    g_snprintf(key, sizeof key, "CameraMAC%u", camera);
    StoreMac(section, group.Get(key).get());
    StoreModel(section, group.Get("CameraModel").get());
}

void LoadLocal(const std::string& path, Facts& facts) {
    const KeyFile file = Open(path);
    LoadNode(KeyGroup(file.get(), "node"), facts.local);
    gchar** groups = g_key_file_get_groups(file.get(), nullptr);
    for (gchar** group = groups; *group != nullptr; ++group) {
        if (std::strncmp(*group, "Camera ", 7) == 0) {
            const std::uint32_t camera = ToNumber(*group + 7);
            LoadCamera(KeyGroup(file.get(), *group), camera, facts.AddCamera(camera));
        }
    }
    g_strfreev(groups);
}

class LoadGlib : public Job {
public:
    LoadGlib() : m_config({}), m_folder(InstallIniSample({})) {
        Run();
        RequireSameFacts(m_facts.global, m_facts.local);
    }
    void Run() override {
        m_facts.Clear();
        LoadGlobal(m_folder + "/global.ini", m_facts.global);
        LoadLocal(m_folder + "/local.ini", m_facts);
    }

private:
    OwnConfig m_config;
    std::string m_folder;
    Facts m_facts;
};

const bool kAdded = AddWork("load/glib", [] { return std::make_unique<LoadGlib>(); });

}  // namespace
}  // namespace bench
