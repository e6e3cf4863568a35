#include "Faults.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <limits>

namespace {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

thread_local bool g_shortMemory = false;
thread_local std::size_t g_readLimit = kNoLimit;
thread_local std::size_t g_latestRequest = 0;
std::atomic<std::time_t> g_now{0};

}  // namespace

// The linker leads calls of malloc to __wrap_malloc and __real_malloc to the library's; likewise the others.
extern "C" {

void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size) {
    g_latestRequest = size;
    return g_shortMemory ? nullptr : __real_malloc(size);
}

std::size_t __real_fread(void* block, std::size_t size, std::size_t count, std::FILE* file);
std::size_t __wrap_fread(void* block, std::size_t size, std::size_t count, std::FILE* file);
std::size_t __wrap_fread(void* block, std::size_t size, std::size_t count, std::FILE* file) {
    return __real_fread(block, size, g_readLimit == kNoLimit ? count : std::min(count, g_readLimit / size), file);
}

std::time_t __real_time(std::time_t* now);
std::time_t __wrap_time(std::time_t* now);
std::time_t __wrap_time(std::time_t* now) {
    if (g_now == 0) {
        return __real_time(now);
    }
    if (now != nullptr) {
        *now = g_now;
    }
    return g_now;
}
}

ShortMemory::ShortMemory() {
    g_shortMemory = true;
}

ShortMemory::~ShortMemory() {
    g_shortMemory = false;
}

ShortReads::ShortReads(std::size_t limit) {
    g_readLimit = limit;
}

ShortReads::~ShortReads() {
    g_readLimit = kNoLimit;
}

std::size_t LatestRequest() {
    return g_latestRequest;
}

void SetClock(std::time_t now) {
    g_now = now;
}
