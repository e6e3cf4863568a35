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
#include "Options.h"
#include "PrivateFolder.h"
#include "Report.h"
#include "Worker.h"

namespace {

constexpr int kNotChecked = 3;

std::string NotCheckedLine(const std::string& sentence) {
    return "vesmara-check: " + sentence + "\n";
}

// False when the descriptor does not take the whole text.
bool WriteText(int descriptor, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(descriptor, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return true;
}

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
    if (!WriteText(STDOUT_FILENO, result.text) || close(STDOUT_FILENO) != 0) {
        throw NotChecked{std::string("the standard output takes no text (") + std::strerror(errno) + ")"};
    }
    return result.status;
}

int PrintAndEnd(const std::string& text) {
    if (!WriteText(STDOUT_FILENO, text) || close(STDOUT_FILENO) != 0) {
        throw NotChecked{std::string("the standard output takes no text (") + std::strerror(errno) + ")"};
    }
    return 0;
}

int Run(int count, const char* const* arguments) {
    FillStandardStreams();
    const Options options = ParseOptions(count, arguments);
    switch (options.action) {
        case Options::Action::Help:
            return PrintAndEnd(HelpText());
        case Options::Action::Version:
            return PrintAndEnd(VersionText());
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
        (void)WriteText(STDERR_FILENO, NotCheckedLine(reason.sentence));
    } catch (const std::exception& error) {
        (void)WriteText(STDERR_FILENO, NotCheckedLine(std::string("the check failed (") + error.what() + ")"));
    }
    return kNotChecked;
}
