#include "support/Child.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace test_support {
namespace {

// Ends the process whatever the function does: an exception must not lead back into the tests of the parent.
[[noreturn]] void RunAndExit(const std::function<void()>& function) {
    try {
        function();
    } catch (...) {
        ADD_FAILURE() << "an exception came out";
    }
    std::fflush(nullptr);
    std::exit(testing::Test::HasFailure() ? 1 : 0);
}

}  // namespace

bool PassesInChild(const std::function<void()>& function) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        RunAndExit(function);
    }
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace test_support
