/*
 * answers.h - what the server answers to a client's SEND: the verdict on a capability report, and the pieces
 * of a large-model answer, which stream until they are all out or a stop request comes; and the faults of
 * both. Pure code without I/O or locks; the hub calls it under its mutex and sends what is due.
 */
#ifndef QUOR_SIMULATOR_ANSWERS_H
#define QUOR_SIMULATOR_ANSWERS_H

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fault_table.h"
#include "quor_simulator/simulator.h"
#include "spoiler.h"

namespace quor_simulator {

struct Answer {
    AnswerKind kind = AnswerKind::kCapability;
    LinkId link = 0; /* that asked */
    /* Topic whose subscribers get it; empty: the asking link gets it, as the capability report's verdict or,
     * on a management link, in the form that Options::managerAnswer says. */
    std::string topic;
    std::string uri; /* not empty: instead of the asking link those get it that reported this uri */
    std::string body;
};

/* What of a fault does not fit the answers of that kind. */
std::vector<Spoiler::Problem> ProblemsOf(AnswerKind kind, const AnswerFault& fault);

class AnswerQueue {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /* Plans the answers to send, if it is a request that the server knows. A stop request takes back what is
     * still planned or held for the same link, kind and sequence number. */
    void Plan(const ReceivedSend& send, bool manager, TimePoint now);
    /* Takes the next answer that is due and not held. */
    bool TakeDue(TimePoint now, Answer& answer);
    void ForgetLink(LinkId link);
    void ForgetAll();
    std::size_t size() const { return m_planned.size() + m_held.size(); }

    /* Must have no problems. */
    void SetFault(AnswerKind kind, AnswerFault fault) { m_faults.Set(kind, std::move(fault)); }
    /* Held answers stay held. */
    void ClearFault(std::optional<AnswerKind> kind) { m_faults.Clear(kind); }
    /* What is held of that kind, or of all, is due from now on; returns how many. */
    std::size_t Release(std::optional<AnswerKind> kind, TimePoint now);
    std::size_t held() const { return m_held.size(); }

private:
    struct Planned {
        Answer answer;
        std::string request; /* kind and sequence number; empty: cannot be stopped */
        bool hold = false;   /* when it is due */
    };

    void PlanVerdict(const ReceivedSend& send, TimePoint now);
    void PlanModelAnswer(const ReceivedSend& send, AnswerKind kind, TimePoint now);
    template <class Predicate>
    void Forget(Predicate matches);

    std::multimap<TimePoint, Planned> m_planned;
    std::vector<Planned> m_held; /* in the order in which they fell due */
    CountedFaults<AnswerKind, AnswerFault> m_faults;
};

}  // namespace quor_simulator

#endif
