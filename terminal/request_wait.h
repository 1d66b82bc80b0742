// request_wait.h - waits for what becomes of one request after another.
//
// The library answers a request by a notification, on a thread of its own. A participant list or a sign-in
// list that fails, an answer about an account that is not understood, and a face request that fails end
// without one: the last thing that happens then is an error record in the log. So a request has ended
// - with the notification of its id; or, where none comes on failure,
// - with the error record that its operation ends with (request_wait.cpp lists them); or
// - at the time limit, whatever the library wrote. The records make failures known sooner and are nothing
//   that the end depends on.
// Face photos come in as many notifications as they need, and some items in none: a photo that is too big and
// one that is not understood leave an error record. Nothing tells the end of these but the caller's count.
// The platform's reason of the failure is taken on the thread that notifies or logs, at that moment, because
// the platform keeps it by thread.
//
// Threads: OnResult, OnLog, Stop and TimeOut on any thread; the others on the control thread. Locks: m_mutex
// guards everything; nothing is called while it is held.
#ifndef QUOR_TERMINAL_REQUEST_WAIT_H
#define QUOR_TERMINAL_REQUEST_WAIT_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "mutex.h"
#include "quor_ai/result.h"
#include "quor_platform_linux/host.h"

namespace quor_terminal {

enum class RequestEnd {
    kPending,
    kNotified,  // the library notified: an answer, or a failure that the record tells
    kFailed,    // it will not notify
    kStopped,   // Stop
    kTimedOut
};

struct RequestOutcome {
    RequestEnd end = RequestEnd::kPending;
    std::vector<unsigned char> data;  // of the notification
    quor_platform::Failure failure;   // as the platform told it
    std::string words;                // of the library's first error record; may be empty
};

// What came of an answer of several notifications.
struct RequestParts {
    std::vector<std::vector<unsigned char>> notifications;
    std::vector<std::string> lost;  // the error record of each item that no notification holds
};

class RequestWait {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    // deadline: for all requests together.
    explicit RequestWait(TimePoint deadline) : m_deadline(deadline) {}

    TimePoint Deadline() const { return m_deadline; }

    // A request is about to be made: what becomes of an earlier one is no longer wanted.
    void Begin(TagQuorAiSubId id) QUOR_TERMINAL_EXCLUDES(m_mutex);
    // The same for a request that is answered in parts: they are kept for TakeParts, and Wait returns for
    // each.
    void BeginParts(TagQuorAiSubId id) QUOR_TERMINAL_EXCLUDES(m_mutex);
    // No further part can come.
    void EndParts() QUOR_TERMINAL_EXCLUDES(m_mutex);
    // What came since the last call.
    RequestParts TakeParts() QUOR_TERMINAL_EXCLUDES(m_mutex);

    void OnResult(const TagAiCloudSrvResult& result, const quor_platform::Failure& failure)
        QUOR_TERMINAL_EXCLUDES(m_mutex);
    // failure counts for error records only.
    void OnLog(unsigned int level, std::string_view text, const quor_platform::Failure& failure)
        QUOR_TERMINAL_EXCLUDES(m_mutex);
    // The request could not be made.
    void OnRefused(const quor_platform::Failure& failure) QUOR_TERMINAL_EXCLUDES(m_mutex);
    // Ends this request and every later one.
    void Stop() QUOR_TERMINAL_EXCLUDES(m_mutex);
    // The time limit has passed while the request was being made.
    void TimeOut() QUOR_TERMINAL_EXCLUDES(m_mutex);

    // Waits for the end, or for a part, which is kNotified without data. onPage is called on this thread with
    // the number of pages that have come, once for each increase that is seen.
    RequestOutcome Wait(const std::function<void(unsigned int pages)>& onPage)
        QUOR_TERMINAL_EXCLUDES(m_mutex);

private:
    bool HasParts() const QUOR_TERMINAL_REQUIRES(m_mutex) {
        return !m_parts.notifications.empty() || !m_parts.lost.empty();
    }
    void End(RequestEnd end, const quor_platform::Failure& failure) QUOR_TERMINAL_REQUIRES(m_mutex);

    const TimePoint m_deadline;
    Mutex m_mutex;
    std::condition_variable_any m_changed;
    bool m_stopped QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;
    TagQuorAiSubId m_id QUOR_TERMINAL_GUARDED_BY(m_mutex) = AI_SUB_ID_CHECKIN;
    unsigned int m_pages QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;
    bool m_inParts QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;
    RequestParts m_parts QUOR_TERMINAL_GUARDED_BY(m_mutex);
    RequestOutcome m_outcome QUOR_TERMINAL_GUARDED_BY(m_mutex);
};

}  // namespace quor_terminal

#endif
