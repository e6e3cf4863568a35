#include "faults/Image.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace faults {
namespace {

constexpr std::size_t kPiece = 64 * 1024;  // bytes copied at once
constexpr std::size_t kBlock = 4096;       // bytes; a block of zeros becomes a hole

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

class File {
public:
    File(const std::string& path, int flags) : m_fd(open(path.c_str(), flags | O_CLOEXEC, 0600)) {
        if (m_fd < 0) {
            Fail(path);
        }
    }
    ~File() { close(m_fd); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    int Fd() const { return m_fd; }

private:
    int m_fd;
};

int RunQuietly(const std::vector<std::string>& words) {
    const pid_t child = fork();
    if (child == 0) {
        const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            dup2(nowhere, fd);
        }
        std::vector<char*> arguments;
        for (const std::string& word : words) {
            arguments.push_back(const_cast<char*>(word.c_str()));
        }
        arguments.push_back(nullptr);
        setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

bool KernelHas(const std::string& type) {
    std::ifstream list("/proc/filesystems");
    for (std::string word; list >> word;) {
        if (word == type) {
            return true;
        }
    }
    return false;
}

bool IsZero(const char* bytes, std::size_t size) {
    return std::all_of(bytes, bytes + size, [](char byte) { return byte == '\0'; });
}

// Writes the blocks that hold something.
void WriteBlocks(int fd, const char* bytes, std::size_t size, off_t offset) {
    for (std::size_t at = 0; at < size; at += kBlock) {
        const std::size_t part = std::min(kBlock, size - at);
        if (!IsZero(bytes + at, part) &&
            pwrite(fd, bytes + at, part, offset + static_cast<off_t>(at)) != static_cast<ssize_t>(part)) {
            Fail("an image cannot be copied");
        }
    }
}

bool HasLoopDevices() {
    const std::string path = "/run/loop-probe";
    try {
        {
            const File file(path, O_RDWR | O_CREAT);
            (void)ftruncate(file.Fd(), static_cast<off_t>(kPiece));
        }
        const LoopDevice device(path);
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

}  // namespace

bool CanMount(const std::string& type, std::string& missing) {
    if (!HasLoopDevices()) {
        missing = "loop devices";
    } else if (!KernelHas(type) && RunQuietly({"modprobe", type}) != 0) {
        missing = type + " in this kernel";
    } else if (RunQuietly({"mkfs." + type, "-V"}) != 0) {
        missing = "mkfs." + type;
    }
    return missing.empty();
}

void MakeImage(const std::string& path, const std::string& type, long long bytes,
               const std::vector<std::string>& options) {
    unlink(path.c_str());
    const File file(path, O_RDWR | O_CREAT);
    if (ftruncate(file.Fd(), bytes) != 0) {
        Fail(path);
    }
    std::vector<std::string> words = {"mkfs." + type, type == "ext4" ? "-F" : "-f"};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back(path);
    if (RunQuietly(words) != 0) {
        throw std::runtime_error("mkfs." + type + " failed");
    }
}

void CopySparse(const std::string& from, const std::string& to) {
    unlink(to.c_str());
    const File source(from, O_RDONLY);
    const File target(to, O_WRONLY | O_CREAT | O_TRUNC);
    const off_t end = lseek(source.Fd(), 0, SEEK_END);
    if (ftruncate(target.Fd(), end) != 0) {
        Fail(to);
    }
    std::vector<char> piece(kPiece);
    off_t at = lseek(source.Fd(), 0, SEEK_DATA);
    while (at >= 0 && at < end) {
        const off_t hole = lseek(source.Fd(), at, SEEK_HOLE);
        while (at < hole) {
            const auto wanted = static_cast<std::size_t>(std::min<off_t>(static_cast<off_t>(kPiece), hole - at));
            const ssize_t got = pread(source.Fd(), piece.data(), wanted, at);
            if (got <= 0) {
                Fail(from);
            }
            WriteBlocks(target.Fd(), piece.data(), static_cast<std::size_t>(got), at);
            at += got;
        }
        at = lseek(source.Fd(), at, SEEK_DATA);
    }
}

LoopDevice::LoopDevice(const std::string& file) {
    const File control("/dev/loop-control", O_RDWR);
    const File backing(file, O_RDWR);
    // Another process may take the free device first.
    for (int tries = 0; tries < 100; ++tries) {
        const int number = ioctl(control.Fd(), LOOP_CTL_GET_FREE);
        m_path = "/dev/loop" + std::to_string(number);
        m_fd = open(m_path.c_str(), O_RDWR | O_CLOEXEC);
        loop_config config{};
        config.fd = static_cast<__u32>(backing.Fd());
        config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
        if (m_fd >= 0 && ioctl(m_fd, LOOP_CONFIGURE, &config) == 0) {
            return;
        }
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    Fail("no free loop device");
}

LoopDevice::~LoopDevice() {
    close(m_fd);
}

}  // namespace faults
