// The program against the simulator, each a process of its own, over TLS on the loopback interface.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "exit_codes.h"
#include "process.h"

namespace quor_terminal {
namespace {

using Json = nlohmann::json;

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

struct SimulatorRun {
    Process process;
    int port = 0;
    std::string caFile;
    int commands = -1;  // write end of its standard input

    ~SimulatorRun() {
        if (commands >= 0) {
            close(commands);
        }
    }
};

class ProgramTest : public testing::Test {
protected:
    void SetUp() override {
        WriteWholeFile(directory.File("scenario.json"), kScenario);
        WriteWholeFile(directory.File("password"), "quor-demo\n");
        WriteWholeFile(directory.File("token"), "good-token\n");
        WriteWholeFile(directory.File("wrong"), "nonsense\n");
    }

    void StartSimulator(SimulatorRun& run, std::vector<std::string> more = {}, int port = 0) {
        const std::string ready = directory.File("ready.json");
        std::filesystem::remove(ready);
        std::vector<std::string> command = {QUOR_SIMULATOR_PROGRAM,
                                            "--port",
                                            std::to_string(port),
                                            "--state-dir",
                                            directory.File("server"),
                                            "--token",
                                            "good-token",
                                            "--ready-file",
                                            ready,
                                            "--stats-file",
                                            directory.File("stats.json")};
        command.insert(command.end(), more.begin(), more.end());
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        run.process.Start(command, directory.File("simulator.out"), directory.File("simulator.err"), ends[0]);
        close(ends[0]);
        run.commands = ends[1];
        ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(ready) || !run.process.Running(); }));
        ASSERT_TRUE(run.process.Running()) << ReadWholeFile(directory.File("simulator.err"));
        const Json document = Json::parse(ReadWholeFile(ready));
        run.port = document["port"];
        run.caFile = document["caFile"];
    }

    std::vector<std::string> WithScenario() const {
        return {"--scenario", directory.File("scenario.json"), "--wait-for-subscribers", "3"};
    }

    // Options given later override none of these: a test leaves out what it gives itself.
    std::vector<std::string> Command(const SimulatorRun& simulator, const std::vector<std::string>& more,
                                     const std::string& password = "password",
                                     const std::string& token = "token") {
        std::vector<std::string> command = {QUOR_TERMINAL_PROGRAM,
                                            "captions",
                                            "--server",
                                            "localhost:" + std::to_string(simulator.port),
                                            "--conference",
                                            "conf-test",
                                            "--translate",
                                            "zh-CN",
                                            "--token-file",
                                            directory.File(token),
                                            "--summary-file",
                                            directory.File("summary.json"),
                                            "--log-file",
                                            directory.File("log")};
        if (!password.empty()) {
            command.insert(command.end(),
                           {"--user", "terminal", "--password-file", directory.File(password)});
        }
        if (std::find(more.begin(), more.end(), "--ca-file") == more.end()) {
            command.insert(command.end(), {"--ca-file", simulator.caFile});
        }
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }

    void StartTerminal(const std::vector<std::string>& command) {
        terminal.Start(command, directory.File("out"), directory.File("err"));
    }

    std::vector<Json> Documents() const {
        std::vector<Json> documents;
        std::istringstream lines(ReadWholeFile(directory.File("out")));
        for (std::string line; std::getline(lines, line) && !lines.eof();) {
            documents.push_back(Json::parse(line));
        }
        return documents;
    }
    std::size_t CountResults() const {
        const std::vector<Json> documents = Documents();
        return static_cast<std::size_t>(std::count_if(documents.begin(), documents.end(),
                                                      [](const Json& d) { return d.contains("id"); }));
    }
    bool SawState(const std::string& state) const {
        const std::vector<Json> documents = Documents();
        return std::any_of(documents.begin(), documents.end(),
                           [&](const Json& d) { return d["kind"] == "link" && d["state"] == state; });
    }
    std::string Errors() const { return ReadWholeFile(directory.File("err")); }
    Json SummaryDocument() const { return Json::parse(ReadWholeFile(directory.File("summary.json"))); }

    TemporaryDirectory directory;
    Process terminal;
};

TEST_F(ProgramTest, CaptionsArriveAsTheScenarioSaysThem) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator, WithScenario()));
    StartTerminal(Command(simulator, {"--json"}));
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

TEST_F(ProgramTest, ComesBackWhenTheServerIsKilledAndStartedAgain) {
    SimulatorRun first;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(first));
    StartTerminal(Command(first, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] { return SawState("up"); })) << Errors();
    first.process.Signal(SIGKILL);
    EXPECT_EQ(first.process.Wait(), 128 + SIGKILL);
    ASSERT_TRUE(WaitUntil([&] { return SawState("lost"); }));
    SimulatorRun second;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(second, WithScenario(), first.port));
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

TEST_F(ProgramTest, ManyDropsLeaveOneSubscriptionEach) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Command(simulator, {"--json"}));
    const std::string drop = "drop reset\n";
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
        ASSERT_EQ(write(simulator.commands, drop.data(), drop.size()), static_cast<ssize_t>(drop.size()));
    }
    ASSERT_TRUE(WaitUntil([&] {
        terminal.Signal(SIGUSR1);
        const std::string text = ReadWholeFile(directory.File("summary.json"));
        return !text.empty() && Json::parse(text)["link"]["reconnects"] == kDrops;
    }));
    const std::string play = "play " + directory.File("scenario.json") + "\n";
    ASSERT_EQ(write(simulator.commands, play.data(), play.size()), static_cast<ssize_t>(play.size()));
    ASSERT_TRUE(WaitUntil([&] { return CountResults() >= kScenarioResults; })) << Errors();
    terminal.Signal(SIGINT);
    EXPECT_EQ(terminal.Wait(), kExitOk);
    simulator.process.Signal(SIGTERM);
    EXPECT_EQ(simulator.process.Wait(), 0);
    EXPECT_EQ(CountResults(), kScenarioResults);
    EXPECT_EQ(Json::parse(ReadWholeFile(directory.File("stats.json")))["delivered"], kScenarioResults);
}

TEST_F(ProgramTest, CtrlCWhileWaitingForTheServerEndsInOrder) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Command(simulator, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] { return SawState("up"); })) << Errors();
    simulator.process.Signal(SIGKILL);
    ASSERT_TRUE(WaitUntil([&] { return SawState("waiting"); }));
    terminal.Signal(SIGINT);
    EXPECT_EQ(terminal.Wait(), kExitOk);
    EXPECT_EQ(SummaryDocument()["link"]["losses"], 1);
}

TEST_F(ProgramTest, ASecondSignalEndsAtOnce) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Command(simulator, {"--json"}));
    ASSERT_TRUE(WaitUntil([&] { return SawState("up"); })) << Errors();
    simulator.process.Signal(SIGSTOP);  // nobody answers the good-bye
    terminal.Signal(SIGINT);
    terminal.Signal(SIGTERM);
    EXPECT_EQ(terminal.Wait(), kExitInterrupted);
    simulator.process.Signal(SIGCONT);
}

TEST_F(ProgramTest, DurationEndsTheProgram) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Command(simulator, {"--duration", "0.2", "--wait"}));
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
}

TEST_F(ProgramTest, WrongPasswordIsRefused) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Command(simulator, {}, "wrong"));
    EXPECT_EQ(terminal.Wait(), kExitRefused);
    EXPECT_NE(Errors().find("401"), std::string::npos) << Errors();
    EXPECT_NE(Errors().find("Check --user and the password"), std::string::npos) << Errors();
    EXPECT_EQ(Errors().find("nonsense"), std::string::npos);
    EXPECT_EQ(ReadWholeFile(directory.File("log")).find("nonsense"), std::string::npos);
}

TEST_F(ProgramTest, WrongTokenIsRefusedAfterAFewAttempts) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Command(simulator, {}, "password", "wrong"));
    EXPECT_EQ(terminal.Wait(), kExitRefused) << Errors();
    EXPECT_NE(Errors().find("token"), std::string::npos) << Errors();
}

TEST_F(ProgramTest, UnknownCertificateIsNotTrusted) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Command(simulator, {"--ca-file", "/etc/ssl/certs/ca-certificates.crt"}));
    const int status = terminal.Wait();
    if (std::filesystem::exists("/etc/ssl/certs/ca-certificates.crt")) {
        EXPECT_EQ(status, kExitNotTrusted) << Errors();
        EXPECT_NE(Errors().find("--ca-file"), std::string::npos) << Errors();
    } else {
        EXPECT_EQ(status, kExitFailure) << Errors();
    }
}

TEST_F(ProgramTest, NobodyThereIsUnreachable) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    simulator.process.Signal(SIGTERM);
    EXPECT_EQ(simulator.process.Wait(), 0);
    StartTerminal(Command(simulator, {}));
    EXPECT_EQ(terminal.Wait(), kExitUnreachable);
    EXPECT_NE(Errors().find("connect: "), std::string::npos) << Errors();
}

// The program ends right after the attempt, while the platform's threads may still be at it.
TEST_F(ProgramTest, FailedAttemptsEndInOrderEveryTime) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    for (int i = 0; i < 25; ++i) {
        StartTerminal(Command(simulator, {}, "wrong"));
        ASSERT_EQ(terminal.Wait(), kExitRefused) << i << Errors();
    }
}

TEST_F(ProgramTest, AReaderThatLeavesEndsTheProgram) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator, WithScenario()));
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    terminal.Start(Command(simulator, {}), "", directory.File("err"), -1, ends[1]);
    close(ends[1]);
    EXPECT_EQ(terminal.Wait(), kExitFailure);
    EXPECT_NE(Errors().find("standard output cannot be written"), std::string::npos) << Errors();
}

TEST_F(ProgramTest, SealedPasswordOpensWithItsKeyOnly) {
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
        StartTerminal(Command(simulator,
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

TEST_F(ProgramTest, ReadyMadeCodeNeedsNoKey) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    WriteWholeFile(directory.File("code"), "dGVybWluYWw6cXVvci1kZW1v\n");  // terminal:quor-demo
    StartTerminal(Command(simulator, {"--code-file", directory.File("code"), "--json"}, ""));
    ASSERT_TRUE(WaitUntil([&] { return SawState("up") || !terminal.Running(); })) << Errors();
    terminal.Signal(SIGINT);
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
}

TEST_F(ProgramTest, FilesThatCannotBeReadAreNamed) {
    SimulatorRun nowhere;
    nowhere.port = 1;
    nowhere.caFile = directory.File("missing-ca");
    StartTerminal(Command(nowhere, {}, "missing-password"));
    EXPECT_EQ(terminal.Wait(), kExitFailure);
    EXPECT_NE(Errors().find("missing-password: No such file"), std::string::npos) << Errors();
    StartTerminal(Command(nowhere, {}, "password", "missing-token"));
    EXPECT_EQ(terminal.Wait(), kExitFailure);
    EXPECT_NE(Errors().find("missing-token: No such file"), std::string::npos) << Errors();
}

TEST_F(ProgramTest, UsageErrorsHaveTheirOwnCode) {
    StartTerminal({QUOR_TERMINAL_PROGRAM, "captions", "--server", "nonsense", "--conference", "x"});
    EXPECT_EQ(terminal.Wait(), kExitUsage);
    StartTerminal({QUOR_TERMINAL_PROGRAM, "help"});
    EXPECT_EQ(terminal.Wait(), kExitOk);
    EXPECT_NE(ReadWholeFile(directory.File("out")).find("captions"), std::string::npos);
}

}  // namespace
}  // namespace quor_terminal
