// The end of the HTTP side on a network that swallows everything: bounded by the time limits of what the
// workers have, and at once with the abort switch; and the start after it. Participant queries wait for each
// other, so that one of them is with the transport at a time; photo queries do not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>

#include "support/host_terminal.h"
#include "support/http_interpose.h"
#include "support/http_sockets.h"
#include "support/http_terminal_test.h"

namespace quor_test {
namespace {

using quor_simulator::Endpoint;
using quor_simulator::RestFault;

constexpr unsigned int kWorkers = 11;
constexpr unsigned int kWaiting = 50;
constexpr std::chrono::seconds kAtOnce{2};
constexpr std::chrono::minutes kNoLimit{5};  // what is to be stopped ends by nothing else in a test's time
constexpr unsigned int kCancelled = 3;
constexpr unsigned int kNotFound = 101;
constexpr unsigned int kTimedOut = 103;
constexpr char kQueryEnd[] = "<HttpThreadExecute>: execute subId:10 failed.";
constexpr char kPhotosEnd[] = "<HttpThreadExecute>: execute subId:12 failed.";
constexpr char kUnansweredName[] = "unanswered.quor.test";

// Where the requests get stuck.
enum class Hole {
    kAnswer,     // the server takes the request and never answers
    kConnect,    // nobody answers an attempt to connect
    kHandshake,  // the connection stands and nobody speaks TLS
    kLookUp,     // the DNS server is silent
};

class HttpStop : public HttpTerminalTest, public ::testing::WithParamInterface<Hole> {
protected:
    HttpStop() { SetLimits(kNoLimit); }

    void DigHole(Hole hole) {
        if (hole == Hole::kAnswer) {
            RestFault fault;
            fault.hold = true;
            for (const Kind kind : kAllKinds) {
                ASSERT_TRUE(rest().SetFault(EndpointOf(kind), fault));
            }
            ASSERT_TRUE(rest().SetFault(Endpoint::kFaceUserPhotos, fault));
            return;
        }
        if (hole == Hole::kLookUp) {
            m_silent = std::make_unique<SilentSocket>(SilentSocket::Kind::kUdp);
            HttpTerminal::AskDnsServer(m_silent->Address());
            SetLimits(kNoLimit);
            m_host = kUnansweredName;
            return;
        }
        m_silent = std::make_unique<SilentSocket>(hole == Hole::kConnect ? SilentSocket::Kind::kFullTcp
                                                                         : SilentSocket::Kind::kTcp);
        UsePort(m_silent->Port());
    }
    // So many requests are where they get stuck.
    void WaitUntilStuck(std::size_t count = 1) {
        if (m_silent != nullptr) {
            ASSERT_TRUE(m_silent->WaitForArrivals(count));
        } else {
            ASSERT_TRUE(rest().WaitForHeld(count, kPatience));
        }
    }
    static void SetLimits(std::chrono::milliseconds limit) {
        quor_platform::HttpSettings http;
        http.connectTimeout = http.totalTimeout = limit;
        quor_platform::SetHttpSettings(http);
        quor_platform::DnsSettings dns = quor_platform::GetDnsSettings();
        dns.attemptTimeout = dns.totalTimeout = limit;
        quor_platform::SetDnsSettings(dns);
    }
    // So many requests as may wait for a worker, and one more. That is dropped as soon as all before it are
    // with the workers, and its copy of so many bytes with it.
    static void FillQueue(const std::function<unsigned int()>& ask, std::size_t copyBytes) {
        const std::size_t running = quor_platform::HeapLiveBytes();
        for (unsigned int i = 0; i < kWaiting + 1; ++i) {
            ASSERT_EQ(ask(), 0U);
        }
        ASSERT_TRUE(
            Eventually([&] { return quor_platform::HeapLiveBytes() == running + kWaiting * copyBytes; }));
    }
    const std::string& Host() const { return m_host; }

    // All workers have a query and as many wait as may. One of the workers stands at the closed gate, the
    // others wait for it.
    void FillWorkers() {
        const std::size_t empty = quor_platform::HeapLiveBytes();
        TagQuorAiKelInfo query = ParticipantQuery(m_host);
        const BegunQueries begun(query.token);
        for (unsigned int i = 0; i < kWorkers; ++i) {
            ASSERT_EQ(adapter().CloudQueryConfList(&query), 0U);
        }
        ASSERT_TRUE(BegunQueries::WaitFor(kWorkers));
        ASSERT_TRUE(TransportGate::WaitForWaiting(1));
        ASSERT_GE(quor_platform::HeapLiveBytes(), empty + kWorkers * sizeof query);
        FillQueue([&] { return adapter().CloudQueryConfList(&query); }, sizeof query);
    }
    std::size_t EndedQueries() { return terminal().LogCount(kQueryEnd); }

private:
    const HostTimeLimits m_hostLimits;
    std::unique_ptr<SilentSocket> m_silent;
    std::string m_host = kIpv4Host;
};

std::string HoleName(const ::testing::TestParamInfo<Hole>& test) {
    switch (test.param) {
        case Hole::kAnswer:
            return "NoAnswer";
        case Hole::kConnect:
            return "NoConnection";
        case Hole::kHandshake:
            return "NoHandshake";
        case Hole::kLookUp:
            break;
    }
    return "NoLookUp";
}

// 61 queries one after the other, each of which runs into its limit; the library's own would be seconds.
TEST_P(HttpStop, IsBoundedByTheTimeLimitsOfWhatTheWorkersHave) {
    ASSERT_NO_FATAL_FAILURE(DigHole(GetParam()));
    SetLimits(std::chrono::milliseconds(20));
    const TransportGate gate;
    ASSERT_NO_FATAL_FAILURE(FillWorkers());
    auto stop = std::async(std::launch::async, [this] { return terminal().Stop(); });
    TransportGate::Open();
    const bool ended = stop.wait_for(kPatience) == std::future_status::ready;
    EXPECT_TRUE(ended);
    quor_platform::AbortRequests();
    EXPECT_EQ(stop.get(), 0);
    EXPECT_EQ(EndedQueries(), kWorkers + kWaiting);
    EXPECT_EQ(terminal().LogCount(GetParam() == Hole::kLookUp
                                      ? "<GetAddressType> GetIPStrByServerUrl fail"
                                      : "<CloudQueryConfListPage>: HTTP_SynSend failed:103"),
              kWorkers + kWaiting);
    ExpectSilence();
}

TEST_P(HttpStop, TakesNoTimeWithTheAbortSwitch) {
    ASSERT_NO_FATAL_FAILURE(DigHole(GetParam()));
    {
        const TransportGate gate;
        ASSERT_NO_FATAL_FAILURE(FillWorkers());
    }
    ASSERT_NO_FATAL_FAILURE(WaitUntilStuck());
    const auto begin = std::chrono::steady_clock::now();
    quor_platform::AbortRequests();
    EXPECT_EQ(terminal().Stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kAtOnce);
    EXPECT_EQ(EndedQueries(), kWorkers + kWaiting);
    ExpectSilence();
}

INSTANTIATE_TEST_SUITE_P(Every, HttpStop,
                         ::testing::Values(Hole::kAnswer, Hole::kConnect, Hole::kHandshake, Hole::kLookUp),
                         HoleName);

// ---- All workers with the transport ----

class HttpStopOfPhotos : public HttpStop {
protected:
    void SetUp() override {
        HttpStop::SetUp();
        const std::string keyFile = terminal().folder().File("key");
        ASSERT_TRUE(quor_platform::CreateKeyFile(keyFile));
        quor_platform::SetKeyFile(keyFile);
        ASSERT_NO_FATAL_FAILURE(DigHole(GetParam()));
    }
    void TearDown() override {
        HttpStop::TearDown();
        quor_platform::SetKeyFile({});
    }

    TagQuorAiFacePhotoParam PhotoQuery() {
        TagQuorAiFacePhotoParam query = {};
        query.idCount = 1;
        SetText(query.ids[0], "ana.torres");
        SetText(query.serverAddr, "https://" + Host());
        query.serverPort = Port();
        SetText(query.account, "face-service");
        SetText(query.password, quor_platform::SealSecret("QuorUIConf", "quor-face-demo"));
        return query;
    }
    // All workers stand at the closed gate, each with a query, and as many wait as may.
    void FillWorkersWithPhotos() {
        TagQuorAiFacePhotoParam query = PhotoQuery();
        const auto ask = [&] { return adapter().CloudQueryFacePhoto(&query); };
        for (unsigned int i = 0; i < kWorkers; ++i) {
            ASSERT_EQ(ask(), 0U);
        }
        ASSERT_TRUE(TransportGate::WaitForWaiting(kWorkers));
        FillQueue(ask, sizeof query);
    }
    // Each worker's query has come to where it gets stuck.
    void WaitUntilAllAreStuck() {
        if (GetParam() == Hole::kAnswer) {
            ASSERT_TRUE(rest().WaitForRequests(Endpoint::kFaceUserPhotos, kWorkers, kPatience));
        } else {
            ASSERT_NO_FATAL_FAILURE(WaitUntilStuck(kWorkers));
        }
    }
    // Every query ended, and all for this reason.
    void ExpectAllEnded(unsigned int code) {
        EXPECT_EQ(terminal().LogCount(kPhotosEnd), kWorkers + kWaiting);
        EXPECT_EQ(terminal().LogCount("<DoQueryFacePhoto>HttpSynSend failed ret:" + std::to_string(code) +
                                      ", requestId:0"),
                  kWorkers + kWaiting);
        ExpectSilence();
    }
};

// The workers run into the limit together, six times one after the other.
TEST_P(HttpStopOfPhotos, IsBoundedByTheTimeLimitsOfWhatTheWorkersHave) {
    constexpr std::chrono::milliseconds kLimit{1000};
    SetLimits(kLimit);
    {
        const TransportGate gate;
        ASSERT_NO_FATAL_FAILURE(FillWorkersWithPhotos());
    }
    ASSERT_NO_FATAL_FAILURE(WaitUntilAllAreStuck());
    auto stop = std::async(std::launch::async, [this] { return terminal().Stop(); });
    EXPECT_EQ(stop.wait_for((kWorkers + kWaiting) * kLimit), std::future_status::ready)
        << "longer than one after the other";
    quor_platform::AbortRequests();
    EXPECT_EQ(stop.get(), 0);
    ExpectAllEnded(GetParam() == Hole::kLookUp ? kNotFound : kTimedOut);
}

TEST_P(HttpStopOfPhotos, TakesNoTimeWithTheAbortSwitch) {
    {
        const TransportGate gate;
        ASSERT_NO_FATAL_FAILURE(FillWorkersWithPhotos());
    }
    ASSERT_NO_FATAL_FAILURE(WaitUntilAllAreStuck());
    const auto begin = std::chrono::steady_clock::now();
    quor_platform::AbortRequests();
    EXPECT_EQ(terminal().Stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kAtOnce);
    ExpectAllEnded(kCancelled);
}

INSTANTIATE_TEST_SUITE_P(Every, HttpStopOfPhotos,
                         ::testing::Values(Hole::kAnswer, Hole::kConnect, Hole::kHandshake, Hole::kLookUp),
                         HoleName);

// ---- What the transport has ----

class HttpStopOfTransport : public HttpStop {
protected:
    // Every kind of asynchronous request, so often.
    void MakeRequests(std::size_t rounds) {
        for (std::size_t i = 0; i < rounds; ++i) {
            for (const Kind kind : kAllKinds) {
                if (kind != Kind::kParticipants) {
                    m_asked.push_back(Ask(kind));
                    ASSERT_EQ(m_asked.back().result, 0U);
                }
            }
        }
    }
    // The same, held by the server.
    void HoldRequests(std::size_t rounds) {
        ASSERT_NO_FATAL_FAILURE(DigHole(Hole::kAnswer));
        ASSERT_NO_FATAL_FAILURE(MakeRequests(rounds));
        ASSERT_TRUE(rest().WaitForHeld(m_asked.size(), kPatience));
        ExpectSilence();
    }
    // Those that are told of a failure have been told, each of its own.
    void ExpectAllCancelled() {
        EXPECT_EQ(terminal().LogCount("<GetErrorCode>: Send func ret =  " + std::to_string(kCancelled)),
                  m_asked.size());
        for (const TagQuorAiSubId id : {AI_SUB_ID_QUERY_SIGN_IN, AI_SUB_ID_REPORT_SIGN_IN,
                                        AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, AI_SUB_ID_REPORT_AV_MATCH}) {
            std::vector<std::string> expected;
            for (const Asked& asked : m_asked) {
                if (asked.id == id && !asked.failure.empty()) {
                    expected.push_back(asked.failure);
                }
            }
            EXPECT_THAT(observer().All(id), ::testing::UnorderedElementsAreArray(expected));
        }
    }

private:
    std::vector<Asked> m_asked;
};

TEST_F(HttpStopOfTransport, CancelsWhatIsOutstandingAndTellsTheObservers) {
    ASSERT_NO_FATAL_FAILURE(HoldRequests(20));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(terminal().Stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kAtOnce);
    ExpectAllCancelled();
}

TEST_F(HttpStopOfTransport, CancelsWhatIsStillConnecting) {
    ASSERT_NO_FATAL_FAILURE(DigHole(Hole::kConnect));
    ASSERT_NO_FATAL_FAILURE(MakeRequests(2));
    ASSERT_NO_FATAL_FAILURE(WaitUntilStuck());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(terminal().Stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, kAtOnce);
    ExpectAllCancelled();
}

TEST_F(HttpStopOfTransport, TheAbortSwitchEndsWhatIsOutstandingAndWhatComesAfter) {
    ASSERT_NO_FATAL_FAILURE(HoldRequests(2));
    quor_platform::AbortRequests();
    ASSERT_TRUE(terminal().WaitForLog("<GetErrorCode>: Send func ret =  3", 16));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_REPORT_AV_MATCH, 2));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, 2));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_REPORT_SIGN_IN, 4));
    ExpectAllCancelled();
    StartServer();  // the held reports were taken; the lists are as they were again
    for (const Kind kind : kAllKinds) {
        ExpectTransportFailure(kind, kCancelled);
    }
    EXPECT_TRUE(rest().Requests().empty());
    quor_platform::AllowRequests();
    ExpectSuccess(Kind::kParticipants);
    ExpectSuccess(Kind::kCheckedIn);
}

TEST_F(HttpStopOfTransport, ItStartsAgainAndAgain) {
    for (int round = 0; round < 20; ++round) {
        SCOPED_TRACE(round);
        ASSERT_NO_FATAL_FAILURE(ExpectSuccess(Kind::kParticipants));
        ASSERT_NO_FATAL_FAILURE(ExpectSuccess(Kind::kMatch));
        ASSERT_EQ(terminal().Stop(), 0);
        EXPECT_EQ(terminal().HeapGrowth(), 0U);
        ASSERT_EQ(terminal().Start(), 0);
    }
}

}  // namespace
}  // namespace quor_test
