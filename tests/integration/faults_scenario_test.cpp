// The shipped scenario of all faults of content, simulator/scenarios/faults.json.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "support/answer_faults.h"
#include "support/bodies.h"

namespace quor_test {
namespace {

using quor_simulator::AnswerKind;
using ::testing::ElementsAre;

class FaultsScenarioTest : public AnswerFaultsTest {
protected:
    static constexpr char kScenarioConference[] = "conf-faults";

    static Json ReadScenario() {
        std::ifstream file(std::string(QUOR_SCENARIO_FOLDER) + "/faults.json");
        return Json::parse(file);
    }
    void Play(const Json& scenario) {
        server().LoadScenarioText(scenario.dump());
        server().PlayScenario();
        ASSERT_TRUE(server().WaitScenarioEnd(kPatience));
    }
    // The file's steps that spoil such an answer, each to be played at once.
    static std::vector<Json> AnswerFaultSteps(const std::string& answer) {
        const Json scenario = ReadScenario();
        std::vector<Json> steps;
        for (Json step : scenario["steps"]) {
            if (step["kind"] == "answerFault" && step["answer"] == answer) {
                step["at"] = 0;
                steps.push_back(step);
            }
        }
        EXPECT_GE(steps.size(), 5U);
        return steps;
    }
    void PlayStep(const Json& step) {
        Json scenario = ReadScenario();
        scenario["steps"] = Json::array({step});
        Play(scenario);
    }
    // How many of these pieces have arrived as they should be.
    std::size_t CountPieces(TagQuorAiSubId id, const std::vector<Json>& pieces) {
        const std::vector<std::string> all = observer().All(id);
        return static_cast<std::size_t>(std::count_if(pieces.begin(), pieces.end(), [&](const Json& piece) {
            return std::any_of(all.begin(), all.end(), [&](const std::string& answer) {
                return answer.find(piece.dump()) != std::string::npos;
            });
        }));
    }
    std::string LastOf(TagQuorAiSubId id) {
        const std::vector<std::string> all = observer().All(id);
        return all.empty() ? std::string() : all.back();
    }
};

TEST_F(FaultsScenarioTest, EveryTopicsLastMessageArrives) {
    quor_simulator::Options options;
    options.speed = 1000;
    StartServer(options);
    StartTerminal(Delivery::kSerialised);
    OpenWith({Request(AI_SUB_ID_CHECKIN, kScenarioConference),
              Request(AI_SUB_ID_CAPTION, kScenarioConference, kToken, "en-US"),
              Request(AI_SUB_ID_TRANSLATION, kScenarioConference, kToken, "zh-CN"),
              Request(AI_SUB_ID_CONF_CTRL, kScenarioConference, kToken),
              Request(AI_SUB_ID_CONF_SITE, kScenarioConference, kToken),
              Request(AI_SUB_ID_CAPTION_OVERLAY, "room7", kToken)});
    ASSERT_NO_FATAL_FAILURE(Report());
    ASSERT_TRUE(WaitForLines(1, "<KelReportAbilityParseTextMessage>:result = 0"));
    observer().Clear();
    ASSERT_NO_FATAL_FAILURE(Play(ReadScenario()));
    EXPECT_EQ(server().GetScenarioResult().messagesUnheard, 0U);

    Caption last;
    last.srcLang = "en-US";
    last.text = "Hello.";
    last.uuid = "site-ana";
    last.name = "Ana Torres";
    last.startTime = last.endTime = 1.4;
    last.dstLang = "zh-CN";
    last.transText = "你好。";
    ASSERT_TRUE(Eventually([&] { return LastOf(AI_SUB_ID_CAPTION) == Bytes(ToRecord(last)); }));
    TagQuorAiConfCtrlStatusInfo overlay;
    std::memset(&overlay, 0, sizeof overlay);
    overlay.pause = 1;
    EXPECT_THAT(observer().All(AI_SUB_ID_CAPTION_OVERLAY), ElementsAre(Bytes(overlay)));
    TagQuorAiConfCtrlStatusInfo control;
    std::memset(&control, 0, sizeof control);
    control.status = control.enforce = 1;
    SetText(control.srcLang, "en-US");
    SetText(control.dstLang, "zh-CN");
    EXPECT_EQ(LastOf(AI_SUB_ID_CONF_CTRL), Bytes(control));
    // What was not dropped: without languages or with empty ones, sites without members, cut texts.
    EXPECT_EQ(observer().Count(AI_SUB_ID_CONF_CTRL), 4U);
    EXPECT_EQ(observer().Count(AI_SUB_ID_CONF_SITE), 4U);
    EXPECT_EQ(LastOf(AI_SUB_ID_CONF_SITE).size(), kQuorAiSiteHeadSize + 2 * sizeof(TagQuorAiSiteInfo));
    EXPECT_EQ(observer().Count(AI_SUB_ID_CHECKIN), 2U);
    EXPECT_EQ(observer().Count(AI_SUB_ID_CAPTION), 4U);
}

TEST_F(FaultsScenarioTest, EveryFaultOfAVerdictSpoilsOne) {
    OpenWith({});
    for (const Json& step : AnswerFaultSteps("capability")) {
        SCOPED_TRACE(step.dump());
        ASSERT_NO_FATAL_FAILURE(PlayStep(step));
        if (step.contains("hold") || step.contains("otherUri")) {  // there is none
            ASSERT_NO_FATAL_FAILURE(Report());
            EXPECT_TRUE(server().WaitForHeldAnswers(step.contains("hold") ? 1 : 0, kPatience));
        } else {
            EXPECT_NE(ReportedLines(), goodVerdict);
        }
        EXPECT_EQ(ReportedLines(), goodVerdict);
    }
}

TEST_F(FaultsScenarioTest, EveryFaultOfAModelAnswerSpoilsOne) {
    OpenWith({Request(AI_SUB_ID_LLM_RESULT_KEL, kConference, "", "", kUri)});
    ASSERT_NO_FATAL_FAILURE(OpenManagerLink());
    for (const AnswerKind kind : {AnswerKind::kModel, AnswerKind::kManagerModel}) {
        const bool manager = kind == AnswerKind::kManagerModel;
        const TagQuorAiSubId id = manager ? AI_SUB_ID_LLM_RESULT_MANAGER : AI_SUB_ID_LLM_RESULT_KEL;
        for (const Json& step : AnswerFaultSteps(manager ? "managerModel" : "model")) {
            SCOPED_TRACE(step.dump());
            ASSERT_NO_FATAL_FAILURE(PlayStep(step));
            observer().Clear();
            ASSERT_NO_FATAL_FAILURE(Ask(kind, 1));
            // Not the number that a faulty answer to the first may have.
            ASSERT_NO_FATAL_FAILURE(Ask(kind, 3));
            // Both stream at the same time, the pieces of the first always before those of the second.
            ASSERT_TRUE(Eventually([&] { return CountPieces(id, GoodPieces(3)) == kPieces; }));
            EXPECT_LT(CountPieces(id, GoodPieces(1)), kPieces);
        }
        EXPECT_EQ(server().ReleaseAnswers(kind), 1U);
    }
}

}  // namespace
}  // namespace quor_test
