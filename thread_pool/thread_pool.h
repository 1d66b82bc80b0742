// thread_pool.h - ThreadPool: a fixed number of threads that run tasks from a bounded queue, first in first
// out.
//
// Threads: Execute is callable from any thread, also from a task of the same pool. Construction and
// destruction belong to one thread, and not to one of the pool's own. The one lock is the pool's own mutex;
// neither tasks nor their destructors run under it.
#ifndef THREAD_POOL_THREAD_POOL_H
#define THREAD_POOL_THREAD_POOL_H

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <queue>
#include <thread>
#include <vector>

#include "thread_pool/annotated_mutex.h"
#include "thread_pool/thread_execute.h"

namespace QuorAiComm {

class ThreadPool {
public:
    static constexpr std::size_t kDefaultTaskLimit = 50;

    // Starts threadCount threads. The larger of threadCount and taskLimit tasks may wait at a time (at most
    // 4,294,967,295). With 0 threads tasks are taken and never run. Throws what making a thread or getting
    // memory throws; the threads that were started have ended by then.
    explicit ThreadPool(std::size_t threadCount, std::size_t taskLimit = kDefaultTaskLimit);

    // Runs every task that was taken, waits for those that are running, and ends the threads. With 0 threads
    // the waiting tasks are given up.
    ~ThreadPool();

    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    // Queues task and wakes one idle thread. The pool shares the ownership until the task has run.
    // Deliberate: with the limit of waiting tasks reached (or no memory) the task is dropped without a word
    // and goes with the caller's last reference; its destructor is where a task gives back what it holds.
    void Execute(std::shared_ptr<ThreadExecute> task);

private:
    void BuildThread();
    void StopThreads();
    void RunTasks();

    std::vector<std::thread> m_threads;
    std::queue<std::shared_ptr<ThreadExecute>> m_tasks QUOR_COMM_GUARDED_BY(m_mutex);
    Mutex m_mutex;
    std::condition_variable m_condition;
    bool m_stop QUOR_COMM_GUARDED_BY(m_mutex) = false;
    const unsigned int m_taskLimit;
};

}  // namespace QuorAiComm

#endif
