/* program_fixture.h - quor-simulator as a process, for tests of the program. */
#ifndef QUOR_TESTS_SIMULATOR_PROGRAM_FIXTURE_H
#define QUOR_TESTS_SIMULATOR_PROGRAM_FIXTURE_H

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "http_fixture.h"

namespace quor_test {

/* The program with its standard input and output at pipes. Killed at the end of its life if it still runs. */
class Process {
public:
    explicit Process(std::vector<std::string> arguments) {
        int input[2];
        int output[2];
        if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, output[1], STDERR_FILENO);
        arguments.insert(arguments.begin(), QUOR_SIMULATOR_PROGRAM);
        std::vector<char*> pointers;
        pointers.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        ::posix_spawn(&m_pid, QUOR_SIMULATOR_PROGRAM, &actions, nullptr, pointers.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(input[0]);
        ::close(output[1]);
        m_input = input[1];
        m_output = output[0];
    }
    ~Process() {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        ::close(m_input);
        ::close(m_output);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /* Empty at the end of the output. */
    std::string ReadLine() {
        std::string line;
        char c = 0;
        while (::read(m_output, &c, 1) == 1 && c != '\n') {
            line += c;
        }
        return line;
    }
    std::string Ask(const std::string& command) {
        const std::string line = command + "\n";
        return ::write(m_input, line.data(), line.size()) == static_cast<ssize_t>(line.size()) ? ReadLine()
                                                                                               : "";
    }
    void Signal(int number) const { ::kill(m_pid, number); }
    /* The exit code; -1 when it did not end by itself. */
    int Wait() {
        std::string line;
        do {
            line = ReadLine();
            m_rest += line + "\n";
        } while (!line.empty());
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    const std::string& rest() const { return m_rest; } /* what was printed during Wait */
    pid_t pid() const { return m_pid; }

private:
    pid_t m_pid = -1;
    int m_input = -1;
    int m_output = -1;
    std::string m_rest;
};

class Program : public ::testing::Test {
protected:
    std::string Path(const std::string& name) const { return m_directory.path() + "/" + name; }
    static nlohmann::json ReadJson(const std::string& path) {
        std::ifstream file(path);
        return nlohmann::json::parse(file, nullptr, false);
    }
    std::vector<std::string> With(std::vector<std::string> more) const {
        more.insert(more.begin(), {"--state-dir", Path("state"), "--json"});
        return more;
    }

private:
    const TemporaryDirectory m_directory;
};

}  // namespace quor_test

#endif
