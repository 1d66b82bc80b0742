/*
 * hub.h - everything the server knows: links and their outbound queues, subscriptions, rules, counters. The
 * public Simulator calls it from any thread, the network from its one thread.
 *
 * Lock: one mutex guards all of it; the condition variable tells of every change that somebody may wait for.
 * The network is called under the mutex (LinkControl) and must not call back from there.
 */
#ifndef QUOR_SIMULATOR_HUB_H
#define QUOR_SIMULATOR_HUB_H

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "answers.h"
#include "quor_simulator/simulator.h"
#include "stomp_frame.h"
#include "stomp_session.h"
#include "sync.h"
#include "upgrade.h"

namespace quor_simulator {

/* Bytes for one WebSocket message, or for several if they are to be cut. */
struct Outbound {
    std::string bytes;
    bool binary = false;
    std::size_t messages = 1;
    std::size_t fragments = 1;
};

struct LinkEnd {
    Drop how = Drop::kCloseFrame;
    std::uint16_t code = 1000;
    std::string reason;
};

/* What the hub asks of the network. Only posts work to the network thread. */
class LinkControl {
public:
    virtual ~LinkControl() = default;
    /* There is something to take for an idle link. */
    virtual void Wake(LinkId link) = 0;
    /* TCP reset, whatever is under way. */
    virtual void Reset(LinkId link) = 0;
    virtual void Freeze(LinkId link, bool freeze) = 0;
    virtual void SetRate(LinkId link, std::size_t bytesPerSecond) = 0;
};

class Hub : private stomp::Policy {
public:
    using Clock = std::chrono::steady_clock;

    explicit Hub(const Options& options);

    /* ---- for the network, on its thread ---- */
    void Attach(LinkControl* control); /* null: the network has stopped, every link is gone */
    Certificate certificate() const;
    UpgradeDecision Decide(const UpgradeRequest& request);
    void CountRefusal(); /* a connection that ended before its upgrade */
    LinkId OpenLink(std::string peer, bool manager);
    void Receive(LinkId id, std::string_view bytes);
    enum class Taken { kNothing, kData, kEnd };
    /* kNothing: the link is idle from here on, Wake will tell when there is more. */
    Taken Take(LinkId id, Outbound& data, LinkEnd& end);
    /* The client sent a WebSocket close frame: the link takes and gives nothing any more. */
    void ClientCloses(LinkId id);
    void LinkGone(LinkId id);
    /* Heart-beats, timeouts, planned answers; called every kTickMs. */
    void Tick(Clock::time_point now);
    static constexpr int kTickMs = 20;

    /* ---- the public interface; see simulator.h ---- */
    std::size_t Publish(std::string_view destination, std::string_view body, const PublishOptions& options);
    std::size_t PublishRaw(std::string_view bytes, const RawOptions& options);
    std::size_t PublishMalformed(Malformed form);
    bool Flush(Milliseconds timeout);
    std::vector<Subscription> Subscriptions() const;
    std::vector<LinkInfo> Links() const;
    std::vector<ReceivedSend> Received() const;
    void ClearReceived();
    Statistics GetStatistics() const;
    bool WaitForSubscription(std::string_view destination, Milliseconds timeout) const;
    bool WaitForSubscriptions(std::size_t least, std::size_t most, Milliseconds timeout) const;
    bool WaitForLinkCount(std::size_t count, Milliseconds timeout) const;
    bool WaitForReceived(std::string_view destination, std::size_t count, Milliseconds timeout) const;
    bool WaitForNoLinks(Milliseconds timeout) const;
    std::size_t DropLinks(Drop how, std::uint16_t code, std::string_view reason, std::optional<LinkId> only);
    std::size_t FreezeLinks(bool freeze);
    void RefuseUpgrades(unsigned int httpStatus, std::size_t times);
    void RefuseConnect(std::string_view message, std::size_t times);
    void UseCertificate(Certificate kind);
    void MuteHeartBeats(bool mute);
    void SlowSending(std::size_t bytesPerSecond);
    void SetTokens(std::vector<std::string> tokens, bool revoke);
    void SetCredentials(std::string userName, std::string password);
    void WithholdReceipts(bool withhold);
    void SetAnswerFault(AnswerKind kind, AnswerFault fault);
    void ClearAnswerFault(std::optional<AnswerKind> kind);
    std::size_t ReleaseAnswers(std::optional<AnswerKind> kind);
    bool WaitForHeldAnswers(std::size_t count, Milliseconds timeout) const;

    /* For HTTP requests: the same tokens as for subscriptions. */
    bool AcceptsToken(std::string_view token);

private:
    struct Link {
        explicit Link(stomp::SessionSettings settings, std::size_t maxFrameBytes)
            : session(std::move(settings)), parser(maxFrameBytes) {}
        LinkInfo info;
        stomp::Session session;
        stomp::Parser parser;
        std::deque<Outbound> queue;
        bool writing = true; /* the network takes without being woken */
        std::optional<LinkEnd> end;
        Clock::time_point endDeadline;
        Clock::time_point opened;
        Clock::time_point lastIn;
        Clock::time_point lastOut;
    };
    struct SubscriptionEntry {
        std::uint64_t order; /* of subscribing, over all links */
        bool acknowledged;
        Subscription subscription;
    };
    struct Target {
        LinkId link;
        std::string id;
    };

    bool TokenAccepted(std::string_view token) override QUOR_SIM_REQUIRES(m_mutex);
    std::optional<std::string> ConnectRefusal() override QUOR_SIM_REQUIRES(m_mutex);
    bool ReceiptsWithheld() override QUOR_SIM_REQUIRES(m_mutex);

    Link* Find(LinkId link) QUOR_SIM_REQUIRES(m_mutex);
    SubscriptionEntry* FindSubscription(std::string_view destination, const Target& target)
        QUOR_SIM_REQUIRES(m_mutex);
    void Apply(Link& link, stomp::Outcome outcome) QUOR_SIM_REQUIRES(m_mutex);
    void Subscribe(Link& link, const stomp::SubscriptionRequest& request) QUOR_SIM_REQUIRES(m_mutex);
    void RemoveSubscriptions(LinkId link, const std::string* id) QUOR_SIM_REQUIRES(m_mutex);
    void RecordSend(Link& link, stomp::Frame frame) QUOR_SIM_REQUIRES(m_mutex);
    void SendAnswer(const Answer& answer) QUOR_SIM_REQUIRES(m_mutex);
    void AnswerOn(Link& link, const Answer& answer) QUOR_SIM_REQUIRES(m_mutex);
    void Reply(Link& link, const stomp::Frame& frame) QUOR_SIM_REQUIRES(m_mutex);
    void Queue(Link& link, Outbound data) QUOR_SIM_REQUIRES(m_mutex);
    void BeginEnd(Link& link, LinkEnd end) QUOR_SIM_REQUIRES(m_mutex);
    void TickLink(Link& link, Clock::time_point now) QUOR_SIM_REQUIRES(m_mutex);
    DestinationCount& Count(std::string_view destination) QUOR_SIM_REQUIRES(m_mutex);
    bool HasRoom(const Link& link, std::size_t bytes) const QUOR_SIM_REQUIRES(m_mutex);
    /* Copies to subscribers in the order of subscribing; deadline nullopt: without waiting. */
    std::size_t PublishLocked(std::string_view destination, std::string_view body,
                              const PublishOptions& options, Clock::time_point deadline)
        QUOR_SIM_REQUIRES(m_mutex);
    bool PublishTo(std::string_view destination, const Target& target, std::string_view body,
                   const PublishOptions& options, Clock::time_point deadline) QUOR_SIM_REQUIRES(m_mutex);
    Outbound MakeMessage(const Link& link, const SubscriptionEntry& entry, std::string_view body,
                         const PublishOptions& options) QUOR_SIM_REQUIRES(m_mutex);
    bool SubscriptionsWithin(std::size_t least, std::size_t most) const QUOR_SIM_REQUIRES(m_mutex);
    std::size_t ConnectedLinks() const QUOR_SIM_REQUIRES(m_mutex);
    bool QueuesEmpty() const QUOR_SIM_REQUIRES(m_mutex);
    bool Enough(std::string_view destination, std::size_t count) const QUOR_SIM_REQUIRES(m_mutex);

    const Options m_options; /* tokens and credentials excepted: see below */
    mutable Mutex m_mutex;
    mutable CondVar m_changed;
    LinkControl* m_control QUOR_SIM_GUARDED_BY(m_mutex) = nullptr;
    std::map<LinkId, Link> m_links QUOR_SIM_GUARDED_BY(m_mutex);
    LinkId m_lastLink QUOR_SIM_GUARDED_BY(m_mutex) = 0;
    std::map<std::string, std::vector<SubscriptionEntry>, std::less<>> m_subscriptions
        QUOR_SIM_GUARDED_BY(m_mutex);
    std::uint64_t m_lastOrder QUOR_SIM_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_lastMessage QUOR_SIM_GUARDED_BY(m_mutex) = 0;
    std::deque<ReceivedSend> m_received QUOR_SIM_GUARDED_BY(m_mutex);
    std::map<std::string, std::uint64_t, std::less<>> m_receivedCount QUOR_SIM_GUARDED_BY(m_mutex);
    AnswerQueue m_answers QUOR_SIM_GUARDED_BY(m_mutex);
    Statistics m_statistics QUOR_SIM_GUARDED_BY(m_mutex);

    UpgradeRules m_rules QUOR_SIM_GUARDED_BY(m_mutex);
    std::vector<std::string> m_tokens QUOR_SIM_GUARDED_BY(m_mutex);
    Certificate m_certificate QUOR_SIM_GUARDED_BY(m_mutex) = Certificate::kGood;
    unsigned int m_refusedStatus QUOR_SIM_GUARDED_BY(m_mutex) = 0;
    std::size_t m_refusedUpgrades QUOR_SIM_GUARDED_BY(m_mutex) = 0;
    std::string m_connectRefusal QUOR_SIM_GUARDED_BY(m_mutex);
    std::size_t m_refusedConnects QUOR_SIM_GUARDED_BY(m_mutex) = 0;
    bool m_heartBeatsMuted QUOR_SIM_GUARDED_BY(m_mutex) = false;
    bool m_receiptsWithheld QUOR_SIM_GUARDED_BY(m_mutex) = false;
    std::size_t m_bytesPerSecond QUOR_SIM_GUARDED_BY(m_mutex) = 0;
};

}  // namespace quor_simulator

#endif
