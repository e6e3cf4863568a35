// Xlib: the connection, the window, the cursor, and the order in which they are made and released.

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <map>
#include <mutex>
#include <string>

#include "Shim.h"

namespace {

// What the program holds, by its name.
std::map<std::string, const void*> g_watched;
std::mutex g_guard;

// The name under which this piece was watched, which ends with that; empty when it was not.
std::string Unwatch(const void* piece) {
    const std::lock_guard<std::mutex> lock(g_guard);
    for (auto one = g_watched.begin(); one != g_watched.end(); ++one) {
        if (one->second == piece) {
            const std::string name = one->first;
            g_watched.erase(one);
            return name;
        }
    }
    return "";
}

// The number of the screen whose root window this is.
int ScreenOf(Display* display, Window root) {
    for (int screen = 0; screen < ScreenCount(display); ++screen) {
        if (RootWindow(display, screen) == root) {
            return screen;
        }
    }
    return -1;
}

// Traces what the program does with an event, where a test looks at that.
template <typename... Arguments>
void TraceEvent(const void* caller, const char* format, Arguments... arguments) {
    if (shim::Control().tracedEvents != 0 && shim::InProgram(caller)) {
        shim::Trace(format, arguments...);
    }
}

// Takes the next event off the queue when it is a mark of the test.
bool TakeMark(Display* display) {
    XEvent event;
    XPeekEvent(display, &event);
    if (event.type != gui::kMarkType || event.xselection.send_event == False) {
        return false;
    }
    static auto* const nextEvent = shim::Next(&XNextEvent, "XNextEvent");
    nextEvent(display, &event);
    gui::ShimControl& control = shim::Control();
    control.marked.store(control.frames.load());
    control.mark.store(event.xselection.time);
    return true;
}

}  // namespace

namespace shim {

void Watch(const void* piece, const char* name) {
    const std::lock_guard<std::mutex> lock(g_guard);
    g_watched[name] = piece;
}

}  // namespace shim

extern "C" {

int XFree(void* data) {
    SHIM_NEXT(XFree);
    const std::string name = Unwatch(data);
    if (!name.empty()) {
        SHIM_TRACE("XFree %s", name.c_str());
    }
    return next(data);
}

XSizeHints* XAllocSizeHints() {
    SHIM_NEXT(XAllocSizeHints);
    XSizeHints* hints = next();
    if (shim::InProgram(__builtin_return_address(0))) {
        shim::Watch(hints, "hints");
    }
    return hints;
}

Display* XOpenDisplay(const char* name) {
    SHIM_NEXT(XOpenDisplay);
    // The configuration has been loaded, and its messages are all that a start without a failure logs.
    shim::WaitUntilLogIsWritten();
    SHIM_TRACE("XOpenDisplay %s", name == nullptr ? "null" : name);
    static int calls = 0;
    if (shim::InProgram(__builtin_return_address(0)) && ++calls == shim::Control().failDisplayCall) {
        return nullptr;
    }
    return next(name);
}

int XCloseDisplay(Display* display) {
    SHIM_NEXT(XCloseDisplay);
    SHIM_TRACE("XCloseDisplay");
    return next(display);
}

Colormap XCreateColormap(Display* display, Window window, Visual* visual, int alloc) {
    SHIM_NEXT(XCreateColormap);
    SHIM_TRACE("XCreateColormap screen=%d alloc=%d", ScreenOf(display, window), alloc);
    return next(display, window, visual, alloc);
}

int XFreeColormap(Display* display, Colormap colormap) {
    SHIM_NEXT(XFreeColormap);
    SHIM_TRACE("XFreeColormap");
    return next(display, colormap);
}

Window XCreateWindow(Display* display, Window parent, int x, int y, unsigned int width, unsigned int height,
                     unsigned int border, int depth, unsigned int windowClass, Visual* visual, unsigned long mask,
                     XSetWindowAttributes* attributes) {
    SHIM_NEXT(XCreateWindow);
    SHIM_TRACE("XCreateWindow screen=%d at=%d,%d size=%ux%u border=%u class=%u mask=0x%lX events=0x%lX pixel=%lu",
               ScreenOf(display, parent), x, y, width, height, border, windowClass, mask, attributes->event_mask,
               attributes->border_pixel);
    if (shim::Control().failCreateWindow != 0 && shim::InProgram(__builtin_return_address(0))) {
        return 0;
    }
    return next(display, parent, x, y, width, height, border, depth, windowClass, visual, mask, attributes);
}

int XDestroyWindow(Display* display, Window window) {
    SHIM_NEXT(XDestroyWindow);
    SHIM_TRACE("XDestroyWindow");
    return next(display, window);
}

int XStoreName(Display* display, Window window, const char* name) {
    SHIM_NEXT(XStoreName);
    SHIM_TRACE("XStoreName %s", name);
    return next(display, window, name);
}

int XMapWindow(Display* display, Window window) {
    SHIM_NEXT(XMapWindow);
    SHIM_TRACE("XMapWindow");
    return next(display, window);
}

int XUnmapWindow(Display* display, Window window) {
    SHIM_NEXT(XUnmapWindow);
    SHIM_TRACE("XUnmapWindow");
    return next(display, window);
}

int XMoveWindow(Display* display, Window window, int x, int y) {
    SHIM_NEXT(XMoveWindow);
    SHIM_TRACE("XMoveWindow to=%d,%d", x, y);
    return next(display, window, x, y);
}

Atom XInternAtom(Display* display, const char* name, Bool onlyIfExists) {
    SHIM_NEXT(XInternAtom);
    SHIM_TRACE("XInternAtom %s onlyIfExists=%d", name, onlyIfExists);
    return next(display, name, onlyIfExists);
}

Status XSetWMProtocols(Display* display, Window window, Atom* protocols, int count) {
    SHIM_NEXT(XSetWMProtocols);
    SHIM_TRACE("XSetWMProtocols count=%d", count);
    return next(display, window, protocols, count);
}

void XSetWMNormalHints(Display* display, Window window, XSizeHints* hints) {
    SHIM_NEXT(XSetWMNormalHints);
    SHIM_TRACE("XSetWMNormalHints flags=0x%lX min=%dx%d max=%dx%d", hints->flags, hints->min_width, hints->min_height,
               hints->max_width, hints->max_height);
    next(display, window, hints);
}

XErrorHandler XSetErrorHandler(XErrorHandler handler) {
    SHIM_NEXT(XSetErrorHandler);
    static XErrorHandler first = nullptr;
    const XErrorHandler previous = next(handler);
    if (shim::InProgram(__builtin_return_address(0))) {
        shim::Trace("XSetErrorHandler %s", handler == first ? "restored" : "own");
        if (first == nullptr) {
            first = previous;
        }
    }
    return previous;
}

int XSync(Display* display, Bool discard) {
    SHIM_NEXT(XSync);
    SHIM_TRACE("XSync discard=%d", discard);
    return next(display, discard);
}

Bool XSupportsLocale() {
    SHIM_NEXT(XSupportsLocale);
    SHIM_TRACE("XSupportsLocale");
    const Bool answer = next();
    return shim::Control().localeUnsupported != 0 ? False : answer;
}

char* XSetLocaleModifiers(const char* modifiers) {
    SHIM_NEXT(XSetLocaleModifiers);
    SHIM_TRACE("XSetLocaleModifiers %s", modifiers);
    char* answer = next(modifiers);
    return shim::Control().noModifiers != 0 ? nullptr : answer;
}

XIM XOpenIM(Display* display, struct _XrmHashBucketRec* database, char* name, char* className) {
    SHIM_NEXT(XOpenIM);
    SHIM_TRACE("XOpenIM");
    return next(display, database, name, className);
}

Pixmap XCreateBitmapFromData(Display* display, Drawable drawable, const char* data, unsigned int width,
                             unsigned int height) {
    SHIM_NEXT(XCreateBitmapFromData);
    SHIM_TRACE("XCreateBitmapFromData %ux%u byte=%d", width, height, data[0]);
    return shim::Control().noBitmap != 0 ? 0 : next(display, drawable, data, width, height);
}

Cursor XCreatePixmapCursor(Display* display, Pixmap source, Pixmap mask, XColor* foreground, XColor* background,
                           unsigned int x, unsigned int y) {
    SHIM_NEXT(XCreatePixmapCursor);
    SHIM_TRACE("XCreatePixmapCursor same=%d hot=%u,%u", source == mask, x, y);
    return next(display, source, mask, foreground, background, x, y);
}

int XFreePixmap(Display* display, Pixmap pixmap) {
    SHIM_NEXT(XFreePixmap);
    SHIM_TRACE("XFreePixmap");
    return next(display, pixmap);
}

int XFreeCursor(Display* display, Cursor cursor) {
    SHIM_NEXT(XFreeCursor);
    SHIM_TRACE("XFreeCursor");
    return next(display, cursor);
}

Status XGetWindowAttributes(Display* display, Window window, XWindowAttributes* attributes) {
    SHIM_NEXT(XGetWindowAttributes);
    SHIM_TRACE_FRAME("XGetWindowAttributes");
    const std::uint64_t drawn = shim::Control().frames.load();
    const Status answer = next(display, window, attributes);
    // The server has answered, so it has dealt with all that was sent before.
    shim::Control().shown.store(drawn);
    return answer;
}

int XGrabPointer(Display* display, Window window, Bool owner, unsigned int mask, int pointerMode, int keyboardMode,
                 Window confine, Cursor cursor, Time time) {
    SHIM_NEXT(XGrabPointer);
    SHIM_TRACE("XGrabPointer");
    return next(display, window, owner, mask, pointerMode, keyboardMode, confine, cursor, time);
}

int XGrabKeyboard(Display* display, Window window, Bool owner, int pointerMode, int keyboardMode, Time time) {
    SHIM_NEXT(XGrabKeyboard);
    SHIM_TRACE("XGrabKeyboard");
    return next(display, window, owner, pointerMode, keyboardMode, time);
}

int XWarpPointer(Display* display, Window source, Window destination, int sourceX, int sourceY, unsigned int width,
                 unsigned int height, int x, int y) {
    SHIM_NEXT(XWarpPointer);
    SHIM_TRACE("XWarpPointer");
    return next(display, source, destination, sourceX, sourceY, width, height, x, y);
}

int XDefineCursor(Display* display, Window window, Cursor cursor) {
    SHIM_NEXT(XDefineCursor);
    SHIM_TRACE("XDefineCursor");
    return next(display, window, cursor);
}

int XPending(Display* display) {
    SHIM_NEXT(XPending);
    int count = next(display);
    while (count > 0 && TakeMark(display)) {
        count = next(display);
    }
    return count;
}

int XNextEvent(Display* display, XEvent* event) {
    SHIM_NEXT(XNextEvent);
    const int result = next(display, event);
    TraceEvent(__builtin_return_address(0), "XNextEvent type=%d", event->type);
    return result;
}

Bool XFilterEvent(XEvent* event, Window window) {
    SHIM_NEXT(XFilterEvent);
    TraceEvent(__builtin_return_address(0), "XFilterEvent type=%d own=%d", event->type, window == event->xany.window);
    const Bool answer = next(event, window);
    return shim::Control().filterKeyPresses != 0 && event->type == KeyPress ? True : answer;
}

KeySym* XGetKeyboardMapping(Display* display, KeyCode first, int count, int* symbolsPerKey) {
    SHIM_NEXT(XGetKeyboardMapping);
    TraceEvent(__builtin_return_address(0), "XGetKeyboardMapping count=%d", count);
    return next(display, first, count, symbolsPerKey);
}

int XLookupString(XKeyEvent* event, char* text, int size, KeySym* symbol, XComposeStatus* status) {
    SHIM_NEXT(XLookupString);
    TraceEvent(__builtin_return_address(0), "XLookupString size=%d", size);
    return next(event, text, size, symbol, status);
}

}  // extern "C"
