#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>

#include "OsLayer.h"
#include "support/Files.h"

namespace {

// Opens a file that cannot be opened and returns what the layer says about it.
int ErrorOfOpening(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    const int error = OS_GetLastError();
    EXPECT_EQ(file, nullptr);
    if (file != nullptr) {
        std::fclose(file);
    }
    return error;
}

TEST(LastError, CarriesTheSystemsNumberOfAFailedFileOpen) {
    const test_support::TempDir folder;
    test_support::WriteFile(folder.File("plain"), "");
    EXPECT_EQ(ErrorOfOpening(folder.File("missing")), ENOENT);
    EXPECT_EQ(ErrorOfOpening(folder.File("plain/below")), ENOTDIR);
}

TEST(LastError, OpeningAFolderForWritingTellsSo) {
    const test_support::TempDir folder;
    std::FILE* file = std::fopen(folder.Path().c_str(), "w");
    EXPECT_EQ(OS_GetLastError(), EISDIR);
    EXPECT_EQ(file, nullptr);
}

TEST(LastError, AskingTwiceGivesTheSame) {
    errno = EXDEV;
    EXPECT_EQ(OS_GetLastError(), EXDEV);
    EXPECT_EQ(OS_GetLastError(), EXDEV);
}

TEST(LastError, AFailureOnOneThreadIsNotOverwrittenByAnother) {
    const test_support::TempDir folder;
    test_support::WriteFile(folder.File("plain"), "");
    EXPECT_EQ(ErrorOfOpening(folder.File("missing")), ENOENT);

    int errorThere = 0;
    errno = ENOENT;  // the expectation above may have called anything
    std::thread other([&] { errorThere = ErrorOfOpening(folder.File("plain/below")); });
    other.join();
    EXPECT_EQ(OS_GetLastError(), ENOENT);
    EXPECT_EQ(errorThere, ENOTDIR);
}

}  // namespace
