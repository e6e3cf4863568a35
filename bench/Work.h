// What all benchmark programs share: pieces of work by name, timed by Google Benchmark or run a fixed number of times
// for an instruction counter. Work.cpp has the main function.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace bench {

// One piece of work with all that it needs; made afresh for each measurement.
class Job {
public:
    Job() = default;
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
    virtual ~Job() = default;

    // What is measured.
    virtual void Run() = 0;

    // What has to happen between two runs and is not measured.
    virtual void Between() {}
};

using JobMaker = std::function<std::unique_ptr<Job>()>;

// Adds a piece of work before main begins. With several threads each has a job of its own. The result is always true,
// so that a file can add its work with the initialiser of a constant.
bool AddWork(const std::string& name, JobMaker make, int threads = 1);

// Ends the program with a message. For a competitor that does not do the same work: its figure would mean nothing.
[[noreturn]] void Fail(const std::string& message);

}  // namespace bench
