#include "support/DataPath.h"

#include <cerrno>
#include <cstdio>

#include "OsLayer.h"

namespace test_support {
namespace {

struct Answer {
    bool succeeds;
    bool writes;
    int error;
    std::string text;
    unsigned int size = 0;
};

// Never freed: a thread or an exit handler may still ask while the program ends.
Answer& TheAnswer() {
    static auto* answer = new Answer{false, false, ENOENT, ""};
    return *answer;
}

}  // namespace

void SetProgramDataPath(const std::string& path) {
    TheAnswer() = {true, true, 0, path};
}

void FailProgramDataPath(int error) {
    TheAnswer() = {false, false, error, ""};
}

void FailProgramDataPath(int error, const std::string& leftover) {
    TheAnswer() = {false, true, error, leftover};
}

unsigned int ProgramDataPathSize() {
    return TheAnswer().size;
}

}  // namespace test_support

int OS_GetProgramDataPath(char* buffer, unsigned int size) {
    test_support::Answer& answer = test_support::TheAnswer();
    answer.size = size;
    if (answer.writes) {
        std::snprintf(buffer, size, "%s", answer.text.c_str());
    }
    if (!answer.succeeds) {
        errno = answer.error;
        return 0;
    }
    return 1;
}
