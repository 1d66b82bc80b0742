// How a link comes up, and every way in which it is refused.
#include <openssl/x509_vfy.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "link_fixture.h"
#include "tests/support/closed_port.h"

namespace quor_test {
namespace {

using quor_platform::Failure;
using quor_platform::LastFailure;
using quor_platform::Stage;
using std::chrono::milliseconds;

class LinkConnectTest : public LinkTest {
protected:
    // Expects a refusal: an error code, an untouched id, no event. Returns the reason.
    Failure MustRefuse(const ScriptedPeer& peer, const std::string& host = "localhost") {
        TagQuorOmNmsWebsocketInfo info = Info(peer.Port(), host);
        return MustRefuse(info);
    }
    Failure MustRefuse(TagQuorOmNmsWebsocketInfo& info) {
        unsigned int linkId = 4711;
        EXPECT_NE(QuorOmNmsWebsocketStartUp(&info, &linkId), 0U);
        EXPECT_EQ(linkId, 4711U);
        quor_platform::Shutdown();  // an event on its way would have arrived
        EXPECT_TRUE(m_events->Events().empty());
        Failure failure = LastFailure();
        EXPECT_FALSE(failure.text.empty());
        EXPECT_EQ(failure.text.find("dXNlcjpwYXNz"), std::string::npos);
        return failure;
    }
    static void WithTls(const std::function<void(quor_platform::TlsSettings&)>& change) {
        quor_platform::TlsSettings settings = quor_platform::GetTlsSettings();
        change(settings);
        quor_platform::SetTlsSettings(settings);
    }
    static void WithLink(const std::function<void(quor_platform::LinkSettings&)>& change) {
        quor_platform::LinkSettings settings = quor_platform::GetLinkSettings();
        change(settings);
        quor_platform::SetLinkSettings(settings);
    }
    static ScriptedPeer::Script Accepting() {
        return [](PeerSession& session) {
            session.Connect();
            session.WaitForEnd();
        };
    }
};

TEST_F(LinkConnectTest, BothStompVersionsConnect) {
    for (const std::string version : {"1.1", "1.2"}) {
        std::string connect;
        std::string authorization;
        std::string target;
        std::string hostHeader;
        std::string protocols;
        ScriptedPeer peer(ServerTls(), [&](PeerSession& session) {
            session.AcceptTls();
            session.ReadRequest();
            authorization = session.Request()["Authorization"];
            target = session.Request().target();
            hostHeader = session.Request()["Host"];
            protocols = session.Request()["Sec-WebSocket-Protocol"];
            session.AcceptUpgrade();
            connect = session.Read();
            session.Write("CONNECTED\nversion:" + version + "\n\n" + std::string(1, '\0'));
            session.WaitForEnd();
        });
        m_events = std::make_shared<EventRecorder>();
        quor_platform::SetLinkEventSink(
            [events = m_events](unsigned int event, unsigned int linkId, unsigned int linkType, void* data) {
                events->Add({event, linkId, linkType, data == nullptr ? "" : static_cast<const char*>(data)});
            });
        const unsigned int linkId = MustStart(peer);
        ASSERT_TRUE(m_events->WaitForCount(1));
        const LinkEvent event = m_events->Events()[0];
        EXPECT_EQ(event.event, kConnect);
        EXPECT_EQ(event.linkId, linkId);
        EXPECT_EQ(event.linkType, 0U);
        EXPECT_EQ(authorization, "Basic dXNlcjpwYXNz");
        EXPECT_EQ(target, "/conf-portal/websocket");
        EXPECT_EQ(hostHeader, "localhost:" + std::to_string(peer.Port()));
        EXPECT_EQ(protocols, "v12.stomp, v11.stomp");
        EXPECT_EQ(connect, "CONNECT\naccept-version:1.1,1.2\nhost:localhost\nheart-beat:0,0\n\n" +
                               std::string(1, '\0'));
        EXPECT_EQ(quor_platform::LinkFailure(linkId).stage, Stage::kNone);
        EXPECT_EQ(QuorOmNmsWebsocketDestory(linkId), 0U);
    }
}

TEST_F(LinkConnectTest, AnAddressIsVerifiedAsAnAddressAndHasNoServerName) {
    std::string serverName = "unset";
    ScriptedPeer peer(ServerTls({"IP:127.0.0.1"}), [&serverName](PeerSession& session) {
        session.Upgrade();
        const char* const name =
            SSL_get_servername(session.Stream().next_layer().native_handle(), TLSEXT_NAMETYPE_host_name);
        serverName = name == nullptr ? "" : name;
        session.Read();
        session.Write("CONNECTED\nversion:1.2\n\n" + std::string(1, '\0'));
        session.WaitForEnd();
    });
    TagQuorOmNmsWebsocketInfo info = Info(peer.Port(), "127.0.0.1");
    unsigned int linkId = 0;
    ASSERT_EQ(QuorOmNmsWebsocketStartUp(&info, &linkId), 0U) << LastFailure().text;
    EXPECT_EQ(serverName, "");
}

TEST_F(LinkConnectTest, NoApplicationProtocolIsOffered) {
    const std::shared_ptr<SSL_CTX> tls = ServerTls();
    bool offered = false;
    SSL_CTX_set_alpn_select_cb(
        tls.get(),
        [](SSL*, const unsigned char**, unsigned char*, const unsigned char*, unsigned int, void* arg) {
            *static_cast<bool*>(arg) = true;
            return SSL_TLSEXT_ERR_NOACK;
        },
        &offered);
    ScriptedPeer peer(tls, Accepting());
    MustStart(peer);
    EXPECT_FALSE(offered);
}

TEST_F(LinkConnectTest, ACertificateDirectoryIsTrusted) {
    const std::string directory = m_directory.File("certificates");
    std::filesystem::create_directory(directory);
    Authority().WriteCertificate(directory + "/" + Authority().HashedName());
    WithTls([&directory](auto& settings) {
        settings.caFile = "/nonexistent";
        settings.caDirectory = directory;
    });
    ScriptedPeer peer(ServerTls(), Accepting());
    MustStart(peer);
}

TEST_F(LinkConnectTest, AForeignAuthorityIsRefused) {
    const TestAuthority foreign("Foreign CA");
    ScriptedPeer peer(foreign.ServerContext({}), Accepting());
    const Failure failure = MustRefuse(peer);
    EXPECT_EQ(failure.stage, Stage::kTls);
    EXPECT_EQ(failure.certificateError, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
    EXPECT_NE(failure.tlsError, 0U);
}

TEST_F(LinkConnectTest, AnotherHostNameIsRefused) {
    ScriptedPeer peer(ServerTls({"DNS:other.example,IP:127.0.0.2"}), Accepting());
    EXPECT_EQ(MustRefuse(peer).certificateError, X509_V_ERR_HOSTNAME_MISMATCH);
    EXPECT_EQ(MustRefuse(peer, "127.0.0.1").certificateError, X509_V_ERR_IP_ADDRESS_MISMATCH);
}

TEST_F(LinkConnectTest, AnExpiredAndAnEarlyCertificateAreRefused) {
    ScriptedPeer expired(ServerTls({"DNS:localhost", -10, -1}), Accepting());
    EXPECT_EQ(MustRefuse(expired).certificateError, X509_V_ERR_CERT_HAS_EXPIRED);
    ScriptedPeer early(ServerTls({"DNS:localhost", 2, 10}), Accepting());
    EXPECT_EQ(MustRefuse(early).certificateError, X509_V_ERR_CERT_NOT_YET_VALID);
}

TEST_F(LinkConnectTest, VerificationCanBeSwitchedOffForALaboratory) {
    const TestAuthority foreign("Foreign CA");
    ScriptedPeer peer(foreign.ServerContext({"DNS:other.example"}), Accepting());
    WithTls([](auto& settings) { settings.insecureSkipVerification = true; });
    MustStart(peer);
}

TEST_F(LinkConnectTest, MissingEmptyAndUnreadableAuthoritiesRefuse) {
    std::ofstream(m_directory.File("empty.pem")).close();
    std::ofstream(m_directory.File("text.pem")) << "no certificate\n";
    std::filesystem::create_directory(m_directory.File("empty"));
    ScriptedPeer peer(ServerTls(), Accepting());
    for (const std::string& file :
         {std::string(), m_directory.File("missing.pem"), m_directory.File("empty.pem"),
          m_directory.File("text.pem"), m_directory.Path()}) {
        WithTls([&file](auto& settings) { settings.caFile = file; });
        const Failure failure = MustRefuse(peer);
        EXPECT_EQ(failure.stage, Stage::kSettings) << file;
        EXPECT_NE(failure.text.find(file), std::string::npos);
    }
    for (const std::string& directory :
         {m_directory.File("missing"), m_directory.File("empty"), m_directory.File("ca.pem")}) {
        WithTls([&directory](auto& settings) { settings.caDirectory = directory; });
        EXPECT_EQ(MustRefuse(peer).stage, Stage::kSettings) << directory;
    }
}

TEST_F(LinkConnectTest, ARefusedUpgradeKeepsItsStatus) {
    for (const unsigned int status : {401U, 302U, 500U, 200U}) {
        ScriptedPeer peer(ServerTls(), [status](PeerSession& session) {
            session.AcceptTls();
            session.ReadRequest();
            session.RefuseUpgrade(status);
        });
        const Failure failure = MustRefuse(peer);
        EXPECT_EQ(failure.stage, Stage::kUpgrade);
        EXPECT_EQ(failure.httpStatus, static_cast<int>(status));
    }
}

TEST_F(LinkConnectTest, AnErrorFrameAfterConnectRefusesWithItsMessage) {
    ScriptedPeer peer(ServerTls(), [](PeerSession& session) {
        session.Upgrade();
        session.Read();
        session.Write("ERROR\nmessage:Bad\\cCREDENTIALS\\nsecond\n\nlong\nSEND\ntoken:secret" +
                      std::string(1, '\0'));
        session.Close(1002);
    });
    const Failure failure = MustRefuse(peer);
    EXPECT_EQ(failure.stage, Stage::kStomp);
    EXPECT_NE(failure.text.find("Bad:CREDENTIALS second"), std::string::npos) << failure.text;
    EXPECT_EQ(failure.text.find("secret"), std::string::npos);
}

TEST_F(LinkConnectTest, OtherAnswersToConnectRefuse) {
    for (const std::string answer :
         {"MESSAGE\ndestination:/a\n\n", "CONNECTED\nversion:1.0\n\n", "CONNECTED\n\n",
          "CONNECTED\nversion:2.0\n\n", "garbage", "HTTP/1.1 200 OK\n\n"}) {
        ScriptedPeer peer(ServerTls(), [answer](PeerSession& session) {
            session.Upgrade();
            session.Read();
            session.Write(answer + std::string(1, '\0'));
            session.WaitForEnd();
        });
        EXPECT_EQ(MustRefuse(peer).stage, Stage::kStomp) << answer;
    }
}

TEST_F(LinkConnectTest, AServerThatClosesInsteadOfConnectingRefuses) {
    ScriptedPeer closing(ServerTls(), [](PeerSession& session) {
        session.Upgrade();
        session.Read();
        session.Close(1008, "go away");
    });
    const Failure closed = MustRefuse(closing);
    EXPECT_EQ(closed.closeCode, 1008);
    EXPECT_NE(closed.text.find("go away"), std::string::npos);
    ScriptedPeer dropping(ServerTls(), [](PeerSession& session) { session.AcceptTls(); });
    EXPECT_EQ(MustRefuse(dropping).stage, Stage::kUpgrade);
    ScriptedPeer resetting(ServerTls(), [](PeerSession& session) {
        session.Stream().next_layer().next_layer().wait(boost::asio::ip::tcp::socket::wait_read);
        session.Reset();
    });
    EXPECT_EQ(MustRefuse(resetting).stage, Stage::kTls);
}

TEST_F(LinkConnectTest, ASilentServerIsGivenUpAtEveryStage) {
    // For all stages together: those before the silent one must fit.
    WithLink([](auto& settings) { settings.handshakeTimeout = milliseconds(2000); });
    const std::vector<std::pair<Stage, ScriptedPeer::Script>> stages = {
        {Stage::kTls, [](PeerSession& session) { session.StaySilent(); }},
        {Stage::kUpgrade,
         [](PeerSession& session) {
             session.AcceptTls();
             session.StaySilent();
         }},
        {Stage::kStomp,
         [](PeerSession& session) {
             session.Upgrade();
             session.StaySilent();
         }},
    };
    for (const auto& [stage, script] : stages) {
        ScriptedPeer peer(ServerTls(), script);
        const Failure failure = MustRefuse(peer);
        EXPECT_EQ(failure.stage, stage);
        EXPECT_EQ(failure.systemError, ETIMEDOUT);
    }
}

TEST_F(LinkConnectTest, AnUnreachableServerIsRefused) {
    const QuorTest::ClosedPort closed;
    TagQuorOmNmsWebsocketInfo info = Info(closed.Port());
    const Failure refused = MustRefuse(info);
    EXPECT_EQ(refused.stage, Stage::kConnect);
    EXPECT_EQ(refused.systemError, ECONNREFUSED);
}

TEST_F(LinkConnectTest, AnUnknownNameIsRefused) {
    // A label of 64 characters is refused by every resolver without asking anybody.
    TagQuorOmNmsWebsocketInfo info = Info(443, std::string(64, 'a') + ".invalid");
    EXPECT_EQ(MustRefuse(info).stage, Stage::kResolve);
}

TEST_F(LinkConnectTest, UnusableArgumentsAndSettingsAreRefused) {
    unsigned int linkId = 0;
    EXPECT_NE(QuorOmNmsWebsocketStartUp(nullptr, &linkId), 0U);
    TagQuorOmNmsWebsocketInfo info = Info(443);
    EXPECT_NE(QuorOmNmsWebsocketStartUp(&info, nullptr), 0U);
    info.port = 0;
    EXPECT_EQ(MustRefuse(info).stage, Stage::kSettings);
    info = Info(443);
    WithLink([](auto& settings) { settings.handshakeTimeout = milliseconds(-1); });
    EXPECT_EQ(MustRefuse(info).stage, Stage::kSettings);
}

TEST_F(LinkConnectTest, ManyStartUpsAtOnceGetDifferentLinks) {
    ScriptedPeer peer(ServerTls(), Accepting());
    std::vector<unsigned int> ids(8);
    std::vector<std::thread> threads;
    threads.reserve(ids.size());
    for (unsigned int& id : ids) {
        threads.emplace_back([this, &peer, &id] { id = MustStart(peer); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(m_events->WaitForCount(ids.size()));
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::unique(ids.begin(), ids.end()), ids.end());
    EXPECT_NE(ids.front(), 0U);
}

TEST_F(LinkConnectTest, ALinkIsStartedFromWithinAnEvent) {
    ScriptedPeer peer(ServerTls(), Accepting());
    Signal started;
    unsigned int second = 0;
    quor_platform::SetLinkEventSink([&](unsigned int event, unsigned int, unsigned int, void*) {
        if (event == kConnect && second == 0) {
            EXPECT_EQ(StartUp(peer, &second), 0U);
            started.Set();
        }
    });
    const unsigned int first = MustStart(peer);
    ASSERT_TRUE(started.Wait());
    EXPECT_NE(second, first);
    quor_platform::Shutdown();
}

TEST_F(LinkConnectTest, AStartUpThatShutdownMeetsIsRefused) {
    Signal inside;
    ScriptedPeer peer(ServerTls(), [&inside](PeerSession& session) {
        inside.Set();
        session.StaySilent();
    });
    unsigned int linkId = 0;
    unsigned int result = 0;
    std::thread starter([&] { result = StartUp(peer, &linkId); });
    ASSERT_TRUE(inside.Wait());
    quor_platform::Shutdown();
    starter.join();
    EXPECT_NE(result, 0U);
    EXPECT_EQ(linkId, 0U);
}

}  // namespace
}  // namespace quor_test
