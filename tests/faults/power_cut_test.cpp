// The power fails while files are saved, again and again: after the restart each file is one of those that were saved,
// byte by byte, and never an older one than the last save that had returned true.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "ConfigLib.h"
#include "faults/Figures.h"
#include "faults/Image.h"
#include "faults/PowerCut.h"
#include "faults/RecordedDisk.h"
#include "faults/Stage.h"
#include "faults/Tracer.h"
#include "support/Files.h"

namespace faults {
namespace {

const std::string kFresh = "/run/fresh";    // the image as it was made
const std::string kServed = "/run/served";  // the image below the recorded disk
const std::string kRecord = "/run/record";
const std::string kDisk = "/run/recorded";
const std::string kRebuilt = "/run/rebuilt";
constexpr unsigned kSaves = 12;  // of both files, in one record

struct FileSystem {
    const char* name;
    const char* title;
    const char* type;
    long long bytes;
    std::vector<std::string> making;
    const char* mounting;
};

// The smallest that their makers take, but for ext4, whose journal would have no room.
const FileSystem kFileSystems[] = {
    {"Ext4", "ext4", "ext4", 16LL << 20, {"-E", "lazy_itable_init=0,lazy_journal_init=0,nodiscard"}, ""},
    {"Ext4WithoutAllocationAtRename",
     "ext4 noauto_da_alloc",
     "ext4",
     16LL << 20,
     {"-E", "lazy_itable_init=0,lazy_journal_init=0,nodiscard"},
     "noauto_da_alloc"},
    {"Xfs", "xfs", "xfs", 300LL << 20, {"-K"}, "nouuid"},
    {"Btrfs", "btrfs", "btrfs", 128LL << 20, {"-K"}, ""},
};

void SyncFolder() {
    const int fd = open(kFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    EXPECT_EQ(syncfs(fd), 0);
    close(fd);
}

// Another program on the same disk that keeps a file of its own safe. Its syncs bring the file system's records to the
// disk between the calls of a save, at moments that no save knows of.
class Neighbour {
public:
    Neighbour() : m_fd(open((kFolder + "/neighbour").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)) {}
    ~Neighbour() { close(m_fd); }
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;

    void Sync() {
        ++m_byte;
        EXPECT_EQ(pwrite(m_fd, &m_byte, 1, 0), 1);
        EXPECT_EQ(fsync(m_fd), 0);
    }

private:
    int m_fd;
    unsigned char m_byte = 0;
};

// Calls that change what is in the folder or on the disk.
bool ChangesTheDisk(long number) {
    constexpr long kCalls[] = {SYS_openat, SYS_unlink, SYS_write,    SYS_fdatasync,
                               SYS_fsync,  SYS_rename, SYS_renameat, SYS_close};
    return std::find(std::begin(kCalls), std::end(kCalls), number) != std::end(kCalls);
}

void SaveVersion(unsigned version, const RecordWriter& marks) {
    marks.Append(Entry::GlobalBegun, version);
    if (ConfigLib_Save_Global(ConfigFile_GetStructPtr_Global())) {
        marks.Append(Entry::GlobalDone, version);
    }
    marks.Append(Entry::LocalBegun, version);
    if (ConfigLib_Save_Local(ConfigFile_GetStructPtr_Local())) {
        marks.Append(Entry::LocalDone, version);
    }
}

// Saves a version step by step; after about every second step the neighbour syncs.
void SaveStepByStep(Size size, unsigned version, const RecordWriter& marks, std::mt19937_64& random) {
    Neighbour neighbour;
    Tracer tracer([&] { LoadAndChange(size, version); }, [&] { SaveVersion(version, marks); });
    CallStop stop;
    while (tracer.Next(stop)) {
        if (!stop.entry && ChangesTheDisk(stop.number) && random() % 2 == 0) {
            neighbour.Sync();
        }
    }
    EXPECT_EQ(tracer.Finish(), 0);
}

// Saves a version while the neighbour syncs all the time: its syncs fall into the calls too.
void SaveAtOnce(Size size, unsigned version, const RecordWriter& marks) {
    const pid_t neighbour = StartChild([] {
        for (Neighbour busy;;) {
            busy.Sync();
        }
    });
    EXPECT_EQ(RunChild([&] {
                  LoadAndChange(size, version);
                  SaveVersion(version, marks);
              }),
              0);
    kill(neighbour, SIGKILL);
    waitpid(neighbour, nullptr, 0);
}

// Saves all versions on a recorded disk. The fresh image stays.
void RecordSaves(const FileSystem& system, Size size, std::mt19937_64& random) {
    MakeImage(kFresh, system.type, system.bytes, system.making);
    CopySparse(kFresh, kServed);
    const RecordedDisk disk(kServed, kRecord, kDisk);
    const auto device = std::make_unique<LoopDevice>(disk.File());
    Mounted mounted(device->Path(), kFolder, system.type, system.mounting);
    const RecordWriter marks(kRecord);
    Put(size, 0);
    SyncFolder();
    marks.Append(Entry::Start, 0);
    for (unsigned version = 1; version <= kSaves; ++version) {
        if (version % 2 == 0) {
            SaveAtOnce(size, version, marks);
        } else {
            SaveStepByStep(size, version, marks, random);
        }
        if (version % 4 == 0) {
            SyncFolder();
        }
    }
    EXPECT_TRUE(mounted.Leave());
}

struct Judgement {
    std::string torn;    // no version that was ever saved
    std::string behind;  // an older one than the last that was saved
};

void JudgeFile(const std::string& path, std::string (*text)(Size, unsigned), Size size, Bounds bounds,
               Judgement& judgement) {
    const std::string bytes = test_support::Exists(path) ? test_support::ReadFile(path) : "";
    for (unsigned version = 0; version <= bounds.newest; ++version) {
        if (bytes == text(size, version)) {
            if (version < bounds.oldest) {
                judgement.behind += path + " is at version " + std::to_string(version) + ", saved was " +
                                    std::to_string(bounds.oldest) + "; ";
            }
            return;
        }
    }
    judgement.torn += path + " has " + std::to_string(bytes.size()) + " bytes of no version; ";
}

// Starts the machine again on the rebuilt disk.
Judgement JudgeRestart(const FileSystem& system, Size size, Bounds global, Bounds local) {
    Judgement judgement;
    try {
        const LoopDevice device(kRebuilt);
        Mounted mounted(device.Path(), kFolder, system.type, system.mounting);
        JudgeFile(kGlobal, GlobalText, size, global, judgement);
        JudgeFile(kLocal, LocalText, size, local, judgement);
        EXPECT_TRUE(mounted.Leave());
    } catch (const std::runtime_error& error) {
        judgement.torn = error.what();
    }
    return judgement;
}

bool HasFlushes(const Record& record) {
    return std::any_of(record.entries.begin(), record.entries.end(),
                       [](const RecordedEntry& entry) { return entry.head.kind == Entry::Flush; });
}

std::vector<std::size_t> RandomPlaces(const Record& record, int count, std::mt19937_64& random) {
    const std::size_t first = FirstPlace(record);
    std::vector<std::size_t> places;
    for (int i = 0; i < count; ++i) {
        places.push_back(first + random() % (record.entries.size() - first + 1));
    }
    std::sort(places.begin(), places.end());
    return places;
}

std::string MissingFor(const FileSystem& system) {
    std::string missing;
    if (!CanServe(kServed, kDisk)) {
        missing = "/dev/fuse";
    } else {
        CanMount(system.type, missing);
    }
    return missing;
}

class PowerCut : public testing::TestWithParam<std::tuple<FileSystem, Size>> {};

TEST_P(PowerCut, LeavesEachFileAsOneOfThoseSavedAndNeverBehindTheLastSave) {
    const auto& [system, size] = GetParam();
    const std::string missing = MissingFor(system);
    if (!missing.empty()) {
        // The calls are the same on every file system; SaveCall.SyncsTheDataBeforeTheRenameAndTheFolderAfterIt.
        std::printf("no power cuts here without %s: the order of a save's calls is all that is shown\n",
                    missing.c_str());
        return;
    }
    const auto seed = std::random_device{}();
    std::mt19937_64 random(seed);
    RecordSaves(system, size, random);
    const Record record = ReadRecord(kRecord);
    ASSERT_TRUE(HasFlushes(record)) << "the disk never sees what is asked of it";
    Rebuilder rebuilder(record, kFresh);
    Figures figures(std::string("power cut, ") + system.title);
    int torn = 0;
    constexpr int kRecords = 8;
    const int cuts = std::max(1, RunsFor("VESMARA_FAULT_CUTS", 104) / kRecords);
    for (const std::size_t place : RandomPlaces(record, cuts, random)) {
        const Cut cut = random() % 2 == 0 ? Cut::Exact : Cut::Reordered;
        rebuilder.Rebuild(place, cut, random, kRebuilt);
        const Judgement judgement =
            JudgeRestart(system, size, BoundsAt(record, place, Entry::GlobalBegun, Entry::GlobalDone),
                         BoundsAt(record, place, Entry::LocalBegun, Entry::LocalDone));
        torn += judgement.torn.empty() ? 0 : 1;
        const std::string loss = judgement.torn + judgement.behind;
        figures.Run(loss.empty() ? ""
                                 : "at " + std::to_string(place) + " of " + std::to_string(record.entries.size()) +
                                       (cut == Cut::Exact ? ", exact: " : ", reordered: ") + loss);
    }
    std::printf("of these %d without any saved version; seed %u\n", torn, seed);
}

INSTANTIATE_TEST_SUITE_P(Of, PowerCut,
                         testing::Combine(testing::ValuesIn(kFileSystems), testing::Values(Size::Small, Size::Large)),
                         [](const auto& row) {
                             return std::string(std::get<0>(row.param).name) +
                                    (std::get<1>(row.param) == Size::Small ? "SmallFiles" : "LargeFiles");
                         });

}  // namespace
}  // namespace faults
