// Lines that "Apply" would leave out for good.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Report.h"

// What a header without numbers such as [Camera] names, by CAPTURE_DEVICE_TYPE: the first and the last device of the
// node, the last below the first where the node has none of the type. Nothing where such a header opens no section.
using NamedSections = std::array<std::optional<std::pair<std::uint32_t, std::uint32_t>>, 2>;

// The lines of `present` that are neither blank nor a comment and whose tag or section stands nowhere in `written`. A
// section is known by its type, its first and its last device, however its header is written.
void FindDroppedLines(FileIndex file, const std::string& present, const std::string& written,
                      const NamedSections& sections, std::vector<DroppedLine>& dropped);

// What a line is about, as the readers see it: its tag in lower case, without blanks, or its header up to the bracket.
std::string KeyOfLine(const std::string& line);
