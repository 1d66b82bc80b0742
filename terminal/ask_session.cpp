#include "ask_session.h"

namespace quor_terminal {

const char* OutcomeWord(AskOutcome outcome) {
    switch (outcome) {
        case AskOutcome::kPending:
            return "pending";
        case AskOutcome::kAnswered:
            return "answered";
        case AskOutcome::kSent:
            return "sent";
        case AskOutcome::kStopped:
            return "stopped";
        case AskOutcome::kTimedOut:
            return "timed-out";
        case AskOutcome::kRefused:
            return "refused";
        case AskOutcome::kNotSent:
            return "not-sent";
        case AskOutcome::kLost:
            return "lost";
        case AskOutcome::kOutputBroken:
            return "output-broken";
    }
    return "unknown";
}

AskSession::AskSession(unsigned int number, bool expectsAnswer, std::chrono::milliseconds limit)
    : m_number(number), m_expectsAnswer(expectsAnswer), m_limit(limit) {}

bool AskSession::Begin(TimePoint now) {
    const MutexLock lock(m_mutex);
    if (m_report.outcome != AskOutcome::kPending) {
        return false;
    }
    m_begun = true;
    m_deadline = now + m_limit;
    return true;
}

void AskSession::Sent() {
    const MutexLock lock(m_mutex);
    if (!m_expectsAnswer) {
        EndWith(AskOutcome::kSent, {});
    }
}

bool AskSession::Take(const AnswerPiece& piece) {
    const MutexLock lock(m_mutex);
    const bool anothers = piece.sequenceNumber.has_value() && *piece.sequenceNumber != m_number;
    if (!m_begun || m_report.outcome != AskOutcome::kPending || anothers) {
        return false;
    }
    if (!piece.refusal.empty()) {
        LinkProblem problem;
        problem.kind = LinkProblem::Kind::kRefused;
        problem.exitCode = kExitRefused;
        problem.text = "the server refused the request: " + piece.refusal;
        problem.advice = "Check --kind and the text; the server's own log says more.";
        EndWith(AskOutcome::kRefused, problem);
        return false;
    }
    ++m_report.pieces;
    if (piece.isFinal) {
        EndWith(AskOutcome::kAnswered, {});
    }
    return true;
}

void AskSession::End(AskOutcome outcome, const LinkProblem& problem) {
    const MutexLock lock(m_mutex);
    EndWith(outcome, problem);
}

void AskSession::CheckTime(TimePoint now) {
    const MutexLock lock(m_mutex);
    if (m_begun && now >= m_deadline) {
        EndWith(AskOutcome::kTimedOut, {});
    }
}

bool AskSession::Ended() const {
    const MutexLock lock(m_mutex);
    return m_report.outcome != AskOutcome::kPending;
}

bool AskSession::TakeStopDuty() {
    const MutexLock lock(m_mutex);
    const AskOutcome outcome = m_report.outcome;
    const bool ours = outcome == AskOutcome::kStopped || outcome == AskOutcome::kTimedOut ||
                      outcome == AskOutcome::kOutputBroken;
    if (!m_begun || !ours || m_stopTold) {
        return false;
    }
    m_stopTold = true;
    return true;
}

AskReport AskSession::Report() const {
    const MutexLock lock(m_mutex);
    return m_report;
}

void AskSession::EndWith(AskOutcome outcome, const LinkProblem& problem) {
    if (m_report.outcome == AskOutcome::kPending) {
        m_report.outcome = outcome;
        m_report.problem = problem;
    }
}

}  // namespace quor_terminal
