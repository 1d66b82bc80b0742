/*
 * sync.h - a mutex, its scope lock and a condition variable that clang's thread-safety analysis understands.
 * The standard ones carry no annotations, so that guarded members could be touched without a lock unnoticed.
 */
#ifndef QUOR_SIMULATOR_SYNC_H
#define QUOR_SIMULATOR_SYNC_H

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define QUOR_SIM_ATTRIBUTE(x) __attribute__((x))
#else
#define QUOR_SIM_ATTRIBUTE(x)
#endif

#define QUOR_SIM_GUARDED_BY(mutex) QUOR_SIM_ATTRIBUTE(guarded_by(mutex))
#define QUOR_SIM_REQUIRES(mutex) QUOR_SIM_ATTRIBUTE(requires_capability(mutex))
#define QUOR_SIM_EXCLUDES(mutex) QUOR_SIM_ATTRIBUTE(locks_excluded(mutex))

namespace quor_simulator {

class QUOR_SIM_ATTRIBUTE(capability("mutex")) Mutex {
public:
    void Lock() QUOR_SIM_ATTRIBUTE(acquire_capability()) { m_mutex.lock(); }
    void Unlock() QUOR_SIM_ATTRIBUTE(release_capability()) { m_mutex.unlock(); }

private:
    friend class CondVar;
    std::mutex m_mutex;
};

class QUOR_SIM_ATTRIBUTE(scoped_lockable) MutexLock {
public:
    explicit MutexLock(Mutex& mutex) QUOR_SIM_ATTRIBUTE(acquire_capability(mutex)) : m_mutex(mutex) {
        m_mutex.Lock();
    }
    ~MutexLock() QUOR_SIM_ATTRIBUTE(release_capability()) { m_mutex.Unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

/* Waits need a deadline on the steady clock: nothing in the simulator waits without bound. */
class CondVar {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    void NotifyAll() { m_condition.notify_all(); }

    /* false: the deadline has passed. */
    bool WaitUntil(Mutex& mutex, TimePoint deadline) QUOR_SIM_REQUIRES(mutex) {
        std::unique_lock<std::mutex> lock(mutex.m_mutex, std::adopt_lock);
        const bool inTime = m_condition.wait_until(lock, deadline) == std::cv_status::no_timeout;
        lock.release();
        return inTime;
    }

private:
    std::condition_variable m_condition;
};

}  // namespace quor_simulator

#endif
