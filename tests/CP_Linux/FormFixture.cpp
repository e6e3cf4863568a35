#include "CP_Linux/FormFixture.h"

#include <sys/statvfs.h>

#include "CP_Linux/PrivateMounts.h"
#include "support/Files.h"

std::function<void()> g_onSpaceAsked;

// The form leaves its texts allocated on purpose.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "detect_leaks=0";
}

// The definition in the program comes before the one in the C library.
extern "C" int statvfs(const char* path, struct statvfs* status) noexcept {
    if (g_onSpaceAsked) {
        g_onSpaceAsked();
    }
    *status = {};
    status->f_bsize = 1024;
    status->f_bavail = kFreeBytes / 1024;
    return std::string(path) == kUnknownMount ? -1 : 0;
}

namespace {

std::string TableOf(const std::vector<std::string>& mountPoints) {
    std::string table;
    for (const std::string& mountPoint : mountPoints) {
        table += "/dev/disk ";
        for (const char c : mountPoint) {
            table += c == ' ' ? std::string("\\040") : std::string(1, c);
        }
        table += " ext4 rw 0 0\n";
    }
    return table;
}

}  // namespace

FormTest::FormTest() {
    nk_init_default(&m_context, nullptr);
}

FormTest::~FormTest() {
    nk_free(&m_context);
}

void FormTest::WithMounts(const std::vector<std::string>& mountPoints, const std::function<void()>& checks) {
    EXPECT_TRUE(PassesWithPrivateMounts([&] {
        test_support::WriteFile("/etc/mtab", TableOf(mountPoints));
        checks();
    }));
}
