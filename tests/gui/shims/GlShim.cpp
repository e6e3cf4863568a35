// GL functions that the program is linked to: versions, extension words, the texture, and the calls of a frame.

#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <string>

#include "Shim.h"

namespace {

// The one texture of the program: the letters.
GLuint g_texture = 0;

const char* TextureName(GLuint texture) {
    if (texture == 0) {
        return "none";
    }
    return texture == g_texture ? "own" : "unknown";
}

std::string WithoutWord(std::string words, const char* word) {
    const std::string hidden = word;
    std::size_t at = 0;
    while (!hidden.empty() && (at = words.find(hidden, at)) != std::string::npos) {
        const bool starts = at == 0 || words[at - 1] == ' ';
        const std::size_t behind = at + hidden.size();
        const bool ends = behind == words.size() || words[behind] == ' ';
        if (starts && ends) {
            words.erase(at, hidden.size() + (behind == words.size() ? 0 : 1));
        } else {
            at = behind;
        }
    }
    return words;
}

}  // namespace

extern "C" {

void glGetIntegerv(GLenum name, GLint* value) {
    SHIM_NEXT(glGetIntegerv);
    gui::ShimControl& control = shim::Control();
    const bool version = name == GL_MAJOR_VERSION || name == GL_MINOR_VERSION;
    if (version && control.glVersionUnanswered != 0) {
        return;
    }
    next(name, value);
    if (version && control.glVersionSet != 0) {
        *value = name == GL_MAJOR_VERSION ? control.glMajor : control.glMinor;
    }
}

const GLubyte* glGetString(GLenum name) {
    SHIM_NEXT(glGetString);
    const GLubyte* answer = next(name);
    gui::ShimControl& control = shim::Control();
    if (name != GL_EXTENSIONS || answer == nullptr) {
        return answer;
    }
    static std::string words;
    words = reinterpret_cast<const char*>(answer);
    for (const char* hidden : control.hiddenExtensions) {
        words = WithoutWord(words, hidden);
    }
    if (control.addedExtension[0] != '\0') {
        words = std::string(control.addedExtension) + " " + words;
    }
    return reinterpret_cast<const GLubyte*>(words.c_str());
}

void glEnable(GLenum what) {
    SHIM_NEXT(glEnable);
    SHIM_TRACE_FRAME("glEnable 0x%X", what);
    next(what);
}

void glDisable(GLenum what) {
    SHIM_NEXT(glDisable);
    SHIM_TRACE_FRAME("glDisable 0x%X", what);
    next(what);
}

void glBlendEquation(GLenum mode) {
    SHIM_NEXT(glBlendEquation);
    SHIM_TRACE_FRAME("glBlendEquation 0x%X", mode);
    next(mode);
}

void glBlendFunc(GLenum source, GLenum destination) {
    SHIM_NEXT(glBlendFunc);
    SHIM_TRACE_FRAME("glBlendFunc 0x%X 0x%X", source, destination);
    next(source, destination);
}

void glActiveTexture(GLenum unit) {
    SHIM_NEXT(glActiveTexture);
    SHIM_TRACE_FRAME("glActiveTexture 0x%X", unit);
    next(unit);
}

void glGenTextures(GLsizei count, GLuint* names) {
    SHIM_NEXT(glGenTextures);
    next(count, names);
    if (shim::InProgram(__builtin_return_address(0))) {
        g_texture = names[0];
        shim::Trace("glGenTextures count=%d", count);
    }
}

void glBindTexture(GLenum target, GLuint texture) {
    SHIM_NEXT(glBindTexture);
    SHIM_TRACE_FRAME("glBindTexture target=0x%X %s", target, TextureName(texture));
    next(target, texture);
}

void glTexParameteri(GLenum target, GLenum name, GLint value) {
    SHIM_NEXT(glTexParameteri);
    SHIM_TRACE("glTexParameteri target=0x%X 0x%X=0x%X", target, name, value);
    next(target, name, value);
}

void glViewport(GLint x, GLint y, GLsizei width, GLsizei height) {
    SHIM_NEXT(glViewport);
    SHIM_TRACE_FRAME("glViewport %d,%d %dx%d", x, y, width, height);
    next(x, y, width, height);
}

void glClear(GLbitfield mask) {
    SHIM_NEXT(glClear);
    SHIM_TRACE_FRAME("glClear 0x%X", mask);
    if (shim::Control().skipDrawing == 0) {
        next(mask);
    }
}

void glClearColor(GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha) {
    SHIM_NEXT(glClearColor);
    SHIM_TRACE_FRAME("glClearColor %.2f %.2f %.2f %.2f", static_cast<double>(red), static_cast<double>(green),
                     static_cast<double>(blue), static_cast<double>(alpha));
    next(red, green, blue, alpha);
}

void glScissor(GLint x, GLint y, GLsizei width, GLsizei height) {
    SHIM_NEXT(glScissor);
    SHIM_TRACE_FRAME("glScissor %d,%d %dx%d", x, y, width, height);
    next(x, y, width, height);
}

void glDrawElements(GLenum mode, GLsizei count, GLenum type, const void* offset) {
    SHIM_NEXT(glDrawElements);
    SHIM_TRACE_FRAME("glDrawElements mode=%u count=%d type=0x%X offset=%zu", mode, count, type,
                     reinterpret_cast<std::size_t>(offset));
    if (shim::Control().skipDrawing == 0) {
        next(mode, count, type, offset);
    }
}

void glTexImage2D(GLenum target, GLint level, GLint internal, GLsizei width, GLsizei height, GLint border,
                  GLenum format, GLenum type, const void* pixels) {
    SHIM_NEXT(glTexImage2D);
    SHIM_TRACE("glTexImage2D target=0x%X level=%d internal=0x%X border=%d format=0x%X type=0x%X", target, level,
               internal, border, format, type);
    next(target, level, internal, width, height, border, format, type, pixels);
}

void glDeleteTextures(GLsizei count, const GLuint* names) {
    SHIM_NEXT(glDeleteTextures);
    SHIM_TRACE("glDeleteTextures count=%d %s", count, TextureName(names[0]));
    next(count, names);
}

}  // extern "C"
