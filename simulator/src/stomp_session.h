/*
 * stomp_session.h - the server's side of one STOMP link as a state machine: a frame goes in, what has to be
 * done comes out. Pure code without I/O or locks; the hub calls it under its mutex.
 *
 * States: before CONNECT, connected, ended. Whatever breaks a rule of STOMP ends the link with an ERROR
 * frame.
 */
#ifndef QUOR_SIMULATOR_STOMP_SESSION_H
#define QUOR_SIMULATOR_STOMP_SESSION_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quor_simulator/simulator.h"
#include "stomp_frame.h"

namespace quor_simulator::stomp {

/* What the server allows at the moment of the frame; asked anew for each frame that needs it. */
class Policy {
public:
    virtual ~Policy() = default;
    virtual bool TokenAccepted(std::string_view token) = 0;
    /* The message of the ERROR that answers a CONNECT instead of CONNECTED. */
    virtual std::optional<std::string> ConnectRefusal() = 0;
    virtual bool ReceiptsWithheld() = 0;
};

struct SessionSettings {
    std::string sessionId;
    bool manager = false; /* may SEND large-model requests and nothing else */
    Milliseconds heartBeatSend{0};
    Milliseconds heartBeatReceive{0};
    std::size_t maxSubscriptions = 256;
    std::size_t maxTransactionBytes = 1U << 20; /* SENDs held back for a COMMIT, all transactions together */
};

struct SubscriptionRequest {
    std::string id;
    std::string destination;
    std::string token;
    std::string conferenceId;
    bool acknowledged = false; /* MESSAGEs carry an ack header (1.2) */
};

/* Done in this order: subscription changes, sends, replies, end. */
struct Outcome {
    std::optional<SubscriptionRequest> subscribe;
    std::optional<std::string> unsubscribeId;
    std::vector<Frame> sends;
    std::vector<Frame> replies;
    bool connected = false;
    bool end = false;  /* close once the replies are out */
    std::string error; /* of the ERROR frame among the replies */
};

class Session {
public:
    explicit Session(SessionSettings settings) : m_settings(std::move(settings)) {}

    Outcome Handle(Frame frame, Policy& policy);
    /* The outcome for a byte stream that is no STOMP, or for a server-side decision to end the link. */
    Outcome Refuse(std::string message, const Frame* cause = nullptr) const;

    bool connected() const { return m_connected; }
    Version version() const { return m_version; }
    Milliseconds agreedSend() const { return m_agreedSend; }
    Milliseconds agreedReceive() const { return m_agreedReceive; }

private:
    using Handler = Outcome (Session::*)(Frame& frame, Policy& policy);
    struct Command {
        const char* name;
        Handler handler;
        bool onManagerLink;
    };
    static const Command kCommands[];

    Outcome Connect(Frame& frame, Policy& policy);
    Outcome Subscribe(Frame& frame, Policy& policy);
    Outcome Unsubscribe(Frame& frame, Policy& policy);
    Outcome Send(Frame& frame, Policy& policy);
    Outcome Acknowledge(Frame& frame, Policy& policy);
    Outcome Begin(Frame& frame, Policy& policy);
    Outcome Commit(Frame& frame, Policy& policy);
    Outcome Abort(Frame& frame, Policy& policy);
    Outcome Disconnect(Frame& frame, Policy& policy);

    bool NegotiateHeartBeat(const std::string& text);
    std::optional<std::string> SubscribeFault(const Frame& frame, Policy& policy) const;

    const SessionSettings m_settings;
    bool m_connected = false;
    bool m_ended = false;
    Version m_version = Version::k12; /* assumed until CONNECT: an ERROR before it is readable anyway */
    Milliseconds m_agreedSend{0};
    Milliseconds m_agreedReceive{0};
    std::map<std::string, std::string, std::less<>> m_subscriptions; /* id -> destination */
    std::map<std::string, std::vector<Frame>, std::less<>> m_transactions;
    std::size_t m_transactionBytes = 0;
};

}  // namespace quor_simulator::stomp

#endif
