// How a link ends: by its server, by silence, by its destruction, and by several of these at once.
#include <atomic>

#include "link_fixture.h"

namespace quor_test {
namespace {

using quor_platform::Failure;
using quor_platform::LinkFailure;
using quor_platform::Stage;
using std::chrono::milliseconds;

const std::string kNul(1, '\0');

class LinkEndTest : public LinkTest {
protected:
    // Starts a link whose server does this after CONNECTED; expects one connect and one disconnect event.
    // Returns the reason.
    Failure EndedBy(const ScriptedPeer::Script& script, const std::string& heartBeat = "0,0") {
        ScriptedPeer peer(ServerTls(), [&script, &heartBeat](PeerSession& session) {
            session.Connect("1.2", heartBeat);
            script(session);
        });
        return EndOf(peer);
    }
    Failure EndOf(const ScriptedPeer& peer) {
        const std::size_t before = m_events->Events().size();
        const unsigned int linkId = MustStart(peer);
        EXPECT_TRUE(m_events->WaitUntil([before](const auto& events) {
            return events.size() > before && events.back().event == kDisconnect;
        }));
        Failure failure = LinkFailure(linkId);
        EXPECT_NE(failure.text, "");
        auto frame = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SEND, {{"destination", "/a"}}, "{}");
        EXPECT_NE(QuorOmNmsWebsocketSendData(&frame), 0U);
        EXPECT_EQ(quor_platform::LastFailure().text, failure.text);
        EXPECT_EQ(QuorOmNmsWebsocketDestory(linkId), 0U);
        EXPECT_NE(QuorOmNmsWebsocketDestory(linkId), 0U);
        EXPECT_EQ(m_events->Events().size(), before + 2);
        EXPECT_EQ(m_events->Events()[before].event, kConnect);
        EXPECT_EQ(m_events->Events()[before + 1].linkId, linkId);
        return failure;
    }
    static void WithLink(const std::function<void(quor_platform::LinkSettings&)>& change) {
        quor_platform::LinkSettings settings = quor_platform::GetLinkSettings();
        change(settings);
        quor_platform::SetLinkSettings(settings);
    }
};

TEST_F(LinkEndTest, CloseCodesAreKept) {
    for (const int code : {1000, 1001, 1002, 1011, 3000, 4999}) {
        const Failure failure =
            EndedBy([code](PeerSession& session) { session.Close(static_cast<std::uint16_t>(code), "why"); });
        EXPECT_EQ(failure.stage, Stage::kTransfer);
        EXPECT_EQ(failure.closeCode, code);
        EXPECT_NE(failure.text.find("why"), std::string::npos);
    }
}

TEST_F(LinkEndTest, IllegalCloseFramesEndTheLinkOnce) {
    const std::vector<std::vector<unsigned char>> frames = {
        {0x88, 2, 0x03, 0xED},              // 1005, which is never sent
        {0x88, 2, 0x03, 0xEE},              // 1006
        {0x88, 2, 0x00, 0x01},              // 1
        {0x88, 2, 0xFF, 0xFF},              // 65535
        {0x88, 1, 0x03},                    // half a code
        {0x88, 4, 0x03, 0xE8, 0xFF, 0xFF},  // a reason that is not UTF-8
    };
    for (const auto& bytes : frames) {
        const Failure failure = EndedBy([&bytes](PeerSession& session) {
            session.WriteRaw(bytes);
            session.WaitForEnd();
        });
        EXPECT_EQ(failure.stage, Stage::kTransfer);
    }
}

TEST_F(LinkEndTest, ACloseWithoutACodeAndOneWhoseServerStaysEndTheLink) {
    WithLink([](auto& settings) { settings.closeTimeout = milliseconds(200); });
    const Failure failure = EndedBy([](PeerSession& session) {
        session.WriteRaw({0x88, 0});
        session.StaySilent();
    });
    EXPECT_EQ(failure.stage, Stage::kTransfer);
    EXPECT_EQ(failure.closeCode, 0);
}

TEST_F(LinkEndTest, AConnectionThatBreaksWithoutACloseFrameEndsTheLink) {
    EXPECT_EQ(EndedBy([](PeerSession& session) { session.Drop(); }).stage, Stage::kTransfer);
    EXPECT_EQ(EndedBy([](PeerSession& session) { session.Reset(); }).stage, Stage::kTransfer);
    EXPECT_EQ(EndedBy([](PeerSession& session) {
                  boost::beast::error_code error;
                  session.Stream().next_layer().shutdown(error);
              }).stage,
              Stage::kTransfer);
}

TEST_F(LinkEndTest, AMessageThatIsNotUtf8EndsTheLink) {
    EXPECT_EQ(EndedBy([](PeerSession& session) {
                  session.Write(MessageFrame("/a", "\xE4"));
                  session.WaitForEnd();
              }).stage,
              Stage::kTransfer);
}

TEST_F(LinkEndTest, AnErrorFrameEndsTheLinkAndItsReasonStays) {
    const Failure failure = EndedBy([](PeerSession& session) {
        session.Write("ERROR\nmessage:token expired\n\n" + kNul);
        session.Close(1002, "later");
    });
    EXPECT_EQ(failure.stage, Stage::kStomp);
    EXPECT_NE(failure.text.find("token expired"), std::string::npos);
}

TEST_F(LinkEndTest, MalformedAndOversizeFramesEndTheLink) {
    WithLink([](auto& settings) { settings.maxFrameBytes = 1000; });
    for (const std::string& bytes :
         {"MESSAGE" + kNul, "SEND\ndestination:/a\n\n" + kNul, MessageFrame("/a", std::string(1000, 'x')),
          "MESSAGE\ncontent-length:2000\n\n" + kNul, std::string(2000, 'x')}) {
        const Failure failure = EndedBy([&bytes](PeerSession& session) {
            session.Write(bytes);
            session.WaitForEnd();
        });
        EXPECT_EQ(failure.stage, Stage::kStomp);
    }
}

TEST_F(LinkEndTest, WhatArrivedBeforeTheEndIsHandedUpFirst) {
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Connect();
        for (int i = 0; i < 1000; ++i) {
            session.Write(MessageFrame("/a", std::to_string(i)));
        }
        session.Close(1001);
    });
    MustStart(peer);
    ASSERT_TRUE(m_events->WaitForCount(1002));
    EXPECT_EQ(m_events->CountOf(kReceive), 1000U);
    EXPECT_EQ(m_events->Events().back().event, kDisconnect);
}

TEST_F(LinkEndTest, ASilentServerThatPromisedHeartBeatsIsDead) {
    WithLink([](auto& settings) {
        settings.heartBeatReceive = milliseconds(50);
        settings.pingInterval = milliseconds(0);
    });
    const auto start = std::chrono::steady_clock::now();
    const Failure failure = EndedBy([](PeerSession& session) { session.StaySilent(); }, "50,0");
    EXPECT_EQ(failure.stage, Stage::kLiveness);
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(100));
}

TEST_F(LinkEndTest, ASilentServerThatPromisedNothingIsDeadWhenNoPongComes) {
    WithLink([](auto& settings) {
        settings.heartBeatReceive = milliseconds(50);
        settings.pingInterval = milliseconds(50);
    });
    const Failure failure = EndedBy([](PeerSession& session) { session.StaySilent(); }, "0,0");
    EXPECT_EQ(failure.stage, Stage::kLiveness);
}

TEST_F(LinkEndTest, APeerThatAnswersPingsOrBeatsStaysAlive) {
    WithLink([](auto& settings) {
        settings.heartBeatReceive = milliseconds(200);
        settings.pingInterval = milliseconds(2100);  // so long may the machine stall
    });
    std::atomic<int> pings{0};
    Signal enough;
    ScriptedPeer peer(ServerTls(), [&](PeerSession& session) {
        session.Connect("1.2", "0,0");
        session.Stream().control_callback(
            [&](boost::beast::websocket::frame_type type, boost::beast::string_view) {
                if (type == boost::beast::websocket::frame_type::ping &&
                    ++pings == 2) {  // sent only after the first was answered
                    enough.Set();
                }
            });
        session.WaitForEnd();
    });
    const unsigned int linkId = MustStart(peer);
    ASSERT_TRUE(enough.Wait());
    EXPECT_EQ(LinkFailure(linkId).stage, Stage::kNone);
    EXPECT_EQ(m_events->CountOf(kDisconnect), 0U);
}

TEST_F(LinkEndTest, DestructionSaysGoodbyeAndRaisesNoEvent) {
    std::string disconnect;
    std::uint16_t code = 0;
    Signal ended;
    ScriptedPeer peer(ServerTls(), [&](PeerSession& session) {
        session.Connect();
        EXPECT_EQ(CommandOf(session.ReadFrame()), "SEND");
        disconnect = session.ReadFrame();
        session.Write("RECEIPT\nreceipt-id:" + HeaderOf(disconnect, "receipt") + "\n\n" + kNul);
        session.Write(MessageFrame("/late", "late"));
        EXPECT_THROW(session.WaitForEnd(), boost::system::system_error);
        code = session.Stream().reason().code;
        ended.Set();
    });
    const unsigned int linkId = MustStart(peer);
    ASSERT_TRUE(m_events->WaitForCount(1));
    auto frame = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SEND, {{"destination", "/a"}}, "{}");
    ASSERT_EQ(QuorOmNmsWebsocketSendData(&frame), 0U);
    EXPECT_EQ(QuorOmNmsWebsocketDestory(linkId), 0U);
    ASSERT_TRUE(ended.Wait());
    EXPECT_EQ(CommandOf(disconnect), "DISCONNECT");
    EXPECT_EQ(code, 1000);
    EXPECT_NE(QuorOmNmsWebsocketSendData(&frame), 0U);
    EXPECT_NE(QuorOmNmsWebsocketDestory(linkId), 0U);
    EXPECT_EQ(LinkFailure(linkId).stage, Stage::kNone);
    quor_platform::Shutdown();
    EXPECT_EQ(m_events->Events().size(), 1U);
}

TEST_F(LinkEndTest, DestructionOfALinkWhoseServerSaysNothingIsBounded) {
    WithLink([](auto& settings) { settings.closeTimeout = milliseconds(100); });
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Connect();
        session.StaySilent();
    });
    const unsigned int linkId = MustStart(peer);
    EXPECT_EQ(QuorOmNmsWebsocketDestory(linkId), 0U);
    quor_platform::Shutdown();
    EXPECT_EQ(m_events->CountOf(kDisconnect), 0U);
}

TEST_F(LinkEndTest, ALinkDestroysItselfFromEachOfItsEvents) {
    for (const unsigned int when : {kConnect, kReceive, kDisconnect}) {
        Signal destroyed;
        std::atomic<int> after{-1};
        quor_platform::SetLinkEventSink([&](unsigned int event, unsigned int linkId, unsigned int, void*) {
            if (after >= 0) {
                ++after;
            }
            if (event == when && after < 0) {
                EXPECT_EQ(QuorOmNmsWebsocketDestory(linkId), 0U);
                after = 0;
                destroyed.Set();
            }
        });
        ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
            session.Connect();
            session.Write(MessageFrame("/a", "1") + MessageFrame("/a", "2") + MessageFrame("/a", "3"));
            session.Close(1001);
        });
        MustStart(peer);
        ASSERT_TRUE(destroyed.Wait());
        quor_platform::Shutdown();
        EXPECT_EQ(after, 0) << when;
    }
}

TEST_F(LinkEndTest, DestructionAgainstADropRaisesAtMostOneEventAndNoneAfterwards) {
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Connect();
        session.Write(MessageFrame("/a", "1"));
        session.Drop();
    });
    WithLink([](auto& settings) { settings.closeTimeout = milliseconds(200); });
    std::atomic<unsigned int> destroyedUpTo{0};
    std::atomic<int> late{0};
    std::atomic<int> disconnects{0};
    const quor_platform::LinkEventSink sink = [&](unsigned int event, unsigned int linkId, unsigned int,
                                                  void*) {
        late += linkId <= destroyedUpTo ? 1 : 0;
        disconnects += event == kDisconnect ? 1 : 0;
    };
    quor_platform::SetLinkEventSink(sink);
    for (int i = 0; i < 200; ++i) {
        const int before = disconnects;
        const unsigned int linkId = MustStart(peer);
        if (i % 4 != 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(i * 10 % 1000));  // moves the race about
        }
        ASSERT_EQ(QuorOmNmsWebsocketDestory(linkId), 0U);
        quor_platform::SetLinkEventSink(sink);  // waits for an event that was raised before
        destroyedUpTo = linkId;
        EXPECT_LE(disconnects - before, 1);
    }
    quor_platform::Shutdown();
    EXPECT_EQ(late, 0);
}

TEST_F(LinkEndTest, TheSinkIsReplacedWhileEventsRun) {
    WithLink([](auto& settings) { settings.closeTimeout = milliseconds(200); });
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Connect();
        for (;;) {
            session.Write(MessageFrame("/a", "1"));
        }
    });
    const unsigned int linkId = MustStart(peer);
    for (int i = 0; i < 100; ++i) {
        auto alive = std::make_shared<std::atomic<bool>>(true);
        auto calls = std::make_shared<std::atomic<int>>(0);
        quor_platform::SetLinkEventSink([alive, calls](unsigned int, unsigned int, unsigned int, void*) {
            EXPECT_TRUE(*alive);
            ++*calls;
        });
        while (*calls == 0) {
            std::this_thread::yield();
        }
        quor_platform::SetLinkEventSink(nullptr);
        *alive = false;
        EXPECT_EQ(alive.use_count(), 1);  // what the old sink used is released
    }
    EXPECT_EQ(QuorOmNmsWebsocketDestory(linkId), 0U);
}

TEST_F(LinkEndTest, TheSinkReplacesItself) {
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Connect();
        session.WaitForEnd();
    });
    Signal replaced;
    quor_platform::SetLinkEventSink([&replaced](unsigned int, unsigned int, unsigned int, void*) {
        Signal* const signal = &replaced;
        quor_platform::SetLinkEventSink(nullptr);
        signal->Set();
    });
    MustStart(peer);
    EXPECT_TRUE(replaced.Wait());
}

TEST_F(LinkEndTest, ShutdownEndsLiveLinksWithoutEventsAndThePlatformWorksAgain) {
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Connect();
        session.WaitForEnd();
    });
    for (int round = 1; round <= 3; ++round) {
        const unsigned int first = MustStart(peer);
        const unsigned int second = MustStart(peer);
        ASSERT_TRUE(m_events->WaitForCount(static_cast<std::size_t>(2 * round)));
        quor_platform::Shutdown();
        EXPECT_NE(QuorOmNmsWebsocketDestory(first), 0U);
        EXPECT_NE(QuorOmNmsWebsocketDestory(second), 0U);
        EXPECT_EQ(m_events->CountOf(kDisconnect), 0U);
    }
}

TEST_F(LinkEndTest, ShutdownFromAnEventIsRefused) {
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Connect();
        session.WaitForEnd();
    });
    Signal done;
    quor_platform::SetLinkEventSink([&done](unsigned int, unsigned int, unsigned int, void*) {
        quor_platform::Shutdown();
        done.Set();
    });
    const unsigned int linkId = MustStart(peer);
    ASSERT_TRUE(done.Wait());
    EXPECT_EQ(QuorOmNmsWebsocketDestory(linkId), 0U);
}

TEST_F(LinkEndTest, EverythingAtOnce) {
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Connect();
        for (int i = 0; i < 50; ++i) {
            session.Write(MessageFrame("/a", "1"));
        }
        session.WaitForEnd();
    });
    WithLink([](auto& settings) { settings.closeTimeout = milliseconds(200); });
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    threads.reserve(3);
    for (int worker = 0; worker < 3; ++worker) {
        threads.emplace_back([&] {
            while (!stop) {
                unsigned int linkId = 0;
                if (StartUp(peer, &linkId) != 0) {
                    continue;  // a shutdown was faster
                }
                auto frame = Frame(linkId, QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE, {{"destination", "/a"}});
                QuorOmNmsWebsocketSubscribe(&frame);
                quor_platform::GetLinkStatistics(linkId);
                LinkFailure(linkId);
                QuorOmNmsWebsocketDestory(linkId);
            }
        });
    }
    for (int i = 0; i < 10; ++i) {
        std::atomic<int> calls{0};
        quor_platform::SetLinkEventSink(
            [&calls](unsigned int, unsigned int, unsigned int, void*) { ++calls; });
        while (calls < 20) {
            std::this_thread::yield();
        }
        quor_platform::Shutdown();
        quor_platform::SetLinkEventSink(nullptr);
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace quor_test
