// Conference control messages: the caption switch and its languages. "dtsLang" and "prase" are spelled so in
// the log.
#include <cjson/cJSON.h>

#include "common/json_member.h"
#include "common/scope.h"
#include "conference_channel/kel_log.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/bounded.h"

namespace QuorAiEngine {

namespace {

constexpr int kEnforceUnknown = -1;

}  // namespace

// Stops at the first language that fails: a missing srcLang leaves dstLang empty too. Languages that are too
// long are refused here, while captions cut them.
unsigned int AiKelBasic::KelConfCtrlJudgeText(cJSON* srcLang, cJSON* dstLang,
                                              TagQuorAiConfCtrlStatusInfo& record) {
    if (cJSON_IsString(srcLang) == 0 || srcLang->valuestring == nullptr) {
        QUOR_TRACE(kTraceFrame, "<KelConfCtrlParseTextMessage>: get srcLang failed");
        return 1;
    }
    if (strcpy_s(record.srcLang, sizeof(record.srcLang), srcLang->valuestring) != 0) {
        KEL_LOG_ERROR("<KelConfCtrlParseTextMessage>: strcpy_s srcLang failed");
        return 1;
    }
    if (cJSON_IsString(dstLang) == 0 || dstLang->valuestring == nullptr) {
        QUOR_TRACE(kTraceFrame, "<KelConfCtrlParseTextMessage>: get dstLang failed");
        return 1;
    }
    if (strcpy_s(record.dstLang, sizeof(record.dstLang), dstLang->valuestring) != 0) {
        KEL_LOG_ERROR("<KelConfCtrlParseTextMessage>: strcpy_s dstLang failed");
        return 1;
    }
    return 0;
}

int AiKelBasic::KelConfCtrlParseTextMessage(const char* body, unsigned int bodyLen) {
    if (body == nullptr || bodyLen == 0) {
        KEL_LOG_ERROR("<KelConfCtrlParseTextMessage>: input is error");
        return 1;
    }
    TagQuorAiConfCtrlStatusInfo statusInfo;
    if (memset_s(&statusInfo, sizeof(statusInfo), 0, sizeof(statusInfo)) != 0) {
        KEL_LOG_ERROR("<KelConfCtrlParseTextMessage>: memset_s statusInfo faild");
        return 1;
    }
    JsonPtr root(cJSON_Parse(body));
    if (root == nullptr) {
        KEL_LOG_ERROR("<KelConfCtrlParseTextMessage>: prase root faild");
        return 1;
    }
    const cJSON* state = FindMember(root.get(), "state");
    const cJSON* subtitleStatus = FindMember(state, "subtitleStatus");
    cJSON* srcLang = FindMember(state, "srcLang");
    cJSON* dstLang = FindMember(state, "dstLang");
    const cJSON* enforce = FindMember(state, "enforce");
    if (cJSON_IsNumber(subtitleStatus) == 0) {
        root.reset();
        KEL_LOG_ERROR("<KelConfCtrlParseTextMessage>: key subtitleStatus jsonObj is error");
        return 1;
    }
    // Only the log depends on a change; the message is always delivered.
    if (subtitleStatus->valueint != m_lastConfCtrlStatus) {
        KEL_LOG_INFO("<KelConfCtrlParseTextMessage>: Kel change caption switch to %d",
                     subtitleStatus->valueint);
    }
    m_lastConfCtrlStatus = subtitleStatus->valueint;
    statusInfo.status = subtitleStatus->valueint;
    if (KelConfCtrlJudgeText(srcLang, dstLang, statusInfo) != 0) {
        QUOR_TRACE(kTraceFrame, "<KelConfCtrlParseTextMessage>: KelConfCtrlJudgeText failed!");
    }
    statusInfo.enforce = cJSON_IsNumber(enforce) != 0 ? enforce->valueint : kEnforceUnknown;
    root.reset();
    KEL_LOG_INFO("<KelConfCtrlParseTextMessage>: srcLang=%s, dtsLang=%s, enforce=%d", statusInfo.srcLang,
                 statusInfo.dstLang, statusInfo.enforce);
    Notify(AI_SUB_ID_CONF_CTRL, reinterpret_cast<unsigned char*>(&statusInfo), sizeof(statusInfo));
    return 0;
}

}  // namespace QuorAiEngine
