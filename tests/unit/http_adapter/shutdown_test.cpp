// The stop while requests run, wait and are queued.
#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "support/adapter_test.h"
#include "support/thread_state.h"

namespace QuorTest {
namespace {

constexpr unsigned kWorkers = 11;
constexpr unsigned kWaiting = 50;

class ShutdownTest : public AdapterTest {
protected:
    ShutdownTest() {
        Put(m_info.serverAddr, "192.168.1.10");
        Network().onRequest = [this](const HttpRequest&) {
            gate.Pass();
            HttpAnswer answer;
            answer.body = R"({"content":[]})";
            return answer;
        };
    }

    void Request() { EXPECT_EQ(Http().CloudQueryConfList(&m_info), 0U); }

    // Everything that was requested, taken out of the queue by the dispatcher. Of the pool only the frees are
    // seen from outside.
    static void WaitForFrees(unsigned count) {
        while (Frees() < count) {
            std::this_thread::yield();
        }
    }
    static unsigned Frees() {
        const std::lock_guard<std::mutex> guard(Fake().mutex);
        unsigned frees = 0;
        for (const BlockRecord& block : Fake().freedBlocks) {
            frees += block.sizeBytes == sizeof(TagQuorAiKelInfo) ? 1U : 0U;
        }
        return frees;
    }

    Gate gate;
    TagQuorAiKelInfo m_info = {};
};

// One participant query runs at a time, because the buffer is one; the other workers wait for it.
TEST_F(ShutdownTest, WhatWorkersTookRunsToItsEndAndWhatIsTooMuchIsDropped) {
    StartAll();
    for (unsigned i = 0; i < kWorkers + kWaiting; ++i) {
        Request();
    }
    gate.WaitForArrivals(1);
    // The workers hold 11 and the pool 50; of further ones the copies are freed at once. Until the workers
    // have taken theirs, requests may still find room.
    unsigned dropped = 0;
    unsigned requested = kWorkers + kWaiting;
    while (dropped < 5) {
        Request();
        ++requested;
        while (true) {
            TagAiCloudSrvResult record = {};
            if (!Adapter::Pop(record)) {
                break;
            }
            Adapter::RunOnPool(record);  // as the dispatcher would
        }
        dropped = Frees();
    }
    std::thread stopper([] { EXPECT_EQ(Adapter::Http().CloudHttpUninit(), 0); });
    gate.Open();
    stopper.join();
    ResetAdapter();
    EXPECT_EQ(Frees(), requested);
    EXPECT_LE(observer->results.size(), kWorkers + kWaiting);
    EXPECT_GE(observer->results.size(), kWaiting);
    EXPECT_EQ(Network().requests.size(), observer->results.size());
}

// The records that nobody took are dropped as they are; their copies are the loss that stays.
TEST_F(ShutdownTest, QueuedCopiesAreLost) {
    ASSERT_TRUE(Adapter::StartWithoutThreads());
    Adapter::CountUser();
    Request();
    std::vector<unsigned char> picture(sizeof(tagAI_FACE_S_DETECT_INFO) + 3);
    tagAI_FACE_S_DETECT_INFO head = {};
    head.picLen = 3;
    std::memcpy(picture.data(), &head, sizeof(head));
    EXPECT_EQ(Http().CloudFaceRecogPhoto(reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(picture.data())), 0U);
    TagQuorAiFacePhotoParam photos = {};
    EXPECT_EQ(Http().CloudQueryFacePhoto(&photos), 0U);
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    TagAiCloudSrvResult record = {};
    EXPECT_FALSE(Adapter::Pop(record));
    ExpectLost({644, 1559, 3088});
}

// The dispatcher holds a record when the workers go: it finds nobody to hand it to and frees it.
TEST_F(ShutdownTest, ARecordThatTheDispatcherHoldsIsFreed) {
    StartAll();
    std::atomic<pid_t> stopperNumber{0};
    std::thread stopper;
    {
        const QuorAiComm::MutexLock lock(Adapter::ThreadPoolLock());
        Request();
        TagAiCloudSrvResult record = {};
        while (true) {  // until the dispatcher has taken it
            if (!Adapter::Pop(record)) {
                break;
            }
            Adapter::Push(record);
        }
        stopper = std::thread([&] {
            stopperNumber = ThreadNumber();
            EXPECT_EQ(Adapter::Http().CloudHttpUninit(), 0);
        });
        WaitUntilAsleep(stopperNumber);
    }
    gate.Open();
    stopper.join();
    WaitForFrees(1);
    ResetAdapter();
    EXPECT_EQ(Frees(), 1U);
}

TEST_F(ShutdownTest, OutstandingAnswersAreToldBeforeTheStopReturns) {
    StartAll();
    Network().onRequest = nullptr;
    Network().holdAnswers = true;
    TagQuorAiReportSiginIn report = {};
    report.reportCount = 1;
    Put(report.serverAddr, "192.168.1.10");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Http().CloudReportSignInInfo(report), 0U);
    }
    EXPECT_EQ(Network().Held().size(), 3U);
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_EQ(observer->results.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(observer->As<TagQuorAiReportSiginIn>(i).result, 0);
    }
}

// An asynchronous request without a transport: its copy is the loss that stays.
TEST_F(ShutdownTest, AsynchronousRequestsFailBeforeTheStartAndAfterTheStop) {
    TagQuorAiQuerySignIn query = {};
    EXPECT_EQ(Http().CloudQuerySignInInfo(query), kRefused);
    ASSERT_EQ(Http().CloudHttpInit(), 0);
    ASSERT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_EQ(Http().CloudQuerySignInInfo(query), kRefused);
    ExpectLost({464, 464});
}

TEST_F(ShutdownTest, StartedAgainWithinHalfASecondItWorks) {
    gate.Open();
    StartAll();
    for (int i = 0; i < 10; ++i) {
        Gate told;
        told.Open();
        observer->onUpdate = [&](const auto&) { told.Pass(); };
        Request();
        told.WaitForArrivals(1);
        ASSERT_EQ(Http().CloudHttpUninit(), 0);
        ASSERT_EQ(Http().CloudHttpInit(), 0);
    }
    ResetAdapter();
    EXPECT_EQ(observer->results.size(), 10U);
}

}  // namespace
}  // namespace QuorTest
