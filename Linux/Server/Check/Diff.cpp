#include "Diff.h"

#include "Report.h"
#include "Worker.h"

// GNU diff itself, which Debian has on every machine: its choice among equally short differences, and what it does with
// bytes that are no text, is its own.
std::string UnifiedDiff(const std::string& beforePath, const std::string& afterPath, const std::string& before,
                        const std::string& after) {
    const char* const arguments[] = {"/usr/bin/diff", "-u",          "--label",          before.c_str(),
                                     "--label",       after.c_str(), beforePath.c_str(), afterPath.c_str(),
                                     nullptr};
    int status = 0;
    std::string text = RunProgram(arguments, status);
    if (status > 1) {
        throw NotChecked{"/usr/bin/diff ended with status " + std::to_string(status)};
    }
    return text;
}
