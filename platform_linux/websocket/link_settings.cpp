// The host header's settings of links and TLS, and its reports about links.
#include "platform_linux/websocket/link_settings.h"

#include <utility>

#include "platform_linux/thread_annotations.h"
#include "platform_linux/websocket/event_dispatcher.h"
#include "platform_linux/websocket/link_engine.h"
#include "platform_linux/websocket/links.h"

namespace quor_platform {
namespace {

// Made at the first use and never destroyed: links may still start while the process ends.
struct Settings {
    internal::Mutex mutex;
    LinkSettings link QUOR_GUARDED_BY(mutex);
    TlsSettings tls QUOR_GUARDED_BY(mutex);
};

Settings& Stored() {
    static auto* const settings = new Settings;
    return *settings;
}

}  // namespace

namespace internal {

bool CheckLinkSettings(const LinkSettings& settings, std::string* error) {
    static constexpr std::chrono::milliseconds kDay{86'400'000};
    const auto within = [](std::chrono::milliseconds value, std::chrono::milliseconds least) {
        return value >= least && value <= kDay;
    };
    const std::chrono::milliseconds none{0};
    const std::chrono::milliseconds one{1};
    if (!within(settings.connectTimeout, one) || !within(settings.handshakeTimeout, one) ||
        !within(settings.closeTimeout, none)) {
        *error = "a timeout of the link settings is not between 1 ms and a day";
        return false;
    }
    if (!within(settings.heartBeatSend, none) || !within(settings.heartBeatReceive, none) ||
        !within(settings.pingInterval, none)) {
        *error = "an interval of the link settings is negative or longer than a day";
        return false;
    }
    if (settings.maxFrameBytes == 0 || settings.maxSendQueueBytes == 0 ||
        settings.maxReceiveQueueBytes == 0) {
        *error = "a limit of the link settings is 0";
        return false;
    }
    return true;
}

}  // namespace internal

void SetLinkEventSink(LinkEventSink sink) {
    internal::EventDispatcher::Instance().SetSink(std::move(sink));
}

void SetLinkSettings(const LinkSettings& settings) {
    Settings& stored = Stored();
    internal::MutexLock lock(stored.mutex);
    stored.link = settings;
}

LinkSettings GetLinkSettings() {
    Settings& stored = Stored();
    internal::MutexLock lock(stored.mutex);
    return stored.link;
}

void SetTlsSettings(const TlsSettings& settings) {
    Settings& stored = Stored();
    internal::MutexLock lock(stored.mutex);
    stored.tls = settings;
}

TlsSettings GetTlsSettings() {
    Settings& stored = Stored();
    internal::MutexLock lock(stored.mutex);
    return stored.tls;
}

LinkStatistics GetLinkStatistics(unsigned int linkId) {
    const auto link = internal::LinkEngine::Instance().Find(linkId);
    return link == nullptr ? LinkStatistics{} : link->Statistics();
}

Failure LinkFailure(unsigned int linkId) {
    const auto link = internal::LinkEngine::Instance().Find(linkId);
    return link == nullptr ? Failure{} : link->EndReason();
}

const char* StageName(Stage stage) {
    switch (stage) {
        case Stage::kNone:
            return "none";
        case Stage::kSettings:
            return "settings";
        case Stage::kResolve:
            return "resolve";
        case Stage::kConnect:
            return "connect";
        case Stage::kTls:
            return "tls";
        case Stage::kUpgrade:
            return "upgrade";
        case Stage::kStomp:
            return "stomp";
        case Stage::kTransfer:
            return "transfer";
        case Stage::kLiveness:
            return "liveness";
        case Stage::kQueue:
            return "queue";
        case Stage::kKey:
            return "key";
        case Stage::kToken:
            return "token";
        case Stage::kAnswer:
            return "answer";
        case Stage::kAborted:
            return "aborted";
    }
    return "unknown";
}

void ShutdownLinks() {
    internal::LinkEngine::Instance().Shutdown();
}

}  // namespace quor_platform
