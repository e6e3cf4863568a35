// Saves on a disk that is full, has no inodes left or takes no writing, and below every limit of a file's size: each
// file is the old one or the whole new one, and the save's result says which.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <string>

#include "faults/Figures.h"
#include "faults/Filler.h"
#include "faults/Image.h"
#include "faults/Stage.h"

namespace faults {
namespace {

const std::string kImage = "/run/disk";
const std::string kSpare = "/run/empty-disk";

// Saves version 2 over version 1 and judges it. `saved` tells how many of the two files are new.
std::string LossOfSave(Size size, int& saved) {
    const SharedResults results;
    const int status = RunChild([&] {
        LoadAndChange(size, 2);
        SaveBoth(*results);
    });
    saved = results->global + results->local;
    return status == 0 ? LossOf(size, 1, 2, *results) : "the process did not end well";
}

// A disk of its own for each case.
class Disk {
public:
    virtual ~Disk() = default;
};

class MemoryDisk : public Disk {
    Mounted m_mounted{"tmpfs", kFolder, "tmpfs", "size=256k,nr_inodes=64"};
};

class Ext4Disk : public Disk {
public:
    // Blocks of 1 KiB, none of them kept for root, few inodes.
    static void Prepare() { MakeImage(kSpare, "ext4", 4 << 20, {"-b", "1024", "-m", "0", "-N", "64", "-I", "128"}); }
    Ext4Disk() {
        CopySparse(kSpare, kImage);
        m_device = std::make_unique<LoopDevice>(kImage);
        m_mounted = std::make_unique<Mounted>(m_device->Path(), kFolder, "ext4", "");
    }

private:
    std::unique_ptr<LoopDevice> m_device;
    std::unique_ptr<Mounted> m_mounted;
};

// Saves with 0, 1, 2... of something left, until one had enough for both files three times in a row.
template <typename DiskType, typename Leave>
void SaveWithEveryNumberLeft(Size size, Figures& figures, Leave leave) {
    int enough = 0;
    for (unsigned left = 0; enough < 3; ++left) {
        const DiskType disk;
        Put(size, 1);
        RemoveTemporaryFiles();  // the room that they take would be left too
        leave(kFolder, left);
        int saved = 0;
        const std::string loss = LossOfSave(size, saved);
        figures.Run(loss.empty() ? "" : std::to_string(left) + " left: " + loss);
        enough = saved == 2 ? enough + 1 : 0;
        EXPECT_FALSE(left == 0 && saved == 2) << "nothing was full";
        ASSERT_LT(left, 200U);
    }
}

class SaveDisk : public testing::TestWithParam<Size> {
protected:
    // False where a disk in a file cannot be mounted: said, and shown by the disks in memory alone.
    static bool HasExt4() {
        std::string missing;
        if (!CanMount("ext4", missing)) {
            std::printf("without %s: disks in memory only\n", missing.c_str());
            return false;
        }
        Ext4Disk::Prepare();
        return true;
    }
};

TEST_P(SaveDisk, WithAnyNumberOfFreeBlocksHoldsTheOldFileOrTheNew) {
    {
        Figures figures("full disk in memory");
        SaveWithEveryNumberLeft<MemoryDisk>(GetParam(), figures, LeaveBlocks);
    }
    if (HasExt4()) {
        Figures figures("full ext4");
        SaveWithEveryNumberLeft<Ext4Disk>(GetParam(), figures, LeaveBlocks);
    }
}

TEST_P(SaveDisk, WithoutInodesHoldsTheOldFileOrTheNew) {
    {
        Figures figures("disk in memory without inodes");
        SaveWithEveryNumberLeft<MemoryDisk>(GetParam(), figures, LeaveInodes);
    }
    if (HasExt4()) {
        Figures figures("ext4 without inodes");
        SaveWithEveryNumberLeft<Ext4Disk>(GetParam(), figures, LeaveInodes);
    }
}

TEST_P(SaveDisk, ThatTakesNoWritingHoldsTheOldFile) {
    Figures figures("read-only disk");
    const MemoryDisk disk;
    Put(GetParam(), 1);
    ASSERT_EQ(mount(nullptr, kFolder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    int saved = -1;
    figures.Run(LossOfSave(GetParam(), saved));
    EXPECT_EQ(saved, 0);
}

enum class AtLimit { Ignored, Killed };

// Saves version 2 over version 1 in a process whose files may have `bytes` bytes.
std::string LossWithLimit(Size size, std::size_t bytes, AtLimit atLimit) {
    Put(size, 1);
    const SharedResults results;
    const int status = RunChild([&] {
        LoadAndChange(size, 2);
        signal(SIGXFSZ, atLimit == AtLimit::Ignored ? SIG_IGN : SIG_DFL);
        const rlimit none{0, 0};
        setrlimit(RLIMIT_CORE, &none);
        const rlimit limit{bytes, bytes};
        setrlimit(RLIMIT_FSIZE, &limit);
        SaveBoth(*results);
    });
    const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ;
    if (status != 0 && !(atLimit == AtLimit::Killed && killed)) {
        return "the process did not end well";
    }
    const std::string loss = LossOf(size, 1, 2, *results);
    return loss.empty() ? LossOfNextSave(size, 2) : loss;
}

// With large files every limit only by hand: there are many.
TEST_P(SaveDisk, BelowAnyLimitOfAFilesSizeHoldsTheOldFileOrTheNew) {
    const MemoryDisk disk;
    const std::size_t longest = std::max(GlobalText(GetParam(), 2).size(), LocalText(GetParam(), 2).size());
    const auto wanted = static_cast<std::size_t>(RunsFor("VESMARA_FAULT_LIMITS", 500));
    const std::size_t step = std::max<std::size_t>(1, 2 * longest / wanted);
    for (const AtLimit atLimit : {AtLimit::Ignored, AtLimit::Killed}) {
        Figures figures(atLimit == AtLimit::Ignored ? "limit of a file's size" : "limit of a file's size that kills");
        for (std::size_t bytes = 0; bytes <= longest + step; bytes += step) {
            const std::string loss = LossWithLimit(GetParam(), bytes, atLimit);
            figures.Run(loss.empty() ? "" : std::to_string(bytes) + " bytes: " + loss);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, SaveDisk, testing::Values(Size::Small, Size::Large),
                         [](const auto& size) { return size.param == Size::Small ? "SmallFiles" : "LargeFiles"; });

}  // namespace
}  // namespace faults
