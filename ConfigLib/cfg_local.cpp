#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#include "Log.h"
#include "cfg_utils.h"

namespace {

using Hardware = CONFIGURATION__CAPTURE_HARDWARE;
using Model = CONFIGURATION__CAPTURE_DEVICE;

constexpr int kLineSize = 2048;                 // read buffer, bytes
constexpr std::size_t kFileNameSize = 32;       // bytes; two digits of index are in use, every other one fits
constexpr std::uint32_t kLastStorageRead = 15;  // number 16 is refused although the record has a slot for it
constexpr std::uint32_t kMaxSyncMode = 4;
// The list of an offline line is scanned from here: the length of the text "%soffline=" that the tag is made from,
// which is shorter than the tag. So the scan begins inside the word and no device is ever marked by a proper line.
constexpr std::size_t kOfflineListStart = 10;

// Widths of the scans; values are then cut to their fields.
constexpr std::size_t kShortWidth = 64;
constexpr std::size_t kLongWidth = 1024;
constexpr std::size_t kCtiParamsWidth = 32;

static_assert(offsetof(Hardware, szCTIName) == CAPTURE_HARDWARE_COMMON_SIZE, "a sensor's record ends there");

CONFIGURATION__LOCAL gLocal;

// ---- Reading -------------------------------------------------------------------------------------------------------

// One load: the records it works on, the status so far, and the open section.
struct LocalReader {
    CONFIGURATION__LOCAL& local;
    const CONFIGURATION__GLOBAL& global;
    int status = CONFIG_LOAD_CLEAN;
    bool inSection = false;
    int type = CAPTURE_DEVICE_CAMERA;  // of the open section, which is the last element of that type's list

    void Complain() { status = CONFIG_LOAD_WITH_ERRORS; }
    // A pointer, since a sensor's record is no whole Hardware.
    Hardware* Section() { return local.vHardware[type].back(); }
    std::uint32_t FirstDevice(int ofType) const { return OfNode(global.uiFirstDeviceOfNode[ofType]); }
    std::uint32_t DeviceCount(int ofType) const { return OfNode(global.uiDevicesConnected[ofType]); }

    // A client's record may count more nodes than the tables have: those own nothing.
    std::uint32_t OfNode(const std::uint32_t (&table)[MAX_NODES + 1]) const {
        return local.uiNodeID <= MAX_NODES ? table[local.uiNodeID] : 0;
    }
};

void FreeHardware(CONFIGURATION__LOCAL& local) {
    for (Hardware* camera : local.vHardware[CAPTURE_DEVICE_CAMERA]) {
        for (Model* model : camera->vCameraModels) {
            delete model;
        }
        delete camera;
    }
    for (Hardware* sensor : local.vHardware[CAPTURE_DEVICE_SENSOR]) {
        ::operator delete(static_cast<void*>(sensor));
    }
    for (auto& list : local.vHardware) {
        list.clear();
    }
}

void Reset(CONFIGURATION__LOCAL& local) {
    local.uiNodeID = 0;
    std::memset(local.uiIP, 0, sizeof local.uiIP);
    local.uiRecordingStorageCount = 0;
    local.fMaxMemUseAllowed = 0.0F;
    std::memset(local.szRecordingStorage, 0, sizeof local.szRecordingStorage);
    std::memset(local.szStreamPluginName, 0, sizeof local.szStreamPluginName);
    std::memset(local.szCaptureProcessPluginName, 0, sizeof local.szCaptureProcessPluginName);
    std::memset(local.szPostProcessPluginName, 0, sizeof local.szPostProcessPluginName);
    std::memset(local.bDeviceOffline, 0, sizeof local.bDeviceOffline);
    FreeHardware(local);
}

// A camera's record: strings empty, numbers 0, lists empty.
Hardware* NewCamera() {
    return new Hardware();
}

// A sensor's record, allocated short. The bytes are set before anybody looks at them as a record.
Hardware* NewSensor() {
    void* memory = ::operator new(CAPTURE_HARDWARE_COMMON_SIZE);
    std::memset(memory, 0, CAPTURE_HARDWARE_COMMON_SIZE);
    return static_cast<Hardware*>(memory);
}

LineResult ReadNodeID(LocalReader& reader, LineScanner value) {
    std::uint32_t id = 0;
    if (!value.Number(id)) {
        return LineResult::NotMine;
    }
    if (reader.local.uiNodeID != 0) {
        Log(LOG_LEVEL_ERROR, "Config: Miltiple definitions of tag 'NodeID'");  // spelled so on purpose
        return LineResult::LoadFails;
    }
    if (id > reader.global.uiNodeCount) {
        Log(LOG_LEVEL_ERROR, "Config: Invalid 'NodeID'");
        return LineResult::LoadFails;
    }
    reader.local.uiNodeID = id;
    return LineResult::Done;
}

LineResult ReadIP(LocalReader& reader, LineScanner value) {
    return ScanAddresses(value, reader.local.uiIP) ? LineResult::Done : LineResult::NotMine;
}

// The percent sign behind the number need not be there.
LineResult ReadMaxMemUseAllowed(LocalReader& reader, LineScanner value) {
    std::uint32_t percent = 0;
    if (!value.Number(percent)) {
        return LineResult::NotMine;
    }
    reader.inSection = false;
    reader.local.fMaxMemUseAllowed = std::min(static_cast<float>(percent) / 100.0F, 1.0F);
    return LineResult::Done;
}

LineResult ReadRecordingStorage(LocalReader& reader, LineScanner value) {
    std::uint32_t number = 0;
    TextRun path;
    if (!value.Number(number) || !value.Literal('=') || !value.Text(path, kLongWidth, StopAt::LineEnd)) {
        return LineResult::NotMine;
    }
    if (number < 1 || number > kLastStorageRead) {
        Log(LOG_LEVEL_ERROR, "Config: Invalid RecordingStorage number (%u)", number);
        reader.Complain();
        return LineResult::Done;
    }
    auto& slot = reader.local.szRecordingStorage[number - 1];
    if (slot[0] != '\0') {
        Log(LOG_LEVEL_ERROR, "Config: RecordingStorage%u is defined more than once", number);
        reader.Complain();
        return LineResult::Done;
    }
    CopyRun(slot, sizeof slot, path);
    ++reader.local.uiRecordingStorageCount;
    reader.inSection = false;
    return LineResult::Done;
}

LineResult ReadStreamPlugin(LocalReader& reader, const char* line) {
    for (int type = 0; type < static_cast<int>(CAPTURE_DEVICE_TYPES); ++type) {
        LineScanner scanner(line);
        TextRun name;
        if (scanner.Literal(DeviceLabel(type, DEVICE_LABEL_SINGULAR_LOWER)) && scanner.Literal("streampluginname=") &&
            scanner.Text(name, kLongWidth, StopAt::LineEnd)) {
            auto& field = reader.local.szStreamPluginName[type];
            CopyRun(field, sizeof field, name);
            return LineResult::Done;
        }
    }
    return LineResult::NotMine;
}

template <int Type>
void MarkDeviceOffline(void* record, std::uint32_t device) {
    static_cast<CONFIGURATION__LOCAL*>(record)->bDeviceOffline[Type][device] = true;
}

// Looks for the type's tag anywhere in the line.
bool HasOfflineTag(const char* line, int type) {
    char tag[sizeof(DEVICE_TYPE_LABELS)];
    std::snprintf(tag, sizeof tag, "%soffline=", DeviceLabel(type, DEVICE_LABEL_PLURAL_LOWER));
    return std::strstr(line, tag) != nullptr;
}

LineResult ReadDevicesOffline(LocalReader& reader, const char* line) {
    constexpr void (*kMark[])(void*, std::uint32_t) = {MarkDeviceOffline<CAPTURE_DEVICE_CAMERA>,
                                                       MarkDeviceOffline<CAPTURE_DEVICE_SENSOR>};
    if (std::strstr(line, "offline=") == nullptr) {
        return LineResult::NotMine;  // nearly every line: the tags need not be made
    }
    bool taken = false;
    for (int type = 0; type < static_cast<int>(CAPTURE_DEVICE_TYPES); ++type) {
        if (HasOfflineTag(line, type)) {
            const OfflineList target = {"Config: Invalid device number in offline list (%u)", kMark[type],
                                        &reader.local};
            taken = ScanOfflineList(line + kOfflineListStart, target, reader.status) || taken;
        }
    }
    return taken ? LineResult::Done : LineResult::NotMine;
}

// The line goes on to the further forms, whether the value was taken or not.
template <char (CONFIGURATION__LOCAL::*Field)[1024]>
LineResult ReadPlugin(LocalReader& reader, LineScanner value) {
    TextRun name;
    if (value.Text(name, kLongWidth, StopAt::LineEnd)) {
        CopyRun(reader.local.*Field, sizeof(reader.local.*Field), name);
    }
    return LineResult::NotMine;
}

// ---- Section headers

struct DeviceRange {
    std::uint32_t first;
    std::uint32_t last;
};

bool ScanRange(const char* selector, DeviceRange& range) {
    LineScanner scanner(selector);
    char close = '\0';
    return scanner.Number(range.first) && scanner.Literal('-') && scanner.Number(range.last) &&
           scanner.Character(close) && close == ']';
}

bool ScanSingle(const char* selector, DeviceRange& range) {
    LineScanner scanner(selector);
    char close = '\0';
    if (!scanner.Number(range.first) || !scanner.Character(close) || close != ']') {
        return false;
    }
    range.last = range.first;
    return true;
}

bool Within(const DeviceRange& range, const DeviceRange& owned) {
    return range.first != 0 && range.first <= range.last && range.first >= owned.first && range.last <= owned.last;
}

// Reads the text behind the label of a header. `owned` is the run that the node has of the type; it may be reversed
// when the node has none, and "[Camera]" then opens a section that the end checks refuse.
bool SelectRange(LocalReader& reader, int type, const char* selector, const char* line, const DeviceRange& owned,
                 DeviceRange& range) {
    const char* label = DeviceLabel(type, DEVICE_LABEL_SINGULAR);
    if (selector[0] == ']') {
        range = owned;
        return true;
    }
    if (ScanRange(selector, range)) {
        if (Within(range, owned)) {
            return true;
        }
        Log(LOG_LEVEL_ERROR, "Config: Specified %s ID range is incorrect [%u-%u] for Node %u", label, range.first,
            range.last, reader.local.uiNodeID);
    } else if (ScanSingle(selector, range)) {
        if (Within(range, owned)) {
            return true;
        }
        Log(LOG_LEVEL_ERROR, "Config: Specified %s ID is incorrect (%u) for Node %u", label, range.first,
            reader.local.uiNodeID);
    } else {
        Log(LOG_LEVEL_ERROR, "Config: Invalid device selector '%s'", line);
    }
    return false;
}

// The device type that a header names, -1 for none; the label only has to begin the text.
int TypeOfHeader(const char* text) {
    for (int type = 0; type < static_cast<int>(CAPTURE_DEVICE_TYPES); ++type) {
        const char* label = DeviceLabel(type, DEVICE_LABEL_SINGULAR_LOWER);
        if (std::strncmp(text, label, std::strlen(label)) == 0) {
            return type;
        }
    }
    return -1;
}

void OpenSection(LocalReader& reader, int type, const DeviceRange& range) {
    Hardware* section = type == CAPTURE_DEVICE_CAMERA ? NewCamera() : NewSensor();
    section->uiFirstDevice = range.first;
    section->uiLastDevice = range.last;
    reader.local.vHardware[type].push_back(section);
    reader.type = type;
    reader.inSection = true;
}

void ReadHeader(LocalReader& reader, const char* line) {
    if (reader.local.uiNodeID == 0) {
        // An open section stays open.
        Log(LOG_LEVEL_ERROR, "Config: 'NodeID' should be defined first");
        reader.Complain();
        return;
    }
    reader.inSection = false;
    const int type = TypeOfHeader(line + 1);
    if (type < 0) {
        return;  // sections of an unknown type are skipped with all their lines
    }
    const std::uint32_t first = reader.FirstDevice(type);
    if (first == 0) {
        Log(LOG_LEVEL_ERROR, "Config: Correct Global config is required to process Local configuration");
        reader.Complain();
        return;
    }
    const char* selector = line + 1 + std::strlen(DeviceLabel(type, DEVICE_LABEL_SINGULAR_LOWER));
    const DeviceRange owned = {first, first + reader.DeviceCount(type) - 1};
    DeviceRange range = {};
    if (SelectRange(reader, type, selector, line, owned, range)) {
        OpenSection(reader, type, range);
    } else {
        reader.Complain();
    }
}

// ---- Lines of a section

std::uint32_t SectionSize(const Hardware& section) {
    return section.uiLastDevice - section.uiFirstDevice + 1;
}

// Two values with a comma between them: the first of at most `firstWidth` characters and without a comma.
bool ScanPair(LineScanner& scanner, std::size_t firstWidth, std::size_t secondWidth, TextRun (&values)[2]) {
    return scanner.Text(values[0], firstWidth, StopAt::CommaOrLineEnd) && scanner.Literal(',') &&
           scanner.Text(values[1], secondWidth, StopAt::LineEnd);
}

bool IsInSection(LocalReader& reader, std::uint32_t device) {
    if (device >= reader.Section()->uiFirstDevice && device <= reader.Section()->uiLastDevice) {
        return true;
    }
    Log(LOG_LEVEL_ERROR, "Config: Specified %s ID is incorrect (%u)", DeviceLabel(reader.type, DEVICE_LABEL_SINGULAR),
        device);
    reader.Complain();
    return false;
}

LineResult ReadCaptureDevice(LocalReader& reader, LineScanner value) {
    TextRun values[2];
    if (!ScanPair(value, kShortWidth, kLongWidth, values)) {
        return LineResult::NotMine;
    }
    Hardware* section = reader.Section();
    CopyRun(section->szDeviceName, sizeof section->szDeviceName, values[0]);
    CopyRun(section->szDeviceParams, sizeof section->szDeviceParams, values[1]);
    return LineResult::Done;
}

void AddModel(Hardware& section, const TextRun (&values)[2], std::uint32_t cameras) {
    Model* model = new Model;  // its reserved block stays uninitialised
    section.vCameraModels.push_back(model);
    CopyRun(model->szModelName, sizeof model->szModelName, values[0]);
    CopyRun(model->szModelParams, sizeof model->szModelParams, values[1]);
    model->uiModelCameras = cameras;
}

LineResult ReadModelOfSection(LocalReader& reader, LineScanner value) {
    TextRun values[2];
    if (!ScanPair(value, kShortWidth, kLongWidth, values)) {
        return LineResult::NotMine;
    }
    AddModel(*reader.Section(), values, SectionSize(*reader.Section()));
    return LineResult::Done;
}

// The camera number is only tested, not kept: what counts is the order of the lines.
LineResult ReadModelOfCamera(LocalReader& reader, LineScanner value) {
    std::uint32_t camera = 0;
    TextRun values[2];
    if (!value.Number(camera) || !value.Literal('=') || !ScanPair(value, kShortWidth, kLongWidth, values)) {
        return LineResult::NotMine;
    }
    if (IsInSection(reader, camera)) {
        AddModel(*reader.Section(), values, 1);
    }
    return LineResult::Done;
}

LineResult ReadSyncMode(LocalReader& reader, LineScanner value) {
    std::uint32_t mode = 0;
    if (!value.Number(mode)) {
        return LineResult::NotMine;
    }
    if (mode > kMaxSyncMode) {
        Log(LOG_LEVEL_ERROR, "Config: Specified sync mode is incorrect (%u)", mode);
        reader.Complain();
    } else {
        reader.Section()->uiSyncMode = mode;
    }
    return LineResult::Done;
}

template <std::uint32_t Hardware::*Field>
LineResult ReadNumber(LocalReader& reader, LineScanner value) {
    return value.Number(reader.Section()->*Field) ? LineResult::Done : LineResult::NotMine;
}

// Six bytes with colons between them, the first one highest.
bool ScanMac(LineScanner& scanner, std::uint64_t& mac) {
    mac = 0;
    for (int i = 0; i < 6; ++i) {
        std::uint8_t byte = 0;
        if ((i > 0 && !scanner.Literal(':')) || !scanner.HexByte(byte)) {
            return false;
        }
        mac = mac << 8 | byte;
    }
    return true;
}

LineResult ReadCameraMac(LocalReader& reader, LineScanner value) {
    std::uint32_t camera = 0;
    std::uint64_t mac = 0;
    if (!value.Number(camera) || !value.Literal('=') || !ScanMac(value, mac)) {
        return LineResult::NotMine;
    }
    if (!IsInSection(reader, camera) || mac == 0) {
        return LineResult::Done;
    }
    Hardware& section = *reader.Section();
    if (section.vCameraMAC.empty()) {
        section.vCameraMAC.resize(SectionSize(section));
    }
    section.vCameraMAC[camera - section.uiFirstDevice] = mac;
    return LineResult::Done;
}

LineResult ReadCti(LocalReader& reader, LineScanner value) {
    TextRun values[2];
    if (!ScanPair(value, kLongWidth, kCtiParamsWidth, values)) {
        return LineResult::NotMine;
    }
    Hardware& section = *reader.Section();
    CopyRun(section.szCTIName, sizeof section.szCTIName, values[0]);
    CopyRun(section.szCTIParams, sizeof section.szCTIParams, values[1]);
    return LineResult::Done;
}

// ---- The line forms, in the order in which they are tried

constexpr TagForm<LocalReader> kNodeForms[] = {
    Tag("nodeid=", ReadNodeID),
    Tag("ip=", ReadIP),
    Tag("maxmemuseallowed=", ReadMaxMemUseAllowed),
    Tag("recordingstorage", ReadRecordingStorage),
};

// Tried behind the stream plug-ins and the offline lists.
constexpr TagForm<LocalReader> kPluginForms[] = {
    Tag("captureprocesspluginname=", ReadPlugin<&CONFIGURATION__LOCAL::szCaptureProcessPluginName>),
    Tag("postprocesspluginname=", ReadPlugin<&CONFIGURATION__LOCAL::szPostProcessPluginName>),
};

// The first one is for both device types, the others for cameras: a sensor's record has no place for them, and a sensor
// section with such lines ignores them.
constexpr TagForm<LocalReader> kSectionForms[] = {
    Tag("capturedevice=", ReadCaptureDevice),
    Tag("cameramodel=", ReadModelOfSection),
    Tag("cameramodel", ReadModelOfCamera),
    Tag("syncmode=", ReadSyncMode),
    Tag("maxdmabuffers=", ReadNumber<&Hardware::uiMaxDMABuffers>),
    Tag("maxdetectiontime=", ReadNumber<&Hardware::uiMaxDetectionTime>),
    Tag("linkspeed=", ReadNumber<&Hardware::uiLinkSpeed>),
    Tag("cameramac", ReadCameraMac),
    Tag("cti=", ReadCti),
};
constexpr std::size_t kSensorForms = 1;

LineResult ApplyLine(LocalReader& reader, const char* line) {
    LineResult result = TryForms(reader, kNodeForms, line);
    if (result == LineResult::NotMine) {
        result = ReadStreamPlugin(reader, line);
    }
    if (result == LineResult::NotMine) {
        result = ReadDevicesOffline(reader, line);
    }
    if (result == LineResult::NotMine) {
        result = TryForms(reader, kPluginForms, line);
    }
    if (result != LineResult::NotMine) {
        return result;
    }
    if (line[0] == '[') {
        ReadHeader(reader, line);
    } else if (reader.inSection) {
        const bool camera = reader.type == CAPTURE_DEVICE_CAMERA;
        TryForms(reader, kSectionForms, camera ? std::size(kSectionForms) : kSensorForms, line);
    }
    return LineResult::Done;
}

// ---- Checks at the end of the file

bool CheckCaptureDevice(const Hardware* section, int type) {
    if (section->szDeviceParams[0] != '\0' && section->szDeviceName[0] != '\0') {
        return true;
    }
    Log(LOG_LEVEL_ERROR, "Config: 'CaptureDevice' is not defined correctly for %s %u-%u",
        DeviceLabel(type, DEVICE_LABEL_PLURAL_LOWER), section->uiFirstDevice, section->uiLastDevice);
    return false;
}

bool CheckRange(const Hardware* section, int type) {
    if (section->uiFirstDevice <= section->uiLastDevice) {
        return true;
    }
    Log(LOG_LEVEL_ERROR, "Config: Invalid %s range specified %u-%u", DeviceLabel(type, DEVICE_LABEL_SINGULAR_LOWER),
        section->uiFirstDevice, section->uiLastDevice);
    return false;
}

bool CheckModels(const Hardware& section) {
    std::uint32_t cameras = 0;
    for (const Model* model : section.vCameraModels) {
        if (model->szModelName[0] == '\0' && model->szModelParams[0] == '\0') {
            Log(LOG_LEVEL_ERROR, "Config: 'CameraModel' is not defined correctly for cameras %u-%u",
                section.uiFirstDevice, section.uiLastDevice);
            return false;
        }
        cameras += model->uiModelCameras;
    }
    if (cameras == SectionSize(section)) {
        return true;
    }
    Log(LOG_LEVEL_ERROR, "Config: Mismatch in number of defined 'CameraModel' in cameras %u-%u range",
        section.uiFirstDevice, section.uiLastDevice);
    return false;
}

bool CheckMacs(const Hardware& section) {
    const auto& macs = section.vCameraMAC;
    const auto missing = std::count(macs.begin(), macs.end(), std::uint64_t{0});
    if (missing == 0 || static_cast<std::size_t>(missing) == macs.size()) {
        return true;
    }
    Log(LOG_LEVEL_ERROR, "Config: Not all 'CameraMAC' are defined for cameras %u-%u", section.uiFirstDevice,
        section.uiLastDevice);
    return false;
}

// Marks the section's devices in `covered`, bit 0 for the node's first one; bit positions count modulo 64.
bool CheckOverlap(const Hardware* section, int type, std::uint32_t firstOfNode, std::uint64_t& covered) {
    const std::uint32_t from = std::min(section->uiFirstDevice - firstOfNode, MAX_DEVICES);
    const std::uint32_t to = std::min(section->uiLastDevice - firstOfNode, MAX_DEVICES);
    for (std::uint32_t position = from; position <= to; ++position) {
        const std::uint64_t bit = std::uint64_t{1} << (position % 64);
        if ((covered & bit) != 0) {
            Log(LOG_LEVEL_ERROR, "Config: Invalid %s range specified %u-%u (overlaping)",  // spelled so on purpose
                DeviceLabel(type, DEVICE_LABEL_PLURAL_LOWER), section->uiFirstDevice, section->uiLastDevice);
            return false;
        }
        covered |= bit;
    }
    return true;
}

bool CheckSection(const Hardware* section, int type) {
    return CheckCaptureDevice(section, type) && CheckRange(section, type) &&
           (type != CAPTURE_DEVICE_CAMERA || (CheckModels(*section) && CheckMacs(*section)));
}

bool CheckSectionsOfType(const LocalReader& reader, int type) {
    std::uint64_t covered = 0;
    for (const Hardware* section : reader.local.vHardware[type]) {
        if (!CheckSection(section, type) || !CheckOverlap(section, type, reader.FirstDevice(type), covered)) {
            return false;
        }
    }
    // With 64 devices the exponent counts as 0, so the check fails even for a complete set: that is meant.
    const std::uint64_t expected = (std::uint64_t{1} << (reader.DeviceCount(type) % 64)) - 1;
    if (covered != expected) {
        Log(LOG_LEVEL_ERROR, "Config: Not all [%s] are defined", DeviceLabel(type, DEVICE_LABEL_SINGULAR));
        return false;
    }
    return true;
}

// A type without sections is not checked, whatever the system counts. The first report ends the step.
bool CheckSections(const LocalReader& reader) {
    for (int type = 0; type < static_cast<int>(CAPTURE_DEVICE_TYPES); ++type) {
        if (!reader.local.vHardware[type].empty() && !CheckSectionsOfType(reader, type)) {
            return false;
        }
    }
    return true;
}

// The count says how many storages were defined, not which ones: slots behind a gap may stay unvisited.
void CheckStorages(LocalReader& reader) {
    for (std::uint32_t number = 1; number <= reader.local.uiRecordingStorageCount; ++number) {
        auto& slot = reader.local.szRecordingStorage[number - 1];
        if (slot[0] == '\0') {
            Log(LOG_LEVEL_ERROR, "Config: RecordingStorage%u is not defined", number);
            reader.Complain();
        } else {
            AppendClosingSlash(slot, sizeof slot);
        }
    }
}

int CheckWhole(LocalReader& reader) {
    if (reader.local.uiNodeID == 0) {
        Log(LOG_LEVEL_ERROR, "Config: 'NodeID' is not defined");
        return CONFIG_LOAD_FAILED;
    }
    if (!CheckSections(reader)) {
        reader.Complain();
    }
    CheckStorages(reader);
    return reader.status;
}

// ---- File names

using FileName = char[kFileNameSize];

void BuildFileName(FileName& name, const char* ending) {
    if (g_uiConfigIdx < 2) {
        std::snprintf(name, sizeof name, "local.cfg%s", ending);
    } else {
        std::snprintf(name, sizeof name, "local%u.cfg%s", g_uiConfigIdx, ending);
    }
}

// ---- Writing -------------------------------------------------------------------------------------------------------

void WriteIP(ConfigFileWriter& writer, const CONFIGURATION__LOCAL& local) {
    if (local.uiIP[0] != 0) {
        writer.Address("IP = ", local.uiIP[0]);
    }
    if (local.uiIP[1] != 0) {
        writer.Address(", ", local.uiIP[1]);
    }
    writer.Item("\n\n");
}

// A path longer than its slot runs on into the following fields; it is followed as far as plain bytes go.
void WriteRecordingStorages(ConfigFileWriter& writer, const CONFIGURATION__LOCAL& local) {
    const std::uint32_t count = std::min(local.uiRecordingStorageCount, MAX_RECORDING_STORAGES);
    for (std::uint32_t number = 1; number <= count; ++number) {
        const std::size_t offset =
            offsetof(CONFIGURATION__LOCAL, szRecordingStorage) + (number - 1) * sizeof local.szRecordingStorage[0];
        const RecordText path = TextInRecord(&local, offset, offsetof(CONFIGURATION__LOCAL, vHardware));
        if (path.length > 0) {
            writer.Item("RecordingStorage%u = \"%.*s\"\n\n", number, path.length, path.begin);
        }
    }
}

void WritePlugins(ConfigFileWriter& writer, const CONFIGURATION__LOCAL& local) {
    for (int type = 0; type < static_cast<int>(CAPTURE_DEVICE_TYPES); ++type) {
        if (local.szStreamPluginName[type][0] != '\0') {
            writer.Item("%sStreamPluginName = \"%s\"\n\n", DeviceLabel(type, DEVICE_LABEL_SINGULAR),
                        local.szStreamPluginName[type]);
        }
    }
    if (local.szCaptureProcessPluginName[0] != '\0') {
        writer.Item("CaptureProcessPluginName = \"%s\"\n\n", local.szCaptureProcessPluginName);
    }
    if (local.szPostProcessPluginName[0] != '\0') {
        writer.Item("PostProcessPluginName = \"%s\"\n\n", local.szPostProcessPluginName);
    }
}

// Single precision and truncation: 53 percent come back as 52 and 59 as 58. That is meant.
void WriteMaxMemUseAllowed(ConfigFileWriter& writer, const CONFIGURATION__LOCAL& local) {
    if (local.fMaxMemUseAllowed != 0.0F) {
        writer.Item("MaxMemUseAllowed = %u%%\n\n", static_cast<unsigned int>(local.fMaxMemUseAllowed * 100.0F));
    }
}

// The list has no line end of its own: what comes next follows on the same line. That is meant.
void WriteDevicesOffline(ConfigFileWriter& writer, const CONFIGURATION__LOCAL& local, int type) {
    bool first = true;
    for (unsigned device = 1; device <= MAX_DEVICES; ++device) {
        if (!local.bDeviceOffline[type][device]) {
            continue;
        }
        if (first) {
            writer.Item("%sOffline = %u", DeviceLabel(type, DEVICE_LABEL_PLURAL), device);
        } else {
            writer.Item(", %u", device);
        }
        first = false;
    }
}

void WriteNumber(ConfigFileWriter& writer, const char* tag, std::uint32_t value) {
    if (value != 0) {
        writer.Item("%s = %u\n", tag, value);
    }
}

void WriteMacs(ConfigFileWriter& writer, const Hardware& section) {
    std::uint32_t camera = section.uiFirstDevice;
    for (const std::uint64_t mac : section.vCameraMAC) {
        const auto byte = [mac](int shift) { return static_cast<unsigned int>(mac >> shift & 0xFF); };
        writer.Item("CameraMAC%u = %02X:%02X:%02X:%02X:%02X:%02X\n", camera, byte(40), byte(32), byte(24), byte(16),
                    byte(8), byte(0));
        ++camera;
    }
}

void WriteModels(ConfigFileWriter& writer, const Hardware& section) {
    std::uint32_t camera = section.uiFirstDevice;
    for (const Model* model : section.vCameraModels) {
        const std::uint32_t cameras = model->uiModelCameras;
        if (cameras == SectionSize(section)) {
            writer.Item("CameraModel = \"%s\", \"%s\"\n", model->szModelName, model->szModelParams);
        } else if (cameras == 1) {
            writer.Item("CameraModel%u = \"%s\", \"%s\"\n", camera, model->szModelName, model->szModelParams);
        } else {
            // The second number is one past the run's last camera: that is meant.
            writer.Item("CameraModel%u-%u = \"%s\", \"%s\"\n", camera, camera + cameras, model->szModelName,
                        model->szModelParams);
        }
        camera += cameras;
    }
}

void WriteCameraPart(ConfigFileWriter& writer, const Hardware& section) {
    if (section.szCTIName[0] != '\0') {
        writer.Item("CTI = \"%s\", \"%s\"\n", section.szCTIName, section.szCTIParams);
    }
    WriteNumber(writer, "SyncMode", section.uiSyncMode);
    WriteNumber(writer, "MaxDMABuffers", section.uiMaxDMABuffers);
    WriteNumber(writer, "MaxDetectionTime", section.uiMaxDetectionTime);
    WriteNumber(writer, "LinkSpeed", section.uiLinkSpeed);
    WriteMacs(writer, section);
    WriteModels(writer, section);
}

void WriteSection(ConfigFileWriter& writer, const Hardware* section, int type) {
    const char* label = DeviceLabel(type, DEVICE_LABEL_SINGULAR);
    if (section->uiFirstDevice == section->uiLastDevice) {
        writer.Item("[%s %u]\n", label, section->uiFirstDevice);
    } else {
        writer.Item("[%s %u-%u]\n", label, section->uiFirstDevice, section->uiLastDevice);
    }
    writer.Item("CaptureDevice = \"%s\", \"%s\"\n", section->szDeviceName, section->szDeviceParams);
    if (type == CAPTURE_DEVICE_CAMERA) {
        WriteCameraPart(writer, *section);
    }
    writer.Item("\n");
}

void WriteDevices(ConfigFileWriter& writer, const CONFIGURATION__LOCAL& local, int type) {
    WriteDevicesOffline(writer, local, type);
    for (const Hardware* section : local.vHardware[type]) {
        if (section->szDeviceParams[0] != '\0') {
            WriteSection(writer, section, type);
        }
    }
}

}  // namespace

// Frees the two lists; the records they point to are the loader's to free.
CONFIGURATION__LOCAL::~CONFIGURATION__LOCAL() = default;

CONFIGURATION__LOCAL* ConfigFile_GetStructPtr_Local() {
    return &gLocal;
}

int ConfigLib_Load_Local() {
    Reset(gLocal);
    FileName name;
    BuildFileName(name, "");
    const FilePtr file = OpenConfigFile(name);
    if (file == nullptr) {
        return CONFIG_LOAD_FAILED;
    }
    LocalReader reader{gLocal, *ConfigFile_GetStructPtr_Global()};
    char line[kLineSize];
    while (ReadConfigLine(file.get(), line, kLineSize)) {
        if (ApplyLine(reader, line) == LineResult::LoadFails) {
            return CONFIG_LOAD_FAILED;
        }
    }
    return CheckWhole(reader);
}

bool ConfigLib_Save_Local(CONFIGURATION__LOCAL* local) {
    FileName temporaryName;
    FileName name;
    BuildFileName(temporaryName, ".tmp");
    BuildFileName(name, "");
    ConfigFileWriter writer(temporaryName, name);
    if (!writer.IsOpen()) {
        return false;
    }
    writer.Item("NodeID = %u\n\n", local->uiNodeID);
    WriteIP(writer, *local);
    WriteRecordingStorages(writer, *local);
    WritePlugins(writer, *local);
    WriteMaxMemUseAllowed(writer, *local);
    WriteDevices(writer, *local, CAPTURE_DEVICE_CAMERA);
    WriteDevices(writer, *local, CAPTURE_DEVICE_SENSOR);
    return writer.Commit();
}
