#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "Faults.h"
#include "LogFixture.h"
#include "OsLayer.h"
#include "support/Threads.h"

namespace {

TEST_F(LogTest, CloseLogReleasesAllButLeavesTheFilePointerSet) {
    ASSERT_EQ(Open(), 1);
    std::FILE* const file = g_hLogFile;
    CloseLog();
    EXPECT_TRUE(g_bTerminateLog);
    EXPECT_EQ(g_hLogThread, nullptr);
    EXPECT_EQ(g_hLogEvent, nullptr);
    EXPECT_EQ(g_pBuf, nullptr);
    EXPECT_EQ(g_hLogFile, file);
}

TEST_F(LogTest, CloseLogLeavesTheStandardOutputOpen) {
    ASSERT_EQ(Open(), 1);
    CloseLog();
    std::printf("still here\n");
    EXPECT_EQ(Console(), "still here\n");
}

TEST_F(LogTest, CloseLogWithoutAnOpenLogDoesNothing) {
    CloseLog();
    EXPECT_EQ(g_pBuf, nullptr);
    EXPECT_EQ(Console(), "");
    ASSERT_EQ(Open(), 1);
    Log(kPlain, "line");
    CloseLog();
    EXPECT_EQ(Present(), std::string(kBanner) + "line\n");
}

TEST_F(LogTest, TextPutInBeforeCloseLogIsAlwaysWritten) {
    constexpr int kRuns = 3000;
    for (int run = 0; run < kRuns; ++run) {
        std::remove(PresentPath().c_str());
        ASSERT_EQ(Open(), 1);
        std::string expected = kBanner;
        for (int line = 0; line <= run % 3; ++line) {
            Log(kPlain, "run %d line %d", run, line);
            expected += "run " + std::to_string(run) + " line " + std::to_string(line) + "\n";
        }
        CloseLog();
        ASSERT_EQ(Present(), expected);
    }
}

// Returns when the log thread, which nobody else can be, is in a write to the standard output that does not return.
void WaitUntilAtStandardOutput() {
    for (;;) {
        for (const int thread : test_support::OtherThreads()) {
            const auto call = test_support::BlockedIn(thread);
            if (call && call->number == SYS_write && call->argument == STDOUT_FILENO) {
                return;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// The thread has emptied the ring and is about to look at the flag or to fall asleep again when the last line comes.
TEST_F(LogTest, ALineThatComesWhenTheThreadHasJustEmptiedTheRingIsWritten) {
    constexpr int kRuns = 3000;
    for (int run = 0; run < kRuns; ++run) {
        std::remove(PresentPath().c_str());
        ASSERT_EQ(Open(), 1);
        Log(kPlain, "first");
        WaitUntilTaken();
        Log(kPlain, "last");
        CloseLog();
        ASSERT_EQ(Present(), std::string(kBanner) + "first\nlast\n");
    }
}

TEST_F(LogTest, AThreadThatDoesNotEndWithin2000MillisecondsIsForcedDownAndTheTextInTheRingIsLost) {
    LetCloseLogWait(false);
    m_console.reset();
    const FullPipe pipe;
    std::string meanwhile;
    {
        test_support::StdoutRedirect redirect(pipe.WritingEnd());
        ASSERT_EQ(Open(), 1);
        Log(kPlain, "first");
        // The write never ends, and neither would that of a failed check's message.
        WaitUntilAtStandardOutput();
        meanwhile = Present();
        Log(kPlain, "second");
        CloseLog();
        pipe.Empty();
    }
    EXPECT_EQ(meanwhile, std::string(kBanner) + "first\n");
    EXPECT_EQ(g_hLogThread, nullptr);
    EXPECT_EQ(g_pBuf, nullptr);
    EXPECT_EQ(Present(), std::string(kBanner) + "first\n");

    // Nothing of the thread's stays locked: file, standard output and the log itself work on.
    LetCloseLogWait(true);
    m_console.emplace();
    ASSERT_EQ(Open(), 1);
    Log(kPlain, "third");
    CloseLog();
    std::printf("and more\n");
    EXPECT_EQ(Present(), std::string(kBanner) + "first\n" + kBanner + "third\n");
    EXPECT_EQ(Console(), "third\nand more\n");
}

}  // namespace
