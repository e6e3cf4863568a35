// Loading and saving with ConfigLib, the floor of loading, a plain save, and how both grow.
#include <cstdio>
#include <cstring>

#include "ConfigLib.h"
#include "OwnConfig.h"
#include "Place.h"
#include "Sample.h"
#include "Work.h"

namespace bench {
namespace {

class Load : public Job {
public:
    explicit Load(const SampleSize& size) : m_config(size) {}
    void Run() override { OwnConfig::Load(); }

private:
    OwnConfig m_config;
};

// The least that reading the files line by line takes: the C library's line reader, and one look over each line.
class LoadFloor : public Job {
public:
    LoadFloor() { InstallSample({}); }
    void Run() override {
        Read(m_folder + "/global.cfg");
        Read(m_folder + "/local.cfg");
        if (m_lines == 0) {
            Fail("the floor has read nothing");
        }
    }

private:
    void Read(const std::string& path) {
        std::FILE* file = std::fopen(path.c_str(), "r");
        if (file == nullptr) {
            Fail("cannot open " + path);
        }
        char line[2048];
        while (std::fgets(line, sizeof line, file) != nullptr) {
            m_lines += std::memchr(line, '\n', sizeof line) != nullptr ? 1 : 0;
        }
        std::fclose(file);
    }

    std::string m_folder = ConfigFolder();
    unsigned long m_lines = 0;
};

class Save : public Job {
public:
    explicit Save(const SampleSize& size) : m_config(size) {}
    void Run() override { OwnConfig::Save(); }

private:
    OwnConfig m_config;
};

// The same bytes through the same temporary file and rename, with one fprintf straight into the file for each item.
class SavePlain : public Job {
public:
    SavePlain() : m_config({}) {
        OwnConfig::Save();
        const std::string global = ReadFile(m_folder + "/global.cfg");
        const std::string local = ReadFile(m_folder + "/local.cfg");
        Run();
        if (ReadFile(m_folder + "/global.cfg") != global || ReadFile(m_folder + "/local.cfg") != local) {
            Fail("the plain save has not written the same bytes");
        }
    }

    void Run() override {
        Write("/global.cfg", ".temp", [](std::FILE* file) { WriteGlobal(file, *ConfigFile_GetStructPtr_Global()); });
        Write("/local.cfg", ".tmp", [](std::FILE* file) { WriteLocal(file, *ConfigFile_GetStructPtr_Local()); });
    }

private:
    template <typename Writer>
    void Write(const char* name, const char* ending, Writer write) {
        const std::string path = m_folder + name;
        const std::string temporary = path + ending;
        std::FILE* file = std::fopen(temporary.c_str(), "w");
        if (file == nullptr) {
            Fail("cannot open " + temporary);
        }
        write(file);
        if (std::fclose(file) != 0 || std::rename(temporary.c_str(), path.c_str()) != 0) {
            Fail("cannot write " + path);
        }
    }

    static void WriteAddress(std::FILE* file, const char* lead, std::uint32_t address) {
        std::fprintf(file, "%s%u.%u.%u.%u", lead, address & 0xFF, address >> 8 & 0xFF, address >> 16 & 0xFF,
                     address >> 24);
    }

    static void WriteGlobal(std::FILE* file, const CONFIGURATION__GLOBAL& global) {
        std::fprintf(file, "ClusterName = \"%s\"\n\n", global.szClusterName);
        std::fprintf(file, "NodeCount = %u\n\n", global.uiNodeCount);
        const char* format = "NodesOffline = %u";
        for (unsigned int node = 1; node <= global.uiNodeCount; ++node) {
            if ((global.ullNodesOffline >> (node - 1) & 1) != 0) {
                std::fprintf(file, format, node);
                format = ", %u";
            }
        }
        std::fprintf(file, "\n\n");
        for (unsigned int node = 1; node <= global.uiNodeCount; ++node) {
            std::fprintf(file, "CamerasConnectedToNode%u = %u\n", node,
                         global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA][node]);
        }
        std::fprintf(file, "\n");
        WriteAddress(file, "ManagerMachineIP = ", global.uiManagerMachineIP[0]);
        std::fprintf(file, "\n\n");
        std::fprintf(file, "GeneralStoragePath = \"%s\"\n\n", global.szGeneralStoragePath);
        std::fprintf(file, "LogLevelNode = %u\n\n", global.uiLogLevelNode);
        std::fprintf(file, "LogLevelManager = %u\n\n", global.uiLogLevelManager);
        std::fprintf(file, "ShowAllParameters = %u\n\n", global.bShowAllParameters ? 1U : 0U);
        std::fprintf(file, "AllowFailedDevices = %u\n\n", global.bAllowFailedDevices ? 1U : 0U);
        std::fprintf(file, "AllowFailedNodes = %u\n\n", global.bAllowFailedNodes ? 1U : 0U);
    }

    static void WriteLocal(std::FILE* file, const CONFIGURATION__LOCAL& local) {
        std::fprintf(file, "NodeID = %u\n\n", local.uiNodeID);
        WriteAddress(file, "IP = ", local.uiIP[0]);
        WriteAddress(file, ", ", local.uiIP[1]);
        std::fprintf(file, "\n\n");
        for (unsigned int slot = 0; slot < local.uiRecordingStorageCount; ++slot) {
            std::fprintf(file, "RecordingStorage%u = \"%s\"\n\n", slot + 1, local.szRecordingStorage[slot]);
        }
        std::fprintf(file, "CameraStreamPluginName = \"%s\"\n\n", local.szStreamPluginName[CAPTURE_DEVICE_CAMERA]);
        std::fprintf(file, "SensorStreamPluginName = \"%s\"\n\n", local.szStreamPluginName[CAPTURE_DEVICE_SENSOR]);
        std::fprintf(file, "CaptureProcessPluginName = \"%s\"\n\n", local.szCaptureProcessPluginName);
        std::fprintf(file, "PostProcessPluginName = \"%s\"\n\n", local.szPostProcessPluginName);
        std::fprintf(file, "MaxMemUseAllowed = %u%%\n\n", static_cast<unsigned int>(local.fMaxMemUseAllowed * 100.0F));
        for (const CONFIGURATION__CAPTURE_HARDWARE* section : local.vHardware[CAPTURE_DEVICE_CAMERA]) {
            WriteSection(file, *section);
        }
    }

    static void WriteSection(std::FILE* file, const CONFIGURATION__CAPTURE_HARDWARE& section) {
        std::fprintf(file, "[Camera %u]\n", section.uiFirstDevice);
        std::fprintf(file, "CaptureDevice = \"%s\", \"%s\"\n", section.szDeviceName, section.szDeviceParams);
        std::fprintf(file, "CTI = \"%s\", \"%s\"\n", section.szCTIName, section.szCTIParams);
        std::fprintf(file, "SyncMode = %u\n", section.uiSyncMode);
        std::fprintf(file, "MaxDMABuffers = %u\n", section.uiMaxDMABuffers);
        std::fprintf(file, "MaxDetectionTime = %u\n", section.uiMaxDetectionTime);
        std::fprintf(file, "LinkSpeed = %u\n", section.uiLinkSpeed);
        const std::uint64_t mac = section.vCameraMAC.at(0);
        const auto byte = [mac](int shift) { return static_cast<unsigned int>(mac >> shift & 0xFF); };
        std::fprintf(file, "CameraMAC%u = %02X:%02X:%02X:%02X:%02X:%02X\n", section.uiFirstDevice, byte(40), byte(32),
                     byte(24), byte(16), byte(8), byte(0));
        const CONFIGURATION__CAPTURE_DEVICE& model = *section.vCameraModels.at(0);
        std::fprintf(file, "CameraModel = \"%s\", \"%s\"\n", model.szModelName, model.szModelParams);
        std::fprintf(file, "\n");
    }

    OwnConfig m_config;
    std::string m_folder = ConfigFolder();
};

template <typename Kind>
JobMaker Sized(const SampleSize& size) {
    return [size] { return std::make_unique<Kind>(size); };
}

bool AddGrowth() {
    for (const unsigned int sections : {1U, 4U, 16U, 64U}) {
        SampleSize size;
        size.sections = sections;
        AddWork("load-sections/" + std::to_string(sections), Sized<Load>(size));
        AddWork("save-sections/" + std::to_string(sections), Sized<Save>(size));
    }
    for (const unsigned int lines : {1U, 10U, 100U, 1000U, 10000U, 100000U}) {
        SampleSize size;
        size.sections = 1;
        size.ignoredLines = lines;
        AddWork("load-ignored/" + std::to_string(lines), Sized<Load>(size));
    }
    return true;
}

const bool kAdded = AddWork("load/own", Sized<Load>({})) &&
                    AddWork("load/floor", [] { return std::make_unique<LoadFloor>(); }) &&
                    AddWork("save/own", Sized<Save>({})) &&
                    AddWork("save/fprintf", [] { return std::make_unique<SavePlain>(); }) && AddGrowth();

}  // namespace
}  // namespace bench
