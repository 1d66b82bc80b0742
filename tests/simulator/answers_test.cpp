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

}  // namespace
}  // namespace quor_simulator
