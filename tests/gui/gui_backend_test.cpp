// What the backend does with the toolkit and what no trace of its calls shows: how it has a frame converted, and that
// it releases everything at its end. The GL stands still here: the functions that it would fetch are given by the test.

#include <gtest/gtest.h>
#include <nuklear.h>

// The backend stands behind the toolkit's header, as in the program.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "XServer.h"
#include "nuklear_xlib_gl3.h"

namespace gui {
namespace {

constexpr int kVertexBytes = 65536;
constexpr int kElementBytes = 16384;

// The two areas that a frame is written to.
std::vector<unsigned char> g_vertices;
std::vector<unsigned char> g_elements;

void GiveDrawingFunctions() {
    glUseProgram = [](GLuint) {};
    glUniform1i = [](GLint, GLint) {};
    glUniformMatrix4fv = [](GLint, GLsizei, GLboolean, const GLfloat*) {};
    glBindVertexArray = [](GLuint) {};
    glBindBuffer = [](GLenum, GLuint) {};
    // Fresh storage, filled with what no conversion writes, so that what it leaves alone is seen.
    glBufferData = [](GLenum target, GLsizeiptr size, const void*, GLenum) {
        (target == GL_ARRAY_BUFFER ? g_vertices : g_elements).assign(static_cast<std::size_t>(size), 0xA5);
    };
    glMapBuffer = [](GLenum target, GLenum) -> void* {
        return target == GL_ARRAY_BUFFER ? g_vertices.data() : g_elements.data();
    };
    glUnmapBuffer = [](GLenum) -> GLboolean { return GL_TRUE; };
}

void GiveReleasingFunctions() {
    glDetachShader = [](GLuint, GLuint) {};
    glDeleteShader = [](GLuint) {};
    glDeleteProgram = [](GLuint) {};
    glDeleteBuffers = [](GLsizei, const GLuint*) {};
}

// An allocator of the toolkit that knows how much of its memory is in use.
class Counted {
public:
    Counted() {
        allocator_.userdata.ptr = &live_;
        allocator_.alloc = [](nk_handle live, void*, nk_size size) -> void* {
            ++*static_cast<int*>(live.ptr);
            return std::malloc(size);
        };
        allocator_.free = [](nk_handle live, void* piece) {
            if (piece != nullptr) {
                --*static_cast<int*>(live.ptr);
            }
            std::free(piece);
        };
    }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    nk_allocator* Get() { return &allocator_; }
    int Live() const { return live_; }

private:
    nk_allocator allocator_{};
    int live_ = 0;
};

// A font of letters without a shape.
const nk_user_font kBlankFont = [] {
    nk_user_font font{};
    font.height = 10;
    font.width = [](nk_handle, float, const char*, int) { return 0.0F; };
    return font;
}();

class Backend : public testing::Test {
protected:
    static void SetUpTestSuite() { server_ = std::make_unique<XServer>(Screen{320, 240}); }
    static void TearDownTestSuite() { server_.reset(); }

    Backend() {
        x11 = {};
        x11.dpy = server_->Connection();
        window_ = XCreateSimpleWindow(x11.dpy, DefaultRootWindow(x11.dpy), 0, 0, 200, 100, 0, 0, 0);
        x11.win = window_;
    }

    ~Backend() override {
        XDestroyWindow(server_->Connection(), window_);
        XSync(server_->Connection(), True);
        x11 = {};
    }

    // A window with one shape of each kind whose figures the configuration decides.
    static void BuildShapes() {
        nk_input_begin(&x11.ctx);
        nk_input_end(&x11.ctx);
        if (nk_begin(&x11.ctx, "shapes", nk_rect(0, 0, 200, 100), NK_WINDOW_NO_SCROLLBAR) != 0) {
            nk_command_buffer* canvas = nk_window_get_canvas(&x11.ctx);
            const nk_color colour = nk_rgba(200, 100, 50, 150);
            nk_stroke_line(canvas, 10, 10, 60, 33, 3, colour);
            nk_fill_circle(canvas, nk_rect(20, 20, 30, 30), colour);
            nk_stroke_circle(canvas, nk_rect(60, 20, 30, 30), 2, colour);
            nk_fill_arc(canvas, 120, 40, 20, 0.5F, 2.5F, colour);
            nk_stroke_curve(canvas, 10, 60, 40, 90, 80, 50, 120, 80, 2, colour);
            nk_fill_triangle(canvas, 130, 60, 170, 60, 150, 90, colour);
        }
        nk_end(&x11.ctx);
    }

    static std::unique_ptr<XServer> server_;
    ::Window window_ = 0;
};

std::unique_ptr<XServer> Backend::server_;

// The figures that a frame is converted with.
nk_convert_config ExpectedConfiguration(nk_anti_aliasing smooth) {
    static const nk_draw_vertex_layout_element layout[] = {
        {NK_VERTEX_POSITION, NK_FORMAT_FLOAT, 0},
        {NK_VERTEX_TEXCOORD, NK_FORMAT_FLOAT, 8},
        {NK_VERTEX_COLOR, NK_FORMAT_R8G8B8A8, 16},
        {NK_VERTEX_LAYOUT_END},
    };
    nk_convert_config config{};
    config.vertex_layout = layout;
    config.vertex_size = 20;
    config.vertex_alignment = 4;
    nk_x11_set_null(config, x11.ogl.null, 0);
    config.circle_segment_count = 22;
    config.curve_segment_count = 22;
    config.arc_segment_count = 22;
    config.global_alpha = 1.0F;
    config.shape_AA = smooth;
    config.line_AA = smooth;
    return config;
}

class Conversion : public Backend, public testing::WithParamInterface<nk_anti_aliasing> {};

INSTANTIATE_TEST_SUITE_P(, Conversion, testing::Values(NK_ANTI_ALIASING_ON, NK_ANTI_ALIASING_OFF), [](const auto& one) {
    return std::string(one.param == NK_ANTI_ALIASING_ON ? "Smooth" : "Plain");
});

TEST_P(Conversion, GivesEveryShapeTwentyTwoSegmentsAndTheSmoothingAskedFor) {
    GiveDrawingFunctions();
    nk_init_default(&x11.ctx, &kBlankFont);
    nk_buffer_init_default(&x11.ogl.cmds);
    x11.ogl.null.texture.id = 7;
    x11.ogl.null.uv = nk_vec2(0.25F, 0.75F);
    BuildShapes();

    std::vector<unsigned char> vertices(kVertexBytes, 0xA5);
    std::vector<unsigned char> elements(kElementBytes, 0xA5);
    nk_buffer commands{};
    nk_buffer vertexBuffer{};
    nk_buffer elementBuffer{};
    nk_buffer_init_default(&commands);
    nk_buffer_init_fixed(&vertexBuffer, vertices.data(), vertices.size());
    nk_buffer_init_fixed(&elementBuffer, elements.data(), elements.size());
    const nk_convert_config config = ExpectedConfiguration(GetParam());
    ASSERT_EQ(nk_convert(&x11.ctx, &commands, &vertexBuffer, &elementBuffer, &config),
              static_cast<nk_flags>(NK_CONVERT_SUCCESS));
    ASSERT_GT(vertexBuffer.allocated, 20U * 100U);

    nk_x11_render(GetParam(), kVertexBytes, kElementBytes);
    EXPECT_TRUE(g_vertices == vertices);
    EXPECT_TRUE(g_elements == elements);
    nk_buffer_free(&commands);
    nk_buffer_free(&x11.ogl.cmds);
    nk_free(&x11.ctx);
}

TEST_F(Backend, ReleasesAllThatItHoldsAndEmptiesItsRecordAtItsEnd) {
    GiveReleasingFunctions();
    Counted context;
    Counted commands;
    Counted atlas;
    nk_init(&x11.ctx, context.Get(), &kBlankFont);
    nk_buffer_init(&x11.ogl.cmds, commands.Get(), 4096);
    nk_font_atlas_init(&x11.atlas, atlas.Get());
    nk_font_atlas_begin(&x11.atlas);
    nk_font_atlas_add_default(&x11.atlas, 13, nullptr);
    int width = 0;
    int height = 0;
    nk_font_atlas_bake(&x11.atlas, &width, &height, NK_FONT_ATLAS_RGBA32);
    nk_font_atlas_end(&x11.atlas, nk_handle_id(1), &x11.ogl.null);
    BuildShapes();
    ASSERT_TRUE(nk_x11_create_cursor());
    x11.gl.major_version = 3;
    x11.last_button_click = 1;
    ASSERT_GT(context.Live(), 0);
    ASSERT_GT(commands.Live(), 0);
    ASSERT_GT(atlas.Live(), 0);

    nk_x11_shutdown();
    EXPECT_EQ(context.Live(), 0);
    EXPECT_EQ(commands.Live(), 0);
    EXPECT_EQ(atlas.Live(), 0);
    const auto* bytes = reinterpret_cast<const unsigned char*>(&x11);
    EXPECT_TRUE(std::all_of(bytes, bytes + sizeof x11, [](unsigned char byte) { return byte == 0; }));
}

}  // namespace
}  // namespace gui
