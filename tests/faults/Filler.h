// Takes the room of a file system away, down to what a test leaves.
#pragma once

#include <string>

namespace faults {

// Fills the file system of a folder with files of its own until nothing more fits, then gives `blocks` single blocks
// back. The block size is the file system's own.
void LeaveBlocks(const std::string& folder, unsigned blocks);

// Creates empty files until no further one can be made, then removes `inodes` of them.
void LeaveInodes(const std::string& folder, unsigned inodes);

}  // namespace faults
