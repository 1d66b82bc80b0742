// Ends: of a link while captions pour in, of the platform, and starting again in the same process.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "support/bodies.h"
#include "support/terminal_test.h"

namespace quor_test {
namespace {

constexpr int kRounds = 100;

// Publishes captions without a pause, on a thread of its own, to whoever is subscribed.
class CaptionPump {
public:
    explicit CaptionPump(quor_simulator::Simulator& server) : m_server(server), m_thread([this] { Run(); }) {}
    ~CaptionPump() {
        m_stop = true;
        m_thread.join();
    }
    CaptionPump(const CaptionPump&) = delete;
    CaptionPump& operator=(const CaptionPump&) = delete;

private:
    void Run() {
        const std::string body = NumberedCaption(1);
        while (!m_stop) {
            if (m_server.Publish(CaptionTopic("zh-CN"), body) == 0) {
                m_server.WaitForSubscribers(1, std::chrono::milliseconds(20));
            }
        }
    }

    quor_simulator::Simulator& m_server;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

// Notes how many captions another observer had when a link connected. Events come in order on one thread, so
// what an earlier link still had to say would have been counted by then.
class ConnectWatcher : public QuorAiEngine::ICloudSrvObserver {
public:
    explicit ConnectWatcher(const RecordingObserver& observer) : m_observer(observer) {}
    void Update(const TagAiCloudSrvResult& result) override {
        if (result.id == AI_SUB_ID_WS_CONNECTED) {
            m_captions = m_observer.Count(AI_SUB_ID_CAPTION);
        }
    }
    std::size_t CaptionsAtConnect() const { return m_captions; }

private:
    const RecordingObserver& m_observer;
    std::atomic<std::size_t> m_captions{0};
};

std::size_t CountEntries(const char* folder) {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

class EndTest : public TerminalTest {
protected:
    void SetUp() override {
        // The end of a link comes after what the server has queued for it: a short queue, or the tests take
        // minutes.
        quor_simulator::Options options;
        options.linkQueueBytes = 64U << 10U;
        StartServer(options);
    }

    void ExpectRoadWorks() {
        observer().Clear();
        Publish(CaptionTopic("zh-CN"), NumberedCaption(5));
        ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
    }

    // What one link and its end leave behind in this process: nothing. Call after the first end.
    void RememberResources() {
        ASSERT_TRUE(server().WaitForNoLinks(kPatience));
        m_heap = quor_platform::HeapLiveBytes();
        m_descriptors = CountEntries("/proc/self/fd");
    }
    void ExpectNoLeak() {
        ASSERT_TRUE(server().WaitForNoLinks(kPatience));
        EXPECT_EQ(quor_platform::HeapLiveBytes(), m_heap);
        EXPECT_EQ(CountEntries("/proc/self/fd"), m_descriptors);
    }

private:
    std::size_t m_heap = 0;
    std::size_t m_descriptors = 0;
};

TEST_F(EndTest, NothingIsNotifiedAfterDestroyReturned) {
    StartTerminal(Delivery::kSerialised);
    OpenForCaptions();
    ASSERT_EQ(terminal().Destroy(), 0U);
    RememberResources();
    const auto watcher = std::make_shared<ConnectWatcher>(observer());
    channel().Attach(watcher);
    {
        const CaptionPump pump(server());
        for (int round = 0; round < kRounds; ++round) {
            SCOPED_TRACE(round);
            observer().Clear();
            ASSERT_TRUE(terminal().Open(Login()));
            ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 3));
            ASSERT_EQ(terminal().Destroy(), 0U);
            const std::size_t atTheEnd = observer().Count(AI_SUB_ID_CAPTION);
            ASSERT_TRUE(terminal().Open(Login()));
            ASSERT_EQ(terminal().Destroy(), 0U);
            EXPECT_EQ(watcher->CaptionsAtConnect(), atTheEnd);
        }
    }
    terminal().StopEvents();
    channel().Detach(watcher.get());
    ExpectNoLeak();
    EXPECT_EQ(terminal().closeNotices().Count(), 0U);
}

TEST_F(EndTest, ALinkIsDestroyedInsideTheNotificationOfACaption) {
    OpenForCaptions();
    ASSERT_EQ(terminal().Destroy(), 0U);
    RememberResources();
    std::atomic<bool> armed{false};
    std::atomic<unsigned int> captionsAfterTheEnd{0};
    std::atomic<unsigned int> destroyed{0};
    observer().OnNotification(AI_SUB_ID_CAPTION, [&](const TagAiCloudSrvResult&) {
        if (armed.exchange(false)) {
            destroyed += terminal().Destroy() == 0 ? 1U : 1000U;
        } else if (destroyed.load() % 2 == 1) {
            ++captionsAfterTheEnd;
        }
    });
    {
        const CaptionPump pump(server());
        for (unsigned int round = 0; round < kRounds; ++round) {
            SCOPED_TRACE(round);
            ASSERT_TRUE(terminal().Open(Login()));
            armed = true;
            ASSERT_TRUE(Eventually([&] { return destroyed.load() == 2 * round + 1; })) << destroyed.load();
            ASSERT_TRUE(server().WaitForNoLinks(kPatience));
            ++destroyed;  // even again: captions of the next link are welcome
        }
    }
    EXPECT_EQ(captionsAfterTheEnd, 0U);
    ExpectNoLeak();
    EXPECT_EQ(terminal().closeNotices().Count(), 0U);
    observer().OnNotification(AI_SUB_ID_CAPTION, {});
}

TEST_F(EndTest, ShutdownAndStartAgain) {
    OpenForCaptions();
    ExpectRoadWorks();
    ASSERT_EQ(terminal().Destroy(), 0U);
    quor_platform::Shutdown();
    RememberResources();
    for (int round = 0; round < 20; ++round) {
        ASSERT_TRUE(terminal().Open(Login()));
        ASSERT_TRUE(server().WaitForSubscriptionCount(1, kPatience));
        ASSERT_NO_FATAL_FAILURE(ExpectRoadWorks());
        ASSERT_EQ(terminal().Destroy(), 0U);
        quor_platform::Shutdown();
    }
    ExpectNoLeak();
}

TEST_F(EndTest, ShutdownWhileCaptionsPourInEndsTheLinkWithoutANotice) {
    OpenForCaptions();
    {
        const CaptionPump pump(server());
        for (int round = 0; round < 10; ++round) {
            observer().Clear();
            ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 3));
            quor_platform::Shutdown();
            const std::size_t atTheEnd = observer().Total();
            ASSERT_TRUE(server().WaitForNoLinks(kPatience));
            EXPECT_EQ(observer().Total(), atTheEnd);
            EXPECT_EQ(terminal().Destroy(), 1U) << "the platform knows the link no more";
            ASSERT_TRUE(terminal().Open(Login()));
        }
    }
    EXPECT_EQ(terminal().closeNotices().Count(), 0U);
}

TEST_F(EndTest, TheServerSeesAnOrderlyGoodbye) {
    OpenForCaptions();
    ASSERT_EQ(terminal().Destroy(), 0U);
    ASSERT_TRUE(server().WaitForNoLinks(kPatience));
    const auto statistics = server().GetStatistics();
    EXPECT_EQ(statistics.protocolErrors, 0U);
    EXPECT_EQ(statistics.framesIn, 3U) << "CONNECT, SUBSCRIBE, DISCONNECT";
    EXPECT_EQ(statistics.linksEnded, 1U);
}

TEST_F(EndTest, AServerThatWithholdsReceiptsDoesNotHoldUpTheEnd) {
    quor_platform::LinkSettings settings;
    settings.closeTimeout = std::chrono::milliseconds(200);
    quor_platform::SetLinkSettings(settings);
    server().WithholdReceipts(true);
    OpenForCaptions();
    ExpectRoadWorks();
    EXPECT_EQ(terminal().Destroy(), 0U);
    EXPECT_TRUE(server().WaitForNoLinks(kPatience));
}

}  // namespace
}  // namespace quor_test
