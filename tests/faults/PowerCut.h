// Disks as a power cut leaves them, rebuilt from a record.
#pragma once

#include <random>
#include <string>

#include "faults/RecordedDisk.h"

namespace faults {

enum class Cut {
    Exact,      // every write before the cut is on the disk
    Reordered,  // of the writes after the last flush any blocks are on the disk, written in any order
};

// What a file may be after a cut: the version of the last save that had returned true, or that of one that had begun.
struct Bounds {
    unsigned oldest;
    unsigned newest;
};

class Rebuilder {
public:
    // `image` is the disk before the first entry. It is advanced from cut to cut.
    Rebuilder(const Record& record, const std::string& image);
    ~Rebuilder();
    Rebuilder(const Rebuilder&) = delete;
    Rebuilder& operator=(const Rebuilder&) = delete;

    // Makes `target` the disk after a cut before entry `place`, which is no earlier than that of the call before.
    void Rebuild(std::size_t place, Cut cut, std::mt19937_64& random, const std::string& target);

private:
    void Advance(std::size_t place);

    const Record& m_record;
    std::string m_image;
    int m_fd;
    std::size_t m_durable = 0;  // entries that the image holds
};

// The bounds of the global or the local file at a cut before entry `place`.
Bounds BoundsAt(const Record& record, std::size_t place, Entry begun, Entry done);

// The first entry after the mark that ends the preparation.
std::size_t FirstPlace(const Record& record);

}  // namespace faults
