// The link is lost in every way and rebuilt: the same subscriptions, every caption once, one close notice
// each.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "quor_platform/os.h"
#include "support/bodies.h"
#include "support/terminal_test.h"

namespace quor_test {
namespace {

using quor_simulator::Drop;
using ::testing::ElementsAre;

struct Loss {
    Drop how;
    std::uint16_t code;
    const char* reason;
};

// Close codes as servers send them: defined, private, and ones that must never be on the wire.
constexpr Loss kLosses[] = {
    {Drop::kCloseFrame, 1000, "bye"},
    {Drop::kNoCloseFrame, 0, ""},
    {Drop::kCloseFrame, 1001, "going away"},
    {Drop::kReset, 0, ""},
    {Drop::kCloseFrame, 1011, ""},
    {Drop::kCloseFrame, 1005, ""},
    {Drop::kNoCloseFrame, 0, ""},
    {Drop::kCloseFrame, 4321, "x"},
    {Drop::kReset, 0, ""},
    {Drop::kCloseFrame, 999, "odd"},
    {Drop::kCloseFrame, 1006, ""},
    {Drop::kCloseFrame, 65535, "odd"},
    {Drop::kNoCloseFrame, 0, ""},
    {Drop::kCloseFrame, 1013, ""},
};

// The message that the library sends to the connection client when the server closed the link.
std::string CloseNotice() {
    std::string message(OS_MSG_SIZE, '\0');
    const unsigned int id = 0x0060003F;
    std::memcpy(&message[OS_MSG_ID_OFFSET], &id, sizeof id);
    message.replace(OS_MSG_SENDER_OFFSET, 9, "ai_proc_m");
    message.replace(OS_MSG_RECEIVER_OFFSET, 12, "srvConClient");
    return message;
}

class RecoveryTest : public TerminalTest {
protected:
    void OpenForRecovery() {
        OpenWith({Request(AI_SUB_ID_CHECKIN, kConference),
                  Request(AI_SUB_ID_CAPTION, kConference, kToken, "zh-CN"),
                  Request(AI_SUB_ID_CONF_CTRL, kConference, kToken),
                  Request(AI_SUB_ID_TRANSLATION, kConference, kToken, "en-US"),
                  Request(AI_SUB_ID_CONF_SITE, kConference, kToken)});
        m_expectedSet = SubscriptionSet(server());
    }

    // Publishes so many captions, of which each must arrive.
    void PublishCaptions(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            Publish(CaptionTopic("zh-CN"), NumberedCaption(m_published++));
        }
    }

    void ExpectAllDelivered() {
        ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, m_published));
        const auto records = observer().Records<TagQuorAiKelVoiceTranslateInfo>(AI_SUB_ID_CAPTION);
        ASSERT_EQ(records.size(), m_published);
        for (std::size_t i = 0; i < records.size(); ++i) {
            ASSERT_EQ(NumberOf(records[i]), i);
        }
    }

    // Waits for the notice of loss number count and rebuilds as an application does.
    void RebuildAfterLoss(std::size_t count) {
        ASSERT_TRUE(terminal().closeNotices().WaitFor(count));
        ASSERT_EQ(terminal().closeNotices().Count(), count);
        ASSERT_TRUE(server().WaitForNoLinks(kPatience));
        ASSERT_TRUE(terminal().Rebuild(Login())) << quor_platform::LastFailure().text;
        ASSERT_TRUE(server().WaitForSubscriptionCount(m_expectedSet.size(), kPatience));
        ASSERT_EQ(SubscriptionSet(server()), m_expectedSet);
    }

    std::size_t published() const { return m_published; }

private:
    std::vector<std::string> m_expectedSet;
    std::size_t m_published = 0;
};

TEST_F(RecoveryTest, FiftyLossesOfEveryKind) {
    constexpr std::size_t kRounds = 50;
    constexpr std::size_t kCaptionsPerRound = 20;
    OpenForRecovery();
    for (std::size_t round = 0; round < kRounds; ++round) {
        const Loss& loss = kLosses[round % std::size(kLosses)];
        SCOPED_TRACE("round " + std::to_string(round) + ", kind " +
                     std::to_string(static_cast<int>(loss.how)) + ", code " + std::to_string(loss.code));
        ASSERT_NO_FATAL_FAILURE(PublishCaptions(kCaptionsPerRound));
        if (loss.how == Drop::kReset) {
            // A reset takes with it what the client's system has not handed up yet.
            ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, published()));
        }
        const unsigned int linkId = terminal().LinkId();
        ASSERT_EQ(server().DropLinks(loss.how, loss.code, loss.reason), 1U);
        ASSERT_NO_FATAL_FAILURE(RebuildAfterLoss(round + 1));
        EXPECT_NE(terminal().LinkId(), linkId);
        ASSERT_NO_FATAL_FAILURE(ExpectAllDelivered());
    }
    EXPECT_THAT(terminal().closeNotices().All(), ::testing::Each(CloseNotice()));
    EXPECT_EQ(observer().Count(AI_SUB_ID_WS_CONNECTED), kRounds + 1);
    EXPECT_EQ(server().GetStatistics().destinations[CaptionTopic("zh-CN")].delivered, published());
}

TEST_F(RecoveryTest, EveryLossKeepsItsReason) {
    OpenForRecovery();
    std::size_t losses = 0;
    for (const Loss& loss : kLosses) {
        SCOPED_TRACE("kind " + std::to_string(static_cast<int>(loss.how)) + ", code " +
                     std::to_string(loss.code));
        ASSERT_EQ(server().DropLinks(loss.how, loss.code, loss.reason), 1U);
        const quor_platform::Failure failure = WaitForLinkEnd();
        EXPECT_NE(failure.stage, quor_platform::Stage::kNone);
        EXPECT_FALSE(failure.text.empty());
        if (loss.how == Drop::kCloseFrame && loss.code >= 1000 && loss.code != 1005 && loss.code != 1006 &&
            loss.code < 5000) {
            EXPECT_EQ(failure.closeCode, loss.code) << failure.text;
        }
        ASSERT_NO_FATAL_FAILURE(RebuildAfterLoss(++losses));
    }
}

TEST_F(RecoveryTest, AServerThatIsRestartedOnItsPort) {
    OpenForRecovery();
    for (std::size_t restart = 1; restart <= 5; ++restart) {
        ASSERT_NO_FATAL_FAILURE(PublishCaptions(10));
        ASSERT_NO_FATAL_FAILURE(ExpectAllDelivered());
        const std::uint16_t port = server().port();
        server().Stop();
        ASSERT_TRUE(terminal().closeNotices().WaitFor(restart));
        ASSERT_EQ(terminal().Destroy(), 0U);
        EXPECT_EQ(terminal().Create(Login()), 1U) << "nobody listens";
        EXPECT_EQ(quor_platform::LastFailure().stage, quor_platform::Stage::kConnect);
        server().Start();
        ASSERT_EQ(server().port(), port);
        ASSERT_NO_FATAL_FAILURE(RebuildAfterLoss(restart));
    }
    ASSERT_NO_FATAL_FAILURE(PublishCaptions(10));
    ASSERT_NO_FATAL_FAILURE(ExpectAllDelivered());
}

TEST_F(RecoveryTest, CheckInAsksTheLoginClientForAFreshTokenOnEveryLink) {
    OpenForRecovery();
    for (int i = 1; i <= 3; ++i) {
        const std::string token = "fresh-" + std::to_string(i);
        terminal().SetLoginToken(token);
        ASSERT_TRUE(terminal().Rebuild(Login()));
        ASSERT_TRUE(server().WaitForSubscriptionCount(5, kPatience));
        EXPECT_EQ(server().Subscriptions()[0].destination, CheckinTopic());
        EXPECT_EQ(server().Subscriptions()[0].token, token);
    }
}

TEST_F(RecoveryTest, ALinkThatIsDestroyedRaisesNoCloseNotice) {
    OpenForRecovery();
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(terminal().Rebuild(Login()));
    }
    server().DropLinks();
    ASSERT_TRUE(terminal().closeNotices().WaitFor(1));
    EXPECT_THAT(terminal().closeNotices().All(), ElementsAre(CloseNotice()));
}

TEST_F(RecoveryTest, AManagerLinkThatIsLostRaisesNoCloseNotice) {
    StartTerminal(Delivery::kSerialised);
    ASSERT_NO_FATAL_FAILURE(OpenManagerLink());
    ASSERT_EQ(server().DropLinks(), 1U);
    ASSERT_TRUE(terminal().linkEvents().WaitFor(2));
    ASSERT_TRUE(terminal().Open(Login()));
    server().DropLinks();
    ASSERT_TRUE(terminal().closeNotices().WaitFor(1));
    EXPECT_THAT(terminal().closeNotices().All(), ElementsAre(CloseNotice()));
}

TEST_F(RecoveryTest, SendsOnALostLinkFailAtOnceAndDestroyingItSucceeds) {
    OpenForRecovery();
    server().DropLinks(Drop::kReset);
    ASSERT_TRUE(terminal().closeNotices().WaitFor(1));
    const TagQuorAiSubscribeInfo request = Request(AI_SUB_ID_CAPTION, kConference, kToken, "zh-CN");
    EXPECT_EQ(channel().KelBasicExecuteSubscribeFunc(&request), 1U);
    EXPECT_EQ(quor_platform::LastFailure().stage, quor_platform::LinkFailure(terminal().LinkId()).stage);
    EXPECT_EQ(terminal().Destroy(), 0U);
    EXPECT_EQ(terminal().Destroy(), 0U) << "there is no link any more";
}

}  // namespace
}  // namespace quor_test
