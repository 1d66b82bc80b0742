// alarm.h - calls a function at a time, on a thread of its own, unless it is gone before.
#ifndef QUOR_TERMINAL_ALARM_H
#define QUOR_TERMINAL_ALARM_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <thread>

#include "mutex.h"

namespace quor_terminal {

class Alarm {
public:
    Alarm(std::chrono::steady_clock::time_point time, std::function<void()> ring);
    // Returns after a call that is running.
    ~Alarm();
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

private:
    // Whether the time came first.
    bool Sleep(std::chrono::steady_clock::time_point time) QUOR_TERMINAL_EXCLUDES(m_mutex);

    Mutex m_mutex;
    std::condition_variable_any m_changed;
    bool m_off QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

}  // namespace quor_terminal

#endif
