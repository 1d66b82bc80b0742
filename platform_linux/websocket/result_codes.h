// result_codes.h - the error codes of the WebSocket/STOMP client's C functions. 0 is success; the reason in
// words is in LastFailure and LinkFailure (host.h). The values are printed in the library's log, so they stay
// as they are; new ones are added at the end.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_RESULT_CODES_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_RESULT_CODES_H

#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

enum class LinkResult : unsigned int {
    kSuccess = 0,
    kBadRecord = 1,     // null, unterminated or unusable start-up or frame record
    kBadSettings = 2,   // TLS or link settings that cannot be used, such as a missing CA file
    kNoSuchLink = 3,    // never started, or destroyed
    kLinkEnded = 4,     // the link ended; it waits for its destruction
    kQueueFull = 5,     // maxSendQueueBytes are waiting already
    kUnreachable = 6,   // name resolution or TCP
    kTlsFailed = 7,     // TLS handshake or verification
    kRefused = 8,       // the server refused the upgrade or the STOMP CONNECT
    kNoResources = 9,   // no thread, no memory
    kShuttingDown = 10  // Shutdown is running
};

constexpr unsigned int ToCode(LinkResult result) {
    return static_cast<unsigned int>(result);
}

// The code of a start-up that failed for this reason.
LinkResult ResultOfStart(const Failure& failure);

}  // namespace quor_platform::internal

#endif
