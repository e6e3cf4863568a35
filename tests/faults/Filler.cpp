#include "faults/Filler.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <vector>

namespace faults {
namespace {

std::string Name(const std::string& folder, const char* kind, unsigned number) {
    return folder + "/" + kind + std::to_string(number);
}

int Create(const std::string& path) {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
}

// Appends writes of `size` bytes until the file system takes no more. Each is on the disk before the next: a block that
// is only promised is no measure.
void Fill(int fd, std::size_t size) {
    const std::vector<char> bytes(size, 'f');
    while (write(fd, bytes.data(), bytes.size()) > 0) {
    }
    fsync(fd);
}

// What a removal frees can be used only when the journal has been written.
void Settle(const std::string& folder) {
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    syncfs(fd);
    close(fd);
}

}  // namespace

void LeaveBlocks(const std::string& folder, unsigned blocks) {
    struct statvfs about {};
    if (statvfs(folder.c_str(), &about) != 0) {
        throw std::runtime_error("no file system at " + folder);
    }
    const std::vector<char> block(about.f_bsize, 'b');
    for (unsigned number = 0; number < blocks; ++number) {
        const int fd = Create(Name(folder, "block", number));
        if (write(fd, block.data(), block.size()) != static_cast<ssize_t>(block.size())) {
            throw std::runtime_error("no room for the blocks to be left");
        }
        close(fd);
    }
    Settle(folder);
    const int fd = Create(Name(folder, "filler", 0));
    // Again after the sync: what was kept for the file system's own records may have become free.
    for (const std::size_t size : {std::size_t{1} << 16, about.f_bsize, about.f_bsize, about.f_bsize}) {
        Fill(fd, size);
    }
    close(fd);
    for (unsigned number = 0; number < blocks; ++number) {
        unlink(Name(folder, "block", number).c_str());
    }
    Settle(folder);
}

void LeaveInodes(const std::string& folder, unsigned inodes) {
    unsigned number = 0;
    for (int fd = 0; fd >= 0; ++number) {
        fd = Create(Name(folder, "inode", number));
        if (fd >= 0) {
            close(fd);
        }
    }
    --number;
    for (unsigned given = 0; given < inodes; ++given) {
        unlink(Name(folder, "inode", number - 1 - given).c_str());
    }
    Settle(folder);
}

}  // namespace faults
