#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "faults/Stage.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    try {
        // This process can make no further one, as a sanitizer would at a plain end.
        _exit(faults::RunInPrivateSystem([] { return RUN_ALL_TESTS(); }));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "These tests need mounts and processes of their own: %s\n", error.what());
        return 1;
    }
}
