// The text that the checker prints, and its exit status.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <regex>

#include "check/CheckRun.h"

namespace {

using CheckText = CheckTest;

TEST_F(CheckText, IsTheVerdictAloneForAPairThatApplyWouldWriteAsItStands) {
    PutBoth(kCleanGlobal, kCleanLocal);
    EXPECT_EQ(Text(0), "clean\n");
}

TEST_F(CheckText, OfALayoutThatWouldChangeIsADiffAndTheVerdictClean) {
    Put("global.cfg", std::string("# by hand\n") + kCleanGlobal);
    Put("local.cfg", kCleanLocal);
    EXPECT_EQ(Text(0),
              "--- DIR/global.cfg\n"
              "+++ DIR/global.cfg (after \"Apply\")\n"
              "@@ -1,4 +1,3 @@\n"
              "-# by hand\n"
              " ClusterName = \"Harbour Gate\"\n"
              " \n"
              " NodeCount = 2\n"
              "clean\n");
}

TEST_F(CheckText, HasEachMessageWordForWordWithItsLineAndWhatToDoBelow) {
    PutBoth("NodeCount = 1\nClusterName = \"a\"\nCamerasConnectedToNode2 = 1\nGeneralStoragePath = \"/mnt/c\"\n",
            "[Camera]\nNodeID = 1\n");
    const std::string text = Text(1);
    EXPECT_NE(text.find("Config: 'CamerasConnectedToNode' refers to incorrect node\n"
                        "    DIR/global.cfg, line 3: the system has no Recorder of that number; the line was not "
                        "taken. Correct the number in the tag, or NodeCount.\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("Config: 'NodeID' should be defined first\n"
                        "    DIR/local.cfg, line 1: a section begins before the Recorder has its ID; the section was "
                        "not taken. Move NodeID up.\n"),
              std::string::npos)
        << text;
}

TEST_F(CheckText, NamesNoLineForAMessageBehindTheLastLine) {
    PutBoth("NodeCount = 1\n", kCleanLocal);
    EXPECT_NE(Text(2).find("Config: 'ClusterName' is not defined\n    DIR/global.cfg: the file gives"),
              std::string::npos);
}

TEST_F(CheckText, NamesTheLineOfTheFileWhereLongLinesAreReadInPieces) {
    PutBoth(std::string(5000, '#') + "\n" + std::string(1183, '#') + "NodeCount = 70\n", kCleanLocal);
    EXPECT_NE(Text(2).find("Config: 'NodeCount' is too big\n    DIR/global.cfg, line 2: "), std::string::npos);
}

TEST_F(CheckText, HasAMessageThatRepeatsWithoutEndOnceAndNothingBehindIt) {
    PutBoth("NodeCount = 2\nClusterName = a\nNodesOffline = 1, 65, 0\n", "NodeID = 9\n");
    EXPECT_EQ(Text(2),
              "Config: Invalid node  number in offline list (65)\n"
              "    DIR/global.cfg, line 3: the list of offline Recorders holds a number that is 0 or above 64. The "
              "reader never gets past it, so the form would never open. Correct the number or take it out.\n"
              "broken: 1\n");
}

TEST_F(CheckText, HasAMessageThatRepeatsForManyLinesAsOftenAsItComes) {
    std::string local = "NodeID = 1\n[Camera 1-2]\nCaptureDevice = \"a\", \"b\"\nCameraModel = \"a\", \"b\"\n";
    for (int i = 0; i < 3000; ++i) {
        local += "SyncMode = 7\n";
    }
    PutBoth(kCleanGlobal, local);
    const std::string text = Text(1);
    const std::regex message("Config: Specified sync mode is incorrect \\(7\\)\n    DIR/local.cfg, line [0-9]+: ");
    EXPECT_EQ(std::distance(std::sregex_iterator(text.begin(), text.end(), message), std::sregex_iterator()), 3000);
    EXPECT_NE(text.find("DIR/local.cfg, line 3004: "), std::string::npos);
}

TEST_F(CheckText, TellsWhatApplyWouldTakeOutWithWhatToDoAboutIt) {
    PutBoth(kCleanGlobal, std::string(kCleanLocal) + "MaxMemUseAllowed = 53%\nCamerasOffline = 1\n");
    Mount({"/mnt/d", "/mnt/a"});
    const std::string text = Text(1);
    EXPECT_EQ(
        text.substr(0, text.find("--- ")),
        "recording storage 2 is not mounted: /mnt/b/\n"
        "    \"Apply\" would take it out of local.cfg. Mount the drive before the form is opened.\n"
        "the general storage is not mounted: /mnt/c/\n"
        "    \"Apply\" would make '/mnt/d' the general storage. Mount the drive before the form is opened.\n"
        "\"Apply\" would change MaxMemUseAllowed in local.cfg\n"
        "    The percentage is kept in single precision and its rest is cut off; choose one that comes back, such "
        "as one below.\n"
        "\"Apply\" would drop line 7 of local.cfg: RecordingStorage2 = \"/mnt/b\"\n"
        "    Mount the drive before the form is opened, number the storages without a gap, or take the line out.\n"
        "\"Apply\" would drop line 14 of local.cfg: CamerasOffline = 1\n"
        "    The reader does not take such lists, so no save keeps them. Put the line in again after "
        "\"Apply\".\n");
    EXPECT_EQ(text.substr(text.rfind("notice")), "notice: 5\n");
}

TEST_F(CheckText, SaysWhyApplyWouldBeRefusedAndShowsNoDiff) {
    PutBoth(kCleanGlobal, kCleanLocal);
    Mount({"/mnt/a", "/mnt/b"});
    EXPECT_EQ(Text(1),
              "the general storage is not mounted: /mnt/c/\n"
              "    \"Apply\" would make '/mnt/a' the general storage. Mount the drive before the form is opened.\n"
              "\"Apply\" would be refused\n"
              "    the general storage, '/mnt/a', is a recording drive too. Mount the drive of the general storage, or "
              "choose another on the form.\n"
              "notice: 2\n");
}

TEST_F(CheckText, OfAPathThatIsTooLongNamesItsLineAndShowsNoDiff) {
    const std::string path = "/mnt/" + std::string(506, 'x');
    PutBoth("ClusterName = a\nGeneralStoragePath = /short\nNodeCount = 1\nGeneralStoragePath = \"" + path + "\"\n",
            "NodeID = 1\n");
    EXPECT_EQ(Text(2),
              "the path of the general storage is too long (512 characters)\n"
              "    DIR/global.cfg, line 4: the form has room for 511 with the closing slash; the program is aborted "
              "before it opens. Shorten the path.\n"
              "broken: 1\n");
}

TEST_F(CheckText, OfAPathOfThe511CharactersThatFitIsNoSuchFinding) {
    PutBoth("ClusterName = a\nNodeCount = 1\nGeneralStoragePath = \"/mnt/" + std::string(505, 'x') + "\"\n",
            "NodeID = 1\n");
    EXPECT_EQ(Text(1).find("too long"), std::string::npos);
}

TEST_F(CheckText, TakesAMissingFileAsAnEmptyOneInTheDiff) {
    Put("global.cfg", kCleanGlobal);
    const std::string text = Text(2);
    EXPECT_EQ(text.find("Config: Cannot open config file 'DIR/local.cfg' (2)\n    DIR/local.cfg: the file cannot be "),
              0U)
        << text;
    EXPECT_NE(text.find("--- DIR/local.cfg\n+++ DIR/local.cfg (after \"Apply\")\n@@ -0,0 +1,4 @@\n"
                        "+NodeID = 1\n+\n+\n+\nbroken: 2\n"),
              std::string::npos)
        << text;
}

TEST_F(CheckText, IsTheLastLineAloneWithQuiet) {
    PutBoth("NodeCount = 1\n", "NodeID = 1\n");
    const CheckResult result = Check({"--quiet"});
    EXPECT_EQ(result.status, 2);
    const std::string text = Text(2);
    EXPECT_EQ(result.out, text.substr(text.rfind("broken: ")));
}

TEST_F(CheckText, CountsItsFindings) {
    PutBoth(kCleanGlobal, std::string(kCleanLocal) + "One = 1\nTwo = 2\n");
    const std::string text = Text(1);
    EXPECT_NE(text.find("\"Apply\" would drop line 13 of local.cfg: One = 1\n"), std::string::npos) << text;
    EXPECT_EQ(text.substr(text.rfind("notice")), "notice: 2\n");
}

TEST_F(CheckText, SaysWhatTheStartAfterApplyWouldSay) {
    PutBoth(std::string(kCleanGlobal) + "SensorsConnectedToNode1 = 1\n",
            std::string(kCleanLocal) + "[Sensor]\nCaptureDevice = \"a\", \"b\"\n");
    const std::string text = Text(1);
    EXPECT_NE(text.find("the start after \"Apply\" would say: Config: Specified Sensor ID is incorrect (1) for Node 1\n"
                        "    DIR/local.cfg (after \"Apply\"), line 13: the section names a device that"),
              std::string::npos)
        << text;
}

TEST_F(CheckText, CallsTheFolderWhatTheUserCallsItWithoutClosingSlashes) {
    const CheckResult result = CheckProcess({"--directory=/nowhere//", "--mtab=" + MountTable()}, Temporary()).Wait();
    EXPECT_EQ(result.out.find("Config: Cannot open config file '/nowhere/global.cfg' (2)\n"), 0U) << result.out;
    EXPECT_EQ(result.status, 2);
}

}  // namespace
