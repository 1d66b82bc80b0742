// queue.h - ThreadSafeQueue: a bounded first-in-first-out queue whose push and pop wait for a limited time.
//
// Threads: every operation is callable from any number of threads at the same time. The one lock is the
// queue's own mutex; no code of the caller runs under it besides the copies and destructions of T. The
// destructor wakes nobody and waits for nobody: all callers must have left before.
//
// The places for all elements are part of the object. Nothing here allocates, so nothing here fails for want
// of memory; it throws only what copying a T throws, and then nothing was queued or taken.
//
// Time: a wait ends at a moment of the system clock, its start plus the timeout. A clock that is set back
// meanwhile lengthens the wait, one that is set forward shortens it. A timeout of 0 or less does not wait.
#ifndef THREAD_POOL_QUEUE_H
#define THREAD_POOL_QUEUE_H

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <optional>
#include <utility>

#include "thread_pool/annotated_mutex.h"

namespace QuorAiComm {

// N is the capacity. T is copied in and out; what an element points to stays the business of its users.
template <typename T, std::size_t N>
class ThreadSafeQueue {
public:
    static_assert(N > 0, "a queue without room");

    // Empty.
    ThreadSafeQueue() = default;
    ThreadSafeQueue(const ThreadSafeQueue&) = delete;
    ThreadSafeQueue& operator=(const ThreadSafeQueue&) = delete;

    // Appends a copy of item as soon as there is room and wakes one waiting WaitAndPop. True: queued. False:
    // no room until the timeout; nothing was queued and what item points to stays the caller's.
    bool WaitAndPush(const T& item, std::chrono::milliseconds timeout) {
        MutexLock lock(m_mutex);
        if (m_count == N) {
            const SystemClock::time_point deadline = DeadlineAfter(timeout);
            do {
                if (!lock.WaitUntil(m_notFull, deadline) && m_count == N) {
                    return false;
                }
            } while (m_count == N);
        }
        m_elements[(m_head + m_count) % N].emplace(PushTime(), item);
        ++m_count;
        m_notEmpty.notify_one();
        return true;
    }

    // Copies the oldest element into item, removes it and wakes one waiting WaitAndPush. True: taken. False:
    // nothing came until the timeout; item is untouched.
    bool WaitAndPop(T& item, std::chrono::milliseconds timeout) {
        MutexLock lock(m_mutex);
        if (m_count == 0) {
            const SystemClock::time_point deadline = DeadlineAfter(timeout);
            do {
                if (!lock.WaitUntil(m_notEmpty, deadline) && m_count == 0) {
                    return false;
                }
            } while (m_count == 0);
        }
        item = m_elements[m_head]->second;
        RemoveFront();
        m_notFull.notify_one();
        return true;
    }

    // Drops all elements as they are. Deliberate: wakes nobody. A WaitAndPush that waits notices the room at
    // its next wake or its deadline; the adapter's shutdown relies on no producer getting in by this.
    void Clear() {
        const MutexLock lock(m_mutex);
        while (m_count != 0) {
            RemoveFront();
        }
    }

private:
    using SystemClock = std::chrono::system_clock;
    // The moment of the push, in milliseconds, travels with every element for whoever reads a dump; no code
    // does.
    using TimeStamp = std::chrono::time_point<SystemClock, std::chrono::milliseconds>;
    using Element = std::pair<TimeStamp, T>;

    static TimeStamp PushTime() {
        return std::chrono::time_point_cast<std::chrono::milliseconds>(SystemClock::now());
    }

    // Now plus timeout, within what the clock can express.
    static SystemClock::time_point DeadlineAfter(std::chrono::milliseconds timeout) {
        const SystemClock::time_point now = SystemClock::now();
        if (timeout <= std::chrono::milliseconds::zero()) {
            return now;
        }
        const auto most = std::chrono::duration_cast<std::chrono::milliseconds>(
            SystemClock::time_point::max() - std::max(now, SystemClock::time_point()));
        return timeout < most ? now + timeout : SystemClock::time_point::max();
    }

    void RemoveFront() QUOR_COMM_THREAD_ATTRIBUTE(requires_capability(m_mutex)) {
        m_elements[m_head].reset();
        m_head = (m_head + 1) % N;
        --m_count;
    }

    Mutex m_mutex;
    std::condition_variable m_notFull;
    std::condition_variable m_notEmpty;
    // A ring: m_count elements from m_head on.
    std::array<std::optional<Element>, N> m_elements QUOR_COMM_GUARDED_BY(m_mutex);
    std::size_t m_head QUOR_COMM_GUARDED_BY(m_mutex) = 0;
    std::size_t m_count QUOR_COMM_GUARDED_BY(m_mutex) = 0;
};

}  // namespace QuorAiComm

#endif
