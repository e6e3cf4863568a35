// A preloaded library that ends a program at its first frame and says what the start has cost.
//
// The frame counts as shown when glXSwapBuffers has returned; a program that draws by other means calls BenchFirstFrame
// itself. One line of JSON goes to the file that BENCH_REPORT names.
#include <GL/glx.h>
#include <dlfcn.h>
#include <link.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" void BenchFirstFrame();

namespace {

int CountLibrary(dl_phdr_info* info, std::size_t /*size*/, void* count) {
    // The program itself has no name; the kernel's page is no file, and this library is not the program's.
    const bool counts =
        std::strchr(info->dlpi_name, '/') != nullptr && std::strstr(info->dlpi_name, "bench-first-frame") == nullptr;
    *static_cast<int*>(count) += counts ? 1 : 0;
    return 0;
}

// Kilobytes. The kernel's figure for the process would start with its parent's size.
long PeakMemory() {
    long peak = 0;
    std::FILE* status = std::fopen("/proc/self/status", "r");
    char line[256];
    while (status != nullptr && std::fgets(line, sizeof line, status) != nullptr) {
        if (std::sscanf(line, "VmHWM: %ld", &peak) == 1) {
            break;
        }
    }
    return peak;
}

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

}  // namespace

void BenchFirstFrame() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const long peak = PeakMemory();
    int libraries = 0;
    dl_iterate_phdr(CountLibrary, &libraries);
    const char* path = std::getenv("BENCH_REPORT");
    std::FILE* report = path != nullptr ? std::fopen(path, "w") : nullptr;
    if (report == nullptr) {
        _exit(EXIT_FAILURE);
    }
    std::fprintf(report, "{\"cpu_s\": %.6f, \"peak_kb\": %ld, \"libraries\": %d}\n",
                 Seconds(usage.ru_utime) + Seconds(usage.ru_stime), peak, libraries);
    std::fclose(report);
    _exit(EXIT_SUCCESS);
}

void glXSwapBuffers(Display* display, GLXDrawable drawable) {
    reinterpret_cast<void (*)(Display*, GLXDrawable)>(dlsym(RTLD_NEXT, "glXSwapBuffers"))(display, drawable);
    BenchFirstFrame();
}
