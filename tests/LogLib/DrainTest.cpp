// What the log thread does with the ring's contents.
#include <sys/types.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "LogFixture.h"
#include "OsLayer.h"

namespace {

// Each write that left a stream, with the stream's name, in order.
using Writes = std::vector<std::pair<char, std::string>>;

struct RecordedStream {
    char name;
    Writes* writes;
    char buffer[2 * kRingSize];  // holds more than the ring: a write leaves only when the stream is flushed
};

ssize_t RecordWrite(void* cookie, const char* bytes, std::size_t count) {
    const auto& stream = *static_cast<RecordedStream*>(cookie);
    stream.writes->emplace_back(stream.name, std::string(bytes, count));
    return static_cast<ssize_t>(count);
}

std::FILE* OpenRecorded(RecordedStream& stream) {
    cookie_io_functions_t functions{};
    functions.write = RecordWrite;
    std::FILE* file = fopencookie(&stream, "w", functions);
    std::setvbuf(file, stream.buffer, _IOFBF, sizeof stream.buffer);
    return file;
}

class RecordedRingTest : public RingTest {
protected:
    RecordedRingTest() {
        std::fclose(g_hLogFile);
        g_hLogFile = OpenRecorded(m_file);
        g_hLogConsole = OpenRecorded(m_other);
    }
    // The streams go while what they write to is there.
    ~RecordedRingTest() override {
        std::fclose(g_hLogFile);
        g_hLogFile = nullptr;
        std::fclose(g_hLogConsole);
    }

    Writes m_writes;
    RecordedStream m_file{'f', &m_writes, {}};
    RecordedStream m_other{'c', &m_writes, {}};
};

TEST_F(RecordedRingTest, AChunkGoesToTheFileFirstAndThenToTheConsoleEachFlushed) {
    LogFunc(kPlain, "one");
    LogFunc(kPlain, "two");
    Drain();
    EXPECT_EQ(m_writes, (Writes{{'f', "one\ntwo\n"}, {'c', "one\ntwo\n"}}));
    EXPECT_EQ(g_ullLogBufRd, 8U);
    EXPECT_EQ(g_llLogFileSize, 8);
}

TEST_F(RecordedRingTest, ARunOfTextAcrossTheEndOfTheRingReachesTheFileInOrderInTwoWrites) {
    FillUpTo(kRingSize, 5 * kRingSize - 6);
    LogFunc(kPlain, "abcdefghij");
    Drain();
    EXPECT_EQ(m_writes, (Writes{{'f', "abcdef"}, {'c', "abcdef"}, {'f', "ghij\n"}, {'c', "ghij\n"}}));
    EXPECT_EQ(g_llLogFileSize, 11);
}

TEST_F(RecordedRingTest, ARunThatEndsAtTheEndOfTheRingIsOneWrite) {
    FillUpTo(kRingSize, 5 * kRingSize - 6);
    LogFunc(kPlain, "abcde");
    Drain();
    EXPECT_EQ(m_writes, (Writes{{'f', "abcde\n"}, {'c', "abcde\n"}}));
}

TEST_F(RecordedRingTest, AFullRingIsWrittenWholeBeforeTheThreadEnds) {
    FillUpTo(2, kRingSize + 100);
    LogFunc(kPlain, "last");
    Drain();
    const std::string first(kRingSize - 100, '.');
    const std::string second = std::string(98, '.') + "\n";
    EXPECT_EQ(m_writes, (Writes{{'f', first}, {'c', first}, {'f', second}, {'c', second}}));
}

TEST_F(RecordedRingTest, TheThreadWithAnEmptyRingAndTheFlagSetWritesNothingAndEndsWithNull) {
    Drain();
    EXPECT_EQ(m_writes, Writes{});
}

TEST_F(RecordedRingTest, CountersBeyond32BitsKeepTheirPlace) {
    FillUpTo(kRingSize, (std::uint64_t{1} << 32) - 2);
    LogFunc(kPlain, "abcd");
    Drain();
    EXPECT_EQ(m_writes, (Writes{{'f', "ab"}, {'c', "ab"}, {'f', "cd\n"}, {'c', "cd\n"}}));
    EXPECT_EQ(g_ullLogBufRd, (std::uint64_t{1} << 32) + 3);
}

// A stream that never takes anything.
std::FILE* OpenFull() {
    return std::fopen("/dev/full", "w");
}

TEST_F(RecordedRingTest, WhenTheFileTakesNothingTheBytesCountAsWrittenAndTheConsoleHasThem) {
    std::fclose(g_hLogFile);
    g_hLogFile = OpenFull();
    LogFunc(kPlain, "text");
    Drain();
    EXPECT_EQ(m_writes, (Writes{{'c', "text\n"}}));
    EXPECT_EQ(g_ullLogBufRd, 5U);
    EXPECT_EQ(g_llLogFileSize, 5);
}

TEST_F(RecordedRingTest, WhenTheConsoleTakesNothingTheFileHasTheText) {
    std::fclose(g_hLogConsole);
    g_hLogConsole = OpenFull();
    LogFunc(kPlain, "text");
    Drain();
    EXPECT_EQ(m_writes, (Writes{{'f', "text\n"}}));
    EXPECT_EQ(g_ullLogBufRd, 5U);
}

TEST_F(LogTest, SeveralMessagesBeforeTheThreadWakesAreAllWritten) {
    ASSERT_EQ(Open(), 1);
    std::string expected;
    for (int i = 0; i < 100; ++i) {
        Log(kPlain, "line %d", i);
        expected += "line " + std::to_string(i) + "\n";
    }
    WaitUntilTaken();
    EXPECT_EQ(Present(), kBanner + expected);
    EXPECT_EQ(Console(), expected);
    CloseLog();
}

TEST_F(LogTest, TheThreadGoesBackToWaitingWithTheRingEmpty) {
    ASSERT_EQ(Open(), 1);
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        Log(kPlain, "line %d", i);
        expected += "line " + std::to_string(i) + "\n";
        WaitUntilTaken();
    }
    EXPECT_EQ(Present(), kBanner + expected);
    CloseLog();
}

// The event may be set with nothing in the ring: a message that came while the thread was draining was taken already.
TEST_F(LogTest, AWakeWithAnEmptyRingWritesNothing) {
    ASSERT_EQ(Open(), 1);
    for (int i = 0; i < 100; ++i) {
        OS_SetEvent(g_hLogEvent);
    }
    Log(kPlain, "line");
    CloseLog();
    EXPECT_EQ(Present(), std::string(kBanner) + "line\n");
}

}  // namespace
