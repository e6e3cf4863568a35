// The modes that the fixed folders may have: open to all as they are made, or as a careful administrator sets them.
// What works for whom in each.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

#include "neighbours/Run.h"
#include "neighbours/Steps.h"
#include "neighbours/World.h"

namespace neighbours {
namespace {

const std::string kOld = "the old file\n";

// What somebody can do in the folders, next to what root has left there.
struct Mode {
    const char* name;
    mode_t mode;
    uid_t user;
    bool savesAnew;         // where there is no file yet
    bool savesOverRoots;    // the file is root's
    bool logsAnew;          // there is no log yet
    bool logsIntoRoots;     // root's log has mode 0666
    bool keepsPreviousLog;  // when root's log rotates; otherwise it is written anew
    bool replacesFile;      // by one of his own, without the program
    bool takesName;         // of a temporary file, before root saves
};

// The log is open to all by its own mode, whatever the folder's.
const Mode kModes[] = {
    {"RootInAFolderOpenToAll", kOpenToAll, kRoot, true, true, true, true, true, true, true},
    {"AnotherInAFolderOpenToAll", kOpenToAll, kCaller, true, true, true, true, true, true, true},
    {"RootInAStickyFolder", kSticky, kRoot, true, true, true, true, true, true, true},
    {"AnotherInAStickyFolder", kSticky, kCaller, true, false, true, true, false, false, true},
    {"RootInAFolderOfHisOwn", kRootsAlone, kRoot, true, true, true, true, true, true, true},
    {"AnotherInAFolderOfRoots", kRootsAlone, kCaller, false, false, false, true, false, false, false},
};

class Folder : public testing::TestWithParam<Mode> {
protected:
    // True when the step came to its end with status 0.
    static bool Does(const std::function<int()>& step) {
        const Outcome outcome = RunAs(GetParam().user, step);
        EXPECT_FALSE(outcome.hung);
        return outcome.status == 0;
    }

    const World world_{GetParam().mode};
};

TEST_P(Folder, LetsAFileBeMade) {
    EXPECT_EQ(Does(SaveGlobal), GetParam().savesAnew);
    EXPECT_EQ(Does(SaveLocal), GetParam().savesAnew);
    EXPECT_EQ(World::Exists(kGlobal), GetParam().savesAnew);
    EXPECT_EQ(World::Exists(kLocal), GetParam().savesAnew);
}

TEST_P(Folder, LetsAFileOfRootsBeReplacedOrKeepsItWhole) {
    World::Write(kGlobal, kOld);
    EXPECT_EQ(Does(SaveGlobal), GetParam().savesOverRoots);
    EXPECT_EQ(World::Read(kGlobal), GetParam().savesOverRoots ? kGlobalText : kOld);
    EXPECT_EQ(World::At(kGlobal).owner, GetParam().savesOverRoots ? GetParam().user : kRoot);
}

TEST_P(Folder, OfACallersOwnFilesLetsHimSaveWhereverHeMayWrite) {
    World::Write(kGlobal, kOld, GetParam().user);
    World::Write(kGlobalTemporary, "stale", GetParam().user);
    EXPECT_EQ(Does(SaveGlobal), GetParam().savesAnew);
    EXPECT_EQ(World::Read(kGlobal), GetParam().savesAnew ? kGlobalText : kOld);
}

// Where the name cannot be cleared, his own file there is used, but not one that has another name, nor through a link.
TEST_P(Folder, OfACallersSecondNameAndLinkKeepsTheFileBehindThem) {
    ASSERT_EQ(link(kCallersFile.c_str(), kGlobalTemporary.c_str()), 0);
    ASSERT_EQ(symlink(kCallersFile.c_str(), kLocalTemporary.c_str()), 0);
    ASSERT_EQ(lchown(kLocalTemporary.c_str(), GetParam().user, GetParam().user), 0);
    EXPECT_EQ(Does(SaveGlobal), GetParam().savesAnew);
    EXPECT_EQ(Does(SaveLocal), GetParam().savesAnew);
    EXPECT_EQ(World::Read(kCallersFile), kVictimText);
    EXPECT_EQ(World::Exists(kGlobal), GetParam().savesAnew);
    EXPECT_EQ(World::Exists(kLocal), GetParam().savesAnew);
}

TEST_P(Folder, LetsTheLogBeMade) {
    EXPECT_EQ(Does(WriteLog), GetParam().logsAnew);
    EXPECT_EQ(World::Exists(kLog), GetParam().logsAnew);
}

TEST_P(Folder, LetsTheLogOfRootsBeWritten) {
    World::Write(kLog, kOld, kRoot, 0666);
    EXPECT_EQ(Does(WriteLog), GetParam().logsIntoRoots);
    EXPECT_EQ(World::Read(kLog) == kOld, !GetParam().logsIntoRoots);
}

TEST_P(Folder, LetsTheLogOfRootsRotateOrBeWrittenAnew) {
    World::Write(kLog, std::string(static_cast<std::size_t>(kLogLimit), 'x'), kRoot, 0666);
    EXPECT_TRUE(Does(RotateLogAlone));
    EXPECT_EQ(World::Read(kLog), kSecondLine);
    EXPECT_EQ(World::Exists(kOldLog), GetParam().keepsPreviousLog);
}

TEST_P(Folder, LetsWhoMayWriteReplaceAFileWithoutTheProgram) {
    World::Write(kGlobal, kOld);
    const std::string own = GetParam().user == kRoot ? kRootsFolder + "/mine" : kCallersFolder + "/mine";
    World::Write(own, "mine", GetParam().user);
    EXPECT_EQ(Does([&] { return std::rename(own.c_str(), kGlobal.c_str()) == 0 ? 0 : 1; }), GetParam().replacesFile);
    EXPECT_EQ(World::Read(kGlobal), GetParam().replacesFile ? "mine" : kOld);
}

// And root saves all the same.
TEST_P(Folder, LetsWhoMayWriteTakeATemporaryName) {
    EXPECT_EQ(Does([] { return symlink(kRootsFile.c_str(), kGlobalTemporary.c_str()) == 0 ? 0 : 1; }),
              GetParam().takesName);
    EXPECT_EQ(RunAs(kRoot, SaveGlobal).status, 0);
    EXPECT_EQ(World::Read(kGlobal), kGlobalText);
    EXPECT_EQ(World::At(kGlobal).owner, kRoot);
    EXPECT_EQ(World::Read(kRootsFile), kVictimText);
}

TEST_P(Folder, KeepsItsModeWhenTheProgramStarts) {
    EXPECT_EQ(StartProgram(GetParam().user).signal, SIGSEGV);
    EXPECT_EQ(World::At(kConfigFolder).mode & 07777, GetParam().mode);
    EXPECT_EQ(World::At(kLogFolder).mode & 07777, GetParam().mode);
}

INSTANTIATE_TEST_SUITE_P(Of, Folder, testing::ValuesIn(kModes), [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace neighbours
