// The network's part of the fake platform: what other tests conclude from it is only as good as it is.
#include <sys/time.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>

#include "quor_platform/certificate.h"
#include "quor_platform/key_management.h"
#include "support/failing_new.h"
#include "support/http_test.h"
#include "support/thread_state.h"

namespace QuorTest {
namespace {

class FakeNetworkTest : public HttpTest {
protected:
    FakeNetworkTest() {
        quor_http_init();
        m_config.tlsParam = &m_tls;
        m_config.cipherSuites = &m_suites;
    }

    unsigned Send(QuorHttpCallback callback) {
        tagHTTP_S_ASYN_SEND_PARAM param = {};
        param.url = "https://server/";
        param.config = m_config;
        param.callback = callback;
        param.userData = this;
        return quor_http_asyn_send(&param, &m_handle);
    }
    static unsigned Good(unsigned long handle, EN_HTTP_ERRORCODE error, tagST_HTTP_RSP* rsp, void* userData) {
        auto* self = static_cast<FakeNetworkTest*>(userData);
        self->m_seen = std::to_string(error) + (rsp == nullptr ? "" : " " + std::to_string(rsp->statusCode));
        EXPECT_EQ(HTTPAPI_ReleaseHandle(handle), 0U);
        return 5;
    }
    static unsigned Never(unsigned long, EN_HTTP_ERRORCODE, tagST_HTTP_RSP*, void*) { return 0; }
    static unsigned Twice(unsigned long handle, EN_HTTP_ERRORCODE, tagST_HTTP_RSP*, void*) {
        EXPECT_EQ(HTTPAPI_ReleaseHandle(handle), 0U);
        EXPECT_NE(HTTPAPI_ReleaseHandle(handle), 0U);
        return 0;
    }

    tagHTTP_S_TLS_PARAM m_tls = {};
    tagHTTP_S_CIPHER_LIST m_suites = {};
    tagHTTP_S_CONFIG_PARAM m_config = {};
    unsigned long m_handle = 0;
    std::string m_seen;
};

TEST_F(FakeNetworkTest, AnswersInsideTheSendOrOnDemand) {
    EXPECT_EQ(Send(&Good), 0U);
    EXPECT_EQ(m_seen, "0 200");
    EXPECT_EQ(Network().requests.at(0).callbackResult, 5U);
    EXPECT_NE(m_handle, 0U);
    Network().holdAnswers = true;
    EXPECT_EQ(Send(&Good), 0U);
    EXPECT_THAT(Network().Held(), ElementsAre(1U));
    Network().Complete(1, {0, 404});
    EXPECT_EQ(m_seen, "0 404");
    EXPECT_THAT(Network().Held(), IsEmpty());
}

TEST_F(FakeNetworkTest, TheScriptIsPlayedBeforeTheStandingAnswer) {
    Network().script = {{0, 201}, {103}};
    Network().answer = {0, 202};
    std::string seen;
    for (int i = 0; i < 3; ++i) {
        Send(&Good);
        seen += m_seen + ";";
    }
    EXPECT_EQ(seen, "0 201;103;0 202;");
}

TEST_F(FakeNetworkTest, AFailingSendCallsBackAtOnceOrLater) {
    Fake().FailCall(Fn::HttpAsynSend, 1, FailMode::kFromThenOn);
    EXPECT_EQ(Send(&Good), 7U);
    EXPECT_EQ(m_seen, "7");
    Network().holdAnswers = true;
    m_seen.clear();
    EXPECT_EQ(Send(&Good), 7U);
    EXPECT_EQ(m_seen, "");
    Network().CompleteAll({});
    EXPECT_EQ(m_seen, "7");
}

TEST_F(FakeNetworkTest, TheEndAnswersWhatIsHeldAndRefusesWhatComes) {
    Network().holdAnswers = true;
    Send(&Good);
    quor_http_uninit();
    EXPECT_EQ(m_seen, "3");
    Network().holdAnswers = false;
    EXPECT_EQ(Send(&Good), 2U);
    EXPECT_EQ(m_seen, "2");
}

TEST_F(FakeNetworkTest, MissingAndDoubleReleasesAreNoticed) {
    Send(&Never);
    Send(&Twice);
    EXPECT_NE(HTTPAPI_ReleaseHandle(m_handle), 0U);
    EXPECT_EQ(Fake().violations.size(), 3U);
    Fake().violations.clear();
    Fake().ClearRecords();
}

TEST_F(FakeNetworkTest, ASendWithoutParametersIsNoticed) {
    m_config.tlsParam = nullptr;
    Send(&Good);
    EXPECT_EQ(Fake().violations.size(), 1U);
    Fake().violations.clear();
}

TEST_F(FakeNetworkTest, ARequestOutlivesTheRecords) {
    Network().holdAnswers = true;
    Send(&Good);
    Fake().ClearRecords();
    Network().CompleteAll({});
    EXPECT_EQ(m_seen, "0 200");
}

TEST_F(FakeNetworkTest, ScriptedNumbersAndClocks) {
    Network().randoms = {17};
    unsigned number = 0;
    EXPECT_EQ(QuorOmKeymGenRealRandom(reinterpret_cast<unsigned char*>(&number), sizeof(number)), 0);
    EXPECT_EQ(number, 17U);
    EXPECT_EQ(QuorOmKeymGenRealRandom(reinterpret_cast<unsigned char*>(&number), sizeof(number)), 0);
    EXPECT_EQ(number, 0x5A5A5A5AU);
    Network().timeOfDaySec = 5;
    timeval now = {};
    EXPECT_EQ(gettimeofday(&now, nullptr), 0);
    EXPECT_EQ(now.tv_sec, 5);
}

TEST_F(FakeNetworkTest, AllocationsFailOnDemand) {
    Fake().FailCall(Fn::NothrowNew, 1, FailMode::kFromThenOn);
    EXPECT_EQ(std::unique_ptr<int>(new (std::nothrow) int), nullptr);
    EXPECT_EQ(std::unique_ptr<int[]>(new (std::nothrow) int[3]), nullptr);
    // Nothing that could allocate stands between the failing calls.
    bool first = false;
    bool second = false;
    bool hitBetween = false;
    const FailingNew failing(2);
    try {
        // Called by name: the compiler may leave out a new expression, but no call.
        ::operator delete(::operator new(3));
        first = true;
        hitBetween = failing.Hit();
        ::operator delete(::operator new(3));
        second = true;
    } catch (const std::bad_alloc&) {
    }
    EXPECT_TRUE(failing.Hit());
    EXPECT_TRUE(first);
    EXPECT_FALSE(hitBetween);
    EXPECT_FALSE(second);
}

TEST_F(FakeNetworkTest, ThreadsFailToStartOnDemandAndAreSeenToSleep) {
    Fake().FailCall(Fn::StartThread, 1);
    EXPECT_THROW(std::thread([] {}), std::system_error);
    std::atomic<pid_t> number{0};
    std::mutex mutex;
    std::unique_lock<std::mutex> lock(mutex);
    std::thread waiting([&] {
        number = ThreadNumber();
        const std::lock_guard<std::mutex> guard(mutex);
    });
    WaitUntilAsleep(number);
    EXPECT_GE(ThreadCount(), 2U);
    lock.unlock();
    waiting.join();
}

}  // namespace
}  // namespace QuorTest
