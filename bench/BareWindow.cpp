// The least that a window like the form's takes: X connection, a GLX context on the framebuffer configuration that the
// program picks, one quad, one swap. The quad goes through a vertex and a fragment shader, as all that a context of
// GL 3.0 draws should; with the argument "fixed" it goes through the fixed function instead.
#include <GL/gl.h>
#include <GL/glx.h>
#include <GL/glxext.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr unsigned int kWidth = 700;
constexpr unsigned int kHeight = 450;

[[noreturn]] void Fail(const char* message) {
    std::fprintf(stderr, "%s\n", message);
    std::exit(EXIT_FAILURE);
}

// clang-format off
constexpr int kConfigAttributes[] = {
    GLX_X_RENDERABLE, True,
    GLX_DRAWABLE_TYPE, GLX_WINDOW_BIT,
    GLX_RENDER_TYPE, GLX_RGBA_BIT,
    GLX_X_VISUAL_TYPE, GLX_TRUE_COLOR,
    GLX_RED_SIZE, 8,
    GLX_GREEN_SIZE, 8,
    GLX_BLUE_SIZE, 8,
    GLX_ALPHA_SIZE, 8,
    GLX_DEPTH_SIZE, 24,
    GLX_STENCIL_SIZE, 8,
    GLX_DOUBLEBUFFER, True,
    None,
};
// clang-format on

// The configuration with the most samples; of equal ones the first.
GLXFBConfig ChooseConfig(Display* display) {
    int count = 0;
    GLXFBConfig* configs = glXChooseFBConfig(display, XDefaultScreen(display), kConfigAttributes, &count);
    if (configs == nullptr || count == 0) {
        Fail("no framebuffer configuration");
    }
    GLXFBConfig best = configs[0];
    int most = 0;
    for (int i = 0; i < count; ++i) {
        int samples = 0;
        glXGetFBConfigAttrib(display, configs[i], GLX_SAMPLES, &samples);
        if (samples > most) {
            most = samples;
            best = configs[i];
        }
    }
    XFree(configs);
    return best;
}

Window OpenWindow(Display* display, GLXFBConfig config) {
    XVisualInfo* visual = glXGetVisualFromFBConfig(display, config);
    const Window root = XRootWindow(display, visual->screen);
    XSetWindowAttributes attributes = {};
    attributes.colormap = XCreateColormap(display, root, visual->visual, AllocNone);
    const Window window = XCreateWindow(display, root, 0, 0, kWidth, kHeight, 0, visual->depth, InputOutput,
                                        visual->visual, CWBorderPixel | CWColormap, &attributes);
    XFree(visual);
    XMapWindow(display, window);
    return window;
}

GLXContext CreateContext(Display* display, GLXFBConfig config) {
    const auto create = reinterpret_cast<PFNGLXCREATECONTEXTATTRIBSARBPROC>(
        glXGetProcAddressARB(reinterpret_cast<const GLubyte*>("glXCreateContextAttribsARB")));
    const int attributes[] = {GLX_CONTEXT_MAJOR_VERSION_ARB, 3, GLX_CONTEXT_MINOR_VERSION_ARB, 0, None};
    GLXContext context = create != nullptr ? create(display, config, nullptr, True, attributes) : nullptr;
    if (context == nullptr) {
        Fail("no GL context");
    }
    return context;
}

template <typename Function>
Function Fetch(const char* name) {
    const auto function = reinterpret_cast<Function>(glXGetProcAddressARB(reinterpret_cast<const GLubyte*>(name)));
    if (function == nullptr) {
        Fail(name);
    }
    return function;
}

void UseShader(GLuint program, GLenum kind, const char* source) {
    const GLuint shader = Fetch<PFNGLCREATESHADERPROC>("glCreateShader")(kind);
    Fetch<PFNGLSHADERSOURCEPROC>("glShaderSource")(shader, 1, &source, nullptr);
    Fetch<PFNGLCOMPILESHADERPROC>("glCompileShader")(shader);
    Fetch<PFNGLATTACHSHADERPROC>("glAttachShader")(program, shader);
}

void UseProgram() {
    const GLuint program = Fetch<PFNGLCREATEPROGRAMPROC>("glCreateProgram")();
    UseShader(program, GL_VERTEX_SHADER,
              "#version 300 es\nin vec2 Position;\nvoid main() { gl_Position = vec4(Position, 0, 1); }\n");
    UseShader(program, GL_FRAGMENT_SHADER,
              "#version 300 es\nprecision mediump float;\nout vec4 Out_Color;\n"
              "void main() { Out_Color = vec4(0.2, 0.2, 0.2, 1.0); }\n");
    Fetch<PFNGLBINDATTRIBLOCATIONPROC>("glBindAttribLocation")(program, 0, "Position");
    Fetch<PFNGLLINKPROGRAMPROC>("glLinkProgram")(program);
    Fetch<PFNGLUSEPROGRAMPROC>("glUseProgram")(program);
}

void DrawShadedQuad() {
    constexpr GLfloat corners[] = {-1.0F, -1.0F, 1.0F, -1.0F, -1.0F, 1.0F, 1.0F, 1.0F};
    UseProgram();
    GLuint buffer = 0;
    Fetch<PFNGLGENBUFFERSPROC>("glGenBuffers")(1, &buffer);
    Fetch<PFNGLBINDBUFFERPROC>("glBindBuffer")(GL_ARRAY_BUFFER, buffer);
    Fetch<PFNGLBUFFERDATAPROC>("glBufferData")(GL_ARRAY_BUFFER, sizeof corners, corners, GL_STREAM_DRAW);
    Fetch<PFNGLENABLEVERTEXATTRIBARRAYPROC>("glEnableVertexAttribArray")(0);
    Fetch<PFNGLVERTEXATTRIBPOINTERPROC>("glVertexAttribPointer")(0, 2, GL_FLOAT, GL_FALSE, 0, nullptr);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

void DrawFixedQuad() {
    glBegin(GL_QUADS);
    glColor3f(0.2F, 0.2F, 0.2F);
    glVertex2f(-1.0F, -1.0F);
    glVertex2f(1.0F, -1.0F);
    glVertex2f(1.0F, 1.0F);
    glVertex2f(-1.0F, 1.0F);
    glEnd();
}

}  // namespace

int main(int argc, char** argv) {
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        Fail("no display");
    }
    const GLXFBConfig config = ChooseConfig(display);
    const Window window = OpenWindow(display, config);
    const GLXContext context = CreateContext(display, config);
    glXMakeCurrent(display, window, context);
    glViewport(0, 0, static_cast<GLsizei>(kWidth), static_cast<GLsizei>(kHeight));
    glClear(GL_COLOR_BUFFER_BIT);
    if (argc > 1 && std::strcmp(argv[1], "fixed") == 0) {
        DrawFixedQuad();
    } else {
        DrawShadedQuad();
    }
    glXSwapBuffers(display, window);
    glXMakeCurrent(display, None, nullptr);
    glXDestroyContext(display, context);
    XCloseDisplay(display);
    return EXIT_SUCCESS;
}
