// Answers that are late, large, broken or missing, and the connections that answers come on.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>

#include "tests/platform_linux/http/http_fixture.h"
#include "tests/platform_linux/support/gate.h"
#include "tests/platform_linux/support/threads.h"
#include "tests/support/closed_port.h"

namespace quor_test {
namespace {

using quor_platform::Stage;
using testing::HasSubstr;

class HttpAnswers : public HttpTest {
protected:
    void ExpectFailure(const std::string& url, EN_HTTP_ERRORCODE result, Stage stage) const {
        const Reply reply = SendGet(url);
        EXPECT_EQ(reply.result, static_cast<unsigned int>(result)) << reply.failure.text;
        EXPECT_EQ(reply.failure.stage, stage) << reply.failure.text;
        EXPECT_NE(reply.failure.text, "");
        EXPECT_EQ(reply.status, 0U);
        EXPECT_FALSE(reply.hasBody);
    }
    static HttpPeer::Script Raw(const std::string& bytes) {
        return [bytes](HttpConnection& connection) {
            PeerRequest request;
            if (connection.Read(&request)) {
                connection.Write(bytes);
            }
        };
    }
    // The request ends after its second, and not after the minute that others have.
    static void ExpectTimeoutAfterASecond(Call& call) {
        LimitTo(60000, 60000);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(call.Send().result, static_cast<unsigned int>(HTTP_ERRORCODE_TIMEOUT));
        const auto lasted = std::chrono::steady_clock::now() - begin;
        EXPECT_GE(lasted, std::chrono::milliseconds(950));
        EXPECT_LT(lasted, std::chrono::seconds(30));
    }
};

TEST_F(HttpAnswers, ALargeOneArrivesWhole) {
    const std::string body(12U << 20U, 'x');
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, body));
    EXPECT_EQ(SendGet(peer.Url()).body, body);
}

TEST_F(HttpAnswers, ChunksAreJoined) {
    const HttpPeer peer(ServerTls(), Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                         "3\r\nabc\r\n2;x=y\r\nde\r\n0\r\nTrailer: 1\r\n\r\n"));
    EXPECT_EQ(SendGet(peer.Url()).body, "abcde");
}

TEST_F(HttpAnswers, OneWithoutLengthEndsWithTheConnection) {
    const HttpPeer peer(ServerTls(), [](HttpConnection& connection) {
        PeerRequest request;
        if (connection.Read(&request)) {
            connection.Write("HTTP/1.0 200 OK\r\n\r\nto the end");
            connection.Finish();
        }
    });
    EXPECT_EQ(SendGet(peer.Url()).body, "to the end");
}

TEST_F(HttpAnswers, InterimOnesArePassedOver) {
    const HttpPeer peer(
        ServerTls(), Raw("HTTP/1.1 103 Early Hints\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"));
    const Reply reply = SendGet(peer.Url());
    EXPECT_EQ(reply.status, 200U);
    EXPECT_EQ(reply.body, "ok");
}

TEST_F(HttpAnswers, OversizeEndsTheRequest) {
    quor_platform::HttpSettings settings;
    settings.maxAnswerBytes = 1000;
    quor_platform::SetHttpSettings(settings);
    const HttpPeer peer(ServerTls(),
                        HttpPeer::Serve([](HttpConnection& connection, const PeerRequest& request) {
                            connection.Answer(200, std::string(request.target == "/fits" ? 1000 : 1001, 'x'));
                        }));
    EXPECT_EQ(SendGet(peer.Url("/fits")).body.size(), 1000U);
    ExpectFailure(peer.Url("/long"), HTTP_ERRORCODE_ANSWER, Stage::kAnswer);
    EXPECT_THAT(quor_platform::LastFailure().text, HasSubstr("longer than 1000 bytes"));
    const std::string chunk = "258\r\n" + std::string(600, 'x') + "\r\n";  // no length announced
    const HttpPeer chunked(ServerTls(), Raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + chunk +
                                            chunk + "0\r\n\r\n"));
    ExpectFailure(chunked.Url(), HTTP_ERRORCODE_ANSWER, Stage::kAnswer);
}

TEST_F(HttpAnswers, BrokenOnesAreNone) {
    for (const char* bytes :
         {"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc", "HTTP/1.1 200 OK\r\nContent-Le",
          "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nab",
          "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nab\r\n", "SSH-2.0-Server\r\n"}) {
        const HttpPeer peer(ServerTls(), Raw(bytes));
        ExpectFailure(peer.Url(), HTTP_ERRORCODE_ANSWER, Stage::kAnswer);
    }
}

TEST_F(HttpAnswers, AConnectionThatEndsBeforeOneIsNoConnection) {
    const HttpPeer peer(ServerTls(), Raw(""));
    ExpectFailure(peer.Url(), HTTP_ERRORCODE_CONNECT, Stage::kAnswer);
}

TEST_F(HttpAnswers, NobodyListens) {
    const QuorTest::ClosedPort closed;
    ExpectFailure(closed.Url(), HTTP_ERRORCODE_CONNECT, Stage::kConnect);
    EXPECT_EQ(quor_platform::LastFailure().systemError, ECONNREFUSED);
}

TEST_F(HttpAnswers, APeerThatNeverShakesHandsTimesOut) {
    LimitTo(2000, 60000);
    const SilentPort silent;
    ExpectFailure(silent.Url(), HTTP_ERRORCODE_TIMEOUT, Stage::kTls);
}

TEST_F(HttpAnswers, APeerThatNeverAnswersTimesOut) {
    LimitTo(60000, 5000);
    const HttpPeer peer(ServerTls(), [](HttpConnection& connection) { connection.WaitForEnd(); });
    ExpectFailure(peer.Url(), HTTP_ERRORCODE_TIMEOUT, Stage::kAnswer);
}

TEST_F(HttpAnswers, APeerThatNeverAnswersOnAKeptConnectionTimesOut) {
    const HttpPeer peer(ServerTls(), [](HttpConnection& connection) {
        PeerRequest request;
        if (connection.Read(&request) && connection.Answer(200, "first")) {
            connection.WaitForEnd();
        }
    });
    ASSERT_EQ(SendGet(peer.Url()).body, "first");
    LimitTo(60000, 1000);
    ExpectFailure(peer.Url(), HTTP_ERRORCODE_TIMEOUT, Stage::kAnswer);
    EXPECT_EQ(peer.Accepted(), 1);
}

// On a connection that is there already: the limit need not have room for the making of one.
TEST_F(HttpAnswers, APeerThatTricklesTimesOut) {
    Gate over;
    const HttpPeer peer(ServerTls(), [&](HttpConnection& connection) {
        PeerRequest request;
        if (!connection.Read(&request) || !connection.Answer(200, "first") || !connection.Read(&request)) {
            return;
        }
        connection.Write("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
        while (!over.IsOpen() && connection.Write("x")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    ASSERT_EQ(SendGet(peer.Url()).body, "first");
    LimitTo(60000, 1000);
    ExpectFailure(peer.Url(), HTTP_ERRORCODE_TIMEOUT, Stage::kAnswer);
    over.Open();
}

TEST_F(HttpAnswers, TheCallersTimeoutsCountInSeconds) {
    const SilentPort silent;
    const auto connecting = Get(silent.Url());
    connecting->firstTimeout = 1;
    ExpectTimeoutAfterASecond(*connecting);
    const HttpPeer peer(ServerTls(), [](HttpConnection& connection) { connection.WaitForEnd(); });
    const auto waiting = Get(peer.Url());
    waiting->secondTimeout = 1;
    ExpectTimeoutAfterASecond(*waiting);
}

TEST_F(HttpAnswers, SettingsWithoutSenseCountAsTheDefault) {
    quor_platform::HttpSettings settings;
    settings.connectTimeout = std::chrono::milliseconds(-1);
    settings.totalTimeout = std::chrono::hours(1000);
    settings.maxAnswerBytes = 0;
    quor_platform::SetHttpSettings(settings);
    const quor_platform::HttpSettings usual;
    const quor_platform::HttpSettings now = quor_platform::GetHttpSettings();
    EXPECT_EQ(now.connectTimeout, usual.connectTimeout);
    EXPECT_EQ(now.totalTimeout, usual.totalTimeout);
    EXPECT_EQ(now.maxAnswerBytes, usual.maxAnswerBytes);
    EXPECT_GE(usual.maxAnswerBytes, 16U << 20U) << "answers with photos take several MB";
}

TEST_F(HttpAnswers, ComeOnOneConnectionAsLongAsItLasts) {
    const HttpPeer peer(ServerTls(),
                        HttpPeer::Serve([](HttpConnection& connection, const PeerRequest& request) {
                            connection.Answer(request.target == "/500" ? 500 : 200, "body");
                        }));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(SendGet(peer.Url(i % 2 == 0 ? "/500" : "/")).result, 0U);
    }
    EXPECT_EQ(peer.Accepted(), 1);
}

TEST_F(HttpAnswers, AKeptConnectionThatTheServerEndedIsReplaced) {
    const HttpPeer peer(ServerTls(), [](HttpConnection& connection) {
        PeerRequest request;
        if (connection.Read(&request)) {
            connection.Answer(200, "once");
        }
    });
    for (int i = 0; i < 5; ++i) {
        Call call(m_ca, peer.Url(), i % 2 == 0 ? QUOR_HTTP_METHOD_GET : QUOR_HTTP_METHOD_PUT);
        call.body = "body";
        call.hasBody = true;
        EXPECT_EQ(call.Send().body, "once");
    }
    EXPECT_EQ(peer.Handshakes(), 5);
}

TEST_F(HttpAnswers, ThreadsThatSendAtOnceHaveConnectionsOfTheirOwnAndReuseThem) {
    constexpr int kThreads = 8;
    const HttpPeer peer(ServerTls(),
                        HttpPeer::Serve([](HttpConnection& connection, const PeerRequest& request) {
                            connection.Answer(200, request.target);
                        }));
    RunInThreads(kThreads, [&](int thread) {
        for (int i = 0; i < 10; ++i) {
            const std::string path = "/" + std::to_string(thread) + "/" + std::to_string(i);
            EXPECT_EQ(SendGet(peer.Url(path)).body, path);
        }
    });
    EXPECT_LE(peer.Accepted(), kThreads);
}

TEST_F(HttpAnswers, ConnectionsBeyondTheLimitAreNotKept) {
    quor_platform::HttpSettings settings;
    settings.maxIdleConnections = 0;
    quor_platform::SetHttpSettings(settings);
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    EXPECT_EQ(SendGet(peer.Url()).status, 200U);
    EXPECT_EQ(SendGet(peer.Url()).status, 200U);
    EXPECT_EQ(peer.Accepted(), 2);
}

TEST_F(HttpAnswers, TheEnvironmentsProxyIsNotUsed) {
    // NOLINTBEGIN(concurrency-mt-unsafe): no other thread looks at the environment meanwhile
    setenv("https_proxy", "http://127.0.0.1:1", 1);
    setenv("ALL_PROXY", "http://127.0.0.1:1", 1);
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    EXPECT_EQ(SendGet(peer.Url()).status, 200U);
    unsetenv("https_proxy");
    unsetenv("ALL_PROXY");
    // NOLINTEND(concurrency-mt-unsafe)
}

}  // namespace
}  // namespace quor_test
