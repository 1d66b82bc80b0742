// What goes out and comes back: methods, bodies, headers, statuses, and what is refused before anything is
// sent.
#include <gmock/gmock.h>

#include <cstring>

#include "quor_platform/os.h"
#include "tests/platform_linux/http/http_fixture.h"
#include "tests/platform_linux/support/guarded_buffer.h"

namespace quor_test {
namespace {

using testing::HasSubstr;

class HttpRequests : public HttpTest {
protected:
    // A server that answers 200 and keeps what it was asked.
    HttpRequests()
        : m_peer(ServerTls(), HttpPeer::Serve([this](HttpConnection& connection, const PeerRequest& request) {
                     {
                         const std::lock_guard<std::mutex> lock(m_mutex);
                         m_seen = request;
                     }
                     connection.Answer(200, "{\"ok\":1}", "Content-Type: application/json\r\n");
                 })) {}

    static void ExpectInvalid(Call& call, const char* why) {
        const Reply reply = call.Send();
        EXPECT_EQ(reply.result, static_cast<unsigned int>(HTTP_ERRORCODE_INVALID));
        EXPECT_EQ(reply.status, 0U);
        EXPECT_FALSE(reply.hasBody);
        EXPECT_EQ(reply.failure.stage, quor_platform::Stage::kSettings);
        EXPECT_THAT(reply.failure.text, HasSubstr(why));
    }

    PeerRequest Seen() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_seen;
    }

    mutable std::mutex m_mutex;
    PeerRequest m_seen;
    HttpPeer m_peer;  // last: ends before what its script uses
};

TEST_F(HttpRequests, GetHasNoBodyAndOnlyTheCallersHeaders) {
    const auto call = Get(m_peer.Url("/conf/1?size=200&page=0"));
    call->Header("token", "abc def");
    call->body = "ignored";
    call->hasBody = true;
    const Reply reply = call->Send();
    EXPECT_EQ(reply.result, 0U) << reply.failure.text;
    EXPECT_EQ(reply.status, 200U);
    EXPECT_EQ(reply.body, "{\"ok\":1}");
    EXPECT_EQ(reply.failure.stage, quor_platform::Stage::kNone);
    EXPECT_EQ(reply.failure.httpStatus, 200);
    const std::string host = "127.0.0.1:" + std::to_string(m_peer.Port());
    EXPECT_EQ(Seen().head, "GET /conf/1?size=200&page=0 HTTP/1.1\r\nHost: " + host +
                               "\r\nAccept: */*\r\ntoken: abc def\r\n");
    EXPECT_EQ(Seen().body, "");
}

TEST_F(HttpRequests, PostAndPutCarryTheBody) {
    for (const auto& [code, name] :
         {std::pair{QUOR_HTTP_METHOD_POST, "POST"}, std::pair{QUOR_HTTP_METHOD_PUT, "PUT"}}) {
        Call call(m_ca, m_peer.Url("/x"), code);
        call.Header("Content-Type", "application/json");
        call.body = std::string("{\"a\":\"\0\"}", 9);  // any byte
        call.hasBody = true;
        EXPECT_EQ(call.Send().status, 200U);
        EXPECT_EQ(Seen().method, name);
        EXPECT_EQ(Seen().body, call.body);
        EXPECT_EQ(Seen().headers["content-type"], "application/json");
        EXPECT_EQ(Seen().headers["content-length"], "9");
    }
}

TEST_F(HttpRequests, ABodyMayBeMissing) {
    Call call(m_ca, m_peer.Url("/x"), QUOR_HTTP_METHOD_POST);
    EXPECT_EQ(call.Send().status, 200U);
    EXPECT_EQ(Seen().headers["content-length"], "0");
    EXPECT_EQ(Seen().headers.count("content-type"), 0U);
    EXPECT_EQ(Seen().headers.count("expect"), 0U);
}

TEST_F(HttpRequests, ALargeBodyGoesOutAtOnce) {
    Call call(m_ca, m_peer.Url("/x"), QUOR_HTTP_METHOD_PUT);
    call.body = std::string(3U << 20U, 'b');
    call.hasBody = true;
    EXPECT_EQ(call.Send().status, 200U);
    EXPECT_EQ(Seen().body.size(), call.body.size());
    EXPECT_EQ(Seen().headers.count("expect"), 0U);
}

TEST_F(HttpRequests, FramingHeadersAreTheTransportsOwn) {
    Call call(m_ca, m_peer.Url("/x"), QUOR_HTTP_METHOD_POST);
    call.Header("content-length", "999");
    call.Header("Transfer-Encoding", "chunked");
    call.Header("empty", "");
    call.body = "abc";
    call.hasBody = true;
    EXPECT_EQ(call.Send().status, 200U);
    EXPECT_EQ(Seen().headers["content-length"], "3");
    EXPECT_EQ(Seen().headers.count("transfer-encoding"), 0U);
    EXPECT_EQ(Seen().headers["empty"], "");
    EXPECT_EQ(Seen().headers.count("empty"), 1U);
    EXPECT_EQ(Seen().body, "abc");
}

TEST_F(HttpRequests, UnknownMethodsAreRefused) {
    for (const unsigned int method : {1U, 2U, 4U, 6U, 0xFFFFFFFFU}) {
        Call call(m_ca, m_peer.Url(), method);
        ExpectInvalid(call, "method");
    }
    EXPECT_EQ(m_peer.Accepted(), 0);
}

TEST_F(HttpRequests, OnlyHttpsUrlsAreSent) {
    const std::string port = std::to_string(m_peer.Port());
    for (const std::string& url :
         {std::string(), std::string("https:/"), "http://127.0.0.1:" + port + "/", "127.0.0.1:" + port,
          std::string("file:///etc/passwd"), std::string("ftp://127.0.0.1/")}) {
        Call call(m_ca, url);
        ExpectInvalid(call, "https://");
    }
    for (const char* url : {"https://", "https://:443/", "https://user:pw@127.0.0.1/", "https://[::1/",
                            "https://127.0.0.1:99999/"}) {
        Call call(m_ca, url);
        ExpectInvalid(call, "malformed");
    }
    for (const char* tail : {"/a b", "/a\r\nX: y", "/a\tb", "/\x7F", "/\x01"}) {
        Call call(m_ca, m_peer.Url(tail));
        ExpectInvalid(call, "blank or a control");
    }
    Call call(m_ca, "https://127.0.0.1/" + std::string(8000, 'a'));
    ExpectInvalid(call, "too long");
    EXPECT_EQ(m_peer.Accepted(), 0);
}

TEST_F(HttpRequests, TheUrlIsReadUpToItsBuffersEnd) {
    const std::string url = m_peer.Url("/path");
    GuardedBuffer memory(url.size());
    const auto call = Get("");
    tagHTTP_S_SYN_SEND_PARAM param = call->Blocking();
    param.url = memory.Place(url);
    param.urlLen = static_cast<unsigned int>(url.size());
    EXPECT_EQ(quor_http_syn_send(&param), 0U);
    EXPECT_EQ(Seen().target, "/path");
    OSMemTypeFreeMon(param.rspBody, 1, "test");
}

TEST_F(HttpRequests, HeadersThatCouldBecomeOthersAreRefused) {
    for (const char* name : {"", "a b", "a:b", "a\r\nb", "\xC3\xA4"}) {
        const auto call = Get(m_peer.Url());
        call->Header(name, "v");
        ExpectInvalid(*call, "unusable name");
    }
    for (const char* value : {"a\r\nInjected: 1", "a\nb", "a\x01", "\x7F"}) {
        const auto call = Get(m_peer.Url());
        call->Header("name", value);
        ExpectInvalid(*call, "control character");
    }
    EXPECT_EQ(m_peer.Accepted(), 0);
}

TEST_F(HttpRequests, HeaderFieldsAreReadWithinTheirBounds) {
    auto call = Get(m_peer.Url());
    call->Header(std::string(64, 'n'), "v");
    ExpectInvalid(*call, "not terminated");
    call = Get(m_peer.Url());
    call->Header("n", std::string(512, 'v'));
    ExpectInvalid(*call, "not terminated");
    call = Get(m_peer.Url());
    call->Header(std::string(63, 'n'), std::string(511, 'v'));
    EXPECT_EQ(call->Send().status, 200U);
    EXPECT_EQ(Seen().headers[std::string(63, 'n')], std::string(511, 'v'));
    std::memset(call->tls.caPath, 'p', sizeof call->tls.caPath);
    ExpectInvalid(*call, "path of the trusted certificates");
}

TEST_F(HttpRequests, NullsAreRefused) {
    EXPECT_EQ(quor_http_syn_send(nullptr), static_cast<unsigned int>(HTTP_ERRORCODE_INVALID));
    const auto call = Get(m_peer.Url());
    const auto expectInvalid = [](tagHTTP_S_SYN_SEND_PARAM param) {
        param.rspBody = reinterpret_cast<char*>(1);
        param.rspExtra = &param;
        param.rspStatus = 7;
        EXPECT_EQ(quor_http_syn_send(&param), static_cast<unsigned int>(HTTP_ERRORCODE_INVALID));
        EXPECT_EQ(param.rspBody, nullptr);
        EXPECT_EQ(param.rspExtra, nullptr);
        EXPECT_EQ(param.rspStatus, 0U);
    };
    tagHTTP_S_SYN_SEND_PARAM param = call->Blocking();
    param.url = nullptr;
    expectInvalid(param);
    param = call->Blocking();
    param.urlLen = 0;
    expectInvalid(param);
    param = call->Blocking();
    param.headers = nullptr;
    param.headerCount = 1;
    expectInvalid(param);
    param = call->Blocking();
    param.config.tlsParam = nullptr;
    expectInvalid(param);
    param = call->Blocking();
    param.method = QUOR_HTTP_METHOD_POST;
    param.bodyLen = 5;
    expectInvalid(param);
    param = call->Blocking();
    param.headerCount = 65;
    expectInvalid(param);
}

TEST_F(HttpRequests, WithoutTheTransportNothingIsSent) {
    const auto call = Get(m_peer.Url());
    EXPECT_EQ(quor_http_uninit(), 0U);
    EXPECT_EQ(call->Send().result, static_cast<unsigned int>(HTTP_ERRORCODE_NOT_INITIALISED));
    EXPECT_EQ(m_peer.Accepted(), 0);
    EXPECT_EQ(quor_http_uninit(), 0U) << "ending it twice is no failure";
    EXPECT_EQ(quor_http_init(), 0U);
    EXPECT_EQ(quor_http_init(), 0U) << "starting it twice changes nothing";
    EXPECT_EQ(call->Send().status, 200U);
}

class HttpStatuses : public HttpTest, public testing::WithParamInterface<unsigned int> {};

TEST_P(HttpStatuses, AreAnswersAndNoFailuresOfTheTransport) {
    const unsigned int status = GetParam();
    const HttpPeer peer(ServerTls(), HttpPeer::Serve([&](HttpConnection& connection, const PeerRequest&) {
                            connection.Answer(status, status == 204 ? "" : "body",
                                              "Location: https://127.0.0.1:1/elsewhere\r\n");
                        }));
    const Reply reply = SendGet(peer.Url());
    EXPECT_EQ(reply.result, 0U) << reply.failure.text;
    EXPECT_EQ(reply.status, status);
    EXPECT_EQ(reply.hasBody, status != 204) << "no body is a null body";
    EXPECT_EQ(reply.body, status == 204 ? "" : "body");
    EXPECT_EQ(reply.failure.httpStatus, static_cast<int>(status));
    EXPECT_EQ(reply.failure.stage,
              status < 400 ? quor_platform::Stage::kNone : quor_platform::Stage::kAnswer);
    EXPECT_EQ(peer.Accepted(), 1) << "no redirection is followed";
}

INSTANTIATE_TEST_SUITE_P(All, HttpStatuses,
                         testing::Values(200U, 201U, 204U, 302U, 400U, 401U, 404U, 500U, 503U));

}  // namespace
}  // namespace quor_test
