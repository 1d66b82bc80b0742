// The other topics of a conference, the capability report, and recovery of everything together.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "support/bodies.h"
#include "support/terminal_test.h"

namespace quor_test {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

TagQuorAiConfCtrlStatusInfo Status(int status, const std::string& srcLang, const std::string& dstLang,
                                   int enforce) {
    TagQuorAiConfCtrlStatusInfo record;
    std::memset(&record, 0, sizeof record);
    record.status = status;
    SetText(record.srcLang, srcLang);
    SetText(record.dstLang, dstLang);
    record.enforce = enforce;
    return record;
}

TagQuorAiConfCtrlStatusInfo Overlay(bool pause) {
    TagQuorAiConfCtrlStatusInfo record = Status(0, "", "", 0);
    record.pause = pause ? 1 : 0;
    return record;
}

std::string OverlayJson(const std::string& uri, const char* pause) {
    return "{\"uri\":" + Quoted(uri) + ",\"pause\":" + pause + "}";
}

class ConferenceTest : public TerminalTest {
protected:
    void Report(const std::string& uri) {
        const TagQuorAiSubscribeInfo report = Request(AI_SUB_ID_ABILITY_REPORT, kConference, kToken, "", uri);
        ASSERT_EQ(channel().KelBasicExecuteSubscribeFunc(&report), 0U);
        ASSERT_TRUE(server().WaitForReceived("/terminal/parameter", 1, kPatience));
    }

    // The bytes of the list of count sites that SitesJson describes.
    static std::string SiteBytes(unsigned int type, unsigned int count) {
        std::string bytes(kQuorAiSiteHeadSize + count * sizeof(TagQuorAiSiteInfo), '\0');
        std::memcpy(bytes.data(), &type, sizeof type);
        std::memcpy(bytes.data() + sizeof type, &count, sizeof count);
        for (unsigned int i = 0; i < count; ++i) {
            TagQuorAiSiteInfo site = {};
            SetText(site.id, "site-" + std::to_string(i));
            SetText(site.name, "会场 " + std::to_string(i));
            std::memcpy(bytes.data() + kQuorAiSiteHeadSize + i * sizeof site, &site, sizeof site);
        }
        return bytes;
    }

    std::vector<std::string> Destinations() {
        std::vector<std::string> destinations;
        for (const quor_simulator::Subscription& subscription : server().Subscriptions()) {
            destinations.push_back(subscription.destination);
        }
        return destinations;
    }

    std::size_t CountLines(const std::string& text) {
        return terminal().log().Count([&](const LogLine& line) { return line.text == text; });
    }
};

TEST_F(ConferenceTest, ControlStatusWithSwitchLanguagesAndEnforcement) {
    OpenWith({Request(AI_SUB_ID_CONF_CTRL, kConference, kToken)});
    Publish(ControlTopic(),
            R"({"state":{"subtitleStatus":1,"srcLang":"zh-CN","dstLang":"en-US","enforce":1}})");
    Publish(ControlTopic(),
            R"({"state":{"subtitleStatus":1,"srcLang":"en-US","dstLang":"zh-CN","enforce":0}})");
    Publish(ControlTopic(), R"({"state":{"subtitleStatus":0}})");
    Publish(ControlTopic(), R"({"state":{"srcLang":"zh-CN"}})");
    Publish(ControlTopic(),
            R"({"state":{"subtitleStatus":2,"srcLang":"a language too long","dstLang":"en-US"}})");
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CONF_CTRL, 4));
    EXPECT_THAT(observer().All(AI_SUB_ID_CONF_CTRL),
                ElementsAre(Bytes(Status(1, "zh-CN", "en-US", 1)), Bytes(Status(1, "en-US", "zh-CN", 0)),
                            Bytes(Status(0, "", "", -1)), Bytes(Status(2, "", "", -1))));
    EXPECT_EQ(CountLines("<KelConfCtrlParseTextMessage>: Kel change caption switch to 1"), 1U);
}

TEST_F(ConferenceTest, SiteListsOfOneAndOfSixteenHundred) {
    OpenWith({Request(AI_SUB_ID_CONF_SITE, kConference, kToken)});
    Publish(SitesTopic(), SitesJson(1, 1));
    Publish(SitesTopic(), SitesJson(2, kQuorAiSiteMax));
    Publish(SitesTopic(), SitesJson(3, 2));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CONF_SITE, 3));
    EXPECT_TRUE(observer().All(AI_SUB_ID_CONF_SITE) ==
                std::vector<std::string>({SiteBytes(1, 1), SiteBytes(2, kQuorAiSiteMax), SiteBytes(3, 2)}));
}

TEST_F(ConferenceTest, ASiteListBeyondSixteenHundredIsRefused) {
    OpenWith({Request(AI_SUB_ID_CONF_SITE, kConference, kToken)});
    Publish(SitesTopic(), SitesJson(1, kQuorAiSiteMax + 1));
    Publish(SitesTopic(), SitesJson(2, 1));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CONF_SITE, 1));
    EXPECT_TRUE(observer().All(AI_SUB_ID_CONF_SITE) == std::vector<std::string>({SiteBytes(2, 1)}));
    EXPECT_EQ(CountLines("<KelConfSiteParseTextMessage>: failed totalSiteNum 1601 invalid"), 1U);
}

TEST_F(ConferenceTest, OverlaySwitchOfThisTerminalAndOfAnother) {
    OpenWith({Request(AI_SUB_ID_CAPTION_OVERLAY, "terminal-7", kToken)});
    Report(kUri);
    const std::string topic = OverlayTopic("terminal-7");
    Publish(topic, OverlayJson("sip:another@example.org", "true"));
    Publish(topic, OverlayJson(kUri, "true"));
    Publish(topic, OverlayJson(kUri, "1"));
    Publish(topic, OverlayJson(kUri, "false"));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION_OVERLAY, 2));
    EXPECT_THAT(observer().All(AI_SUB_ID_CAPTION_OVERLAY),
                ElementsAre(Bytes(Overlay(true)), Bytes(Overlay(false))));
    EXPECT_EQ(
        CountLines(
            "<KelCaptionOverlayParseTextMessage>: some site subtile switch changed but not current one"),
        1U);
}

TEST_F(ConferenceTest, TheCapabilityReportAndItsReply) {
    OpenWith({});
    Report(kUri);
    const std::vector<quor_simulator::ReceivedSend> received = server().Received();
    ASSERT_EQ(received.size(), 1U);
    const std::string body = "{\n\t\"supportOverlayPause\":\t1\n}";
    EXPECT_EQ(received[0].body, body);
    EXPECT_THAT(received[0].headers, ElementsAre(Pair("destination", "/terminal/parameter"),
                                                 Pair("token", kToken), Pair("conferenceId", kConference),
                                                 Pair("uri", kUri), Pair("content-type", "application/json"),
                                                 Pair("content-length", std::to_string(body.size()))));
    EXPECT_TRUE(terminal().log().WaitFor(1, [](const LogLine& line) {
        return line.level == 3 && line.text == "<KelReportAbilityParseTextMessage>:result = 0";
    }));
    EXPECT_EQ(observer().Count(AI_SUB_ID_ABILITY_REPORT), 0U);
    EXPECT_STREQ(QuorAiEngine::AiKelBasic::KelGetBasicInfo()->deviceId, kUri);
}

TEST_F(ConferenceTest, UnsubscribingEveryServiceStopsEveryDelivery) {
    const std::vector<TagQuorAiSubscribeInfo> requests = {
        Request(AI_SUB_ID_CHECKIN, kConference),
        Request(AI_SUB_ID_CAPTION, kConference, kToken, "zh-CN"),
        Request(AI_SUB_ID_CONF_CTRL, kConference, kToken),
        Request(AI_SUB_ID_CONF_SITE, kConference, kToken),
        Request(AI_SUB_ID_CAPTION_OVERLAY, "terminal-7", kToken),
        Request(AI_SUB_ID_TRANSLATION, kConference, kToken, "en-US")};
    OpenWith(requests);
    std::size_t left = requests.size();
    for (const TagQuorAiSubscribeInfo& request : requests) {
        ASSERT_EQ(channel().KelStompUnSubscribeService(request.subId), 0U);
        ASSERT_TRUE(server().WaitForSubscriptionCount(--left, kPatience));
    }
    for (const std::string& topic : {CheckinTopic(), CaptionTopic("zh-CN"), ControlTopic(), SitesTopic(),
                                     OverlayTopic("terminal-7"), CaptionTopic("en-US")}) {
        EXPECT_EQ(server().Publish(topic, "{}"), 0U) << topic;
    }
    EXPECT_EQ(channel().KelStompUnSubscribeService(AI_SUB_ID_CAPTION), 0U) << "a second time";
    // The link has survived all of it.
    const TagQuorAiSubscribeInfo again = Request(AI_SUB_ID_CAPTION, kConference, kToken, "zh-CN");
    ASSERT_EQ(channel().KelBasicExecuteSubscribeFunc(&again), 0U);
    ASSERT_TRUE(server().WaitForSubscription(CaptionTopic("zh-CN"), kPatience));
    Publish(CaptionTopic("zh-CN"), NumberedCaption(1));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
    EXPECT_EQ(observer().Total(), 2U) << "the connect notification and one caption";
}

TEST_F(ConferenceTest, RecoverySubscribesEverythingAgainInTheOrderAdded) {
    const std::vector<TagQuorAiSubscribeInfo> requests = {
        Request(AI_SUB_ID_ABILITY_REPORT, kConference, kToken, "", kUri),
        Request(AI_SUB_ID_TRANSLATION, kConference, kToken, "en-US"),
        Request(AI_SUB_ID_CONF_SITE, kConference, kToken),
        Request(AI_SUB_ID_LLM_RESULT_KEL, kConference, "", "", kUri),
        Request(AI_SUB_ID_CAPTION_OVERLAY, "terminal-7", kToken),
        Request(AI_SUB_ID_CHECKIN, kConference),
        Request(AI_SUB_ID_CAPTION, kConference, kToken, "zh-CN"),
        Request(AI_SUB_ID_CONF_CTRL, kConference, kToken)};
    terminal().SubscribeOnConnect(requests);
    ASSERT_TRUE(terminal().Open(Login()));
    ASSERT_TRUE(server().WaitForSubscription(ControlTopic(), kPatience));
    EXPECT_THAT(Destinations(),
                ElementsAre(CaptionTopic("en-US"), SitesTopic(), ChatTopic(kUri), OverlayTopic("terminal-7"),
                            CheckinTopic(), CaptionTopic("zh-CN"), ControlTopic()));
    server().DropLinks();
    ASSERT_TRUE(terminal().closeNotices().WaitFor(1));
    ASSERT_TRUE(server().WaitForNoLinks(kPatience));
    ASSERT_TRUE(terminal().Rebuild(Login()));
    ASSERT_TRUE(server().WaitForSubscription(ControlTopic(), kPatience));
    // The channel state has one conference id and no terminal id: recovery puts the former into every
    // destination.
    EXPECT_THAT(Destinations(),
                ElementsAre(CaptionTopic("en-US"), SitesTopic(), ChatTopic(kUri), OverlayTopic(kConference),
                            CheckinTopic(), CaptionTopic("zh-CN"), ControlTopic()));
    EXPECT_TRUE(server().WaitForReceived("/terminal/parameter", 2, kPatience));
    EXPECT_EQ(server().Received()[0].headers, server().Received()[1].headers);
}

}  // namespace
}  // namespace quor_test
