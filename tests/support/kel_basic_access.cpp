#include "support/kel_basic_access.h"

#include <cstring>

#include "conference_channel/topic_headers.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

void AiKelBasicTestAccess::Reset() {
    AiKelBasic::m_cloudSrvObservers.clear();
    char dropped[256];
    Kel().KelRemoveSubNode(0, dropped, sizeof(dropped), true);
    AiKelBasic::m_kelSubList.next = nullptr;
    AiKelBasic::m_linkId = 0;
    AiKelBasic::m_quorManagerLinkId = 0;
    std::memset(&AiKelBasic::m_kelBasicInfo, 0, sizeof(AiKelBasic::m_kelBasicInfo));
    AiKelBasic::m_isQuorOmNmsInit = false;
    AiKelBasic::m_lastConfCtrlStatus = -1;
    for (unsigned id = 0; id < kQuorAiSubIdTableSize; ++id) {
        Kel().m_subscribeFuncs[id] = nullptr;
        Kel().m_subscribeNames[id].clear();
    }
    Kel().m_subsEvents.clear();
    Kel().m_subAliveMap.clear();
    Kel().m_subAliveTimerId = nullptr;
    OSMemTypeFreeMon(Kel().m_siteInfoBuffer, 1, "test");
    Kel().m_siteInfoBuffer = nullptr;
    nodeToTimeMap.clear();
    g_kelLoginNotInit = true;
}

std::vector<KelSubNode*> AiKelBasicTestAccess::Nodes() {
    std::vector<KelSubNode*> nodes;
    for (KelSubNode* node = AiKelBasic::m_kelSubList.next; node != nullptr; node = node->next) {
        nodes.push_back(node);
    }
    return nodes;
}

std::vector<std::string> AiKelBasicTestAccess::NodeTexts() {
    std::vector<std::string> texts;
    for (const KelSubNode* node : Nodes()) {
        texts.push_back(std::to_string(node->subId) + ":" + node->destination);
    }
    return texts;
}

}  // namespace QuorAiEngine
