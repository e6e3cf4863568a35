// The real checker on files of a test's own.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/Files.h"

struct CheckResult {
    int status;  // exit status, or -1 when a signal ended it
    int signal;  // that signal, or 0
    std::string out;
    std::string err;
};

// A start of the checker that goes on by itself.
class CheckProcess {
public:
    // `prepare` runs in the child ahead of the program. Its environment is TMPDIR and the C locale alone.
    CheckProcess(const std::vector<std::string>& arguments, const std::string& temporary,
                 const std::function<void()>& prepare = {}, const std::string& program = "");
    ~CheckProcess();
    CheckProcess(const CheckProcess&) = delete;
    CheckProcess& operator=(const CheckProcess&) = delete;

    void Kill(int signal) const;

    // Waits for the end of the process and of all that it has started.
    CheckResult Wait();

private:
    test_support::TempDir m_outputs;
    int m_process;
};

// Configuration files, a mount table and a temporary folder of its own. Each run checks that the folders are left as
// they were.
class CheckTest : public testing::Test {
public:
    CheckTest();

    std::string Config() const { return m_folder.File("config"); }
    std::string Temporary() const { return m_folder.File("tmp"); }
    std::string MountTable() const { return m_folder.File("mtab"); }
    std::string Path(const std::string& name) const { return Config() + "/" + name; }

    void Put(const std::string& name, const std::string& text) const;
    void PutBoth(const std::string& global, const std::string& local) const;

    // The mount points of the table.
    void Mount(const std::vector<std::string>& mountPoints) const;

    // Runs on the folder and the table, with more options behind.
    CheckResult Check(std::vector<std::string> more = {}, const std::function<void()>& prepare = {}) const;

    // The output of a run with --json.
    nlohmann::json Json(int status) const;

    // The whole text of a run, which ends with the status, the folder's path in it as "DIR".
    std::string Text(int status) const;

    // Names, kinds, modes, times and contents of all that is in the folder.
    std::string Snapshot() const;

private:
    test_support::TempDir m_folder;
};

// A pair that "Apply" would write as it stands, with the drives /mnt/a to /mnt/c.
extern const char kCleanGlobal[];
extern const char kCleanLocal[];
