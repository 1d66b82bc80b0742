// thread_annotations.h - clang's thread-safety annotations (-Wthread-safety) for the platform's own locks.
// With other compilers the macros are empty and the classes are thin wrappers of their standard counterparts.
#ifndef QUOR_PLATFORM_LINUX_THREAD_ANNOTATIONS_H
#define QUOR_PLATFORM_LINUX_THREAD_ANNOTATIONS_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define QUOR_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QUOR_THREAD_ANNOTATION(x)
#endif

#define QUOR_CAPABILITY(name) QUOR_THREAD_ANNOTATION(capability(name))
#define QUOR_SCOPED_CAPABILITY QUOR_THREAD_ANNOTATION(scoped_lockable)
#define QUOR_GUARDED_BY(mutex) QUOR_THREAD_ANNOTATION(guarded_by(mutex))
#define QUOR_PT_GUARDED_BY(mutex) QUOR_THREAD_ANNOTATION(pt_guarded_by(mutex))
#define QUOR_REQUIRES(...) QUOR_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define QUOR_EXCLUDES(...) QUOR_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define QUOR_ACQUIRED_BEFORE(...) QUOR_THREAD_ANNOTATION(acquired_before(__VA_ARGS__))
#define QUOR_ACQUIRE(...) QUOR_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QUOR_RELEASE(...) QUOR_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define QUOR_TRY_ACQUIRE(...) QUOR_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define QUOR_NO_THREAD_SAFETY_ANALYSIS QUOR_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace quor_platform::internal {

// std::mutex that the analysis knows. A constant-initialised static one is ready before any constructor runs.
class QUOR_CAPABILITY("mutex") Mutex {
public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() QUOR_ACQUIRE() { m_mutex.lock(); }
    void unlock() QUOR_RELEASE() { m_mutex.unlock(); }
    bool try_lock() QUOR_TRY_ACQUIRE(true) { return m_mutex.try_lock(); }

private:
    friend class MutexLock;
    std::mutex m_mutex;
};

// Owns a Mutex for a scope. Unlock and Lock give it up and take it back inside the scope, for callbacks.
class QUOR_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) QUOR_ACQUIRE(mutex) : m_lock(mutex.m_mutex) {}
    ~MutexLock() QUOR_RELEASE() = default;
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void Unlock() QUOR_RELEASE() { m_lock.unlock(); }
    void Lock() QUOR_ACQUIRE() { m_lock.lock(); }

private:
    friend class Condition;
    std::unique_lock<std::mutex> m_lock;
};

// std::condition_variable over MutexLock. Waits take no predicate, because the analysis does not see locks
// held inside a lambda: write the loop at the place of the wait.
class Condition {
public:
    void Wait(MutexLock& lock) { m_condition.wait(lock.m_lock); }
    // On the monotonic clock, so that setting the system clock moves no deadline. False: the time was
    // reached.
    bool WaitUntil(MutexLock& lock, std::chrono::steady_clock::time_point deadline) {
        return m_condition.wait_until(lock.m_lock, deadline) == std::cv_status::no_timeout;
    }
    void NotifyOne() { m_condition.notify_one(); }
    void NotifyAll() { m_condition.notify_all(); }

private:
    std::condition_variable m_condition;
};

}  // namespace quor_platform::internal

#endif
