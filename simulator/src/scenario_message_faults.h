/*
 * scenario_message_faults.h - what scenario files say about faulty content: the members that spoil a step's
 * own messages, and the steps about answers. All functions throw Error as scenario.h describes.
 */
#ifndef QUOR_SIMULATOR_SCENARIO_MESSAGE_FAULTS_H
#define QUOR_SIMULATOR_SCENARIO_MESSAGE_FAULTS_H

#include <initializer_list>
#include <string>
#include <string_view>

#include "json_node.h"
#include "scenario_faults.h"
#include "spoiler.h"

namespace quor_simulator {

/* What a step's members "omit", "wrongType", ... do to the bodies of its messages. */
class StepFault {
public:
    /* The step may have members, and those of a fault. Refers to the step. */
    StepFault(const JsonNode& step, std::initializer_list<std::string_view> members);

    std::string Apply(const std::string& body) { return m_spoiler.Apply(body); }
    /* After the last body: what of the fault fits none of them is an error. */
    void Check() const;

private:
    const JsonNode& m_step;
    Spoiler m_spoiler;
};

FaultStep ReadAnswerFaultStep(const JsonNode& step);
FaultStep ReadAnswerReleaseStep(const JsonNode& step);
FaultStep ReadAnswerClearStep(const JsonNode& step);

}  // namespace quor_simulator

#endif
