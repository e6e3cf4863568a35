#include "Input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "PrivateFolder.h"
#include "Report.h"

namespace {

constexpr off_t kLargestFile = off_t{64} * 1024 * 1024;  // bytes; files of a system of 64 Recorders have some 100 KB

bool IsNullDevice(const struct stat& status) {
    return S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
}

InputFile::Kind KindOf(const struct stat& status) {
    if (S_ISREG(status.st_mode) || IsNullDevice(status)) {
        return InputFile::Kind::Regular;
    }
    return S_ISDIR(status.st_mode) ? InputFile::Kind::Folder : InputFile::Kind::Endless;
}

[[noreturn]] void TooLarge(const std::string& path) {
    throw NotChecked{"'" + path + "' is larger than 64 MiB"};
}

// False when reading fails.
bool ReadWhole(int descriptor, const std::string& path, std::string& content) {
    char buffer[65536];
    for (;;) {
        const ssize_t count = read(descriptor, buffer, sizeof buffer);
        if (count == 0) {
            return true;
        }
        if (count < 0 && errno != EINTR) {
            return false;
        }
        content.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
        if (content.size() > static_cast<std::size_t>(kLargestFile)) {
            TooLarge(path);
        }
    }
}

int OpenForReading(const std::string& path) {
    return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
}

bool WriteWhole(int descriptor, const std::string& content) {
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t written = write(descriptor, content.data() + done, content.size() - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return true;
}

[[noreturn]] void NoRoom(int error) {
    throw NotChecked{NoPlaceSentence("a file cannot be written", error)};
}

std::string Absolute(const std::string& path) {
    std::error_code failed;
    const std::filesystem::path absolute = std::filesystem::absolute(path, failed);
    return failed ? path : absolute.string();
}

}  // namespace

InputFile ReadInput(const std::string& path) {
    InputFile file;
    file.path = path;
    // Opening a FIFO or a device may already wait or do something, so the name is looked up first; what stands there
    // may be another thing by the time of the opening, which does not wait for a FIFO.
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && KindOf(status) == InputFile::Kind::Endless && !S_ISSOCK(status.st_mode)) {
        file.kind = InputFile::Kind::Endless;
        return file;
    }
    const int descriptor = OpenForReading(path);
    if (descriptor < 0) {
        file.error = errno;
        return file;
    }
    if (fstat(descriptor, &status) == 0) {
        file.kind = KindOf(status);
    }
    const bool regular = file.kind == InputFile::Kind::Regular;
    const bool tooLarge = regular && status.st_size > kLargestFile;
    if (regular && !tooLarge && !ReadWhole(descriptor, path, file.content)) {
        const int error = errno;
        close(descriptor);
        throw NotChecked{"'" + path + "' cannot be read (" + std::strerror(error) + ")"};
    }
    close(descriptor);
    if (tooLarge) {
        TooLarge(path);
    }
    return file;
}

void LayOut(const InputFile& file, const std::string& place) {
    switch (file.kind) {
        case InputFile::Kind::Regular:
            WriteNewFile(place, file.content);
            break;
        case InputFile::Kind::Folder:
            if (mkdir(place.c_str(), 0700) != 0) {
                NoRoom(errno);
            }
            break;
        case InputFile::Kind::Unopenable:
            // Opening the link fails as opening the file did. For a missing file nothing has to be there.
            if (file.error != ENOENT && symlink(Absolute(file.path).c_str(), place.c_str()) != 0) {
                NoRoom(errno);
            }
            break;
        case InputFile::Kind::Endless:
            break;  // never given to the readers
    }
}

void WriteNewFile(const std::string& path, const std::string& content) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        NoRoom(errno);
    }
    const bool complete = WriteWhole(descriptor, content);
    const int error = errno;
    if (close(descriptor) != 0 || !complete) {
        NoRoom(complete ? errno : error);
    }
}

std::string ReadWritten(const std::string& path) {
    std::string content;
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return content;
    }
    const int descriptor = OpenForReading(path);
    if (descriptor < 0) {
        throw NotChecked{NoPlaceSentence("a file cannot be read back", errno)};
    }
    const bool complete = ReadWhole(descriptor, path, content);
    const int error = errno;
    close(descriptor);
    if (!complete) {
        throw NotChecked{NoPlaceSentence("a file cannot be read back", error)};
    }
    return content;
}
