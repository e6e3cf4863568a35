#include <cerrno>
#include <cstring>

#include "OsLayer.h"

namespace {

// The server's log and configuration lie in /etc/Orvan.
constexpr char kProgramDataPath[] = "/etc";

}  // namespace

int OS_GetProgramDataPath(char* buffer, unsigned int size) {
    if (buffer == nullptr) {
        errno = EINVAL;
        return 0;
    }
    if (size < sizeof kProgramDataPath) {
        if (size > 0) {
            buffer[0] = '\0';
        }
        errno = ERANGE;
        return 0;
    }
    std::memcpy(buffer, kProgramDataPath, sizeof kProgramDataPath);
    return 1;
}
