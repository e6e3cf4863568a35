// The configuration tool of a camera recording server: entry point, order of start-up and shutdown, scale factor and
// the fixed directories.

#include <X11/Xlib.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "ConfigLib.h"
#include "Log.h"
#include "XWindow_gl3.h"

namespace fs = std::filesystem;

namespace {

const std::string LOG_PATH = "/etc/Orvan/Log/Server";
const std::string CONFIG_PATH = "/etc/Orvan/Config/Server";

constexpr int kWindowWidth = 700;   // logical units
constexpr int kWindowHeight = 450;  // logical units
constexpr char kWindowTitle[] = "Vesmara";
constexpr char kFontFile[] = "/etc/Orvan/Assets/Fonts/Roboto-Regular.ttf";
constexpr char kLogDirectory[] = "/Orvan/Log/Server/";  // below the program data path
constexpr unsigned int kLogIndex = 1;
constexpr unsigned int kConfigIndex = 0;

// The screen at which a logical unit is a pixel.
constexpr float kReferenceWidth = 1920.0F;
constexpr float kReferenceHeight = 1080.0F;

void ReportException(const std::exception& exception, const char* function) {
    std::cout << exception.what() << " in " << function << "\n";
}

void CreateDirectory(const std::string& path) {
    if (fs::create_directories(path)) {
        std::cout << "Created directory: " << path << std::endl;
    }
}

// Makes the log and the configuration directory on first use, open to every user. Runs before the log is open and
// reports on the standard output. Both modes are set whichever directory was missing.
void PrepareDirectories() {
    try {
        const bool haveLog = fs::exists(LOG_PATH);
        if (!haveLog) {
            // Spelled so on purpose.
            std::cout << "Log directory doesn not exist. Trying to create..." << std::endl;
        }
        const bool haveConfig = fs::exists(CONFIG_PATH);
        if (!haveConfig) {
            std::cout << "Config directory does not exist. Trying to create..." << std::endl;
        }
        if (haveLog && haveConfig) {
            return;
        }
        if (geteuid() != 0) {
            std::cout << "ERROR: To create directories, run with 'sudo' command" << std::endl;
            return;
        }
        CreateDirectory(LOG_PATH);
        CreateDirectory(CONFIG_PATH);
        fs::permissions(LOG_PATH, fs::perms::all);
        fs::permissions(CONFIG_PATH, fs::perms::all);
    } catch (const std::exception& exception) {
        ReportException(exception, "PrepareDirectories");
    }
}

// Opens the log file's mode to every user. The test is on the directory: a missing file is reported.
void SetPermissionsToLogFile() {
    try {
        if (!fs::exists(LOG_PATH) || geteuid() != 0) {
            return;
        }
        constexpr fs::perms kReadWriteForAll = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                                               fs::perms::group_write | fs::perms::others_read |
                                               fs::perms::others_write;
        fs::permissions(LOG_PATH + "/Log.txt", kReadWriteForAll);
    } catch (const std::exception& exception) {
        ReportException(exception, "SetPermissionsToLogFile");
    }
}

// How many pixels a logical unit takes on the default screen: the smaller ratio to the reference screen, at least 1.
// The connection is neither tested nor closed: without a display the process ends with a memory fault here, and the
// window opens a connection of its own. Both are meant.
float GetScaleFactor() {
    Display* display = XOpenDisplay(nullptr);
    const int screen = XDefaultScreen(display);
    const float horizontal = static_cast<float>(XDisplayWidth(display, screen)) / kReferenceWidth;
    const float vertical = static_cast<float>(XDisplayHeight(display, screen)) / kReferenceHeight;
    return std::max(std::min(horizontal, vertical), 1.0F);
}

}  // namespace

// No result is tested: what fails leaves its mark in the log or on the standard output, and the form opens with what
// there is. The exit value is 0 on every path.
int main() {
    PrepareDirectories();
    OpenLog(kLogDirectory, kLogIndex);
    SetPermissionsToLogFile();
    ConfigLib_Init(kConfigIndex);
    ConfigLib_Load_Global();
    ConfigLib_Load_Local();
    ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_CAMERA, false);
    const bool haveFont = fs::exists(kFontFile);
    const float scale = GetScaleFactor();
    try {
        const std::string fontPath = haveFont ? kFontFile : "";
        const std::string title = kWindowTitle;
        InitializeXWindowGl3(title, kWindowWidth, kWindowHeight, scale, fontPath);
    } catch (...) {
        Log(LOG_LEVEL_ERROR, "Failed to initialize");
    }
    ConfigLib_DeInit();
    CloseLog();
    return 0;
}
