#include "ask_session.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ask_link.h"
#include "fake_link.h"

namespace quor_terminal {
namespace {

using std::chrono::milliseconds;

constexpr unsigned int kNumber = 7;
constexpr AskSession::TimePoint kStart{std::chrono::hours(1)};

AnswerPiece Piece(unsigned int number, bool isFinal) {
    AnswerPiece piece;
    piece.understood = true;
    piece.sequenceNumber = number;
    piece.content = "x";
    piece.isFinal = isFinal;
    return piece;
}

AnswerPiece Refusal(const std::string& text) {
    AnswerPiece piece;
    piece.refusal = text;
    return piece;
}

class AskSessionTest : public testing::Test {
protected:
    AskSession session{kNumber, true, milliseconds(1000)};
};

TEST_F(AskSessionTest, EndsWithTheLastPieceOfItsOwnAnswer) {
    EXPECT_FALSE(session.Take(Piece(kNumber, true))) << "nothing was asked yet";
    ASSERT_TRUE(session.Begin(kStart));
    session.Sent();
    EXPECT_TRUE(session.Take(Piece(kNumber, false)));
    EXPECT_FALSE(session.Take(Piece(kNumber + 1, true))) << "another request's";
    EXPECT_FALSE(session.Ended());
    EXPECT_TRUE(session.Take(Piece(kNumber, true)));
    EXPECT_TRUE(session.Ended());
    EXPECT_FALSE(session.Take(Piece(kNumber, false))) << "after the last";
    EXPECT_EQ(session.Report().outcome, AskOutcome::kAnswered);
    EXPECT_EQ(session.Report().pieces, 2U);
    EXPECT_FALSE(session.TakeStopDuty());
}

TEST_F(AskSessionTest, APieceThatNamesNoRequestIsTaken) {
    ASSERT_TRUE(session.Begin(kStart));
    AnswerPiece piece;
    piece.content = "words of another form";
    EXPECT_TRUE(session.Take(piece));
    EXPECT_FALSE(session.Ended());
}

TEST_F(AskSessionTest, ARequestToWhichNothingIsAnsweredEndsWhenItIsSent) {
    AskSession stop(kNumber, false, milliseconds(1000));
    ASSERT_TRUE(stop.Begin(kStart));
    EXPECT_FALSE(stop.Ended());
    stop.Sent();
    EXPECT_EQ(stop.Report().outcome, AskOutcome::kSent);
    EXPECT_FALSE(stop.TakeStopDuty());
}

TEST_F(AskSessionTest, TheTimeLimitRunsFromTheRequest) {
    session.CheckTime(kStart + std::chrono::hours(1));
    EXPECT_FALSE(session.Ended());
    ASSERT_TRUE(session.Begin(kStart));
    session.CheckTime(kStart + milliseconds(999));
    EXPECT_FALSE(session.Ended());
    session.CheckTime(kStart + milliseconds(1000));
    EXPECT_EQ(session.Report().outcome, AskOutcome::kTimedOut);
}

TEST_F(AskSessionTest, TheFirstEndCounts) {
    ASSERT_TRUE(session.Begin(kStart));
    session.End(AskOutcome::kStopped);
    session.End(AskOutcome::kLost, Problem(LinkProblem::Kind::kTransient, kExitUnreachable, "gone"));
    session.CheckTime(kStart + std::chrono::hours(1));
    EXPECT_EQ(session.Report().outcome, AskOutcome::kStopped);
    EXPECT_EQ(session.Report().problem.text, "");
}

TEST_F(AskSessionTest, WhatEndedBeforeItWasSentIsNotSent) {
    session.End(AskOutcome::kStopped);
    EXPECT_FALSE(session.Begin(kStart));
    EXPECT_FALSE(session.TakeStopDuty());
}

TEST_F(AskSessionTest, ARefusalEndsItWithTheServersWords) {
    ASSERT_TRUE(session.Begin(kStart));
    EXPECT_FALSE(session.Take(Refusal("quota exceeded")));
    const AskReport report = session.Report();
    EXPECT_EQ(report.outcome, AskOutcome::kRefused);
    EXPECT_EQ(report.problem.exitCode, kExitRefused);
    EXPECT_EQ(report.problem.text, "the server refused the request: quota exceeded");
    EXPECT_EQ(report.pieces, 0U);
    EXPECT_FALSE(session.TakeStopDuty());
}

TEST_F(AskSessionTest, OutcomesHaveWords) {
    EXPECT_STREQ(OutcomeWord(AskOutcome::kAnswered), "answered");
    EXPECT_STREQ(OutcomeWord(AskOutcome::kSent), "sent");
    EXPECT_STREQ(OutcomeWord(AskOutcome::kStopped), "stopped");
    EXPECT_STREQ(OutcomeWord(AskOutcome::kTimedOut), "timed-out");
    EXPECT_STREQ(OutcomeWord(AskOutcome::kRefused), "refused");
    EXPECT_STREQ(OutcomeWord(AskOutcome::kNotSent), "not-sent");
    EXPECT_STREQ(OutcomeWord(AskOutcome::kLost), "lost");
    EXPECT_STREQ(OutcomeWord(AskOutcome::kOutputBroken), "output-broken");
}

// The keeper with a fake link: what is told the server, and when.
class AskLinkTest : public AskSessionTest {
protected:
    void BringUp() {
        Settle();
        keeper.OnConnected(1);
        Settle();
        ASSERT_EQ(keeper.CurrentState(), LinkKeeper::State::kUp);
    }
    void Settle() {
        for (int i = 0; i < 10; ++i) {
            keeper.Step();
        }
    }

    FakeLink fake;
    int stops = 0;
    int closesAtStop = -1;
    AskLink link{fake, session, [this] {
                     ++stops;
                     closesAtStop = fake.closes;
                     return true;
                 }};
    LinkKeeper keeper{link, {}, [](const KeeperNotice&) {}, [] { return 0.5; }, [] { return kStart; }};
};

TEST_F(AskLinkTest, TheStopRequestGoesOutOnceBeforeTheLinkIsClosed) {
    ASSERT_NO_FATAL_FAILURE(BringUp());
    ASSERT_TRUE(session.Begin(kStart));
    session.End(AskOutcome::kStopped);
    keeper.Stop();
    Settle();
    EXPECT_EQ(stops, 1);
    EXPECT_EQ(closesAtStop, 0);
    EXPECT_EQ(fake.closes, 1);
    EXPECT_TRUE(link.StopSent());
    link.Close();
    EXPECT_EQ(stops, 1);
}

TEST_F(AskLinkTest, AnAnswerThatIsLateOrUnreadIsStoppedToo) {
    for (const AskOutcome outcome : {AskOutcome::kTimedOut, AskOutcome::kOutputBroken}) {
        AskSession late(kNumber, true, milliseconds(1));
        ASSERT_TRUE(late.Begin(kStart));
        late.End(outcome);
        EXPECT_TRUE(late.TakeStopDuty());
        EXPECT_FALSE(late.TakeStopDuty());
    }
}

TEST_F(AskLinkTest, ACompleteAnswerAndALostLinkAreNotStopped) {
    ASSERT_NO_FATAL_FAILURE(BringUp());
    ASSERT_TRUE(session.Begin(kStart));
    session.Take(Piece(kNumber, true));
    keeper.Stop();
    Settle();
    EXPECT_EQ(fake.closes, 1);
    EXPECT_EQ(stops, 0);
    EXPECT_FALSE(link.StopSent());
    AskSession lost(kNumber, true, milliseconds(1));
    ASSERT_TRUE(lost.Begin(kStart));
    lost.End(AskOutcome::kLost);
    EXPECT_FALSE(lost.TakeStopDuty());
}

TEST_F(AskLinkTest, TheKeepersCallsReachTheLinkBehindIt) {
    LinkProblem problem;
    EXPECT_TRUE(link.Open(problem));
    EXPECT_TRUE(link.SubscribeWanted(problem));
    EXPECT_EQ(link.WhyEnded(3).text, "reset by peer");
    link.Discard(4);
    EXPECT_EQ(fake.opens, 1);
    EXPECT_EQ(fake.subscribeCalls, 1);
    EXPECT_EQ(fake.askedWhy, std::vector<unsigned int>{3});
    EXPECT_EQ(fake.discarded, std::vector<unsigned int>{4});
}

}  // namespace
}  // namespace quor_terminal
