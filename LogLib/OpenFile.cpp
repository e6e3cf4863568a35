#include "OpenFile.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace {

// No call waits: not for the other end of a FIFO, not for a device. A terminal does not become the process's own.
constexpr int kNeverWait = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr mode_t kNewFileMode = 0666;  // less the umask, as fopen makes files

// A neighbour can put something back as often as it is removed. After so many rounds it has won: the opening fails.
constexpr int kRounds = 100;
constexpr int kMostLinks = 40;  // in a chain, as the kernel has it

int FailWith(int error) {
    errno = error;
    return -1;
}

int CloseAndFailWith(int descriptor, int error) {
    close(descriptor);
    return FailWith(error);
}

// ---- Reading -------------------------------------------------------------------------------------------------------

// A file in memory stands in for what must not be read: no path leads to it.
int EmptyFile() {
    return memfd_create("empty", MFD_CLOEXEC);
}

}  // namespace

int OpenToRead(const char* path) {
    const int descriptor = open(path, O_RDONLY | kNeverWait);
    if (descriptor < 0) {
        return -1;
    }
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        return CloseAndFailWith(descriptor, errno);
    }
    if (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)) {
        return descriptor;
    }
    close(descriptor);
    return EmptyFile();
}

// ---- New files -----------------------------------------------------------------------------------------------------

namespace {

int MakeFile(const char* path) {
    return open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | kNeverWait, kNewFileMode);
}

// Opens what could not be removed if it is the caller's own file and has no second name.
int OpenOwnFile(const char* path, int removalError) {
    const int descriptor = open(path, O_WRONLY | O_NOFOLLOW | kNeverWait);
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
    if (ftruncate(descriptor, 0) != 0) {
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
    int flags;     // for open
    bool devices;  // a link may lead to a character device
};

// A symbolic link, read by the descriptor of the link itself: it cannot be exchanged between the look and the reading.
struct Link {
    bool trusted;  // root's or the caller's, and its only name
    std::string target;
};

// False with errno set when there is no link any more or it cannot be read.
bool ReadLink(const std::string& path, Link& link) {
    const int descriptor = open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    struct stat status {};
    char target[PATH_MAX];
    const bool isLink = fstat(descriptor, &status) == 0 && S_ISLNK(status.st_mode);
    const ssize_t length = isLink ? readlinkat(descriptor, "", target, sizeof target) : -1;
    close(descriptor);
    if (length < 0) {
        errno = ELOOP;  // it is something else by now: somebody exchanges it
        return false;
    }
    link.trusted = (status.st_uid == 0 || status.st_uid == geteuid()) && status.st_nlink == 1;
    link.target.assign(target, static_cast<std::size_t>(length));
    return true;
}

// A relative target counts from the folder of its link.
std::string PathOfTarget(const std::string& path, const std::string& target) {
    if (!target.empty() && target.front() == '/') {
        return target;
    }
    return path.substr(0, path.rfind('/') + 1) + target;
}

// Opens the path itself or what trusted links lead to. `followed` tells which.
int OpenThroughTrustedLinks(std::string path, int flags, bool& followed) {
    followed = false;
    for (int links = 0; links <= kMostLinks; ++links) {
        const int descriptor = open(path.c_str(), flags | O_NOFOLLOW | kNeverWait, kNewFileMode);
        if (descriptor >= 0 || errno != ELOOP) {
            return descriptor;
        }
        Link link;
        if (!ReadLink(path, link)) {
            return -1;
        }
        if (!link.trusted) {
            break;
        }
        path = PathOfTarget(path, link.target);
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
        const int descriptor = OpenThroughTrustedLinks(path, rule.flags, followed);
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
    const bool ready = S_ISREG(status.st_mode) ? oldBytes == OldBytes::Keep || ftruncate(descriptor, 0) == 0
                                               : LetWritesWait(descriptor);
    return ready ? descriptor : CloseAndFailWith(descriptor, errno);
}

}  // namespace

int OpenLogFile(const char* path, OldBytes oldBytes) {
    const int append = oldBytes == OldBytes::Keep ? O_APPEND : 0;
    return OpenToWriteInPlace(path, {O_WRONLY | O_CREAT | append, true}, oldBytes);
}

int OpenEntryFile(const char* path) {
    return OpenToWriteInPlace(path, {O_WRONLY | O_CREAT, false}, OldBytes::Cut);
}

int OpenLogToSetMode(const char* path, bool& isDevice) {
    struct stat status {};
    const int descriptor = OpenInPlace(path, {O_RDONLY, true}, status);
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
