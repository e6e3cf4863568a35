#include "Options.h"

#include <string_view>

#include "Report.h"

namespace {

constexpr char kTryHelp[] = "; --help tells the options";

void SetDirectory(Options& options, std::string_view value) {
    const std::size_t last = value.find_last_not_of('/');
    options.directory = last == std::string_view::npos ? "/" : value.substr(0, last + 1);
}

void SetMountTable(Options& options, std::string_view value) {
    options.mountTable = value;
    options.ownMountTable = false;
}

// An option without a value has no setter for one.
struct OptionRow {
    std::string_view name;
    void (*setValue)(Options&, std::string_view);
    void (*set)(Options&);
};

constexpr OptionRow kOptions[] = {
    {"--directory", SetDirectory, nullptr},
    {"--mtab", SetMountTable, nullptr},
    {"--json", nullptr, [](Options& options) { options.json = true; }},
    {"--quiet", nullptr, [](Options& options) { options.quiet = true; }},
    {"--help", nullptr, [](Options& options) { options.action = Options::Action::Help; }},
    {"--version", nullptr, [](Options& options) { options.action = Options::Action::Version; }},
};

// False when the argument is not this option.
bool Take(const OptionRow& row, std::string_view argument, Options& options) {
    const std::size_t equals = argument.find('=');
    if (argument.substr(0, equals) != row.name) {
        return false;
    }
    const bool hasValue = equals != std::string_view::npos;
    if (row.setValue == nullptr) {
        if (hasValue) {
            throw NotChecked{std::string(row.name) + " takes no value" + kTryHelp};
        }
        row.set(options);
        return true;
    }
    if (!hasValue || equals + 1 == argument.size()) {
        throw NotChecked{std::string(row.name) + " needs a value, as in " + std::string(row.name) + "=PATH" + kTryHelp};
    }
    row.setValue(options, argument.substr(equals + 1));
    return true;
}

void TakeAny(std::string_view argument, Options& options) {
    for (const OptionRow& row : kOptions) {
        if (Take(row, argument, options)) {
            return;
        }
    }
    throw NotChecked{"unknown argument '" + std::string(argument) + "'" + kTryHelp};
}

}  // namespace

Options ParseOptions(int count, const char* const* arguments) {
    Options options;
    for (int i = 1; i < count; ++i) {
        TakeAny(arguments[i], options);
    }
    if (options.json && options.quiet) {
        throw NotChecked{std::string("--json and --quiet exclude each other") + kTryHelp};
    }
    return options;
}

std::string HelpText() {
    return "usage: vesmara-check [--directory=DIR] [--mtab=FILE] [--json] [--quiet]\n"
           "\n"
           "Says what the readers of global.cfg and local.cfg find in them, and what \"Apply\"\n"
           "on the untouched form would write. Changes nothing.\n"
           "\n"
           "  --directory=DIR  folder of the two files (/etc/Orvan/Config/Server)\n"
           "  --mtab=FILE      mount table to take the drives from (/etc/mtab)\n"
           "  --json           print one JSON object\n"
           "  --quiet          print the verdict alone\n"
           "  --help           print this text\n"
           "  --version        print the version\n"
           "\n"
           "Status: 0 clean, 1 notice, 2 broken, 3 not checked.\n";
}

std::string VersionText() {
    return "vesmara-check " VESMARA_VERSION "\n";
}

std::string PathIn(const std::string& directory, const std::string& name) {
    return directory == "/" ? "/" + name : directory + "/" + name;
}
