// The scanner of normalised lines stands for the standard library's sscanf: here each piece is held against it.
#include "cfg_scan.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

// Value and number of characters taken; -1 where nothing was converted.
struct Scanned {
    long long value;
    long taken;
    bool operator==(const Scanned& other) const { return value == other.value && taken == other.taken; }
};

std::ostream& operator<<(std::ostream& stream, const Scanned& scanned) {
    return stream << scanned.value << " after " << scanned.taken << " characters";
}

Scanned StandardNumber(const char* text) {
    unsigned int value = 0;
    int taken = 0;
    return std::sscanf(text, "%u%n", &value, &taken) == 1 ? Scanned{value, taken} : Scanned{-1, -1};
}

Scanned OwnNumber(const char* text) {
    LineScanner scanner(text);
    std::uint32_t value = 0;
    return scanner.Number(value) ? Scanned{value, scanner.Rest() - text} : Scanned{-1, -1};
}

Scanned StandardHexByte(const char* text) {
    unsigned char value = 0;
    int taken = 0;
    return std::sscanf(text, "%hhx%n", &value, &taken) == 1 ? Scanned{value, taken} : Scanned{-1, -1};
}

Scanned OwnHexByte(const char* text) {
    LineScanner scanner(text);
    std::uint8_t value = 0;
    return scanner.HexByte(value) ? Scanned{value, scanner.Rest() - text} : Scanned{-1, -1};
}

// Calls `check` with every text of up to `length` characters of the alphabet.
template <class Check>
void ForEveryText(const std::string& alphabet, std::size_t length, std::string& text, const Check& check) {
    check(text.c_str());
    if (text.size() < length && !testing::Test::HasFailure()) {
        for (const char c : alphabet) {
            text.push_back(c);
            ForEveryText(alphabet, length, text, check);
            text.pop_back();
        }
    }
}

TEST(LineScanner, NumberTakesWhatTheStandardScanTakesOnEveryShortText) {
    std::string text;
    ForEveryText("0179-+ \t\v,.x", 5, text, [](const char* t) { EXPECT_EQ(OwnNumber(t), StandardNumber(t)) << t; });
}

TEST(LineScanner, HexByteTakesWhatTheStandardScanTakesOnEveryShortText) {
    std::string text;
    ForEveryText("0179afgxXA-+ \n:", 5, text, [](const char* t) { EXPECT_EQ(OwnHexByte(t), StandardHexByte(t)) << t; });
}

const char* const kLargeNumbers[] = {
    "4294967295",
    "4294967296",
    "4294967297",
    "42949672960",
    "9223372036854775807",
    "9223372036854775808",
    "18446744073709551614",
    "18446744073709551615",
    "18446744073709551616",
    "18446744073709551617",
    "99999999999999999999",
    "184467440737095516150",
    "000000000000000000000000000000000000000000000001",
};

TEST(LineScanner, NumberWrapsAndSaturatesAsTheStandardScanDoes) {
    for (const std::string number : kLargeNumbers) {
        for (const char* sign : {"", "-", "+"}) {
            const std::string text = sign + number;
            EXPECT_EQ(OwnNumber(text.c_str()), StandardNumber(text.c_str())) << text;
        }
    }
}

TEST(LineScanner, HexByteWrapsAndSaturatesAsTheStandardScanDoes) {
    for (const char* text : {"ff", "100", "1ff", "fffffffffffffffe", "ffffffffffffffff", "10000000000000000",
                             "-10000000000000000", "-1", "0xff", "0XFF", "0x", "-0x", "0x0x", "00x1", "0xg"}) {
        EXPECT_EQ(OwnHexByte(text), StandardHexByte(text)) << text;
    }
}

TEST(LineScanner, TextTakesWhatTheStandardScanTakes) {
    std::string text;
    ForEveryText("a, \n", 6, text, [](const char* t) {
        for (const bool comma : {false, true}) {
            char expected[8] = "";
            const int count = std::sscanf(t, comma ? "%4[^,\n]" : "%4[^\n]", expected);
            LineScanner scanner(t);
            TextRun run{};
            EXPECT_EQ(scanner.Text(run, 4, comma ? StopAt::CommaOrLineEnd : StopAt::LineEnd), count == 1) << t;
            EXPECT_EQ(std::string(run.begin, run.length), expected) << t;
        }
    });
}

TEST(LineScanner, LiteralsSkipNothingAndAreTakenWholeOrNotAtAll) {
    LineScanner scanner(" ab");
    EXPECT_FALSE(scanner.Literal("ab"));
    scanner.WhiteSpace();
    EXPECT_FALSE(scanner.Literal("ac"));
    EXPECT_STREQ(scanner.Rest(), "ab");
    EXPECT_TRUE(scanner.Literal('a'));
    EXPECT_FALSE(scanner.Literal('a'));
    char c = '\0';
    EXPECT_TRUE(scanner.Character(c));
    EXPECT_EQ(c, 'b');
    EXPECT_FALSE(scanner.Character(c));
}

}  // namespace
