#include "FsHelper.h"

#include <mntent.h>
#include <sys/statvfs.h>

#include <cstdint>
#include <cstdio>
#include <iostream>
#include <iterator>

namespace {

constexpr char kMountTable[] = "/etc/mtab";
constexpr const char* kUnits[] = {"B", "KB", "MB", "GB", "TB", "PB"};
constexpr int kLastUnit = static_cast<int>(std::size(kUnits)) - 1;
constexpr long long kUnscaledMax = 1023;

// Anywhere in the mount point, not only at its beginning.
bool IsDrive(const std::string& mountPoint) {
    return mountPoint.find("/mnt") != std::string::npos || mountPoint.find("/media") != std::string::npos;
}

}  // namespace

std::vector<MountItem> GetMounts() {
    return GetMountsOf(kMountTable, &std::cout);
}

std::vector<MountItem> GetMountsOf(const char* table, std::ostream* report) {
    std::vector<MountItem> mounts;
    std::FILE* file = setmntent(table, "r");
    if (file == nullptr) {
        return mounts;
    }
    if (report != nullptr) {
        *report << "found mounted devices: " << std::endl;
    }
    while (const mntent* entry = getmntent(file)) {
        // The entry is overwritten by the next call.
        MountItem item{entry->mnt_fsname, entry->mnt_dir};
        if (!IsDrive(item.mountPoint)) {
            continue;
        }
        if (report != nullptr) {
            *report << item.device << " : " << item.mountPoint << std::endl;
        }
        mounts.push_back(item);
    }
    endmntent(file);
    return mounts;
}

long long GetAvailableSpace(char const* path) {
    struct statvfs status {};
    if (statvfs(path, &status) != 0) {
        return -1;
    }
    // f_bsize, not f_frsize, and what an unprivileged user may use although the tool runs as root: both are meant.
    const std::uint64_t available = std::uint64_t{status.f_bsize} * status.f_bavail;
    return static_cast<long long>(available);
}

char* FormatBytes(long long bytes, char* text) {
    double value = static_cast<double>(bytes);
    int unit = 0;
    if (bytes > kUnscaledMax) {
        // Whole steps are integer shifts; only the last one is a division.
        long long scaled = bytes;
        for (unit = 1; unit < kLastUnit && (scaled >> 10) > kUnscaledMax; ++unit) {
            scaled >>= 10;
        }
        value = static_cast<double>(scaled) * 0.0009765625;
    }
    const int length = std::sprintf(text, "%.2f", value);
    std::sprintf(text + length, " %s", kUnits[unit]);
    return text;
}
