// GLX: frames, versions, configurations and contexts.

#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glx.h>
#include <X11/Xlib.h>

#include <cstring>
#include <string>

#include "GlFetched.h"
#include "Shim.h"

namespace {

using CreateContextAttribs = GLXContext (*)(Display*, GLXFBConfig, GLXContext, Bool, const int*);

CreateContextAttribs g_createContextAttribs = nullptr;

std::string Numbers(const int* list) {
    std::string text;
    for (; list != nullptr && *list != 0; list += 2) {
        text += " " + std::to_string(list[0]) + "=" + std::to_string(list[1]);
    }
    return text;
}

// Whether this request for a context is refused. An X error of its own comes with the refusal where a test wants one.
bool Refuses(Display* display) {
    static int calls = 0;
    gui::ShimControl& control = shim::Control();
    if (++calls > control.refusedContexts) {
        return false;
    }
    if (control.refusal == gui::Refusal::XError) {
        // A request that the server refuses: there is no window of this number. The context itself is made.
        XUnmapWindow(display, 1);
        return false;
    }
    return true;
}

GLXContext CreateContext(Display* display, GLXFBConfig configuration, GLXContext share, Bool direct,
                         const int* attributes) {
    shim::Trace("glXCreateContextAttribsARB share=%d direct=%d%s", share != nullptr, direct,
                Numbers(attributes).c_str());
    return Refuses(display) ? nullptr : g_createContextAttribs(display, configuration, share, direct, attributes);
}

__GLXextFuncPtr Fetched(const GLubyte* name, __GLXextFuncPtr found) {
    const char* text = reinterpret_cast<const char*>(name);
    gui::ShimControl& control = shim::Control();
    shim::Trace("fetch %s", text);
    if (std::strcmp(text, control.missingFunction) == 0) {
        return nullptr;
    }
    if (std::strcmp(text, "glXCreateContextAttribsARB") == 0) {
        if (control.noAttribsFunction != 0) {
            return nullptr;
        }
        g_createContextAttribs = reinterpret_cast<CreateContextAttribs>(found);
        return reinterpret_cast<__GLXextFuncPtr>(&CreateContext);
    }
    return reinterpret_cast<__GLXextFuncPtr>(shim::WrapFetched(text, reinterpret_cast<shim::AnyFunction>(found)));
}

}  // namespace

extern "C" {

void glXSwapBuffers(Display* display, GLXDrawable drawable) {
    SHIM_NEXT(glXSwapBuffers);
    SHIM_TRACE_FRAME("glXSwapBuffers");
    while (glGetError() != GL_NO_ERROR) {
        shim::Control().glErrors.fetch_add(1);
    }
    next(display, drawable);
    shim::Control().frames.fetch_add(1);
}

Bool glXQueryVersion(Display* display, int* major, int* minor) {
    SHIM_NEXT(glXQueryVersion);
    SHIM_TRACE("glXQueryVersion");
    gui::ShimControl& control = shim::Control();
    const Bool answer = next(display, major, minor);
    if (control.glxVersionSet != 0) {
        *major = control.glxMajor;
        *minor = control.glxMinor;
    }
    return control.failVersionQuery != 0 ? False : answer;
}

GLXFBConfig* glXChooseFBConfig(Display* display, int screen, const int* attributes, int* count) {
    SHIM_NEXT(glXChooseFBConfig);
    SHIM_TRACE("glXChooseFBConfig screen=%d%s", screen, Numbers(attributes).c_str());
    if (shim::Control().noConfigurations != 0) {
        return nullptr;
    }
    GLXFBConfig* list = next(display, screen, attributes, count);
    if (shim::InProgram(__builtin_return_address(0))) {
        shim::Watch(list, "configurations");
    }
    return list;
}

int glXGetFBConfigAttrib(Display* display, GLXFBConfig configuration, int attribute, int* value) {
    SHIM_NEXT(glXGetFBConfigAttrib);
    const int result = next(display, configuration, attribute, value);
    if (shim::InProgram(__builtin_return_address(0))) {
        gui::ShimControl& control = shim::Control();
        if (attribute == GLX_SAMPLE_BUFFERS && control.sampleBuffersZero != 0) {
            *value = 0;
        }
        if (control.samplesEqual != 0) {
            *value = attribute == GLX_SAMPLE_BUFFERS ? 1 : control.samplesEqual;
        }
        shim::Trace("glXGetFBConfigAttrib %p %d=%d", static_cast<void*>(configuration), attribute, *value);
    }
    return result;
}

XVisualInfo* glXGetVisualFromFBConfig(Display* display, GLXFBConfig configuration) {
    SHIM_NEXT(glXGetVisualFromFBConfig);
    if (!shim::InProgram(__builtin_return_address(0))) {
        return next(display, configuration);
    }
    shim::Trace("glXGetVisualFromFBConfig %p", static_cast<void*>(configuration));
    static int calls = 0;
    if (++calls <= shim::Control().withoutVisual) {
        return nullptr;
    }
    XVisualInfo* visual = next(display, configuration);
    shim::Watch(visual, "visual");
    return visual;
}

const char* glXQueryExtensionsString(Display* display, int screen) {
    SHIM_NEXT(glXQueryExtensionsString);
    SHIM_TRACE("glXQueryExtensionsString screen=%d", screen);
    const char* answer = shim::Control().glxExtensions;
    return answer[0] != '\0' ? answer : next(display, screen);
}

__GLXextFuncPtr glXGetProcAddress(const GLubyte* name) {
    SHIM_NEXT(glXGetProcAddress);
    const __GLXextFuncPtr found = next(name);
    return shim::InProgram(__builtin_return_address(0)) ? Fetched(name, found) : found;
}

__GLXextFuncPtr glXGetProcAddressARB(const GLubyte* name) {
    SHIM_NEXT(glXGetProcAddressARB);
    const __GLXextFuncPtr found = next(name);
    return shim::InProgram(__builtin_return_address(0)) ? Fetched(name, found) : found;
}

GLXContext glXCreateNewContext(Display* display, GLXFBConfig configuration, int type, GLXContext share, Bool direct) {
    SHIM_NEXT(glXCreateNewContext);
    SHIM_TRACE("glXCreateNewContext type=0x%X share=%d direct=%d", type, share != nullptr, direct);
    if (shim::InProgram(__builtin_return_address(0)) && Refuses(display)) {
        return nullptr;
    }
    return next(display, configuration, type, share, direct);
}

Bool glXMakeCurrent(Display* display, GLXDrawable drawable, GLXContext context) {
    SHIM_NEXT(glXMakeCurrent);
    SHIM_TRACE("glXMakeCurrent window=%d context=%d", drawable != 0, context != nullptr);
    return next(display, drawable, context);
}

void glXDestroyContext(Display* display, GLXContext context) {
    SHIM_NEXT(glXDestroyContext);
    SHIM_TRACE("glXDestroyContext");
    next(display, context);
}

}  // extern "C"
