#include "Patience.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>

namespace gui {
namespace {

namespace fs = std::filesystem;

std::vector<pid_t> ThreadsOf(pid_t process) {
    std::vector<pid_t> threads;
    std::error_code gone;
    for (fs::directory_iterator thread("/proc/" + std::to_string(process) + "/task", gone), end; !gone && thread != end;
         thread.increment(gone)) {
        threads.push_back(std::stoi(thread->path().filename().string()));
    }
    return threads;
}

// Nanoseconds run and nanoseconds kept waiting, as the kernel counts them. 0 where it does not, or the thread is gone.
std::chrono::nanoseconds WaitOf(pid_t thread) {
    std::ifstream counts("/proc/" + std::to_string(thread) + "/schedstat");
    long long run = 0;
    long long waited = 0;
    counts >> run >> waited;
    return std::chrono::nanoseconds(waited);
}

}  // namespace

OwnTime::OwnTime(std::vector<pid_t> processes)
    : processes_(std::move(processes)), start_(std::chrono::steady_clock::now()) {
    AddWaits();
    keptWaiting_ = std::chrono::nanoseconds(0);
}

std::chrono::nanoseconds OwnTime::Passed() {
    AddWaits();
    return std::chrono::steady_clock::now() - start_ - keptWaiting_;
}

void OwnTime::AddWaits() {
    for (const pid_t process : processes_) {
        for (const pid_t thread : ThreadsOf(process)) {
            const std::chrono::nanoseconds now = WaitOf(thread);
            std::chrono::nanoseconds& before = waits_[thread];
            keptWaiting_ += std::max(now - before, std::chrono::nanoseconds(0));
            before = std::max(now, before);
        }
    }
}

}  // namespace gui
