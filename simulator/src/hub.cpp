#include "hub.h"

#include <algorithm>
#include <utility>

#include "destinations.h"

namespace quor_simulator {
namespace {

/* A client that takes nothing any more has so long to read what is queued before its link's end. */
constexpr std::chrono::seconds kEndPatience{5};
/* Answers may exceed the publishing bound, but not without limit: a client that sends requests and never
 * reads is cut off. */
constexpr std::size_t kReplyHeadroomBytes = 4U << 20;
/* Destinations are chosen by clients; counting more of them than this would let one exhaust the memory. */
constexpr std::size_t kMaxCountedDestinations = 10000;
constexpr std::string_view kOtherDestinations = "(other destinations)";
constexpr std::string_view kManagementLink = "(management link)";

std::string UriOf(const ReceivedSend& report) {
    const auto found = std::find_if(report.headers.begin(), report.headers.end(),
                                    [](const auto& header) { return header.first == "uri"; });
    return found == report.headers.end() ? std::string() : found->second;
}

bool OnlyLineEnds(std::string_view bytes) {
    return bytes.find_first_not_of("\r\n") == std::string_view::npos;
}

}  // namespace

Hub::Hub(const Options& options) : m_options(options) {
    m_rules = {options.userName, options.password, options.allowManagerLinks};
    m_tokens = options.tokens;
}

void Hub::Attach(LinkControl* control) {
    MutexLock lock(m_mutex);
    m_control = control;
    if (control == nullptr) {
        m_statistics.linksEnded += m_links.size();
        m_links.clear();
        m_subscriptions.clear();
        m_answers.ForgetAll();
    }
    m_changed.NotifyAll();
}

Certificate Hub::certificate() const {
    MutexLock lock(m_mutex);
    return m_certificate;
}

UpgradeDecision Hub::Decide(const UpgradeRequest& request) {
    MutexLock lock(m_mutex);
    UpgradeDecision decision = DecideUpgrade(request, m_rules);
    if (decision.status == 101 && m_refusedUpgrades > 0 && m_refusedStatus != 0) {
        m_refusedUpgrades -= m_refusedUpgrades == SIZE_MAX ? 0 : 1;
        decision = {};
        decision.status = m_refusedStatus;
        decision.reason = "refused on command\n";
        decision.challenge = m_refusedStatus == 401;
    }
    m_statistics.linksRefused += decision.status == 101 ? 0 : 1;
    m_statistics.upgrades401 += decision.status == 401 ? 1 : 0;
    m_changed.NotifyAll();
    return decision;
}

void Hub::CountRefusal() {
    MutexLock lock(m_mutex);
    ++m_statistics.linksRefused;
    m_changed.NotifyAll();
}

LinkId Hub::OpenLink(std::string peer, bool manager) {
    MutexLock lock(m_mutex);
    const LinkId id = ++m_lastLink;
    stomp::SessionSettings settings;
    settings.sessionId = "link-" + std::to_string(id);
    settings.manager = manager;
    settings.heartBeatSend = m_options.heartBeatSend;
    settings.heartBeatReceive = m_options.heartBeatReceive;
    settings.maxSubscriptions = m_options.maxSubscriptionsPerLink;
    settings.maxTransactionBytes = m_options.maxFrameBytes;
    Link& link = m_links.try_emplace(id, std::move(settings), m_options.maxFrameBytes).first->second;
    link.info.id = id;
    link.info.peer = std::move(peer);
    link.info.manager = manager;
    link.info.connected = manager; /* needs no CONNECT, and is not waited for one */
    link.opened = link.lastIn = link.lastOut = Clock::now();
    if (m_control != nullptr && m_bytesPerSecond != 0) {
        m_control->SetRate(id, m_bytesPerSecond);
    }
    ++m_statistics.linksAccepted;
    m_changed.NotifyAll();
    return id;
}

void Hub::Receive(LinkId id, std::string_view bytes) {
    MutexLock lock(m_mutex);
    Link* link = Find(id);
    if (link == nullptr || link->end) {
        return;
    }
    link->lastIn = Clock::now();
    if (OnlyLineEnds(bytes)) {
        ++m_statistics.heartBeatsIn;
    }
    link->parser.Feed(bytes);
    stomp::Frame frame;
    while (!link->end) {
        const stomp::Parser::Result result = link->parser.Next(frame);
        if (result == stomp::Parser::Result::kNeedMore) {
            break;
        }
        if (result == stomp::Parser::Result::kError) {
            Apply(*link, link->session.Refuse(link->parser.error()));
            break;
        }
        ++m_statistics.framesIn;
        Apply(*link, link->session.Handle(std::move(frame), *this));
    }
    m_changed.NotifyAll();
}

/* Subscriptions change before their RECEIPT is queued: a client that has it misses nothing from there on, and
 * gets nothing any more after the one for its UNSUBSCRIBE. */
void Hub::Apply(Link& link, stomp::Outcome outcome) {
    if (outcome.connected) {
        link.info.connected = true;
        link.info.stompVersion = stomp::VersionText(link.session.version());
        link.info.heartBeatSend = link.session.agreedSend();
        link.info.heartBeatReceive = link.session.agreedReceive();
        link.parser.SetVersion(link.session.version());
    }
    if (outcome.subscribe) {
        Subscribe(link, *outcome.subscribe);
    }
    if (outcome.unsubscribeId) {
        RemoveSubscriptions(link.info.id, &*outcome.unsubscribeId);
    }
    for (stomp::Frame& send : outcome.sends) {
        RecordSend(link, std::move(send));
    }
    for (const stomp::Frame& reply : outcome.replies) {
        Reply(link, reply);
    }
    if (!outcome.error.empty()) {
        ++m_statistics.protocolErrors;
        ++m_statistics.lastErrors[outcome.error];
    }
    if (outcome.end) {
        BeginEnd(link, {Drop::kCloseFrame, static_cast<std::uint16_t>(outcome.error.empty() ? 1000 : 1002),
                        outcome.error.substr(0, 100)});
    }
}

void Hub::Subscribe(Link& link, const stomp::SubscriptionRequest& request) {
    SubscriptionEntry entry;
    entry.order = ++m_lastOrder;
    entry.acknowledged = request.acknowledged;
    entry.subscription = {link.info.id, request.id, request.destination, request.token, request.conferenceId};
    m_subscriptions[request.destination].push_back(std::move(entry));
}

/* id null: all of the link. */
void Hub::RemoveSubscriptions(LinkId link, const std::string* id) {
    for (auto topic = m_subscriptions.begin(); topic != m_subscriptions.end();) {
        auto& entries = topic->second;
        const auto gone = [&](const SubscriptionEntry& entry) {
            return entry.subscription.link == link && (id == nullptr || entry.subscription.id == *id);
        };
        entries.erase(std::remove_if(entries.begin(), entries.end(), gone), entries.end());
        topic = entries.empty() ? m_subscriptions.erase(topic) : std::next(topic);
    }
}

void Hub::RecordSend(Link& link, stomp::Frame frame) {
    ReceivedSend send;
    const std::string* destination = frame.Find("destination");
    send.link = link.info.id;
    send.destination = destination == nullptr ? std::string() : *destination;
    send.headers = std::move(frame.headers);
    send.body = std::move(frame.body);
    ++m_statistics.sendsReceived;
    ++Count(link.info.manager ? kManagementLink : std::string_view(send.destination)).received;
    if (m_receivedCount.size() < kMaxCountedDestinations || m_receivedCount.count(send.destination) != 0) {
        ++m_receivedCount[send.destination];
    }
    if (send.destination == kCapabilityDestination) {
        link.info.uri = UriOf(send);
    }
    m_answers.Plan(send, link.info.manager, Clock::now());
    if (m_options.receivedKept > 0) {
        if (m_received.size() >= m_options.receivedKept) {
            m_received.pop_front();
        }
        m_received.push_back(std::move(send));
    }
}

void Hub::Reply(Link& link, const stomp::Frame& frame) {
    ++m_statistics.framesOut;
    Queue(link, {stomp::Encode(frame, link.session.version()), false, 1, 1});
}

void Hub::Queue(Link& link, Outbound data) {
    if (link.end) {
        return;
    }
    link.info.queuedBytes += data.bytes.size();
    link.queue.push_back(std::move(data));
    if (link.info.queuedBytes > m_options.linkQueueBytes + m_options.maxFrameBytes + kReplyHeadroomBytes) {
        BeginEnd(link, {Drop::kReset, 0, {}});
        return;
    }
    if (!link.writing && m_control != nullptr) {
        link.writing = true;
        m_control->Wake(link.info.id);
    }
}

Hub::Taken Hub::Take(LinkId id, Outbound& data, LinkEnd& end) {
    MutexLock lock(m_mutex);
    Link* link = Find(id);
    if (link == nullptr) {
        return Taken::kNothing;
    }
    link->lastOut = Clock::now();
    m_changed.NotifyAll();
    if (!link->queue.empty()) {
        data = std::move(link->queue.front());
        link->queue.pop_front();
        link->info.queuedBytes -= data.bytes.size();
        return Taken::kData;
    }
    link->writing = false;
    if (link->end) {
        end = *link->end;
        return Taken::kEnd;
    }
    return Taken::kNothing;
}

void Hub::ClientCloses(LinkId id) {
    MutexLock lock(m_mutex);
    Link* link = Find(id);
    if (link != nullptr && !link->end) {
        link->queue.clear();
        link->info.queuedBytes = 0;
        BeginEnd(*link, {});
    }
    m_changed.NotifyAll();
}

void Hub::LinkGone(LinkId id) {
    MutexLock lock(m_mutex);
    RemoveSubscriptions(id, nullptr);
    m_answers.ForgetLink(id);
    m_statistics.linksEnded += m_links.erase(id);
    m_changed.NotifyAll();
}

/* What is queued goes out first, except before a reset. */
void Hub::BeginEnd(Link& link, LinkEnd end) {
    if (link.end && end.how != Drop::kReset) {
        return;
    }
    RemoveSubscriptions(link.info.id, nullptr);
    m_answers.ForgetLink(link.info.id);
    link.endDeadline = Clock::now() + kEndPatience;
    const bool reset = end.how == Drop::kReset;
    link.end = std::move(end);
    if (m_control == nullptr) {
        return;
    }
    if (reset) {
        link.queue.clear();
        link.info.queuedBytes = 0;
        m_control->Reset(link.info.id);
    } else if (!link.writing) {
        link.writing = true;
        m_control->Wake(link.info.id);
    }
}

void Hub::Tick(Clock::time_point now) {
    MutexLock lock(m_mutex);
    for (auto& [id, link] : m_links) {
        TickLink(link, now);
    }
    Answer answer;
    while (m_answers.TakeDue(now, answer)) {
        SendAnswer(answer);
    }
    m_changed.NotifyAll();
}

void Hub::TickLink(Link& link, Clock::time_point now) {
    if (link.end) {
        if (now >= link.endDeadline && m_control != nullptr) {
            m_control->Reset(link.info.id);
        }
        return;
    }
    if (link.info.frozen) {
        return;
    }
    if (!link.info.connected) {
        if (now - link.opened > m_options.handshakeTimeout) {
            Apply(link, link.session.Refuse("no CONNECT in time"));
        }
        return;
    }
    const Milliseconds expected = link.info.heartBeatReceive;
    if (expected.count() > 0 && now - link.lastIn > 2 * expected) {
        ++m_statistics.silentLinksEnded;
        Apply(link, link.session.Refuse("no heart-beat"));
        return;
    }
    /* Half the promised interval leaves room for a late timer and a slow network. */
    const Milliseconds promised = link.info.heartBeatSend;
    if (promised.count() > 0 && !m_heartBeatsMuted && now - link.lastOut >= promised / 2 && !link.writing) {
        ++m_statistics.heartBeatsOut;
        Queue(link, {"\n", false, 1, 1});
    }
}

/* Never waits: this is the network's own thread. */
void Hub::SendAnswer(const Answer& answer) {
    if (!answer.topic.empty()) {
        PublishLocked(answer.topic, answer.body, {}, Clock::time_point::min());
        return;
    }
    for (auto& [id, link] : m_links) {
        if (answer.uri.empty() ? id == answer.link : link.info.uri == answer.uri) {
            AnswerOn(link, answer);
        }
    }
}

void Hub::AnswerOn(Link& link, const Answer& answer) {
    if (link.end) {
        return;
    }
    const bool manager = answer.kind == AnswerKind::kManagerModel;
    if (manager && m_options.managerAnswer == ManagerAnswer::kRawText) {
        Queue(link, {answer.body, false, 1, 1});
        return;
    }
    /* The link has no subscription for this; the id only names what is answered. */
    SubscriptionEntry entry;
    entry.acknowledged = false;
    entry.order = 0;
    entry.subscription.id = manager ? "manager" : "ability";
    entry.subscription.destination = manager ? kModelDestination : kCapabilityDestination;
    ++m_statistics.framesOut;
    Queue(link, MakeMessage(link, entry, answer.body, {}));
}

Hub::Link* Hub::Find(LinkId link) {
    const auto found = m_links.find(link);
    return found == m_links.end() ? nullptr : &found->second;
}

DestinationCount& Hub::Count(std::string_view destination) {
    auto& counts = m_statistics.destinations;
    const auto found = counts.find(std::string(destination));
    if (found != counts.end()) {
        return found->second;
    }
    return counts[std::string(counts.size() < kMaxCountedDestinations ? destination : kOtherDestinations)];
}

bool Hub::TokenAccepted(std::string_view token) {
    if (token.empty()) {
        return false;
    }
    return m_tokens.empty() || std::find(m_tokens.begin(), m_tokens.end(), token) != m_tokens.end();
}

std::optional<std::string> Hub::ConnectRefusal() {
    if (m_refusedConnects == 0 || m_connectRefusal.empty()) {
        return std::nullopt;
    }
    m_refusedConnects -= m_refusedConnects == SIZE_MAX ? 0 : 1;
    return m_connectRefusal;
}

bool Hub::ReceiptsWithheld() {
    return m_receiptsWithheld;
}

}  // namespace quor_simulator
