// cancel_registry.h - how waiting operations of one kind are ended from another thread.
//
// Locks: m_mutex is held while the wake functions run, so they must only poke a descriptor.
#ifndef QUOR_PLATFORM_LINUX_CANCEL_REGISTRY_H
#define QUOR_PLATFORM_LINUX_CANCEL_REGISTRY_H

#include <atomic>
#include <functional>
#include <set>
#include <utility>

#include "platform_linux/thread_annotations.h"

namespace quor_platform::internal {

class CancelRegistry {
public:
    // An operation that waits, for as long as the object lives. wake ends the operation's wait.
    class Scope {
    public:
        Scope(CancelRegistry& registry, std::function<void()> wake)
            : m_registry(registry), m_wake(std::move(wake)) {
            const MutexLock lock(m_registry.m_mutex);
            m_registry.m_scopes.insert(this);
            m_generation = m_registry.m_generation.load(std::memory_order_relaxed);
        }
        ~Scope() {
            const MutexLock lock(m_registry.m_mutex);
            m_registry.m_scopes.erase(this);
            m_registry.m_left.NotifyAll();
        }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

        // The operation began after Block, or CancelAll ran since it began.
        bool Cancelled() const {
            return m_registry.m_blocked.load() || m_generation != m_registry.m_generation.load();
        }

    private:
        friend class CancelRegistry;
        CancelRegistry& m_registry;
        std::function<void()> m_wake;
        unsigned int m_generation = 0;
    };

    // Cancels every operation there is.
    void CancelAll() QUOR_EXCLUDES(m_mutex) {
        const MutexLock lock(m_mutex);
        m_generation.fetch_add(1);
        for (const Scope* scope : m_scopes) {
            scope->m_wake();
        }
    }
    // Operations that begin from now on are cancelled, or no longer are.
    void Block(bool blocked) { m_blocked.store(blocked); }
    bool Blocked() const { return m_blocked.load(); }
    void WaitForNone() QUOR_EXCLUDES(m_mutex) {
        MutexLock lock(m_mutex);
        while (!m_scopes.empty()) {
            m_left.Wait(lock);
        }
    }

private:
    Mutex m_mutex;
    Condition m_left;
    std::set<const Scope*> m_scopes QUOR_GUARDED_BY(m_mutex);
    std::atomic<unsigned int> m_generation{0};
    std::atomic<bool> m_blocked{false};
};

}  // namespace quor_platform::internal

#endif
