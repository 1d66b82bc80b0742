// thread_execute.h - ThreadExecute: what a ThreadPool runs.
#ifndef THREAD_POOL_THREAD_EXECUTE_H
#define THREAD_POOL_THREAD_EXECUTE_H

namespace QuorAiComm {

// A task. Make it with std::make_shared of the concrete class and hand it on as a shared pointer to this one:
// the destructor here is not virtual, and it is the shared pointer that remembers the concrete class.
class ThreadExecute {
public:
    ThreadExecute() = default;
    ThreadExecute(const ThreadExecute&) = delete;
    ThreadExecute& operator=(const ThreadExecute&) = delete;

    // Runs once, on a thread of the pool, with no lock of the pool held. What it throws ends the process.
    virtual void Execute() = 0;

protected:
    ~ThreadExecute() = default;
};

}  // namespace QuorAiComm

#endif
