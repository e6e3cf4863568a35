// The one validation of the form, on states that the form itself cannot be brought to: a general storage that is empty
// or a single slash while there are drives.

#include <gtest/gtest.h>
#include <nuklear.h>

#include <cstring>
#include <string>
#include <vector>

#include "ConfigLib.h"

// The form's state is its own; these tests set it.
#ifdef __clang__
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define private public
#include "Dlg.h"
#undef private

// The form leaves its texts allocated on purpose.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

namespace {

class StorageCheck : public testing::Test {
protected:
    StorageCheck() { nk_init_default(&context_, nullptr); }
    ~StorageCheck() override { nk_free(&context_); }

    // The verdict with these drives, all of them flagged but the first `unflagged` ones.
    bool IsValid(const std::string& general, const std::vector<std::string>& drives, std::size_t unflagged = 0) {
        Dlg dlg(&context_, 700, 450, 1.0F);
        dlg.m_drives.clear();
        delete[] dlg.m_driveSelected;
        dlg.m_driveSelected = new int[drives.size() + 1]();
        for (std::size_t i = 0; i < drives.size(); ++i) {
            dlg.m_drives.push_back({drives[i], drives[i], 0});
            dlg.m_driveSelected[i] = i >= unflagged ? 1 : 0;
        }
        std::strcpy(ConfigFile_GetStructPtr_Global()->szGeneralStoragePath, general.c_str());
        const bool valid = dlg.CheckIfStoragesValid();
        if (drives.empty()) {
            delete[] dlg.m_driveSelected;  // without drives the form does not own it
        }
        ConfigFile_GetStructPtr_Global()->szGeneralStoragePath[0] = '\0';
        return valid;
    }

    nk_context context_{};
};

TEST_F(StorageCheck, PassesWithoutDrivesWhateverThePath) {
    EXPECT_TRUE(IsValid("/mnt/a", {}));
    EXPECT_TRUE(IsValid("", {}));
}

TEST_F(StorageCheck, PassesWithDrivesOfWhichNoneIsFlagged) {
    EXPECT_TRUE(IsValid("/mnt/a", {"/mnt/a", "/mnt/b"}, 2));
}

TEST_F(StorageCheck, FailsWhenTheGeneralStorageIsFlagged) {
    EXPECT_FALSE(IsValid("/mnt/a", {"/mnt/a"}));
}

TEST_F(StorageCheck, FailsForAClashInTheLastOfSeveralDrives) {
    EXPECT_FALSE(IsValid("/mnt/c", {"/mnt/a", "/mnt/b", "/mnt/c"}));
}

TEST_F(StorageCheck, FailsThroughTheTrimmedComparison) {
    EXPECT_FALSE(IsValid("/mnt/a/", {"/mnt/a"}));
    EXPECT_FALSE(IsValid("/mnt/a///", {"/mnt/a"}));
    EXPECT_FALSE(IsValid("/mnt/a/", {"/mnt/a/"}));
}

TEST_F(StorageCheck, TrimsTheGeneralPathOnly) {
    EXPECT_TRUE(IsValid("/mnt/a", {"/mnt/a/"}));
}

TEST_F(StorageCheck, PassesForASingleSlashAndForAnEmptyPath) {
    EXPECT_TRUE(IsValid("/", {"/mnt/a"}));
    EXPECT_TRUE(IsValid("", {"/mnt/a"}));
}

TEST_F(StorageCheck, PassesForAMountPointBelowTheOtherAndForAnotherCase) {
    EXPECT_TRUE(IsValid("/mnt/a/b", {"/mnt/a"}));
    EXPECT_TRUE(IsValid("/mnt/a", {"/mnt/a/b"}));
    EXPECT_TRUE(IsValid("/mnt/A", {"/mnt/a"}));
}

}  // namespace
