// The library's frame: labels, index, location of the files, normalisation of a line, and what all readers share.
#include <cstddef>
#include <cstring>

#include "ConfigLib/ConfigTest.h"
#include "support/DataPath.h"

namespace {

std::string Normalised(const std::string& line) {
    std::vector<char> buffer(line.begin(), line.end());
    buffer.push_back('\0');
    ConfigFile_Utils_RemoveSpaces(buffer.data());
    return buffer.data();
}

TEST(RemoveSpaces, KeepsInnerBlanksAndCaseOfQuotedTextAndDropsTheOuterOnes) {
    EXPECT_EQ(Normalised(R"(Tag = "A  b" , "C")"), "tag=A  b,C");
}

TEST(RemoveSpaces, MakesALineOfBlanksAndACarriageReturnEmpty) {
    EXPECT_EQ(Normalised("   \t \r"), "");
}

TEST(RemoveSpaces, DropsAByteOfE9OutsideQuotesAndKeepsItInside) {
    EXPECT_EQ(Normalised("caf\xE9 = \"caf\xE9\""), "caf=caf\xE9");
}

TEST(RemoveSpaces, AnEmbeddedQuoteIsLostAndFlipsTheFlagForTheRestOfTheLine) {
    EXPECT_EQ(Normalised(R"(Name = "Site "A B" C D")"), "name=Site ab C D");
}

TEST(RemoveSpaces, TurnsAWrittenSettingIntoTheFormThatPatternsMatch) {
    EXPECT_EQ(Normalised(R"(ClusterName = "Site A")"), "clustername=Site A");
}

TEST(RemoveSpaces, AnUnterminatedQuoteHoldsUpToTheEndOfTheLine) {
    EXPECT_EQ(Normalised("Name = \"Site A \r\n"), "name=Site A \r\n");
}

TEST(RemoveSpaces, TheQuoteFlagDoesNotCarryOverToTheNextLine) {
    EXPECT_EQ(Normalised("\"Open A"), "Open A");
    EXPECT_EQ(Normalised("Next A"), "nexta");
}

TEST(RemoveSpaces, LowersHexadecimalDigitsAndUnquotedValues) {
    EXPECT_EQ(Normalised("CameraMAC1 = AB:CD:EF:00:11:22"), "cameramac1=ab:cd:ef:00:11:22");
}

TEST(RemoveSpaces, QuotesAloneVanish) {
    EXPECT_EQ(Normalised(R"("""")"), "");
}

TEST(RemoveSpaces, TreatsEveryByteOutsideAndInsideQuotesByTheRule) {
    for (int value = 1; value < 256; ++value) {
        const char byte = static_cast<char>(value);
        if (byte == '"') {
            continue;
        }
        SCOPED_TRACE(value);
        std::string outside;
        if (value > 32 && value < 128) {
            outside = static_cast<char>(value >= 'A' && value <= 'Z' ? value + 32 : value);
        }
        EXPECT_EQ(Normalised(std::string(1, byte)), outside);
        EXPECT_EQ(Normalised(std::string("\"") + byte + "\""), std::string(1, byte));
    }
}

TEST(RemoveSpaces, WritesNothingBehindTheLinesOwnTerminator) {
    char buffer[] = "A \"b\"\0keep";
    ConfigFile_Utils_RemoveSpaces(buffer);
    EXPECT_STREQ(buffer, "ab");
    EXPECT_STREQ(buffer + 6, "keep");
}

TEST(Records, HaveTheFieldSizesAndOrderThatClientsRelyOn) {
    EXPECT_EQ(sizeof(CONFIGURATION__GLOBAL::szClusterName), 64U);
    EXPECT_EQ(offsetof(CONFIGURATION__GLOBAL, uiNodeCount), 64U);
    EXPECT_EQ(offsetof(CONFIGURATION__GLOBAL, uiDevicesConnected), 68U);
    EXPECT_EQ(offsetof(CONFIGURATION__GLOBAL, uiFirstDeviceOfNode), 68U + 520U);
    EXPECT_EQ(offsetof(CONFIGURATION__GLOBAL, ullNodesOffline), 1112U);
    EXPECT_EQ(offsetof(CONFIGURATION__GLOBAL, uiManagerMachineIP), 1120U);
    EXPECT_EQ(offsetof(CONFIGURATION__GLOBAL, bShowAllParameters), 1136U);
    EXPECT_EQ(offsetof(CONFIGURATION__GLOBAL, szGeneralStoragePath), 1139U);
    EXPECT_EQ(sizeof(CONFIGURATION__GLOBAL::szGeneralStoragePath), 1024U);
    EXPECT_EQ(offsetof(CONFIGURATION__LOCAL, szRecordingStorage), 12U);
    EXPECT_EQ(offsetof(CONFIGURATION__LOCAL, uiRecordingStorageCount), 12U + 16U * 1024U);
    EXPECT_EQ(offsetof(CONFIGURATION__LOCAL, szStreamPluginName), 16U + 16U * 1024U);
    EXPECT_EQ(offsetof(CONFIGURATION__LOCAL, fMaxMemUseAllowed), 16U + 20U * 1024U);
    EXPECT_EQ(sizeof(CONFIGURATION__LOCAL::bDeviceOffline), 130U);
    EXPECT_EQ(offsetof(CONFIGURATION__CAPTURE_HARDWARE, szCTIName), 1096U);
    EXPECT_EQ(sizeof(CONFIGURATION__CAPTURE_HARDWARE::szCTIParams), 32U);
    EXPECT_EQ(offsetof(CONFIGURATION__CAPTURE_DEVICE, uiModelCameras), 64U + 1024U + 64U);
    EXPECT_EQ(offsetof(CAPTURE_DEVICE_INFO, fPosition), 64U + 128U);
    EXPECT_EQ(sizeof(CAPTURE_DEVICE_INFO), 64U + 128U + 28U);
}

class ConfigUtils : public ConfigTest {};

TEST_F(ConfigUtils, InitMakesTheLabelTableWithZeroPaddedFields) {
    const char* const expected[2][4] = {{"Camera", "camera", "Cameras", "cameras"},
                                        {"Sensor", "sensor", "Sensors", "sensors"}};
    for (int type = 0; type < 2; ++type) {
        for (int field = 0; field < 4; ++field) {
            char padded[32] = {};
            std::memcpy(padded, expected[type][field], std::strlen(expected[type][field]));
            EXPECT_EQ(std::memcmp(g_DeviceTypeName[type][field], padded, sizeof padded), 0) << type << field;
        }
    }
}

TEST_F(ConfigUtils, DeInitSetsTheLabelTableToNullAndMayBeCalledTwice) {
    ConfigLib_DeInit();
    EXPECT_EQ(g_DeviceTypeName, nullptr);
    ConfigLib_DeInit();
    EXPECT_EQ(g_DeviceTypeName, nullptr);
    ConfigLib_Init(0);
}

TEST_F(ConfigUtils, InitAndDeInitLeaveTheRecordsAsTheyAre) {
    Global().uiNodeCount = 7;
    Local().uiNodeID = 3;
    (*ConfigFile_GetStructPtr_DeviceInfo(CAPTURE_DEVICE_SENSOR))[5] = {};
    UseIndex(0);
    EXPECT_EQ(Global().uiNodeCount, 7U);
    EXPECT_EQ(Local().uiNodeID, 3U);
    EXPECT_EQ(ConfigFile_GetStructPtr_DeviceInfo(CAPTURE_DEVICE_SENSOR)->size(), 1U);
}

TEST_F(ConfigUtils, AccessorsGiveTheSameRecordEveryTimeAndLoadNothing) {
    Put("global.cfg", "ClusterName = a\nNodeCount = 2\n");
    EXPECT_EQ(ConfigFile_GetStructPtr_Global(), ConfigFile_GetStructPtr_Global());
    EXPECT_EQ(ConfigFile_GetStructPtr_Local(), ConfigFile_GetStructPtr_Local());
    EXPECT_EQ(Global().uiNodeCount, 0U);
}

TEST_F(ConfigUtils, IndexOneBehavesExactlyAsIndexZero) {
    UseIndex(1);
    EXPECT_EQ(g_uiConfigIdx, 0U);
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 2\n"), 2);
    EXPECT_EQ(LoadLocal("NodeID = 2\n"), 2);
    EXPECT_NE(SavedGlobal(), "ClusterName = a\nNodeCount = 2\n");
    EXPECT_NE(SavedLocal(), "NodeID = 2\n");
}

TEST_F(ConfigUtils, IndexTwoSelectsLocal2AndStopsTheGlobalSaveThatStillReportsSuccess) {
    UseIndex(2);
    EXPECT_EQ(g_uiConfigIdx, 2U);
    const std::string text = "ClusterName = a\nNodeCount = 2\n";
    EXPECT_EQ(LoadGlobal(text), 2);
    Put("local2.cfg", "NodeID = 2\n");
    EXPECT_EQ(ConfigLib_Load_Local(), 2);
    EXPECT_EQ(Local().uiNodeID, 2U);
    EXPECT_EQ(SavedGlobal(), text);
    EXPECT_FALSE(Has("global.cfg.temp"));
}

class FilesOfIndex : public ConfigUtils, public testing::WithParamInterface<unsigned int> {};

TEST_P(FilesOfIndex, HaveTheNumberInTheirNames) {
    const std::string name = "local" + std::to_string(GetParam()) + ".cfg";
    UseIndex(GetParam());
    ASSERT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 2\n"), 2);
    Put(name, "NodeID = 1\n");
    EXPECT_EQ(ConfigLib_Load_Local(), 2);
    EXPECT_TRUE(ConfigLib_Save_Local(&Local()));
    EXPECT_EQ(Get(name), "NodeID = 1\n\n\n\n");
    EXPECT_FALSE(Has(name + ".tmp"));
    EXPECT_FALSE(Has("local.cfg"));
}

INSTANTIATE_TEST_SUITE_P(OfEveryLength, FilesOfIndex, testing::Values(12, 100, 4294967295));

TEST_F(ConfigUtils, LocationIsTheProgramDataPathAndTheFixedFolder) {
    test_support::SetProgramDataPath("/etc");
    char location[1024];
    ConfigFile_Utils_GetConfigFileLocation(location);
    EXPECT_STREQ(location, "/etc/Orvan/Config/Server/");
    EXPECT_EQ(test_support::ProgramDataPathSize(), 1024U);
}

TEST_F(ConfigUtils, WithoutAProgramDataPathTheLocationIsDirectlyUnderTheRoot) {
    test_support::FailProgramDataPath(2);
    char location[1024];
    std::memset(location, '#', sizeof location);
    ConfigFile_Utils_GetConfigFileLocation(location);
    EXPECT_STREQ(location, "/Orvan/Config/Server/");
}

TEST_F(ConfigUtils, TwoInitsWithoutDeInitLeakTheFirstTableAndChangeNothingElse) {
    const DEVICE_TYPE_LABELS* first = g_DeviceTypeName;
    Global().uiNodeCount = 7;
    ConfigLib_Init(0);
    EXPECT_NE(g_DeviceTypeName, first);
    // The first table still stands: nobody has freed it. This test, which knows its address, does so at last.
    EXPECT_EQ(std::memcmp(first, g_DeviceTypeName, 256), 0);
    EXPECT_EQ(Global().uiNodeCount, 7U);
    EXPECT_EQ(g_uiConfigIdx, 0U);
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 2\n"), 2);
    delete[] first;
}

// What every text reader does alike, seen through the reader of global.cfg.

struct LineRow {
    const char* name;
    std::string text;
    std::string clusterName;
    unsigned int nodeCount;
};

std::string Bytes(const char* text, std::size_t size) {
    return {text, size};
}

class ReadLines : public ConfigTest, public testing::WithParamInterface<LineRow> {};

TEST_P(ReadLines, GiveTheSettings) {
    LoadGlobal(GetParam().text);
    EXPECT_STREQ(Global().szClusterName, GetParam().clusterName.c_str());
    EXPECT_EQ(Global().uiNodeCount, GetParam().nodeCount);
}

const LineRow kLineRows[] = {
    {"LastLineWithLineEnd", "ClusterName=a\nNodeCount=3\n", "a", 3},
    {"LastLineWithoutLineEnd", "ClusterName=a\nNodeCount=3", "a", 3},
    {"CarriageReturns", "ClusterName = a\r\nNodeCount = 3\r\n", "a", 3},
    {"CarriageReturnsAloneEndNoLine", "ClusterName = a\rNodeCount = 3\r", "anodecount=3", 0},
    {"EmptyLinesAndLinesOfBlanks", "\n\n  \t \r\nClusterName=a\n   \n\nNodeCount=3\n\n", "a", 3},
    {"BlanksWithinTags", "Cluster Name = a\nNode\tCount = 3\n", "a", 3},
    {"TagsInAnyCase", "CLUSTERNAME = A\nnODEcOUNT = 3\n", "a", 3},
    {"NulEndsItsLine", Bytes("ClusterName=a\0b\nNodeCount=3\0\0 9\n", 32), "a", 3},
    {"NulAtTheBeginningHidesTheLine", Bytes("\0ClusterName=a\nNodeCount=3\n", 27), "", 3},
    {"NulDoesNotEndTheFile", Bytes("\0\n\0\nClusterName=a\n\0\nNodeCount=3", 32), "a", 3},
    {"HighBytesOutsideQuotesGo",
     "Cluster\xFFName = \x80"
     "a\xC3\xA9\nNode\xE9"
     "Count = 3\n",
     "a", 3},
    {"HighBytesInsideQuotesStay", "ClusterName = \"\x80\xC3\xA9\"\nNodeCount=3\n", "\x80\xC3\xA9", 3},
    {"QuotedTag", "\"clustername=\"A\n\"nodecount=3\"\n", "a", 3},
    {"QuotedTagKeepsItsCaseAndIsUnknown", "\"ClusterName=\"A\nNodeCount=3\n", "", 3},
    {"UnterminatedQuoteEndsAtTheLineFeed", "ClusterName = \"Site A\nNodeCount=3\n", "Site A", 3},
    {"UnterminatedQuoteKeepsTheCarriageReturn", "ClusterName = \"Site A\r\nNodeCount=3\n", "Site A\r", 3},
    {"EmptyQuotes", "ClusterName = \"\"\nNodeCount=3\n", "", 3},
    {"LinesThatStartNoTagAreComments", "# ClusterName=b\nClusterName=a\n;NodeCount=9\n//\nNodeCount=3\n", "a", 3},
    {"TextBehindANumber", "ClusterName=a\nNodeCount=3 nodes, or so\n", "a", 3},
    {"NoLineAtAll", "", "", 0},
    {"OnlyALineFeed", "\n", "", 0},
};

INSTANTIATE_TEST_SUITE_P(OfEveryShape, ReadLines, testing::ValuesIn(kLineRows),
                         [](const auto& row) { return row.param.name; });

// Lines around the length of a read buffer. `buffer` is its size, so that size - 1 characters are one read.
struct BufferRow {
    const char* name;
    int file;  // 0 global.cfg, 1 local.cfg, 2 camera.cfg
    std::size_t buffer;
};

class LongLines : public ConfigTest, public testing::WithParamInterface<BufferRow> {
public:
    // Loads a file whose one interesting line is `line`, and tells the last number that was read from it.
    unsigned int NumberRead(const std::string& line) {
        switch (GetParam().file) {
            case 0:
                LoadGlobal(line + "\n");
                return Global().uiLogLevelNode;
            case 1:
                Global().uiNodeCount = 64;
                LoadLocal(line + "\n");
                return Local().uiNodeID;
            default: {
                LoadDeviceInfo(line + "\n");
                const auto& map = *ConfigFile_GetStructPtr_DeviceInfo(CAPTURE_DEVICE_CAMERA);
                return map.empty() ? 0 : static_cast<unsigned int>(map.begin()->second.fPosition[6]);
            }
        }
    }
    std::string Setting() const {
        const char* const settings[] = {"LogLevelNode = 42", "NodeID = 42", "Camera#1 = \"n\",0,0,0,0,0,0,42"};
        return settings[GetParam().file];
    }
    // The setting behind as many blanks as make the line `length` characters long, line feed not counted.
    std::string Padded(std::size_t length) const { return std::string(length - Setting().size(), ' ') + Setting(); }
};

TEST_P(LongLines, OneBelowTheLimitIsReadWhole) {
    EXPECT_EQ(NumberRead(Padded(GetParam().buffer - 2)), 42U);
}

TEST_P(LongLines, AtTheLimitIsReadWhole) {
    EXPECT_EQ(NumberRead(Padded(GetParam().buffer - 1)), 42U);
}

TEST_P(LongLines, OneAboveTheLimitLosesItsLastCharacterToAFurtherLine) {
    EXPECT_EQ(NumberRead(Padded(GetParam().buffer)), 4U);
}

TEST_P(LongLines, TheRestOfALongLineIsReadAsAFurtherLine) {
    EXPECT_EQ(NumberRead(std::string(GetParam().buffer - 1, 'x') + Setting()), 42U);
    EXPECT_EQ(NumberRead(std::string(3 * (GetParam().buffer - 1), 'x') + Setting()), 42U);
    EXPECT_EQ(NumberRead(std::string(GetParam().buffer, 'x') + Setting()), 0U);
}

TEST_P(LongLines, AnOpenQuoteEndsWithTheBuffer) {
    EXPECT_EQ(NumberRead("\"" + std::string(GetParam().buffer - 2, 'X') + Setting()), 42U);
}

TEST_P(LongLines, AtTheLimitAsTheLastLineWithoutALineFeed) {
    const char* const names[] = {"global.cfg", "local.cfg", "camera.cfg"};
    Global().uiNodeCount = 64;
    Put(names[GetParam().file], Padded(GetParam().buffer - 1));
    switch (GetParam().file) {
        case 0:
            ConfigLib_Load_Global();
            EXPECT_EQ(Global().uiLogLevelNode, 42U);
            break;
        case 1:
            EXPECT_EQ(ConfigLib_Load_Local(), 2);
            EXPECT_EQ(Local().uiNodeID, 42U);
            break;
        default:
            EXPECT_EQ(ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_CAMERA, false), 2);
            EXPECT_EQ(ConfigFile_GetStructPtr_DeviceInfo(CAPTURE_DEVICE_CAMERA)->size(), 1U);
    }
}

INSTANTIATE_TEST_SUITE_P(OfEachFile, LongLines,
                         testing::Values(BufferRow{"Global", 0, 1184}, BufferRow{"Local", 1, 2048},
                                         BufferRow{"DeviceInfo", 2, 1024}),
                         [](const auto& row) { return row.param.name; });

}  // namespace
