#include "Patience.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>

namespace gui {
namespace {

namespace fs = std::filesystem;

// The kernel's count for each thread: nanoseconds run, nanoseconds kept waiting. Nothing where it does not count them.
std::chrono::nanoseconds KeptWaiting(const std::vector<pid_t>& processes) {
    long long sum = 0;
    for (const pid_t process : processes) {
        std::error_code gone;
        for (fs::directory_iterator thread("/proc/" + std::to_string(process) + "/task", gone), end;
             !gone && thread != end; thread.increment(gone)) {
            long long run = 0;
            long long waited = 0;
            if (std::ifstream(thread->path() / "schedstat") >> run >> waited) {
                sum += waited;
            }
        }
    }
    return std::chrono::nanoseconds(sum);
}

}  // namespace

OwnTime::OwnTime(std::vector<pid_t> processes)
    : processes_(std::move(processes)),
      start_(std::chrono::steady_clock::now()),
      keptWaiting_(KeptWaiting(processes_)) {}

std::chrono::nanoseconds OwnTime::Passed() const {
    return std::chrono::steady_clock::now() - start_ - (KeptWaiting(processes_) - keptWaiting_);
}

}  // namespace gui
