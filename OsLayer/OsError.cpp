#include <cerrno>

#include "OsLayer.h"

int OS_GetLastError() {
    return errno;
}
