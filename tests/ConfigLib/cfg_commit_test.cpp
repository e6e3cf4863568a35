// A save replaces the old file in one step, and only by a file whose bytes are all on the disk.
#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "ConfigLib/ConfigTest.h"
#include "ConfigLib/SaveCalls.h"

namespace {

using Calls = std::vector<std::string>;

// One of the two files that are replaced, with its save.
struct SavedFile {
    const char* name;
    const char* temporary;
    std::function<bool()> save;
};

class Commit : public ConfigTest, public testing::WithParamInterface<SavedFile> {
protected:
    Commit() {
        EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 64\n"), 2);
        EXPECT_EQ(LoadLocal("NodeID = 1\n"), 2);
        ExpectSaved();
        m_whole = Get(GetParam().name);
        Put(GetParam().name, "old");
    }

    void ExpectSaved() { EXPECT_TRUE(GetParam().save()); }

    void ExpectNew() {
        EXPECT_EQ(Get(GetParam().name), m_whole);
        EXPECT_FALSE(Has(GetParam().temporary));
    }

    // Nothing is reported, the old file is intact, the temporary one stays.
    void ExpectOldAfterFailure() {
        EXPECT_EQ(Get(GetParam().name), "old");
        EXPECT_TRUE(Has(GetParam().temporary));
        EXPECT_EQ(Logged(), Messages{});
    }

    std::string m_whole;
};

// The order is the protection: a rename before the sync can leave an empty file after a power cut.
TEST_P(Commit, BytesAreOnTheDiskBeforeTheRenameAndTheRenameBeforeTheReturn) {
    SaveCalls calls;
    ExpectSaved();
    EXPECT_EQ(calls.Names(), (Calls{"write", "fdatasync", "close", "rename", "fsync directory", "close"}));
    ExpectNew();
}

TEST_P(Commit, AFailedWriteKeepsTheOldFile) {
    for (const int error : {EIO, ENOSPC, EDQUOT, EFBIG}) {
        SaveCalls calls;
        calls.Fail("write", error);
        EXPECT_FALSE(GetParam().save()) << error;
        ExpectOldAfterFailure();
    }
}

TEST_P(Commit, AWriteThatTakesNothingKeepsTheOldFile) {
    SaveCalls calls;
    calls.Fail("write", 0, 0);
    EXPECT_FALSE(GetParam().save());
    ExpectOldAfterFailure();
}

TEST_P(Commit, AnInterruptedWriteIsGoneOnWith) {
    SaveCalls calls;
    calls.Fail("write", EINTR);
    ExpectSaved();
    ExpectNew();
}

TEST_P(Commit, ShortCountsAreGoneOnWith) {
    SaveCalls calls;
    calls.WriteByteByByte();
    ExpectSaved();
    ExpectNew();
}

TEST_P(Commit, AFailedSyncKeepsTheOldFile) {
    for (const int error : {EIO, ENOSPC, EDQUOT}) {
        SaveCalls calls;
        calls.Fail("fdatasync", error, 0);
        EXPECT_FALSE(GetParam().save()) << error;
        ExpectOldAfterFailure();
    }
}

TEST_P(Commit, AnInterruptedSyncIsRepeated) {
    SaveCalls calls;
    calls.Fail("fdatasync", EINTR);
    ExpectSaved();
    EXPECT_EQ(calls.Names(), (Calls{"write", "fdatasync", "fdatasync", "close", "rename", "fsync directory", "close"}));
    ExpectNew();
}

TEST_P(Commit, AFileSystemThatCannotSyncIsNoFailure) {
    for (const int error : {EINVAL, ENOSYS, ENOTSUP}) {
        Put(GetParam().name, "old");
        SaveCalls calls;
        calls.Fail("fdatasync", error, 0);
        ExpectSaved();
        ExpectNew();
    }
}

TEST_P(Commit, AnErrorThatShowsOnlyAtClosingGoesUnnoticed) {
    SaveCalls calls;
    calls.Fail("close", EIO, 0);
    ExpectSaved();
    ExpectNew();
}

TEST_P(Commit, AFailedRenameKeepsTheOldFile) {
    SaveCalls calls;
    calls.Fail("rename", EIO);
    EXPECT_FALSE(GetParam().save());
    ExpectOldAfterFailure();
}

TEST_P(Commit, AFailedSyncOfTheDirectoryGoesUnnoticed) {
    SaveCalls calls;
    calls.Fail("fsync", EIO, 0);
    ExpectSaved();
    ExpectNew();
}

INSTANTIATE_TEST_SUITE_P(
    Files, Commit,
    testing::Values(SavedFile{"global.cfg", "global.cfg.temp",
                              [] { return ConfigLib_Save_Global(ConfigFile_GetStructPtr_Global()); }},
                    SavedFile{"local.cfg", "local.cfg.tmp",
                              [] { return ConfigLib_Save_Local(ConfigFile_GetStructPtr_Local()); }}),
    [](const testing::TestParamInfo<SavedFile>& file) {
        return std::string(file.param.name).substr(0, std::string(file.param.name).find('.'));
    });

}  // namespace
