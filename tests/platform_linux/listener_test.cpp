#include "platform_linux/listener.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "tests/platform_linux/support/gate.h"
#include "tests/platform_linux/support/threads.h"

namespace {

using TestListener = quor_platform::internal::Listener<std::function<void(int)>>;

TEST(Listener, CallsWhatIsSet) {
    TestListener listener;
    EXPECT_FALSE(listener.Call(1));
    int heard = 0;
    listener.Set([&](int value) { heard = value; });
    EXPECT_TRUE(listener.Call(2));
    EXPECT_EQ(heard, 2);
    listener.Set(nullptr);
    EXPECT_FALSE(listener.Call(3));
    EXPECT_EQ(heard, 2);
}

TEST(Listener, IsNotCalledFromItself) {
    TestListener listener;
    int calls = 0;
    listener.Set([&](int) {
        ++calls;
        EXPECT_FALSE(listener.Call(1));
    });
    EXPECT_TRUE(listener.Call(1));
    EXPECT_EQ(calls, 1);
}

TEST(Listener, MayBeReplacedFromInside) {
    TestListener listener;
    // Its destructor, which runs in the call that replaced it, uses the listener once more.
    auto last = std::shared_ptr<void>(nullptr, [&](void*) { EXPECT_FALSE(listener.Call(9)); });
    int second = 0;
    listener.Set([&, last](int) { listener.Set([&](int value) { second = value; }); });
    last.reset();
    EXPECT_TRUE(listener.Call(1));
    EXPECT_TRUE(listener.Call(2));
    EXPECT_EQ(second, 2);
}

TEST(Listener, SetWaitsForARunningCall) {
    TestListener listener;
    Gate entered;
    std::atomic<bool> ended{false};
    listener.Set([&](int) {
        entered.Open();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ended = true;
    });
    std::thread caller([&] { listener.Call(1); });
    EXPECT_TRUE(entered.Wait());
    listener.Set(nullptr);
    EXPECT_TRUE(ended);
    caller.join();
}

TEST(Listener, RunsOneCallAtATime) {
    TestListener listener;
    int calls = 0;  // the thread sanitizer watches
    listener.Set([&](int) { ++calls; });
    RunInThreads(4, [&](int) {
        for (int round = 0; round < 2000; ++round) {
            listener.Call(round);
        }
    });
    EXPECT_EQ(calls, 8000);
}

}  // namespace
