// A folder of the benchmark's own that stands in for the program data path: nothing of this machine is read or changed.
#pragma once

#include <string>

namespace bench {

// The folder, without a closing slash; made on first use and removed when the program ends.
const std::string& DataFolder();

// A folder below it, made if need be.
std::string Folder(const std::string& name);

// Folder of the configuration files below the data folder.
std::string ConfigFolder();

void WriteFile(const std::string& path, const std::string& bytes);
std::string ReadFile(const std::string& path);

}  // namespace bench
