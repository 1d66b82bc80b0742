// The shared road of the subscribe operations, and unsubscribing.
#include <cstddef>

#include "common/record_field.h"
#include "common/scope.h"
#include "conference_channel/kel_log.h"
#include "conference_channel/topic.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/bounded.h"
#include "quor_platform/websocket.h"

namespace QuorAiEngine {

namespace {

constexpr unsigned int kTopicHeaderMax = 3;

}  // namespace

unsigned int AiKelBasic::KelSetHeader(TagQuorOmNmsWebsocketHeader* stHeader, int num, const StringList& names,
                                      const StringList& values) {
    if (stHeader == nullptr) {
        KEL_LOG_ERROR("<KelSetHeader>: stHeader is nullptr!");
        return 1;
    }
    for (int i = 0; i < num; ++i) {
        const char* name = names[static_cast<std::size_t>(i)].c_str();
        const char* value = values[static_cast<std::size_t>(i)].c_str();
        if (strcpy_s(stHeader[i].headerName, sizeof(stHeader[i].headerName), name) != 0) {
            KEL_LOG_ERROR("<KelSetHeader>: strcpy_s headerName %s failed!", name);
            return 1;
        }
        if (strcpy_s(stHeader[i].headerVal, sizeof(stHeader[i].headerVal), value) != 0) {
            KEL_LOG_ERROR("<KelSetHeader>: strcpy_s headerVal failed!");
            return 1;
        }
        QUOR_TRACE_FORMAT(kTraceHeader, "stHeader[num].headerName:%s, stHeader[num].headerVal:%s", name,
                          value);
    }
    return 0;
}

// Nothing is undone on failure: once registered, the handler stays, also when the platform refuses the frame.
int AiKelBasic::KelSubscribeTopic(const TopicDescriptor& topic, const TagQuorAiSubscribeInfo* subInfo) {
    if (topic.texts.entered != nullptr) {
        KEL_LOG_INFO("%s", topic.texts.entered);
    }
    if (subInfo == nullptr) {
        KEL_LOG_ERROR("%s", topic.texts.nullInput);
        return 1;
    }
    if (topic.storeBeforeBuild != nullptr && !topic.storeBeforeBuild(*subInfo)) {
        return 1;
    }
    TagQuorOmNmsWebsocketHeader stHeader[kTopicHeaderMax];
    TagQuorOmNmsWebsocketStompFrame stmFrame;
    if (topic.zeroRecords) {
        if (memset_s(stHeader, sizeof(stHeader), 0, topic.headerCount * sizeof(stHeader[0])) != 0) {
            KEL_LOG_ERROR("%s", topic.texts.zeroHeaderFailed);
            return 1;
        }
        if (memset_s(&stmFrame, sizeof(stmFrame), 0, sizeof(stmFrame)) != 0) {
            KEL_LOG_ERROR("%s", topic.texts.zeroFrameFailed);
            return 1;
        }
    }
    StringList names;
    StringList values;
    if (topic.build(*this, *subInfo, names, values) != 0) {
        KEL_LOG_ERROR("%s", topic.texts.buildFailed);
        return 1;
    }
    if (KelSetHeader(stHeader, static_cast<int>(topic.headerCount), names, values) != 0) {
        KEL_LOG_ERROR("%s", topic.texts.setHeaderFailed);
        return 1;
    }
    if (topic.storeAfterBuild != nullptr && !topic.storeAfterBuild(*subInfo)) {
        return 1;
    }
    // A failed registration has logged itself; the subscription goes on without a handler.
    KelAddSubNode(stHeader[0].headerVal, subInfo->subId, topic.handler);
    return KelSendSubscribe(topic, stHeader, stmFrame);
}

int AiKelBasic::KelSendSubscribe(const TopicDescriptor& topic, const TagQuorOmNmsWebsocketHeader* stHeader,
                                 TagQuorOmNmsWebsocketStompFrame& stmFrame) {
    if (memcpy_s(stmFrame.headers, sizeof(stmFrame.headers), stHeader,
                 topic.headerCount * sizeof(TagQuorOmNmsWebsocketHeader)) != 0) {
        // All topics share the check-in text.
        KEL_LOG_ERROR("<KelStompSubscribeCheckin> failed: memcpy_s headers failed ");
        return 1;
    }
    memset_s(stmFrame.body, sizeof(stmFrame.body), 0, sizeof(stmFrame.body));
    stmFrame.headerNum = topic.headerCount;
    stmFrame.frameKind = QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE;
    stmFrame.linkId = m_linkId;
    const unsigned int code = QuorOmNmsWebsocketSubscribe(&stmFrame);
    if (code != 0) {
        topic.texts.subscribeFailed(code);
        return 1;
    }
    KEL_LOG_INFO("%s", topic.texts.success);
    return 0;
}

// The node is removed before the platform is asked, and removed it stays. Without a node the destination is
// empty and the frame goes out all the same; with several nodes it carries the last one's. Two of the
// failures are information in the log, deliberately: its readers count errors.
bool AiKelBasic::KelFillUnsubscribe(TagQuorAiSubId subId, TagQuorOmNmsWebsocketHeader& stHeader,
                                    TagQuorOmNmsWebsocketStompFrame& stmFrame) {
    char destination[sizeof(stHeader.headerVal)] = {};
    KelRemoveSubNode(subId, destination, sizeof(destination), false);
    KEL_LOG_INFO("<KelStompUnSubscribeService>: subId %d get destination: %s", static_cast<int>(subId),
                 destination);
    if (strcpy_s(stHeader.headerName, sizeof(stHeader.headerName), "destination") != 0) {
        KEL_LOG_INFO("<KelStompUnSubscribeService>: strcpy_s failed!");
        return false;
    }
    if (FormatField(stHeader.headerVal, sizeof(stHeader.headerVal), destination) < 0) {
        KEL_LOG_INFO("<KelStompUnSubscribeService>: sprintf_s failed!");
        return false;
    }
    if (memcpy_s(stmFrame.headers, sizeof(stmFrame.headers), &stHeader, sizeof(stHeader)) != 0) {
        KEL_LOG_ERROR("<KelStompUnSubscribeService> failed: memcpy_s headers failed ");
        return false;
    }
    memset_s(stmFrame.body, sizeof(stmFrame.body), 0, sizeof(stmFrame.body));
    stmFrame.frameKind = QUOR_OM_NMS_WEBSOCKET_FRAME_UNSUBSCRIBE;
    stmFrame.headerNum = 1;
    stmFrame.linkId = m_linkId;
    return true;
}

unsigned int AiKelBasic::KelStompUnSubscribeService(TagQuorAiSubId subId) {
    KEL_LOG_INFO("<KelStompUnSubscribeService> in");
    TagQuorOmNmsWebsocketHeader stHeader;
    TagQuorOmNmsWebsocketStompFrame stmFrame;
    if (memset_s(&stHeader, sizeof(stHeader), 0, sizeof(stHeader)) != 0) {
        KEL_LOG_ERROR("<KelStompUnSubscribeService>: memset_s stHeader failed!");
        return 1;
    }
    if (memset_s(&stmFrame, sizeof(stmFrame), 0, sizeof(stmFrame)) != 0) {
        KEL_LOG_ERROR("<KelStompUnSubscribeService>: memset_s stmFrame failed!");
        return 1;
    }
    if (!KelFillUnsubscribe(subId, stHeader, stmFrame)) {
        return 1;
    }
    const unsigned int code = QuorOmNmsWebsocketUnsubscribe(&stmFrame);
    if (code != 0) {
        KEL_LOG_ERROR("<KelStompUnSubscribeService>: QuorOmNmsWebsocketUnsubscribe errCode %d",
                      static_cast<int>(code));
        return 1;
    }
    ScopedOsLock lock(m_subAliveMapLock);
    m_subAliveMap.erase(subId);
    lock.Unlock();
    KEL_LOG_INFO("<KelStompUnSubscribeService> success");
    return 0;
}

}  // namespace QuorAiEngine
