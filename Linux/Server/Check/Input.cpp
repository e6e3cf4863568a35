#include "Input.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "Descriptor.h"
#include "OpenFile.h"
#include "PrivateFolder.h"
#include "Report.h"

namespace {

constexpr off_t kLargestFile = off_t{64} * 1024 * 1024;  // bytes; files of a system of 64 Recorders have some 100 KB

InputFile::Kind KindOf(const struct stat& status) {
    if (S_ISREG(status.st_mode)) {
        return InputFile::Kind::Regular;
    }
    if (S_ISDIR(status.st_mode)) {
        return InputFile::Kind::Folder;
    }
    return S_ISSOCK(status.st_mode) ? InputFile::Kind::Unopenable : InputFile::Kind::Special;
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
    const Descriptor input(OpenToMeasure(path.c_str()));
    struct stat status {};
    if (input.Number() < 0 || fstat(input.Number(), &status) != 0) {
        file.error = errno;
        return file;
    }
    file.kind = KindOf(status);
    file.error = file.kind == InputFile::Kind::Unopenable ? ENXIO : 0;
    if (file.kind != InputFile::Kind::Regular) {
        return file;
    }
    if (status.st_size > kLargestFile) {
        TooLarge(path);
    }
    if (!ReadWhole(input.Number(), path, file.content)) {
        throw NotChecked{"'" + path + "' cannot be read (" + std::strerror(errno) + ")"};
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
        case InputFile::Kind::Special:
            WriteNewFile(place, "");
            break;
    }
}

void WriteNewFile(const std::string& path, const std::string& content) {
    Descriptor output(OpenAnew(path.c_str()));
    if (output.Number() < 0 || !WriteAll(output.Number(), content.data(), content.size()) || output.Close() != 0) {
        NoRoom(errno);
    }
}

std::string ReadWritten(const std::string& path) {
    std::string content;
    const Descriptor input(OpenToRead(path.c_str()));
    if (input.Number() < 0 || !ReadWhole(input.Number(), path, content)) {
        throw NotChecked{NoPlaceSentence("a file cannot be read back", errno)};
    }
    return content;
}
