// The translation of X events into the toolkit's input, event by event, on a real connection. What the form has no
// widget for is seen here: double clicks, mode keys, a grabbed pointer.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <nuklear.h>

// The backend stands behind the toolkit's header, as in the program.
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "XServer.h"
#include "nuklear_xlib_gl3.h"

namespace {

bool g_clockSet = false;
bool g_clockFails = false;
long long g_milliseconds = 0;
long long g_microseconds = 0;  // on top of those
long long g_readingTakes = 0;  // milliseconds that go by with each reading
int g_clockReadings = 0;

// The calls that have no effect to be seen from outside, as the backend made them.
std::vector<std::string> g_calls;

template <typename... Arguments>
std::string Call(const char* name, Arguments... arguments) {
    std::ostringstream text;
    text << name;
    ((text << ' ' << arguments), ...);
    return text.str();
}

template <typename Function>
Function* Next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The clock that the backend reads.
extern "C" int gettimeofday(timeval* now, void*) noexcept {
    timespec real{};
    clock_gettime(CLOCK_REALTIME, &real);
    if (g_clockFails) {
        return -1;
    }
    ++g_clockReadings;
    now->tv_sec = g_clockSet ? g_milliseconds / 1000 : real.tv_sec;
    now->tv_usec = g_clockSet ? g_milliseconds % 1000 * 1000 + g_microseconds : real.tv_nsec / 1000;
    g_milliseconds += g_readingTakes;
    return 0;
}

// The library's own functions stand behind those whose effect or answer is looked at too.
extern "C" {

int XDefineCursor(Display* display, Window window, Cursor cursor) {
    g_calls.push_back(Call("XDefineCursor", display, window, cursor));
    return 1;
}

int XUndefineCursor(Display* display, Window window) {
    g_calls.push_back(Call("XUndefineCursor", display, window));
    return 1;
}

int XRefreshKeyboardMapping(XMappingEvent* event) {
    g_calls.push_back(Call("XRefreshKeyboardMapping", event));
    return 1;
}

int XWarpPointer(Display* display, Window from, Window to, int fromX, int fromY, unsigned int width,
                 unsigned int height, int x, int y) {
    g_calls.push_back(Call("XWarpPointer", display, from, to, fromX, fromY, width, height, x, y));
    static auto* const next = Next(&XWarpPointer, "XWarpPointer");
    return next(display, from, to, fromX, fromY, width, height, x, y);
}

int XLookupString(XKeyEvent* event, char* text, int size, KeySym* symbol, XComposeStatus* status) {
    g_calls.push_back(Call("XLookupString", event, size, symbol != nullptr, status));
    static auto* const next = Next(&XLookupString, "XLookupString");
    return next(event, text, size, symbol, status);
}

}  // extern "C"

namespace gui {
namespace {

class Translation : public testing::Test {
protected:
    static void SetUpTestSuite() { server_ = std::make_unique<XServer>(Screen{320, 240}); }
    static void TearDownTestSuite() { server_.reset(); }

    Translation() {
        x11 = {};
        x11.dpy = server_->Connection();
        x11.win = XCreateSimpleWindow(x11.dpy, DefaultRootWindow(x11.dpy), 20, 10, 200, 100, 0, 0, 0);
        XMapWindow(x11.dpy, x11.win);
        char nothing = 0;
        const Pixmap pixmap = XCreateBitmapFromData(x11.dpy, x11.win, &nothing, 1, 1);
        XColor black{};
        x11.cursor = XCreatePixmapCursor(x11.dpy, pixmap, pixmap, &black, &black, 0, 0);
        XFreePixmap(x11.dpy, pixmap);
        nk_init_default(&x11.ctx, nullptr);
        nk_input_begin(&x11.ctx);
        g_clockSet = true;
        g_clockFails = false;
        g_milliseconds = 1'700'000'000'000;
        g_microseconds = 0;
        g_readingTakes = 0;
        g_calls.clear();
    }

    ~Translation() override {
        g_clockSet = false;
        g_clockFails = false;
        nk_free(&x11.ctx);
        XFreeCursor(x11.dpy, x11.cursor);
        XDestroyWindow(x11.dpy, x11.win);
        XSync(x11.dpy, True);
    }

    static void NextFrame() {
        nk_input_end(&x11.ctx);
        nk_clear(&x11.ctx);
        nk_input_begin(&x11.ctx);
    }

    static int Key(int type, KeySym symbol, unsigned int state = 0) {
        XEvent event{};
        event.xkey.type = type;
        event.xkey.display = x11.dpy;
        event.xkey.window = x11.win;
        event.xkey.keycode = XKeysymToKeycode(x11.dpy, symbol);
        event.xkey.state = state;
        return nk_x11_handle_event(&event);
    }
    static int Down(KeySym symbol, unsigned int state = 0) { return Key(KeyPress, symbol, state); }
    static int Up(KeySym symbol, unsigned int state = 0) { return Key(KeyRelease, symbol, state); }

    static int Button(int type, unsigned int button, int x = 5, int y = 6) {
        XEvent event{};
        event.xbutton.type = type;
        event.xbutton.display = x11.dpy;
        event.xbutton.window = x11.win;
        event.xbutton.button = button;
        event.xbutton.x = x;
        event.xbutton.y = y;
        return nk_x11_handle_event(&event);
    }

    static int Motion(int x, int y) {
        XEvent event{};
        event.xmotion.type = MotionNotify;
        event.xmotion.display = x11.dpy;
        event.xmotion.x = x;
        event.xmotion.y = y;
        return nk_x11_handle_event(&event);
    }

    static bool IsDown(nk_keys key) { return x11.ctx.input.keyboard.keys[key].down != 0; }
    static const nk_mouse_button& Mouse(nk_buttons button) { return x11.ctx.input.mouse.buttons[button]; }
    static std::string Text() {
        const auto& keyboard = x11.ctx.input.keyboard;
        return std::string(keyboard.text, static_cast<std::size_t>(keyboard.text_len));
    }
    static std::vector<nk_keys> KeysDown() {
        std::vector<nk_keys> keys;
        for (int key = 0; key < NK_KEY_MAX; ++key) {
            if (IsDown(static_cast<nk_keys>(key))) {
                keys.push_back(static_cast<nk_keys>(key));
            }
        }
        return keys;
    }

    // Where the X pointer stands in the window.
    static Point Pointer() {
        ::Window root = 0;
        ::Window child = 0;
        int rootX = 0;
        int rootY = 0;
        Point at;
        unsigned int mask = 0;
        XQueryPointer(x11.dpy, x11.win, &root, &child, &rootX, &rootY, &at.x, &at.y, &mask);
        return at;
    }
    static std::string WarpTo(int x, int y) { return Call("XWarpPointer", x11.dpy, None, x11.win, 0, 0, 0, 0, x, y); }

    // A whole click with this long from the press of the one before.
    static bool DoubleAfter(long long milliseconds) {
        g_milliseconds += milliseconds;
        Button(ButtonPress, Button1);
        const bool isDouble = Mouse(NK_BUTTON_DOUBLE).down != 0;
        Button(ButtonRelease, Button1);
        return isDouble;
    }

    static std::unique_ptr<XServer> server_;
};

std::unique_ptr<XServer> Translation::server_;

struct KeyRow {
    const char* name;
    KeySym symbol;
    unsigned int state;
    std::vector<nk_keys> keys;  // what the press sets and the release clears
    std::string text;           // what the press types
};

void PrintTo(const KeyRow& row, std::ostream* out) {
    *out << row.name;
}

class TranslatedKey : public Translation, public testing::WithParamInterface<KeyRow> {};

INSTANTIATE_TEST_SUITE_P(
    , TranslatedKey,
    testing::Values(
        KeyRow{"ShiftLeft", XK_Shift_L, 0, {NK_KEY_SHIFT}, ""}, KeyRow{"ShiftRight", XK_Shift_R, 0, {NK_KEY_SHIFT}, ""},
        KeyRow{"Delete", XK_Delete, 0, {NK_KEY_DEL}, ""}, KeyRow{"Return", XK_Return, 0, {NK_KEY_ENTER}, ""},
        KeyRow{"Tab", XK_Tab, 0, {NK_KEY_TAB}, ""}, KeyRow{"TabWithShift", XK_Tab, ShiftMask, {NK_KEY_TAB}, ""},
        KeyRow{"Left", XK_Left, 0, {NK_KEY_LEFT}, ""},
        KeyRow{"LeftWithControl", XK_Left, ControlMask, {NK_KEY_LEFT}, ""},
        KeyRow{"Right", XK_Right, 0, {NK_KEY_RIGHT}, ""},
        KeyRow{"RightWithControl", XK_Right, ControlMask, {NK_KEY_RIGHT}, ""}, KeyRow{"Up", XK_Up, 0, {NK_KEY_UP}, ""},
        KeyRow{"Down", XK_Down, 0, {NK_KEY_DOWN}, ""}, KeyRow{"BackSpace", XK_BackSpace, 0, {NK_KEY_BACKSPACE}, ""},
        KeyRow{"PageUp", XK_Page_Up, 0, {NK_KEY_SCROLL_UP}, ""},
        KeyRow{"PageDown", XK_Page_Down, 0, {NK_KEY_SCROLL_DOWN}, ""},
        KeyRow{"Home", XK_Home, 0, {NK_KEY_TEXT_START, NK_KEY_SCROLL_START}, ""},
        KeyRow{"End", XK_End, 0, {NK_KEY_TEXT_END, NK_KEY_SCROLL_END}, ""},
        KeyRow{"ControlC", XK_c, ControlMask, {NK_KEY_COPY}, ""},
        KeyRow{"ControlShiftC", XK_c, ControlMask | ShiftMask, {NK_KEY_COPY}, ""},
        KeyRow{"ControlLockC", XK_c, ControlMask | LockMask, {NK_KEY_COPY}, ""},
        KeyRow{"ControlV", XK_v, ControlMask, {NK_KEY_PASTE}, ""},
        KeyRow{"ControlX", XK_x, ControlMask, {NK_KEY_CUT}, ""},
        KeyRow{"ControlZ", XK_z, ControlMask, {NK_KEY_TEXT_UNDO}, ""},
        KeyRow{"ControlR", XK_r, ControlMask, {NK_KEY_TEXT_REDO}, ""},
        KeyRow{"ControlB", XK_b, ControlMask, {NK_KEY_TEXT_LINE_START}, ""},
        KeyRow{"ControlE", XK_e, ControlMask, {NK_KEY_TEXT_LINE_END}, ""},
        KeyRow{"I", XK_i, 0, {NK_KEY_TEXT_INSERT_MODE}, "i"},
        KeyRow{"ControlI", XK_i, ControlMask, {NK_KEY_TEXT_INSERT_MODE}, "\t"},
        KeyRow{"R", XK_r, 0, {NK_KEY_TEXT_REPLACE_MODE}, "r"},
        KeyRow{"ShiftR", XK_r, ShiftMask, {NK_KEY_TEXT_REPLACE_MODE}, "R"}, KeyRow{"C", XK_c, 0, {}, "c"},
        KeyRow{"V", XK_v, 0, {}, "v"}, KeyRow{"X", XK_x, 0, {}, "x"}, KeyRow{"Z", XK_z, 0, {}, "z"},
        KeyRow{"B", XK_b, 0, {}, "b"}, KeyRow{"E", XK_e, 0, {}, "e"}, KeyRow{"ShiftA", XK_a, ShiftMask, {}, "A"},
        KeyRow{"ControlA", XK_a, ControlMask, {}, "\001"}, KeyRow{"Escape", XK_Escape, 0, {}, "\033"},
        KeyRow{"KeypadEnter", XK_KP_Enter, 0, {}, "\r"}, KeyRow{"ControlKeyAlone", XK_Control_L, 0, {}, ""},
        KeyRow{"FunctionKey", XK_F3, 0, {}, ""}),
    [](const auto& one) { return std::string(one.param.name); });

TEST_P(TranslatedKey, SetsItsKeysAndTypesItsTextOnThePressAlone) {
    const KeyRow& row = GetParam();
    EXPECT_EQ(Down(row.symbol, row.state), 1);
    EXPECT_EQ(KeysDown(), row.keys);
    EXPECT_EQ(Text(), row.text);
    EXPECT_EQ(Up(row.symbol, row.state), 1);
    EXPECT_EQ(KeysDown(), std::vector<nk_keys>());
    EXPECT_EQ(Text(), row.text);
}

TEST_P(TranslatedKey, CountsARepeatedPressOnceUntilItsRelease) {
    const KeyRow& row = GetParam();
    Down(row.symbol, row.state);
    Down(row.symbol, row.state);
    for (const nk_keys key : row.keys) {
        EXPECT_EQ(x11.ctx.input.keyboard.keys[key].clicked, 1U);
    }
    Up(row.symbol, row.state);
    for (const nk_keys key : row.keys) {
        EXPECT_EQ(x11.ctx.input.keyboard.keys[key].clicked, 2U);
    }
}

TEST_F(Translation, BlankIsTypedOnThePressAndOnTheRelease) {
    EXPECT_EQ(Down(XK_space), 1);
    EXPECT_EQ(Text(), " ");
    EXPECT_EQ(Up(XK_space), 1);
    EXPECT_EQ(Text(), "  ");
    EXPECT_EQ(KeysDown(), std::vector<nk_keys>());
}

TEST_F(Translation, KeysThatNoStrokeReachesStayUp) {
    for (const unsigned int state :
         {0U, unsigned{ControlMask}, unsigned{ShiftMask}, unsigned{ControlMask | ShiftMask}}) {
        int lowest = 0;
        int highest = 0;
        XDisplayKeycodes(x11.dpy, &lowest, &highest);
        for (int code = lowest; code <= highest; ++code) {
            XEvent event{};
            event.xkey.type = KeyPress;
            event.xkey.display = x11.dpy;
            event.xkey.window = x11.win;
            event.xkey.keycode = static_cast<unsigned int>(code);
            event.xkey.state = state;
            nk_x11_handle_event(&event);
            for (const nk_keys key : {NK_KEY_CTRL, NK_KEY_TEXT_WORD_LEFT, NK_KEY_TEXT_WORD_RIGHT,
                                      NK_KEY_TEXT_SELECT_ALL, NK_KEY_TEXT_RESET_MODE}) {
                EXPECT_FALSE(IsDown(key)) << "key code " << code;
            }
        }
        NextFrame();
    }
}

// The text of a press.

TEST_F(Translation, PressIsLookedUpOnceIntoThirtyTwoBytesWithoutComposing) {
    XEvent event{};
    event.xkey.type = KeyPress;
    event.xkey.display = x11.dpy;
    event.xkey.window = x11.win;
    event.xkey.keycode = XKeysymToKeycode(x11.dpy, XK_a);
    nk_x11_handle_event(&event);
    const XComposeStatus* const none = nullptr;
    EXPECT_EQ(g_calls, std::vector<std::string>{Call("XLookupString", &event.xkey, 32, true, none)});
}

TEST_F(Translation, ReleaseAndKeysOfTheirOwnAreNotLookedUp) {
    Up(XK_a);
    Down(XK_Left);
    Down(XK_c, ControlMask);
    EXPECT_EQ(g_calls, std::vector<std::string>());
}

// The texts that a key may be given, and what the toolkit's input holds of them: bytes of UTF-8, whatever they are
// meant as.
struct LookedUp {
    const char* name;
    std::string text;
    std::string taken;
};

void PrintTo(const LookedUp& row, std::ostream* out) {
    *out << row.name;
}

class LookedUpText : public Translation, public testing::WithParamInterface<LookedUp> {};

INSTANTIATE_TEST_SUITE_P(
    , LookedUpText,
    testing::Values(LookedUp{"TwoBytes", "\303\251", "\303\251"},
                    LookedUp{"ThreeBytes", "\342\202\254", "\342\202\254"},
                    LookedUp{"SeveralGlyphs", "\303\251xyz", "\303\251"}, LookedUp{"SeveralLetters", "abc", "a"},
                    // A lone byte of Latin-1: one byte of the replacement character, as the toolkit counts it.
                    LookedUp{"Latin1", "\351", "\357"}),
    [](const auto& one) { return std::string(one.param.name); });

TEST_P(LookedUpText, GivesItsFirstGlyphDecodedAsUtf8) {
    const std::string& text = GetParam().text;
    const auto rebind = [](const std::string& bytes) {
        XRebindKeysym(x11.dpy, XK_F9, nullptr, 0, reinterpret_cast<const unsigned char*>(bytes.data()),
                      static_cast<int>(bytes.size()));
    };
    rebind(text);
    EXPECT_EQ(Down(XK_F9), 1);
    rebind("");
    EXPECT_EQ(Text(), GetParam().taken);
}

// Double clicks, with the clock driven by hand.

TEST_F(Translation, FirstPressAfterTheStartIsNoDoubleClick) {
    EXPECT_FALSE(DoubleAfter(0));
}

TEST_F(Translation, PressesTwentyMillisecondsApartAreNoDoubleClick) {
    DoubleAfter(0);
    EXPECT_FALSE(DoubleAfter(20));
}

TEST_F(Translation, PressesTwentyOneMillisecondsApartAreADoubleClick) {
    DoubleAfter(0);
    EXPECT_TRUE(DoubleAfter(21));
}

TEST_F(Translation, Presses199MillisecondsApartAreADoubleClick) {
    DoubleAfter(0);
    EXPECT_TRUE(DoubleAfter(199));
}

TEST_F(Translation, Presses200MillisecondsApartAreNoDoubleClick) {
    DoubleAfter(0);
    EXPECT_FALSE(DoubleAfter(200));
}

TEST_F(Translation, ThirdPressWithinTheTimeIsADoubleClickAgain) {
    DoubleAfter(0);
    EXPECT_TRUE(DoubleAfter(150));
    EXPECT_TRUE(DoubleAfter(150));
}

TEST_F(Translation, ClockThatRunsBackwardsGivesNoDoubleClick) {
    DoubleAfter(0);
    EXPECT_FALSE(DoubleAfter(-50));
}

TEST_F(Translation, ClockThatFailsReadsAsZeroAndGivesNoDoubleClick) {
    DoubleAfter(0);
    g_clockFails = true;
    EXPECT_FALSE(DoubleAfter(50));
    EXPECT_EQ(x11.last_button_click, 0);
}

TEST_F(Translation, PressReadsTheClockTwiceAndTheReleaseNot) {
    g_clockReadings = 0;
    Button(ButtonPress, Button1);
    EXPECT_EQ(g_clockReadings, 2);
    Button(ButtonRelease, Button1);
    EXPECT_EQ(g_clockReadings, 2);
    EXPECT_EQ(x11.last_button_click, g_milliseconds);
}

TEST_F(Translation, MicrosecondsOfTheClockAreCutToMilliseconds) {
    DoubleAfter(0);
    g_microseconds = 999;
    EXPECT_FALSE(DoubleAfter(20));
    EXPECT_EQ(x11.last_button_click, g_milliseconds);
    g_microseconds = 1;
    EXPECT_TRUE(DoubleAfter(199));
    EXPECT_EQ(x11.last_button_click, g_milliseconds);
}

TEST_F(Translation, FirstReadingIsComparedAndTheSecondOneStored) {
    const long long start = g_milliseconds;
    g_readingTakes = 10;
    Button(ButtonPress, Button1);
    EXPECT_EQ(x11.last_button_click, start + 10);
    Button(ButtonRelease, Button1);
    // 199 milliseconds at the first reading, 209 at the second.
    g_milliseconds = start + 10 + 199;
    Button(ButtonPress, Button1);
    EXPECT_NE(Mouse(NK_BUTTON_DOUBLE).down, 0);
    EXPECT_EQ(x11.last_button_click, start + 10 + 209);
}

TEST_F(Translation, DoubleClickIsAtThePlaceOfItsPressAndOfItsRelease) {
    DoubleAfter(0);
    g_milliseconds += 100;
    Button(ButtonPress, Button1, 11, 22);
    EXPECT_EQ(Mouse(NK_BUTTON_DOUBLE).clicked_pos.x, 11.0F);
    EXPECT_EQ(Mouse(NK_BUTTON_DOUBLE).clicked_pos.y, 22.0F);
    Button(ButtonRelease, Button1, 33, 44);
    EXPECT_EQ(Mouse(NK_BUTTON_DOUBLE).clicked_pos.x, 33.0F);
    EXPECT_EQ(Mouse(NK_BUTTON_DOUBLE).clicked_pos.y, 44.0F);
}

TEST_F(Translation, ReleaseEndsTheDoubleClickAndTheClick) {
    DoubleAfter(0);
    g_milliseconds += 100;
    Button(ButtonPress, Button1);
    EXPECT_NE(Mouse(NK_BUTTON_DOUBLE).down, 0);
    EXPECT_NE(Mouse(NK_BUTTON_LEFT).down, 0);
    Button(ButtonRelease, Button1);
    EXPECT_EQ(Mouse(NK_BUTTON_DOUBLE).down, 0);
    EXPECT_EQ(Mouse(NK_BUTTON_LEFT).down, 0);
}

TEST_F(Translation, OtherButtonsMakeNoDoubleClick) {
    DoubleAfter(0);
    g_milliseconds += 100;
    Button(ButtonPress, Button3);
    EXPECT_EQ(Mouse(NK_BUTTON_DOUBLE).down, 0);
}

// Buttons.

TEST_F(Translation, ButtonsOneToThreeAreLeftMiddleAndRightAtTheEventsPlace) {
    const std::pair<unsigned int, nk_buttons> buttons[] = {
        {Button1, NK_BUTTON_LEFT}, {Button2, NK_BUTTON_MIDDLE}, {Button3, NK_BUTTON_RIGHT}};
    for (const auto& [button, translated] : buttons) {
        EXPECT_EQ(Button(ButtonPress, button, 11, 22), 1);
        EXPECT_NE(Mouse(translated).down, 0);
        EXPECT_EQ(Mouse(translated).clicked_pos.x, 11.0F);
        EXPECT_EQ(Mouse(translated).clicked_pos.y, 22.0F);
        EXPECT_EQ(Button(ButtonRelease, button, 33, 44), 1);
        EXPECT_EQ(Mouse(translated).down, 0);
        EXPECT_EQ(Mouse(translated).clicked, 2U);
    }
}

TEST_F(Translation, RepeatedReportOfAButtonsStateIsDropped) {
    Button(ButtonPress, Button3, 11, 22);
    Button(ButtonPress, Button3, 33, 44);
    EXPECT_EQ(Mouse(NK_BUTTON_RIGHT).clicked, 1U);
    EXPECT_EQ(Mouse(NK_BUTTON_RIGHT).clicked_pos.x, 11.0F);
}

TEST_F(Translation, WheelNotchOfOneFrameCountsTwo) {
    EXPECT_EQ(Button(ButtonPress, Button4), 1);
    EXPECT_EQ(Button(ButtonRelease, Button4), 1);
    EXPECT_EQ(x11.ctx.input.mouse.scroll_delta.y, 2.0F);
    EXPECT_EQ(x11.ctx.input.mouse.scroll_delta.x, 0.0F);
    NextFrame();
    Button(ButtonPress, Button5);
    Button(ButtonRelease, Button5);
    EXPECT_EQ(x11.ctx.input.mouse.scroll_delta.y, -2.0F);
}

TEST_F(Translation, WheelNotchOverTwoFramesCountsOneInEach) {
    Button(ButtonPress, Button4);
    EXPECT_EQ(x11.ctx.input.mouse.scroll_delta.y, 1.0F);
    NextFrame();
    Button(ButtonRelease, Button4);
    EXPECT_EQ(x11.ctx.input.mouse.scroll_delta.y, 1.0F);
}

TEST_F(Translation, ButtonsSixAndAboveAreIgnored) {
    const nk_mouse before = x11.ctx.input.mouse;
    for (unsigned int button = 6; button <= 12; ++button) {
        EXPECT_EQ(Button(ButtonPress, button), 0);
        EXPECT_EQ(Button(ButtonRelease, button), 0);
    }
    EXPECT_EQ(std::memcmp(&x11.ctx.input.mouse, &before, sizeof before), 0);
}

// Motion and the pointer.

TEST_F(Translation, MotionMovesThePosition) {
    EXPECT_EQ(Motion(40, 50), 1);
    EXPECT_EQ(x11.ctx.input.mouse.pos.x, 40.0F);
    EXPECT_EQ(x11.ctx.input.mouse.pos.y, 50.0F);
}

TEST_F(Translation, GrabbedPointerStaysWhileTheDeltaShowsTheMotion) {
    Motion(40, 50);
    NextFrame();
    x11.ctx.input.mouse.grabbed = 1;
    EXPECT_EQ(Motion(47, 53), 1);
    EXPECT_EQ(x11.ctx.input.mouse.pos.x, 40.0F);
    EXPECT_EQ(x11.ctx.input.mouse.pos.y, 50.0F);
    EXPECT_EQ(x11.ctx.input.mouse.delta.x, 7.0F);
    EXPECT_EQ(x11.ctx.input.mouse.delta.y, 3.0F);
    // The X pointer is put back as well.
    EXPECT_EQ(g_calls, std::vector<std::string>{WarpTo(40, 50)});
    EXPECT_EQ(Pointer().x, 40);
    EXPECT_EQ(Pointer().y, 50);
}

TEST_F(Translation, PendingGrabHidesThePointerWithAnyEvent) {
    x11.ctx.input.mouse.grab = 1;
    x11.ctx.input.mouse.ungrab = 1;
    XEvent event{};
    event.type = Expose;
    EXPECT_EQ(nk_x11_handle_event(&event), 0);
    EXPECT_EQ(x11.ctx.input.mouse.grab, 0);
    // One of the two at a time, hiding first.
    EXPECT_EQ(x11.ctx.input.mouse.ungrab, 1);
    EXPECT_EQ(g_calls, std::vector<std::string>{Call("XDefineCursor", x11.dpy, x11.win, x11.cursor)});
}

TEST_F(Translation, PendingUngrabWarpsToTheTruncatedPositionAndThenShowsThePointer) {
    x11.ctx.input.mouse.pos = {30.9F, 40.2F};
    x11.ctx.input.mouse.ungrab = 1;
    XEvent event{};
    event.type = ConfigureNotify;
    EXPECT_EQ(nk_x11_handle_event(&event), 0);
    EXPECT_EQ(x11.ctx.input.mouse.ungrab, 0);
    EXPECT_EQ(g_calls, (std::vector<std::string>{WarpTo(30, 40), Call("XUndefineCursor", x11.dpy, x11.win)}));
    EXPECT_EQ(Pointer().x, 30);
    EXPECT_EQ(Pointer().y, 40);
}

TEST_F(Translation, PendingUngrabIsDealtWithBeforeTheMotionThatBringsIt) {
    Motion(30, 40);
    x11.ctx.input.mouse.ungrab = 1;
    Motion(70, 80);
    EXPECT_EQ(g_calls, (std::vector<std::string>{WarpTo(30, 40), Call("XUndefineCursor", x11.dpy, x11.win)}));
    EXPECT_EQ(x11.ctx.input.mouse.pos.x, 70.0F);
    EXPECT_EQ(x11.ctx.input.mouse.pos.y, 80.0F);
}

TEST_F(Translation, PointerIsLeftAloneWhereNothingIsPending) {
    Motion(40, 50);
    Button(ButtonPress, Button1);
    Button(ButtonRelease, Button1);
    EXPECT_EQ(g_calls, std::vector<std::string>());
}

TEST_F(Translation, OtherEventsAreNotUsed) {
    for (const int type : {Expose, ConfigureNotify, MapNotify, FocusIn, FocusOut, EnterNotify, LeaveNotify,
                           MappingNotify, DestroyNotify}) {
        XEvent event{};
        event.type = type;
        EXPECT_EQ(nk_x11_handle_event(&event), 0) << type;
    }
}

TEST_F(Translation, KeymapEventRefreshesTheKeyboardMapping) {
    XEvent event{};
    event.xkeymap.type = KeymapNotify;
    event.xkeymap.display = x11.dpy;
    EXPECT_EQ(nk_x11_handle_event(&event), 1);
    EXPECT_EQ(g_calls, std::vector<std::string>{Call("XRefreshKeyboardMapping", &event.xmapping)});
}

TEST_F(Translation, HeldKeyStaysDownFromFrameToFrame) {
    Down(XK_Left);
    NextFrame();
    NextFrame();
    EXPECT_TRUE(IsDown(NK_KEY_LEFT));
    Up(XK_Left);
    EXPECT_FALSE(IsDown(NK_KEY_LEFT));
}

}  // namespace
}  // namespace gui
