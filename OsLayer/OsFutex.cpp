#include "OsFutex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "OsLayer.h"

namespace {

constexpr long kNanosecondsPerSecond = 1000000000;

}  // namespace

static_assert(sizeof(std::atomic<std::int32_t>) == sizeof(std::int32_t), "the kernel sleeps on the plain word");

OsDeadline OsDeadlineIn(unsigned int milliseconds) {
    OsDeadline deadline{milliseconds != OS_INFINITE, {}};
    if (deadline.limited) {
        clock_gettime(CLOCK_MONOTONIC, &deadline.when);
        deadline.when.tv_sec += milliseconds / 1000;
        deadline.when.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
        if (deadline.when.tv_nsec >= kNanosecondsPerSecond) {
            deadline.when.tv_sec += 1;
            deadline.when.tv_nsec -= kNanosecondsPerSecond;
        }
    }
    return deadline;
}

bool OsFutexWait(std::atomic<std::int32_t>& word, std::int32_t expected, const OsDeadline& deadline) {
    // The bitset form takes an absolute point in time, so that an interrupted wait does not start its limit anew.
    const long result = syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, expected,
                                deadline.limited ? &deadline.when : nullptr, nullptr, FUTEX_BITSET_MATCH_ANY);
    return result == 0 || errno != ETIMEDOUT;
}

void OsFutexWake(std::atomic<std::int32_t>& word, int count) {
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
}
