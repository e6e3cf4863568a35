// Texts of several lines.
#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace test_support {

// The lines of a text without their line feeds; a last line needs none.
inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace test_support
