#include "CP_Linux/CommaLocale.h"

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

constexpr char kDefinition[] =
    "LC_NUMERIC\n"
    "decimal_point \",\"\n"
    "thousands_sep \"\"\n"
    "grouping -1\n"
    "END LC_NUMERIC\n";

// The characters that a locale's definition is written with.
std::string CharacterMap() {
    std::string map = "<code_set_name> ASCII\n<comment_char> %\n<escape_char> /\nCHARMAP\n";
    for (unsigned int c = ' '; c < 127; ++c) {
        char line[32];
        std::snprintf(line, sizeof line, "<U%04X> /x%02x c\n", c, c);
        map += line;
    }
    return map + "END CHARMAP\n";
}

}  // namespace

CommaLocale::CommaLocale() {
    test_support::WriteFile(m_folder.File("definition"), kDefinition);
    test_support::WriteFile(m_folder.File("characters"), CharacterMap());
    // It complains about the categories that are left out, and writes the locale all the same.
    const std::string command =
        "cd '" + m_folder.Path() + "' && localedef --force -f ./characters -i ./definition ./comma >localedef.log 2>&1";
    [[maybe_unused]] const int complained = std::system(command.c_str());
    setenv("LOCPATH", m_folder.Path().c_str(), 1);
    if (std::setlocale(LC_NUMERIC, "comma") == nullptr) {
        throw std::runtime_error("no locale: " + test_support::ReadFile(m_folder.File("localedef.log")));
    }
}

CommaLocale::~CommaLocale() {
    std::setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
}
