// The form as it stands on screens of three sizes: window, groups, rows, values, pictures.

#include <X11/keysym.h>
#include <gtest/gtest.h>

#include "Scenario.h"

namespace gui {
namespace {

// Pictures are compared with kept ones. The theme is dark and its colours lie close together, so a channel may be off
// by very little; another release of the GL may round the edges of some letters differently, so a few pixels by more.
constexpr int kTolerance = 3;
constexpr int kPixelsOff = 40;

struct Size {
    const char* name;
    Screen screen;
    float scale;
    int width, height;
    int x, y;
};

void PrintTo(const Size& size, std::ostream* out) {
    *out << size.name;
}

const Size kSizes[] = {
    {"FullHd", {1920, 1080}, 1.0F, 700, 450, 610, 315},
    {"QuadHd", {2560, 1440}, 1.3333334F, 933, 600, 813, 420},
    {"UltraHd", {3840, 2160}, 2.0F, 1400, 900, 1220, 630},
};

std::string SizeName(const testing::TestParamInfo<Size>& info) {
    return info.param.name;
}

class FormAtSize : public testing::TestWithParam<Size> {
protected:
    FormAtSize() {
        machine_.Global(GlobalFile("Site A", 4, "/mnt/general/"));
        machine_.Local(LocalFile(2, {"/mnt/rec1/", "/mnt/rec2/"}));
        machine_.Drive("/mnt/general", 1 << 20);
        machine_.Drive("/mnt/rec1", 3 << 19);
        machine_.Drive("/mnt/rec2", 40960);
        machine_.AutostartOn();
    }

    Machine machine_;
};

INSTANTIATE_TEST_SUITE_P(, FormAtSize, testing::ValuesIn(kSizes), SizeName);

TEST_P(FormAtSize, WindowHasTheScaledSizeAndIsCentred) {
    Session session(machine_, GetParam().screen);
    const Rect place = session.Place();
    EXPECT_EQ(place.w, static_cast<float>(GetParam().width));
    EXPECT_EQ(place.h, static_cast<float>(GetParam().height));
    EXPECT_EQ(place.x, static_cast<float>(GetParam().x));
    EXPECT_EQ(place.y, static_cast<float>(GetParam().y));
}

TEST_P(FormAtSize, HintsFixTheSizeOfTheWindow) {
    Session session(machine_, GetParam().screen);
    const Hints hints = session.SizeHints();
    EXPECT_EQ(hints.flags, 0x30);
    EXPECT_EQ(hints.minWidth, GetParam().width);
    EXPECT_EQ(hints.maxWidth, GetParam().width);
    EXPECT_EQ(hints.minHeight, GetParam().height);
    EXPECT_EQ(hints.maxHeight, GetParam().height);
    EXPECT_EQ(session.Title(), "Vesmara");
}

TEST_P(FormAtSize, EveryTextStandsInItsCell) {
    Session session(machine_, GetParam().screen);
    const Layout& at = session.At();
    const struct {
        Rect cell;
        const char* text;
        Colour paper;
        Align align;
    } texts[] = {
        {at.HeaderText(at.topologyHeader), "Recording system topology", colour::kHeader, Align::Left},
        {at.HeaderText(at.storageHeader), "Storage", colour::kHeader, Align::Left},
        {at.HeaderText(at.serviceHeader), "Service control", colour::kHeader, Align::Left},
        {at.nameLabel, "The Recording System name:", colour::kWindow, Align::Left},
        {at.FieldText(), "Site A", colour::kControl, Align::Left},
        {at.countLabel, "The number of the Recorders in the system:", colour::kWindow, Align::Left},
        {at.ComboText(at.countCombo), "4", colour::kControl, Align::Left},
        {at.idLabel, "This Recorder ID:", colour::kWindow, Align::Left},
        {at.ComboText(at.idCombo), "2", colour::kControl, Align::Left},
        {at.drivesLabel, "Recording drives:", colour::kWindow, Align::Left},
        {at.summary, "/mnt/rec1; /mnt/rec2", colour::kWindow, Align::Left},
        {at.ButtonText(at.select), "Select", colour::kButton, Align::Centred},
        {at.generalLabel, "Path to General Storage:", colour::kWindow, Align::Left},
        {at.ComboText(at.generalCombo), "/mnt/general", colour::kControl, Align::Left},
        {at.serviceLabel, "Run server at system start:", colour::kWindow, Align::Left},
        {at.checkboxText, "Yes", colour::kWindow, Align::Left},
        {at.ButtonText(at.apply), "Apply", colour::kButton, Align::Centred},
        {at.ButtonText(at.cancel), "Cancel", colour::kButton, Align::Centred},
    };
    for (const auto& expected : texts) {
        EXPECT_TRUE(session.Reads(expected.cell, expected.text, expected.paper, expected.align)) << expected.text;
    }
}

TEST_P(FormAtSize, PictureIsTheKeptOne) {
    Session session(machine_, GetParam().screen);
    EXPECT_EQ(CompareWithReference(session.Shot(), std::string("form-") + GetParam().name, kTolerance, kPixelsOff), "");
}

TEST_P(FormAtSize, PictureOfTheDrivePopupIsTheKeptOne) {
    Session session(machine_, GetParam().screen);
    session.Click(session.At().select);
    session.MoveTo(session.At().drivePopup.InnerLeft(3));
    EXPECT_EQ(CompareWithReference(session.Shot(), std::string("drives-") + GetParam().name, kTolerance, kPixelsOff),
              "");
}

TEST_P(FormAtSize, PictureOfTheAlertIsTheKeptOne) {
    Session session(machine_, GetParam().screen);
    session.Pick(session.At().generalCombo, 1, 3);
    session.Click(session.At().apply);
    session.MoveTo(session.At().alertPopup.InnerLeft(3));
    EXPECT_EQ(CompareWithReference(session.Shot(), std::string("alert-") + GetParam().name, kTolerance, kPixelsOff),
              "");
}

TEST_P(FormAtSize, PictureOfAnOpenComboIsTheKeptOne) {
    Session session(machine_, GetParam().screen);
    session.Click(session.At().countCombo);
    session.MoveTo(session.At().List(session.At().countCombo, 8).items[2]);
    EXPECT_EQ(CompareWithReference(session.Shot(), std::string("combo-") + GetParam().name, kTolerance, kPixelsOff),
              "");
}

TEST_P(FormAtSize, GroupsHaveTheScaledHeightsOneBelowTheOther) {
    Session session(machine_, GetParam().screen);
    const Picture shot = session.Shot();
    const Layout& at = session.At();
    const float heights[] = {160, 120, 100};
    const Rect groups[] = {at.topologyGroup, at.storageGroup, at.serviceGroup};
    for (int i = 0; i < 3; ++i) {
        const Rect& group = groups[i];
        EXPECT_EQ(group.h, heights[i] * GetParam().scale);
        const int middle = group.Centre().x;
        const int top = static_cast<int>(group.y);
        const int bottom = static_cast<int>(group.y + group.h);
        // The title bar begins where the group begins; a border line of one pixel closes the group.
        EXPECT_EQ(shot.At({middle, top + 3}), colour::kHeader) << i;
        EXPECT_EQ(shot.At({middle, bottom - 4}), colour::kWindow) << i;
        EXPECT_TRUE(shot.At({middle, bottom}).r < colour::kWindow.r ||
                    shot.At({middle, bottom - 1}).r < colour::kWindow.r)
            << i;
    }
}

TEST_P(FormAtSize, DrivePopupStandsWhereItsFiguresSay) {
    Session session(machine_, GetParam().screen);
    session.Click(session.At().select);
    session.MoveTo(session.At().driveCaption);
    const Picture shot = session.Shot();
    const float s = GetParam().scale;
    // Its place counts from the window's content area, 6 pixels from the left and 2 from the top.
    const float left = 175 * s + 6;
    const float top = 64 * s + 2;
    const float width = 350 * s;
    const float height = 322 * s;
    const auto at = [](float x, float y) { return Point{static_cast<int>(x), static_cast<int>(y)}; };
    EXPECT_EQ(shot.At(at(left + 3, top + 3)), colour::kPopup);
    EXPECT_EQ(shot.At(at(left + width - 4, top + height - 4)), colour::kPopup);
    for (const Point outside : {at(left - 3, top + height / 2), at(left + width + 2, top + height / 2),
                                at(left + width / 2, top + height + 2)}) {
        EXPECT_FALSE(shot.At(outside) == colour::kPopup);
    }
    // The list: 318 by 226, below the caption of 32.
    const float listLeft = left + 9;
    const float listTop = top + 5 + 32 * s + 4;
    EXPECT_EQ(shot.At(at(listLeft - 2, listTop + 20)), colour::kPopup);
    EXPECT_EQ(shot.At(at(listLeft + 3, listTop + 226 * s - 6)), colour::kPopupList);
    EXPECT_EQ(shot.At(at(listLeft + 318 * s - 4, listTop + 226 * s - 6)), colour::kPopupList);
    EXPECT_EQ(shot.At(at(listLeft + 318 * s + 2, listTop + 20)), colour::kPopup);
    // A selected row: 286 wide and 18 high, the second one 18 and a spacing of 4 below the first.
    const float rowLeft = listLeft + 9;
    const float rowTop = listTop + 5 + 18 * s + 4;
    EXPECT_EQ(shot.At(at(rowLeft + 1, rowTop + 2)), colour::kHighlight);
    EXPECT_EQ(shot.At(at(rowLeft + 286 * s - 3, rowTop + 18 * s - 3)), colour::kHighlight);
    EXPECT_EQ(shot.At(at(rowLeft + 286 * s + 3, rowTop + 5)), colour::kPopupList);
    EXPECT_EQ(shot.At(at(rowLeft + 286 * s - 3, rowTop - 3)), colour::kPopupList);
    // The buttons: 32 high, below the list.
    const float buttonTop = listTop + 226 * s + 4;
    EXPECT_EQ(shot.At(at(listLeft + 10, buttonTop + 16 * s)), colour::kButton);
    EXPECT_EQ(shot.At(at(listLeft + 40, buttonTop + 32 * s - 4)), colour::kButton);
    EXPECT_EQ(shot.At(at(listLeft + 40, buttonTop + 32 * s + 3)), colour::kPopup);
}

// The form without a picture to compare: what it shows for given files.
class MainForm : public testing::Test {
protected:
    void Files(unsigned int recorders, unsigned int id) {
        machine_.Global(GlobalFile("Site A", recorders, ""));
        machine_.Local(LocalFile(id, {}));
    }

    std::string CountShown(Session& session) { return Shown(session, session.At().countCombo); }
    std::string IdShown(Session& session) { return Shown(session, session.At().idCombo); }

    // The number that a closed combo shows, or "none".
    std::string Shown(Session& session, const Rect& combo) {
        for (const char* text : {"1", "2", "3", "4", "5", "6", "7", "8", "9"}) {
            if (session.Reads(session.At().ComboText(combo), text, colour::kControl)) {
                return text;
            }
        }
        return "none";
    }

    // The texts of an open list that fits without scrolling.
    void ExpectList(Session& session, const Rect& combo, const std::vector<std::string>& texts) {
        session.Click(combo);
        const ComboList list = session.At().List(combo, static_cast<int>(texts.size()));
        session.MoveTo(Point{1, 1});
        for (std::size_t i = 0; i < texts.size(); ++i) {
            EXPECT_TRUE(session.Reads(session.At().ItemText(list.items[i]), texts[i], colour::kWindow)) << texts[i];
        }
        // The list ends behind its last entry: what follows belongs to the form.
        const Picture shot = session.Shot();
        const int below = static_cast<int>(list.bounds.y + list.bounds.h);
        EXPECT_EQ(shot.At({static_cast<int>(list.bounds.x) + 20, below - 3}), colour::kWindow);
        session.Click(Point{1, 1});
    }

    Machine machine_;
};

TEST_F(MainForm, TextsAreToldFromOtherTexts) {
    Files(1, 1);
    Session session(machine_, kFullHd);
    const Layout& at = session.At();
    EXPECT_TRUE(session.Reads(at.FieldText(), "Site A", colour::kControl));
    EXPECT_FALSE(session.Reads(at.FieldText(), "Site B", colour::kControl));
    EXPECT_FALSE(session.Reads(at.FieldText(), "", colour::kControl));
    EXPECT_FALSE(session.Reads(at.checkboxText, "Yes", colour::kWindow));
    EXPECT_TRUE(session.Reads(at.summary, "", colour::kWindow));
    EXPECT_FALSE(session.Reads(at.summary, "1", colour::kWindow));
}

TEST_F(MainForm, WithoutGlobalFileShowsTheDefaults) {
    machine_.Remove(place::kGlobal);
    machine_.Local(LocalFile(1, {}));
    machine_.Drive("/mnt/a");
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().FieldText(), "The Recorder", colour::kControl));
    EXPECT_EQ(CountShown(session), "1");
    EXPECT_EQ(IdShown(session), "1");
    // An empty general storage matches no drive: the first one is shown.
    EXPECT_TRUE(session.Reads(session.At().ComboText(session.At().generalCombo), "/mnt/a", colour::kControl));
}

TEST_F(MainForm, IdAboveTheNumberIsRefusedByTheReaderAndShownAsOne) {
    Files(4, 7);
    Session session(machine_, kFullHd);
    EXPECT_EQ(CountShown(session), "4");
    EXPECT_EQ(IdShown(session), "1");
    EXPECT_NE(machine_.Log().find("ERROR: Config: Invalid 'NodeID'\n"), std::string::npos);
}

TEST_F(MainForm, IdOfZeroIsShownAsOne) {
    Files(4, 0);
    Session session(machine_, kFullHd);
    EXPECT_EQ(IdShown(session), "1");
}

TEST_F(MainForm, MissingIdLineIsShownAsOne) {
    Files(4, 1);
    machine_.Local("IP = 10.0.0.1\n");
    Session session(machine_, kFullHd);
    EXPECT_EQ(IdShown(session), "1");
}

TEST_F(MainForm, EmptyNameIsShownAsTheRecorder) {
    machine_.Global(GlobalFile("", 3, ""));
    machine_.Local(LocalFile(2, {}));
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().FieldText(), "The Recorder", colour::kControl));
}

TEST_F(MainForm, NumberListOffersOneToEight) {
    Files(1, 1);
    Session session(machine_, kFullHd);
    for (const int entry : {7, 0, 4}) {
        session.Pick(session.At().countCombo, entry, 8);
        EXPECT_EQ(CountShown(session), std::to_string(entry + 1));
    }
}

TEST_F(MainForm, IdListEndsAtTheChosenNumber) {
    Files(3, 2);
    Session session(machine_, kFullHd);
    ExpectList(session, session.At().idCombo, {"1", "2", "3"});
    session.Pick(session.At().countCombo, 1, 8);
    ExpectList(session, session.At().idCombo, {"1", "2"});
}

TEST_F(MainForm, IdListOfOneRecorderIsJustOne) {
    Files(1, 1);
    Session session(machine_, kFullHd);
    ExpectList(session, session.At().idCombo, {"1"});
}

TEST_F(MainForm, LoweredNumberLeavesTheHigherIdShownAndListsOnlyLowerOnes) {
    Files(5, 4);
    Session session(machine_, kFullHd);
    session.Pick(session.At().countCombo, 1, 8);
    EXPECT_EQ(CountShown(session), "2");
    EXPECT_EQ(IdShown(session), "4");
    ExpectList(session, session.At().idCombo, {"1", "2"});
    EXPECT_EQ(IdShown(session), "4");
}

TEST_F(MainForm, CheckboxSaysYesWhenTheAutostartEntryExists) {
    machine_.AutostartOn();
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().checkboxText, "Yes", colour::kWindow));
    EXPECT_EQ(session.Pixel(session.At().checkboxBox.Centre()), colour::kCheckMark);
}

TEST_F(MainForm, CheckboxSaysNoWhenTheAutostartEntryIsAbsent) {
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().checkboxText, "No", colour::kWindow));
    EXPECT_EQ(session.Pixel(session.At().checkboxBox.Centre()), colour::kControl);
}

TEST_F(MainForm, CheckboxSaysNoForADanglingLink) {
    machine_.Link(place::kAutostart, "/nowhere");
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().checkboxText, "No", colour::kWindow));
}

TEST_F(MainForm, CheckboxSaysYesForAFolderInTheEntrysPlace) {
    machine_.Write(place::kAutostart + "/inside", "");
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().checkboxText, "Yes", colour::kWindow));
}

TEST_F(MainForm, CheckboxIgnoresWhetherTheStartEntryIsInstalled) {
    machine_.Remove(place::kStartEntry);
    machine_.AutostartOn();
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().checkboxText, "Yes", colour::kWindow));
}

TEST_F(MainForm, CheckboxChangesItsWordWithEachClick) {
    Session session(machine_, kFullHd);
    session.Click(session.At().checkbox);
    EXPECT_TRUE(session.Reads(session.At().checkboxText, "Yes", colour::kWindow));
    session.Click(session.At().checkbox);
    EXPECT_TRUE(session.Reads(session.At().checkboxText, "No", colour::kWindow));
}

TEST_F(MainForm, WithoutDrivesTheGeneralStorageRowIsItsLabelOnly) {
    Files(1, 1);
    Session session(machine_, kFullHd);
    const Layout& at = session.At();
    EXPECT_TRUE(session.Reads(at.generalLabel, "Path to General Storage:", colour::kWindow));
    const Picture shot = session.Shot();
    EXPECT_EQ(shot.Count(at.generalCombo, colour::kWindow), static_cast<int>(at.generalCombo.w * at.generalCombo.h));
    EXPECT_TRUE(session.Reads(at.summary, "", colour::kWindow));
}

TEST_F(MainForm, ButtonsActOnlyWhenTheyArePressedNotHovered) {
    Session session(machine_, kFullHd);
    session.MoveTo(session.At().cancel);
    EXPECT_TRUE(session.Run().Running());
    session.Press();
    EXPECT_TRUE(EndedWell(session.End()));
}

TEST_F(MainForm, OtherMouseButtonsPressNothing) {
    Session session(machine_, kFullHd);
    session.MoveTo(session.At().cancel);
    for (const int button : {2, 3, 8, 9}) {
        session.Press(button);
        session.Release(button);
    }
    EXPECT_TRUE(session.Run().Running());
}

TEST_F(MainForm, WindowHasNoTitleBarAndCannotBeMoved) {
    Session session(machine_, kFullHd);
    const Picture before = session.Shot();
    session.MoveTo(Point{350, 3});
    session.Press();
    session.MoveTo(Point{380, 60});
    session.Release();
    session.MoveTo(Point{1, 1});
    EXPECT_TRUE(session.Shot() == before);
}

TEST_F(MainForm, CountAboveEightInTheFileKeepsTheFormAliveAndIsSavedUntouched) {
    std::string global = GlobalFile("Big", 12, "");
    machine_.Global(global);
    machine_.Local(LocalFile(11, {}));
    Session session(machine_, kFullHd);
    session.Click(session.At().checkbox);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), global);
    EXPECT_EQ(machine_.Local(), LocalFile(11, {}));
    EXPECT_TRUE(machine_.Exists(place::kAutostart));
}

// The first numbers above the labels.
TEST_F(MainForm, NineRecordersAndIdNineAreShownAndSavedUntouched) {
    machine_.Global(GlobalFile("Site", 9, ""));
    machine_.Local(LocalFile(9, {}));
    Session session(machine_);
    EXPECT_EQ(CountShown(session), "9");
    EXPECT_EQ(IdShown(session), "9");
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("Site", 9, ""));
    EXPECT_EQ(machine_.Local(), LocalFile(9, {}));
}

TEST_F(MainForm, CountOfSixtyFourIsSavedUntouched) {
    std::string global = GlobalFile("Biggest", 64, "");
    machine_.Global(global);
    machine_.Local(LocalFile(64, {}));
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), global);
    EXPECT_EQ(machine_.Local(), LocalFile(64, {}));
}

TEST_F(MainForm, CountAboveEightCanBeReplacedFromTheList) {
    machine_.Global(GlobalFile("Big", 12, ""));
    machine_.Local(LocalFile(11, {}));
    Session session(machine_, kFullHd);
    session.Pick(session.At().countCombo, 4, 8);
    session.Pick(session.At().idCombo, 2, 5);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("Big", 5, ""));
    EXPECT_EQ(machine_.Local(), LocalFile(3, {}));
}

TEST_F(MainForm, CountAboveEightShowsItsOwnNumber) {
    machine_.Global(GlobalFile("Big", 12, ""));
    machine_.Local(LocalFile(11, {}));
    Session session(machine_, kFullHd);
    EXPECT_TRUE(session.Reads(session.At().ComboText(session.At().countCombo), "12", colour::kControl));
    EXPECT_TRUE(session.Reads(session.At().ComboText(session.At().idCombo), "11", colour::kControl));
}

TEST_F(MainForm, EightCanBePickedWhereTheFileHasMore) {
    machine_.Global(GlobalFile("Big", 12, ""));
    machine_.Local(LocalFile(11, {}));
    Session session(machine_, kFullHd);
    session.Pick(session.At().countCombo, 7, 8);
    session.Pick(session.At().idCombo, 7, 8);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("Big", 8, ""));
    EXPECT_EQ(machine_.Local(), LocalFile(8, {}));
}

TEST_F(MainForm, OpenListsWithACountAboveEightCloseWithoutAChange) {
    machine_.Global(GlobalFile("Big", 12, ""));
    machine_.Local(LocalFile(11, {}));
    Session session(machine_, kFullHd);
    session.Click(session.At().countCombo);
    session.Click(Point{1, 1});
    session.Click(session.At().idCombo);
    session.Click(Point{1, 1});
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("Big", 12, ""));
    EXPECT_EQ(machine_.Local(), LocalFile(11, {}));
}

}  // namespace
}  // namespace gui
