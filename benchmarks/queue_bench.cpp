// queue_bench.cpp - what an element's way through the queue, and a task's through the pool, cost against the
// floor: a bare queue of a mutex, two conditions and std::queue, as one would write it for one purpose; for
// the pool, one thread that runs what it takes from it.
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <queue>
#include <semaphore>
#include <thread>
#include <vector>

#include "benchmarks/roads.h"
#include "quor_ai/result.h"
#include "thread_pool/queue.h"
#include "thread_pool/thread_pool.h"

namespace {

constexpr std::size_t kCapacity = 30;
constexpr std::size_t kTaskLimit = 50;
constexpr unsigned int kTasksOfARound = 48;  // within the limit, with the one that ends the round
constexpr std::chrono::milliseconds kTimeout{500};

template <typename T, std::size_t N>
class BareQueue {
public:
    bool Push(const T& item, std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_notFull.wait_until(lock, std::chrono::system_clock::now() + timeout,
                                  [this] { return m_items.size() < N; })) {
            return false;
        }
        m_items.push(item);
        m_notEmpty.notify_one();
        return true;
    }
    bool Pop(T& item, std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_notEmpty.wait_until(lock, std::chrono::system_clock::now() + timeout,
                                   [this] { return !m_items.empty(); })) {
            return false;
        }
        item = m_items.front();
        m_items.pop();
        m_notFull.notify_one();
        return true;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_notFull;
    std::condition_variable m_notEmpty;
    std::queue<T> m_items;
};

class CountingTask final : public QuorAiComm::ThreadExecute {
public:
    virtual ~CountingTask() = default;
    void Execute() override { ++m_runs; }

private:
    unsigned long m_runs = 0;
};

// Ends a round.
class LastTask final : public QuorAiComm::ThreadExecute {
public:
    virtual ~LastTask() = default;
    void Execute() override { m_done.release(); }
    void Wait() { m_done.acquire(); }

private:
    std::binary_semaphore m_done{0};
};

using TaskPtr = std::shared_ptr<QuorAiComm::ThreadExecute>;

// One thread that runs what it pops; a null task ends it.
class BarePool {
public:
    BarePool() : m_thread([this] { Run(); }) {}
    ~BarePool() {
        m_queue.Push(nullptr, kTimeout);
        m_thread.join();
    }
    BarePool(const BarePool&) = delete;
    BarePool& operator=(const BarePool&) = delete;

    void Execute(const TaskPtr& task) { m_queue.Push(task, kTimeout); }

private:
    void Run() {
        for (;;) {
            TaskPtr task;
            if (m_queue.Pop(task, kTimeout)) {
                if (task == nullptr) {
                    return;
                }
                task->Execute();
            }
        }
    }

    BareQueue<TaskPtr, kTaskLimit> m_queue;
    std::thread m_thread;
};

template <typename Pool>
std::function<void()> RoundsOf(std::shared_ptr<Pool> pool) {
    return [pool = std::move(pool), task = std::make_shared<CountingTask>(),
            last = std::make_shared<LastTask>()] {
        for (unsigned int i = 1; i < kTasksOfARound; ++i) {
            pool->Execute(task);
        }
        pool->Execute(last);
        last->Wait();
    };
}

// Made by the first round: an instruction counter sees only the side that it counts.
template <typename Pool>
std::function<void()> LazyRounds(const std::function<std::shared_ptr<Pool>()>& make) {
    return [make, round = std::function<void()>()]() mutable {
        if (!round) {
            round = RoundsOf(make());
        }
        round();
    };
}

std::vector<bench::Pair> MakePairs() {
    const auto queue = std::make_shared<QuorAiComm::ThreadSafeQueue<TagAiCloudSrvResult, kCapacity>>();
    const auto bare = std::make_shared<BareQueue<TagAiCloudSrvResult, kCapacity>>();
    const auto queueRoad = [queue] {
        TagAiCloudSrvResult record = {};
        queue->WaitAndPush(record, kTimeout);
        queue->WaitAndPop(record, kTimeout);
    };
    const auto queueFloor = [bare] {
        TagAiCloudSrvResult record = {};
        bare->Push(record, kTimeout);
        bare->Pop(record, kTimeout);
    };
    const auto poolRoad = LazyRounds<QuorAiComm::ThreadPool>(
        [] { return std::make_shared<QuorAiComm::ThreadPool>(1, kTaskLimit); });
    const auto poolFloor = LazyRounds<BarePool>([] { return std::make_shared<BarePool>(); });
    return {{{"queue", queueRoad}, {"queue-floor", queueFloor}, 20000},
            {{"pool", poolRoad}, {"pool-floor", poolFloor}, 200}};
}

}  // namespace

int main(int argc, char** argv) {
    return bench::Main(MakePairs(), argc, argv);
}
