// The difference of two files as `diff -u` makes it.
#pragma once

#include <string>

// Both are paths of this process; `before` and `after` are what the head lines call them. Empty when the bytes are the
// same.
std::string UnifiedDiff(const std::string& beforePath, const std::string& afterPath, const std::string& before,
                        const std::string& after);
