// Large-model requests: what goes out on the two links. Answers are handed up whole by the reception.
#include <cjson/cJSON.h>

#include <map>
#include <string>

#include "common/record_field.h"
#include "common/scope.h"
#include "conference_channel/frame_body.h"
#include "conference_channel/header_list.h"
#include "conference_channel/kel_log.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/bounded.h"
#include "quor_platform/websocket.h"

namespace QuorAiEngine {

namespace {

constexpr char kRequestDestination[] = "/terminal/chat/v1/completions";
constexpr int kRequestHeaderCount = 4;

// Each kind 0 to 8 has its stop request 9 further on.
const std::map<unsigned int, std::string> reqTypeToStr = {
    {0, "FREE_CHAT"},
    {1, "MEETING_CHAT"},
    {2, "MEETING_SUMMARY"},
    {3, "MEETING_MINUTES"},
    {4, "TRANSLATE"},
    {5, "SIMUL_INTERP"},
    {6, "COMPLETIONS_CHAT"},
    {7, "IMAGES_GENERATIONS"},
    {8, "VIDEO_GENERATIONS"},
    {9, "FREE_CHAT_STOP"},
    {10, "MEETING_CHAT_STOP"},
    {11, "MEETING_SUMMARY_STOP"},
    {12, "MEETING_MINUTES_STOP"},
    {13, "TRANSLATE_STOP"},
    {14, "SIMUL_INTERP_STOP"},
    {15, "COMPLETIONS_CHAT_STOP"},
    {16, "IMAGES_GENERATIONS_STOP"},
    {17, "VIDEO_GENERATIONS_STOP"},
    {18, "MODEL_CONFIG"},
};

const std::map<unsigned int, std::string> modelVersionToStr = {
    {0, "DeepSeek-V3"},
    {1, "DeepSeek-R1"},
    {2, "DeepSeek-LLM"},
};

constexpr FrameBodyTexts kRequestBodyTexts = {
    "<KelSetSendLLMDataBody> failed: input is nullptr",
    "<KelSetSendLLMDataBody> failed bodyLen = 0!",
    "<KelSetSendLLMDataBody> failed frameBody is nullptr!",
    "<KelSetSendLLMDataBody> strncpy frameBody failed!",
    "<KelSetSendLLMDataBody> success.",
};

bool AddSequenceNumber(HeaderList& headers, const QuorAiModelParams& params) {
    if (!headers.FormatNumber("seqNum", params.seqNum)) {
        KEL_LOG_ERROR("<KelSetSendLLMRequestHeader>: sprintf_s seqNum failed!");
        return false;
    }
    return true;
}

// A kind that is not in the table is an error, never a default.
bool AddRequestType(HeaderList& headers, const QuorAiModelParams& params) {
    const auto found = reqTypeToStr.find(params.reqType);
    if (found == reqTypeToStr.end()) {
        KEL_LOG_ERROR("reqTypeToStr donot find:[%d]", static_cast<int>(params.reqType));
        return false;
    }
    if (!headers.FormatText("reqType", found->second)) {
        KEL_LOG_ERROR("<KelSetSendLLMRequestHeader>: sprintf_s reqType failed!");
        return false;
    }
    return true;
}

}  // namespace

// What differs between the two links' requests. Both say "KelSetAiCheckinHeader failed!" for their own
// builders, and the manager link's says strcpy_s for a copy of bytes: log readers know the texts so.
struct AiKelBasic::LargeModelRoad {
    const char* zeroFrameFailed;
    const char* headersFailed;
    const char* setHeaderFailed;
    const char* copyHeadersFailed;
    const char* bodyFailed;
    const char* copyBodyFailed;
    unsigned int (AiKelBasic::*setHeaders)(QuorAiModelParams* params, StringList& names, StringList& values);
    unsigned int (AiKelBasic::*setBody)(char** frameBody, unsigned int* bodyLen, QuorAiModelParams* params);
};

unsigned int AiKelBasic::KelSetSendLLMRequestHeader(QuorAiModelParams* params, StringList& names,
                                                    StringList& values) {
    if (params == nullptr) {
        KEL_LOG_ERROR("<KelSetSendLLMRequestHeader>: input is nullptr!");
        return 1;
    }
    HeaderList headers(names, values);
    if (!headers.Format("destination", kRequestDestination)) {
        KEL_LOG_ERROR("<KelSetSendLLMRequestHeader>: sprintf_s destination val failed!");
        return 1;
    }
    if (!headers.Format("token", params->token)) {
        KEL_LOG_ERROR("<KelSetSendLLMRequestHeader>: sprintf_s token val failed!");
        return 1;
    }
    return AddSequenceNumber(headers, *params) && AddRequestType(headers, *params) ? 0 : 1;
}

// The manager link knows no destinations. The texts are those of the conference link's builder.
unsigned int AiKelBasic::ManagerSetSendLLMRequestHeader(QuorAiModelParams* params, StringList& names,
                                                        StringList& values) {
    if (params == nullptr) {
        KEL_LOG_ERROR("<KelSetSendLLMRequestHeader>: input is nullptr!");
        return 1;
    }
    HeaderList headers(names, values);
    const auto found = modelVersionToStr.find(params->modelVersion);
    if (found == modelVersionToStr.end()) {
        KEL_LOG_ERROR("modelVersionToStr donot find:[%d]", static_cast<int>(params->modelVersion));
        return 1;
    }
    if (!headers.FormatText("modelVersion", found->second)) {
        KEL_LOG_ERROR("<KelSetSendLLMRequestHeader>: sprintf_s token val failed!");
        return 1;
    }
    if (!AddSequenceNumber(headers, *params) || !AddRequestType(headers, *params)) {
        return 1;
    }
    if (!headers.FormatNumber("roundCnt", params->roundCnt)) {
        KEL_LOG_ERROR("<KelSetSendLLMRequestHeader>: sprintf_s roundCnt failed!");
        return 1;
    }
    return 0;
}

// A field that its owner did not terminate makes no document, and an empty body is refused.
unsigned int AiKelBasic::KelSetSendLLMDataBody(char** frameBody, unsigned int* bodyLen,
                                               QuorAiModelParams* params) {
    if (params == nullptr) {
        KEL_LOG_ERROR("%s", kRequestBodyTexts.nullOutput);
        return 1;
    }
    JsonPtr root;
    if (IsTerminated(params->confId) && IsTerminated(params->uri) && IsTerminated(params->content)) {
        root.reset(cJSON_CreateObject());
        cJSON_AddStringToObject(root.get(), "confId", params->confId);
        cJSON_AddStringToObject(root.get(), "uri", params->uri);
        cJSON_AddStringToObject(root.get(), "content", params->content);
    }
    return PrintFrameBody(root.get(), kRequestBodyTexts, frameBody, bodyLen);
}

unsigned int AiKelBasic::ManagerSetSendLLMDataBody(char** frameBody, unsigned int* bodyLen,
                                                   QuorAiModelParams* params) {
    if (params == nullptr) {
        KEL_LOG_ERROR("%s", kAbilityReportBodyTexts.nullOutput);
        return 1;
    }
    JsonPtr root;
    if (IsTerminated(params->content)) {
        root.reset(cJSON_CreateObject());
        cJSON_AddStringToObject(root.get(), "content", params->content);
    }
    return PrintFrameBody(root.get(), kAbilityReportBodyTexts, frameBody, bodyLen);
}

// Everything but the link: the four headers, then the body, which must fit the frame's 2048 bytes (one that
// fills them has no terminator there).
bool AiKelBasic::KelFillLLMFrame(const LargeModelRoad& road, QuorAiModelParams* params,
                                 TagQuorOmNmsWebsocketStompFrame& stmFrame) {
    if (memset_s(&stmFrame, sizeof(stmFrame), 0, sizeof(stmFrame)) != 0) {
        KEL_LOG_ERROR("%s", road.zeroFrameFailed);
        return false;
    }
    StringList names;
    StringList values;
    if ((this->*road.setHeaders)(params, names, values) != 0) {
        KEL_LOG_ERROR("%s", road.headersFailed);
        return false;
    }
    TagQuorOmNmsWebsocketHeader stHeader[kRequestHeaderCount] = {};
    if (KelSetHeader(stHeader, kRequestHeaderCount, names, values) != 0) {
        KEL_LOG_ERROR("%s", road.setHeaderFailed);
        return false;
    }
    if (memcpy_s(stmFrame.headers, sizeof(stmFrame.headers), stHeader, sizeof(stHeader)) != 0) {
        KEL_LOG_ERROR("%s", road.copyHeadersFailed);
        return false;
    }
    HeapText frameBody(kKelLogModule.name, __LINE__);
    unsigned int bodyLen = 0;
    if ((this->*road.setBody)(frameBody.Out(), &bodyLen, params) != 0) {
        KEL_LOG_ERROR("%s", road.bodyFailed);
        return false;
    }
    if (memcpy_s(stmFrame.body, sizeof(stmFrame.body), frameBody.Get(), bodyLen) != 0) {
        KEL_LOG_ERROR("%s", road.copyBodyFailed);
        return false;
    }
    stmFrame.frameKind = QUOR_OM_NMS_WEBSOCKET_FRAME_SEND;
    stmFrame.headerNum = kRequestHeaderCount;
    return true;
}

// No handler is registered: answers come by the subscription of AI_SUB_ID_LLM_RESULT_KEL.
unsigned int AiKelBasic::KelSendLLMRequest(QuorAiModelParams* params) {
    static constexpr LargeModelRoad kRoad = {
        "<KelSendLLMRequest>: memset_s stmFrame failed!",
        "<KelSendLLMRequest>: KelSetAiCheckinHeader failed!",
        "<KelSendLLMRequest>: KelSetHeader failed!",
        "<KelSendLLMRequest> failed: memcpy_s headers failed ",
        "<KelSendLLMRequest>: KelSetSendLLMDataBody failed!",
        "<KelSendLLMRequest> failed: memcpy_s body failed ",
        &AiKelBasic::KelSetSendLLMRequestHeader,
        &AiKelBasic::KelSetSendLLMDataBody,
    };
    if (params == nullptr) {
        KEL_LOG_ERROR("<KelSendLLMRequest>: params is nullptr!");
        return 1;
    }
    TagQuorOmNmsWebsocketStompFrame stmFrame;
    if (!KelFillLLMFrame(kRoad, params, stmFrame)) {
        return 1;
    }
    stmFrame.linkId = m_linkId;
    const unsigned int result = QuorOmNmsWebsocketSendData(&stmFrame);
    if (result != 0) {
        KEL_LOG_ERROR("<KelSendLLMRequest>: QuorOmNmsWebsocketSendData error ret[%u]", result);
        return 1;
    }
    KEL_LOG_INFO("KelSendLLMRequest LargeModelRequest success!");
    return 0;
}

// The answer handler is registered before the frame goes out and stays whatever becomes of it. The
// destination may belong to the conference link's answers already; then the registration only refreshes the
// handler, with a warning.
unsigned int AiKelBasic::ManagerSendLLMRequest(QuorAiModelParams* params) {
    static constexpr LargeModelRoad kRoad = {
        "<ManagerSendLLMRequest>: memset_s stmFrame failed!",
        "<ManagerSendLLMRequest>: KelSetAiCheckinHeader failed!",
        "<ManagerSendLLMRequest>: KelSetHeader failed!",
        "<ManagerSendLLMRequest> failed: memcpy_s headers failed ",
        "<ManagerSendLLMRequest>: KelSetSendLLMDataBody failed!",
        "<ManagerSendLLMRequest> failed: strcpy_s body failed ",
        &AiKelBasic::ManagerSetSendLLMRequestHeader,
        &AiKelBasic::ManagerSetSendLLMDataBody,
    };
    if (params == nullptr) {
        KEL_LOG_ERROR("<ManagerSendLLMRequest>: params is nullptr!");
        return 1;
    }
    TagQuorOmNmsWebsocketStompFrame stmFrame;
    if (!KelFillLLMFrame(kRoad, params, stmFrame)) {
        return 1;
    }
    char destination[HeaderList::kValueCapacity] = {};
    if (sprintf_s(destination, sizeof(destination), "/topic/chat/") < 0) {
        KEL_LOG_ERROR("<ManagerSendLLMRequest>: sprintf_s destination val failed!");
        return 1;
    }
    KelAddSubNode(destination, AI_SUB_ID_LLM_RESULT_MANAGER, &AiKelBasic::KelLLMAnswerParseTextMessage);
    stmFrame.linkId = m_quorManagerLinkId;
    if (QuorOmNmsWebsocketSendData(&stmFrame) != 0) {
        KEL_LOG_ERROR("<ManagerSendLLMRequest>: QuorOmNmsWebsocketSendData error");
        return 1;
    }
    KEL_LOG_INFO("ManagerSendLLMRequest LargeModelRequest success! linkid[%d]",
                 static_cast<int>(m_quorManagerLinkId));
    return 0;
}

// Only acknowledges: the reception hands large-model frames to observers before any handler is looked up.
int AiKelBasic::KelLLMAnswerParseTextMessage(const char* body, unsigned int bodyLen) {
    KEL_LOG_INFO("KelLLMAnswerParseTextMessage in");
    if (body == nullptr || bodyLen == 0) {
        KEL_LOG_ERROR("<KelLLMAnswerParseTextMessage>: input is error");
        return 1;
    }
    return 0;
}

}  // namespace QuorAiEngine
