#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "OsLayer.h"

namespace {

// Bytes of a buffer that nobody has written.
constexpr char kUntouched = '#';

TEST(ProgramDataPath, IsEtcWithoutAClosingSlash) {
    char buffer[1024];
    std::memset(buffer, kUntouched, sizeof buffer);
    EXPECT_NE(OS_GetProgramDataPath(buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "/etc");
}

TEST(ProgramDataPath, WritesNothingBehindTheTerminator) {
    char buffer[16];
    std::memset(buffer, kUntouched, sizeof buffer);
    EXPECT_NE(OS_GetProgramDataPath(buffer, sizeof buffer), 0);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("/etc\0###########", 16));
}

TEST(ProgramDataPath, FitsABufferOfExactlyItsLengthAndTerminator) {
    char buffer[6];
    std::memset(buffer, kUntouched, sizeof buffer);
    EXPECT_NE(OS_GetProgramDataPath(buffer, 5), 0);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("/etc\0#", 6));
}

TEST(ProgramDataPath, OneByteTooLittleFailsWithEmptyTextAndTellsWhy) {
    char buffer[6];
    std::memset(buffer, kUntouched, sizeof buffer);
    errno = 0;
    EXPECT_EQ(OS_GetProgramDataPath(buffer, 4), 0);
    EXPECT_EQ(OS_GetLastError(), ERANGE);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("\0#####", 6));
}

TEST(ProgramDataPath, ABufferOfOneByteBecomesEmptyText) {
    char buffer[2] = {kUntouched, kUntouched};
    EXPECT_EQ(OS_GetProgramDataPath(buffer, 1), 0);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], kUntouched);
}

TEST(ProgramDataPath, ABufferOfNoBytesIsNotWrittenTo) {
    char buffer[1] = {kUntouched};
    errno = 0;
    EXPECT_EQ(OS_GetProgramDataPath(buffer, 0), 0);
    EXPECT_EQ(OS_GetLastError(), ERANGE);
    EXPECT_EQ(buffer[0], kUntouched);
}

TEST(ProgramDataPath, ANullBufferFailsAndTellsWhy) {
    errno = 0;
    EXPECT_EQ(OS_GetProgramDataPath(nullptr, 1024), 0);
    EXPECT_EQ(OS_GetLastError(), EINVAL);
}

}  // namespace
