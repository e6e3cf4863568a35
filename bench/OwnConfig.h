// ConfigLib in use on a sample, for as long as the object lives. One at a time.
#pragma once

#include "ConfigLib.h"
#include "Sample.h"
#include "Work.h"

namespace bench {

class OwnConfig {
public:
    explicit OwnConfig(const SampleSize& size) {
        InstallSample(size);
        ConfigLib_Init(0);
        Load();
    }
    ~OwnConfig() { ConfigLib_DeInit(); }
    OwnConfig(const OwnConfig&) = delete;
    OwnConfig& operator=(const OwnConfig&) = delete;

    // A node with 64 cameras never passes the reader's last check, so a complaint is no failure here.
    static void Load() {
        if (ConfigLib_Load_Global() != CONFIG_LOAD_CLEAN || ConfigLib_Load_Local() == CONFIG_LOAD_FAILED) {
            Fail("the sample cannot be loaded");
        }
    }

    static void Save() {
        if (!ConfigLib_Save_Global(ConfigFile_GetStructPtr_Global()) ||
            !ConfigLib_Save_Local(ConfigFile_GetStructPtr_Local())) {
            Fail("the sample cannot be saved");
        }
    }
};

}  // namespace bench
