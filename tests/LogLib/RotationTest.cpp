#include <cstdio>
#include <filesystem>
#include <string>

#include "LogFixture.h"
#include "OsLayer.h"

namespace {

// The log has `bytes` bytes, and what is logged now counts from there.
class RotationTest : public LogTest {
protected:
    void OpenWith(std::size_t bytes, unsigned int index = 1) {
        m_earlier = std::string(bytes, 'x');
        test_support::WriteFile(index < 2 ? PresentPath() : Folder() + "/Log2.txt", m_earlier);
        ASSERT_EQ(Open(index), 1);
        ASSERT_EQ(g_llLogFileSize, static_cast<std::int64_t>(bytes));
    }

    // One chunk of its own.
    static void LogChunk(const char* text) {
        Log(kPlain, "%s", text);
        WaitUntilTaken();
    }

    std::string m_earlier;
};

TEST_F(RotationTest, AFileOf4194304BytesIsNotYetRotated) {
    OpenWith(kRotateAbove - 10);
    LogChunk("123456789");
    CloseLog();
    EXPECT_EQ(g_llLogFileSize, 4194304);
    EXPECT_TRUE(Present() == m_earlier + kBanner + "123456789\n");
    EXPECT_FALSE(test_support::Exists(PreviousPath()));
}

TEST_F(RotationTest, OneMoreByteRotatesItAfterTheChunkThatPassedTheLimit) {
    OpenWith(kRotateAbove - 10);
    LogChunk("123456789");
    LogChunk("");
    CloseLog();
    EXPECT_EQ(g_llLogFileSize, 0);
    EXPECT_TRUE(Previous() == m_earlier + kBanner + "123456789\n\n");
    EXPECT_EQ(Present(), "");
}

TEST_F(RotationTest, AFileCanEndALittleAboveTheLimit) {
    OpenWith(kRotateAbove);
    const std::string line(1023, 'y');
    LogChunk(line.c_str());
    CloseLog();
    EXPECT_TRUE(Previous() == m_earlier + kBanner + line + "\n");
    EXPECT_EQ(Present(), "");
}

TEST_F(RotationTest, TheNewFileStartsWithTheNextMessageWithoutABanner) {
    OpenWith(kRotateAbove);
    LogChunk("last");
    LogChunk("next");
    LogChunk("and another");
    CloseLog();
    EXPECT_TRUE(Previous() == m_earlier + kBanner + "last\n");
    EXPECT_EQ(Present(), "next\nand another\n");
    EXPECT_EQ(g_llLogFileSize, 17);
    EXPECT_EQ(Console(), "last\nnext\nand another\n");
}

TEST_F(RotationTest, WhatWasInThePreviousLogIsGone) {
    test_support::WriteFile(PreviousPath(), "two generations ago");
    OpenWith(kRotateAbove);
    LogChunk("last");
    CloseLog();
    EXPECT_TRUE(Previous() == m_earlier + kBanner + "last\n");
}

TEST_F(RotationTest, TheBannerDoesNotCountUntilTheNextRestart) {
    OpenWith(kRotateAbove - 5);
    LogChunk("1234");
    CloseLog();
    EXPECT_FALSE(test_support::Exists(PreviousPath()));
    const std::string first = Present();
    EXPECT_EQ(first.size(), kRotateAbove + std::string(kBanner).size());

    ASSERT_EQ(Open(), 1);
    EXPECT_EQ(g_llLogFileSize, static_cast<std::int64_t>(first.size()));
    LogChunk("5");
    CloseLog();
    EXPECT_TRUE(Previous() == first + kBanner + "5\n");
    EXPECT_EQ(Present(), "");
}

TEST_F(RotationTest, OpeningALogAboveTheLimitDoesNotRotateBeforeAMessageComes) {
    OpenWith(kRotateAbove + 1);
    CloseLog();
    EXPECT_TRUE(Present() == m_earlier + kBanner);
    EXPECT_FALSE(test_support::Exists(PreviousPath()));
}

TEST_F(RotationTest, WithIndex2TheFilesAreLog2) {
    OpenWith(kRotateAbove, 2);
    LogChunk("last");
    LogChunk("next");
    CloseLog();
    EXPECT_TRUE(test_support::ReadFile(Folder() + "/Log2.old") == m_earlier + kBanner + "last\n");
    EXPECT_EQ(test_support::ReadFile(Folder() + "/Log2.txt"), "next\n");
}

TEST_F(RotationTest, APresentLogThatCannotBeMovedIsWrittenAnew) {
    // A folder with something in it can neither be removed nor renamed over.
    m_root.MakeDir("log/Log.old/full");
    OpenWith(kRotateAbove);
    LogChunk("last");
    LogChunk("next");
    CloseLog();
    EXPECT_EQ(Present(), "next\n");
    EXPECT_TRUE(test_support::Exists(Folder() + "/Log.old/full"));
}

TEST_F(RotationTest, ItGoesOnOverSeveralGenerations) {
    ASSERT_EQ(Open(), 1);
    const std::string line(1022, 'z');
    // 4096 chunks of 1024 bytes are on the limit, the next one is above.
    for (int i = 0; i < 2 * 4097 + 1; ++i) {
        LogChunk((line + static_cast<char>('0' + i % 10)).c_str());
    }
    CloseLog();
    const std::string previous = Previous();
    EXPECT_EQ(previous.size(), 4097U * 1024);
    EXPECT_EQ(previous.substr(1022, 2), "7\n");  // of message 4097
    EXPECT_EQ(Present(), line + "4\n");
}

// The folder goes away under the log, so that no new file can be opened.
class FailedRotationTest : public RotationTest {
protected:
    void Fail() {
        OpenWith(kRotateAbove);
        std::filesystem::remove_all(Folder());
        Log(kPlain, "last");
        ASSERT_NE(OS_WaitForThreadToFinishWithTimeout(g_hLogThread, OS_INFINITE), 0);
    }

    std::string Expected() const { return "last\nCannot create log file " + PresentPath() + " (2)\n"; }
};

TEST_F(FailedRotationTest, IsReportedAndEndsTheThread) {
    Fail();
    EXPECT_EQ(Console(), Expected());
    EXPECT_EQ(g_hLogFile, nullptr);
    EXPECT_NE(g_pBuf, nullptr);
    CloseLog();
    EXPECT_EQ(g_pBuf, nullptr);
    EXPECT_EQ(g_hLogThread, nullptr);
}

TEST_F(FailedRotationTest, ThenMessagesFillTheRingAndAreDroppedAndCloseLogBehavesAsUsual) {
    Fail();
    const std::string line(1023, 'f');
    for (int i = 0; i < 15; ++i) {
        Log(kPlain, "%s", line.c_str());
    }
    EXPECT_EQ(g_ullLogBufWr - g_ullLogBufRd, 15U * 1024);
    for (int i = 0; i < 5; ++i) {
        Log(kPlain, "%s", line.c_str());
    }
    // The sixteenth was cut by one byte, the next found the last byte free and was cut to its line feed.
    EXPECT_EQ(g_ullLogBufWr - g_ullLogBufRd, kRingSize);
    const std::uint64_t full = g_ullLogBufWr;
    Log(LOG_LEVEL_ERROR, "dropped");
    EXPECT_EQ(g_ullLogBufWr, full);
    CloseLog();
    EXPECT_EQ(Console(), Expected());
    EXPECT_FALSE(test_support::Exists(Folder()));
}

TEST_F(FailedRotationTest, TheLogCanBeOpenedAgainAfterIt) {
    Fail();
    CloseLog();
    m_root.MakeDir("log");
    ASSERT_EQ(Open(), 1);
    Log(kPlain, "again");
    CloseLog();
    EXPECT_EQ(Present(), std::string(kBanner) + "again\n");
}

}  // namespace
