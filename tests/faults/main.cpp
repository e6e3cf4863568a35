#include <gtest/gtest.h>

#include <cstdio>
#include <exception>

#include "faults/Stage.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    try {
        return faults::RunInPrivateSystem([] { return RUN_ALL_TESTS(); });
    } catch (const std::exception& error) {
        std::fprintf(stderr, "These tests need mounts and processes of their own: %s\n", error.what());
        return 1;
    }
}
