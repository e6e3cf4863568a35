// The system calls of a save: seen in their order, and made to fail.
#pragma once

#include <string>
#include <vector>

// While it lives, this thread's calls of write, fdatasync, fsync, close and rename are noted by name, and one of them
// can be made to fail. A failed close has closed all the same, as on Linux.
class SaveCalls {
public:
    SaveCalls();
    ~SaveCalls();
    SaveCalls(const SaveCalls&) = delete;
    SaveCalls& operator=(const SaveCalls&) = delete;

    // Lets the call of this name and number (from 1; 0 for each one) fail with the error number. A write that
    // fails with 0 takes no byte and says so.
    void Fail(const std::string& name, int error, int number = 1);

    // Lets each write take one byte only.
    void WriteByteByByte();

    // The calls so far; an fsync of a directory is "fsync directory", a write to a descriptor that programs would
    // inherit is "write to a file that is handed on".
    const std::vector<std::string>& Names() const;
};
