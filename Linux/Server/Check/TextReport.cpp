#include <string>

#include "Report.h"

namespace {

constexpr const char* kVerdicts[] = {"clean", "notice", "broken"};
constexpr char kIndent[] = "    ";

void AddFindings(std::string& text, const std::vector<Finding>& findings) {
    for (const Finding& finding : findings) {
        text += finding.text + "\n" + kIndent + finding.explanation + "\n";
    }
}

}  // namespace

std::string TextOf(const Report& report) {
    std::string text;
    for (const FileReport& file : report.files) {
        AddFindings(text, file.messages);
    }
    AddFindings(text, report.findings);
    return text + report.diffs + LastLineOf(report);
}

std::string LastLineOf(const Report& report) {
    const Verdict verdict = report.GetVerdict();
    std::string line = kVerdicts[static_cast<int>(verdict)];
    if (verdict != Verdict::Clean) {
        line += ": " + std::to_string(report.Count());
    }
    return line + "\n";
}
