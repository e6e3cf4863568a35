// The form: its state, its look, its one validation, and what "Apply" does.
#pragma once

#include <nuklear.h>

#include <string>
#include <vector>

#include "FormState.h"

// The one form of the program. Made once the GUI context has its font; edits the records of ConfigLib in place.
// Main thread only.
class Dlg {
public:
    // `ctx` is borrowed, `width` and `height` are logical units, `scale` pixels per logical unit. Fills the form from
    // the records, the mount table and the autostart entry. Throws the integer 0, after one line in the log, when that
    // fails; ends the process by abort() when the general storage path has 512 bytes or more.
    Dlg(nk_context* ctx, int width, int height, float scale);

    // Frees the arrays, but not the texts they point to: those live until the process ends, and that is meant. Touches
    // neither the GUI context nor the connection, which are gone by then.
    ~Dlg();

    Dlg(const Dlg&) = delete;
    Dlg& operator=(const Dlg&) = delete;

    // Describes the whole form for one frame, between the frame's input and its drawing. May not return: "Cancel" and a
    // successful "Apply" end the process with status 0 from here.
    void ProcessGui();

private:
    // What the form shares with the checker of the files, as it is at present.
    FormFields Fields();

    void Init();
    void InitStyles(nk_context* ctx);
    void InitDeviceLabels();
    void InitUiFromConfig();
    void InitDrives();
    void CollectDrives();
    void MakeDriveTexts();

    // A logical length in pixels.
    float GetScaled(float length) const;

    void BuildPopups();
    void BuildTopologyGroup(struct nk_vec2 comboSize);
    void BuildStorageGroup(struct nk_vec2 comboSize);
    void BuildServiceGroup();
    void BuildButtons();
    void BuildFormRow(float height, const float (&ratios)[3]);
    void BuildNameField();
    int BuildNumberCombo(int count, int index, struct nk_vec2 comboSize);
    int BuildDriveCombo(struct nk_vec2 comboSize);

    // Both take the popup's flag and return its new value: 1 while it stays open, 0 when it is closed.
    int BuildAlertPopup(int show) const;
    int BuildSelectDrivePopup(int show) const;
    void BuildDriveList() const;

    // The selected drives' paths with "; " between them, and one NUL as the last character.
    std::string BuildSelectedDriveStr() const;

    // Moves the form into the records, validates, switches the autostart entry, saves and ends the process. Returns
    // only when the validation failed; nothing on disk has changed then.
    void OnApplyButtonClicked();
    void SwitchAutostart() const;

    // False when a recording drive is the general storage too. Compares texts, not indices; changes nothing.
    bool CheckIfStoragesValid() const;

    nk_context* m_ctx;
    const char* m_windowName;  // key of the GUI's window, never shown
    std::string m_alertText;   // empty until "Apply" fails
    int m_width;               // logical
    int m_height;              // logical
    float m_scale;
    float m_scaledWidth;                     // pixels
    float m_scaledHeight;                    // pixels
    int m_showSelectDrivePopup;              // not 0 while it is open
    int m_showAlertPopup;                    // not 0 while it is open
    int m_runServerAtStart;                  // written by the checkbox
    char m_systemName[256];                  // edit buffer; not terminated once edited
    int m_systemNameLen;                     // bytes of text in m_systemName
    int m_generalStorageIndex;               // into m_drives
    char m_generalStoragePath[512];          // as configured; used to find the initial index
    int m_generalStoragePathLen;             // written once, read by nothing
    mutable std::string m_selectedDriveStr;  // summary on the form; the drive popup's "OK" renews it
    int m_recorderIdIndex;                   // the ID minus 1
    int m_recorderCountIndex;                // the number minus 1
    [[maybe_unused]] int m_maxRecorders;     // entries of m_numberLabels; written once, read by nothing
    int* m_driveSelected;               // one flag per drive; null without drives, like m_driveLabels and m_drivePaths
    char** m_numberLabels;              // "1" to "8"
    char** m_driveLabels;               // rows of the popup
    char** m_drivePaths;                // items of the general storage combo
    std::vector<DriveRecord> m_drives;  // in mount table order
};
