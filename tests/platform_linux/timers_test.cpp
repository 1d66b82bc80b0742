#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "quor_platform/os.h"
#include "quor_platform_linux/host.h"
#include "tests/platform_linux/support/gate.h"
#include "tests/platform_linux/support/threads.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr unsigned int kHourMs = 3600000;

OsRelTimer Create(OsRelTimerCallback callback, void* arg) {
    return OsCreateRelTimerM(callback, arg, __LINE__, "timers_test.cpp");
}

void Count(void* counter) {
    static_cast<Counter*>(counter)->Add();
}

// Holds the timer thread until it is released.
struct Holder {
    Gate entered;
    Gate release;
    static void Run(void* holder) {
        static_cast<Holder*>(holder)->entered.Open();
        static_cast<Holder*>(holder)->release.Wait();
    }
};

class Timers : public testing::Test {
protected:
    void TearDown() override {
        quor_platform::Shutdown();
        quor_platform::SetTimerScale(1);
    }
};

TEST_F(Timers, OnceRunsOnce) {
    Counter once;
    Counter later;
    OsRelTimer a = Create(Count, &once);
    OsRelTimer b = Create(Count, &later);
    ASSERT_NE(a, nullptr);
    ASSERT_EQ(OsStartRelTimer(a, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    ASSERT_EQ(OsStartRelTimer(b, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    EXPECT_TRUE(later.Reached(20));
    EXPECT_EQ(once.Value(), 1);
    EXPECT_EQ(OsStartRelTimer(a, 1, OS_REL_TIMER_MODE_ONCE), 0U) << "may be started again";
    EXPECT_TRUE(once.Reached(2));
    EXPECT_EQ(OsFreeRelTimer(a), 0U);
    EXPECT_EQ(OsFreeRelTimer(b), 0U);
}

TEST_F(Timers, RepeatRunsUntilStoppedAndNeverEarly) {
    struct Probe {
        Counter count;
        std::vector<Clock::time_point> times;  // written on the timer thread, read after the stop
    } probe;
    constexpr milliseconds kPeriod{3};
    OsRelTimer t = Create(
        [](void* arg) {
            static_cast<Probe*>(arg)->times.push_back(Clock::now());
            static_cast<Probe*>(arg)->count.Add();
        },
        &probe);
    const auto begin = Clock::now();
    ASSERT_EQ(OsStartRelTimer(t, 3, OS_REL_TIMER_MODE_REPEAT), 0U);
    EXPECT_TRUE(probe.count.Reached(10));
    EXPECT_EQ(OsStopRelTimerSafe(t), 0U);
    const std::size_t calls = probe.times.size();
    for (std::size_t i = 0; i < calls; ++i) {
        EXPECT_GE(probe.times[i] - begin, kPeriod * static_cast<int>(i + 1));
    }
    EXPECT_EQ(OsFreeRelTimer(t), 0U);
    EXPECT_EQ(probe.times.size(), calls);
}

TEST_F(Timers, AStallIsSkippedNotCaughtUp) {
    struct Probe {
        Counter count;
        Clock::time_point stallEnded;
        std::vector<Clock::time_point> times;
        static void Run(void* arg) {
            auto* probe = static_cast<Probe*>(arg);
            if (probe->count.Value() == 0) {
                std::this_thread::sleep_for(milliseconds(40));
                probe->stallEnded = Clock::now();
            } else {
                probe->times.push_back(Clock::now());
            }
            probe->count.Add();
        }
    } probe;
    constexpr milliseconds kPeriod{2};
    OsRelTimer t = Create(Probe::Run, &probe);
    ASSERT_EQ(OsStartRelTimer(t, 2, OS_REL_TIMER_MODE_REPEAT), 0U);
    EXPECT_TRUE(probe.count.Reached(12));
    EXPECT_EQ(OsFreeRelTimer(t), 0U);
    // One run that fell due in the stall may follow at once; all others keep to the schedule.
    for (std::size_t i = 1; i < probe.times.size(); ++i) {
        EXPECT_GE(probe.times[i] - probe.stallEnded, kPeriod * static_cast<int>(i - 1)) << i;
    }
}

TEST_F(Timers, RunInTheOrderOfTheirDeadlines) {
    struct Entry {
        std::vector<int>* order;
        int number;
        Counter* done;
        static void Run(void* arg) {
            auto* entry = static_cast<Entry*>(arg);
            entry->order->push_back(entry->number);
            entry->done->Add();
        }
    };
    // All become due while another callback holds the thread, in the order of their starts.
    Holder holder;
    OsRelTimer first = Create(Holder::Run, &holder);
    ASSERT_EQ(OsStartRelTimer(first, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    ASSERT_TRUE(holder.entered.Wait());
    std::vector<int> order;
    Counter done;
    Entry entries[] = {{&order, 0, &done}, {&order, 1, &done}, {&order, 2, &done}};
    std::vector<OsRelTimer> timers;
    for (Entry& entry : entries) {
        timers.push_back(Create(Entry::Run, &entry));
    }
    for (const std::size_t next : {2U, 0U, 1U}) {
        ASSERT_EQ(OsStartRelTimer(timers[next], 1, OS_REL_TIMER_MODE_ONCE), 0U);
    }
    holder.release.Open();
    EXPECT_TRUE(done.Reached(3));
    EXPECT_EQ(order, (std::vector<int>{2, 0, 1}));
    for (OsRelTimer t : timers) {
        OsFreeRelTimer(t);
    }
    OsFreeRelTimer(first);
}

TEST_F(Timers, StartRestartsARunningTimer) {
    Holder holder;
    OsRelTimer first = Create(Holder::Run, &holder);
    ASSERT_EQ(OsStartRelTimer(first, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    ASSERT_TRUE(holder.entered.Wait());
    Counter moved;
    Counter later;
    OsRelTimer a = Create(Count, &moved);
    OsRelTimer b = Create(Count, &later);
    ASSERT_EQ(OsStartRelTimer(a, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    ASSERT_EQ(OsStartRelTimer(a, kHourMs, OS_REL_TIMER_MODE_REPEAT), 0U);
    ASSERT_EQ(OsStartRelTimer(b, 2, OS_REL_TIMER_MODE_REPEAT), 0U);
    holder.release.Open();
    EXPECT_TRUE(later.Reached(5));
    EXPECT_EQ(moved.Value(), 0);
    ASSERT_EQ(OsStartRelTimer(a, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    EXPECT_TRUE(moved.Reached(1));
    for (OsRelTimer t : {first, a, b}) {
        EXPECT_EQ(OsFreeRelTimer(t), 0U);
    }
}

TEST_F(Timers, AStoppedTimerDoesNotRun) {
    Holder holder;
    OsRelTimer first = Create(Holder::Run, &holder);
    ASSERT_EQ(OsStartRelTimer(first, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    ASSERT_TRUE(holder.entered.Wait());
    Counter stopped;
    Counter freed;
    Counter later;
    OsRelTimer a = Create(Count, &stopped);
    OsRelTimer b = Create(Count, &freed);
    OsRelTimer c = Create(Count, &later);
    for (OsRelTimer t : {a, b, c}) {
        ASSERT_EQ(OsStartRelTimer(t, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    }
    EXPECT_EQ(OsStopRelTimerSafe(a), 0U);
    EXPECT_EQ(OsStopRelTimerSafe(a), 0U) << "stopping a stopped timer succeeds";
    EXPECT_EQ(OsFreeRelTimer(b), 0U);
    holder.release.Open();
    EXPECT_TRUE(later.Reached(5));
    EXPECT_EQ(stopped.Value(), 0);
    EXPECT_EQ(freed.Value(), 0);
    for (OsRelTimer t : {first, a, c}) {
        EXPECT_EQ(OsFreeRelTimer(t), 0U);
    }
}

// Of two periods only the one started under the scale is shortened, and by that much.
TEST_F(Timers, AScaleShortensThePeriodsOfLaterStarts) {
    Counter before;
    Counter scaled;
    OsRelTimer hour = Create(Count, &before);
    OsRelTimer shortened = Create(Count, &scaled);
    ASSERT_EQ(OsStartRelTimer(hour, kHourMs, OS_REL_TIMER_MODE_REPEAT), 0U);
    ASSERT_TRUE(quor_platform::SetTimerScale(1e-6));
    const auto begin = Clock::now();
    ASSERT_EQ(OsStartRelTimer(shortened, kHourMs, OS_REL_TIMER_MODE_REPEAT), 0U);
    EXPECT_TRUE(scaled.Reached(5));
    EXPECT_GE(Clock::now() - begin, 5 * milliseconds(3)) << "3.6 ms, cut to whole milliseconds";
    EXPECT_EQ(before.Value(), 0);
    EXPECT_EQ(OsFreeRelTimer(hour), 0U);
    EXPECT_EQ(OsFreeRelTimer(shortened), 0U);
}

TEST_F(Timers, AScaleNeverMakesAPeriodZeroAndMayLengthen) {
    Counter fast;
    Counter slow;
    OsRelTimer a = Create(Count, &fast);
    OsRelTimer b = Create(Count, &slow);
    ASSERT_TRUE(quor_platform::SetTimerScale(1e-6));
    ASSERT_EQ(OsStartRelTimer(a, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    ASSERT_TRUE(quor_platform::SetTimerScale(1e6));
    ASSERT_EQ(OsStartRelTimer(b, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    EXPECT_TRUE(fast.Reached(5));
    EXPECT_EQ(slow.Value(), 0);
    EXPECT_EQ(OsFreeRelTimer(a), 0U);
    EXPECT_EQ(OsFreeRelTimer(b), 0U);
}

TEST_F(Timers, AScaleOutOfRangeIsRefused) {
    for (const double factor : {0.0, -1.0, 9e-7, 1.1e6, std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_FALSE(quor_platform::SetTimerScale(factor)) << factor;
    }
}

// StopSafe and Free alike.
class TimersWait : public Timers, public testing::WithParamInterface<unsigned int (*)(OsRelTimer)> {};

TEST_P(TimersWait, ForARunningCallbackOnAnotherThread) {
    struct Probe {
        Gate entered;
        Gate stopping;
        std::atomic<bool> stopReturned{false};
        std::atomic<bool> callbackEnded{false};
        static void Run(void* arg) {
            auto* probe = static_cast<Probe*>(arg);
            probe->entered.Open();
            probe->stopping.Wait();
            // A stop that does not wait gets the time to show it.
            std::this_thread::sleep_for(milliseconds(20));
            EXPECT_FALSE(probe->stopReturned);
            probe->callbackEnded = true;
        }
    } probe;
    OsRelTimer t = Create(Probe::Run, &probe);
    ASSERT_EQ(OsStartRelTimer(t, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    ASSERT_TRUE(probe.entered.Wait());
    probe.stopping.Open();
    EXPECT_EQ(GetParam()(t), 0U);
    probe.stopReturned = true;
    EXPECT_TRUE(probe.callbackEnded);
    OsFreeRelTimer(t);
}

TEST_P(TimersWait, NotInTheTimersOwnCallback) {
    struct Probe {
        unsigned int (*stop)(OsRelTimer);
        Gate ready;
        OsRelTimer timer = nullptr;
        unsigned int result = 1;
        Counter runs;
        static void Run(void* arg) {
            auto* probe = static_cast<Probe*>(arg);
            probe->ready.Wait();
            probe->result = probe->stop(probe->timer);
            probe->runs.Add();
        }
    } probe;
    probe.stop = GetParam();
    Counter later;
    OsRelTimer other = Create(Count, &later);
    probe.timer = Create(Probe::Run, &probe);
    ASSERT_EQ(OsStartRelTimer(probe.timer, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    probe.ready.Open();
    EXPECT_TRUE(probe.runs.Reached(1));
    EXPECT_EQ(probe.result, 0U);
    ASSERT_EQ(OsStartRelTimer(other, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    EXPECT_TRUE(later.Reached(5));
    EXPECT_EQ(probe.runs.Value(), 1);
    OsFreeRelTimer(probe.timer);
    EXPECT_EQ(OsFreeRelTimer(other), 0U);
}

INSTANTIATE_TEST_SUITE_P(StopAndFree, TimersWait, testing::Values(&OsStopRelTimerSafe, &OsFreeRelTimer));

TEST_F(Timers, ACallbackCannotRestartATimerThatIsBeingStopped) {
    struct Probe {
        Gate entered;
        OsRelTimer timer = nullptr;
        unsigned int result = 0;
        Counter runs;
        static void Run(void* arg) {
            auto* probe = static_cast<Probe*>(arg);
            probe->entered.Open();
            // Until the stop is on its way every start succeeds.
            while (probe->result == 0) {
                probe->result = OsStartRelTimer(probe->timer, 1, OS_REL_TIMER_MODE_REPEAT);
            }
            probe->runs.Add();
        }
    } probe;
    probe.timer = Create(Probe::Run, &probe);
    ASSERT_EQ(OsStartRelTimer(probe.timer, 20, OS_REL_TIMER_MODE_REPEAT), 0U);
    ASSERT_TRUE(probe.entered.Wait());
    EXPECT_EQ(OsStopRelTimerSafe(probe.timer), 0U);
    EXPECT_EQ(probe.runs.Value(), 1);
    Counter later;
    OsRelTimer other = Create(Count, &later);
    ASSERT_EQ(OsStartRelTimer(other, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    EXPECT_TRUE(later.Reached(5));
    EXPECT_EQ(probe.runs.Value(), 1);
    EXPECT_EQ(OsStartRelTimer(probe.timer, kHourMs, OS_REL_TIMER_MODE_ONCE), 0U);
    EXPECT_EQ(OsFreeRelTimer(probe.timer), 0U);
    EXPECT_EQ(OsFreeRelTimer(other), 0U);
}

TEST_F(Timers, UnknownHandlesAreRefused) {
    Counter count;
    OsRelTimer freed = Create(Count, &count);
    ASSERT_EQ(OsFreeRelTimer(freed), 0U);
    int onStack = 0;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an invented handle
    auto* const invented = reinterpret_cast<OsRelTimer>(std::uintptr_t{0xDEADBEEF});
    for (OsRelTimer t : {freed, OsRelTimer{nullptr}, static_cast<OsRelTimer>(&onStack), invented}) {
        EXPECT_NE(OsStartRelTimer(t, 1, OS_REL_TIMER_MODE_ONCE), 0U);
        EXPECT_NE(OsStopRelTimerSafe(t), 0U);
        EXPECT_NE(OsFreeRelTimer(t), 0U);
    }
    OsRelTimer next = Create(Count, &count);
    EXPECT_NE(next, freed) << "a stale handle must not reach a new timer";
    EXPECT_EQ(OsFreeRelTimer(next), 0U);
}

TEST_F(Timers, BadArgumentsAreRefused) {
    Counter count;
    EXPECT_EQ(OsCreateRelTimerM(nullptr, &count, 1, "f"), nullptr);
    OsRelTimer t = OsCreateRelTimerM(Count, &count, 1, nullptr);
    ASSERT_NE(t, nullptr);
    EXPECT_NE(OsStartRelTimer(t, 0, OS_REL_TIMER_MODE_ONCE), 0U);
    EXPECT_NE(OsStartRelTimer(t, 1, 2), 0U);
    EXPECT_EQ(OsStartRelTimer(t, 0xFFFFFFFFU, OS_REL_TIMER_MODE_REPEAT), 0U) << "49 days";
    EXPECT_EQ(OsFreeRelTimer(t), 0U);
}

TEST_F(Timers, ShutdownStopsTimersAndTheyStartAgain) {
    Counter count;
    OsRelTimer t = Create(Count, &count);
    for (int round = 0; round < 3; ++round) {
        const int before = count.Value();
        ASSERT_EQ(OsStartRelTimer(t, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
        EXPECT_TRUE(count.Reached(before + 2));
        quor_platform::Shutdown();
        const int after = count.Value();
        std::this_thread::sleep_for(milliseconds(5));
        EXPECT_EQ(count.Value(), after);
    }
    EXPECT_EQ(OsFreeRelTimer(t), 0U);
}

TEST_F(Timers, ShutdownWaitsForARunningCallback) {
    struct Probe {
        Gate entered;
        std::atomic<bool> ended{false};
        OsRelTimer self = nullptr;
        static void Run(void* arg) {
            auto* probe = static_cast<Probe*>(arg);
            probe->entered.Open();
            std::this_thread::sleep_for(milliseconds(20));
            EXPECT_EQ(OsStopRelTimerSafe(probe->self), 0U) << "does not wait for itself in a shutdown either";
            probe->ended = true;
        }
    } probe;
    probe.self = Create(Probe::Run, &probe);
    ASSERT_EQ(OsStartRelTimer(probe.self, 1, OS_REL_TIMER_MODE_ONCE), 0U);
    ASSERT_TRUE(probe.entered.Wait());
    quor_platform::Shutdown();
    EXPECT_TRUE(probe.ended);
    EXPECT_EQ(OsFreeRelTimer(probe.self), 0U);
}

TEST_F(Timers, ShutdownFromACallbackIsRefused) {
    Counter count;
    OsRelTimer t = Create(
        [](void* arg) {
            quor_platform::Shutdown();
            static_cast<Counter*>(arg)->Add();
        },
        &count);
    ASSERT_EQ(OsStartRelTimer(t, 1, OS_REL_TIMER_MODE_REPEAT), 0U);
    EXPECT_TRUE(count.Reached(3));
    EXPECT_EQ(OsFreeRelTimer(t), 0U);
}

// Every operation from several threads on shared and own timers; the sanitizers watch.
TEST_F(Timers, SurviveConcurrentUse) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    Counter count;
    OsRelTimer shared = Create(Count, &count);
    RunInThreads(kThreads, [&](int i) {
        std::minstd_rand random(static_cast<unsigned int>(i + 1));
        const auto below = [&random](unsigned int limit) {
            return static_cast<unsigned int>(random() % limit);
        };
        for (int round = 0; round < kRounds; ++round) {
            OsRelTimer own = Create(Count, &count);
            EXPECT_EQ(OsStartRelTimer(own, 1 + below(3), below(2)), 0U);
            OsStartRelTimer(shared, 1, below(2));
            if (below(2) == 0) {
                EXPECT_EQ(OsStopRelTimerSafe(own), 0U);
                EXPECT_EQ(OsStopRelTimerSafe(shared), 0U);
            }
            EXPECT_EQ(OsFreeRelTimer(own), 0U);
        }
    });
    EXPECT_EQ(OsFreeRelTimer(shared), 0U);
}

}  // namespace
