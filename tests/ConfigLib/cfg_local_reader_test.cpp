// Reader of local.cfg.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "ConfigLib/ConfigTest.h"

namespace {

using Hardware = CONFIGURATION__CAPTURE_HARDWARE;

// Two nodes with four cameras each and two sensors on the first.
constexpr char kSystem[] =
    "ClusterName = a\nNodeCount = 2\nCamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 4\n"
    "SensorsConnectedToNode1 = 2\n";

// A whole section of the cameras 1 to 4, but for its header.
constexpr char kBody[] = "CaptureDevice = \"d\", \"e\"\nCameraModel = \"m\", \"p\"\n";

class LocalReader : public ConfigTest {
public:
    LocalReader() { EXPECT_EQ(LoadGlobal(kSystem), 2); }

    // Loads lines behind "NodeID = 1" that must load clean.
    void Load(const std::string& lines) {
        EXPECT_EQ(LoadLocal("NodeID = 1\n" + lines), 2) << lines;
        EXPECT_EQ(Logged(), Messages{}) << lines;
    }

    // Loads a whole section of the cameras 1 to 4 of node 1 with some lines more.
    Hardware& LoadSection(const std::string& lines, int result = 2, const Messages& messages = {}) {
        EXPECT_EQ(LoadLocal(std::string("NodeID = 1\n[Camera]\n") + kBody + lines), result) << lines;
        EXPECT_EQ(Logged(), messages) << lines;
        return Section(0);
    }

    static std::vector<Hardware*>& Cameras() { return Local().vHardware[CAPTURE_DEVICE_CAMERA]; }
    static std::vector<Hardware*>& Sensors() { return Local().vHardware[CAPTURE_DEVICE_SENSOR]; }
    static Hardware& Section(std::size_t index) { return *Cameras().at(index); }

    // The sections of both types, as "camera 1-4, sensor 1-2".
    static std::string Sections() {
        std::string text;
        for (int type = 0; type < 2; ++type) {
            for (const Hardware* section : Local().vHardware[type]) {
                text += (text.empty() ? "" : ", ") + std::string(type == 0 ? "camera " : "sensor ") +
                        std::to_string(section->uiFirstDevice) + "-" + std::to_string(section->uiLastDevice);
            }
        }
        return text;
    }

    // The models of a section, as "m/p*4".
    static std::string Models(const Hardware& section) {
        std::string text;
        for (const CONFIGURATION__CAPTURE_DEVICE* model : section.vCameraModels) {
            text += (text.empty() ? "" : ", ") + std::string(model->szModelName) + "/" + model->szModelParams + "*" +
                    std::to_string(model->uiModelCameras);
        }
        return text;
    }
};

// ---- Messages. The file is that of node 1 of kSystem.

struct MessageRow {
    const char* name;
    std::string text;
    int result;
    Messages messages;
    const char* sections;  // that the record holds afterwards
};

class LocalMessages : public LocalReader, public testing::WithParamInterface<MessageRow> {};

TEST_P(LocalMessages, ComeWithTheResultAndTheSectionsThatTheRecordHolds) {
    EXPECT_EQ(LoadLocal(GetParam().text), GetParam().result);
    EXPECT_EQ(Logged(), GetParam().messages);
    EXPECT_EQ(Sections(), GetParam().sections);
}

std::string Node1(const std::string& lines) {
    return "NodeID = 1\n" + lines;
}

std::string Whole(const std::string& header) {
    return header + "\n" + kBody;
}

const MessageRow kMessageRows[] = {
    {"NoneForAMinimalFile", "NodeID = 1\n", 2, {}, ""},
    {"NoneForAWholeNode",
     Node1(Whole("[Camera 1-4]") + "[Sensor]\nCaptureDevice=a,b\n"),
     2,
     {},
     "camera 1-4, sensor 1-2"},
    {"NodeIdTwiceEndsAtOnce",
     Node1(Whole("[Camera]") + "NodeID = 1\n[Sensor]\n"),
     0,
     {"Config: Miltiple definitions of tag 'NodeID'"},
     "camera 1-4"},
    {"NodeIdTwiceWithZeroSecond", "NodeID = 1\nNodeID = 0\n", 0, {"Config: Miltiple definitions of tag 'NodeID'"}, ""},
    {"NodeIdTwiceWithABadSecond", "NodeID = 1\nNodeID = 3\n", 0, {"Config: Miltiple definitions of tag 'NodeID'"}, ""},
    {"NodeIdAboveTheCountEndsAtOnce", "NodeID = 3\nNodeID = 1\n[Camera]\n", 0, {"Config: Invalid 'NodeID'"}, ""},
    {"NodeIdMinusOne", "NodeID = -1\n", 0, {"Config: Invalid 'NodeID'"}, ""},
    {"NodeIdAtTheCount", "NodeID = 2\n", 2, {}, ""},
    {"NodeIdZero", "NodeID = 0\n", 0, {"Config: 'NodeID' is not defined"}, ""},
    {"NodeIdZeroThenGood", "NodeID = 0\nNodeID = 2\n", 2, {}, ""},
    {"NoNodeId", "IP = 1.2.3.4\n", 0, {"Config: 'NodeID' is not defined"}, ""},
    {"NoNodeIdStopsAllFurtherChecks", "RecordingStorage2 = /a\n", 0, {"Config: 'NodeID' is not defined"}, ""},
    {"EmptyFile", "", 0, {"Config: 'NodeID' is not defined"}, ""},
    {"StorageZero", Node1("RecordingStorage0 = /a\n"), 1, {"Config: Invalid RecordingStorage number (0)"}, ""},
    {"StorageSixteen", Node1("RecordingStorage16 = /a\n"), 1, {"Config: Invalid RecordingStorage number (16)"}, ""},
    {"StorageMinusOne",
     Node1("RecordingStorage-1 = /a\n"),
     1,
     {"Config: Invalid RecordingStorage number (4294967295)"},
     ""},
    {"StorageTwice",
     Node1("RecordingStorage1 = /a\nRecordingStorage1 = /b\n"),
     1,
     {"Config: RecordingStorage1 is defined more than once"},
     ""},
    {"StorageGap", Node1("RecordingStorage2 = /a\n"), 1, {"Config: RecordingStorage1 is not defined"}, ""},
    {"StorageGaps",
     Node1("RecordingStorage2 = /a\nRecordingStorage5 = /a\nRecordingStorage6 = /a\n"),
     1,
     {"Config: RecordingStorage1 is not defined", "Config: RecordingStorage3 is not defined"},
     ""},
    {"HeaderAheadOfNodeId", "[Camera]\nNodeID = 1\n", 1, {"Config: 'NodeID' should be defined first"}, ""},
    {"UnknownHeaderAheadOfNodeId", "[Foo]\nNodeID = 1\n", 1, {"Config: 'NodeID' should be defined first"}, ""},
    {"RangeBelowTheNodesDevices",
     "NodeID = 2\n[Camera 4-5]\n",
     1,
     {"Config: Specified Camera ID range is incorrect [4-5] for Node 2"},
     ""},
    {"RangeAboveTheNodesDevices",
     Node1("[Camera 4-5]\n"),
     1,
     {"Config: Specified Camera ID range is incorrect [4-5] for Node 1"},
     ""},
    {"RangeFromZero",
     Node1("[Camera 0-2]\n"),
     1,
     {"Config: Specified Camera ID range is incorrect [0-2] for Node 1"},
     ""},
    {"RangeReversed",
     Node1("[Camera 4-3]\n"),
     1,
     {"Config: Specified Camera ID range is incorrect [4-3] for Node 1"},
     ""},
    {"RangeOfSensors",
     Node1("[Sensor 1-3]\n"),
     1,
     {"Config: Specified Sensor ID range is incorrect [1-3] for Node 1"},
     ""},
    {"RangeWithTwoHyphens",
     Node1("[Camera 1--2]\n"),
     1,
     {"Config: Specified Camera ID range is incorrect [1-4294967294] for Node 1"},
     ""},
    {"NumberAboveTheNodesDevices",
     Node1("[Camera 5]\n"),
     1,
     {"Config: Specified Camera ID is incorrect (5) for Node 1"},
     ""},
    {"NumberBelowTheNodesDevices",
     "NodeID = 2\n[Camera 4]\n",
     1,
     {"Config: Specified Camera ID is incorrect (4) for Node 2"},
     ""},
    {"NumberZero", Node1("[Camera 0]\n"), 1, {"Config: Specified Camera ID is incorrect (0) for Node 1"}, ""},
    {"NumberMinusOne",
     Node1("[Camera -1]\n"),
     1,
     {"Config: Specified Camera ID is incorrect (4294967295) for Node 1"},
     ""},
    {"NumberOfASensor", Node1("[Sensor 3]\n"), 1, {"Config: Specified Sensor ID is incorrect (3) for Node 1"}, ""},
    {"SelectorOfThePlural", Node1("[Cameras 1]\n"), 1, {"Config: Invalid device selector '[cameras1]'"}, ""},
    {"SelectorEmpty", Node1("[Camera"), 1, {"Config: Invalid device selector '[camera'"}, ""},
    {"SelectorWithoutABracket", Node1("[Camera 1\n"), 1, {"Config: Invalid device selector '[camera1'"}, ""},
    {"SelectorRangeWithoutABracket", Node1("[Camera 1-4\n"), 1, {"Config: Invalid device selector '[camera1-4'"}, ""},
    {"SelectorRangeWithAnotherBracket",
     Node1("[Camera 1-4)\n"),
     1,
     {"Config: Invalid device selector '[camera1-4)'"},
     ""},
    {"SelectorWithoutASecondNumber", Node1("[Camera 1-]\n"), 1, {"Config: Invalid device selector '[camera1-]'"}, ""},
    {"SelectorWithAQuotedBlank", Node1("[Camera 1\" \"]\n"), 1, {"Config: Invalid device selector '[camera1 ]'"}, ""},
    {"SelectorWithAComma", Node1("[Camera 1,2]\n"), 1, {"Config: Invalid device selector '[camera1,2]'"}, ""},
    {"SelectorIsReportedAsNormalised",
     Node1("[ CAMERA \"X Y\" ]\n"),
     1,
     {"Config: Invalid device selector '[cameraX Y]'"},
     ""},
    {"ModelOfACameraBelowTheSection",
     Node1("[Camera 2-3]\n" + std::string(kBody) + "CameraModel1 = m,p\n[Camera 1]\n" + kBody + "[Camera 4]\n" + kBody),
     1,
     {"Config: Specified Camera ID is incorrect (1)"},
     "camera 2-3, camera 1-1, camera 4-4"},
    {"ModelOfACameraAboveTheSection",
     Node1(Whole("[Camera]") + "CameraModel5 = m,p\n"),
     1,
     {"Config: Specified Camera ID is incorrect (5)"},
     "camera 1-4"},
    {"MacOfACameraAboveTheSection",
     Node1(Whole("[Camera]") + "CameraMAC5 = 1:2:3:4:5:6\n"),
     1,
     {"Config: Specified Camera ID is incorrect (5)"},
     "camera 1-4"},
    {"MacOfACameraZeroEvenWithoutAnAddress",
     Node1(Whole("[Camera]") + "CameraMAC0 = 0:0:0:0:0:0\n"),
     1,
     {"Config: Specified Camera ID is incorrect (0)"},
     "camera 1-4"},
    {"SyncModeFive",
     Node1(Whole("[Camera]") + "SyncMode = 5\n"),
     1,
     {"Config: Specified sync mode is incorrect (5)"},
     "camera 1-4"},
    {"SyncModeMinusOne",
     Node1(Whole("[Camera]") + "SyncMode = -1\n"),
     1,
     {"Config: Specified sync mode is incorrect (4294967295)"},
     "camera 1-4"},
    {"NoCaptureDevice",
     Node1("[Camera 1-2]\nCameraModel = m,p\n"),
     1,
     {"Config: 'CaptureDevice' is not defined correctly for cameras 1-2"},
     "camera 1-2"},
    {"NoCaptureDeviceForSensors",
     Node1("[Sensor 1]\n"),
     1,
     {"Config: 'CaptureDevice' is not defined correctly for sensors 1-1"},
     "sensor 1-1"},
    {"ReversedRangeOfSensors",
     "NodeID = 2\n[Sensor]\nCaptureDevice = a,b\n",
     1,
     {"Config: Invalid sensor range specified 3-2"},
     "sensor 3-2"},
    {"NoCameraModel",
     Node1("[Camera 1-4]\nCaptureDevice = a,b\n"),
     1,
     {"Config: Mismatch in number of defined 'CameraModel' in cameras 1-4 range"},
     "camera 1-4"},
    {"TooFewCameraModels",
     Node1("[Camera 1-4]\nCaptureDevice = a,b\nCameraModel1=m,p\nCameraModel2=m,p\nCameraModel3=m,p\n"),
     1,
     {"Config: Mismatch in number of defined 'CameraModel' in cameras 1-4 range"},
     "camera 1-4"},
    {"OneCameraModelTooMany",
     Node1(Whole("[Camera 1-4]") + "CameraModel1=m,p\n"),
     1,
     {"Config: Mismatch in number of defined 'CameraModel' in cameras 1-4 range"},
     "camera 1-4"},
    {"SomeMacsOnly",
     Node1(Whole("[Camera 1-4]") + "CameraMAC1=1:2:3:4:5:6\nCameraMAC2=1:2:3:4:5:6\nCameraMAC4=1:2:3:4:5:6\n"),
     1,
     {"Config: Not all 'CameraMAC' are defined for cameras 1-4"},
     "camera 1-4"},
    {"OverlapOfCameras",
     Node1(Whole("[Camera 1-2]") + Whole("[Camera 2-3]")),
     1,
     {"Config: Invalid cameras range specified 2-3 (overlaping)"},
     "camera 1-2, camera 2-3"},
    {"OverlapOfSensors",
     Node1("[Sensor 1]\nCaptureDevice=a,b\n[Sensor 1-2]\nCaptureDevice=a,b\n"),
     1,
     {"Config: Invalid sensors range specified 1-2 (overlaping)"},
     "sensor 1-1, sensor 1-2"},
    {"SameSectionTwice",
     Node1(Whole("[Camera]") + Whole("[Camera]")),
     1,
     {"Config: Invalid cameras range specified 1-4 (overlaping)"},
     "camera 1-4, camera 1-4"},
    {"NotAllCameras", Node1(Whole("[Camera 1-2]")), 1, {"Config: Not all [Camera] are defined"}, "camera 1-2"},
    {"NotAllSensors",
     Node1("[Sensor 2]\nCaptureDevice=a,b\n"),
     1,
     {"Config: Not all [Sensor] are defined"},
     "sensor 2-2"},
    {"CaptureDeviceIsAskedForAheadOfTheRange",
     "NodeID = 2\n[Sensor]\n",
     1,
     {"Config: 'CaptureDevice' is not defined correctly for sensors 3-2"},
     "sensor 3-2"},
    {"ModelsAreCountedAheadOfTheMacs",
     Node1("[Camera 1-4]\nCaptureDevice = a,b\nCameraMAC1=1:2:3:4:5:6\n"),
     1,
     {"Config: Mismatch in number of defined 'CameraModel' in cameras 1-4 range"},
     "camera 1-4"},
    {"MacsAreCheckedAheadOfTheOverlap",
     Node1(Whole("[Camera]") + Whole("[Camera]") + "CameraMAC1=1:2:3:4:5:6\n"),
     1,
     {"Config: Not all 'CameraMAC' are defined for cameras 1-4"},
     "camera 1-4, camera 1-4"},
    {"TheFirstBadSectionEndsTheEndChecksOfBothTypes",
     Node1("[Sensor 1]\n[Camera 3]\n[Camera 1]\n"),
     1,
     {"Config: 'CaptureDevice' is not defined correctly for cameras 3-3"},
     "camera 3-3, camera 1-1, sensor 1-1"},
    {"GoodCamerasLetTheSensorsBeChecked",
     Node1(Whole("[Camera]") + "[Sensor 1]\n"),
     1,
     {"Config: 'CaptureDevice' is not defined correctly for sensors 1-1"},
     "camera 1-4, sensor 1-1"},
    {"StoragesAreCheckedAfterAFailedSection",
     Node1("RecordingStorage2 = /a\n[Camera 1]\n"),
     1,
     {"Config: 'CaptureDevice' is not defined correctly for cameras 1-1", "Config: RecordingStorage1 is not defined"},
     "camera 1-1"},
    {"LineErrorsDoNotStopTheReading",
     Node1("[Camera 9]\nRecordingStorage0=/a\n[Foo\n[Camera 0-0]\n" + Whole("[Camera]") + "SyncMode=9\n"),
     1,
     {"Config: Specified Camera ID is incorrect (9) for Node 1", "Config: Invalid RecordingStorage number (0)",
      "Config: Specified Camera ID range is incorrect [0-0] for Node 1",
      "Config: Specified sync mode is incorrect (9)"},
     "camera 1-4"},
};

INSTANTIATE_TEST_SUITE_P(OfEveryKind, LocalMessages, testing::ValuesIn(kMessageRows),
                         [](const auto& row) { return row.param.name; });

TEST_F(LocalReader, AModelWithBothValuesEmptyCannotComeFromAFile) {
    LoadSection("CameraModel = \"\", \"\"\nCameraModel1 = \"\", \"\"\n");
    EXPECT_EQ(Models(Section(0)), "m/p*4");
}

// ---- Edge cases of the reader

TEST_F(LocalReader, AFileOfOnlyANodeIdLoadsCleanWithoutSectionsAndStorages) {
    EXPECT_EQ(LoadLocal("NodeID = 1"), 2);
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Sections(), "");
    EXPECT_EQ(Local().uiRecordingStorageCount, 0U);
}

TEST_F(LocalReader, NodeIdZeroTwiceIsNotDefinedAndNoDouble) {
    EXPECT_EQ(LoadLocal("NodeID = 0\nNodeID = 0\n"), 0);
    EXPECT_EQ(Logged(), Messages{"Config: 'NodeID' is not defined"});
}

TEST_F(LocalReader, WithTheGlobalFileUnreadableEveryNodeIdIsInvalidAndEarlierLinesAreKept) {
    unlink(Path("global.cfg").c_str());
    ConfigLib_Load_Global();
    EXPECT_EQ(LoadLocal("IP = 1.2.3.4\nNodeID = 1\nMaxMemUseAllowed = 50\n"), 0);
    EXPECT_EQ(Logged(), Messages{"Config: Invalid 'NodeID'"});
    EXPECT_EQ(Local().uiIP[0], Address(1, 2, 3, 4));
    EXPECT_EQ(Local().uiNodeID, 0U);
    EXPECT_EQ(Local().fMaxMemUseAllowed, 0.0F);
}

TEST_F(LocalReader, WithTheGlobalFileUnreadableANodeIdOfZeroIsTheOnlyOneAccepted) {
    unlink(Path("global.cfg").c_str());
    ConfigLib_Load_Global();
    EXPECT_EQ(LoadLocal("NodeID = 0\nMaxMemUseAllowed = 50\n"), 0);
    EXPECT_EQ(Logged(), Messages{"Config: 'NodeID' is not defined"});
    EXPECT_EQ(Local().fMaxMemUseAllowed, 0.5F);
}

TEST_F(LocalReader, WithAGlobalFileThatFailedBehindItsNodeCountEverySectionFails) {
    EXPECT_EQ(LoadGlobal("NodeCount = 2\nCamerasConnectedToNode1 = 4\n"), 0);
    EXPECT_EQ(LoadLocal(Node1(Whole("[Camera]") + "[Sensor 1]\n")), 1);
    const char* message = "Config: Correct Global config is required to process Local configuration";
    EXPECT_EQ(Logged(), (Messages{message, message}));
    EXPECT_EQ(Sections(), "");
}

TEST_F(LocalReader, TheCamerasOfTheSecondNodeAreFiveToEight) {
    EXPECT_EQ(LoadLocal("NodeID = 2\n" + Whole("[Camera 5-8]")), 2);
    EXPECT_EQ(Sections(), "camera 5-8");
    EXPECT_EQ(LoadLocal("NodeID = 2\n" + Whole("[Camera]")), 2);
    EXPECT_EQ(Sections(), "camera 5-8");
    EXPECT_EQ(LoadLocal("NodeID = 2\n[Camera 1-4]\n"), 1);
    EXPECT_EQ(Logged(), Messages{"Config: Specified Camera ID range is incorrect [1-4] for Node 2"});
    EXPECT_EQ(LoadLocal("NodeID = 2\n[Camera 9]\n"), 1);
    EXPECT_EQ(Logged(), Messages{"Config: Specified Camera ID is incorrect (9) for Node 2"});
}

TEST_F(LocalReader, ReversedRangesAndZerosAreRefusedInTheHeader) {
    EXPECT_EQ(LoadLocal("NodeID = 1\n[camera 4-3]\n[Camera 0-2]\n[Camera 0]\n"), 1);
    EXPECT_EQ(Logged(), (Messages{"Config: Specified Camera ID range is incorrect [4-3] for Node 1",
                                  "Config: Specified Camera ID range is incorrect [0-2] for Node 1",
                                  "Config: Specified Camera ID is incorrect (0) for Node 1"}));
    EXPECT_EQ(Sections(), "");
}

TEST_F(LocalReader, ThePluralInAHeaderIsAnInvalidSelector) {
    EXPECT_EQ(LoadLocal("NodeID = 1\n[Cameras 1]\n"), 1);
    EXPECT_EQ(Logged(), Messages{"Config: Invalid device selector '[cameras1]'"});
}

TEST_F(LocalReader, ASensorSectionOnANodeWithoutSensorsIsRefusedByTheEndChecks) {
    EXPECT_EQ(LoadLocal("NodeID = 2\n[Sensor]\n"), 1);
    EXPECT_EQ(Logged(), Messages{"Config: 'CaptureDevice' is not defined correctly for sensors 3-2"});
    EXPECT_EQ(LoadLocal("NodeID = 2\n[Sensor]\nCaptureDevice = \"a\", \"b\"\n"), 1);
    EXPECT_EQ(Logged(), Messages{"Config: Invalid sensor range specified 3-2"});
}

TEST_F(LocalReader, ACameraSectionOnANodeWithoutCamerasIsRefusedByTheEndChecks) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 1\n"), 2);
    EXPECT_EQ(LoadLocal(Node1(Whole("[Camera]") + "CameraMAC1=1:2:3:4:5:6\nCameraModel0=m,p\n")), 1);
    EXPECT_EQ(Logged(),
              (Messages{"Config: Specified Camera ID is incorrect (1)", "Config: Specified Camera ID is incorrect (0)",
                        "Config: Invalid camera range specified 1-0"}));
    EXPECT_EQ(Models(Section(0)), "m/p*0");
}

TEST_F(LocalReader, AnUnknownSectionIsSkippedWithItsLinesInSilence) {
    Load("[Foo 1]\nCaptureDevice = \"a\", \"b\"\nSyncMode = 9\nCameraModel77 = \"a\", \"b\"\n");
    EXPECT_EQ(Sections(), "");
}

TEST_F(LocalReader, AnUnknownSectionEndsTheOpenOne) {
    LoadSection("[Foo 1]\nLinkSpeed = 9\nSyncMode = 9\n");
    EXPECT_EQ(Section(0).uiLinkSpeed, 0U);
}

TEST_F(LocalReader, OverlappingSectionsGiveTheOverlapMessage) {
    EXPECT_EQ(LoadLocal(Node1(Whole("[Camera 1-2]") + Whole("[Camera 2-3]"))), 1);
    EXPECT_EQ(Logged(), Messages{"Config: Invalid cameras range specified 2-3 (overlaping)"});
}

TEST_F(LocalReader, TwoOfFourCamerasAreNotAll) {
    EXPECT_EQ(LoadLocal(Node1(Whole("[Camera 1-2]"))), 1);
    EXPECT_EQ(Logged(), Messages{"Config: Not all [Camera] are defined"});
}

TEST_F(LocalReader, ModelsOfSingleCamerasOnlyCount) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 2\n"), 2);
    Load("[Camera 1-2]\nCaptureDevice=a,b\nCameraModel1=m,p\nCameraModel2=n,q\n");
    EXPECT_EQ(Models(Section(0)), "m/p*1, n/q*1");
    Load("[Camera 1-2]\nCaptureDevice=a,b\nCameraModel1=m,p\nCameraModel1=n,q\n");
    EXPECT_EQ(Models(Section(0)), "m/p*1, n/q*1");
}

TEST_F(LocalReader, TwoModelsOfAWholeTwoCameraSectionAreAMismatch) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 2\n"), 2);
    EXPECT_EQ(
        LoadLocal("NodeID = 1\n[Camera]\nCaptureDevice=a,b\nCameraModel = \"a\", \"b\"\nCameraModel = \"a\", \"b\"\n"),
        1);
    EXPECT_EQ(Logged(), Messages{"Config: Mismatch in number of defined 'CameraModel' in cameras 1-2 range"});
    EXPECT_EQ(Models(Section(0)), "a/b*2, a/b*2");
}

TEST_F(LocalReader, AMacOfZerosIsSkippedAndMissedWhenTheOthersHaveOne) {
    LoadSection("CameraMAC1 = 00:00:00:00:00:00\n");
    EXPECT_TRUE(Section(0).vCameraMAC.empty());
    LoadSection(
        "CameraMAC1 = 00:00:00:00:00:00\nCameraMAC2=1:2:3:4:5:6\nCameraMAC3=1:2:3:4:5:6\nCameraMAC4=0:0:0:0:0:7\n", 1,
        {"Config: Not all 'CameraMAC' are defined for cameras 1-4"});
    EXPECT_EQ(Section(0).vCameraMAC, (std::vector<std::uint64_t>{0, 0x010203040506, 0x010203040506, 7}));
}

TEST_F(LocalReader, OneHexadecimalDigitPerByteIsEnough) {
    LoadSection(
        "CameraMAC1 = 0:1:2:3:4:5\nCameraMAC2=A:b:C:d:E:f\nCameraMAC3=00:11:22:aA:Bb:FF\nCameraMAC4=1:0:0:0:0:0\n");
    EXPECT_EQ(Section(0).vCameraMAC,
              (std::vector<std::uint64_t>{0x000102030405, 0x0A0B0C0D0E0F, 0x001122AABBFF, 0x010000000000}));
}

TEST_F(LocalReader, AMemoryShareAbove100PercentIsOneAndThePercentSignNeedNotBeThere) {
    Load("MaxMemUseAllowed = 250%\n");
    EXPECT_EQ(Local().fMaxMemUseAllowed, 1.0F);
    Load("MaxMemUseAllowed = 50\n");
    EXPECT_EQ(Local().fMaxMemUseAllowed, 0.5F);
}

TEST_F(LocalReader, AMemoryShareBetweenASectionsLinesEndsTheSection) {
    LoadSection("LinkSpeed = 5\nMaxMemUseAllowed = 50%\nLinkSpeed = 6\nSyncMode = 9\n");
    EXPECT_EQ(Section(0).uiLinkSpeed, 5U);
    EXPECT_EQ(Local().fMaxMemUseAllowed, 0.5F);
}

TEST_F(LocalReader, ACommaInTheFirstValueEndsIt) {
    EXPECT_EQ(LoadLocal("NodeID = 1\n[Camera]\nCameraModel = m,p\nCaptureDevice = \"name,with comma\", \"x\"\n"), 2);
    EXPECT_STREQ(Section(0).szDeviceName, "name");
    EXPECT_STREQ(Section(0).szDeviceParams, "with comma,x");
}

TEST_F(LocalReader, AFirstValueOf64CharactersIsCutAndOneOf65MakesTheLineNotMatch) {
    LoadSection("CaptureDevice = \"" + std::string(64, 'N') + "\", \"x\"\n");
    EXPECT_EQ(Section(0).szDeviceName, std::string(63, 'N'));
    EXPECT_STREQ(Section(0).szDeviceParams, "x");
    LoadSection("CaptureDevice = \"" + std::string(65, 'N') + "\", \"x\"\n");
    EXPECT_STREQ(Section(0).szDeviceName, "d");
    EXPECT_STREQ(Section(0).szDeviceParams, "e");
}

TEST_F(LocalReader, StorageSixteenIsRefusedAndTheCountOfAFullSetStaysFifteen) {
    std::string lines;
    for (int number = 1; number <= 16; ++number) {
        lines += "RecordingStorage" + std::to_string(number) + " = \"/r" + std::to_string(number) + "\"\n";
    }
    EXPECT_EQ(LoadLocal("NodeID = 1\n" + lines), 1);
    EXPECT_EQ(Logged(), Messages{"Config: Invalid RecordingStorage number (16)"});
    EXPECT_EQ(Local().uiRecordingStorageCount, 15U);
    EXPECT_STREQ(Local().szRecordingStorage[14], "/r15/");
    EXPECT_STREQ(Local().szRecordingStorage[15], "");
}

TEST_F(LocalReader, SixtyFourCamerasFailTheCompletenessCheckEvenWhenComplete) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 64\n"), 2);
    EXPECT_EQ(LoadLocal(Node1(Whole("[Camera]"))), 1);
    EXPECT_EQ(Logged(), Messages{"Config: Not all [Camera] are defined"});
    EXPECT_EQ(Sections(), "camera 1-64");
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 63\n"), 2);
    EXPECT_EQ(LoadLocal(Node1(Whole("[Camera]"))), 2);
    EXPECT_EQ(Sections(), "camera 1-63");
}

TEST_F(LocalReader, ANodeWithoutSectionsIsNotCheckedWhateverTheSystemCounts) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 64\n"), 2);
    Load("");
}

// ---- Top-level forms

struct NodeIdRow {
    const char* name;
    const char* line;
    unsigned int expected;
};

class NodeIdForm : public LocalReader, public testing::WithParamInterface<NodeIdRow> {};

TEST_P(NodeIdForm, GivesTheNode) {
    EXPECT_EQ(LoadLocal(GetParam().line), GetParam().expected != 0 ? 2 : 0);
    EXPECT_EQ(Local().uiNodeID, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(OfEveryShape, NodeIdForm,
                         testing::Values(NodeIdRow{"Plain", "NodeID = 2", 2}, NodeIdRow{"Plus", "nodeid=+2", 2},
                                         NodeIdRow{"TextBehind", "NodeID = 2nd", 2},
                                         NodeIdRow{"Quoted", "NodeID = \"2\"", 2},
                                         NodeIdRow{"NoNumber", "NodeID = two", 0}, NodeIdRow{"NoValue", "NodeID =", 0},
                                         NodeIdRow{"TextAhead", "xNodeID = 2", 0},
                                         NodeIdRow{"WrapsToAGoodOne", "NodeID = 4294967298", 2}),
                         [](const auto& row) { return row.param.name; });

struct AddressRow {
    const char* name;
    const char* value;
    unsigned int first;
    unsigned int second;
};

class LocalAddresses : public LocalReader, public testing::WithParamInterface<AddressRow> {};

TEST_P(LocalAddresses, AreTakenWithExactlyFourOrEightNumbers) {
    Load(std::string("IP = ") + GetParam().value + "\n");
    EXPECT_EQ(Local().uiIP[0], GetParam().first);
    EXPECT_EQ(Local().uiIP[1], GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(
    OfEveryForm, LocalAddresses,
    testing::Values(AddressRow{"Three", "1.2.3", 0, 0}, AddressRow{"Four", "192.168.0.11", Address(192, 168, 0, 11), 0},
                    AddressRow{"Five", "1.2.3.4,5", 0, 0}, AddressRow{"Seven", "1.2.3.4,5.6.7", 0, 0},
                    AddressRow{"Eight", "1.2.3.4, 5.6.7.8", Address(1, 2, 3, 4), Address(5, 6, 7, 8)},
                    AddressRow{"QuotedBlankAheadOfADot", "\"1 .2.3.4\"", 0, 0},
                    AddressRow{"SpilledOctet", "256.1.1.1", Address(0, 1, 1, 1), 0}),
    [](const auto& row) { return row.param.name; });

TEST_F(LocalReader, OneAddressBehindTwoReplacesTheFirstAndLeavesTheSecond) {
    Load("IP = 1.2.3.4, 5.6.7.8\nIP = 9.9.9.9\n");
    EXPECT_EQ(Local().uiIP[0], Address(9, 9, 9, 9));
    EXPECT_EQ(Local().uiIP[1], Address(5, 6, 7, 8));
}

TEST_F(LocalReader, MemorySharesFrom0To101And250AreSinglePrecisionFractionsOfAtMostOne) {
    for (unsigned int percent = 0; percent <= 250; percent += percent < 101 ? 1 : 149) {
        SCOPED_TRACE(percent);
        Load("MaxMemUseAllowed = " + std::to_string(percent) + "%\n");
        EXPECT_EQ(Local().fMaxMemUseAllowed, percent >= 100 ? 1.0F : static_cast<float>(percent) / 100.0F);
    }
}

TEST_F(LocalReader, ALaterMemoryShareReplacesTheEarlierAndANegativeOneIsOne) {
    Load("MaxMemUseAllowed = 50%\nMaxMemUseAllowed = 20%\n");
    EXPECT_EQ(Local().fMaxMemUseAllowed, 20.0F / 100.0F);
    Load("MaxMemUseAllowed = -1%\n");
    EXPECT_EQ(Local().fMaxMemUseAllowed, 1.0F);
    Load("MaxMemUseAllowed = %\nMaxMemUseAllowed = half\n");
    EXPECT_EQ(Local().fMaxMemUseAllowed, 0.0F);
}

TEST_F(LocalReader, StoragesGoIntoTheSlotOfTheirNumberAndTheFirstDefinitionWins) {
    EXPECT_EQ(LoadLocal("NodeID = 1\nRecordingStorage2 = \"/B b\"\nRecordingStorage1 = \"/a/\"\n"
                        "RecordingStorage2 = \"/c\"\n"),
              1);
    EXPECT_STREQ(Local().szRecordingStorage[0], "/a/");
    EXPECT_STREQ(Local().szRecordingStorage[1], "/B b/");
    EXPECT_EQ(Local().uiRecordingStorageCount, 2U);
}

TEST_F(LocalReader, AStorageBehindAGapIsNeverVisitedAndGetsNoClosingSlash) {
    EXPECT_EQ(LoadLocal("NodeID = 1\nRecordingStorage1 = /a\nRecordingStorage3 = /c\n"), 1);
    EXPECT_EQ(Logged(), Messages{"Config: RecordingStorage2 is not defined"});
    EXPECT_STREQ(Local().szRecordingStorage[0], "/a/");
    EXPECT_STREQ(Local().szRecordingStorage[2], "/c");
    EXPECT_EQ(Local().uiRecordingStorageCount, 2U);
}

TEST_F(LocalReader, AStorageLineWithoutANumberOrAValueIsIgnored) {
    Load(
        "RecordingStorage = /a\nRecordingStorage1 =\nRecordingStorage1 /a\nRecordingStoragex = /a\n"
        "RecordingStorage1 = \"\"\n");
    EXPECT_EQ(Local().uiRecordingStorageCount, 0U);
}

TEST_F(LocalReader, StorageOneAndFifteenAreTheLimits) {
    EXPECT_EQ(LoadLocal("NodeID = 1\nRecordingStorage15 = /a\nRecordingStorage1 = /b\n"), 1);
    EXPECT_EQ(Logged(), Messages{"Config: RecordingStorage2 is not defined"});
    EXPECT_STREQ(Local().szRecordingStorage[14], "/a");
    EXPECT_STREQ(Local().szRecordingStorage[0], "/b/");
}

TEST_F(LocalReader, PluginNamesGoIntoTheirFieldsAndALaterLineReplacesTheEarlier) {
    Load(
        "CameraStreamPluginName = \"old camera\"\nCameraStreamPluginName = \"Cam\"\n"
        "SensorStreamPluginName = \"Sen, sor\"\nCaptureProcessPluginName = \"old capture\"\n"
        "CaptureProcessPluginName = \"Cap\"\nPostProcessPluginName = Post Name\n");
    EXPECT_STREQ(Local().szStreamPluginName[CAPTURE_DEVICE_CAMERA], "Cam");
    EXPECT_STREQ(Local().szStreamPluginName[CAPTURE_DEVICE_SENSOR], "Sen, sor");
    EXPECT_STREQ(Local().szCaptureProcessPluginName, "Cap");
    EXPECT_STREQ(Local().szPostProcessPluginName, "postname");
}

TEST_F(LocalReader, EmptyPluginNamesLeaveTheEarlierOnes) {
    Load(
        "CameraStreamPluginName = a\nCameraStreamPluginName = \"\"\nCaptureProcessPluginName = b\n"
        "CaptureProcessPluginName =\nPostProcessPluginName = c\nPostProcessPluginName =\n");
    EXPECT_STREQ(Local().szStreamPluginName[CAPTURE_DEVICE_CAMERA], "a");
    EXPECT_STREQ(Local().szCaptureProcessPluginName, "b");
    EXPECT_STREQ(Local().szPostProcessPluginName, "c");
}

TEST_F(LocalReader, OfflineListsHaveNoEffectOnLoading) {
    Load("CamerasOffline = 1, 2\nSensorsOffline = 1\nCamerasOffline = 0\nSensorsOffline = 65\n");
    for (const auto& type : Local().bDeviceOffline) {
        for (const bool offline : type) {
            EXPECT_FALSE(offline);
        }
    }
}

TEST_F(LocalReader, AnOfflineListIsScannedFromTheEleventhCharacterOfItsLine) {
    Load("0123456789 7, CamerasOffline = 1\n0123456789 2 SensorsOffline = 1\n");
    EXPECT_TRUE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][7]);
    EXPECT_FALSE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][1]);
    EXPECT_TRUE(Local().bDeviceOffline[CAPTURE_DEVICE_SENSOR][2]);
    Load("0123456789 64, 1, 63 camerasoffline=\n");
    EXPECT_TRUE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][64]);
    EXPECT_TRUE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][1]);
    EXPECT_TRUE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][63]);
    EXPECT_FALSE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][2]);
}

TEST_F(LocalReader, ALineWithBothOfflineTagsMarksDevicesOfBothTypes) {
    Load("0123456789 5, CamerasOffline = SensorsOffline =\n");
    EXPECT_TRUE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][5]);
    EXPECT_TRUE(Local().bDeviceOffline[CAPTURE_DEVICE_SENSOR][5]);
}

TEST_F(LocalReader, ANodeIdOrAddressLineWithAnOfflineTagIsTheIdOrAddressAlone) {
    // The eleventh character is a digit, which an offline list would take for a device.
    EXPECT_EQ(LoadLocal("NodeID=0001camerasoffline=\n"), 2);
    EXPECT_EQ(Local().uiNodeID, 1U);
    EXPECT_FALSE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][1]);
    Load("IP=11.2.3.45 camerasoffline=\n");
    EXPECT_EQ(Local().uiIP[0], Address(11, 2, 3, 45));
    EXPECT_FALSE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][45]);
}

TEST_F(LocalReader, ASingularOfflineTagIsNoOfflineList) {
    Load("0123456789 7, CameraOffline = 1\n0123456789 7, offline = 1\n");
    EXPECT_FALSE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][7]);
}

TEST_F(LocalReader, ALineWithANumberTakenForAnOfflineListIsHandledAndOneWithoutGoesOn) {
    // The eleventh character is a digit in the first header and none in the second.
    Load("[camera1-12]camerasoffline=\n");
    EXPECT_EQ(Sections(), "");
    EXPECT_TRUE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][2]);
    EXPECT_EQ(LoadLocal(Node1(Whole("[camera1-4] camerasoffline="))), 2);
    EXPECT_EQ(Sections(), "camera 1-4");
}

struct EndlessRow {
    const char* name;
    const char* line;
    const char* message;
};

class LocalOfflineRepetition : public LocalReader, public testing::WithParamInterface<EndlessRow> {};

TEST_P(LocalOfflineRepetition, NeverEndsOnABadNumber) {
    Put("local.cfg", std::string("NodeID = 1\n") + GetParam().line + "\n");
    bool ended = true;
    const Messages messages = LoggedByChild([] { ConfigLib_Load_Local(); }, 20000, ended);
    EXPECT_FALSE(ended);
    EXPECT_EQ(messages, Messages(20000, GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    OfEveryKind, LocalOfflineRepetition,
    testing::Values(
        EndlessRow{"Zero", "0123456789 0 camerasoffline=", "Config: Invalid device number in offline list (0)"},
        EndlessRow{"SixtyFive", "0123456789 65 sensorsoffline=", "Config: Invalid device number in offline list (65)"},
        EndlessRow{"BehindAGoodOne",
                   "0123456789 64, 99 camerasoffline=", "Config: Invalid device number in offline list (99)"}),
    [](const auto& row) { return row.param.name; });

// ---- Headers

struct HeaderRow {
    const char* name;
    const char* header;
    const char* sections;
};

class Headers : public LocalReader, public testing::WithParamInterface<HeaderRow> {};

TEST_P(Headers, OpenTheseSectionsWithoutAMessageAtTheHeader) {
    const int result = LoadLocal(std::string("NodeID = 1\n") + GetParam().header + "\nCaptureDevice = a, b\n");
    EXPECT_EQ(Sections(), GetParam().sections);
    for (const std::string& message : Logged()) {
        EXPECT_TRUE(message == "Config: Not all [Sensor] are defined" || message.find("Mismatch") != std::string::npos)
            << message;
    }
    EXPECT_EQ(result, Logged().empty() ? 2 : 1);
}

INSTANTIATE_TEST_SUITE_P(OfEveryForm, Headers,
                         testing::Values(HeaderRow{"AllCameras", "[Camera]", "camera 1-4"},
                                         HeaderRow{"AllSensors", "[Sensor]", "sensor 1-2"},
                                         HeaderRow{"OneCamera", "[Camera 3]", "camera 3-3"},
                                         HeaderRow{"FirstCamera", "[Camera 1]", "camera 1-1"},
                                         HeaderRow{"LastCamera", "[Camera 4]", "camera 4-4"},
                                         HeaderRow{"Range", "[Camera 2-3]", "camera 2-3"},
                                         HeaderRow{"WholeRange", "[Camera 1-4]", "camera 1-4"},
                                         HeaderRow{"RangeOfOne", "[Camera 2-2]", "camera 2-2"},
                                         HeaderRow{"SensorRange", "[Sensor 1-2]", "sensor 1-2"},
                                         HeaderRow{"LowerCaseAndBlanks", " [ cAmErA 2 - 3 ] ", "camera 2-3"},
                                         HeaderRow{"TextBehindTheBracket", "[Camera 2-3] and so on", "camera 2-3"},
                                         HeaderRow{"TextBehindTheBracketOfAll", "[Camera]x", "camera 1-4"},
                                         HeaderRow{"SignsOfNumbers", "[Camera +2-+3]", "camera 2-3"},
                                         HeaderRow{"WrappedNumber", "[Camera 4294967298]", "camera 2-2"},
                                         HeaderRow{"UnknownType", "[Foo 1]", ""}, HeaderRow{"EmptyHeader", "[]", ""},
                                         HeaderRow{"BracketAlone", "[", ""},
                                         HeaderRow{"ShorterThanTheLabel", "[Camer", ""},
                                         HeaderRow{"QuotedTypeKeepsItsCaseAndIsUnknown", "[\"Camera 1\"]", ""},
                                         HeaderRow{"QuotedLowerCaseType", "[\"camera\"1]", "camera 1-1"}),
                         [](const auto& row) { return row.param.name; });

TEST_F(LocalReader, AHeaderAheadOfNodeIdLeavesTheLinesBehindItWithoutASection) {
    EXPECT_EQ(LoadLocal("[Camera]\nCaptureDevice = a, b\nNodeID = 1\nSyncMode = 9\n"), 1);
    EXPECT_EQ(Logged(), Messages{"Config: 'NodeID' should be defined first"});
    EXPECT_EQ(Sections(), "");
}

TEST_F(LocalReader, ABadHeaderEndsTheOpenSection) {
    for (const char* header : {"[Camera 9]", "[Camera 1-9]", "[Cameras]"}) {
        EXPECT_EQ(LoadLocal(std::string("NodeID = 1\n[Camera]\n") + kBody + header + "\nLinkSpeed = 5\n"), 1);
        EXPECT_EQ(Section(0).uiLinkSpeed, 0U) << header;
    }
}

TEST_F(LocalReader, ASecondHeaderReplacesTheOpenSection) {
    Load("[Camera 1-3]\n" + std::string(kBody) + "LinkSpeed = 5\n[Camera 4]\n" + kBody + "LinkSpeed = 6\n");
    EXPECT_EQ(Section(0).uiLinkSpeed, 5U);
    EXPECT_EQ(Section(1).uiLinkSpeed, 6U);
}

struct LineInSectionRow {
    const char* name;
    const char* line;
    bool staysOpen;
    int result;
};

class LinesWithinASection : public LocalReader, public testing::WithParamInterface<LineInSectionRow> {};

TEST_P(LinesWithinASection, LeaveItOpenOrEndIt) {
    EXPECT_EQ(LoadLocal(std::string("NodeID = 1\nRecordingStorage1 = /a\n[Camera]\n") + kBody + GetParam().line +
                        "\nLinkSpeed = 5\n"),
              GetParam().result);
    EXPECT_EQ(Section(0).uiLinkSpeed, GetParam().staysOpen ? 5U : 0U);
}

INSTANTIATE_TEST_SUITE_P(OfEveryForm, LinesWithinASection,
                         testing::Values(LineInSectionRow{"Address", "IP = 1.2.3.4", true, 2},
                                         LineInSectionRow{"StreamPlugin", "CameraStreamPluginName = a", true, 2},
                                         LineInSectionRow{"CapturePlugin", "CaptureProcessPluginName = a", true, 2},
                                         LineInSectionRow{"PostPlugin", "PostProcessPluginName = a", true, 2},
                                         LineInSectionRow{"OfflineList", "CamerasOffline = 1", true, 2},
                                         LineInSectionRow{"UnknownLine", "Colour = red", true, 2},
                                         LineInSectionRow{"EmptyLine", "", true, 2},
                                         LineInSectionRow{"MemoryShare", "MaxMemUseAllowed = 5%", false, 2},
                                         LineInSectionRow{"Storage", "RecordingStorage2 = /b", false, 2},
                                         LineInSectionRow{"StorageOfABadNumber", "RecordingStorage16 = /b", true, 1},
                                         LineInSectionRow{"StorageDefinedBefore", "RecordingStorage1 = /b", true, 1},
                                         LineInSectionRow{"MemoryShareWithoutANumber", "MaxMemUseAllowed = x", true,
                                                          2}),
                         [](const auto& row) { return row.param.name; });

TEST_F(LocalReader, ANodeIdOfZeroAheadOfTheNodeLeavesAHeaderRefused) {
    EXPECT_EQ(LoadLocal("NodeID = 0\n[Camera]\nNodeID = 1\n"), 1);
    EXPECT_EQ(Logged(), Messages{"Config: 'NodeID' should be defined first"});
}

// ---- Section forms

struct SectionLineRow {
    const char* name;
    const char* line;
    unsigned int Hardware::*field;
    unsigned int expected;
};

class SectionNumbers : public LocalReader, public testing::WithParamInterface<SectionLineRow> {};

TEST_P(SectionNumbers, AreStored) {
    LoadSection(std::string(GetParam().line) + "\n");
    EXPECT_EQ(Section(0).*GetParam().field, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    OfEveryTag, SectionNumbers,
    testing::Values(
        SectionLineRow{"SyncModeZero", "SyncMode = 3\nSyncMode = 0", &Hardware::uiSyncMode, 0},
        SectionLineRow{"SyncModeFour", "SyncMode = 4", &Hardware::uiSyncMode, 4},
        SectionLineRow{"SyncModeThree", "SyncMode = 3", &Hardware::uiSyncMode, 3},
        SectionLineRow{"SyncModeNoNumber", "SyncMode = x", &Hardware::uiSyncMode, 0},
        SectionLineRow{"MaxDmaBuffers", "MaxDMABuffers = 4294967295", &Hardware::uiMaxDMABuffers, 4294967295U},
        SectionLineRow{"MaxDmaBuffersNoNumber", "MaxDMABuffers =", &Hardware::uiMaxDMABuffers, 0},
        SectionLineRow{"MaxDetectionTime", "MaxDetectionTime = 7 s", &Hardware::uiMaxDetectionTime, 7},
        SectionLineRow{"MaxDetectionTimeNoNumber", "MaxDetectionTime = s", &Hardware::uiMaxDetectionTime, 0},
        SectionLineRow{"LinkSpeed", "LinkSpeed = 1000", &Hardware::uiLinkSpeed, 1000},
        SectionLineRow{"LinkSpeedReplaced", "LinkSpeed = 1000\nLinkSpeed = 10", &Hardware::uiLinkSpeed, 10},
        SectionLineRow{"LinkSpeedMinusOne", "LinkSpeed = -1", &Hardware::uiLinkSpeed, 4294967295U},
        SectionLineRow{"TagBehindText", "xLinkSpeed = 1", &Hardware::uiLinkSpeed, 0}),
    [](const auto& row) { return row.param.name; });

TEST_F(LocalReader, ASyncModeAboveFourLeavesTheEarlierOne) {
    LoadSection("SyncMode = 2\nSyncMode = 5\n", 1, {"Config: Specified sync mode is incorrect (5)"});
    EXPECT_EQ(Section(0).uiSyncMode, 2U);
}

TEST_F(LocalReader, ALaterCaptureDeviceReplacesTheEarlierOne) {
    LoadSection("CaptureDevice = \"long name\", \"long value\"\nCaptureDevice = \"a\", \"b\"\n");
    EXPECT_STREQ(Section(0).szDeviceName, "a");
    EXPECT_STREQ(Section(0).szDeviceParams, "b");
}

struct PairRow {
    const char* name;
    const char* line;
    const char* first;
    const char* second;
};

class CtiPairs : public LocalReader, public testing::WithParamInterface<PairRow> {};

TEST_P(CtiPairs, AreTakenWithBothValues) {
    LoadSection(std::string(GetParam().line) + "\n");
    EXPECT_STREQ(Section(0).szCTIName, GetParam().first);
    EXPECT_STREQ(Section(0).szCTIParams, GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(OfEveryForm, CtiPairs,
                         testing::Values(PairRow{"Quoted", "CTI = \"a B\", \"c D\"", "a B", "c D"},
                                         PairRow{"Unquoted", "CTI = A b, C d", "ab", "cd"},
                                         PairRow{"CommasInTheSecond", "CTI = a, b, c", "a", "b,c"},
                                         PairRow{"CommaInTheFirst", "CTI = \"a,x\", b", "a", "x,b"},
                                         PairRow{"EmptySecond", "CTI = \"a\", \"\"", "", ""},
                                         PairRow{"EmptyFirst", "CTI = \"\", \"b\"", "", ""},
                                         PairRow{"NoComma", "CTI = a", "", ""}, PairRow{"NoValue", "CTI =", "", ""},
                                         PairRow{"BlankValues", "CTI = \" \", \" \"", " ", " "},
                                         PairRow{"Replaced", "CTI = long, long\nCTI = a, b", "a", "b"}),
                         [](const auto& row) { return row.param.name; });

struct ModelRow {
    const char* name;
    const char* lines;
    const char* models;
    int result;
};

class ModelLines : public LocalReader, public testing::WithParamInterface<ModelRow> {};

TEST_P(ModelLines, AreAppendedInFileOrder) {
    EXPECT_EQ(LoadLocal(std::string("NodeID = 1\n[Camera]\nCaptureDevice = a, b\n") + GetParam().lines + "\n"),
              GetParam().result);
    EXPECT_EQ(Models(Section(0)), GetParam().models);
}

INSTANTIATE_TEST_SUITE_P(
    OfEveryForm, ModelLines,
    testing::Values(ModelRow{"WholeSection", "CameraModel = \"M n\", \"P, q\"", "M n/P, q*4", 2},
                    ModelRow{"SingleCameras", "CameraModel4=a,b\nCameraModel3=c,d\nCameraModel2=e,f\nCameraModel1=g,h",
                             "a/b*1, c/d*1, e/f*1, g/h*1", 2},
                    ModelRow{"WholeAndSingle", "CameraModel=a,b\nCameraModel1=c,d", "a/b*4, c/d*1", 1},
                    ModelRow{"RunOfCamerasIsIgnored", "CameraModel=a,b\nCameraModel1-3=c,d", "a/b*4", 2},
                    ModelRow{"EmptySecondValueIsIgnored", "CameraModel=a,b\nCameraModel1=\"c\",\"\"", "a/b*4", 2},
                    ModelRow{"EmptyFirstValueIsIgnored", "CameraModel=a,b\nCameraModel=\"\",\"c\"", "a/b*4", 2},
                    ModelRow{"NoEqualsSignIsIgnored", "CameraModel=a,b\nCameraModel1 c,d", "a/b*4", 2},
                    ModelRow{"QuotedBlankAheadOfTheEqualsSignIsIgnored", "CameraModel=a,b\nCameraModel1\" \"=c,d",
                             "a/b*4", 2},
                    ModelRow{"NumberBehindTextIsIgnored", "CameraModel=a,b\nCameraModelx1=c,d", "a/b*4", 2}),
    [](const auto& row) { return row.param.name; });

struct MacRow {
    const char* name;
    const char* value;
    std::uint64_t expected;  // 0 for a line that is not taken
};

class MacLines : public LocalReader, public testing::WithParamInterface<MacRow> {};

TEST_P(MacLines, GiveTheAddress) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 1\n"), 2);
    LoadSection(std::string("CameraMAC1 = ") + GetParam().value + "\n");
    EXPECT_EQ(Section(0).vCameraMAC, GetParam().expected != 0 ? std::vector<std::uint64_t>{GetParam().expected}
                                                              : std::vector<std::uint64_t>{});
}

INSTANTIATE_TEST_SUITE_P(OfEveryForm, MacLines,
                         testing::Values(MacRow{"TwoDigits", "00:11:22:33:44:55", 0x001122334455},
                                         MacRow{"OneDigit", "0:1:2:3:4:5", 0x000102030405},
                                         MacRow{"UpperCase", "AB:CD:EF:0A:0B:0C", 0xABCDEF0A0B0C},
                                         MacRow{"Highest", "FF:FF:FF:FF:FF:FF", 0xFFFFFFFFFFFF},
                                         MacRow{"HexadecimalPrefix", "0x1:0x2:3:4:5:6", 0x010203040506},
                                         MacRow{"ByteAbove255KeepsItsLowBits", "1FF:0:0:0:0:1", 0xFF0000000001},
                                         MacRow{"NegativeByteWraps", "-1:0:0:0:0:1", 0xFF0000000001},
                                         MacRow{"TextBehind", "1:2:3:4:5:6:7", 0x010203040506},
                                         MacRow{"Five", "1:2:3:4:5", 0}, MacRow{"FiveAndAColon", "1:2:3:4:5:", 0},
                                         MacRow{"QuotedBlankAheadOfAColon", "1\" \":2:3:4:5:6", 0},
                                         MacRow{"Hyphens", "1-2-3-4-5-6", 0}, MacRow{"NoDigit", "g:2:3:4:5:6", 0},
                                         MacRow{"Zeros", "0:0:0:0:0:0", 0}, MacRow{"Empty", "", 0}),
                         [](const auto& row) { return row.param.name; });

TEST_F(LocalReader, AMacIsKeptAtThePlaceOfItsCameraAndReplacesAnEarlierOne) {
    EXPECT_EQ(LoadLocal("NodeID = 2\n" + Whole("[Camera 5-8]") +
                        "CameraMAC8=0:0:0:0:0:8\nCameraMAC5=0:0:0:0:0:1\nCameraMAC6=0:0:0:0:0:6\n"
                        "CameraMAC7=0:0:0:0:0:7\nCameraMAC5=0:0:0:0:0:5\nCameraMAC5=0:0:0:0:0:0\n"),
              2);
    EXPECT_EQ(Section(0).vCameraMAC, (std::vector<std::uint64_t>{5, 6, 7, 8}));
}

TEST_F(LocalReader, AMacLineWithoutItsNumberOrEqualsSignIsIgnored) {
    LoadSection("CameraMAC = 1:2:3:4:5:6\nCameraMAC1 1:2:3:4:5:6\n");
    EXPECT_TRUE(Section(0).vCameraMAC.empty());
}

TEST_F(LocalReader, SectionLinesOutsideASectionAreIgnoredInSilence) {
    Load(
        "CaptureDevice = a, b\nCameraModel = a, b\nCameraModel77 = a, b\nSyncMode = 9\nCameraMAC77 = 1:2:3:4:5:6\n"
        "CTI = a, b\n");
    EXPECT_EQ(Sections(), "");
}

TEST_F(LocalReader, CameraTagsInASensorSectionAreIgnoredInSilence) {
    Load(
        "[Sensor 1-2]\nCaptureDevice = \"s\", \"t\"\nCameraModel = \"m\", \"p\"\nCameraModel1 = \"m\", \"p\"\n"
        "CameraModel9 = \"m\", \"p\"\nSyncMode = 9\nSyncMode = 1\nMaxDMABuffers = 5\nMaxDetectionTime = 5\n"
        "LinkSpeed = 5\nCameraMAC1 = 1:2:3:4:5:6\nCameraMAC9 = 1:2:3:4:5:6\nCTI = \"c\", \"d\"\n");
    ASSERT_EQ(Sections(), "sensor 1-2");
    EXPECT_STREQ(Sensors()[0]->szDeviceName, "s");
    EXPECT_STREQ(Sensors()[0]->szDeviceParams, "t");
}

// ---- Widths

struct WidthRow {
    const char* name;
    const char* before;  // the line up to the value
    const char* behind;  // the line behind the value
    std::size_t length;
    std::size_t stored;  // 0 when the line does not match
    std::string (*field)();
};

class Widths : public LocalReader, public testing::WithParamInterface<WidthRow> {};

// Storages keep what is stored, and get a closing slash where one has place.
std::string WithoutClosingSlash(std::string text) {
    if (!text.empty() && text.back() == '/') {
        text.pop_back();
    }
    return text;
}

TEST_P(Widths, CutTheValueOrRefuseTheLine) {
    const WidthRow& row = GetParam();
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 1\n"), 2);
    LoadLocal(std::string("NodeID = 1\n[Camera]\nCaptureDevice=d,e\n") + row.before + "\"" +
              std::string(row.length, 'V') + "\"" + row.behind + "\n");
    EXPECT_EQ(WithoutClosingSlash(row.field()), std::string(row.stored, 'V'));
}

std::string StorageField() {
    return ConfigTest::Local().szRecordingStorage[0];
}
std::string StreamField() {
    return ConfigTest::Local().szStreamPluginName[CAPTURE_DEVICE_SENSOR];
}
std::string CapturePluginField() {
    return ConfigTest::Local().szCaptureProcessPluginName;
}
std::string PostPluginField() {
    return ConfigTest::Local().szPostProcessPluginName;
}
const Hardware& OpenSection() {
    return *ConfigTest::Local().vHardware[CAPTURE_DEVICE_CAMERA].at(0);
}
std::string DeviceNameField() {
    const std::string name = OpenSection().szDeviceName;
    return name == "d" ? "" : name;
}
std::string DeviceParamsField() {
    return OpenSection().szDeviceParams;
}
std::string CtiNameField() {
    return OpenSection().szCTIName;
}
std::string CtiParamsField() {
    return OpenSection().szCTIParams;
}
std::string ModelNameField() {
    return OpenSection().vCameraModels.empty() ? "" : OpenSection().vCameraModels[0]->szModelName;
}
std::string ModelParamsField() {
    return OpenSection().vCameraModels.empty() ? "" : OpenSection().vCameraModels[0]->szModelParams;
}

const WidthRow kWidthRows[] = {
    {"StorageOneBelow", "RecordingStorage1=", "", 1022, 1022, StorageField},
    {"StorageAtTheField", "RecordingStorage1=", "", 1023, 1023, StorageField},
    {"StorageAtTheScansWidth", "RecordingStorage1=", "", 1024, 1023, StorageField},
    {"StorageAboveTheScansWidth", "RecordingStorage1=", "", 1025, 1023, StorageField},
    {"StorageFarAbove", "RecordingStorage1=", "", 2000, 1023, StorageField},
    {"StreamPluginOneBelow", "SensorStreamPluginName=", "", 1022, 1022, StreamField},
    {"StreamPluginAtTheField", "SensorStreamPluginName=", "", 1023, 1023, StreamField},
    {"StreamPluginOneAbove", "SensorStreamPluginName=", "", 1024, 1023, StreamField},
    {"StreamPluginTwoAbove", "SensorStreamPluginName=", "", 1025, 1023, StreamField},
    {"CapturePluginAtTheField", "CaptureProcessPluginName=", "", 1023, 1023, CapturePluginField},
    {"CapturePluginOneAbove", "CaptureProcessPluginName=", "", 1024, 1023, CapturePluginField},
    {"CapturePluginTwoAbove", "CaptureProcessPluginName=", "", 1025, 1023, CapturePluginField},
    {"PostPluginAtTheField", "PostProcessPluginName=", "", 1023, 1023, PostPluginField},
    {"PostPluginOneAbove", "PostProcessPluginName=", "", 1024, 1023, PostPluginField},
    {"PostPluginTwoAbove", "PostProcessPluginName=", "", 1025, 1023, PostPluginField},
    {"DeviceNameOneBelow", "CaptureDevice=", ",p", 62, 62, DeviceNameField},
    {"DeviceNameAtTheField", "CaptureDevice=", ",p", 63, 63, DeviceNameField},
    {"DeviceNameAtTheScansWidth", "CaptureDevice=", ",p", 64, 63, DeviceNameField},
    {"DeviceNameAboveTheScansWidth", "CaptureDevice=", ",p", 65, 0, DeviceNameField},
    {"DeviceParamsAtTheField", "CaptureDevice=n,", "", 1023, 1023, DeviceParamsField},
    {"DeviceParamsAtTheScansWidth", "CaptureDevice=n,", "", 1024, 1023, DeviceParamsField},
    {"DeviceParamsAboveTheScansWidth", "CaptureDevice=n,", "", 1025, 1023, DeviceParamsField},
    {"CtiNameAtTheField", "CTI=", ",p", 1023, 1023, CtiNameField},
    {"CtiNameAtTheScansWidth", "CTI=", ",p", 1024, 1023, CtiNameField},
    {"CtiNameAboveTheScansWidth", "CTI=", ",p", 1025, 0, CtiNameField},
    {"CtiParamsOneBelow", "CTI=n,", "", 30, 30, CtiParamsField},
    {"CtiParamsAtTheField", "CTI=n,", "", 31, 31, CtiParamsField},
    {"CtiParamsAtTheScansWidth", "CTI=n,", "", 32, 31, CtiParamsField},
    {"CtiParamsAboveTheScansWidth", "CTI=n,", "", 33, 31, CtiParamsField},
    {"ModelNameAtTheField", "CameraModel=", ",p", 63, 63, ModelNameField},
    {"ModelNameAtTheScansWidth", "CameraModel=", ",p", 64, 63, ModelNameField},
    {"ModelNameAboveTheScansWidth", "CameraModel=", ",p", 65, 0, ModelNameField},
    {"ModelParamsAtTheField", "CameraModel=n,", "", 1023, 1023, ModelParamsField},
    {"ModelParamsAtTheScansWidth", "CameraModel=n,", "", 1024, 1023, ModelParamsField},
    {"ModelParamsAboveTheScansWidth", "CameraModel=n,", "", 1025, 1023, ModelParamsField},
    {"NumberedModelNameAtTheScansWidth", "CameraModel1=", ",p", 64, 63, ModelNameField},
    {"NumberedModelNameAboveTheScansWidth", "CameraModel1=", ",p", 65, 0, ModelNameField},
    {"NumberedModelParamsAboveTheScansWidth", "CameraModel1=n,", "", 1025, 1023, ModelParamsField},
};

INSTANTIATE_TEST_SUITE_P(AroundEveryLimit, Widths, testing::ValuesIn(kWidthRows),
                         [](const auto& row) { return row.param.name; });

TEST_F(LocalReader, AStorageGetsItsClosingSlashUpToAFullSlot) {
    Load("RecordingStorage1 = \"" + std::string(1022, 'p') + "\"\nRecordingStorage2 = \"" + std::string(1023, 'q') +
         "\"\nRecordingStorage3 = \"r\"\nRecordingStorage4 = \"/\"\nRecordingStorage5 = \"C:\\\"\n");
    EXPECT_EQ(Local().szRecordingStorage[0], std::string(1022, 'p') + "/");
    EXPECT_EQ(Local().szRecordingStorage[1], std::string(1023, 'q'));
    EXPECT_STREQ(Local().szRecordingStorage[2], "r");
    EXPECT_STREQ(Local().szRecordingStorage[3], "/");
    EXPECT_STREQ(Local().szRecordingStorage[4], "C:\\");
}

// ---- Files, repeated loads

TEST_F(LocalReader, AMissingFileIsReportedWithPathAndErrorAndResetsTheRecord) {
    Load("IP = 1.2.3.4\nRecordingStorage1 = /a\nMaxMemUseAllowed = 5\n" + Whole("[Camera]"));
    unlink(Path("local.cfg").c_str());
    EXPECT_EQ(ConfigLib_Load_Local(), 0);
    EXPECT_EQ(Logged(),
              Messages{"Config: Cannot open config file '" + Path("local.cfg") + "' (" + std::to_string(ENOENT) + ")"});
    EXPECT_EQ(SavedLocal(), "NodeID = 0\n\n\n\n");
}

TEST_F(LocalReader, WithIndexTwoAMissingFileIsReportedByItsOwnName) {
    Put("local.cfg", "NodeID = 1\n");
    UseIndex(2);
    EXPECT_EQ(ConfigLib_Load_Local(), 0);
    EXPECT_EQ(Logged(), Messages{"Config: Cannot open config file '" + Path("local2.cfg") + "' (" +
                                 std::to_string(ENOENT) + ")"});
}

TEST_F(LocalReader, ADirectoryInTheFilesPlaceDeliversNothingAndEndsTheReading) {
    std::filesystem::create_directory(Path("local.cfg"));
    EXPECT_EQ(ConfigLib_Load_Local(), 0);
    EXPECT_EQ(Logged(), Messages{"Config: 'NodeID' is not defined"});
}

TEST_F(LocalReader, AStorageTagWithAQuotedBlankAheadOfTheEqualsSignIsIgnored) {
    Load("RecordingStorage1\" \"= /a\n");
    EXPECT_EQ(Local().uiRecordingStorageCount, 0U);
}

TEST_F(LocalReader, AReloadKeepsTheStorageOfTheSectionLists) {
    Load(Whole("[Camera]") + "[Sensor]\nCaptureDevice=a,b\n");
    const std::size_t cameras = Cameras().capacity();
    const std::size_t sensors = Sensors().capacity();
    Load("");
    EXPECT_EQ(Sections(), "");
    EXPECT_GE(Cameras().capacity(), cameras);
    EXPECT_GE(Sensors().capacity(), sensors);
    EXPECT_GT(cameras + sensors, 1U);
}

TEST_F(LocalReader, ANodeBehindTheTablesOfAClientsRecordOwnsNothing) {
    Global().uiNodeCount = 100;
    EXPECT_EQ(LoadLocal("NodeID = 65\n[Camera]\n"), 1);
    EXPECT_EQ(Logged(), Messages{"Config: Correct Global config is required to process Local configuration"});
    EXPECT_EQ(LoadLocal("NodeID = 100\n"), 2);
    EXPECT_EQ(Local().uiNodeID, 100U);
}

TEST_F(LocalReader, ASecondLoadReplacesTheFirst) {
    const std::string everything =
        "IP=1.2.3.4,5.6.7.8\nRecordingStorage1=/a\nCameraStreamPluginName=a\nSensorStreamPluginName=a\n"
        "CaptureProcessPluginName=a\nPostProcessPluginName=a\nMaxMemUseAllowed=5\n0123456789 1 camerasoffline=\n";
    Load(everything + Whole("[Camera]") + "[Sensor]\nCaptureDevice=a,b\n");
    Load("");
    EXPECT_EQ(SavedLocal(), "NodeID = 1\n\n\n\n");
    EXPECT_FALSE(Local().bDeviceOffline[CAPTURE_DEVICE_CAMERA][1]);
}

TEST_F(LocalReader, LoadsOfTheSameFileGiveTheSameRecord) {
    const std::string text = Whole("[Camera]") +
                             "CTI=a,b\nCameraMAC1=1:2:3:4:5:6\nCameraMAC2=1:2:3:4:5:6\n"
                             "CameraMAC3=1:2:3:4:5:6\nCameraMAC4=1:2:3:4:5:6\n[Sensor]\nCaptureDevice=a,b\n";
    Load(text);
    const std::string first = SavedLocal();
    for (int i = 0; i < 10; ++i) {
        Load(text);
        EXPECT_EQ(Sections(), "camera 1-4, sensor 1-2");
        EXPECT_EQ(SavedLocal(), first);
    }
}

TEST_F(LocalReader, AFileCutAtAnyByteNeverHarms) {
    const std::string whole =
        "NodeID = 1\r\nIP = 1.2.3.4, 5.6.7.8\nRecordingStorage1 = \"/a\"\nCameraStreamPluginName = \"\xE9\"\n"
        "CaptureProcessPluginName = \"c\"\nMaxMemUseAllowed = 50%\n[Camera 1-4]\nCaptureDevice = \"d\", \"e\"\n"
        "CTI = \"c\", \"o\"\nSyncMode = 1\nCameraMAC1 = 1:2:3:4:5:6\nCameraModel = \"m\", \"p\"\nCameraModel1 = \"m\", "
        "\"p\"\n[Sensor 1-2]\nCaptureDevice = \"s\", \"t\"\nSyncMode = 1";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        const int result = LoadLocal(whole.substr(0, length));
        EXPECT_EQ(result == 2, Logged().empty());
        EXPECT_EQ(result == 0, length < std::strlen("NodeID = 1"));
        // What was loaded can be saved, and what was saved loads again.
        SavedLocal();
        ConfigLib_Load_Local();
        EXPECT_EQ(Local().uiNodeID, length < std::strlen("NodeID = 1") ? 0U : 1U);
    }
}

}  // namespace
