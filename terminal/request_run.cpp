#include "request_run.h"

#include <string.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string_view>

#include "alarm.h"
#include "credentials.h"
#include "exit_codes.h"
#include "failure_text.h"
#include "output.h"
#include "quor_ai/ai_http_adapter.h"
#include "session.h"
#include "signal_watcher.h"
#include "text_layout.h"

namespace quor_terminal {
namespace {

using QuorAiEngine::AiHttpAdapter;

// Runs on a thread of the library's or of the platform's.
class RequestObserver : public QuorAiEngine::ICloudSrvObserver {
public:
    explicit RequestObserver(RequestWait& wait) : m_wait(wait) {}

    void Update(const TagAiCloudSrvResult& result) noexcept override {
        m_wait.OnResult(result, quor_platform::LastFailure());
    }

private:
    RequestWait& m_wait;
};

// The library as long as the object lives: attached, started, and its log listened to.
class StartedAdapter {
public:
    // setup and wait outlive the object.
    StartedAdapter(AiHttpAdapter& adapter, const RequestSetup& setup, RequestWait& wait)
        : m_adapter(adapter), m_observer(std::make_shared<RequestObserver>(wait)) {
        quor_platform::SetLogListener([&setup, &wait](const quor_platform::LogRecord& record) {
            constexpr unsigned int kErrors = 1;
            if (setup.onLog && setup.onLog(record)) {
                return;
            }
            wait.OnLog(record.level, record.text,
                       record.level == kErrors ? quor_platform::LastFailure() : quor_platform::Failure{});
        });
        m_attached = adapter.Attach(m_observer) == 0;
        m_started = m_attached && adapter.CloudHttpInit() == 0;
    }
    // Nothing is under way any more or will be: what still is, is ended at once rather than waited for.
    ~StartedAdapter() {
        quor_platform::AbortRequests();
        if (m_started) {
            m_adapter.CloudHttpUninit();
        }
        if (m_attached) {
            m_adapter.Detach(m_observer.get());
        }
        quor_platform::SetLogListener({});
    }
    StartedAdapter(const StartedAdapter&) = delete;
    StartedAdapter& operator=(const StartedAdapter&) = delete;

    bool Started() const { return m_started; }

private:
    AiHttpAdapter& m_adapter;
    const std::shared_ptr<RequestObserver> m_observer;
    bool m_attached = false;
    bool m_started = false;
};

// Twelve photos of the largest size that the library hands on, in base64, fit with room.
constexpr std::size_t kMostAnswerBytes = 96U << 20U;

// What the requests need besides the settings of every subcommand. The log must let errors pass, because
// they tell the end of some requests: level 0 becomes no log file.
bool ConfigureRequests(const RequestOptions& options) {
    RequestOptions settings = options;
    if (settings.logLevel == 0) {
        settings.logFile.clear();
        settings.logLevel = 1;
    }
    if (!ConfigurePlatform(settings)) {
        return false;
    }
    quor_platform::DnsSettings dns;
    dns.servers = options.dnsServers;
    quor_platform::SetDnsSettings(dns);
    quor_platform::HttpSettings http;
    http.maxAnswerBytes = kMostAnswerBytes;
    quor_platform::SetHttpSettings(http);
    return true;
}

LinkProblem ProblemOf(const RequestOutcome& outcome, const RequestSetup& setup) {
    LinkProblem problem;
    if (outcome.end == RequestEnd::kStopped) {
        problem.exitCode = kExitStopped;
        problem.text = "stopped before the answer was complete";
    } else if (outcome.end == RequestEnd::kTimedOut) {
        problem.exitCode = kExitNoAnswer;
        problem.text = "the answer was not complete in time";
        problem.advice = "Give it longer with --timeout, or look why the server is slow.";
    } else {
        problem = setup.explain(outcome.failure, outcome.words);
    }
    return problem;
}

const char* StageOf(const RequestOutcome& outcome) {
    switch (outcome.end) {
        case RequestEnd::kStopped:
            return "stopped";
        case RequestEnd::kTimedOut:
            return "timeout";
        default:
            return outcome.failure.stage == quor_platform::Stage::kNone
                       ? "answer"
                       : quor_platform::StageName(outcome.failure.stage);
    }
}

}  // namespace

// Some requests look up the server's name before they are on their way.
void RequestRun::Make(const Send& send) {
    const Alarm limit(m_wait.Deadline(), [this] {
        m_wait.TimeOut();
        quor_platform::AbortRequests();
    });
    if (send(m_adapter) != 0) {
        // A request that the transport refused is notified all the same; that came first then.
        m_wait.OnRefused(quor_platform::LastFailure());
    }
}

bool RequestRun::Ask(TagQuorAiSubId id, const Send& send, const OnPage& onPage) {
    m_wait.Begin(id);
    Make(send);
    m_outcome = m_wait.Wait(onPage);
    if (m_outcome.end == RequestEnd::kNotified) {
        return true;
    }
    Fail();
    return false;
}

// The answer has begun to come, so that the rest of it needs no network any more: when the library's workers
// have come to their end, everything was notified.
bool RequestRun::AskParts(TagQuorAiSubId id, const Send& send, const OnParts& onParts) {
    m_wait.BeginParts(id);
    Make(send);
    for (bool last = false;; last = true) {
        m_outcome = m_wait.Wait({});
        if (onParts(m_wait.TakeParts())) {
            return true;
        }
        if (m_outcome.end != RequestEnd::kNotified) {
            Fail();
            return false;
        }
        if (last) {
            return true;
        }
        m_adapter.CloudHttpUninit();
        m_adapter.CloudHttpInit();
        m_wait.EndParts();
    }
}

int RequestRun::Fail() {
    Json more = Json::object();
    if (m_outcome.failure.httpStatus != 0) {
        more["httpStatus"] = m_outcome.failure.httpStatus;
    }
    return Fail(ProblemOf(m_outcome, m_setup), StageOf(m_outcome), more);
}

int RequestRun::Fail(const LinkProblem& problem, const char* stage, const Json& more) {
    HideProgress();
    m_exitCode = problem.exitCode;
    if (m_setup.options.json) {
        Json document = {{"kind", "failure"}, {"request", m_setup.name}, {"stage", stage}};
        document.update(more);
        document["problem"] = problem.text;
        document["exitCode"] = m_exitCode;
        Print(document);
    }
    TellProblem(problem);
    return m_exitCode;
}

bool RequestRun::Print(const std::string& text) {
    HideProgress();
    if (WriteAll(STDOUT_FILENO, text)) {
        return true;
    }
    PrintError("standard output cannot be written any more");
    m_exitCode = kExitFailure;
    return false;
}

void RequestRun::ShowProgress(const std::string& text) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no thread of this program changes the environment
    if (IsCursorTerminal(STDERR_FILENO, std::getenv("TERM"))) {
        m_progressShown = true;
        WriteAll(STDERR_FILENO, "\r\x1b[K" + Printable(text));
    } else if (m_setup.options.progress) {
        PrintError(Printable(text));
    }
}

void RequestRun::HideProgress() {
    if (m_progressShown) {
        m_progressShown = false;
        WriteAll(STDERR_FILENO, "\r\x1b[K");
    }
}

int RunRequests(const RequestSetup& setup, const std::function<int(RequestRun& run)>& body) {
    SignalWatcher::BlockSignals();
    AiHttpAdapter* const adapter = AiHttpAdapter::GetInstance();
    if (!ConfigureRequests(setup.options) || adapter == nullptr) {
        return kExitFailure;
    }
    RequestWait wait(RequestWait::TimePoint::clock::now() + Milliseconds(setup.options.timeoutSeconds));
    const auto stop = [&setup, &wait] {
        wait.Stop();
        if (setup.onStop) {
            setup.onStop();
        }
        quor_platform::AbortRequests();
    };
    const auto cutShort = [&setup] {
        if (setup.onCutShort) {
            setup.onCutShort();
        }
        _exit(kExitInterrupted);
    };
    int status = kExitFailure;
    {
        // The watcher lives until everything is down, so that a second Ctrl-C cuts even that short.
        const SignalWatcher watcher(setup.duration, {stop, cutShort, [] {}});
        {
            const StartedAdapter started(*adapter, setup, wait);
            if (started.Started()) {
                RequestRun run(setup, wait, *adapter);
                status = body(run);
                run.HideProgress();
            } else {
                PrintError("the library's HTTP services do not start: " + quor_platform::LastFailure().text);
            }
        }
        quor_platform::Shutdown();
    }
    return status;
}

int RunRequests(const RequestOptions& options, const char* name,
                const std::function<int(RequestRun& run, const std::string& token)>& body) {
    SignalWatcher::BlockSignals();
    std::string token;
    std::string message;
    if (!FetchToken(options, token, message)) {
        PrintError(message);
        return kExitFailure;
    }
    const RequestSetup setup{options, name, ExplainRequestFailure, {}, {}, {}};
    const int status = RunRequests(setup, [&](RequestRun& run) { return body(run, token); });
    explicit_bzero(token.data(), token.size());
    return status;
}

}  // namespace quor_terminal
