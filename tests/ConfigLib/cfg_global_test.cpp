// Reader and writer of global.cfg.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

#include "ConfigLib/ConfigTest.h"

namespace {

constexpr char kSystem[] = "ClusterName = \"S\"\nNodeCount = 3\n";

std::string Repeated(const std::string& text, int count) {
    std::string whole;
    for (int i = 0; i < count; ++i) {
        whole += text;
    }
    return whole;
}

class GlobalReader : public ConfigTest {
public:
    // Loads a system of three nodes with some lines more; it must load clean.
    void Load(const std::string& lines) {
        EXPECT_EQ(LoadGlobal(kSystem + lines), 2) << lines;
        EXPECT_EQ(Logged(), Messages{}) << lines;
    }
};

// ---- Messages

struct MessageRow {
    const char* name;
    std::string text;
    int result;
    Messages messages;
    std::string clusterName;  // what the record holds afterwards
    unsigned int nodeCount;
    unsigned int cameras;  // of node 1
    unsigned int sensors;  // of node 1
};

class GlobalMessages : public ConfigTest, public testing::WithParamInterface<MessageRow> {};

TEST_P(GlobalMessages, ComeWithTheResultAndWhatTheRecordHolds) {
    const MessageRow& row = GetParam();
    EXPECT_EQ(LoadGlobal(row.text), row.result);
    EXPECT_EQ(Logged(), row.messages);
    EXPECT_STREQ(Global().szClusterName, row.clusterName.c_str());
    EXPECT_EQ(Global().uiNodeCount, row.nodeCount);
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_CAMERA][1], row.cameras);
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_SENSOR][1], row.sensors);
}

const MessageRow kMessageRows[] = {
    {"NoneForAMinimalFile", "ClusterName = \"Site A\"\nNodeCount = 1\n", 2, {}, "Site A", 1, 0, 0},
    {"NodeCountTwice",
     "ClusterName=a\nNodeCount = 3\nCamerasConnectedToNode1 = 2\nNodeCount = 3\nClusterName=b\n",
     0,
     {"Config: Miltiple definitions of tag 'NodeCount'"},
     "a",
     3,
     2,
     0},
    {"NodeCountTwiceWithZeroSecond",
     "ClusterName=a\nNodeCount = 3\nNodeCount = 0\n",
     0,
     {"Config: Miltiple definitions of tag 'NodeCount'"},
     "a",
     3,
     0,
     0},
    {"NodeCountTwiceWithTooBigSecond",
     "ClusterName=a\nNodeCount = 3\nNodeCount = 65\n",
     0,
     {"Config: Miltiple definitions of tag 'NodeCount'"},
     "a",
     3,
     0,
     0},
    {"NodeCount65",
     "ClusterName=a\nNodeCount = 65\nClusterName=b\n",
     0,
     {"Config: 'NodeCount' is too big"},
     "a",
     0,
     0,
     0},
    {"NodeCountMinusOne", "ClusterName=a\nNodeCount = -1\n", 0, {"Config: 'NodeCount' is too big"}, "a", 0, 0, 0},
    {"NodeCount64", "ClusterName=a\nNodeCount = 64\n", 2, {}, "a", 64, 0, 0},
    {"NodeCount63", "ClusterName=a\nNodeCount = 63\n", 2, {}, "a", 63, 0, 0},
    {"NodeCountZeroThenThree", "ClusterName=a\nNodeCount = 0\nNodeCount = 3\n", 2, {}, "a", 3, 0, 0},
    {"CameraCountAheadOfNodeCount",
     "CamerasConnectedToNode1 = 4\nClusterName=a\nNodeCount = 2\n",
     1,
     {"Config: 'NodeCount' should be defined before 'CamerasConnectedToNode1'"},
     "a",
     2,
     0,
     0},
    {"SensorCountAheadOfNodeCount",
     "SensorsConnectedToNode12 = 4\nClusterName=a\nNodeCount = 2\n",
     1,
     {"Config: 'NodeCount' should be defined before 'SensorsConnectedToNode12'"},
     "a",
     2,
     0,
     0},
    {"NodeCountIsAskedForAheadOfTheOtherTests",
     "CamerasConnectedToNode0 = 65\nClusterName=a\nNodeCount = 2\n",
     1,
     {"Config: 'NodeCount' should be defined before 'CamerasConnectedToNode0'"},
     "a",
     2,
     0,
     0},
    {"CameraCount65",
     "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode1 = 65\n",
     1,
     {"Config: 'CamerasConnectedToNode' is too big"},
     "a",
     2,
     0,
     0},
    {"SensorCount65",
     "ClusterName=a\nNodeCount = 2\nSensorsConnectedToNode1 = 65\n",
     1,
     {"Config: 'SensorsConnectedToNode' is too big"},
     "a",
     2,
     0,
     0},
    {"TheCountIsTestedAheadOfTheNode",
     "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode3 = 65\n",
     1,
     {"Config: 'CamerasConnectedToNode' is too big"},
     "a",
     2,
     0,
     0},
    {"CameraCount64", "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode1 = 64\n", 2, {}, "a", 2, 64, 0},
    {"SensorCount64", "ClusterName=a\nNodeCount = 2\nSensorsConnectedToNode1 = 64\n", 2, {}, "a", 2, 0, 64},
    {"CameraCount63", "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode1 = 63\n", 2, {}, "a", 2, 63, 0},
    {"CamerasOfNode0",
     "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode0 = 1\n",
     1,
     {"Config: 'CamerasConnectedToNode' refers to incorrect node"},
     "a",
     2,
     0,
     0},
    {"CamerasOfANodeAboveTheCount",
     "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode3 = 1\nCamerasConnectedToNode2 = 1\n",
     1,
     {"Config: 'CamerasConnectedToNode' refers to incorrect node"},
     "a",
     2,
     0,
     0},
    {"SensorsOfANodeAboveTheCount",
     "ClusterName=a\nNodeCount = 2\nSensorsConnectedToNode3 = 1\n",
     1,
     {"Config: 'SensorsConnectedToNode' refers to incorrect node"},
     "a",
     2,
     0,
     0},
    {"ABadCountLeavesTheEarlierOne",
     "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode1 = 2\nCamerasConnectedToNode1 = 65\n",
     1,
     {"Config: 'CamerasConnectedToNode' is too big"},
     "a",
     2,
     2,
     0},
    {"NoClusterName",
     "NodeCount = 2\nCamerasConnectedToNode1 = 3\n",
     0,
     {"Config: 'ClusterName' is not defined"},
     "",
     2,
     3,
     0},
    {"EmptyClusterName",
     "ClusterName = \"\"\nNodeCount = 2\n",
     0,
     {"Config: 'ClusterName' is not defined"},
     "",
     2,
     0,
     0},
    {"NoNodeCount", "ClusterName = a\n", 0, {"Config: 'NodeCount' is not defined"}, "a", 0, 0, 0},
    {"NodeCountZero", "ClusterName = a\nNodeCount = 0\n", 0, {"Config: 'NodeCount' is not defined"}, "a", 0, 0, 0},
    {"NeitherGivesTheNamesMessageAlone", "Foo\n", 0, {"Config: 'ClusterName' is not defined"}, "", 0, 0, 0},
    {"AllInTheirOrder",
     "SensorsConnectedToNode1 = 4\nNodeCount = 2\nCamerasConnectedToNode1 = 65\nSensorsConnectedToNode3 = 1\n",
     0,
     {"Config: 'NodeCount' should be defined before 'SensorsConnectedToNode1'",
      "Config: 'CamerasConnectedToNode' is too big", "Config: 'SensorsConnectedToNode' refers to incorrect node",
      "Config: 'ClusterName' is not defined"},
     "",
     2,
     0,
     0},
    {"Cameras65InTotal",
     "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode1 = 64\nCamerasConnectedToNode2 = 1\n",
     0,
     {"Config: Max cameras per node is 64"},
     "",
     0,
     0,
     0},
    {"Sensors65InTotal",
     "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode1 = 3\nSensorsConnectedToNode1 = 32\n"
     "SensorsConnectedToNode2 = 33\n",
     0,
     {"Config: Max sensors per node is 64"},
     "",
     0,
     0,
     0},
    {"Cameras64InTotal",
     "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode1 = 32\nCamerasConnectedToNode2 = 32\n",
     2,
     {},
     "a",
     2,
     32,
     0},
    {"BothTypesTooManyGivesTheCamerasMessageAlone",
     "ClusterName=a\nNodeCount = 2\nCamerasConnectedToNode1 = 64\nCamerasConnectedToNode2 = 64\n"
     "SensorsConnectedToNode1 = 64\nSensorsConnectedToNode2 = 64\n",
     0,
     {"Config: Max cameras per node is 64"},
     "",
     0,
     0,
     0},
};

INSTANTIATE_TEST_SUITE_P(OfEveryKind, GlobalMessages, testing::ValuesIn(kMessageRows),
                         [](const auto& row) { return row.param.name; });

// ---- Edge cases of the reader

TEST_F(GlobalReader, NodeCountOf64IsAcceptedAnd65Fails) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 64\n"), 2);
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 65\n"), 0);
    EXPECT_EQ(Global().uiNodeCount, 0U);
}

TEST_F(GlobalReader, NodeCountOfZeroLeavesTheTagOpenAndADoubleDefinitionFails) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 0\nNodeCount = 3\n"), 2);
    EXPECT_EQ(Global().uiNodeCount, 3U);
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 3\nNodeCount = 3\n"), 0);
    EXPECT_EQ(Logged(), Messages{"Config: Miltiple definitions of tag 'NodeCount'"});
}

TEST_F(GlobalReader, SixtyFourCamerasOnOneNodeLoad) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 64\n"), 2);
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_CAMERA][0], 64U);
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_CAMERA][1], 64U);
}

TEST_F(GlobalReader, SixtyFiveCamerasOnAnySpreadClearTheWholeRecord) {
    std::string text = "ClusterName = a\nNodeCount = 64\nGeneralStoragePath = \"/x\"\nLogLevelNode = 3\n";
    for (int node = 1; node <= 64; ++node) {
        text += "CamerasConnectedToNode" + std::to_string(node) + " = " + (node == 64 ? "2" : "1") + "\n";
    }
    EXPECT_EQ(LoadGlobal(text), 0);
    EXPECT_EQ(Logged(), Messages{"Config: Max cameras per node is 64"});
    const auto* bytes = reinterpret_cast<const unsigned char*>(&Global());
    for (std::size_t i = 0; i < sizeof(CONFIGURATION__GLOBAL); ++i) {
        ASSERT_EQ(bytes[i], 0) << i;
    }
}

TEST_F(GlobalReader, AddressesOfOtherThanFourOrEightNumbersAreIgnored) {
    Load("ManagerMachineIP = 1.2.3\n");
    EXPECT_EQ(Global().uiManagerMachineIP[0], 0U);
    Load("ManagerMachineIP = 1.2.3.4, 5.6\n");
    EXPECT_EQ(Global().uiManagerMachineIP[0], 0U);
    EXPECT_EQ(Global().uiManagerMachineIP[1], 0U);
}

TEST_F(GlobalReader, OneAddressBehindTwoReplacesTheFirstAndLeavesTheSecond) {
    Load("ManagerMachineIP = 1.2.3.4, 5.6.7.8\nManagerMachineIP = 9.9.9.9\n");
    EXPECT_EQ(Global().uiManagerMachineIP[0], Address(9, 9, 9, 9));
    EXPECT_EQ(Global().uiManagerMachineIP[1], Address(5, 6, 7, 8));
}

TEST_F(GlobalReader, GeneralStoragePathGetsItsClosingSlashWhereOneIsMissing) {
    Load("GeneralStoragePath = \"/\"\n");
    EXPECT_STREQ(Global().szGeneralStoragePath, "/");
    Load("GeneralStoragePath = \"/mnt/a\"\n");
    EXPECT_STREQ(Global().szGeneralStoragePath, "/mnt/a/");
    Load("GeneralStoragePath = \"C:\\data\\\"\n");
    EXPECT_STREQ(Global().szGeneralStoragePath, "C:\\data\\");
}

TEST_F(GlobalReader, AClusterNameWithoutQuotesLosesItsBlanksAndCapitals) {
    EXPECT_EQ(LoadGlobal("ClusterName = Site A\nNodeCount = 1\n"), 2);
    EXPECT_STREQ(Global().szClusterName, "sitea");
}

TEST_F(GlobalReader, AClusterNameOf70CharactersIsCutTo63) {
    EXPECT_EQ(LoadGlobal("ClusterName = \"" + std::string(70, 'N') + "\"\nNodeCount = 1\n"), 2);
    EXPECT_EQ(std::string(Global().szClusterName), std::string(63, 'N'));
}

TEST_F(GlobalReader, NodesOfflineSetsItsBitsAndASaveLosesThoseAboveTheNodeCount) {
    Load("NodesOffline = 2, 5\n");
    EXPECT_EQ(Global().ullNodesOffline, 0x12U);
    EXPECT_NE(SavedGlobal().find("NodeCount = 3\n\nNodesOffline = 2\n\nCamerasConnectedToNode1 = 0\n"),
              std::string::npos);
    EXPECT_EQ(ConfigLib_Load_Global(), 2);
    EXPECT_EQ(Global().ullNodesOffline, 0x2U);
}

TEST_F(GlobalReader, ATrailingCommaEndsTheOfflineListCleanly) {
    Load("NodesOffline = 2, 5,\n");
    EXPECT_EQ(Global().ullNodesOffline, 0x12U);
}

TEST_F(GlobalReader, AnOfflineTagBehindOtherTextIsFoundButItsListIsNot) {
    Load("xnodesoffline=1\n");
    EXPECT_EQ(Global().ullNodesOffline, 0U);
}

TEST_F(GlobalReader, ThreeSensorsAreGoneAfterLoadAndSave) {
    Load("SensorsConnectedToNode2 = 3\n");
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_SENSOR][0], 3U);
    EXPECT_EQ(SavedGlobal().find("Sensor"), std::string::npos);
    EXPECT_EQ(ConfigLib_Load_Global(), 2);
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_SENSOR][0], 0U);
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_SENSOR][2], 0U);
}

// ---- Line forms

TEST_F(GlobalReader, DeviceNumbersAreAssignedInNodeOrder) {
    Load("CamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 5\nSensorsConnectedToNode3 = 2\n");
    const auto& cameras = Global().uiFirstDeviceOfNode[CAPTURE_DEVICE_CAMERA];
    const auto& sensors = Global().uiFirstDeviceOfNode[CAPTURE_DEVICE_SENSOR];
    EXPECT_EQ(cameras[0], 0U);
    EXPECT_EQ(cameras[1], 1U);
    EXPECT_EQ(cameras[2], 5U);
    EXPECT_EQ(cameras[3], 10U);
    EXPECT_EQ(cameras[4], 0U);
    EXPECT_EQ(sensors[0], 0U);
    EXPECT_EQ(sensors[1], 1U);
    EXPECT_EQ(sensors[3], 1U);
    EXPECT_EQ(sensors[4], 0U);
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_CAMERA][0], 9U);
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_SENSOR][0], 2U);
}

TEST_F(GlobalReader, SixtyFourNodesWithOneCameraEachAreNumberedToTheLast) {
    std::string text = "ClusterName = a\nNodeCount = 64\n";
    for (int node = 1; node <= 64; ++node) {
        text += "CamerasConnectedToNode" + std::to_string(node) + " = 1\n";
    }
    EXPECT_EQ(LoadGlobal(text), 2);
    EXPECT_EQ(Global().uiFirstDeviceOfNode[CAPTURE_DEVICE_CAMERA][64], 64U);
    EXPECT_EQ(Global().uiFirstDeviceOfNode[CAPTURE_DEVICE_SENSOR][64], 1U);
}

struct NumberRow {
    const char* name;
    const char* line;
    unsigned int expected;
};

// Tags with one number: what the line gives to `LogLevelNode` and, with the tag exchanged, to the others.
class GlobalNumbers : public ConfigTest, public testing::WithParamInterface<NumberRow> {};

TEST_P(GlobalNumbers, AreScannedAlikeForEveryTag) {
    const std::string value = GetParam().line;
    const unsigned int expected = GetParam().expected;
    EXPECT_EQ(LoadGlobal(kSystem + ("LogLevelNode" + value) + "\n" + "LogLevelManager" + value + "\n" +
                         "ShowAllParameters" + value + "\nAllowFailedDevices" + value + "\nAllowFailedNodes" + value),
              2);
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Global().uiLogLevelNode, expected);
    EXPECT_EQ(Global().uiLogLevelManager, expected);
    EXPECT_EQ(Global().bShowAllParameters, expected != 0);
    EXPECT_EQ(Global().bAllowFailedDevices, expected != 0);
    EXPECT_EQ(Global().bAllowFailedNodes, expected != 0);
}

const NumberRow kNumberRows[] = {
    {"Plain", " = 5", 5},
    {"Zero", " = 0", 0},
    {"Largest", " = 4294967295", 4294967295U},
    {"OneAboveTheLargestWraps", " = 4294967296", 0},
    {"Saturates", " = 99999999999999999999", 4294967295U},
    {"Plus", " = +5", 5},
    {"MinusWraps", " = -1", 4294967295U},
    {"LeadingZeros", " = 0005", 5},
    {"HexadecimalIsAZeroAndText", " = 0x10", 0},
    {"TextBehind", " = 5 apples", 5},
    {"FractionIsText", " = 5.9", 5},
    {"BlanksBetweenDigitsVanish", " = 1 2", 12},
    {"QuotedWithBlanks", " = \" 5\"", 5},
    {"NoNumber", " = five", 0},
    {"NoValue", " =", 0},
    {"NoEqualsSign", " 5", 0},
    {"TwoEqualsSigns", " == 5", 0},
    {"TextAheadOfTheNumber", " = x5", 0},
    {"SignAlone", " = -", 0},
    {"BlankBehindTheSignInQuotes", " = \"- 5\"", 0},
};

INSTANTIATE_TEST_SUITE_P(OfEveryForm, GlobalNumbers, testing::ValuesIn(kNumberRows),
                         [](const auto& row) { return row.param.name; });

TEST_F(GlobalReader, TagsMatchFromTheBeginningOfTheLineOnly) {
    Load("xLogLevelNode = 5\nLogLevelNodes = 5\nLogLevel = 5\n");
    EXPECT_EQ(Global().uiLogLevelNode, 0U);
}

TEST_F(GlobalReader, ALaterLineReplacesAnEarlierOneButForNodeCount) {
    EXPECT_EQ(LoadGlobal("ClusterName=long name\nClusterName=b\nNodeCount=2\nGeneralStoragePath=/first/path\n"
                         "GeneralStoragePath=/b\nLogLevelNode=1\nLogLevelNode=2\nShowAllParameters=1\n"
                         "ShowAllParameters=0\nCamerasConnectedToNode1=4\nCamerasConnectedToNode1=1\n"),
              2);
    EXPECT_STREQ(Global().szClusterName, "b");
    EXPECT_STREQ(Global().szGeneralStoragePath, "/b/");
    EXPECT_EQ(Global().uiLogLevelNode, 2U);
    EXPECT_FALSE(Global().bShowAllParameters);
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_CAMERA][0], 1U);
}

TEST_F(GlobalReader, AnEmptyOrUnreadableLaterValueLeavesTheEarlierOne) {
    Load(
        "ClusterName = \"\"\nGeneralStoragePath = \"/a/\"\nGeneralStoragePath =\nLogLevelNode = 3\nLogLevelNode = x\n");
    EXPECT_STREQ(Global().szClusterName, "S");
    EXPECT_STREQ(Global().szGeneralStoragePath, "/a/");
    EXPECT_EQ(Global().uiLogLevelNode, 3U);
}

struct AddressRow {
    const char* name;
    const char* value;
    unsigned int first;
    unsigned int second;
};

class GlobalAddresses : public ConfigTest, public testing::WithParamInterface<AddressRow> {};

TEST_P(GlobalAddresses, AreTakenWithExactlyFourOrEightNumbers) {
    EXPECT_EQ(LoadGlobal(std::string(kSystem) + "ManagerMachineIP = " + GetParam().value + "\n"), 2);
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Global().uiManagerMachineIP[0], GetParam().first);
    EXPECT_EQ(Global().uiManagerMachineIP[1], GetParam().second);
}

const AddressRow kAddressRows[] = {
    {"None", "", 0, 0},
    {"One", "1", 0, 0},
    {"Two", "1.2", 0, 0},
    {"Three", "1.2.3", 0, 0},
    {"ThreeWithAPoint", "1.2.3.", 0, 0},
    {"Four", "192.168.0.10", Address(192, 168, 0, 10), 0},
    {"FourWithAComma", "1.2.3.4,", Address(1, 2, 3, 4), 0},
    {"FourWithAFifthByPoint", "1.2.3.4.5", Address(1, 2, 3, 4), 0},
    {"FourWithTextBehind", "1.2.3.4 and more", Address(1, 2, 3, 4), 0},
    {"FourWithTextBehindTheComma", "1.2.3.4, x", Address(1, 2, 3, 4), 0},
    {"Five", "1.2.3.4,5", 0, 0},
    {"Six", "1.2.3.4,5.6", 0, 0},
    {"Seven", "1.2.3.4,5.6.7", 0, 0},
    {"Eight", "1.2.3.4 , 5.6.7.8", Address(1, 2, 3, 4), Address(5, 6, 7, 8)},
    {"EightAndMore", "1.2.3.4,5.6.7.8,9.9.9.9", Address(1, 2, 3, 4), Address(5, 6, 7, 8)},
    {"ZeroIsAnAddressLikeAnyOther", "0.0.0.0", 0, 0},
    {"ZeroAheadOfASecond", "0.0.0.0,5.6.7.8", 0, Address(5, 6, 7, 8)},
    {"Highest", "255.255.255.255,255.255.255.255", 0xFFFFFFFFU, 0xFFFFFFFFU},
    {"OctetOf256SpillsIntoTheNext", "256.0.0.0", Address(0, 1, 0, 0), 0},
    {"SpilledBitsAreOredIn", "257.3.0.0", Address(1, 3, 0, 0), 0},
    {"LastOctetOf256IsLost", "1.2.3.256", Address(1, 2, 3, 0), 0},
    {"MinusOneFillsAll", "-1.0.0.0", 0xFFFFFFFFU, 0},
    {"CommaInsteadOfAPoint", "1,2.3.4", 0, 0},
};

INSTANTIATE_TEST_SUITE_P(OfEveryForm, GlobalAddresses, testing::ValuesIn(kAddressRows),
                         [](const auto& row) { return row.param.name; });

struct OfflineRow {
    const char* name;
    const char* line;
    unsigned long long mask;
};

class GlobalOfflineLists : public ConfigTest, public testing::WithParamInterface<OfflineRow> {};

TEST_P(GlobalOfflineLists, SetTheBitsOfTheNodes) {
    EXPECT_EQ(LoadGlobal(std::string(kSystem) + GetParam().line + "\n"), 2);
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Global().ullNodesOffline, GetParam().mask);
}

const OfflineRow kOfflineRows[] = {
    {"One", "NodesOffline = 1", 1},
    {"SixtyFour", "NodesOffline = 64", 1ULL << 63},
    {"Several", "NodesOffline = 1, 3,64", 1ULL << 63 | 5},
    {"AnyOrderAndDoubles", "NodesOffline = 3,1,3", 5},
    {"AboveTheNodeCount", "NodesOffline = 60", 1ULL << 59},
    {"Empty", "NodesOffline =", 0},
    {"NoNumber", "NodesOffline = none", 0},
    {"LeadingComma", "NodesOffline = , 1", 0},
    {"TrailingComma", "NodesOffline = 1,", 1},
    {"TwoCommas", "NodesOffline = 1,,2", 1},
    {"TextBetween", "NodesOffline = 1 and more, 2", 3},
    {"BlanksAreNoSeparators", "NodesOffline = 1 2", 1ULL << 11},
    {"SemicolonEndsTheList", "NodesOffline = 1; 2", 1},
    {"TagTwiceAddsToTheMask", "NodesOffline = 1\nNodesOffline = 2", 3},
    {"SecondTagInTheLine", "NodesOffline = 1, NodesOffline = 2", 1},
    {"TagBehindOtherText", "x NodesOffline = 1", 0},
    {"TagBehindTextThatPutsANumberAtTheListsPlace", "0123456789abc7 nodesoffline=1", 1ULL << 6},
    {"ListScanRunsIntoTheTag", "0123456789abc7,nodesoffline=1", 1ULL << 6},
};

INSTANTIATE_TEST_SUITE_P(OfEveryForm, GlobalOfflineLists, testing::ValuesIn(kOfflineRows),
                         [](const auto& row) { return row.param.name; });

TEST_F(GlobalReader, ALineWithTheOfflineTagRunsOnThroughTheFurtherForms) {
    // The list's place, behind thirteen characters, is inside the name and holds no number.
    EXPECT_EQ(LoadGlobal("NodeCount = 1\nClusterName = nodesoffline=x\n"), 2);
    EXPECT_STREQ(Global().szClusterName, "nodesoffline=x");
    EXPECT_EQ(LoadGlobal("NodeCount = 1\nClusterName = s7 nodesoffline=x\n"), 2);
    EXPECT_STREQ(Global().szClusterName, "s7nodesoffline=x");
    EXPECT_EQ(Global().ullNodesOffline, 1ULL << 6);
}

TEST_F(GlobalReader, ANodeCountLineWithTheOfflineTagIsTheCountAlone) {
    // The list's place, behind thirteen characters, has the second 7.
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 2, 77nodesoffline=1\n"), 2);
    EXPECT_EQ(Global().uiNodeCount, 2U);
    EXPECT_EQ(Global().ullNodesOffline, 0U);
}

struct EndlessRow {
    const char* name;
    const char* list;
    const char* message;
};

class GlobalOfflineRepetition : public ConfigTest, public testing::WithParamInterface<EndlessRow> {};

TEST_P(GlobalOfflineRepetition, NeverEndsOnABadNumber) {
    Put("global.cfg", std::string(kSystem) + "NodesOffline = " + GetParam().list + "\n");
    bool ended = true;
    const Messages messages = LoggedByChild([] { ConfigLib_Load_Global(); }, 20000, ended);
    EXPECT_FALSE(ended);
    EXPECT_EQ(messages, Messages(20000, GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    OfEveryKind, GlobalOfflineRepetition,
    testing::Values(EndlessRow{"Zero", "0", "Config: Invalid node  number in offline list (0)"},
                    EndlessRow{"SixtyFive", "65", "Config: Invalid node  number in offline list (65)"},
                    EndlessRow{"MinusOne", "-1", "Config: Invalid node  number in offline list (4294967295)"},
                    EndlessRow{"BehindGoodOnes", "1, 2, 65, 3", "Config: Invalid node  number in offline list (65)"}),
    [](const auto& row) { return row.param.name; });

struct CountRow {
    const char* name;
    const char* line;
    unsigned int cameras;  // of node 1
    unsigned int sensors;
};

class GlobalCounts : public ConfigTest, public testing::WithParamInterface<CountRow> {};

TEST_P(GlobalCounts, AreStoredForNodeAndType) {
    EXPECT_EQ(LoadGlobal(std::string(kSystem) + GetParam().line + "\n"), 2);
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_CAMERA][1], GetParam().cameras);
    EXPECT_EQ(Global().uiDevicesConnected[CAPTURE_DEVICE_SENSOR][1], GetParam().sensors);
}

const CountRow kCountRows[] = {
    {"Cameras", "CamerasConnectedToNode1 = 4", 4, 0},
    {"Sensors", "SensorsConnectedToNode1 = 4", 0, 4},
    {"Zero", "CamerasConnectedToNode1 = 4\nCamerasConnectedToNode1 = 0", 0, 0},
    {"BlankAheadOfTheNode", "Cameras Connected To Node 1=4", 4, 0},
    {"BlanksInQuotesBeforeTheEqualsSign", "CamerasConnectedToNode1\" = \"4", 4, 0},
    {"LeadingZeroOfTheNode", "CamerasConnectedToNode01 = 4", 4, 0},
    {"Singular", "CameraConnectedToNode1 = 4", 0, 0},
    {"NoNode", "CamerasConnectedToNode = 4", 0, 0},
    {"NoCount", "CamerasConnectedToNode1 =", 0, 0},
    {"NoEqualsSign", "CamerasConnectedToNode1 4", 0, 0},
    {"TextAhead", "xCamerasConnectedToNode1 = 4", 0, 0},
    {"TextBehind", "CamerasConnectedToNode1 = 4 of them", 4, 0},
};

INSTANTIATE_TEST_SUITE_P(OfEveryForm, GlobalCounts, testing::ValuesIn(kCountRows),
                         [](const auto& row) { return row.param.name; });

// ---- Widths

struct WidthRow {
    const char* name;
    std::size_t length;
    std::size_t stored;
};

class ClusterNameWidth : public ConfigTest, public testing::WithParamInterface<WidthRow> {};

TEST_P(ClusterNameWidth, IsAtMost63Characters) {
    const std::string value(GetParam().length, 'N');
    EXPECT_EQ(LoadGlobal("ClusterName = \"" + value + "\"\nNodeCount = 1\n"), 2);
    EXPECT_EQ(std::string(Global().szClusterName), std::string(GetParam().stored, 'N'));
    EXPECT_EQ(Global().uiNodeCount, 1U);
}

INSTANTIATE_TEST_SUITE_P(AroundTheLimit, ClusterNameWidth,
                         testing::Values(WidthRow{"One", 1, 1}, WidthRow{"OneBelow", 62, 62},
                                         WidthRow{"AtTheLimit", 63, 63}, WidthRow{"OneAbove", 64, 63},
                                         WidthRow{"FarAbove", 1000, 63}),
                         [](const auto& row) { return row.param.name; });

class GeneralStoragePathWidth : public ConfigTest, public testing::WithParamInterface<WidthRow> {};

TEST_P(GeneralStoragePathWidth, IsAtMost1023CharactersWithItsClosingSlash) {
    EXPECT_EQ(LoadGlobal(kSystem + ("GeneralStoragePath = \"" + std::string(GetParam().length, 'p')) + "\"\n"), 2);
    const std::string expected = GetParam().length < 2 || GetParam().length > 1022
                                     ? std::string(GetParam().stored, 'p')
                                     : std::string(GetParam().stored - 1, 'p') + "/";
    EXPECT_EQ(std::string(Global().szGeneralStoragePath), expected);
}

INSTANTIATE_TEST_SUITE_P(AroundTheLimit, GeneralStoragePathWidth,
                         testing::Values(WidthRow{"OneCharacterIsLeftAlone", 1, 1}, WidthRow{"Two", 2, 3},
                                         WidthRow{"OneBelow", 1021, 1022},
                                         WidthRow{"LongestThatHasPlaceForASlash", 1022, 1023},
                                         WidthRow{"FullField", 1023, 1023}, WidthRow{"OneAbove", 1024, 1023},
                                         WidthRow{"FarAbove", 1100, 1023}),
                         [](const auto& row) { return row.param.name; });

TEST_F(GlobalReader, TheClosingSlashRuleLooksAtLengthAndLastCharacter) {
    const char* const rows[][2] = {{"/", "/"},    {"\\", "\\"}, {"a", "a"},     {"//", "//"},
                                   {"/a", "/a/"}, {"a/", "a/"}, {"a\\", "a\\"}, {"/a b", "/a b/"}};
    for (const auto& row : rows) {
        Load(std::string("GeneralStoragePath = \"") + row[0] + "\"\n");
        EXPECT_STREQ(Global().szGeneralStoragePath, row[1]);
    }
}

// ---- Files that cannot be opened or read

TEST_F(GlobalReader, AMissingFileIsReportedWithPathAndErrorAndClearsTheRecord) {
    Load("LogLevelNode = 4\n");
    unlink(Path("global.cfg").c_str());
    EXPECT_EQ(ConfigLib_Load_Global(), 0);
    EXPECT_EQ(Logged(), Messages{"Config: Cannot open config file '" + Path("global.cfg") + "' (" +
                                 std::to_string(ENOENT) + ")"});
    EXPECT_STREQ(Global().szClusterName, "");
    EXPECT_EQ(Global().uiNodeCount, 0U);
    EXPECT_EQ(Global().uiLogLevelNode, 0U);
}

TEST_F(GlobalReader, ALinkToItselfIsReportedWithItsOwnError) {
    ASSERT_EQ(symlink("global.cfg", Path("global.cfg").c_str()), 0);
    EXPECT_EQ(ConfigLib_Load_Global(), 0);
    EXPECT_EQ(Logged(),
              Messages{"Config: Cannot open config file '" + Path("global.cfg") + "' (" + std::to_string(ELOOP) + ")"});
}

TEST_F(GlobalReader, ADirectoryInTheFilesPlaceDeliversNothingAndEndsTheReading) {
    std::filesystem::create_directory(Path("global.cfg"));
    EXPECT_EQ(ConfigLib_Load_Global(), 0);
    EXPECT_EQ(Logged(), Messages{"Config: 'ClusterName' is not defined"});
}

TEST_F(GlobalReader, ASecondLoadReplacesTheFirst) {
    Load(
        "CamerasConnectedToNode1 = 4\nNodesOffline = 1\nManagerMachineIP = 1.2.3.4, 1.2.3.4\nShowAllParameters = 1\n"
        "GeneralStoragePath = \"/a\"\n");
    EXPECT_EQ(LoadGlobal("ClusterName = b\nNodeCount = 1\n"), 2);
    EXPECT_EQ(SavedGlobal(),
              "ClusterName = \"b\"\n\nNodeCount = 1\n\nCamerasConnectedToNode1 = 0\n\nManagerMachineIP = 0.0.0.0\n\n"
              "GeneralStoragePath = \"\"\n\nLogLevelNode = 0\n\nLogLevelManager = 0\n\nShowAllParameters = 0\n\n"
              "AllowFailedDevices = 0\n\nAllowFailedNodes = 0\n\n");
}

TEST_F(GlobalReader, IsReadWithThePlainNameWhateverTheIndex) {
    UseIndex(5);
    Load("LogLevelNode = 4\n");
    EXPECT_EQ(Global().uiLogLevelNode, 4U);
}

TEST_F(GlobalReader, AFileCutAtAnyByteNeverHarmsAndGivesAKnownResult) {
    const std::string whole =
        "ClusterName = \"Site \xE9 A\"\r\nNodeCount = 2\n\nNodesOffline = 2, 11\nCamerasConnectedToNode1 = 4\n"
        "SensorsConnectedToNode2 = 3\nManagerMachineIP = 10.0.0.1, 10.0.0.2\nGeneralStoragePath = \"/mnt/g\"\n"
        "LogLevelNode = 1\nLogLevelManager = 2\nShowAllParameters = 1\nAllowFailedDevices = 1\nAllowFailedNodes = 1";
    const std::size_t complete = whole.find("NodeCount = 2") + std::strlen("NodeCount = 2");
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_EQ(LoadGlobal(whole.substr(0, length)), length >= complete ? 2 : 0);
        const Messages expected = length >= complete ? Messages{}
                                                     : Messages{length >= std::strlen("ClusterName = \"S")
                                                                    ? "Config: 'NodeCount' is not defined"
                                                                    : "Config: 'ClusterName' is not defined"};
        EXPECT_EQ(Logged(), expected);
    }
}

// ---- Writer

CONFIGURATION__GLOBAL FullRecord() {
    CONFIGURATION__GLOBAL global{};
    std::strcpy(global.szClusterName, "Site A");
    global.uiNodeCount = 3;
    global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA][0] = 99;
    global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA][1] = 4;
    global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA][3] = 64;
    global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA][4] = 7;
    global.uiDevicesConnected[CAPTURE_DEVICE_SENSOR][1] = 5;
    global.ullNodesOffline = 0xFFFFFFFFFFFFFFFDU;
    global.uiManagerMachineIP[0] = Address(192, 168, 0, 10);
    global.uiManagerMachineIP[1] = Address(255, 254, 1, 0);
    global.uiLogLevelNode = 4294967295U;
    global.uiLogLevelManager = 7;
    global.bShowAllParameters = true;
    global.bAllowFailedNodes = true;
    std::strcpy(global.szGeneralStoragePath, "/mnt/general/");
    return global;
}

constexpr char kFullFile[] =
    "ClusterName = \"Site A\"\n\n"
    "NodeCount = 3\n\n"
    "NodesOffline = 1, 3\n\n"
    "CamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 0\nCamerasConnectedToNode3 = 64\n\n"
    "ManagerMachineIP = 192.168.0.10, 255.254.1.0\n\n"
    "GeneralStoragePath = \"/mnt/general/\"\n\n"
    "LogLevelNode = 4294967295\n\n"
    "LogLevelManager = 7\n\n"
    "ShowAllParameters = 1\n\n"
    "AllowFailedDevices = 0\n\n"
    "AllowFailedNodes = 1\n\n";

struct WriterRow {
    const char* name;
    void (*change)(CONFIGURATION__GLOBAL& global);
    const char* old;  // part of kFullFile, and what stands there instead
    const char* now;
};

class GlobalWriter : public ConfigTest {
public:
    std::string Saved(CONFIGURATION__GLOBAL& global) const {
        EXPECT_TRUE(ConfigLib_Save_Global(&global));
        EXPECT_FALSE(Has("global.cfg.temp"));
        return Get("global.cfg");
    }
};

class GlobalWriterRows : public GlobalWriter, public testing::WithParamInterface<WriterRow> {};

TEST_P(GlobalWriterRows, WriteExactlyTheseBytes) {
    CONFIGURATION__GLOBAL global = FullRecord();
    GetParam().change(global);
    std::string expected = kFullFile;
    const std::size_t at = expected.find(GetParam().old);
    ASSERT_NE(at, std::string::npos);
    expected.replace(at, std::strlen(GetParam().old), GetParam().now);
    EXPECT_EQ(Saved(global), expected);
    EXPECT_EQ(Logged(), Messages{});
}

using G = CONFIGURATION__GLOBAL;
const WriterRow kWriterRows[] = {
    {"WholeRecord", [](G&) {}, "", ""},
    {"ClusterNameEmpty", [](G& g) { g.szClusterName[0] = '\0'; }, "\"Site A\"", "\"\""},
    {"ClusterNameWithQuotesAndHighBytes", [](G& g) { std::strcpy(g.szClusterName, "a\"\xE9\n%s"); }, "Site A",
     "a\"\xE9\n%s"},
    {"ClusterNameOf63", [](G& g) { std::strcpy(g.szClusterName, std::string(63, 'N').c_str()); }, "Site A",
     "NNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNNN"},
    {"NodeCountOne", [](G& g) { g.uiNodeCount = 1; },
     "NodeCount = 3\n\nNodesOffline = 1, 3\n\n"
     "CamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 0\nCamerasConnectedToNode3 = 64\n\n",
     "NodeCount = 1\n\nNodesOffline = 1\n\nCamerasConnectedToNode1 = 4\n\n"},
    {"NodeCountFourBringsTheNextCount", [](G& g) { g.uiNodeCount = 4; },
     "NodeCount = 3\n\nNodesOffline = 1, 3\n\n"
     "CamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 0\nCamerasConnectedToNode3 = 64\n\n",
     "NodeCount = 4\n\nNodesOffline = 1, 3, 4\n\n"
     "CamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 0\nCamerasConnectedToNode3 = 64\n"
     "CamerasConnectedToNode4 = 7\n\n"},
    {"NodeCountZeroWithAMask", [](G& g) { g.uiNodeCount = 0; },
     "NodeCount = 3\n\nNodesOffline = 1, 3\n\n"
     "CamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 0\nCamerasConnectedToNode3 = 64\n\n",
     "NodeCount = 0\n\n\n\n\n"},
    {"NodeCountZeroWithoutAMask",
     [](G& g) {
         g.uiNodeCount = 0;
         g.ullNodesOffline = 0;
     },
     "NodeCount = 3\n\nNodesOffline = 1, 3\n\n"
     "CamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 0\nCamerasConnectedToNode3 = 64\n\n",
     "NodeCount = 0\n\n\n"},
    {"NoNodeOffline", [](G& g) { g.ullNodesOffline = 0; }, "NodesOffline = 1, 3\n\n", ""},
    {"OneNodeOffline", [](G& g) { g.ullNodesOffline = 4; }, "NodesOffline = 1, 3\n\n", "NodesOffline = 3\n\n"},
    {"OnlyNodesAboveTheCountOffline", [](G& g) { g.ullNodesOffline = 8; }, "NodesOffline = 1, 3\n\n", "\n\n"},
    {"NoAddress", [](G& g) { g.uiManagerMachineIP[0] = g.uiManagerMachineIP[1] = 0; }, "192.168.0.10, 255.254.1.0",
     "0.0.0.0"},
    {"FirstAddressOnly", [](G& g) { g.uiManagerMachineIP[1] = 0; }, "192.168.0.10, 255.254.1.0", "192.168.0.10"},
    {"SecondAddressOnly", [](G& g) { g.uiManagerMachineIP[0] = 0; }, "192.168.0.10", "0.0.0.0"},
    {"NoGeneralStorage", [](G& g) { g.szGeneralStoragePath[0] = '\0'; }, "\"/mnt/general/\"", "\"\""},
    {"LogLevelNodeZero", [](G& g) { g.uiLogLevelNode = 0; }, "LogLevelNode = 4294967295", "LogLevelNode = 0"},
    {"LogLevelManagerZero", [](G& g) { g.uiLogLevelManager = 0; }, "LogLevelManager = 7", "LogLevelManager = 0"},
    {"ShowAllParametersOff", [](G& g) { g.bShowAllParameters = false; }, "ShowAllParameters = 1",
     "ShowAllParameters = 0"},
    {"AllowFailedDevicesOn", [](G& g) { g.bAllowFailedDevices = true; }, "AllowFailedDevices = 0",
     "AllowFailedDevices = 1"},
    {"AllowFailedNodesOff", [](G& g) { g.bAllowFailedNodes = false; }, "AllowFailedNodes = 1", "AllowFailedNodes = 0"},
};

INSTANTIATE_TEST_SUITE_P(OfTheLayout, GlobalWriterRows, testing::ValuesIn(kWriterRows),
                         [](const auto& row) { return row.param.name; });

TEST_F(GlobalWriter, WithNodeCountZeroNoOfflineNorCountLinesAppearUnlessTheMaskIsSetWhichYieldsBlankLines) {
    CONFIGURATION__GLOBAL global{};
    EXPECT_NE(Saved(global).find("NodeCount = 0\n\n\nManagerMachineIP"), std::string::npos);
    global.ullNodesOffline = 1;
    EXPECT_NE(Saved(global).find("NodeCount = 0\n\n\n\n\nManagerMachineIP"), std::string::npos);
}

TEST_F(GlobalWriter, SixtyFourNodesAllOfflineAreAllWritten) {
    CONFIGURATION__GLOBAL global{};
    global.uiNodeCount = 64;
    global.ullNodesOffline = ~0ULL;
    std::string offline = "NodesOffline = 1";
    std::string counts;
    for (int node = 1; node <= 64; ++node) {
        offline += node > 1 ? ", " + std::to_string(node) : "";
        counts += "CamerasConnectedToNode" + std::to_string(node) + " = 0\n";
    }
    EXPECT_NE(Saved(global).find("NodeCount = 64\n\n" + offline + "\n\n" + counts + "\nManagerMachineIP"),
              std::string::npos);
}

TEST_F(GlobalWriter, ANameOf64CharactersRunsUpToTheNodeCountsZeroByte) {
    CONFIGURATION__GLOBAL global{};
    std::memset(global.szClusterName, 'N', sizeof global.szClusterName);
    EXPECT_EQ(Saved(global).substr(0, 64 + 17), "ClusterName = \"" + std::string(64, 'N') + "\"\n");
}

TEST_F(GlobalWriter, TheGivenRecordIsWrittenAndTheLibrarysOwnIsLeftAlone) {
    CONFIGURATION__GLOBAL global = FullRecord();
    EXPECT_EQ(Saved(global), kFullFile);
    EXPECT_EQ(Global().uiNodeCount, 0U);
}

TEST_F(GlobalWriter, WithAnIndexAboveOneNothingIsWrittenAndSuccessReported) {
    UseIndex(2);
    CONFIGURATION__GLOBAL global = FullRecord();
    EXPECT_TRUE(ConfigLib_Save_Global(&global));
    EXPECT_FALSE(Has("global.cfg"));
    EXPECT_FALSE(Has("global.cfg.temp"));
}

TEST_F(GlobalWriter, AStaleTemporaryFileIsReplaced) {
    Put("global.cfg.temp", std::string(10000, 'x'));
    CONFIGURATION__GLOBAL global = FullRecord();
    EXPECT_EQ(Saved(global), kFullFile);
}

TEST_F(GlobalWriter, ATemporaryFileThatCannotBeOpenedIsReportedWithPathAndError) {
    Put("global.cfg", "old");
    std::filesystem::create_directory(Path("global.cfg.temp"));
    CONFIGURATION__GLOBAL global = FullRecord();
    EXPECT_FALSE(ConfigLib_Save_Global(&global));
    EXPECT_EQ(Logged(), Messages{"Config: Cannot open config file '" + Path("global.cfg.temp") + "' (" +
                                 std::to_string(EISDIR) + ")"});
    EXPECT_EQ(Get("global.cfg"), "old");
}

TEST_F(GlobalWriter, AMissingFolderIsReportedWithPathAndError) {
    const std::string folder = Path("");
    std::filesystem::remove_all(folder);
    CONFIGURATION__GLOBAL global = FullRecord();
    EXPECT_FALSE(ConfigLib_Save_Global(&global));
    EXPECT_EQ(Logged(), Messages{"Config: Cannot open config file '" + folder + "global.cfg.temp' (" +
                                 std::to_string(ENOENT) + ")"});
}

TEST_F(GlobalWriter, AFailedRenameReturnsFalseInSilence) {
    std::filesystem::create_directory(Path("global.cfg"));
    CONFIGURATION__GLOBAL global = FullRecord();
    EXPECT_FALSE(ConfigLib_Save_Global(&global));
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Get("global.cfg.temp"), kFullFile);
}

// A record without a zero byte up to the end of its general storage path: the name's item is longer than the writer's
// buffer of 2048 bytes.
void FillToTheEnd(CONFIGURATION__GLOBAL& global) {
    std::memset(static_cast<void*>(&global), 'x', sizeof global);
    global.bShowAllParameters = global.bAllowFailedDevices = global.bAllowFailedNodes = true;
}

TEST_F(GlobalWriter, AFailedWriteLeavesTheTemporaryFileBesideTheOldFileAndTheNextSaveOverwritesIt) {
    Put("global.cfg", "old");
    CONFIGURATION__GLOBAL global{};
    FillToTheEnd(global);
    EXPECT_FALSE(ConfigLib_Save_Global(&global));
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_TRUE(Has("global.cfg.temp"));
    EXPECT_EQ(Get("global.cfg"), "old");

    global = FullRecord();
    EXPECT_EQ(Saved(global), kFullFile);
}

TEST_F(GlobalWriter, AFailedWriteDoesNotStopTheSequence) {
    CONFIGURATION__GLOBAL global{};
    FillToTheEnd(global);
    EXPECT_FALSE(ConfigLib_Save_Global(&global));
    const std::string written = Get("global.cfg.temp");
    EXPECT_EQ(written.substr(0, 1000), "ClusterName = \"" + std::string(1000 - 15, 'x'));
    EXPECT_EQ(written.substr(2047, std::strlen("NodeCount = ")), "NodeCount = ");
    EXPECT_EQ(written.substr(written.size() - std::strlen("\n\nAllowFailedNodes = 1\n\n")),
              "\n\nAllowFailedNodes = 1\n\n");
}

TEST_F(GlobalWriter, AFileSizeLimitIsAFailedWriteAndLeavesTheOldFile) {
    Put("global.cfg", "old");
    CONFIGURATION__GLOBAL global = FullRecord();
    EXPECT_TRUE(PassesInChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit tenBytes = {10, 10};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tenBytes), 0);
        EXPECT_FALSE(ConfigLib_Save_Global(&global));
        EXPECT_EQ(Logged(), Messages{});
    }));
    EXPECT_EQ(Get("global.cfg.temp"), std::string(kFullFile).substr(0, 10));
    EXPECT_EQ(Get("global.cfg"), "old");
}

TEST_F(GlobalWriter, NoBackupOfTheOldFileIsKept) {
    Put("global.cfg", "old");
    CONFIGURATION__GLOBAL global = FullRecord();
    Saved(global);
    int files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(Path(""))) {
        ++files;
    }
    EXPECT_EQ(files, 1);
}

// ---- Where reader and writer differ

class GlobalRoundTrip : public GlobalReader {};

TEST_F(GlobalRoundTrip, TheExampleOfTwoNodesComesBackByteForByte) {
    const std::string text =
        "ClusterName = \"Site A\"\n\nNodeCount = 2\n\nCamerasConnectedToNode1 = 4\nCamerasConnectedToNode2 = 4\n\n"
        "ManagerMachineIP = 192.168.0.10\n\nGeneralStoragePath = \"/mnt/general/\"\n\nLogLevelNode = 0\n\n"
        "LogLevelManager = 0\n\nShowAllParameters = 0\n\nAllowFailedDevices = 0\n\nAllowFailedNodes = 0\n\n";
    EXPECT_EQ(LoadGlobal(text), 2);
    EXPECT_EQ(SavedGlobal(), text);
}

TEST_F(GlobalRoundTrip, SensorCountsAreReadButNotWrittenWhileCameraCountsComeBack) {
    Load("SensorsConnectedToNode1 = 2\nCamerasConnectedToNode1 = 2\n");
    const std::string saved = SavedGlobal();
    EXPECT_EQ(saved.find("SensorsConnectedToNode"), std::string::npos);
    EXPECT_NE(saved.find("CamerasConnectedToNode1 = 2\n"), std::string::npos);
}

TEST_F(GlobalRoundTrip, CountLinesAreTakenAnywhereBehindNodeCountAndWrittenRightBehindIt) {
    Load("LogLevelNode = 1\nCamerasConnectedToNode1 = 2\n");
    EXPECT_NE(SavedGlobal().find("NodeCount = 3\n\nCamerasConnectedToNode1 = 2\n"), std::string::npos);
}

TEST_F(GlobalRoundTrip, ALoweredNodeCountDropsTheOfflineNodesAndCountsAboveItForGood) {
    Load("NodesOffline = 1, 3\nCamerasConnectedToNode3 = 2\n");
    Global().uiNodeCount = 2;
    SavedGlobal();
    EXPECT_EQ(ConfigLib_Load_Global(), 2);
    Global().uiNodeCount = 3;
    const std::string saved = SavedGlobal();
    EXPECT_NE(saved.find("NodesOffline = 1\n"), std::string::npos);
    EXPECT_NE(saved.find("CamerasConnectedToNode3 = 0\n"), std::string::npos);
}

TEST_F(GlobalRoundTrip, ManagerMachineIpIsWrittenWithoutAnAddressAndReadBackAsNone) {
    Load("");
    EXPECT_NE(SavedGlobal().find("ManagerMachineIP = 0.0.0.0\n\n"), std::string::npos);
    EXPECT_EQ(ConfigLib_Load_Global(), 2);
    EXPECT_EQ(Global().uiManagerMachineIP[0], 0U);
}

TEST_F(GlobalRoundTrip, ASaveMakesTheDefaultsOfTheLastFiveSettingsExplicit) {
    Load("");
    EXPECT_NE(SavedGlobal().find("LogLevelNode = 0\n\nLogLevelManager = 0\n\nShowAllParameters = 0\n\n"
                                 "AllowFailedDevices = 0\n\nAllowFailedNodes = 0\n\n"),
              std::string::npos);
}

TEST_F(GlobalRoundTrip, ASecondAddressIsWrittenWithACommaAndABlankAndReadBack) {
    Load("ManagerMachineIP = 1.2.3.4,5.6.7.8\n");
    EXPECT_NE(SavedGlobal().find("ManagerMachineIP = 1.2.3.4, 5.6.7.8\n\n"), std::string::npos);
    EXPECT_EQ(ConfigLib_Load_Global(), 2);
    EXPECT_EQ(Global().uiManagerMachineIP[1], Address(5, 6, 7, 8));
}

TEST_F(GlobalRoundTrip, QuotesProtectCaseAndBlanksWhichAnUnquotedValueLoses) {
    Load("GeneralStoragePath = \"/Mnt/My Disk/\"\n");
    EXPECT_STREQ(Global().szGeneralStoragePath, "/Mnt/My Disk/");
    Load("GeneralStoragePath = /Mnt/My Disk/\n");
    EXPECT_STREQ(Global().szGeneralStoragePath, "/mnt/mydisk/");
    EXPECT_NE(SavedGlobal().find("GeneralStoragePath = \"/mnt/mydisk/\"\n"), std::string::npos);
}

TEST_F(GlobalRoundTrip, IgnoredLinesAreGoneAfterASave) {
    Load("# remark\nColour = red\n");
    const std::string saved = SavedGlobal();
    EXPECT_EQ(saved.find("remark"), std::string::npos);
    EXPECT_EQ(saved.find("Colour"), std::string::npos);
}

TEST_F(GlobalRoundTrip, ASecondSaveWritesTheSameBytes) {
    Load(Repeated("NodesOffline = 2\nCamerasConnectedToNode2 = 9\n", 2) + "ManagerMachineIP = 1.2.3.4\n");
    const std::string first = SavedGlobal();
    EXPECT_EQ(ConfigLib_Load_Global(), 2);
    EXPECT_EQ(SavedGlobal(), first);
}

}  // namespace
