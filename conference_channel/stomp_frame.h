// stomp_frame.h - what the channel reads out of one received STOMP frame (STOMP 1.2, "STOMP Frames").
#ifndef CONFERENCE_CHANNEL_STOMP_FRAME_H
#define CONFERENCE_CHANNEL_STOMP_FRAME_H

#include <cstddef>

// Zeroed by the caller before parsing: the parser writes no terminators, the zeros are the terminators.
struct tagRestStompMessage {
    char destination[256];   // at most 255 bytes are stored; empty when the value was longer
    char contentType[256];   // the same
    char contentLength[32];  // as text, never converted; at most 31 bytes
    const char* body;        // inside the caller's frame text
    unsigned int bodyLen;    // string length of the body
};

static_assert(sizeof(tagRestStompMessage) == 560 && offsetof(tagRestStompMessage, contentType) == 256 &&
                  offsetof(tagRestStompMessage, contentLength) == 512 &&
                  offsetof(tagRestStompMessage, body) == 544 && offsetof(tagRestStompMessage, bodyLen) == 552,
              "layout of the parsed frame");

namespace QuorAiEngine {

using ::tagRestStompMessage;

}  // namespace QuorAiEngine

#endif
