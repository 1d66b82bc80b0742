#include <cstring>
#include <type_traits>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

using QuorAiEngine::KelEventConnect;
using QuorAiEngine::KelEventDisconnect;
using QuorAiEngine::KelEventReceive;
using QuorAiEngine::nodeToTimeMap;

constexpr const char* kUnknown = "<KelProcessJsonBody>: /nobody cannot match proc node";

class DispatchTest : public ChannelTest {
protected:
    static void Event(unsigned event, unsigned linkId, unsigned linkType, void* data = nullptr) {
        AiKelBasic::KelBasicDisposeMsg(event, linkId, linkType, data);
    }
    static void Unknown(const std::string& destination = "/nobody") {
        Receive(MessageFrame(destination, "{}"));
    }
};

// ---- Connect ----

TEST_F(DispatchTest, ConnectSetsTheLinkThenNotifiesThenWritesTheMilestone) {
    Watch();
    unsigned seen = 0;
    observer->onUpdate = [&](const auto&) { seen = Access::LinkId(); };
    Event(KelEventConnect, 4711, 0);
    EXPECT_EQ(seen, 4711U) << "an observer may subscribe from inside the call";
    EXPECT_EQ(Access::LinkId(), 4711U);
    EXPECT_THAT(Logs(), ElementsAre(I("<KelBasicDisposeMsg> connect success. linkid[4711], type[0]"),
                                    G("Ai create websocket connection with server succeed.")));
    EXPECT_THAT(Fake().Trail(), ElementsAre("ModuleLog", "Notify 7", "GeneralLog"));
}

TEST_F(DispatchTest, ConnectNotifiesTheAddressOfTheLinkId) {
    Watch();
    Event(KelEventConnect, 4711, 0);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_WS_CONNECTED);
    EXPECT_EQ(observer->results[0].len, 4U);
    EXPECT_EQ(observer->results[0].data, reinterpret_cast<const unsigned char*>(&Access::LinkId()));
    EXPECT_EQ(observer->As<unsigned>(0), 4711U);
}

TEST_F(DispatchTest, ManagerConnectNotifiesZeroAndWritesNoMilestone) {
    Watch();
    Access::LinkId() = 5;
    Event(KelEventConnect, 4712, 1);
    EXPECT_EQ(Access::ManagerLinkId(), 4712U);
    EXPECT_EQ(Access::LinkId(), 5U);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_WS_CONNECTED);
    EXPECT_EQ(observer->results[0].bytes, std::string(4, '\0'));
    EXPECT_THAT(Logs(), ElementsAre(I("<KelBasicDisposeMsg> connect success. linkid[4712], type[1]")));
}

TEST_F(DispatchTest, ManagerConnectWithoutALinkIdNotifiesNothing) {
    Watch();
    Access::ManagerLinkId() = 9;
    Event(KelEventConnect, 0, 1);
    EXPECT_EQ(Access::ManagerLinkId(), 0U);
    EXPECT_THAT(observer->results, IsEmpty());
}

TEST_F(DispatchTest, AnyOtherLinkTypeConnectsAsTheConferenceLink) {
    Watch();
    Event(KelEventConnect, 0xFFFFFFFFU, 2);
    EXPECT_EQ(Access::LinkId(), 0xFFFFFFFFU);
    EXPECT_EQ(observer->results.size(), 1U);
    EXPECT_THAT(Logs(), ElementsAre(I("<KelBasicDisposeMsg> connect success. linkid[4294967295], type[2]"),
                                    G("Ai create websocket connection with server succeed.")));
}

// ---- Disconnect ----

TEST_F(DispatchTest, DisconnectOnlyTellsTheConnectionClient) {
    Subscribe(AI_SUB_ID_CONF_CTRL);
    Connect();
    Watch();
    Event(KelEventDisconnect, kLink, 0);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelBasicDisposeMsg> websocket disconnect."),
                                    I("<KelBasicCloseNotify>: succeed")));
    EXPECT_EQ(Fake().messages.size(), 1U);
    EXPECT_EQ(Access::LinkId(), kLink);
    EXPECT_EQ(Access::Nodes().size(), 1U);
    EXPECT_EQ(Access::Alive().size(), 1U);
    EXPECT_THAT(observer->results, IsEmpty());
    Receive(MessageFrame(kConfCtrlDestination, ConfCtrlBody(ConfCtrlState())));
    EXPECT_EQ(observer->results.size(), 1U) << "frames of the old link are still accepted";
}

TEST_F(DispatchTest, DisconnectOfOtherLinkTypesIsIgnored) {
    Event(KelEventDisconnect, kLink, 1);
    Event(KelEventDisconnect, kLink, 2);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_THAT(Fake().messages, IsEmpty());
}

// ---- Receive ----

TEST_F(DispatchTest, ReceiveWithoutData) {
    Event(KelEventReceive, kLink, 0, nullptr);
    Event(KelEventReceive, kLink, 1, nullptr);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelBasicDisposeMsg> failed: data is nullptr"),
                                    E("<KelBasicDisposeMsg> KelBasicWsReceive failed."),
                                    E("<KelBasicDisposeMsg> failed: data is nullptr"),
                                    E("<KelBasicDisposeMsg> KelBasicWsReceive failed.")));
}

TEST_F(DispatchTest, ManagerTextIsDeliveredWholeWithItsTerminator) {
    Watch();
    Access::ManagerLinkId() = kManagerLink;
    char text[] = "no frame at all";
    Event(KelEventReceive, kManagerLink, 1, text);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_LLM_RESULT_MANAGER);
    EXPECT_EQ(observer->results[0].bytes, std::string("no frame at all", 16));
    EXPECT_EQ(observer->results[0].data, reinterpret_cast<unsigned char*>(text)) << "the caller's own text";
    EXPECT_EQ(Fake().CountOf(Fn::Strdup), 0U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(DispatchTest, ManagerLinkTypeWithAnotherIdIsTreatedAsAConferenceFrame) {
    Subscribe(AI_SUB_ID_CONF_CTRL);
    Connect();
    Watch();
    Access::ManagerLinkId() = kManagerLink;
    Receive(MessageFrame(kConfCtrlDestination, ConfCtrlBody(ConfCtrlState())), kLink, 1);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_CONF_CTRL);
    Receive("x", 999, 1);
    EXPECT_EQ(Logs().back(), E("<KelBasicDisposeMsg> KelBasicWsReceive failed."));
}

TEST_F(DispatchTest, LinkIdZeroIsNotSpecial) {
    Watch();
    Receive("text", 0, 1);
    EXPECT_EQ(observer->results.size(), 1U);
    Receive(MessageFrame("/nobody", "{}"), 0, 0);
    EXPECT_THAT(Logs(), ElementsAre(E(kUnknown)));
}

TEST_F(DispatchTest, DuplicateFails) {
    Connect();
    Fake().FailCall(Fn::Strdup, 1);
    Receive(MessageFrame("/nobody", "{}"));
    EXPECT_THAT(Logs(), ElementsAre(E("<KelBasicDisposeMsg> failed: strdup error"),
                                    E("<KelBasicDisposeMsg> KelBasicWsReceive failed.")));
}

TEST_F(DispatchTest, DuplicateComesBeforeTheLinkTest) {
    Connect();
    Fake().FailCall(Fn::Strdup, 1);
    Receive(MessageFrame("/nobody", "{}"), kLink + 1);
    EXPECT_EQ(Logs().front(), E("<KelBasicDisposeMsg> failed: strdup error"));
}

TEST_F(DispatchTest, FrameOfAnotherLinkIsDropped) {
    Connect();
    Watch();
    Receive(MessageFrame(kConfCtrlDestination, "{}"), 4294967295U);
    EXPECT_THAT(Logs(),
                ElementsAre(E("<KelBasicDisposeMsg> failed: param1[4294967295] is unequal with m_linkId[71]"),
                            E("<KelBasicDisposeMsg> KelBasicWsReceive failed.")));
    EXPECT_EQ(Fake().LiveStrdups(), 0U);
}

TEST_F(DispatchTest, FrameThatDoesNotParse) {
    Connect();
    Receive("MESSAGE\n\n{}");
    EXPECT_THAT(Logs(), ElementsAre(E("<KelParseStompMessgae>: stomp_onmsg:get destination failed!"),
                                    E("<KelBasicDisposeMsg> failed: Kel parse stomp messgae failed"),
                                    E("<KelBasicDisposeMsg> KelBasicWsReceive failed.")));
    EXPECT_EQ(Fake().LiveStrdups(), 0U);
}

TEST_F(DispatchTest, EmptyTextDoesNotParse) {
    Connect();
    Receive("");
    EXPECT_EQ(Logs().front(), E("<KelParseStompMessgae>: stomp_onmsg:invalid params!"));
}

TEST_F(DispatchTest, DestinationIsTracedFromLevelThree) {
    Connect();
    Fake().traceLevel = 2;
    Unknown();
    EXPECT_THAT(TraceTexts(), IsEmpty());
    Fake().traceLevel = 3;
    Unknown();
    EXPECT_THAT(TraceTexts(), ElementsAre(::testing::StartsWith("<KelParseStompMessgae> DataLen = "),
                                          "destination:/nobody"));
}

TEST_F(DispatchTest, LargeModelAnswerIsDeliveredAsTheCallersWholeFrame) {
    Connect();
    Watch();
    std::string frame = MessageFrame("/topic/chat/conf/uri", "{\"a\":1}");
    Event(KelEventReceive, kLink, 0, frame.data());
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_LLM_RESULT_KEL);
    EXPECT_EQ(observer->results[0].bytes, frame) << "headers included, no terminator counted";
    EXPECT_EQ(observer->results[0].data, reinterpret_cast<unsigned char*>(frame.data()));
    EXPECT_THAT(Logs(), ElementsAre(I("大模型消息返回接收")));
}

TEST_F(DispatchTest, LargeModelAnswersNeverReachTheRegistryNorTheCounters) {
    Subscribe(AI_SUB_ID_LLM_RESULT_KEL);
    Connect();
    Watch();
    Receive(MessageFrame("/topic/chat/", "{}"));
    EXPECT_THAT(Logs(), ElementsAre(I("大模型消息返回接收")));
    EXPECT_EQ(Access::Alive().at(AI_SUB_ID_LLM_RESULT_KEL), 0U);
}

TEST_F(DispatchTest, ChatDestinationIsComparedOnTwelveCharacters) {
    Connect();
    Watch();
    Receive(MessageFrame("/topic/chat", "{}"));
    Receive(MessageFrame("/topic/chats/", "{}"));
    EXPECT_THAT(observer->results, IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre(E("<KelProcessJsonBody>: /topic/chat cannot match proc node"),
                                    E("<KelProcessJsonBody>: /topic/chats/ cannot match proc node")));
}

TEST_F(DispatchTest, UnknownEventIsTracedFromLevelThree) {
    Fake().traceLevel = 2;
    Event(27, kLink, 0);
    EXPECT_THAT(TraceTexts(), IsEmpty());
    Fake().traceLevel = 3;
    Event(31, kLink, 0);
    EXPECT_THAT(TraceTexts(), ElementsAre("<KelBasicDisposeMsg>  websocket unknown massage."));
    EXPECT_THAT(Logs(), IsEmpty());
}

// ---- Finding the handler ----

TEST_F(DispatchTest, NullDestinationAndNullBody) {
    char text[] = "x";
    Access::ProcessBody(nullptr, text);
    Access::ProcessBody(text, nullptr);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelProcessJsonBody>: destination is null"),
                                    E("<KelProcessJsonBody>: wsdata is null")));
}

TEST_F(DispatchTest, HandlerRunsThenTheMessageIsCounted) {
    Subscribe(AI_SUB_ID_CAPTION);
    Connect();
    Watch();
    unsigned atNotify = 99;
    observer->onUpdate = [&](const auto&) { atNotify = Access::Alive().at(AI_SUB_ID_CAPTION); };
    Receive(MessageFrame(kCaptionDestination, CaptionFields().Text()));
    EXPECT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(atNotify, 0U);
    EXPECT_EQ(Access::Alive().at(AI_SUB_ID_CAPTION), 1U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(DispatchTest, FailingHandlerIsCountedAndItsResultIgnored) {
    Subscribe(AI_SUB_ID_CAPTION);
    Connect();
    Watch();
    Receive(MessageFrame(kCaptionDestination, "no json"));
    EXPECT_THAT(Logs(), ElementsAre(E("<KelVoiceParseTextMessage>: prase root faild")));
    EXPECT_EQ(Access::Alive().at(AI_SUB_ID_CAPTION), 1U);
}

TEST_F(DispatchTest, EmptyBodyReachesTheHandlerWithLengthZero) {
    Subscribe(AI_SUB_ID_CAPTION);
    Connect();
    Receive(MessageFrame(kCaptionDestination, ""));
    EXPECT_THAT(Logs(), ElementsAre(E("<KelVoiceParseTextMessage>: input is error")));
}

TEST_F(DispatchTest, TopicSubscribedWithoutTheTableIsDeliveredButNotCounted) {
    const TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_CAPTION);
    Kel().KelStompSubscribeAiCaption(&info);
    Connect();
    Watch();
    Receive(MessageFrame(kCaptionDestination, CaptionFields().Text()));
    Receive(MessageFrame(kCaptionDestination, CaptionFields().Text()));
    EXPECT_EQ(observer->results.size(), 2U);
    EXPECT_THAT(Logs(), ElementsAre(E("<AddSubAliveCnt> 1 not in m_subAliveMap."),
                                    E("<AddSubAliveCnt> 1 not in m_subAliveMap.")));
}

TEST_F(DispatchTest, NodesWithoutDestinationOrHandlerAreSkipped) {
    Connect();
    Watch();
    std::string tooLong(256, 'd');
    Access::AddNode(tooLong.data(), 1, Access::kVoice);
    std::string same = kCaptionDestination;
    Access::AddNode(same.data(), 1, nullptr);
    Fake().ClearRecords();
    Receive(MessageFrame(kCaptionDestination, CaptionFields().Text()));
    EXPECT_THAT(observer->results, IsEmpty());
    ASSERT_EQ(Logs().size(), 1U);
    EXPECT_THAT(Logs()[0].text, ::testing::EndsWith("cannot match proc node"));
}

TEST_F(DispatchTest, ObserverMayUnsubscribeTheTopicItIsToldAbout) {
    Subscribe(AI_SUB_ID_CAPTION);
    Connect();
    Watch();
    observer->onUpdate = [](const auto&) { Kel().KelStompUnSubscribeService(AI_SUB_ID_CAPTION); };
    Receive(MessageFrame(kCaptionDestination, CaptionFields().Text()));
    EXPECT_THAT(Access::Nodes(), IsEmpty());
    EXPECT_EQ(Logs().back(), E("<AddSubAliveCnt> 1 not in m_subAliveMap."));
}

// ---- Unknown destinations ----

TEST_F(DispatchTest, UnknownDestinationIsLoggedOncePerSixtyOneSeconds) {
    Connect();
    Unknown();
    EXPECT_THAT(Logs(), ElementsAre(E(kUnknown)));
    Fake().nowSec += 60;
    Unknown();
    EXPECT_EQ(Logs().size(), 1U) << "60 seconds: silent";
    Fake().nowSec += 1;
    Unknown();
    EXPECT_THAT(Logs(), ElementsAre(E(kUnknown), E(kUnknown)));
    Fake().nowSec += 60;
    Unknown();
    EXPECT_EQ(Logs().size(), 2U) << "counted from the last line written";
    Fake().nowSec += 1;
    Unknown();
    EXPECT_EQ(Logs().size(), 3U);
}

TEST_F(DispatchTest, ReceptionOfAnUnknownDestinationSucceeds) {
    Connect();
    std::string frame = MessageFrame("/nobody", "{}");
    EXPECT_EQ(Access::WsReceive(kLink, 0, frame.data()), 0U);
}

TEST_F(DispatchTest, EachUnknownDestinationHasItsOwnTime) {
    Connect();
    Unknown();
    Unknown("/else");
    Unknown();
    EXPECT_THAT(Logs(), ElementsAre(E(kUnknown), E("<KelProcessJsonBody>: /else cannot match proc node")));
    EXPECT_EQ(nodeToTimeMap.size(), 2U);
}

TEST_F(DispatchTest, ClockSetBackKeepsSilent) {
    Connect();
    Unknown();
    Fake().nowSec -= 5000;
    Unknown();
    EXPECT_EQ(Logs().size(), 1U);
}

TEST_F(DispatchTest, ClockAtItsEndDoesNotWrap) {
    Connect();
    Fake().nowSec = 0xFFFFFFFFU;
    Unknown();
    Fake().nowSec = 10;
    Unknown();
    EXPECT_EQ(Logs().size(), 1U);
}

TEST_F(DispatchTest, EmptyDestinationIsRememberedToo) {
    Connect();
    Unknown(std::string(300, 'd'));
    Unknown(std::string(300, 'e'));
    EXPECT_THAT(Logs(), ElementsAre(E("<RestStompGetHeaderStrval>: memcpy failed!"),
                                    E("<KelProcessJsonBody>:  cannot match proc node"),
                                    E("<RestStompGetHeaderStrval>: memcpy failed!")));
    EXPECT_EQ(nodeToTimeMap.count(""), 1U);
}

TEST_F(DispatchTest, EntryForEventsHasThePlatformsForm) {
    using Entry = void (*)(unsigned int, unsigned int, unsigned int, void*);
    EXPECT_TRUE((std::is_same_v<decltype(&AiKelBasic::KelBasicDisposeMsg), Entry>));
    EXPECT_EQ(KelEventConnect, 28U);
    EXPECT_EQ(KelEventDisconnect, 29U);
    EXPECT_EQ(KelEventReceive, 30U);
}

}  // namespace
}  // namespace QuorTest
