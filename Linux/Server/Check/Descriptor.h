// An open file descriptor, closed with the object.
#pragma once

#include <unistd.h>

class Descriptor {
public:
    // Takes the descriptor over; a negative number is none.
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int Number() const { return m_number; }

    // What close gives, 0 where there is nothing to close.
    int Close() {
        const int number = m_number;
        m_number = -1;
        return number >= 0 ? close(number) : 0;
    }

private:
    int m_number;
};
