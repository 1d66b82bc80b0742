#include <string>

#include "common/login_callbacks.h"
#include "support/adapter_test.h"

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

TEST_F(ConfTokenTest, NoCopyOfTheTokenIsLeftBehind) {
    Adapter::MonitorToken();
    EXPECT_TRUE(Wiped(256, "token-of-the-login-client"));
}

}  // namespace
}  // namespace QuorTest
