/* hub_control.cpp - faults on command, and looking at or waiting for what clients did. */
#include <algorithm>
#include <utility>

#include "hub.h"

namespace quor_simulator {

std::size_t Hub::DropLinks(Drop how, std::uint16_t code, std::string_view reason,
                           std::optional<LinkId> only) {
    /* RFC 6455: a control frame holds 125 bytes, two of them are the code. */
    constexpr std::size_t kMaxReasonBytes = 123;
    MutexLock lock(m_mutex);
    std::size_t dropped = 0;
    for (auto& [id, link] : m_links) {
        if ((only && *only != id) || link.end) {
            continue;
        }
        if (link.info.frozen && m_control != nullptr) {
            link.info.frozen = false;
            m_control->Freeze(id, false);
        }
        BeginEnd(link, {how, code, std::string(reason.substr(0, kMaxReasonBytes))});
        ++m_statistics.linksDropped;
        ++dropped;
    }
    m_changed.NotifyAll();
    return dropped;
}

std::size_t Hub::FreezeLinks(bool freeze) {
    MutexLock lock(m_mutex);
    std::size_t changed = 0;
    for (auto& [id, link] : m_links) {
        if (link.info.frozen == freeze || link.end || m_control == nullptr) {
            continue;
        }
        link.info.frozen = freeze;
        link.lastIn =
            Clock::now(); /* what arrived meanwhile was not read: that silence was not the client's */
        m_control->Freeze(id, freeze);
        ++changed;
    }
    m_changed.NotifyAll();
    return changed;
}

void Hub::RefuseUpgrades(unsigned int httpStatus, std::size_t times) {
    MutexLock lock(m_mutex);
    m_refusedStatus = httpStatus;
    m_refusedUpgrades = times;
}

void Hub::RefuseConnect(std::string_view message, std::size_t times) {
    MutexLock lock(m_mutex);
    m_connectRefusal = message;
    m_refusedConnects = times;
}

void Hub::UseCertificate(Certificate kind) {
    MutexLock lock(m_mutex);
    m_certificate = kind;
}

void Hub::MuteHeartBeats(bool mute) {
    MutexLock lock(m_mutex);
    m_heartBeatsMuted = mute;
}

void Hub::SlowSending(std::size_t bytesPerSecond) {
    MutexLock lock(m_mutex);
    m_bytesPerSecond = bytesPerSecond;
    for (const auto& entry : m_links) {
        if (m_control != nullptr) {
            m_control->SetRate(entry.first, bytesPerSecond);
        }
    }
}

void Hub::SetTokens(std::vector<std::string> tokens, bool revoke) {
    MutexLock lock(m_mutex);
    m_tokens = std::move(tokens);
    if (!revoke) {
        return;
    }
    std::vector<LinkId> refused;
    for (const auto& topic : m_subscriptions) {
        for (const SubscriptionEntry& entry : topic.second) {
            if (!entry.subscription.token.empty() && !TokenAccepted(entry.subscription.token)) {
                refused.push_back(entry.subscription.link);
            }
        }
    }
    for (const LinkId id : refused) {
        Link* link = Find(id);
        if (link != nullptr && !link->end) {
            Apply(*link, link->session.Refuse("token refused"));
        }
    }
    m_changed.NotifyAll();
}

void Hub::SetCredentials(std::string userName, std::string password) {
    MutexLock lock(m_mutex);
    m_rules.userName = std::move(userName);
    m_rules.password = std::move(password);
}

void Hub::WithholdReceipts(bool withhold) {
    MutexLock lock(m_mutex);
    m_receiptsWithheld = withhold;
}

void Hub::SetAnswerFault(AnswerKind kind, AnswerFault fault) {
    const std::vector<Spoiler::Problem> problems = ProblemsOf(kind, fault);
    if (!problems.empty()) {
        throw Error(problems.front().list + ": " + problems.front().text);
    }
    MutexLock lock(m_mutex);
    m_answers.SetFault(kind, std::move(fault));
}

void Hub::ClearAnswerFault(std::optional<AnswerKind> kind) {
    MutexLock lock(m_mutex);
    m_answers.ClearFault(kind);
}

std::size_t Hub::ReleaseAnswers(std::optional<AnswerKind> kind) {
    MutexLock lock(m_mutex);
    return m_answers.Release(kind, Clock::now());
}

bool Hub::AcceptsToken(std::string_view token) {
    MutexLock lock(m_mutex);
    return TokenAccepted(token);
}

std::vector<Subscription> Hub::Subscriptions() const {
    MutexLock lock(m_mutex);
    std::map<std::uint64_t, const Subscription*> ordered;
    for (const auto& topic : m_subscriptions) {
        for (const SubscriptionEntry& entry : topic.second) {
            ordered[entry.order] = &entry.subscription;
        }
    }
    std::vector<Subscription> subscriptions;
    subscriptions.reserve(ordered.size());
    for (const auto& entry : ordered) {
        subscriptions.push_back(*entry.second);
    }
    return subscriptions;
}

std::vector<LinkInfo> Hub::Links() const {
    MutexLock lock(m_mutex);
    std::vector<LinkInfo> links;
    for (const auto& entry : m_links) {
        if (!entry.second.end) {
            links.push_back(entry.second.info);
        }
    }
    return links;
}

std::vector<ReceivedSend> Hub::Received() const {
    MutexLock lock(m_mutex);
    return {m_received.begin(), m_received.end()};
}

void Hub::ClearReceived() {
    MutexLock lock(m_mutex);
    m_received.clear();
    m_receivedCount.clear();
}

Statistics Hub::GetStatistics() const {
    MutexLock lock(m_mutex);
    return m_statistics;
}

bool Hub::SubscriptionsWithin(std::size_t least, std::size_t most) const {
    std::size_t count = 0;
    for (const auto& topic : m_subscriptions) {
        count += topic.second.size();
    }
    return count >= least && count <= most;
}

std::size_t Hub::ConnectedLinks() const {
    std::size_t count = 0;
    for (const auto& entry : m_links) {
        if (entry.second.info.connected && !entry.second.end) {
            ++count;
        }
    }
    return count;
}

bool Hub::QueuesEmpty() const {
    for (const auto& entry : m_links) {
        const Link& link = entry.second;
        if (!link.info.frozen && (link.writing || !link.queue.empty())) {
            return false;
        }
    }
    return true;
}

bool Hub::Enough(std::string_view destination, std::size_t count) const {
    const auto found = m_receivedCount.find(destination);
    return found == m_receivedCount.end() ? count == 0 : found->second >= count;
}

bool Hub::WaitForSubscription(std::string_view destination, Milliseconds timeout) const {
    const Clock::time_point deadline = Clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (m_subscriptions.find(destination) == m_subscriptions.end() &&
           m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return m_subscriptions.find(destination) != m_subscriptions.end();
}

bool Hub::WaitForSubscriptions(std::size_t least, std::size_t most, Milliseconds timeout) const {
    const Clock::time_point deadline = Clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (!SubscriptionsWithin(least, most) && m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return SubscriptionsWithin(least, most);
}

bool Hub::WaitForLinkCount(std::size_t count, Milliseconds timeout) const {
    const Clock::time_point deadline = Clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (ConnectedLinks() != count && m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return ConnectedLinks() == count;
}

bool Hub::WaitForReceived(std::string_view destination, std::size_t count, Milliseconds timeout) const {
    const Clock::time_point deadline = Clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (!Enough(destination, count) && m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return Enough(destination, count);
}

bool Hub::WaitForHeldAnswers(std::size_t count, Milliseconds timeout) const {
    const Clock::time_point deadline = Clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (m_answers.held() < count && m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return m_answers.held() >= count;
}

bool Hub::WaitForNoLinks(Milliseconds timeout) const {
    const Clock::time_point deadline = Clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (!m_links.empty() && m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return m_links.empty();
}

bool Hub::Flush(Milliseconds timeout) {
    const Clock::time_point deadline = Clock::now() + timeout;
    MutexLock lock(m_mutex);
    while (!QueuesEmpty() && m_changed.WaitUntil(m_mutex, deadline)) {
    }
    return QueuesEmpty();
}

}  // namespace quor_simulator
