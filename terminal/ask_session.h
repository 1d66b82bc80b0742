// ask_session.h - the life of one request: sent, answered piece by piece, ended one way or another.
//
// Purpose: decides which pieces belong to the request and how it ended. It knows neither link nor view.
//
// Threads: every function is callable from any thread. Locks: m_mutex guards everything; nothing is called
// while it is held.
#ifndef QUOR_TERMINAL_ASK_SESSION_H
#define QUOR_TERMINAL_ASK_SESSION_H

#include <chrono>
#include <string>

#include "answer.h"
#include "link_keeper.h"
#include "mutex.h"

namespace quor_terminal {

enum class AskOutcome {
    kPending,
    kAnswered,     // the last piece came
    kSent,         // a stop request, to which nothing is answered
    kStopped,      // the user ended it, or before it was sent
    kTimedOut,     // the last piece did not come in time
    kRefused,      // the server answered with an error
    kNotSent,      // the library or the platform refused it
    kLost,         // the link ended before the last piece
    kOutputBroken  // nobody reads the answer any more
};

// A word for machines: "answered", "sent", "stopped", "timed-out", "refused", "not-sent", "lost",
// "output-broken".
const char* OutcomeWord(AskOutcome outcome);

struct AskReport {
    AskOutcome outcome = AskOutcome::kPending;
    std::size_t pieces = 0;  // that belong to the request
    LinkProblem problem;     // of kRefused, kNotSent and kLost
};

class AskSession {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    // number: of the request.
    AskSession(unsigned int number, bool expectsAnswer, std::chrono::milliseconds limit);

    // The request is about to be sent: pieces are its own from here on, and the time limit runs. False: it
    // has ended already and must not be sent.
    bool Begin(TimePoint now) QUOR_TERMINAL_EXCLUDES(m_mutex);
    // It was sent. A request to which nothing is answered has ended by that.
    void Sent() QUOR_TERMINAL_EXCLUDES(m_mutex);

    // True: the piece belongs to the request and is to be shown. One that names another number does not.
    bool Take(const AnswerPiece& piece) QUOR_TERMINAL_EXCLUDES(m_mutex);

    // The first end counts; later ones change nothing.
    void End(AskOutcome outcome, const LinkProblem& problem = {}) QUOR_TERMINAL_EXCLUDES(m_mutex);
    // Ends it when the time limit has passed.
    void CheckTime(TimePoint now) QUOR_TERMINAL_EXCLUDES(m_mutex);

    bool Ended() const QUOR_TERMINAL_EXCLUDES(m_mutex);
    // True once: the request was sent, and it ended before its last piece for a reason on this side, so that
    // the server still works on it and is to be told.
    bool TakeStopDuty() QUOR_TERMINAL_EXCLUDES(m_mutex);
    AskReport Report() const QUOR_TERMINAL_EXCLUDES(m_mutex);

private:
    void EndWith(AskOutcome outcome, const LinkProblem& problem) QUOR_TERMINAL_REQUIRES(m_mutex);

    const unsigned int m_number;
    const bool m_expectsAnswer;
    const std::chrono::milliseconds m_limit;
    mutable Mutex m_mutex;
    AskReport m_report QUOR_TERMINAL_GUARDED_BY(m_mutex);
    TimePoint m_deadline QUOR_TERMINAL_GUARDED_BY(m_mutex);
    bool m_begun QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;
    bool m_stopTold QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;
};

}  // namespace quor_terminal

#endif
