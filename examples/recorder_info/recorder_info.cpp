// Prints what this Recorder owns according to its two configuration files, and what the readers said about them:
//
//   recorder_info [ROOT]
//
// ROOT stands in for /etc: the files are then those in ROOT/Orvan/Config/Server.

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "ConfigLib.h"
#include "Log.h"
#include "OsLayer.h"

namespace {

std::string g_root = "/etc";
std::vector<std::string> g_messages;

// Stands in for the log: this client wants the messages themselves, in no file. Messages may be longer than the buffer
// only in theory, a path being the longest part of any.
void Collect(LOG_LEVEL /*level*/, const char* format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    g_messages.emplace_back(text);
}

const char* OrNone(const char* text) {
    return text[0] != '\0' ? text : "none";
}

// The model of each camera of a section, null where the lines do not reach.
std::vector<const CONFIGURATION__CAPTURE_DEVICE*> ModelsByCamera(const CONFIGURATION__CAPTURE_HARDWARE& section) {
    std::vector<const CONFIGURATION__CAPTURE_DEVICE*> models;
    for (const CONFIGURATION__CAPTURE_DEVICE* model : section.vCameraModels) {
        models.insert(models.end(), model->uiModelCameras, model);
    }
    models.resize(section.uiLastDevice - section.uiFirstDevice + 1, nullptr);
    return models;
}

void PrintMac(std::uint64_t mac) {
    const auto byte = [mac](int shift) { return static_cast<unsigned int>(mac >> shift & 0xFF); };
    std::printf(", MAC %02X:%02X:%02X:%02X:%02X:%02X", byte(40), byte(32), byte(24), byte(16), byte(8), byte(0));
}

void PrintCameras(const CONFIGURATION__CAPTURE_HARDWARE& section) {
    const auto models = ModelsByCamera(section);
    for (std::size_t i = 0; i < models.size(); ++i) {
        std::printf("  %zu: on %s (%s)", section.uiFirstDevice + i, section.szDeviceName, section.szDeviceParams);
        if (models[i] != nullptr) {
            std::printf(", model %s (%s)", models[i]->szModelName, models[i]->szModelParams);
        }
        if (!section.vCameraMAC.empty() && section.vCameraMAC[i] != 0) {
            PrintMac(section.vCameraMAC[i]);
        }
        std::printf("\n");
    }
}

// A sensor's record ends behind uiLastDevice: only the common part may be looked at.
void PrintSensors(const CONFIGURATION__CAPTURE_HARDWARE& section) {
    for (std::uint32_t sensor = section.uiFirstDevice; sensor <= section.uiLastDevice; ++sensor) {
        std::printf("  %u: on %s (%s)\n", sensor, section.szDeviceName, section.szDeviceParams);
    }
}

void PrintDevices(const CONFIGURATION__GLOBAL& global, const CONFIGURATION__LOCAL& local, CAPTURE_DEVICE_TYPE type,
                  void (*print)(const CONFIGURATION__CAPTURE_HARDWARE&)) {
    std::printf("%s: %u of the system's %u\n", g_DeviceTypeName[type][DEVICE_LABEL_PLURAL],
                global.uiDevicesConnected[type][local.uiNodeID], global.uiDevicesConnected[type][0]);
    for (const CONFIGURATION__CAPTURE_HARDWARE* section : local.vHardware[type]) {
        // A range that the reader complained about may run backwards.
        if (section->uiFirstDevice <= section->uiLastDevice) {
            print(*section);
        }
    }
}

void PrintStorages(const CONFIGURATION__GLOBAL& global, const CONFIGURATION__LOCAL& local) {
    std::printf("Storages: %u\n", local.uiRecordingStorageCount);
    for (std::size_t i = 0; i < MAX_RECORDING_STORAGES; ++i) {
        if (local.szRecordingStorage[i][0] != '\0') {
            std::printf("  %zu: %s\n", i + 1, local.szRecordingStorage[i]);
        }
    }
    std::printf("General storage: %s\n", OrNone(global.szGeneralStoragePath));
}

void PrintMessages() {
    std::printf("Messages: %zu\n", g_messages.size());
    for (const std::string& message : g_messages) {
        std::printf("  %s\n", message.c_str());
    }
}

}  // namespace

// The definition in an executable takes precedence over the one in the shared OS_ library, so the readers look for
// their files here.
int OS_GetProgramDataPath(char* buffer, unsigned int size) {
    if (g_root.size() >= size) {
        return 0;
    }
    buffer[g_root.copy(buffer, size - 1)] = '\0';
    return 1;
}

int main(int count, char** arguments) {
    if (count > 1) {
        g_root = arguments[1];
    }
    Log = Collect;
    ConfigLib_Init(0);
    const int globalResult = ConfigLib_Load_Global();
    const int localResult = ConfigLib_Load_Local();  // behind the global file, against which it is checked

    const CONFIGURATION__GLOBAL& global = *ConfigFile_GetStructPtr_Global();
    const CONFIGURATION__LOCAL& local = *ConfigFile_GetStructPtr_Local();
    std::printf("Recording System: %s\n", OrNone(global.szClusterName));
    std::printf("Recorder: %u of %u\n", local.uiNodeID, global.uiNodeCount);
    PrintDevices(global, local, CAPTURE_DEVICE_CAMERA, PrintCameras);
    PrintDevices(global, local, CAPTURE_DEVICE_SENSOR, PrintSensors);
    PrintStorages(global, local);
    PrintMessages();

    ConfigLib_DeInit();
    return CONFIG_LOAD_CLEAN - std::min(globalResult, localResult);
}
