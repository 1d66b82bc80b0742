// topic.h - one subscribable topic: what is alike in all of them is done by one routine, what differs stands
// here.
#ifndef CONFERENCE_CHANNEL_TOPIC_H
#define CONFERENCE_CHANNEL_TOPIC_H

#include "quor_ai/ai_kel_basic.h"

namespace QuorAiEngine {

// Log texts, whole, as they stand in the log; several topics borrow a text of another one, which log readers
// know.
struct TopicTexts {
    const char* entered;  // null: no entry record
    const char* nullInput;
    const char* zeroHeaderFailed;
    const char* zeroFrameFailed;
    const char* buildFailed;
    const char* setHeaderFailed;
    const char* success;
    void (*subscribeFailed)(unsigned int code);
};

struct AiKelBasic::TopicDescriptor {
    const TopicTexts& texts;
    unsigned int headerCount;
    // Check-in hands out its records without zeroing them first.
    bool zeroRecords;
    // Each stores a field of the channel state, logs its own failure and returns false then. Null: nothing to
    // store.
    bool (*storeBeforeBuild)(const TagQuorAiSubscribeInfo& subInfo);
    bool (*storeAfterBuild)(const TagQuorAiSubscribeInfo& subInfo);
    unsigned int (*build)(AiKelBasic& channel, const TagQuorAiSubscribeInfo& subInfo, StringList& names,
                          StringList& values);
    BodyHandler handler;
};

}  // namespace QuorAiEngine

#endif
