// What timers do when a program returns from main or calls exit while they run.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "quor_platform/os.h"

namespace {

using std::chrono::milliseconds;

constexpr int kTickedTooLate = 3;

// What a callback uses and the exit handlers destroy. Its end takes as long as many periods of the timer.
class Owner {
public:
    Owner() = default;
    ~Owner() {
        m_alive = false;
        std::this_thread::sleep_for(milliseconds(30));
    }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;

    static void Tick(void* owner) {
        auto* const self = static_cast<Owner*>(owner);
        if (!self->m_alive) {
            _exit(kTickedTooLate);
        }
        self->m_ticked = true;
    }
    void AwaitTick() const {
        while (!m_ticked) {
            std::this_thread::yield();
        }
    }

private:
    std::atomic<bool> m_alive{true};
    std::atomic<bool> m_ticked{false};
};

void RunTimer(Owner& owner, unsigned int line) {
    OsRelTimer timer = OsCreateRelTimerM(Owner::Tick, &owner, line, "timers_at_exit_test.cpp");
    if (OsStartRelTimer(timer, 1, OS_REL_TIMER_MODE_REPEAT) != 0) {
        _exit(1);
    }
    owner.AwaitTick();
}

// With everything that was registered for the end.
[[noreturn]] void Exit() {
    std::exit(0);  // NOLINT(concurrency-mt-unsafe): that timers run meanwhile is what is tested
}

class TimersAtExit : public testing::Test {
protected:
    TimersAtExit() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(TimersAtExit, EndBeforeWhatTheyUse) {
    EXPECT_EXIT(
        {
            static Owner owner;
            RunTimer(owner, __LINE__);
            Exit();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(TimersAtExit, EndBeforeWhatWasMadeAfterOtherTimers) {
    EXPECT_EXIT(
        {
            static Owner first;
            RunTimer(first, __LINE__);
            static Owner second;
            RunTimer(second, __LINE__);
            Exit();
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
