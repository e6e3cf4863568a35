// What the checker has found out. Filled step by step, then told as text or as JSON.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// The two files, in the order in which they are loaded; the index of every array of two.
enum FileIndex : int { FILE_GLOBAL = 0, FILE_LOCAL = 1 };
constexpr int FILES = 2;
constexpr const char* FILE_NAMES[FILES] = {"global.cfg", "local.cfg"};

// Keeps the order in which keys were put in. Texts are bytes as the files have them, UTF-8 or not. Only declared here:
// the library's header takes the compiler a while, and two sources need it.
using Json = nlohmann::ordered_json;

// Thrown where nothing can be said about the files: one sentence, status 3.
struct NotChecked {
    std::string sentence;
};

// What the program would come to with these files.
enum class Start { Form, EndlessLoad, PathTooLong, DialogFailed };

enum class Verdict : int { Clean = 0, Notice = 1, Broken = 2 };

// One message of the readers, or one finding of the checker.
struct Finding {
    std::string text;
    std::string explanation;
    std::size_t line = 0;  // of the file, from 1; 0 where no one line is the cause
};

struct FileReport {
    std::optional<int> load;  // CONFIG_LOAD_RESULT; none for a load that never ends and for what would come behind it
    std::vector<Finding> messages;
    std::shared_ptr<const Json> values;  // what the reader took in; null when the load failed
};

// First and last number, none without devices.
using DeviceRun = std::optional<std::pair<unsigned int, unsigned int>>;

struct Recorder {
    unsigned int id = 0;
    unsigned int count = 0;
    std::string name;
    DeviceRun cameras;
    DeviceRun sensors;
};

struct Storage {
    unsigned int number = 0;  // of the recording storage; 0 for the general one
    std::string path;         // as loaded
    bool mounted = false;
};

struct DroppedLine {
    FileIndex file;
    std::size_t line;  // from 1
    std::string text;  // without its line end
};

enum class ApplyResult { Saved, Refused, Unreachable };
enum class Autostart { Unchanged, Replaced, Emptied, Removed };

struct ApplyReport {
    ApplyResult result = ApplyResult::Unreachable;
    bool changed[FILES] = {};  // the file's bytes
    std::vector<DroppedLine> dropped;
    std::vector<Finding> nextStart;      // messages of a load of the written files
    std::optional<Autostart> autostart;  // none with a folder that is not the program's own
};

struct Report {
    std::string directory;
    Start start = Start::Form;
    FileReport files[FILES];
    std::optional<Recorder> recorder;  // none where no form comes up
    std::vector<Storage> storages;
    ApplyReport apply;
    std::vector<Finding> findings;  // of the checker itself
    std::string diffs;              // only where asked for

    // Messages and findings.
    std::size_t Count() const;
    Verdict GetVerdict() const;
};

// The whole output, closed by a line feed.
std::string TextOf(const Report& report);
std::string LastLineOf(const Report& report);
std::string JsonOf(const Report& report);
