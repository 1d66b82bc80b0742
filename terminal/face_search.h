// face_search.h - what has become of the candidates: which of them answered, and that the library took one.
//
// The library tells an application only which service is valid. That a probe has ended stands in a trace, and
// at that moment the platform's reason for that thread is the probe's; it names the server first. A probe
// that could not be sent has an error record with its place in the list. A trace tells, too, that the library
// took a service. Nothing but what is told to people depends on it, except for the end of a search that finds
// nothing: without these signs it comes with the time limit.
//
// Threads: OnTrace, OnLog and Stop on any thread; Wait on the control thread. Locks: m_mutex guards
// everything; nothing is called while it is held.
#ifndef QUOR_TERMINAL_FACE_SEARCH_H
#define QUOR_TERMINAL_FACE_SEARCH_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "command_line.h"
#include "mutex.h"
#include "quor_platform_linux/host.h"

namespace quor_terminal {

// The trace level at which the library tells of the probes.
inline constexpr unsigned int kFaceSearchTraceLevel = 3;

enum class ProbeState {
    kNotAsked,  // not an address: the library asks at no name
    kAsked,     // no answer yet
    kAnswered,  // in the way that the library takes for the service's
    kFailed
};

struct Probe {
    ProbeState state = ProbeState::kAsked;
    quor_platform::Failure reason;  // of an answer: its HTTP status
};

struct SearchNews {
    std::vector<std::size_t> changed;  // places in the list whose probe's state or reason is another one
    bool taken = false;                // the library took a service, perhaps the same as before
    bool stopped = false;
    bool timedOut = false;
};

class FaceSearch {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit FaceSearch(const std::vector<FaceCandidate>& candidates);

    void OnTrace(std::string_view text, const quor_platform::Failure& reason) QUOR_TERMINAL_EXCLUDES(m_mutex);
    // reason counts for error records only.
    void OnLog(unsigned int level, std::string_view text, const quor_platform::Failure& reason)
        QUOR_TERMINAL_EXCLUDES(m_mutex);
    // Ends every Wait from now on. What becomes of probes is no news any more: they are cut off.
    void Stop() QUOR_TERMINAL_EXCLUDES(m_mutex);

    // Waits until there is something to tell, and tells it once. No deadline: however long it takes.
    SearchNews Wait(std::optional<TimePoint> deadline) QUOR_TERMINAL_EXCLUDES(m_mutex);

    std::vector<Probe> Probes() const QUOR_TERMINAL_EXCLUDES(m_mutex);
    // Whether every candidate that is asked has answered or failed.
    bool AllEnded() const QUOR_TERMINAL_EXCLUDES(m_mutex);
    // The same, and none has answered: the library takes none of them before it asks again.
    bool NothingFound() const QUOR_TERMINAL_EXCLUDES(m_mutex);

private:
    bool AllAre(bool (*wanted)(ProbeState state)) const QUOR_TERMINAL_EXCLUDES(m_mutex);
    void Set(std::size_t place, ProbeState state, const quor_platform::Failure& reason)
        QUOR_TERMINAL_REQUIRES(m_mutex);

    const std::vector<FaceCandidate> m_candidates;
    mutable Mutex m_mutex;
    std::condition_variable_any m_changed;
    std::vector<Probe> m_probes QUOR_TERMINAL_GUARDED_BY(m_mutex);
    SearchNews m_news QUOR_TERMINAL_GUARDED_BY(m_mutex);
};

}  // namespace quor_terminal

#endif
