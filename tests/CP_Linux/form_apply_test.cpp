// What "Apply" moves from the form into the records, without a window: the form shares it with the checker.
#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "CP_Linux/PrivateMounts.h"
#include "ConfigLib.h"
#include "FormState.h"
#include "support/Child.h"

namespace {

// A form's fields in a place of their own, with its drives.
struct Form {
    explicit Form(const std::vector<std::string>& mountPoints = {}) {
        for (const std::string& mountPoint : mountPoints) {
            drives.push_back({"", mountPoint, 0});
        }
        selected.resize(drives.size());
        SetFormDefaults(Fields());
    }

    FormFields Fields() {
        return {name, nameLen, generalIndex, generalPath, generalPathLen, idIndex, countIndex, drives, selected.data()};
    }

    char name[256];
    int nameLen;
    int generalIndex;
    char generalPath[512];
    int generalPathLen;
    int idIndex;
    int countIndex;
    std::vector<DriveRecord> drives;
    std::vector<int> selected;
};

class FormApply : public testing::Test {
public:
    FormApply() : m_global(new CONFIGURATION__GLOBAL()), m_local(new CONFIGURATION__LOCAL()) {}

    CONFIGURATION__GLOBAL& Global() { return *m_global; }
    CONFIGURATION__LOCAL& Local() { return *m_local; }

private:
    std::unique_ptr<CONFIGURATION__GLOBAL> m_global;
    std::unique_ptr<CONFIGURATION__LOCAL> m_local;
};

void SetName(Form& form, const std::string& name) {
    name.copy(form.name, sizeof form.name);
    form.nameLen = static_cast<int>(name.size());
}

TEST_F(FormApply, KeepsANameOf63CharactersAndTheNumber) {
    Form form;
    form.countIndex = 4;
    form.idIndex = 6;
    SetName(form, std::string(63, 'n'));
    StoreTopology(form.Fields(), Global(), Local());
    EXPECT_EQ(Global().szClusterName, std::string(63, 'n'));
    EXPECT_EQ(Global().uiNodeCount, 5U);
    EXPECT_EQ(Local().uiNodeID, 7U) << "it is not compared with the number";
}

TEST_F(FormApply, CutsANameTo64CharactersAndTurnsTheNumberInto0) {
    for (const std::size_t length : {64U, 65U, 255U}) {
        Form form;
        form.countIndex = 7;
        SetName(form, std::string(length, 'n'));
        StoreTopology(form.Fields(), Global(), Local());
        EXPECT_EQ(std::string(Global().szClusterName, 64), std::string(64, 'n'));
        EXPECT_EQ(Global().uiNodeCount, 0U);
    }
}

TEST_F(FormApply, TakesThePathsOfTheDrivesInTheirOrder) {
    Form form({"/mnt/c", "/mnt/a", "/mnt/b"});
    form.selected = {1, 0, 1};
    form.generalIndex = 1;
    StoreStorages(form.Fields(), Global(), Local());
    EXPECT_STREQ(Global().szGeneralStoragePath, "/mnt/a");
    ASSERT_EQ(Local().uiRecordingStorageCount, 2U);
    EXPECT_STREQ(Local().szRecordingStorage[0], "/mnt/c");
    EXPECT_STREQ(Local().szRecordingStorage[1], "/mnt/b");
}

TEST_F(FormApply, EmptiesTheStoragesWithoutDrives) {
    std::strcpy(Global().szGeneralStoragePath, "/mnt/old/");
    std::strcpy(Local().szRecordingStorage[0], "/mnt/old/");
    Local().uiRecordingStorageCount = 1;
    Form form;
    StoreStorages(form.Fields(), Global(), Local());
    EXPECT_STREQ(Global().szGeneralStoragePath, "");
    EXPECT_STREQ(Local().szRecordingStorage[0], "");
    EXPECT_EQ(Local().uiRecordingStorageCount, 0U);
}

TEST_F(FormApply, TakesSixteenDrivesAndNoMore) {
    std::vector<std::string> mountPoints;
    for (int i = 0; i < 18; ++i) {
        mountPoints.push_back("/mnt/" + std::to_string(i));
    }
    Form form(mountPoints);
    form.selected.assign(18, 1);
    StoreStorages(form.Fields(), Global(), Local());
    EXPECT_EQ(Local().uiRecordingStorageCount, 16U);
    EXPECT_STREQ(Local().szRecordingStorage[15], "/mnt/15");
    EXPECT_STREQ(Local().szStreamPluginName[0], "");
}

TEST_F(FormApply, RunsAMountPointOfMoreThan1023BytesOnIntoTheNextSlot) {
    const std::string longPath = "/mnt/" + std::string(1100, 'x');
    Form form({longPath});
    form.selected = {1};
    StoreStorages(form.Fields(), Global(), Local());
    const char* slot = reinterpret_cast<const char*>(&Local()) + offsetof(CONFIGURATION__LOCAL, szRecordingStorage);
    EXPECT_EQ(std::string(slot), longPath);
}

TEST_F(FormApply, FindsTheLastDriveOfTheGeneralStorageAndEveryDriveOfARecordingStorage) {
    Form form({"/mnt/a", "/mnt/b", "/mnt/a", "/mnt/b", "/mnt/c"});
    std::strcpy(Global().szGeneralStoragePath, "/mnt/a//");
    std::strcpy(Local().szRecordingStorage[0], "/mnt/b/");
    std::strcpy(Local().szRecordingStorage[1], "/mnt/none/");
    std::strcpy(Local().szRecordingStorage[2], "/mnt/c/");
    Local().uiRecordingStorageCount = 2;
    FillForm(form.Fields(), Global(), Local());
    FindGeneralStorage(form.Fields());
    FindRecordingDrives(form.Fields(), Local());
    EXPECT_EQ(form.generalIndex, 2);
    EXPECT_EQ(form.selected, (std::vector<int>{0, 1, 0, 1, 0}));
}

TEST_F(FormApply, HoldsTheDefaultNameUntilTheRecordHasOne) {
    Form form;
    FillForm(form.Fields(), Global(), Local());
    EXPECT_EQ(std::string(form.name, static_cast<std::size_t>(form.nameLen)), "The Recorder");
    std::strcpy(Global().szClusterName, "B");
    FillForm(form.Fields(), Global(), Local());
    EXPECT_EQ(std::string(form.name, static_cast<std::size_t>(form.nameLen)), "B");
}

TEST_F(FormApply, HasRoomForAPathOf511BytesAndAbortsAtOneMore) {
    Form form;
    std::strcpy(Global().szGeneralStoragePath, std::string(511, 'x').c_str());
    FillForm(form.Fields(), Global(), Local());
    EXPECT_EQ(form.generalPathLen, 511);
    std::strcpy(Global().szGeneralStoragePath, std::string(512, 'x').c_str());
    EXPECT_EXIT(FillForm(form.Fields(), Global(), Local()), testing::KilledBySignal(SIGABRT), "");
}

TEST_F(FormApply, IsAutostartWhereTheEntryExistsWhateverItIs) {
    EXPECT_TRUE(PassesWithPrivateMounts([] {
        EXPECT_FALSE(IsAutostartOn());
        std::filesystem::create_directories("/etc/xdg/autostart");
        std::filesystem::create_symlink("/nowhere", AUTOSTART_ENTRY);
        EXPECT_FALSE(IsAutostartOn());
        std::filesystem::remove(AUTOSTART_ENTRY);
        std::filesystem::create_directory(AUTOSTART_ENTRY);
        EXPECT_TRUE(IsAutostartOn());
        std::filesystem::remove(AUTOSTART_ENTRY);
        std::filesystem::create_symlink(AUTOSTART_ENTRY, AUTOSTART_ENTRY);
        EXPECT_THROW(IsAutostartOn(), std::filesystem::filesystem_error);
    }));
}

}  // namespace
