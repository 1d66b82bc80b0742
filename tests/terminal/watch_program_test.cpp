// 'watch' against the simulator, each a process of its own.
#include <signal.h>

#include "program_fixture.h"

namespace quor_terminal {
namespace {

// Everything that a conference pushes, once or more; one of the overlay switches is another terminal's.
constexpr const char* kScenario = R"({
  "conference": "conf-test", "languages": ["en-US", "zh-CN"],
  "people": [{"uuid": "site-ana", "name": "Ana Torres", "account": "ana.torres"}],
  "steps": [
    {"at": 0, "kind": "sites", "people": ["site-ana"], "generate": 2, "type": 1},
    {"at": 50, "kind": "checkIn", "people": ["site-ana"], "time": "2026-01-15 09:00:00"},
    {"at": 100, "kind": "control", "subtitleStatus": 1, "srcLang": "en-US", "dstLang": "zh-CN", "enforce": 1},
    {"at": 150, "kind": "overlay", "terminal": "room7", "uri": "sip:another@example.org", "pause": true},
    {"at": 200, "kind": "overlay", "terminal": "room7", "uri": "sip:room7@example.org", "pause": true},
    {"at": 250, "kind": "utterance", "speaker": "site-ana", "srcLang": "en-US", "text": "Good morning.",
     "translations": {"zh-CN": "早上好。"}},
    {"at": 500, "kind": "overlay", "terminal": "room7", "uri": "sip:room7@example.org", "pause": false},
    {"at": 550, "kind": "control", "subtitleStatus": 0}]})";

constexpr std::size_t kResults = 8;   // documents with an id
constexpr std::size_t kMessages = 9;  // of the server: the other terminal's switch makes no result
constexpr const char* kSubscribers = "6";

class WatchProgramTest : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        WriteWholeFile(directory.File("scenario.json"), kScenario);
    }

    std::vector<std::string> WithScenario() const {
        return {"--scenario", directory.File("scenario.json"), "--wait-for-subscribers", kSubscribers};
    }

    std::vector<std::string> Watch(const SimulatorRun& simulator, const std::vector<std::string>& more,
                                   const std::string& token = "token") {
        std::vector<std::string> command = Base("watch", simulator, more);
        AddConference(command, "password", token);
        command.insert(command.end(),
                       {"--translate", "zh-CN", "--terminal", "room7", "--uri", "sip:room7@example.org",
                        "--summary-file", directory.File("summary.json")});
        return command;
    }

    void StopBoth(SimulatorRun& simulator) {
        terminal.Signal(SIGTERM);
        EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
        simulator.process.Signal(SIGTERM);
        EXPECT_EQ(simulator.process.Wait(), 0);
    }

    Json ServerStatistics() const { return Json::parse(ReadWholeFile(directory.File("stats.json"))); }
};

constexpr const char* kTopics =
    "/topic/conferences/conf-test/checkinservice\n"
    "/topic/conferences/conf-test/subtitle/en-US\n"
    "/topic/conferences/conf-test/subtitle/zh-CN\n"
    "/topic/conferences/conf-test\n"
    "/topic/conferences/conf-test/participantslist/general\n"
    "/topic/terminal/room7/subtitleoverlay\n";

TEST_F(WatchProgramTest, EachKindOfResultIsADocumentOfItsOwn) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator, WithScenario()));
    StartTerminal(Watch(simulator, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] { return CountResults() >= kResults; })) << Errors();
    StopBoth(simulator);

    EXPECT_EQ(DocumentsOf("control"), (std::vector<Json>{{{"id", 2},
                                                          {"kind", "control"},
                                                          {"status", 1},
                                                          {"srcLang", "en-US"},
                                                          {"dstLang", "zh-CN"},
                                                          {"enforce", 1}},
                                                         {{"id", 2},
                                                          {"kind", "control"},
                                                          {"status", 0},
                                                          {"srcLang", ""},
                                                          {"dstLang", ""},
                                                          {"enforce", -1}}}));
    const std::vector<Json> sites = DocumentsOf("sites");
    ASSERT_EQ(sites.size(), 1U);
    EXPECT_EQ(sites[0]["id"], 3);
    EXPECT_EQ(sites[0]["type"], 1);
    EXPECT_EQ(sites[0]["count"], 3);
    ASSERT_EQ(sites[0]["sites"].size(), 3U);
    EXPECT_EQ(sites[0]["sites"][0], (Json{{"id", "site-ana"}, {"name", "Ana Torres"}}));
    EXPECT_EQ(DocumentsOf("overlay"), (std::vector<Json>{{{"id", 4}, {"kind", "overlay"}, {"pause", true}},
                                                         {{"id", 4}, {"kind", "overlay"}, {"pause", false}}}))
        << "the other terminal's switch does not act here";
    ASSERT_EQ(DocumentsOf("checkin").size(), 1U);
    EXPECT_EQ(DocumentsOf("checkin")[0]["people"][0]["account"], "ana.torres");
    ASSERT_EQ(DocumentsOf("caption").size(), 1U);
    EXPECT_EQ(DocumentsOf("caption")[0]["text"], "Good morning.");
    ASSERT_EQ(DocumentsOf("translation").size(), 1U);
    EXPECT_EQ(DocumentsOf("translation")[0]["transText"], "早上好。");

    const Json summary = SummaryDocument();
    EXPECT_EQ(summary["control"], (Json{{"messages", 2}}));
    EXPECT_EQ(summary["sites"], (Json{{"messages", 1}, {"sites", 3}}));
    EXPECT_EQ(summary["overlay"], (Json{{"messages", 2}}));
    EXPECT_EQ(summary["unreadable"], 0);
    EXPECT_NE(Errors().find("3 sites in 1 messages"), std::string::npos) << Errors();
    EXPECT_EQ(ServerStatistics()["delivered"], kMessages);
}

TEST_F(WatchProgramTest, PlainLinesSayWhatChanged) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator, WithScenario()));
    StartTerminal(Watch(simulator, {}));
    ASSERT_TRUE(WaitUntil([&] { return Output().find("captions off") != std::string::npos; })) << Errors();
    StopBoth(simulator);
    std::vector<std::string> lines;
    std::istringstream text(Output());
    constexpr std::size_t kTimeColumns = 10;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line.substr(std::min(kTimeColumns, line.size())));
    }
    ASSERT_EQ(lines.size(), kResults) << Output();
    EXPECT_EQ(lines[0].rfind("                  sites     3 sites (type 1): Ana Torres, ", 0), 0U)
        << lines[0];
    EXPECT_EQ(lines[1], "Ana Torres        check-in  ana.torres  2026-01-15 09:00:00");
    EXPECT_EQ(lines[2], "                  control   captions on, en-US to zh-CN, enforced");
    EXPECT_EQ(lines[3], "                  overlay   captions paused on this terminal");
    EXPECT_EQ(lines[4], "Ana Torres        en-US     Good morning.");
    EXPECT_EQ(lines[5], "Ana Torres        zh-CN     早上好。");
    EXPECT_EQ(lines[6], "                  overlay   captions shown on this terminal");
    EXPECT_EQ(lines[7], "                  control   captions off");
}

TEST_F(WatchProgramTest, AfterARestartOfTheServerEverythingIsSubscribedAgainOnceInTheSameOrder) {
    const QuorTest::ClosedPort port;
    SimulatorRun first;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(first, {}, port.Port()));
    StartTerminal(Watch(first, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] { return SawState("up"); })) << Errors();
    EXPECT_TRUE(WaitUntil([&] { return Subscriptions(first) == kTopics; })) << Subscriptions(first);
    first.process.Signal(SIGKILL);
    EXPECT_EQ(first.process.Wait(), 128 + SIGKILL);
    ASSERT_TRUE(WaitUntil([&] { return SawState("lost"); }));
    SimulatorRun second;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(second, WithScenario(), port.Port()));
    ASSERT_TRUE(WaitUntil([&] { return CountResults() >= kResults; })) << Errors();
    EXPECT_TRUE(SawState("recovered"));
    EXPECT_EQ(Subscriptions(second), kTopics);
    StopBoth(second);

    EXPECT_EQ(CountResults(), kResults);
    EXPECT_EQ(DocumentsOf("overlay").size(), 2U) << "it knows its own uri again";
    EXPECT_EQ(SummaryDocument()["link"], (Json{{"connects", 2}, {"losses", 1}, {"reconnects", 1}}));
    EXPECT_EQ(ServerStatistics()["delivered"], kMessages) << "one subscription to each topic";
    EXPECT_EQ(ServerStatistics()["destinations"]["/terminal/parameter"]["received"], 1) << "the report too";
}

TEST_F(WatchProgramTest, TheCapabilityReportIsSentFirstAndItsReplyIsOnlyLogged) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Watch(simulator, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] {
        return ReadWholeFile(directory.File("log")).find("<KelReportAbilityParseTextMessage>:result = 0") !=
               std::string::npos;
    })) << Errors();
    StopBoth(simulator);
    const std::string log = ReadWholeFile(directory.File("log"));
    EXPECT_LT(log.find("<KelSetAbilityReportBody> success."), log.find("<KelStompSubscribeCheckin> in"));
    EXPECT_EQ(ServerStatistics()["destinations"]["/terminal/parameter"]["received"], 1);
    EXPECT_EQ(CountResults(), 0U);
}

TEST_F(WatchProgramTest, AWrongTokenIsRefused) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Watch(simulator, {}, "wrong"));
    EXPECT_EQ(terminal.Wait(), kExitRefused) << Errors();
    EXPECT_NE(Errors().find("check --conference and the token"), std::string::npos) << Errors();
}

TEST_F(WatchProgramTest, SixteenHundredSitesAreOneDocumentAndMoreAreNone) {
    SimulatorRun simulator;
    WriteWholeFile(directory.File("many.json"), R"({
  "conference": "conf-test", "languages": ["en-US"], "people": [],
  "steps": [{"at": 0, "kind": "sites", "generate": 1600, "type": 4}]})");
    ASSERT_NO_FATAL_FAILURE(StartSimulator(
        simulator, {"--scenario", directory.File("many.json"), "--wait-for-subscribers", kSubscribers}));
    StartTerminal(Watch(simulator, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] { return !DocumentsOf("sites").empty(); })) << Errors();
    ASSERT_NO_FATAL_FAILURE(Command(simulator,
                                    "publish /topic/conferences/conf-test/participantslist/general "
                                    R"({"type":1,"size":1601,"changeList":[]})"));
    ASSERT_NO_FATAL_FAILURE(Command(simulator,
                                    "publish /topic/conferences/conf-test/participantslist/general "
                                    R"({"type":5,"size":1,"changeList":[{"id":"a","name":"A"}]})"));
    ASSERT_TRUE(WaitUntil([&] { return DocumentsOf("sites").back()["type"] == 5; })) << Errors();
    StopBoth(simulator);
    const std::vector<Json> sites = DocumentsOf("sites");
    ASSERT_EQ(sites.size(), 2U);
    EXPECT_EQ(sites[0]["count"], 1600);
    EXPECT_EQ(sites[0]["sites"].size(), 1600U);
}

}  // namespace
}  // namespace quor_terminal
