// The command line.
#pragma once

#include <string>

constexpr char DEFAULT_DIRECTORY[] = "/etc/Orvan/Config/Server";

struct Options {
    enum class Action { Check, Help, Version };
    Action action = Action::Check;
    std::string directory = DEFAULT_DIRECTORY;  // without closing slashes
    std::string mountTable = "/etc/mtab";
    bool ownMountTable = true;  // of this machine, so that a missing one means no drives
    bool json = false;
    bool quiet = false;
};

// Throws NotChecked on wrong usage.
Options ParseOptions(int count, const char* const* arguments);

std::string HelpText();
std::string VersionText();

// The path of a file in the folder.
std::string PathIn(const std::string& directory, const std::string& name);
