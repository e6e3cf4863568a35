// A mount table of the benchmark's own in the place of the machine's.
#pragma once

#include <string>
#include <vector>

namespace bench {

// From now on the mount table has this many drives. They are not mounted, so their free space cannot be told.
void UseDrives(unsigned int count);

// What the program makes of them.
std::vector<std::string> DrivePaths(unsigned int count);
std::vector<std::string> DriveLabels(unsigned int count);

}  // namespace bench
