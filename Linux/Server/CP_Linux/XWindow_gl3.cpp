#include "XWindow_gl3.h"

#define NK_IMPLEMENTATION
#include <nuklear.h>
#undef NK_IMPLEMENTATION  // the implementation has no guard of its own
#include <cstdint>

#include "Dlg.h"
#include "Log.h"
#include "nuklear_xlib_gl3.h"  // behind the toolkit's header, whose types it uses

namespace {

constexpr float kFontSize = 18.0F;         // pixels at scale 1
constexpr int kVertexBytes = 512 * 1024;   // of one frame
constexpr int kElementBytes = 128 * 1024;  // of one frame

// The window. Zeroed on entry.
struct XWindow {
    Display* dpy;
    Window win;
    XVisualInfo* vis;  // freed as soon as the window exists
    Colormap cmap;
    XSetWindowAttributes swa;
    XWindowAttributes win_attr;  // read again in every frame
    GLXFBConfig fbc;
    Atom wm_delete_window;
    int width;   // never written: 0
    int height;  // never written: 0
};

// The window's size in pixels before truncation.
struct ScaledSize {
    float width;
    float height;
};

// Set by any X error while the context is being made.
int gl_err = 0;

int gl_error_handler(Display* /*dpy*/, XErrorEvent* /*event*/) {
    gl_err = 1;
    return 0;
}

[[noreturn]] void Fail(const char* message) {
    Log(LOG_LEVEL_ERROR, "%s", message);
    throw 0;
}

void Connect(XWindow& window) {
    window.dpy = XOpenDisplay(nullptr);
    if (window.dpy == nullptr) {
        Fail("Failed to open X display\n");
    }
    int major = 0;
    int minor = 0;
    if (glXQueryVersion(window.dpy, &major, &minor) == 0) {
        Fail("[X11]: Error: Failed to query OpenGL version\n");
    }
    if ((major == 1 && minor < 3) || major < 1) {
        Fail("[X11]: Error: Invalid GLX version!\n");
    }
}

// The configuration with the most samples so far; the first usable one counts whatever it has.
struct BestConfig {
    int index = -1;
    int samples = -1;

    // On a tie the earlier one stays, so that the server's order decides.
    void Offer(int candidate, int sampleBuffers, int sampleCount) {
        if (index < 0 || (sampleBuffers != 0 && sampleCount > samples)) {
            index = candidate;
            samples = sampleCount;
        }
    }
};

// The visuals fetched here are not freed: that is meant.
int PickConfig(Display* dpy, const GLXFBConfig* configs, int count) {
    BestConfig best;
    for (int i = 0; i < count; ++i) {
        if (glXGetVisualFromFBConfig(dpy, configs[i]) == nullptr) {
            continue;
        }
        int sampleBuffers = 0;
        int samples = 0;
        glXGetFBConfigAttrib(dpy, configs[i], GLX_SAMPLE_BUFFERS, &sampleBuffers);
        glXGetFBConfigAttrib(dpy, configs[i], GLX_SAMPLES, &samples);
        best.Offer(i, sampleBuffers, samples);
    }
    return best.index;
}

void ChooseConfig(XWindow& window) {
    // clang-format off
    static const int attr[] = {
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
    int count = 0;
    GLXFBConfig* configs = glXChooseFBConfig(window.dpy, XDefaultScreen(window.dpy), attr, &count);
    if (configs == nullptr) {
        Fail("[X11]: Error: failed to retrieve framebuffer configuration\n");
    }
    const int best = PickConfig(window.dpy, configs, count);
    // A server without a usable configuration is outside what the program supports: nothing good follows, but nothing
    // is read in front of the list either.
    window.fbc = best >= 0 ? configs[best] : nullptr;
    XFree(configs);
    window.vis = glXGetVisualFromFBConfig(window.dpy, window.fbc);
}

void CreateWindow(XWindow& window, const ScaledSize& size) {
    const Window root = XRootWindow(window.dpy, window.vis->screen);
    window.cmap = XCreateColormap(window.dpy, root, window.vis->visual, AllocNone);
    window.swa.colormap = window.cmap;
    window.swa.background_pixmap = None;
    window.swa.border_pixel = 0;
    window.swa.event_mask = KeyPressMask | KeyReleaseMask | ButtonPressMask | ButtonReleaseMask | PointerMotionMask |
                            Button1MotionMask | Button3MotionMask | Button4MotionMask | Button5MotionMask |
                            ButtonMotionMask | ExposureMask | StructureNotifyMask;
    window.win = XCreateWindow(window.dpy, root, 0, 0, static_cast<unsigned>(size.width),
                               static_cast<unsigned>(size.height), 0, window.vis->depth, InputOutput,
                               window.vis->visual, CWBorderPixel | CWEventMask | CWColormap, &window.swa);
    if (window.win == 0) {
        Fail("[X11]: Failed to create window\n");
    }
    XFree(window.vis);
}

// Tells the window manager that the size is fixed.
void FixSize(const XWindow& window, const ScaledSize& size) {
    XSizeHints* hints = XAllocSizeHints();
    hints->flags = PMinSize | PMaxSize;
    hints->min_width = hints->max_width = static_cast<int>(size.width);
    hints->min_height = hints->max_height = static_cast<int>(size.height);
    XSetWMNormalHints(window.dpy, window.win, hints);
    XFree(hints);
}

// Always on screen 0; negative on a screen smaller than the window.
void Centre(const XWindow& window, const ScaledSize& size) {
    constexpr int screen = 0;
    const float x = (static_cast<float>(XDisplayWidth(window.dpy, screen)) - size.width) * 0.5F;
    const float y = (static_cast<float>(XDisplayHeight(window.dpy, screen)) - size.height) * 0.5F;
    XMoveWindow(window.dpy, window.win, static_cast<int>(x), static_cast<int>(y));
}

// The hints and the place come after the mapping: this order is kept.
void ShowWindow(XWindow& window, const std::string& title, const ScaledSize& size) {
    XStoreName(window.dpy, window.win, title.c_str());
    XMapWindow(window.dpy, window.win);
    window.wm_delete_window = XInternAtom(window.dpy, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(window.dpy, window.win, &window.wm_delete_window, 1);
    FixSize(window, size);
    Centre(window, size);
}

GLXContext CreateOldContext(const XWindow& window) {
    nk_x11_notice("[X11]: glXCreateContextAttribARB() not found...\n");
    nk_x11_notice("[X11]: ... using old-style GLX context\n");
    return glXCreateNewContext(window.dpy, window.fbc, GLX_RGBA_TYPE, nullptr, True);
}

// Asks for 3.0 and, when that is refused, once more for 1.0.
GLXContext CreateContextWithAttributes(const XWindow& window, PFNGLXCREATECONTEXTATTRIBSARBPROC create) {
    int attributes[] = {GLX_CONTEXT_MAJOR_VERSION_ARB, 3, GLX_CONTEXT_MINOR_VERSION_ARB, 0, None};
    GLXContext context = create(window.dpy, window.fbc, nullptr, True, attributes);
    XSync(window.dpy, False);
    if (gl_err != 0 || context == nullptr) {
        attributes[1] = 1;
        attributes[3] = 0;
        gl_err = 0;
        nk_x11_notice("[X11] Failed to create OpenGL 3.0 context\n");
        nk_x11_notice("[X11] ... using old-style GLX context!\n");
        context = create(window.dpy, window.fbc, nullptr, True, attributes);
    }
    return context;
}

// Makes the context and makes it current. While it is being made, any X error counts as a failure.
GLXContext CreateContext(const XWindow& window) {
    const XErrorHandler previous = XSetErrorHandler(gl_error_handler);
    const char* extensions = glXQueryExtensionsString(window.dpy, XDefaultScreen(window.dpy));
    const auto create = reinterpret_cast<PFNGLXCREATECONTEXTATTRIBSARBPROC>(
        glXGetProcAddressARB(reinterpret_cast<const GLubyte*>("glXCreateContextAttribsARB")));
    gl_err = 0;
    GLXContext context = create != nullptr && nk_x11_has_word(extensions, "GLX_ARB_create_context")
                             ? CreateContextWithAttributes(window, create)
                             : CreateOldContext(window);
    XSync(window.dpy, False);
    XSetErrorHandler(previous);
    if (gl_err != 0 || context == nullptr) {
        Fail("[X11]: Failed to create an OpenGL context\n");
    }
    glXMakeCurrent(window.dpy, window.win, context);
    return context;
}

// The handle inside a font. A font that could not be loaded gives a handle at an address that faults when the first
// text is measured: a missing font file is fatal at the first frame, and that is meant.
const nk_user_font* FontHandle(const nk_font* font) {
    return reinterpret_cast<const nk_user_font*>(reinterpret_cast<std::uintptr_t>(font) + offsetof(nk_font, handle));
}

// Bakes the one font at its one size and makes it the form's.
void LoadFont(nk_context* ctx, const std::string& fontPath, float scale) {
    nk_font_atlas* atlas = nullptr;
    nk_x11_font_stash_begin(&atlas);
    const nk_font* font = nk_font_atlas_add_from_file(atlas, fontPath.c_str(), kFontSize * scale, nullptr);
    nk_x11_font_stash_end();
    if (ctx != nullptr) {
        nk_style_set_font(ctx, FontHandle(font));
    }
}

// Feeds all pending events to the GUI. False at a client message, whatever it says; what is queued behind it is
// dropped.
bool HandleEvents(const XWindow& window) {
    while (XPending(window.dpy) != 0) {
        XEvent event;
        XNextEvent(window.dpy, &event);
        if (event.type == ClientMessage) {
            return false;
        }
        if (XFilterEvent(&event, window.win) == 0) {
            nk_x11_handle_event(&event);
        }
    }
    return true;
}

void DrawFrame(XWindow& window) {
    XGetWindowAttributes(window.dpy, window.win, &window.win_attr);
    // The record's own size is 0 by 0: an empty viewport, which clearing ignores and the backend replaces.
    glViewport(0, 0, window.width, window.height);
    // The colour takes effect in the next frame: the first one is cleared to black.
    glClear(GL_COLOR_BUFFER_BIT);
    glClearColor(0.10F, 0.18F, 0.24F, 1.0F);
    nk_x11_render(NK_ANTI_ALIASING_ON, kVertexBytes, kElementBytes);
    glXSwapBuffers(window.dpy, window.win);
}

// Never sleeps and never blocks on the connection: every turn is a frame, and only the swap paces it.
void RunFrames(XWindow& window, nk_context* ctx, Dlg& dlg) {
    for (;;) {
        if (ctx != nullptr) {
            nk_input_begin(ctx);
        }
        if (!HandleEvents(window)) {
            return;
        }
        if (ctx != nullptr) {
            nk_input_end(ctx);
        }
        dlg.ProcessGui();
        DrawFrame(window);
    }
}

void TearDown(const XWindow& window, GLXContext context) {
    nk_x11_shutdown();
    glXMakeCurrent(window.dpy, None, nullptr);
    glXDestroyContext(window.dpy, context);
    XUnmapWindow(window.dpy, window.win);
    XFreeColormap(window.dpy, window.cmap);
    XDestroyWindow(window.dpy, window.win);
    XCloseDisplay(window.dpy);
}

}  // namespace

void InitializeXWindowGl3(std::string title, int width, int height, float scale, std::string fontPath) {
    XWindow window = {};
    Connect(window);
    ChooseConfig(window);
    const ScaledSize size = {static_cast<float>(width) * scale, static_cast<float>(height) * scale};
    CreateWindow(window, size);
    ShowWindow(window, title, size);
    const GLXContext context = CreateContext(window);
    // The result is not tested: without a backend the process ends with a memory fault at the first frame.
    nk_context* ctx = nk_x11_init(window.dpy, window.win);
    LoadFont(ctx, fontPath, scale);
    // Dies last, behind the GUI context and the connection, which it does not touch.
    Dlg dlg(ctx, width, height, scale);
    RunFrames(window, ctx, dlg);
    TearDown(window, context);
}
