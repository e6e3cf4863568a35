// What the parts of the preloaded shim share. The shim stands between the program and Xlib, GLX, GL and libc: it counts
// frames, traces calls and, where a test asks for it, answers as another server or driver would.
#pragma once

#include <dlfcn.h>

#include "../harness/ShimControl.h"

namespace shim {

// The test's record; one of zeros when there is none.
gui::ShimControl& Control();

// Whether the address lies in the program itself, not in a library that it uses.
bool InProgram(const void* address);

// Adds one line to the trace, where the test traces.
void Trace(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Whether calls of the frame loop are traced in this frame.
bool TracedFrame();
// Adds one line in such a frame only.
void TraceInFrame(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The release of this piece of memory by the program is traced under the name. One piece for each name: the last one.
void Watch(const void* piece, const char* name);

// Returns when the log thread has written all that was logged so far. It does so at its own time, and a program that
// ends soon would take the rest with it.
void WaitUntilLogIsWritten();

template <typename Function>
Function* Next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace shim

// The function that this shim stands in front of.
#define SHIM_NEXT(name) static auto* const next = shim::Next(&(name), #name)
// Traces a call that the program itself makes.
#define SHIM_TRACE(...)                                     \
    do {                                                    \
        if (shim::InProgram(__builtin_return_address(0))) { \
            shim::Trace(__VA_ARGS__);                       \
        }                                                   \
    } while (false)
#define SHIM_TRACE_FRAME(...)        \
    do {                             \
        if (shim::TracedFrame()) {   \
            SHIM_TRACE(__VA_ARGS__); \
        }                            \
    } while (false)
