// Where each widget of the form lies in the window, for a scale factor.
//
// Worked out from the figures of the form (heights, ratios, popup rectangles) and from the toolkit's own metrics
// (paddings, spacings, borders), so that a test names a widget and never a pixel.
#pragma once

#include <vector>

#include "Picture.h"

namespace gui {

// Sizes in logical units that the form gives to the toolkit; all but the alert's go through the scale factor.
namespace form {
inline constexpr int kWidth = 700;
inline constexpr int kHeight = 450;
inline constexpr float kFontPixels = 18;
inline constexpr float kTopologyHeight = 160;
inline constexpr float kStorageHeight = 120;
inline constexpr float kServiceHeight = 100;
inline constexpr float kRowHeight = 30;
inline constexpr float kServiceRowHeight = 35;
inline constexpr float kButtonHeight = 30;
inline constexpr float kComboWidth = 200;
inline constexpr float kComboHeight = 250;
inline constexpr float kComboItemHeight = 32;
inline constexpr Rect kDrivePopup{(kWidth - 350) / 2, 64, 350, kHeight - 128};
inline constexpr float kCaptionHeight = 32;
inline constexpr float kListHeight = kHeight - 224;
inline constexpr float kListWidth = 318;
inline constexpr float kDriveRowHeight = 18;
inline constexpr float kDriveRowWidth = 286;
inline constexpr float kDriveButtonHeight = 32;
inline constexpr Rect kAlertPopup{(kWidth - 480) * 0.5F, 64, 480, 150};
inline constexpr float kAlertBlankHeight = 25;
inline constexpr float kAlertTextHeight = 50;
inline constexpr float kAlertButtonHeight = 25;
}  // namespace form

// A combo's drop-down list. Entries are counted from 0.
struct ComboList {
    Rect bounds;
    Rect content;             // where the wheel scrolls
    std::vector<Rect> items;  // unscrolled
    float scrollRange = 0;    // how far the list can be scrolled, 0 when all fits
};

class Layout {
public:
    explicit Layout(float scale);

    float Scale() const { return scale_; }
    float FontHeight() const { return form::kFontPixels * scale_; }
    int WindowWidth() const;
    int WindowHeight() const;

    Rect topologyGroup, storageGroup, serviceGroup;
    Rect topologyHeader, storageHeader, serviceHeader;
    Rect nameLabel, nameField;
    Rect countLabel, countCombo;
    Rect idLabel, idCombo;
    Rect drivesLabel, summary, select;
    Rect generalLabel, generalCombo;
    Rect serviceLabel, checkbox, checkboxBox, checkboxText;
    Rect apply, cancel;

    Rect drivePopup, driveCaption, driveList, driveOk, driveCancel;
    Rect DriveRow(int index) const;
    Rect driveListContent;

    Rect alertPopup, alertText, alertOk;

    // The list under a closed combo with this many entries.
    ComboList List(const Rect& combo, int count) const;
    // The text of a closed combo.
    Rect ComboText(const Rect& combo) const;
    Rect ComboSymbol(const Rect& combo) const;
    Rect ButtonText(const Rect& button) const;
    Rect FieldText() const;
    Rect HeaderText(const Rect& header) const;
    // One line of the alert's text.
    Rect AlertLine(int line) const;
    // A row of the drive list, without its padding.
    Rect DriveRowText(int index) const;
    // An entry of an open combo, without its padding.
    Rect ItemText(const Rect& item) const;

private:
    float HeaderHeight() const;
    void PlaceTopology(const Rect& group);
    void PlaceStorage(const Rect& group);
    void PlaceService(const Rect& group);
    void PlaceDrivePopup(const Rect& bounds);
    void PlaceAlertPopup(const Rect& bounds);

    float scale_;
};

}  // namespace gui
