// A process that stands still at each entry and exit of its system calls, so that it can be killed just there, or have
// a call answered otherwise.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>

namespace faults {

struct CallStop {
    long number = -1;  // of the call, SYS_...
    bool entry = false;
    std::uint64_t arguments[6] = {};  // at the entry
    long result = 0;                  // at the exit; a failure is a negative error number
};

// The name of a system call of saves, or its number.
std::string CallName(long number);

class Tracer {
public:
    // Starts `prepare` in a child process, untraced, then stops it right before `function`. The child ends after it.
    // Throws std::runtime_error where no process can be traced.
    Tracer(const std::function<void()>& prepare, const std::function<void()>& function);
    // Attaches to one thread of a program that runs; the program stays when the tracer goes. It runs on until Next.
    explicit Tracer(pid_t thread);
    // Kills a child that it started.
    ~Tracer();
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;

    // Runs on to the next stop. False when the process has ended instead, or is about to: it has called exit_group.
    bool Next(CallStop& stop);

    // At an entry: the call is not made; it gives `result`, a negative error number for a failure.
    void Answer(long result);
    // At an entry: the call is made with another argument, counted from 0.
    void SetArgument(int index, std::uint64_t value);

    // Kills the process where it stands and waits for its end. A call at whose entry it stands is not made.
    void Kill();
    // Lets it run to its end. Gives what waitpid says.
    int Finish();
    // The text at an address of the process, up to its zero byte.
    std::string Text(std::uint64_t address) const;

private:
    int WaitForIt();
    bool RunToStop();

    pid_t m_pid;
    bool m_ownChild;
    bool m_ended = false;
    int m_status = 0;
    int m_signal = 0;  // to be delivered when it goes on
    bool m_answering = false;
    long m_answer = 0;
};

}  // namespace faults
