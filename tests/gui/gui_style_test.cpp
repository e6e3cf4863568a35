// The dark theme: each colour of the style is seen as a pixel, idle, hovered and pressed.

#include <X11/keysym.h>
#include <gtest/gtest.h>

#include <cmath>

#include "Scenario.h"

namespace gui {
namespace {

// Inside a widget's left end, behind its border and rounding, in front of a centred text.
constexpr int kInside = 8;

class Style : public testing::Test {
protected:
    Style() {
        machine_.Global(GlobalFile("Site A", 3, "/mnt/a/"));
        machine_.Local(LocalFile(1, {"/mnt/b/"}));
        machine_.Drives({"/mnt/a", "/mnt/b", "/mnt/c"});
    }

    // What is seen through the border's colour, black at a quarter of full cover.
    static Colour UnderBorder(Colour colour) {
        const auto seen = [](int channel) {
            return static_cast<int>(std::lround(static_cast<double>(channel) * (255.0 - 64.0) / 255.0));
        };
        return {seen(colour.r), seen(colour.g), seen(colour.b)};
    }

    Machine machine_;
};

class StyledButton : public Style, public testing::WithParamInterface<const char*> {
protected:
    Rect Button(const Layout& at) const {
        const std::string name = GetParam();
        return name == "Apply" ? at.apply : name == "Cancel" ? at.cancel : at.select;
    }
};

INSTANTIATE_TEST_SUITE_P(, StyledButton, testing::Values("Apply", "Cancel", "Select"),
                         [](const auto& one) { return std::string(one.param); });

TEST_P(StyledButton, IsButtonColourWhenIdle) {
    Session session(machine_, kFullHd);
    EXPECT_EQ(session.Pixel(Button(session.At()).InnerLeft(kInside)), colour::kButton);
}

TEST_P(StyledButton, IsHighlightColourWhenHovered) {
    Session session(machine_, kFullHd);
    const Rect button = Button(session.At());
    session.MoveTo(button);
    EXPECT_EQ(session.Pixel(button.InnerLeft(kInside)), colour::kHighlight);
}

TEST_F(Style, PressedButtonHasTheColourOfAHoveredOneAndOfTheHeaders) {
    Session session(machine_, kFullHd);
    // Pressed beside the button and moved onto it: pressed there, without acting.
    session.Click(session.At().select);
    const Rect button = session.At().driveOk;
    session.MoveTo(button);
    const Colour hovered = session.Pixel(button.InnerLeft(kInside));
    session.MoveTo(session.At().driveCaption);
    session.Press();
    session.MoveTo(button);
    EXPECT_TRUE(DrivePopupIsUp(session));
    EXPECT_EQ(session.Pixel(button.InnerLeft(kInside)), hovered);
    EXPECT_EQ(hovered, colour::kHighlight);
    EXPECT_EQ(session.Pixel({static_cast<int>(session.At().serviceHeader.x) + 3,
                             static_cast<int>(session.At().serviceHeader.y) + 3}),
              hovered);
}

TEST_F(Style, WindowAndGroupsHaveTheWindowColour) {
    Session session(machine_, kFullHd);
    const Picture shot = session.Shot();
    const Layout& at = session.At();
    EXPECT_EQ(shot.At({5, 440}), colour::kWindow);
    for (const Rect& group : {at.topologyGroup, at.storageGroup, at.serviceGroup}) {
        EXPECT_EQ(shot.At({static_cast<int>(group.x + group.w) - 4, static_cast<int>(group.y + group.h) - 4}),
                  colour::kWindow);
    }
}

TEST_F(Style, HeadersHaveTheHeaderColour) {
    Session session(machine_, kFullHd);
    const Picture shot = session.Shot();
    const Layout& at = session.At();
    for (const Rect& header : {at.topologyHeader, at.storageHeader, at.serviceHeader}) {
        EXPECT_EQ(shot.At({static_cast<int>(header.x + header.w) - 20, header.Centre().y}), colour::kHeader);
    }
}

TEST_F(Style, BorderIsBlackAtAQuarterOfFullCover) {
    Session session(machine_, kFullHd);
    const Picture shot = session.Shot();
    const Layout& at = session.At();
    // A stroke of one pixel lies half on each of two pixel rows, and its edges are smoothed: it darkens, and never by
    // more than its cover.
    for (const Rect& group : {at.topologyGroup, at.storageGroup, at.serviceGroup}) {
        const int y = static_cast<int>(group.y + group.h);
        const int x = group.Centre().x;
        const int darkest = std::min(shot.At({x, y}).r, shot.At({x, y - 1}).r);
        EXPECT_LT(darkest, colour::kWindow.r);
        EXPECT_GE(darkest, UnderBorder(colour::kWindow).r);
    }
    // The window's own border is two pixels wide: half of it is outside, the other half has the full cover.
    EXPECT_LE(Distance(shot.At({0, 225}), UnderBorder(colour::kWindow)), 2);
    EXPECT_EQ(shot.At({3, 225}), colour::kWindow);
}

TEST_F(Style, EditFieldHasTheControlColourIdleHoveredAndActive) {
    Session session(machine_, kFullHd);
    const Rect field = session.At().nameField;
    const Point end{static_cast<int>(field.x + field.w) - kInside, field.Centre().y};
    EXPECT_EQ(session.Pixel(end), colour::kControl);
    session.MoveTo(field);
    EXPECT_EQ(session.Pixel(end), colour::kControl);
    session.Click(field);
    EXPECT_EQ(session.Pixel(end), colour::kControl);
}

TEST_F(Style, EditCursorHasTheTextColour) {
    Session session(machine_, kFullHd);
    session.Click(session.At().nameField);
    session.Key(XK_End);
    const Rect text = session.At().FieldText();
    const Lettering lettering(session.At().FontHeight());
    const Point cursor{static_cast<int>(text.x + lettering.Width("Site A")) + 2, text.Centre().y};
    EXPECT_EQ(session.Pixel(cursor), colour::kText);
}

TEST_F(Style, CombosHaveTheControlColourIdleHoveredAndOpen) {
    Session session(machine_, kFullHd);
    const Layout& at = session.At();
    const auto paper = [](const Rect& combo) {
        return Point{static_cast<int>(combo.x + combo.w) - 3, static_cast<int>(combo.y) + 3};
    };
    for (const Rect& combo : {at.countCombo, at.idCombo, at.generalCombo}) {
        EXPECT_EQ(session.Pixel(paper(combo)), colour::kControl);
        session.MoveTo(combo);
        EXPECT_EQ(session.Pixel(paper(combo)), colour::kControl);
        session.Click(combo);
        EXPECT_EQ(session.Pixel(paper(combo)), colour::kControl);
        session.Click(combo);
    }
}

TEST_F(Style, ComboSymbolHasTheTextColour) {
    Session session(machine_, kFullHd);
    const Rect combo = session.At().generalCombo;
    EXPECT_EQ(session.Pixel(session.At().ComboSymbol(combo).Centre()), colour::kText);
}

TEST_F(Style, ComboLabelIsButtonColourWhileTheButtonIsHeldOnIt) {
    Session session(machine_, kFullHd);
    const Rect combo = session.At().generalCombo;
    const Rect text = session.At().ComboText(combo);
    // Pressed outside and moved in: held on the combo, without opening it.
    session.MoveTo(Point{5, 440});
    session.Press();
    session.MoveTo(combo);
    const Picture held = session.Shot();
    EXPECT_EQ(held.Count(text, colour::kText), 0);
    int button = 0;
    for (int x = static_cast<int>(text.x); x < static_cast<int>(text.x + 60); ++x) {
        for (int y = static_cast<int>(text.y); y < static_cast<int>(text.y + text.h); ++y) {
            EXPECT_LE(held.At({x, y}).r, colour::kButton.r);
            button += held.At({x, y}) == colour::kButton ? 1 : 0;
        }
    }
    EXPECT_GT(button, 0);
    session.Release();
    EXPECT_TRUE(session.Reads(text, "/mnt/a", colour::kControl));
}

TEST_F(Style, ComboLabelIsTextColourWhileItsListIsOpen) {
    Session session(machine_, kFullHd);
    const Rect combo = session.At().generalCombo;
    session.Click(combo);
    EXPECT_TRUE(session.Reads(session.At().ComboText(combo), "/mnt/a", colour::kControl));
}

TEST_F(Style, ListEntriesAreWindowColourAndHighlightedUnderThePointer) {
    Session session(machine_, kFullHd);
    session.Click(session.At().idCombo);
    const ComboList list = session.At().List(session.At().idCombo, 3);
    session.MoveTo(list.items[1]);
    const Picture shot = session.Shot();
    const auto end = [](const Rect& item) {
        return Point{static_cast<int>(item.x + item.w) - kInside, item.Centre().y};
    };
    EXPECT_EQ(shot.At(end(list.items[0])), colour::kWindow);
    EXPECT_EQ(shot.At(end(list.items[1])), colour::kHighlight);
    EXPECT_EQ(shot.At(end(list.items[2])), colour::kWindow);
}

TEST_F(Style, CheckboxIsControlColourIdleHighlightHoveredAndDarkGreenWhenSet) {
    Session session(machine_, kFullHd);
    const Rect box = session.At().checkboxBox;
    const Point edge{static_cast<int>(box.x) + 1, box.Centre().y};
    EXPECT_EQ(session.Pixel(box.Centre()), colour::kControl);
    EXPECT_EQ(session.Pixel(edge), colour::kControl);
    session.MoveTo(session.At().checkboxText);
    EXPECT_EQ(session.Pixel(box.Centre()), colour::kHighlight);
    session.Click(session.At().checkboxText);
    EXPECT_EQ(session.Pixel(box.Centre()), colour::kCheckMark);
    EXPECT_EQ(session.Pixel(edge), colour::kHighlight);
    session.MoveTo(Point{5, 440});
    EXPECT_EQ(session.Pixel(box.Centre()), colour::kCheckMark);
    EXPECT_EQ(session.Pixel(edge), colour::kControl);
}

TEST_F(Style, DrivePopupIsPopupColourAndItsListDarker) {
    Session session(machine_, kFullHd);
    session.Click(session.At().select);
    const Picture shot = session.Shot();
    const Layout& at = session.At();
    EXPECT_EQ(shot.At(at.drivePopup.InnerLeft(4)), colour::kPopup);
    EXPECT_EQ(shot.At({at.driveList.Centre().x, static_cast<int>(at.driveList.y + at.driveList.h) - 20}),
              colour::kPopupList);
    // The form behind it keeps its own colour, also right behind the popup's frame.
    EXPECT_EQ(shot.At({5, 440}), colour::kWindow);
    EXPECT_EQ(shot.At({static_cast<int>(at.topologyGroup.x + at.topologyGroup.w) - 4,
                       static_cast<int>(at.topologyGroup.y + at.topologyGroup.h) - 4}),
              colour::kWindow);
}

TEST_F(Style, DriveRowsAreListColourOffAndHighlightOn) {
    Session session(machine_, kFullHd);
    session.Click(session.At().select);
    const auto end = [&](int row) {
        const Rect bounds = session.At().DriveRow(row);
        return Point{static_cast<int>(bounds.x + bounds.w) - kInside, bounds.Centre().y};
    };
    session.MoveTo(session.At().driveCaption);
    const Picture idle = session.Shot();
    EXPECT_EQ(idle.At(end(0)), colour::kPopupList);
    EXPECT_EQ(idle.At(end(1)), colour::kHighlight);
    session.MoveTo(session.At().DriveRow(0));
    EXPECT_EQ(session.Pixel(end(0)), colour::kHighlight);
    session.MoveTo(session.At().DriveRow(1));
    EXPECT_EQ(session.Pixel(end(1)), colour::kHighlight);
}

TEST_F(Style, HeldDriveRowIsControlColourOffAndHighlightOn) {
    Session session(machine_, kFullHd);
    session.Click(session.At().select);
    // Pressed elsewhere and moved onto the row: held, without switching it.
    session.MoveTo(session.At().driveCaption);
    session.Press();
    const auto end = [&](int row) {
        const Rect bounds = session.At().DriveRow(row);
        return Point{static_cast<int>(bounds.x + bounds.w) - kInside, bounds.Centre().y};
    };
    session.MoveTo(session.At().DriveRow(0));
    EXPECT_EQ(session.Pixel(end(0)), colour::kControl);
    session.MoveTo(session.At().DriveRow(1));
    EXPECT_EQ(session.Pixel(end(1)), colour::kHighlight);
    session.Release();
}

TEST_F(Style, AlertIsPopupColour) {
    machine_.Global(GlobalFile("Site A", 3, "/mnt/b/"));
    Session session(machine_, kFullHd);
    session.Click(session.At().apply);
    const Rect popup = session.At().alertPopup;
    EXPECT_EQ(session.Pixel({popup.Centre().x, static_cast<int>(popup.y) + 10}), colour::kPopup);
    EXPECT_EQ(session.Pixel({popup.Centre().x, static_cast<int>(popup.y + popup.h) - 10}), colour::kPopup);
    EXPECT_EQ(session.Pixel(session.At().alertOk.InnerLeft(kInside)), colour::kButton);
}

TEST_F(Style, WindowColourIsBackAfterThePopups) {
    Session session(machine_, kFullHd);
    const Picture before = session.Shot();
    session.Click(session.At().select);
    session.Click(session.At().driveOk);
    session.MoveTo(Point{1, 1});
    EXPECT_TRUE(session.Shot() == before);
}

TEST_F(Style, ScrollBarOfALongListIsControlColourWithAHandleThatStaysButtonColoured) {
    for (int i = 0; i < 20; ++i) {
        machine_.Drive("/mnt/more" + std::to_string(i));
    }
    Session session(machine_, kFullHd);
    session.Click(session.At().select);
    const Rect content = session.At().driveListContent;
    const int bar = static_cast<int>(content.x + content.w) + 8;
    const int top = static_cast<int>(content.y);
    const Point end{bar, static_cast<int>(content.y + content.h) - 5};
    const Picture idle = session.Shot();
    EXPECT_EQ(idle.At({bar, top + 5}), colour::kButton);
    EXPECT_EQ(idle.At(end), colour::kControl);

    session.MoveTo(Point{bar, top + 20});
    EXPECT_EQ(session.Pixel({bar, top + 8}), colour::kButton);

    session.Press();
    session.MoveTo(Point{bar, top + 32});
    const Picture dragged = session.Shot();
    EXPECT_EQ(dragged.At({bar, top + 32 + 8}), colour::kButton);
    // It followed the pointer: the bar is seen above it now.
    EXPECT_EQ(dragged.At({bar, top + 5}), colour::kControl);
    EXPECT_EQ(dragged.At(end), colour::kControl);
    session.Release();
}

struct Scaling {
    const char* name;
    Screen screen;
    float scale;
    int firstGroup;
    int itemHeight;
};

void PrintTo(const Scaling& scaling, std::ostream* out) {
    *out << scaling.name;
}

class ScaledForm : public Style, public testing::WithParamInterface<Scaling> {};

// Factors that are no whole number: 1.5, and 1.3 with an item height of 41.6 pixels.
INSTANTIATE_TEST_SUITE_P(, ScaledForm,
                         testing::Values(Scaling{"One", {1920, 1080}, 1.0F, 160, 32},
                                         Scaling{"OneAndAHalf", {2880, 1620}, 1.5F, 240, 48},
                                         Scaling{"OnePointThree", {2496, 1404}, 1.3F, 208, 41}),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(ScaledForm, FirstGroupHasItsHeightTimesTheFactor) {
    Session session(machine_, GetParam().screen);
    const Picture shot = session.Shot();
    // Down the right end of the group: header, group, border, window.
    const Rect group = session.At().topologyGroup;
    const int x = static_cast<int>(group.x + group.w) - 8;
    int bottom = 0;
    for (int y = static_cast<int>(session.At().topologyHeader.h) + 12; y < shot.Height() && bottom == 0; ++y) {
        if (!(shot.At({x, y}) == colour::kWindow)) {
            bottom = y;
        }
    }
    EXPECT_NEAR(bottom - 6, GetParam().firstGroup, 1);
}

TEST_P(ScaledForm, ListItemsHaveTheScaledHeightTruncated) {
    Session session(machine_, GetParam().screen);
    session.Click(session.At().idCombo);
    const ComboList list = session.At().List(session.At().idCombo, 3);
    // A hovered entry shows its whole height as one run of the highlight.
    session.MoveTo(list.items[1]);
    const Picture shot = session.Shot();
    const int x = static_cast<int>(list.items[1].x + list.items[1].w) - 10;
    int run = 0;
    for (int y = static_cast<int>(list.bounds.y); y < static_cast<int>(list.bounds.y + list.bounds.h); ++y) {
        run += shot.At({x, y}) == colour::kHighlight ? 1 : 0;
    }
    EXPECT_EQ(run, GetParam().itemHeight);
}

}  // namespace
}  // namespace gui
