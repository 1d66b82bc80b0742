// annotated_mutex.h - std::mutex that clang's thread-safety analysis (-Wthread-safety) knows, and the lock
// that waits on a std::condition_variable with it. The standard library's own types carry no annotations, so
// that a guarded member could not be checked with them.
#ifndef THREAD_POOL_ANNOTATED_MUTEX_H
#define THREAD_POOL_ANNOTATED_MUTEX_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define QUOR_COMM_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QUOR_COMM_THREAD_ATTRIBUTE(x)
#endif
#define QUOR_COMM_GUARDED_BY(m) QUOR_COMM_THREAD_ATTRIBUTE(guarded_by(m))

namespace QuorAiComm {

class QUOR_COMM_THREAD_ATTRIBUTE(capability("mutex")) Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

private:
    friend class MutexLock;
    std::mutex m_mutex;
};

// Owns a Mutex for a scope. The waits take no predicate, because the analysis does not see a lock that is
// held inside a lambda: write the loop at the place of the wait.
class QUOR_COMM_THREAD_ATTRIBUTE(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) QUOR_COMM_THREAD_ATTRIBUTE(acquire_capability(mutex))
        : m_lock(mutex.m_mutex) {}
    ~MutexLock() QUOR_COMM_THREAD_ATTRIBUTE(release_capability()) = default;
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void Unlock() QUOR_COMM_THREAD_ATTRIBUTE(release_capability()) { m_lock.unlock(); }
    void Lock() QUOR_COMM_THREAD_ATTRIBUTE(acquire_capability()) { m_lock.lock(); }

    void Wait(std::condition_variable& condition) { condition.wait(m_lock); }
    // False: the deadline was reached.
    bool WaitUntil(std::condition_variable& condition, std::chrono::system_clock::time_point deadline) {
        return condition.wait_until(m_lock, deadline) == std::cv_status::no_timeout;
    }

private:
    std::unique_lock<std::mutex> m_lock;
};

}  // namespace QuorAiComm

#endif
