// registry.h - who handles the messages of which destination.
#ifndef CONFERENCE_CHANNEL_REGISTRY_H
#define CONFERENCE_CHANNEL_REGISTRY_H

#include <cstddef>
#include <map>
#include <string>

#include "quor_ai/ai_kel_basic.h"

namespace QuorAiEngine {

// One registered destination. Lives on the accounted heap, zero-filled, so it stays plain data.
struct KelSubNode {
    unsigned int subId;     // the service that registered the destination first
    char destination[256];  // exact text as the server sends it; empty in a node whose filling failed
    AiKelBasic::BodyHandler handler;
    KelSubNode* next;  // null at the end
};

static_assert(sizeof(KelSubNode) == 288 && offsetof(KelSubNode, destination) == 4 &&
                  offsetof(KelSubNode, handler) == 264 && offsetof(KelSubNode, next) == 280,
              "layout of a registered destination");

// Seconds at which a message for an unknown destination was last logged, by destination. Touched by the event
// thread, and by the control thread when a link is created or destroyed; not locked, like the destination
// list.
extern std::map<std::string, long long> nodeToTimeMap;

}  // namespace QuorAiEngine

#endif
