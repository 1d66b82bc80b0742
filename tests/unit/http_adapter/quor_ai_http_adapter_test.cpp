// The singleton, its start and its stop.
#include <array>
#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "common/scope.h"
#include "support/adapter_test.h"
#include "support/failing_new.h"
#include "support/thread_state.h"

namespace QuorTest {
namespace {

using AdapterLifecycleTest = AdapterTest;

constexpr unsigned kWorkers = 11;
const LogLine kNotInited = AE("<CloudHttpUninit> failed: has not inited.");
const LogLine kUninitSuccess = AI("<CloudHttpUninit>: Uninit success.");
const LogLine kThreadExit = AI("<CloudHttpInit> http thread exit.");

// The lines of the adapter itself, without those of the dispatcher, which come when they come.
std::vector<LogLine> AdapterLines(const std::vector<LogLine>& lines) {
    std::vector<LogLine> own;
    for (const LogLine& line : lines) {
        if (line.module == kAdapterModule && !(line == kThreadExit)) {
            own.push_back(line);
        }
    }
    return own;
}

TEST_F(AdapterLifecycleTest, TheInstanceIsOne) {
    EXPECT_EQ(AiHttpAdapter::GetInstance(), AiHttpAdapter::GetInstance());
    EXPECT_EQ(Fake().CountOf(Fn::NothrowNew), 0U);
}

TEST_F(AdapterLifecycleTest, AnInstanceIsMadeUnderALockOfItsOwn) {
    AiHttpAdapter* instance = Adapter::ExchangeInstance(nullptr);
    Fake().ClearRecords();
    AiHttpAdapter* another = AiHttpAdapter::GetInstance();
    EXPECT_EQ(another, AiHttpAdapter::GetInstance());
    EXPECT_THAT(Fake().Trail(), ElementsAre("MutexLock", "MutexUnlock"));
    EXPECT_EQ(Adapter::Users(), 0);
    EXPECT_EQ(Adapter::ConfToken(), "");
    Adapter::Destroy(another);
    Adapter::ExchangeInstance(instance);
}

TEST_F(AdapterLifecycleTest, WithoutMemoryThereIsNoInstanceUntilThereIs) {
    AiHttpAdapter* instance = Adapter::ExchangeInstance(nullptr);
    Fake().FailCall(Fn::NothrowNew, 1);
    EXPECT_EQ(AiHttpAdapter::GetInstance(), nullptr);
    {
        const FailingNew protocol(1);
        EXPECT_EQ(AiHttpAdapter::GetInstance(), nullptr);
        EXPECT_TRUE(protocol.Hit());
    }
    AiHttpAdapter* another = AiHttpAdapter::GetInstance();
    EXPECT_NE(another, nullptr);
    Adapter::Destroy(another);
    Adapter::ExchangeInstance(instance);
}

TEST_F(AdapterLifecycleTest, ManyThreadsGetOneInstance) {
    AiHttpAdapter* instance = Adapter::ExchangeInstance(nullptr);
    std::vector<AiHttpAdapter*> seen(8);
    {
        std::vector<std::thread> threads;
        threads.reserve(seen.size());
        for (AiHttpAdapter*& mine : seen) {
            threads.emplace_back([&mine] { mine = AiHttpAdapter::GetInstance(); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    for (AiHttpAdapter* mine : seen) {
        EXPECT_EQ(mine, seen[0]);
    }
    Adapter::Destroy(seen[0]);
    Adapter::ExchangeInstance(instance);
}

// Both find none, and the second one looks again when the lock is its own.
TEST_F(AdapterLifecycleTest, WhoWaitedForTheInstancesLockMakesNoSecondOne) {
    AiHttpAdapter* instance = Adapter::ExchangeInstance(nullptr);
    std::array<AiHttpAdapter*, 2> seen{};
    std::array<std::atomic<pid_t>, 2> numbers{};
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    {
        const QuorAiEngine::ScopedOsLock lock(Adapter::InstanceLock());
        for (std::size_t i = 0; i < seen.size(); ++i) {
            threads.emplace_back([&, i] {
                numbers[i] = ThreadNumber();
                seen[i] = AiHttpAdapter::GetInstance();
            });
            WaitUntilAsleep(numbers[i]);
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_NE(seen[0], nullptr);
    EXPECT_EQ(seen[0], seen[1]);
    EXPECT_EQ(Fake().CountOf(Fn::NothrowNew), 1U);
    Adapter::Destroy(seen[0]);
    Adapter::ExchangeInstance(instance);
}

TEST_F(AdapterLifecycleTest, TheEndOfTheInstanceLetsItsObserversGo) {
    AiHttpAdapter* instance = Adapter::ExchangeInstance(nullptr);
    AiHttpAdapter* another = AiHttpAdapter::GetInstance();
    another->Attach(observer);
    EXPECT_EQ(observer.use_count(), 2);
    Adapter::Destroy(another);
    EXPECT_EQ(observer.use_count(), 1);
    EXPECT_EQ(Fake().LocksHeld(), 0U);
    Adapter::ExchangeInstance(instance);
}

TEST_F(AdapterLifecycleTest, StartsAndStops) {
    EXPECT_EQ(Http().CloudHttpInit(), 0);
    EXPECT_EQ(Adapter::Users(), 1);
    EXPECT_EQ(HttpAccess::Users(), 1U);
    EXPECT_NE(Adapter::Photos(), nullptr);
    EXPECT_NE(Adapter::Sites(), nullptr);
    EXPECT_TRUE(Network().IsInitialised());
    EXPECT_EQ(Fake().CountOf(Fn::StartThread), kWorkers + 1);
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_EQ(Adapter::Photos(), nullptr);
    EXPECT_EQ(Adapter::Sites(), nullptr);
    EXPECT_FALSE(Adapter::HasPool());
    EXPECT_FALSE(Network().IsInitialised());
    ResetAdapter();
    EXPECT_THAT(AdapterLines(LogsNow()), ElementsAre(kUninitSuccess));
    EXPECT_THAT(Logs(), ::testing::Contains(kThreadExit));
    EXPECT_THAT(Fake().threadNames, ElementsAre("httpQueueThread"));
}

// The dispatcher must find a user, and its first record workers.
TEST_F(AdapterLifecycleTest, TheStartMakesTheWorkersThenCountsThenStartsTheDispatcher) {
    unsigned started = 0;
    Fake().onStartThread = [&] {
        const bool dispatcher = ++started == kWorkers + 1;
        EXPECT_EQ(Adapter::Users(), dispatcher ? 1 : 0) << started;
        EXPECT_EQ(Adapter::HasPool(), dispatcher) << started;
    };
    EXPECT_EQ(Http().CloudHttpInit(), 0);
    EXPECT_EQ(started, kWorkers + 1);
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
}

TEST_F(AdapterLifecycleTest, TheBuffersHaveTheirFullSize) {
    Start();
    std::vector<unsigned> sizes;
    for (const BlockRecord& block : Fake().LiveBlocks()) {
        sizes.push_back(block.sizeBytes);
    }
    EXPECT_THAT(sizes, ::testing::UnorderedElementsAre(520U, 716808U, 4194136U));
}

TEST_F(AdapterLifecycleTest, NestedUsersOnlyCount) {
    EXPECT_EQ(Http().CloudHttpInit(), 0);
    EXPECT_EQ(Http().CloudHttpInit(), 0);
    EXPECT_EQ(Http().CloudHttpInit(), 0);
    EXPECT_EQ(HttpAccess::Users(), 1U);
    EXPECT_EQ(Fake().CountOf(Fn::StartThread), kWorkers + 1);
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_TRUE(Network().IsInitialised());
    EXPECT_TRUE(Adapter::HasPool());
    EXPECT_THAT(AdapterLines(LogsNow()), IsEmpty());
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_FALSE(Network().IsInitialised());
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_THAT(AdapterLines(LogsNow()), ElementsAre(kUninitSuccess, kNotInited));
}

// Every order of six starts and stops; each bit of a sequence is one of them.
TEST_F(AdapterLifecycleTest, EveryOrderOfStartsAndStops) {
    constexpr unsigned kSteps = 6;
    for (unsigned sequence = 0; sequence < 1U << kSteps; ++sequence) {
        Fake().ClearRecords();
        std::vector<LogLine> lines;
        unsigned transportStarts = 0;
        int users = 0;
        for (unsigned step = 0; step < kSteps; ++step) {
            SCOPED_TRACE(std::to_string(sequence) + " step " + std::to_string(step));
            if ((sequence >> step & 1U) != 0) {
                transportStarts += users == 0 ? 1U : 0U;
                ++users;
                ASSERT_EQ(Http().CloudHttpInit(), 0);
            } else {
                if (users < 2) {
                    lines.push_back(users == 0 ? kNotInited : kUninitSuccess);
                }
                users -= users == 0 ? 0 : 1;
                ASSERT_EQ(Http().CloudHttpUninit(), 0);
            }
            const bool started = users != 0;
            EXPECT_EQ(Adapter::Users(), users);
            EXPECT_EQ(HttpAccess::Users(), started ? 1U : 0U);
            EXPECT_EQ(Network().IsInitialised(), started);
            EXPECT_EQ(Adapter::HasPool(), started);
            EXPECT_EQ(Adapter::Photos() != nullptr, started);
            EXPECT_EQ(Adapter::Sites() != nullptr, started);
        }
        EXPECT_EQ(AdapterLines(LogsNow()), lines);
        EXPECT_EQ(Fake().CountOf(Fn::HttpInit), transportStarts);
        ResetAdapter();
        EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
    }
}

// A success, whatever the text says.
TEST_F(AdapterLifecycleTest, StoppingWhatWasNotStarted) {
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_THAT(Logs(), ElementsAre(kNotInited, kNotInited));
    EXPECT_EQ(Adapter::Users(), 0);
    EXPECT_EQ(Fake().CountOf(Fn::HttpUninit), 0U);
}

TEST_F(AdapterLifecycleTest, TheStartIsTraced) {
    Fake().traceLevel = 2;
    Fake().FailCall(Fn::HttpInit, 1, FailMode::kFromThenOn);
    Http().CloudHttpInit();
    EXPECT_THAT(TraceTexts(), IsEmpty());
    Fake().traceLevel = 3;
    Http().CloudHttpInit();
    EXPECT_THAT(TraceTexts(), ElementsAre("CloudHttpInit in"));
}

TEST_F(AdapterLifecycleTest, ATransportThatDoesNotStart) {
    Fake().FailCall(Fn::HttpInit, 1);
    EXPECT_EQ(Http().CloudHttpInit(), -1);
    EXPECT_EQ(Adapter::Users(), 0);
    EXPECT_EQ(Logs().back(), AE("<CloudHttpInit>: failed."));
    EXPECT_EQ(Fake().CountOf(Fn::StartThread), 0U);
    EXPECT_EQ(Http().CloudHttpInit(), 0);
}

// The transport stays started, what there is of the buffers is used again. The last line carries the name of
// another operation.
TEST_F(AdapterLifecycleTest, BuffersThatCannotBeHad) {
    const struct {
        Fn fn;
        std::size_t size;
        const char* line;
        unsigned buffers;
    } failures[] = {{Fn::HeapAlloc, 0, "<MallocMsgBuffer>: failed malloc m_sendMsgBuffer error", 0},
                    {Fn::HeapAlloc, 1, "<MallocMsgBuffer>: failed malloc m_siteInfoBuffer error", 1},
                    {Fn::MemsetS, 4194136, "<MallocMsgBuffer>: failed memset m_sendMsgBuffer error", 1},
                    {Fn::MemsetS, 716808, "<MallocMsgBuffer>: failed memset m_siteInfoBuffer error", 2}};
    for (const auto& failure : failures) {
        ResetAdapter();
        HttpAccess::Reset();
        Fake().ClearRecords();
        if (failure.fn == Fn::HeapAlloc) {
            Fake().FailCall(Fn::HeapAlloc,
                            2 + static_cast<unsigned>(failure.size));  // the first is the TLS block
        } else {
            FailClearOf(failure.size);
        }
        EXPECT_EQ(Http().CloudHttpInit(), -1);
        EXPECT_THAT(
            AdapterLines(LogsNow()),
            ElementsAre(AE(failure.line), AE("<CloudQueryConfListPage>: failed MallocMsgBuffer error")));
        EXPECT_EQ(Adapter::Users(), 0);
        EXPECT_EQ(HttpAccess::Users(), 1U);
        EXPECT_EQ((Adapter::Photos() != nullptr ? 1U : 0U) + (Adapter::Sites() != nullptr ? 1U : 0U),
                  failure.buffers);
        EXPECT_EQ(Fake().LocksHeld(), 0U);
        Fake().ClearFaults();
        const TagQuorAiFacePhotoList* photos = Adapter::Photos();
        EXPECT_EQ(Http().CloudHttpInit(), 0);
        EXPECT_EQ(HttpAccess::Users(), 2U);
        if (photos != nullptr) {
            EXPECT_EQ(Adapter::Photos(), photos);
        }
        EXPECT_EQ(Http().CloudHttpUninit(), 0);
        EXPECT_TRUE(Network().IsInitialised());  // counted twice, left once
    }
}

TEST_F(AdapterLifecycleTest, BuffersThatAreThereAreClearedOneAfterTheOther) {
    Start();
    Adapter::Sites()->siteCount = 5;
    Adapter::Photos()->payload[77] = 5;
    const TagQuorAiConfList* sites = Adapter::Sites();
    Fake().ClearRecords();
    EXPECT_EQ(Adapter::MallocBuffers(), 0);
    EXPECT_EQ(Adapter::Sites(), sites);
    EXPECT_EQ(Adapter::Sites()->siteCount, 0U);
    EXPECT_EQ(Adapter::Photos()->payload[77], 0);
    EXPECT_THAT(Fake().Trail(), ElementsAre("MutexLock", "MutexUnlock", "MutexLock", "MutexUnlock"));
}

TEST_F(AdapterLifecycleTest, ThreadsThatCannotBeStarted) {
    for (const unsigned nth : {1U, 5U, kWorkers, kWorkers + 1}) {
        ResetAdapter();
        HttpAccess::Reset();
        Fake().ClearRecords();
        Fake().FailCall(Fn::StartThread, nth);
        EXPECT_EQ(Http().CloudHttpInit(), -1) << nth;
        EXPECT_THAT(AdapterLines(LogsNow()), ElementsAre(AE("<CloudHttpInit>: failed.")));
        EXPECT_EQ(Adapter::Users(), 0);
        EXPECT_FALSE(Adapter::HasPool());
        EXPECT_EQ(Http().CloudHttpInit(), 0);
        EXPECT_EQ(Http().CloudHttpUninit(), 0);
    }
}

TEST_F(AdapterLifecycleTest, MemoryThatCannotBeHadForWorkers) {
    for (unsigned nth = 1;; ++nth) {
        ResetAdapter();
        HttpAccess::Reset();
        bool hit = false;
        int result = 0;
        {
            const FailingNew failing(nth);
            result = Http().CloudHttpInit();
            hit = failing.Hit();
        }
        if (!hit) {
            EXPECT_EQ(result, 0);
            EXPECT_GT(nth, 2U);
            return;
        }
        EXPECT_EQ(result, -1) << nth;
        EXPECT_EQ(Adapter::Users(), 0);
        EXPECT_FALSE(Adapter::HasPool());
    }
}

// The buffers stay, and nothing is started any more all the same.
TEST_F(AdapterLifecycleTest, ATransportThatDoesNotEnd) {
    StartAll();
    Fake().FailCall(Fn::HttpUninit, 1);
    EXPECT_EQ(Http().CloudHttpUninit(), -1);
    EXPECT_EQ(AdapterLines(LogsNow()).back(), AE("<CloudHttpUninit> call AiUtilityHttpUninit failed"));
    EXPECT_EQ(Adapter::Users(), 0);
    EXPECT_FALSE(Adapter::HasPool());
    const TagQuorAiFacePhotoList* photos = Adapter::Photos();
    const TagQuorAiConfList* sites = Adapter::Sites();
    EXPECT_NE(photos, nullptr);
    EXPECT_NE(sites, nullptr);
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_EQ(AdapterLines(LogsNow()).back(), kNotInited);
    EXPECT_EQ(Http().CloudHttpInit(), 0);
    EXPECT_EQ(Adapter::Photos(), photos);
    EXPECT_EQ(Adapter::Sites(), sites);
}

// A start within the half second that the dispatcher of the last one may wait.
TEST_F(AdapterLifecycleTest, OfManyStartsOnlyTheLastDispatcherRunsOn) {
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(Http().CloudHttpInit(), 0);
        ASSERT_EQ(Http().CloudHttpUninit(), 0);
    }
    ASSERT_EQ(Http().CloudHttpInit(), 0);
    const unsigned generation = Adapter::Generation();
    // Those of the past end at once, although there is a user.
    Adapter::RunDispatcher(generation - 1);
    Adapter::RunDispatcher(generation + 1);
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    ResetAdapter();
    EXPECT_EQ(Fake().CountOf(Fn::SetThreadName), 23U);
    unsigned exits = 0;
    for (const LogLine& line : Logs()) {
        exits += line == kThreadExit ? 1U : 0U;
    }
    EXPECT_EQ(exits, 23U);
}

}  // namespace
}  // namespace QuorTest
