// Whole files. Each file <name>.cfg below tests/data/<area> is a case, together with
//   <name>.log    the load's result on the first line, then its messages
//   <name>.saved  what a save writes after that load
//   <name>.global local only, where the system is not that of default.global
// Areas: "global", "local" and "camera" (device information; its save takes the map's entries in key order).
#include <algorithm>
#include <filesystem>

#include "ConfigLib/ConfigTest.h"

namespace {

namespace fs = std::filesystem;

class DataFiles : public ConfigTest {
public:
    void CheckArea(const std::string& area) {
        std::vector<fs::path> cases;
        for (const auto& entry : fs::directory_iterator(fs::path(TEST_DATA_FOLDER) / area)) {
            if (entry.path().extension() == ".cfg") {
                cases.push_back(entry.path());
            }
        }
        std::sort(cases.begin(), cases.end());
        EXPECT_FALSE(cases.empty());
        for (const fs::path& file : cases) {
            SCOPED_TRACE(area + "/" + file.filename().string());
            CheckCase(area, file);
        }
    }

private:
    static std::string Beside(fs::path file, const char* ending) {
        return test_support::ReadFile(file.replace_extension(ending).string());
    }

    void CheckCase(const std::string& area, const fs::path& file) {
        const int result = Load(area, file);
        std::string report = std::to_string(result) + "\n";
        for (const std::string& message : Logged()) {
            report += message + "\n";
        }
        EXPECT_EQ(report, Beside(file, ".log"));
        EXPECT_EQ(Saved(area), Beside(file, ".saved"));
    }

    int Load(const std::string& area, const fs::path& file) {
        const std::string text = test_support::ReadFile(file.string());
        if (area == "global") {
            return LoadGlobal(text);
        }
        if (area == "camera") {
            return LoadDeviceInfo(text);
        }
        const fs::path own = fs::path(file).replace_extension(".global");
        LoadGlobal(test_support::ReadFile((fs::exists(own) ? own : file.parent_path() / "default.global").string()));
        return LoadLocal(text);
    }

    std::string Saved(const std::string& area) const {
        if (area == "global") {
            return SavedGlobal();
        }
        if (area == "local") {
            return SavedLocal();
        }
        std::vector<CAPTURE_DEVICE_INFO> infos;
        std::vector<unsigned int> keys;
        for (const auto& [key, info] : *ConfigFile_GetStructPtr_DeviceInfo(CAPTURE_DEVICE_CAMERA)) {
            keys.push_back(static_cast<unsigned int>(key));
            infos.push_back(info);
        }
        EXPECT_TRUE(ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_CAMERA, &infos, &keys));
        return Get("camera.cfg");
    }
};

TEST_F(DataFiles, OfGlobalCfgLoadAndSaveAsTheFilesBesideThemSay) {
    CheckArea("global");
}

TEST_F(DataFiles, OfLocalCfgLoadAndSaveAsTheFilesBesideThemSay) {
    CheckArea("local");
}

TEST_F(DataFiles, OfDeviceInformationLoadAndSaveAsTheFilesBesideThemSay) {
    CheckArea("camera");
}

}  // namespace
