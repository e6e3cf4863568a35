// What the layer does when the system gives it no memory, thread or key. The calls that fail are replaced at link time,
// so this program holds the layer's sources itself.
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "OsLayer.h"

namespace {

enum class Lack { None, Memory, Thread, Key, ValueOfKey };

std::atomic<Lack> g_lack{Lack::None};

class LackTest : public testing::Test {
protected:
    ~LackTest() override { g_lack = Lack::None; }
};

}  // namespace

extern "C" {

// operator new(std::size_t, const std::nothrow_t&)
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept;
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) noexcept {
    return g_lack == Lack::Memory ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

// The layer's sources in this program call these in place of the ones without the prefix.
int Lacking_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                           void* argument) {
    return g_lack == Lack::Thread ? EAGAIN : pthread_create(thread, attributes, function, argument);
}

int Lacking_pthread_key_create(pthread_key_t* key, void (*destructor)(void*)) {
    return g_lack == Lack::Key ? EAGAIN : pthread_key_create(key, destructor);
}

int Lacking_pthread_setspecific(pthread_key_t key, const void* value) {
    return g_lack == Lack::ValueOfKey ? ENOMEM : pthread_setspecific(key, value);
}
}

namespace {

void* Count(void* count) {
    ++*static_cast<int*>(count);
    return nullptr;
}

// In a process of its own: the layer asks for its key only once.
TEST_F(LackTest, NoThreadIsCreatedWithoutAKeyToReportItsEndBy) {
    EXPECT_EXIT(
        {
            g_lack = Lack::Key;
            int count = 0;
            void* thread = OS_CreateThread(Count, &count);
            std::exit(thread == nullptr && count == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(LackTest, NoEventIsCreatedWhenMemoryIsShort) {
    g_lack = Lack::Memory;
    EXPECT_EQ(OS_CreateAutoEvent(0), nullptr);
}

TEST_F(LackTest, NoThreadIsCreatedWhenMemoryIsShort) {
    g_lack = Lack::Memory;
    int count = 0;
    EXPECT_EQ(OS_CreateThread(Count, &count), nullptr);
    EXPECT_EQ(count, 0);
}

TEST_F(LackTest, NoThreadIsCreatedWhenTheSystemHasNone) {
    g_lack = Lack::Thread;
    int count = 0;
    EXPECT_EQ(OS_CreateThread(Count, &count), nullptr);
    EXPECT_EQ(count, 0);
}

TEST_F(LackTest, AThreadThatCannotReportItsEndLaterEndsAtOnce) {
    g_lack = Lack::ValueOfKey;
    int count = 0;
    void* thread = OS_CreateThread(Count, &count);
    ASSERT_NE(thread, nullptr);
    OS_SetThreadPriority(thread, 0);
    EXPECT_NE(OS_WaitForThreadToFinishWithTimeout(thread, OS_INFINITE), 0);
    OS_CloseThreadHandle(thread);
    EXPECT_EQ(count, 0);
}

TEST_F(LackTest, WithEverythingThereTheThreadRuns) {
    int count = 0;
    void* thread = OS_CreateThread(Count, &count);
    ASSERT_NE(thread, nullptr);
    EXPECT_NE(OS_WaitForThreadToFinishWithTimeout(thread, OS_INFINITE), 0);
    OS_CloseThreadHandle(thread);
    EXPECT_EQ(count, 1);
}

}  // namespace
