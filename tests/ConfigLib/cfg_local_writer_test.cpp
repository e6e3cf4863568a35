// Writer of local.cfg, and what a load followed by a save does to a file.
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>

#include "ConfigLib/ConfigTest.h"

namespace {

using Hardware = CONFIGURATION__CAPTURE_HARDWARE;
using Model = CONFIGURATION__CAPTURE_DEVICE;

// A record of the test's own, with everything that it points to.
struct LocalRecord {
    CONFIGURATION__LOCAL local{};
    std::vector<std::unique_ptr<Hardware>> sections;
    std::vector<std::unique_ptr<Model>> models;

    Hardware& Add(CAPTURE_DEVICE_TYPE type, unsigned int first, unsigned int last, const char* name = "board",
                  const char* params = "settings") {
        sections.push_back(std::make_unique<Hardware>());
        Hardware& section = *sections.back();
        std::strcpy(section.szDeviceName, name);
        std::strcpy(section.szDeviceParams, params);
        section.uiFirstDevice = first;
        section.uiLastDevice = last;
        local.vHardware[type].push_back(&section);
        return section;
    }
    Hardware& AddCamera(unsigned int first, unsigned int last) { return Add(CAPTURE_DEVICE_CAMERA, first, last); }
    Hardware& AddSensor(unsigned int first, unsigned int last) { return Add(CAPTURE_DEVICE_SENSOR, first, last); }
    void AddModel(Hardware& section, const char* name, unsigned int cameras) {
        models.push_back(std::make_unique<Model>());
        Model& model = *models.back();
        std::strcpy(model.szModelName, name);
        std::strcpy(model.szModelParams, "p");
        model.uiModelCameras = cameras;
        section.vCameraModels.push_back(&model);
    }
};

class LocalWriter : public ConfigTest {
public:
    std::string Saved(LocalRecord& record) const {
        EXPECT_TRUE(ConfigLib_Save_Local(&record.local));
        EXPECT_FALSE(Has("local.cfg.tmp"));
        return Get("local.cfg");
    }
};

// ---- Layout. Every record here begins with NodeID 1 and no address.

struct LayoutRow {
    const char* name;
    void (*fill)(LocalRecord& record);
    const char* written;  // behind "NodeID = 1" and its blank line
};

class LocalLayout : public LocalWriter, public testing::WithParamInterface<LayoutRow> {};

TEST_P(LocalLayout, WritesExactlyTheseBytes) {
    LocalRecord record;
    record.local.uiNodeID = 1;
    GetParam().fill(record);
    EXPECT_EQ(Saved(record), std::string("NodeID = 1\n\n") + GetParam().written);
    EXPECT_EQ(Logged(), Messages{});
}

using L = LocalRecord;
const LayoutRow kLayoutRows[] = {
    {"NothingSet", [](L&) {}, "\n\n"},
    {"FirstAddress", [](L& r) { r.local.uiIP[0] = Address(192, 168, 0, 11); }, "IP = 192.168.0.11\n\n"},
    {"BothAddresses",
     [](L& r) {
         r.local.uiIP[0] = Address(255, 0, 1, 254);
         r.local.uiIP[1] = Address(10, 0, 0, 1);
     },
     "IP = 255.0.1.254, 10.0.0.1\n\n"},
    {"SecondAddressAlone", [](L& r) { r.local.uiIP[1] = Address(10, 0, 0, 1); }, ", 10.0.0.1\n\n"},
    {"OneStorage",
     [](L& r) {
         r.local.uiRecordingStorageCount = 1;
         std::strcpy(r.local.szRecordingStorage[0], "/mnt/rec1/");
         std::strcpy(r.local.szRecordingStorage[1], "/mnt/rec2/");
     },
     "\n\nRecordingStorage1 = \"/mnt/rec1/\"\n\n"},
    {"EmptySlotBetweenStorages",
     [](L& r) {
         r.local.uiRecordingStorageCount = 3;
         std::strcpy(r.local.szRecordingStorage[0], "/a/");
         std::strcpy(r.local.szRecordingStorage[2], "/c d/");
     },
     "\n\nRecordingStorage1 = \"/a/\"\n\nRecordingStorage3 = \"/c d/\"\n\n"},
    {"NoStorageCounted", [](L& r) { std::strcpy(r.local.szRecordingStorage[0], "/a/"); }, "\n\n"},
    {"CameraStreamPlugin", [](L& r) { std::strcpy(r.local.szStreamPluginName[0], "cs"); },
     "\n\nCameraStreamPluginName = \"cs\"\n\n"},
    {"SensorStreamPlugin", [](L& r) { std::strcpy(r.local.szStreamPluginName[1], "ss"); },
     "\n\nSensorStreamPluginName = \"ss\"\n\n"},
    {"AllPluginsInOrder",
     [](L& r) {
         std::strcpy(r.local.szPostProcessPluginName, "P");
         std::strcpy(r.local.szCaptureProcessPluginName, "C");
         std::strcpy(r.local.szStreamPluginName[1], "S");
         std::strcpy(r.local.szStreamPluginName[0], "V");
     },
     "\n\nCameraStreamPluginName = \"V\"\n\nSensorStreamPluginName = \"S\"\n\nCaptureProcessPluginName = \"C\"\n\n"
     "PostProcessPluginName = \"P\"\n\n"},
    {"MaxMemUseAllowedOfOne", [](L& r) { r.local.fMaxMemUseAllowed = 1.0F; }, "\n\nMaxMemUseAllowed = 100%\n\n"},
    {"MaxMemUseAllowedTruncated", [](L& r) { r.local.fMaxMemUseAllowed = 0.5099F; }, "\n\nMaxMemUseAllowed = 50%\n\n"},
    {"MaxMemUseAllowedBelowOnePercent", [](L& r) { r.local.fMaxMemUseAllowed = 0.001F; },
     "\n\nMaxMemUseAllowed = 0%\n\n"},
    {"CamerasOfflineWithoutASection", [](L& r) { r.local.bDeviceOffline[0][1] = r.local.bDeviceOffline[0][64] = true; },
     "\n\nCamerasOffline = 1, 64"},
    {"SensorsOfflineWithoutASection", [](L& r) { r.local.bDeviceOffline[1][7] = true; }, "\n\nSensorsOffline = 7"},
    {"BothTypesOfflineOnOneLine", [](L& r) { r.local.bDeviceOffline[0][2] = r.local.bDeviceOffline[1][3] = true; },
     "\n\nCamerasOffline = 2SensorsOffline = 3"},
    {"OfflineElementZeroHasNoUse", [](L& r) { r.local.bDeviceOffline[0][0] = true; }, "\n\n"},
    {"OfflineListRunsIntoTheSectionsHeader",
     [](L& r) {
         r.local.bDeviceOffline[0][2] = true;
         r.AddCamera(1, 4);
     },
     "\n\nCamerasOffline = 2[Camera 1-4]\nCaptureDevice = \"board\", \"settings\"\n\n"},
    {"SectionOfOneCamera", [](L& r) { r.AddModel(r.AddCamera(7, 7), "m", 1); },
     "\n\n[Camera 7]\nCaptureDevice = \"board\", \"settings\"\nCameraModel = \"m\", \"p\"\n\n"},
    {"SectionOfARange", [](L& r) { r.AddCamera(3, 6); },
     "\n\n[Camera 3-6]\nCaptureDevice = \"board\", \"settings\"\n\n"},
    {"SectionOfSensors", [](L& r) { r.AddSensor(3, 6); },
     "\n\n[Sensor 3-6]\nCaptureDevice = \"board\", \"settings\"\n\n"},
    {"SectionOfOneSensor", [](L& r) { r.AddSensor(3, 3); },
     "\n\n[Sensor 3]\nCaptureDevice = \"board\", \"settings\"\n\n"},
    {"SectionOfSensorsKeepsOnlyItsCommonPart",
     [](L& r) {
         Hardware& section = r.AddSensor(3, 4);
         std::strcpy(section.szCTIName, "c");
         section.uiSyncMode = 2;
         section.vCameraMAC = {1, 2};
         r.AddModel(section, "m", 2);
     },
     "\n\n[Sensor 3-4]\nCaptureDevice = \"board\", \"settings\"\n\n"},
    {"CamerasAheadOfSensors",
     [](L& r) {
         r.AddSensor(1, 1);
         r.AddCamera(1, 1);
     },
     "\n\n[Camera 1]\nCaptureDevice = \"board\", \"settings\"\n\n[Sensor 1]\nCaptureDevice = \"board\", "
     "\"settings\"\n\n"},
    {"SensorsOfflineBehindACameraSection",
     [](L& r) {
         r.local.bDeviceOffline[1][1] = true;
         r.AddCamera(1, 1);
         r.AddSensor(1, 1);
     },
     "\n\n[Camera 1]\nCaptureDevice = \"board\", \"settings\"\n\n"
     "SensorsOffline = 1[Sensor 1]\nCaptureDevice = \"board\", \"settings\"\n\n"},
    {"SectionsInListOrder",
     [](L& r) {
         r.AddCamera(5, 6);
         r.AddCamera(1, 2);
     },
     "\n\n[Camera 5-6]\nCaptureDevice = \"board\", \"settings\"\n\n[Camera 1-2]\nCaptureDevice = \"board\", "
     "\"settings\"\n\n"},
    {"SectionWithEmptyParamsIsLeftOut",
     [](L& r) {
         r.Add(CAPTURE_DEVICE_CAMERA, 1, 2, "board", "");
         r.Add(CAPTURE_DEVICE_SENSOR, 1, 2, "board", "");
     },
     "\n\n"},
    {"SectionWithEmptyNameIsWritten", [](L& r) { r.Add(CAPTURE_DEVICE_CAMERA, 1, 2, "", "x"); },
     "\n\n[Camera 1-2]\nCaptureDevice = \"\", \"x\"\n\n"},
    {"CtiWithEmptyParams", [](L& r) { std::strcpy(r.AddCamera(1, 2).szCTIName, "producer"); },
     "\n\n[Camera 1-2]\nCaptureDevice = \"board\", \"settings\"\nCTI = \"producer\", \"\"\n\n"},
    {"CtiWithEmptyNameIsLeftOut", [](L& r) { std::strcpy(r.AddCamera(1, 2).szCTIParams, "options"); },
     "\n\n[Camera 1-2]\nCaptureDevice = \"board\", \"settings\"\n\n"},
    {"EveryTagOfACameraSectionInOrder",
     [](L& r) {
         Hardware& section = r.AddCamera(1, 2);
         std::strcpy(section.szCTIName, "producer");
         std::strcpy(section.szCTIParams, "options");
         section.uiSyncMode = 4;
         section.uiMaxDMABuffers = 4294967295U;
         section.uiMaxDetectionTime = 1;
         section.uiLinkSpeed = 1000;
         section.vCameraMAC = {0x00112233AABBU, 0};
         r.AddModel(section, "m", 2);
     },
     "\n\n[Camera 1-2]\nCaptureDevice = \"board\", \"settings\"\nCTI = \"producer\", \"options\"\nSyncMode = 4\n"
     "MaxDMABuffers = 4294967295\nMaxDetectionTime = 1\nLinkSpeed = 1000\nCameraMAC1 = 00:11:22:33:AA:BB\n"
     "CameraMAC2 = 00:00:00:00:00:00\nCameraModel = \"m\", \"p\"\n\n"},
    {"SyncModeAlone", [](L& r) { r.AddCamera(1, 2).uiSyncMode = 1; },
     "\n\n[Camera 1-2]\nCaptureDevice = \"board\", \"settings\"\nSyncMode = 1\n\n"},
    {"MaxDmaBuffersAlone", [](L& r) { r.AddCamera(1, 2).uiMaxDMABuffers = 1; },
     "\n\n[Camera 1-2]\nCaptureDevice = \"board\", \"settings\"\nMaxDMABuffers = 1\n\n"},
    {"MaxDetectionTimeAlone", [](L& r) { r.AddCamera(1, 2).uiMaxDetectionTime = 1; },
     "\n\n[Camera 1-2]\nCaptureDevice = \"board\", \"settings\"\nMaxDetectionTime = 1\n\n"},
    {"LinkSpeedAlone", [](L& r) { r.AddCamera(1, 2).uiLinkSpeed = 1; },
     "\n\n[Camera 1-2]\nCaptureDevice = \"board\", \"settings\"\nLinkSpeed = 1\n\n"},
    {"MacsAreNumberedFromTheFirstDevice",
     [](L& r) {
         r.AddCamera(9, 10).vCameraMAC = {0xFFFFFFFFFFFFU, 1};
     },
     "\n\n[Camera 9-10]\nCaptureDevice = \"board\", \"settings\"\nCameraMAC9 = FF:FF:FF:FF:FF:FF\n"
     "CameraMAC10 = 00:00:00:00:00:01\n\n"},
    {"ModelOfTheWholeSection", [](L& r) { r.AddModel(r.AddCamera(5, 8), "m", 4); },
     "\n\n[Camera 5-8]\nCaptureDevice = \"board\", \"settings\"\nCameraModel = \"m\", \"p\"\n\n"},
    {"ModelsOfOneAndThreeCameras",
     [](L& r) {
         Hardware& section = r.AddCamera(5, 8);
         r.AddModel(section, "a", 1);
         r.AddModel(section, "b", 3);
     },
     "\n\n[Camera 5-8]\nCaptureDevice = \"board\", \"settings\"\nCameraModel5 = \"a\", \"p\"\n"
     "CameraModel6-9 = \"b\", \"p\"\n\n"},
    {"ModelsOfTwoTwoAndOneCameras",
     [](L& r) {
         Hardware& section = r.AddCamera(1, 5);
         r.AddModel(section, "a", 2);
         r.AddModel(section, "b", 2);
         r.AddModel(section, "c", 1);
     },
     "\n\n[Camera 1-5]\nCaptureDevice = \"board\", \"settings\"\nCameraModel1-3 = \"a\", \"p\"\n"
     "CameraModel3-5 = \"b\", \"p\"\nCameraModel5 = \"c\", \"p\"\n\n"},
    {"ModelOfNoCameraTakesTheRunForm",
     [](L& r) {
         Hardware& section = r.AddCamera(1, 2);
         r.AddModel(section, "a", 0);
         r.AddModel(section, "b", 2);
     },
     "\n\n[Camera 1-2]\nCaptureDevice = \"board\", \"settings\"\nCameraModel1-1 = \"a\", \"p\"\n"
     "CameraModel = \"b\", \"p\"\n\n"},
};

INSTANTIATE_TEST_SUITE_P(OfEveryItem, LocalLayout, testing::ValuesIn(kLayoutRows),
                         [](const auto& row) { return row.param.name; });

// ---- Edge cases of the writer

TEST_F(LocalWriter, WithoutAnAddressTheNodeIdIsFollowedByThreeEmptyLines) {
    LocalRecord record;
    record.local.uiNodeID = 1;
    EXPECT_EQ(Saved(record), "NodeID = 1\n\n\n\n");
}

TEST_F(LocalWriter, ASecondAddressAloneStandsOnALineThatTheReaderIgnores) {
    Global().uiNodeCount = 1;
    LocalRecord record;
    record.local.uiNodeID = 1;
    record.local.uiIP[1] = Address(10, 0, 0, 1);
    EXPECT_EQ(Saved(record), "NodeID = 1\n\n, 10.0.0.1\n\n");
    EXPECT_EQ(ConfigLib_Load_Local(), 2);
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Local().uiIP[0], 0U);
    EXPECT_EQ(Local().uiIP[1], 0U);
}

TEST_F(LocalWriter, SixteenStoragesAreAllWrittenAndTheReaderRefusesTheLast) {
    Global().uiNodeCount = 1;
    LocalRecord record;
    record.local.uiNodeID = 1;
    record.local.uiRecordingStorageCount = 16;
    std::string expected = "NodeID = 1\n\n\n\n";
    for (int number = 1; number <= 16; ++number) {
        const std::string path = "/mnt/rec" + std::to_string(number) + "/";
        std::strcpy(record.local.szRecordingStorage[number - 1], path.c_str());
        expected += "RecordingStorage" + std::to_string(number) + " = \"" + path + "\"\n\n";
    }
    EXPECT_EQ(Saved(record), expected);
    EXPECT_EQ(ConfigLib_Load_Local(), 1);
    EXPECT_EQ(Logged(), Messages{"Config: Invalid RecordingStorage number (16)"});
    EXPECT_EQ(Local().uiRecordingStorageCount, 15U);
}

TEST_F(LocalWriter, AnEmptySecondSlotLeavesItsNumberOut) {
    LocalRecord record;
    record.local.uiRecordingStorageCount = 3;
    std::strcpy(record.local.szRecordingStorage[0], "/a/");
    std::strcpy(record.local.szRecordingStorage[2], "/c/");
    EXPECT_EQ(Saved(record), "NodeID = 0\n\n\n\nRecordingStorage1 = \"/a/\"\n\nRecordingStorage3 = \"/c/\"\n\n");
}

TEST_F(LocalWriter, AMemoryShareOfOneIsWrittenAs100Percent) {
    LocalRecord record;
    record.local.fMaxMemUseAllowed = 1.0F;
    EXPECT_EQ(Saved(record), "NodeID = 0\n\n\n\nMaxMemUseAllowed = 100%\n\n");
}

TEST_F(LocalWriter, ASectionOfOneCameraWithOneModelUsesThePlainForms) {
    LocalRecord record;
    record.AddModel(record.AddCamera(7, 7), "m", 1);
    const std::string saved = Saved(record);
    EXPECT_NE(saved.find("[Camera 7]\n"), std::string::npos);
    EXPECT_NE(saved.find("\nCameraModel = \"m\", \"p\"\n"), std::string::npos);
}

TEST_F(LocalWriter, ModelsOfOneAndThreeCamerasFromCamera5AreWrittenAs5And6To9) {
    LocalRecord record;
    Hardware& section = record.AddCamera(5, 8);
    record.AddModel(section, "a", 1);
    record.AddModel(section, "b", 3);
    EXPECT_NE(Saved(record).find("\nCameraModel5 = \"a\", \"p\"\nCameraModel6-9 = \"b\", \"p\"\n"), std::string::npos);
}

TEST_F(LocalWriter, ASensorSectionWritesThreeLines) {
    LocalRecord record;
    record.AddSensor(1, 2);
    EXPECT_EQ(Saved(record), "NodeID = 0\n\n\n\n[Sensor 1-2]\nCaptureDevice = \"board\", \"settings\"\n\n");
}

TEST_F(LocalWriter, WithIndexTwoTheTemporaryFileIsLocal2CfgTmpAndTheFinalOneLocal2Cfg) {
    UseIndex(2);
    LocalRecord record;
    record.local.uiNodeID = 2;
    std::filesystem::create_directory(Path("local2.cfg.tmp"));
    EXPECT_FALSE(ConfigLib_Save_Local(&record.local));
    EXPECT_EQ(Logged(), Messages{"Config: Cannot open config file '" + Path("local2.cfg.tmp") + "' (" +
                                 std::to_string(EISDIR) + ")"});
    std::filesystem::remove(Path("local2.cfg.tmp"));
    EXPECT_TRUE(ConfigLib_Save_Local(&record.local));
    EXPECT_EQ(Get("local2.cfg"), "NodeID = 2\n\n\n\n");
    EXPECT_FALSE(Has("local2.cfg.tmp"));
    EXPECT_FALSE(Has("local.cfg"));
}

TEST_F(LocalWriter, AMacOfZeroIsWrittenAsZerosWhichTheReaderSkips) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 1\n"), 2);
    LocalRecord record;
    record.local.uiNodeID = 1;
    Hardware& section = record.AddCamera(1, 1);
    section.vCameraMAC = {0};
    record.AddModel(section, "m", 1);
    EXPECT_NE(Saved(record).find("\nCameraMAC1 = 00:00:00:00:00:00\n"), std::string::npos);
    EXPECT_EQ(ConfigLib_Load_Local(), 2);
    EXPECT_TRUE(Local().vHardware[CAPTURE_DEVICE_CAMERA].at(0)->vCameraMAC.empty());
}

// ---- Longest texts

TEST_F(LocalWriter, TheLongestTextsAreWrittenWhole) {
    LocalRecord record;
    const std::string path(1023, 'p');
    record.local.uiRecordingStorageCount = 1;
    std::strcpy(record.local.szRecordingStorage[0], path.c_str());
    std::strcpy(record.local.szPostProcessPluginName, path.c_str());
    record.Add(CAPTURE_DEVICE_CAMERA, 1, 1, std::string(63, 'n').c_str(), path.c_str());
    EXPECT_EQ(Saved(record), "NodeID = 0\n\n\n\nRecordingStorage1 = \"" + path + "\"\n\nPostProcessPluginName = \"" +
                                 path + "\"\n\n[Camera 1]\nCaptureDevice = \"" + std::string(63, 'n') + "\", \"" +
                                 path + "\"\n\n");
}

// A path that fills its slot runs on into the next one; both together, tag, quotes and line ends come to `bytes`.
std::string PathFor(std::size_t bytes) {
    return std::string(bytes - std::strlen("RecordingStorage1 = \"\"\n\n"), 'p');
}

TEST_F(LocalWriter, APathThatRunsIntoTheNextSlotIsWrittenUpToItsZeroByte) {
    LocalRecord record;
    record.local.uiRecordingStorageCount = 1;
    const std::string path = PathFor(2047);
    std::memcpy(record.local.szRecordingStorage, path.c_str(), path.size() + 1);
    EXPECT_EQ(Saved(record), "NodeID = 0\n\n\n\nRecordingStorage1 = \"" + path + "\"\n\n");
}

TEST_F(LocalWriter, AnItemLongerThanTheBufferIsAShortWrite) {
    Put("local.cfg", "old");
    LocalRecord record;
    record.local.uiRecordingStorageCount = 1;
    const std::string path = PathFor(2048);
    std::memcpy(record.local.szRecordingStorage, path.c_str(), path.size() + 1);
    EXPECT_FALSE(ConfigLib_Save_Local(&record.local));
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Get("local.cfg"), "old");
    EXPECT_EQ(Get("local.cfg.tmp").size(), std::strlen("NodeID = 0\n\n\n\n") + 2047);
}

// ---- Failures

TEST_F(LocalWriter, ATemporaryFileThatCannotBeOpenedIsReportedWithPathAndError) {
    Put("local.cfg", "old");
    std::filesystem::create_directory(Path("local.cfg.tmp"));
    LocalRecord record;
    EXPECT_FALSE(ConfigLib_Save_Local(&record.local));
    EXPECT_EQ(Logged(), Messages{"Config: Cannot open config file '" + Path("local.cfg.tmp") + "' (" +
                                 std::to_string(EISDIR) + ")"});
    EXPECT_EQ(Get("local.cfg"), "old");
}

TEST_F(LocalWriter, AFailedRenameReturnsFalseInSilence) {
    std::filesystem::create_directory(Path("local.cfg"));
    LocalRecord record;
    EXPECT_FALSE(ConfigLib_Save_Local(&record.local));
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(Get("local.cfg.tmp"), "NodeID = 0\n\n\n\n");
}

TEST_F(LocalWriter, AStaleTemporaryFileIsReplaced) {
    Put("local.cfg.tmp", std::string(10000, 'x'));
    LocalRecord record;
    EXPECT_EQ(Saved(record), "NodeID = 0\n\n\n\n");
}

// Fifteen full storages: more bytes than are gathered for one write.
void FillStorages(LocalRecord& record) {
    record.local.uiRecordingStorageCount = 15;
    for (auto& slot : record.local.szRecordingStorage) {
        std::strcpy(slot, std::string(1023, 'p').c_str());
    }
}

TEST_F(LocalWriter, AShortWriteReturnsFalseInSilenceAndTheNextSaveSucceeds) {
    Put("local.cfg", "old");
    LocalRecord record;
    FillStorages(record);
    EXPECT_TRUE(PassesInChild([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit hundredBytes = {100, 100};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &hundredBytes), 0);
        EXPECT_FALSE(ConfigLib_Save_Local(&record.local));
        EXPECT_EQ(Logged(), Messages{});
    }));
    EXPECT_EQ(Get("local.cfg.tmp").size(), 100U);
    EXPECT_EQ(Get("local.cfg"), "old");
    EXPECT_EQ(Saved(record).size(), std::strlen("NodeID = 0\n\n\n\n") + 9 * 1047 + 6 * 1048);
}

// ---- What a load followed by a save does to a file

class LocalRoundTrip : public ConfigTest {
public:
    LocalRoundTrip() {
        EXPECT_EQ(
            LoadGlobal("ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 4\nSensorsConnectedToNode1 = 2\n"),
            2);
    }

    std::string AfterLoadAndSave(const std::string& text, int result = 2) {
        EXPECT_EQ(LoadLocal(text), result);
        return SavedLocal();
    }
};

constexpr char kExample[] =
    "NodeID = 1\n\nIP = 192.168.0.11\n\nRecordingStorage1 = \"/mnt/rec1/\"\n\nRecordingStorage2 = \"/mnt/rec2/\"\n\n"
    "MaxMemUseAllowed = 50%\n\n[Camera 1-4]\nCaptureDevice = \"board\", \"board settings\"\n"
    "CTI = \"producer\", \"options\"\nSyncMode = 1\nCameraMAC1 = 00:11:22:33:44:01\nCameraMAC2 = 00:11:22:33:44:02\n"
    "CameraMAC3 = 00:11:22:33:44:03\nCameraMAC4 = 00:11:22:33:44:04\nCameraModel = \"model\", \"model settings\"\n\n";

TEST_F(LocalRoundTrip, TheExampleComesBackByteForByte) {
    EXPECT_EQ(AfterLoadAndSave(kExample), kExample);
    EXPECT_EQ(Logged(), Messages{});
}

TEST_F(LocalRoundTrip, TopLevelSettingsComeBackInTheLayoutsOrder) {
    EXPECT_EQ(AfterLoadAndSave("PostProcessPluginName = \"P\"\nMaxMemUseAllowed = 10\nSensorStreamPluginName = \"S\"\n"
                               "CaptureProcessPluginName = \"C\"\nRecordingStorage2 = \"/b\"\n"
                               "CameraStreamPluginName = \"V\"\nRecordingStorage1 = \"/a\"\nIP=1.2.3.4,5.6.7.8\n"
                               "NodeID=1\n"),
              "NodeID = 1\n\nIP = 1.2.3.4, 5.6.7.8\n\nRecordingStorage1 = \"/a/\"\n\nRecordingStorage2 = \"/b/\"\n\n"
              "CameraStreamPluginName = \"V\"\n\nSensorStreamPluginName = \"S\"\n\nCaptureProcessPluginName = \"C\"\n\n"
              "PostProcessPluginName = \"P\"\n\nMaxMemUseAllowed = 10%\n\n");
}

TEST_F(LocalRoundTrip, OfflineListsAreLost) {
    EXPECT_EQ(AfterLoadAndSave("NodeID = 1\nCamerasOffline = 1, 2\nSensorsOffline = 1\n"), "NodeID = 1\n\n\n\n");
}

TEST_F(LocalRoundTrip, IgnoredAndUnknownLinesAndUnknownSectionsAreLost) {
    EXPECT_EQ(AfterLoadAndSave("# remark\nNodeID = 1\nColour = red\n[Foo 1]\nCaptureDevice = \"a\", \"b\"\n"),
              "NodeID = 1\n\n\n\n");
}

TEST_F(LocalRoundTrip, AHeaderWithoutNumbersComesBackNumbered) {
    EXPECT_EQ(AfterLoadAndSave("NodeID = 1\n[Camera]\nCaptureDevice = \"a\", \"b\"\nCameraModel = \"m\", \"p\"\n"
                               "[Sensor]\nCaptureDevice = \"s\", \"t\"\n"),
              "NodeID = 1\n\n\n\n[Camera 1-4]\nCaptureDevice = \"a\", \"b\"\nCameraModel = \"m\", \"p\"\n\n"
              "[Sensor 1-2]\nCaptureDevice = \"s\", \"t\"\n\n");
}

TEST_F(LocalRoundTrip, ASectionWithAnEmptySecondCaptureDeviceValueIsComplainedAboutAndLost) {
    EXPECT_EQ(AfterLoadAndSave("NodeID = 1\n[Camera]\nCaptureDevice = \"a\", \"\"\nCameraModel = \"m\", \"p\"\n", 1),
              "NodeID = 1\n\n\n\n");
    EXPECT_EQ(Logged(), Messages{"Config: 'CaptureDevice' is not defined correctly for cameras 1-4"});
}

TEST_F(LocalRoundTrip, ASensorSectionKeepsOnlyItsHeaderAndCaptureDevice) {
    EXPECT_EQ(AfterLoadAndSave("NodeID = 1\n[Sensor 1-2]\nSyncMode = 1\nCaptureDevice = \"s\", \"t\"\nLinkSpeed = 5\n"
                               "CTI = \"c\", \"d\"\nCameraMAC1 = 1:2:3:4:5:6\nCameraModel = \"m\", \"p\"\n"),
              "NodeID = 1\n\n\n\n[Sensor 1-2]\nCaptureDevice = \"s\", \"t\"\n\n");
}

TEST_F(LocalRoundTrip, MaxMemUseAllowedPassesThroughASinglePrecisionFloat) {
    for (unsigned int percent = 0; percent <= 250; percent += percent < 101 ? 1 : 149) {
        SCOPED_TRACE(percent);
        const unsigned int expected = percent == 53 ? 52 : percent == 59 ? 58 : percent > 100 ? 100 : percent;
        const std::string item = "MaxMemUseAllowed = " + std::to_string(expected) + "%\n\n";
        EXPECT_EQ(AfterLoadAndSave("NodeID = 1\nMaxMemUseAllowed = " + std::to_string(percent) + "%\n"),
                  "NodeID = 1\n\n\n\n" + (percent == 0 ? std::string() : item));
    }
}

TEST_F(LocalRoundTrip, ModelNumbersAreRecomputedFromTheListOrder) {
    EXPECT_EQ(
        AfterLoadAndSave("NodeID = 1\n[Camera]\nCaptureDevice = \"a\", \"b\"\nCameraModel2 = \"two\", \"p\"\n"
                         "CameraModel1 = \"one\", \"p\"\nCameraModel4 = \"four\", \"p\"\n"
                         "CameraModel4 = \"four again\", \"p\"\n"),
        "NodeID = 1\n\n\n\n[Camera 1-4]\nCaptureDevice = \"a\", \"b\"\nCameraModel1 = \"two\", \"p\"\n"
        "CameraModel2 = \"one\", \"p\"\nCameraModel3 = \"four\", \"p\"\nCameraModel4 = \"four again\", \"p\"\n\n");
}

TEST_F(LocalRoundTrip, ZeroValuesOfTheCameraTagsAreLeftOut) {
    EXPECT_EQ(AfterLoadAndSave("NodeID = 1\n[Camera]\nCaptureDevice = \"a\", \"b\"\nCameraModel = \"m\", \"p\"\n"
                               "SyncMode = 0\nMaxDMABuffers = 0\nMaxDetectionTime = 0\nLinkSpeed = 0\n"
                               "CameraMAC1 = 0:0:0:0:0:0\n"),
              "NodeID = 1\n\n\n\n[Camera 1-4]\nCaptureDevice = \"a\", \"b\"\nCameraModel = \"m\", \"p\"\n\n");
}

TEST_F(LocalRoundTrip, ACtiLineWithAnEmptyFirstValueIsLeftOut) {
    EXPECT_EQ(AfterLoadAndSave("NodeID = 1\n[Camera]\nCaptureDevice = \"a\", \"b\"\nCameraModel = \"m\", \"p\"\n"
                               "CTI = \"\", \"options\"\n"),
              "NodeID = 1\n\n\n\n[Camera 1-4]\nCaptureDevice = \"a\", \"b\"\nCameraModel = \"m\", \"p\"\n\n");
}

TEST_F(LocalRoundTrip, ARunOfModelsThatTheWriterCanProduceIsNotTakenBack) {
    EXPECT_EQ(LoadLocal("NodeID = 1\n[Camera]\nCaptureDevice = \"a\", \"b\"\nCameraModel1 = \"m\", \"p\"\n"
                        "CameraModel2-5 = \"n\", \"p\"\n"),
              1);
    EXPECT_EQ(Logged(), Messages{"Config: Mismatch in number of defined 'CameraModel' in cameras 1-4 range"});
    EXPECT_EQ(Local().vHardware[CAPTURE_DEVICE_CAMERA].at(0)->vCameraModels.size(), 1U);
}

TEST_F(LocalRoundTrip, SectionsThatTheEndChecksComplainedAboutComeBackAsTheyAre) {
    const std::string text =
        "NodeID = 1\n\n\n\n[Camera 1-2]\nCaptureDevice = \"a\", \"b\"\nCameraModel = \"m\", \"p\"\n\n"
        "[Camera 2-3]\nCaptureDevice = \"a\", \"b\"\nCameraModel = \"m\", \"p\"\n\n";
    EXPECT_EQ(AfterLoadAndSave(text, 1), text);
}

TEST_F(LocalRoundTrip, ASecondLoadAndSaveWriteTheSameBytes) {
    const std::string first = AfterLoadAndSave(
        "NodeID=1\nIP=1.2.3.4\nMaxMemUseAllowed=53\n[Sensor]\nCaptureDevice=a,b,c\n[Camera 4]\nCaptureDevice=a,b\n"
        "CameraModel=m,p\nCameraMAC4=1:2:3:4:5:6\n[Camera 1-3]\nCaptureDevice=c,d\nCameraModel=m,p\n");
    EXPECT_EQ(ConfigLib_Load_Local(), 2);
    // 52 comes back as 52.
    EXPECT_EQ(SavedLocal(), first);
}

}  // namespace
