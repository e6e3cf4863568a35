// "Apply": what it writes, in which order, and how it keeps silent about what fails.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "Scenario.h"

namespace gui {
namespace {

class Apply : public testing::Test {
protected:
    Apply() {
        machine_.Drives({"/mnt/a", "/mnt/b"});
        Files(5, 4);
    }

    void Files(unsigned int recorders, unsigned int id) {
        machine_.Global(GlobalFile("Site A", recorders, "/mnt/a"));
        machine_.Local(LocalFile(id, {"/mnt/b"}));
    }

    void ExpectSaved(unsigned int recorders, unsigned int id) {
        EXPECT_EQ(machine_.Global(), GlobalFile("Site A", recorders, "/mnt/a"));
        EXPECT_EQ(machine_.Local(), LocalFile(id, {"/mnt/b"}));
    }

    // Applies "No" where an entry stands, together with other numbers: the files must show them afterwards.
    void SwitchOffAndExpectTheRestDone() {
        Session session(machine_, kFullHd);
        EXPECT_TRUE(session.Reads(session.At().checkboxText, "Yes", colour::kWindow));
        session.Pick(session.At().idCombo, 1, 5);
        session.Pick(session.At().countCombo, 6, 8);
        session.Click(session.At().checkbox);
        ApplyAndEnd(session);
        ExpectSaved(7, 2);
        EXPECT_EQ(machine_.Log(), kNoCameraFile);
        EXPECT_EQ(session.Run().ErrorOutput(), "");
    }

    std::string IdShown(Session& session) {
        for (const char* text : {"1", "2", "3", "4", "5", "6", "7", "8"}) {
            if (session.Reads(session.At().ComboText(session.At().idCombo), text, colour::kControl)) {
                return text;
            }
        }
        return "none";
    }

    Machine machine_;
};

// Recorders.

TEST_F(Apply, NumberLoweredBelowTheIdWritesBothAsTheyStand) {
    Session session(machine_, kFullHd);
    session.Pick(session.At().countCombo, 1, 8);
    ApplyAndEnd(session);
    ExpectSaved(2, 4);
}

TEST_F(Apply, NextStartRefusesTheHigherIdAndReadsNoFurther) {
    Files(2, 4);
    Session session(machine_, kFullHd);
    EXPECT_EQ(machine_.Log(), "ERROR: Config: Invalid 'NodeID'\n" + kNoCameraFile);
    EXPECT_EQ(IdShown(session), "1");
    EXPECT_TRUE(session.Reads(session.At().summary, "", colour::kWindow));
}

TEST_F(Apply, ChangedIdAltersItsOneLine) {
    Session session(machine_, kFullHd);
    session.Pick(session.At().idCombo, 1, 5);
    ApplyAndEnd(session);
    ExpectSaved(5, 2);
    EXPECT_EQ(machine_.Files(place::kConfig), (std::vector<std::string>{"global.cfg", "local.cfg"}));
}

TEST_F(Apply, LoweredNumberDropsTheLinesOfTheHigherRecorders) {
    machine_.Global(
        "ClusterName = \"Site A\"\nNodeCount = 4\nNodesOffline = 1, 4\nCamerasConnectedToNode1 = 1\n"
        "CamerasConnectedToNode2 = 2\nCamerasConnectedToNode3 = 3\nCamerasConnectedToNode4 = 4\n"
        "SensorsConnectedToNode1 = 5\nGeneralStoragePath = \"/mnt/a/\"\n");
    Session session(machine_, kFullHd);
    session.Pick(session.At().countCombo, 1, 8);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(),
              "ClusterName = \"Site A\"\n\nNodeCount = 2\n\nNodesOffline = 1\n\nCamerasConnectedToNode1 = 1\n"
              "CamerasConnectedToNode2 = 2\n\nManagerMachineIP = 0.0.0.0\n\nGeneralStoragePath = \"/mnt/a\"\n\n"
              "LogLevelNode = 0\n\nLogLevelManager = 0\n\nShowAllParameters = 0\n\nAllowFailedDevices = 0\n\n"
              "AllowFailedNodes = 0\n\n");
}

TEST_F(Apply, RepairsOfZeroNumberAndIdReachTheFilesOnlyHere) {
    Files(0, 0);
    const std::string global = machine_.Global();
    {
        Session session(machine_, kFullHd);
        CancelAndEnd(session);
    }
    EXPECT_EQ(machine_.Global(), global);
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("Site A", 1, "/mnt/a"));
    EXPECT_EQ(machine_.Local().rfind("NodeID = 1\n", 0), 0U);
}

TEST_F(Apply, MissingFilesAreMadeFromTheFormsDefaults) {
    machine_.Remove(place::kGlobal);
    machine_.Remove(place::kLocal);
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("The Recorder", 1, "/mnt/a"));
    EXPECT_EQ(machine_.Local(), LocalFile(1, {}));
}

// Autostart.

TEST_F(Apply, YesOverwritesAnEntryThatIsThereWithANewCopy) {
    machine_.Write(place::kAutostart, std::string(5000, 'o'));
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Read(place::kAutostart), kStartEntryText);
}

// What is there is cut to zero length and written anew; it is not replaced by another file.
TEST_F(Apply, YesKeepsTheModeOfAnEntryThatIsThere) {
    machine_.Write(place::kAutostart, "an older entry\n", 0600);
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Mode(place::kAutostart), 0600U);
    EXPECT_EQ(machine_.Read(place::kAutostart), kStartEntryText);
}

TEST_F(Apply, YesWritesThroughALinkInTheEntrysPlace) {
    const std::string target = "/etc/xdg/elsewhere.desktop";
    machine_.Write(target, "an older entry\n");
    machine_.Link(place::kAutostart, target);
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_TRUE(machine_.IsLink(place::kAutostart));
    EXPECT_FALSE(machine_.IsLink(target));
    EXPECT_EQ(machine_.Read(target), kStartEntryText);
}

TEST_F(Apply, YesCopiesEveryByteOfTheEntry) {
    std::string bytes;
    for (int i = 0; i < 70000; ++i) {
        bytes += static_cast<char>(i * 7 % 256);
    }
    machine_.Write(place::kStartEntry, bytes);
    Session session(machine_, kFullHd);
    session.Click(session.At().checkbox);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Read(place::kAutostart), bytes);
    EXPECT_EQ(machine_.Read(place::kStartEntry), bytes);
}

TEST_F(Apply, NoTakesTheEntryAway) {
    machine_.AutostartOn();
    Session session(machine_, kFullHd);
    session.Click(session.At().checkbox);
    ApplyAndEnd(session);
    EXPECT_FALSE(machine_.Exists(place::kAutostart));
    EXPECT_TRUE(machine_.Exists(place::kStartEntry));
}

TEST_F(Apply, NoWithoutAnEntryHasNoEffect) {
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Files("/etc/xdg/autostart"), std::vector<std::string>());
    ExpectSaved(5, 4);
}

TEST_F(Apply, NoTakesADanglingLinkAway) {
    machine_.Link(place::kAutostart, "/nowhere");
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_FALSE(machine_.Exists(place::kAutostart));
}

TEST_F(Apply, EntryThatCannotBeTakenAwayStaysAndTheFilesAreWritten) {
    machine_.AutostartOn();
    machine_.ReadOnly("/etc/xdg/autostart");
    SwitchOffAndExpectTheRestDone();
    EXPECT_EQ(machine_.Read(place::kAutostart), "an older entry\n");
}

TEST_F(Apply, FolderInTheEntrysPlaceStaysAndTheFilesAreWritten) {
    ASSERT_EQ(mkdir(place::kAutostart.c_str(), 0755), 0);
    SwitchOffAndExpectTheRestDone();
    EXPECT_EQ(machine_.Files("/etc/xdg/autostart"), std::vector<std::string>{"StartRecordingServer.desktop"});
    EXPECT_EQ(machine_.Files(place::kAutostart), std::vector<std::string>());
}

TEST_F(Apply, YesWithoutAStartEntryMakesAnEmptyOneWhichIsYesAtTheNextStart) {
    machine_.Remove(place::kStartEntry);
    {
        Session session(machine_, kFullHd);
        session.Click(session.At().checkbox);
        ApplyAndEnd(session);
    }
    EXPECT_EQ(machine_.Read(place::kAutostart), "");
    Session next(machine_, kFullHd);
    EXPECT_TRUE(next.Reads(next.At().checkboxText, "Yes", colour::kWindow));
}

TEST_F(Apply, YesWithoutTheAutostartFolderMakesNoFolderAndKeepsSilent) {
    machine_.Remove("/etc/xdg/autostart");
    Session session(machine_, kFullHd);
    session.Click(session.At().checkbox);
    ApplyAndEnd(session);
    EXPECT_FALSE(machine_.Exists("/etc/xdg/autostart"));
    ExpectSaved(5, 4);
    EXPECT_EQ(machine_.Log(), kNoCameraFile);
}

// Order and failures.

TEST_F(Apply, AutostartIsSwitchedBeforeTheFilesAreWritten) {
    machine_.AutostartOn();
    Session::Options options;
    options.shim = [](ShimControl& shim) { shim.tracing = 1; };
    Session session(machine_, options);
    session.Click(session.At().checkbox);
    ApplyAndEnd(session);
    const std::string trace = session.Run().Trace();
    const std::string end = "unlink " + place::kAutostart + "\nopen " + place::kGlobal + ".temp\nrename " +
                            place::kGlobal + ".temp " + place::kGlobal + "\nopen " + place::kLocal + ".tmp\nrename " +
                            place::kLocal + ".tmp " + place::kLocal + "\n";
    ASSERT_GE(trace.size(), end.size());
    EXPECT_EQ(trace.substr(trace.size() - end.size()), end);
}

TEST_F(Apply, UnwritableConfigurationGoesUnnoticedAndTheAutostartStands) {
    const std::string global = machine_.Global();
    const std::string local = machine_.Local();
    machine_.ReadOnly(place::kConfig);
    Session session(machine_, kFullHd);
    session.Click(session.At().checkbox);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), global);
    EXPECT_EQ(machine_.Local(), local);
    EXPECT_EQ(machine_.Read(place::kAutostart), kStartEntryText);
}

TEST_F(Apply, GlobalFileThatCannotBeReplacedLeavesItsTemporaryFileAndTheLocalOneIsWritten) {
    machine_.Remove(place::kGlobal);
    machine_.Write(place::kGlobal + "/inside", "");
    machine_.Local(LocalFile(1, {}));
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Read(place::kGlobal + ".temp"), GlobalFile("The Recorder", 1, "/mnt/a"));
    EXPECT_EQ(machine_.Local(), LocalFile(1, {}));
}

TEST_F(Apply, StaleTemporaryFilesAreReplaced) {
    machine_.Write(place::kGlobal + ".temp", std::string(9000, 'g'));
    machine_.Write(place::kLocal + ".tmp", std::string(9000, 'l'));
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    ExpectSaved(5, 4);
    EXPECT_EQ(machine_.Files(place::kConfig), (std::vector<std::string>{"global.cfg", "local.cfg"}));
}

TEST_F(Apply, OrdinaryUserSwitchesNoAutostartAndEndsAsWell) {
    ASSERT_EQ(chmod(place::kConfig.c_str(), 0777), 0);
    ASSERT_EQ(chmod(place::kLogDirectory.c_str(), 0777), 0);
    ASSERT_EQ(chmod("/etc/xdg/autostart", 0555), 0);
    Session::Options options;
    options.root = false;
    Session session(machine_, options);
    session.Click(session.At().checkbox);
    ApplyAndEnd(session);
    ASSERT_EQ(chmod("/etc/xdg/autostart", 0755), 0);
    EXPECT_FALSE(machine_.Exists(place::kAutostart));
    // The folder is open to all, so the files are written.
    ExpectSaved(5, 4);
}

TEST_F(Apply, NothingIsLoggedOfASuccess) {
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Log(), kNoCameraFile);
    EXPECT_EQ(session.Run().ErrorOutput(), "");
}

// Mount points that a table may give with a closing slash: identity goes by text.

TEST_F(Apply, GeneralStorageWithAClosingSlashClashesThroughTheTrimmedComparison) {
    machine_.MountTable("d1 /mnt/x/ ext4 rw 0 0\nd2 /mnt/x ext4 rw 0 0\n");
    machine_.Global(GlobalFile("Site A", 1, ""));
    machine_.Local(LocalFile(1, {"/mnt/x"}));
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().ComboText(session.At().generalCombo), "/mnt/x/", colour::kControl));
    session.Click(session.At().apply);
    EXPECT_TRUE(AlertIsUp(session));
}

TEST_F(Apply, OnlyTheGeneralStorageIsTrimmed) {
    machine_.MountTable("d1 /mnt/x ext4 rw 0 0\nd2 /mnt/x/ ext4 rw 0 0\n");
    machine_.Global(GlobalFile("Site A", 1, ""));
    machine_.Local(LocalFile(1, {}));
    Session session(machine_, kFullHd);
    SwitchDrives(session, {1}, session.At().driveOk);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("Site A", 1, "/mnt/x"));
    EXPECT_EQ(machine_.Local(), LocalFile(1, {"/mnt/x/"}));
}

TEST_F(Apply, ConfiguredRecordingStorageIsComparedWithoutItsClosingSlashOnly) {
    machine_.MountTable("d1 /mnt/a ext4 rw 0 0\nd2 /mnt/x/ ext4 rw 0 0\n");
    machine_.Global(GlobalFile("Site A", 1, "/mnt/a/"));
    machine_.Local(LocalFile(1, {"/mnt/x/"}));
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().summary, "", colour::kWindow));
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("Site A", 1, "/mnt/a"));
    EXPECT_EQ(machine_.Local(), LocalFile(1, {}));
}

TEST_F(Apply, ConfiguredGeneralStorageIsComparedAsItStandsFirst) {
    machine_.MountTable("d1 /mnt/y ext4 rw 0 0\nd2 /mnt/x/ ext4 rw 0 0\n");
    machine_.Global(GlobalFile("Site A", 1, "/mnt/x/"));
    machine_.Local(LocalFile(1, {}));
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().ComboText(session.At().generalCombo), "/mnt/x/", colour::kControl));
}

// Paths longer than the fields of the records.

// A mount point of this many bytes.
std::string MountPoint(std::size_t bytes) {
    std::string path = "/mnt";
    while (path.size() < bytes) {
        path += "/" + std::string(std::min<std::size_t>(bytes - path.size() - 1, 200), 'p');
    }
    return path;
}

// The longest general storage whose line of the file fits the writer's buffer.
constexpr std::size_t kLongestSaved = 2047 - std::string_view("GeneralStoragePath = \"\"\n\n").size();

TEST(LongPath, OfTheGeneralStorageIsSavedWhole) {
    for (const std::size_t bytes : {std::size_t{1023}, std::size_t{1024}, kLongestSaved}) {
        Machine machine;
        machine.Drive(MountPoint(bytes));
        machine.Global(GlobalFile("Site A", 1, ""));
        machine.Local(LocalFile(1, {}));
        Session session(machine, kFullHd);
        ApplyAndEnd(session);
        EXPECT_EQ(machine.Global(), GlobalFile("Site A", 1, MountPoint(bytes))) << bytes;
        EXPECT_EQ(machine.Local(), LocalFile(1, {})) << bytes;
    }
}

TEST(LongPath, WhoseLineDoesNotFitTheWriterLeavesTheFileAsItWas) {
    for (const std::size_t bytes : {kLongestSaved + 1, std::size_t{2048}, std::size_t{3000}}) {
        Machine machine;
        machine.Drive(MountPoint(bytes));
        machine.Global(GlobalFile("Site A", 1, ""));
        machine.Local(LocalFile(1, {}));
        Session session(machine, kFullHd);
        ApplyAndEnd(session);
        EXPECT_EQ(machine.Global(), GlobalFile("Site A", 1, "")) << bytes;
        const std::string cut = "\nGeneralStoragePath = \"" + MountPoint(bytes) + "\"\n\n";
        EXPECT_NE(machine.Read(place::kGlobal + ".temp").find(cut.substr(0, 1 + 2047) + "LogLevelNode = 0\n"),
                  std::string::npos)
            << bytes;
        EXPECT_EQ(machine.Log(), kNoCameraFile) << bytes;
    }
}

// Of the general storage 2048 bytes are taken over, which is as much as the storages are compared by.

TEST(LongPath, OfUpTo2048BytesAsGeneralAndRecordingStorageRaisesTheAlert) {
    for (const std::size_t bytes : {1500U, 2048U}) {
        Machine machine;
        machine.Drive(MountPoint(bytes));
        machine.Global(GlobalFile("Site A", 1, ""));
        machine.Local(LocalFile(1, {}));
        Session session(machine, kFullHd);
        SwitchDrives(session, {0}, session.At().driveOk);
        session.Click(session.At().apply);
        ASSERT_TRUE(session.Run().Running()) << bytes;
        EXPECT_TRUE(AlertIsUp(session)) << bytes;
        EXPECT_EQ(machine.Global(), GlobalFile("Site A", 1, "")) << bytes;
    }
}

TEST(LongPath, OfMoreThan2048BytesIsCutAsGeneralStorageAndEqualsNoRecordingStorage) {
    for (const std::size_t bytes : {2049U, 3000U}) {
        Machine machine;
        machine.Drive(MountPoint(bytes));
        machine.Global(GlobalFile("Site A", 1, ""));
        machine.Local(LocalFile(1, {}));
        Session session(machine, kFullHd);
        SwitchDrives(session, {0}, session.At().driveOk);
        ApplyAndEnd(session);
        EXPECT_TRUE(machine.Exists(place::kGlobal + ".temp")) << bytes;
        EXPECT_TRUE(machine.Exists(place::kLocal + ".tmp")) << bytes;
    }
}

TEST(LongPath, CutTo2048BytesClashesWithTheDriveOfThatName) {
    Machine machine;
    machine.MountTable("d1 " + MountPoint(2049) + " ext4 rw 0 0\nd2 " + MountPoint(2049).substr(0, 2048) +
                       " ext4 rw 0 0\n");
    machine.Global(GlobalFile("Site A", 1, ""));
    machine.Local(LocalFile(1, {}));
    Session session(machine, kFullHd);
    SwitchDrives(session, {1}, session.At().driveOk);
    session.Click(session.At().apply);
    ASSERT_TRUE(session.Run().Running());
    EXPECT_TRUE(AlertIsUp(session));
}

TEST(LongPath, OfARecordingStorageRunsOnUntilTheNextOneCutsIt) {
    Machine machine;
    machine.Drives({"/mnt/a", MountPoint(1500), "/mnt/z"});
    machine.Global(GlobalFile("Site A", 1, "/mnt/a/"));
    machine.Local(LocalFile(1, {}));
    Session session(machine, kFullHd);
    SwitchDrives(session, {1, 2}, session.At().driveOk);
    ApplyAndEnd(session);
    // The second path's zero byte ends the first one's spill behind it.
    EXPECT_EQ(machine.Local(), LocalFile(1, {MountPoint(1500).substr(0, 1024) + "/mnt/z", "/mnt/z"}));
}

}  // namespace
}  // namespace gui
