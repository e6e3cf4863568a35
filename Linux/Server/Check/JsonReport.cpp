#include <nlohmann/json.hpp>

#include "Report.h"

namespace {

constexpr const char* kVerdicts[] = {"clean", "notice", "broken"};
constexpr const char* kStarts[] = {"form", "endless-load", "path-too-long", "dialog-failed"};
constexpr const char* kResults[] = {"saved", "refused", "unreachable"};
constexpr const char* kAutostarts[] = {"unchanged", "replaced", "emptied", "removed"};

template <typename Enum, std::size_t N>
const char* Word(const char* const (&words)[N], Enum value) {
    return words[static_cast<std::size_t>(value)];
}

Json LineOrNull(std::size_t line) {
    return line != 0 ? Json(line) : Json();
}

Json Findings(const std::vector<Finding>& findings) {
    Json list = Json::array();
    for (const Finding& finding : findings) {
        list.push_back(
            {{"text", finding.text}, {"explanation", finding.explanation}, {"line", LineOrNull(finding.line)}});
    }
    return list;
}

Json Files(const Report& report) {
    Json list = Json::array();
    for (int file = 0; file < FILES; ++file) {
        const FileReport& own = report.files[file];
        list.push_back({{"name", FILE_NAMES[file]},
                        {"load", own.load ? Json(*own.load) : Json()},
                        {"messages", Findings(own.messages)}});
    }
    return list;
}

Json RunOrNull(const DeviceRun& run) {
    return run ? Json::array({run->first, run->second}) : Json();
}

Json ValuesOrNull(const FileReport& file) {
    return file.values != nullptr ? *file.values : Json();
}

Json RecorderOf(const Report& report) {
    if (!report.recorder) {
        return {{"id", nullptr}, {"count", nullptr}, {"name", nullptr}, {"cameras", nullptr}, {"sensors", nullptr}};
    }
    const Recorder& recorder = *report.recorder;
    return {{"id", recorder.id},
            {"count", recorder.count},
            {"name", recorder.name},
            {"cameras", RunOrNull(recorder.cameras)},
            {"sensors", RunOrNull(recorder.sensors)}};
}

Json Storages(const std::vector<Storage>& storages) {
    Json list = Json::array();
    for (const Storage& storage : storages) {
        list.push_back({{"role", storage.number != 0 ? "recording" : "general"},
                        {"number", storage.number != 0 ? Json(storage.number) : Json()},
                        {"path", storage.path},
                        {"mounted", storage.mounted}});
    }
    return list;
}

Json Dropped(const std::vector<DroppedLine>& lines) {
    Json list = Json::array();
    for (const DroppedLine& line : lines) {
        list.push_back({{"file", FILE_NAMES[line.file]}, {"line", line.line}, {"text", line.text}});
    }
    return list;
}

Json ApplyOf(const ApplyReport& apply) {
    Json changed = Json::array();
    for (int file = 0; file < FILES; ++file) {
        if (apply.changed[file]) {
            changed.push_back(FILE_NAMES[file]);
        }
    }
    Json nextStart = Json::array();
    for (const Finding& message : apply.nextStart) {
        nextStart.push_back(message.text);
    }
    return {{"result", Word(kResults, apply.result)},
            {"changed", changed},
            {"dropped", Dropped(apply.dropped)},
            {"next_start", nextStart},
            {"autostart", apply.autostart ? Json(Word(kAutostarts, *apply.autostart)) : Json()}};
}

}  // namespace

// Bytes that are no UTF-8 become U+FFFD, one for each run that could have begun a character.
std::string JsonOf(const Report& report) {
    const Json object = {
        {"directory", report.directory},
        {"verdict", Word(kVerdicts, report.GetVerdict())},
        {"start", Word(kStarts, report.start)},
        {"files", Files(report)},
        {"recorder", RecorderOf(report)},
        {"values",
         {{"global", ValuesOrNull(report.files[FILE_GLOBAL])}, {"local", ValuesOrNull(report.files[FILE_LOCAL])}}},
        {"storages", Storages(report.storages)},
        {"apply", ApplyOf(report.apply)},
        {"findings", Findings(report.findings)}};
    return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}
