#include "platform_linux/http/kept_connections.h"

#include <utility>

namespace quor_platform::internal {

KeptConnectionPointer KeptConnections::Take(const std::string& key, const TrustPointer& trust) {
    std::list<KeptConnectionPointer> outdated;
    KeptConnectionPointer taken;
    {
        const MutexLock lock(m_mutex);
        for (auto at = m_newestFirst.begin(); at != m_newestFirst.end();) {
            const auto current = at++;
            const KeptConnection& kept = **current;
            if (kept.trust->path == trust->path && kept.trust != trust) {
                outdated.splice(outdated.end(), m_newestFirst, current);
            } else if (taken == nullptr && kept.key == key && kept.trust == trust) {
                taken = std::move(*current);
                m_newestFirst.erase(current);
            }
        }
    }
    if (taken == nullptr) {
        taken = std::make_unique<KeptConnection>();
        taken->key = key;
        taken->trust = trust;
    }
    return taken;
}

void KeptConnections::Return(KeptConnectionPointer connection, std::size_t most) {
    std::list<KeptConnectionPointer> returned;
    returned.push_back(std::move(connection));
    const MutexLock lock(m_mutex);
    if (!m_open) {
        return;  // "returned" ends it, after the lock
    }
    m_newestFirst.splice(m_newestFirst.begin(), returned);
    while (m_newestFirst.size() > most) {
        returned.splice(returned.end(), m_newestFirst, std::prev(m_newestFirst.end()));
    }
}

void KeptConnections::Open() {
    const MutexLock lock(m_mutex);
    m_open = true;
}

void KeptConnections::Close() {
    std::list<KeptConnectionPointer> ended;
    const MutexLock lock(m_mutex);
    m_open = false;
    ended.swap(m_newestFirst);
}

}  // namespace quor_platform::internal
