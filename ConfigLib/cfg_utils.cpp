#include "cfg_utils.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "FormatText.h"
#include "Log.h"
#include "OpenFile.h"
#include "OsLayer.h"

namespace {

constexpr std::size_t kLocationSize = 1024;                   // bytes, by contract with the callers
constexpr char kConfigDirectory[] = "/Orvan/Config/Server/";  // below the program data path

constexpr DEVICE_TYPE_LABELS g_DeviceTypeName_built_in[CAPTURE_DEVICE_TYPES] = {
    {"Camera", "camera", "Cameras", "cameras"},
    {"Sensor", "sensor", "Sensors", "sensors"},
};
static_assert(sizeof g_DeviceTypeName_built_in == 256, "2 rows of 4 fields of 32 bytes");

// What normalisation makes of a character outside quotes; 0 for what does not stay. Taken as a signed 8-bit number
// everything up to the blank goes, and so does every byte of 128 or above; the quote is not copied in either state.
constexpr std::array<char, 256> MakeFoldTable() {
    std::array<char, 256> table{};
    for (int c = 33; c < 128; ++c) {
        const bool upper = c >= 'A' && c <= 'Z';
        table[static_cast<std::size_t>(c)] = static_cast<char>(upper ? c - 'A' + 'a' : c);
    }
    table['"'] = 0;
    return table;
}
constexpr std::array<char, 256> kFold = MakeFoldTable();

// The file of which a loader has taken a line, up to its end or its closing; null otherwise.
std::FILE* g_readFile = nullptr;

}  // namespace

DEVICE_TYPE_LABELS* g_DeviceTypeName = nullptr;
unsigned int g_uiConfigIdx = 0;

void ConfigLib_Init(unsigned int configIdx) {
    g_uiConfigIdx = configIdx < 2 ? 0 : configIdx;
    // A table of an earlier call is leaked; that is meant.
    g_DeviceTypeName = new DEVICE_TYPE_LABELS[CAPTURE_DEVICE_TYPES];
    std::memcpy(g_DeviceTypeName, g_DeviceTypeName_built_in, sizeof g_DeviceTypeName_built_in);
}

void ConfigLib_DeInit() {
    delete[] g_DeviceTypeName;
    g_DeviceTypeName = nullptr;
}

void ConfigFile_Utils_RemoveSpaces(char* line) {
    const char* from = line;
    char* to = line;
    for (;;) {
        const auto c = static_cast<unsigned char>(*from++);
        const char folded = kFold[c];
        if (folded != '\0') {
            *to++ = folded;
        } else if (c == '"') {
            const char* close = std::strchr(from, '"');
            const std::size_t length = close != nullptr ? static_cast<std::size_t>(close - from) : std::strlen(from);
            std::memmove(to, from, length);
            to += length;
            from += close != nullptr ? length + 1 : length;
        } else if (c == '\0') {
            *to = '\0';
            return;
        }
    }
}

void ConfigFile_Utils_GetConfigFileLocation(char* location) {
    location[0] = '\0';
    // The result is not looked at: without a program data path the location is directly under the root.
    (void)OS_GetProgramDataPath(location, kLocationSize);
    std::strncat(location, kConfigDirectory, kLocationSize - std::strlen(location) - 1);
}

long long ConfigFile_Utils_GetReadPosition() {
    return g_readFile != nullptr ? static_cast<long long>(ftello(g_readFile)) : -1;
}

void FileCloser::operator()(std::FILE* file) const {
    g_readFile = nullptr;
    (void)std::fclose(file);
}

void BuildConfigPath(ConfigPath& path, const char* name) {
    char location[kLocationSize];
    ConfigFile_Utils_GetConfigFileLocation(location);
    std::snprintf(path, sizeof path, "%s%s", location, name);
}

void ReportCannotOpen(const char* path) {
    Log(LOG_LEVEL_ERROR, "Config: Cannot open config file '%s' (%u)", path,
        static_cast<unsigned int>(OS_GetLastError()));
}

FilePtr OpenConfigFile(const char* name) {
    ConfigPath path;
    BuildConfigPath(path, name);
    FilePtr file(StreamOf(OpenToRead(path), "r"));
    if (file == nullptr) {
        ReportCannotOpen(path);
    }
    return file;
}

bool ReadConfigLine(std::FILE* file, char* line, int size) {
    // The stream is the load's own: no other thread can hold it, so its lock is not taken.
    while (feof_unlocked(file) == 0 && fgets_unlocked(line, size, file) != nullptr) {
        line[size - 1] = '\0';
        ConfigFile_Utils_RemoveSpaces(line);
        if (line[0] != '\0') {
            g_readFile = file;
            return true;
        }
    }
    g_readFile = nullptr;
    return false;
}

void CopyRun(char* field, std::size_t size, const TextRun& run) {
    const std::size_t length = std::min(run.length, size - 1);
    std::memcpy(field, run.begin, length);
    field[length] = '\0';
}

void AppendClosingSlash(char* directory, std::size_t size) {
    const std::size_t length = std::strlen(directory);
    if (length < 2 || length + 1 >= size) {
        return;
    }
    const char last = directory[length - 1];
    if (last != '\\' && last != '/') {
        directory[length] = '/';
        directory[length + 1] = '\0';
    }
}

bool ScanAddresses(LineScanner scanner, std::uint32_t (&addresses)[2]) {
    constexpr char kSeparators[] = "...,...";  // behind each number but the last
    constexpr int kOctets = 4;
    std::uint32_t octets[2 * kOctets] = {};
    int count = 0;
    while (count < 2 * kOctets && scanner.Number(octets[count])) {
        ++count;
        if (count == 2 * kOctets || !scanner.Literal(kSeparators[count - 1])) {
            break;
        }
    }
    if (count != kOctets && count != 2 * kOctets) {
        return false;
    }
    for (int first = 0; first < count; first += kOctets) {
        const std::uint32_t* octet = octets + first;
        addresses[first / kOctets] = octet[0] | octet[1] << 8 | octet[2] << 16 | octet[3] << 24;
    }
    return true;
}

bool ScanOfflineList(const char* list, const OfflineList& target, int& status) {
    bool taken = false;
    while (*list != '\0') {
        std::uint32_t number = 0;
        if (!LineScanner(list).Number(number)) {
            break;
        }
        if (number == 0 || number > 64) {
            Log(LOG_LEVEL_ERROR, target.complaint, number);
            status = CONFIG_LOAD_WITH_ERRORS;
            continue;  // without moving on: a bad number makes the load run without end, and that is meant
        }
        target.mark(target.record, number);
        taken = true;
        const char* comma = std::strchr(list, ',');
        if (comma == nullptr) {
            break;
        }
        list = comma + 1;
    }
    return taken;
}

ConfigFileWriter::ConfigFileWriter(const char* temporaryName, const char* finalName) {
    BuildConfigPath(temporary_, temporaryName);
    BuildConfigPath(final_, finalName);
    file_ = OpenAnew(temporary_);
    if (file_ < 0) {
        ReportCannotOpen(temporary_);
    }
}

ConfigFileWriter::~ConfigFileWriter() {
    if (IsOpen()) {
        Close();
    }
}

void ConfigFileWriter::Item(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int formatted = FormatText(buffer_ + pending_, kItemSize, format, arguments);
    va_end(arguments);
    if (formatted < 0) {
        complete_ = false;
        return;
    }
    const auto wanted = static_cast<std::size_t>(formatted);
    const std::size_t kept = std::min(wanted, kItemSize - 1);
    complete_ = complete_ && kept == wanted;
    pending_ += kept;
    if (pending_ >= kGathered) {
        Flush();
    }
}

void ConfigFileWriter::Address(const char* lead, std::uint32_t address) {
    Item("%s%u.%u.%u.%u", lead, address & 0xFF, address >> 8 & 0xFF, address >> 16 & 0xFF, address >> 24);
}

void ConfigFileWriter::Flush() {
    complete_ = WriteAll(file_, buffer_, pending_) && complete_;
    pending_ = 0;
}

// A file system that has no such call keeps its promise in another way or has none to keep.
void ConfigFileWriter::Sync() {
    int result = 0;
    do {
        result = fdatasync(file_);
    } while (result != 0 && errno == EINTR);
    if (result != 0 && errno != EINVAL && errno != ENOSYS && errno != ENOTSUP) {
        complete_ = false;
    }
}

// Intended: the result of closing is not looked at. The bytes are on the disk by then.
void ConfigFileWriter::Close() {
    (void)close(file_);
    file_ = -1;
}

namespace {

// Whether the path still leads to the file of this status: in a folder that everybody may write to, somebody can have
// put another one there.
bool IsStill(const char* path, const struct stat& file) {
    struct stat found {};
    return lstat(path, &found) == 0 && found.st_dev == file.st_dev && found.st_ino == file.st_ino;
}

// Brings a rename to the disk. Where that fails the new file is in place all the same.
void SyncDirectoryOf(const ConfigPath& path) {
    ConfigPath directory;
    std::memcpy(directory, path, sizeof directory);
    *(std::strrchr(directory, '/') + 1) = '\0';
    const int descriptor = open(directory, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        (void)fsync(descriptor);
        (void)close(descriptor);
    }
}

}  // namespace

bool ConfigFileWriter::Commit() {
    Flush();
    Sync();
    struct stat written {};
    const bool known = fstat(file_, &written) == 0;
    Close();
    if (!complete_ || !known || !IsStill(temporary_, written) || std::rename(temporary_, final_) != 0) {
        return false;
    }
    SyncDirectoryOf(final_);
    return true;
}

RecordText TextInRecord(const void* record, std::size_t offset, std::size_t size) {
    const char* begin = static_cast<const char*>(record) + offset;
    return {static_cast<int>(strnlen(begin, size - offset)), begin};
}
