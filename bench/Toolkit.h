// The GUI toolkit without a window: the program's own backend record `x11` with its context, a baked font and GL calls
// that do nothing but hand out memory. For one source of a program only, since the backend's header is.
#pragma once

#include <nuklear.h>
#include <sys/stat.h>

#include <cstring>
#include <string>

#include "nuklear_xlib_gl3.h"

namespace toolkit {

constexpr char kFont[] = "/usr/share/fonts/truetype/roboto/unhinted/RobotoTTF/Roboto-Regular.ttf";
constexpr float kFontHeight = 18.0F;       // pixels
constexpr int kVertexBytes = 512 * 1024;   // of one frame, as in the program
constexpr int kElementBytes = 128 * 1024;  // of one frame, as in the program

inline void* Vertices() {
    alignas(16) static unsigned char bytes[kVertexBytes];
    return bytes;
}

inline void* Elements() {
    alignas(16) static unsigned char bytes[kElementBytes];
    return bytes;
}

// What GL is for the backend's conversion.
inline void ConnectGl() {
    glBufferData = [](GLenum, GLsizeiptr, const void*, GLenum) {};
    glMapBuffer = [](GLenum target, GLenum) { return target == GL_ARRAY_BUFFER ? Vertices() : Elements(); };
    glUnmapBuffer = [](GLenum) -> GLboolean { return GL_TRUE; };
}

// The context while the object lives; one at a time.
class Context {
public:
    Context() {
        ConnectGl();
        nk_buffer_init_default(&x11.ogl.cmds);
        nk_init_default(&x11.ctx, nullptr);
        nk_font_atlas* atlas = nullptr;
        nk_x11_font_stash_begin(&atlas);
        // The toolkit ends the process over a missing file; its built-in font stands in.
        struct stat status {};
        const nk_font* font = stat(kFont, &status) == 0
                                  ? nk_font_atlas_add_from_file(atlas, kFont, kFontHeight, nullptr)
                                  : nk_font_atlas_add_default(atlas, kFontHeight, nullptr);
        int width = 0;
        int height = 0;
        nk_font_atlas_bake(atlas, &width, &height, NK_FONT_ATLAS_RGBA32);
        nk_font_atlas_end(atlas, nk_handle_id(1), &x11.ogl.null);
        nk_style_set_font(&x11.ctx, &font->handle);
    }
    ~Context() {
        nk_font_atlas_clear(&x11.atlas);
        nk_free(&x11.ctx);
        nk_buffer_free(&x11.ogl.cmds);
        std::memset(static_cast<void*>(&x11), 0, sizeof x11);
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    nk_context* Get() { return &x11.ctx; }
};

// One frame as the program's loop makes it, up to the draw calls. `input` feeds events between the begin and the end of
// the frame's input, `build` describes the form.
template <typename Input, typename Build>
void Frame(Input input, Build build) {
    nk_input_begin(&x11.ctx);
    input();
    nk_input_end(&x11.ctx);
    build();
    nk_x11_frame frame = {};
    nk_x11_convert(&frame, NK_ANTI_ALIASING_ON, kVertexBytes, kElementBytes);
    nk_x11_end_frame();
}

// The middle of a text as the last described frame shows it; false when it does not. Of equal texts the last one
// counts, which is the one on top. To be called between a frame's description and its conversion.
inline bool FindText(const char* text, struct nk_vec2* middle) {
    bool found = false;
    const struct nk_command* command = nullptr;
    nk_foreach(command, &x11.ctx) {
        if (command->type != NK_COMMAND_TEXT) {
            continue;
        }
        const auto* shown = reinterpret_cast<const struct nk_command_text*>(command);
        if (std::string(shown->string, static_cast<std::size_t>(shown->length)) == text) {
            *middle = nk_vec2(static_cast<float>(shown->x) + static_cast<float>(shown->w) * 0.5F,
                              static_cast<float>(shown->y) + static_cast<float>(shown->h) * 0.5F);
            found = true;
        }
    }
    return found;
}

}  // namespace toolkit
