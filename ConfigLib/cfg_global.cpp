#include <cstddef>
#include <cstring>

#include "Log.h"
#include "cfg_utils.h"

namespace {

constexpr char kFileName[] = "global.cfg";
constexpr char kTemporaryName[] = "global.cfg.temp";
constexpr int kLineSize = 1184;           // read buffer, bytes
constexpr std::size_t kNameWidth = 63;    // longest cluster name
constexpr std::size_t kPathWidth = 1023;  // longest general storage path
constexpr char kNodesOffline[] = "nodesoffline=";

CONFIGURATION__GLOBAL gGlobal;

// One load: the record it fills and the status so far.
struct GlobalReader {
    CONFIGURATION__GLOBAL& global;
    int status;
};

void Complain(GlobalReader& reader) {
    reader.status = CONFIG_LOAD_WITH_ERRORS;
}

LineResult ReadNodeCount(GlobalReader& reader, LineScanner value) {
    std::uint32_t count = 0;
    if (!value.Number(count)) {
        return LineResult::NotMine;
    }
    if (reader.global.uiNodeCount != 0) {
        Log(LOG_LEVEL_ERROR, "Config: Miltiple definitions of tag 'NodeCount'");  // spelled so on purpose
        return LineResult::LoadFails;
    }
    if (count > MAX_NODES) {
        Log(LOG_LEVEL_ERROR, "Config: 'NodeCount' is too big");
        return LineResult::LoadFails;
    }
    reader.global.uiNodeCount = count;
    return LineResult::Done;
}

void MarkNodeOffline(void* record, std::uint32_t node) {
    static_cast<CONFIGURATION__GLOBAL*>(record)->ullNodesOffline |= std::uint64_t{1} << (node - 1);
}

// The tag may stand anywhere in the line, but the list is taken from where it lies in a line that begins with the tag.
// The line then runs on through the further forms.
void ReadNodesOffline(GlobalReader& reader, const char* line) {
    const OfflineList target = {"Config: Invalid node  number in offline list (%u)", MarkNodeOffline, &reader.global};
    ScanOfflineList(line + sizeof kNodesOffline - 1, target, reader.status);
}

LineResult ReadManagerMachineIP(GlobalReader& reader, LineScanner value) {
    return ScanAddresses(value, reader.global.uiManagerMachineIP) ? LineResult::Done : LineResult::NotMine;
}

LineResult ReadClusterName(GlobalReader& reader, LineScanner value) {
    TextRun name;
    if (!value.Text(name, kNameWidth, StopAt::LineEnd)) {
        return LineResult::NotMine;
    }
    CopyRun(reader.global.szClusterName, sizeof reader.global.szClusterName, name);
    return LineResult::Done;
}

LineResult ReadGeneralStoragePath(GlobalReader& reader, LineScanner value) {
    TextRun path;
    if (!value.Text(path, kPathWidth, StopAt::LineEnd)) {
        return LineResult::NotMine;
    }
    auto& field = reader.global.szGeneralStoragePath;
    CopyRun(field, sizeof field, path);
    AppendClosingSlash(field, sizeof field);
    return LineResult::Done;
}

template <std::uint32_t CONFIGURATION__GLOBAL::*Field>
LineResult ReadNumber(GlobalReader& reader, LineScanner value) {
    return value.Number(reader.global.*Field) ? LineResult::Done : LineResult::NotMine;
}

template <bool CONFIGURATION__GLOBAL::*Field>
LineResult ReadFlag(GlobalReader& reader, LineScanner value) {
    std::uint32_t number = 0;
    if (!value.Number(number)) {
        return LineResult::NotMine;
    }
    reader.global.*Field = number != 0;
    return LineResult::Done;
}

LineResult StoreDeviceCount(GlobalReader& reader, int type, std::uint32_t node, std::uint32_t count) {
    const char* plural = DeviceLabel(type, DEVICE_LABEL_PLURAL);
    if (reader.global.uiNodeCount == 0) {
        Log(LOG_LEVEL_ERROR, "Config: 'NodeCount' should be defined before '%sConnectedToNode%u'", plural, node);
    } else if (count > MAX_DEVICES) {
        Log(LOG_LEVEL_ERROR, "Config: '%sConnectedToNode' is too big", plural);
    } else if (node == 0 || node > reader.global.uiNodeCount) {
        Log(LOG_LEVEL_ERROR, "Config: '%sConnectedToNode' refers to incorrect node", plural);
    } else {
        reader.global.uiDevicesConnected[type][node] = count;
        return LineResult::Done;
    }
    Complain(reader);
    return LineResult::NotMine;
}

LineResult ReadDeviceCount(GlobalReader& reader, const char* line) {
    for (int type = 0; type < static_cast<int>(CAPTURE_DEVICE_TYPES); ++type) {
        LineScanner scanner(line);
        std::uint32_t node = 0;
        std::uint32_t count = 0;
        if (!scanner.Literal(DeviceLabel(type, DEVICE_LABEL_PLURAL_LOWER)) || !scanner.Literal("connectedtonode") ||
            !scanner.Number(node)) {
            continue;
        }
        scanner.WhiteSpace();
        if (!scanner.Literal('=') || !scanner.Number(count)) {
            continue;
        }
        if (StoreDeviceCount(reader, type, node, count) == LineResult::Done) {
            return LineResult::Done;
        }
    }
    return LineResult::NotMine;
}

// In the order in which they are tried: the count of nodes ahead of the offline list, everything else behind it.
constexpr TagForm<GlobalReader> kNodeCountForm[] = {
    Tag("nodecount=", ReadNodeCount),
};
constexpr TagForm<GlobalReader> kTagForms[] = {
    Tag("managermachineip=", ReadManagerMachineIP),
    Tag("clustername=", ReadClusterName),
    Tag("generalstoragepath=", ReadGeneralStoragePath),
    Tag("loglevelnode=", ReadNumber<&CONFIGURATION__GLOBAL::uiLogLevelNode>),
    Tag("loglevelmanager=", ReadNumber<&CONFIGURATION__GLOBAL::uiLogLevelManager>),
    Tag("showallparameters=", ReadFlag<&CONFIGURATION__GLOBAL::bShowAllParameters>),
    Tag("allowfaileddevices=", ReadFlag<&CONFIGURATION__GLOBAL::bAllowFailedDevices>),
    Tag("allowfailednodes=", ReadFlag<&CONFIGURATION__GLOBAL::bAllowFailedNodes>),
};

LineResult ApplyLine(GlobalReader& reader, const char* line) {
    LineResult result = TryForms(reader, kNodeCountForm, line);
    if (result == LineResult::NotMine && std::strstr(line, kNodesOffline) != nullptr) {
        ReadNodesOffline(reader, line);
    }
    if (result == LineResult::NotMine) {
        result = TryForms(reader, kTagForms, line);
    }
    if (result == LineResult::NotMine) {
        result = ReadDeviceCount(reader, line);
    }
    return result;
}

// Adds up a type's devices and numbers them in node order. False when the system has too many: the record is then
// cleared. The test is on the whole system although the message says per node; both are meant.
bool NumberDevices(CONFIGURATION__GLOBAL& global, int type) {
    auto& connected = global.uiDevicesConnected[type];
    auto& first = global.uiFirstDeviceOfNode[type];
    first[1] = 1;
    for (unsigned node = 1; node <= MAX_NODES; ++node) {
        connected[0] += connected[node];
    }
    if (connected[0] > MAX_DEVICES) {
        std::memset(&global, 0, sizeof global);
        Log(LOG_LEVEL_ERROR, "Config: Max %s per node is %u", DeviceLabel(type, DEVICE_LABEL_PLURAL_LOWER),
            MAX_DEVICES);
        return false;
    }
    for (unsigned node = 1; node < global.uiNodeCount; ++node) {
        first[node + 1] = first[node] + connected[node];
    }
    return true;
}

int CheckWhole(const GlobalReader& reader) {
    if (reader.global.szClusterName[0] == '\0') {
        Log(LOG_LEVEL_ERROR, "Config: 'ClusterName' is not defined");
        return CONFIG_LOAD_FAILED;
    }
    if (reader.global.uiNodeCount == 0) {
        Log(LOG_LEVEL_ERROR, "Config: 'NodeCount' is not defined");
        return CONFIG_LOAD_FAILED;
    }
    for (int type = 0; type < static_cast<int>(CAPTURE_DEVICE_TYPES); ++type) {
        if (!NumberDevices(reader.global, type)) {
            return CONFIG_LOAD_FAILED;
        }
    }
    return reader.status;
}

// Nodes of the record that have elements in its arrays.
unsigned NodesOf(const CONFIGURATION__GLOBAL& global) {
    return global.uiNodeCount < MAX_NODES ? global.uiNodeCount : MAX_NODES;
}

void WriteNodesOffline(ConfigFileWriter& writer, const CONFIGURATION__GLOBAL& global) {
    const char* format = "NodesOffline = %u";
    for (unsigned node = 1; node <= NodesOf(global); ++node) {
        if ((global.ullNodesOffline >> (node - 1) & 1) != 0) {
            writer.Item(format, node);
            format = ", %u";
        }
    }
    // Also when only nodes above the count are marked, which are not written.
    if (global.ullNodesOffline != 0) {
        writer.Item("\n\n");
    }
}

// Sensor counts are read but not written: a save removes them from the file, and that is meant.
void WriteCameraCounts(ConfigFileWriter& writer, const CONFIGURATION__GLOBAL& global) {
    for (unsigned node = 1; node <= NodesOf(global); ++node) {
        writer.Item("CamerasConnectedToNode%u = %u\n", node, global.uiDevicesConnected[CAPTURE_DEVICE_CAMERA][node]);
    }
    writer.Item("\n");
}

void WriteManagerMachineIP(ConfigFileWriter& writer, const CONFIGURATION__GLOBAL& global) {
    writer.Address("ManagerMachineIP = ", global.uiManagerMachineIP[0]);
    if (global.uiManagerMachineIP[1] != 0) {
        writer.Address(", ", global.uiManagerMachineIP[1]);
    }
    writer.Item("\n\n");
}

void WriteText(ConfigFileWriter& writer, const CONFIGURATION__GLOBAL& global, const char* tag, std::size_t offset) {
    const RecordText text = TextInRecord(&global, offset, sizeof global);
    writer.Item("%s = \"%.*s\"\n\n", tag, text.length, text.begin);
}

}  // namespace

CONFIGURATION__GLOBAL* ConfigFile_GetStructPtr_Global() {
    return &gGlobal;
}

int ConfigLib_Load_Global() {
    std::memset(&gGlobal, 0, sizeof gGlobal);
    const FilePtr file = OpenConfigFile(kFileName);
    if (file == nullptr) {
        return CONFIG_LOAD_FAILED;
    }
    GlobalReader reader = {gGlobal, CONFIG_LOAD_CLEAN};
    char line[kLineSize];
    while (ReadConfigLine(file.get(), line, kLineSize)) {
        if (ApplyLine(reader, line) == LineResult::LoadFails) {
            return CONFIG_LOAD_FAILED;
        }
    }
    return CheckWhole(reader);
}

bool ConfigLib_Save_Global(CONFIGURATION__GLOBAL* global) {
    if (g_uiConfigIdx > 1) {
        return true;
    }
    ConfigFileWriter writer(kTemporaryName, kFileName);
    if (!writer.IsOpen()) {
        return false;
    }
    WriteText(writer, *global, "ClusterName", offsetof(CONFIGURATION__GLOBAL, szClusterName));
    writer.Item("NodeCount = %u\n\n", global->uiNodeCount);
    WriteNodesOffline(writer, *global);
    WriteCameraCounts(writer, *global);
    WriteManagerMachineIP(writer, *global);
    WriteText(writer, *global, "GeneralStoragePath", offsetof(CONFIGURATION__GLOBAL, szGeneralStoragePath));
    writer.Item("LogLevelNode = %u\n\n", global->uiLogLevelNode);
    writer.Item("LogLevelManager = %u\n\n", global->uiLogLevelManager);
    writer.Item("ShowAllParameters = %u\n\n", global->bShowAllParameters ? 1U : 0U);
    writer.Item("AllowFailedDevices = %u\n\n", global->bAllowFailedDevices ? 1U : 0U);
    writer.Item("AllowFailedNodes = %u\n\n", global->bAllowFailedNodes ? 1U : 0U);
    return writer.Commit();
}
