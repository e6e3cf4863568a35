// Files that the program opens, takes away and renames, the locale, arrays that it releases, and the closing of the
// log.

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <clocale>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <thread>

#include "../../../OsLayer/OsLayer.h"
#include "Shim.h"

extern "C" {

FILE* fopen(const char* path, const char* mode) {
    SHIM_NEXT(fopen);
    SHIM_TRACE("fopen %s", path);
    return next(path, mode);
}

// The openings of configuration files; others would be many, by libraries too.
int open(const char* path, int flags, ...) {
    static auto* const next = shim::Next(static_cast<int (*)(const char*, int, mode_t)>(nullptr), "open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (std::strncmp(path, "/etc/Orvan/Config/Server/", 25) == 0 && path[25] != '\0') {
        SHIM_TRACE("open %s", path);
    }
    return next(path, flags, mode);
}

int unlink(const char* path) noexcept {
    SHIM_NEXT(unlink);
    SHIM_TRACE("unlink %s", path);
    return next(path);
}

int rename(const char* from, const char* to) noexcept {
    SHIM_NEXT(rename);
    SHIM_TRACE("rename %s %s", from, to);
    return next(from, to);
}

char* setlocale(int category, const char* name) noexcept {
    SHIM_NEXT(setlocale);
    // Xlib asks for the locale that is set, and some builds of the program let those calls be seen here.
    if (name != nullptr) {
        SHIM_TRACE("setlocale category=%d name=\"%s\"", category, name);
    }
    return next(category, name);
}

}  // extern "C"

namespace {

void DeleteArray(void* array, const void* caller) {
    static auto* const next = shim::Next(static_cast<void (*)(void*)>(nullptr), "_ZdaPv");
    if (shim::Control().tracedDeletes != 0 && shim::InProgram(caller)) {
        shim::Trace("delete[]");
    }
    next(array);
}

std::atomic<bool> g_logBegun{false};
std::atomic<bool> g_logWoken{false};  // from the signal until the log thread has taken it
std::atomic<bool> g_logIdle{false};   // while the log thread waits for a signal

}  // namespace

namespace shim {

void WaitUntilLogIsWritten() {
    // In this order: a thread that took the signal between the looks waits again only when it has written all.
    while (Control().logIsStuck == 0 && g_logBegun && (g_logWoken || !g_logIdle)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace shim

void operator delete[](void* array) noexcept {
    DeleteArray(array, __builtin_return_address(0));
}

void operator delete[](void* array, std::size_t) noexcept {
    DeleteArray(array, __builtin_return_address(0));
}

// The layer's functions are C++ ones: they are found under the names that the compiler makes of them.

// The program has one event, which wakes the log thread.
void OS_SetEvent(void* event) {
    static auto* const next = shim::Next(&OS_SetEvent, "_Z11OS_SetEventPv");
    g_logBegun = true;
    g_logWoken = true;
    next(event);
}

int OS_WaitForEvent(void* event, unsigned int milliseconds) {
    static auto* const next = shim::Next(&OS_WaitForEvent, "_Z15OS_WaitForEventPvj");
    g_logIdle = true;
    const int result = next(event, milliseconds);
    g_logIdle = false;
    g_logWoken = false;
    return result;
}

int OS_WaitForThreadToFinishWithTimeout(void* thread, unsigned int milliseconds) {
    static auto* const next =
        shim::Next(&OS_WaitForThreadToFinishWithTimeout, "_Z35OS_WaitForThreadToFinishWithTimeoutPvj");
    shim::Trace("OS_WaitForThreadToFinishWithTimeout %u", milliseconds);
    return next(thread, milliseconds);
}

void OS_DeleteGuardedCodeSection(pthread_mutex_t* section) {
    static auto* const next =
        shim::Next(&OS_DeleteGuardedCodeSection, "_Z27OS_DeleteGuardedCodeSectionP15pthread_mutex_t");
    shim::Trace("OS_DeleteGuardedCodeSection");
    next(section);
}
