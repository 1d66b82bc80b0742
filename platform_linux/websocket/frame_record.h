// frame_record.h - reads the C records of websocket.h into checked values. Records come from applications: no
// field is read past its capacity, and one that is not terminated or unusable is refused in words.
//
// Pure functions, callable from any thread.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_FRAME_RECORD_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_FRAME_RECORD_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform_linux/websocket/stomp_frame.h"
#include "quor_platform/websocket.h"

namespace quor_platform::internal {

enum class FrameKind { kSubscribe, kUnsubscribe, kSend };

struct OutboundFrame {
    FrameKind kind = FrameKind::kSend;
    std::vector<StompHeader> headers;  // as the application gave them, in its order
    std::string body;                  // SEND only

    // The value of the first header of that name, or an empty text.
    const std::string& Find(const char* name) const;
    bool Has(const char* name) const;
};

// False with *error set: null, unknown kind, too many headers, an unterminated or empty name, text that is
// not UTF-8 or holds a NUL (servers would close the whole link over it). A body that fills its array needs no
// terminator.
bool ReadFrameRecord(const TagQuorOmNmsWebsocketStompFrame* record, OutboundFrame* frame, std::string* error);

// Where a link goes and how it introduces itself.
struct LinkTarget {
    std::string host;  // name or address, an IPv6 address without brackets
    std::uint16_t port = 0;
    std::string path;
    std::string lineEnd;
    std::string authorization;  // value of the Authorization header, a secret; empty for a manager link
    bool managerLink = false;
};

// Clears the bytes of target.authorization, those beyond its length included, and empties it.
void WipeCredentials(LinkTarget& target);

// False with *error set: null, or an unterminated or unusable field. Fields that the link does not need are
// not read, because the application may leave them unwritten.
bool ReadStartRecord(const TagQuorOmNmsWebsocketInfo* record, LinkTarget* target, std::string* error);

}  // namespace quor_platform::internal

#endif
