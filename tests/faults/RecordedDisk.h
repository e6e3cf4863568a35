// A disk that records each write and each flush in their order, together with marks of the test. The loop device above
// it hands on what a file system asks of a real disk, so that a place in the record is a moment at which the power may
// fail.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace faults {

enum class Entry : std::uint32_t {
    Write,
    Flush,        // everything recorded before it is on the disk for good
    Start,        // marks: both files stand at version 0 for good
    GlobalBegun,  // the save of a version is about to begin
    GlobalDone,   // it has returned true
    LocalBegun,
    LocalDone,
};

// How an entry lies in the record's file; the bytes of a write follow it.
struct EntryHead {
    Entry kind;
    std::uint32_t version;  // of a mark
    std::uint64_t offset;   // of a write on the disk
    std::uint64_t size;     // bytes of a write
};

// The file of a record, to which several processes append.
class RecordWriter {
public:
    explicit RecordWriter(const std::string& path);
    ~RecordWriter();
    RecordWriter(const RecordWriter&) = delete;
    RecordWriter& operator=(const RecordWriter&) = delete;

    void Append(Entry kind, std::uint32_t version) const { Append({kind, version, 0, 0}, nullptr); }
    void Append(const EntryHead& head, const void* bytes) const;

private:
    int m_fd;
};

struct RecordedEntry {
    EntryHead head;
    std::size_t at;  // of the bytes in Record::bytes
};

struct Record {
    std::string bytes;  // the whole file
    std::vector<RecordedEntry> entries;
};
Record ReadRecord(const std::string& path);

// Serves an image as the one file of a folder, by a process of its own: were it a thread, a process that is killed
// while it waits for the disk could never end.
class RecordedDisk {
public:
    // The record is created anew.
    RecordedDisk(const std::string& image, const std::string& record, const std::string& folder);
    ~RecordedDisk();
    RecordedDisk(const RecordedDisk&) = delete;
    RecordedDisk& operator=(const RecordedDisk&) = delete;

    std::string File() const { return m_folder + "/disk"; }

private:
    std::string m_folder;
    pid_t m_server = -1;
};

// Whether this machine can serve a disk at all; tried with a small image and in the folder.
bool CanServe(const std::string& image, const std::string& folder);

}  // namespace faults
