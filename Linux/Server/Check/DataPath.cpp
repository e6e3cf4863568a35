#include "DataPath.h"

#include <cerrno>
#include <cstring>

#include "ConfigLib.h"
#include "OsLayer.h"

namespace {

char g_root[LONGEST_DATA_PATH + 1] = "";

}  // namespace

int OS_GetProgramDataPath(char* buffer, unsigned int size) {
    const std::size_t length = std::strlen(g_root);
    if (length == 0 || size <= length) {
        errno = length == 0 ? ENOENT : ERANGE;
        return 0;
    }
    std::memcpy(buffer, g_root, length + 1);
    return 1;
}

void SetDataPath(const std::string& root) {
    const std::size_t length = root.copy(g_root, LONGEST_DATA_PATH);
    g_root[length] = '\0';
}

std::string ConfigFolder() {
    char location[1024];
    ConfigFile_Utils_GetConfigFileLocation(location);
    std::string folder = location;
    folder.pop_back();
    return folder;
}
