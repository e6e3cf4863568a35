// Several threads that log at once.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "LogFixture.h"
#include "support/Lines.h"

namespace {

constexpr unsigned int kWriters = 4;

// Line `number` of a writer; lengths differ so that lines meet the ring's end at all places.
std::string LineOf(unsigned int writer, unsigned int number) {
    char text[64];
    std::snprintf(text, sizeof text, "%u:%06u:", writer, number);
    return text + std::string(number % 31, static_cast<char>('A' + writer));
}

std::uint64_t FreeBytes() {
    return kRingSize + g_ullLogBufRd - g_ullLogBufWr;
}

// Room for a line of each writer: none of them makes the others' room too small between look and line.
void HoldBack() {
    while (FreeBytes() < kWriters * 64) {
        std::this_thread::sleep_for(std::chrono::microseconds(50));  // leaves the processor to the log thread
    }
}

template <typename Body>
void RunWriters(Body body) {
    std::vector<std::thread> threads;
    for (unsigned int writer = 0; writer < kWriters; ++writer) {
        threads.emplace_back(body, writer);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST_F(LogTest, FourWritersOf200000LinesLoseNothingAndTearNoLine) {
    constexpr unsigned int kLines = 50000;
    ASSERT_EQ(Open(), 1);
    RunWriters([](unsigned int writer) {
        for (unsigned int number = 0; number < kLines; ++number) {
            HoldBack();
            Log(kPlain, "%s", LineOf(writer, number).c_str());
        }
    });
    CloseLog();

    const std::string console = Console();
    std::vector<unsigned int> next(kWriters, 0);
    for (const std::string& line : test_support::Lines(console)) {
        const auto writer = static_cast<unsigned int>(line.at(0) - '0');
        ASSERT_LT(writer, kWriters) << line;
        ASSERT_EQ(line, LineOf(writer, next[writer]));
        ++next[writer];
    }
    EXPECT_EQ(next, std::vector<unsigned int>(kWriters, kLines));
    // More than one file's worth and less than two: both generations together are all of it.
    EXPECT_TRUE(Previous() + Present() == kBanner + console);
}

TEST_F(LogTest, WritersThatDoNotHoldBackLoseLinesButTearNone) {
    constexpr unsigned int kLines = 20000;
    ASSERT_EQ(Open(), 1);
    RunWriters([](unsigned int writer) {
        for (unsigned int number = 0; number < kLines; ++number) {
            Log(kPlain, "%s", LineOf(writer, number).c_str());
        }
    });
    CloseLog();

    std::vector<unsigned int> next(kWriters, 0);
    for (const std::string& line : test_support::Lines(Console())) {
        // Writer and number are in the first 9 characters; a line that was cut before has neither.
        if (line.size() < 9) {
            continue;
        }
        const auto writer = static_cast<unsigned int>(line[0] - '0');
        ASSERT_LT(writer, kWriters) << line;
        const auto number = static_cast<unsigned int>(std::stoul(line.substr(2, 6)));
        ASSERT_GE(number, next[writer]) << line;
        ASSERT_LT(number, kLines) << line;
        ASSERT_EQ(line, LineOf(writer, number).substr(0, line.size()));
        next[writer] = number + 1;
    }
    EXPECT_TRUE(Present() == kBanner + Console());
}

// More writers than the ring has bytes for, and nobody takes any out: what is in never passes the ring's size.
TEST_F(RingTest, WritersThatMeetAtTheEndOfTheRingDoNotOverrunIt) {
    for (int run = 0; run < 200; ++run) {
        FillUpTo(60, static_cast<std::uint64_t>(run) * 1000);
        const std::string before = Contents();
        RunWriters([](unsigned int writer) {
            for (unsigned int number = 0; number < 5; ++number) {
                Log(kPlain, "%s", LineOf(writer, number + 10).c_str());
            }
        });
        ASSERT_LE(g_ullLogBufWr - g_ullLogBufRd, kRingSize);
        ASSERT_EQ(Contents().substr(0, before.size()), before);
    }
}

}  // namespace
