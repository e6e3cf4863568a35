#include <dirent.h>
#include <pthread.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>

#include "Faults.h"
#include "LogFixture.h"
#include "support/DataPath.h"

namespace {

TEST_F(LogTest, OpenLogWritesTheBannerToTheFileAloneAndCountsItNot) {
    ASSERT_EQ(Open(), 1);
    EXPECT_EQ(g_llLogFileSize, 0);
    CloseLog();
    EXPECT_EQ(Present(), "\n\n-----   09:03   5/3/2026   -----\n\n");
    EXPECT_EQ(Console(), "");
    EXPECT_EQ(g_llLogFileSize, 0);
}

struct Moment {
    const char* zone;
    std::time_t seconds;  // since 1970 in UTC
    const char* banner;
};

class Banner : public LogTest, public testing::WithParamInterface<Moment> {};

TEST_P(Banner, TellsTheLocalTime) {
    setenv("TZ", GetParam().zone, 1);
    tzset();
    SetClock(GetParam().seconds);
    ASSERT_EQ(Open(), 1);
    CloseLog();
    EXPECT_EQ(Present(), GetParam().banner);
}

INSTANTIATE_TEST_SUITE_P(Times, Banner,
                         testing::Values(Moment{"UTC0", 1767225599, "\n\n-----   23:59   31/12/2025   -----\n\n"},
                                         Moment{"UTC0", 1767225600, "\n\n-----   00:00   1/1/2026   -----\n\n"},
                                         Moment{"XYZ-5:30", 1772701431, "\n\n-----   14:33   5/3/2026   -----\n\n"},
                                         Moment{"ABC10", 1772701431, "\n\n-----   23:03   4/3/2026   -----\n\n"},
                                         Moment{"CET-1CEST,M3.5.0,M10.5.0/3", 1783672200,
                                                "\n\n-----   10:30   10/7/2026   -----\n\n"}));

struct Name {
    unsigned int index;
    const char* base;
};

class Index : public LogTest, public testing::WithParamInterface<Name> {};

TEST_P(Index, NamesTheFile) {
    ASSERT_EQ(Open(GetParam().index), 1);
    Log(kPlain, "line");
    CloseLog();
    EXPECT_STREQ(g_szLogFileName, GetParam().base);
    EXPECT_EQ(test_support::ReadFile(Folder() + "/" + GetParam().base + ".txt"), std::string(kBanner) + "line\n");
    const std::filesystem::directory_iterator entries(Folder());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
}

INSTANTIATE_TEST_SUITE_P(Names, Index,
                         testing::Values(Name{0, "Log"}, Name{1, "Log"}, Name{2, "Log2"}, Name{10, "Log10"},
                                         Name{4294967295U, "Log4294967295"}));

TEST_F(LogTest, OpenLogMakesTheFolderFromTheProgramDataPathAndItsArgument) {
    m_root.MakeDir("Orvan/Log/Server");
    ASSERT_EQ(OpenLog("/Orvan/Log/Server/", 1), 1);
    CloseLog();
    EXPECT_EQ(g_szConfigPath, m_root.Path() + "/Orvan/Log/Server/");
    EXPECT_EQ(test_support::ReadFile(m_root.File("Orvan/Log/Server/Log.txt")), kBanner);
}

TEST_F(LogTest, OpenLogAppendsToWhatIsThere) {
    test_support::WriteFile(PresentPath(), "earlier\n");
    ASSERT_EQ(Open(), 1);
    EXPECT_EQ(g_llLogFileSize, 8);
    Log(kPlain, "line");
    CloseLog();
    EXPECT_EQ(Present(), std::string("earlier\n") + kBanner + "line\n");
    EXPECT_EQ(g_llLogFileSize, 13);
}

TEST_F(LogTest, ReopeningAppendsABannerAndCountsTheEarlierOnes) {
    ASSERT_EQ(Open(), 1);
    Log(kPlain, "first");
    CloseLog();
    ASSERT_EQ(Open(), 1);
    EXPECT_EQ(g_llLogFileSize, static_cast<std::int64_t>(std::strlen(kBanner) + 6));
    Log(kPlain, "second");
    CloseLog();
    EXPECT_EQ(Present(), std::string(kBanner) + "first\n" + kBanner + "second\n");
    EXPECT_EQ(Console(), "first\nsecond\n");
}

TEST_F(LogTest, OpenLogSetsUpTheRing) {
    g_LogLevel = static_cast<LOG_LEVEL>(5);
    g_bTerminateLog = true;
    g_ullLogBufWr = 77;
    g_ullLogBufRd = 55;
    ASSERT_EQ(Open(), 1);
    EXPECT_EQ(g_LogLevel, 0);
    EXPECT_FALSE(g_bTerminateLog);
    EXPECT_NE(g_pBuf, nullptr);
    EXPECT_EQ(g_ullLogBufEntries, 16384U);
    EXPECT_EQ(g_ullLogBufMask, 16383U);
    EXPECT_EQ(g_ullLogBufWr, 0U);
    EXPECT_EQ(g_ullLogBufRd, 0U);
    EXPECT_EQ(g_hLogConsole, stdout);
    EXPECT_NE(g_hLogFile, nullptr);
    EXPECT_NE(g_hLogEvent, nullptr);
    EXPECT_NE(g_hLogThread, nullptr);
    CloseLog();
}

// Kernel numbers of the threads of this process.
std::set<int> Threads() {
    std::set<int> threads;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        threads.insert(std::stoi(entry.path().filename().string()));
    }
    return threads;
}

TEST_F(LogTest, TheThreadRunsAtLoweredPriority) {
    const std::set<int> before = Threads();
    ASSERT_EQ(Open(), 1);
    const int own = getpriority(PRIO_PROCESS, 0);
    int others = 0;
    for (const int thread : Threads()) {
        if (before.count(thread) == 0) {
            EXPECT_EQ(getpriority(PRIO_PROCESS, static_cast<id_t>(thread)), std::min(own + 5, 19));
            ++others;
        }
    }
    EXPECT_EQ(others, 1);
    CloseLog();
}

// The state after an OpenLog that failed.
void ExpectInert() {
    EXPECT_EQ(g_pBuf, nullptr);
    const std::uint64_t before = g_ullLogBufWr;
    Log(LOG_LEVEL_ERROR, "into the void");
    EXPECT_EQ(g_ullLogBufWr, before);
}

TEST_F(LogTest, WithoutAProgramDataPathOpenLogSaysSoAndFails) {
    test_support::FailProgramDataPath(EACCES);
    EXPECT_EQ(Open(), 0);
    EXPECT_EQ(Console(), "Cannot find a location to create the Log file (13)\n");
    ExpectInert();
    CloseLog();
}

TEST_F(LogTest, OpenLogDoesNotRelyOnTheBufferOfAProgramDataPathThatFailed) {
    test_support::FailProgramDataPath(ENOENT, m_root.Path());
    EXPECT_EQ(Open(), 0);
    EXPECT_EQ(Console(), "Cannot find a location to create the Log file (2)\n");
    EXPECT_FALSE(test_support::Exists(PresentPath()));
    ExpectInert();
}

TEST_F(LogTest, WithoutMemoryForTheRingOpenLogFailsWithoutAMessage) {
    int result = 1;
    {
        const ShortMemory lack;
        result = Open();
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(Console(), "");
    EXPECT_FALSE(test_support::Exists(PresentPath()));
    ExpectInert();
    CloseLog();
}

TEST_F(LogTest, AFileThatCannotBeCreatedIsReportedAndOpenLogFails) {
    EXPECT_EQ(OpenLog("/missing/", 1), 0);
    EXPECT_EQ(Console(), "Cannot create log file " + m_root.Path() + "/missing/Log.txt (2)\n");
    ExpectInert();
    CloseLog();
}

TEST_F(LogTest, AFolderInTheFilesPlaceIsReportedWithTheNumberOfIts) {
    m_root.MakeDir("log/Log2.txt");
    EXPECT_EQ(Open(2), 0);
    EXPECT_EQ(Console(), "Cannot create log file " + Folder() + "/Log2.txt (21)\n");
    ExpectInert();
}

TEST_F(LogTest, AFailedOpenLogLeavesTheNextOneFree) {
    EXPECT_EQ(OpenLog("/missing/", 1), 0);
    ASSERT_EQ(Open(), 1);
    Log(kPlain, "line");
    CloseLog();
    EXPECT_EQ(Present(), std::string(kBanner) + "line\n");
}

// A failure after an earlier log was closed: the stream of that one is not closed again.
TEST_F(LogTest, CloseLogAfterAFailedReopeningIsHarmless) {
    ASSERT_EQ(Open(), 1);
    CloseLog();
    EXPECT_EQ(OpenLog("/missing/", 1), 0);
    CloseLog();
    test_support::FailProgramDataPath(ENOENT);
    EXPECT_EQ(Open(), 0);
    CloseLog();
    EXPECT_EQ(Present(), kBanner);
}

// While it lives, the system has no room for the stack of a new thread.
class NoMoreThreads {
public:
    NoMoreThreads() {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, std::size_t{1} << 48);  // more than the address space of a process
        pthread_setattr_default_np(&huge);
        pthread_attr_destroy(&huge);
    }
    ~NoMoreThreads() {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }
    NoMoreThreads(const NoMoreThreads&) = delete;
    NoMoreThreads& operator=(const NoMoreThreads&) = delete;

private:
    pthread_attr_t m_before{};
};

TEST_F(LogTest, WithoutAThreadOpenLogFailsWithoutAMessageAndFileAndEventStay) {
    {
        const NoMoreThreads lack;
        EXPECT_EQ(Open(), 0);
    }
    EXPECT_EQ(Console(), "");
    EXPECT_EQ(Present(), kBanner);
    EXPECT_NE(g_hLogFile, nullptr);
    EXPECT_NE(g_hLogEvent, nullptr);
    EXPECT_EQ(g_hLogThread, nullptr);
    ExpectInert();
    CloseLog();
    EXPECT_EQ(g_hLogEvent, nullptr);
}

TEST_F(LogTest, WithoutAnEventLinesAreStillWrittenAndCloseLogEndsTheThread) {
    const NoEvents lack;
    ASSERT_EQ(Open(), 1);
    EXPECT_EQ(g_hLogEvent, nullptr);
    Log(kPlain, "one");
    WaitUntilTaken();
    Log(kPlain, "two");
    CloseLog();
    EXPECT_EQ(Present(), std::string(kBanner) + "one\ntwo\n");
    EXPECT_EQ(Console(), "one\ntwo\n");
}

TEST_F(LogTest, CloseLogDeletesTheSectionAlsoWhenOpenLogHasFailed) {
    test_support::FailProgramDataPath(2);
    EXPECT_EQ(Open(), 0);
    const int before = DeletedSections();
    CloseLog();
    EXPECT_EQ(DeletedSections(), before + 1);
}

TEST_F(LogTest, OpenLogSucceedsAgainOnceThereAreThreads) {
    {
        const NoMoreThreads lack;
        EXPECT_EQ(Open(), 0);
        CloseLog();
    }
    ASSERT_EQ(Open(), 1);
    Log(kPlain, "line");
    CloseLog();
    EXPECT_EQ(Present(), std::string(kBanner) + kBanner + "line\n");
}

}  // namespace
