#include "Worker.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "Descriptor.h"
#include "OpenFile.h"
#include "Report.h"

namespace {

constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

[[noreturn]] void Fail(const char* what) {
    throw NotChecked{std::string("no process for the check: ") + what + " failed (" + std::strerror(errno) + ")"};
}

// A child of this process that does not outlive it.
pid_t Fork() {
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        Fail("fork");
    }
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) {
            _exit(3);
        }
    }
    return child;
}

int WaitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            Fail("waitpid");
        }
    }
    return status;
}

// Appends what can be read; false at the end.
bool ReadSome(int file, std::string& text) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(file, buffer.data(), buffer.size());
    if (count > 0) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return count > 0 || (count < 0 && errno == EINTR);
}

// Reads to the end of the pipe; returns the signal that came in first, 0 for none.
int ReadUnlessSignalled(int pipe, int signals, std::string& text) {
    for (;;) {
        std::array<pollfd, 2> files = {pollfd{signals, POLLIN, 0}, pollfd{pipe, POLLIN, 0}};
        if (poll(files.data(), files.size(), -1) < 0 && errno != EINTR) {
            Fail("poll");
        }
        signalfd_siginfo info{};
        if ((files[0].revents & POLLIN) != 0 && read(signals, &info, sizeof info) == sizeof info) {
            return static_cast<int>(info.ssi_signo);
        }
        if (files[1].revents != 0 && !ReadSome(pipe, text)) {
            return 0;
        }
    }
}

void MakePipe(int (&ends)[2]) {
    if (pipe2(ends, O_CLOEXEC) != 0) {
        Fail("pipe");
    }
}

int StatusOf(int waited) {
    return WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited);
}

[[noreturn]] void BecomeProgram(const char* const* arguments, int output) {
    const char* const environment[] = {"LC_ALL=C", nullptr};
    if (dup2(output, STDOUT_FILENO) >= 0) {
        execve(arguments[0], const_cast<char* const*>(arguments), const_cast<char* const*>(environment));
    }
    _exit(127);
}

}  // namespace

SignalsHeld::SignalsHeld() {
    sigemptyset(&m_held);
    for (const int number : kEndingSignals) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
            sigaddset(&m_held, number);
        }
    }
    sigprocmask(SIG_BLOCK, &m_held, &m_before);
}

SignalsHeld::~SignalsHeld() {
    sigprocmask(SIG_SETMASK, &m_before, nullptr);
}

WorkerResult RunWorker(const SignalsHeld& held, const std::function<int(std::string& text)>& work) {
    int ends[2];
    MakePipe(ends);
    Descriptor readEnd(ends[0]);
    Descriptor writeEnd(ends[1]);
    const Descriptor signals(signalfd(-1, &held.Set(), SFD_CLOEXEC));
    if (signals.Number() < 0) {
        Fail("signalfd");
    }
    const pid_t child = Fork();
    if (child == 0) {
        std::string text;
        const int status = work(text);
        // Where this fails the reader is gone, and this process with it.
        (void)WriteAll(writeEnd.Number(), text.data(), text.size());
        _exit(status);
    }
    writeEnd.Close();
    WorkerResult result;
    result.signal = ReadUnlessSignalled(readEnd.Number(), signals.Number(), result.text);
    if (result.signal != 0) {
        kill(child, SIGKILL);
    }
    result.status = StatusOf(WaitFor(child));
    return result;
}

bool Aborts(const std::function<void()>& probe) {
    const pid_t child = Fork();
    if (child == 0) {
        // An abort leaves no core file behind.
        prctl(PR_SET_DUMPABLE, 0);
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_CORE, &none);
        probe();
        _exit(0);
    }
    const int status = StatusOf(WaitFor(child));
    if (status != 0 && status != 128 + SIGABRT) {
        throw NotChecked{"the check ended by itself with status " + std::to_string(status)};
    }
    return status != 0;
}

std::string RunProgram(const char* const* arguments, int& status) {
    int ends[2];
    MakePipe(ends);
    Descriptor readEnd(ends[0]);
    Descriptor writeEnd(ends[1]);
    const pid_t child = Fork();
    if (child == 0) {
        BecomeProgram(arguments, writeEnd.Number());
    }
    writeEnd.Close();
    std::string text;
    while (ReadSome(readEnd.Number(), text)) {
    }
    status = StatusOf(WaitFor(child));
    if (status == 127) {
        throw NotChecked{std::string("'") + arguments[0] + "' cannot be run"};
    }
    return text;
}
