// The program's window: X11, a GLX context and the frame loop.
#pragma once

#include <string>

// Opens the fixed-size, centred window `title` of `width` by `height` logical units times `scale` pixels, bakes the
// font file at `fontPath` and runs the form until the window is closed; then tears everything down and returns. Throws
// the integer 0, after one line in the log, when the window or the form cannot be built; nothing is released then. The
// form's "Apply" and "Cancel" end the process from inside. A font that cannot be loaded, and a backend that cannot
// start (OpenGL below 2.0, an extension or the locale missing), are fatal at the first frame.
void InitializeXWindowGl3(std::string title, int width, int height, float scale, std::string fontPath);
