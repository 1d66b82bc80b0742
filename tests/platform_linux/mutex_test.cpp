#include <gtest/gtest.h>
#include <pthread.h>

#include <string_view>
#include <thread>

#include "platform_linux/thread_annotations.h"
#include "quor_platform/os.h"
#include "tests/platform_linux/support/gate.h"
#include "tests/platform_linux/support/threads.h"

// Visible by name to the dynamic linker, so that the report of a relock can name them. What follows the call
// keeps it from becoming a jump, which would make the caller's caller the place of the lock.
extern "C" {
__attribute__((visibility("default"), noinline)) QUOR_NO_THREAD_SAFETY_ANALYSIS unsigned int FirstLockPlace(
    OsMutex* m) {
    const unsigned int result = OsMutexLock(m);
    __asm__ __volatile__("" : : : "memory");
    return result;
}

__attribute__((visibility("default"), noinline)) QUOR_NO_THREAD_SAFETY_ANALYSIS unsigned int SecondLockPlace(
    OsMutex* m) {
    const unsigned int result = OsMutexLock(m);
    __asm__ __volatile__("" : : : "memory");
    return result;
}
}

namespace {

OsMutex staticMutex = OS_MUTEX_INITIALIZER;

// Calls in an order that the analysis would rightly refuse.
QUOR_NO_THREAD_SAFETY_ANALYSIS unsigned int Lock(OsMutex* m) {
    return OsMutexLock(m);
}
QUOR_NO_THREAD_SAFETY_ANALYSIS unsigned int UnLock(OsMutex* m) {
    return OsMutexUnLock(m);
}

TEST(Mutex, ZerosAreThePosixInitializer) {
    const pthread_mutex_t initializer = PTHREAD_MUTEX_INITIALIZER;
    const pthread_mutex_t zeros{};
    EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(&initializer), sizeof initializer),
              std::string_view(reinterpret_cast<const char*>(&zeros), sizeof zeros));
}

TEST(Mutex, LocksAndUnlocksAgainAndAgain) {
    OsMutex member{};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Lock(&staticMutex), 0U);
        EXPECT_EQ(Lock(&member), 0U);
        EXPECT_EQ(UnLock(&staticMutex), 0U);
        EXPECT_EQ(UnLock(&member), 0U);
    }
}

TEST(Mutex, RefusesNull) {
    EXPECT_NE(Lock(nullptr), 0U);
    EXPECT_NE(UnLock(nullptr), 0U);
}

TEST(Mutex, RefusesToUnlockWhatTheCallerDoesNotOwn) {
    OsMutex m = OS_MUTEX_INITIALIZER;
    EXPECT_NE(UnLock(&m), 0U) << "never locked";
    EXPECT_EQ(Lock(&m), 0U);
    std::thread([&] { EXPECT_NE(UnLock(&m), 0U) << "another thread's"; }).join();
    EXPECT_EQ(UnLock(&m), 0U) << "still the owner";
    EXPECT_NE(UnLock(&m), 0U) << "given up already";
    EXPECT_EQ(Lock(&m), 0U) << "and still usable";
    EXPECT_EQ(UnLock(&m), 0U);
}

TEST(Mutex, Excludes) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    OsMutex m = OS_MUTEX_INITIALIZER;
    int shared = 0;  // the thread sanitizer watches it
    RunInThreads(kThreads, [&](int) {
        for (int round = 0; round < kRounds; ++round) {
            Lock(&m);
            ++shared;
            UnLock(&m);
        }
    });
    EXPECT_EQ(shared, kThreads * kRounds);
}

TEST(Mutex, WaitsForTheOwner) {
    OsMutex m = OS_MUTEX_INITIALIZER;
    Gate about;
    bool given = false;
    EXPECT_EQ(Lock(&m), 0U);
    std::thread waiter([&] {
        about.Open();
        EXPECT_EQ(Lock(&m), 0U);
        EXPECT_TRUE(given);
        EXPECT_EQ(UnLock(&m), 0U);
    });
    EXPECT_TRUE(about.Wait());
    given = true;
    EXPECT_EQ(UnLock(&m), 0U);
    waiter.join();
}

TEST(MutexDeathTest, ARelockByTheOwnerNamesBothPlaces) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            OsMutex m{};
            FirstLockPlace(&m);
            SecondLockPlace(&m);
        },
        testing::KilledBySignal(SIGABRT), "FirstLockPlace\\+0x.*again at SecondLockPlace\\+0x");
}

}  // namespace
