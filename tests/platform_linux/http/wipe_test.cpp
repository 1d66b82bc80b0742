// What requests leave behind: the credentials in their headers, URL and body are nowhere in the process
// afterwards.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/platform_linux/http/http_fixture.h"

namespace quor_test {
namespace {

// Places in the process's writable memory that hold the text whose mask by 0x55 is masked. The text itself is
// never put together, so that the search does not find itself.
int PlacesHolding(const std::string& masked) {
    std::ifstream maps("/proc/self/maps");
    const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    int places = 0;
    std::string line;
    while (std::getline(maps, line)) {
        unsigned long begin = 0;
        unsigned long end = 0;
        char dash = 0;
        std::string rights;
        std::istringstream words(line);
        if (!(words >> std::hex >> begin >> dash >> end >> rights) || rights.compare(0, 2, "rw") != 0) {
            continue;
        }
        static char block[1U << 16U];
        for (unsigned long at = begin; at < end; at += sizeof block - masked.size()) {
            const auto want = std::min<std::size_t>(sizeof block, end - at);
            const ssize_t got = pread(memory, block, want, static_cast<off_t>(at));
            const bool own = at < reinterpret_cast<std::uintptr_t>(block) + sizeof block &&
                             at + want > reinterpret_cast<std::uintptr_t>(block);
            for (ssize_t i = 0; !own && i + static_cast<ssize_t>(masked.size()) <= got; ++i) {
                std::size_t same = 0;
                while (same < masked.size() &&
                       static_cast<char>(block[static_cast<std::size_t>(i) + same] ^ 0x55) == masked[same]) {
                    ++same;
                }
                places += same == masked.size() ? 1 : 0;
            }
        }
        std::fill(std::begin(block), std::end(block), '\0');
    }
    close(memory);
    return places;
}

std::string Masked(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(c ^ 0x55);
    }
    return text;
}

void Unmask(const std::string& masked, char* to) {
    for (std::size_t i = 0; i < masked.size(); ++i) {
        to[i] = static_cast<char>(masked[i] ^ 0x55);
    }
}

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUOR_TEST_SANITIZED
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUOR_TEST_SANITIZED
#endif
#if defined(QUOR_TEST_SANITIZED)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

class HttpWipe : public HttpTest {
protected:
    void SetUp() override {
        if (kSanitized) {
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
