#include "alarm.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace quor_terminal {
namespace {

using Clock = std::chrono::steady_clock;

TEST(Alarm, RingsAtItsTime) {
    const Clock::time_point time = Clock::now() + std::chrono::milliseconds(20);
    std::promise<Clock::time_point> rung;
    const Alarm alarm(time, [&rung] { rung.set_value(Clock::now()); });
    EXPECT_GE(rung.get_future().get(), time);
}

TEST(Alarm, RingsAtOnceWhenItsTimeHasPassed) {
    std::promise<std::thread::id> rung;
    const Alarm alarm(Clock::now() - std::chrono::hours(1),
                      [&rung] { rung.set_value(std::this_thread::get_id()); });
    EXPECT_NE(rung.get_future().get(), std::this_thread::get_id());
}

TEST(Alarm, TakenBackItNeverRings) {
    bool rung = false;
    {
        const Alarm alarm(Clock::now() + std::chrono::hours(1), [&rung] { rung = true; });
    }
    EXPECT_FALSE(rung);
}

TEST(Alarm, IsGoneAfterARunningCall) {
    std::promise<void> entered;
    std::atomic<bool> left{false};
    {
        const Alarm alarm(Clock::now(), [&] {
            entered.set_value();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            left = true;
        });
        entered.get_future().wait();
    }
    EXPECT_TRUE(left);
}

}  // namespace
}  // namespace quor_terminal
