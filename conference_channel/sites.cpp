// Participant-list changes. One buffer of full size serves all messages: observers get a pointer into it.
#include <cjson/cJSON.h>

#include "common/json_member.h"
#include "common/scope.h"
#include "conference_channel/kel_json.h"
#include "conference_channel/kel_log.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/bounded.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

// Makes the buffer at the first message and empties it at every one.
unsigned int AiKelBasic::MallocSiteInfoBuffer() {
    if (m_siteInfoBuffer == nullptr) {
        m_siteInfoBuffer = static_cast<TagQuorAiSiteInfoList*>(
            OsMemMallocSetCharMon(sizeof(TagQuorAiSiteInfoList), 0, __LINE__, kKelLogModule.name));
        if (m_siteInfoBuffer == nullptr) {
            KEL_LOG_ERROR("<MallocSiteInfoBuffer>: failed malloc m_siteInfoBuffer error");
            return 1;
        }
    }
    if (memset_s(m_siteInfoBuffer, sizeof(*m_siteInfoBuffer), 0, sizeof(*m_siteInfoBuffer)) != 0) {
        KEL_LOG_ERROR("<MallocSiteInfoBuffer>: failed memset m_siteInfoBuffer error");
        return 1;
    }
    return 0;
}

// Bad input is not logged here, deliberately, unlike in all other handlers.
//
// The count is that of the elements present, at most "size"; members missing in an element stay empty.
int AiKelBasic::KelConfSiteParseTextMessage(const char* body, unsigned int bodyLen) {
    if (body == nullptr || bodyLen == 0) {
        return 1;
    }
    if (MallocSiteInfoBuffer() != 0) {
        KEL_LOG_ERROR("<KelConfSiteParseTextMessage>: MallocSiteInfoBuffer faild");
        return 1;
    }
    const JsonPtr root(cJSON_Parse(body));
    if (root == nullptr) {
        KEL_LOG_ERROR("<KelConfSiteParseTextMessage>: prase root faild");
        return 1;
    }
    TagQuorAiSiteInfoList& list = *m_siteInfoBuffer;
    if (KelJsonGetNum(root.get(), "type", &list.type) != 0) {
        KEL_LOG_ERROR("<KelConfSiteParseTextMessage>: get type failed");
    }
    unsigned int totalSiteNum = 0;
    if (KelJsonGetNum(root.get(), "size", &totalSiteNum) != 0) {
        KEL_LOG_ERROR("<KelConfSiteParseTextMessage>: get size failed");
    }
    if (totalSiteNum == 0 || totalSiteNum > kQuorAiSiteMax) {
        KEL_LOG_ERROR("<KelConfSiteParseTextMessage>: failed totalSiteNum %d invalid",
                      static_cast<int>(totalSiteNum));
        return 1;
    }
    const cJSON* changeList = FindMember(root.get(), "changeList");
    cJSON* item = changeList != nullptr ? changeList->child : nullptr;
    for (unsigned int i = 0; i < totalSiteNum && item != nullptr; ++i, item = item->next) {
        TagQuorAiSiteInfo& site = list.sites[list.count];
        KelJsonGetStr(item, "id", site.id, sizeof(site.id));
        KelJsonGetStr(item, "name", site.name, sizeof(site.name));
        ++list.count;
    }
    Notify(AI_SUB_ID_CONF_SITE, reinterpret_cast<unsigned char*>(&list),
           static_cast<unsigned int>(kQuorAiSiteHeadSize + list.count * sizeof(TagQuorAiSiteInfo)));
    return 0;
}

}  // namespace QuorAiEngine
