#include "answers.h"

#include <gtest/gtest.h>

namespace quor_simulator {
namespace {

using TimePoint = AnswerQueue::TimePoint;
const TimePoint kNow{};
const TimePoint kLate = kNow + std::chrono::hours(1);

ReceivedSend Request(LinkId link, const std::string& kind, const std::string& number) {
    return {link,
            "/terminal/chat/v1/completions",
            {{"reqType", kind}, {"seqNum", number}},
            R"({"confId":"c","uri":"u","content":"question"})"};
}

std::vector<Answer> TakeAll(AnswerQueue& queue, TimePoint now) {
    std::vector<Answer> answers;
    for (Answer answer; queue.TakeDue(now, answer);) {
        answers.push_back(answer);
    }
    return answers;
}

TEST(Answers, ModelAnswerComesInPiecesOverTime) {
    AnswerQueue queue;
    queue.Plan(Request(1, "FREE_CHAT", "9"), false, kNow);
    EXPECT_TRUE(TakeAll(queue, kNow).empty());
    const auto answers = TakeAll(queue, kLate);
    ASSERT_EQ(answers.size(), 5U);
    EXPECT_EQ(answers[0].topic, "/topic/chat/c/u");
    EXPECT_NE(answers[0].body.find("question"), std::string::npos);
    EXPECT_NE(answers[4].body.find("\"final\":true"), std::string::npos);
}

TEST(Answers, StopEndsOnlyTheMatchingStream) {
    AnswerQueue queue;
    queue.Plan(Request(1, "FREE_CHAT", "1"), false, kNow);
    queue.Plan(Request(1, "FREE_CHAT", "2"), false, kNow);
    queue.Plan(Request(1, "TRANSLATE", "1"), false, kNow);
    queue.Plan(Request(2, "FREE_CHAT", "1"), false, kNow);
    queue.Plan(Request(1, "FREE_CHAT_STOP", "1"), false, kNow);
    EXPECT_EQ(queue.size(), 15U);
    queue.ForgetLink(2);
    EXPECT_EQ(queue.size(), 10U);
}

TEST(Answers, CapabilityReportIsAnsweredToItsLink) {
    AnswerQueue queue;
    queue.Plan({4, "/terminal/parameter", {}, "{}"}, false, kNow);
    const auto answers = TakeAll(queue, kNow);
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].link, 4U);
    EXPECT_EQ(answers[0].topic, "");
    EXPECT_EQ(answers[0].body, "{\"result\":0}");
}

TEST(Answers, OtherSendsAndBrokenRequestsAreNotAnswered) {
    AnswerQueue queue;
    queue.Plan({1, "/app/x", {}, "{}"}, false, kNow);
    queue.Plan({1, "/terminal/chat/v1/completions", {{"reqType", "FREE_CHAT"}}, "no JSON"}, false, kNow);
    queue.Plan({1, "/terminal/chat/v1/completions", {{"reqType", "FREE_CHAT"}}, "[1]"}, false, kNow);
    queue.Plan({1, "/terminal/chat/v1/completions", {}, ""}, false, kNow);
    EXPECT_EQ(queue.size(), 0U);
}

TEST(Answers, PlannedPiecesAreBounded) {
    AnswerQueue queue;
    for (int i = 0; i < 3000; ++i) {
        queue.Plan(Request(1, "FREE_CHAT", std::to_string(i)), false, kNow);
    }
    EXPECT_LE(queue.size(), 10000U);
}

TEST(Answers, TextThatIsNoUtf8IsReplaced) {
    AnswerQueue queue;
    ReceivedSend request = Request(1, "FREE_\xFF", "1");
    queue.Plan(request, false, kNow);
    EXPECT_EQ(TakeAll(queue, kLate).size(), 5U);
}

AnswerFault Held() {
    AnswerFault fault;
    fault.hold = true;
    return fault;
}

TEST(Answers, AFaultTouchesEveryPieceOfTheAnswersOfItsKind) {
    AnswerQueue queue;
    AnswerFault fault;
    fault.content.omit = {"final"};
    fault.content.wrongType = {"piece"};
    fault.skip = 1;
    fault.times = 1;
    queue.SetFault(AnswerKind::kModel, fault);
    for (const char* number : {"1", "2", "3"}) {
        queue.Plan(Request(1, "FREE_CHAT", number), false, kNow);
        queue.Plan(Request(1, "FREE_CHAT_STOP", "9"), false, kNow); /* is no question */
        queue.Plan(Request(1, "FREE_CHAT", number), true, kNow);
        const auto answers = TakeAll(queue, kLate);
        ASSERT_EQ(answers.size(), 10U);
        for (const Answer& answer : answers) {
            const bool faulty = number == std::string("2") && answer.kind == AnswerKind::kModel;
            const Json body = Json::parse(answer.body);
            EXPECT_EQ(body.contains("final"), !faulty) << answer.body;
            EXPECT_EQ(body["piece"].is_string(), faulty) << answer.body;
        }
    }
}

TEST(Answers, AnotherTerminalOrNumber) {
    AnswerQueue queue;
    AnswerFault fault;
    fault.content.otherUri = "sip:other";
    queue.SetFault(AnswerKind::kModel, fault);
    queue.SetFault(AnswerKind::kCapability, fault);
    queue.Plan(Request(1, "FREE_CHAT", "1"), false, kNow);
    for (const Answer& answer : TakeAll(queue, kLate)) {
        EXPECT_EQ(answer.topic, "/topic/chat/c/sip:other");
        EXPECT_EQ(Json::parse(answer.body)["seqNum"], "1");
    }
    queue.Plan({4, "/terminal/parameter", {}, "{}"}, false, kNow);
    EXPECT_EQ(TakeAll(queue, kNow)[0].uri, "sip:other");
    fault = {};
    fault.otherNumber = true;
    queue.SetFault(AnswerKind::kManagerModel, fault);
    for (const auto& [asked, answered] : {std::pair("1", "2"), std::pair("4711", "1")}) {
        queue.Plan(Request(1, "FREE_CHAT", asked), true, kNow);
        const auto answers = TakeAll(queue, kLate);
        ASSERT_EQ(answers.size(), 5U);
        EXPECT_EQ(Json::parse(answers[0].body)["seqNum"], answered);
        EXPECT_EQ(answers[0].topic, "");
    }
}

TEST(Answers, TheLastPieceIsHeldUntilItIsReleased) {
    AnswerQueue queue;
    queue.SetFault(AnswerKind::kModel, Held());
    queue.SetFault(AnswerKind::kCapability, Held());
    queue.Plan(Request(1, "FREE_CHAT", "1"), false, kNow);
    queue.Plan({1, "/terminal/parameter", {}, "{}"}, false, kNow);
    EXPECT_EQ(queue.held(), 0U);
    EXPECT_EQ(TakeAll(queue, kLate).size(), 4U);
    EXPECT_EQ(queue.held(), 2U);
    EXPECT_EQ(queue.size(), 2U);
    queue.ClearFault(std::nullopt);
    EXPECT_EQ(queue.Release(AnswerKind::kManagerModel, kNow), 0U);
    EXPECT_EQ(queue.Release(AnswerKind::kModel, kNow), 1U);
    const auto last = TakeAll(queue, kNow);
    ASSERT_EQ(last.size(), 1U);
    EXPECT_NE(last[0].body.find("\"final\":true"), std::string::npos);
    EXPECT_EQ(queue.Release(std::nullopt, kNow), 1U);
    EXPECT_EQ(TakeAll(queue, kNow)[0].body, "{\"result\":0}");
    EXPECT_EQ(queue.size(), 0U);
}

TEST(Answers, StopRequestsAndEndsOfLinksDropWhatIsHeld) {
    AnswerQueue queue;
    queue.SetFault(AnswerKind::kModel, Held());
    queue.Plan(Request(1, "FREE_CHAT", "1"), false, kNow);
    queue.Plan(Request(1, "FREE_CHAT", "2"), false, kNow);
    queue.Plan(Request(2, "FREE_CHAT", "1"), false, kNow);
    TakeAll(queue, kLate);
    ASSERT_EQ(queue.held(), 3U);
    queue.Plan(Request(1, "FREE_CHAT_STOP", "1"), false, kNow);
    EXPECT_EQ(queue.held(), 2U);
    queue.ForgetLink(1);
    EXPECT_EQ(queue.held(), 1U);
    queue.ForgetAll();
    EXPECT_EQ(queue.size(), 0U);
}

TEST(Answers, HeldVerdictsAreBounded) {
    AnswerQueue queue;
    queue.SetFault(AnswerKind::kCapability, Held());
    for (int i = 0; i < 10100; ++i) {
        queue.Plan({1, "/terminal/parameter", {}, "{}"}, false, kNow);
        TakeAll(queue, kNow);
    }
    EXPECT_EQ(queue.size(), 10000U);
}

TEST(Answers, AFaultThatDoesNotFitItsKindHasProblems) {
    AnswerFault fault;
    for (const AnswerKind kind : {AnswerKind::kCapability, AnswerKind::kModel, AnswerKind::kManagerModel}) {
        EXPECT_TRUE(ProblemsOf(kind, fault).empty());
    }
    fault.content.omit = {"result"};
    EXPECT_TRUE(ProblemsOf(AnswerKind::kCapability, fault).empty());
    EXPECT_EQ(ProblemsOf(AnswerKind::kModel, fault).size(), 1U);
    fault = {};
    fault.content.otherUri = "u";
    EXPECT_TRUE(ProblemsOf(AnswerKind::kCapability, fault).empty());
    EXPECT_TRUE(ProblemsOf(AnswerKind::kModel, fault).empty());
    EXPECT_EQ(ProblemsOf(AnswerKind::kManagerModel, fault).size(), 1U);
    fault = {};
    fault.otherNumber = true;
    EXPECT_EQ(ProblemsOf(AnswerKind::kCapability, fault).size(), 1U);
    EXPECT_TRUE(ProblemsOf(AnswerKind::kModel, fault).empty());
    EXPECT_TRUE(ProblemsOf(AnswerKind::kManagerModel, fault).empty());
}

}  // namespace
}  // namespace quor_simulator
