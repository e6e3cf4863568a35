// What the kernel says of the threads of this process.
#pragma once

#include <optional>
#include <vector>

namespace test_support {

// Kernel numbers of all threads but the calling one.
std::vector<int> OtherThreads();

// A system call that a thread is asleep in.
struct BlockingCall {
    long number;             // SYS_...
    unsigned long argument;  // its first one
};

// Nothing while the thread runs or is about to, and once it is gone.
std::optional<BlockingCall> BlockedIn(int thread);

// Whether the thread runs no more code of the program. It may still be on the kernel's list for a moment.
bool HasEnded(int thread);

}  // namespace test_support
