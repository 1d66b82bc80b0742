// Check-in messages: who has signed in to the conference. "prase" and "faild" are spelled so in the log.
#include <cjson/cJSON.h>

#include "common/json_member.h"
#include "common/scope.h"
#include "conference_channel/kel_json.h"
#include "conference_channel/kel_log.h"
#include "conference_channel/topic_result.h"
#include "quor_ai/ai_kel_basic.h"

namespace QuorAiEngine {

// All five members are required. The first one missing is traced, not logged, so that a server that leaves
// members out does not fill the log.
unsigned int AiKelBasic::ParseCheckinContent(cJSON* item, TagQuorAiGetSigninContent& entry) {
    if (item == nullptr) {
        KEL_LOG_ERROR("Null ptr.");
        return 1;
    }
    if (KelJsonGetStr(item, "name", entry.name, sizeof(entry.name)) != 0) {
        QUOR_TRACE(kTraceMissingField, "<ParseCheckinContent>: get name failed");
        return kMissingFieldUnsigned;
    }
    if (KelJsonGetStr(item, "account", entry.account, sizeof(entry.account)) != 0) {
        QUOR_TRACE(kTraceMissingField, "<ParseCheckinContent>: get account failed");
        return kMissingFieldUnsigned;
    }
    if (KelJsonGetStr(item, "checkInTime", entry.checkInTime, sizeof(entry.checkInTime)) != 0) {
        QUOR_TRACE(kTraceMissingField, "<ParseCheckinContent>: get checkInTime failed");
        return kMissingFieldUnsigned;
    }
    if (KelJsonGetStr(item, "type", entry.type, sizeof(entry.type)) != 0) {
        QUOR_TRACE(kTraceMissingField, "<ParseCheckinContent>: get type failed");
        return kMissingFieldUnsigned;
    }
    if (KelJsonGetStr(item, "participantName", entry.participantName, sizeof(entry.participantName)) != 0) {
        QUOR_TRACE(kTraceMissingField, "<ParseCheckinContent>: get participantName failed");
        return kMissingFieldUnsigned;
    }
    return 0;
}

int AiKelBasic::KelParseCheckinTextMessage(const char* body, unsigned int bodyLen) {
    if (body == nullptr || bodyLen == 0) {
        KEL_LOG_ERROR("<KelParseCheckinTextMessage>: input is error");
        return 1;
    }
    JsonPtr root(cJSON_Parse(body));
    if (root == nullptr) {
        KEL_LOG_ERROR("<KelParseCheckinTextMessage>: prase root faild");
        return 1;
    }
    const cJSON* checkInfoList = FindMember(root.get(), "checkInfoList");
    if (cJSON_IsArray(checkInfoList) == 0) {
        KEL_LOG_ERROR("<KelParseCheckinTextMessage>: parse checkinlist faild");
        return 1;
    }
    const auto listSize = static_cast<unsigned int>(cJSON_GetArraySize(checkInfoList));
    if (listSize == 0 || listSize > kQuorAiCheckinMax) {
        KEL_LOG_ERROR("<KelParseCheckinTextMessage>: listSize(%u) is invalid", listSize);
        return 1;
    }
    TagQuorAiCheckinList list = {};
    list.num = listSize;
    int index = 0;
    for (cJSON* item = checkInfoList->child; item != nullptr; item = item->next) {
        if (ParseCheckinContent(item, list.content[index]) != 0) {
            KEL_LOG_ERROR("<KelParseCheckinTextMessage>: parse checkin[%d] failed", index);
            return 1;
        }
        ++index;
    }
    root.reset();
    Notify(AI_SUB_ID_CHECKIN, reinterpret_cast<unsigned char*>(&list), sizeof(list));
    return 0;
}

}  // namespace QuorAiEngine
