// The GL device: what it asks of the context, what it says when something is missing, and how a frame is drawn.

#include <gtest/gtest.h>

#include <cstring>

#include "Scenario.h"
#include "support/Lines.h"

namespace gui {
namespace {

const std::string kTooOld = "[GL]: Graphics card does not fullfill minimum OpenGL 2.0 support\n";

struct Extension {
    const char* name;
    const char* word;
    const char* message;
    const char* functions;  // fetched when the extension is there
};

// In the order in which they are checked.
const Extension kExtensions[] = {
    {"VertexBufferObject", "GL_ARB_vertex_buffer_object", "[GL] Error: GL_ARB_vertex_buffer_object is not available!\n",
     "glGenBuffers\nglBindBuffer\nglBufferData\nglBufferSubData\nglMapBuffer\nglUnmapBuffer\nglDeleteBuffers\n"},
    {"FragmentProgram", "GL_ARB_fragment_program", "[GL] Error: GL_ARB_fragment_program is not available!\n",
     "glVertexAttribPointer\nglEnableVertexAttribArray\nglDisableVertexAttribArray\n"},
    {"VertexArrayObject", "GL_ARB_vertex_array_object", "[GL] Error: GL_ARB_vertex_array_object is not available!\n",
     "glGenVertexArrays\nglBindVertexArray\nglDeleteVertexArrays\n"},
    {"FramebufferObject", "GL_ARB_framebuffer_object", "[GL] Error: GL_ARB_framebuffer_object is not available!\n",
     "glGenerateMipmap\n"},
};

void PrintTo(const Extension& extension, std::ostream* out) {
    *out << extension.name;
}

// Messages of the GL device that came to the standard output.
std::string GlLines(const std::string& output) {
    std::string lines;
    for (const std::string& line : test_support::Lines(output)) {
        if (line.rfind("[GL]", 0) == 0) {
            lines += line + "\n";
        }
    }
    return lines;
}

// The functions that are fetched, by their groups; the first group needs no extension.
const std::string kShaderGroup =
    "glCreateShader\nglShaderSource\nglCompileShader\nglGetShaderiv\nglGetShaderInfoLog\nglDeleteShader\n"
    "glCreateProgram\nglAttachShader\nglDetachShader\nglLinkProgram\nglUseProgram\nglGetProgramiv\n"
    "glGetProgramInfoLog\nglDeleteProgram\nglGetUniformLocation\nglGetAttribLocation\nglUniform1i\n"
    "glUniform1f\nglUniformMatrix3fv\nglUniformMatrix4fv\n";

// All of them in their order, but those of one extension.
std::string GroupsWithout(const std::string& word) {
    std::string names = kShaderGroup;
    for (const Extension& extension : kExtensions) {
        names += extension.word == word ? "" : extension.functions;
    }
    return names;
}

// The GL functions that the program fetched.
std::string Fetched(const std::string& trace) {
    std::string names;
    for (const std::string& line : test_support::Lines(trace)) {
        if (line.rfind("fetch gl", 0) == 0 && line.rfind("fetch glX", 0) != 0) {
            names += line.substr(6) + "\n";
        }
    }
    return names;
}

// Both shaders in full, as the trace shows their lines.
const std::string kShaderSources =
    R"(glShaderSource vertex count=1 lengths=0 #version 300 es\nuniform mat4 ProjMtx;\nin vec2 Position;\n)"
    R"(in vec2 TexCoord;\nin vec4 Color;\nout vec2 Frag_UV;\nout vec4 Frag_Color;\nvoid main() {\n)"
    R"(   Frag_UV = TexCoord;\n   Frag_Color = Color;\n   gl_Position = ProjMtx * vec4(Position.xy, 0, 1);\n}\n)"
    "\n"
    R"(glShaderSource fragment count=1 lengths=0 #version 300 es\nprecision mediump float;\n)"
    R"(uniform sampler2D Texture;\nin vec2 Frag_UV;\nin vec4 Frag_Color;\nout vec4 Out_Color;\nvoid main(){\n)"
    R"(   Out_Color = Frag_Color * texture(Texture, Frag_UV.st);\n}\n)"
    "\n";

class GlDevice : public testing::Test {
protected:
    GlDevice() {
        machine_.Global(GlobalFile("Site A", 1, ""));
        machine_.Local(LocalFile(1, {}));
    }

    // A start whose device fails: nothing more is said, and the first frame is a memory fault.
    void ExpectFault(const std::function<void(ShimControl&)>& shim, int signal = kFault) {
        Program::Options options;
        options.display = ServerFor(kFullHd).Name();
        options.shim = [shim](ShimControl& control) {
            control.tracing = 1;
            shim(control);
        };
        // Unbuffered, so that what was printed outlives the fault.
        options.unbuffered = true;
        Program program(options);
        const Ending ending = program.End();
        EXPECT_EQ(ending.signal, signal) << ToString(ending);
        EXPECT_EQ(program.Shim().frames.load(), 0U);
        EXPECT_EQ(machine_.Log(), kNoCameraFile);
        output_ = program.Output();
        errors_ = program.ErrorOutput();
        trace_ = program.Trace();
    }

    Session::Options Answering(const std::function<void(ShimControl&)>& shim) {
        Session::Options options;
        options.shim = [shim](ShimControl& control) {
            control.tracing = 1;
            control.tracedFrames = 3;
            shim(control);
        };
        return options;
    }

    void ExpectForm(Session& session) {
        EXPECT_TRUE(session.Reads(session.At().FieldText(), "Site A", colour::kControl));
        EXPECT_TRUE(session.Reads(session.At().nameLabel, "The Recording System name:", colour::kWindow));
    }

    static void Hide(ShimControl& control, int place, const char* word) {
        std::strncpy(control.hiddenExtensions[place], word, sizeof control.hiddenExtensions[place] - 1);
    }

    Machine machine_;
    std::string output_;
    std::string errors_;
    std::string trace_;
};

TEST_F(GlDevice, VersionBelowTwoIsReportedOnTheStandardErrorAndLoadsNothing) {
    ExpectFault([](ShimControl& control) {
        control.glVersionSet = 1;
        control.glMajor = 1;
        control.glMinor = 5;
    });
    EXPECT_EQ(errors_, kTooOld);
    EXPECT_EQ(Fetched(trace_), "");
    EXPECT_EQ(GlLines(output_), "");
}

TEST_F(GlDevice, VersionThatIsNotAnsweredStopsThereToo) {
    ExpectFault([](ShimControl& control) { control.glVersionUnanswered = 1; });
    EXPECT_EQ(errors_, kTooOld);
}

TEST_F(GlDevice, Version21WithAllExtensionsDrawsWithTheSameShaders) {
    Session session(machine_, Answering([](ShimControl& control) {
                        control.glVersionSet = 1;
                        control.glMajor = 2;
                        control.glMinor = 1;
                    }));
    EXPECT_NE(session.Run().Trace().find(kShaderSources), std::string::npos);
    ExpectForm(session);
}

class MissingExtension : public GlDevice, public testing::WithParamInterface<Extension> {};

INSTANTIATE_TEST_SUITE_P(, MissingExtension, testing::ValuesIn(kExtensions),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(MissingExtension, IsNamedInItsMessage) {
    ExpectFault([](ShimControl& control) { Hide(control, 0, GetParam().word); });
    EXPECT_EQ(GlLines(output_), GetParam().message);
    EXPECT_EQ(errors_, "");
    EXPECT_EQ(Fetched(trace_), GroupsWithout(GetParam().word));
    // And no device is made.
    EXPECT_EQ(trace_.find("glCreateProgram\n", trace_.find("fetch glGetAttribLocation")), std::string::npos);
}

TEST_P(MissingExtension, IsNotFoundAsThePrefixOfALongerWord) {
    ExpectFault([](ShimControl& control) {
        Hide(control, 0, GetParam().word);
        std::strncpy(control.addedExtension, GetParam().word, sizeof control.addedExtension - 2);
        std::strcat(control.addedExtension, "_2");
    });
    EXPECT_EQ(GlLines(output_), GetParam().message);
}

TEST_F(GlDevice, TwoMissingExtensionsGiveTwoLinesInTheOrderOfTheChecks) {
    ExpectFault([](ShimControl& control) {
        Hide(control, 0, "GL_ARB_framebuffer_object");
        Hide(control, 1, "GL_ARB_fragment_program");
    });
    EXPECT_EQ(GlLines(output_), std::string(kExtensions[1].message) + kExtensions[3].message);
}

TEST_F(GlDevice, AllMissingExtensionsGiveFourLines) {
    ExpectFault([](ShimControl& control) {
        for (int i = 0; i < 4; ++i) {
            Hide(control, i, kExtensions[i].word);
        }
    });
    std::string all;
    for (const Extension& extension : kExtensions) {
        all += extension.message;
    }
    EXPECT_EQ(GlLines(output_), all);
}

TEST_F(GlDevice, FunctionsAreFetchedInTheOrderOfTheirGroups) {
    Session session(machine_, Answering([](ShimControl&) {}));
    EXPECT_EQ(Fetched(session.Run().Trace()), GroupsWithout(""));
}

// Making the device: the lines from its first call to its last one.
TEST_F(GlDevice, IsMadeInThisOrder) {
    Session session(machine_, Answering([](ShimControl&) {}));
    const std::string trace = session.Run().Trace();
    const std::size_t start = trace.find("\nglCreateProgram\n") + 1;
    const std::string last = "glBindVertexArray none\n";
    const std::size_t end = trace.find(last, start) + last.size();
    EXPECT_EQ(trace.substr(start, end - start),
              "glCreateProgram\nglCreateShader 0x8B31\nglCreateShader 0x8B30\n" + kShaderSources +
                  "glCompileShader vertex\nglCompileShader fragment\n"
                  // Read and dropped: GL_COMPILE_STATUS and GL_LINK_STATUS.
                  "glGetShaderiv vertex 0x8B81\nglGetShaderiv fragment 0x8B81\n"
                  "glAttachShader own vertex\nglAttachShader own fragment\nglLinkProgram own\n"
                  "glGetProgramiv own 0x8B82\n"
                  "glGetUniformLocation own Texture\nglGetUniformLocation own ProjMtx\n"
                  "glGetAttribLocation own Position\nglGetAttribLocation own TexCoord\n"
                  "glGetAttribLocation own Color\n"
                  "glGenBuffers count=1\nglGenBuffers count=1\nglGenVertexArrays count=1\n"
                  "glBindVertexArray own\nglBindBuffer target=0x8892 first\nglBindBuffer target=0x8893 second\n"
                  "glEnableVertexAttribArray Position\nglEnableVertexAttribArray TexCoord\n"
                  "glEnableVertexAttribArray Color\n"
                  // Floats, floats, and unsigned bytes.
                  "glVertexAttribPointer Position size=2 type=0x1406 normalised=0 stride=20 offset=0\n"
                  "glVertexAttribPointer TexCoord size=2 type=0x1406 normalised=0 stride=20 offset=8\n"
                  "glVertexAttribPointer Color size=4 type=0x1401 normalised=1 stride=20 offset=16\n"
                  "glBindTexture target=0xDE1 none\nglBindBuffer target=0x8892 none\n"
                  "glBindBuffer target=0x8893 none\nglBindVertexArray none\n");
}

// Loaded and never called: a system without one of them still draws.
class UncalledFunction : public GlDevice, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(, UncalledFunction,
                         testing::Values("glGetShaderInfoLog", "glGetProgramInfoLog", "glUniform1f",
                                         "glUniformMatrix3fv", "glBufferSubData", "glDisableVertexAttribArray",
                                         "glDeleteVertexArrays", "glGenerateMipmap"),
                         [](const auto& one) { return std::string(one.param); });

TEST_P(UncalledFunction, ThatIsMissingIsReportedWithoutALineEndAndTheFormIsDrawn) {
    const std::string name = GetParam();
    Session session(machine_, Answering([&name](ShimControl& control) {
                        std::strncpy(control.missingFunction, name.c_str(), sizeof control.missingFunction - 1);
                    }));
    ExpectForm(session);
    // Ended by way of main, so that all that was printed is written.
    session.SendClientMessage("WM_PROTOCOLS");
    EXPECT_TRUE(EndedWell(session.End()));
    const std::string output = session.Run().Output();
    const std::string message = "[GL]: failed to load extension: " + name;
    const std::size_t at = output.find(message);
    ASSERT_NE(at, std::string::npos) << output;
    // What comes next stands on the same line.
    EXPECT_NE(output.substr(at + message.size(), 1), "\n");
}

TEST_F(GlDevice, NothingIsReportedWhenAllIsThere) {
    Session session(machine_, kFullHd);
    session.SendClientMessage("WM_PROTOCOLS");
    EXPECT_TRUE(EndedWell(session.End()));
    EXPECT_EQ(session.Run().Output().find("[GL]"), std::string::npos);
    EXPECT_EQ(session.Run().Output().find("[X11]"), std::string::npos);
    EXPECT_EQ(session.Run().ErrorOutput(), "");
}

TEST_F(GlDevice, AtlasIsOneTextureOfFourBytesAPixel) {
    Session session(machine_, Answering([](ShimControl&) {}));
    const std::string trace = session.Run().Trace();
    // Both filters are GL_LINEAR; there are no mipmaps.
    const std::string upload =
        "glGenTextures count=1\nglBindTexture target=0xDE1 own\n"
        "glTexParameteri target=0xDE1 0x2801=0x2601\nglTexParameteri target=0xDE1 0x2800=0x2601\n"
        "glTexImage2D target=0xDE1 level=0 internal=0x1908 border=0 format=0x1908 type=0x1401\n";
    const std::size_t at = trace.find(upload);
    ASSERT_NE(at, std::string::npos) << trace;
    EXPECT_EQ(trace.find("glTexImage2D", at + upload.size()), std::string::npos);
}

TEST_F(GlDevice, DrawsAdvanceByTwoBytesForEachElementAndSkipEmptyCommands) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Session session(machine_, Answering([](ShimControl&) {}));
    // The popup makes clip rectangles in which nothing is drawn.
    session.Click(session.At().select);
    const std::string trace = session.TraceOfFrames(1);
    const std::size_t start = trace.find("glXSwapBuffers\n");
    const std::string frame = trace.substr(start, trace.find("glXSwapBuffers\n", start + 1) - start);
    std::size_t expected = 0;
    int draws = 0;
    std::vector<std::string> before(2);
    for (const std::string& line : test_support::Lines(frame)) {
        unsigned int mode = 0;
        int count = 0;
        unsigned int type = 0;
        std::size_t offset = 0;
        if (std::sscanf(line.c_str(), "glDrawElements mode=%u count=%d type=0x%X offset=%zu", &mode, &count, &type,
                        &offset) == 4) {
            EXPECT_EQ(mode, 4U);
            EXPECT_EQ(type, 0x1403U);
            EXPECT_GT(count, 0);
            EXPECT_EQ(offset, expected);
            EXPECT_EQ(before[0], "glBindTexture target=0xDE1 own");
            EXPECT_EQ(before[1].rfind("glScissor ", 0), 0U) << before[1];
            expected += 2 * static_cast<std::size_t>(count);
            ++draws;
        }
        before = {before[1], line};
    }
    EXPECT_GT(draws, 5);
    // The indices of a frame stay inside the buffer.
    EXPECT_LE(expected, 131072U);
}

TEST_F(GlDevice, TextOutsideOfLatin1ShowsTheFallbackGlyph) {
    machine_.Global(
        GlobalFile("a\xD0\x96"
                   "b\xC3\xA9",
                   1, ""));
    Session session(machine_, kFullHd);
    // The Cyrillic letter is outside of the baked range, the accented one inside.
    EXPECT_TRUE(session.Reads(session.At().FieldText(), "a?b\xC3\xA9", colour::kControl));
}

TEST_F(GlDevice, BuffersThatCannotBeMappedAreNotReportedAndDrawNothing) {
    if (kToolkitAsserts) {
        ExpectFault([](ShimControl& control) { control.failMapping = 1; }, SIGABRT);
        EXPECT_EQ(GlLines(output_), "");
        return;
    }
    Session session(machine_, Answering([](ShimControl& control) { control.failMapping = 1; }));
    // The clear colour alone: 0.10, 0.18 and 0.24 of 255.
    EXPECT_LE(Distance(session.Pixel({350, 225}), {26, 46, 61}), 1);
    EXPECT_EQ(session.Run().Trace().find("glDrawElements"), std::string::npos);
    session.SendClientMessage("WM_PROTOCOLS");
    EXPECT_TRUE(EndedWell(session.End()));
    EXPECT_EQ(GlLines(session.Run().Output()), "");
    EXPECT_EQ(machine_.Log(), kNoCameraFile);
}

}  // namespace
}  // namespace gui
