// The mount table, free space, and byte counts as text.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mntent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "CP_Linux/CommaLocale.h"
#include "CP_Linux/PrivateMounts.h"
#include "FsHelper.h"
#include "support/Files.h"
#include "support/StdoutCapture.h"

namespace {

using test_support::TempDir;
using test_support::WriteFile;

constexpr char kTable[] = "/etc/mtab";
constexpr char kHeading[] = "found mounted devices: \n";

// ---- GetMounts

struct Listed {
    std::vector<std::string> drives;  // "device|mount point"
    std::string output;
};

Listed ListMounts() {
    test_support::StdoutCapture capture;
    Listed listed;
    for (const MountItem& item : GetMounts()) {
        listed.drives.push_back(item.device + "|" + item.mountPoint);
    }
    listed.output = capture.Text();
    return listed;
}

std::string Line(const std::string& device, const std::string& mountPoint) {
    return device + " " + mountPoint + " ext4 rw 0 0\n";
}

// What is listed for a prepared table.
void ExpectForTable(const std::string& table, const std::vector<std::string>& drives, const std::string& lines) {
    EXPECT_TRUE(PassesWithPrivateMounts([&] {
        WriteFile(kTable, table);
        const Listed listed = ListMounts();
        EXPECT_EQ(listed.drives, drives);
        EXPECT_EQ(listed.output, kHeading + lines);
    }));
}

struct MountPointRow {
    const char* name;
    const char* mountPoint;
    bool accepted;
};

class MountPoints : public testing::TestWithParam<MountPointRow> {};

TEST_P(MountPoints, AreAcceptedByTheWordsAnywhereInThem) {
    const std::string mountPoint = GetParam().mountPoint;
    if (GetParam().accepted) {
        ExpectForTable(Line("/dev/sdb1", mountPoint), {"/dev/sdb1|" + mountPoint}, "/dev/sdb1 : " + mountPoint + "\n");
    } else {
        ExpectForTable(Line("/dev/sdb1", mountPoint), {}, "");
    }
}

INSTANTIATE_TEST_SUITE_P(
    OfEveryKind, MountPoints,
    testing::Values(MountPointRow{"Mnt", "/mnt", true}, MountPointRow{"BelowMnt", "/mnt/disk1", true},
                    MountPointRow{"BelowMedia", "/media/usb", true}, MountPointRow{"Media", "/media", true},
                    MountPointRow{"BelowRunMedia", "/run/media/user/disk", true},
                    MountPointRow{"MntInAHome", "/home/user/mnt/backup", true},
                    MountPointRow{"MediaInAHome", "/home/user/media", true}, MountPointRow{"Mnt2", "/mnt2", true},
                    MountPointRow{"Media1", "/media1", true}, MountPointRow{"BothWords", "/mnt/media", true},
                    MountPointRow{"Root", "/", false}, MountPointRow{"Home", "/home", false},
                    MountPointRow{"Data", "/data", false}, MountPointRow{"Boot", "/boot", false},
                    MountPointRow{"SrvData", "/srv/data", false}, MountPointRow{"UpperCaseMnt", "/MNT/disk1", false},
                    MountPointRow{"UpperCaseMedia", "/Media/disk1", false},
                    MountPointRow{"WordWithoutItsSlash", "/data-mnt", false},
                    MountPointRow{"MediaWithoutItsSlash", "/multimedia", false},
                    MountPointRow{"PartOfAWord", "/mn/t", false}),
    [](const auto& row) { return row.param.name; });

TEST(GetMounts, AMountInAHomesMediaFolderIsAcceptedBecauseOfTheSearchAndOneInSrvDataIsNot) {
    ExpectForTable(Line("/dev/a", "/home/user/media") + Line("/dev/b", "/srv/data"), {"/dev/a|/home/user/media"},
                   "/dev/a : /home/user/media\n");
}

TEST(GetMounts, AMountPointWithBothWordsIsListedOnce) {
    ExpectForTable(Line("/dev/a", "/media/mnt/x"), {"/dev/a|/media/mnt/x"}, "/dev/a : /media/mnt/x\n");
}

TEST(GetMounts, TheSearchIsCaseSensitive) {
    ExpectForTable(Line("/dev/a", "/MNT/disk1"), {}, "");
}

TEST(GetMounts, TheSameMountPointOnTwoLinesGivesTwoItemsInTheOrderOfTheTable) {
    ExpectForTable(Line("/dev/b", "/mnt/x") + Line("/dev/c", "/mnt/a") + Line("/dev/a", "/mnt/x"),
                   {"/dev/b|/mnt/x", "/dev/c|/mnt/a", "/dev/a|/mnt/x"},
                   "/dev/b : /mnt/x\n/dev/c : /mnt/a\n/dev/a : /mnt/x\n");
}

TEST(GetMounts, EscapedCharactersComeBackDecoded) {
    ExpectForTable(Line("//server/a\\040share", "/mnt/my\\040disk") + Line("/dev/b", "/mnt/tab\\011back\\134slash"),
                   {"//server/a share|/mnt/my disk", "/dev/b|/mnt/tab\tback\\slash"},
                   "//server/a share : /mnt/my disk\n/dev/b : /mnt/tab\tback\\slash\n");
}

TEST(GetMounts, NoOtherFieldOfAnEntryIsLookedAt) {
    ExpectForTable(
        "server:/export /mnt/nfs nfs4 ro,noexec 0 0\ntmpfs /mnt/ram tmpfs\nnone /mnt/none\n"
        "/dev/a /data/x mnt /mnt 0 0\n/mnt/image.iso /data/y iso9660 ro 0 0\n",
        {"server:/export|/mnt/nfs", "tmpfs|/mnt/ram", "none|/mnt/none"},
        "server:/export : /mnt/nfs\ntmpfs : /mnt/ram\nnone : /mnt/none\n");
}

TEST(GetMounts, CommentsAndEmptyLinesAreNoEntriesAndTheLastLineNeedsNoLineFeed) {
    ExpectForTable("# /dev/x /mnt/x ext4 rw 0 0\n\n   \n/dev/a\t/mnt/a\text4 rw 0 0\n/dev/b /mnt/b ext4 rw 0 0",
                   {"/dev/a|/mnt/a", "/dev/b|/mnt/b"}, "/dev/a : /mnt/a\n/dev/b : /mnt/b\n");
}

TEST(GetMounts, WithoutAQualifyingLineOnlyTheHeadingIsWritten) {
    ExpectForTable("", {}, "");
    ExpectForTable(Line("/dev/a", "/") + Line("proc", "/proc"), {}, "");
}

TEST(GetMounts, ATableThatCannotBeOpenedGivesNoItemAndNoOutput) {
    EXPECT_TRUE(PassesWithPrivateMounts([] {
        ASSERT_FALSE(test_support::Exists(kTable));
        const Listed listed = ListMounts();
        EXPECT_TRUE(listed.drives.empty());
        EXPECT_EQ(listed.output, "");
    }));
}

TEST(GetMounts, ALinkThatLeadsNowhereIsATableThatCannotBeOpened) {
    EXPECT_TRUE(PassesWithPrivateMounts([] {
        ASSERT_EQ(symlink("nowhere", kTable), 0);
        const Listed listed = ListMounts();
        EXPECT_TRUE(listed.drives.empty());
        EXPECT_EQ(listed.output, "");
    }));
}

TEST(GetMounts, ManyMountsAreAllListed) {
    std::string table;
    std::string lines;
    std::vector<std::string> drives;
    for (int i = 0; i < 2000; ++i) {
        const std::string device = "/dev/disk" + std::to_string(i);
        const std::string mountPoint = "/mnt/" + std::string(100, 'd') + std::to_string(i);
        table += Line(device, mountPoint);
        lines += device;
        lines += " : " + mountPoint + "\n";
        drives.push_back(device + "|" + mountPoint);
    }
    ExpectForTable(table, drives, lines);
}

TEST(GetMounts, EveryCallReadsTheTableAnewAndClosesIt) {
    EXPECT_TRUE(PassesWithPrivateMounts([] {
        const auto openFiles = [] {
            int count = 0;
            for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
                ++count;
            }
            return count;
        };
        WriteFile(kTable, Line("/dev/a", "/mnt/a"));
        const int before = openFiles();
        EXPECT_EQ(ListMounts().drives, std::vector<std::string>{"/dev/a|/mnt/a"});
        WriteFile(kTable, Line("/dev/b", "/mnt/b"));
        EXPECT_EQ(ListMounts().drives, std::vector<std::string>{"/dev/b|/mnt/b"});
        EXPECT_EQ(openFiles(), before);
    }));
}

TEST(GetMounts, RealMountsComeAndGoWithTheSystemsTable) {
    const TempDir folder;
    EXPECT_TRUE(PassesWithPrivateMounts([&] {
        ASSERT_EQ(symlink("/proc/self/mounts", kTable), 0);
        MountMemory(folder.File("srv"), "plain");
        MountMemory(folder.File("home/user/media"), "stick");
        MountMemory(folder.File("home/mnt/my disk"), "blank");
        MountMemory(folder.File("home/user/media"), "stick again");
        const std::vector<std::string> expected = {"stick|" + folder.File("home/user/media"),
                                                   "blank|" + folder.File("home/mnt/my disk"),
                                                   "stick again|" + folder.File("home/user/media")};
        const Listed listed = ListMounts();
        std::vector<std::string> own;  // the machine may have drives too, ahead of these
        for (const std::string& drive : listed.drives) {
            if (drive.find(folder.Path()) != std::string::npos) {
                own.push_back(drive);
            }
        }
        EXPECT_EQ(own, expected);
        std::string lines;
        for (const std::string& drive : listed.drives) {
            lines += std::string(drive).replace(drive.find('|'), 1, " : ") + "\n";
        }
        EXPECT_EQ(listed.output, kHeading + lines);
    }));
}

// Acts ahead of each look for the next entry of the table.
std::function<void()> g_aheadOfEntry;

TEST(GetMounts, EveryLineOfTheOutputIsFlushedBeforeTheNextEntryIsRead) {
    const TempDir folder;
    EXPECT_TRUE(PassesWithPrivateMounts([&] {
        WriteFile(kTable, Line("/dev/a", "/mnt/a") + Line("/dev/b", "/media/b"));
        const int output = open(folder.File("output").c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        ASSERT_GE(output, 0);
        std::vector<std::string> arrived;
        {
            const test_support::StdoutRedirect redirect(output);
            g_aheadOfEntry = [&] { arrived.push_back(test_support::ReadFile(folder.File("output"))); };
            EXPECT_EQ(GetMounts().size(), 2U);
            g_aheadOfEntry = nullptr;
        }
        close(output);
        const std::string first = kHeading;
        const std::string second = first + "/dev/a : /mnt/a\n";
        EXPECT_EQ(arrived, (std::vector<std::string>{first, second, second + "/dev/b : /media/b\n"}));
    }));
}

// ---- GetAvailableSpace

TEST(GetAvailableSpace, OfAPathThatDoesNotExistIsMinusOneWhichFormatsInBytes) {
    const TempDir folder;
    const long long space = GetAvailableSpace(folder.File("none").c_str());
    EXPECT_EQ(space, -1);
    char text[32];
    EXPECT_STREQ(FormatBytes(space, text), "-1.00 B");
}

TEST(GetAvailableSpace, OfAnEmptyPathIsMinusOne) {
    EXPECT_EQ(GetAvailableSpace(""), -1);
}

TEST(GetAvailableSpace, FallsByWhatIsWritten) {
    const TempDir folder;
    EXPECT_TRUE(PassesWithPrivateMounts([&] {
        MountMemory(folder.File("drive"), "tmpfs", "3m");
        const std::string drive = folder.File("drive");
        EXPECT_EQ(GetAvailableSpace(drive.c_str()), 3 * 1024 * 1024);
        WriteFile(drive + "/file", std::string(1024 * 1024, 'x'));
        EXPECT_EQ(GetAvailableSpace(drive.c_str()), 2 * 1024 * 1024);
        EXPECT_EQ(GetAvailableSpace((drive + "/file").c_str()), 2 * 1024 * 1024);
    }));
}

TEST(GetAvailableSpace, OfAFullDriveIsZero) {
    const TempDir folder;
    EXPECT_TRUE(PassesWithPrivateMounts([&] {
        MountMemory(folder.File("drive"), "tmpfs", "64k");
        WriteFile(folder.File("drive") + "/file", std::string(64 * 1024, 'x'));
        EXPECT_EQ(GetAvailableSpace(folder.File("drive").c_str()), 0);
    }));
}

// Takes the place of the system's answer, for fields that real file systems give alike.
struct FakeStatus {
    bool active = false;
    int result = 0;
    struct statvfs status {};
};
FakeStatus g_fake;

TEST(GetAvailableSpace, TakesTheBlockSizeAndWhatAnUnprivilegedUserMayUse) {
    g_fake.active = true;
    g_fake.status.f_bsize = 65536;
    g_fake.status.f_frsize = 512;
    g_fake.status.f_blocks = 1000;
    g_fake.status.f_bfree = 300;
    g_fake.status.f_bavail = 200;
    EXPECT_EQ(GetAvailableSpace("/"), 65536LL * 200);
    g_fake.active = false;
}

TEST(GetAvailableSpace, MultipliesIn64Bits) {
    g_fake.active = true;
    g_fake.status.f_bsize = 1048576;
    g_fake.status.f_bavail = 5000000000ULL;
    EXPECT_EQ(GetAvailableSpace("/"), 1048576LL * 5000000000LL);
    g_fake.active = false;
}

TEST(GetAvailableSpace, IsMinusOneForAnyResultButZeroWhateverTheFigures) {
    g_fake.active = true;
    g_fake.status.f_bsize = 4096;
    g_fake.status.f_bavail = 10;
    for (const int result : {-1, 1}) {
        g_fake.result = result;
        EXPECT_EQ(GetAvailableSpace("/"), -1);
    }
    g_fake = {};
}

// ---- FormatBytes

struct FormatRow {
    const char* name;
    long long bytes;
    const char* text;
};

class FormatTable : public testing::TestWithParam<FormatRow> {};

TEST_P(FormatTable, GivesTheText) {
    char buffer[32];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(FormatBytes(GetParam().bytes, buffer), buffer);
    EXPECT_STREQ(buffer, GetParam().text);
    EXPECT_EQ(buffer[std::strlen(buffer) + 1], '#');
}

constexpr long long kKilo = 1024;
constexpr long long kMega = kKilo * 1024;
constexpr long long kGiga = kMega * 1024;
constexpr long long kTera = kGiga * 1024;
constexpr long long kPeta = kTera * 1024;
// With the rest of a kilobyte or megabyte on top of them, a division of all bits would round up to 1.01.
constexpr long long kWholeKilos = 1029 * kKilo;
constexpr long long kWholeMegas = 1029 * kMega;

INSTANTIATE_TEST_SUITE_P(
    OfEveryRange, FormatTable,
    testing::Values(FormatRow{"Zero", 0, "0.00 B"}, FormatRow{"One", 1, "1.00 B"},
                    FormatRow{"LargestUnscaled", 1023, "1023.00 B"}, FormatRow{"FirstScaled", 1024, "1.00 KB"},
                    FormatRow{"OneAboveTheFirstScaled", 1025, "1.00 KB"}, FormatRow{"OneAndAHalf", 1536, "1.50 KB"},
                    FormatRow{"OneBelowAMegabyte", kMega - 1, "1024.00 KB"}, FormatRow{"AMegabyte", kMega, "1.00 MB"},
                    FormatRow{"OneAboveAMegabyte", kMega + 1, "1.00 MB"},
                    FormatRow{"LowBitsAreDroppedAheadOfTheDivisionToMegabytes", kWholeKilos + 1023, "1.00 MB"},
                    FormatRow{"OneBelowAGigabyte", kGiga - 1, "1024.00 MB"}, FormatRow{"AGigabyte", kGiga, "1.00 GB"},
                    FormatRow{"LowBitsAreDroppedAheadOfTheDivisionToGigabytes", kWholeMegas + kMega - 1, "1.00 GB"},
                    FormatRow{"ADiskOfATerabyteAsSold", 1000204886016, "931.51 GB"},
                    FormatRow{"OneBelowATerabyte", kTera - 1, "1024.00 GB"}, FormatRow{"ATerabyte", kTera, "1.00 TB"},
                    FormatRow{"ThreeQuarters", kTera / 4 * 7, "1.75 TB"},
                    FormatRow{"OneBelowAPetabyte", kPeta - 1, "1024.00 TB"}, FormatRow{"APetabyte", kPeta, "1.00 PB"},
                    FormatRow{"ThousandPetabytes", 1000 * kPeta, "1000.00 PB"},
                    FormatRow{"Largest", LLONG_MAX, "8192.00 PB"}, FormatRow{"MinusOne", -1, "-1.00 B"},
                    FormatRow{"MinusAMegabyte", -kMega, "-1048576.00 B"},
                    FormatRow{"Smallest", LLONG_MIN, "-9223372036854775808.00 B"}),
    [](const auto& row) { return row.param.name; });

TEST(FormatBytes, Of1023StaysUnscaledAndOf1024IsTheFirstScaled) {
    char text[32];
    EXPECT_STREQ(FormatBytes(1023, text), "1023.00 B");
    EXPECT_STREQ(FormatBytes(1024, text), "1.00 KB");
}

TEST(FormatBytes, OfANegativeCountIsInBytesHoweverLarge) {
    char text[32];
    EXPECT_STREQ(FormatBytes(-1024, text), "-1024.00 B");
    EXPECT_STREQ(FormatBytes(-kPeta, text), "-1125899906842624.00 B");
}

TEST(FormatBytes, OfAMegabyteScalesTwiceAndOfOneByteLessOnce) {
    char text[32];
    EXPECT_STREQ(FormatBytes(1048576, text), "1.00 MB");
    EXPECT_STREQ(FormatBytes(1048575, text), "1024.00 KB");
}

TEST(FormatBytes, TheLongestTextTakes26CharactersWithItsTerminator) {
    char text[26];
    FormatBytes(LLONG_MIN, text);
    EXPECT_EQ(std::strlen(text) + 1, 26U);
}

TEST(FormatBytes, HasTheDecimalMarkOfTheLocale) {
    const CommaLocale comma;
    char text[32];
    EXPECT_STREQ(FormatBytes(1536, text), "1,50 KB");
    EXPECT_STREQ(FormatBytes(1000204886016, text), "931,51 GB");
    EXPECT_STREQ(FormatBytes(-1, text), "-1,00 B");
}

}  // namespace

// The definitions in the program come before those in the C library.
extern "C" mntent* getmntent(FILE* table) noexcept {
    using Function = mntent* (*)(FILE*);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getmntent"));
    if (g_aheadOfEntry) {
        g_aheadOfEntry();
    }
    return real(table);
}

extern "C" int statvfs(const char* path, struct statvfs* status) noexcept {
    using Function = int (*)(const char*, struct statvfs*);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "statvfs"));
    if (g_fake.active) {
        *status = g_fake.status;
        return g_fake.result;
    }
    return real(path, status);
}
