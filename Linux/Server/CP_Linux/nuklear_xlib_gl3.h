// The toolkit's backend on Xlib and OpenGL: device, font texture, drawing and input. Included by XWindow_gl3 alone,
// behind the toolkit's header.
//
// There is one window, one context, one atlas and one GUI context in the process, all held in the record `x11`; the
// functions take no context argument and run on one thread. The GL context must be current from nk_x11_init to
// nk_x11_shutdown.
#pragma once

#include <GL/gl.h>
#include <GL/glx.h>
#include <X11/Xlib.h>
#include <X11/Xlocale.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <sys/time.h>

#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

// ---- GL entry points -----------------------------------------------------------------------------------------------
//
// libGL exports what GL 1.3 has; everything newer is fetched by name into a pointer of the function's own name. A list
// makes both the pointers and their loading, in its order. Some are loaded and never called.

#define NK_X11_GL_SHADERS(X)                             \
    X(PFNGLCREATESHADERPROC, glCreateShader)             \
    X(PFNGLSHADERSOURCEPROC, glShaderSource)             \
    X(PFNGLCOMPILESHADERPROC, glCompileShader)           \
    X(PFNGLGETSHADERIVPROC, glGetShaderiv)               \
    X(PFNGLGETSHADERINFOLOGPROC, glGetShaderInfoLog)     \
    X(PFNGLDELETESHADERPROC, glDeleteShader)             \
    X(PFNGLCREATEPROGRAMPROC, glCreateProgram)           \
    X(PFNGLATTACHSHADERPROC, glAttachShader)             \
    X(PFNGLDETACHSHADERPROC, glDetachShader)             \
    X(PFNGLLINKPROGRAMPROC, glLinkProgram)               \
    X(PFNGLUSEPROGRAMPROC, glUseProgram)                 \
    X(PFNGLGETPROGRAMIVPROC, glGetProgramiv)             \
    X(PFNGLGETPROGRAMINFOLOGPROC, glGetProgramInfoLog)   \
    X(PFNGLDELETEPROGRAMPROC, glDeleteProgram)           \
    X(PFNGLGETUNIFORMLOCATIONPROC, glGetUniformLocation) \
    X(PFNGLGETATTRIBLOCATIONPROC, glGetAttribLocation)   \
    X(PFNGLUNIFORM1IPROC, glUniform1i)                   \
    X(PFNGLUNIFORM1FPROC, glUniform1f)                   \
    X(PFNGLUNIFORMMATRIX3FVPROC, glUniformMatrix3fv)     \
    X(PFNGLUNIFORMMATRIX4FVPROC, glUniformMatrix4fv)

#define NK_X11_GL_BUFFERS(X)                   \
    X(PFNGLGENBUFFERSPROC, glGenBuffers)       \
    X(PFNGLBINDBUFFERPROC, glBindBuffer)       \
    X(PFNGLBUFFERDATAPROC, glBufferData)       \
    X(PFNGLBUFFERSUBDATAPROC, glBufferSubData) \
    X(PFNGLMAPBUFFERPROC, glMapBuffer)         \
    X(PFNGLUNMAPBUFFERPROC, glUnmapBuffer)     \
    X(PFNGLDELETEBUFFERSPROC, glDeleteBuffers)

#define NK_X11_GL_ATTRIBUTES(X)                                    \
    X(PFNGLVERTEXATTRIBPOINTERPROC, glVertexAttribPointer)         \
    X(PFNGLENABLEVERTEXATTRIBARRAYPROC, glEnableVertexAttribArray) \
    X(PFNGLDISABLEVERTEXATTRIBARRAYPROC, glDisableVertexAttribArray)

#define NK_X11_GL_ARRAYS(X)                        \
    X(PFNGLGENVERTEXARRAYSPROC, glGenVertexArrays) \
    X(PFNGLBINDVERTEXARRAYPROC, glBindVertexArray) \
    X(PFNGLDELETEVERTEXARRAYSPROC, glDeleteVertexArrays)

#define NK_X11_GL_FRAMEBUFFERS(X) X(PFNGLGENERATEMIPMAPPROC, glGenerateMipmap)

#define NK_X11_GL_DECLARE(type, name) static type name;
NK_X11_GL_SHADERS(NK_X11_GL_DECLARE)
NK_X11_GL_BUFFERS(NK_X11_GL_DECLARE)
NK_X11_GL_ATTRIBUTES(NK_X11_GL_DECLARE)
NK_X11_GL_ARRAYS(NK_X11_GL_DECLARE)
NK_X11_GL_FRAMEBUFFERS(NK_X11_GL_DECLARE)
#undef NK_X11_GL_DECLARE

// ---- Records -------------------------------------------------------------------------------------------------------

enum nk_x11_vendor { NK_X11_VENDOR_UNKNOWN = 0, NK_X11_VENDOR_NVIDIA = 1, NK_X11_VENDOR_INTEL = 3 };

// What the context offers. Only the extensions and the version decide anything.
struct opengl_info {
    const char* vendor_str;
    const char* version_str;
    const char* extensions_str;
    const char* renderer_str;
    const char* glsl_version_str;
    nk_x11_vendor vendor;
    float version;  // major + minor * 0.1
    GLint major_version;
    GLint minor_version;
    int glsl_available;
    int vertex_buffer_obj_available;
    int vertex_array_obj_available;
    int fragment_program_available;
    int frame_buffer_object_available;
};

struct nk_x11_device {
    nk_buffer cmds;             // of nk_convert; kept from frame to frame
    nk_draw_null_texture null;  // a white pixel of the atlas
    GLuint vbo, vao, ebo;
    GLuint prog, vert_shdr, frag_shdr;
    GLint attrib_pos, attrib_uv, attrib_col;
    GLint uniform_tex, uniform_proj;
    GLuint font_tex;
};

static struct nk_x11_state {
    opengl_info gl;
    nk_x11_device ogl;
    nk_context ctx;
    nk_font_atlas atlas;
    Cursor cursor;                   // the invisible one
    Display* dpy;                    // of the window; borrowed
    Window win;                      // borrowed
    std::int64_t last_button_click;  // time of the last left press, milliseconds since the epoch; 0 at start
} x11;

// One vertex as nk_convert writes it and GL reads it.
struct nk_x11_vertex {
    float position[2];
    float uv[2];
    nk_byte col[4];
};
static_assert(sizeof(nk_x11_vertex) == 20, "the stride that GL is given");

// ---- Small helpers -------------------------------------------------------------------------------------------------

// Whether `word` stands in the blank-separated list as a whole word. A null list has no words.
static bool nk_x11_has_word(const char* list, const char* word) {
    const std::size_t length = std::strlen(word);
    const char* hit = list != nullptr ? std::strstr(list, word) : nullptr;
    while (hit != nullptr) {
        const char* behind = hit + length;
        if ((hit == list || hit[-1] == ' ') && (*behind == ' ' || *behind == '\0')) {
            return true;
        }
        hit = std::strstr(behind, word);
    }
    return false;
}

// A notice of the backend, on the standard output at once: the process may not live to flush it later.
static void nk_x11_notice(const char* text) {
    std::fputs(text, stdout);
    std::fflush(stdout);
}

static const char* nk_x11_gl_string(GLenum name) {
    return reinterpret_cast<const char*>(glGetString(name));
}

// Later versions of the toolkit call the field of the white pixel tex_null.
template <typename Config>
auto nk_x11_set_null(Config& config, const nk_draw_null_texture& texture, int /*preferred*/)
    -> decltype(config.null, void()) {
    config.null = texture;
}
template <typename Config>
auto nk_x11_set_null(Config& config, const nk_draw_null_texture& texture, long /*otherwise*/)
    -> decltype(config.tex_null, void()) {
    config.tex_null = texture;
}

// ---- Loading GL ----------------------------------------------------------------------------------------------------

// The entry point of a GL function; null, after a notice, when the system has none of that name.
static __GLXextFuncPtr nk_gl_ext(const char* name) {
    const __GLXextFuncPtr function = glXGetProcAddress(reinterpret_cast<const GLubyte*>(name));
    if (function == nullptr) {
        std::printf("[GL]: failed to load extension: %s", name);
        std::fflush(stdout);
    }
    return function;
}

#define NK_X11_GL_LOAD(type, name) name = reinterpret_cast<type>(nk_gl_ext(#name));
static void nk_x11_load_shaders() {
    NK_X11_GL_SHADERS(NK_X11_GL_LOAD)
}
static void nk_x11_load_buffers() {
    NK_X11_GL_BUFFERS(NK_X11_GL_LOAD)
}
static void nk_x11_load_attributes() {
    NK_X11_GL_ATTRIBUTES(NK_X11_GL_LOAD)
}
static void nk_x11_load_arrays() {
    NK_X11_GL_ARRAYS(NK_X11_GL_LOAD)
}
static void nk_x11_load_framebuffers() {
    NK_X11_GL_FRAMEBUFFERS(NK_X11_GL_LOAD)
}
#undef NK_X11_GL_LOAD

// The extensions that are required, in the order in which they are tested and reported.
struct nk_x11_extension {
    const char* name;
    int opengl_info::*available;
    void (*load)();
    const char* missing;
};
static constexpr nk_x11_extension nk_x11_extensions[] = {
    {"GL_ARB_vertex_buffer_object", &opengl_info::vertex_buffer_obj_available, nk_x11_load_buffers,
     "[GL] Error: GL_ARB_vertex_buffer_object is not available!\n"},
    {"GL_ARB_fragment_program", &opengl_info::fragment_program_available, nk_x11_load_attributes,
     "[GL] Error: GL_ARB_fragment_program is not available!\n"},
    {"GL_ARB_vertex_array_object", &opengl_info::vertex_array_obj_available, nk_x11_load_arrays,
     "[GL] Error: GL_ARB_vertex_array_object is not available!\n"},
    {"GL_ARB_framebuffer_object", &opengl_info::frame_buffer_object_available, nk_x11_load_framebuffers,
     "[GL] Error: GL_ARB_framebuffer_object is not available!\n"},
};

static nk_x11_vendor nk_x11_find_vendor(const char* text) {
    if (text != nullptr && std::strncmp(text, "NVIDIA", 6) == 0) {
        return NK_X11_VENDOR_NVIDIA;
    }
    if (text != nullptr && std::strncmp(text, "Intel", 5) == 0) {
        return NK_X11_VENDOR_INTEL;
    }
    return NK_X11_VENDOR_UNKNOWN;
}

// Fills `gl` and the entry points. Returns 1 when the version and all extensions are there, else 0 after a message for
// each thing that is missing. A missing entry point does not count.
static int nk_load_opengl(opengl_info* gl) {
    gl->version_str = nk_x11_gl_string(GL_VERSION);
    glGetIntegerv(GL_MAJOR_VERSION, &gl->major_version);
    glGetIntegerv(GL_MINOR_VERSION, &gl->minor_version);
    if (gl->major_version < 2) {
        // Spelled so on purpose.
        std::fputs("[GL]: Graphics card does not fullfill minimum OpenGL 2.0 support\n", stderr);
        return 0;
    }
    gl->version = static_cast<float>(gl->major_version) + static_cast<float>(gl->minor_version) * 0.1F;
    gl->renderer_str = nk_x11_gl_string(GL_RENDERER);
    gl->extensions_str = nk_x11_gl_string(GL_EXTENSIONS);
    gl->glsl_version_str = nk_x11_gl_string(GL_SHADING_LANGUAGE_VERSION);
    gl->vendor_str = nk_x11_gl_string(GL_VENDOR);
    gl->vendor = nk_x11_find_vendor(gl->vendor_str);
    if (gl->version >= 2.0F) {
        gl->glsl_available = 1;
        nk_x11_load_shaders();
    }
    for (const nk_x11_extension& extension : nk_x11_extensions) {
        gl->*extension.available = nk_x11_has_word(gl->extensions_str, extension.name) ? 1 : 0;
        if (gl->*extension.available != 0) {
            extension.load();
        }
    }
    int complete = 1;
    for (const nk_x11_extension& extension : nk_x11_extensions) {
        if (gl->*extension.available == 0) {
            nk_x11_notice(extension.missing);
            complete = 0;
        }
    }
    return complete;
}

// ---- Device --------------------------------------------------------------------------------------------------------

// The version line is that of OpenGL ES although the context is a desktop one; the same on every system.
static const GLchar* const nk_x11_vertex_shader =
    "#version 300 es\n"
    "uniform mat4 ProjMtx;\n"
    "in vec2 Position;\n"
    "in vec2 TexCoord;\n"
    "in vec4 Color;\n"
    "out vec2 Frag_UV;\n"
    "out vec4 Frag_Color;\n"
    "void main() {\n"
    "   Frag_UV = TexCoord;\n"
    "   Frag_Color = Color;\n"
    "   gl_Position = ProjMtx * vec4(Position.xy, 0, 1);\n"
    "}\n";
static const GLchar* const nk_x11_fragment_shader =
    "#version 300 es\n"
    "precision mediump float;\n"
    "uniform sampler2D Texture;\n"
    "in vec2 Frag_UV;\n"
    "in vec4 Frag_Color;\n"
    "out vec4 Out_Color;\n"
    "void main(){\n"
    "   Out_Color = Frag_Color * texture(Texture, Frag_UV.st);\n"
    "}\n";

// Compiles and links. The results are read and dropped: a shader that fails is reported nowhere.
static void nk_x11_create_program(nk_x11_device* dev) {
    GLint status = 0;
    dev->prog = glCreateProgram();
    dev->vert_shdr = glCreateShader(GL_VERTEX_SHADER);
    dev->frag_shdr = glCreateShader(GL_FRAGMENT_SHADER);
    glShaderSource(dev->vert_shdr, 1, &nk_x11_vertex_shader, nullptr);
    glShaderSource(dev->frag_shdr, 1, &nk_x11_fragment_shader, nullptr);
    glCompileShader(dev->vert_shdr);
    glCompileShader(dev->frag_shdr);
    glGetShaderiv(dev->vert_shdr, GL_COMPILE_STATUS, &status);
    glGetShaderiv(dev->frag_shdr, GL_COMPILE_STATUS, &status);
    glAttachShader(dev->prog, dev->vert_shdr);
    glAttachShader(dev->prog, dev->frag_shdr);
    glLinkProgram(dev->prog);
    glGetProgramiv(dev->prog, GL_LINK_STATUS, &status);
    dev->uniform_tex = glGetUniformLocation(dev->prog, "Texture");
    dev->uniform_proj = glGetUniformLocation(dev->prog, "ProjMtx");
    dev->attrib_pos = glGetAttribLocation(dev->prog, "Position");
    dev->attrib_uv = glGetAttribLocation(dev->prog, "TexCoord");
    dev->attrib_col = glGetAttribLocation(dev->prog, "Color");
}

static const void* nk_x11_offset(std::size_t bytes) {
    return reinterpret_cast<const void*>(bytes);
}

static void nk_x11_create_buffers(nk_x11_device* dev) {
    constexpr GLsizei stride = sizeof(nk_x11_vertex);
    const auto pos = static_cast<GLuint>(dev->attrib_pos);
    const auto uv = static_cast<GLuint>(dev->attrib_uv);
    const auto col = static_cast<GLuint>(dev->attrib_col);
    glGenBuffers(1, &dev->vbo);
    glGenBuffers(1, &dev->ebo);
    glGenVertexArrays(1, &dev->vao);
    glBindVertexArray(dev->vao);
    glBindBuffer(GL_ARRAY_BUFFER, dev->vbo);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, dev->ebo);
    glEnableVertexAttribArray(pos);
    glEnableVertexAttribArray(uv);
    glEnableVertexAttribArray(col);
    glVertexAttribPointer(pos, 2, GL_FLOAT, GL_FALSE, stride, nk_x11_offset(offsetof(nk_x11_vertex, position)));
    glVertexAttribPointer(uv, 2, GL_FLOAT, GL_FALSE, stride, nk_x11_offset(offsetof(nk_x11_vertex, uv)));
    glVertexAttribPointer(col, 4, GL_UNSIGNED_BYTE, GL_TRUE, stride, nk_x11_offset(offsetof(nk_x11_vertex, col)));
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glBindVertexArray(0);
}

// Loads GL and builds the device in x11.ogl. Returns 1, or 0 when loading failed; no GL object exists then.
static int nk_x11_device_create() {
    if (nk_load_opengl(&x11.gl) == 0) {
        return 0;
    }
    nk_buffer_init_default(&x11.ogl.cmds);  // 4096 bytes at first, doubling, from malloc
    nk_x11_create_program(&x11.ogl);
    nk_x11_create_buffers(&x11.ogl);
    return 1;
}

// Releases the device. The vertex array goes with the context.
static void nk_x11_device_destroy() {
    nk_x11_device* dev = &x11.ogl;
    glDetachShader(dev->prog, dev->vert_shdr);
    glDetachShader(dev->prog, dev->frag_shdr);
    glDeleteShader(dev->vert_shdr);
    glDeleteShader(dev->frag_shdr);
    glDeleteProgram(dev->prog);
    glDeleteTextures(1, &dev->font_tex);
    glDeleteBuffers(1, &dev->vbo);
    glDeleteBuffers(1, &dev->ebo);
    nk_buffer_free(&dev->cmds);
}

// ---- Font ----------------------------------------------------------------------------------------------------------

// Readies the one atlas and stores its address; fonts are added to it until nk_x11_font_stash_end.
static void nk_x11_font_stash_begin(nk_font_atlas** atlas) {
    nk_font_atlas_init_default(&x11.atlas);
    nk_font_atlas_begin(&x11.atlas);
    *atlas = &x11.atlas;
}

static void nk_x11_upload_atlas(const void* pixels, int width, int height) {
    glGenTextures(1, &x11.ogl.font_tex);
    glBindTexture(GL_TEXTURE_2D, x11.ogl.font_tex);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
}

// Bakes the atlas, puts it into the one texture and frees its pixels. Without a font in the atlas the toolkit adds its
// built-in one. To be called once.
static void nk_x11_font_stash_end() {
    int width = 0;
    int height = 0;
    const void* pixels = nk_font_atlas_bake(&x11.atlas, &width, &height, NK_FONT_ATLAS_RGBA32);
    nk_x11_upload_atlas(pixels, width, height);
    nk_font_atlas_end(&x11.atlas, nk_handle_id(static_cast<int>(x11.ogl.font_tex)), &x11.ogl.null);
    nk_font_atlas_cleanup(&x11.atlas);  // the font file's bytes: nothing is baked any more
    if (x11.atlas.default_font != nullptr) {
        nk_style_set_font(&x11.ctx, &x11.atlas.default_font->handle);
    }
}

// ---- Start and end -------------------------------------------------------------------------------------------------

// An invisible cursor: a bitmap of one clear pixel as source and as mask. False when there is no bitmap.
static bool nk_x11_create_cursor() {
    static const char no_pixel[] = {0};
    static XColor color;
    const Pixmap blank = XCreateBitmapFromData(x11.dpy, x11.win, no_pixel, 1, 1);
    if (blank == None) {
        return false;
    }
    x11.cursor = XCreatePixmapCursor(x11.dpy, blank, blank, &color, &color, 0, 0);
    XFreePixmap(x11.dpy, blank);
    return true;
}

// Starts the backend on the window, whose GL context is current; both stay the caller's. Returns the GUI context, or
// null as soon as a step fails. No input method is opened: text comes from XLookupString.
static nk_context* nk_x11_init(Display* dpy, Window win) {
    if (std::setlocale(LC_ALL, "") == nullptr || XSupportsLocale() == 0 || XSetLocaleModifiers("@im=none") == nullptr ||
        nk_x11_device_create() == 0) {
        return nullptr;
    }
    x11.dpy = dpy;
    x11.win = win;
    if (!nk_x11_create_cursor()) {
        // As after every other failure: with a connection, frames without a form would be drawn for ever.
        x11.dpy = nullptr;
        x11.win = None;
        return nullptr;
    }
    nk_init_default(&x11.ctx, nullptr);
    return &x11.ctx;
}

// Ends the backend while the GL context is still current.
static void nk_x11_shutdown() {
    nk_font_atlas_clear(&x11.atlas);
    nk_free(&x11.ctx);
    nk_x11_device_destroy();
    XFreeCursor(x11.dpy, x11.cursor);
    std::memset(static_cast<void*>(&x11), 0, sizeof x11);
}

// ---- Drawing -------------------------------------------------------------------------------------------------------

// Maps window pixels, origin at the top left, to GL's clip space. Column-major.
static void nk_x11_set_state(int width, int height) {
    const GLfloat projection[4][4] = {
        {2.0F / static_cast<GLfloat>(width), 0.0F, 0.0F, 0.0F},
        {0.0F, -2.0F / static_cast<GLfloat>(height), 0.0F, 0.0F},
        {0.0F, 0.0F, -1.0F, 0.0F},
        {-1.0F, 1.0F, 0.0F, 1.0F},
    };
    glEnable(GL_BLEND);
    glBlendEquation(GL_FUNC_ADD);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glDisable(GL_CULL_FACE);
    glDisable(GL_DEPTH_TEST);
    glEnable(GL_SCISSOR_TEST);
    glActiveTexture(GL_TEXTURE0);
    glUseProgram(x11.ogl.prog);
    glUniform1i(x11.ogl.uniform_tex, 0);
    glUniformMatrix4fv(x11.ogl.uniform_proj, 1, GL_FALSE, &projection[0][0]);
    glViewport(0, 0, width, height);
}

// What nk_convert fills. The GUI context keeps the addresses of both, so they live as long as the frame is drawn.
struct nk_x11_frame {
    nk_buffer vertices;
    nk_buffer elements;
};

static nk_convert_config nk_x11_convert_config(nk_anti_aliasing aa) {
    constexpr unsigned int segments = 22;  // of circles, arcs and curves
    static const nk_draw_vertex_layout_element layout[] = {
        {NK_VERTEX_POSITION, NK_FORMAT_FLOAT, offsetof(nk_x11_vertex, position)},
        {NK_VERTEX_TEXCOORD, NK_FORMAT_FLOAT, offsetof(nk_x11_vertex, uv)},
        {NK_VERTEX_COLOR, NK_FORMAT_R8G8B8A8, offsetof(nk_x11_vertex, col)},
        {NK_VERTEX_LAYOUT_END},
    };
    nk_convert_config config = {};
    config.vertex_layout = layout;
    config.vertex_size = sizeof(nk_x11_vertex);
    config.vertex_alignment = alignof(nk_x11_vertex);
    nk_x11_set_null(config, x11.ogl.null, 0);
    config.circle_segment_count = segments;
    config.curve_segment_count = segments;
    config.arc_segment_count = segments;
    config.global_alpha = 1.0F;
    config.shape_AA = aa;
    config.line_AA = aa;
    return config;
}

// Gives both GL buffers fresh storage and turns the GUI's commands into vertices and elements there. What does not fit
// is cut by the toolkit. An area that cannot be mapped leaves its record untouched, that is empty.
static void nk_x11_convert(nk_x11_frame* frame, nk_anti_aliasing aa, int vertex_bytes, int element_bytes) {
    glBufferData(GL_ARRAY_BUFFER, vertex_bytes, nullptr, GL_STREAM_DRAW);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, element_bytes, nullptr, GL_STREAM_DRAW);
    void* vertices = glMapBuffer(GL_ARRAY_BUFFER, GL_WRITE_ONLY);
    void* elements = glMapBuffer(GL_ELEMENT_ARRAY_BUFFER, GL_WRITE_ONLY);
    const nk_convert_config config = nk_x11_convert_config(aa);
    nk_buffer_init_fixed(&frame->vertices, vertices, static_cast<nk_size>(vertex_bytes));
    nk_buffer_init_fixed(&frame->elements, elements, static_cast<nk_size>(element_bytes));
    nk_convert(&x11.ctx, &x11.ogl.cmds, &frame->vertices, &frame->elements, &config);
    glUnmapBuffer(GL_ARRAY_BUFFER);
    glUnmapBuffer(GL_ELEMENT_ARRAY_BUFFER);
}

// One draw call for each command that has elements. Clip rectangles count from the top, GL's from the bottom.
static void nk_x11_draw_commands(int height) {
    const nk_draw_command* cmd = nullptr;
    std::size_t offset = 0;
    nk_draw_foreach(cmd, &x11.ctx, &x11.ogl.cmds) {
        if (cmd->elem_count == 0) {
            continue;
        }
        const struct nk_rect& clip = cmd->clip_rect;
        glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(cmd->texture.id));
        glScissor(static_cast<GLint>(clip.x), height - static_cast<GLint>(clip.y + clip.h), static_cast<GLint>(clip.w),
                  static_cast<GLint>(clip.h));
        glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(cmd->elem_count), GL_UNSIGNED_SHORT, nk_x11_offset(offset));
        offset += cmd->elem_count * sizeof(nk_draw_index);
    }
}

static void nk_x11_restore_state() {
    glUseProgram(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glBindVertexArray(0);
    glDisable(GL_BLEND);
    glDisable(GL_SCISSOR_TEST);
}

// Makes room for the next frame. The toolkit leaves the draw commands to us: uncleared they would pile up.
static void nk_x11_end_frame() {
    nk_clear(&x11.ctx);
    nk_buffer_clear(&x11.ogl.cmds);
}

// Draws one frame of the GUI over the whole window and clears the GUI's commands. The sizes are bytes; a frame that
// needs more is cut without a report.
static void nk_x11_render(nk_anti_aliasing AA, int max_vertex_buffer, int max_element_buffer) {
    nk_x11_frame frame = {};
    XWindowAttributes attributes;
    XGetWindowAttributes(x11.dpy, x11.win, &attributes);
    nk_x11_set_state(attributes.width, attributes.height);
    glBindVertexArray(x11.ogl.vao);
    glBindBuffer(GL_ARRAY_BUFFER, x11.ogl.vbo);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, x11.ogl.ebo);
    nk_x11_convert(&frame, AA, max_vertex_buffer, max_element_buffer);
    nk_x11_draw_commands(attributes.height);
    nk_x11_end_frame();
    nk_x11_restore_state();
}

// ---- Input ---------------------------------------------------------------------------------------------------------

// A double click is a left press strictly between these distances from the previous one, in milliseconds.
static constexpr std::int64_t NK_X11_DOUBLE_CLICK_LO = 20;
static constexpr std::int64_t NK_X11_DOUBLE_CLICK_HI = 200;

// Milliseconds since the epoch; 0 when the clock fails.
static std::int64_t nk_x11_timestamp() {
    timeval now;
    if (gettimeofday(&now, nullptr) < 0) {
        return 0;
    }
    return static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_usec / 1000;
}

static void nk_x11_warp_pointer(const struct nk_vec2& position) {
    XWarpPointer(x11.dpy, None, x11.win, 0, 0, 0, 0, static_cast<int>(position.x), static_cast<int>(position.y));
}

// Hides or shows the pointer as the GUI asked while it was built.
static void nk_x11_update_pointer() {
    auto& mouse = x11.ctx.input.mouse;
    if (mouse.grab != 0) {
        XDefineCursor(x11.dpy, x11.win, x11.cursor);
        mouse.grab = 0;
    } else if (mouse.ungrab != 0) {
        nk_x11_warp_pointer(mouse.pos);
        XUndefineCursor(x11.dpy, x11.win);
        mouse.ungrab = 0;
    }
}

enum nk_x11_key_condition { NK_X11_ALWAYS, NK_X11_CONTROL, NK_X11_NO_CONTROL, NK_X11_RELEASE };
enum nk_x11_key_action { NK_X11_KEYS, NK_X11_KEYS_AND_TEXT, NK_X11_BLANK };

struct nk_x11_key_row {
    KeySym symbol;
    nk_x11_key_condition condition;
    nk_x11_key_action action;
    nk_keys first;
    nk_keys second;  // NK_KEY_NONE: one key only
};

// Tried from top to bottom, the first match wins; a key without a row is text. A blank is typed on the release, and
// once more on the press as text: a stroke of the space bar yields two.
static constexpr nk_x11_key_row nk_x11_keys[] = {
    {XK_Shift_L, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_SHIFT, NK_KEY_NONE},
    {XK_Shift_R, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_SHIFT, NK_KEY_NONE},
    {XK_Delete, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_DEL, NK_KEY_NONE},
    {XK_Return, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_ENTER, NK_KEY_NONE},
    {XK_Tab, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_TAB, NK_KEY_NONE},
    {XK_Left, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_LEFT, NK_KEY_NONE},
    {XK_Right, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_RIGHT, NK_KEY_NONE},
    {XK_Up, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_UP, NK_KEY_NONE},
    {XK_Down, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_DOWN, NK_KEY_NONE},
    {XK_BackSpace, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_BACKSPACE, NK_KEY_NONE},
    {XK_space, NK_X11_RELEASE, NK_X11_BLANK, NK_KEY_NONE, NK_KEY_NONE},
    {XK_Page_Up, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_SCROLL_UP, NK_KEY_NONE},
    {XK_Page_Down, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_SCROLL_DOWN, NK_KEY_NONE},
    {XK_Home, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_TEXT_START, NK_KEY_SCROLL_START},
    {XK_End, NK_X11_ALWAYS, NK_X11_KEYS, NK_KEY_TEXT_END, NK_KEY_SCROLL_END},
    {XK_c, NK_X11_CONTROL, NK_X11_KEYS, NK_KEY_COPY, NK_KEY_NONE},
    {XK_v, NK_X11_CONTROL, NK_X11_KEYS, NK_KEY_PASTE, NK_KEY_NONE},
    {XK_x, NK_X11_CONTROL, NK_X11_KEYS, NK_KEY_CUT, NK_KEY_NONE},
    {XK_z, NK_X11_CONTROL, NK_X11_KEYS, NK_KEY_TEXT_UNDO, NK_KEY_NONE},
    {XK_r, NK_X11_CONTROL, NK_X11_KEYS, NK_KEY_TEXT_REDO, NK_KEY_NONE},
    {XK_b, NK_X11_CONTROL, NK_X11_KEYS, NK_KEY_TEXT_LINE_START, NK_KEY_NONE},
    {XK_e, NK_X11_CONTROL, NK_X11_KEYS, NK_KEY_TEXT_LINE_END, NK_KEY_NONE},
    {XK_i, NK_X11_ALWAYS, NK_X11_KEYS_AND_TEXT, NK_KEY_TEXT_INSERT_MODE, NK_KEY_NONE},
    {XK_r, NK_X11_NO_CONTROL, NK_X11_KEYS_AND_TEXT, NK_KEY_TEXT_REPLACE_MODE, NK_KEY_NONE},
};

static bool nk_x11_key_matches(const nk_x11_key_row& row, KeySym symbol, bool control, bool down) {
    if (row.symbol != symbol) {
        return false;
    }
    switch (row.condition) {
        case NK_X11_CONTROL:
            return control;
        case NK_X11_NO_CONTROL:
            return !control;
        case NK_X11_RELEASE:
            return !down;
        default:
            return true;
    }
}

static const nk_x11_key_row* nk_x11_find_key(KeySym symbol, bool control, bool down) {
    for (const nk_x11_key_row& row : nk_x11_keys) {
        if (nk_x11_key_matches(row, symbol, control, down)) {
            return &row;
        }
    }
    return nullptr;
}

// Hands on what a press types. The first glyph is decoded as UTF-8 whatever the locale's encoding is.
static void nk_x11_input_text(XKeyEvent* event) {
    char text[32] = {};  // zeroed: the decoder looks at up to four bytes, more than may have been stored
    KeySym symbol = NoSymbol;
    if (XLookupString(event, text, sizeof text, &symbol, nullptr) != 0) {
        nk_input_glyph(&x11.ctx, text);
    }
}

static int nk_x11_handle_key(XKeyEvent* event, bool down) {
    int count = 0;
    KeySym* symbols = XGetKeyboardMapping(x11.dpy, static_cast<KeyCode>(event->keycode), 1, &count);
    // The first symbol is the key's unshifted one.
    const nk_x11_key_row* row = nk_x11_find_key(symbols[0], (event->state & ControlMask) != 0, down);
    if (row != nullptr && row->action == NK_X11_BLANK) {
        nk_input_char(&x11.ctx, ' ');
    } else if (row != nullptr) {
        nk_input_key(&x11.ctx, row->first, down ? 1 : 0);
        if (row->second != NK_KEY_NONE) {
            nk_input_key(&x11.ctx, row->second, down ? 1 : 0);
        }
    }
    if (down && (row == nullptr || row->action == NK_X11_KEYS_AND_TEXT)) {
        nk_x11_input_text(event);
    }
    XFree(symbols);
    return 1;
}

// The double click changes ahead of the left button, on the press and on the release. The time is the system clock's,
// not the event's, and is read anew for the stamp.
static void nk_x11_handle_left_button(int x, int y, bool down) {
    if (down) {
        const std::int64_t since = nk_x11_timestamp() - x11.last_button_click;
        if (since > NK_X11_DOUBLE_CLICK_LO && since < NK_X11_DOUBLE_CLICK_HI) {
            nk_input_button(&x11.ctx, NK_BUTTON_DOUBLE, x, y, 1);
        }
        x11.last_button_click = nk_x11_timestamp();
    } else {
        nk_input_button(&x11.ctx, NK_BUTTON_DOUBLE, x, y, 0);
    }
    nk_input_button(&x11.ctx, NK_BUTTON_LEFT, x, y, down ? 1 : 0);
}

// The wheel counts on the press and on the release alike: one notch scrolls by two.
static int nk_x11_handle_button(const XButtonEvent* event, bool down) {
    switch (event->button) {
        case Button1:
            nk_x11_handle_left_button(event->x, event->y, down);
            return 1;
        case Button2:
            nk_input_button(&x11.ctx, NK_BUTTON_MIDDLE, event->x, event->y, down ? 1 : 0);
            return 1;
        case Button3:
            nk_input_button(&x11.ctx, NK_BUTTON_RIGHT, event->x, event->y, down ? 1 : 0);
            return 1;
        case Button4:
            nk_input_scroll(&x11.ctx, nk_vec2(0.0F, 1.0F));
            return 1;
        case Button5:
            nk_input_scroll(&x11.ctx, nk_vec2(0.0F, -1.0F));
            return 1;
        default:
            return 0;
    }
}

// A grabbed pointer stays pinned while its motion still shows as the delta.
static int nk_x11_handle_motion(const XMotionEvent* event) {
    nk_input_motion(&x11.ctx, event->x, event->y);
    auto& mouse = x11.ctx.input.mouse;
    if (mouse.grabbed != 0) {
        mouse.pos = mouse.prev;
        nk_x11_warp_pointer(mouse.pos);
    }
    return 1;
}

// Turns one X event into input of the GUI, between nk_input_begin and nk_input_end. Returns 1 when the event was used,
// else 0.
static int nk_x11_handle_event(XEvent* evt) {
    nk_x11_update_pointer();
    switch (evt->type) {
        case KeyPress:
        case KeyRelease:
            return nk_x11_handle_key(&evt->xkey, evt->type == KeyPress);
        case ButtonPress:
        case ButtonRelease:
            return nk_x11_handle_button(&evt->xbutton, evt->type == ButtonPress);
        case MotionNotify:
            return nk_x11_handle_motion(&evt->xmotion);
        case KeymapNotify:
            XRefreshKeyboardMapping(&evt->xmapping);
            return 1;
        default:
            return 0;
    }
}
