// The window and its GLX context: how they are made, what refuses them, the frame loop and the teardown.

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

// Xlib's macros reach into the headers below.
#undef None
#undef Bool
#undef Status
#undef Success

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "Scenario.h"
#include "support/Lines.h"

namespace gui {
namespace {

using test_support::Lines;

const std::string kInitFailed = "ERROR: Failed to initialize\n";
const std::string kNoAttribs =
    "[X11]: glXCreateContextAttribARB() not found...\n[X11]: ... using old-style GLX context\n";
const std::string kRefused30 = "[X11] Failed to create OpenGL 3.0 context\n[X11] ... using old-style GLX context!\n";

class Window : public testing::Test {
protected:
    Window() {
        machine_.Global(GlobalFile("Site A", 1, ""));
        machine_.Local(LocalFile(1, {}));
    }

    static Session::Options Answering(const std::function<void(ShimControl&)>& shim) {
        Session::Options options;
        options.shim = [shim](ShimControl& control) {
            control.tracing = 1;
            control.tracedFrames = 3;
            if (shim) {
                shim(control);
            }
        };
        return options;
    }

    // A start that fails: the log ends with the reason, then the line of main, and the status is 0.
    void ExpectRefused(const std::string& reason, const std::function<void(ShimControl&)>& shim,
                       Screen screen = kFullHd) {
        Program::Options options;
        options.display = ServerFor(screen).Name();
        options.shim = Answering(shim).shim;
        Program program(options);
        const Ending ending = program.End();
        EXPECT_TRUE(EndedWell(ending)) << ToString(ending);
        EXPECT_EQ(machine_.Log(), kNoCameraFile + "ERROR: " + reason + "\n\n" + kInitFailed);
        EXPECT_EQ(program.Shim().frames.load(), 0U);
        trace_ = program.Trace();
        output_ = program.Output();
    }

    // A start that succeeds: the form is drawn.
    void ExpectForm(Session& session) {
        EXPECT_TRUE(session.Reads(session.At().FieldText(), "Site A", colour::kControl));
        EXPECT_EQ(session.Run().ErrorOutput(), "");
    }

    // What the program did up to its first frame, on a display of this name.
    static std::string TraceOfAStart(const std::string& display) {
        Program::Options options;
        options.display = display;
        options.shim = Answering({}).shim;
        Program program(options);
        program.Await([&] { return program.Shim().frames.load() > 0 || !program.Running(); }, "the first frame");
        EXPECT_TRUE(program.Running());
        return program.Trace();
    }

    Machine machine_;
    std::string trace_;
    std::string output_;
};

// Making the window.

bool StartsWith(const std::string& line, const char* start) {
    return line.rfind(start, 0) == 0;
}

// The walk over the configurations, the device and the files have tests of their own; of the device the first call is
// kept, as its place among the others.
bool IsStepOfTheMaking(const std::string& line) {
    if (StartsWith(line, "glX")) {
        return !StartsWith(line, "glXGet");
    }
    if (StartsWith(line, "gl")) {
        return line == "glCreateProgram";
    }
    return StartsWith(line, "fetch glX") ||
           (!StartsWith(line, "fetch") && !StartsWith(line, "fopen") && !StartsWith(line, "open"));
}

TEST_F(Window, IsMadeInThisOrder) {
    Session session(machine_, Answering({}));
    std::vector<std::string> calls;
    for (const std::string& line : Lines(session.Run().Trace())) {
        if (IsStepOfTheMaking(line)) {
            calls.push_back(line);
        }
        if (line == "XFreePixmap") {
            break;
        }
    }
    const std::vector<std::string> expected = {
        "XOpenDisplay null",
        "XOpenDisplay null",
        "glXQueryVersion",
        "glXChooseFBConfig screen=0 32786=1 32784=1 32785=1 34=32770 8=8 9=8 10=8 11=8 12=24 13=8 5=1",
        "XFree configurations",
        "XCreateColormap screen=0 alloc=0",
        "XCreateWindow screen=0 at=0,0 size=700x450 border=0 class=1 mask=0x2808 events=0x2BD4F pixel=0",
        "XFree visual",
        "XStoreName Vesmara",
        "XMapWindow",
        "XInternAtom WM_DELETE_WINDOW onlyIfExists=0",
        "XSetWMProtocols count=1",
        "XSetWMNormalHints flags=0x30 min=700x450 max=700x450",
        "XFree hints",
        "XMoveWindow to=610,315",
        "XSetErrorHandler own",
        "glXQueryExtensionsString screen=0",
        "fetch glXCreateContextAttribsARB",
        "glXCreateContextAttribsARB share=0 direct=1 8337=3 8338=0",
        "XSync discard=0",
        "XSync discard=0",
        "XSetErrorHandler restored",
        "glXMakeCurrent window=1 context=1",
        "setlocale category=6 name=\"\"",
        "XSupportsLocale",
        "XSetLocaleModifiers @im=none",
        "glCreateProgram",
        "XCreateBitmapFromData 1x1 byte=0",
        "XCreatePixmapCursor same=1 hot=0,0",
        "XFreePixmap",
    };
    EXPECT_EQ(calls, expected);
}

TEST_F(Window, HasTheSizeAndHintsOfItsScale) {
    Session::Options options = Answering({});
    options.screen = kQuadHd;
    Session session(machine_, options);
    const std::string trace = session.Run().Trace();
    EXPECT_NE(trace.find("XCreateWindow screen=0 at=0,0 size=933x600 "), std::string::npos);
    EXPECT_NE(trace.find("XSetWMNormalHints flags=0x30 min=933x600 max=933x600\n"), std::string::npos);
    EXPECT_NE(trace.find("XMoveWindow to=813,420\n"), std::string::npos);
}

TEST_F(Window, FontIsOpenedByTheInstalledPathBehindTheMakingOfTheContext) {
    Session session(machine_, Answering({}));
    const std::string trace = session.Run().Trace();
    const std::size_t opened = trace.find("fopen " + place::kFont + "\n");
    const std::size_t made = trace.find("XFreePixmap\n");
    ASSERT_NE(opened, std::string::npos);
    ASSERT_NE(made, std::string::npos);
    EXPECT_GT(opened, made);
}

TEST_F(Window, AsksForTheClosingMessageAndForNoOtherProtocol) {
    Session session(machine_, kFullHd);
    Atom* protocols = nullptr;
    int count = 0;
    ASSERT_NE(XGetWMProtocols(session.Connection(), session.Window(), &protocols, &count), 0);
    const std::vector<Atom> asked(protocols, protocols + count);
    XFree(protocols);
    EXPECT_EQ(asked, (std::vector<Atom>{XInternAtom(session.Connection(), "WM_DELETE_WINDOW", 1)}));
}

// The scale, the configuration and the window are those of the screen that the display's name asks for; the place on it
// is worked out from the size of screen 0 all the same.
TEST_F(Window, OfASecondScreenHasItsScaleAndThePlaceOfTheFirst) {
    const std::string trace = TraceOfAStart(ServerFor({1920, 1080, true, kQuadHd.width, kQuadHd.height}).Name() + ".1");
    for (const char* line :
         {"glXChooseFBConfig screen=1 ", "XCreateColormap screen=1 ", "XCreateWindow screen=1 at=0,0 size=933x600 ",
          "XMoveWindow to=493,240\n", "glXQueryExtensionsString screen=1\n"}) {
        EXPECT_NE(trace.find(line), std::string::npos) << line << trace;
    }
}

// GLX versions and configurations.

TEST_F(Window, Glx12IsRefused) {
    ExpectRefused("[X11]: Error: Invalid GLX version!", [](ShimControl& shim) {
        shim.glxVersionSet = 1;
        shim.glxMajor = 1;
        shim.glxMinor = 2;
    });
}

TEST_F(Window, Glx09IsRefused) {
    ExpectRefused("[X11]: Error: Invalid GLX version!", [](ShimControl& shim) {
        shim.glxVersionSet = 1;
        shim.glxMajor = 0;
        shim.glxMinor = 9;
    });
}

TEST_F(Window, Glx13Passes) {
    Session session(machine_, Answering([](ShimControl& shim) {
                        shim.glxVersionSet = 1;
                        shim.glxMajor = 1;
                        shim.glxMinor = 3;
                    }));
    ExpectForm(session);
}

TEST_F(Window, Glx20Passes) {
    Session session(machine_, Answering([](ShimControl& shim) {
                        shim.glxVersionSet = 1;
                        shim.glxMajor = 2;
                        shim.glxMinor = 0;
                    }));
    ExpectForm(session);
}

TEST_F(Window, VersionThatCannotBeAskedForIsRefused) {
    ExpectRefused("[X11]: Error: Failed to query OpenGL version", [](ShimControl& shim) { shim.failVersionQuery = 1; });
}

TEST_F(Window, ServerWithoutGlxIsRefused) {
    ExpectRefused("[X11]: Error: Failed to query OpenGL version", {}, Screen{1920, 1080, false});
}

TEST_F(Window, NoConfigurationIsRefused) {
    ExpectRefused("[X11]: Error: failed to retrieve framebuffer configuration",
                  [](ShimControl& shim) { shim.noConfigurations = 1; });
}

TEST_F(Window, WindowThatIsNotMadeIsRefused) {
    ExpectRefused("[X11]: Failed to create window", [](ShimControl& shim) { shim.failCreateWindow = 1; });
    // Nothing made so far is released.
    EXPECT_EQ(trace_.find("XFreeColormap"), std::string::npos);
    EXPECT_EQ(trace_.find("XCloseDisplay"), std::string::npos);
}

class Configuration : public Window {
protected:
    struct Candidate {
        std::string name;
        int buffers = -1;
        int samples = -1;
    };

    // The configurations in the server's order with what they reported, and the one whose visual was fetched last.
    static std::pair<std::vector<Candidate>, std::string> Walk(const std::string& trace) {
        std::vector<Candidate> walked;
        std::string last;
        for (const std::string& line : Lines(trace)) {
            std::istringstream words(line);
            std::string call;
            std::string name;
            words >> call >> name;
            if (call == "glXGetVisualFromFBConfig") {
                last = name;
                walked.push_back({name});
            } else if (call == "glXGetFBConfigAttrib") {
                std::string value;
                words >> value;
                int& field = value.rfind("100000=", 0) == 0 ? walked.back().buffers : walked.back().samples;
                field = std::stoi(value.substr(7));
            }
        }
        walked.pop_back();
        return {walked, last};
    }
};

TEST_F(Configuration, WithStrictlyTheMostSamplesIsChosenTheEarlierOnATie) {
    Session session(machine_, Answering({}));
    const auto [walked, chosen] = Walk(session.Run().Trace());
    ASSERT_GT(walked.size(), 1U);
    std::size_t best = 0;
    for (std::size_t i = 1; i < walked.size(); ++i) {
        if (walked[i].buffers != 0 && walked[i].samples > walked[best].samples) {
            best = i;
        }
    }
    // The software GL offers four samples, not in its first configuration.
    EXPECT_EQ(walked[best].samples, 4);
    EXPECT_NE(best, 0U);
    EXPECT_EQ(chosen, walked[best].name);
    ExpectForm(session);
}

TEST_F(Configuration, OfEqualSamplesIsTheFirstInTheServersOrder) {
    Session session(machine_, Answering([](ShimControl& shim) { shim.samplesEqual = 2; }));
    const auto [walked, chosen] = Walk(session.Run().Trace());
    EXPECT_EQ(chosen, walked.front().name);
    ExpectForm(session);
}

TEST_F(Configuration, WithSamplesButNoSampleBufferNeverReplacesTheFirst) {
    Session session(machine_, Answering([](ShimControl& shim) { shim.sampleBuffersZero = 1; }));
    const auto [walked, chosen] = Walk(session.Run().Trace());
    EXPECT_TRUE(std::any_of(walked.begin(), walked.end(), [](const Candidate& one) { return one.samples > 0; }));
    EXPECT_EQ(chosen, walked.front().name);
    ExpectForm(session);
}

TEST_F(Configuration, WithoutAVisualIsSkipped) {
    // No other one replaces the first that can be used.
    Session session(machine_, Answering([](ShimControl& shim) {
                        shim.withoutVisual = 2;
                        shim.sampleBuffersZero = 1;
                    }));
    const auto [walked, chosen] = Walk(session.Run().Trace());
    ASSERT_GT(walked.size(), 3U);
    for (std::size_t i = 0; i < walked.size(); ++i) {
        EXPECT_EQ(walked[i].buffers == -1, i < 2) << i;
        EXPECT_EQ(walked[i].samples == -1, i < 2) << i;
    }
    EXPECT_EQ(chosen, walked[2].name);
    ExpectForm(session);
}

// Contexts.

using NamedWords = std::pair<const char*, const char*>;

class ContextWord : public Window, public testing::WithParamInterface<NamedWords> {};
class ContextWordFound : public ContextWord {};
class ContextWordMissing : public ContextWord {};

std::string WordName(const testing::TestParamInfo<NamedWords>& info) {
    return info.param.first;
}

void Extensions(ShimControl& shim, const char* text) {
    std::strncpy(shim.glxExtensions, text, sizeof shim.glxExtensions - 1);
}

INSTANTIATE_TEST_SUITE_P(
    , ContextWordFound,
    testing::Values(std::pair("Alone", "GLX_ARB_create_context"),
                    std::pair("AtTheStart", "GLX_ARB_create_context GLX_EXT_other"),
                    std::pair("AtTheEnd", "GLX_EXT_other GLX_ARB_create_context"),
                    std::pair("BehindALongerWord", "GLX_ARB_create_context_profile GLX_ARB_create_context GLX_x"),
                    std::pair("BehindAPrefixedWord", "XGLX_ARB_create_context GLX_ARB_create_context")),
    WordName);

TEST_P(ContextWordFound, IsAskedForAContextWithAttributes) {
    Session session(machine_, Answering([](ShimControl& shim) { Extensions(shim, GetParam().second); }));
    EXPECT_NE(session.Run().Trace().find("glXCreateContextAttribsARB share=0 direct=1 8337=3 8338=0\n"),
              std::string::npos);
    EXPECT_EQ(session.Run().Output().find("[X11]"), std::string::npos);
    ExpectForm(session);
}

INSTANTIATE_TEST_SUITE_P(
    , ContextWordMissing,
    testing::Values(std::pair("OnlyTheProfileWord", "GLX_ARB_create_context_profile GLX_EXT_other"),
                    std::pair("OnlyAPrefixedWord", "XGLX_ARB_create_context GLX_EXT_other"),
                    std::pair("BothWrongWords", "XGLX_ARB_create_context GLX_ARB_create_context_profile"),
                    std::pair("CutShort", "GLX_ARB_create_contex"), std::pair("OtherWords", "GLX_EXT_other")),
    WordName);

TEST_P(ContextWordMissing, IsAnsweredWithAnOldStyleContextAndTwoLines) {
    Session session(machine_, Answering([](ShimControl& shim) { Extensions(shim, GetParam().second); }));
    const std::string trace = session.Run().Trace();
    EXPECT_NE(trace.find("glXCreateNewContext type=0x8014 share=0 direct=1\n"), std::string::npos);
    EXPECT_EQ(trace.find("glXCreateContextAttribsARB share"), std::string::npos);
    EXPECT_NE(session.Run().Output().find(kNoAttribs), std::string::npos);
    ExpectForm(session);
}

TEST_F(Window, ContextFunctionThatIsMissingGivesAnOldStyleContext) {
    Session session(machine_, Answering([](ShimControl& shim) { shim.noAttribsFunction = 1; }));
    EXPECT_NE(session.Run().Trace().find("glXCreateNewContext type=0x8014 share=0 direct=1\n"), std::string::npos);
    EXPECT_NE(session.Run().Output().find(kNoAttribs), std::string::npos);
    ExpectForm(session);
}

// How a refused context looks, as part of a test's name.
std::string RefusalName(Refusal refusal) {
    return refusal == Refusal::XError ? "WithAnXError" : "WithANullContext";
}

class RefusedContext : public Window, public testing::WithParamInterface<Refusal> {};

INSTANTIATE_TEST_SUITE_P(, RefusedContext, testing::Values(Refusal::NullContext, Refusal::XError),
                         [](const auto& one) { return RefusalName(one.param); });

TEST_P(RefusedContext, OnceIsAskedForAgainWithVersionOne) {
    Session session(machine_, Answering([](ShimControl& shim) {
                        shim.refusedContexts = 1;
                        shim.refusal = GetParam();
                    }));
    EXPECT_NE(session.Run().Trace().find("glXCreateContextAttribsARB share=0 direct=1 8337=3 8338=0\n"
                                         "XSync discard=0\n"
                                         "glXCreateContextAttribsARB share=0 direct=1 8337=1 8338=0\n"
                                         "XSync discard=0\n"
                                         "XSetErrorHandler restored\n"),
              std::string::npos);
    EXPECT_NE(session.Run().Output().find(kRefused30), std::string::npos);
    ExpectForm(session);
}

TEST_P(RefusedContext, TwiceFailsTheStart) {
    ExpectRefused("[X11]: Failed to create an OpenGL context", [](ShimControl& shim) {
        shim.refusedContexts = 2;
        shim.refusal = GetParam();
    });
    EXPECT_NE(output_.find(kRefused30), std::string::npos);
    EXPECT_NE(trace_.find("XSetErrorHandler restored\n"), std::string::npos);
    EXPECT_EQ(trace_.find("glXMakeCurrent"), std::string::npos);
}

TEST_P(RefusedContext, OfTheOldStyleFailsTheStart) {
    ExpectRefused("[X11]: Failed to create an OpenGL context", [](ShimControl& shim) {
        shim.noAttribsFunction = 1;
        shim.refusedContexts = 1;
        shim.refusal = GetParam();
    });
    EXPECT_NE(output_.find(kNoAttribs), std::string::npos);
    EXPECT_NE(trace_.find("glXCreateNewContext type=0x8014 share=0 direct=1\n"
                          "XSync discard=0\n"
                          "XSetErrorHandler restored\n"),
              std::string::npos);
    EXPECT_EQ(trace_.find("glXMakeCurrent"), std::string::npos);
}

// What the backend asks for first.

TEST_F(Window, LocaleThatIsNotInstalledEndsTheProcessBeforeTheFirstFrame) {
    Program::Options options;
    options.display = ServerFor(kFullHd).Name();
    options.environment["LC_ALL"] = "xx_XX.UTF-8";
    options.shim = Answering({}).shim;
    Program program(options);
    const Ending ending = program.End();
    EXPECT_EQ(ending.signal, kFault) << ToString(ending);
    EXPECT_EQ(program.Shim().frames.load(), 0U);
    // The backend stopped at once: nothing behind the locale was asked for.
    EXPECT_EQ(program.Trace().find("XSupportsLocale"), std::string::npos);
    EXPECT_EQ(machine_.Log(), kNoCameraFile);
}

// A step of the backend's start that fails, and the calls behind it that must not be made.
struct FailedStep {
    const char* name;
    std::int32_t ShimControl::*answer;
    std::vector<const char*> notMade;
};

void PrintTo(const FailedStep& step, std::ostream* out) {
    *out << step.name;
}

class StepOfTheBackend : public Window, public testing::WithParamInterface<FailedStep> {};

INSTANTIATE_TEST_SUITE_P(
    , StepOfTheBackend,
    testing::Values(FailedStep{"SupportOfTheLocale",
                               &ShimControl::localeUnsupported,
                               {"XSetLocaleModifiers", "fetch glCreateShader", "XCreateBitmapFromData"}},
                    FailedStep{
                        "Modifiers", &ShimControl::noModifiers, {"fetch glCreateShader", "XCreateBitmapFromData"}},
                    FailedStep{"Bitmap", &ShimControl::noBitmap, {"XCreatePixmapCursor", "XFreePixmap"}}),
    [](const auto& one) { return std::string(one.param.name); });

TEST_P(StepOfTheBackend, ThatFailsEndsTheProcessBeforeTheFirstFrame) {
    Program::Options options;
    options.display = ServerFor(kFullHd).Name();
    options.shim = Answering([](ShimControl& shim) { shim.*GetParam().answer = 1; }).shim;
    Program program(options);
    const Ending ending = program.End();
    EXPECT_EQ(ending.signal, kFault) << ToString(ending);
    EXPECT_EQ(program.Shim().frames.load(), 0U);
    const std::string trace = program.Trace();
    EXPECT_NE(trace.find("setlocale category=6"), std::string::npos);
    for (const char* call : GetParam().notMade) {
        EXPECT_EQ(trace.find(call), std::string::npos) << call;
    }
    EXPECT_EQ(program.ErrorOutput(), "");
    EXPECT_EQ(machine_.Log(), kNoCameraFile);
}

// The frame loop.

TEST_F(Window, FrameIsThisSequenceOfCalls) {
    Session session(machine_, Answering({}));
    const std::string trace = session.Run().Trace();
    // The second frame stands between the first two swaps.
    const std::size_t start = trace.find("glXSwapBuffers\n") + std::strlen("glXSwapBuffers\n");
    const std::string frame = trace.substr(start, trace.find("glXSwapBuffers\n", start) - start);
    std::vector<std::string> calls;
    int draws = 0;
    for (const std::string& line : Lines(frame)) {
        // Every command is three calls with figures of its own. What counts here is where they stand.
        draws += StartsWith(line, "glBindTexture") ? 1 : 0;
        if (!StartsWith(line, "glScissor") && !StartsWith(line, "glDrawElements") &&
            !(StartsWith(line, "glBindTexture") && draws > 1)) {
            calls.push_back(line);
        }
    }
    // 2 / 700 and -2 / 450 on the diagonal.
    const std::string projection =
        "0.002857 0.000000 0.000000 0.000000 0.000000 -0.004444 0.000000 0.000000 "
        "0.000000 0.000000 -1.000000 0.000000 -1.000000 1.000000 0.000000 1.000000";
    const std::vector<std::string> expected = {
        "XGetWindowAttributes",
        "glViewport 0,0 0x0",
        "glClear 0x4000",
        "glClearColor 0.10 0.18 0.24 1.00",
        "XGetWindowAttributes",
        "glEnable 0xBE2",           // GL_BLEND
        "glBlendEquation 0x8006",   // GL_FUNC_ADD
        "glBlendFunc 0x302 0x303",  // GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA
        "glDisable 0xB44",          // GL_CULL_FACE
        "glDisable 0xB71",          // GL_DEPTH_TEST
        "glEnable 0xC11",           // GL_SCISSOR_TEST
        "glActiveTexture 0x84C0",   // GL_TEXTURE0
        "glUseProgram own",
        "glUniform1i Texture=0",
        "glUniformMatrix4fv ProjMtx count=1 transpose=0 " + projection,
        "glViewport 0,0 700x450",
        "glBindVertexArray own",
        "glBindBuffer target=0x8892 first",
        "glBindBuffer target=0x8893 second",
        "glBufferData target=0x8892 size=524288 data=0 usage=0x88E0",
        "glBufferData target=0x8893 size=131072 data=0 usage=0x88E0",
        "glMapBuffer target=0x8892 access=0x88B9",
        "glMapBuffer target=0x8893 access=0x88B9",
        "glUnmapBuffer target=0x8892",
        "glUnmapBuffer target=0x8893",
        "glBindTexture target=0xDE1 own",
        "glUseProgram none",
        "glBindBuffer target=0x8892 none",
        "glBindBuffer target=0x8893 none",
        "glBindVertexArray none",
        "glDisable 0xBE2",
        "glDisable 0xC11",
    };
    EXPECT_EQ(calls, expected);
    EXPECT_GT(draws, 5);
}

// The driver's own swap behaviour is the pace of the loop: no function that would set another is ever asked for.
TEST_F(Window, FetchesNothingOfGlxButTheMakingOfAContext) {
    Session session(machine_, Answering({}));
    session.Frames(3);
    std::vector<std::string> fetched;
    for (const std::string& line : Lines(session.Run().Trace())) {
        if (StartsWith(line, "fetch glX")) {
            fetched.push_back(line);
        }
    }
    EXPECT_EQ(fetched, (std::vector<std::string>{"fetch glXCreateContextAttribsARB"}));
}

// Events.

TEST_F(Window, EventIsOfferedToTheFilterForItsWindowBeforeItIsHandled) {
    Session session(machine_, Answering({}));
    session.MoveTo(session.At().nameField);
    session.Shim().traceLength = 0;
    session.Shim().tracedEvents = 1;
    session.KeyDown('x');
    const std::string trace = session.Run().Trace();
    session.KeyUp('x');
    EXPECT_EQ(trace,
              "XNextEvent type=2\nXFilterEvent type=2 own=1\nXGetKeyboardMapping count=1\nXLookupString size=32\n");
}

TEST_F(Window, EventThatTheFilterTakesIsNotHandled) {
    Session session(machine_, Answering({}));
    session.Click(session.At().nameField);
    const Picture before = session.Shot();
    session.Shim().filterKeyPresses = 1;
    session.Shim().traceLength = 0;
    session.Shim().tracedEvents = 1;
    session.KeyDown('x');
    EXPECT_EQ(session.Run().Trace(), "XNextEvent type=2\nXFilterEvent type=2 own=1\n");
    session.Shim().filterKeyPresses = 0;
    session.KeyUp('x');
    EXPECT_TRUE(session.Shot() == before);
    // The same key types, once the filter lets it through.
    session.Key('x');
    EXPECT_FALSE(session.Shot() == before);
}

TEST_F(Window, ViewportOfTheLoopIsEmptyInEveryFrameAndTheFormFillsTheWindow) {
    Session session(machine_, Answering([](ShimControl& shim) { shim.tracedFrames = 20; }));
    session.Frames(20);
    const std::string trace = session.Run().Trace();
    std::size_t empty = 0;
    for (std::size_t at = 0; (at = trace.find("glViewport 0,0 0x0\n", at)) != std::string::npos; ++at) {
        ++empty;
    }
    EXPECT_EQ(empty, 20U);
    const Picture shot = session.Shot();
    for (const Point corner : {Point{3, 3}, Point{696, 3}, Point{3, 446}, Point{696, 446}}) {
        EXPECT_EQ(shot.At(corner), colour::kWindow);
    }
}

TEST_F(Window, LoopKeepsDrawingWithoutInput) {
    Session session(machine_, kFullHd);
    const std::uint64_t before = session.Shim().frames.load();
    session.Frames(100);
    EXPECT_GE(session.Shim().frames.load(), before + 100);
    EXPECT_TRUE(session.Run().Running());
}

TEST_F(Window, DrawsAWholeSessionWithoutAGlOrXError) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Session session(machine_, kFullHd);
    ReplaceName(session, 6, "Other");
    session.Pick(session.At().countCombo, 7, 8);
    session.Pick(session.At().idCombo, 3, 8);
    SwitchDrives(session, {0}, session.At().driveOk);
    session.Click(session.At().apply);
    EXPECT_TRUE(AlertIsUp(session));
    session.Click(session.At().alertOk);
    EXPECT_EQ(session.Shim().glErrors.load(), 0U);
    // Xlib writes its errors there and ends the process.
    EXPECT_EQ(session.Run().ErrorOutput(), "");
    EXPECT_TRUE(session.Run().Running());
}

TEST_F(Window, TallerThanTheFormShowsTheFormAtItsTopAndTheClearColourBelow) {
    Session session(machine_, kFullHd);
    const Picture before = session.Shot();
    XResizeWindow(session.Connection(), session.Window(), 700, 600);
    session.Settle();
    const Picture after = session.Shot();
    ASSERT_EQ(after.Height(), 600);
    // The form is the same, clipped as before: clip rectangles count from the true lower edge.
    EXPECT_TRUE(after.Cut({0, 0, 700, 449}) == before.Cut({0, 0, 700, 449}));
    // 0.10, 0.18 and 0.24 of 255.
    EXPECT_LE(Distance(after.At({350, 550}), {26, 46, 61}), 1);
}

TEST_F(Window, ClipRectanglesCountFromTheLowerEdgeOfTheTrueHeight) {
    Session session(machine_, Answering({}));
    XResizeWindow(session.Connection(), session.Window(), 700, 600);
    session.Settle();
    const std::string trace = session.TraceOfFrames(1);
    // The window's content area: 6 pixels from the left, 2 from the top, 678 by 436 wide and high.
    EXPECT_NE(trace.find("glScissor 6,162 678x436\n"), std::string::npos) << trace;
    EXPECT_NE(trace.find("glViewport 0,0 700x600\n"), std::string::npos);
}

// The end.

class ClosingMessage : public Window, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(, ClosingMessage, testing::Values("WM_PROTOCOLS", "WM_DELETE_WINDOW", "_ANY_OTHER_TYPE"),
                         [](const auto& one) {
                             const std::string name = one.param;
                             return name == "_ANY_OTHER_TYPE" ? std::string("AnyOtherType") : name;
                         });

TEST_P(ClosingMessage, OfAnotherClientClosesTheProgramWithoutSaving) {
    const std::string before = machine_.Global();
    Session session(machine_, kFullHd);
    session.Pick(session.At().countCombo, 4, 8);
    session.SendClientMessage(GetParam());
    EXPECT_TRUE(EndedWell(session.End()));
    EXPECT_EQ(machine_.Global(), before);
    EXPECT_EQ(machine_.Log(), kNoCameraFile);
}

TEST_F(Window, TeardownIsThisSequenceOfCalls) {
    Session session(machine_, Answering({}));
    session.Shim().traceLength = 0;
    session.Shim().tracedFrames = 0;
    session.SendClientMessage("WM_PROTOCOLS");
    EXPECT_TRUE(EndedWell(session.End()));
    std::vector<std::string> calls;
    for (const std::string& line : Lines(session.Run().Trace())) {
        if (line.rfind("OS_", 0) != 0) {
            calls.push_back(line);
        }
    }
    EXPECT_EQ(calls, (std::vector<std::string>{"glDetachShader own vertex", "glDetachShader own fragment",
                                               "glDeleteShader vertex", "glDeleteShader fragment",
                                               "glDeleteProgram own", "glDeleteTextures count=1 own",
                                               "glDeleteBuffers count=1 first", "glDeleteBuffers count=1 second",
                                               "XFreeCursor", "glXMakeCurrent window=0 context=0", "glXDestroyContext",
                                               "XUnmapWindow", "XFreeColormap", "XDestroyWindow", "XCloseDisplay"}));
    EXPECT_EQ(session.Run().ErrorOutput(), "");
}

TEST_F(Window, EventsBehindTheClosingMessageAreNeverHandled) {
    const std::string before = machine_.Global();
    Session session(machine_, Answering({}));
    session.Pick(session.At().countCombo, 4, 8);
    session.MoveTo(session.At().apply);
    session.Shim().traceLength = 0;
    session.Shim().tracedEvents = 1;
    // Queued together while the program stands still: the message first, behind it a key and a press on "Apply".
    session.Run().Halt();
    session.SendClientMessage("WM_PROTOCOLS");
    const KeyCode key = XKeysymToKeycode(session.Connection(), 'x');
    XTestFakeKeyEvent(session.Connection(), key, True, CurrentTime);
    XTestFakeButtonEvent(session.Connection(), 1, True, CurrentTime);
    XTestFakeButtonEvent(session.Connection(), 1, False, CurrentTime);
    XTestFakeKeyEvent(session.Connection(), key, False, CurrentTime);
    XSync(session.Connection(), False);
    session.Run().Resume();
    EXPECT_TRUE(EndedWell(session.End()));
    EXPECT_EQ(machine_.Global(), before);
    // Nothing but the message was taken off the queue, nor offered to the filter.
    std::string events;
    for (const std::string& line : Lines(session.Run().Trace())) {
        if (StartsWith(line, "XNextEvent") || StartsWith(line, "XFilterEvent") || StartsWith(line, "XGetKeyboard") ||
            StartsWith(line, "XLookupString")) {
            events += line + "\n";
        }
    }
    EXPECT_EQ(events, "XNextEvent type=33\n");
}

}  // namespace
}  // namespace gui
