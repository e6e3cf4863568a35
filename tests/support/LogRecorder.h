// Takes the place of the log.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Log.h"

namespace test_support {

struct LoggedMessage {
    LOG_LEVEL level;
    std::string text;  // as formatted, without prefix and line feed, not cut
};

// So many messages in one test are those of a load that never ends.
inline constexpr std::size_t kMostMessages = 5000;

// While it lives, `Log` points at a function that keeps every message. One at a time. Messages may come from any
// thread. The message that is one too many is thrown out of `Log`, as an std::length_error, so that an endless load
// fails at once.
class LogRecorder {
public:
    LogRecorder();
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    // What came in so far, in order.
    std::vector<LoggedMessage> Messages() const;

    // The texts alone, in order.
    std::vector<std::string> Texts() const;

    // Forgets what came in so far.
    void Clear();

private:
    void (*m_previous)(LOG_LEVEL level, const char* format, ...);
};

}  // namespace test_support
