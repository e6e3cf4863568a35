// What happens to the program from outside while its form is up: nothing is lost, and it comes to its end.

#include <X11/Xlib.h>

// Xlib's macros reach into the headers below.
#undef None
#undef Bool
#undef Status
#undef Success

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "Scenario.h"

namespace gui {
namespace {

namespace fs = std::filesystem;

// How often a thing is done again by hand; the suite does it a few times.
int Times(int inTheSuite) {
    const char* text = std::getenv("VESMARA_REPEAT");
    return text == nullptr ? inTheSuite : std::atoi(text);
}

class Fault : public testing::Test {
protected:
    Fault() {
        machine_.Global(global_);
        machine_.Local(local_);
    }

    void ExpectFilesKept() {
        EXPECT_EQ(machine_.Global(), global_);
        EXPECT_EQ(machine_.Local(), local_);
        EXPECT_EQ(machine_.Files(place::kConfig), (std::vector<std::string>{"global.cfg", "local.cfg"}));
    }

    // Loses its connection: the X library ends the process with status 1.
    void ExpectLostConnection(Program& program) {
        const Ending ending = program.End();
        EXPECT_TRUE(ending.normal && ending.status == 1) << ToString(ending);
        ExpectFilesKept();
    }

    const std::string global_ = GlobalFile("Site A", 2, "");
    const std::string local_ = LocalFile(2, {});
    Machine machine_;
};

// ---- The X server and other clients

TEST_F(Fault, ServerThatDiesTakesTheFormWithItAndNoFile) {
    for (int i = 0; i < Times(1); ++i) {
        XServer server(kFullHd);
        Program::Options options;
        options.display = server.Name();
        Program program(options);
        program.Await([&] { return program.Shim().frames.load() > 2 || !program.Running(); }, "the form");
        server.Crash();
        ExpectLostConnection(program);
    }
}

TEST_F(Fault, KilledClientKeepsTheFiles) {
    Session session(machine_, kFullHd);
    XKillClient(session.Connection(), session.Window());
    XSync(session.Connection(), False);
    ExpectLostConnection(session.Run());
}

TEST_F(Fault, WindowThatAnotherClientDestroysEndsTheProgramAndKeepsTheFiles) {
    Session session(machine_, kFullHd);
    XDestroyWindow(session.Connection(), session.Window());
    XSync(session.Connection(), False);
    const Ending ending = session.End();
    EXPECT_TRUE(ending.normal) << ToString(ending);
    ExpectFilesKept();
}

// Every kind of event that a window can be sent but the client message, which closes it.
TEST_F(Fault, FloodOfEventsIsTakenAndTheFormStillWorks) {
    Session session(machine_, kFullHd);
    unsigned int random = 1;
    for (int i = 0; i < 100000; ++i) {
        random = random * 1103515245U + 12345U;
        XEvent event{};
        event.type = KeyPress + static_cast<int>(random >> 16) % (MappingNotify - KeyPress);
        if (event.type == ClientMessage) {
            continue;
        }
        event.xbutton.window = session.Window();
        event.xbutton.x = static_cast<int>(random >> 8) % 680;
        event.xbutton.y = static_cast<int>(random >> 4) % 100;  // above both buttons
        // Keys have codes from 8 on; of a code below, no server asks.
        const bool key = event.type == KeyPress || event.type == KeyRelease;
        event.xbutton.button = key ? 8 + (random >> 20) % 248 : 1 + (random >> 20) % 12;
        XSendEvent(session.Connection(), session.Window(), False, NoEventMask, &event);
    }
    session.Settle();
    session.Click(session.At().cancel);
    session.Click(session.At().cancel);  // the first may only close what the flood has opened
    const Ending ending = session.End();
    EXPECT_TRUE(EndedWell(ending)) << ToString(ending);
    ExpectFilesKept();
}

// ---- A log that takes no text

// A terminal that nobody reads: the banner fits, and then some, but not what a busy log writes. The administrator's own
// link leads there.
class DeafTerminal {
public:
    explicit DeafTerminal(Machine& machine) : folder_(ScratchFolder() + "/terminals") {
        fs::create_directory(folder_);
        EXPECT_EQ(mount("devpts", folder_.c_str(), "devpts", 0, "newinstance,ptmxmode=0666"), 0);
        end_ = open((folder_ + "/ptmx").c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_EQ(unlockpt(end_), 0);
        machine.Link(place::kLog, folder_ + "/0");
    }
    ~DeafTerminal() {
        close(end_);
        umount2(folder_.c_str(), MNT_DETACH);
    }
    DeafTerminal(const DeafTerminal&) = delete;
    DeafTerminal& operator=(const DeafTerminal&) = delete;

private:
    std::string folder_;
    int end_ = -1;
};

class BusyLog : public Fault {
protected:
    // More than the ring holds: the log is at work from the start on.
    BusyLog() {
        std::string text = global_;
        for (int i = 0; i < 1000; ++i) {
            text += "CamerasConnectedToNode1 = 99\n";
        }
        machine_.Global(text);
    }

    void ExpectGoodEnd(const Rect Layout::*button, bool logIsStuck = false) {
        Session::Options options;
        options.screen = kFullHd;
        options.shim = [logIsStuck](ShimControl& shim) { shim.logIsStuck = logIsStuck ? 1 : 0; };
        Session session(machine_, options);
        session.MoveTo(session.At().*button);
        session.Press();
        const Ending ending = session.End();
        EXPECT_TRUE(EndedWell(ending)) << ToString(ending);
        session.Release();
    }
};

TEST_F(BusyLog, ThatIsStuckHoldsNeitherApplyNorCancelUp) {
    for (int i = 0; i < Times(1); ++i) {
        for (const auto& button : {&Layout::cancel, &Layout::apply}) {
            const DeafTerminal terminal(machine_);
            ExpectGoodEnd(button, true);
        }
    }
    ExpectFilesKept();
}

TEST_F(BusyLog, OnAFullDiskHoldsNothingUp) {
    machine_.Drive(place::kLogDirectory, 8192);
    machine_.Write(place::kLog, std::string(4096, 'x'));
    machine_.Write(place::kLogDirectory + "/filler", std::string(4096, 'y'));
    for (int i = 0; i < Times(1); ++i) {
        ExpectGoodEnd(&Layout::cancel);
        ExpectGoodEnd(&Layout::apply);
    }
    ExpectFilesKept();
    EXPECT_EQ(machine_.Read(place::kLog), std::string(4096, 'x'));
}

TEST_F(BusyLog, WhoseDiskVanishesHoldsNothingUp) {
    machine_.Drive(place::kLogDirectory);
    Session session(machine_, kFullHd);
    ASSERT_EQ(umount2(place::kLogDirectory.c_str(), MNT_DETACH), 0);
    ApplyAndEnd(session);
    ExpectFilesKept();
}

// ---- Odd mounts

TEST_F(Fault, MountPointsWithOddNamesAreOfferedAsTheyAre) {
    const std::vector<std::string> names = {
        "/mnt/tab\there",  "/mnt/back\\slash",  "/mnt/\"quoted\"",  "/mnt/#hash", "/mnt/ leading and trailing ",
        "/mnt/line\nfeed", "/mnt/\xe9\xff\x80", "/mnt/percent%s%n", "/mnt/\\040", "/mnt/" + std::string(200, 'l'),
    };
    machine_.Drives(names);
    Session session(machine_, kFullHd);
    SwitchDrives(session, {0, 5}, session.At().driveOk);
    session.Pick(session.At().generalCombo, 4, static_cast<int>(names.size()));
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("Site A", 2, names[4]));
    EXPECT_EQ(machine_.Local(), LocalFile(2, {names[0], names[5]}));
}

// Intended: the path goes to the file as it is. Whoever may mount can thus add lines, when somebody chooses his mount.
TEST_F(Fault, MountPointWithALineFeedAddsALineToTheFileOnceItIsChosen) {
    const std::string mountPoint = "/mnt/disk\nNodesOffline = 1\n";
    machine_.Drive(mountPoint);
    {
        Session session(machine_, kFullHd);
        ApplyAndEnd(session);
    }
    EXPECT_EQ(machine_.Global(), GlobalFile("Site A", 2, mountPoint));
    EXPECT_NE(machine_.Global().find("\nNodesOffline = 1\n"), std::string::npos);
}

// ---- Planted objects

struct PlantedRow {
    const char* name;
    void (*plant)(Machine& machine);
};

const std::string kVictim = "/root/victim";
const std::string kVictimText = "root's own text\n";

void MakeFifo(const std::string& path) {
    ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
}

void StrangersLink(Machine& machine, const std::string& path) {
    machine.Link(path, kVictim);
    ASSERT_EQ(lchown(path.c_str(), 1001, 1001), 0);
}

class PlantedForm : public Fault, public testing::WithParamInterface<PlantedRow> {};

INSTANTIATE_TEST_SUITE_P(
    At, PlantedForm,
    testing::Values(PlantedRow{"TemporaryNames",
                               [](Machine& machine) {
                                   StrangersLink(machine, place::kGlobal + ".temp");
                                   MakeFifo(place::kLocal + ".tmp");
                               }},
                    PlantedRow{"TheLog", [](Machine& machine) { StrangersLink(machine, place::kLog); }},
                    PlantedRow{"TheAutostartEntry",
                               [](Machine& machine) { StrangersLink(machine, place::kAutostart); }},
                    PlantedRow{"TheAutostartEntryAsAFifo",
                               [](Machine& machine) {
                                   machine.Remove(place::kAutostart);
                                   MakeFifo(place::kAutostart);
                               }},
                    PlantedRow{"DeviceInfo", [](Machine&) { MakeFifo(place::kConfig + "/camera.cfg"); }}),
    [](const auto& row) { return row.param.name; });

TEST_P(PlantedForm, ReachesNothingFromTheStartToTheEndOfApply) {
    machine_.Write(kVictim, kVictimText, 0600);
    machine_.AutostartOn();
    GetParam().plant(machine_);
    Session session(machine_, kFullHd);
    session.Pick(session.At().idCombo, 0, 2);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Read(kVictim), kVictimText);
    EXPECT_EQ(machine_.Mode(kVictim), 0600U);
    EXPECT_EQ(machine_.Global(), global_);
    EXPECT_EQ(machine_.Local(), LocalFile(1, {}));
    EXPECT_FALSE(machine_.IsLink(place::kGlobal));
    EXPECT_FALSE(machine_.Exists(place::kGlobal + ".temp"));
    EXPECT_FALSE(machine_.Exists(place::kLocal + ".tmp"));
}

TEST_F(Fault, FifosInThePlaceOfBothFilesReadAsEmptyAndApplyPutsFilesThere) {
    for (const std::string& path : {place::kGlobal, place::kLocal}) {
        machine_.Remove(path);
        MakeFifo(path);
    }
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("The Recorder", 1, ""));
    EXPECT_EQ(machine_.Local(), LocalFile(1, {}));
}

}  // namespace
}  // namespace gui
