#include "broker_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace quor_test {

namespace {

constexpr char kFolder[] = QUOR_STOMP_BROKER_DIR;

struct Pipe {
    Pipe() {
        if (pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    int Reader() const { return ends[0]; }
    int Writer() const { return ends[1]; }
    std::array<int, 2> ends{};
};

std::vector<char*> Pointers(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// Starts a program found on the path; its standard input and output are the given descriptors, -1 for
// nothing.
pid_t Start(std::vector<std::string> words, int input, int output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (input >= 0) {
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    if (output >= 0) {
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    pid_t child = -1;
    const std::vector<char*> arguments = Pointers(words);
    const int error = posix_spawnp(&child, words[0].c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? child : -1;
}

bool Succeeds(std::vector<std::string> words) {
    const pid_t child = Start(std::move(words), -1, -1);
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

std::string BrokerProcess::Missing() {
    if (!Succeeds({"node", "--version"})) {
        return "node";
    }
    if (!Succeeds({"openssl", "version"})) {
        return "openssl";
    }
    if (!std::filesystem::exists(std::filesystem::path(kFolder) / "node_modules" / "stomp-broker-js")) {
        return std::string("the packages of ") + kFolder + "/package-lock.json";
    }
    return {};
}

BrokerProcess::BrokerProcess(unsigned int heartBeatMs) {
    MakeCertificate();
    Spawn(heartBeatMs);
    const std::string ready = ReadLine();
    if (ready.rfind("ready ", 0) != 0) {
        throw std::runtime_error("the broker did not start: " + ready);
    }
    m_port = static_cast<std::uint16_t>(std::stoul(ready.substr(6)));
}

BrokerProcess::~BrokerProcess() {
    std::fclose(m_commands);  // the end of its input is the end of the broker
    int status = 0;
    waitpid(m_child, &status, 0);
    std::fclose(m_answers);
}

// One certificate that is its own authority: the client trusts exactly this server.
void BrokerProcess::MakeCertificate() {
    if (!Succeeds({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                   "-nodes", "-days", "2", "-subj", "/CN=localhost", "-addext",
                   "subjectAltName=IP:127.0.0.1,DNS:localhost", "-keyout", m_folder.File("key.pem"), "-out",
                   caFile()})) {
        throw std::runtime_error("openssl could not make a certificate");
    }
}

void BrokerProcess::Spawn(unsigned int heartBeatMs) {
    const Pipe commands;
    const Pipe answers;
    m_child = Start({"node", "--no-deprecation", std::string(kFolder) + "/broker.js", caFile(),
                     m_folder.File("key.pem"), std::to_string(heartBeatMs)},
                    commands.Reader(), answers.Writer());
    close(commands.Reader());
    close(answers.Writer());
    if (m_child < 0) {
        throw std::runtime_error("node could not be started");
    }
    m_commands = fdopen(commands.Writer(), "w");
    m_answers = fdopen(answers.Reader(), "r");
    // A broker that died is seen by the missing answer.
    std::signal(SIGPIPE, SIG_IGN);
}

std::string BrokerProcess::Do(const std::string& command) {
    std::fputs((command + "\n").c_str(), m_commands);
    std::fflush(m_commands);
    return ReadLine();
}

std::string BrokerProcess::ReadLine() {
    std::string line;
    for (int c = std::fgetc(m_answers); c != EOF && c != '\n'; c = std::fgetc(m_answers)) {
        line += static_cast<char>(c);
    }
    return line;
}

}  // namespace quor_test
