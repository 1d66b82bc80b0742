// queue_bench.cpp - what an element's way through the queue, and a task's through the pool, cost against the
// floor: a bare queue of a mutex, two conditions and std::queue, as one would write it for one purpose; for
// the pool, one thread that runs what it takes from it.
//
// Without arguments: times both in turns and prints the ratios. With "count ROAD N": runs one road N times
// and nothing else, for an instruction counter; the difference between two N divides out the start of the
// program.
#include <algorithm>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <queue>
#include <semaphore>
#include <string_view>
#include <thread>
#include <vector>

#include "quor_ai/result.h"
#include "thread_pool/queue.h"
#include "thread_pool/thread_pool.h"

namespace {

using Clock = std::chrono::steady_clock;

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

struct Road {
    std::string_view name;
    std::function<void()> run;
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

std::vector<Road> MakeRoads() {
    const auto queue = std::make_shared<QuorAiComm::ThreadSafeQueue<TagAiCloudSrvResult, kCapacity>>();
    const auto bare = std::make_shared<BareQueue<TagAiCloudSrvResult, kCapacity>>();
    return {{"queue",
             [queue] {
                 TagAiCloudSrvResult record = {};
                 queue->WaitAndPush(record, kTimeout);
                 queue->WaitAndPop(record, kTimeout);
             }},
            {"queue-floor",
             [bare] {
                 TagAiCloudSrvResult record = {};
                 bare->Push(record, kTimeout);
                 bare->Pop(record, kTimeout);
             }},
            {"pool",
             [round = std::function<void()>()]() mutable {
                 if (!round) {
                     round = RoundsOf(std::make_shared<QuorAiComm::ThreadPool>(1, kTaskLimit));
                 }
                 round();
             }},
            {"pool-floor", [round = std::function<void()>()]() mutable {
                 if (!round) {
                     round = RoundsOf(std::make_shared<BarePool>());
                 }
                 round();
             }}};
}

double TimeOnce(const Road& road, unsigned int repetitions) {
    const auto start = Clock::now();
    for (unsigned int i = 0; i < repetitions; ++i) {
        road.run();
    }
    const std::chrono::duration<double, std::nano> elapsed = Clock::now() - start;
    return elapsed.count() / repetitions;
}

double Median(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

// Both roads in turns, so that a slow moment of the machine falls on both.
void PrintRatio(const Road& road, const Road& floor, unsigned int repetitions) {
    constexpr int kRounds = 41;
    std::vector<double> roadSamples;
    std::vector<double> floorSamples;
    for (int i = 0; i < kRounds; ++i) {
        roadSamples.push_back(TimeOnce(road, repetitions));
        floorSamples.push_back(TimeOnce(floor, repetitions));
    }
    const double roadTime = Median(roadSamples);
    const double floorTime = Median(floorSamples);
    std::printf("time %-10.*s %11.0f ns  floor %11.0f ns  ratio %.3f\n", static_cast<int>(road.name.size()),
                road.name.data(), roadTime, floorTime, roadTime / floorTime);
}

int Count(const std::vector<Road>& roads, std::string_view name, std::string_view number) {
    unsigned int repetitions = 0;
    const auto parsed = std::from_chars(number.data(), number.data() + number.size(), repetitions);
    const auto road =
        std::find_if(roads.begin(), roads.end(), [name](const Road& r) { return r.name == name; });
    if (road == roads.end() || parsed.ec != std::errc{}) {
        std::fputs("usage: queue_bench [count ROAD N]\n", stderr);
        return 2;
    }
    for (unsigned int i = 0; i < repetitions; ++i) {
        road->run();
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<Road> roads = MakeRoads();
    if (argc == 4 && std::string_view(argv[1]) == "count") {
        return Count(roads, argv[2], argv[3]);
    }
    PrintRatio(roads[0], roads[1], 20000);
    PrintRatio(roads[2], roads[3], 200);
    return 0;
}
