// A whole session under valgrind: no invalid access, no use of a value that was never set.

#include <gtest/gtest.h>

#include "Scenario.h"

namespace gui {
namespace {

constexpr int kErrorsFound = 99;

Session::Options UnderValgrind() {
    Session::Options options;
    // The program's own code is looked at, all of it; the driver's drawing would take minutes.
    options.shim = [](ShimControl& shim) { shim.skipDrawing = 1; };
    // Leaks are not looked for: what the program keeps to its end, it keeps on purpose.
    options.under = {GUI_VALGRIND, "--quiet", "--leak-check=no", "--error-exitcode=" + std::to_string(kErrorsFound),
                     "--suppressions=" + ReferenceFolder() + "/valgrind.supp"};
    return options;
}

class Memory : public testing::Test {
protected:
    Memory() {
        machine_.Global(GlobalFile("Site A", 2, "/mnt/a/"));
        machine_.Local(LocalFile(1, {"/mnt/b/"}));
        machine_.Drives({"/mnt/a", "/mnt/b"});
    }

    Machine machine_;
};

TEST_F(Memory, IsUsedWellFromTheFilesThroughTheFormToTheFiles) {
    machine_.Global(GlobalFile(std::string(61, 'x'), 2, "/mnt/a/"));
    machine_.Local(LocalFile(2, {"/mnt/a/", "/mnt/b/"}));
    Session session(machine_, UnderValgrind());
    session.Click(session.At().nameField);
    session.Type("yyy");
    session.Click(session.At().apply);
    // The alert is up, and nothing is saved.
    EXPECT_EQ(machine_.Local(), LocalFile(2, {"/mnt/a/", "/mnt/b/"}));
    session.Click(session.At().alertOk);
    SwitchDrives(session, {0}, session.At().driveCancel);
    session.Click(session.At().apply);
    EXPECT_TRUE(EndedWell(session.End())) << ToString(session.End());
    EXPECT_EQ(session.Run().ErrorOutput(), "");
    // 64 characters: the name's end lies on the number of Recorders.
    EXPECT_EQ(machine_.Global().find("NodeCount = 0\n"), std::string("ClusterName = \"\"\n\n").size() + 64);
    EXPECT_EQ(machine_.Local(), LocalFile(2, {"/mnt/b"}));
}

TEST_F(Memory, IsUsedWellThroughTheTeardown) {
    Session session(machine_, UnderValgrind());
    session.SendClientMessage("WM_PROTOCOLS");
    EXPECT_TRUE(EndedWell(session.End())) << ToString(session.End());
    EXPECT_EQ(session.Run().ErrorOutput(), "");
}

}  // namespace
}  // namespace gui
