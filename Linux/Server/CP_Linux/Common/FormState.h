// The part of the form's state that comes from the two records and goes back to them with "Apply", without a window:
// for the form, and for whoever works out beforehand what "Apply" would write. Stateless; no allocation is kept.
#pragma once

#include <string>
#include <vector>

#include "External/Plugin/config.h"

// The installed start entry of the server, and its copy, whose existence means that the server starts at boot.
constexpr char START_ENTRY[] = "/usr/share/applications/StartRecordingServer.desktop";
constexpr char AUTOSTART_ENTRY[] = "/etc/xdg/autostart/StartRecordingServer.desktop";

// One drive to choose from. A drive is its mount point; two rows of the mount table with one mount point are two
// drives.
struct DriveRecord {
    std::string label;         // row of the popup: the mount point and the free space
    std::string path;          // the mount point, byte for byte as in the mount table
    long long availableSpace;  // bytes when the list was built, -1 when that failed; nothing reads it
};

// The fields that these functions work on; all of them are borrowed.
struct FormFields {
    char (&systemName)[256];  // not terminated once edited
    int& systemNameLen;       // bytes of text in systemName
    int& generalStorageIndex;
    char (&generalStoragePath)[512];
    int& generalStoragePathLen;
    int& recorderIdIndex;                    // the ID minus 1
    int& recorderCountIndex;                 // the number minus 1
    const std::vector<DriveRecord>& drives;  // in mount table order
    int* driveSelected;                      // one flag for each drive; null without drives
};

// What a form holds before anything is loaded.
void SetFormDefaults(const FormFields& form);

// Name, numbers and general storage path from the records. Repairs the records too: a number of Recorders of 0, and a
// Recorder ID of 0 or above the number. Ends the process by abort() when the path has 512 bytes or more.
void FillForm(const FormFields& form, CONFIGURATION__GLOBAL& global, CONFIGURATION__LOCAL& local);

// Finds the configured general storage among the drives; the last match wins, without one the index stays.
void FindGeneralStorage(const FormFields& form);

// Whether the general storage of this path is among the drives, as FindGeneralStorage compares: as the path stands, or
// without its closing slashes.
bool HasGeneralStorage(const std::vector<DriveRecord>& drives, const std::string& path);

// Whether a recording storage of this path is among the drives, as FindRecordingDrives compares: without the closing
// slashes alone.
bool HasRecordingStorage(const std::vector<DriveRecord>& drives, const std::string& path);

// Sets the flag of every drive that is a configured recording storage; the other flags stay.
void FindRecordingDrives(const FormFields& form, const CONFIGURATION__LOCAL& local);

// Numbers and name into the records. The zero byte behind a name of 64 bytes lies on the lowest byte of the number of
// Recorders, which is set before: such a name turns the number into 0.
void StoreTopology(const FormFields& form, CONFIGURATION__GLOBAL& global, CONFIGURATION__LOCAL& local);

// General storage and recording storages into the records: at most 16 flagged drives in mount table order.
void StoreStorages(const FormFields& form, CONFIGURATION__GLOBAL& global, CONFIGURATION__LOCAL& local);

// False when a flagged drive is the general storage of the record too. Compares texts, not indices.
bool AreStoragesValid(const std::vector<DriveRecord>& drives, const int* driveSelected,
                      const CONFIGURATION__GLOBAL& global);

// Whether the server starts at boot, following links. Throws std::filesystem::filesystem_error when that cannot be
// told.
bool IsAutostartOn();
