#include "answers.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "destinations.h"

namespace quor_simulator {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kPieces = 5;
constexpr std::chrono::milliseconds kPieceInterval{60};
/* Planned pieces of all links together; requests beyond are not answered. */
constexpr std::size_t kMaxPlanned = 10000;
constexpr std::string_view kStopSuffix = "_STOP";

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

}  // namespace

void AnswerQueue::Plan(const ReceivedSend& send, bool manager, TimePoint now) {
    if (!manager && send.destination == kCapabilityDestination) {
        m_planned.emplace(now, Planned{{send.link, {}, false, R"({"result":0})"}, {}});
    } else if (manager || send.destination == kModelDestination) {
        const std::string& kind = HeaderOf(send, "reqType");
        const std::string& number = HeaderOf(send, "seqNum");
        const std::size_t base = kind.size() - std::min(kind.size(), kStopSuffix.size());
        if (std::string_view(kind).substr(base) == kStopSuffix) {
            Stop(send.link, kind.substr(0, base) + " " + number);
        } else {
            PlanModelAnswer(send, manager, now);
        }
    }
}

void AnswerQueue::PlanModelAnswer(const ReceivedSend& send, bool manager, TimePoint now) {
    const Json request = Json::parse(send.body, nullptr, false);
    if (!request.is_object() || m_planned.size() + kPieces > kMaxPlanned) {
        return;
    }
    const std::string& kind = HeaderOf(send, "reqType");
    const std::string& number = HeaderOf(send, "seqNum");
    const std::string prompt = TextMember(request, "content");
    const std::string topic =
        manager ? std::string() : ModelAnswerTopic(TextMember(request, "confId"), TextMember(request, "uri"));
    for (std::size_t piece = 0; piece < kPieces; ++piece) {
        Json body;
        body["seqNum"] = number;
        body["reqType"] = kind;
        body["piece"] = piece;
        body["content"] = piece == 0 ? "You asked: " + prompt : "; piece " + std::to_string(piece);
        body["final"] = piece + 1 == kPieces;
        const std::string text = body.dump(-1, ' ', false, Json::error_handler_t::replace);
        const auto due = now + (piece + 1) * kPieceInterval;
        m_planned.emplace(due, Planned{{send.link, topic, manager, text}, kind + " " + number});
    }
}

void AnswerQueue::Stop(LinkId link, const std::string& request) {
    for (auto entry = m_planned.begin(); entry != m_planned.end();) {
        const bool stopped = entry->second.answer.link == link && entry->second.request == request;
        entry = stopped ? m_planned.erase(entry) : std::next(entry);
    }
}

bool AnswerQueue::TakeDue(TimePoint now, Answer& answer) {
    const auto first = m_planned.begin();
    if (first == m_planned.end() || first->first > now) {
        return false;
    }
    answer = std::move(first->second.answer);
    m_planned.erase(first);
    return true;
}

void AnswerQueue::ForgetLink(LinkId link) {
    for (auto entry = m_planned.begin(); entry != m_planned.end();) {
        entry = entry->second.answer.link == link ? m_planned.erase(entry) : std::next(entry);
    }
}

}  // namespace quor_simulator
