// Loading the two files with the library's readers, their messages caught.
#pragma once

#include <functional>
#include <string>

#include "Report.h"

// The two files of a load as the messages are to name them.
struct LoadedFiles {
    std::string folder;                  // of the configuration files of this process, as the messages have it
    std::string shown;                   // what stands for it in the messages
    const char* state;                   // what is said behind the path of a file where a line is named
    const std::string* contents[FILES];  // to tell lines from
};

// Loads both files into the library's records and fills load results and messages, with the line of each that has one.
// A load that repeats a message without end is left, and what would come behind it is not done: false then. Points Log
// at its own collector for good.
bool LoadBoth(const LoadedFiles& files, FileReport (&reports)[FILES]);

// The messages that a piece of work gives, without explanations.
std::vector<std::string> MessagesOf(const std::function<void()>& work);
