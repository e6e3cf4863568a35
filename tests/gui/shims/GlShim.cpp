// GL: versions, extension words, mappings, and the calls of a frame.

#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <cstring>
#include <string>
#include <type_traits>

#include "GlFetched.h"
#include "Shim.h"

namespace {

// The functions in front of which the wrappers below stand, filled when the program fetches them.
decltype(&glMapBuffer) g_mapBuffer = nullptr;
decltype(&glBufferData) g_bufferData = nullptr;
decltype(&glShaderSource) g_shaderSource = nullptr;
decltype(&glUniformMatrix4fv) g_uniformMatrix = nullptr;
decltype(&glDetachShader) g_detachShader = nullptr;
decltype(&glDeleteShader) g_deleteShader = nullptr;
decltype(&glDeleteProgram) g_deleteProgram = nullptr;
decltype(&glDeleteBuffers) g_deleteBuffers = nullptr;
decltype(&glDeleteVertexArrays) g_deleteVertexArrays = nullptr;
decltype(&glUnmapBuffer) g_unmapBuffer = nullptr;

void* MapBuffer(GLenum target, GLenum access) {
    if (shim::TracedFrame()) {
        shim::Trace("glMapBuffer target=0x%X access=0x%X", target, access);
    }
    return shim::Control().failMapping != 0 ? nullptr : g_mapBuffer(target, access);
}

GLboolean UnmapBuffer(GLenum target) {
    if (shim::TracedFrame()) {
        shim::Trace("glUnmapBuffer target=0x%X", target);
    }
    return g_unmapBuffer(target);
}

void BufferData(GLenum target, GLsizeiptr size, const void* data, GLenum usage) {
    if (shim::TracedFrame()) {
        shim::Trace("glBufferData target=0x%X size=%ld data=%d usage=0x%X", target, static_cast<long>(size),
                    data != nullptr, usage);
    }
    g_bufferData(target, size, data, usage);
}

void ShaderSource(GLuint shader, GLsizei count, const GLchar* const* strings, const GLint* lengths) {
    const std::string text = strings[0];
    shim::Trace("glShaderSource count=%d lengths=%d %s", count, lengths != nullptr,
                text.substr(0, text.find('\n')).c_str());
    g_shaderSource(shader, count, strings, lengths);
}

void UniformMatrix(GLint location, GLsizei count, GLboolean transpose, const GLfloat* value) {
    if (shim::TracedFrame()) {
        shim::Trace("glUniformMatrix4fv transpose=%d %.6f %.6f %.1f %.1f %.1f", transpose,
                    static_cast<double>(value[0]), static_cast<double>(value[5]), static_cast<double>(value[10]),
                    static_cast<double>(value[12]), static_cast<double>(value[13]));
    }
    g_uniformMatrix(location, count, transpose, value);
}

void DetachShader(GLuint program, GLuint shader) {
    shim::Trace("glDetachShader");
    g_detachShader(program, shader);
}

void DeleteShader(GLuint shader) {
    shim::Trace("glDeleteShader");
    g_deleteShader(shader);
}

void DeleteProgram(GLuint program) {
    shim::Trace("glDeleteProgram");
    g_deleteProgram(program);
}

void DeleteBuffers(GLsizei count, const GLuint* names) {
    shim::Trace("glDeleteBuffers");
    g_deleteBuffers(count, names);
}

void DeleteVertexArrays(GLsizei count, const GLuint* names) {
    shim::Trace("glDeleteVertexArrays");
    g_deleteVertexArrays(count, names);
}

// Keeps what was found for the wrapper to call, and hands the wrapper out.
template <auto& next, auto wrapper>
shim::AnyFunction Stand(shim::AnyFunction found) {
    next = reinterpret_cast<std::remove_reference_t<decltype(next)>>(found);
    return reinterpret_cast<shim::AnyFunction>(wrapper);
}

struct Wrapped {
    const char* name;
    shim::AnyFunction (*stand)(shim::AnyFunction found);
};
constexpr Wrapped kWrapped[] = {
    {"glMapBuffer", Stand<g_mapBuffer, &MapBuffer>},
    {"glUnmapBuffer", Stand<g_unmapBuffer, &UnmapBuffer>},
    {"glBufferData", Stand<g_bufferData, &BufferData>},
    {"glShaderSource", Stand<g_shaderSource, &ShaderSource>},
    {"glUniformMatrix4fv", Stand<g_uniformMatrix, &UniformMatrix>},
    {"glDetachShader", Stand<g_detachShader, &DetachShader>},
    {"glDeleteShader", Stand<g_deleteShader, &DeleteShader>},
    {"glDeleteProgram", Stand<g_deleteProgram, &DeleteProgram>},
    {"glDeleteBuffers", Stand<g_deleteBuffers, &DeleteBuffers>},
    {"glDeleteVertexArrays", Stand<g_deleteVertexArrays, &DeleteVertexArrays>},
};

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

namespace shim {

AnyFunction WrapFetched(const char* name, AnyFunction found) {
    if (found == nullptr) {
        return nullptr;
    }
    for (const Wrapped& wrapped : kWrapped) {
        if (std::strcmp(wrapped.name, name) == 0) {
            return wrapped.stand(found);
        }
    }
    return found;
}

}  // namespace shim

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
    SHIM_TRACE("glTexImage2D level=%d internal=0x%X border=%d format=0x%X type=0x%X", level, internal, border, format,
               type);
    next(target, level, internal, width, height, border, format, type, pixels);
}

void glDeleteTextures(GLsizei count, const GLuint* names) {
    SHIM_NEXT(glDeleteTextures);
    SHIM_TRACE("glDeleteTextures");
    next(count, names);
}

}  // extern "C"
