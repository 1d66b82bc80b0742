// topic_result.h - the result of a message handler that misses a required member.
#ifndef CONFERENCE_CHANNEL_TOPIC_RESULT_H
#define CONFERENCE_CHANNEL_TOPIC_RESULT_H

namespace QuorAiEngine {

// The same bits for handlers, which return int, and for their helpers, which return unsigned int.
inline constexpr int kMissingField = -1;
inline constexpr unsigned int kMissingFieldUnsigned = 0xFFFFFFFFU;

}  // namespace QuorAiEngine

#endif
