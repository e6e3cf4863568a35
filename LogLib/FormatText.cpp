#include "FormatText.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

namespace {

// A buffer with a place kept for the terminator. Counts what would have been written, as vsnprintf does.
class Output {
public:
    Output(char* text, std::size_t size) : m_at(text), m_room(size - 1) {}

    void Put(const char* bytes, std::size_t count) {
        m_wanted += count;
        const std::size_t fitting = std::min(count, m_room);
        std::memcpy(m_at, bytes, fitting);
        m_at += fitting;
        m_room -= fitting;
    }

    void PutNumber(unsigned int value, bool negative) {
        char digits[1 + 3 * sizeof value];  // a byte takes less than three digits
        char* const end = digits + sizeof digits;
        char* begin = end;
        do {
            *--begin = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0);
        if (negative) {
            *--begin = '-';
        }
        Put(begin, static_cast<std::size_t>(end - begin));
    }

    std::size_t Terminate() {
        *m_at = '\0';
        return m_wanted;
    }

private:
    char* m_at;
    std::size_t m_room;
    std::size_t m_wanted = 0;
};

// A list that can be handed on and comes back advanced on every machine.
struct Arguments {
    std::va_list list;
};

// One conversion, named by the character behind the "%". False when it is not one of ours.
bool PutConversion(Output& output, char conversion, Arguments& arguments) {
    switch (conversion) {
        case 's': {
            const char* text = va_arg(arguments.list, const char*);
            if (text != nullptr) {
                output.Put(text, std::strlen(text));
            }
            return text != nullptr;
        }
        case 'u':
            output.PutNumber(va_arg(arguments.list, unsigned int), false);
            return true;
        case 'd': {
            const int value = va_arg(arguments.list, int);
            const auto magnitude = static_cast<unsigned int>(value);
            output.PutNumber(value < 0 ? 0 - magnitude : magnitude, value < 0);
            return true;
        }
        case '%':
            output.Put("%", 1);
            return true;
        default:
            return false;
    }
}

// False when the format has something else in it; what has been put is then of no use.
bool PutAll(Output& output, const char* format, Arguments& arguments) {
    for (;;) {
        const char* percent = strchrnul(format, '%');
        output.Put(format, static_cast<std::size_t>(percent - format));
        if (*percent == '\0') {
            return true;
        }
        if (!PutConversion(output, percent[1], arguments)) {
            return false;
        }
        format = percent + 2;
    }
}

}  // namespace

int FormatText(char* text, std::size_t size, const char* format, std::va_list arguments) {
    if (size > 0) {
        Arguments own;
        va_copy(own.list, arguments);
        Output output(text, size);
        const bool complete = PutAll(output, format, own);
        const std::size_t wanted = output.Terminate();
        va_end(own.list);
        if (complete && wanted <= INT_MAX) {
            return static_cast<int>(wanted);
        }
    }
    return std::vsnprintf(text, size, format, arguments);
}
