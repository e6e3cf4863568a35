// The suite's own files and the pages' examples, through the checker.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "check/CheckRun.h"

namespace fs = std::filesystem;
using test_support::ReadFile;

namespace {

using json = nlohmann::json;

class CheckData : public CheckTest {
public:
    static std::vector<fs::path> Cases(const std::string& area) {
        std::vector<fs::path> cases;
        for (const auto& entry : fs::directory_iterator(fs::path(TEST_DATA_FOLDER) / area)) {
            if (entry.path().extension() == ".cfg") {
                cases.push_back(entry.path());
            }
        }
        std::sort(cases.begin(), cases.end());
        EXPECT_GE(cases.size(), 12U);
        return cases;
    }

    // The load's result and the messages of one of the files, as the file beside the case has them.
    static std::string Logged(const json& file) {
        std::string log = std::to_string(file["load"].get<int>()) + "\n";
        for (const json& message : file["messages"]) {
            log += message["text"].get<std::string>() + "\n";
        }
        return log;
    }

    static std::string Beside(fs::path file, const char* ending) {
        return ReadFile(file.replace_extension(ending).string());
    }

    // The verdict follows from the loads and from what else is told, and each line that is named holds up.
    void ExpectCoherent(const json& object) const {
        bool broken = false;
        std::size_t findings = object["findings"].size();
        for (const json& file : object["files"]) {
            broken = broken || file["load"] == 0;
            findings += file["messages"].size();
            for (const json& message : file["messages"]) {
                EXPECT_NE(message["explanation"], "");
                if (!message["line"].is_null()) {
                    EXPECT_NE(LineOf(file["name"], message["line"]), "");
                }
            }
        }
        EXPECT_EQ(object["verdict"], broken ? "broken" : (findings > 0 ? "notice" : "clean"));
        for (const json& dropped : object["apply"]["dropped"]) {
            EXPECT_EQ(LineOf(dropped["file"], dropped["line"]), dropped["text"]);
        }
    }

    std::string LineOf(const std::string& name, std::size_t number) const {
        std::istringstream file(ReadFile(Path(name)));
        std::string line;
        for (std::size_t i = 0; i < number; ++i) {
            std::getline(file, line);
        }
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        return line;
    }

    json Report() {
        const CheckResult result = Check({"--json"});
        EXPECT_LE(result.status, 2) << result.err;
        return json::parse(result.out, nullptr, false);
    }
};

TEST_F(CheckData, OfGlobalCfgGivesTheMessagesOfTheFilesBesideThem) {
    for (const fs::path& file : Cases("global")) {
        SCOPED_TRACE(file.filename().string());
        PutBoth(ReadFile(file.string()), "NodeID = 1\n");
        const json object = Report();
        EXPECT_EQ(Logged(object["files"][0]), Beside(file, ".log"));
        ExpectCoherent(object);
    }
}

TEST_F(CheckData, OfLocalCfgGivesTheMessagesOfTheFilesBesideThem) {
    for (const fs::path& file : Cases("local")) {
        SCOPED_TRACE(file.filename().string());
        const fs::path own = fs::path(file).replace_extension(".global");
        PutBoth(ReadFile((fs::exists(own) ? own : file.parent_path() / "default.global").string()),
                ReadFile(file.string()));
        const json object = Report();
        EXPECT_EQ(Logged(object["files"][1]), Beside(file, ".log"));
        ExpectCoherent(object);
    }
}

TEST_F(CheckData, OfTheFuzzCorpusIsToldWithoutAFailure) {
    for (const char* area : {"global", "local"}) {
        for (const auto& entry : fs::directory_iterator(fs::path(FUZZ_CORPUS_FOLDER) / area)) {
            SCOPED_TRACE(entry.path().string());
            const std::string text = ReadFile(entry.path().string());
            const std::size_t parting = text.find("====\n");
            if (parting != std::string::npos) {
                PutBoth(text.substr(0, parting), text.substr(parting + 5));
            } else {
                PutBoth(text, "NodeID = 1\n");
            }
            const json object = Report();
            if (object["start"] == "form") {
                ExpectCoherent(object);
            }
        }
    }
}

// Every pair of the packaging's and the demonstration's samples, with the drives that it names mounted.
TEST_F(CheckData, OfTheSamplesIsAsTheirOwnTestsHaveIt) {
    Mount({"/mnt/record-a", "/mnt/record-b", "/mnt/general"});
    const std::pair<const char*, int> rows[] = {
        {"tests/package/sample/clean", 1},
        {"tests/package/sample/faulty", 1},
        {"tests/package/sample/missing", 2},
        {"scripts/demo/sample", 0},
    };
    for (const auto& [folder, status] : rows) {
        SCOPED_TRACE(folder);
        fs::remove_all(Config());
        fs::create_directory(Config());
        for (const auto& entry : fs::directory_iterator(fs::path(SOURCE_FOLDER) / folder)) {
            if (entry.path().extension() == ".cfg") {
                Put(entry.path().filename().string(), ReadFile(entry.path().string()));
            }
        }
        ExpectCoherent(Json(status));
    }
}

// The blocks that are indented by four blanks, below the heading.
std::vector<std::string> Blocks(const std::string& page, const std::string& heading) {
    std::istringstream lines(page.substr(page.find("\n" + heading + "\n") + 1));
    std::vector<std::string> blocks;
    bool inside = false;
    std::string blank;
    std::getline(lines, blank);
    blank.clear();
    for (std::string line; std::getline(lines, line) && line.compare(0, 3, "## ") != 0;) {
        if (line.empty()) {
            blank += "\n";
        } else if (line.compare(0, 4, "    ") == 0) {
            if (!inside) {
                blocks.emplace_back();
                blank.clear();
            }
            blocks.back() += blank + line.substr(4) + "\n";
            blank.clear();
            inside = true;
        } else {
            inside = false;
        }
    }
    return blocks;
}

TEST_F(CheckData, OfThePageOfConfigurationFilesIsAsThePageSays) {
    const std::vector<std::string> blocks =
        Blocks(ReadFile(SOURCE_FOLDER "/docs/config-files.md"), "## A worked example");
    ASSERT_EQ(blocks.size(), 4U);
    Mount({"/mnt/record-a", "/mnt/general"});
    PutBoth(blocks[0], blocks[1]);
    const json object = Json(1);
    EXPECT_EQ(object["files"][0]["load"], 2);
    EXPECT_EQ(object["files"][1]["load"], 2);
    // What the page says that a save makes of them, with the drives' paths as the form has them.
    std::string text = Text(1);
    for (const char* line : {"+NodeCount = 2", "-SensorsConnectedToNode1 = 1", "+ManagerMachineIP = 0.0.0.0",
                             "-MaxMemUseAllowed = 53%", "+MaxMemUseAllowed = 52%", "-[Camera]", "+[Camera 1-2]"}) {
        const bool context = std::string(line) == "+NodeCount = 2";
        EXPECT_NE(text.find(std::string("\n") + (context ? " NodeCount = 2" : line) + "\n"), std::string::npos) << line;
    }
}

// The session of the manual page, on the files of tests/check/example.
TEST_F(CheckData, OfTheManualPageIsAsThePageShowsIt) {
    const std::string page = ReadFile(SOURCE_FOLDER "/packaging/vesmara-check.1");
    const std::size_t begin = page.find(".Bd -literal\n", page.find(".Sh EXAMPLES")) + 13;
    const std::string session = page.substr(begin, page.find(".Ed\n", begin) - begin);
    const CheckResult result = CheckProcess({"--directory=.", "--mtab=mtab"}, Temporary(), [] {
                                   if (chdir(SOURCE_FOLDER "/tests/check/example") != 0) {
                                       _exit(125);
                                   }
                               }).Wait();
    EXPECT_EQ(session, "$ vesmara-check --directory=. --mtab=mtab\n" + result.out + "$ echo $?\n" +
                           std::to_string(result.status) + "\n");
}

}  // namespace
