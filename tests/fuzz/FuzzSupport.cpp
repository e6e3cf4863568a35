#include "FuzzSupport.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "ConfigLib.h"
#include "Log.h"
#include "OsLayer.h"

namespace fuzz {
namespace {

// A loader is left when it has complained so many times about a number in an offline list. One complaint is enough to
// know, since the reader does not move on; the others show that it does repeat itself.
constexpr unsigned kLeash = 1000;
constexpr char kEndlessComplaint[] = "number in offline list (";

struct LeashRanOut {};

// The folder of this program's files. It stands for "/etc".
class Folder {
public:
    Folder() {
        path_ = (std::filesystem::temp_directory_path() / "vesmara-fuzz-XXXXXX").string();
        if (mkdtemp(path_.data()) == nullptr) {
            std::fprintf(stderr, "cannot create %s\n", path_.c_str());
            std::exit(1);
        }
        std::filesystem::create_directories(path_ + "/Orvan/Config/Server");
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& Path() const { return path_; }
    std::string File(const char* name) const { return path_ + "/Orvan/Config/Server/" + name; }

private:
    std::string path_;
};

const Folder& TheFolder() {
    static const Folder folder;
    return folder;
}

struct Recorder {
    std::vector<std::string> messages;
    unsigned complaints = 0;  // about numbers in offline lists
    unsigned long loads = 0;
    unsigned long neverEnding = 0;
};
Recorder g_recorder;

__attribute__((format(printf, 2, 3))) void Record(LOG_LEVEL level, const char* format, ...) {
    Expect(level == LOG_LEVEL_ERROR, "each message is an error");
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Expect(length >= 0 && static_cast<std::size_t>(length) < sizeof text, "each message is shorter than 4096 bytes");
    if (std::strstr(text, kEndlessComplaint) != nullptr && ++g_recorder.complaints == kLeash) {
        throw LeashRanOut();
    }
    if (g_recorder.complaints < 2) {
        g_recorder.messages.emplace_back(text);
    }
}

void Report() {
    std::fprintf(stderr, "loads: %lu, of these left because they never end by design: %lu\n", g_recorder.loads,
                 g_recorder.neverEnding);
}

// The records of the last load are left to the end of the process; the leak check would find them. A load that finds no
// file gives them back.
void Release() {
    UseIndex(0);
    RemoveFile("local.cfg");
    ConfigLib_Load_Local();
    ConfigLib_DeInit();
}

// Takes the place of the log and makes the label table, once.
void SetUp() {
    static const bool done = [] {
        TheFolder();
        Log = Record;
        ConfigLib_Init(0);
        std::atexit(Release);
        std::atexit(Report);
        return true;
    }();
    (void)done;
}

void CheckMessages(int result) {
    const auto& messages = g_recorder.messages;
    for (const std::string& message : messages) {
        Expect(message.rfind("Config: ", 0) == 0, "each message begins with \"Config: \"");
    }
    Expect(result >= CONFIG_LOAD_FAILED && result <= CONFIG_LOAD_CLEAN, "a load returns 0, 1 or 2");
    Expect((result == CONFIG_LOAD_CLEAN) == messages.empty(), "a load is clean exactly when it gave no message");
}

// What the library reads in one go, as one line each: up to and with a line feed, at most size - 1 bytes, ending at a
// NUL byte; normalised, the empty ones left out.
std::vector<std::string> LinesOf(std::string_view bytes, std::size_t size) {
    std::vector<std::string> lines;
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        const std::size_t length = std::min(end == std::string_view::npos ? bytes.size() : end + 1, size - 1);
        std::string line = Normalised(bytes.substr(0, length));
        if (!line.empty()) {
            lines.push_back(std::move(line));
        }
        bytes.remove_prefix(length);
    }
    return lines;
}

bool ListNeverEnds(const char* list) {
    while (*list != '\0') {
        unsigned number = 0;
        if (std::sscanf(list, "%u", &number) != 1) {
            return false;
        }
        if (number == 0 || number > 64) {
            return true;
        }
        list = std::strchr(list, ',');
        if (list == nullptr) {
            return false;
        }
        ++list;
    }
    return false;
}

// True for a line that the local reader uses up before it looks for offline lists; a node ID is not among these.
bool IsUsedUpEarly(const char* line) {
    unsigned n[8];
    char text[1025];
    const int addresses =
        std::sscanf(line, "ip=%u.%u.%u.%u,%u.%u.%u.%u", &n[0], &n[1], &n[2], &n[3], &n[4], &n[5], &n[6], &n[7]);
    return addresses == 4 || addresses == 8 || std::sscanf(line, "maxmemuseallowed=%u", &n[0]) == 1 ||
           std::sscanf(line, "recordingstorage%u=%1024[^\n]", &n[0], text) == 2 ||
           std::sscanf(line, "camerastreampluginname=%1024[^\n]", text) == 1 ||
           std::sscanf(line, "sensorstreampluginname=%1024[^\n]", text) == 1;
}

}  // namespace

void Expect(bool holds, const char* promise) {
    if (!holds) {
        std::fprintf(stderr, "FINDING: this does not hold: %s\n", promise);
        for (const std::string& message : g_recorder.messages) {
            std::fprintf(stderr, "  message: %s\n", message.c_str());
        }
        std::abort();
    }
}

void PutFile(const char* name, std::string_view bytes) {
    SetUp();
    const int file = open(TheFolder().File(name).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    Expect(file >= 0, "the driver can create its file");
    Expect(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "and write it");
    close(file);
}

void RemoveFile(const char* name) {
    SetUp();
    unlink(TheFolder().File(name).c_str());
}

bool HasFile(const char* name) {
    struct stat status = {};
    return lstat(TheFolder().File(name).c_str(), &status) == 0;
}

std::string ReadFile(const char* name) {
    const int file = open(TheFolder().File(name).c_str(), O_RDONLY | O_CLOEXEC);
    Expect(file >= 0, "a file that was saved is there");
    std::string bytes;
    char block[16384];
    for (ssize_t count; (count = read(file, block, sizeof block)) > 0;) {
        bytes.append(block, static_cast<std::size_t>(count));
    }
    close(file);
    return bytes;
}

void UseIndex(unsigned index) {
    SetUp();
    ConfigLib_DeInit();
    ConfigLib_Init(index);
}

const std::vector<std::string>& Messages() {
    return g_recorder.messages;
}

int OnLeash(bool neverEnds, int (*load)()) {
    SetUp();
    g_recorder.messages.clear();
    g_recorder.complaints = 0;
    ++g_recorder.loads;
    int result = kNeverEnds;
    try {
        result = load();
    } catch (const LeashRanOut&) {
        ++g_recorder.neverEnding;
    }
    Expect((result == kNeverEnds) == neverEnds, "a load never ends exactly when a list of offline numbers says so");
    if (result != kNeverEnds) {
        CheckMessages(result);
    }
    return result;
}

std::string Normalised(std::string_view line) {
    std::string result;
    bool quoted = false;
    for (const char c : line.substr(0, line.find('\0'))) {
        if (c == '"') {
            quoted = !quoted;
        } else if (quoted) {
            result += c;
        } else if (static_cast<signed char>(c) > 32) {
            result += c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
        }
    }
    return result;
}

bool GlobalNeverEnds(std::string_view bytes) {
    unsigned nodeCount = 0;
    for (const std::string& line : LinesOf(bytes, 1184)) {
        unsigned count = 0;
        if (std::sscanf(line.c_str(), "nodecount=%u", &count) == 1) {
            if (nodeCount != 0 || count > 64) {
                return false;  // the load ends here
            }
            nodeCount = count;
        } else if (line.find("nodesoffline=") != std::string::npos && ListNeverEnds(line.c_str() + 13)) {
            return true;
        }
    }
    return false;
}

bool LocalNeverEnds(std::string_view bytes, unsigned nodeCount) {
    unsigned nodeID = 0;
    for (const std::string& line : LinesOf(bytes, 2048)) {
        unsigned id = 0;
        if (std::sscanf(line.c_str(), "nodeid=%u", &id) == 1) {
            if (nodeID != 0 || id > nodeCount) {
                return false;  // the load ends here
            }
            nodeID = id;
            continue;
        }
        const bool hasList =
            line.find("camerasoffline=") != std::string::npos || line.find("sensorsoffline=") != std::string::npos;
        // The list is taken from the eleventh character on, wherever the tag stands.
        if (hasList && !IsUsedUpEarly(line.c_str()) && ListNeverEnds(line.c_str() + 10)) {
            return true;
        }
    }
    return false;
}

TwoFiles Split(std::string_view input) {
    constexpr std::string_view kMark = "====\n";
    const std::size_t at = input.find(kMark);
    if (at == std::string_view::npos) {
        return {"ClusterName = a\nNodeCount = 1\nCamerasConnectedToNode1 = 4\nSensorsConnectedToNode1 = 2\n", input};
    }
    return {input.substr(0, at), input.substr(at + kMark.size())};
}

}  // namespace fuzz

// A definition in the program itself is found before the one in the shared library.
int OS_GetProgramDataPath(char* buffer, unsigned int size) {
    const std::string& path = fuzz::TheFolder().Path();
    if (path.size() >= size) {
        errno = ERANGE;
        return 0;
    }
    std::memcpy(buffer, path.c_str(), path.size() + 1);
    return 1;
}
