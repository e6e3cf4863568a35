// Formatting of messages and file items, against vsnprintf.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <vector>

#include "FormatText.h"
#include "FuzzSupport.h"

namespace {

// The arguments of every format, in this order.
constexpr const char* kConversions[4][4] = {
    {"%s", "%.2s", "%9s", "%-4s"},
    {"%u", "%08x", "%3u", "%02X"},
    {"%d", "%5d", "%+d", "%i"},
    {"%s", "%.3s", "%s", "%-1s"},
};
constexpr unsigned kNumbers[] = {0, 1, 9, 10, 4294967295, INT_MAX, 0x80000000, 123456789};

// A format from the bytes: each gives the next conversion, a percent sign or a character.
std::string MakeFormat(std::string_view bytes) {
    std::string format;
    unsigned argument = 0;
    for (const char c : bytes) {
        const auto value = static_cast<unsigned char>(c);
        if (value >= 0xF0 && argument < 4) {
            // Plain ones mostly: any other hands the whole format over to vsnprintf.
            format += kConversions[argument++][value >= 0xFC ? value % 4 : 0];
        } else if (c == '%') {
            format += "%%";
        } else if (c != '\0') {
            format += c;
        }
    }
    return format;
}

using Formatter = int (*)(char*, std::size_t, const char*, std::va_list);

int Call(Formatter formatter, char* text, std::size_t size, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int result = formatter(text, size, format, arguments);
    va_end(arguments);
    return result;
}

struct Formatted {
    int result;
    std::vector<char> text;
};

Formatted Run(Formatter formatter, std::size_t size, const std::string& format, const std::string& text,
              unsigned number) {
    // Exactly as long as said, so that a write behind it is seen.
    Formatted formatted = {0, std::vector<char>(size, 'x')};
    formatted.result = Call(formatter, formatted.text.data(), size, format.c_str(), text.c_str(), number,
                            static_cast<int>(number), text.c_str());
    return formatted;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::string_view bytes = fuzz::AsText(data + 2, size - 2);
    const std::string text(bytes.substr(0, std::min<std::size_t>(data[0] % 32, bytes.find('\0'))));
    const unsigned number = kNumbers[data[0] / 32];
    const std::string format = MakeFormat(bytes);
    const Formatted expected = Run(std::vsnprintf, 1U + data[1], format, text, number);
    const Formatted actual = Run(FormatText, 1U + data[1], format, text, number);
    fuzz::Expect(expected.result == actual.result, "the result is that of vsnprintf");
    fuzz::Expect(std::strcmp(expected.text.data(), actual.text.data()) == 0, "the text is that of vsnprintf");
    return 0;
}
