// FormatText against the C library's own formatting, which it has to agree with byte by byte.
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <random>
#include <string>

#include "FormatText.h"

namespace {

constexpr std::size_t kLargest = 256;  // of the buffers here
constexpr char kUntouched = '\x7E';

struct Formatted {
    int result;
    std::array<char, kLargest> bytes;  // of the whole buffer, behind the text included

    bool operator==(const Formatted& other) const { return result == other.result && bytes == other.bytes; }
};

using Formatter = int (*)(char*, std::size_t, const char*, std::va_list);

Formatted FormatWith(Formatter formatter, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
Formatted FormatWith(Formatter formatter, std::size_t size, const char* format, ...) {
    Formatted formatted{};
    formatted.bytes.fill(kUntouched);
    std::va_list arguments;
    va_start(arguments, format);
    formatted.result = formatter(formatted.bytes.data(), size, format, arguments);
    va_end(arguments);
    return formatted;
}

std::string Text(const Formatted& formatted) {
    return formatted.bytes.data();
}

// A macro, so that the compiler checks each format against its arguments.
#define EXPECT_AS_LIBRARY(size, ...)                                                                        \
    do {                                                                                                    \
        const Formatted own = FormatWith(FormatText, size, __VA_ARGS__);                                    \
        const Formatted library = FormatWith(std::vsnprintf, size, __VA_ARGS__);                            \
        EXPECT_TRUE(own == library) << Text(own) << " (" << own.result << ") for " << Text(library) << " (" \
                                    << library.result << ")";                                               \
    } while (false)

TEST(FormatText, GivesTextStringsAndNumbers) {
    const Formatted formatted = FormatWith(FormatText, kLargest, "'%s' is %u of %d, 100%%", "A b", 7U, -8);
    EXPECT_EQ(Text(formatted), "'A b' is 7 of -8, 100%");
    EXPECT_EQ(formatted.result, 22);
}

TEST(FormatText, GivesTheEndsOfTheRangesAsTheLibraryDoes) {
    for (const unsigned int value : {0U, 1U, 9U, 10U, 99U, 100U, 4294967294U, UINT_MAX}) {
        EXPECT_AS_LIBRARY(kLargest, "%u", value);
    }
    for (const int value : {INT_MIN, INT_MIN + 1, -10, -1, 0, 1, 10, INT_MAX}) {
        EXPECT_AS_LIBRARY(kLargest, "<%d>", value);
    }
}

TEST(FormatText, CutsAsTheLibraryDoesAtEverySizeAndReturnsTheFullLength) {
    for (std::size_t size = 0; size <= 40; ++size) {
        EXPECT_AS_LIBRARY(size, "Config: %s (%u) and %d%%", "some text", 123456789U, -42);
    }
}

TEST(FormatText, LeavesOtherConversionsToTheLibrary) {
    for (std::size_t size = 0; size <= 60; ++size) {
        EXPECT_AS_LIBRARY(size, "%s %02X:%02X %5u %-4d| %lu %c %.2f %u", "first", 10U, 255U, 7U, 8, 9UL, 'c', 1.5, 3U);
        EXPECT_AS_LIBRARY(size, "%.*s|%.3s|%10s", 3, "abcdef", "uvwxyz", "right");
    }
}

TEST(FormatText, LeavesANullStringToTheLibrary) {
    const char* volatile none = nullptr;
    EXPECT_AS_LIBRARY(kLargest, "a %s b %u", const_cast<const char*>(none), 5U);
}

TEST(FormatText, KeepsBytesThatAreNoCharactersOfTheLocale) {
    EXPECT_AS_LIBRARY(kLargest, "\xE9\xFF%s\x80", "\xC3\x28\xF0");
}

TEST(FormatText, AgreesWithTheLibraryOnRandomTextsNumbersAndSizes) {
    std::mt19937 random(20250305);
    std::uniform_int_distribution<int> byte(1, 255);
    std::uniform_int_distribution<std::size_t> length(0, 40);
    std::uniform_int_distribution<std::size_t> size(0, 120);
    std::uniform_int_distribution<unsigned int> shift(0, 31);
    const auto text = [&] {
        std::string made(length(random), ' ');
        for (char& c : made) {
            c = static_cast<char>(byte(random));
        }
        return made;
    };
    for (int turn = 0; turn < 200000 && !testing::Test::HasFailure(); ++turn) {
        const std::string first = text();
        const std::string second = text();
        const auto number = static_cast<unsigned int>(random()) >> shift(random);
        const std::size_t cut = size(random);
        EXPECT_AS_LIBRARY(cut, "%s is %u, not %d%%; %s", first.c_str(), number, static_cast<int>(number),
                          second.c_str());
    }
}

}  // namespace
