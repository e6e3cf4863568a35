// The end of a process: by exit() while the log thread is alive, or behind a CloseLog. The lines that the thread has
// not got to by then are lost; what it wrote is whole and in order, and nothing that the thread is stuck in holds up
// the end.
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "LogFixture.h"

namespace {

constexpr int kRuns = 150;  // of each case

// The lines of a text that neither are empty nor hold the mark.
std::string AllBut(const std::string& text, const std::string& mark) {
    std::istringstream lines(text);
    std::string rest;
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.find(mark) == std::string::npos) {
            rest += line + "\n";
        }
    }
    return rest;
}

// Starts a program with these words and `output` as its standard output.
pid_t Spawn(std::vector<std::string> words, int output) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t child = -1;
    EXPECT_EQ(posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

// Starts the child with `output` as its standard output; it ends by "exit", "close" or "destructor".
pid_t Start(const std::string& dataPath, int lines, const char* mode, int output, const char* ending = "exit") {
    return Spawn({LOG_EXIT_CHILD, dataPath, std::to_string(lines), mode, ending}, output);
}

void ExpectStatus0(pid_t child) {
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    ASSERT_EQ(WEXITSTATUS(status), 0);
}

std::string Lines(int lines) {
    std::string all;
    for (int line = 0; line < lines; ++line) {
        all += "ERROR: line " + std::to_string(line) + "\n";
    }
    return all;
}

// `text` is the beginning of all that was logged.
void ExpectBeginning(const std::string& text, int lines, const char* mode) {
    std::string all = Lines(lines);
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

// Nothing of the library is left to be called at the end of the process that was unloaded before.
TEST_F(LogTest, InASharedObjectThatWasUnloadedDoesNotDisturbTheEndOfTheProcess) {
    const int output = open("/dev/null", O_WRONLY | O_CLOEXEC);
    ExpectStatus0(Spawn({LOG_MODULE_CHILD, LOG_MODULE, m_root.Path()}, output));
    close(output);
    EXPECT_EQ(AllBut(Present(), "-----"), "ERROR: from a module\nERROR: from a module\n");
}

// In these cases all that was logged has to come out, the lines of the destructor too.
class DestructorTest : public LogTest, public testing::WithParamInterface<int> {};

TEST_P(DestructorTest, CloseLogFromAStaticObjectsDestructorWritesWhatTheRingHolds) {
    const std::string path = m_root.File("stdout");
    for (int run = 0; run < 20 && !HasFatalFailure(); ++run) {
        const int output = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        const pid_t child = Start(m_root.Path(), GetParam(), "plain", output, "destructor");
        close(output);
        ExpectStatus0(child);
        const std::string all = Lines(GetParam()) + "ERROR: from the destructor\n";
        ASSERT_EQ(test_support::ReadFile(path), all);
        ASSERT_EQ(AllBut(Present(), "-----"), all);
        std::remove(PresentPath().c_str());
    }
}

INSTANTIATE_TEST_SUITE_P(Lines, DestructorTest, testing::Values(0, 1, 100));

// The reader of the standard output has gone: its part is lost, the file is complete.
TEST_F(LogTest, AStandardOutputThatNobodyReadsAnyMoreEndsNeitherTheProcessNorTheLog) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    ExpectStatus0(Start(m_root.Path(), 100, "plain", ends[1], "close"));
    close(ends[1]);
    EXPECT_EQ(AllBut(Present(), "-----"), Lines(100));
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

TEST_P(BlockedEndTest, IsNotHeldUpByAFileThatTakesNoText) {
    const int output = open("/dev/null", O_WRONLY | O_CLOEXEC);
    ExpectStatus0(Start(m_root.Path(), GetParam().lines, "stuck", output, GetParam().ending));
    close(output);
}

INSTANTIATE_TEST_SUITE_P(Endings, BlockedEndTest,
                         testing::Values(BlockedCase{"exit", 1}, BlockedCase{"exit", 30}, BlockedCase{"exit", 3000},
                                         BlockedCase{"close", 1}, BlockedCase{"close", 3000},
                                         BlockedCase{"destructor", 1}, BlockedCase{"destructor", 3000}),
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
