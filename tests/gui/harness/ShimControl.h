// The record that a test shares with the preloaded shim inside the program under test.
//
// The test fills the answers in before the program starts; the shim counts and traces while the program runs. All
// zero means: watch only, change nothing.
#pragma once

#include <atomic>
#include <cstdint>

namespace gui {

// A mark is an event of this type, sent by the test; its time is the mark's number, and no other client sends any. The
// shim takes it out of the queue, so that the program never sees it: all that was sent before has been handled then, or
// will be in the same frame.
inline constexpr int kMarkType = 31;  // SelectionNotify

inline constexpr const char* kShimVariable = "GUI_SHIM_CONTROL";           // names the file that holds the record
inline constexpr const char* kUnbufferedVariable = "GUI_SHIM_UNBUFFERED";  // set: the standard output has no buffer
inline constexpr std::uint32_t kTraceBytes = 1 << 20;

// How a refused context looks to the program.
enum class Refusal : std::int32_t { NullContext = 0, XError = 1 };

struct ShimControl {
    std::atomic<std::uint64_t> frames;    // glXSwapBuffers calls
    std::atomic<std::uint64_t> shown;     // of those, the ones that are known to be on the screen
    std::atomic<std::uint64_t> mark;      // the test's last mark that the program has come to in its queue
    std::atomic<std::uint64_t> marked;    // frames before the one that came to it
    std::atomic<std::uint64_t> glErrors;  // errors that GL held at the end of a frame

    // Connection and window.
    std::int32_t failDisplayCall;   // this call of XOpenDisplay fails, counted from 1
    std::int32_t failCreateWindow;  // XCreateWindow gives 0
    std::int32_t failVersionQuery;  // glXQueryVersion gives false
    std::int32_t glxMajor;          // with glxVersionSet
    std::int32_t glxMinor;
    std::int32_t glxVersionSet;
    std::int32_t noConfigurations;   // glXChooseFBConfig gives null
    std::int32_t sampleBuffersZero;  // every configuration reports no sample buffer
    std::int32_t samplesEqual;       // every configuration reports this many samples, in one buffer
    std::int32_t withoutVisual;      // this many first configurations have no visual
    char glxExtensions[256];         // answer of glXQueryExtensionsString
    std::int32_t noAttribsFunction;  // glXCreateContextAttribsARB can't be fetched
    std::int32_t refusedContexts;    // this many first requests for a context, of either kind, are refused
    Refusal refusal;
    std::int32_t localeUnsupported;  // XSupportsLocale gives false
    std::int32_t noModifiers;        // XSetLocaleModifiers gives null
    std::int32_t noBitmap;           // XCreateBitmapFromData gives None
    std::int32_t filterKeyPresses;   // XFilterEvent takes every key press
    std::int32_t logIsStuck;         // the start does not wait for the log's lines, which an output does not take

    // GL.
    std::int32_t glMajor;  // with glVersionSet
    std::int32_t glMinor;
    std::int32_t glVersionSet;
    std::int32_t glVersionUnanswered;  // GL_MAJOR_VERSION and GL_MINOR_VERSION leave the value as it was
    char hiddenExtensions[4][64];      // words taken out of GL_EXTENSIONS
    char addedExtension[64];           // word put in front of GL_EXTENSIONS
    char missingFunction[64];          // glXGetProcAddress gives null for this name
    std::int32_t failMapping;          // glMapBuffer gives null
    std::int32_t skipDrawing;          // draw calls and clears do nothing

    // Calls of the program, one line each.
    std::int32_t tracing;
    std::int32_t tracedEvents;                // what is done with each event is traced too
    std::int32_t tracedDeletes;               // the release of arrays is traced too
    std::atomic<std::uint64_t> tracedFrames;  // calls of the frame loop are traced below this frame
    std::atomic<std::uint32_t> traceLength;
    char trace[kTraceBytes];
};

}  // namespace gui
