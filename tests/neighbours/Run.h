// One step of the product, run as a user, with an end whatever happens.
#pragma once

#include <sys/types.h>

#include <cstdarg>
#include <functional>
#include <string>
#include <vector>

namespace neighbours {

struct Outcome {
    bool hung = false;   // did not come to its end within the limit, and was killed
    int status = -1;     // exit status, -1 when it did not exit
    int signal = 0;      // that ended it
    std::string output;  // standard output, and the messages for the log
};

// The library's messages, as PrintLog writes them to the standard output.
inline const std::string kLogged = "logged: ";

// Takes the place of Log in a step of ConfigLib alone.
void PrintLog(const char* format, va_list arguments);

// Runs the function in a child process as this user. Its result is the exit status. It may take these seconds more than
// a single step.
Outcome RunAs(uid_t user, const std::function<int()>& step, int seconds = 0);

// Starts the program without a display, as this user: it ends with a memory fault once directories, log and
// configuration have been handled.
Outcome StartProgram(uid_t user);

// Gives the rights of root back to a step for as long as it lives: for what somebody else does meanwhile.
class AsRoot {
public:
    AsRoot();
    ~AsRoot();
    AsRoot(const AsRoot&) = delete;
    AsRoot& operator=(const AsRoot&) = delete;

private:
    uid_t user_;
};

}  // namespace neighbours
