// The shapes in which servers send frames: each has to come through whole, be dropped, or end the link with a
// reason.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "support/bodies.h"
#include "support/terminal_test.h"

namespace quor_test {
namespace {

using quor_platform::Failure;
using quor_platform::Stage;
using quor_simulator::ContentLength;
using quor_simulator::PublishOptions;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class FramesTest : public TerminalTest {
protected:
    void SetUp() override {
        TerminalTest::SetUp();
        OpenForCaptions();
    }

    // Publishes a non-ASCII caption in the given shape and a plain one after it: both arrive, in order,
    // unharmed. A shape with several copies delivers each of them.
    void ExpectDelivered(const PublishOptions& options) {
        observer().Clear();
        Caption shaped;
        shaped.text = "形状 – ünïcödé 𝄞";
        Caption plain;
        plain.text = "the next one";
        Publish(CaptionTopic("zh-CN"), ToJson(shaped), options);
        Publish(CaptionTopic("zh-CN"), ToJson(plain));
        std::vector<std::string> expected(std::max<std::size_t>(options.copies, 1), Bytes(ToRecord(shaped)));
        expected.push_back(Bytes(ToRecord(plain)));
        ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, expected.size()));
        EXPECT_EQ(observer().All(AI_SUB_ID_CAPTION), expected);
    }

    // A plain caption is delivered, and nothing else is.
    void ExpectOnlyTheNextIsDelivered() {
        Publish(CaptionTopic("zh-CN"), NumberedCaption(1));
        ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
        const auto records = observer().Records<TagQuorAiKelVoiceTranslateInfo>(AI_SUB_ID_CAPTION);
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(NumberOf(records[0]), 1U);
    }

    Failure ExpectLinkEnd() {
        Failure failure = WaitForLinkEnd();
        EXPECT_TRUE(terminal().closeNotices().WaitFor(1));
        EXPECT_EQ(terminal().closeNotices().Count(), 1U);
        return failure;
    }
};

TEST_F(FramesTest, SpreadOverManyWebSocketMessages) {
    PublishOptions options;
    for (const std::size_t messages : {2U, 7U, 100U}) {
        options.messages = messages;
        ExpectDelivered(options);
    }
}

TEST_F(FramesTest, SpreadOverFragments) {
    PublishOptions options;
    options.fragments = 9;
    ExpectDelivered(options);
    options.messages = 5;
    options.fragments = 4;
    ExpectDelivered(options);
}

TEST_F(FramesTest, ManyInOneMessage) {
    PublishOptions options;
    options.copies = 50;
    ExpectDelivered(options);
    options.messages = 33;
    ExpectDelivered(options);
}

TEST_F(FramesTest, LineFeedsAfterTheFrame) {
    PublishOptions options;
    options.trailingLineFeeds = 1;
    ExpectDelivered(options);
    options.trailingLineFeeds = 20;
    options.copies = 5;
    ExpectDelivered(options);
    server().PublishRaw("\n");
    server().PublishRaw("\r\n\n");
    ExpectDelivered({});
}

TEST_F(FramesTest, BinaryMessages) {
    PublishOptions options;
    options.binary = true;
    ExpectDelivered(options);
    options.messages = 3;
    options.fragments = 3;
    ExpectDelivered(options);
}

TEST_F(FramesTest, LinesEndingWithCarriageReturnAndLineFeed) {
    PublishOptions options;
    options.crlf = true;
    ExpectDelivered(options);
    options.contentLength = ContentLength::kMissing;
    options.copies = 4;
    ExpectDelivered(options);
}

TEST_F(FramesTest, WithoutContentLength) {
    PublishOptions options;
    options.contentLength = ContentLength::kMissing;
    ExpectDelivered(options);
    options.copies = 4;
    options.messages = 11;
    ExpectDelivered(options);
}

TEST_F(FramesTest, ContentLengthCountedInCharacters) {
    PublishOptions options;
    options.contentLength = ContentLength::kCharacters;
    ExpectDelivered(options);
    options.copies = 4;
    ExpectDelivered(options);
}

TEST_F(FramesTest, ContentLengthThatIsTooShort) {
    PublishOptions options;
    options.contentLength = ContentLength::kWrong;
    options.wrongLength = 3;
    options.copies = 3;
    ExpectDelivered(options);
}

TEST_F(FramesTest, WithoutContentType) {
    PublishOptions options;
    options.contentType = std::nullopt;
    ExpectDelivered(options);
}

TEST_F(FramesTest, WithoutContentTypeWhenNoneIsToBeAdded) {
    quor_platform::LinkSettings settings;
    settings.addMissingContentType = false;
    quor_platform::SetLinkSettings(settings);
    ASSERT_TRUE(terminal().Rebuild(Login()));
    ASSERT_TRUE(server().WaitForSubscriptionCount(1, kPatience));
    PublishOptions options;
    options.contentType = std::nullopt;
    Publish(CaptionTopic("zh-CN"), NumberedCaption(0), options);
    ExpectOnlyTheNextIsDelivered();
}

TEST_F(FramesTest, ContentTypeWithParameters) {
    PublishOptions options;
    options.contentType = "application/json;charset=UTF-8";
    ExpectDelivered(options);
}

TEST_F(FramesTest, HeadersNobodyKnowsAndEscapedOnes) {
    PublishOptions options;
    options.extraHeaders = {{"note", "a:b\\c\nd\r"}, {"na:me", "x"}, {"empty", ""}};
    ExpectDelivered(options);
    options.extraHeaders.assign(100, {"padding", std::string(200, 'p')});
    ExpectDelivered(options);
}

TEST_F(FramesTest, ADestinationWithColonsIsEscapedBothWays) {
    const std::string conference = "conf:7\\x";
    const TagQuorAiSubscribeInfo request = Request(AI_SUB_ID_CAPTION, conference, "to:ken\\", "zh-CN");
    ASSERT_EQ(channel().KelBasicExecuteSubscribeFunc(&request), 0U);
    const std::string topic = CaptionTopic("zh-CN", conference);
    ASSERT_TRUE(server().WaitForSubscription(topic, kPatience));
    EXPECT_EQ(server().Subscriptions().back().token, "to:ken\\");
    Publish(topic, NumberedCaption(3));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
}

TEST_F(FramesTest, OneMegabyte) {
    Caption caption;
    caption.text.assign(1U << 20U, 'm');
    for (const std::size_t messages : {1U, 64U}) {
        observer().Clear();
        PublishOptions options;
        options.messages = messages;
        Publish(CaptionTopic("zh-CN"), ToJson(caption), options);
        ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
        EXPECT_THAT(observer().All(AI_SUB_ID_CAPTION), ElementsAre(Bytes(ToRecord(caption))));
    }
    EXPECT_EQ(terminal().closeNotices().Count(), 0U);
}

TEST_F(FramesTest, AFrameBeyondTheLimitEndsTheLink) {
    quor_platform::LinkSettings settings;
    settings.maxFrameBytes = 16U << 10U;
    quor_platform::SetLinkSettings(settings);
    ASSERT_TRUE(terminal().Rebuild(Login()));
    ASSERT_TRUE(server().WaitForSubscriptionCount(1, kPatience));
    Caption caption;
    caption.text.assign(8U << 10U, 'x');
    Publish(CaptionTopic("zh-CN"), ToJson(caption));
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_CAPTION, 1));
    caption.text.assign(32U << 10U, 'x');
    Publish(CaptionTopic("zh-CN"), ToJson(caption));
    const Failure failure = ExpectLinkEnd();
    EXPECT_EQ(failure.stage, Stage::kStomp);
    EXPECT_THAT(failure.text, HasSubstr("limit"));
    EXPECT_EQ(observer().Count(AI_SUB_ID_CAPTION), 1U);
}

TEST_F(FramesTest, AMalformedFrameEndsTheLinkWithAReason) {
    const std::vector<std::pair<std::string, const char*>> frames = {
        {std::string("MESSAGE\na line without a colon\n\n{}\0", 35), "header without a name"},
        {std::string("MESSAGE\ndestination:/x\0", 23), "end within the headers"},
        {std::string("NONSENSE\ndestination:/x\n\n{}\0", 28), "unknown command"},
        {std::string("SUBSCRIBE\nid:1\ndestination:/x\n\n\0", 32), "a client's command"},
    };
    for (const auto& [frame, what] : frames) {
        SCOPED_TRACE(what);
        ASSERT_EQ(server().PublishRaw(frame), 1U);
        const Failure failure = ExpectLinkEnd();
        EXPECT_EQ(failure.stage, Stage::kStomp) << failure.text;
        EXPECT_THAT(failure.text, HasSubstr("malformed"));
        terminal().closeNotices().Clear();
        ASSERT_TRUE(terminal().Rebuild(Login()));
        ASSERT_TRUE(server().WaitForLinkCount(1, kPatience));
    }
    ASSERT_TRUE(server().WaitForSubscriptionCount(1, kPatience));
    ExpectOnlyTheNextIsDelivered();
}

TEST_F(FramesTest, AnErrorFrameEndsTheLinkWithItsReason) {
    ASSERT_EQ(server().PublishRaw(std::string("ERROR\nmessage:quota used up\n\n\0", 30)), 1U);
    const Failure failure = ExpectLinkEnd();
    EXPECT_EQ(failure.stage, Stage::kStomp);
    EXPECT_THAT(failure.text, HasSubstr("quota used up"));
}

TEST_F(FramesTest, ATokenThatTheServerRefusesEndsTheLinkWithItsReason) {
    server().SetTokens({kToken});
    const TagQuorAiSubscribeInfo request = Request(AI_SUB_ID_TRANSLATION, kConference, "stale", "en-US");
    ASSERT_EQ(channel().KelBasicExecuteSubscribeFunc(&request), 0U);
    const Failure failure = ExpectLinkEnd();
    EXPECT_EQ(failure.stage, Stage::kStomp);
    EXPECT_THAT(failure.text, HasSubstr("token refused"));
    EXPECT_EQ(failure.text.find("stale"), std::string::npos) << "a token is a secret";
}

TEST_F(FramesTest, ATokenThatIsRevokedEndsTheLink) {
    server().SetTokens({"another"}, true);
    EXPECT_THAT(ExpectLinkEnd().text, HasSubstr("token refused"));
}

TEST_F(FramesTest, AnUnknownDestinationIsDroppedAndLoggedOnce) {
    const auto unknown = [](const LogLine& line) {
        return line.text.find("cannot match proc node") != std::string::npos;
    };
    PublishOptions options;
    options.destinationHeader = "/topic/nobody/asked";
    for (int i = 0; i < 5; ++i) {
        Publish(CaptionTopic("zh-CN"), NumberedCaption(0), options);
    }
    options.destinationHeader = "/topic/nobody/either";
    Publish(CaptionTopic("zh-CN"), NumberedCaption(0), options);
    ExpectOnlyTheNextIsDelivered();
    EXPECT_EQ(terminal().log().Count(unknown), 2U);
    EXPECT_EQ(terminal().log().Count([](const LogLine& line) {
        return line.text == "<KelProcessJsonBody>: /topic/nobody/asked cannot match proc node";
    }),
              1U);
}

TEST_F(FramesTest, AFrameWithoutDestinationIsDropped) {
    PublishOptions options;
    options.destinationHeader = "";
    Publish(CaptionTopic("zh-CN"), NumberedCaption(0), options);
    ExpectOnlyTheNextIsDelivered();
}

TEST_F(FramesTest, AnEmptyBodyIsDropped) {
    Publish(CaptionTopic("zh-CN"), "");
    ExpectOnlyTheNextIsDelivered();
}

TEST_F(FramesTest, ABodyWithANulEndsThere) {
    // A NUL inside a counted body is legal STOMP, but no JSON text: what comes before it is all that is read.
    Publish(CaptionTopic("zh-CN"), std::string("{\"text\":\"a\0b\"}", 14));
    ExpectOnlyTheNextIsDelivered();
}

}  // namespace
}  // namespace quor_test
