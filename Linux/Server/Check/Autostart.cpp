#include "Autostart.h"

#include <sys/stat.h>
#include <unistd.h>

#include "Input.h"

namespace {

bool IsSameFile(const std::string& a, const std::string& b) {
    struct stat first {};
    struct stat second {};
    return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

bool HasName(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

// Whether "Apply" would leave the entry alone because writing to it is not safe: a link of a stranger's, or a file of
// several names.
bool IsRefused(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode) && status.st_uid != 0 &&
        status.st_uid != geteuid()) {
        return true;
    }
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink > 1;
}

}  // namespace

Autostart AutostartAfterApply(const std::string& startEntry, const std::string& autostartEntry, bool isOn) {
    if (!isOn) {
        // A link to nothing does not count as an entry, but its name would go.
        return HasName(autostartEntry) ? Autostart::Removed : Autostart::Unchanged;
    }
    const InputFile present = ReadInput(autostartEntry);
    if (present.kind == InputFile::Kind::Folder || present.kind == InputFile::Kind::Special ||
        IsRefused(autostartEntry)) {
        return Autostart::Unchanged;
    }
    // A link to the start entry itself: the entry is cut to nothing before it is copied.
    const std::string source = IsSameFile(startEntry, autostartEntry) ? "" : ReadInput(startEntry).content;
    if (source == present.content && present.kind == InputFile::Kind::Regular) {
        return Autostart::Unchanged;
    }
    return source.empty() ? Autostart::Emptied : Autostart::Replaced;
}
