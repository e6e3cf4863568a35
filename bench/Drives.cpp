#include "Drives.h"

#include <mntent.h>

#include <cstdio>

#include "Place.h"

namespace {

// Empty: no drive.
std::string g_table;

}  // namespace

// The link step puts this in front of the C library's function, which takes any file.
extern "C" std::FILE* __real_setmntent(const char* path, const char* mode);
extern "C" std::FILE* __wrap_setmntent(const char* /*path*/, const char* mode) {
    return g_table.empty() ? nullptr : __real_setmntent(g_table.c_str(), mode);
}

namespace bench {

std::vector<std::string> DrivePaths(unsigned int count) {
    std::vector<std::string> paths;
    for (unsigned int number = 1; number <= count; ++number) {
        paths.push_back("/mnt/bench-recordings" + std::to_string(number));
    }
    return paths;
}

std::vector<std::string> DriveLabels(unsigned int count) {
    std::vector<std::string> labels;
    for (const std::string& path : DrivePaths(count)) {
        labels.push_back(path + " (-1.00 B)");
    }
    return labels;
}

void UseDrives(unsigned int count) {
    std::string rows;
    for (const std::string& path : DrivePaths(count)) {
        rows += "/dev/bench " + path + " ext4 rw 0 0\n";
    }
    g_table = Folder("mounts") + "/mtab";
    WriteFile(g_table, rows);
}

}  // namespace bench
