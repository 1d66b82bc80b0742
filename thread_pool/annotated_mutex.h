// annotated_mutex.h - std::mutex that clang's thread-safety analysis (-Wthread-safety) knows, and the lock
// that waits on a std::condition_variable with it. The standard library's own types carry no annotations, so
// that a guarded member could not be checked with them.
#ifndef THREAD_POOL_ANNOTATED_MUTEX_H
#define THREAD_POOL_ANNOTATED_MUTEX_H

#include <chrono>
#include <condition_variable>
#include <mutex>

// An attribute of the analysis; nothing for other compilers.
#if defined(__clang__)
#define QUOR_COMM_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QUOR_COMM_THREAD_ATTRIBUTE(x)
#endif
// Behind a member: touched by the owner of m only.
#define QUOR_COMM_GUARDED_BY(m) QUOR_COMM_THREAD_ATTRIBUTE(guarded_by(m))

namespace QuorAiComm {

// A mutex that is locked by a MutexLock only. Not recursive.
class QUOR_COMM_THREAD_ATTRIBUTE(capability("mutex")) Mutex {
public:
    // Not owned by anybody.
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
    // Waits without bound until the calling thread owns mutex, which outlives the lock.
    explicit MutexLock(Mutex& mutex) QUOR_COMM_THREAD_ATTRIBUTE(acquire_capability(mutex))
        : m_lock(mutex.m_mutex) {}
    // Gives the mutex up if it is owned.
    ~MutexLock() QUOR_COMM_THREAD_ATTRIBUTE(release_capability()) = default;
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    // Gives the mutex up before the scope ends; only while it is owned.
    void Unlock() QUOR_COMM_THREAD_ATTRIBUTE(release_capability()) { m_lock.unlock(); }
    // Owns the mutex again; only after Unlock.
    void Lock() QUOR_COMM_THREAD_ATTRIBUTE(acquire_capability()) { m_lock.lock(); }

    // Gives the mutex up, waits until condition is notified (or without a reason), and owns it again.
    void Wait(std::condition_variable& condition) { condition.wait(m_lock); }
    // Likewise, at most until deadline. False: the deadline was reached.
    bool WaitUntil(std::condition_variable& condition, std::chrono::system_clock::time_point deadline) {
        return condition.wait_until(m_lock, deadline) == std::cv_status::no_timeout;
    }

private:
    std::unique_lock<std::mutex> m_lock;
};

}  // namespace QuorAiComm

#endif
