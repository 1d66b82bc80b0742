// The stop while requests run, wait and are queued.
#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "support/adapter_test.h"
#include "support/stopped_clock.h"
#include "support/thread_state.h"

namespace QuorTest {
namespace {

constexpr unsigned kWorkers = 11;
constexpr unsigned kWaiting = 50;
constexpr unsigned kQueued = 30;

class ShutdownTest : public AdapterTest {
protected:
    ShutdownTest() {
        Put(m_info.serverAddr, "192.168.1.10");
        Put(m_photos.serverAddr, "https://192.168.1.20");
        Put(m_photos.account, "operator");
        Put(m_photos.password, "sealed-password");
        Fake().plainTextByDomain["QuorUIConf"] = "password";
        Network().onRequest = [this](const HttpRequest&) {
            gate.Pass();
            return Answer(R"({"content":[]})");
        };
    }

    void RequestList() { EXPECT_EQ(Http().CloudQueryConfList(&m_info), 0U); }
    // Photo queries do not wait for each other: all workers send theirs at the same time.
    void RequestPhotos() { EXPECT_EQ(Http().CloudQueryFacePhoto(&m_photos), 0U); }

    // The copies that were given back so far are so many. Of the pool only these are seen from outside.
    template <typename Record>
    static void WaitForFrees(unsigned count) {
        while (Frees<Record>() < count) {
            std::this_thread::yield();
        }
    }
    template <typename Record>
    static unsigned Frees() {
        const std::lock_guard<std::mutex> guard(Fake().mutex);
        unsigned frees = 0;
        for (const BlockRecord& block : Fake().freedBlocks) {
            frees += block.sizeBytes == sizeof(Record) ? 1U : 0U;
        }
        return frees;
    }
    // Returns once the dispatcher has taken all that is queued.
    static void WaitUntilTaken() {
        TagAiCloudSrvResult record = {};
        while (Adapter::Pop(record)) {
            Adapter::Push(record);
            std::this_thread::yield();
        }
    }

    // Returns once the full queue has been cleared, which is after the stopper's last user left.
    static void WaitUntilCleared() {
        TagAiCloudSrvResult record = {AI_SUB_ID_CHECKIN, nullptr, 0};
        while (!Adapter::Push(record)) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(Adapter::Pop(record));
    }
    static void WaitUntilNobodyUsesIt() {
        while (Adapter::Users() != 0) {
            std::this_thread::yield();
        }
    }

    Gate gate;
    TagQuorAiKelInfo m_info = {};
    TagQuorAiFacePhotoParam m_photos = {};
};

// Of 93 requests 11 run and 50 wait, and these run to their end. The next one is dropped by the pool, one is
// with the dispatcher when the workers go, and the 30 in the queue are lost.
TEST_F(ShutdownTest, WhatWorkersTookRunsAndTheRestIsDroppedOrLost) {
    StartAll();
    for (unsigned i = 0; i < kWorkers; ++i) {
        RequestPhotos();
    }
    gate.WaitForArrivals(kWorkers);
    for (unsigned i = 0; i < kWaiting + 1; ++i) {
        RequestPhotos();
        WaitUntilTaken();
    }
    WaitForFrees<TagQuorAiFacePhotoParam>(1);
    EXPECT_EQ(Frees<TagQuorAiFacePhotoParam>(), 1U);
    std::atomic<pid_t> stopperNumber{0};
    std::thread stopper;
    {
        const QuorAiComm::MutexLock lock(Adapter::ThreadPoolLock());
        RequestPhotos();
        WaitUntilTaken();
        for (unsigned i = 0; i < kQueued; ++i) {
            RequestPhotos();
        }
        {
            const StoppedClock clock;
            EXPECT_EQ(Http().CloudQueryFacePhoto(&m_photos), kRefused);
        }
        EXPECT_EQ(Frees<TagQuorAiFacePhotoParam>(), 2U) << "the refused one's";
        stopper = std::thread([&] {
            stopperNumber = ThreadNumber();
            EXPECT_EQ(Adapter::Http().CloudHttpUninit(), 0);
        });
        WaitUntilCleared();
        WaitUntilAsleep(stopperNumber);
    }
    // Whoever gets the lock first, the dispatcher finds no workers or none with room, as long as none ends.
    WaitForFrees<TagQuorAiFacePhotoParam>(3);
    EXPECT_EQ(Network().requests.size(), kWorkers);
    gate.Open();
    stopper.join();
    EXPECT_EQ(Network().requests.size(), kWorkers + kWaiting);
    WaitForFrees<TagQuorAiFacePhotoParam>(kWorkers + kWaiting + 3);
    EXPECT_EQ(Frees<TagQuorAiFacePhotoParam>(), kWorkers + kWaiting + 3);
    ExpectLost(std::vector<unsigned>(kQueued, sizeof(TagQuorAiFacePhotoParam)));
}

// Queue, workers, transport, buffers.
TEST_F(ShutdownTest, TheStopHasItsOrder) {
    Start();
    Adapter::CountUser();
    Adapter::StartPool(1);
    std::atomic<pid_t> stopperNumber{0};
    bool queueIsEmpty = false;
    Network().onRequest = [&](const HttpRequest& request) {
        if (request.synchronous) {  // what a worker runs while the stopper waits for it
            gate.Pass();
            WaitUntilNobodyUsesIt();
            WaitUntilAsleep(stopperNumber);
            TagAiCloudSrvResult record = {};
            queueIsEmpty = !Adapter::Pop(record);
            // A stopper that kept this lock while it waits for the worker would hang here.
            const QuorAiComm::MutexLock lock(Adapter::ThreadPoolLock());
            EXPECT_FALSE(Adapter::HasPool());
            Fake().Mark("worker");
        }
        return Answer(R"({"content":[]})");
    };
    // What the end of the transport tells; with the workers and before the buffers.
    observer->onUpdate = [](const auto& result) {
        if (result.id == AI_SUB_ID_REPORT_SIGN_IN) {
            EXPECT_FALSE(Adapter::HasPool());
            EXPECT_NE(Adapter::Photos(), nullptr);
            EXPECT_NE(Adapter::Sites(), nullptr);
        }
    };
    RequestList();
    TagAiCloudSrvResult record = {};
    ASSERT_TRUE(Adapter::Pop(record));
    Adapter::RunOnPool(record);
    gate.WaitForArrivals(1);
    RequestList();
    Network().holdAnswers = true;
    TagQuorAiReportSiginIn report = {};
    report.reportCount = 1;
    Put(report.serverAddr, "192.168.1.10");
    EXPECT_EQ(Http().CloudReportSignInInfo(report), 0U);
    Fake().ClearRecords();
    gate.Open();
    std::thread stopper([&] {
        stopperNumber = ThreadNumber();
        EXPECT_EQ(Adapter::Http().CloudHttpUninit(), 0);
    });
    stopper.join();
    EXPECT_TRUE(queueIsEmpty);
    // The frees are those of the worker's answer (three) and copy, of the TLS block, of the report's copy and
    // of the two buffers.
    EXPECT_THAT(Fake().Trail({Fn::MutexLock, Fn::MutexUnlock, Fn::ModuleLog, Fn::HeapAlloc}),
                ElementsAre("worker", "HeapFree", "HeapFree", "HeapFree", "Notify 10", "HeapFree", "HeapFree",
                            "HttpUninit", "Notify 14", "HeapFree", "HttpRelease", "HeapFree", "HeapFree"));
    ExpectLost({sizeof(TagQuorAiKelInfo)});
}

TEST_F(ShutdownTest, TheBuffersAreFreedEachUnderItsOwnLock) {
    Start();
    Adapter::CountUser();
    Fake().onLog = [](LogKind, const std::string& text) {
        if (text == "<AiUtilityHttpUninit> m_pstTlsPram free done.") {
            Fake().ClearRecords();  // what follows is the end of the transport and the buffers
        }
    };
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    EXPECT_THAT(Fake().Trail(), ElementsAre("HttpUninit", "MutexLock", "HeapFree", "MutexUnlock", "MutexLock",
                                            "HeapFree", "MutexUnlock", "ModuleLog"));
}

// The records that nobody took are dropped as they are; their copies are the loss that stays.
TEST_F(ShutdownTest, QueuedCopiesAreLost) {
    ASSERT_TRUE(Adapter::StartWithoutThreads());
    Adapter::CountUser();
    RequestList();
    std::vector<unsigned char> picture(sizeof(tagAI_FACE_S_DETECT_INFO) + 3);
    tagAI_FACE_S_DETECT_INFO head = {};
    head.picLen = 3;
    std::memcpy(picture.data(), &head, sizeof(head));
    EXPECT_EQ(Http().CloudFaceRecogPhoto(reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(picture.data())), 0U);
    RequestPhotos();
    EXPECT_EQ(Http().CloudHttpUninit(), 0);
    TagAiCloudSrvResult record = {};
    EXPECT_FALSE(Adapter::Pop(record));
    ExpectLost({644, 1559, 3088});
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
        RequestList();
        told.WaitForArrivals(1);
        ASSERT_EQ(Http().CloudHttpUninit(), 0);
        ASSERT_EQ(Http().CloudHttpInit(), 0);
    }
    ResetAdapter();
    EXPECT_EQ(observer->results.size(), 10U);
}

}  // namespace
}  // namespace QuorTest
