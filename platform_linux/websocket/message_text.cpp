#include "platform_linux/websocket/message_text.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string_view>

#include "platform_linux/websocket/stomp_frame.h"

namespace quor_platform::internal {
namespace {

constexpr std::string_view kDestination = "destination";
constexpr std::string_view kContentType = "content-type";
constexpr std::string_view kContentLength = "content-length";

// A name or value on one line. Texts without anything to undo or replace, nearly all, are copied whole.
void AppendPlain(std::string& out, std::string_view text) {
    if (text.find_first_of("\\\r") == std::string_view::npos) {
        out.append(text);
        return;
    }
    std::string plain = UnescapeStompHeader(text);
    std::replace_if(
        plain.begin(), plain.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    out.append(plain);
}

void AppendHeader(std::string& out, std::string_view name, std::string_view value) {
    AppendPlain(out, name);
    out += ':';
    AppendPlain(out, value);
    out += '\n';
}

const StompFrameView::Header* Find(const StompFrameView& frame, std::string_view name) {
    const auto found = std::find_if(frame.headers.begin(), frame.headers.end(),
                                    [name](const auto& header) { return header.name == name; });
    return found == frame.headers.end() ? nullptr : &*found;
}

}  // namespace

std::string BuildMessageText(const StompFrameView& frame, bool addContentType) {
    constexpr std::size_t kAddedBytes = 96;  // command, content-type and content-length that may be added
    std::size_t size = frame.body.size() + kAddedBytes;
    for (const auto& header : frame.headers) {
        size += header.name.size() + header.value.size() + 2;
    }
    std::string text;
    text.reserve(size);
    text.append(frame.command).append(1, '\n');
    if (const auto* destination = Find(frame, kDestination); destination != nullptr) {
        AppendHeader(text, kDestination, destination->value);
    }
    const auto* const contentType = Find(frame, kContentType);
    if (contentType != nullptr && !contentType->value.empty()) {
        AppendHeader(text, kContentType, contentType->value);
    } else if (addContentType) {
        AppendHeader(text, kContentType, "application/json");
    }
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, frame.body.size());
    AppendHeader(text, kContentLength, std::string_view(digits, static_cast<std::size_t>(end.ptr - digits)));
    for (const auto& header : frame.headers) {
        if (header.name != kDestination && header.name != kContentType && header.name != kContentLength) {
            AppendHeader(text, header.name, header.value);
        }
    }
    text.append(1, '\n').append(frame.body);
    return text;
}

}  // namespace quor_platform::internal
