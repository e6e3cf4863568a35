#include "OpenFile.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// No call waits: not for the other end of a FIFO, not for a device. A terminal does not become the process's own.
constexpr int kNeverWait = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr mode_t kNewFileMode = 0666;  // less the umask, as fopen makes files

// A neighbour can put something back as often as it is removed. After so many rounds it has won: the opening fails.
constexpr int kRounds = 100;
constexpr int kMostLinks = 40;  // in a chain, as the kernel has it

// open, gone on with after an interruption.
int Open(const char* path, int flags, mode_t mode = 0) {
    int descriptor = -1;
    do {
        descriptor = open(path, flags, mode);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

bool Cut(int descriptor) {
    int result = -1;
    do {
        result = ftruncate(descriptor, 0);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

int FailWith(int error) {
    errno = error;
    return -1;
}

int CloseAndFailWith(int descriptor, int error) {
    close(descriptor);
    return FailWith(error);
}

// ---- Reading -------------------------------------------------------------------------------------------------------

// Finds out what a path leads to without opening that: opening alone can rewind a tape or start a watchdog. The
// descriptor holds the thing, which nobody can exchange any more, but cannot read it.
int Hold(const char* path, struct stat& status) {
    const int held = Open(path, O_PATH | O_CLOEXEC);
    return held < 0 || fstat(held, &status) == 0 ? held : CloseAndFailWith(held, errno);
}

// Opens what is held. Without /proc the path has to do.
int OpenHeld(int held, const char* path) {
    char own[32];
    std::snprintf(own, sizeof own, "/proc/self/fd/%d", held);
    const int descriptor = Open(own, O_RDONLY | kNeverWait);
    return descriptor < 0 && errno == ENOENT ? Open(path, O_RDONLY | kNeverWait) : descriptor;
}

bool CanBeRead(const struct stat& status) {
    return S_ISREG(status.st_mode) || S_ISDIR(status.st_mode);
}

// A file in memory stands in for what must not be read: no path leads to it.
int EmptyFile(const struct stat& status) {
    return S_ISSOCK(status.st_mode) ? FailWith(ENXIO) : memfd_create("empty", MFD_CLOEXEC);
}

}  // namespace

int OpenToMeasure(const char* path) {
    struct stat status {};
    const int held = Hold(path, status);
    if (held < 0 || !CanBeRead(status)) {
        return held;
    }
    const int descriptor = OpenHeld(held, path);
    return descriptor < 0 ? CloseAndFailWith(held, errno) : (close(held), descriptor);
}

int OpenToRead(const char* path) {
    struct stat status {};
    const int held = Hold(path, status);
    if (held < 0) {
        return -1;
    }
    const int descriptor = CanBeRead(status) ? OpenHeld(held, path) : EmptyFile(status);
    return descriptor < 0 ? CloseAndFailWith(held, errno) : (close(held), descriptor);
}

// ---- New files -----------------------------------------------------------------------------------------------------

namespace {

int MakeFile(const char* path) {
    return Open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | kNeverWait, kNewFileMode);
}

// Opens what could not be removed if it is the caller's own file and has no second name.
int OpenOwnFile(const char* path, int removalError) {
    const int descriptor = Open(path, O_WRONLY | O_NOFOLLOW | kNeverWait);
    if (descriptor < 0) {
        // A link and a FIFO fail only because they are not followed and not waited for.
        return FailWith(errno == ELOOP || errno == ENXIO ? removalError : errno);
    }
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        return CloseAndFailWith(descriptor, errno);
    }
    if (!S_ISREG(status.st_mode) || status.st_uid != geteuid() || status.st_nlink != 1) {
        return CloseAndFailWith(descriptor, removalError);
    }
    if (!Cut(descriptor)) {
        return CloseAndFailWith(descriptor, errno);
    }
    return descriptor;
}

}  // namespace

int OpenAnew(const char* path) {
    int descriptor = MakeFile(path);
    for (int round = 0; descriptor < 0 && errno == EEXIST && round < kRounds; ++round) {
        if (unlink(path) != 0 && errno != ENOENT) {
            return OpenOwnFile(path, errno);
        }
        descriptor = MakeFile(path);
    }
    return descriptor;
}

// ---- Files written in place ----------------------------------------------------------------------------------------

namespace {

// What an opening in place may lead to.
struct InPlace {
    int flags;     // for open, but those that make a file
    bool make;     // a missing file is made
    bool devices;  // a link may lead to a character device
};

// Never makes a file and opens one in the same call: on that the kernel puts conditions of its own in a sticky folder,
// which differ from machine to machine.
int OpenOrMake(const char* path, const InPlace& rule) {
    const int flags = rule.flags | O_NOFOLLOW | kNeverWait;
    for (int round = 0; round < kRounds; ++round) {
        int descriptor = Open(path, flags);
        if (descriptor >= 0 || errno != ENOENT || !rule.make) {
            return descriptor;
        }
        descriptor = Open(path, flags | O_CREAT | O_EXCL, kNewFileMode);
        if (descriptor >= 0 || errno != EEXIST) {
            return descriptor;
        }
    }
    return -1;
}

using Path = char[PATH_MAX];

// False with errno set when the text does not fit.
bool CopyPath(Path& path, const char* folder, std::size_t folderLength, const char* name) {
    const std::size_t nameSize = std::strlen(name) + 1;
    if (folderLength + nameSize > sizeof path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memmove(path, folder, folderLength);
    std::memcpy(path + folderLength, name, nameSize);
    return true;
}

// Reads where a symbolic link leads if it is root's or the caller's, and its only name. It is read by the descriptor of
// the link itself: nobody can exchange it between the check and the reading. False with errno set.
bool ReadTrustedLink(const Path& path, Path& target) {
    const int descriptor = Open(path, O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    struct stat status {};
    const bool trusted = fstat(descriptor, &status) == 0 && S_ISLNK(status.st_mode) && status.st_nlink == 1 &&
                         (status.st_uid == 0 || status.st_uid == geteuid());
    const ssize_t length = trusted ? readlinkat(descriptor, "", target, sizeof target - 1) : -1;
    close(descriptor);
    target[std::max<ssize_t>(length, 0)] = '\0';
    errno = ELOOP;
    return length > 0;
}

// Makes the path of a link that of its target. A relative target counts from the folder of the link.
bool GoToTarget(Path& path, const Path& target) {
    const char* slash = target[0] == '/' ? nullptr : std::strrchr(path, '/');
    return CopyPath(path, path, slash == nullptr ? 0 : static_cast<std::size_t>(slash - path) + 1, target);
}

// Opens the path itself or what trusted links lead to. `followed` tells which.
int OpenThroughTrustedLinks(const char* name, const InPlace& rule, bool& followed) {
    followed = false;
    Path path;
    if (!CopyPath(path, "", 0, name)) {
        return -1;
    }
    for (int links = 0; links <= kMostLinks; ++links) {
        const int descriptor = OpenOrMake(path, rule);
        if (descriptor >= 0 || errno != ELOOP) {
            return descriptor;
        }
        Path target;
        if (!ReadTrustedLink(path, target) || !GoToTarget(path, target)) {
            return -1;
        }
        followed = true;
    }
    return FailWith(ELOOP);
}

// 0 when an open file may be used, else the errno of the refusal.
int Refusal(const struct stat& status, bool devices) {
    if (S_ISREG(status.st_mode)) {
        return status.st_nlink == 1 ? 0 : EMLINK;
    }
    if (S_ISDIR(status.st_mode)) {
        return EISDIR;
    }
    return S_ISCHR(status.st_mode) && devices ? 0 : ENXIO;
}

int OpenInPlace(const char* path, const InPlace& rule, struct stat& status) {
    for (int round = 0; round < kRounds; ++round) {
        bool followed = false;
        const int descriptor = OpenThroughTrustedLinks(path, rule, followed);
        if (descriptor < 0) {
            return -1;
        }
        if (fstat(descriptor, &status) != 0) {
            return CloseAndFailWith(descriptor, errno);
        }
        if (S_ISREG(status.st_mode) && status.st_nlink == 0) {
            close(descriptor);  // removed since it was opened, by a rotation elsewhere perhaps: there is a new one
            continue;
        }
        const int refusal = Refusal(status, rule.devices && followed);
        return refusal == 0 ? descriptor : CloseAndFailWith(descriptor, refusal);
    }
    return FailWith(ENOENT);
}

// A device is written as one that is waited for, as before.
bool LetWritesWait(int descriptor) {
    const int flags = fcntl(descriptor, F_GETFL);
    return flags >= 0 && fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) == 0;
}

// What is cut is cut only once it is known to be harmless.
int OpenToWriteInPlace(const char* path, const InPlace& rule, OldBytes oldBytes) {
    struct stat status {};
    const int descriptor = OpenInPlace(path, rule, status);
    if (descriptor < 0) {
        return -1;
    }
    const bool ready =
        S_ISREG(status.st_mode) ? oldBytes == OldBytes::Keep || Cut(descriptor) : LetWritesWait(descriptor);
    return ready ? descriptor : CloseAndFailWith(descriptor, errno);
}

}  // namespace

int OpenLogFile(const char* path, OldBytes oldBytes) {
    const int append = oldBytes == OldBytes::Keep ? O_APPEND : 0;
    return OpenToWriteInPlace(path, {O_WRONLY | append, true, true}, oldBytes);
}

int OpenEntryFile(const char* path) {
    return OpenToWriteInPlace(path, {O_WRONLY, true, false}, OldBytes::Cut);
}

int OpenLogToSetMode(const char* path, bool& isDevice) {
    struct stat status {};
    const int descriptor = OpenInPlace(path, {O_RDONLY, false, true}, status);
    isDevice = descriptor >= 0 && S_ISCHR(status.st_mode);
    return descriptor;
}

// ---- Open files ----------------------------------------------------------------------------------------------------

std::FILE* StreamOf(int descriptor, const char* mode) {
    if (descriptor < 0) {
        return nullptr;
    }
    std::FILE* stream = fdopen(descriptor, mode);
    if (stream == nullptr) {
        CloseAndFailWith(descriptor, errno);
    }
    return stream;
}

bool WriteAll(int descriptor, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = write(descriptor, bytes, count);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}
