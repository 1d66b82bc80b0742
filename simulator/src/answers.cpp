#include "answers.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "destinations.h"

namespace quor_simulator {
namespace {

constexpr std::size_t kPieces = 5;
constexpr std::chrono::milliseconds kPieceInterval{60};
/* Planned pieces of all links together; requests beyond are not answered. */
constexpr std::size_t kMaxPlanned = 10000;
constexpr std::string_view kStopSuffix = "_STOP";
constexpr std::string_view kVerdict = R"({"result":0})";

const std::string& HeaderOf(const ReceivedSend& send, std::string_view name) {
    static const std::string kEmpty;
    for (const auto& header : send.headers) {
        if (header.first == name) {
            return header.second;
        }
    }
    return kEmpty;
}

std::string TextMember(const Json& object, const char* name) {
    const auto member = object.find(name);
    return member != object.end() && member->is_string() ? member->get<std::string>() : std::string();
}

Json ModelPiece(std::string_view number, std::string_view kind, std::size_t piece, std::string_view prompt) {
    Json body;
    body["seqNum"] = number;
    body["reqType"] = kind;
    body["piece"] = piece;
    body["content"] = piece == 0 ? "You asked: " + std::string(prompt) : "; piece " + std::to_string(piece);
    body["final"] = piece + 1 == kPieces;
    return body;
}

/* A number that terminals can read, and not this one. */
std::string_view OtherNumber(std::string_view number) {
    return number == "1" ? "2" : "1";
}

/* What the fault says about the body: otherUri means the answer's way. */
MessageFault BodyFault(const AnswerFault& fault) {
    MessageFault content = fault.content;
    content.otherUri.reset();
    return content;
}

}  // namespace

std::vector<Spoiler::Problem> ProblemsOf(AnswerKind kind, const AnswerFault& fault) {
    Spoiler spoiler(BodyFault(fault));
    spoiler.Apply(kind == AnswerKind::kCapability ? std::string(kVerdict)
                                                  : ModelPiece("1", "X", 0, "x").dump());
    std::vector<Spoiler::Problem> problems = spoiler.Problems();
    if (kind == AnswerKind::kManagerModel && fault.content.otherUri) {
        problems.push_back({"otherUri", 0, "a management link names no terminal"});
    }
    if (kind == AnswerKind::kCapability && fault.otherNumber) {
        problems.push_back({"otherNumber", 0, "the answer to a capability report has no sequence number"});
    }
    return problems;
}

void AnswerQueue::Plan(const ReceivedSend& send, bool manager, TimePoint now) {
    if (!manager && send.destination == kCapabilityDestination) {
        PlanVerdict(send, now);
    } else if (manager || send.destination == kModelDestination) {
        const std::string& kind = HeaderOf(send, "reqType");
        const std::string& number = HeaderOf(send, "seqNum");
        const std::size_t base = kind.size() - std::min(kind.size(), kStopSuffix.size());
        if (std::string_view(kind).substr(base) == kStopSuffix) {
            const std::string stopped = kind.substr(0, base) + " " + number;
            Forget([&](const Planned& planned) {
                return planned.answer.link == send.link && planned.request == stopped;
            });
        } else {
            PlanModelAnswer(send, manager ? AnswerKind::kManagerModel : AnswerKind::kModel, now);
        }
    }
}

void AnswerQueue::PlanVerdict(const ReceivedSend& send, TimePoint now) {
    if (size() >= kMaxPlanned) {
        return;
    }
    const std::optional<AnswerFault> fault = m_faults.Take(AnswerKind::kCapability);
    Planned verdict;
    verdict.answer.link = send.link;
    verdict.answer.body = kVerdict;
    if (fault) {
        verdict.answer.body = Spoiler(BodyFault(*fault)).Apply(kVerdict);
        verdict.answer.uri = fault->content.otherUri.value_or("");
        verdict.hold = fault->hold;
    }
    m_planned.emplace(now, std::move(verdict));
}

void AnswerQueue::PlanModelAnswer(const ReceivedSend& send, AnswerKind kind, TimePoint now) {
    const Json request = Json::parse(send.body, nullptr, false);
    if (!request.is_object() || size() + kPieces > kMaxPlanned) {
        return;
    }
    const AnswerFault fault = m_faults.Take(kind).value_or(AnswerFault{});
    Spoiler spoiler(BodyFault(fault));
    const std::string& type = HeaderOf(send, "reqType");
    const std::string& number = HeaderOf(send, "seqNum");
    const std::string prompt = TextMember(request, "content");
    Planned planned;
    planned.request = type + " " + number;
    planned.answer.kind = kind;
    planned.answer.link = send.link;
    if (kind == AnswerKind::kModel) {
        planned.answer.topic = ModelAnswerTopic(TextMember(request, "confId"),
                                                fault.content.otherUri.value_or(TextMember(request, "uri")));
    }
    for (std::size_t piece = 0; piece < kPieces; ++piece) {
        const Json body = ModelPiece(fault.otherNumber ? OtherNumber(number) : number, type, piece, prompt);
        planned.answer.body = spoiler.Apply(body.dump(-1, ' ', false, Json::error_handler_t::replace));
        planned.hold = fault.hold && piece + 1 == kPieces;
        m_planned.emplace(now + (piece + 1) * kPieceInterval, planned);
    }
}

bool AnswerQueue::TakeDue(TimePoint now, Answer& answer) {
    for (auto first = m_planned.begin(); first != m_planned.end() && first->first <= now;
         first = m_planned.begin()) {
        Planned due = std::move(first->second);
        m_planned.erase(first);
        if (!due.hold) {
            answer = std::move(due.answer);
            return true;
        }
        m_held.push_back(std::move(due));
    }
    return false;
}

std::size_t AnswerQueue::Release(std::optional<AnswerKind> kind, TimePoint now) {
    const auto stays = [&](const Planned& held) { return kind && held.answer.kind != *kind; };
    const auto first = std::stable_partition(m_held.begin(), m_held.end(), stays);
    const auto released = static_cast<std::size_t>(m_held.end() - first);
    for (auto held = first; held != m_held.end(); ++held) {
        held->hold = false;
        m_planned.emplace(now, std::move(*held));
    }
    m_held.erase(first, m_held.end());
    return released;
}

void AnswerQueue::ForgetLink(LinkId link) {
    Forget([link](const Planned& planned) { return planned.answer.link == link; });
}

void AnswerQueue::ForgetAll() {
    m_planned.clear();
    m_held.clear();
}

template <class Predicate>
void AnswerQueue::Forget(Predicate matches) {
    std::erase_if(m_planned, [&](const auto& entry) { return matches(entry.second); });
    std::erase_if(m_held, matches);
}

}  // namespace quor_simulator
