// The same messages through spdlog's asynchronous logger: two sinks as our log has, one line per message, and the
// caller never waits for room.
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <thread>

#include "Burst.h"
#include "Place.h"
#include "Work.h"

namespace bench {
namespace {

class MessagesSpdlog : public Job {
public:
    MessagesSpdlog() {
        const spdlog::sink_ptr file =
            std::make_shared<spdlog::sinks::basic_file_sink_mt>(Folder("Log") + "/spdlog.txt");
        const spdlog::sink_ptr console = std::make_shared<spdlog::sinks::basic_file_sink_mt>("/dev/null");
        m_logger = std::make_shared<spdlog::async_logger>("bench", spdlog::sinks_init_list{file, console}, m_pool,
                                                          spdlog::async_overflow_policy::overrun_oldest);
        m_logger->set_pattern("%l: %v");
    }
    void Run() override {
        for (unsigned int i = 0; i < kBurst; ++i) {
            m_logger->error("Config: Specified {} ID is incorrect ({}) for Node {}", kBurstLabel, i, kBurstNode);
        }
    }
    void Between() override {
        while (m_pool->queue_size() != 0) {
            std::this_thread::yield();
        }
    }

private:
    static constexpr std::size_t kQueueSize = 8192;  // messages, the library's default
    std::shared_ptr<spdlog::details::thread_pool> m_pool =
        std::make_shared<spdlog::details::thread_pool>(kQueueSize, 1);
    std::shared_ptr<spdlog::logger> m_logger;
};

const bool kAdded = AddWork("log/spdlog", [] { return std::make_unique<MessagesSpdlog>(); });

}  // namespace
}  // namespace bench
