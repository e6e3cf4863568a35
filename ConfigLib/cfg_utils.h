// What the readers and writers of the configuration files share. Internal to ConfigLib.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "ConfigLib.h"
#include "cfg_scan.h"

// What a line form says of a line.
enum class LineResult {
    NotMine,    // try the next form; also a line that was used and goes on all the same
    Done,       // take the next line
    LoadFails,  // the load ends with CONFIG_LOAD_FAILED
};

// A line form that begins with a tag; the handler gets what stands behind it. A table of these is tried in its order.
template <typename Reader>
struct TagForm {
    const char* tag;
    std::size_t length;
    LineResult (*read)(Reader& reader, LineScanner value);
};

template <typename Reader, std::size_t N>
constexpr TagForm<Reader> Tag(const char (&tag)[N], LineResult (*read)(Reader&, LineScanner)) {
    return {tag, N - 1, read};
}

// Tries `count` forms on a line and stops at the first one that does not pass it on.
template <typename Reader>
LineResult TryForms(Reader& reader, const TagForm<Reader>* forms, std::size_t count, const char* line) {
    for (const TagForm<Reader>* form = forms; form != forms + count; ++form) {
        LineScanner scanner(line);
        if (scanner.Literal(form->tag, form->length)) {
            const LineResult result = form->read(reader, scanner);
            if (result != LineResult::NotMine) {
                return result;
            }
        }
    }
    return LineResult::NotMine;
}

template <typename Reader, std::size_t N>
LineResult TryForms(Reader& reader, const TagForm<Reader> (&forms)[N], const char* line) {
    return TryForms(reader, forms, N, line);
}

struct FileCloser {
    // The result of closing is not looked at.
    void operator()(std::FILE* file) const;
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// The configuration location and the longest file name of this library.
constexpr std::size_t CONFIG_PATH_SIZE = 1024 + 64;
using ConfigPath = char[CONFIG_PATH_SIZE];

// The text of one label; only between ConfigLib_Init and ConfigLib_DeInit.
inline const char* DeviceLabel(int type, DEVICE_LABEL field) {
    return g_DeviceTypeName[type][field];
}

// Builds the full path of a file of the configuration location.
void BuildConfigPath(ConfigPath& path, const char* name);

// Reports "Config: Cannot open config file '%s' (%u)" with the path and the system's last error number.
void ReportCannotOpen(const char* path);

// Opens a file of the configuration location for reading. On failure reports it as above and returns null. What is
// neither a file nor a directory reads as empty.
FilePtr OpenConfigFile(const char* name);

// Reads up to the next line that is not empty once normalised, into a buffer of `size` bytes. A longer line continues
// as a further line; a NUL byte ends its line. False at the end of the file or when a read delivers nothing.
bool ReadConfigLine(std::FILE* file, char* line, int size);

// Copies a run into a field of `size` bytes, cut to size - 1, with a terminator.
void CopyRun(char* field, std::size_t size, const TextRun& run);

// Appends "/" to a directory of 2 characters or more that ends neither in "\" nor in "/". A value that fills its field
// of `size` bytes stays without.
void AppendClosingSlash(char* directory, std::size_t size);

// "%u.%u.%u.%u,%u.%u.%u.%u": with exactly 4 numbers stores the first address, with exactly 8 both, with any other
// count nothing and returns false. Octets are not range-checked: a value above 255 spills into the next octet.
bool ScanAddresses(LineScanner scanner, std::uint32_t (&addresses)[2]);

// A list of offline nodes or devices.
struct OfflineList {
    const char* complaint;                             // message with one %u for a number that is 0 or above 64
    void (*mark)(void* record, std::uint32_t number);  // stores a good number
    void* record;
};

// Scans comma-separated numbers from `list` on until one does not scan or no comma follows. Returns whether a number
// was taken; sets `status` to CONFIG_LOAD_WITH_ERRORS on a complaint. A bad number is complained about and scanned
// again for ever: that is meant.
bool ScanOfflineList(const char* list, const OfflineList& target, int& status);

// Writes a configuration file under a temporary name and moves it over the old one. A reader sees the old file or the
// new one, whole; so does the next start after a crash or a power cut, since the new bytes are on the disk before the
// move.
class ConfigFileWriter {
public:
    // Makes the temporary file anew; reports a failure. Both names are borrowed.
    ConfigFileWriter(const char* temporaryName, const char* finalName);
    ~ConfigFileWriter();
    ConfigFileWriter(const ConfigFileWriter&) = delete;
    ConfigFileWriter& operator=(const ConfigFileWriter&) = delete;

    bool IsOpen() const { return file_ >= 0; }

    // Writes one item, together with its neighbours. A short write is remembered and does not stop the sequence.
    void Item(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // "%u.%u.%u.%u" behind `lead`.
    void Address(const char* lead, std::uint32_t address);

    // Brings the bytes to the disk, closes the temporary file and renames it. Returns whether the file is in place;
    // after a failed write or sync the temporary file stays where it is. Nothing is reported.
    bool Commit();

private:
    void Flush();
    void Sync();
    void Close();

    static constexpr std::size_t kItemSize = 2048;  // bytes of one formatted item and its terminator
    static constexpr std::size_t kGathered = 4096;  // bytes that are gathered before they are written

    ConfigPath temporary_;
    ConfigPath final_;
    int file_;
    bool complete_ = true;
    std::size_t pending_ = 0;  // gathered, not yet written
    char buffer_[kGathered + kItemSize];
};

// A text that begins at byte `offset` of a record of `size` bytes, for printing with "%.*s". The form may put more into
// a field than it holds, so the text is followed up to its zero byte wherever that lies inside the record.
struct RecordText {
    int length;
    const char* begin;
};
RecordText TextInRecord(const void* record, std::size_t offset, std::size_t size);
