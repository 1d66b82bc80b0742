#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/face_detect_test.h"
#include "support/failing_new.h"

namespace QuorTest {
namespace {

using CloudFaceSrvDetectTest = FaceDetectTest;

TEST_F(CloudFaceSrvDetectTest, OneInstanceForAll) {
    std::vector<CloudFaceSrvDetect*> seen(4);
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (auto& instance : seen) {
        threads.emplace_back([&instance] { instance = CloudFaceSrvDetect::GetInstance(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const CloudFaceSrvDetect* instance : seen) {
        EXPECT_EQ(instance, &Face());
    }
    EXPECT_NE(seen[0], nullptr);
}

TEST_F(CloudFaceSrvDetectTest, StartAndEnd) {
    EXPECT_EQ(Face().CloudHttpInit(), 0);
    EXPECT_TRUE(Detector::Inited());
    EXPECT_EQ(HttpAccess::Users(), 1U);
    EXPECT_EQ(Logs().back(), FI("<CloudHttpInit> Init success."));
    Fake().ClearRecords();
    EXPECT_EQ(Face().CloudHttpUninit(), 0);
    EXPECT_FALSE(Detector::Inited());
    EXPECT_EQ(HttpAccess::Users(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(FI("<StopServerDetect> IN."), FI("<StopServerDetect> clean server info."),
                                    FI("<StopServerDetect> SUCCESS."),
                                    UI("<AiUtilityHttpUninit> m_pstTlsPram free done."),
                                    FI("<CloudHttpUninit> Uninit success.")));
}

// An error line and still a success; the second start is not counted.
TEST_F(CloudFaceSrvDetectTest, StartingTwiceIsOneStart) {
    Start();
    EXPECT_EQ(Face().CloudHttpInit(), 0);
    EXPECT_THAT(Logs(), ElementsAre(FE("<CloudHttpInit> has been inited.")));
    EXPECT_EQ(HttpAccess::Users(), 1U);
    EXPECT_EQ(Face().CloudHttpUninit(), 0);
    EXPECT_FALSE(Detector::Inited());
}

TEST_F(CloudFaceSrvDetectTest, EndingTwiceIsASuccess) {
    Start();
    EXPECT_EQ(Face().CloudHttpUninit(), 0);
    Fake().ClearRecords();
    EXPECT_EQ(Face().CloudHttpUninit(), 0);
    EXPECT_THAT(Logs(), ElementsAre(FE("<CloudHttpUninit> not inited.")));
}

TEST_F(CloudFaceSrvDetectTest, ATransportThatDoesNotStart) {
    Fake().FailCall(Fn::HttpInit, 1);
    EXPECT_EQ(Face().CloudHttpInit(), -1);
    EXPECT_EQ(Logs().back(), FE("<CloudHttpInit> call AiUtilityHttpInit failed"));
    EXPECT_FALSE(Detector::Inited());
    EXPECT_EQ(Face().CloudHttpInit(), 0);
}

TEST_F(CloudFaceSrvDetectTest, AnEndThatFailsToCleanKeepsTheTransport) {
    Start();
    Fake().FailCall(Fn::MemsetS, 1);
    EXPECT_EQ(Face().CloudHttpUninit(), -1);
    EXPECT_EQ(Logs().back(), FE("<CloudHttpUninit> call StopServerDetect failed"));
    EXPECT_TRUE(Detector::Inited());
    EXPECT_EQ(HttpAccess::Users(), 1U);
    EXPECT_EQ(Face().CloudHttpUninit(), 0);
}

// Everything is ended by then, but it counts as started: every later end fails, and a start does nothing.
TEST_F(CloudFaceSrvDetectTest, ATransportThatDoesNotEndLeavesItStarted) {
    Start();
    Fake().FailCall(Fn::HttpUninit, 1);
    EXPECT_EQ(Face().CloudHttpUninit(), -1);
    EXPECT_EQ(Logs().back(), FE("<CloudHttpUninit> call AiUtilityHttpUninit failed"));
    EXPECT_TRUE(Detector::Inited());
    Fake().ClearRecords();
    EXPECT_EQ(Face().CloudHttpUninit(), -1);
    EXPECT_EQ(Logs().back(), FE("<CloudHttpUninit> call AiUtilityHttpUninit failed"));
    Fake().ClearRecords();
    EXPECT_EQ(Face().CloudHttpInit(), 0);
    EXPECT_THAT(Logs(), ElementsAre(FE("<CloudHttpInit> has been inited.")));
    EXPECT_EQ(HttpAccess::Users(), 0U);
}

TEST_F(CloudFaceSrvDetectTest, TheEndForgetsEverything) {
    Start();
    TagQuorAiFaceServerInfo info = Config("10.1.1.1");
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    tagAI_FACE_S_EUA_SERVER_INFO valid = {};
    EXPECT_EQ(Face().GetValidFaceSrvInfo(valid), 0);
    EXPECT_EQ(Face().CloudHttpUninit(), 0);
    EXPECT_EQ(LiveTimer(), nullptr);
    EXPECT_EQ(Face().GetValidFaceSrvInfo(valid), -1);
    EXPECT_EQ(Detector::SlotCount(), 0U);
}

TEST_F(CloudFaceSrvDetectTest, ProbesUnderWayAreCancelledByTheLastUser) {
    Start();
    Network().holdAnswers = true;
    TagQuorAiFaceServerInfo info = Config("10.1.1.1;10.1.1.2");
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    EXPECT_EQ(Network().Held().size(), 2U);
    EXPECT_EQ(Face().CloudHttpUninit(), 0);
    EXPECT_THAT(Network().Held(), IsEmpty());
    EXPECT_STREQ(Detector::Info().url, "");
}

// ---- Configuration ----

TEST_F(CloudFaceSrvDetectTest, AConfigurationIsTakenWhole) {
    TagQuorAiFaceServerInfo info = Config("10.1.1.1");
    FillWhole(info.account, 'a');
    FillWhole(info.password, 'p');
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    EXPECT_EQ(std::string(Detector::Info().account, 256), std::string(256, 'a'));
    EXPECT_EQ(std::string(Detector::Info().password, 1024), std::string(1024, 'p'));
}

TEST_F(CloudFaceSrvDetectTest, AListWithoutATerminatorIsReadToItsEndOnly) {
    TagQuorAiFaceServerInfo info = Config("");
    FillWhole(info.addressList, '1');
    std::memcpy(info.addressList, "10.1.1.1;", 9);
    FillWhole(info.account, ';');
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    EXPECT_THAT(Logs(), ::testing::Contains(FE("strncpy error."))) << "the second item, of 503 characters";
    EXPECT_EQ(Detector::SlotCount(), 1U);
}

// The valid service is that of the former configuration, the credentials are the new ones.
TEST_F(CloudFaceSrvDetectTest, ANewConfigurationKeepsTheValidService) {
    Start();
    TagQuorAiFaceServerInfo info = Config("10.1.1.1:8443");
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    Network().answer.status = 401;
    info = Config("10.2.2.2");
    Put(info.account, "another");
    Put(info.password, "sealed-another");
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    tagAI_FACE_S_EUA_SERVER_INFO valid = {};
    EXPECT_EQ(Face().GetValidFaceSrvInfo(valid), 0);
    EXPECT_STREQ(valid.url, "https://10.1.1.1");
    EXPECT_EQ(valid.port, 8443U);
    EXPECT_STREQ(valid.account, "another");
    EXPECT_STREQ(valid.password, "sealed-another");
    EXPECT_EQ(Network().requests.size(), 2U) << "a new configuration is probed at once";
}

// Of the list, what was read before the memory was short; of the rest, all: the credentials, the run and the
// timer.
TEST_F(CloudFaceSrvDetectTest, AListThatFindsNoMemoryIsLoggedAndTheRestDone) {
    for (const unsigned nth :
         {1U, 2U}) {  // the list, and the item that is too long for a string's own buffer
        ResetDetect();
        Start();
        TagQuorAiFaceServerInfo info = Config("10.1.1.1;10.1.1.2");
        EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
        Fake().ClearRecords();
        info = Config("10.2.2.2;https://10.2.2.3:8443");
        Put(info.account, "another");
        Put(info.password, "sealed-another");
        int result = -1;
        bool hit = false;
        {
            const FailingNew failing(nth);
            result = Face().SetCloudFaceSrvInfo(info);
            hit = failing.Hit();
        }
        EXPECT_TRUE(hit);
        EXPECT_EQ(result, 0);
        EXPECT_THAT(Logs(), ElementsAre(FE("<SetCloudFaceSrvInfo> GetServerUrlList error.")));
        EXPECT_STREQ(Detector::Info().account, "another");
        EXPECT_STREQ(Detector::Info().password, "sealed-another");
        EXPECT_EQ(Fake().CountOf(Fn::StopTimer) + Fake().CountOf(Fn::StartTimer), 2U) << "anew";
        ASSERT_EQ(Network().requests.size(), nth - 1) << "no candidate of the former list";
        if (nth == 2) {
            EXPECT_EQ(Network().requests[0].url, "https://10.2.2.2:443/eua/face/v1/version");
        }
    }
}

TEST_F(CloudFaceSrvDetectTest, CredentialsThatCannotBeCopied) {
    for (const std::size_t size : {256U, 1024U}) {
        Fake().ClearRecords();
        Fake().boundedFault = [=](const BoundedCall& call) {
            return call.fn == Fn::MemcpyS && call.count == size;
        };
        TagQuorAiFaceServerInfo info = Config("10.1.1.1");
        EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), -1);
        EXPECT_THAT(Logs(), ElementsAre(FI("<GetServerUrlList> address num = 1."),
                                        FE("<SetCloudFaceSrvInfo> mem cpy error")));
        EXPECT_EQ(Fake().LocksHeld(), 0U);
        EXPECT_EQ(LiveTimer(), nullptr);
    }
}

TEST_F(CloudFaceSrvDetectTest, ItNeedsNoStart) {
    TagQuorAiFaceServerInfo info = Config("10.1.1.1");
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    EXPECT_THAT(Network().requests, IsEmpty());
    EXPECT_NE(LiveTimer(), nullptr);
    Start();
    Network().timeOfDaySec += 30;
    Fake().FireTimer(Detector::Timer());
    EXPECT_STREQ(Detector::Info().url, "https://10.1.1.1") << "found by the first tick after the start";
}

// ---- The valid service ----

// Neither the port nor the credentials of a configuration are given out then.
TEST_F(CloudFaceSrvDetectTest, BeforeAnyAnswerThereIsNoValidServiceAndTheCallersRecordStays) {
    Start();
    Network().answer.status = 401;
    TagQuorAiFaceServerInfo info = Config("10.1.1.1");
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    Fake().ClearRecords();
    tagAI_FACE_S_EUA_SERVER_INFO valid = {};
    std::memset(&valid, 'x', sizeof(valid));
    // So that a log listener may ask, too.
    Fake().onLog = [](LogKind, const std::string&) { EXPECT_FALSE(Fake().IsLocked(&Detector::Lock())); };
    EXPECT_EQ(Face().GetValidFaceSrvInfo(valid), -1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&valid), sizeof(valid)), std::string(1540, 'x'));
    EXPECT_THAT(Logs(), ElementsAre(FE("<GetValidFaceSrvInfo> have no valid server url")));
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

TEST_F(CloudFaceSrvDetectTest, TheCopyIsByteForByte) {
    tagAI_FACE_S_EUA_SERVER_INFO& info = Detector::Info();
    std::memset(&info, 'y', sizeof(info));
    info.port = 5;
    tagAI_FACE_S_EUA_SERVER_INFO valid = {};
    EXPECT_EQ(Face().GetValidFaceSrvInfo(valid), 0);
    EXPECT_EQ(std::memcmp(&valid, &info, 1540), 0);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(CloudFaceSrvDetectTest, ACopyThatFailsGivesNothing) {
    Put(Detector::Info().url, "https://10.1.1.1");
    Fake().FailCall(Fn::MemcpyS, 1);
    tagAI_FACE_S_EUA_SERVER_INFO valid = {};
    valid.port = 3;
    EXPECT_EQ(Face().GetValidFaceSrvInfo(valid), -1);
    EXPECT_EQ(valid.port, 0U);
    EXPECT_THAT(Logs(), ElementsAre(FE("<GetValidFaceSrvInfo> mem cpy error")));
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

// Ticks, answers, configurations and readers at the same time.
TEST_F(CloudFaceSrvDetectTest, ThreadsDoNotDisturbEachOther) {
    Start();
    Fake().recordLogs = false;
    TagQuorAiFaceServerInfo info = Config("10.1.1.1;10.1.1.2:8443");
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    constexpr int kRounds = 50;
    std::thread ticks([] {
        for (int i = 0; i < kRounds; ++i) {
            {
                const std::lock_guard<std::mutex> guard(Network().mutex);
                Network().timeOfDaySec += 30;
            }
            Detector::TimerCallback()(nullptr);
        }
    });
    std::thread readers([] {
        for (int i = 0; i < kRounds; ++i) {
            tagAI_FACE_S_EUA_SERVER_INFO valid = {};
            EXPECT_EQ(CloudFaceSrvDetect::GetInstance()->GetValidFaceSrvInfo(valid), 0);
            EXPECT_THAT(valid.url, ::testing::AnyOf(::testing::StrEq("https://10.1.1.1"),
                                                    ::testing::StrEq("https://10.1.1.2"),
                                                    ::testing::StrEq("http://10.3.3.3")));
            EXPECT_THAT(valid.account,
                        ::testing::AnyOf(::testing::StrEq("operator"), ::testing::StrEq("another")));
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        TagQuorAiFaceServerInfo other = Config(i % 2 == 0 ? "http://10.3.3.3" : "10.1.1.1;10.1.1.2:8443");
        Put(other.account, i % 2 == 0 ? "another" : "operator");
        EXPECT_EQ(Face().SetCloudFaceSrvInfo(other), 0);
    }
    ticks.join();
    readers.join();
}

}  // namespace
}  // namespace QuorTest
