#include "check/CheckRun.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;
using test_support::ReadFile;
using test_support::WriteFile;

const char kCleanGlobal[] =
    "ClusterName = \"Harbour Gate\"\n\nNodeCount = 2\n\nCamerasConnectedToNode1 = 2\nCamerasConnectedToNode2 = 0\n\n"
    "ManagerMachineIP = 0.0.0.0\n\nGeneralStoragePath = \"/mnt/c\"\n\nLogLevelNode = 0\n\nLogLevelManager = 0\n\n"
    "ShowAllParameters = 0\n\nAllowFailedDevices = 0\n\nAllowFailedNodes = 0\n\n";
const char kCleanLocal[] =
    "NodeID = 1\n\nIP = 10.0.0.1\n\nRecordingStorage1 = \"/mnt/a\"\n\nRecordingStorage2 = \"/mnt/b\"\n\n"
    "[Camera 1-2]\nCaptureDevice = \"board\", \"slot=0\"\nCameraModel = \"Quay\", \"gain=1\"\n\n";

namespace {

void Redirect(const std::string& path, int to) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(file, to);
    close(file);
}

[[noreturn]] void Become(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& temporary) {
    std::vector<char*> words = {const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    std::string place = "TMPDIR=" + temporary;
    std::string locale = "LC_ALL=C";
    std::string leaks = "ASAN_OPTIONS=detect_leaks=0";
    char* const environment[] = {place.data(), locale.data(), leaks.data(), nullptr};
    execve(words[0], words.data(), environment);
    _exit(126);
}

// Until nothing of the process group is left.
void WaitForGroup(pid_t group) {
    const auto limit = time(nullptr) + 60;
    while (kill(-group, 0) == 0 && time(nullptr) < limit) {
        sched_yield();
    }
    EXPECT_EQ(kill(-group, 0), -1) << "a process is left behind";
}

std::string Described(const fs::path& path) {
    struct stat status {};
    lstat(path.c_str(), &status);
    std::string text = path.string() + " " + std::to_string(status.st_mode) + " " + std::to_string(status.st_ino) +
                       " " + std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
    if (S_ISREG(status.st_mode) && status.st_size < 1 << 20) {
        text += " " + ReadFile(path.string());
    }
    return text + "\n";
}

}  // namespace

CheckProcess::CheckProcess(const std::vector<std::string>& arguments, const std::string& temporary,
                           const std::function<void()>& prepare, const std::string& program) {
    WriteFile(m_outputs.File("out"), "");
    WriteFile(m_outputs.File("err"), "");
    m_process = fork();
    if (m_process == 0) {
        setpgid(0, 0);
        Redirect(m_outputs.File("out"), STDOUT_FILENO);
        Redirect(m_outputs.File("err"), STDERR_FILENO);
        if (prepare) {
            prepare();
        }
        Become(program.empty() ? CHECK_PROGRAM : program, arguments, temporary);
    }
    setpgid(m_process, m_process);
}

CheckProcess::~CheckProcess() {
    if (m_process > 0) {
        kill(-m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
}

void CheckProcess::Kill(int signal) const {
    kill(m_process, signal);
}

CheckResult CheckProcess::Wait() {
    int status = 0;
    EXPECT_EQ(waitpid(m_process, &status, 0), m_process);
    WaitForGroup(m_process);
    m_process = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0,
            ReadFile(m_outputs.File("out")), ReadFile(m_outputs.File("err"))};
}

CheckTest::CheckTest() {
    m_folder.MakeDir("config");
    m_folder.MakeDir("tmp");
    Mount({"/mnt/a", "/mnt/b", "/mnt/c"});
}

void CheckTest::Put(const std::string& name, const std::string& text) const {
    WriteFile(Path(name), text);
}

void CheckTest::PutBoth(const std::string& global, const std::string& local) const {
    Put("global.cfg", global);
    Put("local.cfg", local);
}

void CheckTest::Mount(const std::vector<std::string>& mountPoints) const {
    std::string table = "/dev/root / ext4 rw 0 0\n";
    for (const std::string& mountPoint : mountPoints) {
        table += "/dev/disk " + mountPoint + " ext4 rw 0 0\n";
    }
    WriteFile(MountTable(), table);
}

CheckResult CheckTest::Check(std::vector<std::string> more, const std::function<void()>& prepare) const {
    std::vector<std::string> arguments = {"--directory=" + Config(), "--mtab=" + MountTable()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const std::string before = Snapshot();
    CheckResult result = CheckProcess(arguments, Temporary(), prepare).Wait();
    EXPECT_EQ(Snapshot(), before) << "something was written";
    return result;
}

nlohmann::json CheckTest::Json(int status) const {
    const CheckResult result = Check({"--json"});
    EXPECT_EQ(result.status, status) << result.err << result.out;
    EXPECT_EQ(result.err, "");
    return nlohmann::json::parse(result.out, nullptr, false);
}

std::string CheckTest::Text(int status) const {
    CheckResult result = Check();
    EXPECT_EQ(result.status, status) << result.err;
    EXPECT_EQ(result.err, "");
    for (std::size_t at = result.out.find(Config()); at != std::string::npos; at = result.out.find(Config())) {
        result.out.replace(at, Config().size(), "DIR");
    }
    return result.out;
}

std::string CheckTest::Snapshot() const {
    std::vector<std::string> entries;
    for (const auto& entry : fs::recursive_directory_iterator(m_folder.Path())) {
        // The temporary folder's own times change with what comes and goes in it.
        entries.push_back(entry.path() == Temporary() ? "tmp" : Described(entry.path()));
    }
    std::sort(entries.begin(), entries.end());
    std::string text;
    for (const std::string& entry : entries) {
        text += entry;
    }
    return text;
}
