// http_program_fixture.h - the subcommands that make requests over HTTPS, against a simulator with people.
#ifndef QUOR_TESTS_TERMINAL_HTTP_PROGRAM_FIXTURE_H
#define QUOR_TESTS_TERMINAL_HTTP_PROGRAM_FIXTURE_H

#include <algorithm>
#include <string>
#include <vector>

#include "program_fixture.h"

namespace quor_terminal {

using Words = std::vector<std::string>;

// One of the requests, with the simulator's name for it.
struct Kind {
    Words words;
    const char* endpoint;
    const char* name;  // in failure documents
    const char* conference = "conf-test";
};

inline const std::vector<Kind>& Kinds() {
    static const std::vector<Kind> kinds = {
        {{"participants"}, "participants", "participants"},
        {{"signin", "list"}, "signInList", "signin list"},
        {{"signin", "history"}, "signInHistory", "signin history", "conf-over"},
        {{"signin", "report", "anna=Anna Berg"}, "signInReport", "signin report"},
        {{"account", "anna"}, "accountQuery", "account"},
        {{"avmatch", "--user-id", "u1", "--site", "s1", "--start", "1", "--end", "2"},
         "matchReport",
         "avmatch"}};
    return kinds;
}

inline bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

inline std::size_t LineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

class HttpProgramTest : public ProgramTest {
protected:
    // With conf-over, which is over: one checked in, and 40 did not.
    void StartServer(SimulatorRun& simulator, const Words& more = {}) {
        WriteWholeFile(directory.File("scenario.json"), R"({
            "conference": "conf-test", "languages": ["en-US"],
            "people": [{"uuid": "s1", "name": "Ana Torres", "account": "ana"}], "generate": 69,
            "history": [{"conference": "conf-over", "people": [], "checkedIn": ["s1"], "generate": 40,
                         "time": "2026-01-01 09:00:00", "type": "face"}],
            "steps": [{"at": 0, "kind": "control", "subtitleStatus": 0}]})");
        Words all = {"--scenario", directory.File("scenario.json"), "--wait-for-subscribers", "1"};
        all.insert(all.end(), more.begin(), more.end());
        ASSERT_NO_FATAL_FAILURE(StartSimulator(simulator, all));
        ASSERT_TRUE(WaitUntil([&] { return LineCount(ServerOutput()) > 0; }));
    }
    std::string ServerOutput() const { return ReadWholeFile(directory.File("simulator.out")); }
    // A command to the simulator, and its answer.
    std::string Tell(const SimulatorRun& simulator, const std::string& command) {
        const std::string before = ServerOutput();
        Command(simulator, command);
        EXPECT_TRUE(WaitUntil([&] { return LineCount(ServerOutput()) > LineCount(before); }));
        std::string answer = ServerOutput().substr(before.size());
        EXPECT_EQ(answer.rfind("ok: ", 0), 0U) << command << ": " << answer;
        return answer;
    }

    // How many requests with that part in their target have arrived, held ones too.
    std::size_t CountRequests(const SimulatorRun& simulator, const std::string& part) {
        const std::string requests = Tell(simulator, "requests");
        std::size_t found = 0;
        for (std::size_t at = requests.find(part); at != std::string::npos;
             at = requests.find(part, at + 1)) {
            ++found;
        }
        return found;
    }
    // Waits until there are so many.
    void WaitForRequests(const SimulatorRun& simulator, const std::string& part, std::size_t count) {
        EXPECT_TRUE(WaitUntil([&] { return CountRequests(simulator, part) >= count; })) << part;
    }

    Words Request(const SimulatorRun& simulator, const Words& words, const Words& more = {},
                  const std::string& conference = "conf-test", const std::string& token = "token") const {
        Words command = {QUOR_TERMINAL_PROGRAM};
        command.insert(command.end(), words.begin(), words.end());
        const auto given = [&more](const char* option) {
            return std::find(more.begin(), more.end(), option) != more.end();
        };
        if (!given("--server")) {
            command.insert(command.end(), {"--server", "localhost:" + std::to_string(simulator.port)});
        }
        if (!given("--ca-file")) {
            command.insert(command.end(), {"--ca-file", simulator.caFile});
        }
        command.insert(command.end(), {"--conference", conference, "--token-file", directory.File(token),
                                       "--log-file", directory.File("log")});
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }
    int Run(const Words& command) {
        StartTerminal(command);
        return terminal.Wait();
    }

    // Text and JSON of a request that fails.
    void ExpectFailure(const SimulatorRun& simulator, const Kind& kind, const Words& more, int status,
                       const std::string& stage, const std::string& part,
                       const std::string& otherConference = "", const std::string& token = "token") {
        const std::string conference = otherConference.empty() ? kind.conference : otherConference;
        SCOPED_TRACE(kind.name);
        EXPECT_EQ(Run(Request(simulator, kind.words, more, conference, token)), status) << Errors();
        EXPECT_EQ(Output(), "");
        EXPECT_EQ(Errors().rfind("quor-terminal: " + stage + ": ", 0), 0U) << Errors();
        EXPECT_TRUE(Contains(Errors(), part)) << Errors();
        Words json = more;
        json.emplace_back("--json");
        EXPECT_EQ(Run(Request(simulator, kind.words, json, conference, token)), status) << Errors();
        const std::vector<Json> documents = Documents();
        ASSERT_EQ(documents.size(), 1U) << Output();
        EXPECT_EQ(documents[0]["kind"], "failure");
        EXPECT_EQ(documents[0]["request"], kind.name);
        EXPECT_EQ(documents[0]["stage"], stage);
        EXPECT_EQ(documents[0]["exitCode"], status);
        EXPECT_TRUE(Contains(Errors(), documents[0]["problem"].get<std::string>()));
    }
};

}  // namespace quor_terminal

#endif
