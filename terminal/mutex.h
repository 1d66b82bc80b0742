// mutex.h - std::mutex with the annotations that let clang check who holds it.
//
// The standard library's own mutex carries none, so that a guarded member could not be checked with it.
#ifndef QUOR_TERMINAL_MUTEX_H
#define QUOR_TERMINAL_MUTEX_H

#include <mutex>

#if defined(__clang__)
#define QUOR_TERMINAL_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QUOR_TERMINAL_THREAD_ATTRIBUTE(x)
#endif
#define QUOR_TERMINAL_GUARDED_BY(m) QUOR_TERMINAL_THREAD_ATTRIBUTE(guarded_by(m))
#define QUOR_TERMINAL_REQUIRES(m) QUOR_TERMINAL_THREAD_ATTRIBUTE(requires_capability(m))
#define QUOR_TERMINAL_EXCLUDES(m) QUOR_TERMINAL_THREAD_ATTRIBUTE(locks_excluded(m))

namespace quor_terminal {

// Also usable with std::condition_variable_any, whose wait gives it up and takes it again.
class QUOR_TERMINAL_THREAD_ATTRIBUTE(capability("mutex")) Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() QUOR_TERMINAL_THREAD_ATTRIBUTE(acquire_capability()) { m_mutex.lock(); }
    void unlock() QUOR_TERMINAL_THREAD_ATTRIBUTE(release_capability()) { m_mutex.unlock(); }

private:
    std::mutex m_mutex;
};

class QUOR_TERMINAL_THREAD_ATTRIBUTE(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) QUOR_TERMINAL_THREAD_ATTRIBUTE(acquire_capability(mutex))
        : m_mutex(mutex) {
        m_mutex.lock();
    }
    ~MutexLock() QUOR_TERMINAL_THREAD_ATTRIBUTE(release_capability()) { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

}  // namespace quor_terminal

#endif
