// Decides what OS_GetProgramDataPath yields in this program. Until one of these is called it fails with ENOENT, so that
// no test reads or writes the machine's real folders by mistake.
#pragma once

#include <string>

namespace test_support {

// From now on it succeeds with `path`, which has no closing slash.
void SetProgramDataPath(const std::string& path);

// From now on it fails with the error number `error` and leaves the buffer alone.
void FailProgramDataPath(int error);

// From now on it fails with the error number `error` after it has written `leftover` to the buffer.
void FailProgramDataPath(int error, const std::string& leftover);

// The size of the buffer that it was called with last.
unsigned int ProgramDataPathSize();

}  // namespace test_support
