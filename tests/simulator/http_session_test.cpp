/* http_session_test.cpp - HTTP on the wire: kept connections, requests sent ahead, limits, bad requests, the
 * way from a request to a link, addresses and certificates. */
#include <fstream>
#include <thread>

#include "http_fixture.h"

namespace quor_test {
namespace {

using quor_simulator::Certificate;
using quor_simulator::Endpoint;
using quor_simulator::Error;
using quor_simulator::Milliseconds;
using quor_simulator::Options;
using quor_simulator::RestFault;

class Http : public HttpTest {};

TEST_F(Http, ConnectionsAreKept) {
    StartWithPeople(3);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    for (int i = 0; i < 20; ++i) {
        const HttpReply reply = link.Ask(ParticipantsText("c", 0));
        ASSERT_EQ(reply.status, 200U) << i;
        EXPECT_EQ(reply.Header("Connection"), "keep-alive");
        EXPECT_EQ(reply.Header("Server"), "quor-simulator/1.0");
        EXPECT_EQ(reply.Header("Date").size(), 29U);
    }
    EXPECT_EQ(link.Ask(ParticipantsText("none", 0)).Header("Connection"), "keep-alive");
    EXPECT_EQ(link.Ask(RequestText("GET", "/nowhere")).Header("Connection"), "keep-alive");
    EXPECT_EQ(rest().Requests().back().connection, rest().Requests().front().connection);
    EXPECT_EQ(link.WaitForEnd(Milliseconds(0)), StreamEnd::kOpen);
}

TEST_F(Http, ClientsMayEndTheConnection) {
    StartWithPeople(3);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    const HttpReply reply =
        link.Ask(RequestText("GET", SignInsTarget("c") + "?checkIn=true", "", "t", "Connection: close\r\n"));
    EXPECT_EQ(reply.status, 200U);
    EXPECT_EQ(reply.Header("Connection"), "close");
    EXPECT_EQ(link.WaitForEnd(), StreamEnd::kOrderly);
    HttpsClient old;
    ASSERT_TRUE(Connect(old));
    EXPECT_EQ(old.Ask("GET / HTTP/1.0\r\n\r\n").status, 404U);
    EXPECT_EQ(old.WaitForEnd(), StreamEnd::kOrderly);
}

TEST_F(Http, RequestsSentAheadAreAnsweredInOrder) {
    StartWithPeople(100);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    std::string requests;
    for (std::size_t page = 0; page < 50; ++page) {
        requests += ParticipantsText("c", page, 2);
    }
    ASSERT_TRUE(link.Send(requests));
    for (std::size_t page = 0; page < 50; ++page) {
        const HttpReply reply = link.Read();
        ASSERT_TRUE(reply.whole) << page;
        EXPECT_EQ(Json::parse(reply.body)["number"], page);
    }
}

TEST_F(Http, RequestsSentAheadWaitForADelayedAnswer) {
    StartWithPeople(100);
    RestFault fault;
    fault.delay = Milliseconds(50);
    fault.times = 1;
    rest().SetFault(Endpoint::kParticipants, fault);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    const std::string second = ParticipantsText("c", 1, 2);
    ASSERT_TRUE(link.Send(ParticipantsText("c", 0, 2) + second.substr(0, 30)));
    EXPECT_EQ(Json::parse(link.Read().body)["number"], 0);
    ASSERT_TRUE(link.Send(second.substr(30) + ParticipantsText("c", 2, 2)));
    EXPECT_EQ(Json::parse(link.Read().body)["number"], 1);
    EXPECT_EQ(Json::parse(link.Read().body)["number"], 2);
}

TEST_F(Http, RequestsMayComeByteByByte) {
    StartWithPeople(1);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    for (const char c : ParticipantsText("c", 0)) {
        ASSERT_TRUE(link.Send(std::string(1, c)));
    }
    EXPECT_EQ(link.Read().status, 200U);
}

TEST_F(Http, ChunkedBodiesAreUnderstood) {
    StartWithPeople(1);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    const std::string head = "PUT " + SignInsTarget("c") +
                             " HTTP/1.1\r\nHost: h\r\ntoken: t\r\nContent-Type: application/json\r\n"
                             "Transfer-Encoding: chunked\r\n\r\n";
    const std::string body = OneReport("Person 1", "account-1");
    EXPECT_EQ(link.Ask(head + "5\r\n" + body.substr(0, 5) + "\r\n" +
                       /* the rest, its length in hexadecimal digits */
                       [&] {
                           char size[16];
                           std::snprintf(size, sizeof(size), "%zx", body.size() - 5);
                           return std::string(size);
                       }() +
                       "\r\n" + body.substr(5) + "\r\n0\r\n\r\n")
                  .status,
              200U);
    EXPECT_EQ(rest().Requests().back().body, body);
}

TEST_F(Http, BodiesAreAskedForWhenTheClientWaitsForThat) {
    StartWithPeople(1);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    const std::string body = OneReport("Person 1", "account-1");
    ASSERT_TRUE(link.Send(
        "PUT " + SignInsTarget("c") +
        " HTTP/1.1\r\nHost: h\r\ntoken: t\r\nContent-Type: application/json\r\nExpect: 100-continue\r\n"
        "Content-Length: " +
        std::to_string(body.size()) + "\r\n\r\n"));
    EXPECT_EQ(link.Read().status, 100U);
    EXPECT_EQ(link.Ask(body).status, 200U);
    EXPECT_EQ(link.Ask(SignInsText("c", true)).status, 200U);
}

struct BadRequest {
    const char* name;
    std::string bytes;
    unsigned int status;
};
class BadHttp : public Http, public ::testing::WithParamInterface<BadRequest> {};

TEST_P(BadHttp, IsAnsweredAndEndsTheConnection) {
    StartWithPeople(1);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    const HttpReply reply = link.Ask(GetParam().bytes);
    EXPECT_EQ(reply.status, GetParam().status) << link.lastError();
    EXPECT_TRUE(reply.whole);
    EXPECT_EQ(reply.Header("Connection"), "close");
    EXPECT_EQ(link.WaitForEnd(), StreamEnd::kOrderly);
    EXPECT_EQ(rest().GetStatistics().malformed, 1U);
    EXPECT_EQ(simulator().GetStatistics().linksRefused, 0U);
    EXPECT_EQ(Ask(ParticipantsText("c", 0)).status, 200U);
}

INSTANTIATE_TEST_SUITE_P(
    All, BadHttp,
    ::testing::Values(
        BadRequest{"NoHttp", "hello\r\n\r\n", 400}, BadRequest{"NoMethod", " / HTTP/1.1\r\n\r\n", 400},
        BadRequest{"BadVersion", "GET / HTTP/9.9\r\nHost: h\r\n\r\n", 400},
        BadRequest{"BlankInTheTarget", "GET /a b HTTP/1.1\r\nHost: h\r\n\r\n", 400},
        BadRequest{"NoColon", "GET / HTTP/1.1\r\nHost\r\n\r\n", 400},
        BadRequest{"BadName", "GET / HTTP/1.1\r\nHost: h\r\na b: c\r\n\r\n", 400},
        BadRequest{"NoHost", "GET / HTTP/1.1\r\n\r\n", 400},
        BadRequest{"TwoHosts", "GET / HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n", 400},
        BadRequest{"BadLength", "PUT / HTTP/1.1\r\nHost: h\r\nContent-Length: x\r\n\r\n", 400},
        BadRequest{"TwoLengths",
                   "PUT / HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab", 400},
        BadRequest{
            "LengthAndChunks",
            "PUT / HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
            400},
        BadRequest{"BadChunk", "PUT / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", 400},
        BadRequest{"LongHead", "GET / HTTP/1.1\r\nHost: h\r\na: " + std::string(17000, 'x') + "\r\n\r\n",
                   431},
        BadRequest{"EndlessHead", "GET /" + std::string(60000, 'x'), 431},
        BadRequest{"LongBody", "PUT / HTTP/1.1\r\nHost: h\r\nContent-Length: 1048577\r\n\r\n", 413},
        BadRequest{"LongBodyThatComes",
                   "PUT / HTTP/1.1\r\nHost: h\r\nContent-Length: 1100000\r\n\r\n" + std::string(1100000, 'x'),
                   413},
        BadRequest{"LongChunks",
                   "PUT / HTTP/1.1\r\nHost: h\r\nTransfer-Encoding: chunked\r\n\r\n200000\r\n" +
                       std::string(0x200000, 'x') + "\r\n0\r\n\r\n",
                   413}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(Http, TheBodyLimitIsSet) {
    Options options;
    options.maxRequestBytes = 10;
    StartWithPeople(1, options);
    EXPECT_EQ(Ask(RequestText("PUT", SignInsTarget("c"), std::string(10, 'x'))).status, 400U);
    EXPECT_EQ(Ask(RequestText("PUT", SignInsTarget("c"), std::string(11, 'x'))).status, 413U);
}

TEST_F(Http, HalfRequestsEndAfterTheHandshakeTime) {
    Options options;
    options.handshakeTimeout = Milliseconds(1000);
    StartWithPeople(1, options);
    HttpsClient half;
    HttpsClient silent;
    ASSERT_TRUE(Connect(half));
    ASSERT_TRUE(half.Send("GET / HTTP/1.1\r\n"));
    ASSERT_TRUE(Connect(silent));
    EXPECT_EQ(half.WaitForEnd(), StreamEnd::kReset);
    EXPECT_EQ(silent.WaitForEnd(), StreamEnd::kReset);
}

TEST_F(Http, IdleConnectionsEndAfterTheirTime) {
    Options options;
    options.keepAliveTimeout = Milliseconds(2000);
    StartWithPeople(1, options);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    EXPECT_EQ(link.Ask(ParticipantsText("c", 0)).status, 200U);
    EXPECT_EQ(link.WaitForEnd(), StreamEnd::kOrderly);
    HttpsClient half;
    ASSERT_TRUE(Connect(half));
    EXPECT_EQ(half.Ask(ParticipantsText("c", 0)).status, 200U);
    ASSERT_TRUE(half.Send("GET / HTTP/1.1\r\n"));
    EXPECT_EQ(half.WaitForEnd(), StreamEnd::kReset);
}

TEST_F(Http, AKeptConnectionCanBecomeALink) {
    StartWithPeople(1);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    EXPECT_EQ(link.Ask(ParticipantsText("c", 0)).status, 200U);
    const HttpReply reply = link.Ask(
        "GET /conf-portal/websocket HTTP/1.1\r\nHost: h\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
        "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
    EXPECT_EQ(reply.status, 101U);
    EXPECT_EQ(reply.Header("Sec-WebSocket-Accept"), "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
    EXPECT_TRUE(simulator().WaitForLinkCount(1, kPatience));
    EXPECT_TRUE(simulator().Links()[0].manager);
    link.Abandon();
    EXPECT_TRUE(simulator().WaitForNoLinks(kPatience));
    EXPECT_EQ(simulator().GetStatistics().linksRefused, 0U);
}

TEST_F(Http, ServedConnectionsAreNotRefusedLinks) {
    StartWithPeople(1);
    EXPECT_EQ(Ask(ParticipantsText("c", 0)).status, 200U);
    HttpsClient silent;
    ASSERT_TRUE(Connect(silent));
    silent.Abandon();
    for (int i = 0; i < 1000 && simulator().GetStatistics().linksRefused == 0; ++i) {
        std::this_thread::sleep_for(Milliseconds(10));
    }
    EXPECT_EQ(simulator().GetStatistics().linksRefused, 1U);
}

TEST_F(Http, FiftyClientsAtOnce) {
    StartWithPeople(1000);
    constexpr std::size_t kClients = 50;
    constexpr std::size_t kRequests = 10;
    std::vector<std::thread> clients;
    std::vector<std::size_t> good(kClients, 0);
    for (std::size_t i = 0; i < kClients; ++i) {
        clients.emplace_back([&, i] {
            HttpsClient link;
            if (!Connect(link)) {
                return;
            }
            for (std::size_t n = 0; n < kRequests; ++n) {
                const std::string account = "guest-" + std::to_string(i) + "-" + std::to_string(n);
                const HttpReply page = link.Ask(ParticipantsText("c", n % 5));
                const HttpReply report = link.Ask(ReportText("c", OneReport(account, account)));
                const bool whole = page.whole && Json::parse(page.body)["content"].size() == 200;
                good[i] += whole && report.status == 200 ? 1 : 0;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(good, std::vector<std::size_t>(kClients, kRequests));
    EXPECT_EQ(Good(SignInsText("c", true))["totalElements"], kClients * kRequests);
    EXPECT_EQ(rest().GetStatistics().endpoints["participants"].good, kClients * kRequests);
}

TEST_F(Http, StopEndsConnectionsThatAreUsed) {
    StartWithPeople(1);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    EXPECT_EQ(link.Ask(ParticipantsText("c", 0)).status, 200U);
    simulator().Stop();
    EXPECT_NE(link.WaitForEnd(), StreamEnd::kOpen);
}

TEST_F(Http, IPv4AndIPv6ShareThePort) {
    Options options;
    options.moreAddresses = {"::1", "127.0.0.2"};
    StartWithPeople(1, OnHeldPort(options));
    for (const char* address : {"127.0.0.1", "::1"}) {
        HttpsClient link;
        ASSERT_TRUE(link.Connect(simulator().port(), simulator().caFile(), address, address))
            << link.lastError();
        EXPECT_EQ(link.Ask(ParticipantsText("c", 0)).status, 200U);
    }
    HttpsClient third;
    EXPECT_TRUE(third.Connect(simulator().port(), simulator().caFile(), "127.0.0.2", "localhost"));
    const auto port = simulator().port();
    simulator().Stop();
    simulator().Start();
    EXPECT_EQ(simulator().port(), port);
    HttpsClient again;
    EXPECT_TRUE(again.Connect(port, simulator().caFile(), "::1", "::1"));
}

TEST_F(Http, AddressesMustBeGood) {
    Options options;
    options.moreAddresses = {"nowhere"};
    EXPECT_THROW(Start(options), Error);
    StartWithPeople(1);
    Options same;
    same.port = simulator().port();
    same.moreAddresses = {"127.0.0.1"};
    same.stateDirectory = StateDirectory();
    quor_simulator::Simulator second(same);
    EXPECT_THROW(second.Start(), Error);
}

TEST_F(Http, CertificatesCarryTheNamesTheyAreGiven) {
    const TemporaryDirectory directory;
    Options options;
    options.stateDirectory = directory.path();
    const auto content = [&] {
        std::ifstream file(directory.path() + "/server.pem");
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    const auto good = [](const quor_simulator::Simulator& simulator, const std::string& name) {
        HttpsClient link;
        return link.Connect(simulator.port(), simulator.caFile(), "127.0.0.1", name);
    };
    std::string plain;
    {
        quor_simulator::Simulator simulator(options);
        simulator.Start();
        plain = content();
        EXPECT_FALSE(good(simulator, "conference.test"));
    }
    options.serverNames = {"conference.test", "192.0.2.7", "2001:db8::7"};
    std::string named;
    for (int round = 0; round < 2; ++round) {
        quor_simulator::Simulator simulator(options);
        simulator.Start();
        EXPECT_NE(content(), plain);
        if (round == 0) {
            named = content();
        }
        EXPECT_EQ(content(), named); /* good enough for the second start */
        for (const char* name :
             {"conference.test", "localhost", "192.0.2.7", "2001:db8::7", "127.0.0.1", "::1"}) {
            EXPECT_TRUE(good(simulator, name)) << name;
        }
        EXPECT_FALSE(good(simulator, "other.test"));
    }
    for (const char* bad : {"", "a b", "a,DNS:b", "a\nb", "1.2.3.4:5"}) {
        options.serverNames = {bad};
        quor_simulator::Simulator simulator(options);
        EXPECT_THROW(simulator.Start(), Error) << bad;
    }
}

TEST_F(Http, CertificatesOfSeveralKinds) {
    Options options;
    options.serverNames = {"conference.test"};
    StartWithPeople(1, options);
    const auto good = [&](const std::string& name) {
        HttpsClient link;
        return link.Connect(simulator().port(), simulator().caFile(), "127.0.0.1", name);
    };
    simulator().UseCertificate(Certificate::kNamesOnly);
    EXPECT_TRUE(good("conference.test"));
    EXPECT_TRUE(good("localhost"));
    EXPECT_FALSE(good("127.0.0.1"));
    simulator().UseCertificate(Certificate::kAddressesOnly);
    EXPECT_TRUE(good("127.0.0.1"));
    EXPECT_TRUE(good("::1"));
    EXPECT_FALSE(good("localhost"));
    EXPECT_FALSE(good("conference.test"));
    for (const Certificate kind :
         {Certificate::kIncomplete, Certificate::kExpired, Certificate::kSelfSigned}) {
        simulator().UseCertificate(kind);
        EXPECT_FALSE(good("localhost"));
        EXPECT_FALSE(good("conference.test"));
    }
}

}  // namespace
}  // namespace quor_test
