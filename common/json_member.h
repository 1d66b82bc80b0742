// json_member.h - looking up a member of a parsed JSON object.
#ifndef COMMON_JSON_MEMBER_H
#define COMMON_JSON_MEMBER_H

#include <cjson/cJSON.h>

namespace QuorAiEngine {

inline constexpr unsigned int kAsciiCaseBit = 0x20;

inline unsigned int WithoutCase(char c) {
    return static_cast<unsigned char>(c) & ~kAsciiCaseBit;
}

// Whether two texts are the same but for the case of ASCII letters.
inline bool IsSameName(const char* name, const char* key) {
    for (;; ++name, ++key) {
        if (*name != *key) {
            const unsigned int upper = WithoutCase(*name);
            if (upper != WithoutCase(*key) || upper < 'A' || upper > 'Z') {
                return false;
            }
        } else if (*name == '\0') {
            return true;
        }
    }
}

// What cJSON_GetObjectItem returns: the first member whose name is key without regard to the case of ASCII
// letters, null when there is none or an argument is null. Inline and without a call per character, because
// most of what a caption costs beyond its parsing is spent here. Callable from any thread on trees that
// nobody changes.
inline cJSON* FindMember(const cJSON* object, const char* key) {
    if (object == nullptr || key == nullptr) {
        return nullptr;
    }
    const unsigned int first = WithoutCase(*key);  // most names differ here already
    for (cJSON* member = object->child; member != nullptr; member = member->next) {
        const char* name = member->string;
        if (name != nullptr && WithoutCase(*name) == first && IsSameName(name, key)) {
            return member;
        }
    }
    return nullptr;
}

}  // namespace QuorAiEngine

#endif
