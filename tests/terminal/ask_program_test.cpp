// 'ask' against the simulator, each a process of its own.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include "ask_request.h"
#include "program_fixture.h"

namespace quor_terminal {
namespace {

// The simulator's answer to "Hello".
constexpr const char* kAnswer = "You asked: Hello; piece 1; piece 2; piece 3; piece 4\n";
constexpr std::size_t kPieces = 5;

class AskProgramTest : public ProgramTest {
protected:
    std::vector<std::string> Ask(const SimulatorRun& simulator, const std::vector<std::string>& more,
                                 const std::string& password = "password",
                                 const std::string& token = "token") {
        std::vector<std::string> command = Base("ask", simulator, more);
        AddConference(command, password, token);
        return command;
    }
    std::vector<std::string> AskManager(const SimulatorRun& simulator, const std::vector<std::string>& more) {
        std::vector<std::string> command = Base("ask", simulator, more);
        command.insert(command.end(), {"--link", "manager"});
        return command;
    }

    // Answers begin, and stop before their last piece.
    void StartHoldingSimulator(SimulatorRun& simulator) {
        ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
        ASSERT_NO_FATAL_FAILURE(Command(simulator, "answer-fault model hold"));
        ASSERT_NO_FATAL_FAILURE(Command(simulator, "answer-fault managerModel hold"));
    }
    bool AllButTheLastCame() const { return DocumentsOf("answer").size() == kPieces - 1; }
    Json Outcome() const {
        const std::vector<Json> documents = Documents();
        return documents.empty() ? Json() : documents.back();
    }
    // What a command makes the simulator say, without its "ok: ".
    std::string AnswerTo(const SimulatorRun& simulator, const std::string& command) {
        Command(simulator, command);
        std::istringstream lines(ReadWholeFile(directory.File("simulator.out")));
        std::string last;
        for (std::string line; std::getline(lines, line);) {
            last = line;
        }
        return last.substr(std::min<std::size_t>(last.find(": "), last.size() - 2) + 2);
    }
    // The large-model requests that the simulator received, once there are so many.
    std::vector<Json> WaitForRequests(const SimulatorRun& simulator, std::size_t count) {
        std::vector<Json> requests;
        EXPECT_TRUE(WaitUntil([&] {
            requests.clear();
            for (const Json& send : Json::parse(AnswerTo(simulator, "sends"))) {
                if (send["headers"].contains("reqType")) {
                    requests.push_back(send);
                }
            }
            return requests.size() >= count;
        }));
        EXPECT_EQ(requests.size(), count);
        return requests;
    }
    // A request for an answer, and the one that stops it: the same number, the kind's stop kind, no text.
    void ExpectAskedAndStopped(const SimulatorRun& simulator, const std::string& number) {
        const std::vector<Json> requests = WaitForRequests(simulator, 2);
        ASSERT_EQ(requests.size(), 2U);
        EXPECT_EQ(requests[0]["headers"]["reqType"], "FREE_CHAT");
        EXPECT_EQ(requests[0]["headers"]["seqNum"], number);
        EXPECT_EQ(Json::parse(requests[0]["body"].get<std::string>())["content"], "Hello");
        Json stop = requests[0];
        stop["headers"]["reqType"] = "FREE_CHAT_STOP";
        stop["headers"]["content-length"] = requests[1]["headers"]["content-length"];
        stop["body"] = requests[1]["body"];
        EXPECT_EQ(requests[1], stop) << "same link, destination, token, model and round";
        Json body = Json::parse(requests[0]["body"].get<std::string>());
        body["content"] = "";
        EXPECT_EQ(Json::parse(requests[1]["body"].get<std::string>()), body);
    }
    // Ends the simulator; how many requests of clients it received.
    std::size_t RequestsReceived(SimulatorRun& simulator) {
        simulator.process.Signal(SIGTERM);
        EXPECT_EQ(simulator.process.Wait(), 0);
        const Json stats = Json::parse(ReadWholeFile(directory.File("stats.json")));
        const std::size_t reports =
            stats["destinations"].value("/terminal/parameter", Json{{"received", 0}})["received"];
        return stats["sendsReceived"].get<std::size_t>() - reports;
    }
};

TEST_F(AskProgramTest, TheAnswerOnTheConferenceLinkIsPrintedAndNothingElse) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Ask(simulator, {"Hello"}));
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
    EXPECT_EQ(Output(), kAnswer);
    EXPECT_EQ(Errors(), "");
    EXPECT_EQ(RequestsReceived(simulator), 1U);
}

TEST_F(AskProgramTest, TheManagerLinkNeedsNoCredentials) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(AskManager(simulator, {"Hello", "--model", "DeepSeek-R1", "--round", "2"}));
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
    EXPECT_EQ(Output(), kAnswer);
    EXPECT_EQ(Errors(), "");
    EXPECT_EQ(RequestsReceived(simulator), 1U);
}

TEST_F(AskProgramTest, JsonDocumentsOfBothLinks) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    for (const bool manager : {false, true}) {
        const std::vector<std::string> more = {"Hello", "--json", "--seq", "4711", "--kind", "translate"};
        StartTerminal(manager ? AskManager(simulator, more) : Ask(simulator, more));
        EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
        const char* const link = manager ? "manager" : "conference";
        std::vector<Json> expected = {
            {{"kind", "link"}, {"state", "opening"}},
            {{"kind", "link"}, {"state", "up"}},
            {{"kind", "request"}, {"seqNum", 4711}, {"reqType", "TRANSLATE"}, {"link", link}}};
        for (int piece = 0; piece < 5; ++piece) {
            expected.push_back(
                {{"id", manager ? 9 : 8},
                 {"kind", "answer"},
                 {"understood", true},
                 {"seqNum", 4711},
                 {"reqType", "TRANSLATE"},
                 {"piece", piece},
                 {"content", piece == 0 ? "You asked: Hello" : "; piece " + std::to_string(piece)},
                 {"final", piece == 4}});
        }
        expected.push_back({{"kind", "link"}, {"state", "stopped"}});
        expected.push_back({{"kind", "outcome"},
                            {"seqNum", 4711},
                            {"reqType", "TRANSLATE"},
                            {"link", link},
                            {"outcome", "answered"},
                            {"pieces", 5}});
        EXPECT_EQ(Documents(), expected) << Output();
    }
}

TEST_F(AskProgramTest, EveryKindOfRequestIsTakenOrSent) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    for (unsigned int kind = 0; kind < kRequestKindCount; ++kind) {
        StartTerminal(AskManager(simulator, {"x", "--json", "--seq", "5", "--kind", std::to_string(kind)}));
        EXPECT_EQ(terminal.Wait(), kExitOk) << kind << Errors();
        EXPECT_EQ(Outcome()["outcome"], IsStopKind(kind) ? "sent" : "answered");
        EXPECT_EQ(Outcome()["reqType"], KindOf(kind).name);
    }
    EXPECT_EQ(RequestsReceived(simulator), kRequestKindCount);
}

TEST_F(AskProgramTest, CtrlCSendsTheStopRequestAndLeavesInOrder) {
    for (const bool manager : {false, true}) {
        SimulatorRun simulator;
        ASSERT_NO_FATAL_FAILURE(StartHoldingSimulator(simulator));
        const std::vector<std::string> more = {"Hello", "--json"};
        StartTerminal(manager ? AskManager(simulator, more) : Ask(simulator, more));
        ASSERT_TRUE(WaitUntil([&] { return AllButTheLastCame(); })) << Errors();
        terminal.Signal(SIGINT);
        EXPECT_EQ(terminal.Wait(), kExitStopped) << Errors();
        EXPECT_EQ(Outcome()["outcome"], "stopped");
        EXPECT_FALSE(DocumentsOf("answer").back()["final"]);
        EXPECT_NE(Errors().find("stopped before the answer was complete; the server was asked to stop it"),
                  std::string::npos)
            << Errors();
        const unsigned int number = DocumentsOf("request").at(0)["seqNum"];
        ExpectAskedAndStopped(simulator, std::to_string(number));
    }
}

TEST_F(AskProgramTest, AnAnswerThatIsLateIsStopped) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartHoldingSimulator(simulator));
    StartTerminal(AskManager(simulator, {"Hello", "--json", "--seq", "4711", "--answer-timeout", "0.1"}));
    EXPECT_EQ(terminal.Wait(), kExitNoAnswer) << Errors();
    EXPECT_EQ(Outcome()["outcome"], "timed-out");
    EXPECT_NE(Errors().find("--answer-timeout"), std::string::npos) << Errors();
    ExpectAskedAndStopped(simulator, "4711");
}

TEST_F(AskProgramTest, AnAnswerThatIsLateButNotTooLateIsComplete) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartHoldingSimulator(simulator));
    StartTerminal(Ask(simulator, {"Hello", "--json"}));
    ASSERT_TRUE(WaitUntil([&] { return AllButTheLastCame(); })) << Errors();
    ASSERT_TRUE(WaitUntil([&] { return AnswerTo(simulator, "answer-release") == "1 answer released"; }));
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
    EXPECT_EQ(Outcome()["outcome"], "answered");
    EXPECT_EQ(WaitForRequests(simulator, 1).size(), 1U);
}

TEST_F(AskProgramTest, AnAnswerToAnotherNumberIsNotTaken) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    ASSERT_NO_FATAL_FAILURE(Command(simulator, "answer-fault model otherNumber"));
    StartTerminal(Ask(simulator, {"Hello", "--json", "--seq", "4711", "--uri", "u"}));
    const auto allWereSent = [&] {
        const Json stats = Json::parse(AnswerTo(simulator, "stats json"));
        return stats["destinations"]
                   .value("/topic/chat/conf-test/u", Json::object())
                   .value("delivered", 0U) == kPieces;
    };
    ASSERT_TRUE(WaitUntil(allWereSent)) << Errors();
    ASSERT_NO_FATAL_FAILURE(Command(
        simulator,
        R"(publish /topic/chat/conf-test/u {"seqNum":"4711","reqType":"FREE_CHAT","content":"!","final":true})"));
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
    EXPECT_EQ(Outcome()["pieces"], 1);
    ASSERT_EQ(DocumentsOf("answer").size(), 1U);
    EXPECT_EQ(DocumentsOf("answer")[0]["content"], "!");
}

TEST_F(AskProgramTest, ALostLinkEndsTheRequestAndNothingIsAskedTwice) {
    for (const bool manager : {false, true}) {
        SimulatorRun simulator;
        ASSERT_NO_FATAL_FAILURE(StartHoldingSimulator(simulator));
        const std::vector<std::string> more = {"Hello", "--json", "--wait"};
        StartTerminal(manager ? AskManager(simulator, more) : Ask(simulator, more));
        ASSERT_TRUE(WaitUntil([&] { return AllButTheLastCame(); })) << Errors();
        ASSERT_NO_FATAL_FAILURE(Command(simulator, "drop reset"));
        EXPECT_EQ(terminal.Wait(), kExitUnreachable) << Errors();
        EXPECT_EQ(Outcome()["outcome"], "lost");
        EXPECT_TRUE(SawState("lost"));
        EXPECT_FALSE(SawState("waiting"));
        EXPECT_NE(Errors().find("the link was lost before the answer was complete"), std::string::npos)
            << Errors();
        EXPECT_NE(Errors().find("Ask again"), std::string::npos) << Errors();
        EXPECT_EQ(RequestsReceived(simulator), 1U);
    }
}

TEST_F(AskProgramTest, RefusedCredentialsAndTokens) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    StartTerminal(Ask(simulator, {"Hello"}, "wrong"));
    EXPECT_EQ(terminal.Wait(), kExitRefused) << Errors();
    EXPECT_NE(Errors().find("Check --user and the password"), std::string::npos) << Errors();
    StartTerminal(Ask(simulator, {"Hello"}, "password", "wrong"));
    EXPECT_EQ(terminal.Wait(), kExitRefused) << Errors();
    EXPECT_NE(Errors().find("check --conference and the token"), std::string::npos) << Errors();
    EXPECT_EQ(Output(), "");
}

TEST_F(AskProgramTest, ServersThatAreNotThereOrNotTrusted) {
    const QuorTest::ClosedPort port;
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator, {}, port.Port()));
    WriteWholeFile(directory.File("empty-ca"), "");
    StartTerminal(AskManager(simulator, {"Hello", "--ca-file", directory.File("empty-ca")}));
    EXPECT_EQ(terminal.Wait(), kExitFailure) << Errors();
    EXPECT_NE(Errors().find("--ca-file"), std::string::npos) << Errors();
    ASSERT_NO_FATAL_FAILURE(Command(simulator, "certificate selfSigned"));
    StartTerminal(AskManager(simulator, {"Hello"}));
    EXPECT_EQ(terminal.Wait(), kExitNotTrusted) << Errors();
    simulator.process.Signal(SIGTERM);
    EXPECT_EQ(simulator.process.Wait(), 0);
    StartTerminal(AskManager(simulator, {"Hello"}));
    EXPECT_EQ(terminal.Wait(), kExitUnreachable) << Errors();
}

TEST_F(AskProgramTest, TheLongestRequestGoesOutAndALongerOneDoesNot) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    const std::string uri = "sip:room7@example.org";
    const std::string longest(kLongestRequest - ConferenceRequestBytes("conf-test", uri, ""), 'x');
    StartTerminal(Ask(simulator, {longest, "--uri", uri}));
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
    EXPECT_EQ(Output().rfind("You asked: " + longest + "; piece 1", 0), 0U);
    StartTerminal(Ask(simulator, {longest + "x", "--uri", uri}));
    EXPECT_EQ(terminal.Wait(), kExitUsage);
    EXPECT_NE(Errors().find("would have 2049 bytes, and at most 2048 can be sent. Shorten it by 1 bytes."),
              std::string::npos)
        << Errors();
    const std::string longestManager(kLongestRequest - ManagerRequestBytes(""), 'y');
    StartTerminal(AskManager(simulator, {longestManager}));
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
    EXPECT_EQ(RequestsReceived(simulator), 2U);
}

TEST_F(AskProgramTest, TheTextMayComeFromStandardInput) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    for (const auto& [text, status] : {std::pair<const char*, int>{"Hello\n", kExitOk}, {"", kExitUsage}}) {
        WriteWholeFile(directory.File("text"), text);
        const int input = open(directory.File("text").c_str(), O_RDONLY | O_CLOEXEC);
        terminal.Start(AskManager(simulator, {"-"}), directory.File("out"), directory.File("err"), input);
        close(input);
        EXPECT_EQ(terminal.Wait(), status) << Errors();
        EXPECT_EQ(Output(), status == kExitOk ? kAnswer : "");
    }
    EXPECT_NE(Errors().find("standard input is empty"), std::string::npos) << Errors();
}

TEST_F(AskProgramTest, AReaderThatLeavesEndsTheProgramAndTheAnswer) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    terminal.Start(AskManager(simulator, {"Hello"}), "", directory.File("err"), -1, ends[1]);
    close(ends[1]);
    EXPECT_EQ(terminal.Wait(), kExitFailure);
    EXPECT_NE(Errors().find("standard output cannot be written"), std::string::npos) << Errors();
    EXPECT_EQ(RequestsReceived(simulator), 2U);
}

TEST_F(AskProgramTest, TwoTerminalsDoNotHearEachOthersAnswers) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator));
    const auto ask = [&](const char* number) {
        return Ask(simulator, {"Hello", "--json", "--uri", "sip:same@example.org", "--seq", number});
    };
    Process other;
    other.Start(ask("1"), directory.File("other"), directory.File("other-err"));
    StartTerminal(ask("2"));
    EXPECT_EQ(terminal.Wait(), kExitOk) << Errors();
    EXPECT_EQ(other.Wait(), kExitOk);
    for (const Json& piece : DocumentsOf("answer")) {
        EXPECT_EQ(piece["seqNum"], 2);
    }
    EXPECT_EQ(DocumentsOf("answer").size(), kPieces);
}

}  // namespace
}  // namespace quor_terminal
