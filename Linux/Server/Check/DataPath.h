// Where ConfigLib finds the files of this process. DataPath.cpp defines OS_GetProgramDataPath: the definition in an
// executable takes precedence over the one in the shared OS_ library, so the readers and writers work below a folder of
// our choice.
#pragma once

#include <cstddef>
#include <string>

// Bytes that a root may have, so that no path below it is cut.
constexpr std::size_t LONGEST_DATA_PATH = 900;

// From now on `root` stands in for "/etc". Without a call the libraries find no program data path.
void SetDataPath(const std::string& root);

// The folder of the configuration files below the root, without closing slash.
std::string ConfigFolder();
