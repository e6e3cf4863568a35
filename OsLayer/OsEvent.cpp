#include <sched.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <new>

#include "OsFutex.h"
#include "OsLayer.h"

namespace {

// The whole event is one word, so that signalling a thread that is awake is a single exchange.
enum EventState : std::int32_t {
    EVENT_AWAITED = -1,  // not signalled, and somebody may be asleep on the word
    EVENT_CLEAR = 0,     // not signalled, nobody asleep
    EVENT_SIGNALLED = 1  // one signal pending
};

struct AutoEvent {
    std::atomic<std::int32_t> state;
};

// Takes a pending signal and leaves `next` behind. A waiter that has slept leaves EVENT_AWAITED, since others may
// still be asleep: the next signal must then wake, at worst for nothing.
bool TakeSignal(AutoEvent& event, std::int32_t next) {
    std::int32_t expected = EVENT_SIGNALLED;
    return event.state.compare_exchange_strong(expected, next, std::memory_order_acquire, std::memory_order_relaxed);
}

// Signals tend to come in bursts, and to wake a sleeper costs the one who signals a system call. So a waiter lets the
// others run this often, some microseconds in all, before it goes to sleep: during a burst it is awake already.
constexpr int kYieldsBeforeSleep = 16;

// Longest wait for an event that could not be made, milliseconds: a thread that waits in a loop then looks for work a
// hundred times a second and leaves the processor alone in between.
constexpr unsigned int kNullEventWait = 10;

bool TakeSignalSoon(AutoEvent& event) {
    for (int i = 0; i < kYieldsBeforeSleep; ++i) {
        sched_yield();
        if (TakeSignal(event, EVENT_CLEAR)) {
            return true;
        }
    }
    return false;
}

// Announces a sleeper on an unsignalled event. False when a signal came in between.
bool AnnounceSleeper(AutoEvent& event) {
    std::int32_t expected = EVENT_CLEAR;
    return event.state.compare_exchange_strong(expected, EVENT_AWAITED, std::memory_order_relaxed) ||
           expected == EVENT_AWAITED;
}

}  // namespace

void* OS_CreateAutoEvent(int signalled) {
    auto* event = new (std::nothrow) AutoEvent;
    if (event != nullptr) {
        event->state.store(signalled != 0 ? EVENT_SIGNALLED : EVENT_CLEAR, std::memory_order_relaxed);
    }
    return event;
}

void OS_SetEvent(void* event) {
    if (event == nullptr) {
        return;
    }
    auto& state = static_cast<AutoEvent*>(event)->state;
    if (state.exchange(EVENT_SIGNALLED, std::memory_order_acq_rel) == EVENT_AWAITED) {
        OsFutexWake(state, 1);
    }
}

int OS_WaitForEvent(void* event, unsigned int milliseconds) {
    if (event == nullptr) {
        std::atomic<std::int32_t> nobody{0};
        const OsDeadline deadline = OsDeadlineIn(std::min(milliseconds, kNullEventWait));
        while (OsFutexWait(nobody, 0, deadline)) {
        }
        return 0;
    }
    auto& self = *static_cast<AutoEvent*>(event);
    if (TakeSignal(self, EVENT_CLEAR) || TakeSignalSoon(self)) {
        return 1;
    }
    const OsDeadline deadline = OsDeadlineIn(milliseconds);
    bool inTime = true;
    while (inTime) {
        if (AnnounceSleeper(self)) {
            inTime = OsFutexWait(self.state, EVENT_AWAITED, deadline);
        }
        if (TakeSignal(self, EVENT_AWAITED)) {
            return 1;
        }
    }
    return 0;
}

void OS_DestroyEvent(void* event) {
    delete static_cast<AutoEvent*>(event);
}
