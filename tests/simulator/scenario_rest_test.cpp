/* scenario_rest_test.cpp - what scenario files say about the HTTP side, and what playing them does to it. */
#include "face_fixture.h"
#include "scenario.h"

namespace quor_test {
namespace {

using quor_simulator::Error;
using quor_simulator::Milliseconds;
using quor_simulator::Options;
using quor_simulator::ParseScenario;
using quor_simulator::Scenario;

std::string WithSteps(const std::string& steps, const std::string& more = "") {
    return R"({"conference":"c","languages":["en"],"people":[{"uuid":"u2","name":"Ben","account":"b"},)"
           R"({"uuid":"u1","name":"Ana","account":"a"}],)" +
           more + R"("steps":[)" + steps + "]}";
}

const char kIdle[] = R"({"at":0,"kind":"thaw"})";

class ScenarioHttp : public HttpTest {
protected:
    void Play(const std::string& steps, const std::string& more = "") {
        simulator().LoadScenarioText(WithSteps(steps, more));
        simulator().PlayScenario();
        ASSERT_TRUE(simulator().WaitScenarioEnd(kPatience));
        EXPECT_TRUE(simulator().GetScenarioResult().finished);
    }
};

TEST(ScenarioFileHttp, PeopleBecomeTheConferenceInTheirOrder) {
    const Scenario scenario = ParseScenario(WithSteps(kIdle, R"("generate":2,)"), "test");
    ASSERT_EQ(scenario.contents.participants.size(), 4U);
    EXPECT_EQ(scenario.contents.participants[0].id, "u2");
    EXPECT_EQ(scenario.contents.participants[0].name, "Ben");
    EXPECT_EQ(scenario.contents.participants[3].id, "site-2");
    ASSERT_EQ(scenario.contents.attendees.size(), 4U);
    EXPECT_EQ(scenario.contents.attendees[1].account, "a");
    EXPECT_EQ(scenario.contents.attendees[2].account, "account-1");
    EXPECT_FALSE(scenario.contents.attendees[1].signIn);
}

TEST(ScenarioFileHttp, HistoryNamesFinishedConferences) {
    const Scenario scenario = ParseScenario(
        WithSteps(
            kIdle,
            R"("history":[{"conference":"h1","people":["u1"],"checkedIn":["u2"],"time":"T","type":"card"},)"
            R"({"conference":"h2","generate":3}],)"),
        "test");
    ASSERT_EQ(scenario.history.size(), 2U);
    const auto& first = scenario.history.at("h1").attendees;
    ASSERT_EQ(first.size(), 2U);
    EXPECT_EQ(first[0].account, "a");
    EXPECT_FALSE(first[0].signIn);
    EXPECT_EQ(first[1].account, "b");
    EXPECT_EQ(first[1].signIn->time, "T");
    EXPECT_EQ(first[1].signIn->type, "card");
    EXPECT_EQ(first[1].signIn->participantName, "Ben");
    EXPECT_EQ(scenario.history.at("h2").attendees.size(), 3U);
}

struct BadStep {
    const char* name;
    std::string text;
    std::string error;
};
class BadHttpScenario : public ::testing::TestWithParam<BadStep> {};

TEST_P(BadHttpScenario, IsRefusedWithItsPlace) {
    try {
        ParseScenario(GetParam().text, "test");
        FAIL() << "accepted";
    } catch (const Error& error) {
        EXPECT_EQ(error.what(), GetParam().error);
    }
}

const char kEndpoints[] =
    "participants, signInList, signInHistory, signInReport, accountQuery, matchReport, faceVersion, "
    "faceIdentify, faceUserPhotos, facePhotos";

INSTANTIATE_TEST_SUITE_P(
    All, BadHttpScenario,
    ::testing::Values(
        BadStep{"Endpoint", WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"x"})"),
                std::string("test: $.steps[0].endpoint: \"x\" is none of: ") + kEndpoints},
        BadStep{"NoEndpoint", WithSteps(R"({"at":0,"kind":"httpFault"})"),
                "test: $.steps[0]: member \"endpoint\" is missing"},
        BadStep{"Status", WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"participants","status":199})"),
                "test: $.steps[0].status: must be a whole number from 200 to 599"},
        BadStep{"Cut", WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"participants","cut":"x"})"),
                "test: $.steps[0].cut: \"x\" is none of: before, head, body, reset"},
        BadStep{"Content",
                WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"participants","content":"x"})"),
                "test: $.steps[0].content: \"x\" is none of: badJson, empty, notJson, otherJson, wrongTypes"},
        BadStep{"PageSize",
                WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"participants","pageSize":0})"),
                "test: $.steps[0].pageSize: must be a whole number from 1 to 1000000"},
        BadStep{"Times", WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"participants","times":0})"),
                "test: $.steps[0].times: must be a whole number from 1 to 1000000"},
        BadStep{"Flap", WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"faceVersion","flap":0})"),
                "test: $.steps[0].flap: must be a whole number from 1 to 1000000"},
        BadStep{"Port", WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"faceVersion","port":"x"})"),
                "test: $.steps[0].port: \"x\" is none of: first, second"},
        BadStep{"Results", WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"faceVersion","results":65})"),
                "test: $.steps[0].results: must be a whole number from 0 to 64"},
        BadStep{"Scores",
                WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"faceVersion","scores":[1,"x"]})"),
                "test: $.steps[0].scores[1]: must be a number"},
        BadStep{"PhotoBytes",
                WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"facePhotos","photoBytes":[0,8388609]})"),
                "test: $.steps[0].photoBytes[1]: must be a whole number from 0 to 8388608"},
        BadStep{"BadBase64",
                WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"facePhotos","badBase64":[0]})"),
                "test: $.steps[0].badBase64[0]: must be a whole number from 1 to 64"},
        BadStep{"NoBadBase64",
                WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"facePhotos","badBase64":[]})"),
                "test: $.steps[0].badBase64: must be true or name places"},
        BadStep{"FailItems",
                WithSteps(R"({"at":0,"kind":"httpFault","endpoint":"facePhotos","failItems":"2"})"),
                "test: $.steps[0].failItems: must be a whole number from 1 to 64"},
        BadStep{"Unknown", WithSteps(R"({"at":0,"kind":"httpClear","times":1})"),
                "test: $.steps[0].times: unknown member (known here: at, kind, endpoint)"},
        BadStep{"Release", WithSteps(R"({"at":0,"kind":"httpRelease","endpoint":"y"})"),
                std::string("test: $.steps[0].endpoint: \"y\" is none of: ") + kEndpoints},
        BadStep{"Participants", WithSteps(R"({"at":0,"kind":"participants","people":["nobody"]})"),
                "test: $.steps[0].people[0]: no such person: \"nobody\""},
        BadStep{"Generate", WithSteps(kIdle, R"("generate":-1,)"),
                "test: $.generate: must be a whole number from 0 to 1000000"},
        BadStep{"History", WithSteps(kIdle, R"("history":[{"people":[]}],)"),
                "test: $.history[0]: member \"conference\" is missing"},
        BadStep{"HistoryTwice", WithSteps(kIdle, R"("history":[{"conference":"h"},{"conference":"h"}],)"),
                "test: $.history[1].conference: \"h\" occurs twice"},
        BadStep{"HistoryPerson", WithSteps(kIdle, R"("history":[{"conference":"h","checkedIn":["u3"]}],)"),
                "test: $.history[0].checkedIn[0]: no such person: \"u3\""}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(ScenarioHttp, ItsConferencesAreThereBeforeItIsPlayed) {
    Options options;
    options.scenarioText =
        WithSteps(kIdle, R"("history":[{"conference":"h","checkedIn":["u1"]}],"generate":1600,)");
    Start(options);
    EXPECT_EQ(Good(ParticipantsText("c", 0))["totalElements"], 1602);
    EXPECT_EQ(Good(HistoryText("h", false))["content"][0]["participantName"], "Ana");
    simulator().LoadScenarioText(WithSteps(kIdle));
    EXPECT_EQ(Good(ParticipantsText("c", 0))["totalElements"], 2);
}

TEST_F(ScenarioHttp, CheckInStepsAreListed) {
    Start();
    Play(R"({"at":0,"kind":"checkIn","people":["u1"],"time":"T","type":"card"})");
    EXPECT_EQ(
        Good(SignInsText("c", true))["content"],
        Json::parse(
            R"([{"name":"Ana","account":"a","checkInTime":"T","type":"card","participantName":"Ana"}])"));
    EXPECT_EQ(Good(SignInsText("c", false))["content"], Json::parse(R"([{"name":"Ben","account":"b"}])"));
}

TEST_F(ScenarioHttp, ParticipantsChange) {
    Start();
    Play(
        R"({"at":0,"kind":"checkIn","people":["u1"]},{"at":1,"kind":"participants","people":["u1"],"generate":3})");
    EXPECT_EQ(Good(ParticipantsText("c", 0))["totalElements"], 4);
    EXPECT_EQ(Good(SignInsText("c", true))["totalElements"], 1); /* attendees stay what they were */
    Play(R"({"at":0,"kind":"participants"})");
    EXPECT_EQ(Good(ParticipantsText("c", 0))["totalElements"], 0);
}

TEST_F(ScenarioHttp, FaultsAreSetAndCleared) {
    Start();
    Play(R"({"at":0,"kind":"httpFault","endpoint":"participants","status":503},)"
         R"({"at":0,"kind":"httpFault","endpoint":"signInList","content":"badJson","times":1},)"
         R"({"at":0,"kind":"httpFault","endpoint":"accountQuery","omit":["checkInInfos"],"skip":1},)"
         R"({"at":0,"kind":"httpFault","endpoint":"signInReport","cut":"body"},)"
         R"({"at":0,"kind":"httpFault","endpoint":"matchReport","body":{"x":1},"delayMs":1})");
    EXPECT_EQ(Ask(ParticipantsText("c", 0)).status, 503U);
    EXPECT_FALSE(Json::accept(Ask(SignInsText("c", true)).body));
    EXPECT_TRUE(Json::accept(Ask(SignInsText("c", true)).body));
    const std::string question = AccountText("c", R"({"accountList":[]})");
    EXPECT_EQ(Ask(question).body, R"({"checkInInfos":[]})");
    EXPECT_EQ(Ask(question).body, "{}");
    EXPECT_FALSE(Ask(ReportText("c", OneReport("n", "a"))).whole);
    EXPECT_EQ(Ask(MatchText("c")).body, R"({"x":1})");

    Play(R"({"at":0,"kind":"httpClear","endpoint":"participants"})");
    EXPECT_EQ(Ask(ParticipantsText("c", 0)).status, 200U);
    EXPECT_EQ(Ask(question).body, "{}");
    Play(R"({"at":0,"kind":"httpFault","endpoint":"participants","pageSize":1},{"at":1,"kind":"httpClear"})");
    EXPECT_EQ(Good(ParticipantsText("c", 0))["content"].size(), 2U);
    EXPECT_EQ(Ask(question).body, R"({"checkInInfos":[]})");
}

TEST_F(ScenarioHttp, FaceFaultsAreSet) {
    Options options;
    options.galleryDirectory = kGalleryFolder;
    options.facePort = 0;
    Start(options);
    Play(
        R"({"at":0,"kind":"httpFault","endpoint":"faceVersion","status":302,"flap":1,"port":"first"},)"
        R"({"at":0,"kind":"httpFault","endpoint":"faceIdentify","scores":[90,75.5],"results":3},)"
        R"({"at":0,"kind":"httpFault","endpoint":"facePhotos","photoBytes":[0,1],"failItems":[3],"badBase64":[2]},)"
        R"({"at":0,"kind":"httpFault","endpoint":"faceUserPhotos","photoBytes":2,"badBase64":true})");
    EXPECT_EQ(Ask(VersionText()).status, 200U);
    EXPECT_EQ(Ask(VersionText()).status, 302U);
    HttpsClient second;
    ASSERT_TRUE(second.Connect(simulator().facePort(), simulator().caFile()));
    EXPECT_EQ(second.Ask(VersionText()).status, 200U);
    EXPECT_EQ(second.Ask(VersionText()).status, 200U);
    const Json found = Good(IdentifyText(Probe("ben.okafor")));
    EXPECT_EQ(found["results"][0]["userid"], "ben.okafor");
    EXPECT_EQ(found["results"][2]["score"], 75.5);
    const Json photos = Good(PhotosText("ben-1,ana-1,wei-1"))["results"];
    EXPECT_EQ(photos[0]["data"], "");
    EXPECT_EQ(photos[1]["data"], "*** this is no base64 ***");
    EXPECT_EQ(photos[2]["status"], "failed");
    EXPECT_EQ(Good(UserPhotosText("x"))["results"][0]["data"], "*** this is no base64 ***");
    Play(R"({"at":0,"kind":"httpFault","endpoint":"faceUserPhotos","badBase64":false})");
    EXPECT_EQ(Good(UserPhotosText("x"))["results"][0]["status"], "failed");
}

TEST_F(ScenarioHttp, HeldAnswersAreReleased) {
    Start();
    Play(R"({"at":0,"kind":"httpFault","endpoint":"participants","hold":true})");
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    ASSERT_TRUE(link.Send(ParticipantsText("c", 0)));
    ASSERT_TRUE(simulator().rest().WaitForHeld(1, kPatience));
    Play(R"({"at":0,"kind":"httpRelease","endpoint":"signInList"})");
    EXPECT_TRUE(simulator().rest().WaitForHeld(1, Milliseconds(0)));
    Play(R"({"at":0,"kind":"httpRelease"})");
    EXPECT_EQ(link.Read().status, 200U);
}

}  // namespace
}  // namespace quor_test
