#include "ask_view.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "captions.h"

namespace quor_terminal {
namespace {

class AskViewTest : public testing::Test {
protected:
    static TextSink Into(std::string& text) {
        return [&text](std::string_view piece) {
            text += piece;
            return true;
        };
    }
    static AnswerPiece Piece(const std::string& content) {
        AnswerPiece piece;
        piece.serviceId = 8;
        piece.content = content;
        return piece;
    }

    std::string out;
    std::string notices;
    PlainAskView plain{Into(out), Into(notices)};
    JsonAskView json{Into(out)};
    const AskSubject subject{7, "FREE_CHAT", false};
};

TEST_F(AskViewTest, PlainIsTheAnswerAndNothingElse) {
    plain.ShowLink(Notice(KeeperNotice::Kind::kOpening));
    plain.ShowLink(Notice(KeeperNotice::Kind::kUp));
    plain.ShowRequest(subject);
    plain.ShowPiece(Piece("One"));
    EXPECT_EQ(out, "One") << "at once, without waiting for a line";
    plain.ShowPiece(Piece(" two\nthree"));
    plain.Finish(subject, {AskOutcome::kAnswered, 2, {}});
    EXPECT_EQ(out, "One two\nthree\n");
    EXPECT_EQ(notices, "");
}

TEST_F(AskViewTest, PlainEndsNoLineThatIsEndedAlready) {
    plain.ShowPiece(Piece("One\n"));
    plain.ShowPiece(Piece(""));
    plain.Finish(subject, {AskOutcome::kAnswered, 2, {}});
    EXPECT_EQ(out, "One\n");
}

TEST_F(AskViewTest, PlainTakesThePowerFromControls) {
    plain.ShowPiece(Piece("a\x1b[2J\rb\nc"));
    EXPECT_EQ(out, "a [2J b\nc");
}

TEST_F(AskViewTest, PlainTellsTroubleApartFromTheAnswer) {
    KeeperNotice waiting = Notice(KeeperNotice::Kind::kBackingOff, false, "no route");
    waiting.wait = std::chrono::milliseconds(1500);
    plain.ShowLink(waiting);
    EXPECT_EQ(notices, "quor-terminal: no link: no route; next attempt in 1.5 s\n");
    EXPECT_EQ(out, "");
}

TEST_F(AskViewTest, PlainSaysOfAStopRequestThatNothingIsAnswered) {
    plain.Finish({7, "FREE_CHAT_STOP", false}, {AskOutcome::kSent, 0, {}});
    EXPECT_EQ(notices, "quor-terminal: sent FREE_CHAT_STOP for number 7; the server does not answer it\n");
    EXPECT_EQ(out, "");
}

TEST_F(AskViewTest, JsonPieceWithEverything) {
    AnswerPiece piece = Piece("text");
    piece.understood = true;
    piece.sequenceNumber = 7;
    piece.requestType = "FREE_CHAT";
    piece.number = 3;
    piece.isFinal = true;
    json.ShowPiece(piece);
    EXPECT_EQ(out,
              "{\"id\":8,\"kind\":\"answer\",\"understood\":true,\"seqNum\":7,\"reqType\":\"FREE_CHAT\","
              "\"piece\":3,\"content\":\"text\",\"final\":true}\n");
}

TEST_F(AskViewTest, JsonPieceOfAnotherForm) {
    json.ShowPiece(Piece("bad \xFF byte"));
    EXPECT_EQ(out,
              "{\"id\":8,\"kind\":\"answer\",\"understood\":false,\"content\":\"bad \xEF\xBF\xBD byte\","
              "\"final\":false}\n");
}

TEST_F(AskViewTest, JsonRequestAndOutcome) {
    json.ShowRequest(subject);
    EXPECT_EQ(out, "{\"kind\":\"request\",\"seqNum\":7,\"reqType\":\"FREE_CHAT\",\"link\":\"conference\"}\n");
    out.clear();
    AskReport report{AskOutcome::kLost, 2, {}};
    report.problem.text = "gone";
    json.Finish({7, "TRANSLATE", true}, report);
    EXPECT_EQ(out,
              "{\"kind\":\"outcome\",\"seqNum\":7,\"reqType\":\"TRANSLATE\",\"link\":\"manager\","
              "\"outcome\":\"lost\",\"pieces\":2,\"problem\":\"gone\"}\n");
}

TEST_F(AskViewTest, JsonTellsEveryStateOfTheLink) {
    json.ShowLink(Notice(KeeperNotice::Kind::kUp));
    EXPECT_EQ(out, "{\"kind\":\"link\",\"state\":\"up\"}\n");
}

}  // namespace
}  // namespace quor_terminal
