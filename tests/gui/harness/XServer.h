// An X server of our own, with a software GL and a screen of a given size.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

#include "Picture.h"

struct _XDisplay;

namespace gui {

struct Screen {
    int width = 1920;
    int height = 1080;
    bool gl = true;       // whether the server speaks GLX
    int secondWidth = 0;  // of a second screen; 0: there is none
    int secondHeight = 0;
};

inline constexpr Screen kFullHd{1920, 1080};
inline constexpr Screen kQuadHd{2560, 1440};
inline constexpr Screen kUltraHd{3840, 2160};

// The factor that the program works out for a screen.
float ScaleOf(Screen screen);

class XServer {
public:
    explicit XServer(Screen screen);
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    const std::string& Name() const { return name_; }
    pid_t Id() const { return pid_; }
    _XDisplay* Connection() const { return display_; }
    Screen Size() const { return screen_; }

    // Ends the server from one moment to the next, as a crash does. There is no connection of ours afterwards.
    void Crash();

private:
    void Stop();

    Screen screen_;
    pid_t pid_ = -1;
    std::string name_;
    _XDisplay* display_ = nullptr;
};

}  // namespace gui
