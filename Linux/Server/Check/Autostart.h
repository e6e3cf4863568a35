// What "Apply" on the untouched form would make of the autostart entry.
#pragma once

#include <string>

#include "Report.h"

// The form shows "Yes" when the entry exists, and "Apply" then writes a new copy of the start entry over it; else it
// removes the name. Both files are only read. A start entry that is no regular file counts as one without text.
Autostart AutostartAfterApply(const std::string& startEntry, const std::string& autostartEntry, bool isOn);
