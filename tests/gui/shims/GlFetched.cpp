// GL functions that the program fetches by name. Objects bear the name of their part in the drawing, not their number.

#include "GlFetched.h"

#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <cstring>
#include <map>
#include <string>

#include "Shim.h"

namespace {

// The function in front of which a wrapper below stands, filled when the program fetches it.
template <auto function>
decltype(function) g_found = nullptr;

GLuint g_program = 0;
GLuint g_array = 0;
std::map<GLuint, std::string> g_shaders;
std::map<GLuint, std::string> g_buffers;
std::map<GLint, std::string> g_uniforms;
std::map<GLint, std::string> g_attributes;

template <typename Key>
const char* Name(const std::map<Key, std::string>& names, Key key) {
    const auto found = names.find(key);
    return found == names.end() ? "unknown" : found->second.c_str();
}

const char* BufferName(GLuint buffer) {
    return buffer == 0 ? "none" : Name(g_buffers, buffer);
}

const char* OwnName(GLuint object, GLuint own) {
    if (object == 0) {
        return "none";
    }
    return object == own ? "own" : "unknown";
}

// One line, however many the text has.
std::string Escaped(const std::string& text) {
    std::string line;
    for (const char letter : text) {
        line += letter == '\n' ? std::string("\\n") : std::string(1, letter);
    }
    return line;
}

// The program and its shaders.

GLuint CreateProgram() {
    g_program = g_found<&glCreateProgram>();
    shim::Trace("glCreateProgram");
    return g_program;
}

GLuint CreateShader(GLenum type) {
    const GLuint shader = g_found<&glCreateShader>(type);
    g_shaders[shader] = type == GL_VERTEX_SHADER ? "vertex" : "fragment";
    shim::Trace("glCreateShader 0x%X", type);
    return shader;
}

void ShaderSource(GLuint shader, GLsizei count, const GLchar* const* strings, const GLint* lengths) {
    shim::Trace("glShaderSource %s count=%d lengths=%d %s", Name(g_shaders, shader), count, lengths != nullptr,
                Escaped(strings[0]).c_str());
    g_found<&glShaderSource>(shader, count, strings, lengths);
}

void CompileShader(GLuint shader) {
    shim::Trace("glCompileShader %s", Name(g_shaders, shader));
    g_found<&glCompileShader>(shader);
}

void GetShader(GLuint shader, GLenum name, GLint* value) {
    shim::Trace("glGetShaderiv %s 0x%X", Name(g_shaders, shader), name);
    g_found<&glGetShaderiv>(shader, name, value);
}

void AttachShader(GLuint program, GLuint shader) {
    shim::Trace("glAttachShader %s %s", OwnName(program, g_program), Name(g_shaders, shader));
    g_found<&glAttachShader>(program, shader);
}

void LinkProgram(GLuint program) {
    shim::Trace("glLinkProgram %s", OwnName(program, g_program));
    g_found<&glLinkProgram>(program);
}

void GetProgram(GLuint program, GLenum name, GLint* value) {
    shim::Trace("glGetProgramiv %s 0x%X", OwnName(program, g_program), name);
    g_found<&glGetProgramiv>(program, name, value);
}

GLint GetUniformLocation(GLuint program, const GLchar* name) {
    const GLint location = g_found<&glGetUniformLocation>(program, name);
    g_uniforms[location] = name;
    shim::Trace("glGetUniformLocation %s %s", OwnName(program, g_program), name);
    return location;
}

GLint GetAttribLocation(GLuint program, const GLchar* name) {
    const GLint location = g_found<&glGetAttribLocation>(program, name);
    g_attributes[location] = name;
    shim::Trace("glGetAttribLocation %s %s", OwnName(program, g_program), name);
    return location;
}

void DetachShader(GLuint program, GLuint shader) {
    shim::Trace("glDetachShader %s %s", OwnName(program, g_program), Name(g_shaders, shader));
    g_found<&glDetachShader>(program, shader);
}

void DeleteShader(GLuint shader) {
    shim::Trace("glDeleteShader %s", Name(g_shaders, shader));
    g_found<&glDeleteShader>(shader);
}

void DeleteProgram(GLuint program) {
    shim::Trace("glDeleteProgram %s", OwnName(program, g_program));
    g_found<&glDeleteProgram>(program);
}

// Buffers and the vertex array.

void GenBuffers(GLsizei count, GLuint* names) {
    g_found<&glGenBuffers>(count, names);
    for (GLsizei i = 0; i < count; ++i) {
        g_buffers[names[i]] = g_buffers.empty() ? "first" : "second";
    }
    shim::Trace("glGenBuffers count=%d", count);
}

void GenVertexArrays(GLsizei count, GLuint* names) {
    g_found<&glGenVertexArrays>(count, names);
    g_array = names[0];
    shim::Trace("glGenVertexArrays count=%d", count);
}

void EnableAttribute(GLuint index) {
    shim::Trace("glEnableVertexAttribArray %s", Name(g_attributes, static_cast<GLint>(index)));
    g_found<&glEnableVertexAttribArray>(index);
}

void AttributePointer(GLuint index, GLint size, GLenum type, GLboolean normalised, GLsizei stride, const void* offset) {
    shim::Trace("glVertexAttribPointer %s size=%d type=0x%X normalised=%d stride=%d offset=%zu",
                Name(g_attributes, static_cast<GLint>(index)), size, type, normalised, stride,
                reinterpret_cast<std::size_t>(offset));
    g_found<&glVertexAttribPointer>(index, size, type, normalised, stride, offset);
}

void DeleteBuffers(GLsizei count, const GLuint* names) {
    shim::Trace("glDeleteBuffers count=%d %s", count, BufferName(names[0]));
    g_found<&glDeleteBuffers>(count, names);
}

void DeleteVertexArrays(GLsizei count, const GLuint* names) {
    shim::Trace("glDeleteVertexArrays");
    g_found<&glDeleteVertexArrays>(count, names);
}

// Calls of a frame.

void UseProgram(GLuint program) {
    shim::TraceInFrame("glUseProgram %s", OwnName(program, g_program));
    g_found<&glUseProgram>(program);
}

void UniformInteger(GLint location, GLint value) {
    shim::TraceInFrame("glUniform1i %s=%d", Name(g_uniforms, location), value);
    g_found<&glUniform1i>(location, value);
}

void UniformMatrix(GLint location, GLsizei count, GLboolean transpose, const GLfloat* value) {
    std::string values;
    for (int i = 0; i < 16; ++i) {
        values += " " + std::to_string(value[i]);
    }
    shim::TraceInFrame("glUniformMatrix4fv %s count=%d transpose=%d%s", Name(g_uniforms, location), count, transpose,
                       values.c_str());
    g_found<&glUniformMatrix4fv>(location, count, transpose, value);
}

void BindVertexArray(GLuint array) {
    shim::TraceInFrame("glBindVertexArray %s", OwnName(array, g_array));
    g_found<&glBindVertexArray>(array);
}

void BindBuffer(GLenum target, GLuint buffer) {
    shim::TraceInFrame("glBindBuffer target=0x%X %s", target, BufferName(buffer));
    g_found<&glBindBuffer>(target, buffer);
}

void BufferData(GLenum target, GLsizeiptr size, const void* data, GLenum usage) {
    shim::TraceInFrame("glBufferData target=0x%X size=%ld data=%d usage=0x%X", target, static_cast<long>(size),
                       data != nullptr, usage);
    g_found<&glBufferData>(target, size, data, usage);
}

void* MapBuffer(GLenum target, GLenum access) {
    shim::TraceInFrame("glMapBuffer target=0x%X access=0x%X", target, access);
    return shim::Control().failMapping != 0 ? nullptr : g_found<&glMapBuffer>(target, access);
}

GLboolean UnmapBuffer(GLenum target) {
    shim::TraceInFrame("glUnmapBuffer target=0x%X", target);
    return g_found<&glUnmapBuffer>(target);
}

// Keeps what was found for the wrapper to call, and hands the wrapper out.
template <auto function, auto wrapper>
shim::AnyFunction Stand(shim::AnyFunction found) {
    g_found<function> = reinterpret_cast<decltype(function)>(found);
    return reinterpret_cast<shim::AnyFunction>(wrapper);
}

struct Wrapped {
    const char* name;
    shim::AnyFunction (*stand)(shim::AnyFunction found);
};
constexpr Wrapped kWrapped[] = {
    {"glCreateProgram", Stand<&glCreateProgram, &CreateProgram>},
    {"glCreateShader", Stand<&glCreateShader, &CreateShader>},
    {"glShaderSource", Stand<&glShaderSource, &ShaderSource>},
    {"glCompileShader", Stand<&glCompileShader, &CompileShader>},
    {"glGetShaderiv", Stand<&glGetShaderiv, &GetShader>},
    {"glAttachShader", Stand<&glAttachShader, &AttachShader>},
    {"glLinkProgram", Stand<&glLinkProgram, &LinkProgram>},
    {"glGetProgramiv", Stand<&glGetProgramiv, &GetProgram>},
    {"glGetUniformLocation", Stand<&glGetUniformLocation, &GetUniformLocation>},
    {"glGetAttribLocation", Stand<&glGetAttribLocation, &GetAttribLocation>},
    {"glDetachShader", Stand<&glDetachShader, &DetachShader>},
    {"glDeleteShader", Stand<&glDeleteShader, &DeleteShader>},
    {"glDeleteProgram", Stand<&glDeleteProgram, &DeleteProgram>},
    {"glGenBuffers", Stand<&glGenBuffers, &GenBuffers>},
    {"glGenVertexArrays", Stand<&glGenVertexArrays, &GenVertexArrays>},
    {"glEnableVertexAttribArray", Stand<&glEnableVertexAttribArray, &EnableAttribute>},
    {"glVertexAttribPointer", Stand<&glVertexAttribPointer, &AttributePointer>},
    {"glDeleteBuffers", Stand<&glDeleteBuffers, &DeleteBuffers>},
    {"glDeleteVertexArrays", Stand<&glDeleteVertexArrays, &DeleteVertexArrays>},
    {"glUseProgram", Stand<&glUseProgram, &UseProgram>},
    {"glUniform1i", Stand<&glUniform1i, &UniformInteger>},
    {"glUniformMatrix4fv", Stand<&glUniformMatrix4fv, &UniformMatrix>},
    {"glBindVertexArray", Stand<&glBindVertexArray, &BindVertexArray>},
    {"glBindBuffer", Stand<&glBindBuffer, &BindBuffer>},
    {"glBufferData", Stand<&glBufferData, &BufferData>},
    {"glMapBuffer", Stand<&glMapBuffer, &MapBuffer>},
    {"glUnmapBuffer", Stand<&glUnmapBuffer, &UnmapBuffer>},
};

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
