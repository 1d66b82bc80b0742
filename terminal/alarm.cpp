#include "alarm.h"

#include <utility>

namespace quor_terminal {

Alarm::Alarm(std::chrono::steady_clock::time_point time, std::function<void()> ring)
    : m_thread([this, time, ring = std::move(ring)] {
          if (Sleep(time)) {
              ring();
          }
      }) {}

Alarm::~Alarm() {
    {
        const MutexLock lock(m_mutex);
        m_off = true;
        m_changed.notify_one();
    }
    m_thread.join();
}

bool Alarm::Sleep(std::chrono::steady_clock::time_point time) {
    const MutexLock lock(m_mutex);
    while (!m_off) {
        if (m_changed.wait_until(m_mutex, time) == std::cv_status::timeout) {
            break;
        }
    }
    return !m_off;
}

}  // namespace quor_terminal
