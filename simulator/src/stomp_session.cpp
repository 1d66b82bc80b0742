#include "stomp_session.h"

#include <charconv>
#include <utility>

#include "destinations.h"

namespace quor_simulator::stomp {
namespace {

constexpr std::size_t kMaxTransactions = 16;
/* A peer that asks for more than a day wants no heart-beat; it also keeps sums far from overflow. */
constexpr unsigned int kMaxHeartBeatMs = 24U * 3600U * 1000U;

/* The highest version in the comma-separated list; a missing list means 1.0. */
std::optional<Version> ChooseVersion(const std::string* list) {
    if (list == nullptr) {
        return Version::k10;
    }
    std::optional<Version> best;
    std::string_view rest = *list;
    while (!rest.empty()) {
        const std::size_t comma = rest.find(',');
        std::string_view item = rest.substr(0, comma);
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
        while (!item.empty() && item.front() == ' ') {
            item.remove_prefix(1);
        }
        while (!item.empty() && item.back() == ' ') {
            item.remove_suffix(1);
        }
        for (const Version version : {Version::k10, Version::k11, Version::k12}) {
            if (item == VersionText(version) && (!best || *best < version)) {
                best = version;
            }
        }
    }
    return best;
}

bool ParseInterval(std::string_view text, Milliseconds& out) {
    unsigned int value = 0;
    const char* end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, value);
    if (text.empty() || parsed.ec != std::errc() || parsed.ptr != end || value > kMaxHeartBeatMs) {
        return false;
    }
    out = Milliseconds(value);
    return true;
}

Milliseconds Agree(Milliseconds canSend, Milliseconds wanted) {
    return canSend.count() == 0 || wanted.count() == 0 ? Milliseconds(0) : std::max(canSend, wanted);
}

bool KnownAckMode(const std::string& mode, Version version) {
    return mode == "auto" || mode == "client" || (mode == "client-individual" && version != Version::k10);
}

std::string ValueOf(const Frame& frame, std::string_view name) {
    const std::string* value = frame.Find(name);
    return value == nullptr ? std::string() : *value;
}

}  // namespace

const Session::Command Session::kCommands[] = {
    {"SEND", &Session::Send, true},
    {"SUBSCRIBE", &Session::Subscribe, false},
    {"UNSUBSCRIBE", &Session::Unsubscribe, false},
    {"ACK", &Session::Acknowledge, false},
    {"NACK", &Session::Acknowledge, false},
    {"BEGIN", &Session::Begin, false},
    {"COMMIT", &Session::Commit, false},
    {"ABORT", &Session::Abort, false},
    {"DISCONNECT", &Session::Disconnect, true},
};

Outcome Session::Handle(Frame frame, Policy& policy) {
    if (m_ended) {
        return {};
    }
    Outcome outcome;
    const bool isConnect = frame.command == "CONNECT" || frame.command == "STOMP";
    if (isConnect) {
        outcome = Connect(frame, policy);
    } else if (!m_connected && !m_settings.manager) {
        /* A management link may go without a session: its clients often send requests only. */
        outcome = Refuse("CONNECT expected", &frame);
    } else {
        const Command* command = nullptr;
        for (const Command& candidate : kCommands) {
            command = frame.command == candidate.name ? &candidate : command;
        }
        if (command == nullptr) {
            outcome = Refuse("unknown command", &frame);
        } else if (m_settings.manager && !command->onManagerLink) {
            outcome = Refuse("not allowed on a management link", &frame);
        } else {
            outcome = (this->*command->handler)(frame, policy);
        }
    }
    const std::string* receipt = frame.Find("receipt");
    if (outcome.error.empty() && receipt != nullptr && !isConnect && !policy.ReceiptsWithheld()) {
        outcome.replies.push_back({"RECEIPT", {{"receipt-id", *receipt}}, {}});
    }
    m_ended = outcome.end;
    return outcome;
}

Outcome Session::Refuse(std::string message, const Frame* cause) const {
    Outcome outcome;
    Frame error{"ERROR", {{"message", message}, {"content-type", "text/plain"}}, {}};
    if (cause != nullptr) {
        if (const std::string* receipt = cause->Find("receipt")) {
            error.headers.emplace_back("receipt-id", *receipt);
        }
        /* A frame's name only: its headers may hold a token. */
        error.body = "The frame that was refused: " + cause->command.substr(0, 64) + "\n";
    }
    error.headers.emplace_back("content-length", std::to_string(error.body.size()));
    outcome.replies.push_back(std::move(error));
    outcome.end = true;
    outcome.error = std::move(message);
    return outcome;
}

Outcome Session::Connect(Frame& frame, Policy& policy) {
    if (m_connected) {
        return Refuse("already connected", &frame);
    }
    if (std::optional<std::string> refusal = policy.ConnectRefusal()) {
        return Refuse(*refusal, &frame);
    }
    const std::optional<Version> version = ChooseVersion(frame.Find("accept-version"));
    if (!version) {
        Outcome outcome = Refuse("no common version", &frame);
        outcome.replies.back().headers.emplace_back("version", "1.0,1.1,1.2");
        return outcome;
    }
    const std::string* heartBeat = frame.Find("heart-beat");
    if (heartBeat != nullptr && *version != Version::k10 && !NegotiateHeartBeat(*heartBeat)) {
        return Refuse("malformed heart-beat header", &frame);
    }
    m_version = *version;
    m_connected = true;
    Frame reply{"CONNECTED", {{"version", VersionText(m_version)}, {"server", "quor-simulator/1.0"}}, {}};
    reply.headers.emplace_back("session", m_settings.sessionId);
    if (m_version != Version::k10) {
        reply.headers.emplace_back("heart-beat", std::to_string(m_settings.heartBeatSend.count()) + "," +
                                                     std::to_string(m_settings.heartBeatReceive.count()));
    }
    Outcome outcome;
    outcome.connected = true;
    outcome.replies.push_back(std::move(reply));
    return outcome;
}

bool Session::NegotiateHeartBeat(const std::string& text) {
    const std::string_view view = text;
    const std::size_t comma = view.find(',');
    Milliseconds clientSends{0};
    Milliseconds clientWants{0};
    if (comma == std::string_view::npos || !ParseInterval(view.substr(0, comma), clientSends) ||
        !ParseInterval(view.substr(comma + 1), clientWants)) {
        return false;
    }
    m_agreedSend = Agree(m_settings.heartBeatSend, clientWants);
    m_agreedReceive = Agree(m_settings.heartBeatReceive, clientSends);
    return true;
}

std::optional<std::string> Session::SubscribeFault(const Frame& frame, Policy& policy) const {
    const std::string* destination = frame.Find("destination");
    const std::string* id = frame.Find("id");
    const std::string* ack = frame.Find("ack");
    if (destination == nullptr || destination->empty()) {
        return "SUBSCRIBE without destination";
    }
    if (id == nullptr || id->empty()) {
        return "SUBSCRIBE without id";
    }
    if (ack != nullptr && !KnownAckMode(*ack, m_version)) {
        return "unknown ack mode";
    }
    if (m_subscriptions.find(*id) != m_subscriptions.end()) {
        return "subscription id in use";
    }
    if (m_subscriptions.size() >= m_settings.maxSubscriptions) {
        return "too many subscriptions";
    }
    if (NeedsToken(*destination) && !policy.TokenAccepted(ValueOf(frame, "token"))) {
        return "token refused";
    }
    return std::nullopt;
}

Outcome Session::Subscribe(Frame& frame, Policy& policy) {
    if (std::optional<std::string> fault = SubscribeFault(frame, policy)) {
        return Refuse(*fault, &frame);
    }
    SubscriptionRequest request;
    request.id = *frame.Find("id");
    request.destination = *frame.Find("destination");
    request.token = ValueOf(frame, "token");
    request.conferenceId = ValueOf(frame, "conferenceId");
    const std::string* ack = frame.Find("ack");
    request.acknowledged = ack != nullptr && *ack != "auto";
    m_subscriptions.emplace(request.id, request.destination);
    Outcome outcome;
    outcome.subscribe = std::move(request);
    return outcome;
}

/* 1.0 clients may leave the id out and name the destination. */
Outcome Session::Unsubscribe(Frame& frame, Policy&) {
    const std::string* id = frame.Find("id");
    const std::string* destination = frame.Find("destination");
    auto entry = id == nullptr ? m_subscriptions.end() : m_subscriptions.find(*id);
    if (id == nullptr && m_version == Version::k10 && destination != nullptr) {
        for (entry = m_subscriptions.begin(); entry != m_subscriptions.end(); ++entry) {
            if (entry->second == *destination) {
                break;
            }
        }
    } else if (id == nullptr) {
        return Refuse("UNSUBSCRIBE without id", &frame);
    }
    if (entry == m_subscriptions.end()) {
        return Refuse("no such subscription", &frame);
    }
    Outcome outcome;
    outcome.unsubscribeId = entry->first;
    m_subscriptions.erase(entry);
    return outcome;
}

Outcome Session::Send(Frame& frame, Policy& policy) {
    const std::string* destination = frame.Find("destination");
    if (m_settings.manager) {
        if (destination != nullptr || frame.Find("reqType") == nullptr) {
            return Refuse("a management link takes large-model requests only", &frame);
        }
    } else if (destination == nullptr || destination->empty()) {
        return Refuse("SEND without destination", &frame);
    } else if (NeedsToken(*destination) && !policy.TokenAccepted(ValueOf(frame, "token"))) {
        return Refuse("token refused", &frame);
    }
    Outcome outcome;
    const std::string* name = frame.Find("transaction");
    if (name == nullptr) {
        outcome.sends.push_back(frame);
        return outcome;
    }
    const auto transaction = m_transactions.find(*name);
    if (transaction == m_transactions.end()) {
        return Refuse("no such transaction", &frame);
    }
    m_transactionBytes += frame.body.size() + 1024;
    if (m_transactionBytes > m_settings.maxTransactionBytes) {
        return Refuse("transactions too large", &frame);
    }
    transaction->second.push_back(frame);
    return outcome;
}

/* Nothing is ever sent again, so an acknowledgement changes nothing; its form is checked all the same. */
Outcome Session::Acknowledge(Frame& frame, Policy&) {
    const bool named = frame.Find(m_version == Version::k12 ? "id" : "message-id") != nullptr;
    const bool subscription = m_version != Version::k11 || frame.Find("subscription") != nullptr;
    return named && subscription ? Outcome() : Refuse(frame.command + " names no message", &frame);
}

Outcome Session::Begin(Frame& frame, Policy&) {
    const std::string* name = frame.Find("transaction");
    if (name == nullptr) {
        return Refuse("BEGIN without transaction", &frame);
    }
    if (m_transactions.size() >= kMaxTransactions) {
        return Refuse("too many transactions", &frame);
    }
    if (!m_transactions.emplace(*name, std::vector<Frame>()).second) {
        return Refuse("transaction exists", &frame);
    }
    return {};
}

Outcome Session::Commit(Frame& frame, Policy& policy) {
    Outcome outcome;
    const auto transaction = m_transactions.find(ValueOf(frame, "transaction"));
    if (transaction != m_transactions.end()) {
        outcome.sends = std::move(transaction->second);
        transaction->second.clear();
    }
    Outcome ended = Abort(frame, policy);
    return ended.error.empty() ? outcome : ended;
}

Outcome Session::Abort(Frame& frame, Policy&) {
    const auto transaction = m_transactions.find(ValueOf(frame, "transaction"));
    if (transaction == m_transactions.end()) {
        return Refuse("no such transaction", &frame);
    }
    m_transactions.erase(transaction);
    if (m_transactions.empty()) {
        m_transactionBytes = 0;
    }
    return {};
}

Outcome Session::Disconnect(Frame&, Policy&) {
    Outcome outcome;
    outcome.end = true;
    return outcome;
}

}  // namespace quor_simulator::stomp
