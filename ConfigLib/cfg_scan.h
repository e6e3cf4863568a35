// Scanning of normalised lines, piece by piece. Each piece gives what sscanf's conversion of the same name gives in the
// "C" locale, signs, leading white space, wrap-around and partial matches included, so that a chain of pieces stands
// for one sscanf pattern: the chain ends at the first piece that does not match. Not installed: for ConfigLib and for
// the checker, which names sections as the readers do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// A run of characters inside a line; not terminated, borrowed from the line.
struct TextRun {
    const char* begin;
    std::size_t length;
};

// What `%[^...]` stops at besides the end of the text.
enum class StopAt { LineEnd, CommaOrLineEnd };

class LineScanner {
public:
    explicit LineScanner(const char* text) : at_(text) {}

    // What is left of the line.
    const char* Rest() const { return at_; }

    // A literal: exactly these characters, no white space skipped. On a mismatch nothing is consumed. Most literals
    // that are tried differ early, so they are compared in place.
    bool Literal(const char* text, std::size_t length) {
        std::size_t same = 0;
        while (same < length && at_[same] == text[same]) {
            ++same;
        }
        if (same < length) {
            return false;
        }
        at_ += length;
        return true;
    }
    bool Literal(const char* text) {
        const char* at = at_;
        while (*text != '\0' && *at == *text) {
            ++at;
            ++text;
        }
        if (*text != '\0') {
            return false;
        }
        at_ = at;
        return true;
    }
    bool Literal(char c) {
        if (*at_ != c) {
            return false;
        }
        ++at_;
        return true;
    }

    // A blank of a pattern: any amount of white space, none included.
    void WhiteSpace() {
        while (IsSpace(*at_)) {
            ++at_;
        }
    }

    // %c
    bool Character(char& value) {
        if (*at_ == '\0') {
            return false;
        }
        value = *at_++;
        return true;
    }

    // %u: 64-bit strtoul, saturating, cut to 32 bits. "-1" gives 4294967295.
    bool Number(std::uint32_t& value) {
        WhiteSpace();
        const bool negative = Sign();
        if (Digit(*at_) > 9) {
            return false;
        }
        Accumulator number;
        while (Digit(*at_) <= 9) {
            number.Add(Digit(*at_++), 10);
        }
        value = static_cast<std::uint32_t>(number.Result(negative));
        return true;
    }

    // %hhx: as %x, with an optional "0x", cut to 8 bits.
    bool HexByte(std::uint8_t& value) {
        WhiteSpace();
        const bool negative = Sign();
        Accumulator number;
        bool any = false;
        if (*at_ == '0') {
            any = true;
            ++at_;
            if (*at_ == 'x' || *at_ == 'X') {
                ++at_;  // "0x" without a digit behind it is a 0 all the same
            }
        }
        while (Digit(*at_) <= 15) {
            any = true;
            number.Add(Digit(*at_++), 16);
        }
        value = static_cast<std::uint8_t>(number.Result(negative));
        return any;
    }

    // %<width>[^\n] or %<width>[^,\n]: 1 to `width` characters.
    bool Text(TextRun& run, std::size_t width, StopAt stop) {
        run = {at_, strnlen(at_, width)};
        CutAt('\n', run);
        if (stop == StopAt::CommaOrLineEnd) {
            CutAt(',', run);
        }
        at_ += run.length;
        return run.length > 0;
    }

private:
    // strtoul's arithmetic: a value that does not fit sticks at the largest one, whatever its sign.
    class Accumulator {
    public:
        void Add(unsigned digit, unsigned base) {
            overflow_ = overflow_ || __builtin_mul_overflow(value_, static_cast<std::uint64_t>(base), &value_) ||
                        __builtin_add_overflow(value_, static_cast<std::uint64_t>(digit), &value_);
        }
        std::uint64_t Result(bool negative) const {
            if (overflow_) {
                return UINT64_MAX;
            }
            return negative ? 0 - value_ : value_;
        }

    private:
        std::uint64_t value_ = 0;
        bool overflow_ = false;
    };

    static void CutAt(char c, TextRun& run) {
        const void* hit = std::memchr(run.begin, c, run.length);
        if (hit != nullptr) {
            run.length = static_cast<std::size_t>(static_cast<const char*>(hit) - run.begin);
        }
    }

    static bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    // Value of a digit, letters in either case; 16 or more for anything else.
    static unsigned Digit(char c) {
        const unsigned decimal = static_cast<unsigned char>(c) - static_cast<unsigned>('0');
        if (decimal <= 9) {
            return decimal;
        }
        const unsigned letter = (static_cast<unsigned char>(c) | 0x20U) - static_cast<unsigned>('a');
        return letter <= 5 ? letter + 10 : 16;
    }

    // Takes a sign; true for a minus.
    bool Sign() {
        if (*at_ == '-' || *at_ == '+') {
            return *at_++ == '-';
        }
        return false;
    }

    const char* at_;
};
