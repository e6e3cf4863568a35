// How files are opened: what is handed on to a program that a client starts meanwhile.
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "ConfigLib/ConfigTest.h"
#include "Log.h"

namespace {

// Descriptors of this process that lead to a file of this ending, as "name" or "name, handed on".
std::vector<std::string> OpenFiles(const std::string& ending) {
    std::vector<std::string> found;
    DIR* folder = opendir("/proc/self/fd");
    while (const dirent* entry = readdir(folder)) {
        char target[4096] = {};
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        if (readlink(link.c_str(), target, sizeof target - 1) < 0) {
            continue;
        }
        const std::string path = target;
        if (path.size() >= ending.size() && path.compare(path.size() - ending.size(), ending.size(), ending) == 0) {
            const bool closed = (fcntl(std::atoi(entry->d_name), F_GETFD) & FD_CLOEXEC) != 0;
            found.push_back(path.substr(path.rfind('/') + 1) + (closed ? "" : ", handed on"));
        }
    }
    closedir(folder);
    return found;
}

std::vector<std::string> g_openAtMessage;

// Looks while a load is at work, which is when it complains.
void LookAtMessage(LOG_LEVEL /*level*/, const char* /*format*/, ...) {
    g_openAtMessage = OpenFiles(".cfg");
}

class OpenFile : public ConfigTest {
protected:
    // What is open while the load of these bytes complains.
    template <typename Load>
    std::vector<std::string> WhileLoading(const Load& load) {
        const auto before = Log;
        g_openAtMessage.clear();
        Log = LookAtMessage;
        load();
        Log = before;
        return g_openAtMessage;
    }
};

TEST_F(OpenFile, OfALoadIsNotHandedOn) {
    EXPECT_EQ(WhileLoading([this] { LoadGlobal("CamerasConnectedToNode1 = 1\nClusterName = a\nNodeCount = 1\n"); }),
              std::vector<std::string>{"global.cfg"});
    EXPECT_EQ(WhileLoading([this] { LoadLocal("RecordingStorage16 = \"/a\"\nNodeID = 1\n"); }),
              std::vector<std::string>{"local.cfg"});
}

}  // namespace
