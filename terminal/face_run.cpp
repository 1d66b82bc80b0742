#include "face_run.h"

#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "credentials.h"
#include "exit_codes.h"
#include "failure_text.h"
#include "output.h"
#include "probe_text.h"
#include "quor_ai/ai_cloud_face_srv_detect.h"
#include "session.h"
#include "signal_watcher.h"
#include "text_layout.h"

namespace quor_terminal {
namespace {

using QuorAiEngine::CloudFaceSrvDetect;

// The module under whose name the search logs.
constexpr std::string_view kSearchModule = "quor_ai_cloud_face_srv_detect.cpp";

// True: the record is the search's. It goes on while requests are made, and what it logs is nothing of
// theirs.
bool OnSearchLog(FaceSearch& search, const quor_platform::LogRecord& record) {
    if (std::string_view(record.module, record.moduleLength) != kSearchModule) {
        return false;
    }
    search.OnLog(record.level, record.text, quor_platform::LastFailure());
    return true;
}

// The search's traces are needed; shown is what the user asked for, or a level more.
void ListenToTraces(FaceSearch& search, unsigned int wantedLevel) {
    const bool shown = wantedLevel > 0;
    quor_platform::SetTraceListener([&search, shown](const char* text) {
        search.OnTrace(text, quor_platform::LastFailure());
        if (shown) {
            WriteAll(STDERR_FILENO, text);
        }
    });
    quor_platform::SetTraceLevel(static_cast<unsigned char>(std::max(wantedLevel, kFaceSearchTraceLevel)));
}

void TellNotAsked(const std::vector<FaceCandidate>& candidates) {
    for (const FaceCandidate& candidate : candidates) {
        if (!candidate.isAddress) {
            std::string text = candidate.url;
            text += " was not asked: ";
            PrintError(text += ProbeReason({ProbeState::kNotAsked, {}}));
        }
    }
}

// The exit code of a search that found nothing: the candidates' own where they agree.
ExitCode ExitCodeOf(const std::vector<LinkProblem>& problems) {
    const auto is = [](ExitCode code) {
        return [code](const LinkProblem& problem) { return problem.exitCode == code; };
    };
    if (std::any_of(problems.begin(), problems.end(), is(kExitRefused))) {
        return kExitRefused;
    }
    const bool agreed =
        !problems.empty() && std::all_of(problems.begin(), problems.end(), is(problems.front().exitCode));
    return agreed ? problems.front().exitCode : kExitUnreachable;
}

// Each candidate's problem on standard error, and all advice once.
LinkProblem TellProbes(const std::vector<FaceCandidate>& candidates, const std::vector<Probe>& probes) {
    std::vector<LinkProblem> problems;
    LinkProblem whole;
    for (std::size_t i = 0; i < probes.size(); ++i) {
        PrintError(candidates[i].url + ": " + Printable(ProbeReason(probes[i])));
        if (probes[i].state == ProbeState::kFailed) {
            problems.push_back(ExplainFaceFailure(probes[i].reason, {}));
            const std::string& advice = problems.back().advice;
            if (!advice.empty() && whole.advice.find(advice) == std::string::npos) {
                whole.advice += (whole.advice.empty() ? "" : " ") + advice;
            }
        }
    }
    whole.exitCode = ExitCodeOf(problems);
    whole.text =
        (probes.size() == 1 ? std::string("the candidate does not answer")
                            : "none of the " + std::to_string(probes.size()) + " candidates answers") +
        " as a face service that takes the account";
    return whole;
}

}  // namespace

FaceRun::~FaceRun() {
    if (m_started) {
        CloudFaceSrvDetect::GetInstance()->CloudHttpUninit();
    }
    quor_platform::SetTraceLevel(static_cast<unsigned char>(m_options.traceLevel));
    quor_platform::SetTraceListener({});
    explicit_bzero(&m_service, sizeof m_service);
}

bool FaceRun::Start(TagQuorAiFaceServerInfo& configuration) {
    CloudFaceSrvDetect* const detect = CloudFaceSrvDetect::GetInstance();
    ListenToTraces(m_search, m_options.traceLevel);
    m_started = detect != nullptr && detect->CloudHttpInit() == 0;
    if (!m_started || detect->SetCloudFaceSrvInfo(configuration) != 0) {
        PrintError("the library does not search for the face service: " + quor_platform::LastFailure().text);
        return false;
    }
    return true;
}

SearchNews FaceRun::Wait(bool forEver) {
    SearchNews news =
        m_search.Wait(forEver ? std::nullopt : std::optional<FaceSearch::TimePoint>(m_requests.Deadline()));
    if (news.taken) {
        CloudFaceSrvDetect::GetInstance()->GetValidFaceSrvInfo(m_service);
    }
    return news;
}

bool FaceRun::FindService() {
    m_requests.ShowProgress("looking for the face service");
    SearchNews news;
    while (m_service.url[0] == '\0' && !m_search.NothingFound() && !news.stopped && !news.timedOut) {
        news = Wait(false);
    }
    if (m_service.url[0] == '\0') {
        FailToFind(news);
        return false;
    }
    m_requests.HideProgress();
    TellNotAsked(m_options.candidates);
    return true;
}

int FaceRun::FailToFind(const SearchNews& news) {
    m_requests.HideProgress();
    if (news.stopped) {
        LinkProblem stopped;
        stopped.exitCode = kExitStopped;
        stopped.text = "stopped before a face service was found";
        return m_requests.Fail(stopped, "stopped");
    }
    const std::vector<Probe> probes = m_search.Probes();
    LinkProblem problem = TellProbes(m_options.candidates, probes);
    Json list = Json::array();
    for (std::size_t i = 0; i < probes.size(); ++i) {
        list.push_back(ProbeDocument(m_options.candidates[i], probes[i]));
    }
    if (news.timedOut) {
        problem.exitCode = kExitNoAnswer;
        problem.text = "no face service was found in time";
        problem.advice = "Give it longer with --timeout, or look why the candidates are slow.";
    }
    return m_requests.Fail(problem, news.timedOut ? "timeout" : "search", {{"candidates", list}});
}

std::string FaceRun::ServiceUrl() const {
    if (m_service.url[0] == '\0') {
        return {};
    }
    return std::string(m_service.url) + ":" + std::to_string(m_service.port);
}

int RunFaceRequests(const FaceServiceOptions& options, const char* name, std::chrono::milliseconds duration,
                    const std::function<int(FaceRun& run)>& body) {
    SignalWatcher::BlockSignals();
    TemporaryKeyFile temporaryKey;
    TagQuorAiFaceServerInfo configuration;
    std::string message;
    if (!PrepareFaceService(options, temporaryKey, configuration, message)) {
        PrintError(message);
        return kExitFailure;
    }
    FaceSearch search(options.candidates);
    const RequestSetup setup{
        options,
        name,
        ExplainFaceFailure,
        [&search](const quor_platform::LogRecord& record) { return OnSearchLog(search, record); },
        [&search] { search.Stop(); },
        [&temporaryKey] { temporaryKey.Remove(); },
        duration};
    const int status = RunRequests(setup, [&](RequestRun& requests) {
        FaceRun run(options, search, requests);
        const bool started = run.Start(configuration);
        return started ? body(run) : static_cast<int>(kExitFailure);
    });
    explicit_bzero(&configuration, sizeof configuration);
    return status;
}

}  // namespace quor_terminal
