// message_text.h - the text in which a MESSAGE frame is handed to the event sink.
//
// Its reader finds headers by a plain text search for "destination:", "content-type:" and "content-length:"
// over the whole text, first match wins. Therefore these three come first, in this order, and no value can
// open a line of its own: line ends that an escape brought in become blanks. content-length is the true
// number of body bytes. The body is handed up as it came; a body with a NUL inside (possible under
// content-length) ends there for a reader of NUL-terminated text.
//
// Pure function, callable from any thread.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_MESSAGE_TEXT_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_MESSAGE_TEXT_H

#include <string>

#include "platform_linux/websocket/stomp_decoder.h"

namespace quor_platform::internal {

// addContentType: a frame whose content-type is missing or empty gets "content-type:application/json".
std::string BuildMessageText(const StompFrameView& frame, bool addContentType);

}  // namespace quor_platform::internal

#endif
