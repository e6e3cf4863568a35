// The log on a disk that is full, without room for another file, read-only or gone: the caller goes on.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "Log.h"
#include "neighbours/Run.h"
#include "neighbours/Steps.h"
#include "neighbours/World.h"

namespace neighbours {
namespace {

constexpr std::size_t kPage = 4096;

class LogDisk : public testing::Test {
protected:
    ~LogDisk() override { umount2(kLogFolder.c_str(), MNT_DETACH); }

    static void Mount(const char* options, unsigned long flags = 0) {
        ASSERT_EQ(mount("tmpfs", kLogFolder.c_str(), "tmpfs", flags, options), 0);
    }

    static std::string CannotCreate(int number) {
        return "Cannot create log file " + kLog + " (" + std::to_string(number) + ")\n";
    }

    // Nothing is written for want of a log, and the program gets as far as without that lack.
    static void ExpectNoLog(int number) {
        const Outcome outcome = RunAs(kRoot, [] {
            const int status = WriteLog();
            Log(LOG_LEVEL_ERROR, "nobody reads this");
            return status;
        });
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, CannotCreate(number));
        const Outcome start = StartProgram(kRoot);
        EXPECT_EQ(start.signal, SIGSEGV);
        EXPECT_EQ(start.output.rfind(CannotCreate(number), 0), 0U) << start.output;
    }

    const World world_{kOpenToAll};
};

TEST_F(LogDisk, ThatIsFullLosesTheTextOfTheFileAndNotOfTheConsole) {
    Mount("size=8k,mode=777");
    const std::string before(kPage, 'x');
    World::Write(kLog, before);
    World::Write(kLogFolder + "/filler", before);
    const Outcome outcome = RunAs(kRoot, WriteLog);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, kFirstLine);
    EXPECT_EQ(World::Read(kLog), before);
    EXPECT_EQ(StartProgram(kRoot).signal, SIGSEGV);
    EXPECT_EQ(World::Read(kLog), before);
}

TEST_F(LogDisk, WithoutRoomForAnotherFileGivesNoLog) {
    Mount("nr_inodes=1,mode=777");
    ExpectNoLog(ENOSPC);
}

TEST_F(LogDisk, ThatIsReadOnlyGivesNoLog) {
    Mount("mode=777", MS_RDONLY);
    ExpectNoLog(EROFS);
}

TEST_F(LogDisk, ThatIsReadOnlyGivesNoLogEitherWhereThereIsOne) {
    Mount("mode=777");
    World::Write(kLog, "before\n");
    ASSERT_EQ(mount("tmpfs", kLogFolder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, "mode=777"), 0);
    ExpectNoLog(EROFS);
    EXPECT_EQ(World::Read(kLog), "before\n");
}

TEST_F(LogDisk, ThatIsTakenAwayWhileTheLogIsOpenHoldsNobodyUp) {
    Mount("mode=777");
    const Outcome outcome = RunAs(kRoot, [] {
        OpenLog("/Orvan/Log/Server/", 1);
        umount2(kLogFolder.c_str(), MNT_DETACH);
        Log(static_cast<LOG_LEVEL>(2), "%s", kFirst);
        CloseLog();
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, kFirstLine);
}

TEST_F(LogDisk, WhoseFolderIsGoneWhenTheLogRotatesEndsTheLogAlone) {
    World::Write(kLog, std::string(static_cast<std::size_t>(kLogLimit), 'x'));
    const Outcome outcome = RunAs(kRoot, [] {
        return RotateLog([] {
            unlink(kLog.c_str());
            rmdir(kLogFolder.c_str());
        });
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, kFirstLine + CannotCreate(ENOENT));
}

TEST_F(LogDisk, ThatIsFullWhenTheLogRotatesStillRotates) {
    Mount("size=4096k,mode=777");
    World::Write(kLog, std::string(static_cast<std::size_t>(kLogLimit) - kPage, 'x'));
    World::Write(kLogFolder + "/filler", std::string(kPage, 'x'));
    const Outcome outcome = RunAs(kRoot, [] {
        OpenLog("/Orvan/Log/Server/", 1);
        // The bytes count as written, and so the log rotates into the room that is none.
        for (int line = 0; line < 6; ++line) {
            Log(static_cast<LOG_LEVEL>(2), "%s", std::string(1000, 'y').c_str());
            WaitUntilTaken();
        }
        CloseLog();
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(World::Exists(kOldLog));
    EXPECT_EQ(World::Read(kLog), "");
}

}  // namespace
}  // namespace neighbours
