// The records as values: for the report, and to tell whether two loads gave the same.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "External/Plugin/config.h"
#include "Report.h"

// What the readers took in, under the names of the report's key "values".
std::shared_ptr<const Json> GlobalValues(const CONFIGURATION__GLOBAL& global);
std::shared_ptr<const Json> LocalValues(const CONFIGURATION__LOCAL& local);

// Each field of a record under the tag that it comes from, with nothing rounded and directories without their closing
// slashes. The values are bytes to compare.
using RecordFields = std::vector<std::pair<std::string, std::string>>;
RecordFields FieldsOf(const CONFIGURATION__GLOBAL& global);
RecordFields FieldsOf(const CONFIGURATION__LOCAL& local);

// The tags whose values differ. Both are of one kind of record.
std::vector<std::string> ChangedTags(const RecordFields& before, const RecordFields& after);
