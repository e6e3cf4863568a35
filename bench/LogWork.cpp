// The caller's cost of a formatted message: bursts of 100 with the ring drained between them.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "Burst.h"
#include "Log.h"
#include "Place.h"
#include "Work.h"

namespace bench {
namespace {

// The log while it is open, on a file of its own and with the console's copy thrown away.
class OpenedLog {
public:
    OpenedLog() {
        Folder("Log");
        if (OpenLog("/Log/", 1) == 0) {
            Fail("the log cannot be opened");
        }
        // The thread looks at it with the first message.
        m_console = std::fopen("/dev/null", "w");
        g_hLogConsole = m_console;
    }
    ~OpenedLog() {
        CloseLog();
        std::fclose(m_console);
    }
    OpenedLog(const OpenedLog&) = delete;
    OpenedLog& operator=(const OpenedLog&) = delete;

    // One log for all writers.
    static std::shared_ptr<OpenedLog> Share() {
        static std::mutex mutex;
        static std::weak_ptr<OpenedLog> shared;
        const std::lock_guard<std::mutex> lock(mutex);
        std::shared_ptr<OpenedLog> log = shared.lock();
        if (log == nullptr) {
            log = std::make_shared<OpenedLog>();
            shared = log;
        }
        return log;
    }

private:
    std::FILE* m_console;
};

class Messages : public Job {
public:
    void Run() override {
        for (unsigned int i = 0; i < kBurst; ++i) {
            Log(LOG_LEVEL_ERROR, "Config: Specified %s ID is incorrect (%u) for Node %u", kBurstLabel, i, kBurstNode);
        }
    }
    void Between() override {
        while (g_ullLogBufRd.load() != g_ullLogBufWr.load()) {
            std::this_thread::yield();
        }
    }

private:
    std::shared_ptr<OpenedLog> m_log = OpenedLog::Share();
};

// The least that a message takes: it is formatted on the stack and copied into a ring.
class MessagesFloor : public Job {
public:
    void Run() override {
        for (unsigned int i = 0; i < kBurst; ++i) {
            char text[1024];
            const int length =
                std::snprintf(text, sizeof text, "ERROR: Config: Specified %s ID is incorrect (%u) for Node %u\n",
                              kBurstLabel, i, kBurstNode);
            std::memcpy(m_ring.get() + m_written, text, static_cast<std::size_t>(length));
            m_written += static_cast<std::size_t>(length);
        }
    }
    void Between() override {
        if (m_written == 0) {
            Fail("the floor has written nothing");
        }
        m_written = 0;
    }

private:
    static constexpr std::size_t kRingSize = 16384;  // bytes; a burst never wraps
    std::unique_ptr<char[]> m_ring{new char[kRingSize]};
    std::size_t m_written = 0;
};

bool AddWriters() {
    for (const int writers : {1, 2, 3, 4}) {
        AddWork(
            "log-writers/" + std::to_string(writers), [] { return std::make_unique<Messages>(); }, writers);
    }
    return true;
}

const bool kAdded = AddWork("log/own", [] { return std::make_unique<Messages>(); }) &&
                    AddWork("log/floor", [] { return std::make_unique<MessagesFloor>(); }) && AddWriters();

}  // namespace
}  // namespace bench
