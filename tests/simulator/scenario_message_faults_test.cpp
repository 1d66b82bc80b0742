/* scenario_message_faults_test.cpp - faulty messages and answers in scenario files. */
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "fixture.h"
#include "scenario.h"

namespace quor_test {
namespace {

using nlohmann::json;
using quor_simulator::Error;
using quor_simulator::ParseScenario;

std::string WithSteps(const std::string& steps) {
    return R"({"conference":"c","languages":["en","zh"],"people":[{"uuid":"u1","name":"Ana","account":"a1"},)"
           R"({"uuid":"u2","name":"Ben","account":"a2"}],"steps":[)" +
           steps + "]}";
}

/* The bodies of the messages of one step, which is given without its time. */
std::vector<std::string> BodiesOf(const std::string& step) {
    std::vector<std::string> bodies;
    for (const auto& action : ParseScenario(WithSteps("{\"at\":0," + step + "}"), "test").actions) {
        bodies.push_back(action.message->body);
    }
    return bodies;
}

std::string BodyOf(const std::string& step) {
    const std::vector<std::string> bodies = BodiesOf(step);
    return bodies.size() == 1 ? bodies[0] : "not one message";
}

std::string X(std::size_t count) {
    return std::string(count, 'x');
}

TEST(ScenarioMessageFault, OfAControlMessage) {
    const std::string step =
        R"("kind":"control","subtitleStatus":2,"srcLang":"en","dstLang":"zh","enforce":1,)";
    EXPECT_EQ(BodyOf(step + R"("omit":["subtitleStatus","dstLang"])"),
              R"({"state":{"srcLang":"en","enforce":1}})");
    EXPECT_EQ(BodyOf(step + R"("omit":["state"])"), "{}");
    EXPECT_EQ(BodyOf(step + R"("wrongType":["enforce","srcLang"])"),
              R"({"state":{"subtitleStatus":2,"srcLang":7,"dstLang":"zh","enforce":"1"}})");
    EXPECT_EQ(BodyOf(step + R"("tooLong":["srcLang"],"length":16)"),
              R"({"state":{"subtitleStatus":2,"srcLang":"en)" + X(14) + R"(","dstLang":"zh","enforce":1}})");
}

TEST(ScenarioMessageFault, OfASitesMessage) {
    EXPECT_EQ(BodyOf(R"("kind":"sites","people":["u1"],"omit":["size","id"])"),
              R"({"type":0,"changeList":[{"name":"Ana"}]})");
    EXPECT_EQ(BodyOf(R"("kind":"sites","people":["u1"],"wrongType":["changeList"])"),
              R"({"type":0,"size":1,"changeList":"[{\"id\":\"u1\",\"name\":\"Ana\"}]"})");
    const json sites =
        json::parse(BodyOf(R"("kind":"sites","generate":1600,"tooLong":["changeList","name"])"));
    EXPECT_EQ(sites["size"], 1601);
    ASSERT_EQ(sites["changeList"].size(), 1601U);
    EXPECT_EQ(sites["changeList"][1600], json({{"id", "site-1600"}, {"name", "Site 1600" + X(4991)}}));
    EXPECT_EQ(json::parse(BodyOf(R"("kind":"sites","people":["u1"],"tooLong":["changeList"],"entries":3)")),
              json::parse(R"({"type":0,"size":3,"changeList":[{"id":"u1","name":"Ana"},)"
                          R"({"id":"u1","name":"Ana"},{"id":"u1","name":"Ana"}]})"));
}

TEST(ScenarioMessageFault, OfAnOverlayMessage) {
    const std::string step = R"("kind":"overlay","terminal":"t","uri":"sip:a","pause":true,)";
    EXPECT_EQ(BodyOf(step + R"("omit":["uri"])"), R"({"pause":true})");
    EXPECT_EQ(BodyOf(step + R"("wrongType":["pause"])"), R"({"uri":"sip:a","pause":1})");
    EXPECT_EQ(BodyOf(step + R"("tooLong":["uri"],"length":7)"), R"({"uri":"sip:axx","pause":true})");
    EXPECT_EQ(BodyOf(step + R"("otherUri":"sip:b")"), R"({"uri":"sip:b","pause":true})");
}

TEST(ScenarioMessageFault, OfACheckInWhichHappensAllTheSame) {
    const std::string step = R"("kind":"checkIn","people":["u1"],"time":"T",)";
    EXPECT_EQ(BodyOf(step + R"("omit":["participantName"],"wrongType":["type"])"),
              R"({"checkInfoList":[{"name":"Ana","account":"a1","checkInTime":"T","type":7}]})");
    EXPECT_EQ(
        json::parse(BodyOf(step + R"("tooLong":["checkInfoList"],"entries":6)"))["checkInfoList"].size(), 6U);
    EXPECT_TRUE(
        ParseScenario(WithSteps("{\"at\":0," + step + R"("omit":["name"]})"), "test").actions[0].rest);
}

TEST(ScenarioMessageFault, OfAllMessagesOfAnUtterance) {
    const std::vector<std::string> bodies =
        BodiesOf(R"("kind":"utterance","speaker":"u1","srcLang":"en","interim":["H"],"text":"Hi",)"
                 R"("translations":{"zh":"Z"},"omit":["final"],"wrongType":["transText"],)"
                 R"("tooLong":["text"],"length":3)");
    ASSERT_EQ(bodies.size(), 3U);
    EXPECT_EQ(bodies[0],
              R"({"uuid":"u1","name":"Ana","text":"Hxx","srcLang":"en","startTime":0.0,"endTime":0.0})");
    EXPECT_EQ(json::parse(bodies[1])["text"], "Hix");
    EXPECT_EQ(json::parse(bodies[2])["transText"], 7);
    for (const std::string& body : bodies) {
        EXPECT_FALSE(json::parse(body).contains("final")) << body;
    }
}

struct BadFault {
    const char* name;
    std::string step;
    std::string error;
};
class ScenarioMessageFaultError : public ::testing::TestWithParam<BadFault> {};

TEST_P(ScenarioMessageFaultError, NamesPathAndReason) {
    try {
        ParseScenario(WithSteps("{\"at\":0," + GetParam().step + "}"), "f");
        FAIL() << "accepted";
    } catch (const Error& error) {
        EXPECT_EQ(std::string(error.what()).substr(0, GetParam().error.size()), GetParam().error);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, ScenarioMessageFaultError,
    ::testing::Values(
        BadFault{"Control", R"("kind":"control","subtitleStatus":1,"omit":["state","colour"])",
                 "f: $.steps[0].omit[1]: the message has no member \"colour\" (it has: state)"},
        BadFault{
            "Sites", R"("kind":"sites","people":["u1"],"wrongType":["uri"])",
            "f: $.steps[0].wrongType[0]: the message has no member \"uri\" (it has: changeList, id, name, "},
        BadFault{"Overlay", R"("kind":"overlay","terminal":"t","uri":"u","pause":true,"tooLong":["pause"])",
                 "f: $.steps[0].tooLong[0]: \"pause\" cannot be made longer"},
        BadFault{"CheckIn", R"("kind":"checkIn","people":["u1"],"omit":["name"],"tooLong":["name"])",
                 "f: $.steps[0].tooLong[0]: \"name\" is named twice"},
        BadFault{"Utterance",
                 R"("kind":"utterance","speaker":"u1","srcLang":"en","text":"t","omit":["transText"])",
                 "f: $.steps[0].omit[0]: the message has no member \"transText\""},
        BadFault{"OtherUri", R"("kind":"control","subtitleStatus":1,"otherUri":"u")",
                 "f: $.steps[0].otherUri: the message names no terminal: it has no member \"uri\""},
        BadFault{"Length", R"("kind":"control","subtitleStatus":1,"length":0)",
                 "f: $.steps[0].length: must be a whole number from 1 to 1000000"},
        BadFault{"Entries", R"("kind":"control","subtitleStatus":1,"entries":10001)",
                 "f: $.steps[0].entries: must be a whole number from 1 to 10000"},
        BadFault{
            "Unknown", R"("kind":"control","subtitleStatus":1,"hold":true)",
            "f: $.steps[0].hold: unknown member (known here: at, kind, subtitleStatus, srcLang, dstLang, "
            "enforce, frame, omit, wrongType, tooLong, length, entries, otherUri)"},
        BadFault{"Answer", R"("kind":"answerFault","answer":"face")",
                 "f: $.steps[0].answer: \"face\" is none of: capability, model, managerModel"},
        BadFault{"NoAnswer", R"("kind":"answerFault","hold":true)",
                 "f: $.steps[0]: member \"answer\" is missing"},
        BadFault{
            "AnswerMember", R"("kind":"answerFault","answer":"model","omit":["final","result"])",
            "f: $.steps[0].omit[1]: the message has no member \"result\" (it has: content, final, piece, "
            "reqType, seqNum)"},
        BadFault{"AnswerFlag", R"("kind":"answerFault","answer":"managerModel","tooLong":["final"])",
                 "f: $.steps[0].tooLong[0]: \"final\" cannot be made longer"},
        BadFault{"NoTerminal", R"("kind":"answerFault","answer":"managerModel","otherUri":"u")",
                 "f: $.steps[0].otherUri: a management link names no terminal"},
        BadFault{"NoNumber", R"("kind":"answerFault","answer":"capability","otherNumber":true)",
                 "f: $.steps[0].otherNumber: the answer to a capability report has no sequence number"},
        BadFault{"Times", R"("kind":"answerFault","answer":"model","times":0)",
                 "f: $.steps[0].times: must be a whole number from 1 to 1000000"},
        BadFault{"Release", R"("kind":"answerRelease","answer":"x")",
                 "f: $.steps[0].answer: \"x\" is none of"},
        BadFault{"Clear", R"("kind":"answerClear","x":1)", "f: $.steps[0].x: unknown member"}),
    [](const auto& test) { return std::string(test.param.name); });

class ScenarioAnswerFault : public SimulatorTest {
protected:
    void Play(const std::string& steps) {
        simulator().LoadScenarioText(WithSteps(steps));
        simulator().PlayScenario();
        ASSERT_TRUE(simulator().WaitScenarioEnd(kPatience));
    }
    std::optional<StompFrame> Report(RawClient& client) {
        client.SendFrame("SEND\ndestination:/terminal/parameter\ntoken:t\nuri:u\n\n{}");
        return client.ReadFrame();
    }
};

TEST_F(ScenarioAnswerFault, StandsUntilItIsUsedUpOrCleared) {
    Start();
    RawClient client;
    ASSERT_TRUE(Connect(client));
    Play(R"({"at":0,"kind":"answerFault","answer":"capability","wrongType":["result"],"skip":1,"times":1})");
    EXPECT_EQ(Report(client)->body, R"({"result":0})");
    EXPECT_EQ(Report(client)->body, R"({"result":"0"})");
    EXPECT_EQ(Report(client)->body, R"({"result":0})");
    Play(R"({"at":0,"kind":"answerFault","answer":"capability","omit":["result"]})");
    EXPECT_EQ(Report(client)->body, "{}");
    Play(R"({"at":0,"kind":"answerClear","answer":"model"})");
    EXPECT_EQ(Report(client)->body, "{}");
    Play(R"({"at":0,"kind":"answerClear"})");
    EXPECT_EQ(Report(client)->body, R"({"result":0})");
}

TEST_F(ScenarioAnswerFault, HeldAnswersAreReleased) {
    Start();
    RawClient client;
    ASSERT_TRUE(Connect(client));
    Play(R"({"at":0,"kind":"answerFault","answer":"capability","hold":true,"times":1})");
    client.SendFrame("SEND\ndestination:/terminal/parameter\ntoken:t\nuri:u\n\n{}");
    ASSERT_TRUE(simulator().WaitForHeldAnswers(1, kPatience));
    Play(R"({"at":0,"kind":"answerRelease","answer":"model"})");
    EXPECT_TRUE(simulator().WaitForHeldAnswers(1, quor_simulator::Milliseconds(0)));
    Play(R"({"at":0,"kind":"answerRelease"})");
    EXPECT_EQ(client.ReadFrame()->body, R"({"result":0})");
}

}  // namespace
}  // namespace quor_test
