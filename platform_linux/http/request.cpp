#include "platform_linux/http/request.h"

#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>
#include <utility>

#include "platform_linux/dns/address_names.h"
#include "platform_linux/http/cipher_names.h"

namespace quor_platform::internal {
namespace {

constexpr HttpMethod kMethods[] = {
    {QUOR_HTTP_METHOD_POST, "POST", true},
    {QUOR_HTTP_METHOD_GET, "GET", false},
    {QUOR_HTTP_METHOD_PUT, "PUT", true},
};

constexpr std::string_view kScheme = "https://";
constexpr std::size_t kMaxUrlLength = 8000;  // what RFC 9110 section 4.1 asks servers to take
constexpr unsigned int kMaxHeaders = 64;

// Headers of ours: no waiting for "100 Continue", and no media type that the caller did not name.
constexpr char kNoExpect[] = "Expect:";
constexpr char kNoContentType[] = "Content-Type:";

bool Refuse(Failure* failure, const char* text) {
    *failure = Failure{};
    failure->stage = Stage::kSettings;
    failure->text = text;
    return false;
}

bool IsUrlText(std::string_view url) {
    return std::all_of(url.begin(), url.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte > ' ' && byte != 0x7F;
    });
}

std::string UrlPart(CURLU* url, CURLUPart part, unsigned int flags) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, flags) != CURLUE_OK) {
        return {};
    }
    const std::unique_ptr<char, void (*)(void*)> owned(text, curl_free);
    return text;
}

// For an address that the platform's own DNS service gave, the name.
std::string NameFor(const std::string& host) {
    in_addr address{};
    if (inet_pton(AF_INET, host.c_str(), &address) != 1) {
        return host;
    }
    const std::string name = NameOfAddress(address.s_addr);
    return name.empty() ? host : name;
}

bool IsAddress(const std::string& host) {
    in_addr address{};
    return host.front() == '[' || inet_pton(AF_INET, host.c_str(), &address) == 1;
}

bool TakeUrl(const RequestView& view, HttpRequest& request, Failure* failure) {
    if (view.url == nullptr) {
        return Refuse(failure, "there is no URL");
    }
    const std::size_t length = strnlen(view.url, std::min(view.urlBytes, kMaxUrlLength + 1));
    if (length > kMaxUrlLength) {
        return Refuse(failure, "the URL is too long");
    }
    if (length < kScheme.size() || strncasecmp(view.url, kScheme.data(), kScheme.size()) != 0) {
        return Refuse(failure, "the URL does not begin with \"https://\"");
    }
    if (!IsUrlText({view.url, length})) {
        return Refuse(failure, "the URL has a blank or a control character");
    }
    WipedBytes text(length + 1);
    std::memcpy(text.Data(), view.url, length);
    request.url.reset(curl_url());
    if (request.url == nullptr ||
        curl_url_set(request.url.get(), CURLUPART_URL, text.Data(), CURLU_DISALLOW_USER) != CURLUE_OK) {
        return Refuse(failure, "the URL is malformed");
    }
    request.host = UrlPart(request.url.get(), CURLUPART_HOST, 0);
    request.port = UrlPart(request.url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
    if (request.host.empty() || request.port.empty()) {
        return Refuse(failure, "the URL is malformed");
    }
    request.isAddress = IsAddress(request.host);
    request.name = NameFor(request.host);
    if (request.name != request.host &&
        curl_url_set(request.url.get(), CURLUPART_HOST, request.name.c_str(), 0) != CURLUE_OK) {
        return Refuse(failure, "the server's name is unusable in a URL");
    }
    return true;
}

bool IsTokenCharacter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > ' ' && byte < 0x7F && std::strchr("\"(),/:;<=>?@[\\]{}", c) == nullptr;
}

bool IsValueCharacter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= ' ' && byte != 0x7F) || c == '\t';
}

struct HeaderView {
    std::string_view name;
    std::string_view value;
};

bool ViewHeader(const tagHTTP_HEADER& header, HeaderView* view, Failure* failure) {
    const std::size_t nameLength = strnlen(header.name, sizeof header.name);
    const std::size_t valueLength = strnlen(header.value, sizeof header.value);
    if (nameLength == sizeof header.name || valueLength == sizeof header.value) {
        return Refuse(failure, "a header is not terminated");
    }
    *view = {{header.name, nameLength}, {header.value, valueLength}};
    if (nameLength == 0 || !std::all_of(view->name.begin(), view->name.end(), IsTokenCharacter)) {
        return Refuse(failure, "a header has an unusable name");
    }
    if (!std::all_of(view->value.begin(), view->value.end(), IsValueCharacter)) {
        return Refuse(failure, "a header has a control character in its value");
    }
    return true;
}

bool IsNamed(std::string_view name, const char* expected) {
    return name.size() == std::strlen(expected) && strncasecmp(name.data(), expected, name.size()) == 0;
}

// "name: value"; libcurl wants "name;" for an empty value.
std::size_t WriteHeader(const HeaderView& header, char* text) {
    char* end = std::copy(header.name.begin(), header.name.end(), text);
    if (header.value.empty()) {
        *end++ = ';';
    } else {
        *end++ = ':';
        *end++ = ' ';
        end = std::copy(header.value.begin(), header.value.end(), end);
    }
    *end++ = '\0';
    return static_cast<std::size_t>(end - text);
}

bool TakeHeaders(const RequestView& view, HttpRequest& request, Failure* failure) {
    if (view.headerCount > kMaxHeaders || (view.headerCount > 0 && view.headers == nullptr)) {
        return Refuse(failure, "there are too many headers, or none where some are announced");
    }
    request.headerTexts = WipedBytes(view.headerCount * (sizeof(tagHTTP_HEADER) + 2) + sizeof kNoExpect +
                                     sizeof kNoContentType);
    char* text = request.headerTexts.Data();
    std::vector<char*> lines;
    bool hasContentType = false;
    for (unsigned int i = 0; i < view.headerCount; ++i) {
        HeaderView header;
        if (!ViewHeader(view.headers[i], &header, failure)) {
            return false;
        }
        if (IsNamed(header.name, "Content-Length") || IsNamed(header.name, "Transfer-Encoding")) {
            continue;  // the transport's own, from the body that it sends
        }
        hasContentType = hasContentType || IsNamed(header.name, "Content-Type");
        lines.push_back(text);
        text += WriteHeader(header, text);
    }
    lines.push_back(text);
    text = std::copy(std::begin(kNoExpect), std::end(kNoExpect), text);
    if (!hasContentType) {
        lines.push_back(text);
        std::copy(std::begin(kNoContentType), std::end(kNoContentType), text);
    }
    request.headers.resize(lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        request.headers[i] = {lines[i], i + 1 < lines.size() ? &request.headers[i + 1] : nullptr};
    }
    return true;
}

bool TakeBody(const RequestView& view, HttpRequest& request, Failure* failure) {
    if (!request.method->hasBody) {
        return true;
    }
    if (view.body == nullptr && view.bodyLength > 0) {
        return Refuse(failure, "the body is missing");
    }
    request.body = view.body == nullptr ? "" : view.body;
    request.bodyLength = view.bodyLength;
    if (view.copyBody && view.bodyLength > 0) {
        request.bodyCopy = WipedBytes(view.bodyLength);
        std::memcpy(request.bodyCopy.Data(), view.body, view.bodyLength);
        request.body = request.bodyCopy.Data();
    }
    return true;
}

bool TakeTls(const tagHTTP_S_CONFIG_PARAM& config, HttpRequest& request, Failure* failure) {
    if (config.tlsParam == nullptr) {
        return Refuse(failure, "the TLS settings are missing");
    }
    const char* const path = config.tlsParam->caPath;
    const std::size_t length = strnlen(path, sizeof config.tlsParam->caPath);
    if (length == sizeof config.tlsParam->caPath) {
        return Refuse(failure, "the path of the trusted certificates is not terminated");
    }
    request.caPath.assign(path, length);
    if (config.cipherSuites != nullptr && config.cipherSuites->count > 0) {
        request.ciphers = CipherNames(*config.cipherSuites);
        request.onlyTls13 = request.ciphers.empty();
    }
    return true;
}

std::chrono::milliseconds TimeoutOf(unsigned int seconds, std::chrono::milliseconds otherwise) {
    constexpr unsigned int kMostSeconds = 86400;
    return seconds == 0 ? otherwise : std::chrono::seconds(std::min(seconds, kMostSeconds));
}

}  // namespace

std::unique_ptr<HttpRequest> MakeRequest(const RequestView& view, const HttpSettings& settings,
                                         Failure* failure) {
    auto request = std::make_unique<HttpRequest>();
    for (const HttpMethod& method : kMethods) {
        if (method.code == view.method) {
            request->method = &method;
        }
    }
    if (request->method == nullptr) {
        Refuse(failure, "the method is unknown");
        return nullptr;
    }
    if (!TakeUrl(view, *request, failure) || !TakeHeaders(view, *request, failure) ||
        !TakeBody(view, *request, failure) || !TakeTls(*view.config, *request, failure)) {
        return nullptr;
    }
    request->connectTimeout = TimeoutOf(view.config->firstTimeout, settings.connectTimeout);
    request->totalTimeout = TimeoutOf(view.config->secondTimeout, settings.totalTimeout);
    request->maxAnswerBytes = settings.maxAnswerBytes;
    request->maxIdleConnections = settings.maxIdleConnections;
    return request;
}

}  // namespace quor_platform::internal
