/*
 * answers.h - what the server answers to a client's SEND: the verdict on a capability report, and the pieces
 * of a large-model answer, which stream until they are all out or a stop request comes. Pure code without I/O
 * or locks; the hub calls it under its mutex and sends what is due.
 */
#ifndef QUOR_SIMULATOR_ANSWERS_H
#define QUOR_SIMULATOR_ANSWERS_H

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

#include "quor_simulator/simulator.h"

namespace quor_simulator {

struct Answer {
    LinkId link = 0; /* that asked */
    /* Topic whose subscribers get it; empty: the asking link gets it, as the capability report's verdict or,
     * on a management link, in the form that Options::managerAnswer says. */
    std::string topic;
    bool manager = false;
    std::string body;
};

class AnswerQueue {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /* Plans the answers to send, if it is a request that the server knows. A stop request takes back what is
     * still planned for the same link, kind and sequence number. */
    void Plan(const ReceivedSend& send, bool manager, TimePoint now);
    /* Takes the next answer that is due. */
    bool TakeDue(TimePoint now, Answer& answer);
    void ForgetLink(LinkId link);
    std::size_t size() const { return m_planned.size(); }

private:
    struct Planned {
        Answer answer;
        std::string request; /* kind and sequence number; empty: cannot be stopped */
    };

    void PlanModelAnswer(const ReceivedSend& send, bool manager, TimePoint now);
    void Stop(LinkId link, const std::string& request);

    std::multimap<TimePoint, Planned> m_planned;
};

}  // namespace quor_simulator

#endif
