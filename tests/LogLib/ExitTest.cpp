// The end of a process: by exit() while the log thread is alive, or behind a CloseLog. The lines that the thread has
// not got to by then are lost; what it wrote is whole and in order, and nothing that the thread is stuck in holds up
// the end.
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "LogFixture.h"

namespace {

constexpr int kRuns = 150;  // of each case

// Starts the child with `output` as its standard output; it ends by "exit" or "close".
pid_t Start(const std::string& dataPath, int lines, const char* mode, int output, const char* ending = "exit") {
    std::string path = LOG_EXIT_CHILD;
    std::string root = dataPath;
    std::string count = std::to_string(lines);
    std::string how = mode;
    std::string end = ending;
    char* arguments[] = {path.data(), root.data(), count.data(), how.data(), end.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t child = -1;
    EXPECT_EQ(posix_spawn(&child, path.c_str(), &actions, nullptr, arguments, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

void ExpectStatus0(pid_t child) {
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    ASSERT_EQ(WEXITSTATUS(status), 0);
}

// `text` is the beginning of all that was logged.
void ExpectBeginning(const std::string& text, int lines, const char* mode) {
    std::string all;
    for (int line = 0; line < lines; ++line) {
        all += "ERROR: line " + std::to_string(line) + "\n";
    }
    if (std::string(mode) == "late") {
        all += "ERROR: late\n";
    }
    ASSERT_EQ(text, all.substr(0, text.size()));
}

struct ExitCase {
    int lines;
    const char* mode;
};

class ExitTest : public LogTest, public testing::WithParamInterface<ExitCase> {
protected:
    void ExpectFileInOrder() {
        const std::string file = Present();
        const std::size_t bannerEnd = file.find("-----\n\n");
        ASSERT_NE(bannerEnd, std::string::npos);
        ExpectBeginning(file.substr(bannerEnd + 7), GetParam().lines, GetParam().mode);
        std::remove(PresentPath().c_str());
    }
};

TEST_P(ExitTest, NeitherCrashesNorHangsWithTheStandardOutputInAFile) {
    const std::string path = m_root.File("stdout");
    for (int run = 0; run < kRuns && !HasFatalFailure(); ++run) {
        const int output = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        const pid_t child = Start(m_root.Path(), GetParam().lines, GetParam().mode, output);
        close(output);
        ExpectStatus0(child);
        ExpectBeginning(test_support::ReadFile(path), GetParam().lines, GetParam().mode);
        ExpectFileInOrder();
    }
}

TEST_P(ExitTest, NeitherCrashesNorHangsWithTheStandardOutputInAPipe) {
    for (int run = 0; run < kRuns && !HasFatalFailure(); ++run) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const pid_t child = Start(m_root.Path(), GetParam().lines, GetParam().mode, ends[1]);
        close(ends[1]);
        std::string text;
        char block[4096];
        for (ssize_t count = 0; (count = read(ends[0], block, sizeof block)) > 0;) {
            text.append(block, static_cast<std::size_t>(count));
        }
        close(ends[0]);
        ExpectStatus0(child);
        ExpectBeginning(text, GetParam().lines, GetParam().mode);
        ExpectFileInOrder();
    }
}

struct BlockedCase {
    const char* ending;
    int lines;
};

class BlockedEndTest : public LogTest, public testing::WithParamInterface<BlockedCase> {};

TEST_P(BlockedEndTest, IsNotHeldUpByAStandardOutputThatTakesNoText) {
    const FullPipe pipe;
    ExpectStatus0(Start(m_root.Path(), GetParam().lines, "blocked", pipe.WritingEnd(), GetParam().ending));
}

// The file is a pipe that takes a page and then no more, since nobody reads it. In every case there is more text.
TEST_P(BlockedEndTest, IsNotHeldUpByAFileThatTakesNoText) {
    ASSERT_EQ(mkfifo(PresentPath().c_str(), 0600), 0);
    const int pipe = open(PresentPath().c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(fcntl(pipe, F_SETPIPE_SZ, 4096), 4096);
    const int output = open("/dev/null", O_WRONLY | O_CLOEXEC);
    ExpectStatus0(Start(m_root.Path(), GetParam().lines + 4096, "stuck", output, GetParam().ending));
    close(output);
    close(pipe);
}

INSTANTIATE_TEST_SUITE_P(Endings, BlockedEndTest,
                         testing::Values(BlockedCase{"exit", 1}, BlockedCase{"exit", 30}, BlockedCase{"exit", 3000},
                                         BlockedCase{"close", 1}, BlockedCase{"close", 3000}),
                         [](const testing::TestParamInfo<BlockedCase>& blockedCase) {
                             return blockedCase.param.ending + std::to_string(blockedCase.param.lines);
                         });

INSTANTIATE_TEST_SUITE_P(Lines, ExitTest,
                         testing::Values(ExitCase{0, "plain"}, ExitCase{1, "plain"}, ExitCase{30, "plain"},
                                         ExitCase{600, "plain"}, ExitCase{2, "late"}),
                         [](const testing::TestParamInfo<ExitCase>& exitCase) {
                             return exitCase.param.mode + std::to_string(exitCase.param.lines);
                         });

}  // namespace
