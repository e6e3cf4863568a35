#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <thread>

#include "OsLayer.h"
#include "support/Threads.h"

static std::atomic<int> g_prioritiesSet{0};

// Stands in for the C library's function of this name, which the layer calls.
extern "C" int setpriority(__priority_which_t which, id_t who, int priority) noexcept {
    ++g_prioritiesSet;
    return static_cast<int>(syscall(SYS_setpriority, which, who, priority));
}

namespace {

using test_support::HasEnded;

int KernelThreadNumber() {
    return static_cast<int>(syscall(SYS_gettid));
}

// For threads that nothing in the layer waits for. One that does not end lets the test run into its time limit.
void WaitUntilEnded(int thread) {
    while (!HasEnded(thread)) {
        std::this_thread::yield();
    }
}

// What a thread under test works with. `running` is signalled once it has stored its number.
struct Shared {
    void* running = OS_CreateAutoEvent(0);
    void* goOn = OS_CreateAutoEvent(0);
    void* done = OS_CreateAutoEvent(0);
    int number = 0;
    int niceness = 0;
    int pipe[2] = {-1, -1};
    unsigned long rounds = 0;  // by atomic operations

    Shared() = default;
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    ~Shared() {
        OS_DestroyEvent(running);
        OS_DestroyEvent(goOn);
        OS_DestroyEvent(done);
        for (const int end : pipe) {
            if (end >= 0) {
                close(end);
            }
        }
    }
};

Shared& Announce(void* argument) {
    auto& shared = *static_cast<Shared*>(argument);
    shared.number = KernelThreadNumber();
    OS_SetEvent(shared.running);
    return shared;
}

void* EndAtOnce(void* argument) {
    return &Announce(argument);
}

void* WaitForGoOn(void* argument) {
    Shared& shared = Announce(argument);
    OS_WaitForEvent(shared.goOn, OS_INFINITE);
    shared.niceness = getpriority(PRIO_PROCESS, 0);
    OS_SetEvent(shared.done);
    return nullptr;
}

// Not instrumented: the sanitizer's bookkeeping at a function's end is a destructor to the C++ runtime.
__attribute__((no_sanitize("thread"))) __attribute__((no_sanitize("address"))) void* LoopForEver(void* argument) {
    Shared& shared = Announce(argument);
    for (;;) {
        __atomic_fetch_add(&shared.rounds, 1, __ATOMIC_RELAXED);
    }
}

void* ReadFromEmptyPipe(void* argument) {
    Shared& shared = Announce(argument);
    char byte = 0;
    while (read(shared.pipe[0], &byte, 1) >= 0) {
    }
    return nullptr;
}

void* WriteToFullPipe(void* argument) {
    Shared& shared = Announce(argument);
    char block[4096] = {};
    while (write(shared.pipe[1], block, sizeof block) > 0) {
    }
    return nullptr;
}

// Starts the thread and returns when it is running.
void* Start(void* (*function)(void*), Shared& shared) {
    void* thread = OS_CreateThread(function, &shared);
    EXPECT_NE(thread, nullptr);
    OS_WaitForEvent(shared.running, OS_INFINITE);
    return thread;
}

TEST(Thread, RunsTheFunctionWithTheArgumentOnAThreadOfItsOwn) {
    Shared shared;
    void* thread = Start(EndAtOnce, shared);
    EXPECT_NE(OS_WaitForThreadToFinishWithTimeout(thread, OS_INFINITE), 0);
    EXPECT_NE(shared.number, 0);
    EXPECT_NE(shared.number, KernelThreadNumber());
    OS_CloseThreadHandle(thread);
}

TEST(Thread, WaitingForAFinishedThreadReturnsAtOnceAndItsHandleCanBeClosed) {
    Shared shared;
    void* thread = Start(EndAtOnce, shared);
    WaitUntilEnded(shared.number);
    EXPECT_NE(OS_WaitForThreadToFinishWithTimeout(thread, 0), 0);
    EXPECT_NE(OS_WaitForThreadToFinishWithTimeout(thread, 2000), 0);
    OS_CloseThreadHandle(thread);
}

TEST(Thread, WaitingForARunningThreadRunsOutOfTime) {
    Shared shared;
    void* thread = Start(WaitForGoOn, shared);
    EXPECT_EQ(OS_WaitForThreadToFinishWithTimeout(thread, 0), 0);
    EXPECT_EQ(OS_WaitForThreadToFinishWithTimeout(thread, 20), 0);
    EXPECT_FALSE(HasEnded(shared.number));
    OS_SetEvent(shared.goOn);
    EXPECT_NE(OS_WaitForThreadToFinishWithTimeout(thread, OS_INFINITE), 0);
    EXPECT_TRUE(HasEnded(shared.number));
    OS_CloseThreadHandle(thread);
}

TEST(Thread, WhatItWroteIsSeenAfterTheWait) {
    for (int i = 0; i < 200; ++i) {
        int written = 0;
        void* thread = OS_CreateThread(
            [](void* argument) -> void* {
                *static_cast<int*>(argument) = 7;
                return nullptr;
            },
            &written);
        ASSERT_NE(OS_WaitForThreadToFinishWithTimeout(thread, OS_INFINITE), 0);
        EXPECT_EQ(written, 7);
        OS_CloseThreadHandle(thread);
    }
}

// `shared.number` is the kernel's and may be given to another thread later, but none is started here.
void ExpectTerminationWorks(void* thread, const Shared& shared) {
    EXPECT_EQ(OS_WaitForThreadToFinishWithTimeout(thread, 20), 0);
    OS_TerminateThread(thread);
    EXPECT_TRUE(HasEnded(shared.number));
    EXPECT_NE(OS_WaitForThreadToFinishWithTimeout(thread, 0), 0);
    OS_CloseThreadHandle(thread);
}

TEST(TerminateThread, EndsAThreadInABusyLoop) {
    Shared shared;
    void* thread = Start(LoopForEver, shared);
    while (__atomic_load_n(&shared.rounds, __ATOMIC_RELAXED) == 0) {
        std::this_thread::yield();
    }
    ExpectTerminationWorks(thread, shared);
}

TEST(TerminateThread, EndsAThreadThatWaitsForAnEvent) {
    Shared shared;
    void* thread = Start(WaitForGoOn, shared);
    ExpectTerminationWorks(thread, shared);
}

TEST(TerminateThread, EndsAThreadThatIsBlockedInARead) {
    Shared shared;
    ASSERT_EQ(pipe2(shared.pipe, O_CLOEXEC), 0);
    void* thread = Start(ReadFromEmptyPipe, shared);
    ExpectTerminationWorks(thread, shared);
}

TEST(TerminateThread, EndsAThreadThatIsBlockedInAWriteToAFullPipe) {
    Shared shared;
    ASSERT_EQ(pipe2(shared.pipe, O_CLOEXEC), 0);
    void* thread = Start(WriteToFullPipe, shared);
    ExpectTerminationWorks(thread, shared);
}

// The C++ runtime answers an unwinding that reaches a noexcept function by ending the program.
__attribute__((no_sanitize("thread"))) __attribute__((no_sanitize("address"))) void* LoopForEverNoexcept(
    void* argument) noexcept {
    return LoopForEver(argument);
}

void* ReadFromEmptyPipeNoexcept(void* argument) noexcept {
    return ReadFromEmptyPipe(argument);
}

TEST(TerminateThread, OfANoexceptFunctionEndsTheThreadAlone) {
    for (int i = 0; i < 50; ++i) {
        Shared shared;
        void* thread = Start(LoopForEverNoexcept, shared);
        while (__atomic_load_n(&shared.rounds, __ATOMIC_RELAXED) == 0) {
            std::this_thread::yield();
        }
        ExpectTerminationWorks(thread, shared);
    }
}

TEST(TerminateThread, OfANoexceptFunctionThatIsBlockedEndsTheThreadAlone) {
    Shared shared;
    ASSERT_EQ(pipe2(shared.pipe, O_CLOEXEC), 0);
    void* thread = Start(ReadFromEmptyPipeNoexcept, shared);
    ExpectTerminationWorks(thread, shared);
}

struct CountsItsEnd {
    explicit CountsItsEnd(Shared& owner) : shared(owner) {}
    CountsItsEnd(const CountsItsEnd&) = delete;
    CountsItsEnd& operator=(const CountsItsEnd&) = delete;
    ~CountsItsEnd() { shared.niceness = 77; }
    Shared& shared;
};

// Between two of its instructions, where the runtime finds no place for the destructor.
__attribute__((no_sanitize("thread"))) __attribute__((no_sanitize("address"))) void* LoopWithADestructor(
    void* argument) {
    Shared& shared = Announce(argument);
    const CountsItsEnd end(shared);
    for (;;) {
        __atomic_fetch_add(&shared.rounds, 1, __ATOMIC_RELAXED);
        if (shared.number == 0) {
            Announce(argument);  // never called; what may throw here makes the loop a place with a destructor to run
        }
    }
}

TEST(TerminateThread, OfAFunctionWithADestructorEndsTheThreadAlone) {
    Shared shared;
    void* thread = Start(LoopWithADestructor, shared);
    while (__atomic_load_n(&shared.rounds, __ATOMIC_RELAXED) == 0) {
        std::this_thread::yield();
    }
    ExpectTerminationWorks(thread, shared);
}

void* ReadWithADestructor(void* argument) {
    const CountsItsEnd end(*static_cast<Shared*>(argument));
    return ReadFromEmptyPipe(argument);
}

TEST(TerminateThread, InABlockingCallRunsTheDestructorsOfTheThread) {
    Shared shared;
    ASSERT_EQ(pipe2(shared.pipe, O_CLOEXEC), 0);
    void* thread = Start(ReadWithADestructor, shared);
    ExpectTerminationWorks(thread, shared);
    EXPECT_EQ(shared.niceness, 77);
}

TEST(TerminateThread, LeavesTheProgramsTerminateHandlerAsItWas) {
    const auto own = [] { std::_Exit(3); };
    const std::terminate_handler before = std::set_terminate(own);
    Shared shared;
    ASSERT_EQ(pipe2(shared.pipe, O_CLOEXEC), 0);
    OS_TerminateThread(Start(ReadFromEmptyPipeNoexcept, shared));
    EXPECT_EQ(std::get_terminate(), static_cast<std::terminate_handler>(own));
    std::set_terminate(before);
}

// On another thread than the one that is being ended the program's own handler decides.
TEST(TerminateThread, LeavesTheEndOfTheProgramToItsOwnHandler) {
    EXPECT_EXIT(
        {
            std::set_terminate([] { std::_Exit(3); });
            std::terminate();
        },
        testing::ExitedWithCode(3), "");
}

TEST(TerminateThread, OfAThreadThatHasEndedChangesNothing) {
    Shared shared;
    void* thread = Start(EndAtOnce, shared);
    OS_TerminateThread(thread);
    OS_TerminateThread(thread);
    EXPECT_NE(OS_WaitForThreadToFinishWithTimeout(thread, 0), 0);
    OS_CloseThreadHandle(thread);
}

TEST(TerminateThread, EndsManyThreadsOneAfterAnother) {
    for (int i = 0; i < 200; ++i) {
        Shared shared;
        void* thread = Start(LoopForEver, shared);
        while (__atomic_load_n(&shared.rounds, __ATOMIC_RELAXED) == 0) {
            std::this_thread::yield();
        }
        OS_TerminateThread(thread);
        ASSERT_TRUE(HasEnded(shared.number));
        OS_CloseThreadHandle(thread);
    }
}

TEST(CloseThreadHandle, OfARunningThreadLetsItGoOn) {
    Shared shared;
    void* thread = Start(WaitForGoOn, shared);
    OS_CloseThreadHandle(thread);
    EXPECT_FALSE(HasEnded(shared.number));
    OS_SetEvent(shared.goOn);
    EXPECT_NE(OS_WaitForEvent(shared.done, OS_INFINITE), 0);
    WaitUntilEnded(shared.number);
}

TEST(CloseThreadHandle, OfAFinishedThreadThatNobodyWaitedForIsPossible) {
    Shared shared;
    void* thread = Start(EndAtOnce, shared);
    WaitUntilEnded(shared.number);
    OS_CloseThreadHandle(thread);
}

// Five nice levels down from `normal`; the kernel ends the scale at 19.
int OneStepBelow(int normal) {
    return std::min(normal + 5, 19);
}

int NicenessUnder(int priority) {
    Shared shared;
    void* thread = Start(WaitForGoOn, shared);
    OS_SetThreadPriority(thread, priority);
    OS_SetEvent(shared.goOn);
    EXPECT_NE(OS_WaitForThreadToFinishWithTimeout(thread, OS_INFINITE), 0);
    OS_CloseThreadHandle(thread);
    return shared.niceness;
}

TEST(SetThreadPriority, OneStepBelowNormalIsFiveNiceLevelsForThatThreadAlone) {
    const int own = getpriority(PRIO_PROCESS, 0);
    EXPECT_EQ(NicenessUnder(-1), OneStepBelow(own));
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), own);
}

// In a process of its own: an ordinary user cannot take a nice value back.
TEST(SetThreadPriority, StepsCountFromThePriorityThatTheProgramHas) {
    const int own = getpriority(PRIO_PROCESS, 0);
    EXPECT_EXIT(
        {
            setpriority(PRIO_PROCESS, 0, std::min(own + 10, 19));
            std::exit(NicenessUnder(-1) == OneStepBelow(std::min(own + 10, 19)) ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(SetThreadPriority, AThreadThatHasEndedIsLeftAlone) {
    void* thread = OS_CreateThread([](void*) -> void* { return nullptr; }, nullptr);
    ASSERT_NE(OS_WaitForThreadToFinishWithTimeout(thread, OS_INFINITE), 0);
    const int before = g_prioritiesSet;
    OS_SetThreadPriority(thread, -1);
    EXPECT_EQ(g_prioritiesSet, before);
    OS_CloseThreadHandle(thread);
}

TEST(SetThreadPriority, NormalChangesNothing) {
    EXPECT_EQ(NicenessUnder(0), getpriority(PRIO_PROCESS, 0));
}

TEST(ThreadHandle, NullIsTakenByEveryFunction) {
    OS_SetThreadPriority(nullptr, -1);
    EXPECT_NE(OS_WaitForThreadToFinishWithTimeout(nullptr, 0), 0);
    OS_TerminateThread(nullptr);
    OS_CloseThreadHandle(nullptr);
}

}  // namespace
