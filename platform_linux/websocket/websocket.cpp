// websocket.cpp - the C functions of quor_platform/websocket.h over LinkEngine.
#include "quor_platform/websocket.h"

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "platform_linux/host_state.h"
#include "platform_linux/websocket/frame_record.h"
#include "platform_linux/websocket/link_engine.h"
#include "platform_linux/websocket/link_settings.h"
#include "platform_linux/websocket/result_codes.h"
#include "platform_linux/websocket/tls_client.h"

namespace {

using quor_platform::Failure;
using quor_platform::LinkSettings;
using quor_platform::LogHost;
using quor_platform::Stage;
using quor_platform::TlsSettings;
namespace internal = quor_platform::internal;
using internal::LinkResult;

unsigned int Refuse(LinkResult result, const Failure& failure) {
    quor_platform::RecordFailure(failure);
    return internal::ToCode(result);
}

unsigned int Refuse(LinkResult result, Stage stage, const std::string& text) {
    Failure failure;
    failure.stage = stage;
    failure.text = text;
    return Refuse(result, failure);
}

// Clears the credentials on every way out.
struct TargetWipe {
    explicit TargetWipe(internal::LinkTarget& target) : m_target(target) {}
    ~TargetWipe() { internal::WipeCredentials(m_target); }
    TargetWipe(const TargetWipe&) = delete;
    TargetWipe& operator=(const TargetWipe&) = delete;
    internal::LinkTarget& m_target;
};

unsigned int StartUp(const TagQuorOmNmsWebsocketInfo* info, unsigned int* linkId) {
    internal::ConnectionOptions options;
    const TargetWipe wipe(options.target);
    std::string error;
    if (!ReadStartRecord(info, &options.target, &error)) {
        return Refuse(LinkResult::kBadRecord, Stage::kSettings, error);
    }
    const LinkSettings settings = quor_platform::GetLinkSettings();
    if (!internal::CheckLinkSettings(settings, &error)) {
        return Refuse(LinkResult::kBadSettings, Stage::kSettings, error);
    }
    const std::string name = options.target.host + ":" + std::to_string(options.target.port);
    const TlsSettings tls = quor_platform::GetTlsSettings();
    Failure failure;
    options.tls = internal::MakeClientContext(tls, &failure);
    if (options.tls == nullptr) {
        LogHost(QUOR_OM_LOG_LEVEL_ERROR, "no link to %s: %s", name.c_str(), failure.text.c_str());
        return Refuse(LinkResult::kBadSettings, failure);
    }
    options.verify = !tls.insecureSkipVerification;
    if (!options.verify) {
        LogHost(QUOR_OM_LOG_LEVEL_ERROR, "link to %s: certificate verification is switched off",
                name.c_str());
    }
    options.connectTimeout = settings.connectTimeout;
    options.handshakeTimeout = settings.handshakeTimeout;
    options.lingerTimeout = settings.closeTimeout / 2;
    const LinkResult result =
        internal::LinkEngine::Instance().StartLink(settings, std::move(options), linkId, &failure);
    if (result != LinkResult::kSuccess) {
        LogHost(QUOR_OM_LOG_LEVEL_ERROR, "no link to %s: %s", name.c_str(), failure.text.c_str());
        return Refuse(result, failure);
    }
    LogHost(QUOR_OM_LOG_LEVEL_INFO, "link %u to %s is up", *linkId, name.c_str());
    return internal::ToCode(result);
}

unsigned int Send(const TagQuorOmNmsWebsocketStompFrame* record) {
    internal::OutboundFrame frame;
    std::string error;
    if (!ReadFrameRecord(record, &frame, &error)) {
        return Refuse(LinkResult::kBadRecord, Stage::kSettings, error);
    }
    const std::shared_ptr<internal::Link> link = internal::LinkEngine::Instance().Find(record->linkId);
    if (link == nullptr) {
        return Refuse(LinkResult::kNoSuchLink, Stage::kSettings,
                      "there is no link " + std::to_string(record->linkId));
    }
    Failure failure;
    const LinkResult result = link->Send(frame, &failure);
    return result == LinkResult::kSuccess ? internal::ToCode(result) : Refuse(result, failure);
}

// Nothing throws across the C interface.
template <typename Body>
unsigned int Guard(Body body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return internal::ToCode(LinkResult::kNoResources);
    }
}

}  // namespace

unsigned int QuorOmNmsWebsocketStartUp(TagQuorOmNmsWebsocketInfo* info, unsigned int* linkId) {
    if (linkId == nullptr) {
        return Guard(
            [] { return Refuse(LinkResult::kBadRecord, Stage::kSettings, "no place for the link id"); });
    }
    return Guard([info, linkId] { return StartUp(info, linkId); });
}

unsigned int QuorOmNmsWebsocketDestory(unsigned int linkId) {
    return Guard([linkId] {
        const std::shared_ptr<internal::Link> link = internal::LinkEngine::Instance().Remove(linkId);
        if (link == nullptr) {
            return Refuse(LinkResult::kNoSuchLink, Stage::kSettings,
                          "there is no link " + std::to_string(linkId));
        }
        link->BeginEnd();
        link->WaitEnded();
        LogHost(QUOR_OM_LOG_LEVEL_INFO, "link %u is destroyed", linkId);
        return internal::ToCode(LinkResult::kSuccess);
    });
}

unsigned int QuorOmNmsWebsocketSubscribe(TagQuorOmNmsWebsocketStompFrame* frame) {
    return Guard([frame] { return Send(frame); });
}

unsigned int QuorOmNmsWebsocketUnsubscribe(TagQuorOmNmsWebsocketStompFrame* frame) {
    return Guard([frame] { return Send(frame); });
}

unsigned int QuorOmNmsWebsocketSendData(TagQuorOmNmsWebsocketStompFrame* frame) {
    return Guard([frame] { return Send(frame); });
}
