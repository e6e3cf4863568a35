#include "Session.h"

#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <thread>
#include <tuple>

#include "Patience.h"

namespace gui {
namespace {

constexpr std::chrono::milliseconds kPoll{1};
// Letters that fit into the toolkit's text input of one frame, with room for keys that yield two.
constexpr std::size_t kLettersPerFrame = 6;
constexpr uid_t kOrdinaryUser = 65534;

std::string OutputPath() {
    return ScratchFolder() + "/stdout";
}

std::string ErrorPath() {
    return ScratchFolder() + "/stderr";
}

std::string ControlPath() {
    return ScratchFolder() + "/control";
}

std::string ReadAll(const std::string& path) {
    std::string text;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    char part[4096];
    for (ssize_t n = 0; fd >= 0 && (n = read(fd, part, sizeof part)) > 0;) {
        text.append(part, static_cast<std::size_t>(n));
    }
    if (fd >= 0) {
        close(fd);
    }
    return text;
}

ShimControl* MakeControl() {
    const int fd = open(ControlPath().c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0 || fchmod(fd, 0666) != 0 || ftruncate(fd, sizeof(ShimControl)) != 0) {
        throw std::runtime_error("cannot make the shim's record");
    }
    void* record = mmap(nullptr, sizeof(ShimControl), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (record == MAP_FAILED) {
        throw std::runtime_error("cannot map the shim's record");
    }
    return new (record) ShimControl();
}

// Where the tests run as root the ordinary user is a real one; in a user namespace one more namespace makes him.
void BecomeOrdinaryUser() {
    if (setresgid(kOrdinaryUser, kOrdinaryUser, kOrdinaryUser) == 0 &&
        setresuid(kOrdinaryUser, kOrdinaryUser, kOrdinaryUser) == 0) {
        return;
    }
    const std::string uid = std::to_string(kOrdinaryUser) + " 0 1";
    if (unshare(CLONE_NEWUSER) != 0) {
        _exit(126);
    }
    const int fd = open("/proc/self/uid_map", O_WRONLY | O_CLOEXEC);
    if (write(fd, uid.data(), uid.size()) != static_cast<ssize_t>(uid.size())) {
        _exit(126);
    }
    close(fd);
}

[[noreturn]] void RunProgram(const Program::Options& options) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(open(OutputPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0666), STDOUT_FILENO);
    dup2(open(ErrorPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0666), STDERR_FILENO);

    std::map<std::string, std::string> environment = {
        {"PATH", "/usr/bin:/bin"},
        {"HOME", "/root"},
        {"LIBGL_ALWAYS_SOFTWARE", "1"},
        // A cache would be a file in the user's home.
        {"MESA_SHADER_CACHE_DISABLE", "true"},
        {"LP_NUM_THREADS", "1"},
        {"LD_PRELOAD", ShimPath("libgui_shim.so")},
        {kShimVariable, ControlPath()},
        // A sanitizer stands behind the preloaded shim, and leaves a memory fault to be seen as what it is.
        {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0:handle_segv=0"},
    };
    if (options.unbuffered) {
        environment[kUnbufferedVariable] = "1";
    }
    if (!options.display.empty()) {
        environment["DISPLAY"] = options.display;
    }
    for (const auto& [name, value] : options.environment) {
        environment[name] = value;
    }
    std::vector<std::string> assignments;
    for (const auto& [name, value] : environment) {
        assignments.push_back(name + "=" + value);
    }
    std::vector<char*> env;
    for (std::string& assignment : assignments) {
        env.push_back(assignment.data());
    }
    env.push_back(nullptr);

    std::vector<std::string> words = options.under;
    words.push_back(ProgramPath());
    words.insert(words.end(), options.arguments.begin(), options.arguments.end());
    std::vector<char*> argv;
    for (std::string& argument : words) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    if (options.brokenOutput) {
        int ends[2] = {-1, -1};
        (void)!pipe(ends);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
    }
    for (const int descriptor : options.closed) {
        close(descriptor);
    }
    if (!options.root) {
        BecomeOrdinaryUser();
        prctl(PR_SET_PDEATHSIG, SIGKILL);
    }
    execve(argv.front(), argv.data(), env.data());
    _exit(127);
}

// The program's window goes away with it, at any time. A request about it then fails, which its result tells; Xlib's
// own handler would end the tests.
int PassOver(Display*, XErrorEvent*) {
    return 0;
}

}  // namespace

Program::Program(const Options& options)
    : patience_(options.under.empty() ? kPatience : kPatienceUnder), server_(options.server), shim_(MakeControl()) {
    for (const std::string& path : {OutputPath(), ErrorPath()}) {
        unlink(path.c_str());
    }
    if (options.shim) {
        options.shim(*shim_);
    }
    pid_ = fork();
    if (pid_ < 0) {
        throw std::runtime_error("no process for the program");
    }
    if (pid_ == 0) {
        RunProgram(options);
    }
}

Program::~Program() {
    Kill();
    munmap(shim_, sizeof *shim_);
}

bool Program::Running() {
    if (ended_) {
        return false;
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == 0) {
        return true;
    }
    ended_ = true;
    ending_.normal = WIFEXITED(status);
    ending_.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    ending_.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return false;
}

void Program::AwaitWithin(const std::function<bool()>& condition, const std::string& what) const {
    constexpr int kPollsToALook = 100;  // a look at the time costs much, and most conditions come soon
    std::optional<OwnTime> time;
    for (int polls = 0; !condition(); ++polls) {
        if (polls == kPollsToALook) {
            time.emplace(std::vector<pid_t>{pid_, server_});
        }
        if (polls > kPollsToALook && polls % kPollsToALook == 0 && time->Passed() > patience_) {
            throw std::runtime_error("waited in vain for " + what);
        }
        std::this_thread::sleep_for(kPoll);
    }
}

void Program::Await(const std::function<bool()>& condition, const std::string& what) const {
    const std::uint64_t last = shim_->frames.load() + kFramesOfPatience;
    AwaitWithin(
        [&] {
            const std::uint64_t drawn = shim_->frames.load();  // before the look at the condition
            if (condition()) {
                return true;
            }
            if (drawn > last) {
                throw std::runtime_error("waited in vain for " + what + ", " + std::to_string(kFramesOfPatience) +
                                         " frames long");
            }
            return false;
        },
        what);
}

void Program::Frames(std::uint64_t count) {
    const std::uint64_t goal = shim_->frames.load() + count;
    AwaitWithin([&] { return shim_->frames.load() >= goal || !Running(); }, "further frames");
}

Ending Program::End() {
    Await([this] { return !Running(); }, "the end of the program");
    return ending_;
}

void Program::Kill() {
    if (Running()) {
        kill(pid_, SIGKILL);
        End();
    }
}

void Program::Halt() const {
    kill(pid_, SIGSTOP);
    siginfo_t stopped{};
    waitid(P_PID, static_cast<id_t>(pid_), &stopped, WSTOPPED | WEXITED | WNOWAIT);
}

void Program::Resume() const {
    kill(pid_, SIGCONT);
}

std::string Program::Output() const {
    return ReadAll(OutputPath());
}

std::string Program::ErrorOutput() const {
    return ReadAll(ErrorPath());
}

std::string Program::Trace() const {
    return std::string(shim_->trace, shim_->traceLength.load());
}

XServer& ServerFor(Screen screen) {
    static std::map<std::tuple<int, int, bool, int, int>, std::unique_ptr<XServer>> servers;
    auto& server = servers[{screen.width, screen.height, screen.gl, screen.secondWidth, screen.secondHeight}];
    if (server == nullptr) {
        server = std::make_unique<XServer>(screen);
    }
    return *server;
}

Session::Session(Machine& machine, Screen screen)
    : Session(machine, Options{screen, true, {}, {}, {}, {}, {}, false}) {}

Session::Session(Machine&, const Options& options)
    : server_(ServerFor(options.screen)), layout_(ScaleOf(options.screen)) {
    XSetErrorHandler(PassOver);
    // Out of the way of every widget, so that nothing is hovered at the start.
    XTestFakeMotionEvent(server_.Connection(), -1, 0, 0, CurrentTime);
    XSync(server_.Connection(), False);
    Program::Options program;
    program.display = server_.Name();
    program.server = server_.Id();
    program.root = options.root;
    program.under = options.under;
    program.arguments = options.arguments;
    program.environment = options.environment;
    program.shim = options.shim;
    program.closed = options.closed;
    program.brokenOutput = options.brokenOutput;
    program_ = std::make_unique<Program>(program);
    program_->Await([this] { return Shim().frames.load() > 0 || !program_->Running(); }, "the first frame");
    if (!program_->Running()) {
        throw std::runtime_error("the program ended before its form was up, " + ToString(program_->End()) + "\n" +
                                 program_->Output() + program_->ErrorOutput());
    }
    FindWindow();
    Settle();
}

Session::~Session() = default;

void Session::FindWindow() {
    ::Window root = 0;
    ::Window parent = 0;
    ::Window* children = nullptr;
    unsigned int count = 0;
    XQueryTree(Connection(), DefaultRootWindow(Connection()), &root, &parent, &children, &count);
    for (unsigned int i = 0; i < count; ++i) {
        char* name = nullptr;
        if (XFetchName(Connection(), children[i], &name) != 0 && name != nullptr) {
            window_ = children[i];
            XFree(name);
        }
    }
    if (children != nullptr) {
        XFree(children);
    }
    if (window_ == 0) {
        throw std::runtime_error("the form's window is not on the screen");
    }
    const Rect place = Place();
    origin_ = {static_cast<int>(place.x), static_cast<int>(place.y)};
}

void Session::Settle() {
    XEvent mark{};
    mark.xselection.type = kMarkType;
    mark.xselection.requestor = window_;
    mark.xselection.time = ++marks_;
    XSendEvent(Connection(), window_, False, NoEventMask, &mark);
    XSync(Connection(), False);
    program_->Await([&] { return Shim().mark.load() >= marks_ || !program_->Running(); }, "the handling of the events");
    program_->Await([&] { return Shim().shown.load() > Shim().marked.load() || !program_->Running(); },
                    "the frame behind the events");
}

void Session::SendTogether(const std::function<void()>& send) {
    program_->Halt();
    send();
    // The server may hold back what it has for the program while it answers us, but not until it answers again.
    XSync(Connection(), False);
    XSync(Connection(), False);
    program_->Resume();
}

std::string Session::TraceOfFrames(std::uint64_t count, const std::function<void()>& send) {
    SendTogether([&] {
        Shim().traceLength = 0;
        // The frame under way is one more, and where it is in its swap that is not traced any more.
        Shim().tracedFrames = Shim().frames.load() + 2 + count;
        if (send) {
            send();
        }
    });
    Frames(2 + count);
    return program_->Trace();
}

void Session::MoveTo(Point point) {
    XTestFakeMotionEvent(Connection(), -1, origin_.x + point.x, origin_.y + point.y, CurrentTime);
    Settle();
}

void Session::Press(int button) {
    XTestFakeButtonEvent(Connection(), static_cast<unsigned int>(button), True, CurrentTime);
    Settle();
}

void Session::Release(int button) {
    XTestFakeButtonEvent(Connection(), static_cast<unsigned int>(button), False, CurrentTime);
    Settle();
}

void Session::Click(Point point) {
    MoveTo(point);
    Press();
    Release();
}

void Session::Notch(int button) {
    SendTogether([&] {
        XTestFakeButtonEvent(Connection(), static_cast<unsigned int>(button), True, CurrentTime);
        XTestFakeButtonEvent(Connection(), static_cast<unsigned int>(button), False, CurrentTime);
    });
    Settle();
}

void Session::Pick(const Rect& combo, int entry, int count) {
    Click(combo);
    const ComboList list = layout_.List(combo, count);
    Rect item = list.items[static_cast<std::size_t>(entry)];
    if (list.scrollRange > 0 && item.y + item.h > list.content.y + list.content.h) {
        MoveTo(list.content);
        // More notches than the longest list takes: the toolkit stops at the end.
        for (int i = 0; i < 10; ++i) {
            Notch(5);
        }
        item.y -= list.scrollRange;
    }
    Click(item);
}

void Session::KeyDown(unsigned long symbol) {
    XTestFakeKeyEvent(Connection(), XKeysymToKeycode(Connection(), symbol), True, CurrentTime);
    Settle();
}

void Session::KeyUp(unsigned long symbol) {
    XTestFakeKeyEvent(Connection(), XKeysymToKeycode(Connection(), symbol), False, CurrentTime);
    Settle();
}

void Session::Key(unsigned long symbol) {
    KeyDown(symbol);
    KeyUp(symbol);
}

void Session::Stroke(unsigned long symbol) {
    const KeyCode code = XKeysymToKeycode(Connection(), symbol);
    XTestFakeKeyEvent(Connection(), code, True, CurrentTime);
    XTestFakeKeyEvent(Connection(), code, False, CurrentTime);
    Settle();
}

void Session::Repeat(unsigned long symbol) {
    const KeyCode code = XKeysymToKeycode(Connection(), symbol);
    SendTogether([&] {
        XTestFakeKeyEvent(Connection(), code, False, CurrentTime);
        XTestFakeKeyEvent(Connection(), code, True, CurrentTime);
    });
    Settle();
}

void Session::KeyWith(unsigned long modifier, unsigned long symbol) {
    KeyDown(modifier);
    Key(symbol);
    KeyUp(modifier);
}

void Session::Type(const std::string& text) {
    std::size_t sent = 0;
    for (const char letter : text) {
        // Latin letters have their own code as their key symbol.
        const KeySym symbol = static_cast<unsigned char>(letter);
        const KeyCode code = XKeysymToKeycode(Connection(), symbol);
        const bool shifted = XkbKeycodeToKeysym(Connection(), code, 0, 0) != symbol;
        const KeyCode shift = XKeysymToKeycode(Connection(), XK_Shift_L);
        if (shifted) {
            XTestFakeKeyEvent(Connection(), shift, True, CurrentTime);
        }
        XTestFakeKeyEvent(Connection(), code, True, CurrentTime);
        XTestFakeKeyEvent(Connection(), code, False, CurrentTime);
        if (shifted) {
            XTestFakeKeyEvent(Connection(), shift, False, CurrentTime);
        }
        if (++sent % kLettersPerFrame == 0) {
            Settle();
        }
    }
    Settle();
}

Picture Session::Shot() {
    Settle();
    const Rect place = Place();
    XImage* image = XGetImage(Connection(), window_, 0, 0, static_cast<unsigned int>(place.w),
                              static_cast<unsigned int>(place.h), AllPlanes, ZPixmap);
    if (image == nullptr) {
        throw std::runtime_error("no screenshot");
    }
    Picture picture(image->width, image->height);
    for (int y = 0; y < image->height; ++y) {
        for (int x = 0; x < image->width; ++x) {
            const unsigned long pixel = XGetPixel(image, x, y);
            picture.Set({x, y}, {static_cast<int>(pixel >> 16 & 0xFF), static_cast<int>(pixel >> 8 & 0xFF),
                                 static_cast<int>(pixel & 0xFF)});
        }
    }
    XDestroyImage(image);
    return picture;
}

Rect Session::Place() const {
    XWindowAttributes attributes{};
    XGetWindowAttributes(Connection(), window_, &attributes);
    return {static_cast<float>(attributes.x), static_cast<float>(attributes.y), static_cast<float>(attributes.width),
            static_cast<float>(attributes.height)};
}

Hints Session::SizeHints() const {
    XSizeHints hints{};
    long supplied = 0;
    XGetWMNormalHints(Connection(), window_, &hints, &supplied);
    return {hints.flags, hints.min_width, hints.min_height, hints.max_width, hints.max_height};
}

std::string Session::Title() const {
    char* name = nullptr;
    XFetchName(Connection(), window_, &name);
    const std::string title = name == nullptr ? "" : name;
    XFree(name);
    return title;
}

void Session::SendClientMessage(const std::string& type) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window_;
    event.xclient.message_type = XInternAtom(Connection(), type.c_str(), False);
    event.xclient.format = 32;
    XSendEvent(Connection(), window_, False, NoEventMask, &event);
    XSync(Connection(), False);
}

bool Session::Reads(const Rect& cell, const std::string& text, Colour paper, Align align) {
    if (lettering_ == nullptr) {
        lettering_ = std::make_unique<Lettering>(layout_.FontHeight());
    }
    const Colour ink{240, 240, 240};
    const Picture shown = Shot().Cut(cell);
    const Picture expected = lettering_->Draw(cell, text, align, ink, paper);
    long missed = 0;
    long written = 0;
    for (int y = 0; y < shown.Height(); ++y) {
        for (int x = 0; x < shown.Width(); ++x) {
            missed += Distance(shown.At({x, y}), expected.At({x, y}));
            written += Distance(expected.At({x, y}), paper);
        }
    }
    // The edges of the letters differ a little between this drawing and the GL's; a wrong letter is far off. An empty
    // text allows no ink at all.
    constexpr double kAllowedShare = 0.12;
    return static_cast<double>(missed) <= kAllowedShare * static_cast<double>(written);
}

bool EndedWell(const Ending& ending) {
    return ending.normal && ending.status == 0;
}

std::string ToString(const Ending& ending) {
    return ending.normal ? "exit status " + std::to_string(ending.status) : "signal " + std::to_string(ending.signal);
}

std::string CompareWithReference(const Picture& actual, const std::string& name, int tolerance, int allowedPixels) {
    Keep(actual, name);
    const std::string reference = ReferenceFolder() + "/" + name + ".png";
    const Picture expected = Picture::FromPng(reference);
    const Difference difference = Compare(actual, expected, tolerance);
    if (difference.sameSize && difference.pixels <= allowedPixels) {
        return "";
    }
    Keep(expected, name + "-expected");
    std::string message = "the picture differs from the reference " + name;
    if (difference.sameSize) {
        Keep(difference.shown, name + "-difference");
        message += " in " + std::to_string(difference.pixels) + " pixels, by " + std::to_string(difference.largest) +
                   " at most";
    } else {
        message += " in its size";
    }
    return message + "; see " + KeptFolderOutside() + "/" + name + "[-expected|-difference].png";
}

void Keep(const Picture& picture, const std::string& name) {
    picture.SavePng(KeptFolder() + "/" + name + ".png");
}

}  // namespace gui
