#include "Loading.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "ConfigLib.h"
#include "Explanations.h"
#include "Log.h"

namespace {

// The same message that often while the reader stays at one line: it never gets past it. A line that ends gives two
// messages at most.
constexpr unsigned int kEndless = 1000;

// Thrown out of a load that never ends.
struct EndlessLoad {};

struct Caught {
    std::string text;
    const char* format;
    long long position;  // of the reader in its file, -1 where no line is at work
    unsigned int times;  // that it was given in a row at that place
};

std::vector<Caught> g_caught;

std::string Formatted(const char* format, va_list arguments) {
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

__attribute__((format(printf, 2, 3))) void Collect(LOG_LEVEL /*level*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = Formatted(format, arguments);
    va_end(arguments);
    const long long position = ConfigFile_Utils_GetReadPosition();
    if (!g_caught.empty() && position >= 0 && g_caught.back().position == position && g_caught.back().text == text) {
        if (++g_caught.back().times == kEndless) {
            throw EndlessLoad{};
        }
        return;
    }
    g_caught.push_back({std::move(text), format, position, 1});
}

// Numbers of lines for positions that only grow, as those of a load do.
class LineCounter {
public:
    explicit LineCounter(const std::string& content) : m_content(content) {}

    // The line that ends at the position, or the one that is cut there; 0 for no position.
    std::size_t LineAt(long long position) {
        if (position <= 0) {
            return 0;
        }
        const std::size_t end = std::min(m_content.size(), static_cast<std::size_t>(position) - 1);
        for (; m_at < end; ++m_at) {
            m_line += m_content[m_at] == '\n' ? 1 : 0;
        }
        return m_line;
    }

private:
    const std::string& m_content;
    std::size_t m_at = 0;
    std::size_t m_line = 1;
};

void ReplaceAll(std::string& text, const std::string& what, const std::string& with) {
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
}

// A finding for each message that was caught, and for each of its repetitions that came to an end.
void TakeMessages(const LoadedFiles& files, int file, bool ended, FileReport& report) {
    const std::string path = files.shown + FILE_NAMES[file] + files.state;
    LineCounter lines(*files.contents[file]);
    for (Caught& caught : g_caught) {
        ReplaceAll(caught.text, files.folder + "/", files.shown);
        Finding finding{caught.text, "", lines.LineAt(caught.position)};
        finding.explanation = PlaceOf(path, finding.line) + ExplanationOf(caught.format);
        report.messages.insert(report.messages.end(), ended ? caught.times : 1, finding);
    }
    g_caught.clear();
}

int (*const kLoaders[FILES])() = {ConfigLib_Load_Global, ConfigLib_Load_Local};

}  // namespace

bool LoadBoth(const LoadedFiles& files, FileReport (&reports)[FILES]) {
    Log = Collect;
    g_caught.clear();
    for (int file = 0; file < FILES; ++file) {
        try {
            reports[file].load = kLoaders[file]();
        } catch (const EndlessLoad&) {
            TakeMessages(files, file, false, reports[file]);
            return false;
        }
        TakeMessages(files, file, true, reports[file]);
    }
    return true;
}

std::vector<std::string> MessagesOf(const std::function<void()>& work) {
    Log = Collect;
    g_caught.clear();
    work();
    std::vector<std::string> texts;
    for (const Caught& caught : g_caught) {
        texts.push_back(caught.text);
    }
    g_caught.clear();
    return texts;
}
