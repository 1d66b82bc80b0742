#include "scenario_message_faults.h"

#include <optional>
#include <utility>

#include "answers.h"
#include "choose.h"

namespace quor_simulator {
namespace {

constexpr std::string_view kMessageFaultMembers[] = {"omit",   "wrongType", "tooLong",
                                                     "length", "entries",   "otherUri"};
constexpr std::int64_t kMaxCount = 1000000;

MessageFault ReadMessageFault(const JsonNode& step, std::initializer_list<std::string_view> members) {
    step.AllowOnly(members, kMessageFaultMembers);
    MessageFault fault;
    fault.omit = step.TextsOr("omit");
    fault.wrongType = step.TextsOr("wrongType");
    fault.tooLong = step.TextsOr("tooLong");
    fault.length = static_cast<std::size_t>(step.IntegerOr("length", 1, kMaxFaultLength, kTooLongBytes));
    fault.entries = static_cast<std::size_t>(step.IntegerOr("entries", 1, kMaxFaultEntries, kTooManyEntries));
    if (step.Has("otherUri")) {
        fault.otherUri = step.Member("otherUri").Text();
    }
    return fault;
}

void FailOnFirst(const JsonNode& step, const std::vector<Spoiler::Problem>& problems) {
    if (problems.empty()) {
        return;
    }
    const JsonNode member = step.Member(problems.front().list);
    if (member.value().is_array()) {
        member.Items()[problems.front().index].Fail(problems.front().text);
    }
    member.Fail(problems.front().text);
}

std::optional<AnswerKind> OptionalAnswer(const JsonNode& step) {
    step.AllowOnly({"at", "kind", "answer"});
    return step.Has("answer") ? std::optional(Choose(step.Member("answer"), kAnswerNames)) : std::nullopt;
}

}  // namespace

StepFault::StepFault(const JsonNode& step, std::initializer_list<std::string_view> members)
    : m_step(step), m_spoiler(ReadMessageFault(step, members)) {}

void StepFault::Check() const {
    FailOnFirst(m_step, m_spoiler.Problems());
}

FaultStep ReadAnswerFaultStep(const JsonNode& step) {
    AnswerFault fault;
    fault.content = ReadMessageFault(step, {"at", "kind", "answer", "otherNumber", "hold", "skip", "times"});
    const AnswerKind kind = Choose(step.Member("answer"), kAnswerNames);
    fault.otherNumber = step.FlagOr("otherNumber", false);
    fault.hold = step.FlagOr("hold", false);
    fault.skip = static_cast<std::size_t>(step.IntegerOr("skip", 0, kMaxCount, 0));
    if (step.Has("times")) {
        fault.times = static_cast<std::size_t>(step.Member("times").Integer(1, kMaxCount));
    }
    FailOnFirst(step, ProblemsOf(kind, fault));
    return [kind, fault = std::move(fault)](Hub& hub) { hub.SetAnswerFault(kind, fault); };
}

FaultStep ReadAnswerReleaseStep(const JsonNode& step) {
    return [kind = OptionalAnswer(step)](Hub& hub) { hub.ReleaseAnswers(kind); };
}

FaultStep ReadAnswerClearStep(const JsonNode& step) {
    return [kind = OptionalAnswer(step)](Hub& hub) { hub.ClearAnswerFault(kind); };
}

}  // namespace quor_simulator
