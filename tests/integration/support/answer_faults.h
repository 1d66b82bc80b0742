// answer_faults.h - the fixture of the tests of faulty answers: a terminal that reports and asks, and what it
// logs about verdicts.
#ifndef QUOR_TESTS_INTEGRATION_ANSWER_FAULTS_H
#define QUOR_TESTS_INTEGRATION_ANSWER_FAULTS_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/terminal_test.h"

namespace quor_test {

using Json = nlohmann::ordered_json;

inline constexpr unsigned int kPieces = 5;

// The simulator's pieces of the answer to AnswerFaultsTest::Ask, as they should be.
std::vector<Json> GoodPieces(unsigned int number);

class AnswerFaultsTest : public TerminalTest {
protected:
    void SetUp() override;
    void TearDown() override;

    void Report();
    void Ask(quor_simulator::AnswerKind kind, unsigned int number);

    // Log records with this text.
    std::size_t CountLines(const std::string& text);
    bool WaitForLines(std::size_t count, const std::string& text);
    // Of what the verdict's handler and its getter log, the lines that begin so: "E " for errors or "I ",
    // then the text.
    std::vector<std::string> VerdictLines(const std::string& begin);
    // Reports; the lines of the verdict.
    std::vector<std::string> ReportedLines();

    const std::string entryLine = "E AiKelBasic::KelReportAbilityParseTextMessage in";
    const std::string resultLine = "I <KelReportAbilityParseTextMessage>:result = ";
    const std::vector<std::string> goodVerdict = {entryLine, resultLine + "0"};
};

}  // namespace quor_test

#endif
