#include "LogFixture.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Faults.h"
#include "OsLayer.h"
#include "support/DataPath.h"
#include "support/Threads.h"

namespace {

std::ptrdiff_t OpenFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// Whether the log thread has ended or is asleep for the event.
bool LogThreadIsIdle() {
    if (OS_WaitForThreadToFinishWithTimeout(g_hLogThread, 0) != 0) {
        return true;
    }
    const std::vector<int> others = test_support::OtherThreads();
    return std::any_of(others.begin(), others.end(), [](int thread) {
        const auto call = test_support::BlockedIn(thread);
        return call && call->number == SYS_futex && call->argument == reinterpret_cast<std::uintptr_t>(g_hLogEvent);
    });
}

}  // namespace

LogTest::LogTest() : m_console(std::in_place), m_openFiles(OpenFiles()) {
    g_hLogFile = nullptr;  // an earlier test's CloseLog left it set
    m_root.MakeDir("log");
    test_support::SetProgramDataPath(m_root.Path());
    setenv("TZ", "UTC0", 1);
    tzset();
    SetClock(1772701431);  // 2026-03-05 09:03:51 UTC
    LetCloseLogWait(true);
}

LogTest::~LogTest() {
    EXPECT_EQ(OpenFiles(), m_openFiles);
    SetClock(0);
    LetCloseLogWait(false);
}

void LogTest::WaitUntilTaken() {
    // At first without sleeping: some tests want to go on at once. Then the processor is left to the log thread.
    const auto patience = std::chrono::steady_clock::now() + std::chrono::microseconds(200);
    while (g_ullLogBufRd != g_ullLogBufWr && std::chrono::steady_clock::now() < patience) {
        std::this_thread::yield();
    }
    while (g_ullLogBufRd != g_ullLogBufWr) {
        if (LogThreadIsIdle() && g_ullLogBufRd != g_ullLogBufWr) {
            throw std::runtime_error("the log thread leaves text in the ring");
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

RingTest::RingTest() {
    g_LogLevel = static_cast<LOG_LEVEL>(0);
    g_ullLogBufEntries = kRingSize;
    g_ullLogBufMask = kRingSize - 1;
    g_ullLogBufWr = 0;
    g_ullLogBufRd = 0;
    g_llLogFileSize = 0;
    g_bTerminateLog = false;
    g_pBuf = static_cast<char*>(std::malloc(kRingSize));
    OS_InitializeGuardedCodeSection(&gsLog);
    g_hLogEvent = OS_CreateAutoEvent(0);
    std::snprintf(g_szConfigPath, sizeof g_szConfigPath, "%s/", Folder().c_str());
    std::snprintf(g_szLogFileName, sizeof g_szLogFileName, "Log");
    g_hLogFile = std::fopen(PresentPath().c_str(), "a");
    g_hLogConsole = stdout;
}

RingTest::~RingTest() {
    CloseLog();
}

void RingTest::FillUpTo(std::uint64_t space, std::uint64_t start) {
    std::memset(g_pBuf, '.', kRingSize);
    g_ullLogBufRd = start;
    g_ullLogBufWr = start + kRingSize - space;
}

std::string RingTest::Contents() {
    std::string text;
    for (std::uint64_t at = g_ullLogBufRd; at != g_ullLogBufWr; ++at) {
        text += g_pBuf[at & g_ullLogBufMask];
    }
    return text;
}

void RingTest::Drain() {
    g_bTerminateLog = true;
    OS_SetEvent(g_hLogEvent);
    EXPECT_EQ(LogThreadProc(g_pBuf), nullptr);
}

FullPipe::FullPipe() {
    EXPECT_EQ(pipe2(m_ends, O_CLOEXEC | O_NONBLOCK), 0);
    const char block[4096] = {};
    while (write(m_ends[1], block, sizeof block) > 0) {
    }
    fcntl(m_ends[1], F_SETFL, 0);
}

FullPipe::~FullPipe() {
    close(m_ends[0]);
    close(m_ends[1]);
}

void FullPipe::Empty() const {
    char block[4096];
    while (read(m_ends[0], block, sizeof block) > 0) {
    }
}
