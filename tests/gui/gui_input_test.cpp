// Keyboard and mouse: what reaches the name field for each key, double blanks, the wheel, other buttons.

#include <gtest/gtest.h>

// Behind the test framework: some of its names are macros here.
#include <X11/Xlib.h>
#include <X11/keysym.h>

#include "Scenario.h"

namespace gui {
namespace {

// The field's text is seen in the file that "Apply" writes.
class Keyboard : public testing::Test {
protected:
    explicit Keyboard(const std::string& name = "abcdef") : before_(name) {
        machine_.Global(GlobalFile(name, 1, ""));
        machine_.Local(LocalFile(1, {}));
        session_ = std::make_unique<Session>(machine_, kFullHd);
        session_->Click(session_->At().nameField);
        session_->Key(XK_End);
    }

    // What the field holds, as it is saved.
    std::string Applied() {
        ApplyAndEnd(*session_);
        const std::string text = machine_.Global();
        const std::size_t start = text.find('"') + 1;
        return text.substr(start, text.find("\"\n", start) - start);
    }

    Session& At() { return *session_; }

    std::string before_;
    Machine machine_;
    std::unique_ptr<Session> session_;
};

TEST_F(Keyboard, LettersDigitsAndSignsAreTyped) {
    At().Type("Xy09-_.!");
    EXPECT_EQ(Applied(), "abcdefXy09-_.!");
}

TEST_F(Keyboard, OneTapOfTheSpaceBarAddsTwoBlanks) {
    At().Type("g");
    At().Key(XK_space);
    At().Type("h");
    EXPECT_EQ(Applied(), "abcdefg  h");
}

TEST_F(Keyboard, SpaceBarAddsOneBlankOnThePressAndOneOnTheRelease) {
    At().KeyDown(XK_space);
    EXPECT_TRUE(At().Run().Running());
    At().Type("x");
    At().KeyUp(XK_space);
    At().Type("y");
    EXPECT_EQ(Applied(), "abcdef x y");
}

TEST_F(Keyboard, ReleaseOfALetterAddsNothing) {
    At().KeyDown('g');
    At().KeyDown('h');
    At().KeyUp('g');
    At().KeyUp('h');
    EXPECT_EQ(Applied(), "abcdefgh");
}

TEST_F(Keyboard, BackSpaceTakesTheLetterBeforeTheCursor) {
    At().Key(XK_Left);
    At().Key(XK_BackSpace);
    EXPECT_EQ(Applied(), "abcdf");
}

TEST_F(Keyboard, DeleteTakesTheLetterBehindTheCursor) {
    At().Key(XK_Left);
    At().Key(XK_Left);
    At().Key(XK_Delete);
    EXPECT_EQ(Applied(), "abcdf");
}

TEST_F(Keyboard, LeftAndRightMoveByOneLetter) {
    At().Key(XK_Left);
    At().Key(XK_Left);
    At().Key(XK_Right);
    At().Type("-");
    EXPECT_EQ(Applied(), "abcde-f");
}

TEST_F(Keyboard, LeftWithControlStillMovesByOneLetter) {
    At().KeyWith(XK_Control_L, XK_Left);
    At().Type("-");
    EXPECT_EQ(Applied(), "abcde-f");
}

TEST_F(Keyboard, RightWithControlStillMovesByOneLetter) {
    At().Key(XK_Home);
    At().KeyWith(XK_Control_R, XK_Right);
    At().Type("-");
    EXPECT_EQ(Applied(), "a-bcdef");
}

TEST_F(Keyboard, HomeGoesToTheBeginningOfTheText) {
    At().Key(XK_Home);
    At().Type("-");
    EXPECT_EQ(Applied(), "-abcdef");
}

TEST_F(Keyboard, EndGoesToTheEndOfTheText) {
    At().Key(XK_Home);
    At().Key(XK_End);
    At().Type("-");
    EXPECT_EQ(Applied(), "abcdef-");
}

TEST_F(Keyboard, ControlBGoesToTheBeginningOfTheLineWithoutALetter) {
    At().KeyWith(XK_Control_L, 'b');
    At().Type("-");
    EXPECT_EQ(Applied(), "-abcdef");
}

TEST_F(Keyboard, ControlEGoesToTheEndOfTheLineWithoutALetter) {
    At().Key(XK_Home);
    At().KeyWith(XK_Control_L, 'e');
    At().Type("-");
    EXPECT_EQ(Applied(), "abcdef-");
}

TEST_F(Keyboard, PlainBAndEAreLetters) {
    At().Type("be");
    EXPECT_EQ(Applied(), "abcdefbe");
}

TEST_F(Keyboard, ControlZTakesBackAndControlRBringsBack) {
    At().Type("x");
    At().Type("y");
    At().KeyWith(XK_Control_L, 'z');
    At().KeyWith(XK_Control_L, 'z');
    At().KeyWith(XK_Control_L, 'r');
    // Every frame hands the toolkit's editor the field anew, which empties its history: neither finds anything to do.
    EXPECT_EQ(Applied(), "abcdefxy");
}

TEST_F(Keyboard, PlainZAndRAreLetters) {
    At().Type("zr");
    EXPECT_EQ(Applied(), "abcdefzr");
}

TEST_F(Keyboard, RTurnsNoOverwritingOn) {
    At().Key(XK_Home);
    At().Type("r-");
    EXPECT_EQ(Applied(), "r-abcdef");
}

TEST_F(Keyboard, IIsALetterAndAModeKeyAtOnce) {
    At().Key(XK_Home);
    At().Type("i-");
    EXPECT_EQ(Applied(), "i-abcdef");
}

TEST_F(Keyboard, ControlIGoesThroughTheTextPathAsATab) {
    At().KeyWith(XK_Control_L, 'i');
    EXPECT_EQ(Applied(), "abcdef\t");
}

TEST_F(Keyboard, ControlWithAnotherLetterIsAControlCharacter) {
    At().KeyWith(XK_Control_L, 'a');
    EXPECT_EQ(Applied(), "abcdef\001");
}

TEST_F(Keyboard, EscapeGoesThroughTheTextPath) {
    At().Key(XK_Escape);
    EXPECT_EQ(Applied(), "abcdef\033");
}

TEST_F(Keyboard, ControlCVAndXAddNothingAndTakeNothing) {
    for (const char letter : {'c', 'v', 'x'}) {
        At().KeyWith(XK_Control_L, static_cast<unsigned long>(letter));
    }
    EXPECT_EQ(Applied(), "abcdef");
}

TEST_F(Keyboard, PlainCVAndXAreLetters) {
    At().Type("cvx");
    EXPECT_EQ(Applied(), "abcdefcvx");
}

TEST_F(Keyboard, ShiftWithControlCIsStillTheCopyKey) {
    At().KeyDown(XK_Shift_L);
    At().KeyWith(XK_Control_L, 'c');
    At().KeyUp(XK_Shift_L);
    EXPECT_EQ(Applied(), "abcdef");
}

TEST_F(Keyboard, ReturnAndTabAddNothing) {
    At().Key(XK_Return);
    At().Key(XK_Tab);
    EXPECT_EQ(Applied(), "abcdef");
}

TEST_F(Keyboard, EnterOfTheKeypadTakesTheTextPath) {
    At().Key(XK_KP_Enter);
    EXPECT_EQ(Applied(), "abcdef\r");
}

TEST_F(Keyboard, UpAndDownGoToTheEndsOfTheOneLine) {
    At().Key(XK_Up);
    At().Type("-");
    At().Key(XK_Down);
    At().Type("+");
    EXPECT_EQ(Applied(), "abcde-f+");
}

TEST_F(Keyboard, PageKeysLeaveTheTextAlone) {
    At().Key(XK_Page_Up);
    At().Key(XK_Page_Down);
    At().Type("-");
    EXPECT_EQ(Applied(), "abcdef-");
}

TEST_F(Keyboard, ModifierKeysAloneAddNothing) {
    for (const int key : {XK_Shift_L, XK_Shift_R, XK_Control_L, XK_Control_R, XK_Alt_L, XK_F1, XK_F5}) {
        At().Key(static_cast<unsigned long>(key));
    }
    EXPECT_EQ(Applied(), "abcdef");
}

TEST_F(Keyboard, CapsLockMakesCapitals) {
    At().Key(XK_Caps_Lock);
    At().Key('g');
    At().Key(XK_Caps_Lock);
    At().Key('h');
    EXPECT_EQ(Applied(), "abcdefGh");
}

TEST_F(Keyboard, HeldLetterRepeatsAsTheServersReleaseAndPressPairs) {
    At().KeyDown('g');
    At().Repeat('g');
    At().Repeat('g');
    At().KeyUp('g');
    EXPECT_EQ(Applied(), "abcdefggg");
}

TEST_F(Keyboard, HeldBackSpaceTakesALetterWithEachRepeat) {
    At().KeyDown(XK_BackSpace);
    At().Repeat(XK_BackSpace);
    At().Repeat(XK_BackSpace);
    At().KeyUp(XK_BackSpace);
    EXPECT_EQ(Applied(), "abc");
}

TEST_F(Keyboard, FieldThatWasNotClickedTakesNoLetters) {
    At().Click(Point{5, 440});
    At().Type("x");
    EXPECT_EQ(Applied(), "abcdef");
}

TEST_F(Keyboard, ClickPutsTheCursorBetweenTheLetters) {
    const Rect text = At().At().FieldText();
    const Lettering lettering(At().At().FontHeight());
    At().Click(Point{static_cast<int>(text.x + lettering.Width("abc")) + 1, text.Centre().y});
    At().Type("-");
    EXPECT_EQ(Applied(), "abc-def");
}

TEST_F(Keyboard, EmptiedFieldIsSavedEmptyAndTheNextStartShowsTheDefault) {
    for (int i = 0; i < 6; ++i) {
        At().Key(XK_BackSpace);
    }
    EXPECT_EQ(Applied(), "");
    EXPECT_EQ(machine_.Global(), GlobalFile("", 1, ""));
    Session next(machine_, kFullHd);
    EXPECT_TRUE(next.Reads(next.At().FieldText(), "The Recorder", colour::kControl));
    EXPECT_NE(machine_.Log().find("ERROR: Config: 'ClusterName' is not defined\n"), std::string::npos);
}

// The last key of the server's keyboard has this symbol, and only it, for as long as this lives.
class LentKey {
public:
    LentKey(Display* display, KeySym symbol) : display_(display) {
        int lowest = 0;
        XDisplayKeycodes(display_, &lowest, &code_);
        own_ = XGetKeyboardMapping(display_, static_cast<KeyCode>(code_), 1, &ownCount_);
        Set(&symbol, 1);
    }
    ~LentKey() {
        Set(own_, ownCount_);
        XFree(own_);
    }
    LentKey(const LentKey&) = delete;
    LentKey& operator=(const LentKey&) = delete;

private:
    void Set(KeySym* symbols, int count) {
        XChangeKeyboardMapping(display_, code_, count, symbols, 1);
        XSync(display_, False);
    }

    Display* display_;
    int code_ = 0;
    KeySym* own_ = nullptr;
    int ownCount_ = 0;
};

// The field takes every letter. The one typed here reaches it in the locale's encoding and is read as UTF-8.
class AccentedLetter : public testing::Test {
protected:
    // What is saved after "abcdef", the letter and an "x".
    std::string SavedUnder(const char* locale) {
        const LentKey key(ServerFor(kFullHd).Connection(), XK_eacute);
        Machine machine;
        machine.Global(GlobalFile("abcdef", 1, ""));
        Session::Options options;
        options.environment["LC_ALL"] = locale;
        Session session(machine, options);
        session.Click(session.At().nameField);
        session.Key(XK_End);
        session.Key(XK_eacute);
        session.Type("x");
        ApplyAndEnd(session);
        return machine.Global();
    }
};

TEST_F(AccentedLetter, IsTypedUnderALocaleOfUtf8) {
    EXPECT_EQ(SavedUnder("C.UTF-8"), GlobalFile("abcdef\xC3\xA9x", 1, ""));
}

TEST_F(AccentedLetter, IsNoLetterUnderALocaleOfOneByteForEach) {
    EXPECT_EQ(SavedUnder("C"), GlobalFile("abcdefx", 1, ""));
}

class LongName : public Keyboard {
protected:
    LongName() : Keyboard(std::string(60, 'n')) {}

    std::string Expected(const std::string& name, unsigned int recorders) const {
        // No line of a Recorder's cameras where the number is 0.
        return GlobalFile(name, recorders, "");
    }
};

TEST_F(LongName, Of63CharactersIsKeptWhole) {
    At().Type("abc");
    EXPECT_EQ(Applied(), std::string(60, 'n') + "abc");
    EXPECT_EQ(machine_.Global(), Expected(std::string(60, 'n') + "abc", 1));
}

TEST_F(LongName, Of64CharactersIsKeptAndTakesTheNumberOfRecordersToZero) {
    At().Type("abcd");
    EXPECT_EQ(Applied(), std::string(60, 'n') + "abcd");
    EXPECT_EQ(machine_.Global(), Expected(std::string(60, 'n') + "abcd", 0));
    EXPECT_EQ(machine_.Local(), LocalFile(1, {}));
}

TEST_F(LongName, Of65CharactersIsCutTo64AndTakesTheNumberOfRecordersToZero) {
    At().Type("abcde");
    ApplyAndEnd(At());
    EXPECT_EQ(machine_.Global(), Expected(std::string(60, 'n') + "abcd", 0));
}

TEST_F(LongName, Of64CharactersLeavesTheNextStartWithoutNumberAndId) {
    At().Type("abcd");
    ApplyAndEnd(At());
    Session next(machine_, kFullHd);
    EXPECT_TRUE(next.Reads(next.At().ComboText(next.At().countCombo), "1", colour::kControl));
    EXPECT_TRUE(next.Reads(next.At().ComboText(next.At().idCombo), "1", colour::kControl));
    EXPECT_EQ(machine_.Log(),
              "ERROR: Config: 'NodeCount' is not defined\nERROR: Config: Invalid 'NodeID'\n" + kNoCameraFile);
}

TEST_F(LongName, StopsBelowTheSizeOfItsBuffer) {
    // Of 300 characters the field takes 255: its 256 bytes but one, which the toolkit keeps for itself.
    At().Type(std::string(190, 'm') + "ABCDE" + std::string(45, 'z'));
    // What is left after taking away at the front is short enough to be saved whole.
    At().Key(XK_Home);
    for (int i = 0; i < 200; ++i) {
        At().Stroke(XK_Delete);
    }
    EXPECT_EQ(Applied(), std::string(50, 'm') + "ABCDE");
}

// The wheel and further buttons.

class Mouse : public testing::Test {
protected:
    Mouse() {
        machine_.Global(GlobalFile("Site A", 2, "/mnt/d1/"));
        machine_.Local(LocalFile(1, {}));
        for (int i = 1; i <= 20; ++i) {
            machine_.Drive("/mnt/d" + std::to_string(i));
        }
    }

    // The unscrolled picture, moved up by the offset, must be what is seen.
    bool LooksScrolledBy(const Picture& list, int offset) const {
        if (offset >= list.Height() - 60) {
            return false;
        }
        const int width = list.Width() - 40;
        for (int y = 30; y < 50; ++y) {
            for (int x = 0; x < width; ++x) {
                if (Distance(list.At({x, y}), unscrolled_.At({x, y + offset})) > 8) {
                    return false;
                }
            }
        }
        return true;
    }

    void Open(Session& session) {
        session.Click(session.At().select);
        // Beside the rows, so that none is highlighted.
        session.MoveTo(Beside(session));
        unscrolled_ = session.Shot().Cut(session.At().driveListContent);
    }

    static Point Beside(Session& session) {
        const Rect content = session.At().driveListContent;
        return {static_cast<int>(content.x + content.w) - 3, content.Centre().y};
    }

    int ScrolledNow(Session& session) {
        session.MoveTo(Beside(session));
        const Picture list = session.Shot().Cut(session.At().driveListContent);
        for (int offset = 0; offset < list.Height() - 60; ++offset) {
            if (LooksScrolledBy(list, offset)) {
                return offset;
            }
        }
        return -1;
    }

    // A tenth of the visible height for each unit of the wheel.
    static int Step(Session& session, int units) {
        return static_cast<int>(static_cast<float>(units) * (session.At().driveListContent.h * 0.10F));
    }

    Machine machine_;
    Picture unscrolled_;
};

TEST_F(Mouse, NotchWithPressAndReleaseInOneFrameScrollsTwoUnits) {
    Session session(machine_, kFullHd);
    Open(session);
    session.Notch(5);
    EXPECT_EQ(ScrolledNow(session), Step(session, 2));
}

TEST_F(Mouse, NotchOverTwoFramesScrollsOneUnitInEach) {
    Session session(machine_, kFullHd);
    Open(session);
    session.Press(5);
    const int first = ScrolledNow(session);
    session.Release(5);
    EXPECT_EQ(first, Step(session, 1));
    EXPECT_EQ(ScrolledNow(session), Step(session, 1) * 2);
}

TEST_F(Mouse, WheelUpScrollsBack) {
    Session session(machine_, kFullHd);
    Open(session);
    session.Notch(5);
    session.Notch(4);
    EXPECT_EQ(ScrolledNow(session), 0);
}

TEST_F(Mouse, PageKeysScrollTheListByItsHeight) {
    Session session(machine_, kFullHd);
    Open(session);
    session.Key(XK_Page_Down);
    Rect row = session.At().DriveRow(15);
    row.y -= session.At().driveListContent.h;
    session.Click(row);
    session.Key(XK_Page_Up);
    session.Click(session.At().DriveRow(0));
    session.Click(session.At().driveOk);
    EXPECT_TRUE(session.Reads(session.At().summary, "/mnt/d1; /mnt/d16", colour::kWindow));
}

TEST_F(Mouse, HomeAndEndScrollTheListToItsEnds) {
    Session session(machine_, kFullHd);
    Open(session);
    session.Key(XK_End);
    const Rect content = session.At().driveListContent;
    session.Click(Point{content.Centre().x, static_cast<int>(content.y + content.h) - 12});
    session.Key(XK_Home);
    session.Click(session.At().DriveRow(1));
    session.Click(session.At().driveOk);
    EXPECT_TRUE(session.Reads(session.At().summary, "/mnt/d2; /mnt/d20", colour::kWindow));
}

TEST_F(Mouse, ButtonsSixAndAboveDoNothing) {
    Session session(machine_, kFullHd);
    Open(session);
    session.MoveTo(session.At().DriveRow(0));
    for (const int button : {6, 7, 8, 9}) {
        session.Notch(button);
    }
    session.Click(session.At().driveOk);
    EXPECT_TRUE(session.Reads(session.At().summary, "", colour::kWindow));
}

TEST_F(Mouse, MiddleAndRightButtonSwitchNoRow) {
    Session session(machine_, kFullHd);
    Open(session);
    session.MoveTo(session.At().DriveRow(0));
    for (const int button : {2, 3}) {
        session.Press(button);
        session.Release(button);
    }
    session.Click(session.At().driveOk);
    EXPECT_TRUE(session.Reads(session.At().summary, "", colour::kWindow));
}

TEST_F(Mouse, ScrollBarIsDraggedWithTheLeftButton) {
    Session session(machine_, kFullHd);
    Open(session);
    const Rect content = session.At().driveListContent;
    const Point handle{static_cast<int>(content.x + content.w) + 8, static_cast<int>(content.y) + 20};
    session.MoveTo(handle);
    session.Press();
    session.MoveTo(Point{handle.x, static_cast<int>(content.y + content.h) - 2});
    session.Release();
    session.Click(Point{content.Centre().x, static_cast<int>(content.y + content.h) - 12});
    session.Click(session.At().driveOk);
    EXPECT_TRUE(session.Reads(session.At().summary, "/mnt/d20", colour::kWindow));
}

TEST_F(Mouse, PointerIsNeverGrabbedWarpedNorHidden) {
    Session::Options options;
    options.shim = [](ShimControl& shim) { shim.tracing = 1; };
    Session session(machine_, options);
    Open(session);
    session.Click(session.At().DriveRow(1));
    session.Click(session.At().driveOk);
    ReplaceName(session, 6, "x");
    session.Pick(session.At().countCombo, 7, 8);
    const std::string trace = session.Run().Trace();
    for (const char* call : {"XGrabPointer", "XGrabKeyboard", "XWarpPointer", "XDefineCursor", "XOpenIM"}) {
        EXPECT_EQ(trace.find(call), std::string::npos) << call;
    }
}

}  // namespace
}  // namespace gui
