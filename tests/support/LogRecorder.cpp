#include "support/LogRecorder.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace test_support {
namespace {

std::mutex g_recordedLock;
std::vector<LoggedMessage> g_recorded;

__attribute__((format(printf, 2, 3))) void Record(LOG_LEVEL level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    va_end(arguments);

    const std::lock_guard<std::mutex> hold(g_recordedLock);
    if (g_recorded.size() >= kMostMessages) {
        g_recorded.clear();  // what the test's own end logs is no longer too many
        throw std::length_error("no end of messages: " + text);
    }
    g_recorded.push_back({level, std::move(text)});
}

}  // namespace

LogRecorder::LogRecorder() : m_previous(Log) {
    Clear();
    Log = Record;
}

LogRecorder::~LogRecorder() {
    Log = m_previous;
    Clear();
}

std::vector<LoggedMessage> LogRecorder::Messages() const {
    const std::lock_guard<std::mutex> hold(g_recordedLock);
    return g_recorded;
}

std::vector<std::string> LogRecorder::Texts() const {
    std::vector<std::string> texts;
    for (const LoggedMessage& message : Messages()) {
        texts.push_back(message.text);
    }
    return texts;
}

void LogRecorder::Clear() {
    const std::lock_guard<std::mutex> hold(g_recordedLock);
    g_recorded.clear();
}

}  // namespace test_support
