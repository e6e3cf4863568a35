// Limits on how long a process may take, on a machine that is busy with others as well.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <vector>

namespace gui {

// The time since it was made, less the time in which threads of these processes were ready to run and got no processor:
// that one is the machine's, not theirs. Where both wait it is taken off twice.
class OwnTime {
public:
    explicit OwnTime(std::vector<pid_t> processes);
    std::chrono::nanoseconds Passed() const;

private:
    std::vector<pid_t> processes_;
    std::chrono::steady_clock::time_point start_;
    std::chrono::nanoseconds keptWaiting_;
};

}  // namespace gui
