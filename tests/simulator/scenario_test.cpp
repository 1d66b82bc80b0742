/* scenario_test.cpp - scenario files: what they become, what is refused, how they are played. */
#include "scenario.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "fixture.h"

namespace quor_test {
namespace {

using nlohmann::json;
using quor_simulator::Error;
using quor_simulator::Milliseconds;
using quor_simulator::Options;
using quor_simulator::ParseScenario;
using quor_simulator::Scenario;

/* A scenario with these steps and the people and languages that the tests use. */
std::string WithSteps(const std::string& steps, const std::string& more = "") {
    return R"({"conference":"c","languages":["en","zh","fr"],"people":[)"
           R"({"uuid":"u1","name":"Ana","account":"a1"},{"uuid":"u2","name":"Ben","account":"a2"},)"
           R"({"uuid":"u3","name":"C","account":"a3"},{"uuid":"u4","name":"D","account":"a4"},)"
           R"({"uuid":"u5","name":"E","account":"a5"},{"uuid":"u6","name":"F","account":"a6"}],)" +
           more + R"("steps":[)" + steps + "]}";
}

Scenario Parse(const std::string& steps, const std::string& more = "") {
    return ParseScenario(WithSteps(steps, more), "test");
}

TEST(ScenarioFile, CheckInsOfMoreThanFiveAreSplit) {
    const Scenario scenario = Parse(R"({"at":5,"kind":"checkIn","people":["u1","u2","u3","u4","u5","u6"],)"
                                    R"("time":"T","type":"guest"})");
    ASSERT_EQ(scenario.actions.size(), 2U);
    EXPECT_EQ(scenario.actions[0].message->destination, "/topic/conferences/c/checkinservice");
    EXPECT_EQ(scenario.actions[0].at.count(), 5);
    const json first = json::parse(scenario.actions[0].message->body);
    ASSERT_EQ(first["checkInfoList"].size(), 5U);
    EXPECT_EQ(first["checkInfoList"][0], json::parse(R"({"name":"Ana","account":"a1","checkInTime":"T",)"
                                                     R"("type":"guest","participantName":"Ana"})"));
    EXPECT_EQ(json::parse(scenario.actions[1].message->body)["checkInfoList"].size(), 1U);
}

TEST(ScenarioFile, UtteranceBecomesInterimsFinalAndTranslations) {
    const Scenario scenario =
        Parse(R"({"at":1000,"kind":"utterance","speaker":"u1","srcLang":"en","intervalMs":250,)"
              R"("interim":["He","Hello"],"text":"Hello.","translations":{"zh":"Z","fr":"F"}})");
    ASSERT_EQ(scenario.actions.size(), 5U);
    const auto body = [&](std::size_t i) { return json::parse(scenario.actions[i].message->body); };
    EXPECT_EQ(body(0), json::parse(R"({"uuid":"u1","name":"Ana","text":"He","final":false,"srcLang":"en",)"
                                   R"("startTime":1.0,"endTime":1.0})"));
    EXPECT_EQ(scenario.actions[1].at.count(), 1250);
    EXPECT_EQ(body(1)["endTime"], 1.25);
    EXPECT_EQ(scenario.actions[2].at.count(), 1500);
    EXPECT_EQ(body(2)["final"], true);
    EXPECT_EQ(scenario.actions[2].message->destination, "/topic/conferences/c/subtitle/en");
    EXPECT_EQ(scenario.actions[3].message->destination, "/topic/conferences/c/subtitle/zh");
    EXPECT_EQ(body(3)["transText"], "Z");
    EXPECT_EQ(body(3)["dstLang"], "zh");
    EXPECT_EQ(body(3)["text"], "Hello.");
    EXPECT_EQ(scenario.actions[4].message->destination, "/topic/conferences/c/subtitle/fr");
}

TEST(ScenarioFile, FrameAndOmitMakeFaultyMessages) {
    const Scenario scenario =
        Parse(R"({"at":0,"kind":"utterance","speaker":"u1","srcLang":"en","text":"x",)"
              R"("omit":["final"],"frame":{"crlf":true,"binary":true,"contentType":false,)"
              R"("contentLength":"characters","messages":3,"fragments":2,"copies":2}})");
    const auto& message = *scenario.actions[0].message;
    EXPECT_FALSE(json::parse(message.body).contains("final"));
    EXPECT_TRUE(message.options.crlf);
    EXPECT_TRUE(message.options.binary);
    EXPECT_EQ(message.options.contentType, std::nullopt);
    EXPECT_EQ(message.options.contentLength, quor_simulator::ContentLength::kCharacters);
    EXPECT_EQ(message.options.messages, 3U);
    EXPECT_EQ(message.options.fragments, 2U);
    EXPECT_EQ(message.options.copies, 2U);
}

TEST(ScenarioFile, OtherTopics) {
    const Scenario scenario =
        Parse(R"({"at":0,"kind":"control","subtitleStatus":2,"srcLang":"en","dstLang":"zh","enforce":1},)"
              R"({"at":1,"kind":"control","subtitleStatus":0},)"
              R"({"at":2,"kind":"sites","type":3,"people":["u2"],"generate":1599},)"
              R"({"at":3,"kind":"overlay","terminal":"t9","uri":"u","pause":true},)"
              R"({"at":4,"kind":"message","destination":"/x","body":{"a":1}},)"
              R"({"at":5,"kind":"message","destination":"/x","body":"plain"})");
    ASSERT_EQ(scenario.actions.size(), 6U);
    EXPECT_EQ(scenario.actions[0].message->destination, "/topic/conferences/c");
    EXPECT_EQ(scenario.actions[0].message->body,
              R"({"state":{"subtitleStatus":2,"srcLang":"en","dstLang":"zh","enforce":1}})");
    EXPECT_EQ(scenario.actions[1].message->body, R"({"state":{"subtitleStatus":0}})");
    EXPECT_EQ(scenario.actions[2].message->destination, "/topic/conferences/c/participantslist/general");
    const json sites = json::parse(scenario.actions[2].message->body);
    EXPECT_EQ(sites["type"], 3);
    EXPECT_EQ(sites["size"], 1600);
    EXPECT_EQ(sites["changeList"].size(), 1600U);
    EXPECT_EQ(sites["changeList"][0], json::parse(R"({"id":"u2","name":"Ben"})"));
    EXPECT_EQ(scenario.actions[3].message->destination, "/topic/terminal/t9/subtitleoverlay");
    EXPECT_EQ(scenario.actions[3].message->body, R"({"uri":"u","pause":true})");
    EXPECT_EQ(scenario.actions[4].message->body, R"({"a":1})");
    EXPECT_EQ(scenario.actions[5].message->body, "plain");
}

TEST(ScenarioFile, ActionsAreOrderedByTimeThenByFile) {
    const Scenario scenario =
        Parse(R"({"at":9,"kind":"freeze"},{"at":2,"kind":"message","destination":"/a","body":"1"},)"
              R"({"at":2,"kind":"message","destination":"/b","body":"2"})");
    EXPECT_EQ(scenario.actions[0].message->destination, "/a");
    EXPECT_EQ(scenario.actions[1].message->destination, "/b");
    EXPECT_EQ(scenario.actions[2].at.count(), 9);
    EXPECT_EQ(scenario.period.count(), 1009);
    EXPECT_EQ(scenario.steps, 3U);
}

TEST(ScenarioFile, ShippedScenariosAreGood) {
    const std::string folder = QUOR_SCENARIO_FOLDER;
    const Scenario demo = quor_simulator::ReadScenarioFile(folder + "/demo.json");
    Milliseconds drop{0};
    for (const auto& action : demo.actions) {
        if (action.isDrop) {
            EXPECT_EQ(drop.count(), 0) << "one drop is planned";
            drop = action.at;
        } else if (drop.count() != 0) {
            EXPECT_GE(action.at - drop, Milliseconds(3000)) << "a client that comes back must miss nothing";
        }
    }
    EXPECT_GT(drop.count(), 8000);
    EXPECT_LE(demo.actions.back().at, Milliseconds(20000));
    EXPECT_LE(quor_simulator::ReadScenarioFile(folder + "/smoke.json").actions.back().at, Milliseconds(1000));
    EXPECT_LE(quor_simulator::ReadScenarioFile(folder + "/faults.json").actions.back().at,
              Milliseconds(10000));
}

struct BadScenario {
    const char* name;
    std::string text;
    std::string error; /* the message begins so */
};
class ScenarioError : public ::testing::TestWithParam<BadScenario> {};

TEST_P(ScenarioError, NamesFilePathAndReason) {
    try {
        ParseScenario(GetParam().text, "file.json");
        FAIL() << "accepted";
    } catch (const Error& error) {
        EXPECT_EQ(std::string(error.what()).substr(0, GetParam().error.size()), GetParam().error);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, ScenarioError,
    ::testing::Values(
        BadScenario{"Empty", "",
                    "file.json: [json.exception.parse_error.101] parse error at line 1, column 1"},
        BadScenario{"NoJson", "{\n\"a\":}",
                    "file.json: [json.exception.parse_error.101] parse error at line 2"},
        BadScenario{"NoObject", "[]", "file.json: $: must be an object"},
        BadScenario{"NoConference", "{}", "file.json: $: member \"conference\" is missing"},
        BadScenario{"UnknownTop", R"({"colour":1})", "file.json: $.colour: unknown member"},
        BadScenario{"NoSteps", WithSteps(""), "file.json: $.steps: must hold a step"},
        BadScenario{"NoTime", WithSteps(R"({"kind":"thaw"})"),
                    "file.json: $.steps[0]: member \"at\" is missing"},
        BadScenario{"NegativeTime", WithSteps(R"({"at":-1,"kind":"thaw"})"),
                    "file.json: $.steps[0].at: must be a whole number from 0 to 86400000"},
        BadScenario{"FractionTime", WithSteps(R"({"at":1.5,"kind":"thaw"})"),
                    "file.json: $.steps[0].at: must be a whole number"},
        BadScenario{"HugeTime", WithSteps(R"({"at":18446744073709551615,"kind":"thaw"})"),
                    "file.json: $.steps[0].at: must be a whole number"},
        BadScenario{"UnknownKind", WithSteps(R"({"at":0,"kind":"dance"})"),
                    "file.json: $.steps[0].kind: \"dance\" is none of: checkIn, utterance"},
        BadScenario{"UnknownMember", WithSteps(R"({"at":0,"kind":"thaw"},{"at":0,"kind":"thaw","x":1})"),
                    "file.json: $.steps[1].x: unknown member (known here: at, kind)"},
        BadScenario{"UnknownPerson", WithSteps(R"({"at":0,"kind":"checkIn","people":["u1","u9"]})"),
                    "file.json: $.steps[0].people[1]: no such person: \"u9\""},
        BadScenario{"NobodyChecksIn", WithSteps(R"({"at":0,"kind":"checkIn","people":[]})"),
                    "file.json: $.steps[0].people: must name somebody"},
        BadScenario{"UnknownLanguage",
                    WithSteps(R"({"at":0,"kind":"utterance","speaker":"u1","srcLang":"xx","text":"t"})"),
                    "file.json: $.steps[0].srcLang: \"xx\" is not among the languages"},
        BadScenario{"TranslationIntoItself",
                    WithSteps(R"({"at":0,"kind":"utterance","speaker":"u1","srcLang":"en","text":"t",)"
                              R"("translations":{"en":"t"}})"),
                    "file.json: $.steps[0].translations.en: is the language that is spoken"},
        BadScenario{"EmptyText",
                    WithSteps(R"({"at":0,"kind":"utterance","speaker":"u1","srcLang":"en","text":""})"),
                    "file.json: $.steps[0].text: must be a text that is not empty"},
        BadScenario{"TooManySites", WithSteps(R"({"at":0,"kind":"sites","people":["u1"],"generate":1600})"),
                    "file.json: $.steps[0]: must name or generate 1 to 1600 sites"},
        BadScenario{"BadDrop", WithSteps(R"({"at":0,"kind":"drop","how":"gently"})"),
                    "file.json: $.steps[0].how: \"gently\" is none of: closeFrame, noCloseFrame, reset"},
        BadScenario{"BadForm", WithSteps(R"({"at":0,"kind":"malformed","form":"x"})"),
                    "file.json: $.steps[0].form: \"x\" is none of: noHeaderEnd"},
        BadScenario{"RefuseBoth", WithSteps(R"({"at":0,"kind":"refuse","status":500,"connect":"x"})"),
                    "file.json: $.steps[0]: needs either \"status\" or \"connect\""},
        BadScenario{"FlagIsNumber", WithSteps(R"({"at":0,"kind":"muteHeartBeats","mute":1})"),
                    "file.json: $.steps[0].mute: must be true or false"},
        BadScenario{"PersonTwice",
                    R"({"conference":"c","languages":["en"],"steps":[],"people":[)"
                    R"({"uuid":"u","name":"a","account":"b"},{"uuid":"u","name":"a","account":"b"}]})",
                    "file.json: $.people[1].uuid: \"u\" occurs twice"}),
    [](const auto& test) { return std::string(test.param.name); });

class ScenarioPlay : public SimulatorTest {
protected:
    void StartWith(const std::string& steps, const std::string& more = "", double speed = 1.0) {
        Options options;
        options.scenarioText = WithSteps(steps, more);
        options.speed = speed;
        Start(options);
        ASSERT_TRUE(Connect(client));
        ASSERT_TRUE(Subscribe(client, "1", "/topic/conferences/c/subtitle/en"));
    }
    RawClient client;
};

constexpr char kTwoUtterances[] =
    R"({"at":0,"kind":"utterance","speaker":"u1","srcLang":"en","text":"one","translations":{"zh":"Z"}},)"
    R"({"at":3600000,"kind":"utterance","speaker":"u2","srcLang":"en","text":"two"})";

TEST_F(ScenarioPlay, PublishesAndCounts) {
    StartWith(kTwoUtterances, "", 1e6);
    simulator().PlayScenario();
    EXPECT_EQ(json::parse(client.ReadFrame()->body)["text"], "one");
    EXPECT_EQ(json::parse(client.ReadFrame()->body)["text"], "two");
    ASSERT_TRUE(simulator().WaitScenarioEnd(kPatience));
    const auto result = simulator().GetScenarioResult();
    EXPECT_TRUE(result.finished);
    EXPECT_EQ(result.actionsPlayed, 3U);
    EXPECT_EQ(result.messagesPublished, 2U);
    EXPECT_EQ(result.messagesUnheard, 1U);
}

TEST_F(ScenarioPlay, CanBeStoppedAndPlayedAgain) {
    StartWith(kTwoUtterances);
    EXPECT_TRUE(simulator().WaitScenarioEnd(Milliseconds(0)));
    for (int round = 0; round < 3; ++round) {
        simulator().PlayScenario();
        EXPECT_THROW(simulator().PlayScenario(), Error);
        EXPECT_EQ(json::parse(client.ReadFrame()->body)["text"], "one");
        EXPECT_FALSE(simulator().WaitScenarioEnd(Milliseconds(0)));
        simulator().StopScenario();
        EXPECT_TRUE(simulator().WaitScenarioEnd(Milliseconds(0)));
        EXPECT_FALSE(simulator().GetScenarioResult().finished);
    }
}

TEST_F(ScenarioPlay, RepeatsRounds) {
    StartWith(R"({"at":0,"kind":"message","destination":"/topic/conferences/c/subtitle/en","body":"x"})",
              R"("repeat":4,"periodMs":10,)");
    simulator().PlayScenario();
    for (int i = 0; i < 4; ++i) {
        ASSERT_TRUE(client.ReadFrame());
    }
    ASSERT_TRUE(simulator().WaitScenarioEnd(kPatience));
    EXPECT_EQ(simulator().GetScenarioResult().messagesPublished, 4U);
}

TEST_F(ScenarioPlay, FaultStepsTakeEffect) {
    StartWith(R"({"at":0,"kind":"malformed","form":"unknownCommand"},)"
              R"({"at":1,"kind":"freeze"},{"at":2,"kind":"thaw"},)"
              R"({"at":3,"kind":"slow","bytesPerSecond":0},{"at":4,"kind":"muteHeartBeats"},)"
              R"({"at":5,"kind":"tokens","accept":["new"]},)"
              R"({"at":6,"kind":"refuse","status":503,"times":1},)"
              R"({"at":7,"kind":"refuse","connect":"no","times":1},)"
              R"({"at":8,"kind":"certificate","use":"expired"},)"
              R"({"at":9,"kind":"drop","code":4000,"reason":"x"})");
    simulator().PlayScenario();
    EXPECT_EQ(client.ReadFrame()->command, "MESSENGER");
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_EQ(client.closeCode(), 4000);
    ASSERT_TRUE(simulator().WaitScenarioEnd(kPatience));
    EXPECT_EQ(simulator().GetScenarioResult().linkDrops, 1U);
    const auto status = [&] {
        RawClient next;
        return next.Connect(simulator().port(), simulator().caFile()).status;
    };
    EXPECT_EQ(status(), 0U); /* the certificate */
    simulator().UseCertificate(quor_simulator::Certificate::kGood);
    EXPECT_EQ(status(), 503U);
    RawClient refused;
    EXPECT_FALSE(Connect(refused));
    RawClient next;
    ASSERT_TRUE(Connect(next));
    EXPECT_FALSE(Subscribe(next, "1", "/topic/conferences/c", "token:old\n"));
}

TEST_F(ScenarioPlay, NeedsAScenarioAndARunningSimulator) {
    Start();
    EXPECT_THROW(simulator().PlayScenario(), Error);
    EXPECT_THROW(simulator().LoadScenarioFile("/nonexistent"), Error);
    simulator().LoadScenarioText(WithSteps(R"({"at":0,"kind":"thaw"})"));
    simulator().PlayScenario();
    EXPECT_TRUE(simulator().WaitScenarioEnd(kPatience));
    simulator().Stop();
    EXPECT_THROW(simulator().PlayScenario(), Error);
}

}  // namespace
}  // namespace quor_test
