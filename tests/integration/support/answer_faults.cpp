#include "support/answer_faults.h"

#include <gtest/gtest.h>

namespace quor_test {

using quor_simulator::AnswerKind;

std::vector<Json> GoodPieces(unsigned int number) {
    std::vector<Json> pieces;
    for (unsigned int piece = 0; piece < kPieces; ++piece) {
        Json body;
        body["seqNum"] = std::to_string(number);
        body["reqType"] = "FREE_CHAT";
        body["piece"] = piece;
        body["content"] = piece == 0 ? "You asked: hello" : "; piece " + std::to_string(piece);
        body["final"] = piece + 1 == kPieces;
        pieces.push_back(body);
    }
    return pieces;
}

void AnswerFaultsTest::SetUp() {
    TerminalTest::SetUp();
    StartTerminal(Delivery::kSerialised);
}

void AnswerFaultsTest::TearDown() {
    EXPECT_EQ(terminal().closeNotices().Count(), 0U) << "the link has survived all of it";
    TerminalTest::TearDown();
}

void AnswerFaultsTest::Report() {
    const TagQuorAiSubscribeInfo report = Request(AI_SUB_ID_ABILITY_REPORT, kConference, kToken, "", kUri);
    ASSERT_EQ(channel().KelBasicExecuteSubscribeFunc(&report), 0U);
}

void AnswerFaultsTest::Ask(AnswerKind kind, unsigned int number) {
    QuorAiModelParams params = {};
    params.seqNum = number;
    SetText(params.token, kToken);
    SetText(params.confId, kConference);
    SetText(params.uri, kUri);
    SetText(params.content, "hello");
    ASSERT_EQ(kind == AnswerKind::kModel ? channel().KelSendLLMRequest(&params)
                                         : channel().ManagerSendLLMRequest(&params),
              0U);
}

std::size_t AnswerFaultsTest::CountLines(const std::string& text) {
    return terminal().log().Count([&](const LogLine& line) { return line.text == text; });
}

bool AnswerFaultsTest::WaitForLines(std::size_t count, const std::string& text) {
    return terminal().log().WaitFor(count, [&](const LogLine& line) { return line.text == text; });
}

std::vector<std::string> AnswerFaultsTest::VerdictLines(const std::string& begin) {
    std::vector<std::string> lines;
    for (const LogLine& line : terminal().log().All()) {
        const std::string text = (line.level == 1 ? "E " : "I ") + line.text;
        if ((text.find("KelReportAbilityParseTextMessage") != std::string::npos ||
             text.find("KelJsonGet") != std::string::npos) &&
            text.rfind(begin, 0) == 0) {
            lines.push_back(text);
        }
    }
    return lines;
}

std::vector<std::string> AnswerFaultsTest::ReportedLines() {
    terminal().log().Clear();
    Report();
    EXPECT_TRUE(Eventually([&] { return !VerdictLines(resultLine).empty(); }));
    return VerdictLines("");
}

}  // namespace quor_test
