// The capability report: tells the server what this terminal can do, and stores the terminal's own uri.
#include <cjson/cJSON.h>

#include "common/scope.h"
#include "conference_channel/frame_body.h"
#include "conference_channel/header_list.h"
#include "conference_channel/kel_json.h"
#include "conference_channel/kel_log.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/bounded.h"
#include "quor_platform/websocket.h"

namespace QuorAiEngine {

namespace {

constexpr char kReportDestination[] = "/terminal/parameter";
constexpr int kReportHeaderCount = 4;

}  // namespace

const FrameBodyTexts kAbilityReportBodyTexts = {
    "<KelSetAbilityReportBody> failed: input is nullptr",
    "<KelSetAbilityReportBody> failed bodyLen = 0!",
    "<KelSetAbilityReportBody> failed frameBody is nullptr!",
    "<KelSetAbilityReportBody> strncpy frameBody failed!",
    "<KelSetAbilityReportBody> success.",
};

unsigned int AiKelBasic::KelSetAbilityReportHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                                   StringList& values) {
    if (subInfo == nullptr) {
        KEL_LOG_ERROR("<KelSetAbilityReportHeader>: input is nullptr!");
        return 1;
    }
    HeaderList headers(names, values);
    if (!headers.Format("destination", kReportDestination)) {
        KEL_LOG_ERROR("<KelSetAbilityReportHeader>: sprintf_s destination val failed!");
        return 1;
    }
    if (!headers.Format("token", subInfo->token)) {
        KEL_LOG_ERROR("<KelSetAbilityReportHeader>: sprintf_s token val failed!");
        return 1;
    }
    if (!headers.Copy("conferenceId", subInfo->confId)) {
        KEL_LOG_ERROR("<KelSetAbilityReportHeader>: strcpy conf id val failed!");
        return 1;
    }
    if (!headers.Copy("uri", subInfo->uri)) {
        KEL_LOG_ERROR("<KelSetAbilityReportHeader>: strcpy uri failed!");
        return 1;
    }
    return 0;
}

unsigned int AiKelBasic::KelSetAbilityReportBody(char** frameBody, unsigned int* bodyLen,
                                                 bool supportOverlayPause) {
    const JsonPtr root(cJSON_CreateObject());
    cJSON* support = cJSON_CreateNumber(supportOverlayPause ? 1 : 0);
    if (cJSON_AddItemToObject(root.get(), "supportOverlayPause", support) == 0) {
        cJSON_Delete(support);
    }
    return PrintFrameBody(root.get(), kAbilityReportBodyTexts, frameBody, bodyLen);
}

// No entry and no success record. The own uri is stored first and stays changed whatever fails later. Several
// texts are borrowed from the subscriptions, one has a colon inside its tag: log readers know them so.
int AiKelBasic::KelStompAiAbilityReport(const TagQuorAiSubscribeInfo* subInfo) {
    if (subInfo == nullptr) {
        KEL_LOG_ERROR("<KelStompAiAbilityReport>: subInfo is nullptr!");
        return 1;
    }
    if (strcpy_s(m_kelBasicInfo.deviceId, sizeof(m_kelBasicInfo.deviceId), subInfo->uri) != 0) {
        KEL_LOG_ERROR("<KelStompSubscribeAiCaption>: strncpy_s uuid failed!");
        return 1;
    }
    TagQuorOmNmsWebsocketHeader stHeader[kReportHeaderCount];
    TagQuorOmNmsWebsocketStompFrame stmFrame;
    if (memset_s(stHeader, sizeof(stHeader), 0, sizeof(stHeader)) != 0 ||
        memset_s(&stmFrame, sizeof(stmFrame), 0, sizeof(stmFrame)) != 0) {
        KEL_LOG_ERROR("<KelStompAiAbilityReport>: memset_s stmFrame failed!");
        return 1;
    }
    StringList names;
    StringList values;
    if (KelSetAbilityReportHeader(subInfo, names, values) != 0) {
        KEL_LOG_ERROR("<:KelStompAiAbilityReport>: KelSetAiSubCaptionHeader failed!");
        return 1;
    }
    if (KelSetHeader(stHeader, kReportHeaderCount, names, values) != 0) {
        KEL_LOG_ERROR("<KelStompAiAbilityReport>: KelSetHeader failed!");
        return 1;
    }
    if (!KelFillAbilityReport(subInfo->subId, stHeader, stmFrame)) {
        return 1;
    }
    return KelSendAbilityReport(stmFrame);
}

// Registers the reply's handler between building the body and filling the frame.
bool AiKelBasic::KelFillAbilityReport(TagQuorAiSubId subId, TagQuorOmNmsWebsocketHeader* stHeader,
                                      TagQuorOmNmsWebsocketStompFrame& stmFrame) {
    HeapText frameBody(kKelLogModule.name, __LINE__);
    unsigned int bodyLen = 0;
    if (KelSetAbilityReportBody(frameBody.Out(), &bodyLen, true) != 0) {
        KEL_LOG_ERROR("<KelStompAiAbilityReport>: KelSetAbilityReportBody failed!");
        return false;
    }
    KelAddSubNode(stHeader[0].headerVal, subId, &AiKelBasic::KelReportAbilityParseTextMessage);
    if (memcpy_s(stmFrame.headers, sizeof(stmFrame.headers), stHeader,
                 kReportHeaderCount * sizeof(*stHeader)) != 0) {
        KEL_LOG_ERROR("<KelStompSubscribeCheckin> failed: memcpy_s headers failed ");
        return false;
    }
    if (memcpy_s(stmFrame.body, sizeof(stmFrame.body), frameBody.Get(), bodyLen) != 0) {
        KEL_LOG_ERROR("<KelStompSubscribeCheckin> failed: memcpy_s body failed ");
        return false;
    }
    return true;
}

int AiKelBasic::KelSendAbilityReport(TagQuorOmNmsWebsocketStompFrame& stmFrame) {
    stmFrame.frameKind = QUOR_OM_NMS_WEBSOCKET_FRAME_SEND;
    stmFrame.headerNum = kReportHeaderCount;
    stmFrame.linkId = m_linkId;
    if (QuorOmNmsWebsocketSendData(&stmFrame) != 0) {
        KEL_LOG_ERROR("<KelStompAiAbilityReport>: QuorOmNmsWebsocketSendData error");
        return 1;
    }
    return 0;
}

// The verdict is only logged; observers are not told. The entry record is at error level, deliberately, so
// that it shows in logs that keep errors only. "get final failed" is the text for a missing "result".
int AiKelBasic::KelReportAbilityParseTextMessage(const char* body, unsigned int bodyLen) {
    KEL_LOG_ERROR("AiKelBasic::KelReportAbilityParseTextMessage in");
    if (body == nullptr || bodyLen == 0) {
        KEL_LOG_ERROR("<KelReportAbilityParseTextMessage>: input is error");
        return 1;
    }
    JsonPtr root(cJSON_Parse(body));
    if (root == nullptr) {
        KEL_LOG_ERROR("<KelReportAbilityParseTextMessage>: prase root faild");
        return 1;
    }
    unsigned int result = 0;
    if (KelJsonGetNum(root.get(), "result", &result) != 0) {
        KEL_LOG_ERROR("<KelReportAbilityParseTextMessage>: get final failed");
    }
    root.reset();
    KEL_LOG_INFO("<KelReportAbilityParseTextMessage>:result = %d", static_cast<int>(result));
    return 0;
}

}  // namespace QuorAiEngine
