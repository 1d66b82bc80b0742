#include "channel_link.h"

#include <string.h>

#include <cstring>
#include <utility>

#include "credentials.h"
#include "failure_text.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform_linux/host.h"

namespace quor_terminal {
namespace {

using QuorAiEngine::AiKelBasic;

// The message by which the library says that the server closed the conference link, and the module it is for.
constexpr unsigned int kCloseMessageId = 0x0060003F;
constexpr const char* kCloseMessageReceiver = "srvConClient";

constexpr const char* kLookIntoLog = "Run again with --log-file FILE and look at its last error.";

}  // namespace

ChannelLink::ChannelLink(const TagQuorAiKelLoginInfo& login, Session session)
    : m_login(login), m_session(std::move(session)) {}

ChannelLink::~ChannelLink() {
    explicit_bzero(&m_login, sizeof m_login);
}

bool ChannelLink::Start(std::shared_ptr<QuorAiEngine::ICloudSrvObserver> observer,
                        std::function<void(unsigned int linkId)> onClosed) {
    AiKelBasic* const channel = AiKelBasic::GetInstance();
    m_observer = std::move(observer);
    m_onClosed = std::move(onClosed);
    channel->Attach(m_observer);
    channel->KelBasicGenerateSubscribeMap();
    quor_platform::SetMessageReceiver(kCloseMessageReceiver, [this](const unsigned char* message) {
        unsigned int id = 0;
        std::memcpy(&id, message + OS_MSG_ID_OFFSET, sizeof id);
        if (id == kCloseMessageId) {
            m_onClosed(m_endedLink.load());
        }
    });
    quor_platform::SetLinkEventSink([this](unsigned int event, unsigned int linkId, unsigned int linkType,
                                           void* data) { OnLinkEvent(event, linkId, linkType, data); });
    return channel->UpdateKelLoginInfo(m_login) == 0;
}

void ChannelLink::OnLinkEvent(unsigned int event, unsigned int linkId, unsigned int linkType, void* data) {
    if (event == QuorAiEngine::KelEventConnect) {
        m_liveLink.store(linkId);
    }
    if (event == QuorAiEngine::KelEventDisconnect && linkType == kKelLinkTypeConference) {
        m_endedLink.store(linkId);
    }
    {
        const MutexLock lock(m_gate);
        AiKelBasic::KelBasicDisposeMsg(event, linkId, linkType, data);
    }
    if (event == QuorAiEngine::KelEventDisconnect && linkType == kKelLinkTypeManager) {
        m_onClosed(linkId);
    }
}

void ChannelLink::Finish() {
    quor_platform::SetLinkEventSink({});
    quor_platform::SetMessageReceiver(kCloseMessageReceiver, {});
    AiKelBasic* const channel = AiKelBasic::GetInstance();
    channel->Detach(m_observer.get());
    m_observer.reset();
    TagQuorAiKelBasicInfo* const state = AiKelBasic::KelGetBasicInfo();
    explicit_bzero(&state->loginInfo, sizeof state->loginInfo);
    explicit_bzero(state->confKey, sizeof state->confKey);
}

bool ChannelLink::Open(LinkProblem& problem) {
    {
        const MutexLock lock(m_gate);
        if (AiKelBasic::GetInstance()->KelBasicCreateWebsocket(&m_login) == 0) {
            return true;
        }
    }
    problem = ExplainOpenFailure(quor_platform::LastFailure());
    if (IsManagerLink() && problem.kind == LinkProblem::Kind::kRefused) {
        problem.advice = "The server takes no link without credentials. Use --link conference.";
    }
    return false;
}

void ChannelLink::Close() {
    const MutexLock lock(m_gate);
    // The result says nothing that matters here: a link that the platform does not know is closed as well,
    // and the next connect event replaces the id that the library keeps then.
    AiKelBasic::GetInstance()->KelBasicDestroyWebsocket();
    if (IsManagerLink()) {
        // The library closes the conference link only.
        QuorOmNmsWebsocketDestory(m_liveLink.exchange(0));
    }
}

// What was subscribed on an earlier link is renewed by the library from its own list. What an earlier link
// did not live to subscribe comes after it, for the first time. So each service is asked for once, and in the
// order of the list. The overlay is not in the library's list: the library renews every service with the
// conference id, and the overlay's topic wants the terminal's. It is subscribed by the program on every link,
// as the last.
bool ChannelLink::SubscribeWanted(LinkProblem& problem) {
    if (IsManagerLink()) {
        return true;
    }
    std::string token;
    if (!PutSessionInPlace(token, problem)) {
        return false;
    }
    if (m_remembered > 0 && AiKelBasic::GetInstance()->KelBasicExecuteAllSubFunc() != 0) {
        problem = SubscribeProblem("the subscriptions could not be renewed");
        return false;
    }
    for (std::size_t i = m_remembered; i < m_session.services.size(); ++i) {
        const Service& service = m_session.services[i];
        if (!SubscribeFirstTime(service, token)) {
            problem = SubscribeProblem("service " + std::to_string(service.id) + " could not be subscribed");
            return false;
        }
        if (service.id != AI_SUB_ID_CAPTION_OVERLAY) {
            AiKelBasic::GetInstance()->KelBasicAddSubsEvent(service.id);
            ++m_remembered;
        }
    }
    return true;
}

// On recovery the library takes the token of every service except check-in from the channel state, where only
// the caption-overlay subscription writes it, and the conference from where only check-in and sites write it.
// This program may have subscribed none of them, so it writes both fields itself; otherwise topics would be
// asked for without a conference, with an empty token, or with one that has expired since.
bool ChannelLink::PutSessionInPlace(std::string& token, LinkProblem& problem) {
    std::string message;
    TagQuorAiKelBasicInfo* const state = AiKelBasic::KelGetBasicInfo();
    if (!m_session.fetchToken(token, message) || !SetField(state->confKey, token)) {
        problem = LinkProblem{};
        problem.exitCode = kExitFailure;
        problem.text = "there is no conference token: " +
                       (message.empty() ? std::string("it is longer than 191 characters") : message);
        problem.advice = "Check --token-file.";
        return false;
    }
    return SetField(state->uuid, m_session.conference);
}

bool ChannelLink::SubscribeFirstTime(const Service& service, const std::string& token) {
    TagQuorAiSubscribeInfo request{};
    request.subId = service.id;
    const bool overlay = service.id == AI_SUB_ID_CAPTION_OVERLAY;
    return SetField(request.confId, overlay ? m_session.terminal : m_session.conference) &&
           SetField(request.language, service.language) && SetField(request.token, token) &&
           SetField(request.uri, m_session.uri) &&
           AiKelBasic::GetInstance()->KelBasicExecuteSubscribeFunc(&request) == 0;
}

// A server that refuses a subscription ends the link; then the reason of that end is what there is to say.
LinkProblem ChannelLink::SubscribeProblem(const std::string& what) const {
    const quor_platform::Failure end = quor_platform::LinkFailure(m_liveLink.load());
    if (end.stage != quor_platform::Stage::kNone) {
        return ExplainLinkEnd(end);
    }
    LinkProblem problem;
    const quor_platform::Failure failure = quor_platform::LastFailure();
    problem.text = what;
    if (!failure.text.empty()) {
        problem.text += ": " + failure.text;
    }
    problem.advice = kLookIntoLog;
    return problem;
}

LinkProblem ChannelLink::WhyEnded(unsigned int linkId) {
    return ExplainLinkEnd(quor_platform::LinkFailure(linkId));
}

void ChannelLink::Discard(unsigned int linkId) {
    // Not through the library, which knows the new link only by now.
    QuorOmNmsWebsocketDestory(linkId);
}

unsigned int ChannelLink::LinkOf(unsigned int notified) const {
    return notified != 0 ? notified : m_liveLink.load();
}

bool ChannelLink::Ask(QuorAiModelParams& request, LinkProblem& problem) {
    std::string token;
    std::string message;
    if (!IsManagerLink() && (!m_session.fetchToken(token, message) || !SetField(request.token, token))) {
        problem = LinkProblem{};
        problem.text = "there is no conference token: " + message;
        problem.advice = "Check --token-file.";
        return false;
    }
    SetField(request.confId, m_session.conference);
    SetField(request.uri, m_session.uri);
    {
        const MutexLock lock(m_gate);
        AiKelBasic* const channel = AiKelBasic::GetInstance();
        const unsigned int result =
            IsManagerLink() ? channel->ManagerSendLLMRequest(&request) : channel->KelSendLLMRequest(&request);
        explicit_bzero(request.token, sizeof request.token);
        if (result == 0) {
            return true;
        }
    }
    problem = SubscribeProblem("the request could not be sent");
    return false;
}

}  // namespace quor_terminal
