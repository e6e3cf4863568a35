#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "Faults.h"
#include "LogFixture.h"
#include "support/LogRecorder.h"

namespace {

constexpr char kUnreadable[] = "Cannot read config file";

// The log is closed; its name and folder stay known after a CloseLog.
class ReadLogTest : public LogTest {
protected:
    ReadLogTest() {
        Open();
        CloseLog();
        m_recorder.Clear();
    }
    ~ReadLogTest() override { std::free(m_block); }

    unsigned int Read(unsigned int reserve) { return ReadLog(&m_block, reserve); }

    // `count` bytes behind the reserve.
    std::string Text(unsigned int reserve, unsigned int count) const { return {m_block + reserve, count}; }

    test_support::LogRecorder m_recorder;
    char* m_block = nullptr;
};

TEST_F(ReadLogTest, GivesTheWholeFileAndATerminatingZero) {
    test_support::WriteFile(PresentPath(), "one\ntwo\n");
    ASSERT_EQ(Read(0), 9U);
    EXPECT_EQ(Text(0, 9), std::string("one\ntwo\n\0", 9));
    EXPECT_EQ(LatestRequest(), 9U);
}

TEST_F(ReadLogTest, KeepsTheReserveFreeAtTheStartOfTheBlock) {
    test_support::WriteFile(PresentPath(), "one\ntwo\n");
    ASSERT_EQ(Read(100), 9U);
    EXPECT_EQ(LatestRequest(), 109U);
    std::memset(m_block, 'r', 100);
    EXPECT_EQ(Text(100, 9), std::string("one\ntwo\n\0", 9));
}

TEST_F(ReadLogTest, ReadsTheFileAsBinary) {
    const std::string bytes("a\r\nb\0c\x1A\xFF\n", 9);
    test_support::WriteFile(PresentPath(), bytes);
    ASSERT_EQ(Read(3), 10U);
    EXPECT_EQ(Text(3, 10), bytes + '\0');
}

TEST_F(ReadLogTest, AnEmptyFileIsTheTerminatingZeroAlone) {
    test_support::WriteFile(PresentPath(), "");
    ASSERT_EQ(Read(5), 1U);
    EXPECT_EQ(Text(5, 1), std::string(1, '\0'));
}

TEST_F(ReadLogTest, ReadsALargeFile) {
    std::string bytes;
    while (bytes.size() < 5000000) {
        bytes += std::to_string(bytes.size()) + "\n";
    }
    test_support::WriteFile(PresentPath(), bytes);
    ASSERT_EQ(Read(0), bytes.size() + 1);
    EXPECT_TRUE(Text(0, static_cast<unsigned int>(bytes.size())) == bytes);
}

TEST_F(ReadLogTest, ReadsThePresentLogOfTheIndexThatWasOpened) {
    ASSERT_EQ(Open(2), 1);
    CloseLog();
    test_support::WriteFile(Folder() + "/Log2.txt", "second");
    ASSERT_EQ(Read(0), 7U);
    EXPECT_STREQ(m_block, "second");
}

TEST_F(LogTest, ReadLogWorksWhileTheLogIsOpen) {
    ASSERT_EQ(Open(), 1);
    Log(kPlain, "line");
    WaitUntilTaken();
    char* block = nullptr;
    EXPECT_EQ(ReadLog(&block, 0), std::strlen(kBanner) + 6);
    EXPECT_EQ(std::string(block), std::string(kBanner) + "line\n");
    std::free(block);
    CloseLog();
}

TEST_F(ReadLogTest, AFileThatCannotBeOpenedIsReportedWithTheFolderAndGivesNoBlock) {
    std::remove(PresentPath().c_str());
    EXPECT_EQ(Read(10), 0U);
    EXPECT_EQ(m_block, nullptr);
    const std::vector<test_support::LoggedMessage> messages = m_recorder.Messages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].level, LOG_LEVEL_ERROR);
    EXPECT_EQ(messages[0].text, "Config: Cannot open config file '" + Folder() + "/' (2)");
}

TEST_F(ReadLogTest, WithoutMemoryForTheFileItReportsSoAndGivesNoBlock) {
    test_support::WriteFile(PresentPath(), "one\ntwo\n");
    unsigned int result = 1;
    {
        const ShortMemory lack;
        result = Read(10);
    }
    EXPECT_EQ(result, 0U);
    EXPECT_EQ(m_block, nullptr);
    const std::vector<test_support::LoggedMessage> messages = m_recorder.Messages();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].level, LOG_LEVEL_ERROR);
    EXPECT_EQ(messages[0].text, "Config: Out of memory");
}

TEST_F(ReadLogTest, WhenFewerBytesThanTheSizeComeInATextStandsInForThem) {
    test_support::WriteFile(PresentPath(), std::string(100, 'x'));
    const ShortReads limit(99);
    ASSERT_EQ(Read(4), 101U);
    EXPECT_STREQ(m_block + 4, kUnreadable);
    EXPECT_EQ(m_recorder.Messages().size(), 0U);
}

TEST_F(ReadLogTest, TheStandInFitsABlockOfItsLengthExactly) {
    test_support::WriteFile(PresentPath(), std::string(sizeof kUnreadable - 1, 'x'));
    const ShortReads limit(0);
    ASSERT_EQ(Read(4), sizeof kUnreadable);
    EXPECT_STREQ(m_block + 4, kUnreadable);
}

TEST_F(ReadLogTest, TheStandInIsCutToWhatASmallBlockHolds) {
    test_support::WriteFile(PresentPath(), "12345");
    const ShortReads limit(0);
    ASSERT_EQ(Read(4), 6U);
    EXPECT_STREQ(m_block + 4, "Canno");
}

// A pipe in the file's place does not tell its size.
class UnknownSizeTest : public ReadLogTest {
protected:
    UnknownSizeTest() {
        std::remove(PresentPath().c_str());
        EXPECT_EQ(mkfifo(PresentPath().c_str(), 0600), 0);
        // Opening a pipe for reading waits for somebody who has it open for writing.
        m_pipe = open(PresentPath().c_str(), O_RDWR | O_CLOEXEC);
    }
    ~UnknownSizeTest() override { close(m_pipe); }

    int m_pipe;
};

TEST_F(UnknownSizeTest, ATextStandsInForTheFile) {
    ASSERT_EQ(Read(8), 257U);
    EXPECT_EQ(LatestRequest(), 8U + 257);
    EXPECT_STREQ(m_block + 8, kUnreadable);
    EXPECT_EQ(m_recorder.Messages().size(), 0U);
}

TEST_F(UnknownSizeTest, WithoutMemoryItReportsSoAndGivesNoBlock) {
    unsigned int result = 1;
    {
        const ShortMemory lack;
        result = Read(8);
    }
    EXPECT_EQ(result, 0U);
    EXPECT_EQ(m_block, nullptr);
    EXPECT_EQ(m_recorder.Texts(), std::vector<std::string>{"Config: Out of memory"});
}

}  // namespace
