// What the tests of the log stand on.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Log.h"
#include "support/Files.h"
#include "support/StdoutCapture.h"

// A level without a prefix; the program itself has only LOG_LEVEL_ERROR.
constexpr LOG_LEVEL kPlain = static_cast<LOG_LEVEL>(2);

constexpr std::uint64_t kRingSize = 16384;
constexpr std::size_t kRotateAbove = 4194304;

// The banner of the time that the fixture sets: 9:03 on 5 March 2026.
constexpr char kBanner[] = "\n\n-----   09:03   5/3/2026   -----\n\n";

// A program data path of its own with the folder "log" in it, a fixed time, a caught standard output. At its end no
// file may be open that was not open before.
class LogTest : public testing::Test {
protected:
    LogTest();
    ~LogTest() override;

    int Open(unsigned int index = 1) { return OpenLog("/log/", index); }

    std::string Folder() const { return m_root.File("log"); }
    std::string PresentPath() const { return m_root.File("log/Log.txt"); }
    std::string PreviousPath() const { return m_root.File("log/Log.old"); }
    std::string Present() const { return test_support::ReadFile(PresentPath()); }
    std::string Previous() const { return test_support::ReadFile(PreviousPath()); }

    // What reached the standard output so far.
    std::string Console() const { return m_console->Text(); }

    // Returns when the log thread has taken all text out of the ring: file and standard output have it.
    static void WaitUntilTaken();

    test_support::TempDir m_root;
    std::optional<test_support::StdoutCapture> m_console;

private:
    std::ptrdiff_t m_openFiles;
};

// The ring as OpenLog makes it, without a thread: texts stay in it until Drain, which runs the thread's body on the
// test's own thread.
class RingTest : public LogTest {
protected:
    RingTest();
    ~RingTest() override;

    // The ring holds all but `space` bytes, dots, the oldest of them at position `start` of the total count.
    void FillUpTo(std::uint64_t space, std::uint64_t start = 0);

    // Text in the ring, oldest first.
    static std::string Contents();

    // Takes all text to the outputs as the log thread does before it ends.
    static void Drain();
};

// A pipe whose buffer is full and that nobody reads: a write to it does not return. A program that is started does not
// inherit it.
class FullPipe {
public:
    FullPipe();
    ~FullPipe();
    FullPipe(const FullPipe&) = delete;
    FullPipe& operator=(const FullPipe&) = delete;

    int WritingEnd() const { return m_ends[1]; }

    // Takes out what is in it, so that a write returns.
    void Empty() const;

private:
    int m_ends[2] = {-1, -1};
};
