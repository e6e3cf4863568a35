// The whole road: from the files to the form and back to the files.

#include <gtest/gtest.h>

#include <regex>

#include "Scenario.h"

namespace gui {
namespace {

// The global file with the values that the form changes. `cameras` has a line for each node.
std::string GlobalText(const std::string& name, const std::string& count, const std::string& cameras,
                       const std::string& storage) {
    std::string text = "ClusterName = \"" + name + "\"\n\n";
    text += "NodeCount = " + count + "\n\n";
    text += "NodesOffline = 2\n\n";
    text += cameras + "\n";
    text += "ManagerMachineIP = 192.168.0.10, 10.0.0.1\n\n";
    text += "GeneralStoragePath = \"" + storage + "\"\n\n";
    text += "LogLevelNode = 1\n\n";
    text += "LogLevelManager = 2\n\n";
    text += "ShowAllParameters = 1\n\n";
    text += "AllowFailedDevices = 0\n\n";
    text += "AllowFailedNodes = 1\n\n";
    return text;
}

const std::string kTwoNodes =
    "CamerasConnectedToNode1 = 4\n"
    "CamerasConnectedToNode2 = 2\n";
const std::string kThreeNodes = kTwoNodes + "CamerasConnectedToNode3 = 0\n";

const std::string kGlobalBefore = GlobalText("Site A", "2", kTwoNodes, "/mnt/general/");
const std::string kGlobalAfter = GlobalText("Hall-7", "3", kThreeNodes, "/mnt/rec1");

const std::string kLocalRest =
    "CameraStreamPluginName = \"Stream\"\n"
    "\n"
    "CaptureProcessPluginName = \"Process\"\n"
    "\n"
    "PostProcessPluginName = \"Post\"\n"
    "\n"
    "MaxMemUseAllowed = 50%\n"
    "\n"
    "[Camera 1-4]\n"
    "CaptureDevice = \"board\", \"board settings\"\n"
    "CTI = \"producer\", \"options\"\n"
    "SyncMode = 1\n"
    "CameraMAC1 = 00:11:22:33:44:01\n"
    "CameraMAC2 = 00:11:22:33:44:02\n"
    "CameraMAC3 = 00:11:22:33:44:03\n"
    "CameraMAC4 = 00:11:22:33:44:04\n"
    "CameraModel = \"model\", \"model settings\"\n"
    "\n";

const std::string kLocalBefore =
    "NodeID = 1\n"
    "\n"
    "IP = 192.168.0.11\n"
    "\n"
    "RecordingStorage1 = \"/mnt/rec1/\"\n"
    "\n" +
    kLocalRest;

const std::string kLocalAfter =
    "NodeID = 2\n"
    "\n"
    "IP = 192.168.0.11\n"
    "\n"
    "RecordingStorage1 = \"/mnt/general\"\n"
    "\n"
    "RecordingStorage2 = \"/mnt/rec2\"\n"
    "\n" +
    kLocalRest;

class Road : public testing::Test {
protected:
    Road() {
        machine_.Global(kGlobalBefore);
        machine_.Local(kLocalBefore);
        machine_.Drive("/mnt/general", 1 << 20);
        machine_.Drive("/mnt/rec1", 2 << 20);
        machine_.Drive("/mnt/rec2", 3 << 20);
    }

    void ExpectNothingChanged() {
        EXPECT_EQ(machine_.Global(), kGlobalBefore);
        EXPECT_EQ(machine_.Local(), kLocalBefore);
        EXPECT_FALSE(machine_.Exists(place::kAutostart));
        EXPECT_EQ(machine_.Files(place::kConfig), (std::vector<std::string>{"global.cfg", "local.cfg"}));
    }

    // All of the form's values: name, number, ID, drives, general storage, start at boot.
    void ChangeEveryField(Session& session) {
        ReplaceName(session, 6, "Hall-7");
        session.Pick(session.At().countCombo, 2, 8);
        session.Pick(session.At().idCombo, 1, 3);
        SwitchDrives(session, {0, 1, 2}, session.At().driveOk);
        session.Pick(session.At().generalCombo, 1, 3);
        session.Click(session.At().checkbox);
    }

    Machine machine_;
};

TEST_F(Road, ApplyWritesEveryChangedFieldByteForByteAndEndsWithStatusZero) {
    Session session(machine_, kFullHd);
    ChangeEveryField(session);
    ApplyAndEnd(session);

    EXPECT_EQ(machine_.Global(), kGlobalAfter);
    EXPECT_EQ(machine_.Local(), kLocalAfter);
    EXPECT_EQ(machine_.Read(place::kAutostart), kStartEntryText);
    EXPECT_FALSE(machine_.IsLink(place::kAutostart));
    EXPECT_EQ(machine_.Files(place::kConfig), (std::vector<std::string>{"global.cfg", "local.cfg"}));
    EXPECT_EQ(machine_.Log(), kNoCameraFile);
}

TEST_F(Road, LogOfASessionIsABannerAndTheMessagesOfTheStart) {
    Session session(machine_, kFullHd);
    CancelAndEnd(session);
    const std::regex whole(
        "\n\n-----   [0-9]{2}:[0-9]{2}   [0-9]{1,2}/[0-9]{1,2}/[0-9]{4}   -----\n\n"
        "ERROR: Config: Cannot open camera config file '/etc/Orvan/Config/Server/camera\\.cfg'\n");
    EXPECT_TRUE(std::regex_match(machine_.Read(place::kLog), whole)) << machine_.Read(place::kLog);
    EXPECT_EQ(machine_.Mode(place::kLog), 0666U);
}

TEST_F(Road, FormShowsWhatTheFilesSay) {
    machine_.AutostartOn();
    Session session(machine_, kFullHd);
    const Layout& at = session.At();
    EXPECT_TRUE(session.Reads(at.FieldText(), "Site A", colour::kControl));
    EXPECT_TRUE(session.Reads(at.ComboText(at.countCombo), "2", colour::kControl));
    EXPECT_TRUE(session.Reads(at.ComboText(at.idCombo), "1", colour::kControl));
    EXPECT_TRUE(session.Reads(at.summary, "/mnt/rec1", colour::kWindow));
    EXPECT_TRUE(session.Reads(at.ComboText(at.generalCombo), "/mnt/general", colour::kControl));
    EXPECT_TRUE(session.Reads(at.checkboxText, "Yes", colour::kWindow));
}

TEST_F(Road, CancelAfterEveryChangeLeavesAllFilesAsTheyWere) {
    Session session(machine_, kFullHd);
    ChangeEveryField(session);
    CancelAndEnd(session);
    ExpectNothingChanged();
}

TEST_F(Road, ClashOfTheStoragesShowsTheAlertAndChangesNothing) {
    Session session(machine_, kFullHd);
    session.Pick(session.At().generalCombo, 1, 3);
    session.Click(session.At().checkbox);
    session.Click(session.At().apply);
    EXPECT_TRUE(AlertIsUp(session));
    EXPECT_TRUE(session.Run().Running());
    ExpectNothingChanged();
}

TEST_F(Road, ApplyWorksAfterTheAlertWasLeftAndTheClashRemoved) {
    Session session(machine_, kFullHd);
    session.Pick(session.At().generalCombo, 1, 3);
    session.Click(session.At().apply);
    ASSERT_TRUE(AlertIsUp(session));
    session.Click(session.At().alertOk);
    EXPECT_FALSE(AlertIsUp(session));
    EXPECT_TRUE(session.Reads(session.At().ComboText(session.At().generalCombo), "/mnt/rec1", colour::kControl));

    session.Pick(session.At().generalCombo, 2, 3);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global().find("GeneralStoragePath = \"/mnt/rec2\"\n"), kGlobalBefore.find("GeneralStoragePath"));
    EXPECT_NE(machine_.Local().find("RecordingStorage1 = \"/mnt/rec1\"\n"), std::string::npos);
}

TEST_F(Road, AlertThenOkThenCancelChangesNothing) {
    Session session(machine_, kFullHd);
    session.Pick(session.At().generalCombo, 1, 3);
    session.Click(session.At().apply);
    session.Click(session.At().alertOk);
    CancelAndEnd(session);
    ExpectNothingChanged();
}

TEST_F(Road, UntouchedFormAppliedWritesWhatWasLoaded) {
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    std::string expectedGlobal = kGlobalBefore;
    std::string expectedLocal = kLocalBefore;
    // The form's drives are mount points, without the closing slash of the files.
    expectedGlobal.replace(expectedGlobal.find("/mnt/general/"), 13, "/mnt/general");
    expectedLocal.replace(expectedLocal.find("/mnt/rec1/"), 10, "/mnt/rec1");
    EXPECT_EQ(machine_.Global(), expectedGlobal);
    EXPECT_EQ(machine_.Local(), expectedLocal);
    EXPECT_FALSE(machine_.Exists(place::kAutostart));
}

TEST_F(Road, SecondSessionShowsAndKeepsWhatTheFirstWrote) {
    {
        Session first(machine_, kFullHd);
        ChangeEveryField(first);
        ApplyAndEnd(first);
    }
    Session second(machine_, kFullHd);
    const Layout& at = second.At();
    EXPECT_TRUE(second.Reads(at.FieldText(), "Hall-7", colour::kControl));
    EXPECT_TRUE(second.Reads(at.ComboText(at.countCombo), "3", colour::kControl));
    EXPECT_TRUE(second.Reads(at.ComboText(at.idCombo), "2", colour::kControl));
    EXPECT_TRUE(second.Reads(at.summary, "/mnt/general; /mnt/rec2", colour::kWindow));
    EXPECT_TRUE(second.Reads(at.checkboxText, "Yes", colour::kWindow));
}

}  // namespace
}  // namespace gui
