#include "platform_linux/websocket/frame_record.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace quor_platform::internal {
namespace {

constexpr unsigned int kMaxPort = 65535;

// The text of a fixed array; false when it has no terminator.
template <std::size_t capacity>
bool ReadText(const char (&field)[capacity], std::string_view* text) {
    const std::size_t length = strnlen(field, capacity);
    *text = std::string_view(field, length);
    return length < capacity;
}

bool Fail(std::string* error, std::string text) {
    *error = std::move(text);
    return false;
}

// For the parts of the upgrade request: visible ASCII, so that no field can open a line of its own.
bool IsVisibleAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

bool ReadHeaders(const TagQuorOmNmsWebsocketStompFrame& record, OutboundFrame* frame, std::string* error) {
    for (unsigned int i = 0; i < record.headerNum; ++i) {
        std::string_view name;
        std::string_view value;
        if (!ReadText(record.headers[i].headerName, &name) ||
            !ReadText(record.headers[i].headerVal, &value)) {
            return Fail(error, "header " + std::to_string(i) + " is not terminated");
        }
        if (name.empty()) {
            return Fail(error, "header " + std::to_string(i) + " has no name");
        }
        if (!IsUtf8(name) || !IsUtf8(value)) {
            return Fail(error, "header " + std::to_string(i) + " is not UTF-8");
        }
        frame->headers.push_back({std::string(name), std::string(value)});
    }
    return true;
}

bool ReadSeparator(const TagQuorOmNmsWebsocketInfo& record, LinkTarget* target, std::string* error) {
    std::string_view separator;
    if (!ReadText(record.separator, &separator) || (separator != "\n" && separator != "\r\n")) {
        return Fail(error, "the separator is not a line end");
    }
    target->lineEnd = separator;
    return true;
}

bool ReadHost(const TagQuorOmNmsWebsocketInfo& record, LinkTarget* target, std::string* error) {
    std::string_view host;
    if (!ReadText(record.serverAddr, &host) || host.empty() || !IsVisibleAscii(host)) {
        return Fail(error, "the server address is empty, not terminated or not a host name");
    }
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    if (host.find_first_of("/@?#[]") != std::string_view::npos) {
        return Fail(error, "the server address is not a host name or address");
    }
    target->host = host;
    return true;
}

bool ReadCredentials(const TagQuorOmNmsWebsocketInfo& record, LinkTarget* target, std::string* error) {
    std::string_view code;
    if (!ReadText(record.wsCode, &code) || code.empty() || !IsVisibleAscii(code)) {
        return Fail(error, "the credentials are empty, not terminated or not base64");
    }
    constexpr std::string_view kScheme = "Basic ";
    target->authorization.reserve(kScheme.size() + code.size());  // one block, so that one wipe clears it
    target->authorization.append(kScheme).append(code);
    return true;
}

}  // namespace

const std::string& OutboundFrame::Find(const char* name) const {
    static const std::string none;
    const auto found = std::find_if(headers.begin(), headers.end(),
                                    [name](const auto& header) { return header.name == name; });
    return found == headers.end() ? none : found->value;
}

bool OutboundFrame::Has(const char* name) const {
    return std::any_of(headers.begin(), headers.end(),
                       [name](const auto& header) { return header.name == name; });
}

bool ReadFrameRecord(const TagQuorOmNmsWebsocketStompFrame* record, OutboundFrame* frame,
                     std::string* error) {
    if (record == nullptr) {
        return Fail(error, "the frame record is null");
    }
    switch (record->frameKind) {
        case QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE:
            frame->kind = FrameKind::kSubscribe;
            break;
        case QUOR_OM_NMS_WEBSOCKET_FRAME_UNSUBSCRIBE:
            frame->kind = FrameKind::kUnsubscribe;
            break;
        case QUOR_OM_NMS_WEBSOCKET_FRAME_SEND:
            frame->kind = FrameKind::kSend;
            break;
        default:
            return Fail(error, "unknown frame kind " + std::to_string(record->frameKind));
    }
    if (record->headerNum > QUOR_OM_NMS_WEBSOCKET_HEADER_MAX) {
        return Fail(error, std::to_string(record->headerNum) + " headers are more than a record holds");
    }
    if (!ReadHeaders(*record, frame, error)) {
        return false;
    }
    if (frame->kind == FrameKind::kSubscribe && frame->Find("destination").empty()) {
        return Fail(error, "a SUBSCRIBE needs a destination");
    }
    if (frame->kind == FrameKind::kSend) {
        frame->body.assign(record->body, strnlen(record->body, sizeof record->body));
        if (!IsUtf8(frame->body)) {
            return Fail(error, "the body is not UTF-8");
        }
    }
    return true;
}

bool ReadStartRecord(const TagQuorOmNmsWebsocketInfo* record, LinkTarget* target, std::string* error) {
    if (record == nullptr) {
        return Fail(error, "the start-up record is null");
    }
    if (record->port == 0 || record->port > kMaxPort) {
        return Fail(error, "port " + std::to_string(record->port) + " is out of range");
    }
    target->port = static_cast<std::uint16_t>(record->port);
    target->managerLink = record->isManagerLink == 1;
    std::string_view path;
    if (!ReadText(record->url, &path) || path.empty() || path.front() != '/' || !IsVisibleAscii(path)) {
        return Fail(error, "the path of the upgrade request does not start with '/' or is not terminated");
    }
    target->path = path;
    return ReadSeparator(*record, target, error) && ReadHost(*record, target, error) &&
           (target->managerLink || ReadCredentials(*record, target, error));
}

void WipeCredentials(LinkTarget& target) {
    std::string& secret = target.authorization;
    secret.resize(secret.capacity());
    OPENSSL_cleanse(secret.data(), secret.size());
    secret.clear();
}

}  // namespace quor_platform::internal
