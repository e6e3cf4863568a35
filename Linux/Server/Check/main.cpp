// vesmara-check: what the readers find in the two configuration files, and what "Apply" would make of them. The work is
// done in a child, so that an interruption, too, finds the folder of its own in this process and removes it.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <string>

#include "Check.h"
#include "OpenFile.h"
#include "Options.h"
#include "PrivateFolder.h"
#include "Report.h"
#include "Worker.h"

namespace {

constexpr int kNotChecked = 3;

// A file that is opened later must not become a standard stream by chance.
void FillStandardStreams() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            if (descriptor == STDOUT_FILENO) {
                throw NotChecked{"the standard output is closed"};
            }
            (void)open("/dev/null", O_RDONLY);
        }
    }
}

std::string Output(const Options& options, const Report& report) {
    if (options.json) {
        return JsonOf(report);
    }
    return options.quiet ? LastLineOf(report) : TextOf(report);
}

// In the child: the text is the output, or the sentence that says why there is none.
int CheckInChild(const Options& options, const std::string& folder, std::string& text) {
    try {
        const Report report = RunCheck(options, folder);
        text = Output(options, report);
        return static_cast<int>(report.GetVerdict());
    } catch (const NotChecked& reason) {
        text = reason.sentence;
    } catch (const std::exception& error) {
        text = std::string("the check failed (") + error.what() + ")";
    }
    return kNotChecked;
}

WorkerResult CheckInOwnFolder(const Options& options, const SignalsHeld& held) {
    const PrivateFolder folder;
    return RunWorker(held, [&](std::string& text) { return CheckInChild(options, folder.Path(), text); });
}

// Ends this process as the signal would have done at once.
[[noreturn]] void DieBy(int signal) {
    std::signal(signal, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
    raise(signal);
    _exit(128 + signal);
}

void PrintAll(const std::string& text) {
    if (!WriteAll(STDOUT_FILENO, text.data(), text.size()) || close(STDOUT_FILENO) != 0) {
        throw NotChecked{std::string("the standard output takes no text (") + std::strerror(errno) + ")"};
    }
}

// Where that fails there is nobody left to tell.
void PrintError(const std::string& sentence) {
    const std::string line = "vesmara-check: " + sentence + "\n";
    (void)WriteAll(STDERR_FILENO, line.data(), line.size());
}

int RunAndPrint(const Options& options) {
    WorkerResult result;
    {
        const SignalsHeld held;
        result = CheckInOwnFolder(options, held);
        if (result.signal != 0) {
            DieBy(result.signal);
        }
    }
    if (result.status == kNotChecked) {
        throw NotChecked{result.text};
    }
    if (result.status > kNotChecked) {
        throw NotChecked{"the check ended by itself with status " + std::to_string(result.status)};
    }
    PrintAll(result.text);
    return result.status;
}

int Run(int count, const char* const* arguments) {
    FillStandardStreams();
    const Options options = ParseOptions(count, arguments);
    switch (options.action) {
        case Options::Action::Help:
            PrintAll(HelpText());
            return 0;
        case Options::Action::Version:
            PrintAll(VersionText());
            return 0;
        case Options::Action::Check:
            break;
    }
    return RunAndPrint(options);
}

}  // namespace

int main(int count, char** arguments) {
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return Run(count, arguments);
    } catch (const NotChecked& reason) {
        PrintError(reason.sentence);
    } catch (const std::exception& error) {
        PrintError(std::string("the check failed (") + error.what() + ")");
    }
    return kNotChecked;
}
