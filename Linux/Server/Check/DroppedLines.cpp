#include "DroppedLines.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "ConfigLib.h"

namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::string_view kDigits = "0123456789";

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

// Takes a number off the front of the text, without its leading zeros.
std::string TakeNumber(std::string_view& text) {
    const std::size_t length = std::min(text.find_first_not_of(kDigits), text.size());
    std::string_view number = text.substr(0, length);
    text.remove_prefix(length);
    const std::size_t first = number.find_first_not_of('0');
    return first == std::string_view::npos ? (length > 0 ? "0" : "") : std::string(number.substr(first));
}

// "[camera03-03]" is "[camera3]".
std::string KeyOfHeader(std::string_view header) {
    const std::size_t digits = header.find_first_of(kDigits);
    if (digits == std::string_view::npos) {
        return std::string(header);
    }
    std::string_view rest = header.substr(digits);
    const std::string first = TakeNumber(rest);
    if (rest.empty() || rest[0] != '-') {
        return std::string(header.substr(0, digits)) + first + std::string(rest);
    }
    rest.remove_prefix(1);
    const std::string last = TakeNumber(rest);
    return std::string(header.substr(0, digits)) + first + (last == first ? "" : "-" + last) + std::string(rest);
}

// Whether a header without numbers has come back with some.
bool IsNumbered(const std::string& header, const std::set<std::string>& written) {
    if (header != "[camera]" && header != "[sensor]") {
        return false;
    }
    const std::string begin = header.substr(0, header.size() - 1);
    const auto next = written.upper_bound(begin);
    return next != written.end() && next->compare(0, begin.size(), begin) == 0;
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
    return KeyOfHeader(std::string_view(key).substr(0, close == std::string::npos ? close : close + 1));
}

void FindDroppedLines(FileIndex file, const std::string& present, const std::string& written,
                      std::vector<DroppedLine>& dropped) {
    std::set<std::string> keys;
    ForEachLine(written, [&](std::string_view line, std::size_t) {
        if (!IsBlankOrComment(line)) {
            keys.insert(KeyOfLine(std::string(line)));
        }
    });
    ForEachLine(present, [&](std::string_view line, std::size_t number) {
        if (IsBlankOrComment(line)) {
            return;
        }
        const std::string key = KeyOfLine(std::string(line));
        if (keys.count(key) == 0 && !IsNumbered(key, keys)) {
            dropped.push_back({file, number, std::string(line)});
        }
    });
}
