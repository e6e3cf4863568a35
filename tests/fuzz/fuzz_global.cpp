// The reader of global.cfg.
#include <numeric>

#include "ConfigLib.h"
#include "FuzzSupport.h"

namespace {

using fuzz::Expect;

void CheckDevices(const CONFIGURATION__GLOBAL& global, unsigned type, int result) {
    const auto& connected = global.uiDevicesConnected[type];
    const auto& first = global.uiFirstDeviceOfNode[type];
    const std::uint32_t sum = std::accumulate(connected + 1, connected + MAX_NODES + 1, 0U);
    Expect(first[0] == 0, "no device number in the row's unused element");
    for (unsigned node = 1; node <= MAX_NODES; ++node) {
        Expect(connected[node] <= MAX_DEVICES, "no node has more than 64 devices of a type");
        Expect(node <= global.uiNodeCount || connected[node] == 0, "only nodes of the system have devices");
    }
    if (result == CONFIG_LOAD_FAILED) {
        return;
    }
    Expect(connected[0] == sum && sum <= MAX_DEVICES, "the sum of the row is right and at most 64");
    std::uint32_t number = 1;
    for (unsigned node = 1; node <= MAX_NODES; ++node) {
        Expect(first[node] == (node <= global.uiNodeCount ? number : 0), "devices are numbered in the nodes' order");
        number += connected[node];
    }
}

void CheckRecord(const CONFIGURATION__GLOBAL& global, int result) {
    Expect(global.uiNodeCount <= MAX_NODES, "at most 64 nodes");
    Expect(fuzz::IsTerminated(global.szClusterName), "the name is terminated");
    Expect(fuzz::IsTerminated(global.szGeneralStoragePath), "the general storage is terminated");
    if (result != CONFIG_LOAD_FAILED) {
        Expect(global.szClusterName[0] != '\0' && global.uiNodeCount != 0, "a system that loads has name and nodes");
    }
    for (unsigned type = 0; type < CAPTURE_DEVICE_TYPES; ++type) {
        CheckDevices(global, type, result);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = fuzz::AsText(data, size);
    fuzz::PutFile("global.cfg", bytes);
    if (bytes.empty()) {
        fuzz::RemoveFile("global.cfg");
    }
    const int result = fuzz::OnLeash(fuzz::GlobalNeverEnds(bytes), ConfigLib_Load_Global);
    CheckRecord(*ConfigFile_GetStructPtr_Global(), result == fuzz::kNeverEnds ? CONFIG_LOAD_FAILED : result);
    return 0;
}
