// Faulty answers to what the terminal sends: the capability report's verdict, and large-model answers on both
// links.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "support/answer_faults.h"

namespace quor_test {
namespace {

using quor_simulator::AnswerFault;
using quor_simulator::AnswerKind;
using ::testing::ElementsAre;
using ::testing::StartsWith;

constexpr char kOtherUri[] = "sip:room8@example.org";
constexpr char kVerdictEntry[] = "AiKelBasic::KelReportAbilityParseTextMessage in";
constexpr char kVerdictZero[] = "<KelReportAbilityParseTextMessage>:result = 0";
constexpr char kPieceReceived[] = "大模型消息返回接收";

AnswerFault Once(AnswerFault fault = {}) {
    fault.times = 1;
    return fault;
}

AnswerFault OnceOmitting(std::vector<std::string> members) {
    AnswerFault fault;
    fault.content.omit = std::move(members);
    return Once(fault);
}

AnswerFault OnceOfAnotherType(std::vector<std::string> members) {
    AnswerFault fault;
    fault.content.wrongType = std::move(members);
    return Once(fault);
}

AnswerFault OnceTooLong(std::vector<std::string> members) {
    AnswerFault fault;
    fault.content.tooLong = std::move(members);
    return Once(fault);
}

AnswerFault OnceForAnotherTerminal() {
    AnswerFault fault;
    fault.content.otherUri = kOtherUri;
    return Once(fault);
}

AnswerFault OnceWithAnotherNumber() {
    AnswerFault fault;
    fault.otherNumber = true;
    return Once(fault);
}

AnswerFault OnceHeld() {
    AnswerFault fault;
    fault.hold = true;
    return Once(fault);
}

class VerdictFaultsTest : public AnswerFaultsTest {
protected:
    void SetUp() override {
        AnswerFaultsTest::SetUp();
        OpenWith({});
    }

    // Reports under the fault, then once more without it.
    std::vector<std::string> LinesOf(const AnswerFault& fault) {
        server().SetAnswerFault(AnswerKind::kCapability, fault);
        std::vector<std::string> lines = ReportedLines();
        EXPECT_EQ(ReportedLines(), goodVerdict);
        EXPECT_EQ(observer().Total(), 1U) << "the connect notification alone";
        return lines;
    }

    const std::string noNumber = "E <KelJsonGetNum>: key result jsonObj is error";
    const std::string noResult = "E <KelReportAbilityParseTextMessage>: get final failed";
};

TEST_F(VerdictFaultsTest, AResultThatIsMissingOrNoNumberCountsAsZero) {
    EXPECT_THAT(LinesOf(OnceOmitting({"result"})),
                ElementsAre(entryLine, noNumber, noResult, resultLine + "0"));
    EXPECT_THAT(LinesOf(OnceOfAnotherType({"result"})),
                ElementsAre(entryLine, noNumber, noResult, resultLine + "0"));
}

TEST_F(VerdictFaultsTest, AResultThatIsTooLargeIsTheLargest) {
    EXPECT_THAT(LinesOf(OnceTooLong({"result"})), ElementsAre(entryLine, resultLine + "2147483647"));
}

TEST_F(VerdictFaultsTest, AVerdictForAnotherTerminalDoesNotArrive) {
    server().SetAnswerFault(AnswerKind::kCapability, OnceForAnotherTerminal());
    Report();
    ASSERT_TRUE(server().WaitForReceived("/terminal/parameter", 1, kPatience));
    Report();
    ASSERT_TRUE(WaitForLines(1, kVerdictZero));
    EXPECT_EQ(CountLines(kVerdictEntry), 1U);
    EXPECT_EQ(server().GetStatistics().sendsReceived, 2U);
}

TEST_F(VerdictFaultsTest, AVerdictThatIsLateArrives) {
    server().SetAnswerFault(AnswerKind::kCapability, OnceHeld());
    Report();
    ASSERT_TRUE(server().WaitForHeldAnswers(1, kPatience));
    Report();
    ASSERT_TRUE(WaitForLines(1, kVerdictZero));
    EXPECT_EQ(server().ReleaseAnswers(), 1U);
    EXPECT_TRUE(WaitForLines(2, kVerdictZero));
}

// The same on both links: the library hands large-model answers up as they are, whatever they are.
class ModelFaultsTest : public AnswerFaultsTest, public ::testing::WithParamInterface<AnswerKind> {
protected:
    void SetUp() override {
        AnswerFaultsTest::SetUp();
        if (OnConferenceLink()) {
            OpenWith({Request(AI_SUB_ID_LLM_RESULT_KEL, kConference, "", "", kUri)});
        } else {
            ASSERT_NO_FATAL_FAILURE(OpenManagerLink());
        }
        observer().Clear();
    }

    static bool OnConferenceLink() { return GetParam() == AnswerKind::kModel; }
    static TagQuorAiSubId AnswerId() {
        return OnConferenceLink() ? AI_SUB_ID_LLM_RESULT_KEL : AI_SUB_ID_LLM_RESULT_MANAGER;
    }

    // The bodies of all answers so far; a frame's head and a text's terminator are checked and left out.
    std::vector<std::string> Bodies() {
        std::vector<std::string> bodies = observer().All(AnswerId());
        for (std::string& body : bodies) {
            if (OnConferenceLink()) {
                EXPECT_THAT(body, StartsWith("MESSAGE\ndestination:" + ChatTopic(kUri) + "\n"));
                body.erase(0, body.find("\n\n") + 2);
            } else {
                EXPECT_EQ(body.back(), '\0');
                body.pop_back();
            }
        }
        return bodies;
    }

    static std::vector<std::string> Texts(const std::vector<Json>& pieces) {
        std::vector<std::string> texts(pieces.size());
        std::transform(pieces.begin(), pieces.end(), texts.begin(),
                       [](const Json& piece) { return piece.dump(); });
        return texts;
    }

    // Asks under the fault and once more: the faulty pieces arrive as the server sent them, then the good
    // ones.
    void ExpectPieces(const AnswerFault& fault, const std::vector<Json>& faulty) {
        observer().Clear();
        terminal().log().Clear();
        server().SetAnswerFault(GetParam(), fault);
        ASSERT_NO_FATAL_FAILURE(Ask(GetParam(), 1));
        ASSERT_TRUE(observer().WaitFor(AnswerId(), faulty.size()));
        ASSERT_NO_FATAL_FAILURE(Ask(GetParam(), 2));
        std::vector<std::string> expected = Texts(faulty);
        for (std::string& piece : Texts(GoodPieces(2))) {
            expected.push_back(std::move(piece));
        }
        ASSERT_TRUE(observer().WaitFor(AnswerId(), expected.size()));
        EXPECT_EQ(Bodies(), expected);
        EXPECT_EQ(observer().Total(), expected.size());
        EXPECT_EQ(CountLines(kPieceReceived), OnConferenceLink() ? expected.size() : 0U);
        EXPECT_EQ(terminal().log().Count([](const LogLine& line) { return line.level == 1; }), 0U);
    }

    static std::vector<Json> Pieces(const std::function<void(Json&)>& change) {
        std::vector<Json> pieces = GoodPieces(1);
        std::for_each(pieces.begin(), pieces.end(), change);
        return pieces;
    }
};

INSTANTIATE_TEST_SUITE_P(Links, ModelFaultsTest,
                         ::testing::Values(AnswerKind::kModel, AnswerKind::kManagerModel),
                         [](const auto& kind) {
                             return kind.param == AnswerKind::kModel ? "Conference" : "Manager";
                         });

TEST_P(ModelFaultsTest, MembersThatAreMissing) {
    ExpectPieces(OnceOmitting({"seqNum", "final"}), Pieces([](Json& piece) {
                     piece.erase("seqNum");
                     piece.erase("final");
                 }));
    ExpectPieces(OnceOmitting({"seqNum", "reqType", "piece", "content", "final"}),
                 Pieces([](Json& piece) { piece.clear(); }));
}

TEST_P(ModelFaultsTest, MembersOfAnotherType) {
    ExpectPieces(OnceOfAnotherType({"seqNum", "reqType", "piece", "content", "final"}),
                 Pieces([](Json& piece) {
                     piece["seqNum"] = piece["reqType"] = piece["content"] = 7;
                     piece["piece"] = std::to_string(piece["piece"].get<unsigned int>());
                     piece["final"] = piece["final"].get<bool>() ? 1 : 0;
                 }));
}

TEST_P(ModelFaultsTest, MembersThatAreTooLong) {
    ExpectPieces(OnceTooLong({"seqNum", "reqType", "piece", "content"}), Pieces([](Json& piece) {
                     for (const char* member : {"seqNum", "reqType", "content"}) {
                         auto text = piece[member].get<std::string>();
                         text.resize(quor_simulator::kTooLongBytes, 'x');
                         piece[member] = text;
                     }
                     piece["piece"] = 1e20;
                 }));
}

TEST_P(ModelFaultsTest, AnotherNumberIsTheApplicationsToNotice) {
    ExpectPieces(OnceWithAnotherNumber(), Pieces([](Json& piece) { piece["seqNum"] = "2"; }));
}

TEST_P(ModelFaultsTest, AnAnswerThatStopsBeforeItsEnd) {
    server().SetAnswerFault(GetParam(), OnceHeld());
    ASSERT_NO_FATAL_FAILURE(Ask(GetParam(), 1));
    ASSERT_TRUE(server().WaitForHeldAnswers(1, kPatience));
    ASSERT_NO_FATAL_FAILURE(Ask(GetParam(), 2));
    ASSERT_TRUE(observer().WaitFor(AnswerId(), 2 * kPieces - 1));
    EXPECT_EQ(server().ReleaseAnswers(GetParam()), 1U);
    ASSERT_TRUE(observer().WaitFor(AnswerId(), std::size_t{2} * kPieces));
    std::vector<std::string> expected;
    for (const Json& piece : GoodPieces(1)) {
        expected.push_back(piece.dump());
    }
    for (const Json& piece : GoodPieces(2)) {
        expected.push_back(piece.dump());
    }
    std::rotate(expected.begin() + kPieces - 1, expected.begin() + kPieces, expected.end());
    EXPECT_EQ(Bodies(), expected);
}

class ModelTopicFaultsTest : public ModelFaultsTest {};

INSTANTIATE_TEST_SUITE_P(Links, ModelTopicFaultsTest, ::testing::Values(AnswerKind::kModel));

TEST_P(ModelTopicFaultsTest, AnAnswerOnAnotherTerminalsTopicDoesNotArrive) {
    server().SetAnswerFault(GetParam(), OnceForAnotherTerminal());
    ASSERT_NO_FATAL_FAILURE(Ask(GetParam(), 1));
    ASSERT_TRUE(Eventually(
        [&] { return server().GetStatistics().destinations[ChatTopic(kOtherUri)].unheard == kPieces; }));
    ExpectPieces(Once(), GoodPieces(1));
}

}  // namespace
}  // namespace quor_test
