// storm_limit.h - how many records the storm log takes in a second.
//
// Threads: callable from any thread. Locks: m_mutex guards the counts; a leaf.
#ifndef QUOR_PLATFORM_LINUX_STORM_LIMIT_H
#define QUOR_PLATFORM_LINUX_STORM_LIMIT_H

#include <chrono>
#include <utility>

#include "platform_linux/thread_annotations.h"

namespace quor_platform::internal {

// Admits recordsPerSecond records in every second that begins with an admitted one, and counts the others.
class StormLimit {
public:
    using Time = std::chrono::steady_clock::time_point;

    constexpr StormLimit() = default;

    // Also begins a new second.
    void SetRate(unsigned int recordsPerSecond) {
        const MutexLock lock(m_mutex);
        m_started = false;
        m_rate = recordsPerSecond;
    }

    bool Admit(Time now) {
        const MutexLock lock(m_mutex);
        if (!m_started || now - m_secondBegan >= std::chrono::seconds(1)) {
            m_started = true;
            m_secondBegan = now;
            m_admitted = 0;
        }
        if (m_admitted >= m_rate) {
            ++m_dropped;
            return false;
        }
        ++m_admitted;
        return true;
    }

    // How many were dropped since the last call.
    unsigned long TakeDropped() {
        const MutexLock lock(m_mutex);
        return std::exchange(m_dropped, 0);
    }

private:
    Mutex m_mutex;
    unsigned int m_rate QUOR_GUARDED_BY(m_mutex) = 10;
    bool m_started QUOR_GUARDED_BY(m_mutex) = false;
    Time m_secondBegan QUOR_GUARDED_BY(m_mutex);
    unsigned int m_admitted QUOR_GUARDED_BY(m_mutex) = 0;
    unsigned long m_dropped QUOR_GUARDED_BY(m_mutex) = 0;
};

}  // namespace quor_platform::internal

#endif
