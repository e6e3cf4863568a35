// Work in a child process: what hangs, aborts or is interrupted there leaves the parent in order.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <functional>
#include <string>

// Holds back the signals that end a program from outside (those that were not ignored already) until it is destroyed.
class SignalsHeld {
public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

    const sigset_t& Set() const { return m_held; }

private:
    sigset_t m_held;
    sigset_t m_before;
};

struct WorkerResult {
    int status = 0;    // exit status of the child, or 128 plus the signal that ended it
    std::string text;  // what it handed over
    int signal = 0;    // the held signal that came in meanwhile; the child is gone then
};

// Runs the work in a child that ends with this process at the latest. The work returns its exit status and fills the
// text. Throws NotChecked when no child can be made.
WorkerResult RunWorker(const SignalsHeld& held, const std::function<int(std::string& text)>& work);

// Whether the probe ends by abort() in a child of its own. Throws NotChecked when no child can be made or it ends in
// any third way.
bool Aborts(const std::function<void()>& probe);

// Runs a program with no environment but the C locale and returns what it writes to its standard output; its exit
// status goes to `status`. Throws NotChecked when it cannot be run.
std::string RunProgram(const char* const* arguments, int& status);
