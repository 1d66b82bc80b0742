// What every platform's os.h does: the accounted heap, mutexes, timers and messages.

#include "quor_platform/os.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <thread>

#include "tests/platform_linux/support/gate.h"
#include "tests/platform_linux/support/threads.h"

namespace {

constexpr char kModule[] = "os_test.cpp";

TEST(ContractHeap, BlocksAreFilledAlignedAndWritable) {
    for (const unsigned int size : {1U, 7U, 64U, 4096U, 5U << 20U}) {
        auto* block = static_cast<unsigned char*>(OsMemMallocSetCharMon(size, 0x5A, __LINE__, kModule));
        ASSERT_NE(block, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
        for (unsigned int i = 0; i < size; ++i) {
            ASSERT_EQ(block[i], 0x5A) << i;
        }
        std::memset(block, 0, size);
        OSMemTypeFreeMon(block, __LINE__, kModule);
    }
}

TEST(ContractHeap, NothingIsNullAndNullIsFreed) {
    EXPECT_EQ(OsMemMallocSetCharMon(0, 0, __LINE__, kModule), nullptr);
    OSMemTypeFreeMon(nullptr, __LINE__, kModule);
}

// Calls in an order that the analysis would rightly refuse.
QUOR_PLATFORM_THREAD_ATTRIBUTE(no_thread_safety_analysis) unsigned int Lock(OsMutex* mutex) {
    return OsMutexLock(mutex);
}
QUOR_PLATFORM_THREAD_ATTRIBUTE(no_thread_safety_analysis) unsigned int UnLock(OsMutex* mutex) {
    return OsMutexUnLock(mutex);
}

TEST(ContractMutex, ZerosAreReadyAndExclude) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 1000;
    static OsMutex ready = OS_MUTEX_INITIALIZER;
    int shared = 0;
    RunInThreads(kThreads, [&](int) {
        for (int round = 0; round < kRounds; ++round) {
            Lock(&ready);
            const int seen = shared;
            std::this_thread::yield();  // an owner that is not alone loses counts here
            shared = seen + 1;
            UnLock(&ready);
        }
    });
    EXPECT_EQ(shared, kThreads * kRounds);
}

TEST(ContractMutex, RefusesNullAndWhatTheCallerDoesNotOwn) {
    EXPECT_NE(Lock(nullptr), 0U);
    EXPECT_NE(UnLock(nullptr), 0U);
    OsMutex mutex{};
    ASSERT_EQ(Lock(&mutex), 0U);
    std::thread([&] { EXPECT_NE(UnLock(&mutex), 0U); }).join();
    EXPECT_EQ(UnLock(&mutex), 0U);
}

void Count(void* counter) {
    static_cast<Counter*>(counter)->Add();
}

OsRelTimer Create(OsRelTimerCallback callback, void* arg) {
    return OsCreateRelTimerM(callback, arg, __LINE__, kModule);
}

TEST(ContractTimers, RepeatAndRunOnce) {
    Counter once;
    Counter often;
    OsRelTimer first = Create(Count, &once);
    OsRelTimer second = Create(Count, &often);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(OsStartRelTimer(first, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    EXPECT_EQ(OsStartRelTimer(second, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    EXPECT_TRUE(once.Reached(1));
    EXPECT_TRUE(often.Reached(10));
    EXPECT_EQ(OsFreeRelTimer(first), 0U);
    EXPECT_EQ(OsFreeRelTimer(second), 0U);
    EXPECT_EQ(once.Value(), 1);
}

TEST(ContractTimers, AStopWaitsForTheCallback) {
    struct Probe {
        Gate entered;
        Gate stopping;
        std::atomic<bool> over{false};
        static void Run(void* arg) {
            auto* probe = static_cast<Probe*>(arg);
            probe->entered.Open();
            probe->stopping.Wait();
            for (int i = 0; i < 100; ++i) {
                std::this_thread::yield();  // time for a stop that does not wait
            }
            probe->over = true;
        }
    } probe;
    OsRelTimer timer = Create(Probe::Run, &probe);
    ASSERT_NE(timer, nullptr);
    ASSERT_EQ(OsStartRelTimer(timer, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    ASSERT_TRUE(probe.entered.Wait());
    probe.stopping.Open();
    EXPECT_EQ(OsStopRelTimerSafe(timer), 0U);
    EXPECT_TRUE(probe.over);
    EXPECT_EQ(OsStopRelTimerSafe(timer), 0U) << "a stopped timer";
    EXPECT_EQ(OsFreeRelTimer(timer), 0U);
}

TEST(ContractTimers, MayBeStoppedInTheirOwnCallback) {
    struct Probe {
        std::atomic<OsRelTimer> timer{nullptr};
        std::atomic<unsigned int> result{1};
        Counter runs;
        static void Run(void* arg) {
            auto* probe = static_cast<Probe*>(arg);
            probe->result = OsStopRelTimerSafe(probe->timer);
            probe->runs.Add();
        }
    } probe;
    probe.timer = Create(Probe::Run, &probe);
    ASSERT_NE(probe.timer.load(), nullptr);
    ASSERT_EQ(OsStartRelTimer(probe.timer, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    ASSERT_TRUE(probe.runs.Reached(1));
    EXPECT_EQ(probe.result, 0U);
    EXPECT_EQ(OsFreeRelTimer(probe.timer), 0U);
    EXPECT_EQ(probe.runs.Value(), 1);
}

TEST(ContractTimers, RefuseWhatIsNoTimer) {
    EXPECT_EQ(Create(nullptr, nullptr), nullptr);
    EXPECT_NE(OsStartRelTimer(nullptr, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    EXPECT_NE(OsStopRelTimerSafe(nullptr), 0U);
    EXPECT_NE(OsFreeRelTimer(nullptr), 0U);
    OsRelTimer timer = Create(Count, nullptr);
    ASSERT_NE(timer, nullptr);
    EXPECT_NE(OsStartRelTimer(timer, 0, OS_REL_TIMER_MODE_ONCE), 0U) << "no period";
    EXPECT_NE(OsStartRelTimer(timer, 1, 7), 0U) << "no such mode";
    EXPECT_EQ(OsFreeRelTimer(timer), 0U);
}

TEST(ContractMessages, AreRefusedWithoutAReceiver) {
    EXPECT_NE(OsMsgAsynSend(nullptr), 0U);
    unsigned char message[OS_MSG_SIZE] = {};
    EXPECT_NE(OsMsgAsynSend(message), 0U) << "no name";
    std::memcpy(message + OS_MSG_RECEIVER_OFFSET, "nobody-at-all", sizeof "nobody-at-all");
    EXPECT_NE(OsMsgAsynSend(message), 0U);
    std::memset(message + OS_MSG_RECEIVER_OFFSET, 'n', OS_MSG_MODULE_NAME_CAPACITY);
    EXPECT_NE(OsMsgAsynSend(message), 0U) << "a name without an end";
}

}  // namespace
