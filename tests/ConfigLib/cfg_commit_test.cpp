// A save replaces the old file in one step: what is renamed to the final name is whole.
#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "ConfigLib/ConfigTest.h"

// What the file that is about to get another name holds at that moment.
static std::string g_renamed;

// Stands in for the C library's function of this name in the whole test program.
extern "C" int rename(const char* from, const char* to) noexcept {
    using Function = int (*)(const char*, const char*);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "rename"));
    g_renamed = test_support::Exists(from) ? test_support::ReadFile(from) : "";
    return real(from, to);
}

namespace {

class Commit : public ConfigTest {};

TEST_F(Commit, GlobalFileIsCompleteBeforeItTakesTheFinalName) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 2\n"), 2);
    EXPECT_EQ(SavedGlobal(), g_renamed);
    EXPECT_EQ(g_renamed.substr(0, 19), "ClusterName = \"a\"\n\n");
}

TEST_F(Commit, LocalFileIsCompleteBeforeItTakesTheFinalName) {
    EXPECT_EQ(LoadGlobal("ClusterName = a\nNodeCount = 2\n"), 2);
    EXPECT_EQ(LoadLocal("NodeID = 1\n"), 2);
    EXPECT_EQ(SavedLocal(), g_renamed);
    EXPECT_EQ(g_renamed, "NodeID = 1\n\n\n\n");
}

}  // namespace
