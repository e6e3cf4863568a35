#include "Apply.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ConfigLib.h"
#include "DataPath.h"
#include "FsHelper.h"
#include "Input.h"
#include "Loading.h"
#include "PrivateFolder.h"

namespace {

constexpr std::size_t kRoomLeft = 64 * 1024;  // bytes, more than a saver gathers before it writes

CONFIGURATION__GLOBAL& Global() {
    return *ConfigFile_GetStructPtr_Global();
}

CONFIGURATION__LOCAL& Local() {
    return *ConfigFile_GetStructPtr_Local();
}

DeviceRun OwnedDevices(CAPTURE_DEVICE_TYPE type, unsigned int node) {
    if (node > MAX_NODES) {
        return {};
    }
    const std::uint32_t first = Global().uiFirstDeviceOfNode[type][node];
    const std::uint32_t count = Global().uiDevicesConnected[type][node];
    if (first == 0 || count == 0) {
        return {};
    }
    return std::make_pair(first, first + count - 1);
}

// A saver tells that it failed, not why: it counts as a matter of the records only where more fits on the disk than the
// saver can have had left to write.
void RequireRoom() {
    const std::string path = ConfigFolder() + "/room";
    WriteNewFile(path, std::string(kRoomLeft, ' '));
    unlink(path.c_str());
}

}  // namespace

UntouchedForm::UntouchedForm(std::vector<DriveRecord> drives)
    : m_drives(std::move(drives)), m_driveSelected(m_drives.size()) {
    SetFormDefaults(Fields());
}

FormFields UntouchedForm::Fields() {
    return {m_systemName,
            m_systemNameLen,
            m_generalStorageIndex,
            m_generalStoragePath,
            m_generalStoragePathLen,
            m_recorderIdIndex,
            m_recorderCountIndex,
            m_drives,
            m_driveSelected.data()};
}

void UntouchedForm::Fill() {
    FillForm(Fields(), Global(), Local());
    if (!m_drives.empty()) {
        FindGeneralStorage(Fields());
        FindRecordingDrives(Fields(), Local());
    }
}

bool UntouchedForm::Store() {
    StoreTopology(Fields(), Global(), Local());
    StoreStorages(Fields(), Global(), Local());
    return AreStoragesValid(m_drives, m_driveSelected.data(), Global());
}

Recorder UntouchedForm::ShownRecorder() const {
    Recorder recorder;
    recorder.id = static_cast<unsigned int>(m_recorderIdIndex) + 1;
    recorder.count = static_cast<unsigned int>(m_recorderCountIndex) + 1;
    recorder.name.assign(m_systemName, static_cast<std::size_t>(m_systemNameLen));
    recorder.cameras = OwnedDevices(CAPTURE_DEVICE_CAMERA, recorder.id);
    recorder.sensors = OwnedDevices(CAPTURE_DEVICE_SENSOR, recorder.id);
    return recorder;
}

namespace {

// The table that stands for a machine without drives.
bool IsNullDevice(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
}

}  // namespace

std::vector<DriveRecord> DrivesOf(const std::string& mountTable, bool mustBeThere) {
    // Whether it can be read without waiting; the C library then reads it by its own rules.
    const InputFile table = ReadInput(mountTable);
    if (!IsNullDevice(mountTable) && table.kind != InputFile::Kind::Regular &&
        (mustBeThere || table.kind != InputFile::Kind::Unopenable)) {
        throw NotChecked{"the mount table '" + mountTable + "' cannot be read (" +
                         (table.error != 0 ? std::strerror(table.error) : "no regular file") + ")"};
    }
    std::vector<DriveRecord> drives;
    for (const MountItem& mount : GetMountsOf(mountTable.c_str(), nullptr)) {
        drives.push_back({"", mount.mountPoint, 0});
    }
    return drives;
}

NamedSections SectionsOfLoaded() {
    NamedSections sections;
    const unsigned int node = Local().uiNodeID;
    for (int type = 0; node <= MAX_NODES && type < static_cast<int>(CAPTURE_DEVICE_TYPES); ++type) {
        const std::uint32_t first = Global().uiFirstDeviceOfNode[type][node];
        if (first != 0) {
            sections[static_cast<std::size_t>(type)] = {first, first + Global().uiDevicesConnected[type][node] - 1};
        }
    }
    return sections;
}

std::vector<Storage> StoragesOf(const std::vector<DriveRecord>& drives) {
    std::vector<Storage> storages;
    for (unsigned int number = 1; number <= MAX_RECORDING_STORAGES; ++number) {
        const char* path = Local().szRecordingStorage[number - 1];
        if (path[0] != '\0') {
            storages.push_back({number, path, HasRecordingStorage(drives, path)});
        }
    }
    const char* general = Global().szGeneralStoragePath;
    if (general[0] != '\0') {
        storages.push_back({0, general, HasGeneralStorage(drives, general)});
    }
    return storages;
}

SavedFiles SaveRecords() {
    SavedFiles saved{};
    const std::vector<std::string> messages = MessagesOf([&] {
        saved[FILE_GLOBAL] = ConfigLib_Save_Global(ConfigFile_GetStructPtr_Global());
        saved[FILE_LOCAL] = ConfigLib_Save_Local(ConfigFile_GetStructPtr_Local());
    });
    if (!messages.empty()) {
        throw NotChecked{"no place for the temporary files: " + messages[0]};
    }
    if (!saved[FILE_GLOBAL] || !saved[FILE_LOCAL]) {
        RequireRoom();
    }
    return saved;
}
