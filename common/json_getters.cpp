#include "common/json_getters.h"

#include "common/common_log.h"
#include "common/json_member.h"
#include "quor_platform/bounded.h"

namespace QuorAiEngine {

unsigned int JsonGetStr(cJSON* object, const char* key, char* out, unsigned int capacity) {
    if (key == nullptr || out == nullptr || object == nullptr) {
        COMMON_LOG_ERROR("<JsonGetStr>: input param error");
        return kJsonGetFailed;
    }
    const cJSON* item = FindMember(object, key);
    if (cJSON_IsString(item) == 0) {
        COMMON_LOG_ERROR("<JsonGetStr>: key %s jsonObj is error", key);
        return kJsonGetFailed;
    }
    if (item->valuestring == nullptr || item->valuestring[0] == '\0') {
        COMMON_LOG_ERROR("<JsonGetStr>: key %s value is error", key);
        return kJsonGetFailed;
    }
    if (strcpy_s(out, capacity, item->valuestring) != 0) {
        COMMON_LOG_ERROR("<JsonGetStr>: strcpy_s key %s value failed", key);
        return kJsonGetFailed;
    }
    return 0;
}

unsigned int JsonGetArray(cJSON* object, const char* key, cJSON*& array, unsigned int& size) {
    if (object == nullptr || key == nullptr || array != nullptr) {
        COMMON_LOG_ERROR("<JsonGetArray>: input param error");
        return kJsonGetFailed;
    }
    array = FindMember(object, key);
    if (cJSON_IsArray(array) == 0) {
        COMMON_LOG_ERROR("<JsonGetArray>: key %s is error", key);
        return kJsonGetFailed;
    }
    const int count = cJSON_GetArraySize(array);
    if (count <= 0) {
        COMMON_LOG_ERROR("<JsonGetArray>: key %s array is empty", key);
        return kJsonGetFailed;
    }
    size = static_cast<unsigned int>(count);
    return 0;
}

unsigned int JsonGetBool(cJSON* object, const char* key, int* out) {
    if (key == nullptr || out == nullptr || object == nullptr) {
        COMMON_LOG_ERROR("<JsonGetBool>: input param error");
        return kJsonGetFailed;
    }
    const cJSON* item = FindMember(object, key);
    if (cJSON_IsBool(item) == 0) {
        COMMON_LOG_ERROR("<JsonGetBool>: key %s jsonObj is error", key);
        return kJsonGetFailed;
    }
    *out = cJSON_IsTrue(item) != 0 ? 1 : 0;
    return 0;
}

unsigned int JsonGetNum(cJSON* object, const char* key, int* out) {
    if (key == nullptr || out == nullptr || object == nullptr) {
        COMMON_LOG_ERROR("<JsonGetNum>: input param error");
        return kJsonGetFailed;
    }
    const cJSON* item = FindMember(object, key);
    if (cJSON_IsNumber(item) == 0) {
        COMMON_LOG_ERROR("<JsonGetNum>: key %s jsonObj is error", key);
        return kJsonGetFailed;
    }
    *out = item->valueint;
    return 0;
}

}  // namespace QuorAiEngine
