// json_getters.h - typed, bounded reads of one member of a parsed JSON object.
//
// The tree stays the caller's. Keys are looked up case-insensitively and the first match counts. Every
// failure returns 0xFFFFFFFF and writes one error record; outputs are left as they were, except that a string
// output may hold what the bounded copy left (an empty text) and that JsonGetArray says what it does to
// array. Callable from any thread on trees that no other thread changes.
#ifndef COMMON_JSON_GETTERS_H
#define COMMON_JSON_GETTERS_H

#include <cjson/cJSON.h>

namespace QuorAiEngine {

inline constexpr unsigned int kJsonGetFailed = 0xFFFFFFFFU;

// A non-empty string that fits capacity bytes with its terminator, copied whole.
unsigned int JsonGetStr(cJSON* object, const char* key, char* out, unsigned int capacity);

// An array with at least one element: the node (owned by the tree) and the count. array must be null on
// entry; it is set to whatever the member is, also when the call then fails.
unsigned int JsonGetArray(cJSON* object, const char* key, cJSON*& array, unsigned int& size);

// true or false, as 1 or 0; the numbers 1 and 0 are no booleans.
unsigned int JsonGetBool(cJSON* object, const char* key, int* out);

// A number as integer, fractions cut, limited to the range of int.
unsigned int JsonGetNum(cJSON* object, const char* key, int* out);

}  // namespace QuorAiEngine

#endif
