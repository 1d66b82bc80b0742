#include "face_search.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>

namespace quor_terminal {
namespace {

using quor_platform::Failure;
using quor_platform::Stage;

constexpr unsigned int kErrorLevel = 1;
constexpr int kStatusOk = 200;
constexpr int kStatusFound = 302;  // the library takes a redirect for an answer

constexpr std::string_view kProbeEnded = "<FaceServerDetectRspNotify> IN.";
constexpr std::string_view kTaken = "<SetValidFaceSrvInfo> Set m_faceServerInfo";
// What follows is the number of candidates, a hyphen and the place in the list.
constexpr std::string_view kNotSent = "<AiFaceDoServerDetect> HttpServerConnectingDetect failed. ";

bool Contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// Whether text names host and port, and not a longer one that ends or begins with them.
bool Names(std::string_view text, const FaceCandidate& candidate) {
    const auto isPart = [](char c) { return (c >= '0' && c <= '9') || c == '.'; };
    const std::string peer = candidate.host + ":" + std::to_string(candidate.port);
    for (std::size_t at = text.find(peer); at != std::string_view::npos; at = text.find(peer, at + 1)) {
        const std::size_t end = at + peer.size();
        if ((at == 0 || !isPart(text[at - 1])) && (end == text.size() || !isPart(text[end]))) {
            return true;
        }
    }
    return false;
}

// Texts may differ in what does not matter, such as how long something took.
bool IsSame(const Failure& one, const Failure& other) {
    return one.stage == other.stage && one.httpStatus == other.httpStatus &&
           one.certificateError == other.certificateError && one.systemError == other.systemError;
}

}  // namespace

FaceSearch::FaceSearch(const std::vector<FaceCandidate>& candidates)
    : m_candidates(candidates), m_probes(candidates.size()) {
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        m_probes[i].state = candidates[i].isAddress ? ProbeState::kAsked : ProbeState::kNotAsked;
    }
}

void FaceSearch::OnTrace(std::string_view text, const Failure& reason) {
    const MutexLock lock(m_mutex);
    if (Contains(text, kTaken)) {
        m_news.taken = true;
        m_changed.notify_all();
    } else if (Contains(text, kProbeEnded)) {
        const auto found =
            std::find_if(m_candidates.begin(), m_candidates.end(),
                         [&reason](const FaceCandidate& candidate) { return Names(reason.text, candidate); });
        if (found != m_candidates.end()) {
            const bool answered = reason.stage == Stage::kNone &&
                                  (reason.httpStatus == kStatusOk || reason.httpStatus == kStatusFound);
            Set(static_cast<std::size_t>(found - m_candidates.begin()),
                answered ? ProbeState::kAnswered : ProbeState::kFailed, reason);
        }
    }
}

void FaceSearch::OnLog(unsigned int level, std::string_view text, const Failure& reason) {
    if (level != kErrorLevel || text.substr(0, kNotSent.size()) != kNotSent) {
        return;
    }
    const std::size_t hyphen = text.find('-', kNotSent.size());
    if (hyphen == std::string_view::npos) {
        return;
    }
    std::size_t place = 0;
    const auto [stop, error] = std::from_chars(text.data() + hyphen + 1, text.data() + text.size(), place);
    const MutexLock lock(m_mutex);
    if (error == std::errc() && place < m_probes.size()) {
        Set(place, ProbeState::kFailed, reason);
    }
}

void FaceSearch::Stop() {
    const MutexLock lock(m_mutex);
    m_news.stopped = true;
    m_changed.notify_all();
}

SearchNews FaceSearch::Wait(std::optional<TimePoint> deadline) {
    const MutexLock lock(m_mutex);
    while (m_news.changed.empty() && !m_news.taken && !m_news.stopped && !m_news.timedOut) {
        if (!deadline.has_value()) {
            m_changed.wait(m_mutex);
        } else if (m_changed.wait_until(m_mutex, *deadline) == std::cv_status::timeout) {
            m_news.timedOut = true;
        }
    }
    SearchNews news;
    news.stopped = m_news.stopped;
    std::swap(news, m_news);
    return news;
}

std::vector<Probe> FaceSearch::Probes() const {
    const MutexLock lock(m_mutex);
    return m_probes;
}

bool FaceSearch::AllEnded() const {
    return AllAre([](ProbeState state) { return state != ProbeState::kAsked; });
}

bool FaceSearch::NothingFound() const {
    return AllAre(
        [](ProbeState state) { return state == ProbeState::kFailed || state == ProbeState::kNotAsked; });
}

bool FaceSearch::AllAre(bool (*wanted)(ProbeState state)) const {
    const MutexLock lock(m_mutex);
    return std::all_of(m_probes.begin(), m_probes.end(),
                       [wanted](const Probe& probe) { return wanted(probe.state); });
}

void FaceSearch::Set(std::size_t place, ProbeState state, const Failure& reason) {
    Probe& probe = m_probes[place];
    if (m_news.stopped || (probe.state == state && IsSame(probe.reason, reason))) {
        return;
    }
    probe.state = state;
    probe.reason = reason;
    std::vector<std::size_t>& changed = m_news.changed;
    if (std::find(changed.begin(), changed.end(), place) == changed.end()) {
        changed.push_back(place);
    }
    m_changed.notify_all();
}

}  // namespace quor_terminal
