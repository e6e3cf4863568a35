#include "Facts.h"

#include <cstdlib>
#include <cstring>

namespace bench {

void Facts::Clear() {
    std::memset(static_cast<void*>(&global), 0, sizeof global);
    local.uiNodeID = 0;
    std::memset(local.uiIP, 0, sizeof local.uiIP);
    local.uiRecordingStorageCount = 0;
    local.fMaxMemUseAllowed = 0.0F;
    std::memset(local.szRecordingStorage, 0, sizeof local.szRecordingStorage);
    std::memset(local.szStreamPluginName, 0, sizeof local.szStreamPluginName);
    std::memset(local.szCaptureProcessPluginName, 0, sizeof local.szCaptureProcessPluginName);
    std::memset(local.szPostProcessPluginName, 0, sizeof local.szPostProcessPluginName);
    for (CONFIGURATION__CAPTURE_HARDWARE* camera : local.vHardware[CAPTURE_DEVICE_CAMERA]) {
        for (CONFIGURATION__CAPTURE_DEVICE* model : camera->vCameraModels) {
            delete model;
        }
        delete camera;
    }
    local.vHardware[CAPTURE_DEVICE_CAMERA].clear();
}

CONFIGURATION__CAPTURE_HARDWARE& Facts::AddCamera(std::uint32_t camera) {
    auto* section = new CONFIGURATION__CAPTURE_HARDWARE();
    section->uiFirstDevice = camera;
    section->uiLastDevice = camera;
    local.vHardware[CAPTURE_DEVICE_CAMERA].push_back(section);
    return *section;
}

void StoreText(char* field, std::size_t size, const char* value) {
    const std::size_t length = std::strlen(value);
    const std::size_t count = length < size ? length : size - 1;
    std::memcpy(field, value, count);
    field[count] = '\0';
}

void StorePair(char* first, std::size_t firstSize, char* second, std::size_t secondSize, const char* value) {
    const char* comma = std::strchr(value, ',');
    if (comma == nullptr) {
        return;
    }
    const auto length = static_cast<std::size_t>(comma - value);
    const std::size_t count = length < firstSize ? length : firstSize - 1;
    std::memcpy(first, value, count);
    first[count] = '\0';
    ++comma;
    StoreText(second, secondSize, *comma == ' ' ? comma + 1 : comma);
}

void StoreModel(CONFIGURATION__CAPTURE_HARDWARE& section, const char* value) {
    auto* model = new CONFIGURATION__CAPTURE_DEVICE;
    section.vCameraModels.push_back(model);
    StorePair(model->szModelName, sizeof model->szModelName, model->szModelParams, sizeof model->szModelParams, value);
    model->uiModelCameras = 1;
}

void StoreMac(CONFIGURATION__CAPTURE_HARDWARE& section, const char* value) {
    std::uint64_t mac = 0;
    for (int i = 0; i < 6; ++i) {
        char* end = nullptr;
        mac = mac << 8 | (std::strtoul(value, &end, 16) & 0xFF);
        value = end + 1;
    }
    section.vCameraMAC.assign(1, mac);
}

std::uint32_t ToNumber(const char* value) {
    return static_cast<std::uint32_t>(std::strtoul(value, nullptr, 10));
}

float ToFraction(const char* percent) {
    const float fraction = static_cast<float>(ToNumber(percent)) / 100.0F;
    return fraction < 1.0F ? fraction : 1.0F;
}

void StoreAddresses(std::uint32_t (&addresses)[2], const char* value) {
    for (std::uint32_t& address : addresses) {
        address = 0;
        for (unsigned int shift = 0; shift < 32; shift += 8) {
            char* end = nullptr;
            address |= static_cast<std::uint32_t>(std::strtoul(value, &end, 10)) << shift;
            if (*end == '\0') {
                return;
            }
            value = end + 1;
        }
    }
}

std::uint64_t ToMask(const char* list) {
    std::uint64_t mask = 0;
    for (;;) {
        char* end = nullptr;
        mask |= std::uint64_t{1} << (std::strtoul(list, &end, 10) - 1);
        if (*end == '\0') {
            return mask;
        }
        list = end + 1;
    }
}

void CloseDirectory(char* directory) {
    const std::size_t length = std::strlen(directory);
    if (length >= 2 && directory[length - 1] != '/') {
        std::strcpy(directory + length, "/");
    }
}

}  // namespace bench
