// What the program sees of the machine's drives: the mount table, free space, and byte counts as short text. Stateless;
// to be called from one thread.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

// One accepted line of the mount table, as getmntent decodes it.
struct MountItem {
    std::string device;
    std::string mountPoint;
};

// The entries of "/etc/mtab" with "/mnt" or "/media" anywhere in their mount point, in the order of the table, doubles
// included. This is the full definition of a drive. Writes a heading and a line for each to the standard output. Empty,
// and without output, when the table cannot be opened.
std::vector<MountItem> GetMounts();

// The same of another mount table. Heading and lines go to `report`, nowhere when it is null.
std::vector<MountItem> GetMountsOf(const char* table, std::ostream* report);

// Bytes that an unprivileged user may still write below `path`; -1 on failure.
long long GetAvailableSpace(char const* path);

// Writes the count, read as signed, with two decimals and its unit ("1.50 KB") into `text` and returns it. The decimal
// mark is the locale's. `text` has room for 25 bytes, the terminator among them, and those of the decimal mark.
char* FormatBytes(long long bytes, char* text);
