#include "run.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>

#include "commands.h"
#include "report.h"

namespace quor_simulator::program {
namespace {

/* How often the loop looks at the scenario while nothing comes from outside. */
constexpr int kLoopMs = 50;
/* For queued frames and close handshakes at the end. */
constexpr Milliseconds kClosePatience{3000};
constexpr std::size_t kMaxLineBytes = 1U << 20;

void Print(const std::string& line) {
    std::cout << line << std::endl; /* flushed: the reader is often a program that waits for the line */
}

/* Blocks SIGINT and SIGTERM for this thread and those started later, and makes them readable. */
class SignalFile {
public:
    SignalFile() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        m_file = ::signalfd(-1, &signals, SFD_CLOEXEC);
        if (m_file < 0) {
            throw Error("cannot watch signals");
        }
    }
    ~SignalFile() { ::close(m_file); }
    SignalFile(const SignalFile&) = delete;
    SignalFile& operator=(const SignalFile&) = delete;
    int file() const { return m_file; }

private:
    int m_file = -1;
};

class Program {
public:
    explicit Program(const RunSettings& settings) : m_settings(settings), m_simulator(settings.options) {}

    void Start() {
        m_simulator.Start();
        if (!m_settings.readyFile.empty()) {
            WriteFileAtomically(m_settings.readyFile, ReadyJson(m_simulator) + "\n");
        }
        Print(m_settings.json
                  ? ReadyJson(m_simulator)
                  : "listening on " + Addresses() + " port " + Ports() + ", CA " + m_simulator.caFile());
    }

    void Loop() {
        while (!m_end) {
            StepScenario();
            pollfd files[2] = {{m_signals.file(), POLLIN, 0}, {m_inputOpen ? STDIN_FILENO : -1, POLLIN, 0}};
            if (::poll(files, 2, kLoopMs) <= 0) {
                continue;
            }
            m_end = m_end || files[0].revents != 0;
            if (files[1].revents != 0) {
                ReadCommands();
            }
        }
    }

    void End() {
        m_simulator.StopScenario();
        m_simulator.DropLinks(Drop::kCloseFrame, 1001, "server is going away");
        m_simulator.WaitForNoLinks(kClosePatience);
        m_simulator.Stop();
        if (!m_settings.statsFile.empty()) {
            WriteFileAtomically(m_settings.statsFile, StatisticsJson(m_simulator, 2) + "\n");
        }
        Print(m_settings.json ? StatisticsJson(m_simulator) : StatisticsText(m_simulator));
    }

private:
    std::string Addresses() const {
        std::string list = m_settings.options.address;
        for (const std::string& address : m_settings.options.moreAddresses) {
            list += " and " + address;
        }
        return list;
    }

    std::string Ports() const {
        const std::uint16_t second = m_simulator.facePort();
        return std::to_string(m_simulator.port()) + (second == 0 ? "" : " and " + std::to_string(second));
    }

    bool HasScenario() const {
        return !m_settings.options.scenarioFile.empty() || !m_settings.options.scenarioText.empty();
    }

    void StepScenario() {
        if (HasScenario() && !m_scenarioBegun &&
            m_simulator.WaitForSubscribers(m_settings.waitForSubscribers, Milliseconds(0))) {
            m_scenarioBegun = true;
            m_simulator.PlayScenario();
        }
        if (m_scenarioBegun && m_settings.exitAfterScenario && m_simulator.WaitScenarioEnd(Milliseconds(0))) {
            m_end = true;
        }
    }

    /* The end of standard input ends the commands, not the program: it may run without a terminal. */
    void ReadCommands() {
        char buffer[4096];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof(buffer));
        if (count <= 0) {
            m_inputOpen = count < 0 && (errno == EINTR || errno == EAGAIN);
            return;
        }
        m_line.append(buffer, static_cast<std::size_t>(count));
        for (std::size_t end = m_line.find('\n'); end != std::string::npos; end = m_line.find('\n')) {
            const CommandAnswer answer = RunCommand(m_simulator, std::string_view(m_line).substr(0, end));
            m_line.erase(0, end + 1);
            if (!answer.command.empty()) {
                Print(m_settings.json ? AnswerJson(answer.command, answer.ok, answer.text)
                                      : (answer.ok ? "ok: " : "error: ") + answer.text);
            }
            m_end = m_end || answer.quit;
        }
        if (m_line.size() > kMaxLineBytes) {
            m_line.clear();
        }
    }

    const RunSettings& m_settings;
    SignalFile m_signals; /* before the simulator: its threads inherit the blocked signals */
    Simulator m_simulator;
    bool m_inputOpen = true;
    bool m_scenarioBegun = false;
    bool m_end = false;
    std::string m_line;
};

}  // namespace

int Run(const RunSettings& settings) {
    ::signal(SIGPIPE, SIG_IGN);
    try {
        Simulator checker(Options{});
        if (!settings.options.scenarioFile.empty()) {
            checker.LoadScenarioFile(settings.options.scenarioFile);
        }
        if (!settings.options.galleryDirectory.empty()) {
            checker.rest().SetGallery(ReadGallery(settings.options.galleryDirectory));
        }
    } catch (const Error& error) {
        std::cerr << "quor-simulator: " << error.what() << std::endl;
        return kExitScenario;
    }
    try {
        Program program(settings);
        program.Start();
        program.Loop();
        program.End();
        return kExitGood;
    } catch (const Error& error) {
        std::cerr << "quor-simulator: " << error.what() << std::endl;
        return kExitFailure;
    }
}

}  // namespace quor_simulator::program
