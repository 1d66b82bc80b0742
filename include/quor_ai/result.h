// result.h - the record in which every result travels.
#ifndef QUOR_AI_RESULT_H
#define QUOR_AI_RESULT_H

#include <cstddef>

#include "quor_ai/ids.h"

// data points at len bytes that belong to the sender. For an observer they are valid during Update only: what
// it wants to keep it copies. len is the length of the record; observers use it rather than a constant of
// their own.
struct TagAiCloudSrvResult {
    TagQuorAiSubId id;    // which record data is (ids.h)
    unsigned char* data;  // not null
    unsigned int len;     // bytes of data
};

static_assert(sizeof(TagAiCloudSrvResult) == 24, "applications rely on this layout");
static_assert(offsetof(TagAiCloudSrvResult, data) == 8, "applications rely on this layout");
static_assert(offsetof(TagAiCloudSrvResult, len) == 16, "applications rely on this layout");

namespace QuorAiEngine {

using ::TagAiCloudSrvResult;

}  // namespace QuorAiEngine

#endif
