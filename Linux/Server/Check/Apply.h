// "Apply" on the untouched form, with the form's own code and the library's writers, on files of this process.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "DroppedLines.h"
#include "FormState.h"
#include "Report.h"

// The form as it comes up with the loaded records.
class UntouchedForm {
public:
    // Works on the library's records; takes the drives in mount table order.
    explicit UntouchedForm(std::vector<DriveRecord> drives);

    // Fills the form. The process ends by abort() where the program does.
    void Fill();

    // Moves the form into the records; false when "Apply" would refuse that.
    bool Store();

    Recorder ShownRecorder() const;

private:
    FormFields Fields();

    char m_systemName[256];
    int m_systemNameLen;
    int m_generalStorageIndex;
    char m_generalStoragePath[512];
    int m_generalStoragePathLen;
    int m_recorderIdIndex;
    int m_recorderCountIndex;
    std::vector<DriveRecord> m_drives;
    std::vector<int> m_driveSelected;
};

// The drives of a mount table, without their free space. Throws NotChecked for a table that was asked for and cannot be
// read.
std::vector<DriveRecord> DrivesOf(const std::string& mountTable, bool mustBeThere);

// What headers without numbers name with the loaded records.
NamedSections SectionsOfLoaded();

// The storages of the loaded records.
std::vector<Storage> StoragesOf(const std::vector<DriveRecord>& drives);

// Whether each of the two files was replaced.
using SavedFiles = std::array<bool, FILES>;

// Saves the records. A file that was not replaced is as it was, and its temporary file is left beside it, as with the
// program. Throws NotChecked when there was no room for the files.
SavedFiles SaveRecords();
