// The form held to the checker: what it said of a pair of files is what "Apply" on the untouched form leaves.
//
// The pairs are folders that tests/oracle/apply_cases.py dumps; the build makes 20. More by hand:
//
//   tests/oracle/apply_cases.py --dump FOLDER --cases 200 --seed N
//   GUI_CHECKED_PAIRS=FOLDER scripts/private_mounts.sh build/test/bin/gui_check_test

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <regex>
#include <stdexcept>

#include "Scenario.h"

namespace gui {
namespace {

namespace fs = std::filesystem;

using Content = std::optional<std::string>;  // of a file; nothing for a missing one

struct Pair {
    std::string name;
    Content global, local;
    std::vector<std::string> mountPoints;  // in the order to mount them in
};

Content ContentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// One name a line, with "\n" for a line feed and "\\" for a backslash in it.
std::vector<std::string> NamesIn(const std::string& text) {
    std::vector<std::string> names(1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n') {
            names.emplace_back();
        } else if (text[i] == '\\') {
            ++i;
            names.back() += text[i] == 'n' ? '\n' : text[i];
        } else {
            names.back() += text[i];
        }
    }
    names.pop_back();
    return names;
}

std::string PairsFolder() {
    const char* chosen = std::getenv("GUI_CHECKED_PAIRS");
    return chosen != nullptr ? chosen : GUI_CHECKED_PAIRS_FOLDER;
}

// Called before the process moves into its private root, which does not show the folder. Throws where there are none.
std::vector<Pair> Pairs() {
    std::vector<Pair> pairs;
    for (const auto& entry : fs::directory_iterator(PairsFolder())) {
        const fs::path& folder = entry.path();
        pairs.push_back({folder.filename(), ContentOf(folder / "global.cfg"), ContentOf(folder / "local.cfg"),
                         NamesIn(ContentOf(folder / "mounts").value_or(""))});
    }
    if (pairs.empty()) {
        throw std::runtime_error("no pairs in " + PairsFolder());
    }
    std::sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) { return a.name < b.name; });
    return pairs;
}

// The standard output of a command and its exit status.
std::string OutputOf(const std::string& command, int& status) {
    FILE* const pipe = popen(command.c_str(), "re");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string output;
    std::array<char, 4096> buffer{};
    for (std::size_t read = 1; read > 0;) {
        read = fread(buffer.data(), 1, buffer.size(), pipe);
        output.append(buffer.data(), read);
    }
    const int ending = pclose(pipe);
    status = WIFEXITED(ending) ? WEXITSTATUS(ending) : -1;
    return output;
}

class CheckedPair : public testing::TestWithParam<Pair> {
protected:
    CheckedPair() {
        Put(place::kGlobal, GetParam().global);
        Put(place::kLocal, GetParam().local);
        machine_.Drives(GetParam().mountPoints);
    }

    void Put(const std::string& path, const Content& content) {
        if (content) {
            machine_.Write(path, *content);
        }
    }

    std::string Check(const std::string& option) {
        int status = -1;
        std::string output = OutputOf("/under-test/bin/vesmara-check " + option, status);
        EXPECT_TRUE(status >= 0 && status <= 2) << status;
        return output;
    }

    // What the checker's diff makes of a file; the file as it is where it shows none.
    Content AfterTheDiff(const std::string& report, const std::string& path, const Content& before) {
        const std::size_t begin = report.find("\n--- " + path + "\n+++ " + path + " (after \"Apply\")\n");
        if (begin == std::string::npos && report.rfind("--- " + path + "\n", 0) != 0) {
            return before;
        }
        const std::size_t first = begin == std::string::npos ? 0 : begin + 1;
        // It ends before the next file's diff, or before the last line.
        const std::size_t next = report.find("\n--- " + place::kConfig + "/", first);
        const std::size_t end = next != std::string::npos ? next + 1 : report.rfind('\n', report.size() - 2) + 1;
        const std::string copy = ScratchFolder() + "/copy";
        const std::string diff = ScratchFolder() + "/diff";
        machine_.Write(copy, before.value_or(""));
        machine_.Write(diff, report.substr(first, end - first));
        int status = -1;
        const std::string said = OutputOf("patch --binary --fuzz=0 --silent " + copy + " " + diff + " 2>&1", status);
        EXPECT_EQ(status, 0) << said;
        return machine_.Read(copy);
    }

    void ExpectFiles(const Content& global, const Content& local) {
        EXPECT_EQ(ContentOf(place::kGlobal), global);
        EXPECT_EQ(ContentOf(place::kLocal), local);
    }

    Machine machine_;
};

TEST_P(CheckedPair, IsLeftByAnUntouchedFormAsTheCheckerSaid) {
    const Pair& pair = GetParam();
    const std::string object = Check("--json");
    const std::string report = Check("");
    ExpectFiles(pair.global, pair.local);
    std::smatch result;
    ASSERT_TRUE(std::regex_search(object, result, std::regex("\"result\" *: *\"([a-z]+)\"")));
    const Content global = AfterTheDiff(report, place::kGlobal, pair.global);
    const Content local = AfterTheDiff(report, place::kLocal, pair.local);

    Session session(machine_, kFullHd);
    if (result[1] == "saved") {
        ApplyAndEnd(session);
        ExpectFiles(global, local);
        return;
    }
    ASSERT_EQ(result[1], "refused");
    session.Click(session.At().apply);
    EXPECT_TRUE(AlertIsUp(session));
    EXPECT_TRUE(session.Run().Running());
    ExpectFiles(pair.global, pair.local);
}

INSTANTIATE_TEST_SUITE_P(Generated, CheckedPair, testing::ValuesIn(Pairs()),
                         [](const testing::TestParamInfo<Pair>& pair) { return pair.param.name; });

}  // namespace
}  // namespace gui
