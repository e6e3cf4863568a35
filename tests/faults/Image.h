// Files that are disks: made with a file system, and attached as block devices.
#pragma once

#include <string>
#include <vector>

namespace faults {

// Whether this machine has loop devices and this kernel the file system, with its maker installed. What is missing goes
// to `missing`.
bool CanMount(const std::string& type, std::string& missing);

// A sparse file of this many bytes with an empty file system: "ext4", "xfs" or "btrfs", with further options for its
// maker. Throws std::runtime_error where it cannot be made.
void MakeImage(const std::string& path, const std::string& type, long long bytes,
               const std::vector<std::string>& options = {});

// Copies only what is not a hole. The target is replaced.
void CopySparse(const std::string& from, const std::string& to);

// A block device over a file. The kernel gives it back when nobody uses it any more, however this process ends.
class LoopDevice {
public:
    explicit LoopDevice(const std::string& file);
    ~LoopDevice();
    LoopDevice(const LoopDevice&) = delete;
    LoopDevice& operator=(const LoopDevice&) = delete;

    const std::string& Path() const { return m_path; }

private:
    int m_fd = -1;
    std::string m_path;
};

}  // namespace faults
