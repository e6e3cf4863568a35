// Calls of the C library that LogLib makes and that a test wants to fail or to answer differently.
#pragma once

#include <cstddef>
#include <ctime>

// While it lives, malloc gives null to whoever asks on this thread.
class ShortMemory {
public:
    ShortMemory();
    ~ShortMemory();
    ShortMemory(const ShortMemory&) = delete;
    ShortMemory& operator=(const ShortMemory&) = delete;
};

// While it lives, fread on this thread delivers at most `limit` bytes in one call.
class ShortReads {
public:
    explicit ShortReads(std::size_t limit);
    ~ShortReads();
    ShortReads(const ShortReads&) = delete;
    ShortReads& operator=(const ShortReads&) = delete;
};

// Bytes asked for in the latest malloc call of this thread.
std::size_t LatestRequest();

// From now on time() gives `now`, on every thread.
void SetClock(std::time_t now);
