// Device information files and the device map.
#include <dlfcn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "ConfigLib/ConfigTest.h"

// A block that cannot be had is part of these tests: the address sanitizer is to answer like the plain allocator.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

// How many bytes more than it holds a file says it has: it was cut between being measured and being read.
static long g_bytesClaimedBeyondTheEnd = 0;

// Stands in for the C library's function of this name in the whole test program.
extern "C" long ftell(std::FILE* file) {
    using Function = long (*)(std::FILE*);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "ftell"));
    return real(file) + g_bytesClaimedBeyondTheEnd;
}

namespace {

class DeviceInfo : public ConfigTest {
public:
    static std::map<std::uint64_t, CAPTURE_DEVICE_INFO>& Map(CAPTURE_DEVICE_TYPE type = CAPTURE_DEVICE_CAMERA) {
        return *ConfigFile_GetStructPtr_DeviceInfo(type);
    }
};

CAPTURE_DEVICE_INFO Info(const std::string& name, float first = 0, float last = 0) {
    CAPTURE_DEVICE_INFO info{};
    std::strcpy(info.szName, name.c_str());
    info.fPosition[0] = first;
    info.fPosition[6] = last;
    return info;
}

// ---- Reader

struct InfoRow {
    const char* name;
    std::string line;
    bool taken;
    std::uint64_t key;
    std::string deviceName;
    float last;  // seventh value
};

class DeviceInfoLines : public DeviceInfo, public testing::WithParamInterface<InfoRow> {};

TEST_P(DeviceInfoLines, AreTakenOrIgnoredInSilence) {
    const InfoRow& row = GetParam();
    EXPECT_EQ(LoadDeviceInfo(row.line + "\nCamera#ffff = \"other\", 1,2,3,4,5,6,7\n"), 2);
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Map().size(), row.taken ? 2U : 1U);
    EXPECT_EQ(Map().count(0xFFFF), 1U);
    if (row.taken) {
        ASSERT_EQ(Map().count(row.key), 1U);
        EXPECT_EQ(std::string(Map()[row.key].szName), row.deviceName);
        EXPECT_EQ(Map()[row.key].fPosition[6], row.last);
    }
}

const InfoRow kInfoRows[] = {
    {"AsWritten",
     "Camera#    1a2b = \"Gate\", 1.500000, 0.000000, 2.250000,   0.000000, 90.000000, 0.000000,   1.000000", true,
     0x1A2B, "Gate", 1},
    {"UpperCaseKeyWithoutBlanks", "Camera#1A2B=\"Gate\",1,2,3,4,5,6,7", true, 0x1A2B, "Gate", 7},
    {"LowerCaseLabel", "camera#1=\"Gate\",1,2,3,4,5,6,7", true, 1, "Gate", 7},
    {"UnquotedName", "Camera#1=North Gate,1,2,3,4,5,6,7", true, 1, "northgate", 7},
    {"NameWithBlanks", "Camera#1=\"North Gate\",1,2,3,4,5,6,7", true, 1, "North Gate", 7},
    {"HighestKey", "Camera#ffffffff=\"a\",1,2,3,4,5,6,7", true, 0xFFFFFFFF, "a", 7},
    {"KeyAbove32BitsKeepsItsLowBits", "Camera#100000001=\"a\",1,2,3,4,5,6,7", true, 1, "a", 7},
    {"KeyWithPrefix", "Camera#0x10=\"a\",1,2,3,4,5,6,7", true, 0x10, "a", 7},
    {"KeyOfZero", "Camera#0=\"a\",1,2,3,4,5,6,7", true, 0, "a", 7},
    {"ExponentsAndSigns", "Camera#1=a,+1,-2,3e2,4,5,6,-1.5E+2", true, 1, "a", -150},
    {"TextBehindTheLastValue", "Camera#1=a,1,2,3,4,5,6,7 metres", true, 1, "a", 7},
    {"EightValues", "Camera#1=a,1,2,3,4,5,6,7,8", true, 1, "a", 7},
    {"SixValues", "Camera#1=\"a\",1,2,3,4,5,6", false, 0, "", 0},
    {"SixValuesAndAComma", "Camera#1=\"a\",1,2,3,4,5,6,", false, 0, "", 0},
    {"NoKey", "Camera#=\"a\",1,2,3,4,5,6,7", false, 0, "", 0},
    {"KeyOfNoHexadecimalDigits", "Camera#xyz=\"a\",1,2,3,4,5,6,7", false, 0, "", 0},
    {"NoNumberSign", "Camera1=\"a\",1,2,3,4,5,6,7", false, 0, "", 0},
    {"OtherDeviceType", "Sensor#1=\"a\",1,2,3,4,5,6,7", false, 0, "", 0},
    {"TextAhead", "xCamera#1=\"a\",1,2,3,4,5,6,7", false, 0, "", 0},
    {"EmptyName", "Camera#1 = \"\", 1, 2, 3, 4, 5, 6, 7", false, 0, "", 0},
    {"CommaInTheName", "Camera#1=\"a,b\",1,2,3,4,5,6,7", false, 0, "", 0},
    {"ValueThatIsNoNumber", "Camera#1=\"a\",1,2,x,4,5,6,7", false, 0, "", 0},
    {"NameOf1", "Camera#1=\"N\",1,2,3,4,5,6,7", true, 1, "N", 7},
    {"NameOf62", "Camera#1=\"" + std::string(62, 'N') + "\",1,2,3,4,5,6,7", true, 1, std::string(62, 'N'), 7},
    {"NameOf63", "Camera#1=\"" + std::string(63, 'N') + "\",1,2,3,4,5,6,7", true, 1, std::string(63, 'N'), 7},
    {"NameOf64IsCut", "Camera#1=\"" + std::string(64, 'N') + "\",1,2,3,4,5,6,7", true, 1, std::string(63, 'N'), 7},
    {"NameOf65", "Camera#1=\"" + std::string(65, 'N') + "\",1,2,3,4,5,6,7", false, 0, "", 0},
    {"NameOf70", "Camera#1=\"" + std::string(70, 'N') + "\",1,2,3,4,5,6,7", false, 0, "", 0},
};

INSTANTIATE_TEST_SUITE_P(OfEveryForm, DeviceInfoLines, testing::ValuesIn(kInfoRows),
                         [](const auto& row) { return row.param.name; });

TEST_F(DeviceInfo, AnUpperCaseKeyWithoutBlanksIsTheSameKeyAsThePaddedLowerCaseForm) {
    EXPECT_EQ(LoadDeviceInfo("Camera#    1a2b = \"one\", 1,2,3,4,5,6,7\nCamera#1A2B = \"two\", 1,2,3,4,5,6,7\n"), 2);
    ASSERT_EQ(Map().size(), 1U);
    EXPECT_STREQ(Map()[0x1A2B].szName, "two");
}

TEST_F(DeviceInfo, ALineWithSixValuesIsIgnoredAndTheRestStillLoads) {
    EXPECT_EQ(LoadDeviceInfo("Camera#1 = \"a\", 1,2,3,4,5,6\nCamera#2 = \"b\", 1,2,3,4,5,6,7\n"), 2);
    EXPECT_EQ(Map().count(1), 0U);
    EXPECT_EQ(Map().count(2), 1U);
}

TEST_F(DeviceInfo, ASensorLineInTheCamerasFileIsIgnored) {
    EXPECT_EQ(LoadDeviceInfo("Sensor#1 = \"a\", 1,2,3,4,5,6,7\n"), 2);
    EXPECT_TRUE(Map().empty());
    EXPECT_TRUE(Map(CAPTURE_DEVICE_SENSOR).empty());
}

TEST_F(DeviceInfo, ANameOf70CharactersFailsAndOneOf64IsCutTo63) {
    LoadDeviceInfo("Camera#1 = \"" + std::string(70, 'N') + "\", 1,2,3,4,5,6,7\nCamera#2 = \"" + std::string(64, 'N') +
                   "\", 1,2,3,4,5,6,7\n");
    EXPECT_EQ(Map().count(1), 0U);
    EXPECT_EQ(std::string(Map().at(2).szName), std::string(63, 'N'));
}

TEST_F(DeviceInfo, AnEmptyNameDoesNotMatch) {
    EXPECT_EQ(LoadDeviceInfo("Camera#1 = \"\", 1, 2, 3, 4, 5, 6, 7\n"), 2);
    EXPECT_TRUE(Map().empty());
}

TEST_F(DeviceInfo, AnEntryHoldsNameAndSevenValuesAndZerosElsewhere) {
    LoadDeviceInfo("Camera#1 = \"Gate\", 1.5, -2, 3, 4, 90, 0.25, 7\n");
    CAPTURE_DEVICE_INFO expected{};
    std::strcpy(expected.szName, "Gate");
    const float positions[] = {1.5F, -2.0F, 3.0F, 4.0F, 90.0F, 0.25F, 7.0F};
    std::memcpy(expected.fPosition, positions, sizeof positions);
    EXPECT_EQ(std::memcmp(&Map().at(1), &expected, sizeof expected), 0);
}

TEST_F(DeviceInfo, ALaterLineWithTheSameKeyReplacesTheEarlierOne) {
    LoadDeviceInfo("Camera#1 = \"long name\", 1,2,3,4,5,6,7\nCamera#1 = \"b\", 7,6,5,4,3,2,1\n");
    ASSERT_EQ(Map().size(), 1U);
    EXPECT_STREQ(Map()[1].szName, "b");
    EXPECT_EQ(Map()[1].fPosition[0], 7.0F);
}

TEST_F(DeviceInfo, ALoadReplacesTheMapOfItsTypeAlone) {
    Put("sensor.cfg", "Sensor#5 = \"s\", 1,2,3,4,5,6,7\n");
    EXPECT_EQ(ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_SENSOR, false), 2);
    LoadDeviceInfo("Camera#1 = \"a\", 1,2,3,4,5,6,7\n");
    LoadDeviceInfo("Camera#2 = \"b\", 1,2,3,4,5,6,7\n");
    EXPECT_EQ(Map().size(), 1U);
    EXPECT_EQ(Map().count(2), 1U);
    EXPECT_EQ(Map(CAPTURE_DEVICE_SENSOR).count(5), 1U);
}

TEST_F(DeviceInfo, AMissingFileIsReportedAndLeavesTheMapEmpty) {
    LoadDeviceInfo("Camera#1 = \"a\", 1,2,3,4,5,6,7\n");
    unlink(Path("camera.cfg").c_str());
    EXPECT_EQ(ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_CAMERA, false), 0);
    EXPECT_EQ(Logged(), Messages{"Config: Cannot open camera config file '" + Path("camera.cfg") + "'"});
    EXPECT_TRUE(Map().empty());
}

TEST_F(DeviceInfo, ADirectoryInTheFilesPlaceDeliversNothingAndIsReadToItsEnd) {
    std::filesystem::create_directory(Path("camera.cfg"));
    EXPECT_EQ(ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_CAMERA, false), 2);
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_TRUE(Map().empty());
}

TEST_F(DeviceInfo, AnEmptyFileIsReadToItsEnd) {
    EXPECT_EQ(LoadDeviceInfo(""), 2);
    EXPECT_TRUE(Map().empty());
}

TEST_F(DeviceInfo, AFileCutAtAnyByteNeverHarms) {
    const std::string whole = "Camera#1 = \"a \xE9\", 1,2,3,4,5,6,7\r\nCamera#2 = \"b\", 1.5,2,3,4,5,6,7.25";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        EXPECT_EQ(LoadDeviceInfo(whole.substr(0, length)), 2);
        EXPECT_EQ(Logged(), Messages{});
        EXPECT_LE(Map().size(), 2U);
    }
    EXPECT_EQ(Map().size(), 2U);
}

struct NameRow {
    const char* name;
    unsigned int index;
    CAPTURE_DEVICE_TYPE type;
    bool emuDef;
    const char* file;
};

class DeviceInfoNames : public DeviceInfo, public testing::WithParamInterface<NameRow> {};

TEST_P(DeviceInfoNames, AreThoseOfTheMessageWhenTheFileIsMissing) {
    UseIndex(GetParam().index);
    EXPECT_EQ(ConfigLib_Load_DeviceInfo(GetParam().type, GetParam().emuDef), 0);
    EXPECT_EQ(Logged(), Messages{std::string("Config: Cannot open ") +
                                 (GetParam().type == CAPTURE_DEVICE_CAMERA ? "camera" : "sensor") + " config file '" +
                                 Path(GetParam().file) + "'"});
    Put(GetParam().file,
        GetParam().type == CAPTURE_DEVICE_CAMERA ? "Camera#1=a,1,2,3,4,5,6,7" : "Sensor#1=a,1,2,3,4,5,6,7");
    EXPECT_EQ(ConfigLib_Load_DeviceInfo(GetParam().type, GetParam().emuDef), 2);
    EXPECT_EQ(Map(GetParam().type).size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    OfEveryKind, DeviceInfoNames,
    testing::Values(NameRow{"Camera", 0, CAPTURE_DEVICE_CAMERA, false, "camera.cfg"},
                    NameRow{"Sensor", 0, CAPTURE_DEVICE_SENSOR, false, "sensor.cfg"},
                    NameRow{"CameraOfIndexOne", 1, CAPTURE_DEVICE_CAMERA, false, "camera.cfg"},
                    NameRow{"CameraOfIndexTwo", 2, CAPTURE_DEVICE_CAMERA, false, "camera2.cfg"},
                    NameRow{"SensorOfIndexTwelve", 12, CAPTURE_DEVICE_SENSOR, false, "sensor12.cfg"},
                    NameRow{"EmuDef", 0, CAPTURE_DEVICE_CAMERA, true, "cameraEmuDef.cfg"},
                    NameRow{"EmuDefOfSensors", 0, CAPTURE_DEVICE_SENSOR, true, "sensorEmuDef.cfg"},
                    NameRow{"EmuDefHasNoIndex", 2, CAPTURE_DEVICE_CAMERA, true, "cameraEmuDef.cfg"}),
    [](const auto& row) { return row.param.name; });

// ---- Writer

TEST_F(DeviceInfo, ALineIsWrittenExactlySo) {
    std::vector<CAPTURE_DEVICE_INFO> infos = {Info("Gate", 1.5F, 1.0F)};
    infos[0].fPosition[2] = 2.25F;
    infos[0].fPosition[4] = 90.0F;
    std::vector<unsigned int> keys = {0x1A2B};
    EXPECT_TRUE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys));
    EXPECT_EQ(
        Get("camera.cfg"),
        "Camera#    1a2b = \"Gate\", 1.500000, 0.000000, 2.250000,   0.000000, 90.000000, 0.000000,   1.000000\n");
    EXPECT_TRUE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_SENSOR, &infos, &keys));
    EXPECT_EQ(
        Get("sensor.cfg"),
        "Sensor#    1a2b = \"Gate\", 1.500000, 0.000000, 2.250000,   0.000000, 90.000000, 0.000000,   1.000000\n");
}

TEST_F(DeviceInfo, EntriesAreWrittenInTheOrderOfTheListsWithTheKeyOfTheSamePosition) {
    std::vector<CAPTURE_DEVICE_INFO> infos = {Info("b"), Info("a"), Info("", -0.5F)};
    std::vector<unsigned int> keys = {0xFFFFFFFF, 0, 0x10, 99};
    EXPECT_TRUE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys));
    const std::string zeros = "0.000000, 0.000000,   0.000000, 0.000000, 0.000000,   0.000000\n";
    EXPECT_EQ(Get("camera.cfg"), "Camera#ffffffff = \"b\", 0.000000, " + zeros + "Camera#       0 = \"a\", 0.000000, " +
                                     zeros + "Camera#      10 = \"\", -0.500000, " + zeros);
}

TEST_F(DeviceInfo, AnEmptyListWritesAnEmptyFile) {
    Put("camera.cfg", "old");
    std::vector<CAPTURE_DEVICE_INFO> infos;
    std::vector<unsigned int> keys;
    EXPECT_TRUE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys));
    EXPECT_EQ(Get("camera.cfg"), "");
}

TEST_F(DeviceInfo, TooFewKeysRaiseTheRangeErrorAndTheFileStaysAsFarAsItGot) {
    std::vector<CAPTURE_DEVICE_INFO> infos = {Info("a"), Info("b")};
    std::vector<unsigned int> keys = {1};
    EXPECT_THROW(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys), std::out_of_range);
    const std::string written = Get("camera.cfg");
    EXPECT_EQ(written.substr(0, 20), "Camera#       1 = \"a");
    EXPECT_EQ(written.find('\n'), written.size() - 1);
}

TEST_F(DeviceInfo, TheWriterLeavesTheMapAlone) {
    LoadDeviceInfo("Camera#1 = \"a\", 1,2,3,4,5,6,7\n");
    std::vector<CAPTURE_DEVICE_INFO> infos = {Info("b")};
    std::vector<unsigned int> keys = {2};
    EXPECT_TRUE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys));
    EXPECT_EQ(Map().size(), 1U);
    EXPECT_EQ(Map().count(1), 1U);
}

TEST_F(DeviceInfo, TheWriterTakesTheFileOfTheIndex) {
    UseIndex(3);
    std::vector<CAPTURE_DEVICE_INFO> infos = {Info("b")};
    std::vector<unsigned int> keys = {2};
    EXPECT_TRUE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_SENSOR, &infos, &keys));
    EXPECT_TRUE(Has("sensor3.cfg"));
    EXPECT_FALSE(Has("sensor.cfg"));
}

TEST_F(DeviceInfo, AFileThatCannotBeOpenedForWritingIsReported) {
    std::filesystem::create_directory(Path("camera.cfg"));
    std::vector<CAPTURE_DEVICE_INFO> infos;
    std::vector<unsigned int> keys;
    EXPECT_FALSE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys));
    EXPECT_EQ(Logged(), Messages{"Config: Cannot open camera config file '" + Path("camera.cfg") + "'"});
}

TEST_F(DeviceInfo, TheResultsOfTheWritesAreNotLookedAt) {
    ASSERT_EQ(symlink("/dev/full", Path("camera.cfg").c_str()), 0);
    std::vector<CAPTURE_DEVICE_INFO> infos(1000, Info("a"));
    std::vector<unsigned int> keys(1000, 1);
    EXPECT_TRUE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys));
    EXPECT_EQ(Logged(), Messages{});
}

TEST_F(DeviceInfo, TheFileIsWrittenInPlaceAndNotMovedThere) {
    Put("elsewhere", std::string(10000, 'x'));
    ASSERT_EQ(symlink("elsewhere", Path("camera.cfg").c_str()), 0);
    std::vector<CAPTURE_DEVICE_INFO> infos = {Info("a")};
    std::vector<unsigned int> keys = {1};
    EXPECT_TRUE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys));
    EXPECT_TRUE(std::filesystem::is_symlink(Path("camera.cfg")));
    EXPECT_EQ(Get("elsewhere"),
              "Camera#       1 = \"a\", 0.000000, 0.000000, 0.000000,   0.000000, 0.000000, 0.000000,   0.000000\n");
}

TEST_F(DeviceInfo, WhatWasWrittenIsReadBack) {
    std::vector<CAPTURE_DEVICE_INFO> infos = {Info("Gate A", 1.5F, -3.25F), Info(std::string(63, 'N'), 1e6F)};
    std::vector<unsigned int> keys = {0xABCDEF01, 2};
    EXPECT_TRUE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys));
    EXPECT_EQ(ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_CAMERA, false), 2);
    ASSERT_EQ(Map().size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(std::memcmp(&Map().at(keys[i]), &infos[i], sizeof infos[i]), 0) << i;
    }
}

// ---- Device map

class DeviceMap : public ConfigTest {
public:
    // The block as it is held.
    static std::string Block() {
        void* block = nullptr;
        unsigned int size = 12345;
        ConfigFile_GetStructPtr_DeviceMapInfo(&block, &size);
        return {static_cast<const char*>(block), size};
    }
    static bool HasBlock() {
        void* block = nullptr;
        unsigned int size = 0;
        ConfigFile_GetStructPtr_DeviceMapInfo(&block, &size);
        return block != nullptr;
    }
    int LoadMap(const std::string& bytes) {
        Put("DeviceMapInfo.cfgbin", bytes);
        return ConfigLib_Load_DeviceMap(false);
    }
};

// What the library holds before anything has been loaded: asked before main.
struct HeldMap {
    HeldMap() { ConfigFile_GetStructPtr_DeviceMapInfo(&block, &size); }
    void* block = this;
    unsigned int size = 1;
};
const HeldMap kAtStart;

TEST_F(DeviceMap, IsNullAndOfSizeZeroBeforeTheFirstLoad) {
    EXPECT_EQ(kAtStart.block, nullptr);
    EXPECT_EQ(kAtStart.size, 0U);
}

const std::string kBlock("\0\x01 any\r\n\xFF\0bytes\x1A", 16);

TEST_F(DeviceMap, ABlockIsReadByteForByte) {
    EXPECT_EQ(LoadMap(kBlock), 2);
    EXPECT_EQ(Block(), kBlock);
    EXPECT_EQ(ConfigLib::uiMapInfoSize, 16U);
    EXPECT_EQ(Logged(), Messages{});
}

TEST_F(DeviceMap, ABlockOfOneByteIsNotEmpty) {
    EXPECT_EQ(LoadMap(std::string(1, '\0')), 2);
    EXPECT_EQ(Block(), std::string(1, '\0'));
}

TEST_F(DeviceMap, ALargeBlockIsReadWhole) {
    std::string large;
    for (int i = 0; i < 3000000; ++i) {
        large.push_back(static_cast<char>(i % 251));
    }
    EXPECT_EQ(LoadMap(large), 2);
    EXPECT_EQ(Block(), large);
}

TEST_F(DeviceMap, AnEmptyFileFailsInSilenceWithThePointerSetAndSizeZero) {
    EXPECT_EQ(LoadMap(kBlock), 2);
    EXPECT_EQ(LoadMap(""), 0);
    EXPECT_TRUE(HasBlock());
    EXPECT_EQ(Block(), "");
    EXPECT_EQ(Logged(), Messages{});
}

TEST_F(DeviceMap, AMissingFileLeavesTheEarlierBlockInPlace) {
    EXPECT_EQ(LoadMap(kBlock), 2);
    unlink(Path("DeviceMapInfo.cfgbin").c_str());
    EXPECT_EQ(ConfigLib_Load_DeviceMap(false), 0);
    EXPECT_EQ(Block(), kBlock);
    EXPECT_EQ(Logged(), Messages{"Config: Cannot open Device Map info file '" + Path("DeviceMapInfo.cfgbin") + "'"});
}

TEST_F(DeviceMap, ASecondLoadReplacesTheBlock) {
    EXPECT_EQ(LoadMap(kBlock), 2);
    EXPECT_EQ(LoadMap("new"), 2);
    EXPECT_EQ(Block(), "new");
}

TEST_F(DeviceMap, TheFlagSelectsTheEmuDefFileWhateverTheIndex) {
    UseIndex(2);
    Put("DeviceMapInfo.cfgbin", "plain");
    EXPECT_EQ(ConfigLib_Load_DeviceMap(true), 0);
    EXPECT_EQ(Logged(),
              Messages{"Config: Cannot open Device Map info file '" + Path("DeviceMapInfoEmuDef.cfgbin") + "'"});
    Put("DeviceMapInfoEmuDef.cfgbin", "emu");
    EXPECT_EQ(ConfigLib_Load_DeviceMap(true), 2);
    EXPECT_EQ(Block(), "emu");
    EXPECT_EQ(ConfigLib_Load_DeviceMap(false), 2);
    EXPECT_EQ(Block(), "plain");
}

TEST_F(DeviceMap, ABlockThatIsTooLargeForMemoryFailsInSilenceAndTheOldOneIsGone) {
    EXPECT_EQ(LoadMap(kBlock), 2);
    const int file = memfd_create("map", 0);
    ASSERT_GE(file, 0);
    ASSERT_EQ(ftruncate(file, 1LL << 60), 0);
    unlink(Path("DeviceMapInfo.cfgbin").c_str());
    ASSERT_EQ(symlink(("/proc/self/fd/" + std::to_string(file)).c_str(), Path("DeviceMapInfo.cfgbin").c_str()), 0);
    EXPECT_EQ(ConfigLib_Load_DeviceMap(false), 0);
    close(file);
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Block(), "");
    EXPECT_EQ(ConfigLib::pMapInfo, nullptr);
}

TEST_F(DeviceMap, AShortReadFailsInSilenceWithSizeZero) {
    EXPECT_EQ(LoadMap(kBlock), 2);
    g_bytesClaimedBeyondTheEnd = 100;
    EXPECT_EQ(ConfigLib_Load_DeviceMap(false), 0);
    g_bytesClaimedBeyondTheEnd = 0;
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(ConfigLib::uiMapInfoSize, 0U);
    EXPECT_TRUE(HasBlock());
}

TEST_F(DeviceMap, ADirectoryInTheFilesPlaceFailsInSilence) {
    EXPECT_EQ(LoadMap(kBlock), 2);
    unlink(Path("DeviceMapInfo.cfgbin").c_str());
    std::filesystem::create_directory(Path("DeviceMapInfo.cfgbin"));
    EXPECT_EQ(ConfigLib_Load_DeviceMap(false), 0);
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(ConfigLib::uiMapInfoSize, 0U);
}

TEST_F(DeviceMap, ASaveWritesTheBytesAndLeavesTheBlockInMemory) {
    EXPECT_EQ(LoadMap("held"), 2);
    std::string bytes = kBlock;
    EXPECT_TRUE(ConfigLib_Save_DeviceMap(bytes.data(), static_cast<unsigned int>(bytes.size())));
    EXPECT_EQ(Get("DeviceMapInfo.cfgbin"), kBlock);
    EXPECT_EQ(Block(), "held");
}

TEST_F(DeviceMap, ASaveTakesTheSameNameWhateverTheIndexAndReplacesALongerFile) {
    UseIndex(2);
    Put("DeviceMapInfo.cfgbin", std::string(10000, 'x'));
    char bytes[] = "ab";
    EXPECT_TRUE(ConfigLib_Save_DeviceMap(bytes, 2));
    EXPECT_EQ(Get("DeviceMapInfo.cfgbin"), "ab");
}

TEST_F(DeviceMap, ASaveOfNothingWritesAnEmptyFile) {
    char none = 'x';
    EXPECT_TRUE(ConfigLib_Save_DeviceMap(&none, 0));
    EXPECT_EQ(Get("DeviceMapInfo.cfgbin"), "");
}

TEST_F(DeviceMap, AFileThatCannotBeOpenedForWritingIsReported) {
    std::filesystem::create_directory(Path("DeviceMapInfo.cfgbin"));
    char bytes[] = "ab";
    EXPECT_FALSE(ConfigLib_Save_DeviceMap(bytes, 2));
    EXPECT_EQ(Logged(), Messages{"Config: Cannot open Device Map info file '" + Path("DeviceMapInfo.cfgbin") + "'"});
}

TEST_F(DeviceMap, TheResultsOfWriteAndCloseAreNotLookedAt) {
    ASSERT_EQ(symlink("/dev/full", Path("DeviceMapInfo.cfgbin").c_str()), 0);
    std::string bytes(100000, 'x');
    EXPECT_TRUE(ConfigLib_Save_DeviceMap(bytes.data(), static_cast<unsigned int>(bytes.size())));
    EXPECT_EQ(Logged(), Messages{});
}

}  // namespace
