#include "conference_channel/registry.h"

#include <cstring>

#include "common/scope.h"
#include "conference_channel/kel_log.h"
#include "quor_platform/bounded.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

KelSubNode AiKelBasic::m_kelSubList = {};

std::map<std::string, long long> nodeToTimeMap;

void AiKelBasic::KelBasicGenerateSubscribeMap() {
    struct Entry {
        TagQuorAiSubId id;
        const char* label;  // stands in the ten-minute report; "confSate" is spelled so there
        SubscribeFunc subscribe;
    };
    static constexpr Entry kEntries[] = {
        {AI_SUB_ID_CHECKIN, "checkinInfo", &AiKelBasic::KelStompSubscribeCheckin},
        {AI_SUB_ID_CAPTION, "captionInfo", &AiKelBasic::KelStompSubscribeAiCaption},
        {AI_SUB_ID_CONF_CTRL, "ctrlStatus", &AiKelBasic::KelStompSubscribeConfCtrlStatus},
        {AI_SUB_ID_CONF_SITE, "confSate", &AiKelBasic::KelStompSubscribeConfSiteStatus},
        {AI_SUB_ID_CAPTION_OVERLAY, "captionOverlay", &AiKelBasic::KelStompSubscribeCaptinOverlay},
        {AI_SUB_ID_ABILITY_REPORT, "captionAbility", &AiKelBasic::KelStompAiAbilityReport},
        {AI_SUB_ID_LLM_RESULT_KEL, "LLMResultOfKEL", &AiKelBasic::KelStompSubscribeLLMResult},
        {AI_SUB_ID_LLM_RESULT_MANAGER, "LLMResultOfManager", &AiKelBasic::ManagerStompSubscribeLLMResult},
        {AI_SUB_ID_TRANSLATION, "translationInfo", &AiKelBasic::KelStompSubscribeAiCaption},
    };
    for (const Entry& entry : kEntries) {
        m_subscribeFuncs[entry.id] = entry.subscribe;
        m_subscribeNames[entry.id] = entry.label;
    }
}

unsigned int AiKelBasic::KelBasicAddSubsEvent(TagQuorAiSubId id) {
    ScopedOsLock lock(m_subsEventsLock);
    m_subsEvents.push_back(id);
    return lock.Unlock();
}

void AiKelBasic::KelBasicDeleteSubsEvent(TagQuorAiSubId id) {
    const ScopedOsLock lock(m_subsEventsLock);
    for (auto it = m_subsEvents.begin(); it != m_subsEvents.end(); ++it) {
        if (*it == id) {
            m_subsEvents.erase(it);
            return;
        }
    }
}

unsigned int AiKelBasic::KelBasicExecuteSubscribeFunc(const TagQuorAiSubscribeInfo* subInfo) {
    if (subInfo == nullptr) {
        KEL_LOG_ERROR("<KelBasicExecuteSubscribeFunc> failed: subInfo is nullptr");
        return 1;
    }
    const TagQuorAiSubId id = subInfo->subId;
    const SubscribeFunc subscribe = id < kQuorAiSubIdTableSize ? m_subscribeFuncs[id] : nullptr;
    if (subscribe == nullptr) {
        KEL_LOG_ERROR("<KelBasicExecuteSubscribeFunc> failed: subEvent %d has not add yet!",
                      static_cast<int>(id));
        return 1;
    }
    if ((this->*subscribe)(subInfo) != 0) {  // two blanks stand in the text
        KEL_LOG_ERROR("<KelBasicExecuteSubscribeFunc> failed: subfunc  %d failed", static_cast<int>(id));
        return 1;
    }
    // Only here a counter comes into being: a service subscribed past this function is delivered but not
    // counted.
    const ScopedOsLock lock(m_subAliveMapLock);
    m_subAliveMap[id] = 0;
    return 0;
}

// The copy failures are logged under the tag of the recovery procedure that this was once.
unsigned int AiKelBasic::KelBasicExecuteAllSubFunc() {
    TagQuorAiSubscribeInfo subInfo = {};
    if (strcpy_s(subInfo.confId, sizeof(subInfo.confId), m_kelBasicInfo.uuid) != 0) {
        KEL_LOG_ERROR("<KelRecorverProc>: strcpy_s uuid failed");
        return 1;
    }
    if (strcpy_s(subInfo.uri, sizeof(subInfo.uri), m_kelBasicInfo.deviceId) != 0) {
        KEL_LOG_ERROR("<KelRecorverProc>: strcpy_s deviceId failed");
        return 1;
    }
    if (strcpy_s(subInfo.token, sizeof(subInfo.token), m_kelBasicInfo.confKey) != 0) {
        KEL_LOG_ERROR("<KelRecorverProc>: strcpy_s confKey failed");
        return 1;
    }
    // The lock is held over the subscribe operations, so that the list recovered is the list of one moment.
    const ScopedOsLock lock(m_subsEventsLock);
    for (const TagQuorAiSubId id : m_subsEvents) {
        subInfo.subId = id;
        if (id == AI_SUB_ID_TRANSLATION) {
            if (strcpy_s(subInfo.language, sizeof(subInfo.language), m_kelBasicInfo.dstLang) != 0) {
                KEL_LOG_ERROR("<KelRecorverProc>: strcpy_s dstLang failed");
                continue;
            }
        } else if (strcpy_s(subInfo.language, sizeof(subInfo.language), m_kelBasicInfo.srcLang) != 0) {
            KEL_LOG_ERROR("<KelRecorverProc>: strcpy_s srcLang failed");
            continue;
        }
        if (KelBasicExecuteSubscribeFunc(&subInfo) != 0) {
            KEL_LOG_ERROR("<KelBasicExecuteAllSubFunc>: sub event %d execute func failed",
                          static_cast<int>(id));
            return 1;
        }
    }
    return 0;
}

unsigned int AiKelBasic::KelAddSubNode(char* destination, unsigned int subId, BodyHandler handler) {
    if (destination == nullptr) {
        KEL_LOG_ERROR("<KelAddSubNode>: destination is null");
        return 1;
    }
    KelSubNode* last = &m_kelSubList;
    while (last->next != nullptr) {
        last = last->next;
        if (std::strcmp(last->destination, destination) == 0) {
            KEL_LOG_WARNING("<KelAddSubNode>: found a same destination");
            last->handler = handler;  // the node keeps the id of its first registration
            return 0;
        }
    }
    auto* node =
        static_cast<KelSubNode*>(OsMemMallocSetCharMon(sizeof(KelSubNode), 0, __LINE__, kKelLogModule.name));
    if (node == nullptr) {
        KEL_LOG_ERROR("<KelAddSubNode>: malloc node failed");
        return 1;
    }
    // Linked before it is filled: a node whose destination does not fit stays, empty, and dispatch passes it
    // over.
    last->next = node;
    node->subId = subId;
    node->handler = handler;
    if (strcpy_s(node->destination, sizeof(node->destination), destination) != 0) {
        KEL_LOG_ERROR("<KelAddSubNode>: strcpy_s failed!");
        return 1;
    }
    return 0;
}

unsigned int AiKelBasic::KelRemoveSubNode(unsigned int subId, char* outDestination, unsigned int outCap,
                                          bool removeAll) {
    KelSubNode* previous = &m_kelSubList;
    while (previous->next != nullptr) {
        KelSubNode* node = previous->next;
        if (!removeAll && node->subId != subId) {
            previous = node;
            continue;
        }
        if (strcpy_s(outDestination, outCap, node->destination) != 0) {
            KEL_LOG_ERROR("<KelRemoveSubNode>: strcpy_s %s failed", node->destination);
        }
        previous->next = node->next;
        OSMemTypeFreeMon(node, __LINE__, kKelLogModule.name);
    }
    return 0;
}

}  // namespace QuorAiEngine
