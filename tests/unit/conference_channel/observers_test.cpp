#include <type_traits>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

class ObserversTest : public ChannelTest {
protected:
    void Notify(TagQuorAiSubId id = AI_SUB_ID_CAPTION) { Kel().Notify(id, m_data, sizeof(m_data)); }

    unsigned char m_data[3] = {1, 2, 3};
};

// Tells when it is destroyed.
class MortalObserver : public RecordingObserver {
public:
    explicit MortalObserver(std::function<void()> atEnd) : m_atEnd(std::move(atEnd)) {}
    ~MortalObserver() override { m_atEnd(); }

private:
    std::function<void()> m_atEnd;
};

TEST_F(ObserversTest, AttachLogsAndAppendsUnderTheLock) {
    EXPECT_EQ(Kel().Attach(observer), 0);
    EXPECT_THAT(Logs(), ElementsAre(I("<Attach> in")));
    EXPECT_THAT(Fake().Trail(), ElementsAre("ModuleLog", "MutexLock", "MutexUnlock"));
    ASSERT_EQ(Access::Observers().size(), 1U);
    EXPECT_EQ(Access::Observers()[0], observer);
}

TEST_F(ObserversTest, NotifyHandsOutTheSendersRecord) {
    Watch();
    Notify(AI_SUB_ID_CONF_SITE);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_CONF_SITE);
    EXPECT_EQ(observer->results[0].data, m_data);
    EXPECT_EQ(observer->results[0].len, 3U);
    EXPECT_THAT(Fake().Trail(), ElementsAre("Notify 3")) << "no lock, no log";
}

TEST_F(ObserversTest, NullDataIsHandedOutAsItIs) {
    Watch();
    Kel().Notify(AI_SUB_ID_KEL_SERVER_DETECT, nullptr, 0);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].data, nullptr);
    EXPECT_EQ(observer->results[0].len, 0U);
}

TEST_F(ObserversTest, ObserversAreCalledInAttachOrder) {
    auto second = std::make_shared<RecordingObserver>();
    std::vector<int> order;
    observer->onUpdate = [&](const auto&) { order.push_back(1); };
    second->onUpdate = [&](const auto&) { order.push_back(2); };
    Kel().Attach(second);
    Kel().Attach(observer);
    Notify();
    EXPECT_THAT(order, ElementsAre(2, 1));
}

TEST_F(ObserversTest, AttachedTwiceIsCalledTwiceAndDetachedOnceIsCalledOnce) {
    Kel().Attach(observer);
    Kel().Attach(observer);
    Notify();
    EXPECT_EQ(observer->results.size(), 2U);
    EXPECT_EQ(Kel().Detach(observer.get()), 0);
    Notify();
    EXPECT_EQ(observer->results.size(), 3U);
}

TEST_F(ObserversTest, DetachRemovesTheFirstEntryOnly) {
    auto other = std::make_shared<RecordingObserver>();
    Kel().Attach(observer);
    Kel().Attach(other);
    Kel().Attach(observer);
    Fake().ClearRecords();
    EXPECT_EQ(Kel().Detach(observer.get()), 0);
    EXPECT_THAT(Logs(), ElementsAre(I("<Detach> in")));
    EXPECT_THAT(Fake().Trail(), ElementsAre("ModuleLog", "MutexLock", "MutexUnlock"));
    EXPECT_THAT(Access::Observers(), ElementsAre(other, observer));
}

TEST_F(ObserversTest, DetachOfAStrangerReturnsOne) {
    Watch();
    RecordingObserver stranger;
    EXPECT_EQ(Kel().Detach(&stranger), 1);
    EXPECT_THAT(Logs(), ElementsAre(I("<Detach> in"), E("<Detach> can not find kel ICloudSrvObserver!")));
    EXPECT_THAT(Fake().Trail(), ElementsAre("ModuleLog", "MutexLock", "MutexUnlock", "ModuleLog"))
        << "no record is written under the lock";
    EXPECT_EQ(Access::Observers().size(), 1U);
}

TEST_F(ObserversTest, NullObserverIsStoredAndNeverCalled) {
    EXPECT_EQ(Kel().Attach(nullptr), 0);
    Kel().Attach(observer);
    Notify();
    EXPECT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(Kel().Detach(nullptr), 0);
}

TEST_F(ObserversTest, ObserverMayDetachItselfWhileItIsCalled) {
    auto next = std::make_shared<RecordingObserver>();
    bool ended = false;
    auto mortal = std::make_shared<MortalObserver>([&] { ended = true; });
    mortal->onUpdate = [raw = mortal.get(), &ended](const auto&) {
        Kel().Detach(raw);
        EXPECT_FALSE(ended) << "kept alive during the call";
    };
    Kel().Attach(mortal);
    Kel().Attach(next);
    mortal.reset();
    Notify();
    EXPECT_TRUE(ended);
    Notify();
    EXPECT_GE(next->results.size(), 1U);
}

TEST_F(ObserversTest, ObserverMayAttachAnotherWhileItIsCalled) {
    auto late = std::make_shared<RecordingObserver>();
    observer->onUpdate = [&](const auto&) {
        for (int i = 0; i < 64; ++i) {  // enough to move the list in memory
            Kel().Attach(late);
        }
        observer->onUpdate = nullptr;
    };
    Watch();
    Notify();
    EXPECT_EQ(observer->results.size(), 1U);
}

TEST_F(ObserversTest, DetachDestroysTheObserverAfterTheLockWasGivenUp) {
    bool ended = false;
    auto mortal = std::make_shared<MortalObserver>([&] {
        ended = true;
        EXPECT_FALSE(Fake().IsLocked(&Access::ObserversLock()));
    });
    const auto* raw = mortal.get();
    Kel().Attach(mortal);
    mortal.reset();
    EXPECT_EQ(Kel().Detach(raw), 0);
    EXPECT_TRUE(ended);
}

TEST_F(ObserversTest, ObserversAreAttachedFromManyThreadsWithoutLoss) {
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int k = 0; k < 50; ++k) {
                Kel().Attach(observer);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Access::Observers().size(), 200U);
}

TEST_F(ObserversTest, ServiceIdsHaveTheirNumbers) {
    EXPECT_EQ(AI_SUB_ID_CHECKIN, 0U);
    EXPECT_EQ(AI_SUB_ID_CAPTION, 1U);
    EXPECT_EQ(AI_SUB_ID_CONF_CTRL, 2U);
    EXPECT_EQ(AI_SUB_ID_CONF_SITE, 3U);
    EXPECT_EQ(AI_SUB_ID_CAPTION_OVERLAY, 4U);
    EXPECT_EQ(AI_SUB_ID_ABILITY_REPORT, 5U);
    EXPECT_EQ(AI_SUB_ID_KEL_SERVER_DETECT, 6U);
    EXPECT_EQ(AI_SUB_ID_WS_CONNECTED, 7U);
    EXPECT_EQ(AI_SUB_ID_LLM_RESULT_KEL, 8U);
    EXPECT_EQ(AI_SUB_ID_LLM_RESULT_MANAGER, 9U);
    EXPECT_EQ(AI_SUB_ID_QUERY_CONF_LIST, 10U);
    EXPECT_EQ(AI_SUB_ID_FACE_RECOGNIZE, 11U);
    EXPECT_EQ(AI_SUB_ID_FACE_PHOTO, 12U);
    EXPECT_EQ(AI_SUB_ID_QUERY_SIGN_IN, 13U);
    EXPECT_EQ(AI_SUB_ID_REPORT_SIGN_IN, 14U);
    EXPECT_EQ(AI_SUB_ID_TRANSLATION, 15U);
    EXPECT_EQ(AI_SUB_ID_REPORT_AV_MATCH, 16U);
    EXPECT_EQ(AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, 17U);
    EXPECT_EQ(kQuorAiSubIdTableSize, 24U);
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<TagQuorAiSubId>, unsigned int>));
}

}  // namespace
}  // namespace QuorTest
