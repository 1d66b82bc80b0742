#include "process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace quor_terminal {

bool WaitUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

std::string ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void WriteWholeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
}

TemporaryDirectory::TemporaryDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "quor-terminal-test-XXXXXX").string();
    if (mkdtemp(path.data()) != nullptr) {
        m_path = path;
    }
    EXPECT_FALSE(m_path.empty());
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    if (!m_path.empty()) {
        std::filesystem::remove_all(m_path, ignored);
    }
}

Process::~Process() {
    if (Running()) {
        Signal(SIGKILL);
        Wait();
    }
}

void Process::Start(const std::vector<std::string>& command, const std::string& outputFile,
                    const std::string& errorFile, int inputFd, int outputFd, int errorFd) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (inputFd >= 0) {
        posix_spawn_file_actions_adddup2(&actions, inputFd, STDIN_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    constexpr int kWrite = O_WRONLY | O_CREAT | O_TRUNC;
    if (outputFd >= 0) {
        posix_spawn_file_actions_adddup2(&actions, outputFd, STDOUT_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outputFile.c_str(), kWrite, 0600);
    }
    if (errorFd >= 0) {
        posix_spawn_file_actions_adddup2(&actions, errorFd, STDERR_FILENO);
    } else {
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorFile.c_str(), kWrite, 0600);
    }
    const int error = posix_spawn(&m_pid, command[0].c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        m_pid = 0;
        ADD_FAILURE() << command[0] << " cannot be started: error " << error;
    }
}

void Process::Signal(int signal) const {
    if (m_pid > 0) {
        kill(m_pid, signal);
    }
}

bool Process::Reap() {
    int status = 0;
    if (m_pid <= 0 || waitpid(m_pid, &status, WNOHANG) != m_pid) {
        return m_pid <= 0;
    }
    m_pid = 0;
    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return true;
}

bool Process::Running() {
    return !Reap();
}

int Process::Wait() {
    return WaitUntil([this] { return Reap(); }) ? m_status : -1;
}

}  // namespace quor_terminal
