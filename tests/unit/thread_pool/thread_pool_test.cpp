// The pool of worker threads. Tasks are held back by latches, so that what runs and what waits is known.
#include "thread_pool/thread_pool.h"

#include <atomic>
#include <barrier>
#include <functional>
#include <latch>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/failing_new.h"
#include "support/http_test.h"
#include "support/stopped_clock.h"
#include "support/thread_state.h"

namespace QuorTest {
namespace {

using QuorAiComm::ThreadExecute;
using QuorAiComm::ThreadPool;

class Task : public ThreadExecute {
public:
    explicit Task(std::function<void()> work, std::function<void()> end = nullptr)
        : m_work(std::move(work)), m_end(std::move(end)) {}
    virtual ~Task() {
        if (m_end) {
            m_end();
        }
    }
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    void Execute() override { m_work(); }

private:
    std::function<void()> m_work;
    std::function<void()> m_end;
};

std::shared_ptr<ThreadExecute> MakeTask(std::function<void()> work, std::function<void()> end = nullptr) {
    return std::make_shared<Task>(std::move(work), std::move(end));
}

// A pool whose threads are all busy until it is released.
class BusyPool {
public:
    template <typename... Limit>
    explicit BusyPool(std::size_t threads, Limit... limit) : m_started(static_cast<std::ptrdiff_t>(threads)) {
        m_pool.emplace(threads, limit...);
        for (std::size_t i = 0; i < threads; ++i) {
            m_pool->Execute(MakeTask([this] {
                m_started.count_down();
                m_release.wait();
            }));
        }
        m_started.wait();
    }
    ~BusyPool() {
        if (m_pool) {
            Finish();
        }
    }
    BusyPool(const BusyPool&) = delete;
    BusyPool& operator=(const BusyPool&) = delete;

    ThreadPool& Pool() { return *m_pool; }
    void Release() {
        if (!m_release.try_wait()) {
            m_release.count_down();
        }
    }
    // Lets the threads go and waits for the end of the pool.
    void Finish() {
        Release();
        m_pool.reset();
    }

private:
    std::latch m_started;
    std::latch m_release{1};
    std::optional<ThreadPool> m_pool;
};

class ThreadPoolTest : public HttpTest {
protected:
    // Gives the pool count tasks that count their runs; returns how many it kept.
    unsigned Submit(ThreadPool& pool, unsigned count) {
        std::vector<std::weak_ptr<ThreadExecute>> tasks;
        for (unsigned i = 0; i < count; ++i) {
            auto task = MakeTask([this] { ++m_runs; });
            tasks.emplace_back(task);
            pool.Execute(std::move(task));
        }
        unsigned kept = 0;
        for (const auto& task : tasks) {
            kept += task.expired() ? 0U : 1U;
        }
        return kept;
    }

    std::atomic<unsigned> m_runs{0};
};

static_assert(!std::has_virtual_destructor_v<ThreadExecute>, "the shared pointer knows the concrete class");
static_assert(sizeof(ThreadExecute) == sizeof(void*), "no data members");

TEST_F(ThreadPoolTest, ElevenBusyThreadsLeaveRoomForFiftyTasksAndTheNextIsDroppedSilently) {
    BusyPool busy(11);
    EXPECT_EQ(Submit(busy.Pool(), 51), 50U);
    busy.Finish();
    EXPECT_EQ(m_runs, 50U) << "what was kept ran before the end, what was dropped never did";
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(ThreadPoolTest, TheLimitIsAtLeastTheNumberOfThreads) {
    BusyPool busy(11, 5);
    EXPECT_EQ(Submit(busy.Pool(), 20), 11U);
}

TEST_F(ThreadPoolTest, ALargerLimitCounts) {
    BusyPool busy(1, 70);
    EXPECT_EQ(Submit(busy.Pool(), 100), 70U);
}

TEST_F(ThreadPoolTest, ALimitBeyond32BitsIsNoSmallOne) {
    BusyPool busy(1, std::size_t{1} << 32U);
    EXPECT_EQ(Submit(busy.Pool(), 100), 100U);
}

TEST_F(ThreadPoolTest, WithoutThreadsTasksAreTakenAndNeverRun) {
    const std::size_t threads = ThreadCount();
    unsigned ended = 0;
    {
        ThreadPool pool(0);
        EXPECT_LE(ThreadCount(), threads);
        EXPECT_EQ(Submit(pool, 49), 49U);
        pool.Execute(MakeTask([this] { ++m_runs; }, [&] { ++ended; }));
        EXPECT_EQ(ended, 0U);
        EXPECT_EQ(Submit(pool, 1), 0U) << "the limit holds all the same";
    }
    EXPECT_EQ(ended, 1U);
    EXPECT_EQ(m_runs, 0U);
}

TEST_F(ThreadPoolTest, ADroppedTaskGoesWithItsCallersReference) {
    ThreadPool pool(0, 0);
    bool ended = false;
    auto task = MakeTask([] {}, [&] { ended = true; });
    pool.Execute(task);
    EXPECT_EQ(task.use_count(), 1);
    EXPECT_FALSE(ended);
    task.reset();
    EXPECT_TRUE(ended);
}

TEST_F(ThreadPoolTest, TasksStartInTheOrderTheyCame) {
    std::vector<int> order;
    {
        BusyPool busy(1);
        for (int i = 0; i < 20; ++i) {
            busy.Pool().Execute(MakeTask([&order, i] { order.push_back(i); }));
        }
    }
    std::vector<int> expected(20);
    for (int i = 0; i < 20; ++i) {
        expected[static_cast<std::size_t>(i)] = i;
    }
    EXPECT_EQ(order, expected);
}

TEST_F(ThreadPoolTest, TasksRunAtTheSameTimeOnAllThreads) {
    std::barrier meeting(5);
    ThreadPool pool(4);
    for (int i = 0; i < 4; ++i) {
        pool.Execute(MakeTask([&] { meeting.arrive_and_wait(); }));
    }
    meeting.arrive_and_wait();  // returns only once four tasks stand there
}

TEST_F(ThreadPoolTest, AnIdleThreadIsWoken) {
    ThreadPool pool(1);
    for (int i = 0; i < 100; ++i) {
        std::latch ran(1);
        pool.Execute(MakeTask([&] { ran.count_down(); }));
        ran.wait();
    }
}

// With the lock it would hang here.
TEST_F(ThreadPoolTest, ATasksArrivalWakesAThreadWithoutTheLock) {
    ThreadPool pool(0);
    StoppedClock clock;
    bool nested = false;
    unsigned kept = 0;
    clock.onNotifyOne = [&] {
        if (!nested) {
            nested = true;
            kept = Submit(pool, 1);
        }
    };
    EXPECT_EQ(Submit(pool, 1), 1U);
    EXPECT_EQ(kept, 1U);
}

TEST_F(ThreadPoolTest, TheWorkerEndsATaskThatNobodyElseHolds) {
    std::latch ended(1);
    std::thread::id ran;
    std::thread::id destroyed;
    ThreadPool pool(1);
    pool.Execute(MakeTask([&] { ran = std::this_thread::get_id(); },
                          [&] {
                              destroyed = std::this_thread::get_id();
                              ended.count_down();
                          }));
    ended.wait();
    EXPECT_EQ(ran, destroyed);
    EXPECT_NE(ran, std::this_thread::get_id());
}

TEST_F(ThreadPoolTest, ATaskMayQueueAnotherOneWhileItRunsAndWhileItEnds) {
    std::latch done(2);
    ThreadPool pool(1);
    pool.Execute(MakeTask([&] { pool.Execute(MakeTask([&] { done.count_down(); })); },
                          [&] { pool.Execute(MakeTask([&] { done.count_down(); })); }));
    done.wait();
}

TEST_F(ThreadPoolTest, TheEndRunsEveryTaskThatWaits) {
    BusyPool busy(3);
    EXPECT_EQ(Submit(busy.Pool(), 50), 50U);
    EXPECT_EQ(m_runs, 0U);
    busy.Finish();
    EXPECT_EQ(m_runs, 50U);
}

TEST_F(ThreadPoolTest, TheEndWaitsForARunningTask) {
    std::atomic<pid_t> number{0};
    std::atomic<bool> ended{false};
    std::latch release(1);
    std::latch started(1);
    std::optional<ThreadPool> pool(std::in_place, 1);
    pool->Execute(MakeTask([&] {
        started.count_down();
        release.wait();
    }));
    started.wait();
    std::thread ender([&] {
        number = ThreadNumber();
        pool.reset();
        ended = true;
    });
    WaitUntilAsleep(number);
    EXPECT_FALSE(ended);
    release.count_down();
    ender.join();
    EXPECT_TRUE(ended);
}

TEST_F(ThreadPoolTest, ATaskOfNothingDoesNothing) {
    ThreadPool pool(1);
    pool.Execute(nullptr);
    std::latch ran(1);
    pool.Execute(MakeTask([&] { ran.count_down(); }));
    ran.wait();
}

TEST_F(ThreadPoolTest, ATaskThatFindsNoMemoryIsDropped) {
    ThreadPool pool(0, 1000);
    auto task = MakeTask([] {});
    const FailingNew failing(1);
    unsigned kept = 0;
    while (!failing.Hit()) {  // the queue's storage grows now and then
        pool.Execute(task);
        ++kept;
        ASSERT_LT(kept, 1000U);
    }
    EXPECT_EQ(task.use_count(), static_cast<long>(kept)) << "all but the last one";
    pool.Execute(task);
    EXPECT_EQ(task.use_count(), static_cast<long>(kept) + 1);
}

TEST_F(ThreadPoolTest, AThreadThatCannotBeStartedEndsTheOthersAndThrows) {
    for (unsigned nth = 1; nth <= 4; ++nth) {
        const std::size_t threads = ThreadCount();
        Fake().FailCall(Fn::StartThread, nth);
        EXPECT_THROW(ThreadPool pool(4), std::system_error);
        EXPECT_TRUE(Fake().FaultHit(Fn::StartThread));
        WaitForThreads(threads);
    }
}

TEST_F(ThreadPoolTest, MemoryThatIsMissingAtTheStartThrows) {
    const std::size_t threads = ThreadCount();
    unsigned nth = 1;
    for (;; ++nth) {
        const FailingNew failing(nth);
        try {
            const ThreadPool pool(3);
        } catch (const std::bad_alloc&) {
            WaitForThreads(threads);
            continue;
        }
        break;
    }
    EXPECT_GT(nth, 4U) << "the array and each thread's start, at least";
    EXPECT_THROW(ThreadPool pool(static_cast<std::size_t>(-1)), std::length_error);
}

TEST_F(ThreadPoolTest, ManyThreadsSubmitToOnePool) {
    std::atomic<unsigned> kept{0};
    {
        ThreadPool pool(4);
        std::vector<std::thread> callers;
        callers.reserve(4);
        for (int c = 0; c < 4; ++c) {
            callers.emplace_back([&] {
                for (int i = 0; i < 500; ++i) {
                    pool.Execute(MakeTask([this] { ++m_runs; }, [&kept] { ++kept; }));
                }
            });
        }
        for (std::thread& caller : callers) {
            caller.join();
        }
    }
    EXPECT_EQ(kept, 2000U) << "every task is ended, run or dropped";
    EXPECT_GT(m_runs, 0U);
    EXPECT_LE(m_runs, 2000U);
}

}  // namespace
}  // namespace QuorTest
