// Logs and ends through exit() with the log still open, as the program does.
//
// Arguments: the program data path; the number of lines; "plain", "late", which logs once more from a destructor of a
// static object, or "blocked", which ends only when a line is in the file and the log thread is at the standard output.
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "Log.h"
#include "support/DataPath.h"
#include "support/Files.h"

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

// The file comes ahead of the standard output, and the log thread holds both until both have the text.
void WaitUntilAtStandardOutput(const std::string& logFile) {
    while (test_support::ReadFile(logFile).find("ERROR: ") == std::string::npos) {
        std::this_thread::yield();
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    test_support::SetProgramDataPath(argv[1]);
    if (OpenLog("/log/", 1) != 1) {
        return 3;
    }
    g_late.active = std::strcmp(argv[3], "late") == 0;
    for (int line = 0; line < std::atoi(argv[2]); ++line) {
        Log(LOG_LEVEL_ERROR, "line %d", line);
    }
    if (std::strcmp(argv[3], "blocked") == 0) {
        WaitUntilAtStandardOutput(std::string(argv[1]) + "/log/Log.txt");
    }
    std::exit(0);
}
