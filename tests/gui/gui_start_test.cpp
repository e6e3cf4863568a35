// The start of the program and its ways to end: directories, log, configuration, font, display, exits.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "Scenario.h"

namespace gui {
namespace {

const std::string kLogMissing = "Log directory doesn not exist. Trying to create...\n";
const std::string kConfigMissing = "Config directory does not exist. Trying to create...\n";
const std::string kNotRoot = "ERROR: To create directories, run with 'sudo' command\n";
const std::string kCreatedLog = "Created directory: /etc/Orvan/Log/Server\n";
const std::string kCreatedConfig = "Created directory: /etc/Orvan/Config/Server\n";
const std::string kNoGlobal = "ERROR: Config: Cannot open config file '/etc/Orvan/Config/Server/global.cfg' (2)\n";
const std::string kNoLocal = "ERROR: Config: Cannot open config file '/etc/Orvan/Config/Server/local.cfg' (2)\n";

class Start : public testing::Test {
protected:
    // Runs the program where it finds no X server and so ends at the scale factor, with all before it done.
    Ending RunWithoutDisplay(bool root = true, std::vector<std::string> arguments = {}) {
        Program::Options options;
        options.root = root;
        options.arguments = std::move(arguments);
        options.shim = [](ShimControl& shim) { shim.tracing = 1; };
        Program program(options);
        const Ending ending = program.End();
        output_ = program.Output();
        trace_ = program.Trace();
        return ending;
    }

    // Runs the program with an X server but to an end of its own.
    Ending RunToItsEnd(const std::function<void(ShimControl&)>& shim = {}, bool root = true) {
        Program::Options options;
        options.root = root;
        options.display = ServerFor(kFullHd).Name();
        options.shim = shim;
        Program program(options);
        const Ending ending = program.End();
        output_ = program.Output();
        return ending;
    }

    // What the program printed, less the lines that the log thread puts between them at its own time.
    std::string OutputWithoutLog() const {
        std::string rest;
        std::size_t at = 0;
        while (at < output_.size()) {
            const std::size_t end = output_.find('\n', at);
            const std::string line = output_.substr(at, end == std::string::npos ? end : end - at + 1);
            if (line.rfind("ERROR: Config:", 0) != 0) {
                rest += line;
            }
            at = end == std::string::npos ? output_.size() : end + 1;
        }
        return rest;
    }

    void GiveToEverybody() {
        // An ordinary user may write the log and the configuration, as an earlier run by root has seen to.
        for (const std::string& folder : {place::kConfig, place::kLogDirectory}) {
            ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
        }
    }

    // As RunToItsEnd, to an end by the way of main, so that nothing printed is lost.
    void RunThroughMain(bool root = true) {
        RunToItsEnd([](ShimControl& shim) { shim.failDisplayCall = 2; }, root);
    }

    Machine machine_;
    std::string output_;
    std::string trace_;
};

// Standard input and outputs.

TEST_F(Start, AStandardOutputThatNobodyReadsAnyMoreIsNoEnd) {
    machine_.Drives({"/mnt/a"});
    Session::Options options;
    options.brokenOutput = true;
    Session session(machine_, options);
    EXPECT_EQ(machine_.Log(), kNoGlobal + kNoLocal + kNoCameraFile);
    CancelAndEnd(session);
}

// Whatever of the three is missing: neither the log nor the connection to the display takes its number.
TEST_F(Start, ClosedStandardDescriptorsTakeNothingIntoTheLogOrTheDisplay) {
    machine_.Drives({"/mnt/a"});
    for (const std::vector<int>& closed : {std::vector<int>{0}, {1}, {2}, {0, 1}, {0, 2}, {1, 2}, {0, 1, 2}}) {
        machine_.Write(place::kLog, "");
        Session::Options options;
        options.closed = closed;
        Session session(machine_, options);
        EXPECT_EQ(machine_.Log(), kNoGlobal + kNoLocal + kNoCameraFile);
        for (const int descriptor : closed) {
            const std::string link =
                "/proc/" + std::to_string(session.Run().Id()) + "/fd/" + std::to_string(descriptor);
            EXPECT_EQ(std::filesystem::read_symlink(link), "/dev/null");
        }
        CancelAndEnd(session);
        EXPECT_EQ(machine_.Log(), kNoGlobal + kNoLocal + kNoCameraFile);
    }
}

// Directories and modes.

TEST_F(Start, WithBothDirectoriesNothingIsPrintedAndNoModeChanges) {
    ASSERT_EQ(chmod(place::kConfig.c_str(), 0750), 0);
    ASSERT_EQ(chmod(place::kLogDirectory.c_str(), 0711), 0);
    RunWithoutDisplay();
    EXPECT_EQ(OutputWithoutLog(), "");
    EXPECT_EQ(machine_.Mode(place::kConfig), 0750U);
    EXPECT_EQ(machine_.Mode(place::kLogDirectory), 0711U);
}

TEST_F(Start, WithBothDirectoriesMissingRootMakesThemOpenToAll) {
    machine_.Remove("/etc/Orvan/Log");
    machine_.Remove("/etc/Orvan/Config");
    RunWithoutDisplay();
    EXPECT_EQ(OutputWithoutLog(), kLogMissing + kConfigMissing + kCreatedLog + kCreatedConfig);
    EXPECT_EQ(machine_.Mode(place::kConfig), 0777U);
    EXPECT_EQ(machine_.Mode(place::kLogDirectory), 0777U);
    EXPECT_EQ(machine_.Mode("/etc/Orvan/Log"), 0755U);
    EXPECT_EQ(machine_.Mode(place::kLog), 0666U);
}

TEST_F(Start, MissingLogDirectoryIsMadeAndBothGetTheirMode) {
    machine_.Remove(place::kLogDirectory);
    ASSERT_EQ(chmod(place::kConfig.c_str(), 0700), 0);
    RunWithoutDisplay();
    EXPECT_EQ(OutputWithoutLog(), kLogMissing + kCreatedLog);
    EXPECT_EQ(machine_.Mode(place::kConfig), 0777U);
    EXPECT_EQ(machine_.Mode(place::kLogDirectory), 0777U);
}

TEST_F(Start, MissingConfigDirectoryIsMadeAndBothGetTheirMode) {
    machine_.Remove(place::kConfig);
    ASSERT_EQ(chmod(place::kLogDirectory.c_str(), 0700), 0);
    RunWithoutDisplay();
    EXPECT_EQ(OutputWithoutLog(), kConfigMissing + kCreatedConfig);
    EXPECT_EQ(machine_.Mode(place::kConfig), 0777U);
    EXPECT_EQ(machine_.Mode(place::kLogDirectory), 0777U);
}

TEST_F(Start, MissingConfigDirectoryWithoutRootIsReportedAndTheFormComesUp) {
    machine_.Remove(place::kConfig);
    ASSERT_EQ(chmod(place::kLogDirectory.c_str(), 0777), 0);
    Session::Options options;
    options.root = false;
    Session session(machine_, options);
    EXPECT_EQ(session.Run().Output().rfind(kConfigMissing + kNotRoot, 0), 0U) << session.Run().Output();
    EXPECT_FALSE(machine_.Exists(place::kConfig));
    CancelAndEnd(session);
}

TEST_F(Start, BothDirectoriesMissingWithoutRootGiveBothLinesAndTheAdvice) {
    machine_.Remove("/etc/Orvan/Log");
    machine_.Remove("/etc/Orvan/Config");
    RunWithoutDisplay(false);
    EXPECT_EQ(OutputWithoutLog(),
              kLogMissing + kConfigMissing + kNotRoot + "Cannot create log file /etc/Orvan/Log/Server/Log.txt (2)\n");
    EXPECT_FALSE(machine_.Exists("/etc/Orvan/Log"));
}

TEST_F(Start, LogFileIsOpenedToAllOnEveryStartAsRoot) {
    machine_.Write(place::kLog, "earlier\n", 0600);
    RunWithoutDisplay();
    EXPECT_EQ(machine_.Mode(place::kLog), 0666U);
}

TEST_F(Start, LogFileKeepsItsModeWithoutRootAndWithoutAMessage) {
    GiveToEverybody();
    machine_.Write(place::kLog, "earlier\n", 0646);
    RunWithoutDisplay(false);
    EXPECT_EQ(machine_.Mode(place::kLog), 0646U);
    EXPECT_EQ(OutputWithoutLog(), "");
    EXPECT_EQ(machine_.Read(place::kLog).rfind("earlier\n", 0), 0U);
}

TEST_F(Start, FileInThePlaceOfTheLogDirectoryCountsAsExisting) {
    machine_.Remove(place::kLogDirectory);
    machine_.Write(place::kLogDirectory, "a file\n");
    RunThroughMain();
    EXPECT_EQ(output_.find(kLogMissing), std::string::npos);
    EXPECT_EQ(output_.rfind("Cannot create log file /etc/Orvan/Log/Server/Log.txt (20)\n", 0), 0U) << output_;
    EXPECT_NE(output_.find(" in SetPermissionsToLogFile\n"), std::string::npos) << output_;
    EXPECT_EQ(machine_.Read(place::kLogDirectory), "a file\n");
}

TEST_F(Start, FailedCreationIsReportedAndTheFormStillComesUp) {
    machine_.Remove(place::kLogDirectory);
    machine_.Remove(place::kConfig);
    machine_.ReadOnly("/etc/Orvan");
    Session session(machine_, kFullHd);
    const std::string output = session.Run().Output();
    EXPECT_EQ(output.rfind(kLogMissing + kConfigMissing, 0), 0U) << output;
    EXPECT_NE(output.find(" in PrepareDirectories\n"), std::string::npos) << output;
    EXPECT_NE(output.find("Read-only file system"), std::string::npos) << output;
    EXPECT_EQ(output.find("Created directory"), std::string::npos) << output;
    CancelAndEnd(session);
}

TEST_F(Start, FailedCreationOfTheLogDirectoryLeavesTheConfigDirectoryMissing) {
    machine_.Remove("/etc/Orvan/Log");
    machine_.Remove(place::kConfig);
    machine_.Write("/etc/Orvan/Log", "a file\n");
    RunThroughMain();
    EXPECT_EQ(output_.rfind(kLogMissing + kConfigMissing, 0), 0U) << output_;
    EXPECT_NE(output_.find(" in PrepareDirectories\n"), std::string::npos) << output_;
    EXPECT_EQ(output_.find("Created directory"), std::string::npos) << output_;
    EXPECT_FALSE(machine_.Exists(place::kConfig));
}

TEST_F(Start, FailedCreationOfTheConfigDirectoryLeavesTheModeOfTheNewLogDirectory) {
    machine_.Remove(place::kLogDirectory);
    machine_.Remove("/etc/Orvan/Config");
    machine_.Write("/etc/Orvan/Config", "a file\n");
    RunThroughMain();
    EXPECT_EQ(output_.rfind(kLogMissing + kConfigMissing + kCreatedLog, 0), 0U) << output_;
    EXPECT_NE(output_.find(" in PrepareDirectories\n"), std::string::npos) << output_;
    EXPECT_EQ(machine_.Mode(place::kLogDirectory), 0755U);
}

TEST_F(Start, FailureIsReportedWithoutAFlush) {
    machine_.Remove(place::kLogDirectory);
    machine_.Write(place::kLogDirectory, "a file\n");
    // There is no log thread that flushes, and the memory fault takes with it what is still buffered.
    EXPECT_EQ(RunWithoutDisplay().signal, SIGSEGV);
    EXPECT_EQ(output_, "Cannot create log file /etc/Orvan/Log/Server/Log.txt (20)\n");
}

TEST_F(Start, LogDirectoryThatCannotBeReachedIsReportedTwiceToAnOrdinaryUser) {
    GiveToEverybody();
    ASSERT_EQ(chmod("/etc/Orvan/Log", 0700), 0);
    RunThroughMain(false);
    const std::size_t prepare = output_.find(" in PrepareDirectories\n");
    EXPECT_NE(prepare, std::string::npos) << output_;
    EXPECT_NE(output_.find(" in SetPermissionsToLogFile\n", prepare), std::string::npos) << output_;
}

TEST_F(Start, MissingLogFileCannotGetItsModeWhichIsReported) {
    machine_.ReadOnly(place::kLogDirectory);
    RunThroughMain();
    EXPECT_EQ(output_.rfind("Cannot create log file /etc/Orvan/Log/Server/Log.txt (30)\n", 0), 0U) << output_;
    EXPECT_NE(output_.find(" in SetPermissionsToLogFile\n"), std::string::npos) << output_;
    EXPECT_NE(output_.find("[/etc/Orvan/Log/Server/Log.txt]"), std::string::npos) << output_;
}

TEST_F(Start, FolderInTheLogFilesPlaceStopsTheLogAndKeepsItsMode) {
    machine_.Write(place::kLog + "/inside", "");
    RunThroughMain();
    EXPECT_EQ(OutputWithoutLog().rfind("Cannot create log file /etc/Orvan/Log/Server/Log.txt (21)\n"
                                       "filesystem error: cannot set permissions: Is a directory "
                                       "[/etc/Orvan/Log/Server/Log.txt] in SetPermissionsToLogFile\n",
                                       0),
              0U)
        << output_;
    EXPECT_EQ(machine_.Mode(place::kLog), 0755U);
}

// Without a display.

TEST_F(Start, WithoutADisplayAMemoryFaultFollowsDirectoriesLogAndConfiguration) {
    machine_.Remove("/etc/Orvan/Log");
    machine_.Remove("/etc/Orvan/Config");
    const Ending ending = RunWithoutDisplay();
    EXPECT_EQ(ending.signal, SIGSEGV) << ToString(ending);
    EXPECT_TRUE(machine_.Exists(place::kConfig));
    EXPECT_TRUE(machine_.Exists(place::kLog));
    const std::string log = machine_.Log();
    // The log thread may not have got to the last lines; what it wrote is the beginning of this.
    EXPECT_EQ((kNoGlobal + kNoLocal + kNoCameraFile).rfind(log, 0), 0U) << log;
}

TEST_F(Start, WithoutADisplayTheThreeFilesHaveBeenReadInTheirOrder) {
    machine_.Global(GlobalFile("Site A", 1, ""));
    machine_.Local(LocalFile(1, {}));
    EXPECT_EQ(RunWithoutDisplay().signal, SIGSEGV);
    std::size_t at = 0;
    for (const char* name : {"global.cfg", "local.cfg", "camera.cfg"}) {
        at = trace_.find("open " + place::kConfig + "/" + name + "\n", at);
        ASSERT_NE(at, std::string::npos) << name << " in\n" << trace_;
    }
    EXPECT_NE(trace_.find("XOpenDisplay", at), std::string::npos) << trace_;
}

TEST_F(Start, WithoutADisplayTheFontsStatusIsAskedForBeforeTheDisplay) {
    machine_.Link(place::kFont, place::kFont);
    EXPECT_EQ(RunWithoutDisplay().signal, SIGABRT);
}

TEST_F(Start, WithoutADisplayNoLineOfItsOwnIsLogged) {
    machine_.Global(GlobalFile("Site A", 1, ""));
    machine_.Local(LocalFile(1, {}));
    RunWithoutDisplay();
    EXPECT_EQ(OutputWithoutLog(), "");
    EXPECT_EQ(machine_.Log().find("display"), std::string::npos);
}

TEST_F(Start, SecondConnectionThatFailsIsLoggedAndEndsWithStatusZero) {
    const Ending ending = RunToItsEnd([](ShimControl& shim) { shim.failDisplayCall = 2; });
    EXPECT_TRUE(EndedWell(ending)) << ToString(ending);
    EXPECT_EQ(machine_.Log(), kNoGlobal + kNoLocal + kNoCameraFile +
                                  "ERROR: Failed to open X display\n\nERROR: Failed to initialize\n");
}

// Arguments.

TEST_F(Start, ArgumentsChangeNothing) {
    machine_.Global(GlobalFile("Site A", 2, ""));
    Session::Options options;
    options.arguments = {"--help", "-c", "/nowhere/global.cfg", ""};
    Session session(machine_, options);
    EXPECT_TRUE(session.Reads(session.At().FieldText(), "Site A", colour::kControl));
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("Site A", 2, ""));
}

// Screens.

TEST_F(Start, WideScreenKeepsTheFactorOne) {
    Session session(machine_, Screen{3840, 1080});
    EXPECT_EQ(session.Place().w, 700);
    EXPECT_EQ(session.Place().h, 450);
    EXPECT_TRUE(session.Reads(session.At().FieldText(), "The Recorder", colour::kControl));
}

TEST_F(Start, ScreenBelowTheReferenceSizeKeepsTheFactorOne) {
    Session session(machine_, Screen{1024, 768});
    EXPECT_EQ(session.Place().w, 700);
    EXPECT_EQ(session.Place().h, 450);
    EXPECT_EQ(session.Place().x, 162);
    EXPECT_EQ(session.Place().y, 159);
}

TEST_F(Start, LaptopScreenHasTheWindowAtItsRoundedDownCentre) {
    Session session(machine_, Screen{1366, 768});
    EXPECT_EQ(session.Place().w, 700);
    EXPECT_EQ(session.Place().x, 333);
    EXPECT_EQ(session.Place().y, 159);
}

TEST_F(Start, ScreenSmallerThanTheWindowPlacesItOutside) {
    Session session(machine_, Screen{640, 400});
    EXPECT_EQ(session.Place().x, -30);
    EXPECT_EQ(session.Place().y, -25);
    EXPECT_EQ(session.Place().w, 700);
}

// The font.

TEST_F(Start, MissingFontIsAMemoryFaultAtTheFirstFrameWithoutALogLine) {
    machine_.Remove(place::kFont);
    const Ending ending = RunToItsEnd();
    EXPECT_EQ(ending.signal, SIGSEGV) << ToString(ending);
    EXPECT_EQ(machine_.Log(), kNoGlobal + kNoLocal + kNoCameraFile);
}

TEST_F(Start, FontElsewhereIsNotLookedFor) {
    machine_.Write("/etc/Orvan/Assets/Roboto-Regular.ttf", machine_.Read(place::kFont));
    machine_.Write("/etc/Orvan/Assets/Fonts/Roboto-Bold.ttf", machine_.Read(place::kFont));
    machine_.Remove(place::kFont);
    EXPECT_EQ(RunToItsEnd().signal, SIGSEGV);
}

TEST_F(Start, FolderInTheFontsPlaceCountsAsPresent) {
    machine_.Remove(place::kFont);
    machine_.Write(place::kFont + "/inside", "");
    Program::Options options;
    options.display = ServerFor(kFullHd).Name();
    options.shim = [](ShimControl& shim) { shim.tracing = 1; };
    Program program(options);
    program.End();
    // Its path goes on to the window layer, which opens the folder as a font file.
    EXPECT_NE(program.Trace().find("fopen " + place::kFont + "\n"), std::string::npos);
}

TEST_F(Start, MissingFontHandsOnAnEmptyPath) {
    machine_.Remove(place::kFont);
    Program::Options options;
    options.display = ServerFor(kFullHd).Name();
    options.shim = [](ShimControl& shim) { shim.tracing = 1; };
    Program program(options);
    program.End();
    EXPECT_NE(program.Trace().find("fopen \n"), std::string::npos);
    EXPECT_EQ(program.Trace().find("fopen /etc/Orvan/Assets"), std::string::npos);
}

TEST_F(Start, FontStatusThatCannotBeReadEndsTheProcessUncaught) {
    // Links that lead to each other: an error other than a missing file.
    machine_.Link(place::kFont, place::kFont);
    const Ending ending = RunToItsEnd();
    EXPECT_EQ(ending.signal, SIGABRT) << ToString(ending);
}

// The dialog's start.

TEST_F(Start, AutostartStatusThatCannotBeReadFailsTheDialog) {
    machine_.Link(place::kAutostart, place::kAutostart);
    const Ending ending = RunToItsEnd();
    EXPECT_TRUE(EndedWell(ending)) << ToString(ending);
    EXPECT_EQ(machine_.Log(),
              kNoGlobal + kNoLocal + kNoCameraFile + "ERROR: Failed to init dialog\nERROR: Failed to initialize\n");
}

TEST_F(Start, AutostartFolderThatCannotBeSearchedFailsTheDialogOfAnOrdinaryUser) {
    GiveToEverybody();
    ASSERT_EQ(chmod("/etc/xdg/autostart", 0700), 0);
    Program::Options options;
    options.display = ServerFor(kFullHd).Name();
    options.root = false;
    Program program(options);
    const Ending ending = program.End();
    ASSERT_EQ(chmod("/etc/xdg/autostart", 0755), 0);
    EXPECT_TRUE(EndedWell(ending)) << ToString(ending);
    EXPECT_NE(machine_.Log().find("ERROR: Failed to init dialog\nERROR: Failed to initialize\n"), std::string::npos);
}

TEST_F(Start, GeneralPathOf511CharactersIsTaken) {
    machine_.Global(GlobalFile("Site A", 1, "/" + std::string(509, 'x') + "/"));
    machine_.Drive("/mnt/a");
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().ComboText(session.At().generalCombo), "/mnt/a", colour::kControl));
}

TEST_F(Start, GeneralPathOf512CharactersEndsTheProcessAbnormallyWithoutALogLine) {
    machine_.Global(GlobalFile("Site A", 1, "/" + std::string(510, 'x') + "/"));
    machine_.Local(LocalFile(1, {}));
    Program::Options options;
    options.display = ServerFor(kFullHd).Name();
    Program program(options);
    const Ending ending = program.End();
    EXPECT_FALSE(ending.normal) << ToString(ending);
    EXPECT_EQ(program.Shim().frames.load(), 0U);
    EXPECT_EQ(machine_.Log(), kNoCameraFile);
}

TEST_F(Start, GeneralPathOf1023CharactersEndsTheProcessAbnormally) {
    machine_.Global(GlobalFile("Site A", 1, "/" + std::string(1021, 'x') + "/"));
    EXPECT_FALSE(RunToItsEnd().normal);
}

TEST_F(Start, BadNumberInTheOfflineListIsReportedForEverAndTheLogRotates) {
    machine_.Global("ClusterName = \"Site A\"\nNodeCount = 1\nNodesOffline = 65\n");
    Program::Options options;
    options.display = ServerFor(kFullHd).Name();
    Program program(options);
    program.Await([this] { return machine_.Exists(place::kOldLog); }, "the rotation of the log");
    EXPECT_TRUE(program.Running());
    EXPECT_EQ(program.Shim().frames.load(), 0U);
    program.Kill();
    const std::string line = "ERROR: Config: Invalid node  number in offline list (65)\n";
    const std::string old = machine_.Read(place::kOldLog);
    EXPECT_NE(old.find("-----\n\n" + line + line), std::string::npos);
    EXPECT_GT(old.size(), 4194304U);
}

TEST_F(Start, ConfigurationIsNotReadAgainWhileTheFormIsUp) {
    machine_.Global(GlobalFile("Site A", 1, ""));
    machine_.Local(LocalFile(1, {}));
    Session session(machine_, kFullHd);
    machine_.Global(GlobalFile("Changed meanwhile", 7, ""));
    session.Settle();
    EXPECT_TRUE(session.Reads(session.At().FieldText(), "Site A", colour::kControl));
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("Site A", 1, ""));
}

// The ways out.

// What the program did last after the closing message, as many characters of it as are expected.
std::string LastOfTheTrace(Session& session, const std::string& expected) {
    session.SendClientMessage("WM_PROTOCOLS");
    EXPECT_TRUE(EndedWell(session.End()));
    const std::string trace = session.Run().Trace();
    return trace.size() < expected.size() ? trace : trace.substr(trace.size() - expected.size());
}

TEST_F(Start, ClosingTheWindowRunsTheShutdownOfMain) {
    Session::Options options;
    options.shim = [](ShimControl& shim) { shim.tracing = 1; };
    Session session(machine_, options);
    // The closing of the log, seen at the layer below it, comes behind the whole teardown of the window.
    const std::string end = "XCloseDisplay\nOS_WaitForThreadToFinishWithTimeout 2000\nOS_DeleteGuardedCodeSection\n";
    EXPECT_EQ(LastOfTheTrace(session, end), end);
}

#ifndef GUI_SANITIZED
TEST_F(Start, ClosingTheWindowReleasesTheFormAndTheConfigurationBeforeTheLogIsClosed) {
    Session::Options options;
    options.shim = [](ShimControl& shim) {
        shim.tracing = 1;
        shim.tracedDeletes = 1;
    };
    Session session(machine_, options);
    // The first array is the form's list of numbers, the second one the configuration's list of names.
    const std::string end =
        "XCloseDisplay\ndelete[]\ndelete[]\nOS_WaitForThreadToFinishWithTimeout 2000\nOS_DeleteGuardedCodeSection\n";
    EXPECT_EQ(LastOfTheTrace(session, end), end);
}
#endif

TEST_F(Start, CancelRunsNoShutdown) {
    Session::Options options;
    options.shim = [](ShimControl& shim) { shim.tracing = 1; };
    Session session(machine_, options);
    CancelAndEnd(session);
    const std::string trace = session.Run().Trace();
    for (const char* call : {"XCloseDisplay", "glXDestroyContext", "XDestroyWindow",
                             "OS_WaitForThreadToFinishWithTimeout", "OS_DeleteGuardedCodeSection"}) {
        EXPECT_EQ(trace.find(call), std::string::npos) << call;
    }
}

// exit() from inside a frame, with the log thread and the GL still alive, again and again. Where the thread stands
// differs from run to run. In several rounds, so that each of them ends soon enough where programs run slowly.
constexpr int kRounds = 6;
constexpr int kRepetitions = 25;

class ExitInsideAFrame : public Start, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Round, ExitInsideAFrame, testing::Range(1, kRounds + 1));

TEST_P(ExitInsideAFrame, OfCancelEndsWellEveryTime) {
    for (int i = 0; i < kRepetitions; ++i) {
        Session session(machine_, kFullHd);
        session.MoveTo(session.At().cancel);
        session.Press();
        const Ending ending = session.End();
        ASSERT_TRUE(EndedWell(ending)) << ToString(ending) << " in run " << i;
        session.Release();
    }
}

TEST_P(ExitInsideAFrame, OfApplyEndsWellEveryTimeAndKeepsTheFiles) {
    const std::string global = GlobalFile("Site A", 2, "");
    const std::string local = LocalFile(2, {});
    machine_.Global(global);
    machine_.Local(local);
    for (int i = 0; i < kRepetitions; ++i) {
        Session session(machine_, kFullHd);
        session.MoveTo(session.At().apply);
        session.Press();
        const Ending ending = session.End();
        ASSERT_TRUE(EndedWell(ending)) << ToString(ending) << " in run " << i;
        session.Release();
        ASSERT_EQ(machine_.Global(), global) << "in run " << i;
        ASSERT_EQ(machine_.Local(), local) << "in run " << i;
    }
}

}  // namespace
}  // namespace gui
