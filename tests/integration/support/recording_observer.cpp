#include "support/recording_observer.h"

#include <utility>

namespace quor_test {

using quor_platform::internal::MutexLock;

void RecordingObserver::OnNotification(TagQuorAiSubId id, Action action) {
    MutexLock lock(m_mutex);
    m_actions[id] = std::move(action);
}

void RecordingObserver::Update(const TagAiCloudSrvResult& result) {
    Action action;
    {
        MutexLock lock(m_mutex);
        const auto found = m_actions.find(result.id);
        if (found != m_actions.end()) {
            action = found->second;
        }
    }
    if (action) {
        action(result);
    }
    MutexLock lock(m_mutex);
    m_received[result.id].emplace_back(reinterpret_cast<const char*>(result.data), result.len);
    m_changed.NotifyAll();
}

bool RecordingObserver::WaitFor(TagQuorAiSubId id, std::size_t count,
                                std::chrono::milliseconds patience) const {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    MutexLock lock(m_mutex);
    for (bool inTime = true;; inTime = m_changed.WaitUntil(lock, deadline)) {
        const auto found = m_received.find(id);
        const bool enough = (found == m_received.end() ? 0 : found->second.size()) >= count;
        if (enough || !inTime) {
            return enough;
        }
    }
}

std::size_t RecordingObserver::Count(TagQuorAiSubId id) const {
    MutexLock lock(m_mutex);
    const auto found = m_received.find(id);
    return found == m_received.end() ? 0 : found->second.size();
}

std::size_t RecordingObserver::Total() const {
    MutexLock lock(m_mutex);
    std::size_t total = 0;
    for (const auto& entry : m_received) {
        total += entry.second.size();
    }
    return total;
}

std::vector<std::string> RecordingObserver::All(TagQuorAiSubId id) const {
    MutexLock lock(m_mutex);
    const auto found = m_received.find(id);
    return found == m_received.end() ? std::vector<std::string>() : found->second;
}

void RecordingObserver::Clear() {
    MutexLock lock(m_mutex);
    m_received.clear();
}

}  // namespace quor_test
