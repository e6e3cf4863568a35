#include "Layout.h"

#include <algorithm>
#include <cmath>

namespace gui {
namespace {

// Metrics that the toolkit's style table sets and the program leaves alone, in pixels at every scale.
constexpr float kSpacing = 4;
constexpr float kPadding = 4;  // the same for windows, groups, popups and combos
constexpr float kScrollbar = 10;
constexpr float kWindowBorder = 2;
constexpr float kInnerBorder = 1;  // of groups, popups and combos
constexpr float kHeaderPadding = 4;
constexpr float kHeaderLabelPadding = 4;
constexpr float kToggleSpacing = 4;
constexpr float kComboPadding = 4;
constexpr float kComboSpacing = 4;
constexpr float kButtonInset = 2 + 1 + 4;  // padding, border and rounding of a button
constexpr float kRowPadding = 2;           // of a row of the drive list and of an entry of a combo
constexpr float kFieldInset = 4 + 1;       // padding and border of the edit field

float Fraction(float value) {
    return value - std::trunc(value);
}

// The toolkit puts widgets on whole pixels, truncating each figure.
Rect Whole(Rect rect) {
    return {std::trunc(rect.x), std::trunc(rect.y), std::trunc(rect.w), std::trunc(rect.h)};
}

// One panel of the toolkit, filled row by row from the top.
class Panel {
public:
    // footer: whether room is kept at the bottom for a horizontal scroll bar; header: height of the title bar or 0.
    Panel(const Rect& bounds, float border, float header, bool footer = true)
        : x_(bounds.x + kPadding + border),
          width_(bounds.w - 2 * kPadding - 2 * border - kScrollbar),
          top_(bounds.y + border + header),
          height_(bounds.h - 2 * border - header - (footer ? kScrollbar : 0)),
          y_(top_ + kPadding) {}

    Rect Content() const { return {x_, top_, width_, height_}; }

    std::vector<Rect> Row(float height, const std::vector<float>& ratios) {
        const float space = Space(ratios.size());
        float offset = 0;
        std::vector<Rect> cells;
        for (std::size_t i = 0; i < ratios.size(); ++i) {
            const float w = ratios[i] * space;
            cells.push_back(Cell(offset, i, w + Fraction(offset), height));
            offset += w;
        }
        y_ += height + kSpacing;
        return cells;
    }

    std::vector<Rect> Equal(float height, std::size_t columns) {
        const float w = Space(columns) / static_cast<float>(columns);
        std::vector<Rect> cells;
        for (std::size_t i = 0; i < columns; ++i) {
            const float offset = static_cast<float>(i) * w;
            cells.push_back(Cell(offset, i, w + Fraction(offset), height));
        }
        y_ += height + kSpacing;
        return cells;
    }

    Rect Static(float height, float width) {
        const Rect cell = Cell(0, 0, width, height);
        y_ += height + kSpacing;
        return cell;
    }

private:
    float Space(std::size_t columns) const {
        return width_ - 2 * kPadding - static_cast<float>(columns - 1) * kSpacing;
    }
    Rect Cell(float offset, std::size_t index, float width, float height) const {
        return {x_ + offset + static_cast<float>(index) * kSpacing + kPadding, y_, width, height};
    }

    float x_;
    float width_;
    float top_;
    float height_;
    float y_;
};

Rect Scaled(const Rect& rect, float scale) {
    return {rect.x * scale, rect.y * scale, rect.w * scale, rect.h * scale};
}

// A popup's rectangle counts from the content area of the window that it belongs to.
Rect Placed(Rect popup, const Rect& windowContent) {
    popup.x += windowContent.x;
    popup.y += windowContent.y;
    return popup;
}

}  // namespace

int Layout::WindowWidth() const {
    return static_cast<int>(form::kWidth * scale_);
}

int Layout::WindowHeight() const {
    return static_cast<int>(form::kHeight * scale_);
}

float Layout::HeaderHeight() const {
    return FontHeight() + 2 * kHeaderPadding + 2 * kHeaderLabelPadding;
}

Layout::Layout(float scale) : scale_(scale) {
    Panel window({0, 0, form::kWidth * scale, form::kHeight * scale}, kWindowBorder, 0);
    PlaceTopology(window.Equal(form::kTopologyHeight * scale, 1)[0]);
    PlaceStorage(window.Equal(form::kStorageHeight * scale, 1)[0]);
    PlaceService(window.Equal(form::kServiceHeight * scale, 1)[0]);
    const auto buttons = window.Equal(form::kButtonHeight * scale, 2);
    apply = Whole(buttons[0]);
    cancel = Whole(buttons[1]);
    PlaceDrivePopup(Placed(Scaled(form::kDrivePopup, scale), window.Content()));
    PlaceAlertPopup(Placed(form::kAlertPopup, window.Content()));
}

void Layout::PlaceTopology(const Rect& group) {
    topologyGroup = group;
    topologyHeader = {group.x, group.y, group.w, HeaderHeight()};
    Panel panel(group, kInnerBorder, HeaderHeight());
    auto cells = panel.Row(form::kRowHeight * scale_, {0.3F, 0.5F, 0.2F});
    nameLabel = Whole(cells[0]);
    nameField = Whole(cells[1]);
    cells = panel.Row(form::kRowHeight * scale_, {0.45F, 0.1F, 0.35F});
    countLabel = Whole(cells[0]);
    countCombo = Whole(cells[1]);
    cells = panel.Row(form::kRowHeight * scale_, {0.2F, 0.1F, 0.5F});
    idLabel = Whole(cells[0]);
    idCombo = Whole(cells[1]);
}

void Layout::PlaceStorage(const Rect& group) {
    storageGroup = group;
    storageHeader = {group.x, group.y, group.w, HeaderHeight()};
    Panel panel(group, kInnerBorder, HeaderHeight());
    auto cells = panel.Row(form::kRowHeight * scale_, {0.2F, 0.6F, 0.2F});
    drivesLabel = Whole(cells[0]);
    summary = Whole(cells[1]);
    select = Whole(cells[2]);
    cells = panel.Row(form::kRowHeight * scale_, {0.3F, 0.7F, 0.0F});
    generalLabel = Whole(cells[0]);
    generalCombo = Whole(cells[1]);
}

void Layout::PlaceService(const Rect& group) {
    serviceGroup = group;
    serviceHeader = {group.x, group.y, group.w, HeaderHeight()};
    Panel panel(group, kInnerBorder, HeaderHeight());
    const auto cells = panel.Row(form::kServiceRowHeight * scale_, {0.3F, 0.7F});
    serviceLabel = Whole(cells[0]);
    checkbox = Whole(cells[1]);
    const float box = FontHeight();
    checkboxBox = {checkbox.x, checkbox.y + checkbox.h / 2 - box / 2, box, box};
    checkboxText = {checkboxBox.x + box + kToggleSpacing, checkboxBox.y, checkbox.w - box - kToggleSpacing, box};
}

void Layout::PlaceDrivePopup(const Rect& bounds) {
    drivePopup = bounds;
    Panel popup(bounds, kInnerBorder, 0);
    driveCaption = Whole(popup.Equal(form::kCaptionHeight * scale_, 1)[0]);
    driveList = popup.Static(form::kListHeight * scale_, std::trunc(form::kListWidth * scale_));
    driveListContent = Panel(driveList, kInnerBorder, 0).Content();
    const auto buttons = popup.Equal(form::kDriveButtonHeight * scale_, 2);
    driveOk = Whole(buttons[0]);
    driveCancel = Whole(buttons[1]);
}

void Layout::PlaceAlertPopup(const Rect& bounds) {
    alertPopup = bounds;
    Panel alert(bounds, kInnerBorder, 0);
    alert.Equal(form::kAlertBlankHeight, 1);
    alertText = Whole(alert.Equal(form::kAlertTextHeight, 1)[0]);
    alertOk = Whole(alert.Equal(form::kAlertButtonHeight, 1)[0]);
}

Rect Layout::DriveRow(int index) const {
    Panel list(driveList, kInnerBorder, 0);
    for (int i = 0; i < index; ++i) {
        list.Static(form::kDriveRowHeight * scale_, 0);
    }
    return Whole(list.Static(form::kDriveRowHeight * scale_, std::trunc(form::kDriveRowWidth * scale_)));
}

ComboList Layout::List(const Rect& combo, int count) const {
    const float itemHeight = std::trunc(form::kComboItemHeight * scale_);
    const float needed = static_cast<float>(count) * (itemHeight + kSpacing) + 2 * kSpacing + 2 * kPadding;
    ComboList list;
    list.bounds = {combo.x, combo.y + combo.h - kInnerBorder, form::kComboWidth * scale_,
                   std::min(form::kComboHeight * scale_, needed)};
    Panel panel(list.bounds, kInnerBorder, 0, false);
    list.content = panel.Content();
    for (int i = 0; i < count; ++i) {
        Rect item = Whole(panel.Equal(itemHeight, 1)[0]);
        // An entry reaches over the panel's paddings to both sides.
        item.x -= kPadding;
        item.w += 2 * kPadding;
        list.items.push_back(item);
    }
    const float contentHeight = kPadding + static_cast<float>(count) * (itemHeight + kSpacing);
    list.scrollRange = std::max(0.0F, std::trunc(contentHeight) - list.content.h);
    // The list shrinks to its entries when they need less than its size.
    if (contentHeight < list.content.h) {
        list.content.h = contentHeight;
        list.bounds.h = kInnerBorder + contentHeight;
    }
    return list;
}

Rect Layout::ComboText(const Rect& combo) const {
    return {combo.x + kComboPadding, combo.y + kComboPadding, combo.w - combo.h - 2 * kComboPadding - kComboSpacing,
            combo.h - 2 * kComboPadding};
}

Rect Layout::ComboSymbol(const Rect& combo) const {
    const float side = combo.h - 2 * kComboPadding;
    return {combo.x + combo.w - combo.h, combo.y + kComboPadding, side, side};
}

Rect Layout::ButtonText(const Rect& button) const {
    // The toolkit subtracts one border only from the size, not two.
    return {button.x + kButtonInset, button.y + kButtonInset, button.w - 2 * kButtonInset + 1,
            button.h - 2 * kButtonInset + 1};
}

Rect Layout::FieldText() const {
    return {nameField.x + kFieldInset, nameField.y + kFieldInset, nameField.w - 2 * kFieldInset,
            nameField.h - 2 * kFieldInset};
}

Rect Layout::HeaderText(const Rect& header) const {
    return {header.x + kHeaderPadding + kHeaderLabelPadding, header.y + kHeaderLabelPadding,
            header.w - 2 * (kHeaderPadding + kHeaderLabelPadding), FontHeight() + 2 * kHeaderLabelPadding};
}

Rect Layout::AlertLine(int line) const {
    return {alertText.x, alertText.y + static_cast<float>(line) * FontHeight(), alertText.w, FontHeight()};
}

Rect Layout::DriveRowText(int index) const {
    const Rect row = DriveRow(index);
    return {row.x + kRowPadding, row.y, row.w - 2 * kRowPadding, row.h};
}

Rect Layout::ItemText(const Rect& item) const {
    // Entries of a list have the button's padding, but neither border nor rounding.
    return {item.x + kRowPadding, item.y + kRowPadding, item.w - 2 * kRowPadding, item.h - 2 * kRowPadding};
}

}  // namespace gui
