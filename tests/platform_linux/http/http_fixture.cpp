#include "tests/platform_linux/http/http_fixture.h"

#include <chrono>
#include <cstring>

#include "quor_platform/os.h"

namespace quor_test {

Call::Call(const std::string& caPath, std::string address, unsigned int methodCode)
    : method(methodCode), url(std::move(address)) {
    caPath.copy(tls.caPath, sizeof tls.caPath - 1);
    tls.verifyPeer = 1;
    suites = {
        8, {0x0300C030, 0x0300C02F, 0x0300C02C, 0x0300C02B, 0x0300009E, 0x0300009F, 0x030000A2, 0x030000A3}};
}

void Call::Header(const std::string& name, const std::string& value) {
    tagHTTP_HEADER header{};
    name.copy(header.name, sizeof header.name);
    value.copy(header.value, sizeof header.value);
    headers.push_back(header);
}

tagHTTP_S_SYN_SEND_PARAM Call::Blocking() {
    tagHTTP_S_SYN_SEND_PARAM param{};
    param.method = method;
    param.url = url.c_str();
    param.urlLen = static_cast<unsigned int>(url.size() + 1);
    param.headers = headers.data();
    param.headerCount = static_cast<unsigned int>(headers.size());
    param.body = hasBody ? body.data() : nullptr;
    param.bodyLen = static_cast<unsigned int>(body.size());
    param.config = {&tls, &suites, nullptr, firstTimeout, secondTimeout};
    return param;
}

tagHTTP_S_ASYN_SEND_PARAM Call::Async(QuorHttpCallback callback, void* userData) {
    tagHTTP_S_ASYN_SEND_PARAM param{};
    param.url = url.c_str();
    param.method = method;
    param.body = hasBody ? body.data() : nullptr;
    param.bodyLen = static_cast<unsigned int>(body.size());
    param.headers = headers.data();
    param.headerCount = static_cast<unsigned int>(headers.size());
    param.config = {&tls, &suites, nullptr, firstTimeout, secondTimeout};
    param.callback = callback;
    param.userData = userData;
    return param;
}

Reply Call::Send() {
    tagHTTP_S_SYN_SEND_PARAM param = Blocking();
    Reply reply;
    reply.result = quor_http_syn_send(&param);
    reply.failure = quor_platform::LastFailure();
    reply.status = param.rspStatus;
    reply.hasBody = param.rspBody != nullptr;
    if (reply.hasBody) {
        reply.body = param.rspBody;
        OSMemTypeFreeMon(param.rspBody, __LINE__, "test");
    }
    EXPECT_EQ(param.rspExtra, nullptr);
    return reply;
}

unsigned int Completions::Take(unsigned long handle, EN_HTTP_ERRORCODE error, tagST_HTTP_RSP* rsp,
                               void* self) {
    auto* completions = static_cast<Completions*>(self);
    Completion completion;
    completion.handle = handle;
    completion.error = error;
    completion.answered = rsp != nullptr;
    if (rsp != nullptr) {
        completion.status = rsp->statusCode;
        completion.body = rsp->body == nullptr ? "" : rsp->body;
        EXPECT_EQ(completion.body.size(), rsp->bodyLen);
    }
    completion.failure = quor_platform::LastFailure();
    EXPECT_EQ(quor_platform::HttpFailure(handle).text, completion.failure.text);
    EXPECT_EQ(HTTPAPI_ReleaseHandle(handle), 0U);
    const std::lock_guard<std::mutex> lock(completions->m_mutex);
    completions->m_completions.push_back(std::move(completion));
    completions->m_changed.notify_all();
    return 0;
}

bool Completions::Reached(std::size_t count) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::minutes(1), [&] { return m_completions.size() >= count; });
}

std::vector<Completions::Completion> Completions::All() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_completions;
}

HttpTest::HttpTest() {
    Authority().WriteCertificate(m_ca);
    EXPECT_EQ(quor_http_init(), 0U);
}

HttpTest::~HttpTest() {
    quor_platform::AllowRequests();
    quor_platform::SetHttpSettings({});
    quor_platform::SetDnsSettings({});
    quor_platform::SetTlsSettings({});
    EXPECT_EQ(quor_http_uninit(), 0U);
}

const TestAuthority& HttpTest::Authority() {
    static const TestAuthority authority("HTTP test CA");
    return authority;
}

std::shared_ptr<SSL_CTX> HttpTest::ServerTls(const CertificateRequest& request) {
    return Authority().ServerContext(request);
}

void HttpTest::LimitTo(int connectMs, int totalMs) {
    quor_platform::HttpSettings settings = quor_platform::GetHttpSettings();
    settings.connectTimeout = std::chrono::milliseconds(connectMs);
    settings.totalTimeout = std::chrono::milliseconds(totalMs);
    quor_platform::SetHttpSettings(settings);
}

void HttpTest::ExpectRefused(const std::string& url, long certificateError) const {
    const Reply reply = SendGet(url);
    EXPECT_EQ(reply.result, static_cast<unsigned int>(HTTP_ERRORCODE_TLS)) << reply.failure.text;
    EXPECT_EQ(reply.status, 0U);
    EXPECT_FALSE(reply.hasBody);
    EXPECT_EQ(reply.failure.stage, quor_platform::Stage::kTls);
    EXPECT_EQ(reply.failure.certificateError, certificateError) << reply.failure.text;
}

}  // namespace quor_test
