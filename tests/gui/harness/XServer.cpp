#include "XServer.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Machine.h"
#include "Patience.h"

namespace gui {
namespace {

constexpr std::chrono::seconds kStartLimit{30};  // of its own time
constexpr int kLookMs = 100;
constexpr std::chrono::milliseconds kStopPoll{2};

// The server writes its display's number and a line feed once it answers.
std::string ReadNumber(int fd, pid_t server) {
    OwnTime time({server});
    std::string text;
    pollfd waited{fd, POLLIN, 0};
    while (text.empty() || text.back() != '\n') {
        char byte = 0;
        if (poll(&waited, 1, kLookMs) == 0) {
            if (time.Passed() > kStartLimit) {
                return "";
            }
            continue;
        }
        if (read(fd, &byte, 1) != 1) {
            return "";
        }
        text += byte;
    }
    text.pop_back();
    return text;
}

// A screen's size as the server takes it.
std::string Depth24(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height) + "x24";
}

[[noreturn]] void RunServer(Screen screen, int numberFd) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int log = open((ScratchFolder() + "/Xvfb.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    const std::string number = std::to_string(numberFd);
    const std::string size = Depth24(screen.width, screen.height);
    const char* glx = screen.gl ? "+extension" : "-extension";
    const std::string second = Depth24(screen.secondWidth, screen.secondHeight);
    // A key held over a slow frame must not repeat: how often it would depends on the time.
    std::vector<const char*> words = {"Xvfb",      "-displayfd", number.c_str(), "-screen", "0", size.c_str(),
                                      "-nolisten", "tcp",        "-noreset",     "-r",      glx, "GLX"};
    if (screen.secondWidth > 0) {
        words.insert(words.end(), {"-screen", "1", second.c_str()});
    }
    words.push_back(nullptr);
    execv(GUI_XVFB, const_cast<char* const*>(words.data()));
    _exit(127);
}

}  // namespace

float ScaleOf(Screen screen) {
    const float smaller =
        std::min(static_cast<float>(screen.width) / 1920.0F, static_cast<float>(screen.height) / 1080.0F);
    return std::max(smaller, 1.0F);
}

XServer::XServer(Screen screen) : screen_(screen) {
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) {
        throw std::runtime_error("no pipe for the X server");
    }
    pid_ = fork();
    if (pid_ < 0) {
        throw std::runtime_error("no process for the X server");
    }
    if (pid_ == 0) {
        close(pipeEnds[0]);
        RunServer(screen, pipeEnds[1]);
    }
    close(pipeEnds[1]);
    const std::string number = ReadNumber(pipeEnds[0], pid_);
    close(pipeEnds[0]);
    name_ = ":" + number;
    display_ = number.empty() ? nullptr : XOpenDisplay(name_.c_str());
    int ignored = 0;
    if (display_ == nullptr || !XTestQueryExtension(display_, &ignored, &ignored, &ignored, &ignored)) {
        Stop();
        throw std::runtime_error("the X server did not start");
    }
}

XServer::~XServer() {
    if (display_ != nullptr) {
        XCloseDisplay(display_);
    }
    if (pid_ >= 0) {
        Stop();
    }
}

// Its socket and lock stay behind, and are gone with the private root.
void XServer::Crash() {
    XCloseDisplay(display_);
    display_ = nullptr;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

// Ended politely, the server takes its socket and lock away. It loses a signal that arrives just before it waits for
// clients, about one in a thousand, so it is told again and again.
void XServer::Stop() {
    do {
        kill(pid_, SIGTERM);
        std::this_thread::sleep_for(kStopPoll);
    } while (waitpid(pid_, nullptr, WNOHANG) == 0);
}

}  // namespace gui
