#include "platform_linux/websocket/link.h"

#include <boost/asio/post.hpp>

#include <algorithm>
#include <utility>
#include <vector>

#include "platform_linux/host_state.h"

namespace quor_platform::internal {
namespace {

constexpr const char* kDestination = "destination";

std::vector<StompHeader> WithoutHeader(const std::vector<StompHeader>& headers, std::string_view name) {
    std::vector<StompHeader> rest;
    std::copy_if(headers.begin(), headers.end(), std::back_inserter(rest),
                 [name](const StompHeader& header) { return header.name != name; });
    return rest;
}

}  // namespace

LinkResult ResultOfStart(const Failure& failure) {
    switch (failure.stage) {
        case Stage::kResolve:
        case Stage::kConnect:
            return LinkResult::kUnreachable;
        case Stage::kTls:
            return LinkResult::kTlsFailed;
        case Stage::kSettings:
            return LinkResult::kShuttingDown;
        default:
            return LinkResult::kRefused;
    }
}

Link::Link(unsigned int id, std::shared_ptr<boost::asio::io_context> io, const LinkSettings& settings,
           const LinkTarget& target)
    : m_io(std::move(io)),
      m_settings(settings),
      m_name(target.host + ":" + std::to_string(target.port)),
      m_host(target.host),
      m_lineEnd(target.lineEnd),
      m_manager(target.managerLink),
      m_mailbox(std::make_shared<Mailbox>(id, target.managerLink ? 1U : 0U, settings.maxReceiveQueueBytes)),
      m_dispatcher(EventDispatcher::Instance()),
      m_decoder(settings.maxFrameBytes),
      m_tick(*m_io),
      m_goodbye(*m_io) {}

void Link::Start(ConnectionOptions options) {
    m_connection = Connection::Make(*m_io, std::move(options), shared_from_this());
    boost::asio::post(*m_io, [self = shared_from_this()] {
        const auto connection = self->m_connection;
        if (connection != nullptr) {
            connection->Start();
        }
    });
}

bool Link::WaitStarted(Failure* failure) {
    MutexLock lock(m_mutex);
    while (m_state == State::kStarting) {
        m_changed.Wait(lock);
    }
    *failure = m_wasUp ? Failure{} : m_failure;
    return m_wasUp;
}

LinkResult Link::Send(const OutboundFrame& frame, Failure* failure) {
    bool needless = false;
    const LinkResult result = QueueFrames(frame, &needless, failure);
    if (needless) {
        LogHost(QUOR_OM_LOG_LEVEL_INFO, "link %u: unsubscribe of a destination that is not subscribed", Id());
    }
    return result;
}

LinkResult Link::QueueFrames(const OutboundFrame& frame, bool* needless, Failure* failure) {
    MutexLock lock(m_mutex);
    if (m_state == State::kEnded && m_wasUp) {
        *failure = m_failure;
        return LinkResult::kLinkEnded;
    }
    if (m_state != State::kUp) {
        failure->stage = Stage::kSettings;
        failure->text = "there is no link " + std::to_string(Id());
        return LinkResult::kNoSuchLink;
    }
    switch (frame.kind) {
        case FrameKind::kSubscribe:
            return QueueSubscribe(frame, failure);
        case FrameKind::kUnsubscribe:
            *needless = m_subscriptions.count(frame.Find(kDestination)) == 0;
            return *needless ? LinkResult::kSuccess : QueueUnsubscribe(frame, failure);
        case FrameKind::kSend:
            break;
    }
    return QueueSend(frame, failure);
}

// A destination that is subscribed already is given up and subscribed anew under a new id, with no frame of
// another thread in between: servers refuse a repeated id, and a second id alone would double every message.
LinkResult Link::QueueSubscribe(const OutboundFrame& frame, Failure* failure) {
    const std::string& destination = frame.Find(kDestination);
    const std::string id = "quor-" + std::to_string(m_nextSubscription);
    std::vector<StompHeader> headers = WithoutHeader(frame.headers, "id");
    headers.push_back({"id", id});
    if (!frame.Has("receipt")) {
        headers.push_back({"receipt", id});
    }
    std::string subscribe = Encode("SUBSCRIBE", headers);
    std::string unsubscribe;
    const auto old = m_subscriptions.find(destination);
    if (old != m_subscriptions.end()) {
        unsubscribe = Encode("UNSUBSCRIBE", {{"id", old->second}, {kDestination, destination}});
    }
    if (m_queuedBytes + unsubscribe.size() + subscribe.size() > m_settings.maxSendQueueBytes) {
        return RefuseFull(failure);
    }
    if (!unsubscribe.empty()) {
        Enqueue(std::move(unsubscribe));
    }
    Enqueue(std::move(subscribe));
    m_subscriptions[destination] = id;
    ++m_nextSubscription;
    return LinkResult::kSuccess;
}

// Only for a destination that is subscribed: servers answer an UNSUBSCRIBE without a known id with ERROR and
// the end of the link.
LinkResult Link::QueueUnsubscribe(const OutboundFrame& frame, Failure* failure) {
    const auto old = m_subscriptions.find(frame.Find(kDestination));
    std::vector<StompHeader> headers = WithoutHeader(frame.headers, "id");
    headers.push_back({"id", old->second});
    std::string unsubscribe = Encode("UNSUBSCRIBE", headers);
    if (m_queuedBytes + unsubscribe.size() > m_settings.maxSendQueueBytes) {
        return RefuseFull(failure);
    }
    Enqueue(std::move(unsubscribe));
    m_subscriptions.erase(old);
    return LinkResult::kSuccess;
}

LinkResult Link::QueueSend(const OutboundFrame& frame, Failure* failure) {
    std::vector<StompHeader> headers = frame.headers;
    if (!frame.body.empty() && !frame.Has("content-type")) {
        headers.push_back({"content-type", "application/json"});
    }
    if (!frame.body.empty() && !frame.Has("content-length")) {
        headers.push_back({"content-length", std::to_string(frame.body.size())});
    }
    std::string send = Encode("SEND", headers, frame.body);
    if (m_queuedBytes + send.size() > m_settings.maxSendQueueBytes) {
        return RefuseFull(failure);
    }
    Enqueue(std::move(send));
    return LinkResult::kSuccess;
}

LinkResult Link::RefuseFull(Failure* failure) const {
    failure->stage = Stage::kQueue;
    failure->text = "the send queue of link " + std::to_string(Id()) + " is full";
    return LinkResult::kQueueFull;
}

std::string Link::Encode(std::string_view command, const std::vector<StompHeader>& headers,
                         std::string_view body) const {
    return EncodeStompFrame(command, headers, body, m_lineEnd);
}

void Link::Enqueue(std::string frame) {
    m_queuedBytes += frame.size();
    m_pending.push_back(std::move(frame));
    if (!m_flushPosted) {
        m_flushPosted = true;
        boost::asio::post(*m_io, [self = shared_from_this()] { self->Flush(); });
    }
}

void Link::BeginEnd() {
    m_dispatcher.Forget(*m_mailbox);
    MutexLock lock(m_mutex);
    m_endUntil = Clock::now() + m_settings.closeTimeout;
    if (m_state == State::kUp) {
        m_state = State::kClosing;
        boost::asio::post(*m_io, [self = shared_from_this()] { self->EndPolitely(); });
    } else if (m_state == State::kStarting) {
        boost::asio::post(*m_io, [self = shared_from_this()] {
            self->Fail(Stage::kSettings, "the platform was shut down while the link started");
        });
    }
}

void Link::WaitEnded() {
    MutexLock lock(m_mutex);
    while (m_state != State::kEnded && m_changed.WaitUntil(lock, m_endUntil)) {
    }
}

Failure Link::EndReason() const {
    MutexLock lock(m_mutex);
    return m_state == State::kEnded ? m_failure : Failure{};
}

LinkStatistics Link::Statistics() const {
    LinkStatistics statistics;
    statistics.framesSent = m_framesSent;
    statistics.messagesReceived = m_messagesReceived;
    statistics.bytesSent = m_bytesSent;
    statistics.bytesReceived = m_bytesReceived;
    statistics.heartBeatsReceived = m_heartBeatsReceived;
    MutexLock lock(m_mutex);
    statistics.subscriptions = static_cast<std::uint32_t>(m_subscriptions.size());
    return statistics;
}

}  // namespace quor_platform::internal
