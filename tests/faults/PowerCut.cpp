#include "faults/PowerCut.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "faults/Image.h"

namespace faults {
namespace {

constexpr std::uint64_t kBlock = 4096;  // bytes that reach the disk together

struct Piece {
    std::uint64_t offset;
    const char* bytes;
    std::size_t size;
};

void Put(int fd, const Piece& piece) {
    if (pwrite(fd, piece.bytes, piece.size, static_cast<off_t>(piece.offset)) != static_cast<ssize_t>(piece.size)) {
        throw std::runtime_error("the disk cannot be rebuilt");
    }
}

Piece WholeOf(const Record& record, const RecordedEntry& entry) {
    return {entry.head.offset, record.bytes.data() + entry.at, entry.head.size};
}

// The blocks of all writes in [from, to).
std::vector<Piece> BlocksOf(const Record& record, std::size_t from, std::size_t to) {
    std::vector<Piece> blocks;
    for (std::size_t i = from; i < to; ++i) {
        if (record.entries[i].head.kind != Entry::Write) {
            continue;
        }
        const Piece whole = WholeOf(record, record.entries[i]);
        for (std::uint64_t at = 0; at < whole.size; at += kBlock) {
            const std::uint64_t size = std::min<std::uint64_t>(kBlock, whole.size - at);
            blocks.push_back({whole.offset + at, whole.bytes + at, size});
        }
    }
    return blocks;
}

void PutSome(int fd, std::vector<Piece> blocks, std::mt19937_64& random) {
    std::shuffle(blocks.begin(), blocks.end(), random);
    const std::size_t kept = blocks.empty() ? 0 : random() % (blocks.size() + 1);
    for (std::size_t i = 0; i < kept; ++i) {
        Put(fd, blocks[i]);
    }
}

// The entry after the last flush before `place`.
std::size_t DurableBefore(const Record& record, std::size_t place) {
    while (place > 0 && record.entries[place - 1].head.kind != Entry::Flush) {
        --place;
    }
    return place;
}

}  // namespace

Rebuilder::Rebuilder(const Record& record, const std::string& image)
    : m_record(record), m_image(image), m_fd(open(image.c_str(), O_RDWR | O_CLOEXEC)) {
    if (m_fd < 0) {
        throw std::runtime_error("no image at " + image);
    }
}

Rebuilder::~Rebuilder() {
    close(m_fd);
}

void Rebuilder::Advance(std::size_t place) {
    for (; m_durable < place; ++m_durable) {
        const RecordedEntry& entry = m_record.entries[m_durable];
        if (entry.head.kind == Entry::Write) {
            Put(m_fd, WholeOf(m_record, entry));
        }
    }
}

void Rebuilder::Rebuild(std::size_t place, Cut cut, std::mt19937_64& random, const std::string& target) {
    Advance(DurableBefore(m_record, place));
    CopySparse(m_image, target);
    const int fd = open(target.c_str(), O_RDWR | O_CLOEXEC);
    if (cut == Cut::Reordered) {
        PutSome(fd, BlocksOf(m_record, m_durable, place), random);
    } else {
        for (const Piece& block : BlocksOf(m_record, m_durable, place)) {
            Put(fd, block);
        }
    }
    close(fd);
}

Bounds BoundsAt(const Record& record, std::size_t place, Entry begun, Entry done) {
    Bounds bounds{0, 0};
    for (std::size_t i = 0; i < place; ++i) {
        const EntryHead& head = record.entries[i].head;
        if (head.kind == begun) {
            bounds.newest = head.version;
        } else if (head.kind == done) {
            bounds.oldest = head.version;
        }
    }
    return bounds;
}

std::size_t FirstPlace(const Record& record) {
    const auto start = std::find_if(record.entries.begin(), record.entries.end(),
                                    [](const RecordedEntry& entry) { return entry.head.kind == Entry::Start; });
    if (start == record.entries.end()) {
        throw std::runtime_error("the record has no start");
    }
    return static_cast<std::size_t>(start - record.entries.begin()) + 1;
}

}  // namespace faults
