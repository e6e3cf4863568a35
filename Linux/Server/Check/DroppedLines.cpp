#include "DroppedLines.h"

#include <set>
#include <string_view>

#include "ConfigLib.h"
#include "cfg_scan.h"

namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";

// Calls `take` with each line and its number, without line ends.
template <typename Take>
void ForEachLine(std::string_view text, Take take) {
    std::size_t number = 0;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        take(line, ++number);
    }
}

bool IsBlankOrComment(std::string_view line) {
    const std::size_t first = line.find_first_not_of(kBlanks);
    return first == std::string_view::npos || line[first] == '#' || line[first] == ';';
}

bool IsClosed(LineScanner& scanner) {
    char close = '\0';
    return scanner.Character(close) && close == ']';
}

// "1-4]" or "3]", scanned as the reader does it.
bool ScanNumbers(const char* selector, std::uint32_t& first, std::uint32_t& last) {
    LineScanner range(selector);
    if (range.Number(first) && range.Literal('-') && range.Number(last) && IsClosed(range)) {
        return true;
    }
    LineScanner single(selector);
    if (!single.Number(first) || !IsClosed(single)) {
        return false;
    }
    last = first;
    return true;
}

std::string NameOf(const char* label, std::uint32_t first, std::uint32_t last) {
    return std::string("[") + label + " " + std::to_string(first) + "-" + std::to_string(last) + "]";
}

// The key of a header in one shape for all that name the same section; that of any other line as it is.
std::string NameOfKey(const std::string& key, const NamedSections& sections) {
    for (std::size_t type = 0; type < sections.size(); ++type) {
        const char* label = g_DeviceTypeName[type][DEVICE_LABEL_SINGULAR_LOWER];
        LineScanner header(key.c_str());
        if (!header.Literal('[') || !header.Literal(label)) {
            continue;
        }
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        if (header.Rest()[0] == ']') {
            return sections[type] ? NameOf(label, sections[type]->first, sections[type]->second) : key;
        }
        return ScanNumbers(header.Rest(), first, last) ? NameOf(label, first, last) : key;
    }
    return key;
}

}  // namespace

std::string KeyOfLine(const std::string& line) {
    std::string key = line;
    ConfigFile_Utils_RemoveSpaces(key.data());
    key.resize(key.find('\0') == std::string::npos ? key.size() : key.find('\0'));
    if (key.empty() || key[0] != '[') {
        return key.substr(0, key.find('='));
    }
    const std::size_t close = key.find(']');
    return key.substr(0, close == std::string::npos ? close : close + 1);
}

void FindDroppedLines(FileIndex file, const std::string& present, const std::string& written,
                      const NamedSections& sections, std::vector<DroppedLine>& dropped) {
    std::set<std::string> names;
    ForEachLine(written, [&](std::string_view line, std::size_t) {
        if (!IsBlankOrComment(line)) {
            names.insert(NameOfKey(KeyOfLine(std::string(line)), sections));
        }
    });
    ForEachLine(present, [&](std::string_view line, std::size_t number) {
        if (!IsBlankOrComment(line) && names.count(NameOfKey(KeyOfLine(std::string(line)), sections)) == 0) {
            dropped.push_back({file, number, std::string(line)});
        }
    });
}
