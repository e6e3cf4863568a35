#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "OsLayer.h"
#include "support/Threads.h"

namespace {

// Long enough to fall asleep in, short enough for a test, in milliseconds.
constexpr unsigned int kShort = 20;

int KernelThreadNumber() {
    return static_cast<int>(syscall(SYS_gettid));
}

// Asleep until it is woken, as a wait for an event is.
bool IsAsleep(int thread) {
    const auto call = test_support::BlockedIn(thread);
    return call && call->number == SYS_futex;
}

void WaitUntilAsleep(int thread) {
    while (!IsAsleep(thread)) {
        std::this_thread::yield();
    }
}

// A thread that waits for the event and then acts. It is asleep when the constructor is through.
class Sleeper {
public:
    explicit Sleeper(
        void* event, std::function<void(int result)> act = [](int) {})
        : m_thread([this, event, act = std::move(act)] {
              m_number = KernelThreadNumber();
              act(OS_WaitForEvent(event, OS_INFINITE));
              m_awake = true;
          }) {
        while (m_number == 0) {
            std::this_thread::yield();
        }
        WaitUntilAsleep(m_number);
    }
    ~Sleeper() { m_thread.join(); }
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    int Number() const { return m_number; }
    std::thread::native_handle_type Handle() { return m_thread.native_handle(); }

    // Returns when the thread has acted, true, or is asleep once more, false.
    bool HasActed() const {
        while (!m_awake && !IsAsleep(m_number)) {
            std::this_thread::yield();
        }
        return m_awake;
    }

private:
    std::atomic<int> m_number{0};
    std::atomic<bool> m_awake{false};
    std::thread m_thread;  // the last member: it uses the others
};

class EventTest : public testing::Test {
protected:
    ~EventTest() override { OS_DestroyEvent(m_event); }

    void* m_event = OS_CreateAutoEvent(0);
};

TEST_F(EventTest, ASignalBeforeTheFirstWaitMakesItReturnAtOnceAndTheSecondWaitBlocks) {
    OS_SetEvent(m_event);
    EXPECT_NE(OS_WaitForEvent(m_event, OS_INFINITE), 0);
    EXPECT_EQ(OS_WaitForEvent(m_event, kShort), 0);
}

TEST_F(EventTest, TwoSignalsWithNoWaitBetweenThemReleaseOneWaitOnly) {
    OS_SetEvent(m_event);
    OS_SetEvent(m_event);
    EXPECT_NE(OS_WaitForEvent(m_event, OS_INFINITE), 0);
    EXPECT_EQ(OS_WaitForEvent(m_event, kShort), 0);
}

TEST_F(EventTest, IsNotSignalledAtFirst) {
    EXPECT_EQ(OS_WaitForEvent(m_event, 0), 0);
    EXPECT_EQ(OS_WaitForEvent(m_event, kShort), 0);
}

TEST_F(EventTest, CreatedSignalledItReleasesOneWait) {
    void* signalled = OS_CreateAutoEvent(1);
    EXPECT_NE(OS_WaitForEvent(signalled, 0), 0);
    EXPECT_EQ(OS_WaitForEvent(signalled, 0), 0);
    OS_DestroyEvent(signalled);
}

TEST_F(EventTest, AWaitWithoutTimeTakesAPendingSignal) {
    OS_SetEvent(m_event);
    EXPECT_NE(OS_WaitForEvent(m_event, 0), 0);
    EXPECT_EQ(OS_WaitForEvent(m_event, 0), 0);
}

TEST_F(EventTest, IsUsableAfterATimeLimitRanOut) {
    EXPECT_EQ(OS_WaitForEvent(m_event, kShort), 0);
    OS_SetEvent(m_event);
    EXPECT_NE(OS_WaitForEvent(m_event, kShort), 0);
    EXPECT_EQ(OS_WaitForEvent(m_event, kShort), 0);
}

TEST_F(EventTest, ALimitOfSecondsAndMillisecondsIsNotOverWhenTheSignalComes) {
    std::thread signaller([this, waiter = KernelThreadNumber()] {
        WaitUntilAsleep(waiter);
        OS_SetEvent(m_event);
    });
    EXPECT_NE(OS_WaitForEvent(m_event, 60999), 0);
    signaller.join();
    EXPECT_EQ(OS_WaitForEvent(m_event, 1), 0);
}

TEST_F(EventTest, ASignalReleasesAThreadThatIsWaitingAndShowsItWhatWasWrittenBefore) {
    int written = 0;
    int seen = 0;
    {
        const Sleeper waiter(m_event, [&](int) { seen = written; });
        written = 42;
        OS_SetEvent(m_event);
    }
    EXPECT_EQ(seen, 42);
}

TEST_F(EventTest, OneSignalReleasesOneOfSeveralWaiters) {
    constexpr int kWaiters = 4;
    void* released = OS_CreateAutoEvent(0);
    std::vector<std::unique_ptr<Sleeper>> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.push_back(std::make_unique<Sleeper>(m_event, [&](int) { OS_SetEvent(released); }));
    }
    for (int sent = 1; sent <= kWaiters; ++sent) {
        OS_SetEvent(m_event);
        OS_WaitForEvent(released, OS_INFINITE);
        // The one that has acted may not have said so yet. It does not go to sleep any more.
        const auto acted =
            std::count_if(waiters.begin(), waiters.end(), [](const auto& one) { return one->HasActed(); });
        EXPECT_EQ(acted, sent);
    }
    waiters.clear();
    EXPECT_EQ(OS_WaitForEvent(m_event, 0), 0);
    OS_DestroyEvent(released);
}

// Waiters that give up leave the others and the signals in order: each signal is taken by somebody.
TEST_F(EventTest, WaitersThatRunOutOfTimeTakeNoSignalAwayFromTheOthers) {
    constexpr int kSignals = 500;
    constexpr int kWaiters = 4;
    void* taken = OS_CreateAutoEvent(0);
    std::atomic<bool> stop{false};
    std::atomic<int> count{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; ++i) {
        waiters.emplace_back([&, limit = static_cast<unsigned int>(i)] {
            while (!stop) {
                if (OS_WaitForEvent(m_event, limit) != 0) {
                    ++count;
                    OS_SetEvent(taken);
                }
            }
        });
    }
    for (int i = 0; i < kSignals; ++i) {
        OS_SetEvent(m_event);
        OS_WaitForEvent(taken, OS_INFINITE);
        EXPECT_EQ(count, i + 1);
    }
    stop = true;
    for (std::thread& waiter : waiters) {
        waiter.join();
    }
    OS_DestroyEvent(taken);
}

TEST_F(EventTest, NoSignalIsLostBetweenTwoThreadsThatWakeEachOther) {
    constexpr int kRounds = 20000;
    void* answer = OS_CreateAutoEvent(0);
    int question = 0;
    bool inStep = true;
    std::thread other([&] {
        for (int round = 1; round <= kRounds; ++round) {
            OS_WaitForEvent(m_event, OS_INFINITE);
            inStep = inStep && question == round;
            OS_SetEvent(answer);
        }
    });
    for (int round = 1; round <= kRounds; ++round) {
        question = round;
        OS_SetEvent(m_event);
        ASSERT_NE(OS_WaitForEvent(answer, OS_INFINITE), 0);
    }
    other.join();
    EXPECT_TRUE(inStep);
    OS_DestroyEvent(answer);
}

TEST_F(EventTest, SignalsOfManyThreadsWakeTheOneWaiterUntilAllIsDone) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 5000;
    std::atomic<int> done{0};
    std::vector<std::thread> signallers;
    for (int i = 0; i < kThreads; ++i) {
        signallers.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                ++done;
                OS_SetEvent(m_event);
            }
        });
    }
    while (done < kThreads * kRounds) {
        OS_WaitForEvent(m_event, OS_INFINITE);
    }
    for (std::thread& signaller : signallers) {
        signaller.join();
    }
    EXPECT_EQ(done, kThreads * kRounds);
}

std::atomic<int> g_interruptions{0};

void CountInterruption(int /*number*/) {
    ++g_interruptions;
}

TEST_F(EventTest, AWaitThatASystemSignalInterruptsGoesOn) {
    struct sigaction counting {};
    counting.sa_handler = CountInterruption;
    struct sigaction before {};
    sigaction(SIGUSR1, &counting, &before);
    g_interruptions = 0;

    std::atomic<bool> signalled{false};
    bool signalledOnReturn = false;
    int result = 0;
    {
        Sleeper waiter(m_event, [&](int given) {
            result = given;
            signalledOnReturn = signalled;
        });
        for (int i = 1; i <= 50; ++i) {
            pthread_kill(waiter.Handle(), SIGUSR1);
            while (g_interruptions < i) {
                std::this_thread::yield();
            }
            EXPECT_FALSE(waiter.HasActed());
        }
        signalled = true;
        OS_SetEvent(m_event);
    }
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_NE(result, 0);
    EXPECT_TRUE(signalledOnReturn);
}

// The log does not test what OS_CreateAutoEvent gave.
TEST(EventHandle, NullIsTakenByEveryFunction) {
    OS_SetEvent(nullptr);
    EXPECT_EQ(OS_WaitForEvent(nullptr, OS_INFINITE), 0);
    OS_DestroyEvent(nullptr);
}

}  // namespace
