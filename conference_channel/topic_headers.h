// topic_headers.h - the state behind the header lists of SUBSCRIBE frames.
#ifndef CONFERENCE_CHANNEL_TOPIC_HEADERS_H
#define CONFERENCE_CHANNEL_TOPIC_HEADERS_H

namespace QuorAiEngine {

// Set until the login client was initialised for the channel. The HTTP services have a flag of their own,
// because they register another callback. Touched by whichever one thread subscribes.
extern bool g_kelLoginNotInit;

}  // namespace QuorAiEngine

#endif
