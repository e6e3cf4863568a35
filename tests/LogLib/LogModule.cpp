// A shared object that a client has linked the log into: used, closed and unloaded by LogModuleChild.
#include "Log.h"
#include "support/DataPath.h"

extern "C" __attribute__((visibility("default"))) int UseLog(const char* dataPath);

// Opens the log below the path, writes a line and closes it. Returns OpenLog's result.
int UseLog(const char* dataPath) {
    test_support::SetProgramDataPath(dataPath);
    const int opened = OpenLog("/log/", 1);
    Log(LOG_LEVEL_ERROR, "from a module");
    CloseLog();
    return opened;
}
