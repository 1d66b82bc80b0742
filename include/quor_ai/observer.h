// observer.h - how results leave the library.
#ifndef QUOR_AI_OBSERVER_H
#define QUOR_AI_OBSERVER_H

#include "quor_ai/export.h"
#include "quor_ai/result.h"

namespace QuorAiEngine {

// Implemented by the application and attached to a service object, which shares its ownership.
//
// Threads: Update runs on the thread that produced the result: the link event thread for ids 0 to 4 and 7 to
// 9, a worker or a transport thread for the others. An observer attached to several services is called
// concurrently. Update must not throw. What it may call of its service the service's header says.
class QUOR_AI_API ICloudSrvObserver {
public:
    // Runs where the last owner lets go: possibly inside the service's Detach.
    virtual ~ICloudSrvObserver() = default;

    // Receives one result. result and what it points at are valid during the call only.
    virtual void Update(const TagAiCloudSrvResult& result) = 0;
};

}  // namespace QuorAiEngine

#endif
