// Formatting of messages and file items.
#pragma once

#include <cstdarg>
#include <cstddef>

// vsnprintf: the same bytes and the same result for every format and buffer. Formats of plain text, "%s", "%d", "%u"
// and "%%" alone, which nearly all messages and file items are, take a shorter way; the others go to vsnprintf.
int FormatText(char* text, std::size_t size, const char* format, std::va_list arguments)
    __attribute__((format(printf, 3, 0)));
