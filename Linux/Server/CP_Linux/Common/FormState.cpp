#include "FormState.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

constexpr char kDefaultName[] = "The Recorder";
constexpr char kDefaultGeneralPath[] = "/mnt/c";  // never survives the filling from the records

constexpr std::size_t kMaxNameBytes = 64;           // of the name that "Apply" takes over
constexpr std::size_t kMaxGeneralPathBytes = 2048;  // wider than the record's field: that is meant
constexpr unsigned int kLastStorageCount = 15;      // the walk ends when the count exceeds this

// Removes every slash at the end, and nothing else.
void rtrim(std::string& text) {
    text.erase(text.find_last_not_of('/') + 1);
}

std::string rtrim_copy(std::string text) {
    rtrim(text);
    return text;
}

// Copies `length` bytes of text and a zero byte to byte `offset` of a record. A text longer than its field runs on into
// the fields behind it, as far as byte `end`; what would lie beyond is cut.
void PutText(void* record, std::size_t offset, std::size_t end, const char* text, std::size_t length) {
    const std::size_t count = std::min(length, end - offset - 1);
    auto* to = static_cast<unsigned char*>(record) + offset;
    std::memcpy(to, text, count);
    to[count] = 0;
}

// The text at byte `offset` of a record, up to its zero byte, wherever ahead of byte `end` that lies.
std::string TextAt(const void* record, std::size_t offset, std::size_t end) {
    const char* begin = static_cast<const char*>(record) + offset;
    return {begin, strnlen(begin, end - offset)};
}

// Whether a drive is the directory of this text; the second form of it is without closing slashes.
bool IsPathOf(const DriveRecord& drive, const std::string& text, const std::string& trimmed) {
    return drive.path == text || drive.path == trimmed;
}

}  // namespace

void SetFormDefaults(const FormFields& form) {
    std::memset(form.systemName, 0, sizeof form.systemName);
    std::memcpy(form.systemName, kDefaultName, sizeof kDefaultName);
    form.systemNameLen = 0;
    form.generalStorageIndex = 0;
    std::memset(form.generalStoragePath, 0, sizeof form.generalStoragePath);
    std::memcpy(form.generalStoragePath, kDefaultGeneralPath, sizeof kDefaultGeneralPath);
    form.generalStoragePathLen = 0;
    form.recorderIdIndex = 0;
    form.recorderCountIndex = 0;
}

void FillForm(const FormFields& form, CONFIGURATION__GLOBAL& global, CONFIGURATION__LOCAL& local) {
    if (global.szClusterName[0] != '\0') {
        static_assert(sizeof global.szClusterName <= sizeof form.systemName, "the name fits the edit buffer");
        std::memcpy(form.systemName, global.szClusterName, std::strlen(global.szClusterName) + 1);
    }
    form.systemNameLen = static_cast<int>(std::strlen(form.systemName));

    global.uiNodeCount = std::max(global.uiNodeCount, 1U);
    local.uiNodeID = std::max(std::min(local.uiNodeID, global.uiNodeCount), 1U);
    form.recorderCountIndex = static_cast<int>(global.uiNodeCount) - 1;
    form.recorderIdIndex = static_cast<int>(local.uiNodeID) - 1;

    const std::size_t length = std::strlen(global.szGeneralStoragePath);
    if (length >= sizeof form.generalStoragePath) {
        std::abort();  // a path that does not fit ends the process, and that is meant
    }
    std::memcpy(form.generalStoragePath, global.szGeneralStoragePath, length + 1);
    form.generalStoragePathLen = static_cast<int>(length);
}

void FindGeneralStorage(const FormFields& form) {
    const std::string configured = form.generalStoragePath;
    const std::string trimmed = rtrim_copy(configured);
    for (std::size_t i = 0; i < form.drives.size(); ++i) {
        if (IsPathOf(form.drives[i], configured, trimmed)) {
            form.generalStorageIndex = static_cast<int>(i);
        }
    }
}

bool HasGeneralStorage(const std::vector<DriveRecord>& drives, const std::string& path) {
    const std::string trimmed = rtrim_copy(path);
    return std::any_of(drives.begin(), drives.end(),
                       [&](const DriveRecord& drive) { return IsPathOf(drive, path, trimmed); });
}

bool HasRecordingStorage(const std::vector<DriveRecord>& drives, const std::string& path) {
    const std::string trimmed = rtrim_copy(path);
    return std::any_of(drives.begin(), drives.end(), [&](const DriveRecord& drive) { return drive.path == trimmed; });
}

void FindRecordingDrives(const FormFields& form, const CONFIGURATION__LOCAL& local) {
    const unsigned int count = local.uiRecordingStorageCount;
    for (unsigned int j = 0; j < count; ++j) {
        const std::string configured = rtrim_copy(local.szRecordingStorage[j]);
        for (std::size_t i = 0; i < form.drives.size(); ++i) {
            if (form.drives[i].path == configured) {
                form.driveSelected[i] = 1;
            }
        }
    }
}

// Order and overlap are meant.
void StoreTopology(const FormFields& form, CONFIGURATION__GLOBAL& global, CONFIGURATION__LOCAL& local) {
    static_assert(offsetof(CONFIGURATION__GLOBAL, uiNodeCount) == sizeof global.szClusterName,
                  "the byte behind the name is the number's lowest");
    global.uiNodeCount = static_cast<unsigned int>(form.recorderCountIndex) + 1;
    local.uiNodeID = static_cast<unsigned int>(form.recorderIdIndex) + 1;
    PutText(&global, offsetof(CONFIGURATION__GLOBAL, szClusterName), sizeof global, form.systemName,
            std::min(static_cast<std::size_t>(form.systemNameLen), kMaxNameBytes));
}

void StoreStorages(const FormFields& form, CONFIGURATION__GLOBAL& global, CONFIGURATION__LOCAL& local) {
    const std::string general =
        form.drives.empty() ? std::string() : form.drives[static_cast<std::size_t>(form.generalStorageIndex)].path;
    PutText(&global, offsetof(CONFIGURATION__GLOBAL, szGeneralStoragePath), sizeof global, general.c_str(),
            std::min(general.size(), kMaxGeneralPathBytes));

    local.uiRecordingStorageCount = 0;
    local.szRecordingStorage[0][0] = '\0';
    for (std::size_t i = 0; i < form.drives.size() && local.uiRecordingStorageCount <= kLastStorageCount; ++i) {
        if (form.driveSelected[i] != 0) {
            const std::size_t slot = offsetof(CONFIGURATION__LOCAL, szRecordingStorage) +
                                     local.uiRecordingStorageCount * sizeof local.szRecordingStorage[0];
            PutText(&local, slot, offsetof(CONFIGURATION__LOCAL, vHardware), form.drives[i].path.c_str(),
                    form.drives[i].path.size());
            ++local.uiRecordingStorageCount;
        }
    }
}

bool AreStoragesValid(const std::vector<DriveRecord>& drives, const int* driveSelected,
                      const CONFIGURATION__GLOBAL& global) {
    const std::string general = TextAt(&global, offsetof(CONFIGURATION__GLOBAL, szGeneralStoragePath), sizeof global);
    const std::string trimmed = rtrim_copy(general);
    for (std::size_t i = 0; i < drives.size(); ++i) {
        if (driveSelected[i] != 0 && IsPathOf(drives[i], general, trimmed)) {
            return false;
        }
    }
    return true;
}

bool IsAutostartOn() {
    return std::filesystem::exists(AUTOSTART_ENTRY);
}
