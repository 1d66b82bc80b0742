#include <atomic>
#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/login_callbacks.h"
#include "support/adapter_test.h"
#include "support/delete_watch.h"
#include "support/stack_probe.h"
#include "support/thread_state.h"

namespace QuorTest {
namespace {

using ConfTokenTest = AdapterTest;

TEST_F(ConfTokenTest, TheFirstCallRegistersAndEveryCallFetches) {
    EXPECT_EQ(Adapter::MonitorToken(), 0);
    EXPECT_EQ(Adapter::ConfToken(), "token-of-the-login-client");
    Fake().confToken = "another";
    EXPECT_EQ(Adapter::MonitorToken(), 0);
    EXPECT_EQ(Adapter::ConfToken(), "another");
    EXPECT_EQ(Fake().loginCallbacks.size(), 1U);
    EXPECT_EQ(Fake().loginCallbacks.at(0), &QuorAiEngine::LoginCallbackFunc);
    EXPECT_THAT(Fake().tokenCapacities, ElementsAre(256U, 256U));
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(ConfTokenTest, ARegistrationThatFailsIsTriedAgain) {
    Fake().FailCall(Fn::LoginInit, 1);
    Fake().SetFailResult(Fn::LoginInit, 55);
    EXPECT_EQ(Adapter::MonitorToken(), -1);
    EXPECT_EQ(Fake().CountOf(Fn::LoginToken), 0U);
    EXPECT_EQ(Adapter::MonitorToken(), 0);
    EXPECT_EQ(Adapter::MonitorToken(), 0);
    EXPECT_EQ(Fake().CountOf(Fn::LoginInit), 2U);
    EXPECT_THAT(Logs(), ElementsAre(AE("<MonitorConfToken> QuorLoginInitialize ret: 55")));
}

TEST_F(ConfTokenTest, ATokenThatCannotBeHadIsAFailureAndForgetsTheLastOne) {
    EXPECT_EQ(Adapter::MonitorToken(), 0);
    Fake().FailCall(Fn::LoginToken, 1);
    EXPECT_EQ(Adapter::MonitorToken(), -1);
    EXPECT_EQ(Adapter::ConfToken(), "");
    EXPECT_THAT(Logs(), ElementsAre(AE("<MonitorConfToken> QuorLoginGetConfToken ret: 7")));
}

TEST_F(ConfTokenTest, TheLongestTokenFits) {
    Fake().confToken = std::string(255, 't');
    EXPECT_EQ(Adapter::MonitorToken(), 0);
    EXPECT_EQ(Adapter::ConfToken(), std::string(255, 't'));
}

// Held up inside the login client, one of them registers; the other one waits for that.
TEST_F(ConfTokenTest, OfFirstCallsAtTheSameTimeOneRegisters) {
    std::atomic<pid_t> numbers[2] = {0, 0};
    std::latch start(1);
    std::vector<std::thread> callers;
    for (std::atomic<pid_t>& number : numbers) {
        callers.emplace_back([&] {
            start.wait();
            number = ThreadNumber();
            EXPECT_EQ(Adapter::MonitorToken(), 0);
        });
    }
    {
        const std::lock_guard<std::mutex> heldUp(Fake().mutex);
        start.count_down();
        for (const std::atomic<pid_t>& number : numbers) {
            WaitUntilAsleep(number);
        }
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    EXPECT_EQ(Fake().CountOf(Fn::LoginInit), 1U);
    EXPECT_EQ(Fake().CountOf(Fn::LoginToken), 2U);
}

TEST_F(ConfTokenTest, OnlyTheAdapterKeepsACopyOfTheToken) {
    const std::string token = Fake().confToken;
    StackProbe probe;
    unsigned deleted = 0;
    probe.Run([&] {
        const DeleteWatch watch(token);
        Adapter::MonitorToken();
        deleted = watch.Hits();
    });
    EXPECT_THAT(probe.Find(token), IsEmpty());
    EXPECT_EQ(deleted, 0U);
    EXPECT_EQ(Adapter::ConfToken(), token);
}

// Also when the transport refuses to end.
TEST_F(ConfTokenTest, TheLastUserTakesTheTokenAlong) {
    for (const bool ends : {true, false}) {
        ASSERT_EQ(Http().CloudHttpInit(), 0);
        ASSERT_EQ(Http().CloudHttpInit(), 0);
        EXPECT_EQ(Adapter::MonitorToken(), 0);
        EXPECT_EQ(Http().CloudHttpUninit(), 0);
        EXPECT_EQ(Adapter::ConfToken(), "token-of-the-login-client");
        if (!ends) {
            Fake().FailCall(Fn::HttpUninit, 1);
        }
        EXPECT_EQ(Http().CloudHttpUninit(), ends ? 0 : -1);
        EXPECT_EQ(Adapter::ConfTokenBytes(), std::string(256, '\0'));
    }
}

}  // namespace
}  // namespace QuorTest
