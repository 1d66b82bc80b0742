// The lock of the participant list's buffer: from the first page until the observers have read, and gone
// before a failing query says so.
#include <functional>
#include <stdexcept>
#include <string>

#include "participant_list_fixture.h"

namespace QuorTest {
namespace {

class ParticipantListLockTest : public ParticipantListTest {
protected:
    // Whether the buffer was locked when the query logged each of its two lines; the page's line comes first.
    struct Locked {
        bool atThePage = false;
        bool atTheQuery = true;
    };

    Locked FailWith(const std::string& pageLine) {
        Locked locked;
        bool pageSeen = false;
        bool querySeen = false;
        Fake().onLog = [&](LogKind, const std::string& text) {
            const bool now = Fake().IsLocked(&Adapter::SitesLock());
            if (text == pageLine) {
                pageSeen = true;
                locked.atThePage = now;
            } else if (text == "<DoQueryConfList> QueryConfListGetUrl error!") {
                querySeen = true;
                locked.atTheQuery = now;
            }
        };
        EXPECT_EQ(Query(), -1);
        Fake().onLog = nullptr;
        EXPECT_TRUE(pageSeen) << pageLine;
        EXPECT_TRUE(querySeen) << pageLine;
        return locked;
    }
    void ExpectGivenUpBetween(const std::string& pageLine) {
        const Locked locked = FailWith(pageLine);
        EXPECT_TRUE(locked.atThePage) << pageLine;
        EXPECT_FALSE(locked.atTheQuery) << pageLine;
        ExpectNextSucceeds();
    }
};

TEST_F(ParticipantListLockTest, ObserversReadWhileTheBufferIsLocked) {
    bool locked = false;
    observer->onUpdate = [&](const auto& result) {
        locked = Fake().IsLocked(&Adapter::SitesLock()) &&
                 result.data == reinterpret_cast<unsigned char*>(Adapter::Sites());
    };
    Network().script = {Answer(Page(1))};
    EXPECT_EQ(Query(), 0);
    EXPECT_TRUE(locked);
    EXPECT_EQ(Network().requests.at(0).locksHeld, 1U);
}

TEST_F(ParticipantListLockTest, AnObserverThatThrowsLeavesNothingLocked) {
    observer->onUpdate = [](const auto&) { throw std::runtime_error("observer"); };
    Network().script = {Answer(Page(1))};
    EXPECT_THROW(Query(), std::runtime_error);
    observer->onUpdate = nullptr;
    ExpectNextSucceeds();
}

TEST_F(ParticipantListLockTest, AnAddressThatIsNoneGivesTheBufferUp) {
    Put(info.serverAddr, "a,b");
    ExpectGivenUpBetween("<DoQueryConfList>: GetAddressType fail");
}

TEST_F(ParticipantListLockTest, AUrlThatDoesNotFitGivesTheBufferUp) {
    Fake().FailCall(Fn::SprintfS, 1);
    ExpectGivenUpBetween("<DoQueryConfList>: url sprintf failed!");
}

TEST_F(ParticipantListLockTest, APageThatFailsGivesTheBufferUp) {
    Network().script = {Answer(Page(200)), Answer("", 500)};
    ExpectGivenUpBetween("<DoQueryConfList>: call CloudQueryConfListPage failed!");
}

// The other pair of calls is that of the observers' lock.
TEST_F(ParticipantListLockTest, TheBufferStaysLockedFromTheFirstPageToTheLast) {
    Network().script = {Answer(Page(200)), Answer(Page(1))};
    EXPECT_EQ(Query(), 0);
    ASSERT_EQ(Network().requests.size(), 2U);
    for (const HttpRequest& request : Network().requests) {
        EXPECT_EQ(request.locksHeld, 1U);
    }
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog, Fn::HeapAlloc, Fn::HeapFree, Fn::CertPath}),
                ElementsAre("MutexLock", "HttpSynSend", "HttpSynSend", "MutexLock", "Notify 10",
                            "MutexUnlock", "MutexUnlock"));
}

}  // namespace
}  // namespace QuorTest
