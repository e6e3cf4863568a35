#include "CP_Linux/PrivateMounts.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/Child.h"
#include "support/Files.h"

namespace {

// The user of this process is root inside; no other user exists there.
void MapToRoot(uid_t user, gid_t group) {
    test_support::WriteFile("/proc/self/setgroups", "deny");
    test_support::WriteFile("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    test_support::WriteFile("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

void EnterPrivateMounts() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    ASSERT_EQ(unshare(user == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS), 0) << "no mount namespace";
    if (user != 0) {
        MapToRoot(user, group);
    }
    ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0) << "mounts cannot be made private";
    ASSERT_EQ(mount("tmpfs", "/etc", "tmpfs", 0, "size=1m"), 0) << "no file system in memory";
}

}  // namespace

bool PassesWithPrivateMounts(const std::function<void()>& function) {
    return test_support::PassesInChild([&] {
        EnterPrivateMounts();
        if (!testing::Test::HasFatalFailure()) {
            function();
        }
    });
}

void MountMemory(const std::string& folder, const std::string& device, const std::string& size) {
    std::filesystem::create_directories(folder);
    ASSERT_EQ(mount(device.c_str(), folder.c_str(), "tmpfs", 0, ("size=" + size).c_str()), 0) << folder;
}
