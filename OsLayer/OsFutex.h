// Sleeping on a 32-bit word, the one primitive under events and thread ends. Internal to this layer.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

// A point on the monotonic clock up to which a caller is willing to wait; `limited` false means for ever.
struct OsDeadline {
    bool limited;
    timespec when;
};

// The point `milliseconds` from now; OS_INFINITE gives one that never comes.
OsDeadline OsDeadlineIn(unsigned int milliseconds);

// Sleeps while `word` holds `expected`, until woken or until the deadline. Returns false only when the deadline has
// passed; a true result says nothing about the word, which the caller looks at again.
bool OsFutexWait(std::atomic<std::int32_t>& word, std::int32_t expected, const OsDeadline& deadline);

// Wakes at most `count` sleepers.
void OsFutexWake(std::atomic<std::int32_t>& word, int count);
