// A locale with a decimal comma, which a minimal system has none of.
#pragma once

#include "support/Files.h"

// While it lives, the numbers of this process have a decimal comma. The locale is compiled by the system's localedef
// into a folder of its own, from a definition that needs no locale sources on the machine.
class CommaLocale {
public:
    CommaLocale();
    ~CommaLocale();
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

private:
    test_support::TempDir m_folder;
};
