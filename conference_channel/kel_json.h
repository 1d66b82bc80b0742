// kel_json.h - the channel's own reads of JSON members. They differ from common/json_getters.h on purpose:
// texts that are too long are cut instead of refused, and a missing text is no error record, so that a server
// that leaves members out does not fill the log.
//
// All return 0 or 1; on 1 the output is as it was (a text may have been emptied by a failed copy). The tree
// stays the caller's. Callable from any thread.
#ifndef CONFERENCE_CHANNEL_KEL_JSON_H
#define CONFERENCE_CHANNEL_KEL_JSON_H

#include <cjson/cJSON.h>

namespace QuorAiEngine {

// A non-empty string, cut to capacity - 1 bytes (which may split a UTF-8 character). Missing or of another
// type: silent. Empty: a trace only.
unsigned int KelJsonGetStr(cJSON* object, const char* key, char* out, unsigned int capacity);

// true or false, as 1 or 0. Anything else writes an error record.
unsigned int KelJsonGetBool(cJSON* object, const char* key, unsigned char* out);

// A number's integer value; negative ones wrap to unsigned. Anything else writes an error record.
unsigned int KelJsonGetNum(cJSON* object, const char* key, unsigned int* out);

// A number. Anything else writes an error record.
unsigned int KelJsonGetDouble(cJSON* object, const char* key, double* out);

}  // namespace QuorAiEngine

#endif
