// listener.h - a callback of the program that runs on whichever thread raises it, one call at a time.
//
// Locks: m_call is held while the callback runs and serialises the calls; m_state guards the callback and is
// never held while it runs.
#ifndef QUOR_PLATFORM_LINUX_LISTENER_H
#define QUOR_PLATFORM_LINUX_LISTENER_H

#include <memory>
#include <thread>
#include <utility>

#include "platform_linux/thread_annotations.h"

namespace quor_platform::internal {

template <typename Function>
class Listener {
public:
    constexpr Listener() = default;

    // Replaces the callback. After it returned the old one does not run, except for the call from inside
    // which Set was called.
    void Set(Function function) QUOR_EXCLUDES(m_call, m_state) {
        std::shared_ptr<const Function> next;
        if (function) {
            next = std::make_shared<const Function>(std::move(function));
        }
        {
            const MutexLock lock(m_state);
            m_function.swap(next);
            if (m_caller == std::this_thread::get_id()) {
                return;
            }
        }
        const MutexLock runningCallEnded(m_call);
    }

    // Runs the callback. False: there is none, or this is a call from inside it, which is dropped.
    template <typename... Args>
    bool Call(const Args&... args) QUOR_EXCLUDES(m_call, m_state) {
        {
            const MutexLock lock(m_state);
            if (m_function == nullptr || m_caller == std::this_thread::get_id()) {
                return false;
            }
        }
        const MutexLock call(m_call);
        std::shared_ptr<const Function> function;
        {
            const MutexLock lock(m_state);
            function = m_function;
            m_caller = std::this_thread::get_id();
        }
        const bool called = function != nullptr;
        if (called) {
            (*function)(args...);
            function.reset();  // may be the last reference, whose destructor is the program's code
        }
        const MutexLock lock(m_state);
        m_caller = std::thread::id();
        return called;
    }

private:
    Mutex m_call QUOR_ACQUIRED_BEFORE(m_state);
    Mutex m_state;
    std::shared_ptr<const Function> m_function QUOR_GUARDED_BY(m_state);
    std::thread::id m_caller QUOR_GUARDED_BY(m_state);  // the thread inside the callback
};

}  // namespace quor_platform::internal

#endif
