// http_fixture.h - what the tests of HTTPS requests share: certificates, short limits, requests that look
// like the library's. Every wait has a limit that only a defect reaches.
#ifndef QUOR_TESTS_PLATFORM_LINUX_HTTP_FIXTURE_H
#define QUOR_TESTS_PLATFORM_LINUX_HTTP_FIXTURE_H

#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "quor_platform/http.h"
#include "quor_platform_linux/host.h"
#include "tests/platform_linux/http/http_peer.h"
#include "tests/platform_linux/support/temporary_folder.h"
#include "tests/platform_linux/websocket/test_certificates.h"

namespace quor_test {

struct Reply {
    unsigned int result = 0;
    unsigned int status = 0;
    bool hasBody = false;
    std::string body;
    quor_platform::Failure failure;
};

// A request and all that its records point to. Members are public: tests bend them.
struct Call {
    Call(const std::string& caPath, std::string address, unsigned int methodCode = QUOR_HTTP_METHOD_GET);
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    void Header(const std::string& name, const std::string& value);
    tagHTTP_S_SYN_SEND_PARAM Blocking();
    tagHTTP_S_ASYN_SEND_PARAM Async(QuorHttpCallback callback, void* userData);
    Reply Send();

    unsigned int method;
    std::string url;
    std::string body;
    bool hasBody = false;
    std::vector<tagHTTP_HEADER> headers;
    tagHTTP_S_TLS_PARAM tls{};
    tagHTTP_S_CIPHER_LIST suites{};
    unsigned int firstTimeout = 0;
    unsigned int secondTimeout = 0;
};

// Counts and keeps what callbacks of asynchronous requests are told; releases each request inside the
// callback.
class Completions {
public:
    struct Completion {
        unsigned long handle = 0;
        int error = 0;
        bool answered = false;
        unsigned long status = 0;
        std::string body;
        quor_platform::Failure failure;
    };

    static unsigned int Take(unsigned long handle, EN_HTTP_ERRORCODE error, tagST_HTTP_RSP* rsp, void* self);
    // Waits until there are so many.
    bool Reached(std::size_t count) const;
    std::vector<Completion> All() const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Completion> m_completions;
};

class HttpTest : public testing::Test {
protected:
    HttpTest();
    ~HttpTest() override;

    static const TestAuthority& Authority();
    static std::shared_ptr<SSL_CTX> ServerTls(const CertificateRequest& request = {});
    static void LimitTo(int connectMs, int totalMs);
    std::unique_ptr<Call> Get(const std::string& url) const { return std::make_unique<Call>(m_ca, url); }
    Reply SendGet(const std::string& url) const { return Get(url)->Send(); }
    void ExpectRefused(const std::string& url, long certificateError) const;

    TemporaryFolder m_folder;
    std::string m_ca = m_folder.File("ca.pem");
};

}  // namespace quor_test

#endif
