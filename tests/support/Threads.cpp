#include "support/Threads.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace test_support {
namespace {

const std::string kThreads = "/proc/self/task/";
constexpr unsigned long kExiting = 0x4;  // PF_EXITING of the kernel

std::string FirstLine(int thread, const char* file) {
    std::ifstream stream(kThreads + std::to_string(thread) + "/" + file);
    std::string line;
    std::getline(stream, line);
    return line;
}

}  // namespace

std::vector<int> OtherThreads() {
    const auto own = static_cast<int>(syscall(SYS_gettid));
    std::vector<int> others;
    for (const auto& entry : std::filesystem::directory_iterator(kThreads)) {
        const int thread = std::stoi(entry.path().filename().string());
        if (thread != own) {
            others.push_back(thread);
        }
    }
    return others;
}

// The line is "running", or the call's number and its arguments.
std::optional<BlockingCall> BlockedIn(int thread) {
    std::istringstream line(FirstLine(thread, "syscall"));
    BlockingCall call{};
    if (line >> call.number >> std::hex >> call.argument) {
        return call;
    }
    return std::nullopt;
}

// The line is the number, the name in brackets, the state, five numbers and the flags.
bool HasEnded(int thread) {
    const std::string line = FirstLine(thread, "stat");
    if (line.empty()) {
        return true;
    }
    std::istringstream rest(line.substr(line.rfind(')') + 1));
    std::string state;
    long ignored = 0;
    unsigned long flags = 0;
    rest >> state >> ignored >> ignored >> ignored >> ignored >> ignored >> flags;
    return (flags & kExiting) != 0;
}

}  // namespace test_support
