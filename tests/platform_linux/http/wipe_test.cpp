// What requests leave behind: the credentials in their headers, URL and body are nowhere in the process
// afterwards.
#include <algorithm>
#include <fstream>
#include <string>

#include "tests/platform_linux/http/http_fixture.h"
#include "tests/platform_linux/support/memory_search.h"

namespace quor_test {
namespace {

class HttpWipe : public HttpTest {
protected:
    void SetUp() override {
        if (kMemoryIsTooLarge) {
            GTEST_SKIP() << "a sanitizer's own memory is too large to search";
        }
    }

    static HttpPeer::Script Forgetful() {
        return [](HttpConnection& connection) {
            connection.AnswerUnread("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
        };
    }
};

// Random bytes as hexadecimal digits, masked.
std::string NewSecret() {
    unsigned char bytes[12];
    std::ifstream("/dev/urandom", std::ios::binary).read(reinterpret_cast<char*>(bytes), sizeof bytes);
    std::string masked;
    for (const unsigned char byte : bytes) {
        masked += Masked(std::string(1, "0123456789abcdef"[byte >> 4U]));
        masked += Masked(std::string(1, "0123456789abcdef"[byte & 15U]));
    }
    return masked;
}

struct Secrets {
    std::string header = NewSecret();
    std::string url = NewSecret();
    std::string body = NewSecret();
};

void Put(Call& call, const Secrets& secrets) {
    call.Header("authPassword", std::string(secrets.header.size(), 'h'));
    Unmask(secrets.header, call.headers[0].value);
    const std::size_t at = call.url.size();
    call.url.append(secrets.url.size(), 'u');
    Unmask(secrets.url, call.url.data() + at);
    call.body.assign(secrets.body.size(), 'b');
    Unmask(secrets.body, call.body.data());
    call.hasBody = true;
}

void Wipe(Call& call) {
    std::fill(call.url.begin(), call.url.end(), '\0');
    std::fill(call.body.begin(), call.body.end(), '\0');
    std::fill(std::begin(call.headers[0].value), std::end(call.headers[0].value), '\0');
}

TEST_F(HttpWipe, TheSearchFindsWhatIsThere) {
    const std::string masked = NewSecret();
    std::string there(masked.size(), '\0');
    Unmask(masked, there.data());
    EXPECT_GE(PlacesHolding(masked), 1);
    std::fill(there.begin(), there.end(), '\0');
    EXPECT_EQ(PlacesHolding(masked), 0);
}

TEST_F(HttpWipe, NothingStaysOfABlockingRequest) {
    const HttpPeer peer(ServerTls(), Forgetful());
    const Secrets secrets;
    Call call(m_ca, peer.Url("/?p="), QUOR_HTTP_METHOD_POST);
    Put(call, secrets);
    EXPECT_GE(PlacesHolding(secrets.header), 1);
    EXPECT_EQ(call.Send().status, 200U);
    Wipe(call);
    EXPECT_EQ(PlacesHolding(secrets.header), 0);
    EXPECT_EQ(PlacesHolding(secrets.url), 0);
    EXPECT_EQ(PlacesHolding(secrets.body), 0);
}

TEST_F(HttpWipe, NothingStaysOfAnAsynchronousRequest) {
    const HttpPeer peer(ServerTls(), Forgetful());
    const Secrets secrets;
    Completions completions;
    Call call(m_ca, peer.Url("/?p="), QUOR_HTTP_METHOD_PUT);
    Put(call, secrets);
    tagHTTP_S_ASYN_SEND_PARAM param = call.Async(Completions::Take, &completions);
    unsigned long handle = 0;
    EXPECT_EQ(quor_http_asyn_send(&param, &handle), 0U);
    Wipe(call);
    ASSERT_TRUE(completions.Reached(1));
    EXPECT_EQ(completions.All()[0].error, 0) << completions.All()[0].failure.text;
    EXPECT_EQ(PlacesHolding(secrets.header), 0);
    EXPECT_EQ(PlacesHolding(secrets.url), 0);
    EXPECT_EQ(PlacesHolding(secrets.body), 0);
}

TEST_F(HttpWipe, NothingStaysOfARequestThatFails) {
    const Secrets secrets;
    for (const std::string& address :
         {std::string("https://127.0.0.1:1/?p="), std::string("http://127.0.0.1/?p=")}) {
        Call call(m_ca, address, QUOR_HTTP_METHOD_POST);
        Put(call, secrets);
        EXPECT_NE(call.Send().result, 0U);
        Wipe(call);
    }
    EXPECT_EQ(PlacesHolding(secrets.header), 0);
    EXPECT_EQ(PlacesHolding(secrets.url), 0);
    EXPECT_EQ(PlacesHolding(secrets.body), 0);
}

}  // namespace
}  // namespace quor_test
