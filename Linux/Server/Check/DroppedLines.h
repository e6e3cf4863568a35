// Lines that "Apply" would leave out for good.
#pragma once

#include <string>
#include <vector>

#include "Report.h"

// The lines of `present` that are neither blank nor a comment and whose tag or header stands nowhere in `written`. A
// header that comes back with other numbers for the same devices is not dropped.
void FindDroppedLines(FileIndex file, const std::string& present, const std::string& written,
                      std::vector<DroppedLine>& dropped);

// What a line is about, as the readers see it: its tag in lower case, without blanks, or its header up to the bracket,
// with "a-a" as "a".
std::string KeyOfLine(const std::string& line);
