#include "conference_channel/liveness.h"

#include <thread>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

class LivenessTest : public ChannelTest {
protected:
    LivenessTest() { Kel().KelBasicGenerateSubscribeMap(); }
    static void Set(TagQuorAiSubId id, unsigned count) { Access::Alive()[id] = count; }
};

TEST_F(LivenessTest, StartCreatesARepeatingTenMinuteTimer) {
    EXPECT_EQ(Access::StartTimer(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(I("<StartSubAliveTimer> succeed")));
    ASSERT_EQ(Fake().timers.size(), 1U);
    const TimerRecord& timer = Fake().timers.begin()->second;
    EXPECT_EQ(Access::TimerId(), Fake().timers.begin()->first);
    EXPECT_EQ(timer.callback, &QuorAiEngine::SubAliveCallback);
    EXPECT_EQ(timer.arg, nullptr);
    EXPECT_GT(timer.line, 0U);
    EXPECT_NE(timer.file, "");
    EXPECT_EQ(timer.periodMs, 600000U);
    EXPECT_EQ(timer.mode, 0U);
    EXPECT_TRUE(timer.running);
}

TEST_F(LivenessTest, StartTwiceKeepsOneTimer) {
    Access::StartTimer();
    Fake().ClearRecords();
    EXPECT_EQ(Access::StartTimer(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(I("<StartSubAliveTimer> m_subAliveTimerId already start")));
    EXPECT_EQ(Fake().timers.size(), 1U);
}

TEST_F(LivenessTest, StartWithoutATimer) {
    Fake().FailCall(Fn::CreateTimer, 1);
    EXPECT_EQ(Access::StartTimer(), 0xFFFFFFFFU);
    EXPECT_THAT(Logs(), ElementsAre(E("<StartSubAliveTimer> failed: Start timer failed")));
    EXPECT_EQ(Access::TimerId(), nullptr);
}

TEST_F(LivenessTest, TimerThatDoesNotStartIsKeptAndTheNextStartSaysAlreadyStarted) {
    Fake().FailCall(Fn::StartTimer, 1);
    Fake().SetFailResult(Fn::StartTimer, 5);
    EXPECT_EQ(Access::StartTimer(), 0xFFFFFFFFU);
    EXPECT_NE(Access::TimerId(), nullptr);
    EXPECT_EQ(Access::StartTimer(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(E("<StartSubAliveTimer> failed OsStartRelTimer ret 5."),
                                    I("<StartSubAliveTimer> m_subAliveTimerId already start")));
    EXPECT_FALSE(Fake().timers.begin()->second.running);
}

TEST_F(LivenessTest, StopStopsAndFrees) {
    Access::StartTimer();
    Fake().ClearRecords();
    EXPECT_EQ(Access::StopTimer(), 0U);
    EXPECT_THAT(Fake().Trail(), ElementsAre("StopTimer", "FreeTimer", "ModuleLog"));
    EXPECT_THAT(Logs(), ElementsAre(I("<StopSubAliveTimer> succeed")));
    EXPECT_EQ(Access::TimerId(), nullptr);
    EXPECT_TRUE(Fake().timers.begin()->second.freed);
}

TEST_F(LivenessTest, StopTwice) {
    Access::StartTimer();
    Access::StopTimer();
    Fake().ClearRecords();
    EXPECT_EQ(Access::StopTimer(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(I("<StopSubAliveTimer> m_subAliveTimerId already stoped.")));
    EXPECT_EQ(Fake().CountOf(Fn::StopTimer), 0U);
}

TEST_F(LivenessTest, StopSucceedsWhateverThePlatformSays) {
    Access::StartTimer();
    Fake().ClearRecords();
    Fake().FailCall(Fn::StopTimer, 1);
    Fake().FailCall(Fn::FreeTimer, 1);
    Fake().SetFailResult(Fn::StopTimer, 3);
    Fake().SetFailResult(Fn::FreeTimer, 4);
    EXPECT_EQ(Access::StopTimer(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(E("<StopSubAliveTimer> failed: OsStopRelTimer ret 3"),
                                    E("<StopSubAliveTimer> failed: OsFreeRelTimer ret 4"),
                                    I("<StopSubAliveTimer> succeed")));
    EXPECT_EQ(Access::TimerId(), nullptr);
}

TEST_F(LivenessTest, CountingRaisesAnExistingEntryUnderTheLock) {
    Set(AI_SUB_ID_CAPTION, 4);
    Access::CountMessage(AI_SUB_ID_CAPTION);
    EXPECT_EQ(Access::Alive().at(AI_SUB_ID_CAPTION), 5U);
    EXPECT_THAT(Fake().Trail(), ElementsAre("MutexLock", "MutexUnlock"));
}

TEST_F(LivenessTest, CountingNeverMakesAnEntry) {
    Access::CountMessage(AI_SUB_ID_CAPTION);
    EXPECT_TRUE(Access::Alive().empty());
    EXPECT_THAT(Logs(), ElementsAre(E("<AddSubAliveCnt> 1 not in m_subAliveMap.")));
    EXPECT_THAT(Fake().Trail(), ElementsAre("MutexLock", "MutexUnlock", "ModuleLog"));
}

TEST_F(LivenessTest, NothingSubscribedPrintsNothing) {
    Access::PrintCounts();
    EXPECT_THAT(Fake().Trail(), ElementsAre("MutexLock", "MutexUnlock"));
}

TEST_F(LivenessTest, PrintsLabelsAndCountsInOrderOfIdsThenStartsAgain) {
    Set(AI_SUB_ID_CONF_CTRL, 2);
    Set(AI_SUB_ID_CAPTION, 37);
    Access::PrintCounts();
    EXPECT_THAT(Logs(), ElementsAre(I("<PrintSubAliveCnt> [captionInfo]-37,[ctrlStatus]-2, for 10min")));
    EXPECT_THAT(Fake().Trail(), ElementsAre("MutexLock", "MutexUnlock", "ModuleLog"));
    Access::PrintCounts();
    EXPECT_EQ(Logs().back(), I("<PrintSubAliveCnt> [captionInfo]-0,[ctrlStatus]-0, for 10min"));
}

TEST_F(LivenessTest, LargestCountIsPrintedUnsigned) {
    Set(AI_SUB_ID_CAPTION, 4294967295U);
    Access::PrintCounts();
    EXPECT_EQ(Logs().back(), I("<PrintSubAliveCnt> [captionInfo]-4294967295, for 10min"));
}

TEST_F(LivenessTest, EntriesBeyond128CharactersOverwriteEachOther) {
    for (const unsigned id : {0U, 1U, 2U, 3U, 4U, 5U, 8U, 9U, 15U}) {
        Set(static_cast<TagQuorAiSubId>(id), 0);
    }
    Access::PrintCounts();
    const std::string text =
        "[checkinInfo]-0,[captionInfo]-0,[ctrlStatus]-0,[confSate]-0,[captionOverlay]-0,[captionAbility]-0,"
        "[LLMResultOfKEL]-0,[LLMResultO[translationInfo]-0,";
    EXPECT_EQ(text.size(), 148U);
    EXPECT_THAT(Logs(), ElementsAre(I("<PrintSubAliveCnt> " + text + " for 10min")));
}

TEST_F(LivenessTest, RoomIsWhatTheBufferOf256HasLeft) {
    Set(AI_SUB_ID_CHECKIN, 0);
    Set(AI_SUB_ID_CAPTION, 0);
    Access::PrintCounts();
    std::vector<std::size_t> room;
    for (const BoundedCall& call : Fake().boundedCalls) {
        if (call.fn == Fn::SprintfS) {
            room.push_back(call.destMax);
        }
    }
    EXPECT_THAT(room, ElementsAre(256U, 240U));
}

TEST_F(LivenessTest, EntryThatDoesNotFormatEndsThePrintAndKeepsItsCountAndTheLaterOnes) {
    Set(AI_SUB_ID_CHECKIN, 1);
    Set(AI_SUB_ID_CAPTION, 2);
    Set(AI_SUB_ID_CONF_CTRL, 3);
    Fake().FailCall(Fn::SprintfS, 2);
    Access::PrintCounts();
    EXPECT_THAT(Logs(), ElementsAre(E("<PrintSubAliveCnt> sprintf_s failed.")));
    EXPECT_EQ(Access::Alive().at(AI_SUB_ID_CHECKIN), 0U);
    EXPECT_EQ(Access::Alive().at(AI_SUB_ID_CAPTION), 2U);
    EXPECT_EQ(Access::Alive().at(AI_SUB_ID_CONF_CTRL), 3U);
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

TEST_F(LivenessTest, LabelThatDoesNotFitEndsThePrint) {
    Access::Label(1) = std::string(300, 'l');
    Set(AI_SUB_ID_CAPTION, 2);
    Access::PrintCounts();
    EXPECT_THAT(Logs(), ElementsAre(E("<PrintSubAliveCnt> sprintf_s failed.")));
}

TEST_F(LivenessTest, TimerPrintsEveryPeriodWithoutBeingStartedAgain) {
    Set(AI_SUB_ID_CAPTION, 1);
    Access::StartTimer();
    Fake().ClearRecords();
    Fake().FireTimer(Access::TimerId());
    Fake().FireTimer(Access::TimerId());
    EXPECT_THAT(Logs(), ElementsAre(I("<PrintSubAliveCnt> [captionInfo]-1, for 10min"),
                                    I("<PrintSubAliveCnt> [captionInfo]-0, for 10min")));
    EXPECT_EQ(Fake().CountOf(Fn::StartTimer), 0U);
}

TEST_F(LivenessTest, CountingAndPrintingOnTwoThreadsLosesNothing) {
    Set(AI_SUB_ID_CAPTION, 0);
    constexpr unsigned kMessages = 500;
    std::thread counter([] {
        for (unsigned i = 0; i < kMessages; ++i) {
            Access::CountMessage(AI_SUB_ID_CAPTION);
        }
    });
    for (int i = 0; i < 50; ++i) {
        Access::PrintCounts();
    }
    counter.join();
    Access::PrintCounts();
    unsigned long total = 0;
    for (const LogLine& line : Logs()) {
        total += std::stoul(line.text.substr(std::string("<PrintSubAliveCnt> [captionInfo]-").size()));
    }
    EXPECT_EQ(total, kMessages);
}

}  // namespace
}  // namespace QuorTest
