// The records of a recording system in memory: what global.cfg and local.cfg hold.
//
// A recording system is a cluster of up to 64 nodes. Each node owns a contiguous run of the system-wide camera numbers
// and of the system-wide sensor numbers. Plain data throughout: ConfigLib keeps one instance of the global and of the
// local record and hands out pointers to them. A load terminates every text within its field; a client may run the name
// or a storage path past its field, and the writers follow it.
#pragma once

#include <cstdint>
#include <vector>

// Device families, the index of every per-type table.
enum CAPTURE_DEVICE_TYPE : std::int32_t {
    CAPTURE_DEVICE_CAMERA = 0,
    CAPTURE_DEVICE_SENSOR = 1,
};

constexpr unsigned int CAPTURE_DEVICE_TYPES = 2;
constexpr unsigned int MAX_NODES = 64;               // nodes in a cluster; the offline mask has 64 bits
constexpr unsigned int MAX_DEVICES = 64;             // devices of one type, on one node and in the whole system
constexpr unsigned int MAX_RECORDING_STORAGES = 16;  // slots of the record; the reader takes numbers 1 to 15

// Sizes of texts are in bytes and include the terminator: a field of 64 holds 63 characters.
//
// An IPv4 address is one word with the first written octet in the lowest byte; 0 means none.

// Contents of global.cfg, the same on every node.
struct CONFIGURATION__GLOBAL {
    char szClusterName[64];                                                 // empty: not defined
    std::uint32_t uiNodeCount;                                              // 1 to 64; 0: not defined
    std::uint32_t uiDevicesConnected[CAPTURE_DEVICE_TYPES][MAX_NODES + 1];  // [t][n] devices on node n; [t][0] the sum
    // [t][n] first device number of node n, counted from 1; [t][0] and the nodes above uiNodeCount stay 0
    std::uint32_t uiFirstDeviceOfNode[CAPTURE_DEVICE_TYPES][MAX_NODES + 1];
    std::uint64_t ullNodesOffline;        // bit n-1: node n is listed as offline
    std::uint32_t uiManagerMachineIP[2];  // first and second address
    std::uint32_t uiLogLevelNode;         // the server's; any value
    std::uint32_t uiLogLevelManager;      // the server's; any value
    bool bShowAllParameters;
    bool bAllowFailedDevices;
    bool bAllowFailedNodes;
    char szGeneralStoragePath[1024];  // with a closing slash once loaded
    // The form may set a path of up to 2048 bytes: what does not fit the field runs on here, the zero byte included.
    char szGeneralStoragePathOverrun[1025];
};

// One CameraModel line of a camera section.
struct CONFIGURATION__CAPTURE_DEVICE {
    char szModelName[64];
    char szModelParams[1024];
    std::uint8_t reserved[64];     // the server's; neither read nor written here and not initialised
    std::uint32_t uiModelCameras;  // how many consecutive cameras of the section it covers
};

// One section of local.cfg: a capture device and the run of devices that it serves. A sensor's record is allocated
// short: it ends behind uiLastDevice (CAPTURE_HARDWARE_COMMON_SIZE bytes) and has none of the camera part.
struct CONFIGURATION__CAPTURE_HARDWARE {
    char szDeviceName[64];             // first value of CaptureDevice
    char szDeviceParams[1024];         // second value; when empty the writer leaves the section out
    std::uint32_t uiFirstDevice;       // system-wide device number
    std::uint32_t uiLastDevice;        // inclusive
    char szCTIName[1024];              // camera part from here on; first value of CTI
    char szCTIParams[32];              // second value
    std::uint32_t uiSyncMode;          // 0 to 4; 0: not set
    std::uint32_t uiMaxDMABuffers;     // 0: not set
    std::uint32_t uiMaxDetectionTime;  // 0: not set
    std::uint32_t uiLinkSpeed;         // 0: not set
    // Empty, or entry i for device uiFirstDevice + i: first written byte in bits 40 to 47; 0: none
    std::vector<std::uint64_t> vCameraMAC;
    std::vector<CONFIGURATION__CAPTURE_DEVICE*> vCameraModels;  // in file order; owned by this record
};

constexpr unsigned int CAPTURE_HARDWARE_COMMON_SIZE = 64 + 1024 + 4 + 4;  // bytes up to and with uiLastDevice

// Contents of local.cfg, one for each node. The record owns what vHardware points to; the destructor frees the two
// lists only, the hardware records are freed by the next ConfigLib_Load_Local.
struct CONFIGURATION__LOCAL {
    std::uint32_t uiNodeID;                                 // 1 to uiNodeCount; 0: not defined
    std::uint32_t uiIP[2];                                  // first and second address of this node
    char szRecordingStorage[MAX_RECORDING_STORAGES][1024];  // slot i holds RecordingStorage number i+1
    std::uint32_t uiRecordingStorageCount;                  // how many slots are defined, meant to be the first ones
    char szStreamPluginName[CAPTURE_DEVICE_TYPES][1024];
    char szCaptureProcessPluginName[1024];
    char szPostProcessPluginName[1024];
    float fMaxMemUseAllowed;  // fraction, 0.0 to 1.0; 0.0: not set
    std::vector<CONFIGURATION__CAPTURE_HARDWARE*> vHardware[CAPTURE_DEVICE_TYPES];  // in file order
    // [t][n]: device n is offline; [t][0] has no use. Written by a save; a load leaves it clear for lines that begin
    // with the tag.
    bool bDeviceOffline[CAPTURE_DEVICE_TYPES][MAX_DEVICES + 1];

    CONFIGURATION__LOCAL() = default;
    CONFIGURATION__LOCAL(const CONFIGURATION__LOCAL&) = delete;
    CONFIGURATION__LOCAL& operator=(const CONFIGURATION__LOCAL&) = delete;
    ~CONFIGURATION__LOCAL();
};

// One line of a device information file.
struct CAPTURE_DEVICE_INFO {
    char szName[64];
    std::uint8_t reserved[128];  // zero in every entry that the loader makes; no file carries it
    float fPosition[7];          // in the file's order: a group of three, a group of three, and one
};
