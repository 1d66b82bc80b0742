// The bounded queue and its waits. Threads that must wait before something happens are known to wait; how
// long a wait may last is told by a clock that stands still.
#include "thread_pool/queue.h"

#include <array>
#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "quor_ai/result.h"
#include "support/http_test.h"
#include "support/stopped_clock.h"
#include "support/thread_state.h"

namespace QuorTest {
namespace {

using QuorAiComm::ThreadSafeQueue;
using std::chrono::milliseconds;

constexpr std::size_t kCapacity = 30;
constexpr milliseconds kNoWait{0};
constexpr milliseconds kTimeout{30};
constexpr milliseconds kForEver = std::chrono::hours(24);

class QueueTest : public HttpTest {
protected:
    using IntQueue = ThreadSafeQueue<int, kCapacity>;

    void Fill() {
        for (int i = 0; i < static_cast<int>(kCapacity); ++i) {
            ASSERT_TRUE(m_queue.WaitAndPush(i, kNoWait));
        }
    }
    // Starts work on a thread; m_number is what WaitUntilAsleep needs.
    template <typename Work>
    std::thread Waiting(Work work) {
        std::thread thread([this, work] {
            m_number = ThreadNumber();
            work();
        });
        WaitUntilAsleep(m_number);
        return thread;
    }

    IntQueue m_queue;
    std::atomic<pid_t> m_number{0};
};

TEST_F(QueueTest, RecordsComeOutInTheOrderTheyWentIn) {
    for (int round = 0; round < 3; ++round) {  // around the end of the storage, too
        Fill();
        for (int i = 0; i < static_cast<int>(kCapacity); ++i) {
            int item = -1;
            EXPECT_TRUE(m_queue.WaitAndPop(item, kNoWait));
            EXPECT_EQ(item, i);
        }
        int extra = 0;
        EXPECT_TRUE(m_queue.WaitAndPush(5, kNoWait));
        EXPECT_TRUE(m_queue.WaitAndPop(extra, kNoWait));
    }
}

TEST_F(QueueTest, TheRecordOfARequestIsCopiedAsItIs) {
    ThreadSafeQueue<TagAiCloudSrvResult, kCapacity> queue;
    std::array<unsigned char, 4> bytes{};
    TagAiCloudSrvResult record{AI_SUB_ID_FACE_PHOTO, bytes.data(), 4};
    EXPECT_TRUE(queue.WaitAndPush(record, milliseconds(500)));
    record = {};
    EXPECT_TRUE(queue.WaitAndPop(record, milliseconds(500)));
    EXPECT_EQ(record.id, AI_SUB_ID_FACE_PHOTO);
    EXPECT_EQ(record.data, bytes.data());
    EXPECT_EQ(record.len, 4U);
}

TEST_F(QueueTest, AFullQueueRefusesAfterTheWholeTimeout) {
    Fill();
    const StoppedClock clock;
    EXPECT_FALSE(m_queue.WaitAndPush(99, kTimeout));
    EXPECT_THAT(clock.Waits(), ElementsAre(kTimeout));
    int item = -1;
    for (int i = 0; i < static_cast<int>(kCapacity); ++i) {
        ASSERT_TRUE(m_queue.WaitAndPop(item, kNoWait));
        EXPECT_EQ(item, i);
    }
    EXPECT_FALSE(m_queue.WaitAndPop(item, kNoWait)) << "nothing was queued by the refused push";
}

TEST_F(QueueTest, AnEmptyQueueLeavesTheOutputAfterTheWholeTimeout) {
    int item = 77;
    const StoppedClock clock;
    EXPECT_FALSE(m_queue.WaitAndPop(item, kTimeout));
    EXPECT_THAT(clock.Waits(), ElementsAre(kTimeout));
    EXPECT_EQ(item, 77);
}

TEST_F(QueueTest, TimeoutsOfZeroOrLessDoNotWait) {
    int item = 77;
    EXPECT_FALSE(m_queue.WaitAndPop(item, kNoWait));
    EXPECT_FALSE(m_queue.WaitAndPop(item, milliseconds(-1)));
    EXPECT_FALSE(m_queue.WaitAndPop(item, milliseconds::min()));
    Fill();
    EXPECT_FALSE(m_queue.WaitAndPush(1, kNoWait));
    EXPECT_FALSE(m_queue.WaitAndPush(1, milliseconds::min()));
    EXPECT_TRUE(m_queue.WaitAndPop(item, milliseconds::min())) << "what is there needs no waiting";
}

TEST_F(QueueTest, APopLetsAWaitingPushIn) {
    Fill();
    bool pushed = false;
    std::thread pusher = Waiting([&] { pushed = m_queue.WaitAndPush(99, kForEver); });
    int item = -1;
    EXPECT_TRUE(m_queue.WaitAndPop(item, kNoWait));
    pusher.join();
    EXPECT_TRUE(pushed);
    for (int i = 1; i < static_cast<int>(kCapacity); ++i) {
        ASSERT_TRUE(m_queue.WaitAndPop(item, kNoWait));
    }
    EXPECT_TRUE(m_queue.WaitAndPop(item, kNoWait));
    EXPECT_EQ(item, 99);
}

TEST_F(QueueTest, APushWakesAWaitingPop) {
    int item = -1;
    bool popped = false;
    std::thread popper = Waiting([&] { popped = m_queue.WaitAndPop(item, kForEver); });
    EXPECT_TRUE(m_queue.WaitAndPush(5, kNoWait));
    popper.join();
    EXPECT_TRUE(popped);
    EXPECT_EQ(item, 5);
}

TEST_F(QueueTest, TheLongestTimeoutIsNoOverflow) {
    int item = -1;
    std::thread popper = Waiting([&] { m_queue.WaitAndPop(item, milliseconds::max()); });
    EXPECT_TRUE(m_queue.WaitAndPush(5, kNoWait));
    popper.join();
    EXPECT_EQ(item, 5);
}

// A wait by any other clock would really last that long.
TEST_F(QueueTest, DeadlinesAreThoseOfTheSystemClock) {
    const StoppedClock clock;
    int item = 77;
    EXPECT_FALSE(m_queue.WaitAndPop(item, kForEver));
    Fill();
    EXPECT_FALSE(m_queue.WaitAndPush(1, kForEver));
    EXPECT_THAT(clock.Waits(), ElementsAre(kForEver, kForEver));
}

// What is woken and finds nothing waits on until the same moment.
TEST_F(QueueTest, WakesForNothingDoNotProlongAWait) {
    StoppedClock clock;
    unsigned wakes = 0;
    clock.onWait = [&] {
        clock.Advance(milliseconds(10));
        return ++wakes % 3 != 0;
    };
    int item = 77;
    EXPECT_FALSE(m_queue.WaitAndPop(item, kTimeout));
    Fill();
    EXPECT_FALSE(m_queue.WaitAndPush(1, kTimeout));
    EXPECT_THAT(clock.Waits(), ElementsAre(milliseconds(30), milliseconds(20), milliseconds(10),
                                           milliseconds(30), milliseconds(20), milliseconds(10)));
}

TEST_F(QueueTest, WhatComesAtTheDeadlineIsTaken) {
    StoppedClock clock;
    clock.onWait = [this] {
        EXPECT_TRUE(m_queue.WaitAndPush(5, kNoWait));
        return false;
    };
    int item = 77;
    EXPECT_TRUE(m_queue.WaitAndPop(item, kTimeout));
    EXPECT_EQ(item, 5);
}

TEST_F(QueueTest, EveryPushAndEveryPopWakesOne) {
    const StoppedClock clock;
    int item = 77;
    EXPECT_TRUE(m_queue.WaitAndPush(1, kNoWait));
    EXPECT_EQ(clock.Notifications(), 1U);
    EXPECT_TRUE(m_queue.WaitAndPop(item, kNoWait));
    EXPECT_EQ(clock.Notifications(), 2U);
    EXPECT_FALSE(m_queue.WaitAndPop(item, kNoWait));
    Fill();
    EXPECT_EQ(clock.Notifications(), 2U + kCapacity);
    EXPECT_FALSE(m_queue.WaitAndPush(1, kNoWait));
    EXPECT_EQ(clock.Notifications(), 2U + kCapacity);
    EXPECT_THAT(clock.Waits(), ::testing::Each(kNoWait));
}

// Whoever is woken finds the change: nobody else gets in between.
TEST_F(QueueTest, EveryPushAndEveryPopWakesUnderTheLock) {
    std::vector<std::thread> others;
    std::array<std::atomic<bool>, 2> through{};
    std::latch over(1);
    StoppedClock clock;
    clock.onNotifyOne = [&] {
        const std::size_t other = others.size();
        m_number = 0;
        others.push_back(Waiting([&, other] {
            EXPECT_TRUE(m_queue.WaitAndPush(3, kNoWait));  // there is room: it waits for nothing but the lock
            through[other] = true;
            over.wait();  // it sleeps before its end in any case
        }));
        EXPECT_FALSE(through[other]);
    };
    EXPECT_TRUE(m_queue.WaitAndPush(2, kNoWait));
    int item = -1;
    EXPECT_TRUE(m_queue.WaitAndPop(item, kNoWait));
    EXPECT_EQ(item, 2);
    over.count_down();
    for (std::thread& other : others) {
        other.join();
    }
    EXPECT_EQ(others.size(), 2U);
}

TEST_F(QueueTest, APushWithRoomAsksForTheTimeOnceAndAPopOfWhatIsThereNever) {
    const StoppedClock clock;
    EXPECT_TRUE(m_queue.WaitAndPush(1, kForEver));
    EXPECT_EQ(clock.Readings(), 1U) << "the moment that travels with the element";
    int item = 77;
    EXPECT_TRUE(m_queue.WaitAndPop(item, kForEver));
    EXPECT_EQ(clock.Readings(), 1U);
}

TEST_F(QueueTest, ClearEmptiesAFullQueue) {
    Fill();
    m_queue.Clear();
    int item = 77;
    EXPECT_FALSE(m_queue.WaitAndPop(item, kNoWait));
    Fill();
    m_queue.Clear();
    m_queue.Clear();
    EXPECT_FALSE(m_queue.WaitAndPop(item, kNoWait));
    EXPECT_EQ(item, 77);
}

TEST_F(QueueTest, ClearWakesNobodySoAWaitingPushGetsInAtItsDeadline) {
    Fill();
    StoppedClock clock;
    unsigned woken = 0;
    clock.onWait = [&] {
        const unsigned before = clock.Notifications();
        m_queue.Clear();
        woken = clock.Notifications() - before;
        return false;
    };
    EXPECT_TRUE(m_queue.WaitAndPush(99, kTimeout)) << "there is room when it looks again";
    EXPECT_EQ(woken, 0U);
    EXPECT_THAT(clock.Waits(), ElementsAre(kTimeout));
    int item = -1;
    EXPECT_TRUE(m_queue.WaitAndPop(item, kNoWait));
    EXPECT_EQ(item, 99);
}

TEST_F(QueueTest, AfterClearALaterPopWakesAWaitingPush) {
    Fill();
    bool pushed = false;
    std::thread pusher = Waiting([&] { pushed = m_queue.WaitAndPush(99, kForEver); });
    m_queue.Clear();
    EXPECT_TRUE(m_queue.WaitAndPush(1, kNoWait));
    int item = -1;
    EXPECT_TRUE(m_queue.WaitAndPop(item, kNoWait));
    pusher.join();
    EXPECT_TRUE(pushed);
}

TEST_F(QueueTest, TheQueueKeepsNothingOfWhatWasTakenDroppedOrLeftBehind) {
    const auto element = std::make_shared<int>(1);
    {
        ThreadSafeQueue<std::shared_ptr<int>, 2> queue;
        EXPECT_TRUE(queue.WaitAndPush(element, kNoWait));
        EXPECT_TRUE(queue.WaitAndPush(element, kNoWait));
        EXPECT_FALSE(queue.WaitAndPush(element, kNoWait));
        EXPECT_EQ(element.use_count(), 3);
        std::shared_ptr<int> taken;
        EXPECT_TRUE(queue.WaitAndPop(taken, kNoWait));
        taken.reset();
        EXPECT_EQ(element.use_count(), 2) << "taken";
        queue.Clear();
        EXPECT_EQ(element.use_count(), 1) << "dropped";
        EXPECT_TRUE(queue.WaitAndPush(element, kNoWait));
    }
    EXPECT_EQ(element.use_count(), 1) << "left behind";
}

// Its copies fail on demand.
struct Fragile {
    Fragile() = default;
    Fragile(const Fragile& other) : value(other.value) { Check(); }
    Fragile& operator=(const Fragile& other) {
        Check();
        value = other.value;
        return *this;
    }
    ~Fragile() = default;
    static void Check() {
        if (fail) {
            throw std::runtime_error("copy");
        }
    }
    int value = 0;
    static inline bool fail = false;
};

TEST_F(QueueTest, ACopyThatThrowsChangesNothing) {
    ThreadSafeQueue<Fragile, 2> queue;
    Fragile item;
    item.value = 1;
    EXPECT_TRUE(queue.WaitAndPush(item, kNoWait));
    Fragile::fail = true;
    EXPECT_THROW(queue.WaitAndPush(item, kNoWait), std::runtime_error);
    EXPECT_THROW(queue.WaitAndPop(item, kNoWait), std::runtime_error);
    Fragile::fail = false;
    item.value = 0;
    EXPECT_TRUE(queue.WaitAndPop(item, kNoWait));
    EXPECT_EQ(item.value, 1);
    EXPECT_FALSE(queue.WaitAndPop(item, kNoWait));
}

TEST_F(QueueTest, ManyProducersAndConsumersLoseNothingAndKeepEachProducersOrder) {
    constexpr int kProducers = 4;
    constexpr int kItems = 2000;
    constexpr std::size_t kAll = std::size_t{kProducers} * kItems;
    std::vector<std::thread> threads;
    threads.reserve(kProducers + 3);
    for (int p = 0; p < kProducers; ++p) {
        threads.emplace_back([&, p] {
            for (int i = 0; i < kItems; ++i) {
                EXPECT_TRUE(m_queue.WaitAndPush(p * kItems + i, kForEver));
            }
        });
    }
    std::array<std::vector<int>, 3> taken;
    std::atomic<int> left{kProducers * kItems};
    for (std::vector<int>& mine : taken) {
        threads.emplace_back([&] {
            while (left.fetch_sub(1) > 0) {
                int item = -1;
                EXPECT_TRUE(m_queue.WaitAndPop(item, kForEver));
                mine.push_back(item);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::vector<int> seen(kAll, 0);
    for (const std::vector<int>& mine : taken) {
        std::array<int, kProducers> last{-1, -1, -1, -1};
        for (const int item : mine) {
            ++seen[static_cast<std::size_t>(item)];
            int& before = last[static_cast<std::size_t>(item / kItems)];
            EXPECT_LT(before, item % kItems);
            before = item % kItems;
        }
    }
    EXPECT_EQ(seen, std::vector<int>(kAll, 1));
}

}  // namespace
}  // namespace QuorTest
