#include "ConfigLib/ConfigTest.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "Log.h"
#include "support/DataPath.h"

namespace {

constexpr char kFolder[] = "Orvan/Config/Server";

}  // namespace

ConfigTest::ConfigTest() {
    test_support::SetProgramDataPath(m_folder.Path());
    m_folder.MakeDir(kFolder);
    ConfigLib_Init(0);
    ConfigLib_Load_Global();
    ConfigLib_Load_Local();
    log.Clear();
}

// Loads without files empty the records and free what they own.
ConfigTest::~ConfigTest() {
    test_support::SetProgramDataPath(m_folder.Path() + "/none");
    ConfigLib_Load_Global();
    ConfigLib_Load_Local();
    ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_CAMERA, false);
    ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_SENSOR, false);
    ConfigLib_DeInit();
}

std::string ConfigTest::Path(const std::string& name) const {
    return m_folder.File(std::string(kFolder) + "/" + name);
}

void ConfigTest::Put(const std::string& name, const std::string& bytes) const {
    test_support::WriteFile(Path(name), bytes);
}

std::string ConfigTest::Get(const std::string& name) const {
    return test_support::ReadFile(Path(name));
}

bool ConfigTest::Has(const std::string& name) const {
    return test_support::Exists(Path(name));
}

void ConfigTest::UseIndex(unsigned int index) {
    ConfigLib_DeInit();
    ConfigLib_Init(index);
}

int ConfigTest::LoadGlobal(const std::string& text) {
    Put("global.cfg", text);
    log.Clear();
    return ConfigLib_Load_Global();
}

int ConfigTest::LoadLocal(const std::string& text) {
    Put("local.cfg", text);
    log.Clear();
    return ConfigLib_Load_Local();
}

int ConfigTest::LoadDeviceInfo(const std::string& text) {
    Put("camera.cfg", text);
    log.Clear();
    return ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_CAMERA, false);
}

std::string ConfigTest::SavedGlobal() const {
    EXPECT_TRUE(ConfigLib_Save_Global(&Global()));
    return Get("global.cfg");
}

std::string ConfigTest::SavedLocal() const {
    EXPECT_TRUE(ConfigLib_Save_Local(&Local()));
    return Get("local.cfg");
}

Messages ConfigTest::Logged() const {
    for (const test_support::LoggedMessage& message : log.Messages()) {
        EXPECT_EQ(message.level, LOG_LEVEL_ERROR) << message.text;
    }
    return log.Texts();
}

CONFIGURATION__GLOBAL& ConfigTest::Global() {
    return *ConfigFile_GetStructPtr_Global();
}

CONFIGURATION__LOCAL& ConfigTest::Local() {
    return *ConfigFile_GetStructPtr_Local();
}

namespace {

int g_logPipe = -1;

// One message, one line. A full pipe makes the child wait, a closed one ends it.
__attribute__((format(printf, 2, 3))) void LogToPipe(LOG_LEVEL /*level*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vdprintf(g_logPipe, format, arguments);
    va_end(arguments);
    dprintf(g_logPipe, "\n");
}

Messages ReadLines(int pipe, std::size_t count) {
    Messages lines;
    std::FILE* stream = fdopen(pipe, "r");
    char* line = nullptr;
    std::size_t size = 0;
    while (lines.size() < count && getline(&line, &size, stream) > 0) {
        lines.emplace_back(line);
        if (lines.back().back() == '\n') {
            lines.back().pop_back();
        }
    }
    std::free(line);
    std::fclose(stream);
    return lines;
}

}  // namespace

Messages LoggedByChild(const std::function<void()>& function, std::size_t count, bool& ended) {
    int ends[2];
    if (pipe(ends) != 0) {
        return {"no pipe"};
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        g_logPipe = ends[1];
        Log = LogToPipe;
        function();
        std::exit(0);
    }
    close(ends[1]);
    const Messages messages = ReadLines(ends[0], count);
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    ended = WIFEXITED(status);
    return messages;
}
