// A hundred thousand captions through the whole road: all arrive, in order, none twice, and nothing piles up.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "support/bodies.h"
#include "support/terminal_test.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUOR_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUOR_TEST_SANITIZED 1
#endif
#endif
#ifndef QUOR_TEST_SANITIZED
#define QUOR_TEST_SANITIZED 0
#endif

namespace quor_test {
namespace {

// A sanitizer makes the road several times slower and keeps freed memory, so the resident size means nothing
// there.
constexpr bool kSanitized = QUOR_TEST_SANITIZED != 0;
constexpr std::size_t kCaptions = kSanitized ? 10000 : 100000;
constexpr std::size_t kWarmUp = kCaptions / 5;
// Both sides' queues are short, so that the road runs at the pace of its slowest step and what lies on it is
// bounded.
constexpr std::size_t kQueueBytes = 256U << 10U;
// What the allocator may keep back between two looks at it; the captions in between weigh more than ten times
// as much.
constexpr std::size_t kResidentSlackKiB = 2048;

// Checks as it goes: keeping the records would be the growth that the test is about.
class SequenceObserver : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        if (result.id != AI_SUB_ID_CAPTION) {
            return;
        }
        TagQuorAiKelVoiceTranslateInfo record;
        std::memcpy(&record, result.data, sizeof record);
        const std::size_t expected = m_received.load();
        if (result.len != sizeof record || NumberOf(record) != expected) {
            ++m_wrong;
        }
        m_received.store(expected + 1);
    }
    std::size_t Received() const { return m_received; }
    std::size_t Wrong() const { return m_wrong; }

private:
    std::atomic<std::size_t> m_received{0};
    std::atomic<std::size_t> m_wrong{0};
};

std::size_t ResidentKiB() {
    std::ifstream status("/proc/self/status");
    std::string word;
    std::size_t value = 0;
    while (status >> word) {
        if (word == "VmRSS:") {
            status >> value;
            break;
        }
    }
    return value;
}

class SoakTest : public TerminalTest {
protected:
    void SetUp() override {
        quor_simulator::Options options;
        options.linkQueueBytes = kQueueBytes;
        StartServer(options);
        quor_platform::LinkSettings settings;
        settings.maxReceiveQueueBytes = kQueueBytes;
        quor_platform::SetLinkSettings(settings);
    }

    // Publishes the captions first to last - 1 and waits until the observer has them. The observer of the
    // fixture would keep every record, so it is not attached.
    void Run(std::size_t first, std::size_t last) {
        for (std::size_t number = first; number < last; ++number) {
            ASSERT_EQ(server().Publish(CaptionTopic("zh-CN"), NumberedCaption(number)), 1U);
        }
        ASSERT_TRUE(Eventually([&] { return m_sequence->Received() >= last; })) << m_sequence->Received();
    }

    const std::shared_ptr<SequenceObserver> m_sequence = std::make_shared<SequenceObserver>();
};

TEST_F(SoakTest, ManyCaptionsArriveInOrderWithoutGrowth) {
    OpenForCaptions();
    terminal().StopEvents();  // the last notification may still be running
    ASSERT_EQ(terminal().StopObserving(), 0);
    ASSERT_EQ(channel().Attach(m_sequence), 0);
    terminal().StartEvents();
    ASSERT_NO_FATAL_FAILURE(Run(0, kWarmUp));
    const std::size_t heapBefore = quor_platform::HeapLiveBytes();
    const std::size_t residentBefore = ResidentKiB();
    ASSERT_NO_FATAL_FAILURE(Run(kWarmUp, kCaptions));
    const std::size_t residentAfter = ResidentKiB();
    EXPECT_EQ(quor_platform::HeapLiveBytes(), heapBefore);
    if (!kSanitized) {
        EXPECT_GT(residentBefore, 0U);
        EXPECT_LT(residentAfter, residentBefore + kResidentSlackKiB)
            << "resident KiB " << residentBefore << " -> " << residentAfter;
    }
    ASSERT_EQ(terminal().Destroy(), 0U);
    terminal().StopEvents();
    EXPECT_EQ(channel().Detach(m_sequence.get()), 0);
    EXPECT_EQ(m_sequence->Received(), kCaptions);
    EXPECT_EQ(m_sequence->Wrong(), 0U);
    const auto count = server().GetStatistics().destinations[CaptionTopic("zh-CN")];
    EXPECT_EQ(count.delivered, kCaptions);
    RecordProperty("resident_kib_after_warm_up", static_cast<int>(residentBefore));
    RecordProperty("resident_kib_at_the_end", static_cast<int>(residentAfter));
}

}  // namespace
}  // namespace quor_test
