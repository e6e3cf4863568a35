// The one validation of the form, on states that the form itself cannot be brought to: a general storage that is empty
// or a single slash while there are drives.
#include <cstring>
#include <string>
#include <vector>

#include "CP_Linux/FormFixture.h"
#include "ConfigLib.h"

namespace {

class StorageCheck : public FormTest {
protected:
    // The verdict with these drives, all of them flagged but the first `unflagged` ones.
    void ExpectValid(const std::string& general, const std::vector<std::string>& drives, std::size_t unflagged = 0) {
        ExpectVerdict(true, general, drives, unflagged);
    }
    void ExpectClash(const std::string& general, const std::vector<std::string>& drives, std::size_t unflagged = 0) {
        ExpectVerdict(false, general, drives, unflagged);
    }

private:
    void ExpectVerdict(bool valid, const std::string& general, const std::vector<std::string>& drives,
                       std::size_t unflagged) {
        WithMounts(drives, [&] {
            Dlg form = MakeForm();
            ASSERT_EQ(form.m_drives.size(), drives.size());
            for (std::size_t i = unflagged; i < drives.size(); ++i) {
                form.m_driveSelected[i] = 1;
            }
            std::strcpy(ConfigFile_GetStructPtr_Global()->szGeneralStoragePath, general.c_str());
            EXPECT_EQ(form.CheckIfStoragesValid(), valid) << "general storage '" << general << "'";
        });
    }
};

TEST_F(StorageCheck, PassesWithoutDrivesWhateverThePath) {
    ExpectValid("/mnt/a", {});
    ExpectValid("", {});
}

TEST_F(StorageCheck, PassesWithDrivesOfWhichNoneIsFlagged) {
    ExpectValid("/mnt/a", {"/mnt/a", "/mnt/b"}, 2);
}

TEST_F(StorageCheck, FailsWhenTheGeneralStorageIsFlagged) {
    ExpectClash("/mnt/a", {"/mnt/a"});
}

TEST_F(StorageCheck, FailsForAClashInTheLastOfSeveralDrives) {
    ExpectClash("/mnt/c", {"/mnt/a", "/mnt/b", "/mnt/c"});
}

TEST_F(StorageCheck, FailsWhenOnlyTheSecondOfTwoDrivesOnOneMountPointIsFlagged) {
    ExpectClash("/mnt/a", {"/mnt/a", "/mnt/a"}, 1);
}

TEST_F(StorageCheck, FailsThroughTheTrimmedComparison) {
    ExpectClash("/mnt/a/", {"/mnt/a"});
    ExpectClash("/mnt/a///", {"/mnt/a"});
    ExpectClash("/mnt/a/", {"/mnt/a/"});
}

TEST_F(StorageCheck, TrimsTheGeneralPathOnly) {
    ExpectValid("/mnt/a", {"/mnt/a/"});
}

TEST_F(StorageCheck, TrimsNothingButSlashes) {
    ExpectValid("/mnt/x/ ", {"/mnt/x"});
    ExpectValid("/mnt/x ", {"/mnt/x"});
    ExpectClash("/mnt/x /", {"/mnt/x "});
}

TEST_F(StorageCheck, PassesForASingleSlashAndForAnEmptyPath) {
    ExpectValid("/", {"/mnt/a"});
    ExpectValid("", {"/mnt/a"});
}

TEST_F(StorageCheck, PassesForAMountPointBelowTheOtherAndForAnotherCase) {
    ExpectValid("/mnt/a/b", {"/mnt/a"});
    ExpectValid("/mnt/a", {"/mnt/a/b"});
    ExpectValid("/mnt/A", {"/mnt/a"});
}

}  // namespace
