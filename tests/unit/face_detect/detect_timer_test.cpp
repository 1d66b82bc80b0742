#include <string>
#include <vector>

#include "support/face_detect_test.h"

namespace QuorTest {
namespace {

class DetectTimerTest : public FaceDetectTest {
protected:
    DetectTimerTest() { Start(); }

    static void Configure(const std::string& list) {
        TagQuorAiFaceServerInfo info = Config(list);
        EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    }
    static void Tick() { Fake().FireTimer(Detector::Timer()); }
    static void ExpectNothingKept() {
        const tagAI_FACE_S_EUA_SERVER_INFO info = Detector::Info();
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(&info), sizeof(info)), std::string(1540, '\0'));
        for (unsigned i = 0; i < kQuorAiFaceServerMax; ++i) {
            const tagAiFaceServerAddrInfo slot = Detector::Slot(i);
            EXPECT_EQ(std::string(reinterpret_cast<const char*>(&slot), 270), std::string(270, '\0'));
        }
        EXPECT_EQ(Detector::SlotCount(), 0U);
    }
};

TEST_F(DetectTimerTest, TheFirstForcedRunMakesARepeatingTimerOf30Seconds) {
    EXPECT_EQ(Detector::RestartTimer(), 0);
    EXPECT_THAT(Logs(), ElementsAre(FI("<RestartServerDetectTimer> Start Timer Succeed.")));
    const TimerRecord* timer = LiveTimer();
    ASSERT_NE(timer, nullptr);
    EXPECT_EQ(timer->callback, Detector::TimerCallback());
    EXPECT_EQ(timer->arg, nullptr);
    EXPECT_GT(timer->line, 0U);
    EXPECT_EQ(timer->file, kFaceModule);
    EXPECT_TRUE(timer->running);
    EXPECT_EQ(timer->periodMs, 30000U);
    EXPECT_EQ(timer->mode, 0U);
}

// The same text, but a trace: the timer was there.
TEST_F(DetectTimerTest, LaterForcedRunsStopItAndStartItAgain) {
    Detector::RestartTimer();
    Fake().ClearRecords();
    Fake().traceLevel = 3;
    EXPECT_EQ(Detector::RestartTimer(), 0);
    EXPECT_THAT(Fake().Trail(), ElementsAre("StopTimer", "StartTimer"));
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_THAT(TraceTexts(), ElementsAre("<RestartServerDetectTimer> Start Timer Succeed."));
    EXPECT_TRUE(LiveTimer()->running);
    Fake().ClearRecords();
    Fake().traceLevel = 2;
    EXPECT_EQ(Detector::RestartTimer(), 0);
    EXPECT_THAT(TraceTexts(), IsEmpty());
}

TEST_F(DetectTimerTest, WithoutATimerTheConfigurationFailsAfterItsProbes) {
    Fake().FailCall(Fn::CreateTimer, 1);
    TagQuorAiFaceServerInfo info = Config("10.1.1.1");
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), -1);
    EXPECT_EQ(Network().requests.size(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(FI("<GetServerUrlList> address num = 1."),
                                    FE("<RestartServerDetectTimer> failed: Start rel timer failed"),
                                    FE("<SetCloudFaceSrvInfo> AiFaceDoServerDetect error")));
    EXPECT_STREQ(Detector::Info().url, "https://10.1.1.1") << "what was found is valid";
    EXPECT_EQ(Face().SetCloudFaceSrvInfo(info), 0);
    EXPECT_NE(LiveTimer(), nullptr);
}

TEST_F(DetectTimerTest, ATimerThatDoesNotStartIsNotNoticed) {
    Fake().FailCall(Fn::StartTimer, 1, FailMode::kFromThenOn);
    EXPECT_EQ(Detector::RestartTimer(), 0);
    EXPECT_THAT(Logs(), ElementsAre(FI("<RestartServerDetectTimer> Start Timer Succeed.")));
    EXPECT_EQ(Detector::RestartTimer(), 0);
}

TEST_F(DetectTimerTest, TheTimerIsStartedAfterTheProbes) {
    Configure("10.1.1.1");
    const std::vector<std::string> trail =
        Fake().Trail({Fn::MutexLock, Fn::MutexUnlock, Fn::ModuleLog, Fn::HeapAlloc, Fn::HeapFree});
    EXPECT_THAT(trail, ElementsAre("Base64Encode", "Base64Free", "Decrypt", "Base64Encode", "Base64Free",
                                   "CertPath", "HttpAsynSend", "HttpRelease", "CreateTimer", "StartTimer"));
}

TEST_F(DetectTimerTest, TicksProbeAgainAndLeaveTheTimerAlone) {
    Fake().traceLevel = 3;
    Configure("10.1.1.1;10.1.1.2");
    for (int tick = 0; tick < 3; ++tick) {
        Fake().ClearRecords();
        Network().timeOfDaySec += 30;
        Tick();
        EXPECT_EQ(Network().requests.size(), 2U);
        EXPECT_THAT(Logs(), IsEmpty());
        EXPECT_EQ(Fake().CountOf(Fn::StartTimer) + Fake().CountOf(Fn::StopTimer), 0U);
        EXPECT_EQ(TraceTexts().at(0), "<ServerDetectTimer> enter timer.");
        EXPECT_EQ(TraceTexts().at(1), "<AiFaceDoServerDetect> do Server dectect, serverNum = 2");
        EXPECT_TRUE(LiveTimer()->running);
    }
}

TEST_F(DetectTimerTest, TicksAreSilentBelowTheTracesLevel) {
    Fake().traceLevel = 2;
    Configure("10.1.1.1");
    Network().timeOfDaySec += 30;
    Tick();
    EXPECT_EQ(Network().requests.size(), 2U);
    EXPECT_THAT(TraceTexts(), IsEmpty());
}

TEST_F(DetectTimerTest, ATickThatComesEarlyIsRefused) {
    Configure("10.1.1.1");
    Fake().ClearRecords();
    Network().timeOfDaySec += 10;
    Tick();
    EXPECT_THAT(Logs(), ElementsAre(FE("<AiFaceDoServerDetect> not reach 30s")));
    EXPECT_THAT(Network().requests, IsEmpty());
}

TEST_F(DetectTimerTest, TicksFindAnotherServiceWhenTheValidOneIsLost) {
    Network().onRequest = [](const HttpRequest& request) {
        HttpAnswer answer;
        answer.status = request.url.find("10.1.1.1:") != std::string::npos ? 200 : 404;
        return answer;
    };
    Configure("10.1.1.1;10.1.1.2");
    EXPECT_STREQ(Detector::Info().url, "https://10.1.1.1");
    Network().onRequest = [](const HttpRequest& request) {
        HttpAnswer answer;
        answer.result = request.url.find("10.1.1.1:") != std::string::npos ? 102 : 0;
        return answer;
    };
    Network().timeOfDaySec += 30;
    Tick();
    EXPECT_STREQ(Detector::Info().url, "https://10.1.1.2");
}

// ---- The end ----

TEST_F(DetectTimerTest, StoppingStopsAndFreesTheTimer) {
    Detector::RestartTimer();
    Fake().ClearRecords();
    EXPECT_EQ(Detector::Stop(false), 0);
    EXPECT_THAT(Logs(), ElementsAre(FI("<StopServerDetect> IN."), FI("<StopServerDetect> SUCCESS.")));
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), ElementsAre("StopTimer", "FreeTimer"));
    EXPECT_EQ(Detector::Timer(), nullptr);
    Fake().ClearRecords();
    EXPECT_EQ(Detector::Stop(false), 0);
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), IsEmpty());
}

TEST_F(DetectTimerTest, StoppingWithoutCleaningKeepsEverything) {
    Configure("10.1.1.1");
    EXPECT_EQ(Detector::Stop(false), 0);
    EXPECT_STREQ(Detector::Info().url, "https://10.1.1.1");
    EXPECT_EQ(Detector::SlotCount(), 1U);
}

TEST_F(DetectTimerTest, CleaningZeroesEverythingButTheTimeOfTheLastRun) {
    Configure("10.1.1.1;10.1.1.2");
    const long long last = Detector::LastDetectTime();
    Fake().ClearRecords();
    EXPECT_EQ(Detector::Stop(true), 0);
    EXPECT_THAT(Logs(), ElementsAre(FI("<StopServerDetect> IN."), FI("<StopServerDetect> clean server info."),
                                    FI("<StopServerDetect> SUCCESS.")));
    ExpectNothingKept();
    EXPECT_EQ(Detector::LastDetectTime(), last);
    EXPECT_NE(last, 0);
}

TEST_F(DetectTimerTest, CleaningThatFailsSaysSo) {
    for (const std::size_t size :
         {sizeof(tagAI_FACE_S_EUA_SERVER_INFO), 8 * sizeof(tagAiFaceServerAddrInfo)}) {
        Configure("10.1.1.1");
        Fake().ClearRecords();
        Fake().boundedFault = [=](const BoundedCall& call) {
            return call.fn == Fn::MemsetS && call.count == size;
        };
        EXPECT_EQ(Detector::Stop(true), -1);
        EXPECT_THAT(Logs(),
                    ElementsAre(FI("<StopServerDetect> IN."), FI("<StopServerDetect> clean server info."),
                                FE("<StopServerDetect> memset_s failed")));
        EXPECT_EQ(Fake().LocksHeld(), 0U);
        ExpectNothingKept();
        Fake().ClearFaults();
    }
}

// Credentials and candidates alike.
TEST_F(DetectTimerTest, WhatThePlatformRefusesToOverwriteIsOverwrittenAllTheSame) {
    Configure("10.1.1.1;10.1.1.2");
    Fake().wipesDoNothing = true;
    Fake().FailCall(Fn::MemsetS, 1, FailMode::kFromThenOn);
    EXPECT_EQ(Detector::Stop(true), -1);
    ExpectNothingKept();
}

}  // namespace
}  // namespace QuorTest
