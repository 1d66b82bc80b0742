#include "platform_linux/websocket/stomp_frame.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace quor_platform::internal {
namespace {

void AppendEscaped(std::string& out, std::string_view text) {
    for (const char c : text) {
        switch (c) {
            case '\\':
                out += "\\\\";
                break;
            case ':':
                out += "\\c";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            default:
                out += c;
        }
    }
}

std::string_view TrimBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::optional<std::chrono::milliseconds> ParseMilliseconds(std::string_view text) {
    constexpr unsigned long long kDay = 86'400'000;
    text = TrimBlanks(text);
    const char* const end = text.data() + text.size();
    unsigned long long value = 0;
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (rest != end || error == std::errc::invalid_argument) {
        return std::nullopt;
    }
    value = error == std::errc::result_out_of_range ? kDay : std::min(value, kDay);
    return std::chrono::milliseconds(value);
}

// Length of the sequence that starts with lead and the range of its second byte; 0: no sequence starts so.
struct Utf8Lead {
    unsigned int length;
    unsigned char secondMin;
    unsigned char secondMax;
};

Utf8Lead ClassifyLead(unsigned char lead) {
    if (lead < 0x80) {
        return {1, 0, 0};
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return {2, 0x80, 0xBF};
    }
    if (lead >= 0xE0 && lead <= 0xEF) {  // no overlong forms, no surrogates
        return {3, static_cast<unsigned char>(lead == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(lead == 0xED ? 0x9F : 0xBF)};
    }
    if (lead >= 0xF0 && lead <= 0xF4) {  // no overlong forms, nothing beyond U+10FFFF
        return {4, static_cast<unsigned char>(lead == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(lead == 0xF4 ? 0x8F : 0xBF)};
    }
    return {0, 0, 0};
}

}  // namespace

std::string EncodeStompFrame(std::string_view command, const std::vector<StompHeader>& headers,
                             std::string_view body, std::string_view lineEnd, HeaderEscapes escapes) {
    std::string frame;
    std::size_t size = command.size() + body.size() + 2 * lineEnd.size() + 1;
    for (const StompHeader& header : headers) {
        size += header.name.size() + header.value.size() + lineEnd.size() + 1;
    }
    frame.reserve(size + 16);  // a few escapes fit without a second allocation
    frame.append(command).append(lineEnd);
    for (const StompHeader& header : headers) {
        if (escapes == HeaderEscapes::kApply) {
            AppendEscaped(frame, header.name);
            frame += ':';
            AppendEscaped(frame, header.value);
        } else {
            frame.append(header.name).append(1, ':').append(header.value);
        }
        frame.append(lineEnd);
    }
    frame.append(lineEnd).append(body).append(1, '\0');
    return frame;
}

std::string UnescapeStompHeader(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char next = text[i] == '\\' && i + 1 < text.size() ? text[i + 1] : '\0';
        const char plain = next == 'c'    ? ':'
                           : next == '\\' ? '\\'
                           : next == 'n'  ? '\n'
                           : next == 'r'  ? '\r'
                                          : '\0';
        if (plain != '\0') {
            out += plain;
            ++i;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::optional<HeartBeat> ParseHeartBeat(std::string_view text) {
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos) {
        return std::nullopt;
    }
    const auto sends = ParseMilliseconds(text.substr(0, comma));
    const auto wants = ParseMilliseconds(text.substr(comma + 1));
    if (!sends || !wants) {
        return std::nullopt;
    }
    return HeartBeat{*sends, *wants};
}

bool IsUtf8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const Utf8Lead lead = ClassifyLead(static_cast<unsigned char>(text[i]));
        if (lead.length == 0 || text.size() - i < lead.length) {
            return false;
        }
        for (unsigned int k = 1; k < lead.length; ++k) {
            const auto byte = static_cast<unsigned char>(text[i + k]);
            const bool inRange =
                k == 1 ? byte >= lead.secondMin && byte <= lead.secondMax : byte >= 0x80 && byte <= 0xBF;
            if (!inRange) {
                return false;
            }
        }
        i += lead.length;
    }
    return true;
}

}  // namespace quor_platform::internal
