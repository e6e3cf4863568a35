#include "Steps.h"

#include <nuklear.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include "ConfigLib.h"
#include "Log.h"
#include "Run.h"
// The switching of the autostart is the form's own matter.
#ifdef __clang__
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define private public
#include "Dlg.h"
#undef private

namespace neighbours {
namespace {

constexpr LOG_LEVEL kPlain = static_cast<LOG_LEVEL>(2);  // has no prefix

__attribute__((format(printf, 2, 3))) void LogToOutput(LOG_LEVEL /*level*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    PrintLog(format, arguments);
    va_end(arguments);
}

void BeginConfig() {
    Log = LogToOutput;
    ConfigLib_Init(0);
}

int StatusOf(bool done) {
    return done ? 0 : 1;
}

}  // namespace

int SaveGlobal() {
    BeginConfig();
    CONFIGURATION__GLOBAL& global = *ConfigFile_GetStructPtr_Global();
    std::strcpy(global.szClusterName, "Site A");
    global.uiNodeCount = 1;
    return StatusOf(ConfigLib_Save_Global(&global));
}

int SaveLocal() {
    BeginConfig();
    CONFIGURATION__LOCAL& local = *ConfigFile_GetStructPtr_Local();
    local.uiNodeID = 1;
    return StatusOf(ConfigLib_Save_Local(&local));
}

int SaveDeviceInfo() {
    BeginConfig();
    CAPTURE_DEVICE_INFO info{};
    std::strcpy(info.szName, "Gate");
    std::vector<CAPTURE_DEVICE_INFO> infos = {info};
    std::vector<unsigned int> keys = {0x1a2b};
    return StatusOf(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys));
}

int SaveDeviceMap() {
    BeginConfig();
    std::string block = kDeviceMapText;
    return StatusOf(ConfigLib_Save_DeviceMap(block.data(), static_cast<unsigned int>(block.size())));
}

void WaitUntilTaken() {
    while (g_ullLogBufRd.load() != g_ullLogBufWr.load()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

int WriteLog() {
    if (OpenLog("/Orvan/Log/Server/", 1) == 0) {
        return 1;
    }
    Log(kPlain, "%s", kFirst);
    CloseLog();
    return 0;
}

int RotateLog(const std::function<void()>& meanwhile) {
    if (OpenLog("/Orvan/Log/Server/", 1) == 0) {
        return 1;
    }
    meanwhile();
    Log(kPlain, "%s", kFirst);
    WaitUntilTaken();
    Log(kPlain, "%s", kSecond);
    CloseLog();
    return 0;
}

int RotateLogAlone() {
    return RotateLog([] {});
}

int LoadGlobal() {
    BeginConfig();
    return ConfigLib_Load_Global();
}

int LoadLocal() {
    BeginConfig();
    ConfigFile_GetStructPtr_Global()->uiNodeCount = 1;
    return ConfigLib_Load_Local();
}

int LoadDeviceInfo() {
    BeginConfig();
    return ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_CAMERA, false);
}

int LoadDeviceMap() {
    BeginConfig();
    return ConfigLib_Load_DeviceMap(false);
}

int SwitchAutostartOn() {
    nk_context context{};
    nk_init_default(&context, nullptr);
    try {
        Dlg form(&context, 700, 450, 1.0F);
        form.m_runServerAtStart = 1;
        form.SwitchAutostart();
    } catch (int) {
        return 1;  // no form where the entry's existence cannot be told
    }
    return 0;
}

}  // namespace neighbours
