// The configuration tool of a camera recording server: entry point, order of start-up and shutdown, scale factor and
// the fixed directories.

#include <X11/Xlib.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

#include "ConfigLib.h"
#include "Log.h"
#include "OpenFile.h"
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

// A standard input or output that is closed at the start gets /dev/null: the next file or connection to be opened would
// else have its number, and the program's lines would go into it.
void OccupyStandardDescriptors() {
    int descriptor = -1;
    do {
        descriptor = open("/dev/null", O_RDWR | O_NOCTTY);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) {
        close(descriptor);
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

[[noreturn]] void FailToSetMode(const std::string& path) {
    throw fs::filesystem_error("cannot set permissions", path, std::error_code(errno, std::generic_category()));
}

// Sets the mode of the file that is open, not of what has its name a moment later. A device keeps its mode.
void OpenModeToAll(const std::string& path) {
    constexpr mode_t kReadWriteForAll = 0666;
    bool isDevice = false;
    const int file = OpenLogToSetMode(path.c_str(), isDevice);
    if (file < 0) {
        FailToSetMode(path);
    }
    const int result = isDevice ? 0 : fchmod(file, kReadWriteForAll);
    const int error = errno;
    close(file);
    if (result != 0) {
        errno = error;
        FailToSetMode(path);
    }
}

// Opens the log file's mode to every user. The test is on the directory: a missing file is reported.
void SetPermissionsToLogFile() {
    try {
        if (fs::exists(LOG_PATH) && geteuid() == 0) {
            OpenModeToAll(LOG_PATH + "/Log.txt");
        }
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
    OccupyStandardDescriptors();
    // A standard output that nobody reads any more is a failed write, not the end.
    std::signal(SIGPIPE, SIG_IGN);
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
