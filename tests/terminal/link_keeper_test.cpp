#include "link_keeper.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "fake_link.h"

namespace quor_terminal {
namespace {

using std::chrono::milliseconds;
using State = LinkKeeper::State;
using Kind = LinkProblem::Kind;

class LinkKeeperTest : public testing::Test {
protected:
    void Make(const KeeperPolicy& policy = {}) {
        keeper = std::make_unique<LinkKeeper>(
            link, policy, [this](const KeeperNotice& notice) { notices.push_back(notice); },
            [this] { return draw; }, [this] { return now; });
    }

    // Steps until nothing is due at the present time; returns when something will be.
    LinkKeeper::TimePoint Settle() {
        for (int i = 0; i < 100; ++i) {
            const LinkKeeper::TimePoint next = keeper->Step();
            if (next > now) {
                return next;
            }
        }
        ADD_FAILURE() << "the keeper finds no rest";
        return now;
    }

    void BringUp(unsigned int linkId) {
        Settle();
        keeper->OnConnected(linkId);
        Settle();
        ASSERT_EQ(keeper->CurrentState(), State::kUp);
    }

    // Lets the present wait pass.
    void PassWait() {
        const LinkKeeper::TimePoint next = Settle();
        ASSERT_NE(next, LinkKeeper::TimePoint::max());
        now = next;
    }

    std::vector<KeeperNotice::Kind> Kinds() const {
        std::vector<KeeperNotice::Kind> kinds;
        for (const KeeperNotice& notice : notices) {
            kinds.push_back(notice.kind);
        }
        return kinds;
    }

    FakeLink link;
    LinkKeeper::TimePoint now{std::chrono::hours(1)};
    double draw = 0.5;
    std::vector<KeeperNotice> notices;
    std::unique_ptr<LinkKeeper> keeper;
};

TEST_F(LinkKeeperTest, OpensAndSubscribesInsideTheConnectEvent) {
    Make();
    Settle();
    EXPECT_EQ(link.opens, 1);
    EXPECT_EQ(keeper->CurrentState(), State::kAwaitingConnect);
    EXPECT_TRUE(link.subscribed.empty());
    keeper->OnConnected(7);
    EXPECT_EQ(link.subscribed, link.wanted);
    EXPECT_EQ(Settle(), LinkKeeper::TimePoint::max());
    EXPECT_EQ(keeper->CurrentState(), State::kUp);
    EXPECT_EQ(keeper->TimesUp(), 1U);
    EXPECT_EQ(Kinds(), (std::vector{KeeperNotice::Kind::kOpening, KeeperNotice::Kind::kUp}));
    EXPECT_FALSE(notices.back().recovered);
}

TEST_F(LinkKeeperTest, RebuildsAfterTheCloseNoticeAndSubscribesEverythingOnce) {
    Make();
    BringUp(1);
    keeper->OnClosed(1);
    Settle();
    EXPECT_EQ(link.askedWhy, std::vector<unsigned int>{1});
    EXPECT_EQ(link.closes, 1);
    EXPECT_EQ(keeper->CurrentState(), State::kBackingOff);
    EXPECT_EQ(notices.back().wait, milliseconds(250));  // half of the first ceiling
    PassWait();
    BringUp(2);
    EXPECT_EQ(link.subscribed, link.wanted);
    EXPECT_EQ(link.subscribeCalls, 2);
    EXPECT_EQ(keeper->TimesUp(), 2U);
    EXPECT_EQ(keeper->TimesLost(), 1U);
    EXPECT_TRUE(notices.back().recovered);
}

TEST_F(LinkKeeperTest, DoesNotTryAgainBeforeTheWaitIsOver) {
    Make();
    BringUp(1);
    keeper->OnClosed(1);
    const LinkKeeper::TimePoint next = Settle();
    EXPECT_EQ(next, now + milliseconds(250));
    now = next - milliseconds(1);
    Settle();
    EXPECT_EQ(link.opens, 1);
    now = next;
    Settle();
    EXPECT_EQ(link.opens, 2);
}

TEST_F(LinkKeeperTest, CloseNoticeTwiceRebuildsOnce) {
    Make();
    BringUp(1);
    keeper->OnClosed(1);
    keeper->OnClosed(1);
    Settle();
    keeper->OnClosed(1);
    Settle();
    EXPECT_EQ(link.closes, 1);
    PassWait();
    BringUp(2);
    keeper->OnClosed(1);  // late, for a link that is gone
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kUp);
    EXPECT_EQ(link.opens, 2);
    EXPECT_EQ(keeper->TimesLost(), 1U);
}

TEST_F(LinkKeeperTest, DropBeforeTheConnectIsSeenStartsOver) {
    Make();
    BringUp(1);
    keeper->OnClosed(1);
    Settle();
    PassWait();
    Settle();
    keeper->OnConnected(2);
    keeper->OnClosed(2);  // the control thread sees both at once
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kBackingOff);
    EXPECT_EQ(keeper->TimesUp(), 1U);
    EXPECT_EQ(keeper->TimesLost(), 1U);  // this one was never up
    PassWait();
    BringUp(3);
    EXPECT_EQ(link.subscribed, link.wanted);
}

TEST_F(LinkKeeperTest, DropWhileSubscribingStartsOver) {
    Make();
    BringUp(1);
    keeper->OnClosed(1);
    Settle();
    PassWait();
    Settle();
    link.onSubscribe = [this](int service) {
        if (service == 1) {
            keeper->OnClosed(2);
            // The control thread must keep its hands off the link while the event thread subscribes.
            EXPECT_EQ(keeper->Step(), LinkKeeper::TimePoint::max());
            EXPECT_EQ(link.closes, 1);
        }
    };
    link.subscribeProblems.push_back(Problem(Kind::kTransient, kExitFailure, "the link is dead"));
    keeper->OnConnected(2);
    link.onSubscribe = nullptr;
    Settle();
    EXPECT_EQ(link.closes, 2);
    EXPECT_EQ(link.askedWhy.back(), 2U);  // the drop is the reason, not the subscription that it broke
    PassWait();
    BringUp(3);
    EXPECT_EQ(link.subscribed, link.wanted);
}

TEST_F(LinkKeeperTest, SubscriptionFailureStartsOver) {
    Make();
    BringUp(1);
    keeper->OnClosed(1);
    Settle();
    PassWait();
    Settle();
    link.subscribeProblems.push_back(Problem(Kind::kTransient, kExitFailure, "no token"));
    keeper->OnConnected(2);
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kBackingOff);
    EXPECT_EQ(notices.back().problem.text, "no token");
    PassWait();
    BringUp(3);
}

TEST_F(LinkKeeperTest, WaitsGrowUntilALinkLivedLongEnough) {
    Make();
    BringUp(1);
    draw = 0.999999;
    std::vector<std::int64_t> waits;
    for (unsigned int i = 2; i < 9; ++i) {
        keeper->OnClosed(i - 1);
        Settle();
        waits.push_back(notices.back().wait.count());
        PassWait();
        BringUp(i);
    }
    EXPECT_EQ(waits, (std::vector<std::int64_t>{499, 999, 1999, 3999, 7999, 14999, 14999}));
    now += std::chrono::seconds(30);
    keeper->OnClosed(8);
    Settle();
    EXPECT_EQ(notices.back().wait.count(), 499);
}

TEST_F(LinkKeeperTest, ALinkJustTooYoungDoesNotResetTheWaits) {
    Make();
    BringUp(1);
    draw = 0.999999;
    keeper->OnClosed(1);
    Settle();
    PassWait();
    BringUp(2);
    now += std::chrono::seconds(30) - milliseconds(1);
    keeper->OnClosed(2);
    Settle();
    EXPECT_EQ(notices.back().wait.count(), 999);
}

TEST_F(LinkKeeperTest, FirstFailureIsFinal) {
    Make();
    link.openProblems.push_back(Problem(Kind::kTransient, kExitUnreachable, "connection refused"));
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kGivenUp);
    EXPECT_EQ(keeper->FinalProblem().exitCode, kExitUnreachable);
    EXPECT_EQ(keeper->FinalProblem().text, "connection refused");
}

TEST_F(LinkKeeperTest, FirstFailureIsRetriedWhenAsked) {
    KeeperPolicy policy;
    policy.retryFirst = true;
    Make(policy);
    link.openProblems.assign(3, Problem(Kind::kTransient, kExitUnreachable, "connection refused"));
    for (int i = 0; i < 3; ++i) {
        PassWait();
    }
    BringUp(1);
    EXPECT_EQ(link.opens, 4);
}

TEST_F(LinkKeeperTest, RefusedIsFinalEvenAfterAGoodLink) {
    Make();
    BringUp(1);
    keeper->OnClosed(1);
    Settle();
    link.openProblems.push_back(Problem(Kind::kRefused, kExitRefused, "upgrade (HTTP 401)"));
    PassWait();
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kGivenUp);
    EXPECT_EQ(keeper->FinalProblem().exitCode, kExitRefused);
    EXPECT_EQ(link.opens, 2);
    now += std::chrono::hours(1);
    EXPECT_EQ(Settle(), LinkKeeper::TimePoint::max());
    EXPECT_EQ(link.opens, 2);
}

TEST_F(LinkKeeperTest, RefusedIsRetriedWhenAsked) {
    KeeperPolicy policy;
    policy.retryFirst = true;
    policy.retryRefused = true;
    Make(policy);
    link.openProblems.assign(2, Problem(Kind::kRefused, kExitRefused, "upgrade (HTTP 401)"));
    PassWait();
    PassWait();
    BringUp(1);
}

TEST_F(LinkKeeperTest, PermanentIsFinalWhateverWasAsked) {
    KeeperPolicy policy;
    policy.retryFirst = true;
    policy.retryRefused = true;
    Make(policy);
    link.openProblems.push_back(Problem(Kind::kPermanent, kExitNotTrusted, "certificate"));
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kGivenUp);
    EXPECT_EQ(keeper->FinalProblem().exitCode, kExitNotTrusted);
}

TEST_F(LinkKeeperTest, LinksThatTheServerEndsWithErrorsAreARefusalInTheEnd) {
    Make();
    link.endProblem = Problem(Kind::kRefused, kExitRefused, "stomp: bad token");
    for (unsigned int i = 1; i <= 2; ++i) {
        BringUp(i);
        keeper->OnClosed(i);
        Settle();
        EXPECT_EQ(keeper->CurrentState(), State::kBackingOff) << i;
        PassWait();
    }
    BringUp(3);
    keeper->OnClosed(3);
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kGivenUp);
    EXPECT_EQ(keeper->FinalProblem().exitCode, kExitRefused);
}

TEST_F(LinkKeeperTest, AGoodLinkOrAnotherEndingForgivesErrors) {
    Make();
    link.endProblem = Problem(Kind::kRefused, kExitRefused, "stomp: shutting down");
    for (unsigned int i = 1; i <= 10; ++i) {
        BringUp(i);
        if (i % 2 == 0) {
            now += std::chrono::seconds(31);
        }
        keeper->OnClosed(i);
        Settle();
        ASSERT_EQ(keeper->CurrentState(), State::kBackingOff) << i;
        PassWait();
    }
}

TEST_F(LinkKeeperTest, StopWhileWaitingEndsAtOnce) {
    Make();
    BringUp(1);
    keeper->OnClosed(1);
    Settle();
    keeper->Stop();
    EXPECT_EQ(Settle(), LinkKeeper::TimePoint::max());
    EXPECT_EQ(keeper->CurrentState(), State::kStopped);
    EXPECT_EQ(link.opens, 1);
}

TEST_F(LinkKeeperTest, StopWhenUpClosesTheLink) {
    Make();
    BringUp(1);
    keeper->Stop();
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kStopped);
    EXPECT_EQ(link.closes, 1);
    keeper->OnClosed(1);
    keeper->OnConnected(9);  // nothing is subscribed for a keeper that ended
    EXPECT_EQ(link.subscribeCalls, 1);
    Settle();
    EXPECT_EQ(link.closes, 1);
}

TEST_F(LinkKeeperTest, StopAfterOpenWaitsForTheConnectEventButSubscribesNothing) {
    Make();
    link.onOpen = [this] { keeper->Stop(); };
    const LinkKeeper::TimePoint next = Settle();
    EXPECT_EQ(next, now + milliseconds(15000));
    EXPECT_EQ(link.closes, 0);
    keeper->OnConnected(1);
    EXPECT_EQ(link.subscribeCalls, 0);
    Settle();
    EXPECT_EQ(link.closes, 1);
    EXPECT_EQ(keeper->CurrentState(), State::kStopped);
}

TEST_F(LinkKeeperTest, AMissingConnectEventIsBounded) {
    Make();
    BringUp(1);
    keeper->OnClosed(1);
    Settle();
    PassWait();
    const LinkKeeper::TimePoint deadline = Settle();
    EXPECT_EQ(deadline, now + milliseconds(15000));
    now = deadline;
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kBackingOff);
    EXPECT_EQ(link.closes, 2);
}

TEST_F(LinkKeeperTest, ALateConnectEventIsWelcomeWhileWaiting) {
    KeeperPolicy policy;
    policy.retryFirst = true;
    Make(policy);
    now = Settle();
    const LinkKeeper::TimePoint retry = Settle();  // waiting now
    ASSERT_GT(retry, now);
    keeper->OnConnected(1);
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kUp);
    EXPECT_EQ(link.opens, 1);
}

TEST_F(LinkKeeperTest, ALateConnectEventDuringTheNextOpenIsReplaced) {
    KeeperPolicy policy;
    policy.retryFirst = true;
    Make(policy);
    now = Settle();
    now = Settle();
    ASSERT_EQ(keeper->CurrentState(), State::kBackingOff);
    Settle();
    ASSERT_EQ(link.opens, 2);
    keeper->OnConnected(1);  // of the first attempt
    keeper->OnConnected(2);
    EXPECT_EQ(link.discarded, std::vector<unsigned int>{1});
    EXPECT_EQ(link.subscribeCalls, 2);
    Settle();
    keeper->OnClosed(1);
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kUp);
    keeper->OnClosed(2);
    Settle();
    EXPECT_EQ(keeper->CurrentState(), State::kBackingOff);
}

TEST_F(LinkKeeperTest, GivesUpWhenTheTimeIsOver) {
    KeeperPolicy policy;
    policy.giveUpAfter = milliseconds(5000);
    Make(policy);
    BringUp(1);
    link.openProblems.assign(100, Problem(Kind::kTransient, kExitFailure, "connection refused"));
    const LinkKeeper::TimePoint lostAt = now;
    keeper->OnClosed(1);
    while (keeper->CurrentState() != State::kGivenUp) {
        const LinkKeeper::TimePoint next = Settle();
        if (next != LinkKeeper::TimePoint::max()) {
            now = next;
        }
    }
    EXPECT_EQ(now, lostAt + milliseconds(5000));
    EXPECT_EQ(keeper->FinalProblem().exitCode, kExitUnreachable);
}

TEST_F(LinkKeeperTest, FiftyDropsLeaveTheSameSubscriptionsEachTime) {
    Make();
    for (unsigned int i = 1; i <= 50; ++i) {
        BringUp(i);
        EXPECT_EQ(link.subscribed, link.wanted);
        EXPECT_EQ(link.subscribeCalls, static_cast<int>(i));
        keeper->OnClosed(i);
        PassWait();
    }
    EXPECT_EQ(keeper->TimesLost(), 50U);
    EXPECT_TRUE(link.discarded.empty());
}

}  // namespace
}  // namespace quor_terminal
