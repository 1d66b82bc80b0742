// The library's client against a broker written by others. It speaks STOMP 1.1, counts content-length in
// characters, answers no SUBSCRIBE with a receipt, adds no destination of its own, escapes nothing, and
// offers heart-beats in one direction or none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "broker_process.h"
#include "quor_platform/websocket.h"
#include "support/bodies.h"
#include "support/host_terminal.h"

namespace quor_test {
namespace {

constexpr std::size_t kMessages = 10000;
constexpr char kConference[] = "conf-1";
constexpr char kCaptions[] = "/topic/conferences/conf-1/subtitle/en-US";
constexpr char kCheckins[] = "/topic/conferences/conf-1/checkinservice";
constexpr int kSkipped = 77;

class StompBrokerTest : public ::testing::Test {
protected:
    void SetUp() override { StartBroker(0); }

    void StartBroker(unsigned int heartBeatMs) {
        m_terminal.reset();
        m_broker.reset();
        m_broker = std::make_unique<BrokerProcess>(heartBeatMs);
        m_terminal = std::make_unique<HostTerminal>();
        m_terminal->Trust(m_broker->caFile());
    }

    BrokerProcess& broker() { return *m_broker; }
    HostTerminal& terminal() { return *m_terminal; }
    RecordingObserver& observer() { return m_terminal->observer(); }

    TagQuorAiKelLoginInfo Login() { return m_terminal->Login(m_broker->port(), "anybody", "anything"); }

    void Open() {
        terminal().SubscribeOnConnect({Request(AI_SUB_ID_CHECKIN, kConference),
                                       Request(AI_SUB_ID_CAPTION, kConference, "token", "en-US")});
        ASSERT_TRUE(terminal().Open(Login())) << quor_platform::LastFailure().text;
        ExpectSubscriptions({kCheckins, kCaptions});
    }

    void ExpectSubscriptions(const std::vector<std::string>& destinations) {
        std::string expected = "subscriptions";
        for (const std::string& destination : destinations) {
            expected += " " + destination;
        }
        std::string found;
        EXPECT_TRUE(Eventually([&] { return (found = broker().Do("subscriptions")) == expected; })) << found;
    }

    // So many captions of the broker, numbered from 0, each once and in order.
    void ExpectCaptions(std::size_t count) {
        ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, count));
        const auto records = observer().Records<TagQuorAiKelVoiceTranslateInfo>(AI_SUB_ID_CAPTION);
        ASSERT_EQ(records.size(), count);
        for (std::size_t n = 0; n < count; ++n) {
            ASSERT_EQ(NumberOf(records[n]), n);
        }
    }

    std::string Publish(std::size_t count) {
        return broker().Do("publish " + std::string(kCaptions) + " " + std::to_string(count));
    }

private:
    std::unique_ptr<BrokerProcess> m_broker;
    std::unique_ptr<HostTerminal> m_terminal;
};

TEST_F(StompBrokerTest, TenThousandMessagesArriveOnceAndInOrder) {
    Open();
    ASSERT_EQ(Publish(kMessages), "published " + std::to_string(kMessages));
    ExpectCaptions(kMessages);
    // A caption more shows that nothing was still on its way.
    observer().Clear();
    Publish(1);
    ExpectCaptions(1);
}

TEST_F(StompBrokerTest, TenThousandSendsReachTheBrokerInOrder) {
    Open();
    TagQuorOmNmsWebsocketStompFrame frame = {};
    frame.linkId = terminal().LinkId();
    frame.frameKind = QUOR_OM_NMS_WEBSOCKET_FRAME_SEND;
    frame.headerNum = 2;
    SetText(frame.headers[0].headerName, "destination");
    SetText(frame.headers[0].headerVal, "/app/count");
    SetText(frame.headers[1].headerName, "token");
    SetText(frame.headers[1].headerVal, "secret-7");
    for (std::size_t n = 0; n < kMessages; ++n) {
        SetText(frame.body, "{\"n\":" + std::to_string(n) + "}");
        ASSERT_EQ(QuorOmNmsWebsocketSendData(&frame), 0U) << quor_platform::LastFailure().text;
    }
    const std::string expected = "sends " + std::to_string(kMessages) + " yes";
    std::string found;
    EXPECT_TRUE(Eventually([&] { return (found = broker().Do("sends")) == expected; })) << found;
    EXPECT_EQ(broker().Do("last"), "last secret-7 {\"n\":" + std::to_string(kMessages - 1) + "}");
    EXPECT_EQ(terminal().linkEvents().Count(), 1U);
}

TEST_F(StompBrokerTest, SubscribingAgainGivesOneCopy) {
    Open();
    const TagQuorAiSubscribeInfo again = Request(AI_SUB_ID_CAPTION, kConference, "token", "en-US");
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(terminal().channel().KelBasicExecuteSubscribeFunc(&again), 0U);
    }
    const TagQuorAiSubscribeInfo last = Request(AI_SUB_ID_CONF_CTRL, kConference, "token");
    ASSERT_EQ(terminal().channel().KelBasicExecuteSubscribeFunc(&last), 0U);
    ExpectSubscriptions({kCheckins, kCaptions, "/topic/conferences/conf-1"});
    Publish(100);
    ExpectCaptions(100);
}

TEST_F(StompBrokerTest, UnsubscribingEndsDelivery) {
    Open();
    ASSERT_EQ(terminal().channel().KelStompUnSubscribeService(AI_SUB_ID_CAPTION), 0U);
    ExpectSubscriptions({kCheckins});
    Publish(10);
    const TagQuorAiSubscribeInfo again = Request(AI_SUB_ID_CAPTION, kConference, "token", "en-US");
    ASSERT_EQ(terminal().channel().KelBasicExecuteSubscribeFunc(&again), 0U);
    ExpectSubscriptions({kCheckins, kCaptions});
    Publish(3);
    ExpectCaptions(3);
}

TEST_F(StompBrokerTest, ALinkThatTheBrokerClosesIsRebuiltWithEverything) {
    Open();
    std::size_t losses = 0;
    for (const char* code : {"1000", "1001", "1011", "4000"}) {
        broker().Do(std::string("close ") + code);
        ASSERT_TRUE(terminal().closeNotices().WaitFor(++losses));
        EXPECT_EQ(quor_platform::LinkFailure(terminal().LinkId()).closeCode, std::stoi(code));
        ASSERT_TRUE(terminal().Rebuild(Login()));
        ExpectSubscriptions({kCheckins, kCaptions});
        observer().Clear();
        Publish(50);
        ExpectCaptions(50);
    }
    EXPECT_EQ(terminal().closeNotices().Count(), losses);
}

TEST_F(StompBrokerTest, HeartBeatsThatTheBrokerAsksForKeepTheLinkUp) {
    // The broker takes one direction only, from the client, and ends a link that is silent for two intervals
    // and a second. Its clock runs on: a link that outlives a promise three times over was kept up by
    // heart-beats.
    constexpr unsigned int kIntervalMs = 500;
    StartBroker(kIntervalMs);
    quor_platform::LinkSettings settings;
    settings.heartBeatSend = std::chrono::milliseconds(kIntervalMs);
    quor_platform::SetLinkSettings(settings);
    Open();
    const unsigned int linkId = terminal().LinkId();
    const std::uint64_t sentBefore = quor_platform::GetLinkStatistics(linkId).bytesSent;
    EXPECT_TRUE(
        Eventually([&] { return quor_platform::GetLinkStatistics(linkId).bytesSent >= sentBefore + 8; }));
    EXPECT_EQ(terminal().linkEvents().Count(), 1U);
    Publish(10);
    ExpectCaptions(10);
}

TEST_F(StompBrokerTest, AWrongCertificateIsRefused) {
    const BrokerProcess other;
    terminal().Trust(other.caFile());
    EXPECT_EQ(terminal().Create(Login()), 1U);
    EXPECT_EQ(quor_platform::LastFailure().stage, quor_platform::Stage::kTls);
}

}  // namespace
}  // namespace quor_test

int main(int argc, char** argv) {
    const std::string missing = quor_test::BrokerProcess::Missing();
    if (!missing.empty()) {
        std::printf("skipped: %s not found\n", missing.c_str());
        return quor_test::kSkipped;
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
