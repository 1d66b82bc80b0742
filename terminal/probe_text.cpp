#include "probe_text.h"

#include "exit_codes.h"
#include "failure_text.h"

namespace quor_terminal {

const char* ProbeWord(const Probe& probe) {
    switch (probe.state) {
        case ProbeState::kNotAsked:
            return "not-asked";
        case ProbeState::kAsked:
            return "asked";
        case ProbeState::kAnswered:
            return "answered";
        case ProbeState::kFailed:
            break;
    }
    return "failed";
}

std::string ProbeReason(const Probe& probe) {
    switch (probe.state) {
        case ProbeState::kNotAsked:
            return "no IPv4 address; the library looks up no names";
        case ProbeState::kAsked:
            return "no answer yet";
        case ProbeState::kAnswered:
            return {};
        case ProbeState::kFailed:
            break;
    }
    const LinkProblem problem = ExplainFaceFailure(probe.reason, {});
    if (problem.exitCode == kExitRefused && problem.kind == LinkProblem::Kind::kRefused) {
        return "refuses the account or its password: HTTP status " + std::to_string(probe.reason.httpStatus);
    }
    return problem.text;
}

Json ProbeDocument(const FaceCandidate& candidate, const Probe& probe) {
    Json document = {{"url", candidate.url}, {"state", ProbeWord(probe)}};
    if (probe.state == ProbeState::kFailed) {
        document["stage"] = quor_platform::StageName(probe.reason.stage == quor_platform::Stage::kNone
                                                         ? quor_platform::Stage::kAnswer
                                                         : probe.reason.stage);
    }
    if (probe.reason.httpStatus != 0) {
        document["httpStatus"] = probe.reason.httpStatus;
    }
    const std::string reason = ProbeReason(probe);
    if (!reason.empty()) {
        document["problem"] = reason;
    }
    return document;
}

}  // namespace quor_terminal
