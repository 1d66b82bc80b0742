#include <atomic>
#include <thread>

#include "support/adapter_test.h"
#include "support/failing_new.h"
#include "support/thread_state.h"

namespace QuorTest {
namespace {

using AdapterObserversTest = AdapterTest;

void Tell(TagQuorAiSubId id = AI_SUB_ID_QUERY_SIGN_IN) {
    unsigned char data[3] = {'a', 'b', 'c'};
    Adapter::Http().Notify(id, data, sizeof(data));
}

TEST_F(AdapterObserversTest, EveryObserverGetsTheRecordInOrderOfAttaching) {
    std::string order;
    auto first = std::make_shared<RecordingObserver>();
    auto second = std::make_shared<RecordingObserver>();
    first->onUpdate = [&](const auto&) { order += '1'; };
    second->onUpdate = [&](const auto&) { order += '2'; };
    EXPECT_EQ(Http().Attach(second), 0);
    EXPECT_EQ(Http().Attach(first), 0);
    Tell(AI_SUB_ID_REPORT_SIGN_IN);
    EXPECT_EQ(order, "21");
    ASSERT_EQ(first->results.size(), 1U);
    EXPECT_EQ(first->results[0].id, AI_SUB_ID_REPORT_SIGN_IN);
    EXPECT_EQ(first->results[0].bytes, "abc");
    EXPECT_THAT(Logs(), ElementsAre(AI("<Attach>: in"), AI("<Attach>: in")));
}

TEST_F(AdapterObserversTest, AttachedTwiceIsCalledTwiceAndDetachedOnce) {
    Http().Attach(observer);
    Http().Attach(observer);
    Tell();
    EXPECT_EQ(observer->results.size(), 2U);
    EXPECT_EQ(Http().Detach(observer.get()), 0);
    Tell();
    EXPECT_EQ(observer->results.size(), 3U);
    EXPECT_EQ(Http().Detach(observer.get()), 0);
    EXPECT_EQ(observer.use_count(), 1);
}

TEST_F(AdapterObserversTest, DetachOfAStrangerIsMinusOneAndSaysSoWithoutAColon) {
    EXPECT_EQ(Http().Detach(observer.get()), -1);
    EXPECT_THAT(Logs(), ElementsAre(AI("<Detach>: in"), AE("<Detach> can not find http ICloudSrvObserver!")));
}

TEST_F(AdapterObserversTest, DetachRemovesTheFirstOfTwoDifferentObservers) {
    auto other = std::make_shared<RecordingObserver>();
    Http().Attach(observer);
    Http().Attach(other);
    EXPECT_EQ(Http().Detach(observer.get()), 0);
    Tell();
    EXPECT_TRUE(observer->results.empty());
    EXPECT_EQ(other->results.size(), 1U);
}

TEST_F(AdapterObserversTest, WithoutMemoryItIsRefusedAndNothingIsThrown) {
    bool refused = false;
    for (int i = 0; i < 8 && !refused; ++i) {  // the list may have room for some
        const FailingNew failing(1);
        int result = 0;
        EXPECT_NO_THROW(result = Http().Attach(observer));
        refused = failing.Hit();
        EXPECT_EQ(result, refused ? -1 : 0);
    }
    EXPECT_TRUE(refused);
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

TEST_F(AdapterObserversTest, TheListIsChangedUnderTheLock) {
    Http().Attach(observer);
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), ElementsAre("MutexLock", "MutexUnlock"));
    Fake().ClearRecords();
    EXPECT_EQ(Http().Detach(observer.get()), 0);
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), ElementsAre("MutexLock", "MutexUnlock"));
    Fake().ClearRecords();
    EXPECT_EQ(Http().Detach(observer.get()), -1);
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), ElementsAre("MutexLock", "MutexUnlock"));
}

TEST_F(AdapterObserversTest, TheLockIsHeldDuringTheWholeNotification) {
    auto second = std::make_shared<RecordingObserver>();
    unsigned locked = 0;
    const auto look = [&](const auto&) { locked += Fake().IsLocked(&Adapter::ObserversLock()) ? 1U : 0U; };
    observer->onUpdate = look;
    second->onUpdate = look;
    Http().Attach(observer);
    Http().Attach(second);
    Fake().ClearRecords();
    Tell();
    EXPECT_EQ(locked, 2U);
    EXPECT_THAT(Fake().Trail(), ElementsAre("MutexLock", "Notify 13", "Notify 13", "MutexUnlock"));
}

// Nobody hears of an unreachable server: the drop comes before any lock.
TEST_F(AdapterObserversTest, NoDataIsDroppedBeforeTheLock) {
    Http().Attach(observer);
    Fake().ClearRecords();
    Http().Notify(AI_SUB_ID_KEL_SERVER_DETECT, nullptr, 0);
    EXPECT_TRUE(observer->results.empty());
    EXPECT_THAT(Logs(), ElementsAre(AE("<Notify>: data is nullptr!")));
    EXPECT_EQ(Fake().CountOf(Fn::MutexLock), 0U);
}

TEST_F(AdapterObserversTest, DataOfNoLengthIsDelivered) {
    Http().Attach(observer);
    unsigned char nothing = 0;
    Http().Notify(AI_SUB_ID_FACE_PHOTO, &nothing, 0);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].len, 0U);
}

TEST_F(AdapterObserversTest, ANullObserverIsKeptAndPassedOver) {
    EXPECT_EQ(Http().Attach(nullptr), 0);
    Http().Attach(observer);
    Tell();
    EXPECT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(Http().Detach(nullptr), 0);
    EXPECT_EQ(Adapter::ObserverCount(), 1U);
}

TEST_F(AdapterObserversTest, AnObserverThatThrowsLeavesTheLockFree) {
    observer->onUpdate = [](const auto&) { throw std::runtime_error("observer"); };
    Http().Attach(observer);
    EXPECT_THROW(Tell(), std::runtime_error);
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

TEST_F(AdapterObserversTest, TheDetachedObserverIsDestroyedWithoutTheLock) {
    struct Last : RecordingObserver {
        explicit Last(bool& lockFree) : m_lockFree(lockFree) {}
        ~Last() override { m_lockFree = Fake().LocksHeld() == 0; }
        bool& m_lockFree;
    };
    bool lockFree = false;
    auto last = std::make_shared<Last>(lockFree);
    const Last* raw = last.get();
    Http().Attach(std::move(last));
    EXPECT_EQ(Http().Detach(raw), 0);
    EXPECT_TRUE(lockFree);
}

TEST_F(AdapterObserversTest, DetachWaitsForANotificationUnderWay) {
    Gate gate;
    observer->onUpdate = [&](const auto&) { gate.Pass(); };
    Http().Attach(observer);
    std::thread notifier([] { Tell(); });
    gate.WaitForArrivals(1);
    std::atomic<pid_t> number{0};
    std::atomic<bool> detached{false};
    std::thread detacher([&] {
        number = ThreadNumber();
        EXPECT_EQ(Http().Detach(observer.get()), 0);
        detached = true;
        gate.Pass();  // it sleeps before its end in any case
    });
    WaitUntilAsleep(number);
    EXPECT_FALSE(detached);
    gate.Open();
    notifier.join();
    detacher.join();
    EXPECT_TRUE(detached);
    EXPECT_EQ(observer->results.size(), 1U);
}

TEST_F(AdapterObserversTest, OnlyResultsOf101To199SignalTheServer) {
    Http().Attach(observer);
    for (const int quiet : {0, 1, 100, 200, 777, -1}) {
        Fake().ClearRecords();
        Adapter::DetectServer(quiet);
        EXPECT_THAT(Logs(), IsEmpty()) << quiet;
    }
    for (const int unreachable : {101, 150, 199}) {
        Fake().ClearRecords();
        Adapter::DetectServer(unreachable);
        EXPECT_THAT(Logs(), ElementsAre(AE("<Notify>: data is nullptr!"))) << unreachable;
    }
    EXPECT_TRUE(observer->results.empty());
}

TEST_F(AdapterObserversTest, TheServerSignalNeedsAnInstance) {
    AiHttpAdapter* instance = Adapter::ExchangeInstance(nullptr);
    Fake().FailCall(Fn::NothrowNew, 1);
    Adapter::DetectServer(150);
    Adapter::ExchangeInstance(instance);
    EXPECT_THAT(Logs(), ElementsAre(AE("httpAdapter is nullptr")));
}

}  // namespace
}  // namespace QuorTest
