/* hub_publish.cpp - messages from the server to subscribers. */
#include <algorithm>
#include <utility>

#include "destinations.h"
#include "hub.h"

namespace quor_simulator {
namespace {

std::size_t CountCharacters(std::string_view utf8) {
    const auto begins = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; };
    return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), begins));
}

std::string_view BytesOf(Malformed form) {
    using namespace std::string_view_literals;
    switch (form) {
        case Malformed::kNoHeaderEnd:
            return "MESSAGE\ndestination:/topic/x\n\0"sv;
        case Malformed::kNoColon:
            return "MESSAGE\ndestination\n\nbody\0"sv;
        case Malformed::kUnknownCommand:
            return "MESSENGER\n\nbody\0"sv;
        case Malformed::kNoDestination:
            return "MESSAGE\nsubscription:1\nmessage-id:1\n\nbody\0"sv;
        default:
            return "\x01\x02 this is no STOMP frame"sv;
    }
}

std::optional<std::size_t> ContentLengthOf(std::string_view body, const PublishOptions& options) {
    switch (options.contentLength) {
        case ContentLength::kMissing:
            return std::nullopt;
        case ContentLength::kCharacters:
            return CountCharacters(body);
        case ContentLength::kWrong:
            return options.wrongLength;
        default:
            return body.size();
    }
}

}  // namespace

std::size_t Hub::Publish(std::string_view destination, std::string_view body, const PublishOptions& options) {
    MutexLock lock(m_mutex);
    return PublishLocked(destination, body, options, Clock::now() + options.timeout);
}

std::size_t Hub::PublishLocked(std::string_view destination, std::string_view body,
                               const PublishOptions& options, Clock::time_point deadline) {
    std::vector<Target> targets;
    const auto topic = m_subscriptions.find(destination);
    if (topic != m_subscriptions.end()) {
        for (const SubscriptionEntry& entry : topic->second) {
            if (!options.onlyLink || *options.onlyLink == entry.subscription.link) {
                targets.push_back({entry.subscription.link, entry.subscription.id});
            }
        }
    }
    std::size_t reached = 0;
    for (const Target& target : targets) {
        if (PublishTo(destination, target, body, options, deadline)) {
            ++reached;
        }
    }
    DestinationCount& count = Count(destination);
    count.published += reached > 0 ? 1 : 0;
    count.unheard += reached > 0 ? 0 : 1;
    count.delivered += reached;
    return reached;
}

/* Waiting gives the mutex up: link and subscription are looked up again each time. */
bool Hub::PublishTo(std::string_view destination, const Target& target, std::string_view body,
                    const PublishOptions& options, Clock::time_point deadline) {
    for (;;) {
        Link* link = Find(target.link);
        const SubscriptionEntry* entry = FindSubscription(destination, target);
        if (link == nullptr || link->end || entry == nullptr) {
            return false;
        }
        if (HasRoom(*link, body.size() * std::max<std::size_t>(options.copies, 1))) {
            m_statistics.framesOut += std::max<std::size_t>(options.copies, 1);
            Queue(*link, MakeMessage(*link, *entry, body, options));
            return true;
        }
        if (deadline <= Clock::now() || !m_changed.WaitUntil(m_mutex, deadline)) {
            ++m_statistics.queueOverflows;
            return false;
        }
    }
}

/* A frame larger than the whole bound goes through an empty queue. */
bool Hub::HasRoom(const Link& link, std::size_t bytes) const {
    return link.queue.empty() || link.info.queuedBytes + bytes <= m_options.linkQueueBytes;
}

Hub::SubscriptionEntry* Hub::FindSubscription(std::string_view destination, const Target& target) {
    const auto topic = m_subscriptions.find(destination);
    if (topic == m_subscriptions.end()) {
        return nullptr;
    }
    for (SubscriptionEntry& entry : topic->second) {
        if (entry.subscription.link == target.link && entry.subscription.id == target.id) {
            return &entry;
        }
    }
    return nullptr;
}

Outbound Hub::MakeMessage(const Link& link, const SubscriptionEntry& entry, std::string_view body,
                          const PublishOptions& options) {
    Outbound out;
    out.binary = options.binary;
    out.messages = std::max<std::size_t>(options.messages, 1);
    out.fragments = std::max<std::size_t>(options.fragments, 1);
    for (std::size_t copy = 0; copy < std::max<std::size_t>(options.copies, 1); ++copy) {
        const std::string messageId = "message-" + std::to_string(++m_lastMessage);
        stomp::Frame frame{"MESSAGE", {}, std::string(body)};
        const std::string& destination =
            options.destinationHeader ? *options.destinationHeader : entry.subscription.destination;
        if (!destination.empty()) {
            frame.headers.emplace_back("destination", destination);
        }
        if (options.contentType) {
            frame.headers.emplace_back("content-type", *options.contentType);
        }
        if (const std::optional<std::size_t> length = ContentLengthOf(body, options)) {
            frame.headers.emplace_back("content-length", std::to_string(*length));
        }
        frame.headers.emplace_back("subscription", entry.subscription.id);
        frame.headers.emplace_back("message-id", messageId);
        if (entry.acknowledged && link.session.version() == stomp::Version::k12) {
            frame.headers.emplace_back("ack", messageId);
        }
        frame.headers.insert(frame.headers.end(), options.extraHeaders.begin(), options.extraHeaders.end());
        out.bytes += stomp::Encode(frame, link.session.version(), {options.crlf, options.escape});
        out.bytes.append(options.trailingLineFeeds, '\n');
    }
    return out;
}

std::size_t Hub::PublishMalformed(Malformed form) {
    return PublishRaw(BytesOf(form), {});
}

std::size_t Hub::PublishRaw(std::string_view bytes, const RawOptions& options) {
    MutexLock lock(m_mutex);
    const Clock::time_point deadline = Clock::now() + options.timeout;
    std::vector<LinkId> targets;
    for (const auto& [id, link] : m_links) {
        if (options.onlyLink ? id == *options.onlyLink : link.info.connected) {
            targets.push_back(id);
        }
    }
    std::size_t reached = 0;
    for (const LinkId id : targets) {
        Link* link = Find(id);
        while (link != nullptr && !HasRoom(*link, bytes.size()) && m_changed.WaitUntil(m_mutex, deadline)) {
            link = Find(id);
        }
        if (link == nullptr || link->end) {
            continue;
        }
        if (!HasRoom(*link, bytes.size())) {
            ++m_statistics.queueOverflows;
            continue;
        }
        Queue(*link, {std::string(bytes), options.binary, std::max<std::size_t>(options.messages, 1),
                      std::max<std::size_t>(options.fragments, 1)});
        ++reached;
    }
    return reached;
}

}  // namespace quor_simulator
