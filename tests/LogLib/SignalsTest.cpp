// What the log does to the program around it: signals, descriptors, full disks.
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>

#include "LogFixture.h"
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

// As on a full disk: the first line ends where the room ended, and no byte of it comes out later.
TEST_F(LogTest, WhatAFullFileDoesNotTakeNeverComesOutLater) {
    EXPECT_TRUE(PassesInChild([this] {
        m_console.reset();
        const std::size_t room = std::strlen(kBanner) + 10;  // bytes that either output takes
        const std::string outputPath = m_root.File("output");
        const int output = open(outputPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        {
            const test_support::StdoutRedirect redirect(output);
            ASSERT_EQ(Open(), 1);
            {
                const FileSizeLimit limit(room);
                Log(kPlain, "the first line does not fit");
                WaitUntilTaken();
                Log(kPlain, "%s", std::string(50, 'x').c_str());
                WaitUntilTaken();
            }
            Log(kPlain, "after");
            WaitUntilTaken();
            CloseLog();
        }
        close(output);
        EXPECT_EQ(Present(), std::string(kBanner) + "the first after\n");
        const std::string first = "the first line does not fit\n";
        const std::string cut(room - first.size(), 'x');
        EXPECT_EQ(test_support::ReadFile(outputPath), first + cut + "after\n");
    }));
}

}  // namespace
