// captions_command.cpp - 'quor-terminal captions': the parts of this program put together.
//
// This thread is the application's control thread: it makes every public call of the library, drives the link
// keeper and takes everything down again in the reverse order.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "channel_link.h"
#include "commands.h"
#include "credentials.h"
#include "exit_codes.h"
#include "line_views.h"
#include "live_view.h"
#include "output.h"
#include "quor_platform_linux/host.h"
#include "result_observer.h"
#include "signal_watcher.h"
#include "summary.h"

namespace quor_terminal {
namespace {

std::chrono::milliseconds Milliseconds(double seconds) {
    // Longer than anyone runs a program, and far from the end of any clock.
    constexpr double kLongestSeconds = 1e9;
    return std::chrono::milliseconds(static_cast<std::int64_t>(std::min(seconds, kLongestSeconds) * 1000.0));
}

void PrintError(const std::string& text) {
    WriteAll(STDERR_FILENO, "quor-terminal: " + text + "\n");
}

bool ConfigurePlatform(const CaptionsOptions& options) {
    quor_platform::LogSettings log;
    log.file = options.logFile;
    log.level = options.logLevel;
    if (!quor_platform::SetLogSettings(log)) {
        PrintError(options.logFile + " cannot be written: " + quor_platform::LastFailure().text);
        return false;
    }
    quor_platform::SetTraceLevel(static_cast<unsigned char>(options.traceLevel));

    quor_platform::TlsSettings tls;
    if (!options.caFile.empty()) {
        tls.caFile = options.caFile;
    }
    tls.caDirectory = options.caDirectory;
    tls.insecureSkipVerification = options.insecureLab;
    if (options.insecureLab) {
        PrintError("--insecure-lab: the server's certificate is not checked; anyone may be at the other end");
    }
    quor_platform::SetTlsSettings(tls);

    quor_platform::LinkSettings link;
    link.connectTimeout = Milliseconds(options.connectTimeoutSeconds);
    link.handshakeTimeout = Milliseconds(options.connectTimeoutSeconds);
    quor_platform::SetLinkSettings(link);

    // The check-in subscription takes its token from the login client, every time anew.
    quor_platform::SetTokenSource([options](std::string& token) {
        std::string message;
        return FetchToken(options, token, message) ? 0 : 1;
    });
    return true;
}

std::unique_ptr<ResultView> MakeView(const CaptionsOptions& options, const std::function<void()>& onBroken) {
    TextSink results = MakeFileSink(STDOUT_FILENO, onBroken);
    if (options.json) {
        return std::make_unique<JsonView>(std::move(results));
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no thread of this program changes the environment
    if (!IsCursorTerminal(STDOUT_FILENO, std::getenv("TERM"))) {
        return std::make_unique<PlainView>(std::move(results), MakeFileSink(STDERR_FILENO, {}),
                                           options.interim, TimeOfDay);
    }
    LiveView::Settings settings;
    settings.wantsTranslation = !options.translation.empty();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): as above
    const char* const noColour = std::getenv("NO_COLOR");
    settings.colour = noColour == nullptr || *noColour == '\0';
    settings.terminalWidth = [] { return TerminalWidth(STDOUT_FILENO); };
    settings.timeOfDay = TimeOfDay;
    return std::make_unique<LiveView>(std::move(results), std::move(settings));
}

std::vector<ChannelLink::Service> WantedServices(const CaptionsOptions& options) {
    std::vector<ChannelLink::Service> services = {{AI_SUB_ID_CHECKIN, ""},
                                                  {AI_SUB_ID_CAPTION, options.language}};
    if (!options.translation.empty()) {
        services.push_back({AI_SUB_ID_TRANSLATION, options.translation});
    }
    return services;
}

KeeperPolicy Policy(const CaptionsOptions& options) {
    KeeperPolicy policy;
    policy.retryFirst = options.wait;
    policy.retryRefused = options.retryRefused;
    policy.giveUpAfter = Milliseconds(options.giveUpAfterSeconds);
    return policy;
}

int Conclude(const LinkKeeper& keeper, bool outputBroken) {
    if (keeper.CurrentState() == LinkKeeper::State::kGivenUp) {
        const LinkProblem problem = keeper.FinalProblem();
        PrintError(problem.text);
        if (!problem.advice.empty()) {
            PrintError(problem.advice);
        }
        return problem.exitCode;
    }
    if (outputBroken) {
        PrintError("standard output cannot be written any more");
        return kExitFailure;
    }
    return kExitOk;
}

// Everything that one run of the command owns. Members are in the order in which they depend on each other.
class CaptionsRun {
public:
    CaptionsRun(const CaptionsOptions& options, const TagQuorAiKelLoginInfo& login)
        : m_options(options),
          m_started(std::chrono::steady_clock::now()),
          m_link(login, options.conference, WantedServices(options),
                 [this](std::string& token, std::string& message) {
                     return FetchToken(m_options, token, message);
                 }),
          m_keeper(m_link, Policy(options), [this](const KeeperNotice& notice) { m_view->ShowLink(notice); }),
          m_view(MakeView(options, [this] {
              m_outputBroken.store(true);
              m_keeper.Stop();
          })) {}

    int Run(const TemporaryKeyFile& temporaryKey) {
        // The watcher lives until everything is down, so that a second Ctrl-C cuts even that short.
        const SignalWatcher watcher(Milliseconds(m_options.durationSeconds),
                                    {[this] { m_keeper.Stop(); },
                                     [&temporaryKey] {
                                         temporaryKey.Remove();
                                         _exit(kExitInterrupted);
                                     },
                                     [this] { WriteSummaryFile(MakeSummary(kExitOk)); }});
        const bool started = m_link.Start(std::make_shared<ResultObserver>(m_keeper, m_statistics, *m_view),
                                          [this](unsigned int linkId) { m_keeper.OnClosed(linkId); });
        if (started) {
            m_keeper.Run([this] { m_view->Tick(std::chrono::steady_clock::now()); }, kTickInterval);
        }
        m_link.Finish();
        quor_platform::Shutdown();
        m_view->Finish();
        if (!started) {
            PrintError("the library did not take the login record");
            return kExitFailure;
        }
        return Report(Conclude(m_keeper, m_outputBroken.load()));
    }

private:
    Summary MakeSummary(int exitCode) const {
        Summary summary;
        summary.counts = m_statistics.Snapshot();
        summary.connects = m_keeper.TimesUp();
        summary.losses = m_keeper.TimesLost();
        summary.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_started).count();
        summary.exitCode = exitCode;
        return summary;
    }

    // True also when none is wanted.
    bool WriteSummaryFile(const Summary& summary) QUOR_TERMINAL_EXCLUDES(m_fileMutex) {
        const MutexLock lock(m_fileMutex);
        std::string message;
        if (m_options.summaryFile.empty() ||
            WriteFileWhole(m_options.summaryFile, SummaryJson(summary), message)) {
            return true;
        }
        PrintError(message);
        return false;
    }

    int Report(int exitCode) {
        const Summary summary = MakeSummary(exitCode);
        if (summary.connects > 0 && !m_options.noSummary) {
            WriteAll(STDERR_FILENO, SummaryText(summary));
        }
        const bool written = WriteSummaryFile(summary);
        return written || exitCode != kExitOk ? exitCode : kExitFailure;
    }

    const CaptionsOptions& m_options;
    const std::chrono::steady_clock::time_point m_started;
    std::atomic<bool> m_outputBroken{false};
    Mutex m_fileMutex;  // the summary file: written at the end and, on SIGUSR1, before
    Statistics m_statistics;
    ChannelLink m_link;
    LinkKeeper m_keeper;
    const std::unique_ptr<ResultView> m_view;
};

}  // namespace

int RunCaptions(const Options& options) {
    SignalWatcher::BlockSignals();
    const CaptionsOptions& wanted = options.captions;
    TemporaryKeyFile temporaryKey;
    TagQuorAiKelLoginInfo login;
    std::string message;
    // A token that cannot be read is better told before the server is bothered.
    std::string token;
    if (!ConfigurePlatform(wanted)) {
        return kExitFailure;
    }
    if (!FetchToken(wanted, token, message) || !PrepareLogin(wanted, temporaryKey, login, message)) {
        PrintError(message);
        return kExitFailure;
    }
    CaptionsRun run(wanted, login);
    explicit_bzero(&login, sizeof login);
    return run.Run(temporaryKey);
}

}  // namespace quor_terminal
