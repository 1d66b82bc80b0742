// frame_body.h - the JSON body of an outbound frame.
#ifndef CONFERENCE_CHANNEL_FRAME_BODY_H
#define CONFERENCE_CHANNEL_FRAME_BODY_H

#include <cjson/cJSON.h>

namespace QuorAiEngine {

// Log texts of one body builder.
struct FrameBodyTexts {
    const char* nullOutput;
    const char* emptyBody;
    const char* noMemory;
    const char* copyFailed;
    const char* success;
};

// The texts of the capability report, which the large-model requests of the manager link share.
extern const FrameBodyTexts kAbilityReportBodyTexts;

// Prints root (formatted, with tabs and line feeds) into a new block of the accounted heap of length + 1
// bytes. The caller keeps root and frees the block. Returns 1, with frameBody null and bodyLen 0, when there
// is nothing to print or no memory.
unsigned int PrintFrameBody(const cJSON* root, const FrameBodyTexts& texts, char** frameBody,
                            unsigned int* bodyLen);

}  // namespace QuorAiEngine

#endif
