#include "http_message.h"

#include <algorithm>
#include <cctype>
#include <ctime>

#include "names.h"

namespace quor_simulator {
namespace {

constexpr std::string_view kServerName = "quor-simulator/1.0";

constexpr Named<unsigned int> kReasons[] = {{"Switching Protocols", 101},
                                            {"OK", 200},
                                            {"Created", 201},
                                            {"Accepted", 202},
                                            {"No Content", 204},
                                            {"Moved Permanently", 301},
                                            {"Found", 302},
                                            {"Not Modified", 304},
                                            {"Temporary Redirect", 307},
                                            {"Bad Request", 400},
                                            {"Unauthorized", 401},
                                            {"Forbidden", 403},
                                            {"Not Found", 404},
                                            {"Method Not Allowed", 405},
                                            {"Content Too Large", 413},
                                            {"Unsupported Media Type", 415},
                                            {"Upgrade Required", 426},
                                            {"Request Header Fields Too Large", 431},
                                            {"Internal Server Error", 500},
                                            {"Bad Gateway", 502},
                                            {"Service Unavailable", 503},
                                            {"Gateway Timeout", 504}};

std::string_view Reason(unsigned int status) {
    for (const Named<unsigned int>& known : kReasons) {
        if (known.value == status) {
            return known.name;
        }
    }
    return "Status"; /* any text will do */
}

bool SameName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
    });
}

std::string Date() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[40];
    const std::size_t length = std::strftime(text, sizeof(text), "%a, %d %b %Y %H:%M:%S GMT", &parts);
    return {text, length};
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const int letter = std::tolower(static_cast<unsigned char>(c));
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

/* Cuts text at each separator; one without any is one piece. */
std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const std::size_t end = text.find(separator);
        pieces.push_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return pieces;
        }
        text.remove_prefix(end + 1);
    }
}

}  // namespace

const std::string* HttpRequest::Header(std::string_view name) const {
    for (const auto& header : headers) {
        if (SameName(header.first, name)) {
            return &header.second;
        }
    }
    return nullptr;
}

HttpAnswer PlainAnswer(unsigned int status, std::string text) {
    HttpAnswer answer;
    answer.status = status;
    answer.headers.emplace_back("Content-Type", "text/plain");
    answer.body = std::move(text);
    return answer;
}

EncodedAnswer Encode(HttpAnswer answer, bool keepAlive) {
    const bool bodiless = answer.status < 200 || answer.status == 204 || answer.status == 304;
    EncodedAnswer encoded;
    if (!bodiless) {
        encoded.body = std::move(answer.body);
    }
    std::string& head = encoded.head;
    head.append("HTTP/1.1 ").append(std::to_string(answer.status)).append(" ");
    head.append(Reason(answer.status)).append("\r\nServer: ").append(kServerName);
    head.append("\r\nDate: ").append(Date()).append("\r\n");
    for (const auto& [name, value] : answer.headers) {
        head.append(name).append(": ").append(value).append("\r\n");
    }
    if (!bodiless) {
        head.append("Content-Length: ").append(std::to_string(encoded.body.size())).append("\r\n");
    }
    head.append(keepAlive ? "Connection: keep-alive\r\n\r\n" : "Connection: close\r\n\r\n");
    return encoded;
}

const std::string* HttpTarget::Query(std::string_view name) const {
    for (const auto& parameter : query) {
        if (parameter.first == name) {
            return &parameter.second;
        }
    }
    return nullptr;
}

std::optional<std::string> PercentDecode(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? HexDigit(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? HexDigit(text[i + 2]) : -1;
        if (high < 0 || low < 0 || (high == 0 && low == 0)) {
            return std::nullopt;
        }
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return out;
}

std::optional<HttpTarget> ParseTarget(std::string_view target) {
    const std::size_t scheme = target.find("://");
    if (!target.empty() && target.front() != '/' && scheme != std::string_view::npos) {
        /* The absolute form names the server too, as a request through a proxy does. */
        const std::size_t path = target.find('/', scheme + 3);
        target = path == std::string_view::npos ? std::string_view("/") : target.substr(path);
    }
    if (target.empty() || target.front() != '/') {
        return std::nullopt;
    }
    HttpTarget result;
    const std::size_t question = target.find('?');
    for (const std::string_view segment : Split(target.substr(1, question - 1), '/')) {
        std::optional<std::string> text = PercentDecode(segment);
        if (!text) {
            return std::nullopt;
        }
        result.segments.push_back(std::move(*text));
    }
    if (question == std::string_view::npos) {
        return result;
    }
    for (const std::string_view parameter : Split(target.substr(question + 1), '&')) {
        const std::size_t equals = std::min(parameter.find('='), parameter.size());
        std::optional<std::string> name = PercentDecode(parameter.substr(0, equals));
        std::optional<std::string> value =
            PercentDecode(parameter.substr(std::min(equals + 1, parameter.size())));
        if (!name || !value) {
            return std::nullopt;
        }
        result.query.emplace_back(std::move(*name), std::move(*value));
    }
    return result;
}

}  // namespace quor_simulator
