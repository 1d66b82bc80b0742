// Reception: every event of a link enters here, and a frame finds the handler of its destination.
#include <cstddef>
#include <cstring>

#include "common/scope.h"
#include "conference_channel/kel_log.h"
#include "conference_channel/registry.h"
#include "conference_channel/stomp_frame.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

namespace {

// Large-model answers come on "/topic/chat/<conference>/<uri>" and are handed up as they are.
constexpr char kChatPrefix[] = "/topic/chat/";
constexpr std::size_t kChatPrefixLength = sizeof(kChatPrefix) - 1;

// An unknown destination is logged again when more than this has passed.
constexpr long long kUnknownDestinationSilenceSeconds = 60;

// Whether an unknown destination is to be logged now; remembers that it was. A clock that was set back keeps
// silent.
bool IsUnknownDestinationDue(const char* destination) {
    const auto now = static_cast<long long>(OsGetSysTimeSec());
    const auto known = nodeToTimeMap.find(destination);
    if (known == nodeToTimeMap.end()) {
        nodeToTimeMap.emplace(destination, now);
        return true;
    }
    if (now - known->second <= kUnknownDestinationSilenceSeconds) {
        return false;
    }
    known->second = now;
    return true;
}

unsigned int LengthOf(const char* text) {
    return static_cast<unsigned int>(std::strlen(text));
}

}  // namespace

void AiKelBasic::KelBasicDisposeMsg(unsigned int event, unsigned int linkId, unsigned int linkType,
                                    void* data) {
    // Called from C code: nothing may escape, not even a failed allocation of a standard container. The event
    // thread must not be cancelled inside the call.
    try {
        GetInstance()->KelDisposeEvent(event, linkId, linkType, data);
    } catch (...) {
        return;
    }
}

void AiKelBasic::KelDisposeEvent(unsigned int event, unsigned int linkId, unsigned int linkType, void* data) {
    switch (event) {
        case KelEventConnect:
            KelHandleConnect(linkId, linkType);
            break;
        case KelEventDisconnect:
            if (linkType == kKelLinkTypeConference) {
                KEL_LOG_ERROR("<KelBasicDisposeMsg> websocket disconnect.");
                KelBasicCloseNotify();
            }
            break;
        case KelEventReceive:
            if (KelBasicWsReceive(linkId, linkType, data) != 0) {
                KEL_LOG_ERROR("<KelBasicDisposeMsg> KelBasicWsReceive failed.");
            }
            break;
        default:
            QUOR_TRACE(kTraceFrame, "<KelBasicDisposeMsg>  websocket unknown massage.");
            break;
    }
}

// The link id is stored before observers are told: they subscribe from inside Update and need it.
void AiKelBasic::KelHandleConnect(unsigned int linkId, unsigned int linkType) {
    KEL_LOG_INFO("<KelBasicDisposeMsg> connect success. linkid[%u], type[%u]", linkId, linkType);
    if (linkType != kKelLinkTypeManager) {
        m_linkId = linkId;
        Notify(AI_SUB_ID_WS_CONNECTED, reinterpret_cast<unsigned char*>(&m_linkId), sizeof(m_linkId));
        KEL_GENERAL_LOG("Ai create websocket connection with server succeed.");
        return;
    }
    m_quorManagerLinkId = linkId;
    if (linkId != 0) {
        unsigned int managerMark = 0;  // observers tell the manager link by this value
        Notify(AI_SUB_ID_WS_CONNECTED, reinterpret_cast<unsigned char*>(&managerMark), sizeof(managerMark));
    }
}

// The failures are logged under the entry's tag; "messgae" and "massage" are spelled so in the log.
unsigned int AiKelBasic::KelBasicWsReceive(unsigned int linkId, unsigned int linkType, void* data) {
    if (data == nullptr) {
        KEL_LOG_ERROR("<KelBasicDisposeMsg> failed: data is nullptr");
        return 1;
    }
    char* text = static_cast<char*>(data);
    if (linkType == kKelLinkTypeManager && linkId == m_quorManagerLinkId) {
        Notify(AI_SUB_ID_LLM_RESULT_MANAGER, static_cast<unsigned char*>(data), LengthOf(text) + 1U);
        return 0;
    }
    const CStringPtr copy(strdup(text));
    if (copy == nullptr) {
        KEL_LOG_ERROR("<KelBasicDisposeMsg> failed: strdup error");
        return 1;
    }
    if (linkId != m_linkId) {
        KEL_LOG_ERROR("<KelBasicDisposeMsg> failed: param1[%u] is unequal with m_linkId[%u]", linkId,
                      m_linkId);
        return 1;
    }
    tagRestStompMessage message = {};
    if (KelParseStompMessgae(copy.get(), LengthOf(copy.get()), &message) != 0) {
        KEL_LOG_ERROR("<KelBasicDisposeMsg> failed: Kel parse stomp messgae failed");
        return 1;
    }
    QUOR_TRACE_FORMAT(kTraceFrame, "destination:%s", message.destination);
    if (std::memcmp(message.destination, kChatPrefix, kChatPrefixLength) == 0) {
        KEL_LOG_INFO("大模型消息返回接收");
        Notify(AI_SUB_ID_LLM_RESULT_KEL, static_cast<unsigned char*>(data), LengthOf(text));
    } else {
        KelDispatchBody(message.destination, message.body, message.bodyLen);
    }
    return 0;
}

void AiKelBasic::KelProcessJsonBody(char* destination, char* body) {
    if (destination == nullptr) {
        KEL_LOG_ERROR("<KelProcessJsonBody>: destination is null");
        return;
    }
    if (body == nullptr) {
        KEL_LOG_ERROR("<KelProcessJsonBody>: wsdata is null");
        return;
    }
    KelDispatchBody(destination, body, LengthOf(body));
}

// The reception comes here directly: it has tested its texts and knows the length.
void AiKelBasic::KelDispatchBody(const char* destination, const char* body, unsigned int bodyLen) {
    for (const KelSubNode* node = m_kelSubList.next; node != nullptr; node = node->next) {
        if (node->destination[0] == '\0' || node->handler == nullptr ||
            std::strcmp(node->destination, destination) != 0) {
            continue;
        }
        // Copied first: an observer may unsubscribe inside the handler, and then the node is gone.
        const BodyHandler handler = node->handler;
        const auto id = static_cast<TagQuorAiSubId>(node->subId);
        (this->*handler)(body, bodyLen);
        AddSubAliveCnt(id);
        return;
    }
    if (IsUnknownDestinationDue(destination)) {
        KEL_LOG_ERROR("<KelProcessJsonBody>: %s cannot match proc node", destination);
    }
}

}  // namespace QuorAiEngine
