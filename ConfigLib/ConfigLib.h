// The configuration of a recording system: its records in memory and their text files.
//
// Order of calls: ConfigLib_Init, ConfigLib_Load_Global, ConfigLib_Load_Local (it needs the loaded global record), then
// anything else; ConfigLib_DeInit last. One thread only: there are no locks, the records are plain data.
//
// The library keeps exactly one instance of each record. Clients edit it through the pointers below and call the save
// functions; what they do not touch goes back to the files as it was loaded, as far as the writers carry it.
//
// Everything is reported through Log at LOG_LEVEL_ERROR, each line beginning "Config: ". A file that cannot be opened,
// for reading or writing, is reported with its full path and, for global.cfg and local.cfg, the system's error number.
// A failed load leaves a cleared or partly filled record behind and is no reason to stop.
//
// Files are opened close-on-exec, and so that a client with more rights than the users of the folder comes to no harm
// from what they put there: no call waits for a FIFO or device, which reads as empty, and no save writes through a link
// or into a file of somebody else's.
//
// Nothing is thrown but what is said below and std::bad_alloc, which no function here catches. Pointers given to the
// functions must not be null.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "External/Plugin/config.h"

// Results of the loaders.
enum CONFIG_LOAD_RESULT : int {
    CONFIG_LOAD_FAILED = 0,
    CONFIG_LOAD_WITH_ERRORS = 1,  // at least one message; the record holds what could be used
    CONFIG_LOAD_CLEAN = 2,
};

// Labels of a device family, by index: 0 "Camera", 1 "camera", 2 "Cameras", 3 "cameras".
enum DEVICE_LABEL : int {
    DEVICE_LABEL_SINGULAR = 0,
    DEVICE_LABEL_SINGULAR_LOWER = 1,
    DEVICE_LABEL_PLURAL = 2,
    DEVICE_LABEL_PLURAL_LOWER = 3,
};
typedef char DEVICE_TYPE_LABELS[4][32];

// The labels, one row per CAPTURE_DEVICE_TYPE; a heap copy that exists between ConfigLib_Init and ConfigLib_DeInit,
// null otherwise. Nothing that reads or writes a file may run without it.
extern DEVICE_TYPE_LABELS* g_DeviceTypeName;

// Selects the set of per-node files: 0 for the plain names (1 is stored as 0), i from 2 on for "local<i>.cfg",
// "camera<i>.cfg" and "sensor<i>.cfg". One or two digits are in use; longer ones work. Set by ConfigLib_Init.
extern unsigned int g_uiConfigIdx;

// Stores the index and makes the label table. The records stay as they are. A second call without ConfigLib_DeInit
// leaks the first table and changes nothing else.
void ConfigLib_Init(unsigned int configIdx);

// Frees the label table. Records, lists and maps stay.
void ConfigLib_DeInit();

// The library's records; never null, owned by the library.
CONFIGURATION__GLOBAL* ConfigFile_GetStructPtr_Global();
CONFIGURATION__LOCAL* ConfigFile_GetStructPtr_Local();

// Reads "global.cfg", whatever the index, into the library's record, which is cleared first.
//
// CONFIG_LOAD_WITH_ERRORS when a line with the devices of a node was dropped: ahead of NodeCount, a count above 64, or
// a node outside of the system. CONFIG_LOAD_FAILED when the file cannot be opened, NodeCount comes twice or is above
// 64, the name or NodeCount is missing at the end, or the system has more than 64 devices of a type; in the last case
// the record is cleared again. A number that is 0 or above 64 in the NodesOffline list makes the load run without end,
// with the same message over and over; that is meant.
int ConfigLib_Load_Global();

// Writes the record to "global.cfg" through "global.cfg.temp" and a rename: a reader sees the old file or the new one,
// whole. The new bytes are on the disk before the rename and the rename is before the return, so the same holds after a
// crash or a power cut, as far as the disk keeps what it was told to keep. Whatever is at the temporary name, but for a
// directory, is removed and the file made anew. The record stays the caller's and is not changed; it need not be the
// library's own. Returns true when the file is in place. With an index above 1 does nothing and returns true. A failure
// to open the temporary file is logged; a failed write, sync or rename returns false in silence and leaves "global.cfg"
// as it was.
bool ConfigLib_Save_Global(CONFIGURATION__GLOBAL* global);

// Reads "local.cfg" or "local<index>.cfg" into the library's record, against the loaded global record. Frees the
// hardware records of an earlier load, whether or not the file can be opened.
//
// CONFIG_LOAD_WITH_ERRORS when a line was dropped with a message, or when the sections or the storages did not pass the
// checks at the end of the file; they stay in the record all the same. CONFIG_LOAD_FAILED when the file cannot be
// opened, NodeID comes twice, is above the system's node count, or is missing at the end. A line with "CamerasOffline="
// or "SensorsOffline=" behind other text that has a number of 0 or above 64 from its eleventh character on makes the
// load run without end; that is meant.
int ConfigLib_Load_Local();

// Writes the record to "local.cfg" or "local<index>.cfg" through the same name with ".tmp" and a rename. Takes, returns
// and reports what ConfigLib_Save_Global does, but writes with any index.
bool ConfigLib_Save_Local(CONFIGURATION__LOCAL* local);

// Reads the device information file of the type into the library's map, which is emptied first: "camera.cfg" or
// "camera<index>.cfg", with the flag set "cameraEmuDef.cfg" whatever the index; "sensor" likewise. Returns
// CONFIG_LOAD_CLEAN when the file was read to its end, CONFIG_LOAD_FAILED when it cannot be opened ("Config: Cannot
// open %s config file '%s'", with the type's label and the path).
//
// The positions follow the number format of the process's locale at the call, in reading and writing: under a locale
// with a decimal comma a file with points loads no entry, and commas written under it are read by no other.
int ConfigLib_Load_DeviceInfo(CAPTURE_DEVICE_TYPE type, bool emuDef);

// Writes the device information file of the type, in place and without a temporary file: entry i of `infos` under entry
// i of `keys`. Both lists stay the caller's. Returns false when the file cannot be opened; the results of writing are
// not looked at. With fewer keys than entries throws std::out_of_range at the first position without a key; the file
// stays as far as it got.
bool ConfigLib_Save_DeviceInfo(CAPTURE_DEVICE_TYPE type, std::vector<CAPTURE_DEVICE_INFO>* infos,
                               std::vector<unsigned int>* keys);

// The map of the type, from device key (32 bits in a file) to entry; never null, owned by the library. Pointers to its
// entries hold until the next load of the type.
std::map<std::uint64_t, CAPTURE_DEVICE_INFO>* ConfigFile_GetStructPtr_DeviceInfo(CAPTURE_DEVICE_TYPE type);

// Reads "DeviceMapInfo.cfgbin", with the flag set "DeviceMapInfoEmuDef.cfgbin", as one opaque block. Returns
// CONFIG_LOAD_CLEAN when a block that is not empty was read whole, else CONFIG_LOAD_FAILED: without a message when the
// file opened but was empty, could not be read whole or was too big for memory. The size counts modulo 2^32, so a file
// of 4 GiB or more is told too small. An earlier block survives only when the
// file cannot be opened.
int ConfigLib_Load_DeviceMap(bool emuDef);

// Writes `size` bytes to "DeviceMapInfo.cfgbin". Returns false when the file cannot be opened; the results of writing
// are not looked at. The block in memory is not touched.
bool ConfigLib_Save_DeviceMap(void* block, unsigned int size);

// Stores the loaded block, null before the first load, and its size in bytes. The block is the library's and valid
// until the next ConfigLib_Load_DeviceMap.
void ConfigFile_GetStructPtr_DeviceMapInfo(void** block, unsigned int* size);

// Normalises a configuration line, terminated text, in place: drops quotes; outside quotes drops blanks, control
// characters and bytes of 128 and above and converts to lower case; inside quotes keeps everything, up to the end of
// the line where the closing quote is missing. The result is never longer.
void ConfigFile_Utils_RemoveSpaces(char* line);

// Writes the configuration directory with its closing slash, "/etc/Orvan/Config/Server/", as terminated text into a
// buffer of at least 1024 bytes. Without a program data path it is "/Orvan/Config/Server/".
//
// A client that works on files elsewhere defines OS_GetProgramDataPath itself: the definition in an executable takes
// precedence over the one in the shared OS_ library.
void ConfigFile_Utils_GetConfigFileLocation(char* location);

// How many bytes of its text file the running load has taken: the line that a message is about ends there, or a part of
// it when it is longer than the read buffer. -1 when no line is at work: outside of a load, and at its checks behind
// the last line. For a function that Log points to.
long long ConfigFile_Utils_GetReadPosition();

// The library's state that is not a record.
namespace ConfigLib {
extern std::map<std::uint64_t, CAPTURE_DEVICE_INFO> g_DeviceNameAndPos[CAPTURE_DEVICE_TYPES];
extern void* pMapInfo;              // null until first loaded; owned here
extern unsigned int uiMapInfoSize;  // bytes; 0 as long as no block was read whole
}  // namespace ConfigLib
