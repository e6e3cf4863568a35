// What the checker touches, and that it leaves nothing behind: odd files in place of the two, little room, outputs that
// take no text, interruptions.
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <regex>

#include "CP_Linux/PrivateMounts.h"
#include "check/CheckRun.h"
#include "support/Child.h"

namespace fs = std::filesystem;
using test_support::ReadFile;
using test_support::WriteFile;

namespace {

using CheckPlace = CheckTest;

// ---- Odd files

void PutPair(const CheckTest& test, int file, const std::string& instead) {
    test.Put("global.cfg", file == 0 ? instead : kCleanGlobal);
    test.Put("local.cfg", file == 1 ? instead : kCleanLocal);
}

// Of a text output, without its last line.
std::string DiffsOf(const std::string& text) {
    const std::size_t begin = text.find("--- ");
    EXPECT_NE(begin, std::string::npos) << text;
    return text.substr(begin, text.rfind("broken: ") - begin);
}

// What stands in the file's place is told like an empty file, with one more finding.
void ExpectReadsAsEmpty(const CheckTest& test, int file) {
    const nlohmann::json object = test.Json(2);
    const char* name = file == 0 ? "global.cfg" : "local.cfg";
    EXPECT_EQ(object["verdict"], "broken");
    EXPECT_EQ(object["start"], "form");
    EXPECT_EQ(object["files"][static_cast<std::size_t>(file)]["load"], 0);
    EXPECT_EQ(object["files"][static_cast<std::size_t>(file)]["messages"][0]["text"],
              file == 0 ? "Config: 'ClusterName' is not defined" : "Config: 'NodeID' is not defined");
    EXPECT_EQ(object["findings"][0]["text"], "'" + test.Path(name) + "' is no file but a FIFO or a device");
    const nlohmann::json changed = object["apply"]["changed"];
    EXPECT_NE(std::find(changed.begin(), changed.end(), name), changed.end()) << changed;
    const std::string diffs = DiffsOf(test.Text(2));
    fs::remove(test.Path(name));
    test.Put(name, "");
    EXPECT_EQ(diffs, DiffsOf(test.Text(2)));
    const nlohmann::json empty = test.Json(2);
    EXPECT_EQ(object["apply"], empty["apply"]);
    EXPECT_EQ(object["findings"].size(), empty["findings"].size() + 1);
}

TEST_F(CheckPlace, NeverWaitsOnAFifoAndTakesItForAnEmptyFile) {
    for (int file = 0; file < 2; ++file) {
        PutPair(*this, file, "");
        const std::string path = Path(file == 0 ? "global.cfg" : "local.cfg");
        fs::remove(path);
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        ExpectReadsAsEmpty(*this, file);
    }
}

TEST_F(CheckPlace, NeverOpensADeviceBehindALinkAndTakesItForAnEmptyFile) {
    for (const char* device : {"/dev/zero", "/dev/tty", "/dev/ptmx", "/dev/null"}) {
        PutPair(*this, 1, "");
        fs::remove(Path("local.cfg"));
        fs::create_symlink(device, Path("local.cfg"));
        ExpectReadsAsEmpty(*this, 1);
    }
}

TEST_F(CheckPlace, FindsAFolderInAFilesPlaceAsTheReadersDoAndKeepsIt) {
    Put("local.cfg", kCleanLocal);
    fs::create_directory(Path("global.cfg"));
    const nlohmann::json object = Json(2);
    EXPECT_EQ(object["files"][0]["messages"][0]["text"], "Config: 'ClusterName' is not defined");
    EXPECT_EQ(object["apply"]["changed"], nlohmann::json::array({"local.cfg"}));
    EXPECT_EQ(object["findings"][0]["text"],
              "\"Apply\" could not write global.cfg and would leave global.cfg.temp behind");
}

TEST_F(CheckPlace, FindsASocketAndALinkToItselfAsTheReadersDo) {
    const int server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(Path("global.cfg").size(), sizeof address.sun_path);
    Path("global.cfg").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(server, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    fs::create_symlink("local.cfg", Path("local.cfg"));
    const nlohmann::json files = Json(2)["files"];
    EXPECT_EQ(files[0]["messages"][0]["text"], "Config: Cannot open config file '" + Path("global.cfg") + "' (6)");
    EXPECT_EQ(files[1]["messages"][0]["text"], "Config: Cannot open config file '" + Path("local.cfg") + "' (40)");
    close(server);
}

TEST_F(CheckPlace, FollowsLinksToFiles) {
    PutBoth(kCleanGlobal, "");
    Put("elsewhere", kCleanLocal);
    fs::remove(Path("local.cfg"));
    fs::create_symlink("elsewhere", Path("local.cfg"));
    EXPECT_EQ(Text(0), "clean\n");
}

TEST_F(CheckPlace, ReadsNoFileOfMoreThan64MiB) {
    PutBoth(kCleanGlobal, kCleanLocal);
    fs::resize_file(Path("local.cfg"), std::uintmax_t{1} << 40);
    const CheckResult result = Check();
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "vesmara-check: '" + Path("local.cfg") + "' is larger than 64 MiB\n");
}

// The checker as another user, from a copy that this user may run.
TEST_F(CheckPlace, SaysOfAFolderThatTheUserMayNotReadWhatTheReadersWouldSay) {
    PutBoth(kCleanGlobal, kCleanLocal);
    const test_support::TempDir programs;
    const fs::path program = CHECK_PROGRAM;
    fs::copy(program, programs.File("vesmara-check"));
    fs::copy(program.parent_path() / "libOsLayer.so", programs.File("libOsLayer.so"));
    chmod(programs.Path().c_str(), 0755);
    const std::string temporary = programs.MakeDir("tmp");
    chmod(temporary.c_str(), 0777);
    const auto asNobody = [] {
        if (setgid(65534) != 0 || setuid(65534) != 0) {
            _exit(125);
        }
    };
    const CheckResult result = CheckProcess({"--json", "--directory=" + Config(), "--mtab=/dev/null"}, temporary,
                                            asNobody, programs.File("vesmara-check"))
                                   .Wait();
    EXPECT_EQ(result.status, 2) << result.err;
    const nlohmann::json object = nlohmann::json::parse(result.out, nullptr, false);
    EXPECT_EQ(object["files"][0]["messages"][0]["text"],
              "Config: Cannot open config file '" + Path("global.cfg") + "' (13)");
    EXPECT_TRUE(fs::is_empty(temporary));
}

// ---- The temporary folder

void ExpectNotChecked(const CheckResult& result, const std::string& sentence) {
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "vesmara-check: " + sentence + "\n");
}

TEST_F(CheckPlace, DoesNotFallBackToAnotherTemporaryFolder) {
    PutBoth(kCleanGlobal, kCleanLocal);
    const CheckResult missing = CheckProcess({"--directory=" + Config()}, "/nowhere").Wait();
    ExpectNotChecked(
        missing, "no place for the temporary files: no folder can be made in '/nowhere' (No such file or directory)");
    const CheckResult file = CheckProcess({"--directory=" + Config()}, MountTable()).Wait();
    ExpectNotChecked(
        file, "no place for the temporary files: no folder can be made in '" + MountTable() + "' (Not a directory)");
    const CheckResult tooLong = CheckProcess({"--directory=" + Config()}, "/" + std::string(900, 'x')).Wait();
    ExpectNotChecked(tooLong, "no place for the temporary files: the path of TMPDIR is too long");
}

TEST_F(CheckPlace, NeedsATemporaryFolderThatCanBeWrittenTo) {
    PutBoth(kCleanGlobal, kCleanLocal);
    EXPECT_TRUE(PassesWithPrivateMounts([this] {
        ASSERT_EQ(mount("tmpfs", Temporary().c_str(), "tmpfs", MS_RDONLY, ""), 0);
        ExpectNotChecked(Check(), "no place for the temporary files: no folder can be made in '" + Temporary() +
                                      "' (Read-only file system)");
    }));
}

// With little room either nothing is said of the files or all of it is right.
TEST_F(CheckPlace, NeverMistakesAFullDiskForAFileThatWouldChange) {
    std::string local = kCleanLocal;
    for (int i = 0; i < 40; ++i) {
        local += "CameraStreamPluginName = \"" + std::string(1000, 'x') + "\"\n";
    }
    PutBoth(kCleanGlobal, local + "[Foo]\n");
    const CheckResult whole = Check();
    EXPECT_EQ(whole.status, 1);
    EXPECT_TRUE(PassesWithPrivateMounts([&] {
        bool refused = false;
        bool done = false;
        for (int pages = 1; pages < 64 && !done; ++pages) {
            const std::string size = "size=" + std::to_string(4 * pages) + "k";
            ASSERT_EQ(mount("tmpfs", Temporary().c_str(), "tmpfs", 0, size.c_str()), 0);
            const CheckResult result = Check();
            EXPECT_TRUE(fs::is_empty(Temporary())) << size;
            if (result.status == 3) {
                refused = true;
                ExpectNotChecked(result,
                                 "no place for the temporary files: a file cannot be written "
                                 "(No space left on device)");
            } else {
                done = true;
                EXPECT_EQ(result.out, whole.out) << size;
            }
            umount(Temporary().c_str());
        }
        EXPECT_TRUE(refused);
        EXPECT_TRUE(done);
    }));
}

TEST_F(CheckPlace, KeepsItsFolderToItself) {
    // A file that takes long enough for a look at the folder while it is checked.
    PutBoth(kCleanGlobal, kCleanLocal + std::string(1 << 22, '\n'));
    CheckProcess process({"--directory=" + Config(), "--mtab=" + MountTable()}, Temporary(), [] { umask(0); });
    while (fs::is_empty(Temporary())) {
        sched_yield();
    }
    for (const auto& entry : fs::directory_iterator(Temporary())) {
        EXPECT_EQ(entry.status().permissions(), fs::perms::owner_all);
    }
    EXPECT_EQ(process.Wait().status, 0);
    EXPECT_TRUE(fs::is_empty(Temporary()));
}

// ---- Outputs

TEST_F(CheckPlace, NeedsAnOutputThatTakesText) {
    PutBoth(kCleanGlobal, kCleanLocal);
    const std::string full = "the standard output takes no text (No space left on device)";
    const auto toFull = [] {
        const int device = open("/dev/full", O_WRONLY);
        dup2(device, STDOUT_FILENO);
        close(device);
    };
    ExpectNotChecked(Check({}, toFull), full);
    ExpectNotChecked(Check({"--json"}, toFull), full);
    ExpectNotChecked(Check({"--help"}, toFull), full);
    ExpectNotChecked(Check({"--version"}, toFull), full);
    ExpectNotChecked(Check({}, [] { close(STDOUT_FILENO); }), "the standard output is closed");
    ExpectNotChecked(Check({},
                           [] {
                               int ends[2];
                               ASSERT_EQ(pipe(ends), 0);
                               close(ends[0]);
                               dup2(ends[1], STDOUT_FILENO);
                           }),
                     "the standard output takes no text (Broken pipe)");
}

TEST_F(CheckPlace, WorksWithoutStandardInputAndStandardError) {
    PutBoth(kCleanGlobal, kCleanLocal);
    const CheckResult result = Check({}, [] {
        close(STDIN_FILENO);
        close(STDERR_FILENO);
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "clean\n");
}

// ---- Interruptions

// At ever later moments from the start on, up to the end of the run.
void ExpectNothingLeftAfter(const CheckTest& test, int signal) {
    bool ended = false;
    bool interrupted = false;
    for (unsigned int turns = 0; !ended; turns += 1 + turns / 2) {
        CheckProcess process({"--directory=" + test.Config(), "--mtab=" + test.MountTable()}, test.Temporary());
        for (unsigned int i = 0; i < turns; ++i) {
            sched_yield();
        }
        process.Kill(signal);
        const CheckResult result = process.Wait();
        EXPECT_TRUE(fs::is_empty(test.Temporary())) << "after " << turns;
        EXPECT_TRUE(result.signal == signal || result.status == 1) << result.status;
        EXPECT_TRUE(result.signal == 0 || result.err.empty());
        interrupted = interrupted || result.signal == signal;
        ended = result.status == 1;
    }
    EXPECT_TRUE(interrupted);
}

TEST_F(CheckPlace, LeavesNothingBehindWhenASignalEndsItAtAnyMoment) {
    PutBoth(kCleanGlobal, std::string(kCleanLocal) + "[Foo]\n");
    const std::string before = Snapshot();
    for (const int signal : {SIGINT, SIGTERM}) {
        ExpectNothingLeftAfter(*this, signal);
    }
    EXPECT_EQ(Snapshot(), before);
}

TEST_F(CheckPlace, LeavesNothingBehindWhenASignalEndsItInTheMiddle) {
    PutBoth(kCleanGlobal, kCleanLocal + std::string(1 << 25, '\n') + "[Foo]\n");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        CheckProcess process({"--directory=" + Config(), "--mtab=" + MountTable()}, Temporary());
        while (fs::is_empty(Temporary())) {
            sched_yield();
        }
        process.Kill(signal);
        EXPECT_EQ(process.Wait().signal, signal);
        EXPECT_TRUE(fs::is_empty(Temporary()));
    }
}

TEST_F(CheckPlace, IsNotEndedByASignalThatItWasStartedToIgnore) {
    PutBoth(kCleanGlobal, kCleanLocal + std::string(1 << 22, '\n'));
    CheckProcess process({"--directory=" + Config(), "--mtab=" + MountTable(), "--quiet"}, Temporary(),
                         [] { std::signal(SIGINT, SIG_IGN); });
    while (fs::is_empty(Temporary())) {
        sched_yield();
    }
    process.Kill(SIGINT);
    const CheckResult result = process.Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "clean\n");
}

// ---- System calls

// The calls that write, make, remove or change something, without those on the checker's own folder.
std::string ForeignWrites(const std::string& trace, const std::string& temporary) {
    const std::regex writes(
        "O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|(^|\\s)(mkdir|rmdir|unlink|rename|link|symlink|mknod|chmod|fchmod|chown|"
        "fchown|"
        "truncate|ftruncate|utime|setxattr|mount|creat|mkdirat|unlinkat|renameat2?|linkat|symlinkat|fchmodat|fchownat)"
        "\\(");
    std::string foreign;
    std::ifstream file(trace);
    for (std::string line; std::getline(file, line);) {
        if (std::regex_search(line, writes) && line.find(temporary + "/vesmara-check.") == std::string::npos) {
            foreign += line + "\n";
        }
    }
    return foreign;
}

TEST_F(CheckPlace, WritesAndRemovesNothingOutsideOfItsFolderAndNeedsNoNetwork) {
    PutBoth(kCleanGlobal, std::string(kCleanLocal) + "[Foo]\n");
    const test_support::TempDir place;
    for (const char* option : std::initializer_list<const char*>{"--json", "--quiet", nullptr}) {
        const std::string trace = place.File("trace");
        std::vector<std::string> arguments = {"-f",
                                              "-o",
                                              trace,
                                              "-e",
                                              "trace=%file,%desc,%network,%process",
                                              CHECK_PROGRAM,
                                              "--directory=" + Config(),
                                              "--mtab=" + MountTable()};
        if (option != nullptr) {
            arguments.emplace_back(option);
        }
        const CheckResult result = CheckProcess(arguments, Temporary(), {}, "/usr/bin/strace").Wait();
        ASSERT_EQ(result.status, 1) << result.err;
        const std::string calls = ReadFile(trace);
        ASSERT_NE(calls.find("rename("), std::string::npos) << "the savers were not seen";
        // Below the checker's own folder a path from unlinkat is relative to it: the folder is named by its descriptor.
        const std::regex relative("[^\\n]*(unlinkat|rmdir)\\([^/\\n]*\\n");
        test_support::WriteFile(trace, std::regex_replace(calls, relative, ""));
        EXPECT_EQ(ForeignWrites(trace, Temporary()), "");
        EXPECT_EQ(calls.find("socket("), std::string::npos);
        EXPECT_EQ(calls.find("/etc/Orvan"), std::string::npos);
    }
}

// ---- The program's own folder

void WithOwnFolder(const std::function<void()>& checks) {
    EXPECT_TRUE(PassesWithPrivateMounts([&] {
        MountMemory("/usr/share/applications", "tmpfs", "1m");
        fs::create_directories("/etc/Orvan/Config/Server");
        fs::create_directories("/etc/xdg/autostart");
        WriteFile("/etc/Orvan/Config/Server/global.cfg", kCleanGlobal);
        WriteFile("/etc/Orvan/Config/Server/local.cfg", kCleanLocal);
        WriteFile("/etc/mtab", "/dev/a /mnt/a x rw 0 0\n/dev/b /mnt/b x rw 0 0\n/dev/c /mnt/c x rw 0 0\n");
        checks();
    }));
}

constexpr char kStart[] = "/usr/share/applications/StartRecordingServer.desktop";
constexpr char kAutostart[] = "/etc/xdg/autostart/StartRecordingServer.desktop";

// What the check says of the autostart entry, by whichever way the folder is named.
void ExpectAutostart(const CheckTest& test, int status, const char* expected) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"--json"}, {"--json", "--directory=/etc/Orvan/Config/Server/"}}) {
        const CheckResult result = CheckProcess(arguments, test.Temporary()).Wait();
        EXPECT_EQ(result.status, status) << result.out << result.err;
        EXPECT_EQ(nlohmann::json::parse(result.out, nullptr, false)["apply"]["autostart"], expected);
    }
}

TEST_F(CheckPlace, OfTheProgramSaysWhatBecomesOfTheAutostartEntry) {
    WithOwnFolder([this] {
        ExpectAutostart(*this, 0, "unchanged");
        WriteFile(kStart, "[Desktop Entry]\n");
        ExpectAutostart(*this, 0, "unchanged");
        WriteFile(kAutostart, "[Desktop Entry]\n");
        ExpectAutostart(*this, 0, "unchanged");
        WriteFile(kAutostart, "edited\n");
        ExpectAutostart(*this, 0, "replaced");
        fs::create_hard_link(kAutostart, std::string(kAutostart) + ".second");
        ExpectAutostart(*this, 0, "unchanged");
        fs::remove(std::string(kAutostart) + ".second");
        fs::remove(kStart);
        ExpectAutostart(*this, 1, "emptied");
        WriteFile(kAutostart, "");
        ExpectAutostart(*this, 0, "unchanged");
        fs::remove(kAutostart);
        WriteFile(kStart, "[Desktop Entry]\n");
        fs::create_symlink("/dev/null", kAutostart);
        ExpectAutostart(*this, 0, "unchanged");
        fs::remove(kAutostart);
        fs::create_symlink(kStart, kAutostart);
        ExpectAutostart(*this, 1, "emptied");
        EXPECT_EQ(lchown(kAutostart, 1000, 1000), 0);
        ExpectAutostart(*this, 0, "unchanged");
        fs::remove(kStart);
        ExpectAutostart(*this, 1, "removed");
    });
}

TEST_F(CheckPlace, OfTheProgramIsBrokenWhereTheAutostartEntryCannotBeLookedAt) {
    WithOwnFolder([this] {
        fs::create_symlink(kAutostart, kAutostart);
        const CheckResult result = CheckProcess({"--json"}, Temporary()).Wait();
        EXPECT_EQ(result.status, 2);
        const nlohmann::json object = nlohmann::json::parse(result.out, nullptr, false);
        EXPECT_EQ(object["start"], "dialog-failed");
        EXPECT_EQ(object["apply"]["result"], "unreachable");
        // Another folder is not checked for this machine's form alone.
        EXPECT_EQ(CheckProcess({"--directory=/etc/Orvan/Config/Server/../Server"}, Temporary()).Wait().status, 0);
    });
}

TEST_F(CheckPlace, OfTheProgramIsFoundWithoutOptionsAndWithoutAMountTable) {
    WithOwnFolder([this] {
        EXPECT_EQ(CheckProcess({}, Temporary()).Wait().out, "clean\n");
        fs::remove("/etc/mtab");
        const CheckResult result = CheckProcess({"--json"}, Temporary()).Wait();
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(nlohmann::json::parse(result.out, nullptr, false)["storages"][2]["mounted"], false);
    });
}

// ---- The mount table and the command line

TEST_F(CheckPlace, NeedsTheMountTableThatItIsGiven) {
    PutBoth(kCleanGlobal, kCleanLocal);
    ExpectNotChecked(Check({"--mtab=/nowhere"}),
                     "the mount table '/nowhere' cannot be read (No such file or directory)");
    ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
    ExpectNotChecked(Check({"--mtab=" + Path("fifo")}),
                     "the mount table '" + Path("fifo") + "' cannot be read (no regular file)");
    ExpectNotChecked(Check({"--mtab=" + Config()}),
                     "the mount table '" + Config() + "' cannot be read (no regular file)");
}

TEST_F(CheckPlace, TakesTheDrivesFromTheTableAsTheFormDoes) {
    PutBoth(kCleanGlobal, kCleanLocal);
    WriteFile(MountTable(),
              "# none\n/dev/1 /srv/x ext4 rw 0 0\n/dev/2 /mnt/a ext4\n/dev/3 /mnt/b nfs ro\n/dev/4 /mnt/c x\n");
    EXPECT_EQ(Text(0), "clean\n");
    EXPECT_EQ(Check({"--mtab=/dev/null"}).status, 1);
}

TEST_F(CheckPlace, IsToldApartFromWrongUsage) {
    PutBoth(kCleanGlobal, kCleanLocal);
    const std::pair<const char*, const char*> rows[] = {
        {"--nothing", "unknown argument '--nothing'; --help tells the options"},
        {"config", "unknown argument 'config'; --help tells the options"},
        {"", "unknown argument ''; --help tells the options"},
        {"-h", "unknown argument '-h'; --help tells the options"},
        {"--directory", "--directory needs a value, as in --directory=PATH; --help tells the options"},
        {"--mtab=", "--mtab needs a value, as in --mtab=PATH; --help tells the options"},
        {"--json=1", "--json takes no value; --help tells the options"},
    };
    for (const auto& [argument, sentence] : rows) {
        ExpectNotChecked(Check({argument}), sentence);
    }
    ExpectNotChecked(Check({"--json", "--quiet"}), "--json and --quiet exclude each other; --help tells the options");
}

TEST_F(CheckPlace, TellsItsOptionsAndItsVersion) {
    const CheckResult help = Check({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.find("usage: vesmara-check [--directory=DIR] [--mtab=FILE] [--json] [--quiet]\n"), 0U);
    EXPECT_EQ(Check({"--version"}).out, "vesmara-check " PROGRAM_VERSION "\n");
}

}  // namespace
