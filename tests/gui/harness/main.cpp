#include <gtest/gtest.h>

#include <cstdio>
#include <exception>

#include "Machine.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!testing::GTEST_FLAG(list_tests)) {
        try {
            gui::EnterPrivateRoot();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "The form's tests need a private mount namespace: %s\n", error.what());
            return 1;
        }
    }
    return RUN_ALL_TESTS();
}
