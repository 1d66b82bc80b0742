// program_fixture.h - quor-simulator and quor-terminal as processes of their own, over TLS on the loopback
// interface.
#ifndef QUOR_TESTS_TERMINAL_PROGRAM_FIXTURE_H
#define QUOR_TESTS_TERMINAL_PROGRAM_FIXTURE_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "exit_codes.h"
#include "process.h"
#include "tests/support/closed_port.h"

namespace quor_terminal {

using Json = nlohmann::json;

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
        ASSERT_TRUE(WaitUntil([&] {
            return (std::filesystem::exists(ready) && SimulatorLines() >= 1) || !run.process.Running();
        }));
        ASSERT_TRUE(run.process.Running()) << ReadWholeFile(directory.File("simulator.err"));
        const Json document = Json::parse(ReadWholeFile(ready));
        run.port = document["port"];
        run.caFile = document["caFile"];
    }

    // A command line up to the server and the log. Options given later override none of these: a test leaves
    // out what it gives itself.
    std::vector<std::string> Base(const std::string& subcommand, const SimulatorRun& simulator,
                                  const std::vector<std::string>& more) {
        std::vector<std::string> command = {QUOR_TERMINAL_PROGRAM,
                                            subcommand,
                                            "--server",
                                            "localhost:" + std::to_string(simulator.port),
                                            "--log-file",
                                            directory.File("log")};
        if (std::find(more.begin(), more.end(), "--ca-file") == more.end()) {
            command.insert(command.end(), {"--ca-file", simulator.caFile});
        }
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }

    // Adds conference and token, and account and password unless password is empty.
    void AddConference(std::vector<std::string>& command, const std::string& password,
                       const std::string& token) const {
        command.insert(command.end(), {"--conference", "conf-test", "--token-file", directory.File(token)});
        if (!password.empty()) {
            command.insert(command.end(),
                           {"--user", "terminal", "--password-file", directory.File(password)});
        }
    }

    // Complete lines that the simulator has printed: one when it listens, then one or more for each command.
    std::ptrdiff_t SimulatorLines() const {
        const std::string printed = ReadWholeFile(directory.File("simulator.out"));
        return std::count(printed.begin(), printed.end(), '\n');
    }

    // A line on the simulator's standard input; it has been carried out when this returns.
    void Command(const SimulatorRun& simulator, const std::string& line) {
        const std::ptrdiff_t before = SimulatorLines();
        const std::string text = line + "\n";
        ASSERT_EQ(write(simulator.commands, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        ASSERT_TRUE(WaitUntil([&] { return SimulatorLines() > before; })) << line;
    }

    // The simulator's list of subscriptions, in the order in which they were made, without the link's number.
    std::string Subscriptions(const SimulatorRun& simulator) {
        const std::size_t before = ReadWholeFile(directory.File("simulator.out")).size();
        Command(simulator, "subscriptions");
        std::string answer;
        EXPECT_TRUE(WaitUntil([&] {
            answer = ReadWholeFile(directory.File("simulator.out")).substr(before);
            return !answer.empty() && answer.back() == '\n';
        }));
        std::string topics;
        std::istringstream words(answer);
        for (std::string word; words >> word;) {
            const std::size_t at = word.find("/topic/");
            if (at != std::string::npos) {
                topics += word.substr(at, word.find_first_of(",;)\"", at) - at) + "\n";
            }
        }
        return topics;
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
    std::vector<Json> DocumentsOf(const std::string& kind) const {
        std::vector<Json> documents = Documents();
        documents.erase(std::remove_if(documents.begin(), documents.end(),
                                       [&](const Json& d) { return d["kind"] != kind; }),
                        documents.end());
        return documents;
    }
    std::string Output() const { return ReadWholeFile(directory.File("out")); }
    Json SummaryDocument() const { return Json::parse(ReadWholeFile(directory.File("summary.json"))); }

    TemporaryDirectory directory;
    Process terminal;
};

}  // namespace quor_terminal

#endif
