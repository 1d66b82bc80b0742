// Asynchronous requests: one callback for each, whatever happens; releases; the abort switch; the transport's
// end.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <set>
#include <thread>

#include "quor_platform/dns.h"
#include "tests/platform_linux/http/http_fixture.h"
#include "tests/platform_linux/support/dns_server.h"
#include "tests/platform_linux/support/gate.h"
#include "tests/platform_linux/support/threads.h"
#include "tests/support/closed_port.h"

namespace quor_test {
namespace {

using quor_platform::Stage;

class HttpAsync : public HttpTest {
protected:
    unsigned int Send(const std::string& url, Completions& completions,
                      unsigned long* handle = nullptr) const {
        const auto call = Get(url);
        tagHTTP_S_ASYN_SEND_PARAM param = call->Async(Completions::Take, &completions);
        unsigned long own = 0;
        return quor_http_asyn_send(&param, handle == nullptr ? &own : handle);
    }
    // How long a request waits that nobody ends; longer than a test that passes takes.
    static constexpr int kByItselfMs = 120'000;
    static HttpPeer::Script Silent() {
        return [](HttpConnection& connection) { connection.WaitForEnd(); };
    }
};

TEST_F(HttpAsync, AnswersComeThroughTheCallback) {
    const HttpPeer peer(
        ServerTls(), HttpPeer::Serve([](HttpConnection& connection, const PeerRequest& request) {
            connection.Answer(201, request.method + request.body + request.headers.at("token"));
        }));
    Completions completions;
    unsigned long handle = 0;
    {
        Call call(m_ca, peer.Url(), QUOR_HTTP_METHOD_PUT);
        call.Header("token", "t");
        call.body = "body";
        call.hasBody = true;
        tagHTTP_S_ASYN_SEND_PARAM param = call.Async(Completions::Take, &completions);
        EXPECT_EQ(quor_http_asyn_send(&param, &handle), 0U);
        // The caller's memory is its own again at once.
        std::memset(static_cast<void*>(&param), 0, sizeof param);
        std::memset(call.headers.data(), 'X', sizeof(tagHTTP_HEADER));
        std::memset(&call.tls, 'X', sizeof call.tls);
        std::memset(&call.suites, 'X', sizeof call.suites);
        call.body.assign(4, 'X');
        call.url.assign(call.url.size(), 'X');
    }
    ASSERT_TRUE(completions.Reached(1));
    const auto completion = completions.All().at(0);
    EXPECT_NE(handle, 0U);
    EXPECT_EQ(completion.handle, handle);
    EXPECT_EQ(completion.error, 0);
    EXPECT_EQ(completion.status, 201U);
    EXPECT_EQ(completion.body, "PUTbodyt");
    EXPECT_EQ(completion.failure.httpStatus, 201);
    EXPECT_THAT(completion.failure.text,
                testing::MatchesRegex("127\\.0\\.0\\.1:[0-9]+ answered with the HTTP status 201"));
}

TEST_F(HttpAsync, ConnectionsAreReused) {
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    for (std::size_t i = 1; i <= 10; ++i) {
        Completions completions;
        EXPECT_EQ(Send(peer.Url(), completions), 0U);
        ASSERT_TRUE(completions.Reached(1));
        EXPECT_EQ(completions.All().at(0).error, 0);
    }
    EXPECT_EQ(peer.Accepted(), 1);
}

TEST_F(HttpAsync, AnEmptyAnswerHasANullBody) {
    const HttpPeer peer(ServerTls(), HttpPeer::Always(204, ""));
    struct Seen {
        Gate done;
        bool null = false;
    } seen;
    const auto call = Get(peer.Url());
    tagHTTP_S_ASYN_SEND_PARAM param = call->Async(
        [](unsigned long handle, EN_HTTP_ERRORCODE, tagST_HTTP_RSP* rsp, void* data) {
            auto* result = static_cast<Seen*>(data);
            result->null =
                rsp != nullptr && rsp->body == nullptr && rsp->bodyLen == 0 && rsp->statusCode == 204;
            HTTPAPI_ReleaseHandle(handle);
            result->done.Open();
            return 0U;
        },
        &seen);
    unsigned long handle = 0;
    EXPECT_EQ(quor_http_asyn_send(&param, &handle), 0U);
    ASSERT_TRUE(seen.done.Wait());
    EXPECT_TRUE(seen.null);
}

TEST_F(HttpAsync, FailuresOnTheWayComeThroughTheCallback) {
    const QuorTest::ClosedPort closed;
    const HttpPeer silent(ServerTls(), Silent());
    const HttpPeer foreign(TestAuthority("Stranger").ServerContext({}), HttpPeer::Always(200, "x"));
    const std::vector<std::pair<std::string, int>> cases = {
        {closed.Url(), HTTP_ERRORCODE_CONNECT},
        {silent.Url(), HTTP_ERRORCODE_TIMEOUT},
        {foreign.Url(), HTTP_ERRORCODE_TLS},
        {"https://" + std::string(300, 'a') + "/", HTTP_ERRORCODE_RESOLVE}};
    for (const auto& [url, error] : cases) {
        LimitTo(60000, error == HTTP_ERRORCODE_TIMEOUT ? 200 : 60000);
        Completions completions;
        EXPECT_EQ(Send(url, completions), 0U);
        ASSERT_TRUE(completions.Reached(1));
        EXPECT_EQ(completions.All().at(0).error, error) << completions.All().at(0).failure.text;
        EXPECT_FALSE(completions.All().at(0).answered);
        EXPECT_NE(completions.All().at(0).failure.text, "");
    }
}

TEST_F(HttpAsync, WhatIsRefusedCallsBackOnceToo) {
    const auto expect = [&](Call& call, int error) {
        Completions completions;
        tagHTTP_S_ASYN_SEND_PARAM param = call.Async(Completions::Take, &completions);
        unsigned long handle = 0;
        EXPECT_EQ(quor_http_asyn_send(&param, &handle), static_cast<unsigned int>(error));
        ASSERT_TRUE(completions.Reached(1));
        ASSERT_EQ(completions.All().size(), 1U);
        EXPECT_EQ(completions.All()[0].error, error);
        EXPECT_EQ(completions.All()[0].handle, handle);
        EXPECT_NE(handle, 0U);
        EXPECT_FALSE(completions.All()[0].answered);
        EXPECT_NE(quor_platform::LastFailure().text, "");
    };
    Call badUrl(m_ca, "http://127.0.0.1/");
    expect(badUrl, HTTP_ERRORCODE_INVALID);
    Call noCa(m_folder.File("missing"), "https://127.0.0.1/");
    expect(noCa, HTTP_ERRORCODE_CERTIFICATE);
    Call good(m_ca, "https://127.0.0.1/");
    quor_platform::AbortRequests();
    expect(good, HTTP_ERRORCODE_CANCELLED);
    quor_platform::AllowRequests();
    EXPECT_EQ(quor_http_uninit(), 0U);
    expect(good, HTTP_ERRORCODE_NOT_INITIALISED);
    EXPECT_EQ(quor_http_init(), 0U);
}

TEST_F(HttpAsync, NullsAreRefusedWithoutACallback) {
    unsigned long handle = 0;
    EXPECT_NE(quor_http_asyn_send(nullptr, &handle), 0U);
    Call call(m_ca, "https://127.0.0.1/");
    tagHTTP_S_ASYN_SEND_PARAM param = call.Async(nullptr, nullptr);
    EXPECT_NE(quor_http_asyn_send(&param, &handle), 0U);
    EXPECT_EQ(handle, 0U);
    // Without a place for the handle the callback still gets it.
    Completions completions;
    Call invalid(m_ca, "http://127.0.0.1/");
    param = invalid.Async(Completions::Take, &completions);
    EXPECT_NE(quor_http_asyn_send(&param, nullptr), 0U);
    ASSERT_EQ(completions.All().size(), 1U);
}

TEST_F(HttpAsync, HandlesAreReleasedOnceAndAfterTheEnd) {
    EXPECT_NE(HTTPAPI_ReleaseHandle(0), 0U);
    EXPECT_NE(HTTPAPI_ReleaseHandle(~0UL), 0U);
    Gate go;
    const HttpPeer peer(ServerTls(), HttpPeer::Serve([&](HttpConnection& connection, const PeerRequest&) {
                            go.Wait();
                            connection.Answer(200, "x");
                        }));
    Completions completions;
    unsigned long handle = 0;
    EXPECT_EQ(Send(peer.Url(), completions, &handle), 0U);
    EXPECT_NE(HTTPAPI_ReleaseHandle(handle), 0U) << "it is under way";
    go.Open();
    ASSERT_TRUE(completions.Reached(1));
    EXPECT_NE(HTTPAPI_ReleaseHandle(handle), 0U) << "the callback released it";
    EXPECT_EQ(quor_platform::HttpFailure(handle).stage, Stage::kNone);
}

TEST_F(HttpAsync, AnAnswerStaysUntilItsRelease) {
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "kept"));
    struct Kept {
        Gate done;
        unsigned long handle = 0;
        tagST_HTTP_RSP* rsp = nullptr;
    } kept;
    const auto call = Get(peer.Url());
    tagHTTP_S_ASYN_SEND_PARAM param = call->Async(
        [](unsigned long handle, EN_HTTP_ERRORCODE, tagST_HTTP_RSP* rsp, void* data) {
            auto* result = static_cast<Kept*>(data);
            result->handle = handle;
            result->rsp = rsp;
            result->done.Open();
            return 0U;
        },
        &kept);
    unsigned long handle = 0;
    EXPECT_EQ(quor_http_asyn_send(&param, &handle), 0U);
    ASSERT_TRUE(kept.done.Wait());
    EXPECT_EQ(quor_http_uninit(), 0U);
    EXPECT_STREQ(kept.rsp->body, "kept");
    EXPECT_EQ(HTTPAPI_ReleaseHandle(kept.handle), 0U);
    EXPECT_EQ(quor_http_init(), 0U);
}

// A callback that sends again, three times, and uses a blocking request too.
struct Chain {
    const HttpTest* test = nullptr;
    std::string ca;
    std::string url;
    Counter done;
    std::atomic<int> failures{0};
    static unsigned int Next(unsigned long handle, EN_HTTP_ERRORCODE error, tagST_HTTP_RSP*, void* self) {
        auto* chain = static_cast<Chain*>(self);
        chain->failures += error == HTTP_ERRORCODE_OK ? 0 : 1;
        HTTPAPI_ReleaseHandle(handle);
        chain->failures += quor_http_uninit() != 0 ? 0 : 1;  // refused here
        if (chain->done.Value() < 3) {
            Call call(chain->ca, chain->url);
            chain->failures += call.Send().status == 200 ? 0 : 1;
            tagHTTP_S_ASYN_SEND_PARAM param = call.Async(Next, self);
            unsigned long next = 0;
            chain->failures += quor_http_asyn_send(&param, &next) == 0 ? 0 : 1;
        }
        chain->done.Add();
        return 0;
    }
};

TEST_F(HttpAsync, ACallbackMaySendAgainButNotEndTheTransport) {
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    Chain chain;
    chain.ca = m_ca;
    chain.url = peer.Url();
    const auto call = Get(peer.Url());
    tagHTTP_S_ASYN_SEND_PARAM param = call->Async(Chain::Next, &chain);
    unsigned long handle = 0;
    EXPECT_EQ(quor_http_asyn_send(&param, &handle), 0U);
    EXPECT_TRUE(chain.done.Reached(4));
    EXPECT_EQ(chain.failures, 0);
}

TEST_F(HttpAsync, TheTransportsEndRunsEveryCallback) {
    constexpr std::size_t kCallbacks = 50;
    constexpr std::size_t kBlocking = 4;
    LimitTo(kByItselfMs, kByItselfMs);
    const HttpPeer peer(ServerTls(), Silent());
    Completions completions;
    for (std::size_t i = 0; i < kCallbacks; ++i) {
        EXPECT_EQ(Send(peer.Url(), completions), 0U);
    }
    std::vector<Reply> replies(kBlocking);
    std::vector<std::thread> senders;
    senders.reserve(replies.size());
    for (Reply& reply : replies) {
        senders.emplace_back([&] { reply = SendGet(peer.Url()); });
    }
    EXPECT_TRUE(peer.ShookHands(kCallbacks + kBlocking)) << "all are with the peer";
    EXPECT_EQ(quor_http_uninit(), 0U);
    EXPECT_EQ(completions.All().size(), kCallbacks) << "no callback comes later";
    for (const auto& completion : completions.All()) {
        EXPECT_EQ(completion.error, HTTP_ERRORCODE_CANCELLED);
        EXPECT_FALSE(completion.answered);
        EXPECT_EQ(completion.failure.stage, Stage::kAborted);
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    for (const Reply& reply : replies) {
        EXPECT_EQ(reply.result, static_cast<unsigned int>(HTTP_ERRORCODE_CANCELLED));
        EXPECT_EQ(reply.failure.stage, Stage::kAborted);
    }
    EXPECT_EQ(quor_http_init(), 0U);
    EXPECT_EQ(SendGet("https://127.0.0.1:1/").result, static_cast<unsigned int>(HTTP_ERRORCODE_CONNECT));
}

TEST_F(HttpAsync, ShutdownEndsRequestsAndTheTransportWorksAgain) {
    const HttpPeer silent(ServerTls(), Silent());
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    Completions cancelled;
    EXPECT_EQ(Send(silent.Url(), cancelled), 0U);
    quor_platform::Shutdown();
    ASSERT_EQ(cancelled.All().size(), 1U);
    EXPECT_EQ(cancelled.All()[0].error, HTTP_ERRORCODE_CANCELLED);
    Completions completions;
    EXPECT_EQ(Send(peer.Url(), completions), 0U);
    ASSERT_TRUE(completions.Reached(1));
    EXPECT_EQ(completions.All()[0].error, 0);
    EXPECT_EQ(SendGet(peer.Url()).status, 200U);
}

// Ten requests with callbacks and five blocking ones wait for an answer, as many of each and a look-up for an
// address.
TEST_F(HttpAsync, TheAbortSwitchEndsEverythingAtOnce) {
    const HttpPeer silent(ServerTls(), Silent());
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    SilentDnsPort nobody;
    quor_platform::DnsSettings dns;
    dns.servers = {nobody.Server()};
    dns.attemptTimeout = dns.totalTimeout = std::chrono::milliseconds(kByItselfMs);
    quor_platform::SetDnsSettings(dns);
    LimitTo(kByItselfMs, kByItselfMs);
    Completions completions;
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Send(i % 2 == 0 ? silent.Url() : "https://conf.test/", completions), 0U);
    }
    Counter ended;
    std::vector<std::thread> waiting;
    waiting.reserve(11);
    for (int i = 0; i < 11; ++i) {
        waiting.emplace_back([&, i] {
            if (i == 0) {
                QuorNetbDnsAddress address{};
                unsigned int count = 1;
                EXPECT_NE(QUOR_NETB_DnsGetIpBySynResolveEx("conf.test", 2, &address, &count, 1, 1), 0U);
                EXPECT_EQ(quor_platform::LastFailure().stage, Stage::kAborted);
            } else {
                const Reply reply = SendGet(i % 2 == 0 ? silent.Url() : "https://conf.test/");
                EXPECT_EQ(reply.result, static_cast<unsigned int>(HTTP_ERRORCODE_CANCELLED));
            }
            ended.Add();
        });
    }
    EXPECT_TRUE(silent.ShookHands(15));
    EXPECT_TRUE(nobody.AskedFrom(16));
    const auto begin = std::chrono::steady_clock::now();
    quor_platform::AbortRequests();
    EXPECT_TRUE(ended.Reached(11));
    EXPECT_TRUE(completions.Reached(20));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    for (const auto& completion : completions.All()) {
        EXPECT_EQ(completion.error, HTTP_ERRORCODE_CANCELLED);
    }
    for (std::thread& thread : waiting) {
        thread.join();
    }
    EXPECT_EQ(SendGet(peer.Url()).result, static_cast<unsigned int>(HTTP_ERRORCODE_CANCELLED))
        << "until allowed";
    quor_platform::AllowRequests();
    EXPECT_EQ(SendGet(peer.Url()).status, 200U);
}

TEST_F(HttpAsync, ManyThreadsGetExactlyOneCallbackEach) {
    constexpr int kThreads = 6;
    constexpr int kEach = 40;
    const HttpPeer peer(ServerTls(),
                        HttpPeer::Serve([](HttpConnection& connection, const PeerRequest& request) {
                            connection.Answer(200, request.target);
                        }));
    Completions completions;
    std::atomic<bool> over{false};
    std::thread aborter([&] {
        while (!over) {
            quor_platform::AbortRequests();
            quor_platform::AllowRequests();
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
    });
    std::mutex mutex;
    std::multiset<unsigned long> handles;
    RunInThreads(kThreads, [&](int thread) {
        for (int i = 0; i < kEach; ++i) {
            if (thread == 0) {
                SendGet(peer.Url());
                continue;
            }
            unsigned long handle = 0;
            Send(peer.Url("/" + std::to_string(i)), completions, &handle);
            const std::lock_guard<std::mutex> lock(mutex);
            handles.insert(handle);
        }
    });
    ASSERT_TRUE(completions.Reached(std::size_t{kThreads - 1} * kEach));
    over = true;
    aborter.join();
    EXPECT_EQ(quor_http_uninit(), 0U);
    std::multiset<unsigned long> called;
    for (const auto& completion : completions.All()) {
        called.insert(completion.handle);
        EXPECT_TRUE(completion.error == 0 || completion.error == HTTP_ERRORCODE_CANCELLED)
            << completion.error;
    }
    EXPECT_EQ(called, handles);
    EXPECT_EQ(std::set<unsigned long>(handles.begin(), handles.end()).size(), handles.size());
    EXPECT_EQ(quor_http_init(), 0U);
}

TEST_F(HttpAsync, StartingEndingAndSendingFromManyThreads) {
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    Completions completions;
    RunInThreads(4, [&](int thread) {
        for (int i = 0; i < 20; ++i) {
            if (thread == 0) {
                EXPECT_EQ(quor_http_uninit(), 0U);
                EXPECT_EQ(quor_http_init(), 0U);
            } else if (thread == 1) {
                SendGet(peer.Url());
            } else {
                Send(peer.Url(), completions);
            }
        }
    });
    EXPECT_EQ(quor_http_uninit(), 0U);
    EXPECT_EQ(completions.All().size(), 40U);
    EXPECT_EQ(quor_http_init(), 0U);
}

}  // namespace
}  // namespace quor_test
