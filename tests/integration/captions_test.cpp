// Captions, translations and check-ins, from the server's publication to the observer's record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bodies.h"
#include "support/terminal_test.h"

namespace quor_test {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

class CaptionsTest : public TerminalTest {
protected:
    static TagQuorAiCheckinList FullList() {
        TagQuorAiCheckinList list = {};
        list.num = kQuorAiCheckinMax;
        for (unsigned int i = 0; i < list.num; ++i) {
            const std::string number = std::to_string(i);
            SetText(list.content[i].name, "王芳 " + number);
            SetText(list.content[i].account, "fang" + number + "@example.org");
            SetText(list.content[i].checkInTime, "2026-03-01T09:30:0" + number + "Z");
            SetText(list.content[i].type, "face");
            SetText(list.content[i].participantName, "Room " + number);
        }
        return list;
    }

    std::vector<std::string> CaptionBytes() { return observer().All(AI_SUB_ID_CAPTION); }
};

TEST_F(CaptionsTest, InterimAndFinalTextArriveByteForByteInOrder) {
    OpenForCaptions();
    Caption interim;
    interim.text = "今天";
    interim.final = false;
    Caption final = interim;
    final.text = "今天我们讨论预算。";
    final.final = true;
    final.endTime = 3.75;
    Publish(CaptionTopic("zh-CN"), ToJson(interim));
    Publish(CaptionTopic("zh-CN"), ToJson(final));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 2));
    EXPECT_THAT(CaptionBytes(), ElementsAre(Bytes(ToRecord(interim)), Bytes(ToRecord(final))));
}

TEST_F(CaptionsTest, TranslationsArriveUnderTheCaptionIdAndAreMarked) {
    OpenWith({Request(AI_SUB_ID_CAPTION, kConference, kToken, "zh-CN"),
              Request(AI_SUB_ID_TRANSLATION, kConference, kToken, "en-US")});
    Caption spoken;
    spoken.text = "今天我们讨论预算。";
    Caption translated = spoken;
    translated.dstLang = "en-US";
    translated.transText = "Today we discuss the budget.";
    Publish(CaptionTopic("zh-CN"), ToJson(spoken));
    Publish(CaptionTopic("en-US"), ToJson(translated));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 2));
    EXPECT_THAT(CaptionBytes(), ElementsAre(Bytes(ToRecord(spoken)), Bytes(ToRecord(translated))));
    EXPECT_EQ(observer().Count(AI_SUB_ID_TRANSLATION), 0U);
}

TEST_F(CaptionsTest, TextOfEveryPlaneOfUnicodeComesThroughUnchanged) {
    OpenForCaptions();
    Caption caption;
    caption.text = "Ünïcödé \\ \"quoted\" Привет שלום 你好 𝄞 🎤";
    caption.name = "Zoë 🙂";
    caption.uuid = "站点-42";
    Publish(CaptionTopic("zh-CN"), ToJson(caption));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
    EXPECT_THAT(CaptionBytes(), ElementsAre(Bytes(ToRecord(caption))));
}

TEST_F(CaptionsTest, OverlongTextIsCutToItsField) {
    OpenForCaptions();
    Caption caption;
    caption.text.assign(5000, 'x');
    caption.name.assign(400, 'n');
    Publish(CaptionTopic("zh-CN"), ToJson(caption));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
    EXPECT_THAT(CaptionBytes(), ElementsAre(Bytes(ToRecord(caption))));
}

TEST_F(CaptionsTest, ACaptionWithoutARequiredMemberIsDroppedAndTheNextIsDelivered) {
    OpenForCaptions();
    const std::string complete = NumberedCaption(1);
    for (const char* member : {"text", "uuid", "final", "srcLang", "startTime", "endTime"}) {
        std::string body = complete;
        const std::string quoted = Quoted(member);
        body.replace(body.find(quoted), quoted.size(), "\"renamed\"");
        Publish(CaptionTopic("zh-CN"), body);
    }
    Publish(CaptionTopic("zh-CN"), "not a document");
    Publish(CaptionTopic("zh-CN"), complete);
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
    const auto records = observer().Records<TagQuorAiKelVoiceTranslateInfo>(AI_SUB_ID_CAPTION);
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(NumberOf(records[0]), 1U);
}

TEST_F(CaptionsTest, ADisplayNameIsOptional) {
    OpenForCaptions();
    Caption caption;
    caption.name.clear();
    std::string body = ToJson(caption);
    body.replace(body.find("\"name\""), 6, "\"other\"");
    Publish(CaptionTopic("zh-CN"), body);
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
    EXPECT_THAT(CaptionBytes(), ElementsAre(Bytes(ToRecord(caption))));
}

TEST_F(CaptionsTest, TheServerSeesDestinationTokenAndConferenceOfEachTopic) {
    OpenWith({Request(AI_SUB_ID_CHECKIN, kConference, "not used"),
              Request(AI_SUB_ID_CAPTION, kConference, kToken, "zh-CN"),
              Request(AI_SUB_ID_TRANSLATION, kConference, kToken, "en-US")});
    const std::vector<quor_simulator::Subscription> subscriptions = server().Subscriptions();
    ASSERT_THAT(subscriptions, SizeIs(3));
    EXPECT_EQ(subscriptions[0].destination, CheckinTopic());
    EXPECT_EQ(subscriptions[0].token, "login-token");
    EXPECT_EQ(subscriptions[0].conferenceId, "");
    EXPECT_EQ(subscriptions[1].destination, CaptionTopic("zh-CN"));
    EXPECT_EQ(subscriptions[1].token, kToken);
    EXPECT_EQ(subscriptions[1].conferenceId, kConference);
    EXPECT_EQ(subscriptions[2].destination, CaptionTopic("en-US"));
    EXPECT_EQ(terminal().TokenFetches(), 1U);
}

TEST_F(CaptionsTest, ACheckinListArrivesWhole) {
    OpenWith({Request(AI_SUB_ID_CHECKIN, kConference)});
    const TagQuorAiCheckinList list = FullList();
    Publish(CheckinTopic(), CheckinJson(list));
    TagQuorAiCheckinList one = {};
    one.num = 1;
    one.content[0] = list.content[3];
    Publish(CheckinTopic(), CheckinJson(one));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CHECKIN, 2));
    EXPECT_THAT(observer().All(AI_SUB_ID_CHECKIN), ElementsAre(Bytes(list), Bytes(one)));
}

TEST_F(CaptionsTest, ACheckinListThatIsTooLongOrEmptyIsDropped) {
    OpenWith({Request(AI_SUB_ID_CHECKIN, kConference)});
    const TagQuorAiCheckinList list = FullList();
    const std::string five = CheckinJson(list);
    std::string six = five;
    six.insert(six.size() - 2, "," + five.substr(five.find('[') + 1, five.find('}') - five.find('[')));
    Publish(CheckinTopic(), six);
    Publish(CheckinTopic(), R"({"checkInfoList":[]})");
    Publish(CheckinTopic(), five);
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CHECKIN, 1));
    EXPECT_THAT(observer().All(AI_SUB_ID_CHECKIN), ElementsAre(Bytes(list)));
}

TEST_F(CaptionsTest, UnsubscribingEndsDeliveryOfThatServiceAlone) {
    OpenWith({Request(AI_SUB_ID_CAPTION, kConference, kToken, "zh-CN"),
              Request(AI_SUB_ID_TRANSLATION, kConference, kToken, "en-US")});
    ASSERT_EQ(channel().KelStompUnSubscribeService(AI_SUB_ID_CAPTION), 0U);
    ASSERT_TRUE(server().WaitForSubscriptionCount(1, kPatience));
    EXPECT_EQ(server().Publish(CaptionTopic("zh-CN"), NumberedCaption(1)), 0U);
    Caption translated;
    translated.dstLang = "en-US";
    translated.transText = "still here";
    Publish(CaptionTopic("en-US"), ToJson(translated));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
    EXPECT_THAT(CaptionBytes(), ElementsAre(Bytes(ToRecord(translated))));
}

TEST_F(CaptionsTest, SubscribingAgainReplacesTheSubscription) {
    OpenForCaptions();
    const TagQuorAiSubscribeInfo again = Request(AI_SUB_ID_CAPTION, kConference, "token-2", "zh-CN");
    ASSERT_EQ(channel().KelBasicExecuteSubscribeFunc(&again), 0U);
    // The last frame sent is the last one handled: after it the server knows the new subscription alone.
    const TagQuorAiSubscribeInfo last = Request(AI_SUB_ID_CONF_CTRL, kConference, kToken);
    ASSERT_EQ(channel().KelBasicExecuteSubscribeFunc(&last), 0U);
    ASSERT_TRUE(server().WaitForSubscription(ControlTopic(), kPatience));
    EXPECT_THAT(SubscriptionSet(server()),
                ElementsAre(ControlTopic() + " " + kToken, CaptionTopic("zh-CN") + " token-2"));
    Publish(CaptionTopic("zh-CN"), NumberedCaption(1));
    Publish(CaptionTopic("zh-CN"), NumberedCaption(2));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 2));
    const auto records = observer().Records<TagQuorAiKelVoiceTranslateInfo>(AI_SUB_ID_CAPTION);
    EXPECT_EQ(NumberOf(records[0]), 1U);
    EXPECT_EQ(NumberOf(records[1]), 2U);
}

TEST_F(CaptionsTest, EveryObserverGetsEveryCaption) {
    auto second = std::make_shared<RecordingObserver>();
    channel().Attach(second);
    OpenForCaptions();
    Publish(CaptionTopic("zh-CN"), NumberedCaption(7));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
    ASSERT_TRUE(second->WaitFor(AI_SUB_ID_CAPTION, 1));
    EXPECT_EQ(second->All(AI_SUB_ID_CAPTION), observer().All(AI_SUB_ID_CAPTION));
    ASSERT_EQ(terminal().Destroy(), 0U);
    terminal().StopEvents();
    EXPECT_EQ(channel().Detach(second.get()), 0);
}

}  // namespace
}  // namespace quor_test
