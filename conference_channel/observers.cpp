// The observers of the channel, called in the order in which they were attached.
#include <cstddef>
#include <memory>
#include <utility>

#include "common/scope.h"
#include "conference_channel/kel_log.h"
#include "quor_ai/ai_kel_basic.h"

namespace QuorAiEngine {

std::vector<std::shared_ptr<ICloudSrvObserver>> AiKelBasic::m_cloudSrvObservers;
OsMutex AiKelBasic::m_observersLock = OS_MUTEX_INITIALIZER;

int AiKelBasic::Attach(std::shared_ptr<ICloudSrvObserver> observer) {
    KEL_LOG_INFO("<Attach> in");
    const ScopedOsLock lock(m_observersLock);
    m_cloudSrvObservers.push_back(std::move(observer));
    return 0;
}

int AiKelBasic::Detach(const ICloudSrvObserver* observer) {
    KEL_LOG_INFO("<Detach> in");
    std::shared_ptr<ICloudSrvObserver>
        detached;  // let go after the lock: its destructor is the application's
    bool found = false;
    {
        const ScopedOsLock lock(m_observersLock);
        for (auto it = m_cloudSrvObservers.begin(); it != m_cloudSrvObservers.end(); ++it) {
            if (it->get() == observer) {
                found = true;
                detached = std::move(*it);
                m_cloudSrvObservers.erase(it);
                break;
            }
        }
    }
    if (!found) {
        KEL_LOG_ERROR("<Detach> can not find kel ICloudSrvObserver!");
        return 1;
    }
    return 0;
}

// Without the lock, deliberately: an observer may attach, detach and subscribe inside Update. The index is
// compared with the present size at each turn and the entry is held by a copy, so an observer that detaches
// itself is safe.
void AiKelBasic::Notify(TagQuorAiSubId id, unsigned char* data, unsigned int len) {
    const TagAiCloudSrvResult result = {id, data, len};
    for (std::size_t i = 0; i < m_cloudSrvObservers.size(); ++i) {
        const std::shared_ptr<ICloudSrvObserver> observer = m_cloudSrvObservers[i];
        if (observer != nullptr) {
            observer->Update(result);
        }
    }
}

}  // namespace QuorAiEngine
