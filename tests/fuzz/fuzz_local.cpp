// The reader of local.cfg, against a global record from the same input.
#include "ConfigLib.h"
#include "FuzzSupport.h"

namespace {

using fuzz::Expect;

void CheckTexts(const CONFIGURATION__LOCAL& local) {
    for (const auto& storage : local.szRecordingStorage) {
        Expect(fuzz::IsTerminated(storage), "each storage is terminated");
    }
    for (const auto& name : local.szStreamPluginName) {
        Expect(fuzz::IsTerminated(name), "each stream plug-in is terminated");
    }
    Expect(fuzz::IsTerminated(local.szCaptureProcessPluginName), "the capture processing plug-in is terminated");
    Expect(fuzz::IsTerminated(local.szPostProcessPluginName), "the post-processing plug-in is terminated");
}

void CheckStorages(const CONFIGURATION__LOCAL& local) {
    std::uint32_t defined = 0;
    for (const auto& storage : local.szRecordingStorage) {
        defined += storage[0] != '\0' ? 1 : 0;
    }
    Expect(defined == local.uiRecordingStorageCount, "the count of storages is that of the filled slots");
    Expect(local.szRecordingStorage[MAX_RECORDING_STORAGES - 1][0] == '\0', "the last slot is not read");
}

void CheckCamera(const CONFIGURATION__CAPTURE_HARDWARE& camera) {
    const std::uint32_t size = camera.uiLastDevice - camera.uiFirstDevice + 1;
    Expect(fuzz::IsTerminated(camera.szCTIName) && fuzz::IsTerminated(camera.szCTIParams), "CTI is terminated");
    Expect(camera.uiSyncMode <= 4, "the sync mode is at most 4");
    Expect(camera.vCameraMAC.empty() || camera.vCameraMAC.size() == size, "MACs for no camera or one place for each");
    for (const std::uint64_t mac : camera.vCameraMAC) {
        Expect(mac >> 48 == 0, "a MAC has 48 bits");
    }
    for (const CONFIGURATION__CAPTURE_DEVICE* model : camera.vCameraModels) {
        Expect(fuzz::IsTerminated(model->szModelName) && fuzz::IsTerminated(model->szModelParams),
               "a model is terminated");
        Expect(model->uiModelCameras == 1 || model->uiModelCameras == size, "a model is for one camera or for all");
    }
}

void CheckSections(const CONFIGURATION__GLOBAL& global, const CONFIGURATION__LOCAL& local, unsigned type) {
    for (const CONFIGURATION__CAPTURE_HARDWARE* section : local.vHardware[type]) {
        const std::uint32_t first = global.uiFirstDeviceOfNode[type][local.uiNodeID];
        const std::uint32_t count = global.uiDevicesConnected[type][local.uiNodeID];
        Expect(section->uiFirstDevice >= first && section->uiLastDevice < first + count,
               "a section holds the node's own devices");
        Expect(section->uiFirstDevice <= section->uiLastDevice || count == 0,
               "a section runs backwards only on a node without devices");
        Expect(fuzz::IsTerminated(section->szDeviceName) && fuzz::IsTerminated(section->szDeviceParams),
               "a capture device is terminated");
        if (type == CAPTURE_DEVICE_CAMERA) {
            CheckCamera(*section);
        }
    }
}

void CheckRecord(const CONFIGURATION__GLOBAL& global, const CONFIGURATION__LOCAL& local) {
    Expect(local.uiNodeID <= global.uiNodeCount, "the node is one of the system");
    Expect(local.fMaxMemUseAllowed >= 0.0F && local.fMaxMemUseAllowed <= 1.0F, "the share of memory is from 0 to 1");
    CheckTexts(local);
    CheckStorages(local);
    for (unsigned type = 0; type < CAPTURE_DEVICE_TYPES; ++type) {
        CheckSections(global, local, type);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::TwoFiles files = fuzz::Split(fuzz::AsText(data, size));
    fuzz::PutFile("global.cfg", files.global);
    // Some inputs go by another index, or have no file.
    const bool isSecond = size % 2 == 1;
    const char* name = isSecond ? "local2.cfg" : "local.cfg";
    fuzz::UseIndex(isSecond ? 2 : 0);
    fuzz::PutFile(name, files.local);
    if (files.local.empty()) {
        fuzz::RemoveFile(name);
    }
    if (fuzz::OnLeash(fuzz::GlobalNeverEnds(files.global), ConfigLib_Load_Global) == fuzz::kNeverEnds) {
        return 0;
    }
    const CONFIGURATION__GLOBAL& global = *ConfigFile_GetStructPtr_Global();
    fuzz::OnLeash(fuzz::LocalNeverEnds(files.local, global.uiNodeCount), ConfigLib_Load_Local);
    CheckRecord(global, *ConfigFile_GetStructPtr_Local());
    return 0;
}
