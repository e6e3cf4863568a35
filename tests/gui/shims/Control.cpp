#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "Shim.h"

namespace shim {
namespace {

gui::ShimControl* Map() {
    static gui::ShimControl none{};
    const char* path = std::getenv(gui::kShimVariable);
    const int fd = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        return &none;
    }
    void* record = mmap(nullptr, sizeof none, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    return record == MAP_FAILED ? &none : static_cast<gui::ShimControl*>(record);
}

// Runs before main. A process that ends with a memory fault would lose what its standard output still holds.
__attribute__((constructor)) void SetUpOutput() {
    if (std::getenv(gui::kUnbufferedVariable) != nullptr) {
        std::setvbuf(stdout, nullptr, _IONBF, 0);
    }
}

__attribute__((format(printf, 1, 0))) void AddLine(const char* format, va_list arguments) {
    gui::ShimControl& control = Control();
    if (control.tracing == 0) {
        return;
    }
    char line[1024];
    const int length = std::vsnprintf(line, sizeof line - 1, format, arguments);
    std::size_t size = std::min(static_cast<std::size_t>(std::max(length, 0)), sizeof line - 2);
    line[size++] = '\n';
    static std::mutex guard;
    const std::lock_guard<std::mutex> lock(guard);
    const std::uint32_t at = control.traceLength.load();
    if (at + size <= gui::kTraceBytes) {
        std::memcpy(control.trace + at, line, size);
        control.traceLength.store(at + static_cast<std::uint32_t>(size));
    }
}

}  // namespace

gui::ShimControl& Control() {
    static gui::ShimControl* const control = Map();
    return *control;
}

bool InProgram(const void* address) {
    static const std::string program = [] {
        char path[4096] = {};
        return readlink("/proc/self/exe", path, sizeof path - 1) > 0 ? std::string(path) : std::string();
    }();
    Dl_info info{};
    if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) {
        return false;
    }
    // The program's own entry in the linker's list bears the name that it was started by.
    const char* name = std::strrchr(info.dli_fname, '/');
    const std::size_t slash = program.rfind('/');
    return std::string(name == nullptr ? info.dli_fname : name + 1) == program.substr(slash + 1);
}

void Trace(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    AddLine(format, arguments);
    va_end(arguments);
}

bool TracedFrame() {
    return Control().frames.load() < Control().tracedFrames.load();
}

void TraceInFrame(const char* format, ...) {
    if (!TracedFrame()) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    AddLine(format, arguments);
    va_end(arguments);
}

}  // namespace shim
