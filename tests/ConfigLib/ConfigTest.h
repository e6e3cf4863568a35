// What the tests of ConfigLib share: a configuration folder of their own, the log as a list of texts, and child
// processes for what ends, or never ends, a process.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ConfigLib.h"
#include "support/Child.h"
#include "support/Files.h"
#include "support/LogRecorder.h"

using test_support::PassesInChild;
using Messages = std::vector<std::string>;

// Every test begins with ConfigLib_Init(0), empty records, an empty folder and an empty log.
class ConfigTest : public testing::Test {
public:
    ConfigTest();
    ~ConfigTest() override;

    // Full path of a file of the configuration folder.
    std::string Path(const std::string& name) const;
    void Put(const std::string& name, const std::string& bytes) const;
    std::string Get(const std::string& name) const;
    bool Has(const std::string& name) const;

    // Ends the use of the library and begins it anew with this index.
    static void UseIndex(unsigned int index);

    // Writes the file and loads it. The log then holds the messages of this load alone.
    int LoadGlobal(const std::string& text);
    int LoadLocal(const std::string& text);
    int LoadDeviceInfo(const std::string& text);

    // Saves the library's own record and gives the bytes of the file.
    std::string SavedGlobal() const;
    std::string SavedLocal() const;

    // The texts logged so far; each must have come at LOG_LEVEL_ERROR.
    Messages Logged() const;

    static CONFIGURATION__GLOBAL& Global();
    static CONFIGURATION__LOCAL& Local();

    test_support::LogRecorder log;

private:
    test_support::TempDir m_folder;
};

// "a.b.c.d" as a record holds it.
constexpr unsigned int Address(unsigned int a, unsigned int b, unsigned int c, unsigned int d) {
    return a | b << 8 | c << 16 | d << 24;
}

// Runs the function in a child whose log goes to this process, until `count` messages have come or the child has ended;
// then kills it. Gives the messages, and in `ended` whether the function came to an end by itself.
Messages LoggedByChild(const std::function<void()>& function, std::size_t count, bool& ended);
