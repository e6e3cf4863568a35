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
};

// In the order in which they are checked.
const Extension kExtensions[] = {
    {"VertexBufferObject", "GL_ARB_vertex_buffer_object",
     "[GL] Error: GL_ARB_vertex_buffer_object is not available!\n"},
    {"FragmentProgram", "GL_ARB_fragment_program", "[GL] Error: GL_ARB_fragment_program is not available!\n"},
    {"VertexArrayObject", "GL_ARB_vertex_array_object", "[GL] Error: GL_ARB_vertex_array_object is not available!\n"},
    {"FramebufferObject", "GL_ARB_framebuffer_object", "[GL] Error: GL_ARB_framebuffer_object is not available!\n"},
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

class GlDevice : public testing::Test {
protected:
    GlDevice() {
        machine_.Global(GlobalFile("Site A", 1, ""));
        machine_.Local(LocalFile(1, {}));
    }

    // A start whose device fails: nothing more is said, and the first frame is a memory fault.
    void ExpectFault(const std::function<void(ShimControl&)>& shim) {
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
        EXPECT_EQ(ending.signal, kFault) << ToString(ending);
        EXPECT_EQ(program.Shim().frames.load(), 0U);
        EXPECT_EQ(machine_.Log(), kNoCameraFile);
        output_ = program.Output();
        errors_ = program.ErrorOutput();
        if (kToolkitAsserts) {
            // The assertion's own line is the last one.
            const std::size_t assertion = errors_.find("Vesmara: ");
            ASSERT_NE(assertion, std::string::npos) << errors_;
            errors_.resize(assertion);
        }
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
    EXPECT_EQ(trace_.find("fetch gl"), trace_.find("fetch glX")) << "a GL function was fetched";
    EXPECT_EQ(trace_.find("fetch glCreateShader"), std::string::npos);
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
    EXPECT_NE(session.Run().Trace().find("glShaderSource count=1 lengths=0 #version 300 es\n"
                                         "glShaderSource count=1 lengths=0 #version 300 es\n"),
              std::string::npos);
    ExpectForm(session);
}

class MissingExtension : public GlDevice, public testing::WithParamInterface<Extension> {};

INSTANTIATE_TEST_SUITE_P(, MissingExtension, testing::ValuesIn(kExtensions),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(MissingExtension, IsNamedInItsMessage) {
    ExpectFault([](ShimControl& control) { Hide(control, 0, GetParam().word); });
    EXPECT_EQ(GlLines(output_), GetParam().message);
    EXPECT_EQ(errors_, "");
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
    std::string fetched;
    for (const std::string& line : test_support::Lines(session.Run().Trace())) {
        if (line.rfind("fetch gl", 0) == 0 && line.rfind("fetch glX", 0) != 0) {
            fetched += line.substr(6) + "\n";
        }
    }
    EXPECT_EQ(fetched,
              "glCreateShader\nglShaderSource\nglCompileShader\nglGetShaderiv\nglGetShaderInfoLog\nglDeleteShader\n"
              "glCreateProgram\nglAttachShader\nglDetachShader\nglLinkProgram\nglUseProgram\nglGetProgramiv\n"
              "glGetProgramInfoLog\nglDeleteProgram\nglGetUniformLocation\nglGetAttribLocation\nglUniform1i\n"
              "glUniform1f\nglUniformMatrix3fv\nglUniformMatrix4fv\n"
              "glGenBuffers\nglBindBuffer\nglBufferData\nglBufferSubData\nglMapBuffer\nglUnmapBuffer\n"
              "glDeleteBuffers\n"
              "glVertexAttribPointer\nglEnableVertexAttribArray\nglDisableVertexAttribArray\n"
              "glGenVertexArrays\nglBindVertexArray\nglDeleteVertexArrays\n"
              "glGenerateMipmap\n");
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
    const std::string upload = "glTexImage2D level=0 internal=0x1908 border=0 format=0x1908 type=0x1401\n";
    const std::size_t at = trace.find(upload);
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(trace.find("glTexImage2D", at + 1), std::string::npos);
}

TEST_F(GlDevice, DrawsAdvanceByTwoBytesForEachElementAndSkipEmptyCommands) {
    machine_.Drives({"/mnt/a", "/mnt/b"});
    Session session(machine_, Answering([](ShimControl&) {}));
    // The popup makes clip rectangles in which nothing is drawn.
    session.Click(session.At().select);
    session.Shim().traceLength = 0;
    session.Shim().tracedFrames = session.Shim().frames.load() + 3;
    session.Frames(4);
    const std::string trace = session.Run().Trace();
    const std::size_t start = trace.find("glXSwapBuffers\n");
    const std::string frame = trace.substr(start, trace.find("glXSwapBuffers\n", start + 1) - start);
    std::size_t expected = 0;
    int draws = 0;
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
            expected += 2 * static_cast<std::size_t>(count);
            ++draws;
        }
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
        ExpectFault([](ShimControl& control) { control.failMapping = 1; });
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
