// Logs and ends, through exit() with the log still open or behind a CloseLog, as the program does.
//
// Arguments: the program data path; the number of lines; what happens before the end (see Modes); "exit", "close" or
// "destructor", which is exit with a CloseLog in a static object's destructor.
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>  // for its object that flushes the streams at the end, which the program has too
#include <string>
#include <thread>

#include "Log.h"
#include "support/DataPath.h"
#include "support/Files.h"
#include "support/Threads.h"

// The log thread lives, or has just ended by itself, when this program ends; the thread sanitizer would call it leaked,
// and would wait a second for it before each end.
extern "C" const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
    return "report_thread_leaks=0:atexit_sleep_ms=0";
}

namespace {

struct LateLogger {
    bool active = false;
    ~LateLogger() {
        if (active) {
            Log(LOG_LEVEL_ERROR, "late");
        }
    }
};

LateLogger g_late;

// Logs and closes the log from a destructor, when exit has taken the outputs from the log thread.
struct LateCloser {
    bool active = false;
    ~LateCloser() {
        if (active) {
            Log(LOG_LEVEL_ERROR, "from the destructor");
            CloseLog();
        }
    }
};

LateCloser g_closer;

// Waits until the log thread, which nobody else can be, is in a write that does not return. Gives the descriptor.
int WaitForBlockedWrite() {
    for (;;) {
        for (const int thread : test_support::OtherThreads()) {
            const auto call = test_support::BlockedIn(thread);
            // With text in the ring: it counts as taken out only after the write.
            if (call && call->number == SYS_write && g_ullLogBufRd != g_ullLogBufWr) {
                return static_cast<int>(call->argument);
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// At the standard output, which comes after the file: the file has the text by then.
bool WaitUntilAtStandardOutput(const std::string& logFile) {
    while (WaitForBlockedWrite() != STDOUT_FILENO) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return test_support::ReadFile(logFile).find("ERROR: ") != std::string::npos;
}

// From now on the log file is a pipe that takes no more text and that nobody reads.
void BlockTheFile() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) {
        while (write(ends[1], "x", 1) == 1) {
        }
        fcntl(ends[1], F_SETFL, 0);
        dup2(ends[1], fileno(g_hLogFile));
    }
}

void WaitUntilStuckAtFile() {
    while (WaitForBlockedWrite() == STDOUT_FILENO) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace

// Modes: "plain"; "late", which logs once more from a destructor of a static object; "blocked", which waits until a
// line is in the file and the log thread is at the standard output; "stuck", which waits until the log thread is stuck
// at a file that takes no text.
int main(int argc, char** argv) {
    if (argc != 5) {
        return 2;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a child that does not end goes with the test
    test_support::SetProgramDataPath(argv[1]);
    if (OpenLog("/log/", 1) != 1) {
        return 3;
    }
    const std::string mode = argv[3];
    g_late.active = mode == "late";
    if (mode == "stuck") {
        BlockTheFile();
    }
    for (int line = 0; line < std::atoi(argv[2]); ++line) {
        Log(LOG_LEVEL_ERROR, "line %d", line);
    }
    if (mode == "blocked" && !WaitUntilAtStandardOutput(std::string(argv[1]) + "/log/Log.txt")) {
        return 4;
    }
    if (mode == "stuck") {
        WaitUntilStuckAtFile();
    }
    g_closer.active = std::strcmp(argv[4], "destructor") == 0;
    if (std::strcmp(argv[4], "close") == 0) {
        CloseLog();
        return 0;
    }
    std::exit(0);
}
