// The channel's singleton and its lifecycle.
#include "quor_ai/ai_kel_basic.h"

#include "conference_channel/kel_log.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

unsigned int AiKelBasic::m_linkId = 0;
unsigned int AiKelBasic::m_quorManagerLinkId = 0;
TagQuorAiKelBasicInfo AiKelBasic::m_kelBasicInfo = {};
bool AiKelBasic::m_isQuorOmNmsInit = false;
int AiKelBasic::m_lastConfCtrlStatus = -1;

AiKelBasic* AiKelBasic::GetInstance() {
    static AiKelBasic instance;
    return &instance;
}

AiKelBasic::AiKelBasic()
    : m_subscribeFuncs{},
      m_subsEventsLock(OS_MUTEX_INITIALIZER),
      m_subAliveTimerId(nullptr),
      m_siteInfoBuffer(nullptr) {}

// Neither stops the timer nor closes the link: at the end of the process both belong to the platform.
AiKelBasic::~AiKelBasic() {
    if (m_siteInfoBuffer != nullptr) {
        OSMemTypeFreeMon(m_siteInfoBuffer, __LINE__, kKelLogModule.name);
    }
}

}  // namespace QuorAiEngine
