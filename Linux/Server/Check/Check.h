// The check from the two files to the report.
#pragma once

#include <string>

#include "Options.h"
#include "Report.h"

// Works in `folder`, an empty one of its own, and in this process's records: once in a process. Throws NotChecked.
Report RunCheck(const Options& options, const std::string& folder);
