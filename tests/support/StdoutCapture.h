// Standard output of this process, caught or replaced.
#pragma once

#include <string>

namespace test_support {

// While it lives, the descriptor 1 is another one; at the end it is what it was. Buffered text of stdout is flushed to
// where it belongs on both changes.
class StdoutRedirect {
public:
    // `descriptor` stays the caller's.
    explicit StdoutRedirect(int descriptor);
    ~StdoutRedirect();
    StdoutRedirect(const StdoutRedirect&) = delete;
    StdoutRedirect& operator=(const StdoutRedirect&) = delete;

    // Ends it early; the destructor then does nothing.
    void End();

private:
    int m_original;
};

// Catches all that is written to the standard output, by any thread, in a file without a name.
class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    // All text since the construction, stdout's buffer included. The capture goes on.
    std::string Text() const;

private:
    int m_file;
    StdoutRedirect m_redirect;
};

}  // namespace test_support
