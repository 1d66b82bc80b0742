// The workers' loop, and what starts and ends it.
#include "thread_pool/thread_pool.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace QuorAiComm {

namespace {

unsigned int TaskLimit(std::size_t threadCount, std::size_t requested) {
    constexpr std::size_t kMost = std::numeric_limits<unsigned int>::max();
    return static_cast<unsigned int>(std::min(std::max(threadCount, requested), kMost));
}

}  // namespace

ThreadPool::ThreadPool(std::size_t threadCount, std::size_t taskLimit)
    : m_taskLimit(TaskLimit(threadCount, taskLimit)) {
    m_threads.reserve(threadCount);
    try {
        for (std::size_t i = 0; i < threadCount; ++i) {
            BuildThread();
        }
    } catch (...) {
        // The members must not go before the threads that use them.
        StopThreads();
        throw;
    }
}

ThreadPool::~ThreadPool() {
    StopThreads();
}

void ThreadPool::Execute(std::shared_ptr<ThreadExecute> task) {
    {
        const MutexLock lock(m_mutex);
        if (m_tasks.size() >= m_taskLimit) {
            return;
        }
        try {
            m_tasks.push(std::move(task));
        } catch (const std::bad_alloc&) {
            return;
        }
    }
    m_condition.notify_one();
}

void ThreadPool::BuildThread() {
    m_threads.emplace_back([this] { RunTasks(); });
}

void ThreadPool::StopThreads() {
    {
        const MutexLock lock(m_mutex);
        m_stop = true;
    }
    m_condition.notify_all();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

// A thread ends only when nothing waits any more: every task that was taken runs.
void ThreadPool::RunTasks() {
    MutexLock lock(m_mutex);
    for (;;) {
        while (!m_stop && m_tasks.empty()) {
            lock.Wait(m_condition);
        }
        if (m_tasks.empty()) {
            return;
        }
        std::shared_ptr<ThreadExecute> task = std::move(m_tasks.front());
        m_tasks.pop();
        lock.Unlock();
        if (task != nullptr) {
            task->Execute();
            task.reset();
        }
        lock.Lock();
    }
}

}  // namespace QuorAiComm
