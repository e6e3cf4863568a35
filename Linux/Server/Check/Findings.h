// What the checker itself has to say, and what to do about it.
#pragma once

#include <string>
#include <vector>

#include "Input.h"
#include "Report.h"

// A FIFO or a device in the file's place.
Finding NoRegularFile(const InputFile& file);

// The general storage's path is too long for the form; `content` is that of global.cfg at `path`.
Finding PathTooLong(const std::string& path, const std::string& content, std::size_t length);

// The status of the autostart entry cannot be told.
Finding DialogFailed(const std::string& reason);

// Those of the storages that are not mounted, which "Apply" would take out. `general` is what would become the general
// storage.
std::vector<Finding> NotMounted(const std::vector<Storage>& storages, const std::string& general);

Finding Refused(const std::string& general);

// "Apply" would fail to write the file: there is a folder in its place, or the file would have a line that the writer
// does not take.
Finding NotWritten(FileIndex file, bool isFolder);

// "Apply" would write a file that did not load.
Finding LostFile(FileIndex file);

Finding ChangedValue(FileIndex file, const std::string& tag);
Finding Dropped(const DroppedLine& line);
Finding NextStart(const Finding& message);

// For an entry that would be emptied or removed.
Finding AutostartLost(Autostart autostart);
