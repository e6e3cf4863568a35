#include "Faults.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <limits>
#include <utility>

#include "OsLayer.h"

namespace {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

thread_local bool g_shortMemory = false;
thread_local std::size_t g_readLimit = kNoLimit;
thread_local std::size_t g_latestRequest = 0;
std::atomic<std::time_t> g_now{0};
std::atomic<bool> g_noEvents{false};
std::function<void()> g_aheadOfSection;
int g_deletedSections = 0;
bool g_waitWithoutLimit = false;

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

// What a hardened build calls where it knows the size of the block.
std::size_t __wrap___fread_chk(void* block, std::size_t room, std::size_t size, std::size_t count, std::FILE* file);
std::size_t __wrap___fread_chk(void* block, std::size_t room, std::size_t size, std::size_t count, std::FILE* file) {
    return __wrap_fread(block, size, std::min(count, room / size), file);
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

// A definition in the program is found before the one in the shared library.

void* OS_CreateAutoEvent(int signalled) {
    // The library's function by its symbol.
    static const auto real =
        reinterpret_cast<decltype(&OS_CreateAutoEvent)>(dlsym(RTLD_NEXT, "_Z18OS_CreateAutoEventi"));
    return g_noEvents ? nullptr : real(signalled);
}

int OS_WaitForThreadToFinishWithTimeout(void* thread, unsigned int milliseconds) {
    static const auto real = reinterpret_cast<decltype(&OS_WaitForThreadToFinishWithTimeout)>(
        dlsym(RTLD_NEXT, "_Z35OS_WaitForThreadToFinishWithTimeoutPvj"));
    return real(thread, g_waitWithoutLimit && milliseconds > 0 ? OS_INFINITE : milliseconds);
}

void OS_EnterGuardedCodeSection(pthread_mutex_t* section) {
    if (g_aheadOfSection) {
        g_aheadOfSection();
    }
    pthread_mutex_lock(section);
}

void OS_DeleteGuardedCodeSection(pthread_mutex_t* section) {
    ++g_deletedSections;
    pthread_mutex_destroy(section);
}

NoEvents::NoEvents() {
    g_noEvents = true;
}

NoEvents::~NoEvents() {
    g_noEvents = false;
}

AheadOfSections::AheadOfSections(std::function<void()> act) {
    g_aheadOfSection = std::move(act);
}

AheadOfSections::~AheadOfSections() {
    g_aheadOfSection = nullptr;
}

int DeletedSections() {
    return g_deletedSections;
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

void LetCloseLogWait(bool withoutLimit) {
    g_waitWithoutLimit = withoutLimit;
}
