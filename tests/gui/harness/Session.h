// One run of the real program, driven through real X events and looked at through real screenshots.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Layout.h"
#include "Lettering.h"
#include "Machine.h"
#include "Picture.h"
#include "ShimControl.h"
#include "XServer.h"

namespace gui {

// What a program may take for something when it is not kept waiting for a processor; see OwnTime.
inline constexpr std::chrono::seconds kPatience{60};
// The same under another program, a memory checker say, which runs it many times slower.
inline constexpr std::chrono::seconds kPatienceUnder{240};

// So many frames without what is waited for are in vain: what comes at all comes within a few of them. On a loaded
// machine frames take longer, and so does all else.
inline constexpr std::uint64_t kFramesOfPatience = 30;

struct Ending {
    bool normal = false;  // by exit or by return from main
    int status = -1;      // with normal
    int signal = 0;       // without
};

// The program as a child process, its standard output and standard error in files.
class Program {
public:
    struct Options {
        std::string display;             // empty: none
        pid_t server = -1;               // the display's, where the program works with it for long
        bool root = true;                // otherwise an ordinary user
        bool unbuffered = false;         // whether what it prints outlives a memory fault
        std::vector<std::string> under;  // a program to run it under, with that one's arguments
        std::vector<std::string> arguments;
        std::map<std::string, std::string> environment;
        std::function<void(ShimControl&)> shim;  // fills the answers in
        std::vector<int> closed;                 // descriptors that it has not got
        bool brokenOutput = false;               // its standard output is a pipe that nobody reads any more
    };

    explicit Program(const Options& options);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    bool Running();
    // Returns once the condition holds. Throws with the text after as many frames as there is patience, or, where no
    // frame is drawn, when the program has had the time that it may take.
    void Await(const std::function<bool()>& condition, const std::string& what) const;
    // Waits until the program has drawn this many further frames, or has ended.
    void Frames(std::uint64_t count);
    // Waits for the end of the process.
    Ending End();
    void Kill();
    // Between these two the program stands still, and what is sent to it lies in its queue.
    void Halt() const;
    void Resume() const;
    // What it has written so far.
    std::string Output() const;
    std::string ErrorOutput() const;
    ShimControl& Shim() const { return *shim_; }
    std::string Trace() const;
    pid_t Id() const { return pid_; }

private:
    void AwaitWithin(const std::function<bool()>& condition, const std::string& what) const;

    std::chrono::seconds patience_;
    pid_t server_;
    pid_t pid_ = -1;
    bool ended_ = false;
    Ending ending_;
    ShimControl* shim_ = nullptr;
};

struct Hints {
    long flags = 0;
    int minWidth = 0, minHeight = 0, maxWidth = 0, maxHeight = 0;
};

// A program with its form on a screen. Coordinates are those of the window.
class Session {
public:
    struct Options {
        Screen screen;
        bool root = true;
        std::vector<std::string> under;
        std::vector<std::string> arguments;
        std::map<std::string, std::string> environment;
        std::function<void(ShimControl&)> shim;
        std::vector<int> closed;
        bool brokenOutput = false;
    };

    explicit Session(Machine& machine) : Session(machine, Options{}) {}
    Session(Machine& machine, Screen screen);
    Session(Machine& machine, const Options& options);
    ~Session();

    const Layout& At() const { return layout_; }
    Program& Run() { return *program_; }
    ShimControl& Shim() { return program_->Shim(); }
    _XDisplay* Connection() const { return server_.Connection(); }
    unsigned long Window() const { return window_; }

    void Frames(std::uint64_t count) { program_->Frames(count); }
    // Waits until everything sent so far has been handled and is on the screen, or the program has ended.
    void Settle();
    // The calls of the frame under way and of at least this many whole frames after it, with a swap at the end of each.
    // What `send` sends is handled in the first of the whole frames, or in the one under way.
    std::string TraceOfFrames(std::uint64_t count, const std::function<void()>& send = {});

    void MoveTo(Point point);
    void MoveTo(const Rect& widget) { MoveTo(widget.Centre()); }
    void Press(int button = 1);
    void Release(int button = 1);
    void Click(Point point);
    void Click(const Rect& widget) { Click(widget.Centre()); }
    // One notch: a press and a release in one frame.
    void Notch(int button);
    // Picks an entry of a combo: opens it, scrolls as far as needed, clicks the entry.
    void Pick(const Rect& combo, int entry, int count);

    void KeyDown(unsigned long symbol);
    void KeyUp(unsigned long symbol);
    void Key(unsigned long symbol);
    // Press and release at once, which the toolkit counts as one stroke all the same.
    void Stroke(unsigned long symbol);
    // What a server sends for a key that is held for long: a release and a press at once.
    void Repeat(unsigned long symbol);
    void KeyWith(unsigned long modifier, unsigned long symbol);
    // Each letter as a stroke of its key, with Shift where the key needs it.
    void Type(const std::string& text);

    Picture Shot();
    Colour Pixel(Point point) { return Shot().At(point); }
    // The window's place on the screen, without a window manager.
    Rect Place() const;
    Hints SizeHints() const;
    std::string Title() const;
    void SendClientMessage(const std::string& type);

    // Whether the cell shows this text and nothing else in these colours.
    bool Reads(const Rect& cell, const std::string& text, Colour paper, Align align = Align::Left);

    Ending End() { return program_->End(); }

private:
    void FindWindow();
    // Sends while the program stands still: it finds all of it in its queue at once.
    void SendTogether(const std::function<void()>& send);

    XServer& server_;
    Layout layout_;
    std::unique_ptr<Program> program_;
    unsigned long window_ = 0;
    std::uint64_t marks_ = 0;  // sent so far
    Point origin_;
    std::unique_ptr<Lettering> lettering_;
};

// The X server for a screen; started at first use and shared by the tests of one process.
XServer& ServerFor(Screen screen);

// An ending as exit(0) or a return of 0 from main makes it.
bool EndedWell(const Ending& ending);
std::string ToString(const Ending& ending);

// Compares with a kept picture of that name. On a difference the three pictures are kept in the build tree; the result
// names them, and is empty when all is well.
std::string CompareWithReference(const Picture& actual, const std::string& name, int tolerance, int allowedPixels);
// Keeps a picture in the build tree to be looked at.
void Keep(const Picture& picture, const std::string& name);

}  // namespace gui
