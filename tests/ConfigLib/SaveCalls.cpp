#include "SaveCalls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace {

struct Watch {
    bool active = false;
    bool byteByByte = false;
    std::string failing;
    int error = 0;
    int number = 0;
    std::vector<std::string> names;
};
thread_local Watch g_watch;

template <typename Function>
Function* Real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Notes the call. True when it is to fail; errno is then set.
bool NoteAndFails(const char* name, const std::string& noted) {
    if (!g_watch.active) {
        return false;
    }
    g_watch.active = false;  // the bookkeeping makes calls of its own
    g_watch.names.push_back(noted);
    const auto calls = std::count(g_watch.names.begin(), g_watch.names.end(), noted);
    const bool fails = g_watch.failing == name && (g_watch.number == 0 || g_watch.number == calls);
    g_watch.active = true;
    if (fails) {
        errno = g_watch.error;
    }
    return fails;
}

bool NoteAndFails(const char* name) {
    return NoteAndFails(name, name);
}

bool IsDirectory(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

// These stand in for the C library's functions of their names in the whole test program.

extern "C" ssize_t write(int descriptor, const void* bytes, size_t count) {
    static const auto real = Real<ssize_t(int, const void*, size_t)>("write");
    const bool handedOn = g_watch.active && (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0;
    if (NoteAndFails("write", handedOn ? "write to a file that is handed on" : "write")) {
        return errno == 0 ? 0 : -1;
    }
    const bool cut = g_watch.active && g_watch.byteByByte;
    return real(descriptor, bytes, cut ? std::min<size_t>(count, 1) : count);
}

extern "C" int fdatasync(int descriptor) {
    static const auto real = Real<int(int)>("fdatasync");
    return NoteAndFails("fdatasync") ? -1 : real(descriptor);
}

extern "C" int fsync(int descriptor) {
    static const auto real = Real<int(int)>("fsync");
    return NoteAndFails("fsync", IsDirectory(descriptor) ? "fsync directory" : "fsync") ? -1 : real(descriptor);
}

extern "C" int close(int descriptor) {
    static const auto real = Real<int(int)>("close");
    const bool fails = NoteAndFails("close");
    const int error = errno;
    const int result = real(descriptor);
    if (fails) {
        errno = error;
        return -1;
    }
    return result;
}

extern "C" int rename(const char* from, const char* to) noexcept {
    static const auto real = Real<int(const char*, const char*)>("rename");
    return NoteAndFails("rename") ? -1 : real(from, to);
}

SaveCalls::SaveCalls() {
    g_watch = Watch{};
    g_watch.active = true;
}

SaveCalls::~SaveCalls() {
    g_watch.active = false;
}

void SaveCalls::Fail(const std::string& name, int error, int number) {
    g_watch.failing = name;
    g_watch.error = error;
    g_watch.number = number;
}

void SaveCalls::WriteByteByByte() {
    g_watch.byteByByte = true;
}

const std::vector<std::string>& SaveCalls::Names() const {
    return g_watch.names;
}
