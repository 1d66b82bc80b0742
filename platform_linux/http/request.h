// request.h - an HTTPS request as the transport keeps it: checked, and with everything of the caller's that
// has to outlive the call.
#ifndef QUOR_PLATFORM_LINUX_HTTP_REQUEST_H
#define QUOR_PLATFORM_LINUX_HTTP_REQUEST_H

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "platform_linux/http/wiped_memory.h"
#include "quor_platform/http.h"
#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

struct HttpMethod {
    unsigned int code;
    const char* name;
    bool hasBody;
};

// What the two kinds of sends have in common.
struct RequestView {
    unsigned int method = 0;
    const char* url = nullptr;
    std::size_t urlBytes = 0;  // url is read up to here
    const tagHTTP_HEADER* headers = nullptr;
    unsigned int headerCount = 0;
    const char* body = nullptr;
    std::size_t bodyLength = 0;
    const tagHTTP_S_CONFIG_PARAM* config = nullptr;
    bool copyBody = false;  // the caller's body may be gone before the request is over
};

struct UrlFreed {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

// Wiped with its end.
struct HttpRequest {
    const HttpMethod* method = nullptr;
    std::unique_ptr<CURLU, UrlFreed> url;
    std::string host;  // as the URL has it; an IPv6 address in brackets
    std::string port;
    bool isAddress = false;  // host is an IPv4 or IPv6 address
    std::string name;        // whom the certificate has to name: host, or the name its address was given for
    WipedBytes headerTexts;
    std::vector<curl_slist> headers;  // over headerTexts
    WipedBytes bodyCopy;
    const char* body = nullptr;
    std::size_t bodyLength = 0;
    std::string caPath;
    std::string ciphers;     // of TLS 1.2, in OpenSSL's words; empty: OpenSSL's own choice
    bool onlyTls13 = false;  // the caller's list leaves nothing of TLS 1.2
    std::chrono::milliseconds connectTimeout{0};
    std::chrono::milliseconds totalTimeout{0};
    std::size_t maxAnswerBytes = 0;
    std::size_t maxIdleConnections = 0;
};

// Null with *failure set: the request is none, HTTP_ERRORCODE_INVALID. Throws std::bad_alloc.
std::unique_ptr<HttpRequest> MakeRequest(const RequestView& view, const HttpSettings& settings,
                                         Failure* failure);

}  // namespace quor_platform::internal

#endif
