// What goes over a link that is up: frames in both directions, subscriptions, the manager link.
#include <atomic>
#include <cstring>
#include <deque>

#include "link_fixture.h"

namespace quor_test {
namespace {

using quor_platform::LastFailure;
using quor_platform::Stage;
using std::chrono::milliseconds;

const std::string kNul(1, '\0');

class LinkSessionTest : public LinkTest {
protected:
    static ScriptedPeer::Script Sending(const std::vector<std::string>& messages) {
        return [messages](PeerSession& session) {
            session.Connect();
            for (const std::string& message : messages) {
                session.Write(message);
            }
            session.WaitForEnd();
        };
    }
    // The texts of the receive events, once there are so many.
    std::vector<std::string> Texts(std::size_t count) {
        EXPECT_TRUE(m_events->WaitForCount(count + 1));
        std::vector<std::string> texts;
        for (const LinkEvent& event : m_events->Events()) {
            if (event.event == kReceive) {
                texts.push_back(event.text);
            }
        }
        return texts;
    }
};

// Collects the frames that the client sends.
class FrameCollector {
public:
    void Add(std::string frame) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_frames.push_back(std::move(frame));
        m_changed.notify_all();
    }
    std::vector<std::string> WaitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(m_mutex);
        EXPECT_TRUE(m_changed.wait_for(lock, kDefectLimit, [&] { return m_frames.size() >= count; }));
        return m_frames;
    }
    ScriptedPeer::Script Script() {
        return [this](PeerSession& session) {
            session.Connect();
            for (;;) {
                Add(session.ReadFrame());
            }
        };
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_frames;
};

TEST_F(LinkSessionTest, MessagesArriveInOrderWithTheirHeadersFirst) {
    ScriptedPeer peer(
        ServerTls(),
        Sending({MessageFrame("/topic/a\\cb", "{\"n\":1}"),
                 "MESSAGE\r\ndestination:/topic/b\r\ncontent-type:text/plain\r\n\r\nx" + kNul + "\n",
                 "RECEIPT\nreceipt-id:1\n\n" + kNul, "\n", "\r\n\n", MessageFrame("/topic/c", "last")}));
    const unsigned int linkId = MustStart(peer);
    const auto texts = Texts(3);
    ASSERT_EQ(texts.size(), 3U);
    EXPECT_EQ(
        texts[0],
        "MESSAGE\ndestination:/topic/a:b\ncontent-type:application/json\ncontent-length:7\nmessage-id:1\n"
        "subscription:s\n\n{\"n\":1}");
    EXPECT_EQ(texts[1], "MESSAGE\ndestination:/topic/b\ncontent-type:text/plain\ncontent-length:1\n\nx");
    EXPECT_EQ(texts[2].substr(0, 29), "MESSAGE\ndestination:/topic/c\n");
    for (const LinkEvent& event : m_events->Events()) {
        EXPECT_EQ(event.linkId, linkId);
        EXPECT_EQ(event.linkType, 0U);
    }
    const auto statistics = quor_platform::GetLinkStatistics(linkId);
    EXPECT_EQ(statistics.messagesReceived, 3U);
    EXPECT_EQ(statistics.heartBeatsReceived, 2U);
    EXPECT_EQ(statistics.framesSent, 1U);
    EXPECT_GT(statistics.bytesReceived, 100U);
}

TEST_F(LinkSessionTest, FramesSpreadAndSharedOverMessagesFragmentsAndBinary) {
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Connect();
        const std::string frame = MessageFrame("/topic/a", "spread");
        for (const char c : frame) {
            session.Write(std::string_view(&c, 1));
        }
        session.Write(frame + frame + "\n" + frame.substr(0, 10));
        session.WriteBinary(frame.substr(10) + MessageFrame("/topic/\xC3\xA4", "\xC3\xA4"));
        for (std::size_t i = 0; i < frame.size(); ++i) {
            session.WritePiece(frame.substr(i, 1), i + 1 == frame.size());
        }
        session.WaitForEnd();
    });
    MustStart(peer);
    const auto texts = Texts(6);
    ASSERT_EQ(texts.size(), 6U);
    EXPECT_NE(texts[4].find("/topic/\xC3\xA4"), std::string::npos);
    for (const std::size_t i : {0U, 1U, 2U, 3U, 5U}) {
        EXPECT_EQ(texts[i].substr(texts[i].size() - 6), "spread");
    }
}

TEST_F(LinkSessionTest, AFrameOfAMegabyteArrives) {
    const std::string body(1U << 20U, 'x');
    ScriptedPeer peer(ServerTls(), Sending({MessageFrame("/topic/a", body)}));
    MustStart(peer);
    const auto texts = Texts(1);
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts[0].substr(texts[0].size() - body.size()), body);
}

TEST_F(LinkSessionTest, AContentTypeIsNotAddedWhenTheHostSaysSo) {
    quor_platform::LinkSettings settings = quor_platform::GetLinkSettings();
    settings.addMissingContentType = false;
    quor_platform::SetLinkSettings(settings);
    ScriptedPeer peer(ServerTls(), Sending({MessageFrame("/topic/a", "x")}));
    MustStart(peer);
    EXPECT_EQ(Texts(1).at(0).find("content-type"), std::string::npos);
}

TEST_F(LinkSessionTest, SubscribeGetsAnIdAndAnotherOneReplacesIt) {
    FrameCollector collector;
    ScriptedPeer peer(ServerTls(), collector.Script());
    const unsigned int linkId = MustStart(peer);
    auto frame = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE,
                       {{"destination", "/topic/a"}, {"token", "t:1"}, {"id", "mine"}});
    ASSERT_EQ(QuorOmNmsWebsocketSubscribe(&frame), 0U);
    ASSERT_EQ(QuorOmNmsWebsocketSendData(&frame), 0U);  // the kind decides, not the function
    auto other = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE, {{"destination", "/topic/b"}});
    ASSERT_EQ(QuorOmNmsWebsocketSubscribe(&other), 0U);
    const auto frames = collector.WaitFor(4);
    ASSERT_EQ(frames.size(), 4U);
    EXPECT_EQ(CommandOf(frames[0]), "SUBSCRIBE");
    EXPECT_EQ(HeaderOf(frames[0], "destination"), "/topic/a");
    EXPECT_EQ(HeaderOf(frames[0], "token"), "t\\c1");
    const std::string first = HeaderOf(frames[0], "id");
    EXPECT_NE(first, "");
    EXPECT_NE(first, "mine");
    EXPECT_EQ(HeaderOf(frames[0], "receipt"), first);
    EXPECT_EQ(CommandOf(frames[1]), "UNSUBSCRIBE");
    EXPECT_EQ(HeaderOf(frames[1], "id"), first);
    EXPECT_EQ(CommandOf(frames[2]), "SUBSCRIBE");
    const std::string second = HeaderOf(frames[2], "id");
    EXPECT_NE(second, first);
    EXPECT_NE(HeaderOf(frames[3], "id"), first);
    EXPECT_NE(HeaderOf(frames[3], "id"), second);
    EXPECT_EQ(quor_platform::GetLinkStatistics(linkId).subscriptions, 2U);
}

TEST_F(LinkSessionTest, UnsubscribeSendsTheIdAndNothingForWhatIsNotSubscribed) {
    FrameCollector collector;
    ScriptedPeer peer(ServerTls(), collector.Script());
    const unsigned int linkId = MustStart(peer);
    auto subscribe = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE, {{"destination", "/topic/a"}});
    auto unsubscribe = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_UNSUBSCRIBE, {{"destination", "/topic/a"}});
    auto unknown = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_UNSUBSCRIBE, {{"destination", "/topic/chat/"}});
    auto empty = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_UNSUBSCRIBE, {{"destination", ""}});
    auto none = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_UNSUBSCRIBE, {});
    auto send = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SEND, {{"destination", "/end"}}, "{}");
    ASSERT_EQ(QuorOmNmsWebsocketSubscribe(&subscribe), 0U);
    for (auto* const frame : {&unknown, &empty, &none, &unsubscribe, &unsubscribe}) {
        ASSERT_EQ(QuorOmNmsWebsocketUnsubscribe(frame), 0U);
    }
    ASSERT_EQ(QuorOmNmsWebsocketSendData(&send), 0U);
    const auto frames = collector.WaitFor(3);
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(CommandOf(frames[1]), "UNSUBSCRIBE");
    EXPECT_EQ(HeaderOf(frames[1], "id"), HeaderOf(frames[0], "id"));
    EXPECT_EQ(CommandOf(frames[2]), "SEND");
    EXPECT_EQ(quor_platform::GetLinkStatistics(linkId).subscriptions, 0U);
}

TEST_F(LinkSessionTest, SendAnnouncesItsBodyUnlessTheRecordDoes) {
    FrameCollector collector;
    ScriptedPeer peer(ServerTls(), collector.Script());
    const unsigned int linkId = MustStart(peer);
    const std::string body = "{\"t\":\"\xC3\xA4\"}";
    auto plain = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SEND, {{"destination", "/a"}}, body);
    auto own = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SEND,
                     {{"destination", "/a"}, {"content-type", "text/plain"}, {"content-length", "3"}}, "abc");
    auto full = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SEND, {}, std::string(2048, 'f'));
    ASSERT_EQ(QuorOmNmsWebsocketSendData(&plain), 0U);
    ASSERT_EQ(QuorOmNmsWebsocketSubscribe(&own), 0U);
    ASSERT_EQ(QuorOmNmsWebsocketSendData(&full), 0U);
    const auto frames = collector.WaitFor(3);
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[0],
              "SEND\ndestination:/a\ncontent-type:application/json\ncontent-length:10\n\n" + body + kNul);
    EXPECT_EQ(frames[1], "SEND\ndestination:/a\ncontent-type:text/plain\ncontent-length:3\n\nabc" + kNul);
    EXPECT_EQ(BodyOf(frames[2]), std::string(2048, 'f'));
}

TEST_F(LinkSessionTest, BadRecordsAndUnknownLinksAreErrorsAtOnce) {
    auto frame = Frame(4711, QUOR_OM_NMS_WEBSOCKET_FRAME_SEND, {{"destination", "/a"}}, "{}");
    EXPECT_NE(QuorOmNmsWebsocketSendData(&frame), 0U);
    EXPECT_NE(LastFailure().text, "");
    EXPECT_NE(QuorOmNmsWebsocketSendData(nullptr), 0U);
    EXPECT_NE(QuorOmNmsWebsocketDestory(4711), 0U);
    EXPECT_NE(QuorOmNmsWebsocketDestory(0), 0U);
    ScriptedPeer peer(ServerTls(), Sending({}));
    frame.linkId = MustStart(peer);
    frame.headerNum = 9;
    EXPECT_NE(QuorOmNmsWebsocketSendData(&frame), 0U);
    EXPECT_EQ(LastFailure().stage, Stage::kSettings);
    frame.headerNum = 1;
    EXPECT_EQ(QuorOmNmsWebsocketSendData(&frame), 0U);
    EXPECT_EQ(quor_platform::GetLinkStatistics(4711).framesSent, 0U);
    EXPECT_EQ(quor_platform::LinkFailure(4711).stage, Stage::kNone);
}

TEST_F(LinkSessionTest, TheSendQueueIsBounded) {
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Connect();
        session.StaySilent();
    });
    quor_platform::LinkSettings settings = quor_platform::GetLinkSettings();
    settings.maxSendQueueBytes = 100'000;
    settings.closeTimeout = milliseconds(100);
    quor_platform::SetLinkSettings(settings);
    const unsigned int linkId = MustStart(peer);
    auto frame =
        Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SEND, {{"destination", "/a"}}, std::string(2048, 'f'));
    unsigned int result = 0;
    for (int i = 0; i < 100'000 && result == 0; ++i) {
        result = QuorOmNmsWebsocketSendData(&frame);
    }
    EXPECT_NE(result, 0U);
    EXPECT_EQ(LastFailure().stage, Stage::kQueue);
    auto subscribe = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE, {{"destination", "/0"}});
    for (unsigned int i = 1; QuorOmNmsWebsocketSubscribe(&subscribe) == 0; ++i) {
        std::snprintf(subscribe.headers[0].headerVal, sizeof subscribe.headers[0].headerVal, "/%0250u", i);
    }
    EXPECT_EQ(LastFailure().stage, Stage::kQueue);
    EXPECT_EQ(QuorOmNmsWebsocketDestory(linkId), 0U);  // bounded though nothing can be written
}

TEST_F(LinkSessionTest, ASlowSinkStopsReadingAndLosesNothing) {
    constexpr std::size_t kMessages = 20'000;
    constexpr std::size_t kLimit = 64U << 10U;
    quor_platform::LinkSettings settings = quor_platform::GetLinkSettings();
    settings.maxReceiveQueueBytes = kLimit;
    settings.pingInterval = milliseconds(1000);  // the peer answers none
    quor_platform::SetLinkSettings(settings);
    Signal firstArrived;
    Signal goOn;
    std::atomic<std::size_t> received{0};
    std::atomic<bool> inOrder{true};
    Signal all;
    quor_platform::SetLinkEventSink([&](unsigned int event, unsigned int, unsigned int, void* data) {
        if (event == kReceive) {
            const std::string text = static_cast<const char*>(data);
            const std::size_t number = std::stoul(text.substr(text.find("\n\n") + 2));
            inOrder = inOrder && number == received;
            if (received++ == 0) {
                firstArrived.Set();
                goOn.Wait();
            }
            if (received == kMessages) {
                all.Set();
            }
        }
    });
    std::atomic<std::size_t> written{0};
    ScriptedPeer peer(ServerTls(), [&written](PeerSession& session) {
        session.Connect();
        for (std::size_t i = 0; i < kMessages; ++i) {
            session.Write(MessageFrame("/topic/a", std::to_string(i) + " " + std::string(1000, 'x')));
            ++written;
        }
        session.WaitForEnd();
    });
    const unsigned int linkId = MustStart(peer);
    ASSERT_TRUE(firstArrived.Wait());
    // Reading stops soon: the count of what was read stands still far below what the server wants to write.
    std::uint64_t before = 0;
    std::uint64_t now = quor_platform::GetLinkStatistics(linkId).bytesReceived;
    do {
        before = now;
        std::this_thread::sleep_for(milliseconds(100));
        now = quor_platform::GetLinkStatistics(linkId).bytesReceived;
    } while (now != before);
    EXPECT_LT(now, 4 * kLimit);
    EXPECT_LT(written, kMessages);
    std::this_thread::sleep_for(2 * settings.pingInterval + milliseconds(500));
    EXPECT_EQ(quor_platform::LinkFailure(linkId).stage, Stage::kNone) << "a link that waits is not dead";
    goOn.Set();
    ASSERT_TRUE(all.Wait());
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(quor_platform::GetLinkStatistics(linkId).messagesReceived, kMessages);
    quor_platform::Shutdown();
}

TEST_F(LinkSessionTest, AManagerLinkHasNoCredentialsAndHandsUpRawText) {
    std::string authorization = "unset";
    Signal got;
    std::string sent;
    ScriptedPeer peer(ServerTls(), [&](PeerSession& session) {
        session.AcceptTls();
        session.ReadRequest();
        authorization = session.Request()["Authorization"];
        session.AcceptUpgrade();
        session.Write("{\"raw\":true}");
        session.WritePiece("MESSAGE\n", false);
        session.WritePiece("\nnot parsed", true);
        session.WriteBinary("binary");
        sent = session.Read();
        got.Set();
        session.WaitForEnd();
    });
    TagQuorOmNmsWebsocketInfo info = Info(peer.Port());
    info.isManagerLink = 1;
    unsigned int linkId = 0;
    ASSERT_EQ(QuorOmNmsWebsocketStartUp(&info, &linkId), 0U) << LastFailure().text;
    auto frame = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SEND, {{"modelVersion", "1"}}, "{}");
    ASSERT_EQ(QuorOmNmsWebsocketSendData(&frame), 0U);
    EXPECT_EQ(Texts(3), (std::vector<std::string>{"{\"raw\":true}", "MESSAGE\n\nnot parsed", "binary"}));
    EXPECT_EQ(m_events->Events()[0].linkType, 1U);
    EXPECT_EQ(m_events->Events()[1].linkType, 1U);
    ASSERT_TRUE(got.Wait());
    EXPECT_EQ(authorization, "");
    EXPECT_EQ(sent, "SEND\nmodelVersion:1\ncontent-type:application/json\ncontent-length:2\n\n{}" + kNul);
    EXPECT_EQ(QuorOmNmsWebsocketDestory(linkId), 0U);
}

TEST_F(LinkSessionTest, HeartBeatsLeaveAsAgreed) {
    quor_platform::LinkSettings settings = quor_platform::GetLinkSettings();
    settings.heartBeatSend = milliseconds(10);
    settings.heartBeatReceive = milliseconds(60'000);
    quor_platform::SetLinkSettings(settings);
    Signal three;
    std::string connect;
    ScriptedPeer peer(ServerTls(), [&](PeerSession& session) {
        session.Upgrade();
        connect = session.Read();
        session.Write("CONNECTED\nversion:1.2\nheart-beat:0,30\n\n" + kNul);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(session.Read(), "\n");
        }
        three.Set();
        session.WaitForEnd();
    });
    MustStart(peer);
    ASSERT_TRUE(three.Wait());
    EXPECT_EQ(HeaderOf(connect, "heart-beat"), "10,60000");
}

}  // namespace
}  // namespace quor_test
