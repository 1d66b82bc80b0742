// show_command.cpp - 'quor-terminal captions' and 'watch': the parts of this program put together.
//
// This thread is the application's control thread: it makes every public call of the library, drives the link
// keeper and takes everything down again in the reverse order.
#include <unistd.h>

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
#include "session.h"
#include "signal_watcher.h"
#include "summary.h"

namespace quor_terminal {
namespace {

// The two subcommands differ in what they subscribe and in what their views make room for.
enum class Show { kCaptions, kWholeConference };

std::unique_ptr<ResultView> MakeView(const ShowOptions& options, Show what,
                                     const std::function<void()>& onBroken) {
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
    settings.wholeConference = what == Show::kWholeConference;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): as above
    const char* const noColour = std::getenv("NO_COLOR");
    settings.colour = noColour == nullptr || *noColour == '\0';
    settings.terminalWidth = [] { return TerminalWidth(STDOUT_FILENO); };
    settings.timeOfDay = TimeOfDay;
    return std::make_unique<LiveView>(std::move(results), std::move(settings));
}

// The report comes first: by it the library knows the uri of this terminal, and the server what it can do.
std::vector<ChannelLink::Service> WantedServices(const ShowOptions& options, Show what) {
    std::vector<ChannelLink::Service> services = {
        {AI_SUB_ID_ABILITY_REPORT, ""}, {AI_SUB_ID_CHECKIN, ""}, {AI_SUB_ID_CAPTION, options.language}};
    if (!options.translation.empty()) {
        services.push_back({AI_SUB_ID_TRANSLATION, options.translation});
    }
    if (what == Show::kWholeConference) {
        services.push_back({AI_SUB_ID_CONF_CTRL, ""});
        services.push_back({AI_SUB_ID_CONF_SITE, ""});
        services.push_back({AI_SUB_ID_CAPTION_OVERLAY, ""});
    }
    return services;
}

ChannelLink::Session SessionOf(const ShowOptions& options, Show what) {
    ChannelLink::Session session;
    session.conference = options.conference;
    session.uri = options.uri;
    session.terminal = options.terminal;
    session.services = WantedServices(options, what);
    session.fetchToken = [&options](std::string& token, std::string& message) {
        return FetchToken(options, token, message);
    };
    return session;
}

int Conclude(const LinkKeeper& keeper, bool outputBroken) {
    if (keeper.CurrentState() == LinkKeeper::State::kGivenUp) {
        return TellProblem(keeper.FinalProblem());
    }
    if (outputBroken) {
        PrintError("standard output cannot be written any more");
        return kExitFailure;
    }
    return kExitOk;
}

// Everything that one run of the command owns. Members are in the order in which they depend on each other.
class ShowRun {
public:
    // options outlives the run.
    ShowRun(const ShowOptions& options, Show what, const TagQuorAiKelLoginInfo& login)
        : m_options(options),
          m_what(what),
          m_started(std::chrono::steady_clock::now()),
          m_link(login, SessionOf(options, what)),
          m_keeper(m_link, PolicyOf(options),
                   [this](const KeeperNotice& notice) { m_view->ShowLink(notice); }),
          m_view(MakeView(options, what, [this] {
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
        summary.wholeConference = m_what == Show::kWholeConference;
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

    const ShowOptions& m_options;
    const Show m_what;
    const std::chrono::steady_clock::time_point m_started;
    std::atomic<bool> m_outputBroken{false};
    Mutex m_fileMutex;  // the summary file: written at the end and, on SIGUSR1, before
    Statistics m_statistics;
    ChannelLink m_link;
    LinkKeeper m_keeper;
    const std::unique_ptr<ResultView> m_view;
};

int RunShow(const ShowOptions& wanted, Show what) {
    SignalWatcher::BlockSignals();
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
    ShowRun run(wanted, what, login);
    explicit_bzero(&login, sizeof login);
    return run.Run(temporaryKey);
}

}  // namespace

int RunCaptions(const Options& options) {
    return RunShow(options.captions, Show::kCaptions);
}

int RunWatch(const Options& options) {
    return RunShow(options.watch, Show::kWholeConference);
}

}  // namespace quor_terminal
