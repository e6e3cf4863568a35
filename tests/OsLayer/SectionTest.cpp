#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <cstring>
#include <thread>
#include <vector>

#include "OsLayer.h"

namespace {

// 0 when another thread could enter the section right now, EBUSY when it is held.
int LookFromAnotherThread(pthread_mutex_t* section) {
    int result = -1;
    std::thread other([&] {
        result = pthread_mutex_trylock(section);
        if (result == 0) {
            pthread_mutex_unlock(section);
        }
    });
    other.join();
    return result;
}

TEST(GuardedCodeSection, InitialisationMakesAnyStorageAnUnlockedSection) {
    pthread_mutex_t section;
    std::memset(&section, 0xA5, sizeof section);
    OS_InitializeGuardedCodeSection(&section);
    EXPECT_EQ(LookFromAnotherThread(&section), 0);
    OS_DeleteGuardedCodeSection(&section);
}

TEST(GuardedCodeSection, IsHeldFromEnterToLeave) {
    pthread_mutex_t section;
    OS_InitializeGuardedCodeSection(&section);
    OS_EnterGuardedCodeSection(&section);
    EXPECT_EQ(LookFromAnotherThread(&section), EBUSY);
    OS_LeaveGuardedCodeSection(&section);
    EXPECT_EQ(LookFromAnotherThread(&section), 0);
    OS_DeleteGuardedCodeSection(&section);
}

TEST(GuardedCodeSection, EnterBlocksUntilTheCallingThreadAloneHoldsIt) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    pthread_mutex_t section;
    OS_InitializeGuardedCodeSection(&section);
    long count = 0;
    int inside = 0;
    bool alone = true;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                OS_EnterGuardedCodeSection(&section);
                ++inside;
                alone = alone && inside == 1;
                ++count;
                --inside;
                OS_LeaveGuardedCodeSection(&section);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    OS_DeleteGuardedCodeSection(&section);
    EXPECT_TRUE(alone);
    EXPECT_EQ(count, long{kThreads} * kRounds);
}

TEST(GuardedCodeSection, CanBeInitialisedAgainAfterItsDeletion) {
    pthread_mutex_t section;
    for (int i = 0; i < 3; ++i) {
        OS_InitializeGuardedCodeSection(&section);
        OS_EnterGuardedCodeSection(&section);
        EXPECT_EQ(LookFromAnotherThread(&section), EBUSY);
        OS_LeaveGuardedCodeSection(&section);
        OS_DeleteGuardedCodeSection(&section);
    }
}

}  // namespace
