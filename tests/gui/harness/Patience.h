// Limits on how long a process may take, on a machine that is busy with others as well.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <vector>

namespace gui {

// The time since it was made, less the time in which threads of these processes were ready to run and got no processor:
// that one is the machine's, not theirs. Where several wait at once it is taken off for each.
class OwnTime {
public:
    explicit OwnTime(std::vector<pid_t> processes);
    // To be called now and then: a thread's last wait before its end is not known any more.
    std::chrono::nanoseconds Passed();

private:
    void AddWaits();

    std::vector<pid_t> processes_;
    std::map<pid_t, std::chrono::nanoseconds> waits_;  // of each thread in its life, when last looked at
    std::chrono::nanoseconds keptWaiting_{0};
    std::chrono::steady_clock::time_point start_;
};

}  // namespace gui
