// stomp_frame.h - STOMP 1.1/1.2 frames on the way out, and the text rules that both directions share: header
// escapes, heart-beat values, UTF-8. Pure functions: no state, no network, callable from any thread.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_STOMP_FRAME_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_STOMP_FRAME_H

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quor_platform::internal {

struct StompHeader {
    std::string name;
    std::string value;
};

// Whether ':', '\', CR and LF of headers are escaped: in all frames but CONNECT and CONNECTED (STOMP 1.2,
// "Value Encoding").
enum class HeaderEscapes { kApply, kNone };

// The frame as bytes, its NUL included. lineEnd ends the command and each header line. With kNone the caller
// answers for names and values that hold no line end and names that hold no colon.
std::string EncodeStompFrame(std::string_view command, const std::vector<StompHeader>& headers,
                             std::string_view body, std::string_view lineEnd,
                             HeaderEscapes escapes = HeaderEscapes::kApply);

// Undoes \c, \\, \n and \r. STOMP calls any other escape fatal; here it stays as it is, because servers that
// do not escape at all exist and a link is worth more than a backslash.
std::string UnescapeStompHeader(std::string_view text);

// Both values of a heart-beat header, "<what the sender can send>,<what it wants>", in milliseconds.
struct HeartBeat {
    std::chrono::milliseconds sends{0};
    std::chrono::milliseconds wants{0};
};

// Nothing for a text that is not two decimal numbers. Values beyond a day count as a day.
std::optional<HeartBeat> ParseHeartBeat(std::string_view text);

// Whether text is well-formed UTF-8 (RFC 3629), as every WebSocket text message must be.
bool IsUtf8(std::string_view text);

}  // namespace quor_platform::internal

#endif
