// 'captions' and 'seal' against the simulator, each a process of its own.
#include <signal.h>

#include "program_fixture.h"

namespace quor_terminal {
namespace {

// One second: a check-in, an utterance with two interim texts, one without; both translated.
constexpr const char* kScenario = R"({
  "conference": "conf-test", "languages": ["en-US", "zh-CN"],
  "people": [{"uuid": "site-ana", "name": "Ana Torres", "account": "ana.torres"}],
  "steps": [
    {"at": 0, "kind": "checkIn", "people": ["site-ana"], "time": "2026-01-15 09:00:00"},
    {"at": 200, "kind": "utterance", "speaker": "site-ana", "srcLang": "en-US", "intervalMs": 200,
     "interim": ["Good", "Good morning"], "text": "Good morning.", "translations": {"zh-CN": "早上好。"}},
    {"at": 1000, "kind": "utterance", "speaker": "site-ana", "srcLang": "en-US", "text": "Thank you.",
     "translations": {"zh-CN": "谢谢。"}}]})";

constexpr std::size_t kScenarioResults = 7;
constexpr std::ptrdiff_t kTopics = 3;  // check-ins, captions, a translation

class CaptionsProgramTest : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        WriteWholeFile(directory.File("scenario.json"), kScenario);
    }

    std::vector<std::string> WithScenario() const {
        return {"--scenario", directory.File("scenario.json"), "--wait-for-subscribers", "3"};
    }

    std::vector<std::string> Captions(const SimulatorRun& simulator, const std::vector<std::string>& more,
                                      const std::string& password = "password",
                                      const std::string& token = "token") {
        std::vector<std::string> command = Base("captions", simulator, more);
        AddConference(command, password, token);
        command.insert(command.end(),
                       {"--translate", "zh-CN", "--summary-file", directory.File("summary.json")});
        return command;
    }
};

TEST_F(CaptionsProgramTest, CaptionsArriveAsTheScenarioSaysThem) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator, WithScenario()));
    StartTerminal(Captions(simulator, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] { return CountResults() >= kScenarioResults; })) << Errors();
    terminal.Signal(SIGINT);
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();

    std::vector<std::string> seen;
    for (const Json& document : Documents()) {
        if (document["kind"] == "caption") {
            EXPECT_EQ(document["speaker"], "Ana Torres");
            EXPECT_EQ(document["site"], "site-ana");
            seen.push_back((document["final"] ? "final " : "interim ") + document["text"].get<std::string>());
        } else if (document["kind"] == "translation") {
            EXPECT_EQ(document["dstLang"], "zh-CN");
            EXPECT_EQ(document["final"], true);
            seen.push_back("translation " + document["transText"].get<std::string>());
        } else if (document["kind"] == "checkin") {
            ASSERT_EQ(document["people"].size(), 1U);
            seen.push_back("checkin " + document["people"][0]["account"].get<std::string>());
        }
    }
    EXPECT_EQ(seen, (std::vector<std::string>{"checkin ana.torres", "interim Good", "interim Good morning",
                                              "final Good morning.", "translation 早上好。",
                                              "final Thank you.", "translation 谢谢。"}));
    const Json summary = SummaryDocument();
    EXPECT_EQ(summary["captions"], (Json{{"final", 2}, {"interim", 2}, {"duplicates", 0}}));
    EXPECT_EQ(summary["translations"], (Json{{"final", 2}, {"interim", 0}, {"duplicates", 0}}));
    EXPECT_EQ(summary["link"], (Json{{"connects", 1}, {"losses", 0}, {"reconnects", 0}}));
    EXPECT_EQ(summary["exitCode"], 0);
    EXPECT_NE(Errors().find("Summary"), std::string::npos);
}

TEST_F(CaptionsProgramTest, ComesBackWhenTheServerIsKilledAndStartedAgain) {
    const QuorTest::ClosedPort port;
    SimulatorRun first;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(first, {}, port.Port()));
    StartTerminal(Captions(first, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] { return SawState("up"); })) << Errors();
    first.process.Signal(SIGKILL);
    EXPECT_EQ(first.process.Wait(), 128 + SIGKILL);
    ASSERT_TRUE(WaitUntil([&] { return SawState("lost"); }));
    SimulatorRun second;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(second, WithScenario(), port.Port()));
    ASSERT_TRUE(WaitUntil([&] { return CountResults() >= kScenarioResults; })) << Errors();
    EXPECT_TRUE(SawState("recovered"));
    terminal.Signal(SIGTERM);
    EXPECT_EQ(terminal.Wait(), kExitOk);
    second.process.Signal(SIGTERM);
    EXPECT_EQ(second.process.Wait(), 0);

    EXPECT_EQ(CountResults(), kScenarioResults);
    EXPECT_EQ(SummaryDocument()["link"], (Json{{"connects", 2}, {"losses", 1}, {"reconnects", 1}}));
    // One subscription to each topic: as many copies as messages.
    const Json stats = Json::parse(ReadWholeFile(directory.File("stats.json")));
    EXPECT_EQ(stats["published"], kScenarioResults);
    EXPECT_EQ(stats["delivered"], kScenarioResults);
}

TEST_F(CaptionsProgramTest, ManyDropsLeaveOneSubscriptionEach) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Captions(simulator, {"--json"}));
    constexpr std::size_t kDrops = 3;  // few, because the waits between attempts grow
    for (std::size_t i = 0; i < kDrops; ++i) {
        ASSERT_TRUE(WaitUntil([&] {
            const std::vector<Json> documents = Documents();
            const auto ups = std::count_if(documents.begin(), documents.end(), [](const Json& d) {
                return d["kind"] == "link" && (d["state"] == "up" || d["state"] == "recovered");
            });
            return static_cast<std::size_t>(ups) == i + 1;
        })) << i
            << Errors();
        ASSERT_NO_FATAL_FAILURE(Command(simulator, "drop reset"));
    }
    ASSERT_TRUE(WaitUntil([&] {
        terminal.Signal(SIGUSR1);
        const std::string text = ReadWholeFile(directory.File("summary.json"));
        return !text.empty() && Json::parse(text)["link"]["reconnects"] == kDrops;
    }));
    // It has said so before the server knows of its subscriptions.
    ASSERT_TRUE(WaitUntil([&] {
        const std::string topics = Subscriptions(simulator);
        return std::count(topics.begin(), topics.end(), '\n') == kTopics;
    }));
    ASSERT_NO_FATAL_FAILURE(Command(simulator, "play " + directory.File("scenario.json")));
    ASSERT_TRUE(WaitUntil([&] { return CountResults() >= kScenarioResults; })) << Errors();
    terminal.Signal(SIGINT);
    EXPECT_EQ(terminal.Wait(), kExitOk);
    simulator.process.Signal(SIGTERM);
    EXPECT_EQ(simulator.process.Wait(), 0);
    EXPECT_EQ(CountResults(), kScenarioResults);
    EXPECT_EQ(Json::parse(ReadWholeFile(directory.File("stats.json")))["delivered"], kScenarioResults);
}

TEST_F(CaptionsProgramTest, CtrlCWhileWaitingForTheServerEndsInOrder) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Captions(simulator, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] { return SawState("up"); })) << Errors();
    simulator.process.Signal(SIGKILL);
    ASSERT_TRUE(WaitUntil([&] { return SawState("waiting"); }));
    terminal.Signal(SIGINT);
    EXPECT_EQ(terminal.Wait(), kExitOk);
    EXPECT_EQ(SummaryDocument()["link"]["losses"], 1);
}

TEST_F(CaptionsProgramTest, ASecondSignalEndsAtOnce) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Captions(simulator, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] { return SawState("up"); })) << Errors();
    simulator.process.Signal(SIGSTOP);  // nobody answers the good-bye
    terminal.Signal(SIGINT);
    terminal.Signal(SIGTERM);
    EXPECT_EQ(terminal.Wait(), kExitInterrupted);
    simulator.process.Signal(SIGCONT);
}

TEST_F(CaptionsProgramTest, DurationEndsTheProgram) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Captions(simulator, {"--duration", "0.2", "--wait"}));
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
}

TEST_F(CaptionsProgramTest, WrongPasswordIsRefused) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Captions(simulator, {}, "wrong"));
    EXPECT_EQ(terminal.Wait(), kExitRefused);
    EXPECT_NE(Errors().find("401"), std::string::npos) << Errors();
    EXPECT_NE(Errors().find("Check --user and the password"), std::string::npos) << Errors();
    EXPECT_EQ(Errors().find("nonsense"), std::string::npos);
    EXPECT_EQ(ReadWholeFile(directory.File("log")).find("nonsense"), std::string::npos);
}

TEST_F(CaptionsProgramTest, WrongTokenIsRefusedAfterAFewAttempts) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Captions(simulator, {}, "password", "wrong"));
    EXPECT_EQ(terminal.Wait(), kExitRefused) << Errors();
    EXPECT_NE(Errors().find("token"), std::string::npos) << Errors();
}

TEST_F(CaptionsProgramTest, UnknownCertificateIsNotTrusted) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Captions(simulator, {"--ca-file", "/etc/ssl/certs/ca-certificates.crt"}));
    const int status = terminal.Wait();
    if (std::filesystem::exists("/etc/ssl/certs/ca-certificates.crt")) {
        EXPECT_EQ(status, kExitNotTrusted) << Errors();
        EXPECT_NE(Errors().find("--ca-file"), std::string::npos) << Errors();
    } else {
        EXPECT_EQ(status, kExitFailure) << Errors();
    }
}

TEST_F(CaptionsProgramTest, NobodyThereIsUnreachable) {
    const QuorTest::ClosedPort port;
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator, {}, port.Port()));
    simulator.process.Signal(SIGTERM);
    EXPECT_EQ(simulator.process.Wait(), 0);
    StartTerminal(Captions(simulator, {}));
    EXPECT_EQ(terminal.Wait(), kExitUnreachable);
    EXPECT_NE(Errors().find("connect: "), std::string::npos) << Errors();
}

// The program ends right after the attempt, while the platform's threads may still be at it.
TEST_F(CaptionsProgramTest, FailedAttemptsEndInOrderEveryTime) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    for (int i = 0; i < 25; ++i) {
        StartTerminal(Captions(simulator, {}, "wrong"));
        ASSERT_EQ(terminal.Wait(), kExitRefused) << i << Errors();
    }
}

TEST_F(CaptionsProgramTest, AReaderThatLeavesEndsTheProgram) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator, WithScenario()));
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    terminal.Start(Captions(simulator, {}), "", directory.File("err"), -1, ends[1]);
    close(ends[1]);
    EXPECT_EQ(terminal.Wait(), kExitFailure);
    EXPECT_NE(Errors().find("standard output cannot be written"), std::string::npos) << Errors();
}

TEST_F(CaptionsProgramTest, SealedPasswordOpensWithItsKeyOnly) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    const auto seal = [&](const std::string& key, const std::string& domain, const std::string& file) {
        const int input = open(directory.File("password").c_str(), O_RDONLY | O_CLOEXEC);
        Process program;
        program.Start({QUOR_TERMINAL_PROGRAM, "seal", "--key-file", directory.File(key), "--create-key",
                       "--domain", domain},
                      directory.File(file), directory.File("err"), input);
        close(input);
        return program.Wait();
    };
    ASSERT_EQ(seal("key", "QuorUIConf", "sealed"), kExitOk) << Errors();
    ASSERT_EQ(seal("key", "QuorUILogin", "sealed-login"), kExitOk) << Errors();
    ASSERT_EQ(seal("other-key", "QuorUIConf", "foreign"), kExitOk) << Errors();
    const std::string sealed = ReadWholeFile(directory.File("sealed"));
    EXPECT_EQ(sealed.find("quor-demo"), std::string::npos);
    EXPECT_NE(sealed, ReadWholeFile(directory.File("sealed-login")));

    const auto connect = [&](const std::string& file) {
        StartTerminal(Captions(simulator,
                               {"--user", "terminal", "--sealed-password-file", directory.File(file),
                                "--key-file", directory.File("key"), "--json"},
                               ""));
        EXPECT_TRUE(WaitUntil([&] { return SawState("up") || !terminal.Running(); }));
        terminal.Signal(SIGINT);
        return terminal.Wait();
    };
    EXPECT_EQ(connect("sealed"), kExitOk) << Errors();
    EXPECT_EQ(connect("sealed-login"), kExitOk) << Errors();
    EXPECT_EQ(connect("foreign"), kExitFailure) << Errors();
    EXPECT_NE(Errors().find("--key-file"), std::string::npos) << Errors();
}

TEST_F(CaptionsProgramTest, ReadyMadeCodeNeedsNoKey) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    WriteWholeFile(directory.File("code"), "dGVybWluYWw6cXVvci1kZW1v\n");  // terminal:quor-demo
    StartTerminal(Captions(simulator, {"--code-file", directory.File("code"), "--json"}, ""));
    ASSERT_TRUE(WaitUntil([&] { return SawState("up") || !terminal.Running(); })) << Errors();
    terminal.Signal(SIGINT);
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
}

TEST_F(CaptionsProgramTest, FilesThatCannotBeReadAreNamed) {
    SimulatorRun nowhere;
    nowhere.port = 1;
    nowhere.caFile = directory.File("missing-ca");
    StartTerminal(Captions(nowhere, {}, "missing-password"));
    EXPECT_EQ(terminal.Wait(), kExitFailure);
    EXPECT_NE(Errors().find("missing-password: No such file"), std::string::npos) << Errors();
    StartTerminal(Captions(nowhere, {}, "password", "missing-token"));
    EXPECT_EQ(terminal.Wait(), kExitFailure);
    EXPECT_NE(Errors().find("missing-token: No such file"), std::string::npos) << Errors();
}

TEST_F(CaptionsProgramTest, UsageErrorsHaveTheirOwnCode) {
    StartTerminal({QUOR_TERMINAL_PROGRAM, "captions", "--server", "nonsense", "--conference", "x"});
    EXPECT_EQ(terminal.Wait(), kExitUsage);
    StartTerminal({QUOR_TERMINAL_PROGRAM, "help"});
    EXPECT_EQ(terminal.Wait(), kExitOk);
    EXPECT_NE(ReadWholeFile(directory.File("out")).find("captions"), std::string::npos);
}

}  // namespace
}  // namespace quor_terminal
