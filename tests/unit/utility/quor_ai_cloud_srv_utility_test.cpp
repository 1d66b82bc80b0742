// The transport's life, the parameters of requests, and sending them.
#include <array>
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "quor_platform/http.h"
#include "support/http_test.h"

namespace QuorTest {
namespace {

constexpr unsigned kFailed = 0xFFFFFFFFU;
using Timeouts = std::array<unsigned, 3>;

class TransportTest : public HttpTest {
protected:
    // The transport is up; what that logged is forgotten.
    void Start() {
        ASSERT_EQ(m_http.AiUtilityHttpInit(), 0U);
        Fake().ClearRecords();
    }

    tagHTTP_S_SYN_SEND_PARAM* Synchronous() {
        m_syn = {};
        m_syn.method = QUOR_HTTP_METHOD_POST;
        m_syn.url = kUrl;
        m_syn.urlLen = sizeof(kUrl);
        Put(m_headers[0].name, "Content-Type");
        Put(m_headers[0].value, "application/json");
        Put(m_headers[1].name, "token");
        Put(m_headers[1].value, "abc");
        m_syn.headers = m_headers;
        m_syn.headerCount = 2;
        m_syn.body = "{}";
        m_syn.bodyLen = 2;
        return &m_syn;
    }

    tagHTTP_S_ASYN_SEND_PARAM* Asynchronous() {
        m_asyn = {};
        m_asyn.url = kUrl;
        m_asyn.method = QUOR_HTTP_METHOD_GET;
        m_asyn.callback = &Answered;
        m_asyn.userData = this;
        return &m_asyn;
    }

    static unsigned Answered(unsigned long handle, EN_HTTP_ERRORCODE error, tagST_HTTP_RSP* rsp,
                             void* userData) {
        auto* self = static_cast<TransportTest*>(userData);
        self->m_answers +=
            std::to_string(error) + (rsp == nullptr ? " none;" : " " + std::string(rsp->body) + ";");
        HTTPAPI_ReleaseHandle(handle);
        return 0;
    }

    static constexpr char kUrl[] = "https://192.168.1.10:443/conf-portal/x";
    HttpProtocol m_http;
    tagHTTP_HEADER m_headers[2] = {};
    tagHTTP_S_SYN_SEND_PARAM m_syn = {};
    tagHTTP_S_ASYN_SEND_PARAM m_asyn = {};
    std::string m_answers;
};

// ---- Life ----

TEST_F(TransportTest, AnInstanceBeginsWithoutTimeouts) {
    EXPECT_EQ(HttpAccess::Timeouts(m_http), (Timeouts{0, 0, 0}));
    EXPECT_EQ(HttpAccess::Users(), 0U);
    EXPECT_EQ(HttpAccess::TlsBlock(), nullptr);
}

TEST_F(TransportTest, TheFirstInitStartsTheTransport) {
    EXPECT_EQ(m_http.AiUtilityHttpInit(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(UI("<AiUtilityHttpInit> m_pstTlsPram malloc done."),
                                    UI("<AiUtilityHttpInit> http init first time success.")));
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), ElementsAre("HeapAlloc", "HttpInit"));
    EXPECT_EQ(HttpAccess::Users(), 1U);
    EXPECT_EQ(HttpAccess::Timeouts(m_http), (Timeouts{3, 4, 30}));
    const std::vector<BlockRecord> blocks = Fake().LiveBlocks();
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks[0].address, HttpAccess::TlsBlock());
    EXPECT_EQ(blocks[0].sizeBytes, sizeof(tagHTTP_S_TLS_PARAM));
    EXPECT_EQ(blocks[0].fill, 0);
    EXPECT_EQ(blocks[0].module, kUtilityModule);
    EXPECT_GT(blocks[0].line, 0U);
}

TEST_F(TransportTest, ALaterInitOnlyCountsAndItsInstanceKeepsZeroTimeouts) {
    Start();
    HttpProtocol second;
    EXPECT_EQ(second.AiUtilityHttpInit(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(UI("<AiUtilityHttpInit> http has been inited 1 times.")));
    EXPECT_EQ(HttpAccess::Timeouts(second), (Timeouts{0, 0, 0}));
    EXPECT_EQ(HttpAccess::Users(), 2U);
    EXPECT_EQ(Fake().CountOf(Fn::HttpInit), 0U);
    EXPECT_EQ(m_http.AiUtilityHttpInit(), 0U);
    EXPECT_EQ(Logs().back(), UI("<AiUtilityHttpInit> http has been inited 2 times."));
}

TEST_F(TransportTest, InitWithoutMemory) {
    Fake().FailCall(Fn::HeapAlloc, 1);
    EXPECT_EQ(m_http.AiUtilityHttpInit(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<AiUtilityHttpInit> m_pstTlsPram malloc error!")));
    EXPECT_EQ(Fake().CountOf(Fn::HttpInit), 0U);
    EXPECT_EQ(HttpAccess::Users(), 0U);
}

TEST_F(TransportTest, AFailedStartLeavesTheBlockForTheNextAttempt) {
    Fake().FailCall(Fn::HttpInit, 1);
    Fake().SetFailResult(Fn::HttpInit, 17);
    EXPECT_EQ(m_http.AiUtilityHttpInit(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UI("<AiUtilityHttpInit> m_pstTlsPram malloc done."),
                                    UE("<AiUtilityHttpInit> call quor_http_init failed: 17.")));
    EXPECT_EQ(HttpAccess::Users(), 0U);
    EXPECT_EQ(HttpAccess::Timeouts(m_http), (Timeouts{0, 0, 0}));
    const tagHTTP_S_TLS_PARAM* block = HttpAccess::TlsBlock();
    EXPECT_NE(block, nullptr);
    Fake().ClearRecords();
    EXPECT_EQ(m_http.AiUtilityHttpInit(), 0U);
    EXPECT_EQ(Fake().CountOf(Fn::HeapAlloc), 0U);
    EXPECT_EQ(HttpAccess::TlsBlock(), block);
    EXPECT_EQ(Logs().front(), UI("<AiUtilityHttpInit> m_pstTlsPram malloc done."))
        << "said although nothing was done";
}

TEST_F(TransportTest, AResultBeyondTheRangeOfIntIsPrintedNegative) {
    Fake().FailCall(Fn::HttpInit, 1);
    Fake().SetFailResult(Fn::HttpInit, 0xFFFFFFFFU);
    EXPECT_EQ(m_http.AiUtilityHttpInit(), kFailed);
    EXPECT_EQ(Logs().back(), UE("<AiUtilityHttpInit> call quor_http_init failed: -1."));
}

TEST_F(TransportTest, UninitOfNothingFails) {
    EXPECT_EQ(m_http.AiUtilityHttpUninit(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<AiUtilityHttpUninit> http not inited.")));
    EXPECT_EQ(HttpAccess::Users(), 0U);
    EXPECT_EQ(Fake().CountOf(Fn::HttpUninit), 0U);
}

TEST_F(TransportTest, OnlyTheLastUninitEndsTheTransport) {
    Start();
    HttpProtocol second;
    second.AiUtilityHttpInit();
    Fake().ClearRecords();
    EXPECT_EQ(m_http.AiUtilityHttpUninit(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(UI("<AiUtilityHttpUninit> http not uninit, still 1 users.")));
    EXPECT_TRUE(Network().IsInitialised());
    EXPECT_NE(HttpAccess::TlsBlock(), nullptr);
    Fake().ClearRecords();
    EXPECT_EQ(second.AiUtilityHttpUninit(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(UI("<AiUtilityHttpUninit> m_pstTlsPram free done.")));
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), ElementsAre("HeapFree", "HttpUninit"))
        << "the block goes before the transport";
    EXPECT_EQ(HttpAccess::TlsBlock(), nullptr);
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
    EXPECT_EQ(Fake().freedBlocks.at(0).freeModule, kUtilityModule);
    Fake().ClearRecords();
    EXPECT_EQ(second.AiUtilityHttpUninit(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<AiUtilityHttpUninit> http not inited.")));
}

TEST_F(TransportTest, AFailedEndLeavesNobodyCountedAndNoBlock) {
    Start();
    Fake().FailCall(Fn::HttpUninit, 1);
    Fake().SetFailResult(Fn::HttpUninit, 9);
    EXPECT_EQ(m_http.AiUtilityHttpUninit(), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UI("<AiUtilityHttpUninit> m_pstTlsPram free done."),
                                    UE("<AiUtilityHttpUninit> call quor_http_uninit failed: 9.")));
    EXPECT_EQ(HttpAccess::Users(), 0U);
    EXPECT_EQ(HttpAccess::TlsBlock(), nullptr);
}

TEST_F(TransportTest, AnInstanceKeepsItsTimeoutsAndTheNextFirstOneGetsThemToo) {
    Start();
    m_http.AiUtilityHttpUninit();
    EXPECT_EQ(HttpAccess::Timeouts(m_http), (Timeouts{3, 4, 30}));
    HttpProtocol next;
    EXPECT_EQ(next.AiUtilityHttpInit(), 0U);
    EXPECT_EQ(HttpAccess::Timeouts(next), (Timeouts{3, 4, 30}));
}

TEST_F(TransportTest, DefaultTimeouts) {
    m_http.SetDefaultTimeoutParam();
    EXPECT_EQ(HttpAccess::Timeouts(m_http), (Timeouts{3, 4, 30}));
    EXPECT_THAT(Logs(), IsEmpty());
}

// ---- Configuration ----

TEST_F(TransportTest, ConfigurationOfTheFirstInstance) {
    Start();
    tagHTTP_S_CONFIG_PARAM config;
    std::memset(&config, 0xEE, sizeof(config));
    EXPECT_EQ(m_http.GetConfigParam(config), 0U);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_EQ(config.firstTimeout, 3U);
    EXPECT_EQ(config.secondTimeout, 30U) << "the third setting; the second one is passed nowhere";
    EXPECT_EQ(config.reserved, nullptr);
    ASSERT_EQ(config.tlsParam, HttpAccess::TlsBlock());
    EXPECT_STREQ(config.tlsParam->caPath, "/etc/quor/trusted.pem");
    EXPECT_EQ(config.tlsParam->verifyPeer, 1U);
    EXPECT_EQ(config.tlsParam->checkRevocation, 0U);
    ASSERT_EQ(Network().certCalls.size(), 1U);
    EXPECT_EQ(Network().certCalls[0].usage, 1U);
    EXPECT_EQ(Network().certCalls[0].kind, 2U);
    EXPECT_EQ(Network().certCalls[0].option, 0U);
    EXPECT_TRUE(Network().certCalls[0].outIsZero);
}

TEST_F(TransportTest, CipherSuitesPrefer256BitsWithEcdheAnd128WithDhe) {
    Start();
    tagHTTP_S_CONFIG_PARAM config;
    ASSERT_EQ(m_http.GetConfigParam(config), 0U);
    ASSERT_EQ(config.cipherSuites->count, 8U);
    EXPECT_THAT(config.cipherSuites->suites, ElementsAre(0x0300C030U, 0x0300C02FU, 0x0300C02CU, 0x0300C02BU,
                                                         0x0300009EU, 0x0300009FU, 0x030000A2U, 0x030000A3U));
}

TEST_F(TransportTest, ConfigurationOfALaterInstanceHasZeroTimeouts) {
    Start();
    HttpProtocol second;
    second.AiUtilityHttpInit();
    tagHTTP_S_CONFIG_PARAM config;
    EXPECT_EQ(second.GetConfigParam(config), 0U);
    EXPECT_EQ(config.firstTimeout, 0U);
    EXPECT_EQ(config.secondTimeout, 0U);
}

TEST_F(TransportTest, ConfigurationWithoutBlockAsksForNoPath) {
    tagHTTP_S_CONFIG_PARAM config;
    EXPECT_EQ(m_http.GetConfigParam(config), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GetConfigParam> m_pstTlsPram is nullptr!")));
    EXPECT_EQ(Fake().CountOf(Fn::CertPath), 0U);
    EXPECT_EQ(config.firstTimeout, 0U);
    EXPECT_NE(config.cipherSuites, nullptr);
}

TEST_F(TransportTest, AFailingCertificateServiceIsOneAndNotMinusOne) {
    Start();
    Fake().FailCall(Fn::CertPath, 1);
    Fake().SetFailResult(Fn::CertPath, 0xFFFFFFF0U);
    tagHTTP_S_CONFIG_PARAM config;
    EXPECT_EQ(m_http.GetConfigParam(config), 1U);
    EXPECT_THAT(Logs(), ElementsAre(UE("QuorOmCertGetCertPath error 4294967280")));
}

TEST_F(TransportTest, APathOf511BytesFitsAndOneOf512DoesNot) {
    Start();
    tagHTTP_S_CONFIG_PARAM config;
    Network().certPath = std::string(511, 'p');
    EXPECT_EQ(m_http.GetConfigParam(config), 0U);
    EXPECT_EQ(config.tlsParam->caPath, Network().certPath);
    Network().certPath = std::string(512, 'q');
    EXPECT_EQ(m_http.GetConfigParam(config), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GetConfigParam> strcpy_s error!")));
}

TEST_F(TransportTest, ThePathIsAskedForAnewForEveryRequest) {
    Start();
    EXPECT_EQ(m_http.AiCommonHttpSynSend(Synchronous()), 0U);
    m_http.FreeSyncRequestParam(m_syn);
    Network().certPath = "/new";
    EXPECT_EQ(m_http.AiCommonHttpSynSend(Synchronous()), 0U);
    m_http.FreeSyncRequestParam(m_syn);
    EXPECT_EQ(Network().requests.at(0).caPath, "/etc/quor/trusted.pem");
    EXPECT_EQ(Network().requests.at(1).caPath, "/new");
    EXPECT_STREQ(HttpAccess::TlsBlock()->caPath, "/new");
}

// ---- Requests ----

TEST_F(TransportTest, ASynchronousRequestReachesTheTransportWhole) {
    Start();
    Network().answer = {0, 201, "answer", true};
    EXPECT_EQ(m_http.AiCommonHttpSynSend(Synchronous()), 0U);
    EXPECT_THAT(Logs(), IsEmpty());
    ASSERT_EQ(Network().requests.size(), 1U);
    const HttpRequest& request = Network().requests[0];
    EXPECT_EQ(request.url, kUrl);
    EXPECT_EQ(request.method, 0U);
    EXPECT_THAT(request.headers,
                ElementsAre(std::pair<std::string, std::string>("Content-Type", "application/json"),
                            std::pair<std::string, std::string>("token", "abc")));
    EXPECT_EQ(request.body, "{}");
    EXPECT_EQ(request.caPath, "/etc/quor/trusted.pem");
    EXPECT_EQ(request.verifyPeer, 1U);
    EXPECT_EQ(request.checkRevocation, 0U);
    EXPECT_EQ(request.suites.size(), 8U);
    EXPECT_EQ(request.firstTimeout, 3U);
    EXPECT_EQ(request.secondTimeout, 30U);
    EXPECT_TRUE(request.reservedIsNull);
    EXPECT_EQ(request.locksHeld, 0U);
    EXPECT_EQ(m_syn.rspStatus, 201U);
    EXPECT_STREQ(m_syn.rspBody, "answer");
    EXPECT_STREQ(static_cast<const char*>(m_syn.rspExtra), "extra");
    EXPECT_EQ(m_syn.config.tlsParam, HttpAccess::TlsBlock());
    HttpProtocol::FreeSyncRequestParam(m_syn);
}

TEST_F(TransportTest, TheTransportsResultIsPassedUp) {
    Start();
    Network().answer.result = HTTP_ERRORCODE_TIMEOUT;
    EXPECT_EQ(m_http.AiCommonHttpSynSend(Synchronous()), 103U);
    EXPECT_EQ(m_syn.rspBody, nullptr);
    EXPECT_THAT(Logs(), IsEmpty());
    Fake().FailCall(Fn::HttpAsynSend, 1);
    Fake().SetFailResult(Fn::HttpAsynSend, 44);
    EXPECT_EQ(m_http.AiCommonHttpAsynSend(Asynchronous()), 44U);
    EXPECT_EQ(m_answers, "44 none;") << "the callback runs whatever the send returns";
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(TransportTest, SynchronousSendOfNothing) {
    Start();
    EXPECT_EQ(m_http.AiCommonHttpSynSend(nullptr), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<aiCommonHttpSynSend> param is null")));
    EXPECT_EQ(Fake().CountOf(Fn::CertPath), 0U);
}

TEST_F(TransportTest, AsynchronousSendOfNothing) {
    Start();
    EXPECT_EQ(m_http.AiCommonHttpAsynSend(nullptr), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<aiCommonHttpAsynSend> param is null")));
    EXPECT_EQ(Fake().CountOf(Fn::CertPath), 0U);
}

TEST_F(TransportTest, NoRequestGoesOutWithoutAConfiguration) {
    EXPECT_EQ(m_http.AiCommonHttpSynSend(Synchronous()), kFailed);
    EXPECT_EQ(m_http.AiCommonHttpAsynSend(Asynchronous()), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GetConfigParam> m_pstTlsPram is nullptr!"),
                                    UE("<aiCommonHttpSynSend> GetConfigParam error!"),
                                    UE("<GetConfigParam> m_pstTlsPram is nullptr!"),
                                    UE("<aiCommonHttpAsynSend> GetConfigParam error!")));
    Start();
    Fake().FailCall(Fn::CertPath, 1, FailMode::kFromThenOn);
    EXPECT_EQ(m_http.AiCommonHttpSynSend(Synchronous()), kFailed) << "not the 1 of the configuration";
    EXPECT_EQ(m_http.AiCommonHttpAsynSend(Asynchronous()), kFailed);
    EXPECT_THAT(
        Logs(),
        ElementsAre(UE("QuorOmCertGetCertPath error 7"), UE("<aiCommonHttpSynSend> GetConfigParam error!"),
                    UE("QuorOmCertGetCertPath error 7"), UE("<aiCommonHttpAsynSend> GetConfigParam error!")));
    EXPECT_EQ(Fake().CountOf(Fn::HttpSynSend), 0U);
    EXPECT_EQ(Fake().CountOf(Fn::HttpAsynSend), 0U);
    EXPECT_EQ(m_answers, "");
}

TEST_F(TransportTest, AnAsynchronousRequestIsAnsweredLaterAndItsRecordMayBeReused) {
    Start();
    Network().holdAnswers = true;
    EXPECT_EQ(m_http.AiCommonHttpAsynSend(Asynchronous()), 0U);
    EXPECT_EQ(m_asyn.config.tlsParam, HttpAccess::TlsBlock());
    std::memset(static_cast<void*>(&m_asyn), 0xEE, sizeof(m_asyn));
    EXPECT_EQ(m_answers, "");
    ASSERT_EQ(Network().requests.size(), 1U);
    const HttpRequest& request = Network().requests[0];
    EXPECT_EQ(request.url, kUrl);
    EXPECT_EQ(request.method, 3U);
    EXPECT_EQ(request.body, std::nullopt);
    EXPECT_EQ(request.handleOnEntry, 0U);
    EXPECT_EQ(request.userData, this);
    EXPECT_EQ(request.firstTimeout, 3U);
    EXPECT_EQ(request.secondTimeout, 30U);
    EXPECT_EQ(request.caPath, "/etc/quor/trusted.pem");
    Network().Complete(0, {0, 200, "late"});
    EXPECT_EQ(m_answers, "0 late;");
    EXPECT_EQ(Network().requests[0].releases, 1U);
}

TEST_F(TransportTest, TheEndOfTheTransportAnswersWhatIsUnderWay) {
    Start();
    Network().holdAnswers = true;
    EXPECT_EQ(m_http.AiCommonHttpAsynSend(Asynchronous()), 0U);
    EXPECT_EQ(m_http.AiUtilityHttpUninit(), 0U);
    EXPECT_EQ(m_answers, "3 none;");
}

// The transport reads a request's parameters while the last user may free the shared ones.
TEST_F(TransportTest, ARequestUnderWayOutlivesTheSharedParameters) {
    Start();
    Network().onRequest = [this](const HttpRequest&) {
        EXPECT_EQ(m_http.AiUtilityHttpUninit(), 0U);
        EXPECT_NE(m_syn.config.tlsParam, nullptr);
        EXPECT_STREQ(m_syn.config.tlsParam->caPath, "/etc/quor/trusted.pem");
        EXPECT_EQ(m_syn.config.tlsParam->verifyPeer, 1U);
        return HttpAnswer{0, 200, std::nullopt};
    };
    EXPECT_EQ(m_http.AiCommonHttpSynSend(Synchronous()), 0U);
    EXPECT_EQ(HttpAccess::TlsBlock(), nullptr);
}

TEST_F(TransportTest, AnUninitBetweenTheStepsOfAConfigurationIsAFailure) {
    Start();
    Fake().boundedFault = [this](const BoundedCall& call) {
        if (call.fn == Fn::StrcpyS && call.destMax == 512 && HttpAccess::Users() != 0) {
            m_http.AiUtilityHttpUninit();
        }
        return false;
    };
    tagHTTP_S_CONFIG_PARAM config;
    EXPECT_EQ(m_http.GetConfigParam(config), kFailed);
    EXPECT_EQ(Logs().back(), UE("<GetConfigParam> m_pstTlsPram is nullptr!"));
}

// What the thread sanitizer checks: requests of several threads while the transport ends and starts again
// among them.
TEST_F(TransportTest, ThreadsSendWhileTheTransportComesAndGoes) {
    Fake().recordLogs = false;
    std::atomic<unsigned> sending{3};
    std::atomic<unsigned> sent{0};
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            HttpProtocol http;
            for (int k = 0; k < 200; ++k) {
                tagHTTP_S_SYN_SEND_PARAM param = {};
                param.url = kUrl;
                param.urlLen = sizeof(kUrl);
                sent += http.AiCommonHttpSynSend(&param) == 0 ? 1U : 0U;
                HttpProtocol::FreeSyncRequestParam(param);
            }
            --sending;
        });
    }
    do {
        EXPECT_EQ(m_http.AiUtilityHttpInit(), 0U);
        EXPECT_EQ(m_http.AiUtilityHttpUninit(), 0U);
    } while (sending != 0);
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Network().requests.size(), Fake().CountOf(Fn::HttpSynSend));
    EXPECT_LE(sent.load(), Network().requests.size());
    for (const HttpRequest& request : Network().requests) {
        EXPECT_EQ(request.caPath, "/etc/quor/trusted.pem") << "no request goes out half configured";
        EXPECT_EQ(request.verifyPeer, 1U);
    }
}

}  // namespace
}  // namespace QuorTest
