#include "benchmarks/http_children.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

extern char** environ;

namespace bench {

namespace {

std::string MakeFolder() {
    std::string path = (std::filesystem::temp_directory_path() / "quor_bench_XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    return path;
}

struct Pipe {
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    int ends[2] = {-1, -1};
};

}  // namespace

Child::Child(const std::vector<std::string>& command) {
    const Pipe input;
    const Pipe output;
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
    const int error = posix_spawn(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(input.ends[0]);
    close(output.ends[1]);
    m_input = input.ends[1];
    m_output = output.ends[0];
    if (error != 0) {
        throw std::runtime_error("cannot start " + command[0]);
    }
}

Child::~Child() {
    close(m_input);
    close(m_output);
    kill(m_pid, SIGTERM);
    waitpid(m_pid, nullptr, 0);
}

void Child::Write(const std::string& text) const {
    if (write(m_input, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("a child does not listen any more");
    }
}

std::string Child::ReadLine() const {
    std::string line;
    char next = 0;
    while (read(m_output, &next, 1) == 1) {
        if (next == '\n') {
            return line;
        }
        line += next;
    }
    throw std::runtime_error("a child ended early");
}

Server::Server(unsigned int people)
    : m_folder(MakeFolder()),
      m_caFile(m_folder + "/ca.pem"),
      m_child({QUOR_SIMULATOR, "--port", "0", "--state-dir", m_folder, "--people", std::to_string(people)}) {
    // "listening on 127.0.0.1 port 40001, CA ..."
    const std::string line = m_child.ReadLine();
    const std::string mark = " port ";
    const std::size_t at = line.find(mark);
    if (at == std::string::npos) {
        throw std::runtime_error("the simulator says: " + line);
    }
    m_port = static_cast<unsigned int>(std::stoul(line.substr(at + mark.size())));
}

Server::~Server() {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

}  // namespace bench
