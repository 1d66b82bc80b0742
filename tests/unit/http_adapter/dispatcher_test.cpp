#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "quor_platform/os.h"
#include "support/adapter_test.h"
#include "support/failing_new.h"
#include "support/stopped_clock.h"

namespace QuorTest {
namespace {

using QuorAiEngine::HttpThreadExecute;

const LogLine kThreadExit = AI("<CloudHttpInit> http thread exit.");
const LogLine kBadLength = AE("<AiHttpProcSyncRequest> failed: dataLen is invalid");

TagQuorAiSubId Id(unsigned id) {
    return static_cast<TagQuorAiSubId>(id);
}

// A record on the accounted heap, as entry points queue it.
TagAiCloudSrvResult Queued(unsigned id, unsigned length) {
    return {Id(id), static_cast<unsigned char*>(OsMemMallocSetCharMon(length, 'x', 1, "test")), length};
}

using DispatcherTest = AdapterTest;

TEST_F(DispatcherTest, NoDataIsAnInfoAndAFailure) {
    EXPECT_EQ(Adapter::Process(AI_SUB_ID_QUERY_CONF_LIST, nullptr, 644), -1);
    EXPECT_THAT(Logs(), ElementsAre(AI("<AiHttpProcSyncRequest>: data is nullptr")));
}

// Not an error of the request: the worker must not report it again.
TEST_F(DispatcherTest, AnUnknownIdIsLoggedAndASuccess) {
    char data[4] = {};
    for (const unsigned id : {0U, 9U, 13U, 999U}) {
        EXPECT_EQ(Adapter::Process(Id(id), data, 4), 0);
        EXPECT_EQ(Logs().back(), AE("<AiHttpProcSyncRequest> failed: unknown msgId " + std::to_string(id)));
    }
}

TEST_F(DispatcherTest, LengthsOfParticipantAndPhotoQueriesAreExact) {
    std::vector<char> data(4000);
    for (const unsigned length : {0U, 643U, 645U}) {
        Fake().ClearRecords();
        EXPECT_EQ(Adapter::Process(AI_SUB_ID_QUERY_CONF_LIST, data.data(), length), -1);
        EXPECT_THAT(Logs(), ElementsAre(kBadLength));
    }
    for (const unsigned length : {0U, 3087U, 3089U}) {
        Fake().ClearRecords();
        EXPECT_EQ(Adapter::Process(AI_SUB_ID_FACE_PHOTO, data.data(), length), -1);
        EXPECT_THAT(Logs(), ElementsAre(kBadLength));
    }
}

TEST_F(DispatcherTest, ARecognitionIsAtLeastItsHeadAndItsPicture) {
    alignas(tagAI_FACE_S_DETECT_INFO) char data[1600] = {};
    EXPECT_EQ(Adapter::Process(AI_SUB_ID_FACE_RECOGNIZE, data, 1555), -1);
    reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(data)->picLen = 5;
    EXPECT_EQ(Adapter::Process(AI_SUB_ID_FACE_RECOGNIZE, data, 1560), -1);
    EXPECT_THAT(Logs(), ElementsAre(kBadLength, kBadLength));
    // More than both is taken; what fails is the request.
    Fake().FailCall(Fn::SprintfS, 1, FailMode::kFromThenOn);
    EXPECT_EQ(Adapter::Process(AI_SUB_ID_FACE_RECOGNIZE, data, 1600), -1);
    EXPECT_EQ(Logs().back(), AE("<AiHttpProcSyncRequest> FaceRecogPhotoDeal 0 failed"));
}

TEST_F(DispatcherTest, RequestsThatFailSaySoWithTheirNumber) {
    Start();
    TagQuorAiKelInfo info = {};
    EXPECT_EQ(Adapter::Process(AI_SUB_ID_QUERY_CONF_LIST, &info, sizeof(info)), -1);
    EXPECT_EQ(Logs().back(), AE("<AiHttpProcSyncRequest> failed: DoQueryConfList error"));
    Fake().FailCall(Fn::SprintfS, 1, FailMode::kFromThenOn);
    tagAI_FACE_S_DETECT_INFO recognition = {};
    recognition.requestId = 41;
    EXPECT_EQ(Adapter::Process(AI_SUB_ID_FACE_RECOGNIZE, &recognition, sizeof(recognition)), -1);
    EXPECT_EQ(Logs().back(), AE("<AiHttpProcSyncRequest> FaceRecogPhotoDeal 41 failed"));
    TagQuorAiFacePhotoParam photos = {};
    photos.requestId = 4294967295U;
    EXPECT_EQ(Adapter::Process(AI_SUB_ID_FACE_PHOTO, &photos, sizeof(photos)), -1);
    EXPECT_EQ(Logs().back(), AE("<AiHttpProcSyncRequest> FaceQueryPhoto Deal -1 failed"));
}

// ---- The task ----

TEST_F(DispatcherTest, ATaskRunsItsRequestWithItsRecord) {
    TagAiCloudSrvResult record = Queued(12, 7);
    std::string seen;
    {
        HttpThreadExecute task(
            [&](TagQuorAiSubId id, void* data, unsigned length) {
                seen = std::to_string(id) + ":" + std::string(static_cast<char*>(data), length);
                return 0;
            },
            record);
        task.Execute();
        EXPECT_EQ(Fake().LiveBlocks().size(), 1U) << "the copy goes with the task, not with its run";
    }
    EXPECT_EQ(seen, "12:xxxxxxx");
    EXPECT_THAT(Logs(), IsEmpty());
    ASSERT_EQ(Fake().freedBlocks.size(), 1U);
    EXPECT_EQ(Fake().freedBlocks[0].contentAtFree, std::string(7, '\0'));
}

TEST_F(DispatcherTest, ATaskThatFailsOrThrowsSaysSo) {
    const HttpThreadExecute::Request requests[] = {
        [](TagQuorAiSubId, void*, unsigned) { return 1; }, [](TagQuorAiSubId, void*, unsigned) { return -1; },
        [](TagQuorAiSubId, void*, unsigned) -> int { throw std::runtime_error("observer"); }};
    for (const auto& request : requests) {
        Fake().ClearRecords();
        TagAiCloudSrvResult record = Queued(10, 1);
        HttpThreadExecute(request, record).Execute();
        EXPECT_THAT(Logs(), ElementsAre(AE("<HttpThreadExecute>: execute subId:10 failed.")));
    }
}

TEST_F(DispatcherTest, ATaskWithoutRequestOrDataDoesNothing) {
    TagAiCloudSrvResult record = {AI_SUB_ID_CHECKIN, nullptr, 0};
    HttpThreadExecute(nullptr, record).Execute();
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_EQ(Fake().CountOf(Fn::HeapFree), 0U);
}

TEST_F(DispatcherTest, WithoutWorkersOrMemoryTheCopyIsFreed) {
    TagAiCloudSrvResult record = Queued(10, 644);
    Adapter::RunOnPool(record);
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
    record = Queued(10, 644);
    const FailingNew failing(1);
    Adapter::RunOnPool(record);
    EXPECT_TRUE(failing.Hit());
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
    EXPECT_THAT(Logs(), IsEmpty());
}

// ---- The dispatcher ----

// So that no copy outlives the workers. The dispatcher is held right behind the handing over.
TEST_F(DispatcherTest, TheWorkerEndsTheCopyWhileTheDispatcherIsStillThere) {
    Adapter::StartPool(1);
    TagAiCloudSrvResult record = Queued(999, 4);
    bool gone = false;
    {
        StoppedClock clock;
        clock.onNotifyOne = [&gone] {
            std::thread([&gone] {  // whose clock goes on
                const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
                while (!Fake().LiveBlocks().empty() && std::chrono::steady_clock::now() < deadline) {
                    std::this_thread::yield();
                }
                gone = Fake().LiveBlocks().empty();
            })
                .join();
        };
        Adapter::RunOnPool(record);
    }
    EXPECT_TRUE(gone);
    Adapter::EndPool();
}

TEST_F(DispatcherTest, WithoutUsersItEndsAtOnce) {
    Adapter::RunDispatcher(Adapter::Generation());
    EXPECT_THAT(Logs(), ElementsAre(kThreadExit));
    EXPECT_THAT(Fake().threadNames, ElementsAre("httpQueueThread"));
}

// The text is the start's.
TEST_F(DispatcherTest, ARecordThatCannotBeClearedIsTriedAgain) {
    Adapter::CountUser();
    EXPECT_EQ(Adapter::Protocol().AiUtilityHttpInit(), 0U);
    Fake().ClearRecords();
    Fake().FailCall(Fn::MemsetS, 1);
    unsigned clears = 0;
    Fake().boundedFault = [&](const BoundedCall& call) {
        clears += call.fn == Fn::MemsetS && call.count == 24 ? 1U : 0U;
        if (clears == 2) {
            Adapter::Http().CloudHttpUninit();  // the last user leaves meanwhile
        }
        return false;
    };
    const StoppedClock clock;
    Adapter::RunDispatcher(Adapter::Generation());
    EXPECT_EQ(clears, 2U);
    EXPECT_THAT(Logs(), ::testing::Contains(AE("<CloudHttpInit>: memset_s error")));
    EXPECT_EQ(Logs().back(), kThreadExit);
}

TEST_F(DispatcherTest, AfterARecordThatCannotBeClearedItAsksForUsersFirst) {
    Adapter::CountUser();
    unsigned clears = 0;
    Fake().boundedFault = [&](const BoundedCall& call) {
        if (call.fn != Fn::MemsetS || call.count != sizeof(TagAiCloudSrvResult)) {
            return false;
        }
        ++clears;
        Adapter::UncountUser();
        return true;
    };
    const StoppedClock clock;
    Adapter::RunDispatcher(Adapter::Generation());
    EXPECT_EQ(clears, 1U);
    EXPECT_THAT(Logs(), ElementsAre(AE("<CloudHttpInit>: memset_s error"), kThreadExit));
    EXPECT_THAT(clock.Waits(), IsEmpty());
}

TEST_F(DispatcherTest, ItWaitsForARecordHalfASecondAtATimeAndNotOnceMoreWithoutUsers) {
    constexpr std::chrono::milliseconds kPopWait{500};
    ASSERT_TRUE(Adapter::StartWithoutThreads());
    Adapter::CountUser();
    StoppedClock clock;
    clock.onWait = [&] {
        if (clock.Waits().size() == 3) {
            EXPECT_EQ(Http().CloudHttpUninit(), 0);
        }
        return false;
    };
    Adapter::RunDispatcher(Adapter::Generation());
    EXPECT_THAT(clock.Waits(), ElementsAre(kPopWait, kPopWait, kPopWait));
    EXPECT_EQ(Logs().back(), kThreadExit);
}

// What is taken from the queue goes to the workers of the day before the dispatcher asks whether it may stay.
TEST_F(DispatcherTest, ARecordThatItTookGoesToTheWorkersAlthoughNobodyIsLeft) {
    const std::function<void()> ends[] = {[] { Adapter::UncountUser(); }, [] { Adapter::NextGeneration(); }};
    for (const auto& end : ends) {
        Start();
        Network().answer.body = R"({"content":[]})";
        Adapter::CountUser();
        Adapter::StartPool(1);
        {
            StoppedClock clock;
            clock.onWait = [&] {
                TagQuorAiKelInfo info = {};
                Put(info.serverAddr, "192.168.1.10");
                EXPECT_EQ(Http().CloudQueryConfList(&info), 0U);
                end();
                return true;
            };
            Adapter::RunDispatcher(Adapter::Generation());
            EXPECT_EQ(clock.Waits().size(), 1U);
        }
        Adapter::EndPool();
        EXPECT_EQ(Network().requests.size(), 1U);
        EXPECT_EQ(observer->results.size(), 1U);
        observer->results.clear();
        ResetAdapter();
        HttpAccess::Reset();
    }
}

TEST_F(DispatcherTest, ARequestTravelsFromTheCallToTheObserver) {
    StartAll();
    Gate told;
    observer->onUpdate = [&](const auto&) { told.Pass(); };
    told.Open();
    TagQuorAiKelInfo info = {};
    Put(info.serverAddr, "192.168.1.10");
    Network().answer.body = R"({"content":[{"generalParam":{"id":"a","name":"b"}}]})";
    EXPECT_EQ(Http().CloudQueryConfList(&info), 0U);
    told.WaitForArrivals(1);
    ResetAdapter();
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_QUERY_CONF_LIST);
    EXPECT_EQ(observer->results[0].len, 456U);
}

// There is no refusal before the start: the request waits.
TEST_F(DispatcherTest, RequestsMadeBeforeTheStartRunAfterIt) {
    TagQuorAiKelInfo info = {};
    Put(info.serverAddr, "192.168.1.10");
    Network().answer.body = R"({"content":[]})";
    EXPECT_EQ(Http().CloudQueryConfList(&info), 0U);
    EXPECT_EQ(Http().CloudQueryConfList(&info), 0U);
    Gate told;
    told.Open();
    observer->onUpdate = [&](const auto&) { told.Pass(); };
    Http().Attach(observer);
    ASSERT_EQ(Http().CloudHttpInit(), 0);
    told.WaitForArrivals(2);
    ResetAdapter();
    EXPECT_EQ(observer->results.size(), 2U);
}

}  // namespace
}  // namespace QuorTest
