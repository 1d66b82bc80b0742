// The observers of the HTTP services, called in the order in which they were attached.
#include <exception>
#include <memory>
#include <utility>

#include "common/scope.h"
#include "http_adapter/http_log.h"
#include "quor_ai/ai_http_adapter.h"

namespace QuorAiEngine {

namespace {

// Transport results that mean that the server could not be reached.
constexpr int kUnreachableFirst = 101;
constexpr int kUnreachableLast = 199;

}  // namespace

int AiHttpAdapter::Attach(std::shared_ptr<ICloudSrvObserver> observer) {
    HTTP_LOG_INFO("<Attach>: in");
    const ScopedOsLock lock(m_observersLock);
    try {
        m_observers.push_back(std::move(observer));
    } catch (const std::exception&) {
        return -1;
    }
    return 0;
}

int AiHttpAdapter::Detach(const ICloudSrvObserver* observer) {
    HTTP_LOG_INFO("<Detach>: in");
    // Let go after the lock: its destructor is the application's.
    std::shared_ptr<ICloudSrvObserver> detached;
    bool found = false;
    {
        const ScopedOsLock lock(m_observersLock);
        for (auto it = m_observers.begin(); it != m_observers.end(); ++it) {
            if (it->get() == observer) {
                found = true;
                detached = std::move(*it);
                m_observers.erase(it);
                break;
            }
        }
    }
    if (!found) {
        HTTP_LOG_ERROR("<Detach> can not find http ICloudSrvObserver!");
        return -1;
    }
    return 0;
}

// With the lock, deliberately and unlike the channel: results come from many threads, and observers receive
// them one at a time.
void AiHttpAdapter::Notify(TagQuorAiSubId id, unsigned char* data, unsigned int len) {
    if (data == nullptr) {
        HTTP_LOG_ERROR("<Notify>: data is nullptr!");
        return;
    }
    const ScopedOsLock lock(m_observersLock);
    const TagAiCloudSrvResult result = {id, data, len};
    for (const std::shared_ptr<ICloudSrvObserver>& entry : m_observers) {
        const std::shared_ptr<ICloudSrvObserver> observer = entry;
        if (observer != nullptr) {
            observer->Update(result);
        }
    }
}

// Deliberate: without data Notify tells nobody. What remains is the record in the log, next to that of the
// request that failed.
void AiHttpAdapter::NotifyDetectKELServer(int ret) {
    if (ret < kUnreachableFirst || ret > kUnreachableLast) {
        return;
    }
    AiHttpAdapter* httpAdapter = GetInstance();
    if (httpAdapter == nullptr) {
        HTTP_LOG_ERROR("httpAdapter is nullptr");
        return;
    }
    httpAdapter->Notify(AI_SUB_ID_KEL_SERVER_DETECT, nullptr, 0);
}

}  // namespace QuorAiEngine
