// Large-model requests on both links, the answers that stream back, and the request that stops them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/bodies.h"
#include "support/terminal_test.h"
#include "tests/support/large_model_kinds.h"

namespace quor_test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Pair;
using ::testing::StartsWith;

constexpr char kRequestDestination[] = "/terminal/chat/v1/completions";
constexpr unsigned int kStopOffset = 9;  // from a kind to the request that stops it

QuorAiModelParams Ask(unsigned int kind, unsigned int number, const std::string& content) {
    QuorAiModelParams params = {};
    params.modelVersion = 1;
    params.reqType = kind;
    params.seqNum = number;
    params.roundCnt = 3;
    SetText(params.token, kToken);
    SetText(params.confId, kConference);
    SetText(params.uri, kUri);
    SetText(params.content, content);
    return params;
}

class LargeModelTest : public TerminalTest {
protected:
    void SetUp() override {
        TerminalTest::SetUp();
        StartTerminal(Delivery::kSerialised);
    }

    void OpenConferenceLink() { OpenWith({Request(AI_SUB_ID_LLM_RESULT_KEL, kConference, "", "", kUri)}); }

    static bool IsFinalPieceOf(const std::string& answer, unsigned int number) {
        return answer.find("\"seqNum\":\"" + std::to_string(number) + "\"") != std::string::npos &&
               answer.find("\"final\":true") != std::string::npos;
    }
    // The answers under a service id, once the last piece of the answer to a request is among them.
    std::vector<std::string> AnswersUpTo(TagQuorAiSubId id, unsigned int number) {
        const auto complete = [&] {
            const std::vector<std::string> answers = observer().All(id);
            return std::any_of(answers.begin(), answers.end(),
                               [&](const std::string& answer) { return IsFinalPieceOf(answer, number); });
        };
        EXPECT_TRUE(Eventually(complete));
        return observer().All(id);
    }
};

TEST_F(LargeModelTest, ARequestOnTheConferenceLinkAndItsAnswerInPieces) {
    OpenConferenceLink();
    QuorAiModelParams params = Ask(2, 4711, "请总结 \"meeting\"");
    ASSERT_EQ(channel().KelSendLLMRequest(&params), 0U);
    ASSERT_TRUE(server().WaitForReceived(kRequestDestination, 1, kPatience));
    const quor_simulator::ReceivedSend received = server().Received()[0];
    EXPECT_EQ(received.body,
              "{\n\t\"confId\":\t\"conf-1\",\n\t\"uri\":\t\"sip:room7@example.org\",\n\t\"content\":\t"
              "\"请总结 \\\"meeting\\\"\"\n}");
    EXPECT_THAT(received.headers, ElementsAre(Pair("destination", kRequestDestination), Pair("token", kToken),
                                              Pair("seqNum", "4711"), Pair("reqType", "MEETING_SUMMARY"),
                                              Pair("content-type", "application/json"),
                                              Pair("content-length", std::to_string(received.body.size()))));
    const std::vector<std::string> answers = AnswersUpTo(AI_SUB_ID_LLM_RESULT_KEL, 4711);
    EXPECT_GT(answers.size(), 1U);
    EXPECT_THAT(answers, ::testing::Each(StartsWith("MESSAGE\ndestination:" + ChatTopic(kUri) + "\n")))
        << "the frame's text, escapes undone";
    EXPECT_THAT(answers[0], HasSubstr("请总结"));
}

TEST_F(LargeModelTest, EveryKindOfRequestIsNamedToTheServer) {
    OpenConferenceLink();
    for (unsigned int kind = 0; kind < std::size(QuorTest::kLargeModelKinds); ++kind) {
        QuorAiModelParams params = Ask(kind, 100 + kind, "x");
        ASSERT_EQ(channel().KelSendLLMRequest(&params), 0U) << kind;
    }
    ASSERT_TRUE(
        server().WaitForReceived(kRequestDestination, std::size(QuorTest::kLargeModelKinds), kPatience));
    const std::vector<quor_simulator::ReceivedSend> received = server().Received();
    ASSERT_EQ(received.size(), std::size(QuorTest::kLargeModelKinds));
    for (std::size_t kind = 0; kind < std::size(QuorTest::kLargeModelKinds); ++kind) {
        EXPECT_THAT(received[kind].headers[2], Pair("seqNum", std::to_string(100 + kind)));
        EXPECT_THAT(received[kind].headers[3], Pair("reqType", QuorTest::kLargeModelKinds[kind]));
    }
    QuorAiModelParams unknown = Ask(std::size(QuorTest::kLargeModelKinds), 1, "x");
    EXPECT_EQ(channel().KelSendLLMRequest(&unknown), 1U);
}

TEST_F(LargeModelTest, AStopRequestEndsTheAnswer) {
    OpenConferenceLink();
    // The server reads nothing until both requests lie before it, so the stop comes before the first piece is
    // due.
    ASSERT_EQ(server().FreezeLinks(true), 1U);
    QuorAiModelParams ask = Ask(0, 1, "to be stopped");
    QuorAiModelParams stop = Ask(kStopOffset, 1, "");
    QuorAiModelParams next = Ask(0, 2, "to be answered");
    ASSERT_EQ(channel().KelSendLLMRequest(&ask), 0U);
    ASSERT_EQ(channel().KelSendLLMRequest(&stop), 0U);
    ASSERT_EQ(channel().KelSendLLMRequest(&next), 0U);
    server().FreezeLinks(false);
    const std::vector<std::string> answers = AnswersUpTo(AI_SUB_ID_LLM_RESULT_KEL, 2);
    EXPECT_EQ(server().GetStatistics().sendsReceived, 3U);
    for (const std::string& answer : answers) {
        EXPECT_FALSE(IsFinalPieceOf(answer, 1)) << answer;
    }
}

TEST_F(LargeModelTest, ABodyOf2048BytesGoesOutWholeAndALongerOneNotAtAll) {
    OpenConferenceLink();
    QuorAiModelParams params = Ask(18, 1, "");
    ASSERT_EQ(channel().KelSendLLMRequest(&params), 0U);
    ASSERT_TRUE(server().WaitForReceived(kRequestDestination, 1, kPatience));
    const std::size_t room = QUOR_OM_NMS_WEBSOCKET_BODY_CAPACITY - server().Received()[0].body.size();
    SetText(params.content, std::string(room, 'c'));
    ASSERT_EQ(channel().KelSendLLMRequest(&params), 0U);
    ASSERT_TRUE(server().WaitForReceived(kRequestDestination, 2, kPatience));
    EXPECT_EQ(server().Received()[1].body.size(), QUOR_OM_NMS_WEBSOCKET_BODY_CAPACITY);
    EXPECT_THAT(server().Received()[1].body, ::testing::EndsWith("ccc\"\n}"));
    SetText(params.content, std::string(room + 1, 'd'));
    EXPECT_EQ(channel().KelSendLLMRequest(&params), 1U);
    SetText(params.content, "the next one");
    ASSERT_EQ(channel().KelSendLLMRequest(&params), 0U);
    ASSERT_TRUE(server().WaitForReceived(kRequestDestination, 3, kPatience));
    EXPECT_THAT(server().Received()[2].body, HasSubstr("the next one"));
}

TEST_F(LargeModelTest, ARequestOnTheManagerLink) {
    ASSERT_NO_FATAL_FAILURE(OpenManagerLink());
    QuorAiModelParams params = Ask(0, 9, "hello");
    ASSERT_EQ(channel().ManagerSendLLMRequest(&params), 0U);
    ASSERT_TRUE(server().WaitForReceived("", 1, kPatience));
    const quor_simulator::ReceivedSend received = server().Received()[0];
    EXPECT_EQ(received.body, "{\n\t\"content\":\t\"hello\"\n}");
    EXPECT_THAT(received.headers, ElementsAre(Pair("modelVersion", "DeepSeek-R1"), Pair("seqNum", "9"),
                                              Pair("reqType", "FREE_CHAT"), Pair("roundCnt", "3"),
                                              Pair("content-type", "application/json"),
                                              Pair("content-length", std::to_string(received.body.size()))));
    for (const std::string& answer : AnswersUpTo(AI_SUB_ID_LLM_RESULT_MANAGER, 9)) {
        EXPECT_EQ(answer.back(), '\0') << "the length counts the terminator";
        EXPECT_EQ(answer[0], '{') << "the text as the server sent it";
    }
}

TEST_F(LargeModelTest, AStopRequestOnTheManagerLink) {
    ASSERT_NO_FATAL_FAILURE(OpenManagerLink());
    ASSERT_EQ(server().FreezeLinks(true), 1U);
    QuorAiModelParams ask = Ask(4, 1, "to be stopped");
    QuorAiModelParams stop = Ask(4 + kStopOffset, 1, "");
    QuorAiModelParams next = Ask(4, 2, "to be answered");
    ASSERT_EQ(channel().ManagerSendLLMRequest(&ask), 0U);
    ASSERT_EQ(channel().ManagerSendLLMRequest(&stop), 0U);
    ASSERT_EQ(channel().ManagerSendLLMRequest(&next), 0U);
    server().FreezeLinks(false);
    for (const std::string& answer : AnswersUpTo(AI_SUB_ID_LLM_RESULT_MANAGER, 2)) {
        EXPECT_FALSE(IsFinalPieceOf(answer, 1)) << answer;
    }
}

TEST_F(LargeModelTest, AnAnswerOnTheManagerLinkIsDeliveredWholeWhateverItIs) {
    ASSERT_NO_FATAL_FAILURE(OpenManagerLink());
    const quor_simulator::LinkId link = server().Links()[0].id;
    quor_simulator::RawOptions options;
    options.onlyLink = link;
    options.fragments = 7;
    const std::vector<std::string> texts = {"plain words", "MESSAGE\ndestination:/x\n\nframed",
                                            std::string(300000, 'x'), "你好"};
    for (const std::string& text : texts) {
        ASSERT_EQ(server().PublishRaw(text, options), 1U);
    }
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_LLM_RESULT_MANAGER, texts.size()));
    const std::vector<std::string> answers = observer().All(AI_SUB_ID_LLM_RESULT_MANAGER);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        EXPECT_TRUE(answers[i] == texts[i] + '\0') << i;
    }
}

TEST_F(LargeModelTest, BothLinksSideBySide) {
    OpenConferenceLink();
    ASSERT_NO_FATAL_FAILURE(OpenManagerLink());
    QuorAiModelParams params = Ask(1, 51, "on the conference link");
    ASSERT_EQ(channel().KelSendLLMRequest(&params), 0U);
    params = Ask(1, 52, "on the manager link");
    ASSERT_EQ(channel().ManagerSendLLMRequest(&params), 0U);
    for (const std::string& answer : AnswersUpTo(AI_SUB_ID_LLM_RESULT_KEL, 51)) {
        EXPECT_THAT(answer, HasSubstr("\"seqNum\":\"51\""));
    }
    for (const std::string& answer : AnswersUpTo(AI_SUB_ID_LLM_RESULT_MANAGER, 52)) {
        EXPECT_THAT(answer, HasSubstr("\"seqNum\":\"52\""));
    }
    // Closing the conference link leaves the other one alone.
    ASSERT_EQ(terminal().Destroy(), 0U);
    observer().Clear();
    params = Ask(1, 53, "again");
    ASSERT_EQ(channel().ManagerSendLLMRequest(&params), 0U);
    AnswersUpTo(AI_SUB_ID_LLM_RESULT_MANAGER, 53);
}

TEST_F(LargeModelTest, TheAnswerSubscriptionIsOneHoweverOftenItIsSent) {
    OpenConferenceLink();
    // CONNECT and five SUBSCRIBE frames, an UNSUBSCRIBE before each but the first.
    ASSERT_TRUE(Eventually([this] { return server().GetStatistics().framesIn == 10; }));
    EXPECT_THAT(SubscriptionSet(server()), ElementsAre(ChatTopic(kUri) + " "));
    Publish(ChatTopic(kUri), "{\"n\":1}");
    Publish(ChatTopic(kUri), "{\"n\":2}");
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_LLM_RESULT_KEL, 2));
    EXPECT_THAT(observer().All(AI_SUB_ID_LLM_RESULT_KEL),
                ElementsAre(::testing::EndsWith("{\"n\":1}"), ::testing::EndsWith("{\"n\":2}")));
}

}  // namespace
}  // namespace quor_test
