// Drives a window as a user would, by the X server's own test events, and takes pictures of it.
//
//   vesmara-demo-driver probe        status 0 when the display can be opened and offers GLX
//   vesmara-demo-driver < commands   carries out one command a line
//
// Commands:
//   window TITLE       waits until a window with that title shows a picture; the later commands are about it
//   place NAME X Y     names a place, in pixels from the window's upper left corner
//   click NAME         clicks there with the left button and expects the picture to change
//   last NAME          presses the left button there and expects the window to go away
//   key KEY [TIMES]    strokes a key, by its X name, and expects the picture to change each time
//   type TEXT          strokes one key for each letter or digit
//   picture FILE       saves the window's picture as a PNG file
//   say TEXT           prints the text
// A line that is empty or begins with '#' is skipped.
//
// The toolkit looks at the mouse and the keyboard once a frame, so a press and its release must not fall into one
// frame. How long a frame takes depends on the machine. The server's damage reports tell when one has been drawn, and
// all waiting here is for frames.

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/Xdamage.h>
#include <X11/keysym.h>
#include <png.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Long enough for software rendering on a busy machine; reached only when something is wrong.
constexpr auto kPatience = std::chrono::seconds(60);
constexpr auto kPollInterval = milliseconds(5);
// The frame under way when an event is sent, the one that takes it in, and one that shows what came of it; one to
// spare.
constexpr int kFramesToSettle = 4;
// A window that still draws after so many frames does not go away.
constexpr int kFramesOfPatience = 100;

struct Picture {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<uint8_t> rgb;  // 3 bytes a pixel, rows from top to bottom; empty when the window has gone

    bool operator==(const Picture& other) const { return width == other.width && rgb == other.rgb; }
};

struct Place {
    int x = 0;
    int y = 0;
};

std::map<std::string, Place> places;
Display* display = nullptr;
Window window = None;
int damageNotify = 0;  // the event type of damage reports on this server

// The window may vanish at any time, and requests about it then fail: that must not end the driver as Xlib's own
// handler does.
bool requestFailed = false;
int OnError(Display*, XErrorEvent*) {
    requestFailed = true;
    return 0;
}

void WaitUntil(const std::string& what, const std::function<bool()>& reached) {
    const auto end = Clock::now() + kPatience;
    while (!reached()) {
        if (Clock::now() > end) {
            throw std::runtime_error("waited in vain for " + what);
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

Picture ToPicture(XImage* image) {
    Picture picture;
    picture.width = static_cast<unsigned>(image->width);
    picture.height = static_cast<unsigned>(image->height);
    picture.rgb.reserve(size_t{3} * picture.width * picture.height);
    for (int y = 0; y < image->height; ++y) {
        for (int x = 0; x < image->width; ++x) {
            const unsigned long pixel = XGetPixel(image, x, y);  // 24 bits, red highest: the server runs at that depth
            picture.rgb.push_back(static_cast<uint8_t>(pixel >> 16));
            picture.rgb.push_back(static_cast<uint8_t>(pixel >> 8));
            picture.rgb.push_back(static_cast<uint8_t>(pixel));
        }
    }
    return picture;
}

Picture Capture() {
    requestFailed = false;
    XWindowAttributes attributes;
    if (XGetWindowAttributes(display, window, &attributes) == 0 || attributes.map_state != IsViewable) {
        return {};
    }
    XImage* image = XGetImage(display, window, 0, 0, static_cast<unsigned>(attributes.width),
                              static_cast<unsigned>(attributes.height), AllPlanes, ZPixmap);
    if (image == nullptr || requestFailed) {
        return {};
    }
    const Picture picture = ToPicture(image);
    XDestroyImage(image);
    return picture;
}

// A frame reaches the server as one image or as several strips from top to bottom: the last ends at the bottom edge.
bool EndsFrame(const XEvent& event) {
    if (event.type != damageNotify) {
        return false;
    }
    const auto& report = reinterpret_cast<const XDamageNotifyEvent&>(event);
    return report.area.y + report.area.height >= report.geometry.height;
}

// How many frames have been reported since the last look.
int NewFrames() {
    int frames = 0;
    while (XPending(display) > 0) {
        XEvent event;
        XNextEvent(display, &event);
        frames += EndsFrame(event) ? 1 : 0;
    }
    return frames;
}

void AwaitFrames(int count) {
    XSync(display, True);  // reports of earlier frames do not count
    WaitUntil("new frames", [&] { return (count -= NewFrames()) <= 0; });
}

Picture Settled() {
    AwaitFrames(kFramesToSettle);
    return Capture();
}

Window FindWindow(Window parent, const std::string& title) {
    char* name = nullptr;
    if (XFetchName(display, parent, &name) != 0 && name != nullptr) {
        const bool hit = title == name;
        XFree(name);
        if (hit) {
            return parent;
        }
    }
    Window root = None;
    Window grandparent = None;
    Window* children = nullptr;
    unsigned count = 0;
    Window found = None;
    if (XQueryTree(display, parent, &root, &grandparent, &children, &count) != 0 && children != nullptr) {
        for (unsigned i = 0; i < count && found == None; ++i) {
            found = FindWindow(children[i], title);
        }
        XFree(children);
    }
    return found;
}

bool IsDrawn(const Picture& picture) {
    for (size_t i = 3; i < picture.rgb.size(); ++i) {
        if (picture.rgb[i] != picture.rgb[i - 3]) {
            return true;
        }
    }
    return false;
}

void AwaitWindow(const std::string& title) {
    WaitUntil("the window \"" + title + "\"", [&] {
        window = FindWindow(DefaultRootWindow(display), title);
        return window != None && IsDrawn(Capture());
    });
    XDamageCreate(display, window, XDamageReportRawRectangles);
    XSetInputFocus(display, window, RevertToParent, CurrentTime);
}

void Button(bool down) {
    XTestFakeButtonEvent(display, Button1, down ? True : False, CurrentTime);
    XSync(display, False);
}

void PointAt(Place place) {
    int rootX = 0;
    int rootY = 0;
    Window child = None;
    XTranslateCoordinates(display, window, DefaultRootWindow(display), place.x, place.y, &rootX, &rootY, &child);
    XTestFakeMotionEvent(display, DefaultScreen(display), rootX, rootY, CurrentTime);
    AwaitFrames(kFramesToSettle);
}

Place Named(const std::string& name) {
    const auto place = places.find(name);
    if (place == places.end()) {
        throw std::runtime_error("no such place");
    }
    return place->second;
}

// What is under the pointer looks different; to see what a click changed, the pointer has to be out of the way.
Picture WithPointerAside() {
    PointAt({1, 1});
    return Settled();
}

void RequireChange(const Picture& before, const Picture& after) {
    if (before == after) {
        throw std::runtime_error("no effect");
    }
}

void Click(const std::string& name) {
    const Picture before = WithPointerAside();
    PointAt(Named(name));
    Button(true);
    AwaitFrames(kFramesToSettle);
    Button(false);
    AwaitFrames(kFramesToSettle);
    RequireChange(before, WithPointerAside());
}

void LastClick(const std::string& name) {
    PointAt(Named(name));
    Button(true);
    XSync(display, True);
    int frames = 0;
    WaitUntil("the window to go away", [&] {
        frames += NewFrames();
        if (frames > kFramesOfPatience) {
            throw std::runtime_error("no effect");
        }
        return Capture().rgb.empty();
    });
    Button(false);
}

void Key(KeyCode code, bool down) {
    XTestFakeKeyEvent(display, code, down ? True : False, CurrentTime);
    XSync(display, False);
}

void Stroke(const std::string& name) {
    const KeySym symbol = XStringToKeysym(name.c_str());
    const KeyCode code = XKeysymToKeycode(display, symbol);
    if (code == 0) {
        throw std::runtime_error("no such key: " + name);
    }
    const bool shifted = XkbKeycodeToKeysym(display, code, 0, 0) != symbol;
    const KeyCode shift = XKeysymToKeycode(display, XK_Shift_L);
    if (shifted) {
        Key(shift, true);
    }
    const Picture before = Settled();
    Key(code, true);
    RequireChange(before, Settled());
    Key(code, false);
    if (shifted) {
        Key(shift, false);
    }
}

void Type(const std::string& text) {
    for (const char letter : text) {
        Stroke(std::string(1, letter));
    }
}

void SavePicture(const std::string& file) {
    const Picture picture = Settled();
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    png.width = picture.width;
    png.height = picture.height;
    png.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&png, file.c_str(), 0, picture.rgb.data(), 0, nullptr) == 0) {
        throw std::runtime_error("cannot write " + file + ": " + png.message);
    }
}

// The rest of a command's line, without the blank in front.
std::string Rest(std::istream& line) {
    std::string text;
    std::getline(line >> std::ws, text);
    return text;
}

void NamePlace(std::istream& line) {
    std::string name;
    Place place;
    if (!(line >> name >> place.x >> place.y)) {
        throw std::runtime_error("a place is a name and two numbers");
    }
    places[name] = place;
}

void StrokeRepeatedly(std::istream& line) {
    std::string key;
    int times = 1;
    line >> key;
    if (!(line >> times)) {
        times = 1;
    }
    for (int i = 0; i < times; ++i) {
        Stroke(key);
    }
}

struct Command {
    const char* name;
    void (*perform)(std::istream& line);
};

constexpr Command kCommands[] = {
    {"window", [](std::istream& line) { AwaitWindow(Rest(line)); }},
    {"place", NamePlace},
    {"click", [](std::istream& line) { Click(Rest(line)); }},
    {"last", [](std::istream& line) { LastClick(Rest(line)); }},
    {"key", StrokeRepeatedly},
    {"type", [](std::istream& line) { Type(Rest(line)); }},
    {"picture", [](std::istream& line) { SavePicture(Rest(line)); }},
    {"say", [](std::istream& line) { std::cout << Rest(line) << std::endl; }},
};

void Perform(const std::string& name, std::istream& line) {
    for (const Command& command : kCommands) {
        if (name == command.name) {
            command.perform(line);
            return;
        }
    }
    throw std::runtime_error("unknown command");
}

int PerformAll(std::istream& commands) {
    std::string text;
    while (std::getline(commands, text)) {
        std::istringstream line(text);
        std::string command;
        if (!(line >> command) || command[0] == '#') {
            continue;
        }
        try {
            Perform(command, line);
        } catch (const std::exception& failure) {
            std::cerr << "vesmara-demo-driver: " << text << ": " << failure.what() << '\n';
            return 1;
        }
    }
    return 0;
}

bool StartDamageReports() {
    int base = 0;
    int error = 0;
    if (XDamageQueryExtension(display, &base, &error) == 0) {
        return false;
    }
    damageNotify = base + XDamageNotify;
    return true;
}

bool HasExtension(const char* name) {
    int opcode = 0;
    int event = 0;
    int error = 0;
    return XQueryExtension(display, name, &opcode, &event, &error) != 0;
}

}  // namespace

int main(int argc, char** argv) {
    display = XOpenDisplay(nullptr);
    if (argc > 1) {
        return std::string(argv[1]) == "probe" && display != nullptr && HasExtension("GLX") ? 0 : 1;
    }
    if (display == nullptr || !HasExtension("XTEST") || !StartDamageReports()) {
        std::cerr << "vesmara-demo-driver: no display with test events and damage reports\n";
        return 1;
    }
    XSetErrorHandler(OnError);
    return PerformAll(std::cin);
}
