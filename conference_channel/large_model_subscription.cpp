// The subscription of large-model answers on the conference link: one frame, sent five times.
#include <unistd.h>

#include "common/record_field.h"
#include "conference_channel/header_list.h"
#include "conference_channel/kel_log.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/bounded.h"
#include "quor_platform/websocket.h"

namespace QuorAiEngine {

namespace {

constexpr int kSendCount = 5;
constexpr useconds_t kSendPauseUs = 200000;

}  // namespace

// The texts are those of the request's header builder.
unsigned int AiKelBasic::KelSetLLMSubHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                            StringList& values) {
    if (subInfo == nullptr) {
        KEL_LOG_ERROR("<KelSetSendLLMRequestHeader>: input is nullptr!");
        return 1;
    }
    HeaderList headers(names, values);
    char* destination = headers.Begin("destination");
    if (!IsTerminated(subInfo->confId) || !IsTerminated(subInfo->uri) ||
        sprintf_s(destination, HeaderList::kValueCapacity, "/topic/chat/%s/%s", subInfo->confId,
                  subInfo->uri) < 0) {
        KEL_LOG_ERROR("<KelSetSendLLMRequestHeader>: sprintf_s destination val failed!");
        return 1;
    }
    headers.End();
    return 0;
}

int AiKelBasic::KelStompSubscribeLLMResult(const TagQuorAiSubscribeInfo* subInfo) {
    KEL_LOG_INFO("<KelStompSubscribeLLMResult> in");
    if (subInfo == nullptr) {
        KEL_LOG_ERROR("Null ptr.");
        return 1;
    }
    TagQuorOmNmsWebsocketHeader stHeader;
    TagQuorOmNmsWebsocketStompFrame stmFrame;
    if (memset_s(&stHeader, sizeof(stHeader), 0, sizeof(stHeader)) != 0) {
        KEL_LOG_ERROR("<KelStompSubscribeLLMResult>: memset_s stHeader failed!");
        return 1;
    }
    if (memset_s(&stmFrame, sizeof(stmFrame), 0, sizeof(stmFrame)) != 0) {
        KEL_LOG_ERROR("<KelStompSubscribeLLMResult>: memset_s stmFrame failed!");
        return 1;
    }
    StringList names;
    StringList values;
    if (KelSetLLMSubHeader(subInfo, names, values) != 0) {
        KEL_LOG_ERROR("<KelStompSubscribeLLMResult>: KelSetAiCheckinHeader failed!");
        return 1;
    }
    if (KelSetHeader(&stHeader, 1, names, values) != 0) {
        KEL_LOG_ERROR("<KelStompSubscribeLLMResult>: KelSetHeader failed!");
        return 1;
    }
    // Answers of all conferences and uris begin so; the handler is registered under the beginning alone.
    char answers[] = "/topic/chat/";
    KelAddSubNode(answers, subInfo->subId, &AiKelBasic::KelLLMAnswerParseTextMessage);
    if (memcpy_s(stmFrame.headers, sizeof(stmFrame.headers), &stHeader, sizeof(stHeader)) != 0) {
        KEL_LOG_ERROR("<KelStompSubscribeLLMResult> failed: memcpy_s headers failed ");
        return 1;
    }
    return KelSendLLMSubscription(stmFrame);
}

// Five times the same frame, deliberately; the platform's client replaces a subscription by its repetition.
// The pauses pass on the caller's thread. The failure text names the subscribe call although SendData takes
// the frame.
int AiKelBasic::KelSendLLMSubscription(TagQuorOmNmsWebsocketStompFrame& stmFrame) {
    memset_s(stmFrame.body, sizeof(stmFrame.body), 0, sizeof(stmFrame.body));
    stmFrame.headerNum = 1;
    stmFrame.frameKind = QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE;
    stmFrame.linkId = m_linkId;
    for (int i = 0; i < kSendCount; ++i) {
        const unsigned int result = QuorOmNmsWebsocketSendData(&stmFrame);
        if (result != 0) {
            KEL_LOG_ERROR("<KelStompSubscribeLLMResult>: QuorOmNmsWebsocketSubscribe ret %u, m_linkId:%u",
                          result, m_linkId);
            return 1;
        }
        usleep(kSendPauseUs);
    }
    KEL_LOG_INFO("<KelStompSubscribeLLMResult> success");
    return 0;
}

int AiKelBasic::ManagerStompSubscribeLLMResult(const TagQuorAiSubscribeInfo* /*subInfo*/) {
    return 0;
}

}  // namespace QuorAiEngine
