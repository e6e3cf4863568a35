// What the messages of the readers mean, in plain words: one table.
#pragma once

#include <cstddef>
#include <string>

struct Explanation {
    const char* format;  // the message as it stands in the library's sources
    const char* text;
};

// All rows; `count` receives their number.
const Explanation* Explanations(std::size_t& count);

// The explanation of a message by its format; a general one for a message without a row.
std::string ExplanationOf(const char* format);

// "PATH, line N: ", without the line when it is 0.
std::string PlaceOf(const std::string& path, std::size_t line);
