// A link whose server went silent is noticed; one that is only slow is left alone. The interval under test is
// half a second, long enough that a loaded machine keeps it; everything that must not be the cause is
// switched off or takes minutes, so that a verdict has one possible reason.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "support/bodies.h"
#include "support/terminal_test.h"

namespace quor_test {
namespace {

using quor_platform::Failure;
using quor_platform::Stage;
using std::chrono::milliseconds;

constexpr milliseconds kInterval{500};
// Of links that must stay alive, whatever the machine does meanwhile.
constexpr milliseconds kCalmInterval{1000};
constexpr milliseconds kNever{600000};
constexpr milliseconds kNone{0};
// What a loaded machine may add to two intervals.
constexpr milliseconds kSlack{10000};

class LivenessTest : public TerminalTest {
protected:
    // serverBeats: 0 when the server promises none.
    void OpenWithIntervals(milliseconds heartBeat, milliseconds ping, milliseconds serverBeats) {
        quor_simulator::Options options;
        options.heartBeatSend = serverBeats;
        options.heartBeatReceive = heartBeat;
        StartServer(options);
        quor_platform::LinkSettings settings;
        settings.heartBeatSend = heartBeat;
        settings.heartBeatReceive = heartBeat;
        settings.pingInterval = ping;
        quor_platform::SetLinkSettings(settings);
        OpenForCaptions();
    }

    // Freezes the server's side and waits until the client says why the link is dead.
    Failure ExpectNoticed(milliseconds within) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(server().FreezeLinks(true), 1U);
        Failure failure = WaitForLinkEnd();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, within + kSlack);
        EXPECT_EQ(failure.stage, Stage::kLiveness) << failure.text;
        EXPECT_TRUE(terminal().closeNotices().WaitFor(1));
        return failure;
    }
};

TEST_F(LivenessTest, AHalfOpenLinkIsNoticedByMissingHeartBeats) {
    OpenWithIntervals(kInterval, kNever, kInterval);
    EXPECT_NE(ExpectNoticed(2 * kInterval).text.find("heart-beat"), std::string::npos);
}

TEST_F(LivenessTest, AHalfOpenLinkIsNoticedByPingWhenTheServerPromisesNoHeartBeats) {
    OpenWithIntervals(kNone, kInterval, kNone);
    EXPECT_NE(ExpectNoticed(2 * kInterval).text.find("ping"), std::string::npos);
}

TEST_F(LivenessTest, PromisedHeartBeatsThatStayAwayEndTheLink) {
    OpenWithIntervals(kInterval, kNever, kInterval);
    server().MuteHeartBeats(true);
    EXPECT_EQ(WaitForLinkEnd().stage, Stage::kLiveness);
}

TEST_F(LivenessTest, AHalfOpenLinkIsReplacedWhileTheServerStillKeepsItsHalf) {
    OpenWithIntervals(kNone, kInterval, kNone);
    ExpectNoticed(2 * kInterval);
    ASSERT_TRUE(terminal().Rebuild(Login()));
    ASSERT_TRUE(server().WaitForLinkCount(2, kPatience));
    server().FreezeLinks(false);
    ASSERT_TRUE(server().WaitForLinkCount(1, kPatience));
    ASSERT_TRUE(server().WaitForSubscriptionCount(1, kPatience));
    Publish(CaptionTopic("zh-CN"), NumberedCaption(1));
    EXPECT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
}

TEST_F(LivenessTest, DestroyingAFrozenLinkIsBounded) {
    quor_platform::LinkSettings settings;
    settings.closeTimeout = milliseconds{200};
    quor_platform::SetLinkSettings(settings);
    OpenForCaptions();
    ASSERT_EQ(server().FreezeLinks(true), 1U);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(terminal().Destroy(), 0U);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, settings.closeTimeout + kSlack);
    EXPECT_EQ(terminal().closeNotices().Count(), 0U);
}

// The client's heart-beats, counted by the server, are the clock of the next two tests: when so many have
// come, several intervals have passed.
TEST_F(LivenessTest, AnIdleLinkStaysUpOnHeartBeatsOfBothSides) {
    OpenWithIntervals(kCalmInterval, kNever, kCalmInterval);
    ASSERT_TRUE(Eventually([this] { return server().GetStatistics().heartBeatsIn >= 6; }));
    EXPECT_GT(quor_platform::GetLinkStatistics(terminal().LinkId()).heartBeatsReceived, 0U);
    EXPECT_EQ(terminal().linkEvents().Count(), 1U);
    EXPECT_EQ(quor_platform::LinkFailure(terminal().LinkId()).stage, Stage::kNone);
}

TEST_F(LivenessTest, AnIdleLinkStaysUpOnPingsAloneWhenTheServerPromisesNoHeartBeats) {
    OpenWithIntervals(kCalmInterval, kCalmInterval, kNone);
    ASSERT_TRUE(Eventually([this] { return server().GetStatistics().heartBeatsIn >= 6; }));
    EXPECT_EQ(quor_platform::GetLinkStatistics(terminal().LinkId()).heartBeatsReceived, 0U);
    EXPECT_EQ(terminal().linkEvents().Count(), 1U);
}

TEST_F(LivenessTest, ASlowLinkIsAlive) {
    // The frame takes longer than two intervals; its pieces are the sign of life.
    OpenWithIntervals(kCalmInterval, kCalmInterval, kCalmInterval);
    server().SlowSending(20000);
    Caption caption;
    caption.text.assign(60000, 's');
    quor_simulator::PublishOptions options;
    options.messages = 60;
    const auto begin = std::chrono::steady_clock::now();
    Publish(CaptionTopic("zh-CN"), ToJson(caption), options);
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
    EXPECT_GT(std::chrono::steady_clock::now() - begin, 2 * kCalmInterval) << "the frame was not slow";
    EXPECT_EQ(terminal().linkEvents().Count(), 1U);
}

}  // namespace
}  // namespace quor_test
