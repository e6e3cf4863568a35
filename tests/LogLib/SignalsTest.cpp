// What the log does to the program around it: signals, descriptors, full disks.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "LogFixture.h"
#include "OsLayer.h"
#include "support/Child.h"

namespace {

using test_support::PassesInChild;

bool SameSignals(const sigset_t& a, const sigset_t& b) {
    for (int number = 1; number < NSIG; ++number) {
        if (sigismember(&a, number) != sigismember(&b, number)) {
            return false;
        }
    }
    return true;
}

TEST_F(LogTest, OpeningLeavesTheCallersSignalMaskAndDispositionsAlone) {
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    struct sigaction pipeBefore {};
    struct sigaction pipeAfter {};
    sigaction(SIGPIPE, nullptr, &pipeBefore);
    ASSERT_EQ(Open(), 1);
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    sigaction(SIGPIPE, nullptr, &pipeAfter);
    EXPECT_TRUE(SameSignals(before, after));
    EXPECT_EQ(pipeBefore.sa_handler, pipeAfter.sa_handler);
    CloseLog();
}

// The kernel gives a signal for the process to any thread that does not block it. With the caller blocking it, it must
// stay pending: the log thread does not take it.
TEST_F(LogTest, ASignalOfTheProgramsNeverLandsOnTheLogThread) {
    EXPECT_TRUE(PassesInChild([this] {
        ASSERT_EQ(Open(), 1);
        sigset_t own;
        sigemptyset(&own);
        for (const int number : {SIGUSR1, SIGUSR2, SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGALRM, SIGWINCH, SIGRTMIN}) {
            sigaddset(&own, number);
        }
        pthread_sigmask(SIG_BLOCK, &own, nullptr);
        for (const int number : {SIGUSR1, SIGUSR2, SIGTERM, SIGINT, SIGHUP, SIGCHLD, SIGALRM, SIGWINCH, SIGRTMIN}) {
            kill(getpid(), number);
            Log(kPlain, "signal %d", number);
            WaitUntilTaken();
            const timespec noWait{0, 0};
            EXPECT_EQ(sigtimedwait(&own, nullptr, &noWait), number) << strsignal(number);
        }
        CloseLog();
    }));
}

TEST_F(LogTest, TheFileIsNotHandedOnToAProgramThatIsStarted) {
    ASSERT_EQ(Open(), 1);
    EXPECT_NE(fcntl(fileno(g_hLogFile), F_GETFD) & FD_CLOEXEC, 0);
    CloseLog();
}

class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit = {bytes, m_before.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_before); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_before{};
};

constexpr int kLines = 12;
constexpr std::size_t kLineLength =
    600;  // bytes; all lines together are more than a stream's buffer, less than the ring

// Twelve long lines, and whether a text has any byte of them.
std::string LongLines() {
    std::string lines;
    for (int line = 0; line < kLines; ++line) {
        lines += std::string(kLineLength, static_cast<char>('a' + line)) + "\n";
    }
    return lines;
}

void LogLongLines() {
    for (int line = 0; line < kLines; ++line) {
        Log(kPlain, "%s", std::string(kLineLength, static_cast<char>('a' + line)).c_str());
    }
}

// As on a full disk: a line ends where the room ended, and no byte of the rest comes out later.
TEST_F(LogTest, WhatAFullFileDoesNotTakeNeverComesOutLater) {
    EXPECT_TRUE(PassesInChild([this] {
        m_console.reset();
        const FullPipe pipe;
        const test_support::StdoutRedirect redirect(pipe.WritingEnd());
        ASSERT_EQ(Open(), 1);
        Log(kPlain, "first");  // the thread is held at the standard output, and the lines gather in the ring
        LogLongLines();
        {
            const FileSizeLimit limit(std::strlen(kBanner) + std::strlen("first\n") + 1000);
            pipe.Empty();
            WaitUntilTaken();
        }
        Log(kPlain, "after");
        WaitUntilTaken();
        CloseLog();
        pipe.Empty();
        EXPECT_EQ(Present(), kBanner + ("first\n" + LongLines().substr(0, 1000)) + "after\n");
    }));
}

TEST_F(LogTest, WhatAFullStandardOutputDoesNotTakeNeverComesOutLater) {
    EXPECT_TRUE(PassesInChild([this] {
        m_console.reset();
        const std::string path = m_root.File("output");
        const int output = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        {
            const test_support::StdoutRedirect redirect(output);
            ASSERT_EQ(Open(), 1);
            const FullPipe pipe;
            ASSERT_GE(dup2(pipe.WritingEnd(), fileno(g_hLogFile)), 0);
            Log(kPlain, "first");  // the thread is held at the file
            LogLongLines();
            {
                const FileSizeLimit limit(std::strlen("first\n") + 1000);
                pipe.Empty();
                WaitUntilTaken();
            }
            Log(kPlain, "after");
            WaitUntilTaken();
            CloseLog();
        }
        close(output);
        EXPECT_EQ(test_support::ReadFile(path), "first\n" + LongLines().substr(0, 1000) + "after\n");
    }));
}

// Whether nobody holds the stream's lock.
bool IsFree(std::FILE* stream) {
    if (ftrylockfile(stream) != 0) {
        return false;
    }
    funlockfile(stream);
    return true;
}

// Ends the log thread while it writes as fast as it can, most of the time somewhere inside stdio.
void EndBusyLogThread(std::uint64_t bytes) {
    std::atomic<bool> goOn{true};
    std::thread feeder([&goOn] {
        while (goOn) {
            Log(kPlain, "x");
        }
    });
    while (g_ullLogBufRd < bytes) {
        std::this_thread::yield();
    }
    OS_TerminateThread(g_hLogThread);
    goOn = false;
    feeder.join();
}

TEST_F(LogTest, AForcedEndLeavesNoStreamLocked) {
    m_console.reset();
    const int sink = open("/dev/null", O_WRONLY | O_CLOEXEC);
    test_support::StdoutRedirect redirect(sink);
    constexpr int kRounds = 100;
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
        // In a child each: only CloseLog itself can let the outputs be used again after a forced end.
        EXPECT_TRUE(PassesInChild([this, round] {
            ASSERT_EQ(Open(), 1);
            EndBusyLogThread(1000 + static_cast<std::uint64_t>(round) * 7);
            EXPECT_TRUE(IsFree(g_hLogFile));
            EXPECT_TRUE(IsFree(g_hLogConsole));
            _exit(HasFailure() ? 1 : 0);
        }));
    }
    redirect.End();
    close(sink);
    m_console.emplace();
}

}  // namespace
