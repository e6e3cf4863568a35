#include <pthread.h>
#include <setjmp.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <new>

#include "OsFutex.h"
#include "OsLayer.h"

namespace {

// One step of OS_SetThreadPriority in nice levels. Nothing depends on the exact amount.
constexpr int kNicePerStep = 5;

// Shared by the thread and the holder of the handle; the one that lets go last frees it.
struct Thread {
    pthread_t id;
    bool joined;  // holder only
    void* (*function)(void*);
    void* argument;
    std::atomic<std::int32_t> tid;    // kernel's number of the thread, 0 before it runs
    std::atomic<std::int32_t> ended;  // 0 while it runs, 1 afterwards
    std::atomic<int> owners;          // 2 while both live
    std::atomic<bool> terminating;    // OS_TerminateThread has begun
    jmp_buf end;                      // where the thread's function was called
};

void Release(Thread* thread) {
    if (thread->owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete thread;
    }
}

// Runs at the thread's end, on return and on termination alike: the C library calls it for the thread's value of
// g_endKey. A cleanup handler would do the same but puts a destructor on the thread's stack, and between two calls of
// such a function the C++ runtime answers a termination by ending the program.
void ReportEnd(void* argument) {
    auto* thread = static_cast<Thread*>(argument);
    thread->ended.store(1, std::memory_order_release);
    OsFutexWake(thread->ended, 1);
    Release(thread);
}

pthread_key_t g_endKey;

bool HaveEndKey() {
    static const bool created = pthread_key_create(&g_endKey, ReportEnd) == 0;
    return created;
}

void* RunThread(void* argument) {
    auto* thread = static_cast<Thread*>(argument);
    const int unheeded = pthread_setspecific(g_endKey, thread);
    thread->tid.store(static_cast<std::int32_t>(syscall(SYS_gettid)), std::memory_order_release);
    OsFutexWake(thread->tid, 1);
    if (unheeded != 0) {
        // Memory is short. Nobody would learn of the thread's end later, so it ends before it has done anything.
        ReportEnd(thread);
        return nullptr;
    }
    if (setjmp(thread->end) == 0) {
        // Termination is to work whatever the thread is doing, so it does not wait for a cancellation point.
        pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
        thread->function(thread->argument);
        pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, nullptr);
    }
    return nullptr;
}

// A termination unwinds the thread's stack. Where a frame does not let it through (a noexcept function, or one that was
// caught between two calls and has destructors to run), the C++ runtime calls the terminate handler, which would end
// the whole program. While threads are being ended this handler leaves such frames behind instead.
class QuietEnds {
public:
    void Begin() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (count_++ == 0) {
            before_ = std::set_terminate(LeaveFrames);
        }
    }

    void End() {
        const std::lock_guard<std::mutex> lock(mutex_);
        // Another handler that somebody has set meanwhile stays.
        if (--count_ == 0 && std::get_terminate() == LeaveFrames) {
            std::set_terminate(before_);
        }
    }

private:
    static void LeaveFrames();

    std::mutex mutex_;
    int count_ = 0;
    std::terminate_handler before_ = nullptr;
};

// Never destroyed: a thread may be ended while the program ends.
QuietEnds& g_quietEnds = *new QuietEnds;

void QuietEnds::LeaveFrames() {
    auto* self = static_cast<Thread*>(pthread_getspecific(g_endKey));
    if (self != nullptr && self->terminating.load(std::memory_order_acquire)) {
        longjmp(self->end, 1);
    }
    if (g_quietEnds.before_ != nullptr) {
        g_quietEnds.before_();
    }
    std::abort();
}

void Join(Thread* thread) {
    if (!thread->joined) {
        pthread_join(thread->id, nullptr);
        thread->joined = true;
    }
}

// Sleeps until the word has left 0 or the deadline has passed; true when it has left 0.
bool WaitUntilSet(std::atomic<std::int32_t>& word, const OsDeadline& deadline) {
    bool inTime = true;
    while (word.load(std::memory_order_acquire) == 0 && inTime) {
        inTime = OsFutexWait(word, 0, deadline);
    }
    return word.load(std::memory_order_acquire) != 0;
}

}  // namespace

void* OS_CreateThread(void* (*function)(void*), void* argument) {
    if (!HaveEndKey()) {
        return nullptr;
    }
    auto* thread = new (std::nothrow) Thread{{}, false, function, argument, {0}, {0}, {2}, {false}, {}};
    if (thread == nullptr) {
        return nullptr;
    }
    if (pthread_create(&thread->id, nullptr, RunThread, thread) != 0) {
        delete thread;
        return nullptr;
    }
    return thread;
}

void OS_SetThreadPriority(void* thread, int priority) {
    if (thread == nullptr) {
        return;
    }
    auto* self = static_cast<Thread*>(thread);
    WaitUntilSet(self->tid, OsDeadlineIn(OS_INFINITE));
    if (self->ended.load(std::memory_order_acquire) != 0) {
        return;  // its kernel number may be another thread's by now
    }
    // Linux keeps a nice value per thread, reached through the thread's kernel number. Normal is what the program was
    // started with, so that a step below it stays below in a program that was started at a lower priority.
    const int normal = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    setpriority(PRIO_PROCESS, static_cast<id_t>(self->tid.load(std::memory_order_acquire)),
                normal - priority * kNicePerStep);
}

int OS_WaitForThreadToFinishWithTimeout(void* thread, unsigned int milliseconds) {
    if (thread == nullptr) {
        return 1;
    }
    auto* self = static_cast<Thread*>(thread);
    if (!WaitUntilSet(self->ended, OsDeadlineIn(milliseconds))) {
        return 0;
    }
    Join(self);
    return 1;
}

void OS_TerminateThread(void* thread) {
    if (thread == nullptr) {
        return;
    }
    auto* self = static_cast<Thread*>(thread);
    if (!self->joined) {
        self->terminating.store(true, std::memory_order_release);
        g_quietEnds.Begin();
        pthread_cancel(self->id);
        Join(self);
        g_quietEnds.End();
    }
}

void OS_CloseThreadHandle(void* thread) {
    if (thread == nullptr) {
        return;
    }
    auto* self = static_cast<Thread*>(thread);
    if (!self->joined) {
        pthread_detach(self->id);
    }
    Release(self);
}
