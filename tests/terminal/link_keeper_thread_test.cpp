// The keeper with real threads.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "fake_link.h"
#include "link_keeper.h"

namespace quor_terminal {
namespace {

using std::chrono::milliseconds;
using State = LinkKeeper::State;

// What the state machine's tests cannot show is that nobody waits for ever and
// that the event thread subscribes only after Open returned.
TEST(LinkKeeperThreads, TheConnectEventWaitsForOpenToReturn) {
    FakeLink link;
    LinkKeeper* keeperAddress = nullptr;
    std::atomic<bool> openReturned{false};
    std::atomic<bool> subscribedEarly{false};
    std::thread eventThread;
    link.onOpen = [&] {
        std::atomic<bool> eventRuns{false};
        eventThread = std::thread([&] {
            eventRuns.store(true);
            keeperAddress->OnConnected(1);
        });
        while (!eventRuns.load()) {
            std::this_thread::yield();
        }
        openReturned.store(true);
    };
    link.onSubscribe = [&](int) { subscribedEarly.store(subscribedEarly.load() || !openReturned.load()); };
    LinkKeeper keeper(link, {}, [&](const KeeperNotice& notice) {
        if (notice.kind == KeeperNotice::Kind::kUp) {
            keeperAddress->Stop();
        }
    });
    keeperAddress = &keeper;
    keeper.Run({}, milliseconds(0));
    eventThread.join();
    EXPECT_FALSE(subscribedEarly.load());
    EXPECT_EQ(keeper.CurrentState(), State::kStopped);
    EXPECT_EQ(keeper.TimesUp(), 1U);
}

TEST(LinkKeeperThreads, RunRecoversFromManyDropsAndEndsOnStop) {
    constexpr unsigned int kDrops = 200;
    FakeLink link;
    KeeperPolicy policy;
    policy.backOffBase = milliseconds(1);
    policy.backOffCap = milliseconds(1);
    policy.retryFirst = true;
    Mutex mutex;
    std::condition_variable_any changed;
    unsigned int opened = 0;  // under mutex
    link.onOpen = [&] {
        const MutexLock lock(mutex);
        ++opened;
        changed.notify_all();
    };
    LinkKeeper keeper(link, policy, [](const KeeperNotice&) {});
    // Every link that is opened connects, as the platform promises; all but the last are dropped at once.
    std::thread events([&] {
        for (unsigned int i = 1; i <= kDrops + 1; ++i) {
            {
                const MutexLock lock(mutex);
                while (opened < i) {
                    changed.wait(mutex);
                }
            }
            keeper.OnConnected(i);
            if (i <= kDrops) {
                keeper.OnClosed(i);
                keeper.OnClosed(i);
            }
        }
        keeper.Stop();
    });
    unsigned int ticks = 0;
    keeper.Run([&ticks] { ++ticks; }, milliseconds(1));
    events.join();
    EXPECT_EQ(keeper.CurrentState(), State::kStopped);
    EXPECT_EQ(link.opens, static_cast<int>(kDrops + 1));
    EXPECT_EQ(link.closes, static_cast<int>(kDrops + 1));
    EXPECT_EQ(link.subscribeCalls, static_cast<int>(kDrops + 1));
    EXPECT_GT(ticks, 0U);
    EXPECT_TRUE(link.discarded.empty());
}

}  // namespace
}  // namespace quor_terminal
