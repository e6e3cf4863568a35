// Mounts that no other process sees.
#pragma once

#include <functional>
#include <string>

// Runs the function, with its checks, in a child process with mounts of its own and an empty /etc. True when no check
// failed and it came to its end. What it mounts is gone with it. Without root's rights the child is root of a user
// namespace of its own.
bool PassesWithPrivateMounts(const std::function<void()>& function);

// Mounts an empty file system in memory of `size` bytes on the folder, which is created where it is missing. The
// device's name in the mount table is `device`.
void MountMemory(const std::string& folder, const std::string& device = "tmpfs", const std::string& size = "1m");
