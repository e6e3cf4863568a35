// The two popups, the drive list and its summary, and the validation.

#include <gtest/gtest.h>

// Behind the test framework: some of its names are macros here.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <algorithm>
#include <cstdio>

#include "Scenario.h"
#include "support/Lines.h"

namespace gui {
namespace {

class DriveForm : public testing::Test {
protected:
    void Files(const std::string& general, const std::vector<std::string>& recording) {
        machine_.Global(GlobalFile("Site A", 2, general));
        machine_.Local(LocalFile(1, recording));
    }

    // What a session that changes nothing would save now.
    void ExpectSaved(const std::string& general, const std::vector<std::string>& recording) {
        EXPECT_EQ(machine_.Global(), GlobalFile("Site A", 2, general));
        EXPECT_EQ(machine_.Local(), LocalFile(1, recording));
    }

    static bool Summary(Session& session, const std::string& text) {
        return session.Reads(session.At().summary, text, colour::kWindow);
    }
    static bool General(Session& session, const std::string& text) {
        return session.Reads(session.At().ComboText(session.At().generalCombo), text, colour::kControl);
    }
    // With the popup open: whether row reads so and is on or off.
    static bool Row(Session& session, int row, const std::string& text, bool on) {
        return session.Reads(session.At().DriveRowText(row), text, on ? colour::kHighlight : colour::kPopupList);
    }

    static std::vector<std::string> Numbered(int count) {
        std::vector<std::string> drives;
        for (int i = 1; i <= count; ++i) {
            drives.push_back("/mnt/d" + std::to_string(i));
        }
        return drives;
    }

    // Leaves the pointer beside the rows, so that none is hovered.
    static void OpenDrives(Session& session) {
        session.Click(session.At().select);
        session.MoveTo(session.At().driveCaption);
    }

    static void OpenDrivesAtTheEnd(Session& session) {
        session.Click(session.At().select);
        session.MoveTo(session.At().driveListContent);
        for (int i = 0; i < 10; ++i) {
            session.Notch(5);
        }
    }
    // At the end of its way the last row, which is 0 here, stands one spacing above the list's lower end.
    static Point RowFromTheEnd(Session& session, int row) {
        const Rect content = session.At().driveListContent;
        const float pitch = session.At().DriveRow(1).y - session.At().DriveRow(0).y;
        return {content.Centre().x, static_cast<int>(content.y + content.h - 12 - static_cast<float>(row) * pitch)};
    }

    Machine machine_;
};

// The list.

TEST_F(DriveForm, RowsShowMountPointAndFreeSpaceInTheTablesOrder) {
    machine_.Drive("/mnt/zeta", 1 << 20);
    machine_.Drive("/media/usb", 3 << 19);
    machine_.Drive("/mnt/alpha", 40960);
    Files("/mnt/zeta/", {"/mnt/alpha/"});
    Session session(machine_, kFullHd);
    OpenDrives(session);
    EXPECT_TRUE(session.Reads(session.At().driveCaption, "Select drives to use for recordings", colour::kPopup));
    EXPECT_TRUE(Row(session, 0, "/mnt/zeta (1.00 MB)", false));
    EXPECT_TRUE(Row(session, 1, "/media/usb (1.50 MB)", false));
    EXPECT_TRUE(Row(session, 2, "/mnt/alpha (40.00 KB)", true));
}

TEST_F(DriveForm, FullDriveHasZeroBytesInItsLabel) {
    machine_.Drive("/mnt/full", 8192);
    machine_.Write("/mnt/full/ballast", std::string(8192, 'x'));
    Session session(machine_, kFullHd);
    OpenDrives(session);
    EXPECT_TRUE(Row(session, 0, "/mnt/full (0.00 B)", false));
}

TEST_F(DriveForm, MissingMountPointKeepsItsRowWithMinusOneByte) {
    machine_.MountTable("device /mnt/gone ext4 rw 0 0\n");
    Session session(machine_, kFullHd);
    OpenDrives(session);
    EXPECT_TRUE(Row(session, 0, "/mnt/gone (-1.00 B)", false));
}

TEST_F(DriveForm, OnlyMountPointsWithMntOrMediaInThemAreOffered) {
    machine_.MountTable(
        "d1 / ext4 rw 0 0\n"
        "d2 /srv/data ext4 rw 0 0\n"
        "d3 /home/user/media ext4 rw 0 0\n"
        "d4 /MNT/disk1 ext4 rw 0 0\n"
        "d5 /mnt2 ext4 rw 0 0\n"
        "d6 /media/mnt/both ext4 rw 0 0\n");
    Session session(machine_, kFullHd);
    OpenDrives(session);
    EXPECT_TRUE(Row(session, 0, "/home/user/media (-1.00 B)", false));
    EXPECT_TRUE(Row(session, 1, "/mnt2 (-1.00 B)", false));
    EXPECT_TRUE(Row(session, 2, "/media/mnt/both (-1.00 B)", false));
    EXPECT_TRUE(Row(session, 3, "", false));
    const std::string lines =
        "found mounted devices: \n"
        "d3 : /home/user/media\n"
        "d5 : /mnt2\n"
        "d6 : /media/mnt/both\n";
    EXPECT_NE(session.Run().Output().find(lines), std::string::npos) << session.Run().Output();
}

TEST_F(DriveForm, BlankInAMountPointIsDecoded) {
    machine_.Drive("/mnt/my disk", 1 << 20);
    Files("/mnt/my disk/", {});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(General(session, "/mnt/my disk"));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/my disk", {});
}

TEST_F(DriveForm, CommaOfTheLocaleIsSeenInTheLabels) {
    machine_.Drive("/mnt/a", 3 << 19);
    Session::Options options;
    options.environment["LC_ALL"] = "de_DE.UTF-8";
    options.environment["LOCPATH"] = CommaLocaleFolder();
    Session session(machine_, options);
    OpenDrives(session);
    EXPECT_TRUE(Row(session, 0, "/mnt/a (1,50 MB)", false));
}

TEST_F(DriveForm, MountPointTwiceInTheTableGivesTwoSelectedRowsAndTwoSavedLines) {
    machine_.Drives({"/mnt/twice", "/mnt/twice", "/mnt/other"});
    Files("/mnt/other/", {"/mnt/twice/"});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(Summary(session, "/mnt/twice; /mnt/twice"));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/other", {"/mnt/twice", "/mnt/twice"});
}

TEST_F(DriveForm, LastOfTheRowsThatMatchTheGeneralStorageIsShownAndSaved) {
    // Once loaded the path ends in a slash: the first row is that text, the second one is it without the slash.
    machine_.MountTable("d1 /mnt/x/ ext4 rw 0 0\nd2 /mnt/x ext4 rw 0 0\nd3 /mnt/other ext4 rw 0 0\n");
    Files("/mnt/x", {});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(General(session, "/mnt/x"));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/x", {});
}

TEST_F(DriveForm, TwoRowsOfOneMountPointAsGeneralAndRecordingStorageClash) {
    machine_.Drives({"/mnt/twice", "/mnt/twice"});
    Files("/mnt/twice/", {});
    Session session(machine_, kFullHd);
    // The general storage is the second row; only the first one is flagged.
    SwitchDrives(session, {0}, session.At().driveOk);
    session.Click(session.At().apply);
    EXPECT_TRUE(AlertIsUp(session));
}

TEST_F(DriveForm, PathsWithAndWithoutClosingSlashesMatchTheirMountPoint) {
    machine_.Drives({"/mnt/a", "/mnt/b", "/mnt/c"});
    for (const char* written : {"/mnt/b", "/mnt/b/", "/mnt/b///"}) {
        Files(written, {std::string(written).replace(5, 1, "c")});
        Session session(machine_, kFullHd);
        EXPECT_TRUE(General(session, "/mnt/b")) << written;
        EXPECT_TRUE(Summary(session, "/mnt/c")) << written;
    }
}

TEST_F(DriveForm, RecordingStorageOfASlashMatchesNothing) {
    machine_.Drive("/mnt/a");
    Files("", {"/"});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(Summary(session, ""));
}

TEST_F(DriveForm, EmptyGeneralStorageIsTheFirstDriveAlsoWhereADriveHasTheNameOfTheDefault) {
    machine_.Drives({"/mnt/a", "/mnt/c"});
    Files("", {});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(General(session, "/mnt/a"));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/a", {});
}

TEST_F(DriveForm, MissingGlobalFileLeavesTheFirstDriveAsGeneralStorage) {
    machine_.Drives({"/mnt/a", "/mnt/c"});
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    EXPECT_EQ(machine_.Global(), GlobalFile("The Recorder", 1, "/mnt/a"));
}

TEST_F(DriveForm, GeneralStorageThatIsNotMountedIsReplacedByTheFirstDrive) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Files("/mnt/gone/", {});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(General(session, "/mnt/a"));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/a", {});
}

TEST_F(DriveForm, FirstDriveInThePlaceOfAMissingGeneralStorageClashesWhenItIsRecordedTo) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Files("/mnt/gone/", {"/mnt/a/"});
    Session session(machine_, kFullHd);
    session.Click(session.At().apply);
    EXPECT_TRUE(AlertIsUp(session));
}

TEST_F(DriveForm, RecordingStorageThatIsNotMountedIsNotShownAndGoneAfterApply) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Files("/mnt/a/", {"/mnt/gone/", "/mnt/b/", "/mnt/b/below/"});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(Summary(session, "/mnt/b"));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/a", {"/mnt/b"});
}

TEST_F(DriveForm, AsManyRecordingStoragesAreLookedAtAsThereAreLinesOfThem) {
    machine_.Drives({"/mnt/a", "/mnt/b", "/mnt/c"});
    Files("/mnt/c/", {});
    // Two lines: the second number is not defined, and the third one is not reached.
    machine_.Local("NodeID = 1\nRecordingStorage1 = \"/mnt/a/\"\nRecordingStorage3 = \"/mnt/b/\"\n");
    Session session(machine_, kFullHd);
    EXPECT_TRUE(Summary(session, "/mnt/a"));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/c", {"/mnt/a"});
}

TEST_F(DriveForm, BlankAtTheEndOfAMountPointIsPartOfItsName) {
    machine_.MountTable("d1 /mnt/a ext4 rw 0 0\nd2 /mnt/x\\040 ext4 rw 0 0\n");
    {
        Files("/mnt/x /", {});
        Session session(machine_, kFullHd);
        ApplyAndEnd(session);
        ExpectSaved("/mnt/x ", {});
    }
    Files("/mnt/a/", {"/mnt/x /"});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(Summary(session, "/mnt/x "));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/a", {"/mnt/x "});
}

TEST_F(DriveForm, ComparisonOfPathsIsByteForByte) {
    machine_.Drives({"/mnt/a", "/mnt/disk"});
    Files("/mnt/DISK/", {"/mnt/Disk/"});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(General(session, "/mnt/a"));
    EXPECT_TRUE(Summary(session, ""));
}

TEST_F(DriveForm, WithoutRecordingStoragesTheSummaryIsEmpty) {
    machine_.Drive("/mnt/a");
    Files("/mnt/a/", {});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(Summary(session, ""));
}

TEST_F(DriveForm, DriveMountedWhileTheFormIsUpIsNotNoticed) {
    machine_.Drive("/mnt/a");
    Session session(machine_, kFullHd);
    machine_.Drive("/mnt/late");
    OpenDrives(session);
    EXPECT_TRUE(Row(session, 0, "/mnt/a (1.00 MB)", false));
    EXPECT_TRUE(Row(session, 1, "", false));
}

TEST_F(DriveForm, UnreadableMountTableGivesAnEmptyListAndNoHeadingLine) {
    machine_.Drive("/mnt/a");
    machine_.NoMountTable();
    Files("/mnt/a/", {"/mnt/a/"});
    Session session(machine_, kFullHd);
    EXPECT_EQ(session.Run().Output().find("found mounted devices"), std::string::npos);
    EXPECT_TRUE(Summary(session, ""));
    ApplyAndEnd(session);
    ExpectSaved("", {});
}

TEST_F(DriveForm, TableWithoutDrivesGivesTheHeadingLineOnly) {
    machine_.MountTable("d1 / ext4 rw 0 0\n");
    Session session(machine_, kFullHd);
    const std::string output = session.Run().Output();
    EXPECT_NE(output.find("found mounted devices: \n"), std::string::npos) << output;
    EXPECT_EQ(output.find(" : "), output.rfind(" : ")) << output;
}

TEST_F(DriveForm, NoDriveSavesAnEmptyGeneralStorageAndNoRecordingLine) {
    Files("/mnt/a/", {"/mnt/b/"});
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    ExpectSaved("", {});
}

// The popup.

TEST_F(DriveForm, PopupWithoutDrivesIsAnEmptyListAndOkLeavesTheSummaryEmpty) {
    Files("", {});
    Session session(machine_, kFullHd);
    OpenDrives(session);
    EXPECT_TRUE(DrivePopupIsUp(session));
    const Rect inside{session.At().driveList.x + 5, session.At().driveList.y + 5, session.At().driveList.w - 10,
                      session.At().driveList.h - 10};
    EXPECT_EQ(session.Shot().Count(inside, colour::kPopupList),
              static_cast<int>(inside.w) * static_cast<int>(inside.h));
    session.Click(session.At().driveOk);
    EXPECT_FALSE(DrivePopupIsUp(session));
    EXPECT_TRUE(Summary(session, ""));
    ApplyAndEnd(session);
    ExpectSaved("", {});
}

TEST_F(DriveForm, FirstAndThirdOfThreeDrivesAreJoinedBySemicolonAndBlank) {
    machine_.Drives({"/mnt/a", "/mnt/b", "/mnt/c"});
    Files("/mnt/b/", {});
    Session session(machine_, kFullHd);
    // Clicked in the other order: the text follows the list.
    SwitchDrives(session, {2, 0}, session.At().driveOk);
    EXPECT_TRUE(Summary(session, "/mnt/a; /mnt/c"));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/b", {"/mnt/a", "/mnt/c"});
}

TEST_F(DriveForm, CancelKeepsTheSwitchedRowsButNotTheSummary) {
    machine_.Drives({"/mnt/a", "/mnt/b", "/mnt/c"});
    Files("/mnt/a/", {"/mnt/b/"});
    Session session(machine_, kFullHd);
    SwitchDrives(session, {1, 2}, session.At().driveCancel);
    EXPECT_FALSE(DrivePopupIsUp(session));
    EXPECT_TRUE(Summary(session, "/mnt/b"));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/a", {"/mnt/c"});
}

TEST_F(DriveForm, NextOpeningShowsTheRowsThatCancelKept) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Files("/mnt/a/", {});
    Session session(machine_, kFullHd);
    SwitchDrives(session, {1}, session.At().driveCancel);
    OpenDrives(session);
    EXPECT_TRUE(Row(session, 1, "/mnt/b (1.00 MB)", true));
    session.Click(session.At().driveOk);
    EXPECT_TRUE(Summary(session, "/mnt/b"));
}

TEST_F(DriveForm, AllRowsOffAndOkEmptiesTheSummaryAndStoresNothing) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Files("/mnt/a/", {"/mnt/b/"});
    Session session(machine_, kFullHd);
    SwitchDrives(session, {1}, session.At().driveOk);
    EXPECT_TRUE(Summary(session, ""));
    ApplyAndEnd(session);
    ExpectSaved("/mnt/a", {});
}

TEST_F(DriveForm, PopupStandsAtTheSamePlaceBothTimes) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Session session(machine_, kFullHd);
    session.Click(session.At().select);
    session.MoveTo(Point{1, 1});
    const Picture first = session.Shot();
    session.Click(session.At().driveCancel);
    session.Click(session.At().select);
    session.MoveTo(Point{1, 1});
    EXPECT_TRUE(session.Shot() == first);
}

TEST_F(DriveForm, SecondClickOnARowSwitchesItBack) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Files("/mnt/a/", {});
    Session session(machine_, kFullHd);
    SwitchDrives(session, {1, 1}, session.At().driveOk);
    EXPECT_TRUE(Summary(session, ""));
}

TEST_F(DriveForm, SummaryShowsWhatFitsIntoItsCell) {
    const std::string longName = "/mnt/a-rather-long-name-of-a-drive-number-";
    machine_.Drives({longName + "1", longName + "2", longName + "3"});
    Files("", {longName + "2/", longName + "3/"});
    Session session(machine_, kFullHd);
    EXPECT_TRUE(Summary(session, longName + "2; " + longName + "3"));
}

TEST_F(DriveForm, LongListScrollsWithTheWheel) {
    machine_.Drives(Numbered(20));
    Files("/mnt/d1/", {});
    Session session(machine_, kFullHd);
    session.Click(session.At().select);
    session.MoveTo(session.At().driveListContent);
    session.Notch(5);
    // One notch counts double: two tenths of the visible height.
    const int step = static_cast<int>(2 * (session.At().driveListContent.h * 0.10F));
    Rect second = session.At().DriveRow(3);
    second.y -= static_cast<float>(step);
    session.Click(second);
    session.Click(session.At().driveOk);
    EXPECT_TRUE(Summary(session, "/mnt/d4"));
}

TEST_F(DriveForm, LastRowOfALongListIsReachedWithTheWheelAndTheFirstAgain) {
    machine_.Drives(Numbered(20));
    Files("/mnt/d1/", {});
    Session session(machine_, kFullHd);
    OpenDrivesAtTheEnd(session);
    session.Click(RowFromTheEnd(session, 0));
    for (int i = 0; i < 10; ++i) {
        session.Notch(4);
    }
    session.Click(session.At().DriveRow(1));
    session.Click(session.At().driveOk);
    EXPECT_TRUE(Summary(session, "/mnt/d2; /mnt/d20"));
}

TEST_F(DriveForm, SixteenDrivesAreAllWritten) {
    const std::vector<std::string> drives = Numbered(17);
    machine_.Drives(drives);
    machine_.Drive("/mnt/general");
    const std::vector<std::string> fifteen(drives.begin(), drives.begin() + 15);
    Files("/mnt/general/", fifteen);
    Session session(machine_, kFullHd);
    OpenDrivesAtTheEnd(session);
    // From the end: the general storage, the seventeenth drive, the sixteenth.
    session.Click(RowFromTheEnd(session, 2));
    session.Click(session.At().driveOk);
    ApplyAndEnd(session);
    const std::vector<std::string> sixteen(drives.begin(), drives.begin() + 16);
    ExpectSaved("/mnt/general", sixteen);
}

TEST_F(DriveForm, SeventeenthSelectedDriveIsDroppedWithoutAnAlert) {
    const std::vector<std::string> drives = Numbered(17);
    machine_.Drives(drives);
    machine_.Drive("/mnt/general");
    Files("/mnt/general/", std::vector<std::string>(drives.begin(), drives.begin() + 15));
    Session session(machine_, kFullHd);
    OpenDrivesAtTheEnd(session);
    for (const int fromEnd : {2, 1}) {
        session.Click(RowFromTheEnd(session, fromEnd));
    }
    session.Click(session.At().driveOk);
    ApplyAndEnd(session);
    ExpectSaved("/mnt/general", std::vector<std::string>(drives.begin(), drives.begin() + 16));
}

TEST_F(DriveForm, SixteenthSavedStorageIsRefusedAtTheNextStart) {
    Files("", Numbered(16));
    Session session(machine_, kFullHd);
    EXPECT_NE(machine_.Log().find("ERROR: Config: Invalid RecordingStorage number (16)\n"), std::string::npos);
}

// Modality.

TEST_F(DriveForm, FormBehindTheDrivePopupIgnoresTheMouse) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Files("/mnt/a/", {"/mnt/b/"});
    Session session(machine_, kFullHd);
    session.Click(session.At().select);
    const Layout& at = session.At();
    // All of these reach out from behind the popup.
    for (const Point spot : {at.apply.InnerLeft(10), at.cancel.InnerLeft(10), at.select.InnerLeft(10),
                             at.ComboSymbol(at.generalCombo).Centre()}) {
        session.Click(spot);
    }
    EXPECT_TRUE(session.Run().Running());
    EXPECT_TRUE(DrivePopupIsUp(session));
    session.Click(at.driveOk);
    EXPECT_FALSE(DrivePopupIsUp(session));
    EXPECT_TRUE(General(session, "/mnt/a"));
    EXPECT_EQ(machine_.Global(), GlobalFile("Site A", 2, "/mnt/a/"));
}

TEST_F(DriveForm, FormBehindTheDrivePopupIsDrawnButNotHovered) {
    machine_.Drive("/mnt/a");
    Session session(machine_, kFullHd);
    session.Click(session.At().select);
    session.MoveTo(session.At().apply.InnerLeft(10));
    EXPECT_EQ(session.Pixel(session.At().apply.InnerLeft(10)), colour::kButton);
}

TEST_F(DriveForm, NameFieldBehindAPopupTakesNoLetters) {
    machine_.Drive("/mnt/a");
    Files("/mnt/a/", {});
    Session session(machine_, kFullHd);
    session.Click(session.At().nameField);
    session.Click(session.At().select);
    session.Type("x");
    session.Click(session.At().driveCancel);
    EXPECT_TRUE(session.Reads(session.At().FieldText(), "Site A", colour::kControl));
}

TEST_F(DriveForm, PopupIsNotLeftByEscapeOrByAClickBesideIt) {
    machine_.Drive("/mnt/a");
    Session session(machine_, kFullHd);
    session.Click(session.At().select);
    session.Key(XK_Escape);
    session.Click(Point{40, 440});
    session.Key(XK_Return);
    EXPECT_TRUE(DrivePopupIsUp(session));
}

TEST_F(DriveForm, WindowWithAnOpenPopupIsClosedByAClientMessage) {
    machine_.Drive("/mnt/a");
    Session session(machine_, kFullHd);
    session.Click(session.At().select);
    session.SendClientMessage("WM_PROTOCOLS");
    EXPECT_TRUE(EndedWell(session.End()));
}

TEST_F(DriveForm, FirstClickBehindThePopupWorksNormally) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Files("/mnt/a/", {});
    Session session(machine_, kFullHd);
    SwitchDrives(session, {1}, session.At().driveOk);
    session.Click(session.At().checkbox);
    EXPECT_TRUE(session.Reads(session.At().checkboxText, "Yes", colour::kWindow));
}

// The alert.

class Alert : public DriveForm {
protected:
    Alert() {
        machine_.Drives({"/mnt/a", "/mnt/b", "/mnt/c"});
        Files("/mnt/a/", {"/mnt/a/"});
    }

    // Both lines of the text, and nothing in what is left of its cell.
    static void ExpectItsText(Session& session) {
        ASSERT_TRUE(AlertIsUp(session));
        const std::string first = "General storage should be set to a different location than the ";
        ASSERT_EQ(kAlertText.substr(0, first.size()), first);
        const Layout& at = session.At();
        EXPECT_TRUE(session.Reads(at.AlertLine(0), first, colour::kPopup));
        EXPECT_TRUE(session.Reads(at.AlertLine(1), kAlertText.substr(first.size()), colour::kPopup));
        // The lower ends of the second line's letters reach one pixel below it.
        const float below = at.AlertLine(2).y + 1;
        const Rect rest{at.alertText.x, below, at.alertText.w, at.alertText.y + at.alertText.h - below};
        EXPECT_TRUE(session.Reads(rest, "", colour::kPopup));
    }
};

TEST_F(Alert, SaysWhatIsWrong) {
    Session session(machine_, kFullHd);
    session.Click(session.At().apply);
    ExpectItsText(session);
    EXPECT_TRUE(session.Reads(session.At().ButtonText(session.At().alertOk), "OK", colour::kButton, Align::Centred));
}

TEST_F(Alert, SaysItOnceMoreAfterASecondApply) {
    Session session(machine_, kFullHd);
    session.Click(session.At().apply);
    session.Click(session.At().alertOk);
    ASSERT_FALSE(AlertIsUp(session));
    session.Click(session.At().apply);
    ExpectItsText(session);
}

TEST_F(Alert, HasTheSamePlaceAndSizeAtEveryScale) {
    for (const Screen screen : {kFullHd, kUltraHd}) {
        Session session(machine_, screen);
        session.Click(session.At().apply);
        session.MoveTo(Point{1, 1});
        const Picture shot = session.Shot();
        // The blank row at the top and the space below the button are the popup's colour from edge to edge.
        const Rect popup{110 + 6, 64 + 2, 480, 150};
        EXPECT_EQ(session.At().alertPopup.x, popup.x);
        const int y = static_cast<int>(popup.y) + 12;
        EXPECT_EQ(shot.At({static_cast<int>(popup.x) + 2, y}), colour::kPopup);
        EXPECT_EQ(shot.At({static_cast<int>(popup.x + popup.w) - 3, y}), colour::kPopup);
        EXPECT_FALSE(shot.At({static_cast<int>(popup.x) - 3, y}) == colour::kPopup);
        EXPECT_FALSE(shot.At({static_cast<int>(popup.x + popup.w) + 2, y}) == colour::kPopup);
        EXPECT_EQ(shot.At({static_cast<int>(popup.x) + 30, static_cast<int>(popup.y + popup.h) - 3}), colour::kPopup);
        EXPECT_FALSE(shot.At({static_cast<int>(popup.x) + 30, static_cast<int>(popup.y + popup.h) + 2}) ==
                     colour::kPopup);
    }
}

TEST_F(Alert, ClickAtThePlaceOfApplyHasNoEffectAndTheFirstOneAfterOkWorks) {
    Session session(machine_, kFullHd);
    session.Click(session.At().apply);
    ASSERT_TRUE(AlertIsUp(session));
    session.Click(session.At().apply);
    session.Click(session.At().cancel);
    EXPECT_TRUE(session.Run().Running());
    EXPECT_TRUE(AlertIsUp(session));
    session.Click(session.At().alertOk);
    EXPECT_FALSE(AlertIsUp(session));
    session.Click(session.At().checkbox);
    EXPECT_TRUE(session.Reads(session.At().checkboxText, "Yes", colour::kWindow));
    session.Click(session.At().apply);
    EXPECT_TRUE(AlertIsUp(session));
}

TEST_F(Alert, KeepsTheFormsValues) {
    Session session(machine_, kFullHd);
    ReplaceName(session, 6, "New");
    session.Pick(session.At().countCombo, 3, 8);
    session.Click(session.At().apply);
    session.Click(session.At().alertOk);
    EXPECT_TRUE(session.Reads(session.At().FieldText(), "New", colour::kControl));
    EXPECT_TRUE(session.Reads(session.At().ComboText(session.At().countCombo), "4", colour::kControl));
    EXPECT_TRUE(Summary(session, "/mnt/a"));
    EXPECT_TRUE(General(session, "/mnt/a"));
}

TEST_F(Alert, ComesUpForAClashInTheLastOfSeveralDrives) {
    Files("/mnt/c/", {"/mnt/a/", "/mnt/b/", "/mnt/c/"});
    Session session(machine_, kFullHd);
    session.Click(session.At().apply);
    EXPECT_TRUE(AlertIsUp(session));
}

TEST_F(Alert, ComesUpForRowsThatWereSwitchedAndLeftWithCancel) {
    Files("/mnt/a/", {});
    Session session(machine_, kFullHd);
    SwitchDrives(session, {0}, session.At().driveCancel);
    EXPECT_TRUE(Summary(session, ""));
    session.Click(session.At().apply);
    EXPECT_TRUE(AlertIsUp(session));
}

TEST_F(Alert, DoesNotComeUpWithoutASelectedDrive) {
    Files("/mnt/a/", {});
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    ExpectSaved("/mnt/a", {});
}

TEST_F(Alert, DoesNotComeUpForADriveBelowTheOther) {
    machine_.Drive("/mnt/a/b");
    Files("/mnt/a/", {"/mnt/a/b/"});
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    ExpectSaved("/mnt/a", {"/mnt/a/b"});
}

TEST_F(Alert, DoesNotComeUpWithoutAnyDrive) {
    machine_.MountTable("");
    Files("/mnt/a/", {"/mnt/a/"});
    Session session(machine_, kFullHd);
    ApplyAndEnd(session);
    ExpectSaved("", {});
}

// How many elements each whole frame of a trace draws. What comes before the first swap is the end of a frame.
std::vector<long> ElementsOfFrames(const std::string& trace) {
    std::vector<long> elements;
    long sum = 0;
    bool whole = false;
    for (const std::string& line : test_support::Lines(trace)) {
        int count = 0;
        if (line == "glXSwapBuffers") {
            if (whole) {
                elements.push_back(sum);
            }
            sum = 0;
            whole = true;
        } else if (std::sscanf(line.c_str(), "glDrawElements mode=%*u count=%d", &count) == 1) {
            sum += count;
        }
    }
    return elements;
}

TEST_F(Alert, FrameOfAFailedApplyGoesOnToTheCancelButton) {
    Session::Options options;
    options.shim = [](ShimControl& shim) { shim.tracing = 1; };
    Session session(machine_, options);
    session.MoveTo(session.At().apply);
    const std::vector<long> before = ElementsOfFrames(session.TraceOfFrames(1));
    ASSERT_GE(before.size(), 1U);
    const std::vector<long> after = ElementsOfFrames(
        session.TraceOfFrames(4, [&] { XTestFakeButtonEvent(session.Connection(), Button1, True, CurrentTime); }));
    session.Release();
    ASSERT_TRUE(AlertIsUp(session));
    // A frame without its last button would have fewer elements than the frame before the press.
    ASSERT_GE(after.size(), 4U);
    EXPECT_GE(*std::min_element(after.begin(), after.end()), before.front());
    EXPECT_GT(after.back(), before.front());
}

TEST_F(Alert, IsNotLoggedNorPrinted) {
    Session session(machine_, kFullHd);
    session.Click(session.At().apply);
    EXPECT_EQ(session.Run().Output().find("General storage"), std::string::npos);
    EXPECT_EQ(machine_.Log(), kNoCameraFile);
}

}  // namespace
}  // namespace gui
