#include "conference_channel/registry.h"

#include <cstring>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

class RegistryTest : public ChannelTest {
protected:
    static unsigned Add(const std::string& destination, unsigned subId,
                        Access::BodyHandler handler = Access::kVoice) {
        std::string text = destination;
        return Access::AddNode(text.data(), subId, handler);
    }
    unsigned Remove(unsigned subId, bool all = false) {
        return Access::RemoveNode(subId, m_out, sizeof(m_out), all);
    }
    // The channel state as a running conference left it.
    static void FillState() {
        Put(Access::State().uuid, kConfId);
        Put(Access::State().deviceId, kUri);
        Put(Access::State().confKey, kToken);
        Put(Access::State().srcLang, "en-US");
        Put(Access::State().dstLang, "fr-FR");
    }

    char m_out[256] = "untouched";
};

// ---- The tables ----

TEST_F(RegistryTest, TablesAreEmptyBeforeTheyAreGenerated) {
    for (unsigned id = 0; id < kQuorAiSubIdTableSize; ++id) {
        EXPECT_EQ(Access::Func(id), nullptr);
        EXPECT_EQ(Access::Label(id), "");
    }
}

TEST_F(RegistryTest, TablesNameOperationAndLabelOfEachService) {
    Kel().KelBasicGenerateSubscribeMap();
    const std::map<unsigned, std::pair<std::string, Access::SubscribeFunc>> expected = {
        {0, {"checkinInfo", &AiKelBasic::KelStompSubscribeCheckin}},
        {1, {"captionInfo", &AiKelBasic::KelStompSubscribeAiCaption}},
        {2, {"ctrlStatus", &AiKelBasic::KelStompSubscribeConfCtrlStatus}},
        {3, {"confSate", &AiKelBasic::KelStompSubscribeConfSiteStatus}},
        {4, {"captionOverlay", &AiKelBasic::KelStompSubscribeCaptinOverlay}},
        {5, {"captionAbility", &AiKelBasic::KelStompAiAbilityReport}},
        {8, {"LLMResultOfKEL", &AiKelBasic::KelStompSubscribeLLMResult}},
        {9, {"LLMResultOfManager", &AiKelBasic::ManagerStompSubscribeLLMResult}},
        {15, {"translationInfo", &AiKelBasic::KelStompSubscribeAiCaption}}};
    for (unsigned id = 0; id < kQuorAiSubIdTableSize; ++id) {
        const auto it = expected.find(id);
        EXPECT_EQ(Access::Label(id), it == expected.end() ? "" : it->second.first) << id;
        EXPECT_EQ(Access::Func(id), it == expected.end() ? nullptr : it->second.second) << id;
    }
    EXPECT_THAT(Logs(), IsEmpty());
}

// ---- The list of wanted services ----

TEST_F(RegistryTest, AddSubsEventAppendsUnderItsLockWithoutADuplicateCheck) {
    EXPECT_EQ(Kel().KelBasicAddSubsEvent(AI_SUB_ID_CAPTION), 0U);
    EXPECT_EQ(Kel().KelBasicAddSubsEvent(AI_SUB_ID_CHECKIN), 0U);
    EXPECT_EQ(Kel().KelBasicAddSubsEvent(AI_SUB_ID_CAPTION), 0U);
    EXPECT_EQ(Kel().KelBasicAddSubsEvent(static_cast<TagQuorAiSubId>(99)), 0U) << "any id";
    EXPECT_THAT(Access::Events(), ElementsAre(1U, 0U, 1U, 99U));
    EXPECT_EQ(Fake().CountOf(Fn::MutexLock), 4U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(RegistryTest, AddSubsEventReturnsTheUnlockResult) {
    Fake().FailCall(Fn::MutexUnlock, 1);
    Fake().SetFailResult(Fn::MutexUnlock, 33);
    EXPECT_EQ(Kel().KelBasicAddSubsEvent(AI_SUB_ID_CAPTION), 33U);
}

TEST_F(RegistryTest, DeleteSubsEventRemovesTheFirstEntry) {
    for (const TagQuorAiSubId id : {AI_SUB_ID_CAPTION, AI_SUB_ID_CHECKIN, AI_SUB_ID_CAPTION}) {
        Kel().KelBasicAddSubsEvent(id);
    }
    Kel().KelBasicDeleteSubsEvent(AI_SUB_ID_CAPTION);
    EXPECT_THAT(Access::Events(), ElementsAre(0U, 1U));
    Kel().KelBasicDeleteSubsEvent(AI_SUB_ID_CONF_CTRL);
    EXPECT_THAT(Access::Events(), ElementsAre(0U, 1U));
    EXPECT_THAT(Logs(), IsEmpty());
}

// ---- Running one subscription ----

TEST_F(RegistryTest, ExecuteNeedsARecord) {
    EXPECT_EQ(Kel().KelBasicExecuteSubscribeFunc(nullptr), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelBasicExecuteSubscribeFunc> failed: subInfo is nullptr")));
}

TEST_F(RegistryTest, ExecuteRefusesAnEmptyEntry) {
    const TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CAPTION);
    EXPECT_EQ(Kel().KelBasicExecuteSubscribeFunc(&info), 1U) << "tables not generated";
    Kel().KelBasicGenerateSubscribeMap();
    const TagQuorAiSubscribeInfo unused = SubscribeInfo(AI_SUB_ID_FACE_PHOTO);
    EXPECT_EQ(Kel().KelBasicExecuteSubscribeFunc(&unused), 1U);
    EXPECT_THAT(Logs(),
                ElementsAre(E("<KelBasicExecuteSubscribeFunc> failed: subEvent 1 has not add yet!"),
                            E("<KelBasicExecuteSubscribeFunc> failed: subEvent 12 has not add yet!")));
}

TEST_F(RegistryTest, ExecuteRefusesIdsOutsideTheTables) {
    Kel().KelBasicGenerateSubscribeMap();
    for (const unsigned id : {24U, 25U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        const TagQuorAiSubscribeInfo info = SubscribeInfo(static_cast<TagQuorAiSubId>(id));
        EXPECT_EQ(Kel().KelBasicExecuteSubscribeFunc(&info), 1U);
    }
    EXPECT_THAT(Logs(),
                ElementsAre(E("<KelBasicExecuteSubscribeFunc> failed: subEvent 24 has not add yet!"),
                            E("<KelBasicExecuteSubscribeFunc> failed: subEvent 25 has not add yet!"),
                            E("<KelBasicExecuteSubscribeFunc> failed: subEvent 2147483647 has not add yet!"),
                            E("<KelBasicExecuteSubscribeFunc> failed: subEvent -1 has not add yet!")));
    EXPECT_TRUE(Access::Alive().empty());
}

TEST_F(RegistryTest, ExecuteStartsTheCounterAtZeroAndResetsIt) {
    Kel().KelBasicGenerateSubscribeMap();
    const TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CONF_CTRL);
    EXPECT_EQ(Kel().KelBasicExecuteSubscribeFunc(&info), 0U);
    EXPECT_EQ(Access::Alive().at(AI_SUB_ID_CONF_CTRL), 0U);
    Access::Alive()[AI_SUB_ID_CONF_CTRL] = 5;
    EXPECT_EQ(Kel().KelBasicExecuteSubscribeFunc(&info), 0U);
    EXPECT_EQ(Access::Alive().at(AI_SUB_ID_CONF_CTRL), 0U);
}

TEST_F(RegistryTest, FailedSubscriptionIsReportedWithTwoBlanksAndLeavesTheCounter) {
    Kel().KelBasicGenerateSubscribeMap();
    const TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CONF_CTRL);
    Access::Alive()[AI_SUB_ID_CONF_CTRL] = 5;
    Fake().FailCall(Fn::WsSubscribe, 1);
    EXPECT_EQ(Kel().KelBasicExecuteSubscribeFunc(&info), 1U);
    EXPECT_EQ(Logs().back(), E("<KelBasicExecuteSubscribeFunc> failed: subfunc  2 failed"));
    EXPECT_EQ(Access::Alive().at(AI_SUB_ID_CONF_CTRL), 5U);
    const TagQuorAiSubscribeInfo other = SubscribeInfo(AI_SUB_ID_CAPTION);
    Fake().FailCall(Fn::WsSubscribe, 1);
    EXPECT_EQ(Kel().KelBasicExecuteSubscribeFunc(&other), 1U);
    EXPECT_EQ(Access::Alive().count(AI_SUB_ID_CAPTION), 0U);
}

TEST_F(RegistryTest, ManagerAnswersAreCountedWithoutAnySubscription) {
    Kel().KelBasicGenerateSubscribeMap();
    const TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_LLM_RESULT_MANAGER);
    EXPECT_EQ(Kel().KelBasicExecuteSubscribeFunc(&info), 0U);
    EXPECT_EQ(Access::Alive().count(AI_SUB_ID_LLM_RESULT_MANAGER), 1U);
    EXPECT_THAT(Fake().frames, IsEmpty());
}

// ---- Recovery ----

TEST_F(RegistryTest, RecoveryWithNothingWantedSendsNothing) {
    Kel().KelBasicGenerateSubscribeMap();
    FillState();
    EXPECT_EQ(Kel().KelBasicExecuteAllSubFunc(), 0U);
    EXPECT_THAT(Fake().frames, IsEmpty());
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(RegistryTest, RecoverySubscribesInTheOrderAddedFromTheChannelState) {
    Kel().KelBasicGenerateSubscribeMap();
    FillState();
    Connect(5);
    for (const TagQuorAiSubId id : {AI_SUB_ID_TRANSLATION, AI_SUB_ID_CAPTION, AI_SUB_ID_CONF_SITE,
                                    AI_SUB_ID_ABILITY_REPORT, AI_SUB_ID_CAPTION}) {
        Kel().KelBasicAddSubsEvent(id);
    }
    EXPECT_EQ(Kel().KelBasicExecuteAllSubFunc(), 0U);
    std::vector<std::string> destinations;
    for (const FrameCall& call : Fake().frames) {
        destinations.emplace_back(call.frame.headers[0].headerVal);
        EXPECT_STREQ(call.frame.headers[1].headerVal, kToken);
        EXPECT_STREQ(call.frame.headers[2].headerVal, kConfId);
        EXPECT_EQ(call.frame.linkId, 5U);
    }
    EXPECT_THAT(destinations,
                ElementsAre("/topic/conferences/conf-0123456789/subtitle/fr-FR", kCaptionDestination,
                            kSiteDestination, kReportDestination, kCaptionDestination));
    ASSERT_EQ(Fake().frames.size(), 5U);
    EXPECT_STREQ(Fake().frames[3].frame.headers[3].headerVal, kUri);
    EXPECT_EQ(Access::Alive().size(), 4U);
}

TEST_F(RegistryTest, RecoveryHoldsTheListsLockOverTheSubscriptions) {
    Kel().KelBasicGenerateSubscribeMap();
    FillState();
    Kel().KelBasicAddSubsEvent(AI_SUB_ID_CONF_CTRL);
    bool locked = false;
    Fake().onFrame = [&](const FrameCall&) { locked = Fake().IsLocked(&Access::EventsLock()); };
    EXPECT_EQ(Kel().KelBasicExecuteAllSubFunc(), 0U);
    EXPECT_TRUE(locked);
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

TEST_F(RegistryTest, RecoveryStopsAtTheFirstFailingSubscription) {
    Kel().KelBasicGenerateSubscribeMap();
    FillState();
    for (const TagQuorAiSubId id : {AI_SUB_ID_CONF_CTRL, AI_SUB_ID_CAPTION, AI_SUB_ID_CONF_SITE}) {
        Kel().KelBasicAddSubsEvent(id);
    }
    Fake().FailCall(Fn::WsSubscribe, 2);
    EXPECT_EQ(Kel().KelBasicExecuteAllSubFunc(), 1U);
    EXPECT_EQ(Fake().frames.size(), 2U);
    EXPECT_EQ(Logs().back(), E("<KelBasicExecuteAllSubFunc>: sub event 1 execute func failed"));
    EXPECT_EQ(Logs()[Logs().size() - 2], E("<KelBasicExecuteSubscribeFunc> failed: subfunc  1 failed"));
    EXPECT_EQ(Access::Alive().size(), 1U) << "what was subscribed before stays counted";
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

TEST_F(RegistryTest, RecoveryOnlySkipsAServiceWhoseLanguageDoesNotCopy) {
    Kel().KelBasicGenerateSubscribeMap();
    FillState();
    FillWhole(Access::State().dstLang);
    for (const TagQuorAiSubId id : {AI_SUB_ID_TRANSLATION, AI_SUB_ID_CONF_CTRL}) {
        Kel().KelBasicAddSubsEvent(id);
    }
    EXPECT_EQ(Kel().KelBasicExecuteAllSubFunc(), 0U);
    EXPECT_EQ(Logs().front(), E("<KelRecorverProc>: strcpy_s dstLang failed"));
    ASSERT_EQ(Fake().frames.size(), 1U);
    EXPECT_STREQ(Fake().frames[0].frame.headers[0].headerVal, kConfCtrlDestination);
    Fake().ClearRecords();
    Put(Access::State().dstLang, "fr-FR");
    FillWhole(Access::State().srcLang);
    EXPECT_EQ(Kel().KelBasicExecuteAllSubFunc(), 0U);
    ASSERT_EQ(Fake().frames.size(), 1U);
    EXPECT_STREQ(Fake().frames[0].frame.headers[0].headerVal,
                 "/topic/conferences/conf-0123456789/subtitle/fr-FR");
    EXPECT_EQ(Logs().back(), E("<KelRecorverProc>: strcpy_s srcLang failed"));
}

TEST_F(RegistryTest, RecoveryFailsWhenTheStateDoesNotCopyEvenWithNothingWanted) {
    FillState();
    FillWhole(Access::State().confKey);
    EXPECT_EQ(Kel().KelBasicExecuteAllSubFunc(), 1U);
    FillWhole(Access::State().deviceId);
    EXPECT_EQ(Kel().KelBasicExecuteAllSubFunc(), 1U);
    FillWhole(Access::State().uuid);
    EXPECT_EQ(Kel().KelBasicExecuteAllSubFunc(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelRecorverProc>: strcpy_s confKey failed"),
                                    E("<KelRecorverProc>: strcpy_s deviceId failed"),
                                    E("<KelRecorverProc>: strcpy_s uuid failed")));
    EXPECT_EQ(Fake().CountOf(Fn::MutexLock), 0U);
}

TEST_F(RegistryTest, RecoverySubscribesAServiceAddedTwiceTwice) {
    Kel().KelBasicGenerateSubscribeMap();
    FillState();
    Kel().KelBasicAddSubsEvent(AI_SUB_ID_CAPTION);
    Kel().KelBasicAddSubsEvent(AI_SUB_ID_CAPTION);
    Kel().KelBasicExecuteAllSubFunc();
    EXPECT_EQ(Fake().frames.size(), 2U);
    Kel().KelBasicDeleteSubsEvent(AI_SUB_ID_CAPTION);
    Fake().ClearRecords();
    Kel().KelBasicExecuteAllSubFunc();
    EXPECT_EQ(Fake().frames.size(), 1U);
    EXPECT_EQ(Access::Nodes().size(), 1U);
}

// ---- The destination list ----

TEST_F(RegistryTest, AddNodeNeedsADestination) {
    EXPECT_EQ(Access::AddNode(nullptr, 1, Access::kVoice), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelAddSubNode>: destination is null")));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
}

TEST_F(RegistryTest, NodesAreInRegistrationOrderOnTheAccountedHeap) {
    EXPECT_EQ(Add("/b", 2, Access::kConfCtrl), 0U);
    EXPECT_EQ(Add("/a", 1, Access::kVoice), 0U);
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("2:/b", "1:/a"));
    EXPECT_EQ(Access::Nodes()[0]->handler, Access::kConfCtrl);
    EXPECT_EQ(Access::Nodes()[1]->handler, Access::kVoice);
    EXPECT_THAT(Logs(), IsEmpty());
    for (const BlockRecord& block : Fake().LiveBlocks()) {
        EXPECT_EQ(block.sizeBytes, 288U);
        EXPECT_EQ(block.fill, 0);
        EXPECT_EQ(block.module, kKelModule);
        EXPECT_GT(block.line, 0U);
    }
    EXPECT_EQ(Fake().LiveBlocks().size(), 2U);
}

TEST_F(RegistryTest, SameDestinationReplacesTheHandlerAndKeepsTheService) {
    Add("/a", 1, Access::kVoice);
    EXPECT_EQ(Add("/a", 15, Access::kTranslation), 0U);
    EXPECT_THAT(Logs(), ElementsAre(W("<KelAddSubNode>: found a same destination")));
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("1:/a"));
    EXPECT_EQ(Access::Nodes()[0]->handler, Access::kTranslation);
}

TEST_F(RegistryTest, DestinationsAreComparedExactly) {
    Add("/a", 1);
    Add("/A", 1);
    Add("/a/", 1);
    EXPECT_EQ(Access::Nodes().size(), 3U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(RegistryTest, NodeWithoutMemoryLeavesTheListAsItWas) {
    Add("/a", 1);
    Fake().FailCall(Fn::HeapAlloc, 1);
    EXPECT_EQ(Add("/b", 2), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelAddSubNode>: malloc node failed")));
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("1:/a"));
}

TEST_F(RegistryTest, NodeIsLinkedBeforeItIsFilledAndStaysWhenTheCopyFails) {
    EXPECT_EQ(Add(std::string(256, 'd'), 7, Access::kConfSite), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelAddSubNode>: strcpy_s failed!")));
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("7:"));
    EXPECT_EQ(Access::Nodes()[0]->handler, Access::kConfSite);
    EXPECT_EQ(Add(std::string(255, 'd'), 8), 0U) << "255 characters fit";
    EXPECT_EQ(Access::Nodes().size(), 2U);
}

TEST_F(RegistryTest, RemoveByService) {
    Add("/a", 1);
    Add("/b", 2);
    Add("/c", 1);
    Add("/d", 3);
    EXPECT_EQ(Remove(1), 0U);
    EXPECT_STREQ(m_out, "/c") << "the last one removed";
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("2:/b", "3:/d"));
    EXPECT_EQ(Fake().freedBlocks.size(), 2U);
    EXPECT_EQ(Fake().freedBlocks[0].freeModule, kKelModule);
    EXPECT_GT(Fake().freedBlocks[0].freeLine, 0U);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_EQ(Remove(3), 0U);
    EXPECT_EQ(Add("/e", 4), 0U) << "the end of the list is still found";
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("2:/b", "4:/e"));
}

TEST_F(RegistryTest, RemoveOfNothingIsNoError) {
    Add("/a", 1);
    EXPECT_EQ(Remove(2), 0U);
    EXPECT_STREQ(m_out, "untouched");
    EXPECT_THAT(Access::NodeTexts(), ElementsAre("1:/a"));
}

TEST_F(RegistryTest, RemoveAll) {
    Add("/a", 1);
    Add("/b", 2);
    EXPECT_EQ(Remove(99, true), 0U);
    EXPECT_STREQ(m_out, "/b");
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    EXPECT_EQ(Access::ListHead().next, nullptr);
}

TEST_F(RegistryTest, RemovalGoesOnWhenTheDestinationDoesNotFit) {
    Add("/long", 1);
    Add("/b", 1);
    char small[4] = "x";
    EXPECT_EQ(Access::RemoveNode(1, small, sizeof(small), false), 0U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelRemoveSubNode>: strcpy_s /long failed")));
    EXPECT_STREQ(small, "/b");
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    Add("/c", 1);
    Fake().ClearRecords();
    EXPECT_EQ(Access::RemoveNode(1, nullptr, 0, false), 0U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelRemoveSubNode>: strcpy_s /c failed")));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
}

TEST_F(RegistryTest, TheListIsNotLocked) {
    Add("/a", 1);
    Remove(1);
    EXPECT_EQ(Fake().CountOf(Fn::MutexLock), 0U);
}

TEST_F(RegistryTest, NodeLayout) {
    EXPECT_EQ(sizeof(KelSubNode), 288U);
    EXPECT_EQ(offsetof(KelSubNode, destination), 4U);
    EXPECT_EQ(offsetof(KelSubNode, handler), 264U);
    EXPECT_EQ(offsetof(KelSubNode, next), 280U);
}

}  // namespace
}  // namespace QuorTest
