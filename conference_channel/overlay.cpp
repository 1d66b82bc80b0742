// Caption-overlay messages: pause and resume the overlay of one terminal. "subtile" is spelled so in the log.
#include <cjson/cJSON.h>

#include <cstring>

#include "common/scope.h"
#include "conference_channel/kel_json.h"
#include "conference_channel/kel_log.h"
#include "conference_channel/topic_result.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/bounded.h"

namespace QuorAiEngine {

int AiKelBasic::KelCaptionOverlayParseTextMessage(const char* body, unsigned int bodyLen) {
    // An entry record at error level, deliberately: it must show in logs that keep errors only.
    KEL_LOG_ERROR("KelCaptionOverlayParseTextMessage in");
    if (body == nullptr || bodyLen == 0) {
        KEL_LOG_ERROR("<KelCaptionOverlayParseTextMessage>: input is error");
        return 1;
    }
    JsonPtr root(cJSON_Parse(body));
    if (root == nullptr) {
        KEL_LOG_ERROR("<KelCaptionOverlayParseTextMessage>: prase root faild");
        return 1;
    }
    char uri[sizeof(m_kelBasicInfo.deviceId)] = {};
    if (KelJsonGetStr(root.get(), "uri", uri, sizeof(uri)) != 0) {
        KEL_LOG_ERROR("<KelCaptionOverlayParseTextMessage>: get uri failed");
        return kMissingField;
    }
    // The topic tells of all terminals; the own uri is the one that the capability report stored.
    if (std::strncmp(uri, m_kelBasicInfo.deviceId, sizeof(m_kelBasicInfo.deviceId)) != 0) {
        KEL_LOG_ERROR(
            "<KelCaptionOverlayParseTextMessage>: some site subtile switch changed but not current one");
        return kMissingField;
    }
    unsigned char pause = 0;
    if (KelJsonGetBool(root.get(), "pause", &pause) != 0) {
        KEL_LOG_ERROR("<KelCaptionOverlayParseTextMessage>: get pause failed");
        return kMissingField;
    }
    root.reset();
    TagQuorAiConfCtrlStatusInfo statusInfo;
    if (memset_s(&statusInfo, sizeof(statusInfo), 0, sizeof(statusInfo)) != 0) {
        KEL_LOG_ERROR("<KelCaptionOverlayParseTextMessage>: memset_s statusInfo faild");
        return 1;
    }
    statusInfo.pause = pause;
    Notify(AI_SUB_ID_CAPTION_OVERLAY, reinterpret_cast<unsigned char*>(&statusInfo), sizeof(statusInfo));
    return 0;
}

}  // namespace QuorAiEngine
