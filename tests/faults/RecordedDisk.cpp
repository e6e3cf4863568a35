#include "faults/RecordedDisk.h"

#define FUSE_USE_VERSION 31

#include <fcntl.h>
#include <fuse.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "support/Files.h"

namespace faults {
namespace {

constexpr char kDisk[] = "/disk";

// What the server works on; one in its process.
struct Served {
    int image;
    std::unique_ptr<RecordWriter> record;
};
Served g_served;

int GetAttributes(const char* path, struct stat* about, fuse_file_info*) {
    std::memset(about, 0, sizeof *about);
    about->st_nlink = 1;
    if (std::strcmp(path, "/") == 0) {
        about->st_mode = S_IFDIR | 0755;
        return 0;
    }
    about->st_mode = S_IFREG | 0600;
    about->st_size = lseek(g_served.image, 0, SEEK_END);
    return std::strcmp(path, kDisk) == 0 ? 0 : -ENOENT;
}

int Open(const char* path, fuse_file_info*) {
    return std::strcmp(path, kDisk) == 0 ? 0 : -ENOENT;
}

int Read(const char*, char* bytes, std::size_t size, off_t offset, fuse_file_info*) {
    const ssize_t got = pread(g_served.image, bytes, size, offset);
    return got < 0 ? -errno : static_cast<int>(got);
}

int Write(const char*, const char* bytes, std::size_t size, off_t offset, fuse_file_info*) {
    g_served.record->Append({Entry::Write, 0, static_cast<std::uint64_t>(offset), size}, bytes);
    const ssize_t put = pwrite(g_served.image, bytes, size, offset);
    return put < 0 ? -errno : static_cast<int>(put);
}

int Flush(const char*, int, fuse_file_info*) {
    g_served.record->Append(Entry::Flush, 0);
    return 0;
}

// Serves until the folder is unmounted. A byte in the pipe tells that it is mounted.
void Serve(const std::string& image, const std::string& record, const std::string& folder, int ready) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    g_served.image = open(image.c_str(), O_RDWR | O_CLOEXEC);
    g_served.record = std::make_unique<RecordWriter>(record);
    fuse_operations operations{};
    operations.getattr = GetAttributes;
    operations.open = Open;
    operations.read = Read;
    operations.write = Write;
    operations.fsync = Flush;
    char name[] = "recorded-disk";
    char* words[] = {name, nullptr};
    fuse_args arguments = FUSE_ARGS_INIT(1, words);
    fuse* served = fuse_new(&arguments, &operations, sizeof operations, nullptr);
    if (g_served.image < 0 || served == nullptr || fuse_mount(served, folder.c_str()) != 0 ||
        write(ready, "r", 1) != 1) {
        _exit(1);
    }
    close(ready);
    _exit(fuse_loop(served) == 0 ? 0 : 1);
}

}  // namespace

RecordWriter::RecordWriter(const std::string& path)
    : m_fd(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)) {
    if (m_fd < 0) {
        throw std::runtime_error("no record at " + path);
    }
}

RecordWriter::~RecordWriter() {
    close(m_fd);
}

void RecordWriter::Append(const EntryHead& head, const void* bytes) const {
    // In one call: no other writer comes between.
    const iovec parts[] = {{const_cast<EntryHead*>(&head), sizeof head}, {const_cast<void*>(bytes), head.size}};
    if (writev(m_fd, parts, 2) != static_cast<ssize_t>(sizeof head + head.size)) {
        throw std::runtime_error("the record cannot be written");
    }
}

Record ReadRecord(const std::string& path) {
    Record record;
    record.bytes = test_support::ReadFile(path);
    std::size_t at = 0;
    while (at < record.bytes.size()) {
        RecordedEntry entry{};
        std::memcpy(&entry.head, record.bytes.data() + at, sizeof entry.head);
        entry.at = at + sizeof entry.head;
        at = entry.at + entry.head.size;
        record.entries.push_back(entry);
    }
    return record;
}

RecordedDisk::RecordedDisk(const std::string& image, const std::string& record, const std::string& folder)
    : m_folder(folder) {
    std::filesystem::create_directories(folder);
    std::filesystem::remove(record);
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe for the disk's server");
    }
    m_server = fork();
    if (m_server == 0) {
        close(ready[0]);
        Serve(image, record, folder, ready[1]);
    }
    close(ready[1]);
    char byte = 0;
    const bool mounted = m_server > 0 && read(ready[0], &byte, 1) == 1;
    close(ready[0]);
    if (!mounted) {
        waitpid(m_server, nullptr, 0);
        throw std::runtime_error("the disk's server did not start");
    }
}

RecordedDisk::~RecordedDisk() {
    umount2(m_folder.c_str(), MNT_DETACH);
    waitpid(m_server, nullptr, 0);
}

bool CanServe(const std::string& image, const std::string& folder) {
    try {
        test_support::WriteFile(image, "small");
        const RecordedDisk disk(image, image + ".record", folder);
        return test_support::ReadFile(disk.File()) == "small";
    } catch (const std::runtime_error&) {
        return false;
    }
}

}  // namespace faults
