#include "conference_channel/kel_json.h"

#include "common/json_member.h"
#include "conference_channel/kel_log.h"
#include "quor_platform/bounded.h"

namespace QuorAiEngine {

unsigned int KelJsonGetStr(cJSON* object, const char* key, char* out, unsigned int capacity) {
    if (out == nullptr) {
        KEL_LOG_ERROR("<KelJsonGetStr>: input param error");
        return 1;
    }
    const cJSON* item = FindMember(object, key);
    if (cJSON_IsString(item) == 0) {
        return 1;
    }
    if (item->valuestring == nullptr || item->valuestring[0] == '\0') {
        QUOR_TRACE_FORMAT(kTraceMissingField, "<KelJsonGetStr>: key %s value is error", key);
        return 1;
    }
    // The record names strcpy_s although the copy cuts; terminals' log filters know this text.
    if (strncpy_s(out, capacity, item->valuestring, capacity - 1U) != 0) {
        KEL_LOG_ERROR("<KelJsonGetStr>: strcpy_s key %s value failed", key);
        return 1;
    }
    return 0;
}

unsigned int KelJsonGetBool(cJSON* object, const char* key, unsigned char* out) {
    const cJSON* item = FindMember(object, key);
    if (cJSON_IsBool(item) == 0) {
        KEL_LOG_ERROR("<KelJsonGetBool>: key %s jsonObj is error", key);
        return 1;
    }
    *out = cJSON_IsTrue(item) != 0 ? 1 : 0;
    return 0;
}

unsigned int KelJsonGetNum(cJSON* object, const char* key, unsigned int* out) {
    if (out == nullptr) {
        KEL_LOG_ERROR("<KelJsonGetNum>: input param error");
        return 1;
    }
    const cJSON* item = FindMember(object, key);
    if (cJSON_IsNumber(item) == 0) {
        KEL_LOG_ERROR("<KelJsonGetNum>: key %s jsonObj is error", key);
        return 1;
    }
    *out = static_cast<unsigned int>(item->valueint);
    return 0;
}

unsigned int KelJsonGetDouble(cJSON* object, const char* key, double* out) {
    const cJSON* item = FindMember(object, key);
    if (item == nullptr) {
        KEL_LOG_ERROR("<KelJsonGetDouble>: key not found in JSON object");
        return 1;
    }
    if (cJSON_IsNumber(item) == 0) {
        KEL_LOG_ERROR("<KelJsonGetDouble>: key %s jsonObj is error", key);
        return 1;
    }
    *out = item->valuedouble;
    return 0;
}

}  // namespace QuorAiEngine
