// The figures of one kind of fault: how often it was tried and what was lost.
#pragma once

#include <string>

namespace faults {

// How often a kind of fault is to be tried: the number in this variable of the environment, `usual` where it is not
// set. Throws std::runtime_error for what is no number above 0.
int RunsFor(const char* variable, int usual);

// Counts while it lives. At the end it prints the row "figures | kind | runs | lost", which scripts/faults.sh gathers,
// and fails the running test when something was lost or nothing was tried.
class Figures {
public:
    explicit Figures(std::string kind);
    ~Figures();
    Figures(const Figures&) = delete;
    Figures& operator=(const Figures&) = delete;

    void Ran() { ++m_runs; }
    // Counts one loss. The first few are told, then only the number.
    void Lost(const std::string& what);
    // One run, and its loss where `loss` is not empty.
    void Run(const std::string& loss);

    int Runs() const { return m_runs; }
    int Losses() const { return m_losses; }

private:
    std::string m_kind;
    int m_runs = 0;
    int m_losses = 0;
};

}  // namespace faults
