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

LinkProblem SubscribeProblem(const std::string& what) {
    LinkProblem problem;
    const quor_platform::Failure failure = quor_platform::LastFailure();
    problem.text = what;
    if (!failure.text.empty()) {
        problem.text += ": " + failure.text;
    }
    problem.advice = "Run again with --log-file FILE and look at its last error.";
    return problem;
}

}  // namespace

ChannelLink::ChannelLink(const TagQuorAiKelLoginInfo& login, std::string conference,
                         std::vector<Service> services, TokenFetch fetchToken)
    : m_login(login),
      m_conference(std::move(conference)),
      m_services(std::move(services)),
      m_fetchToken(std::move(fetchToken)) {}

ChannelLink::~ChannelLink() {
    explicit_bzero(&m_login, sizeof m_login);
}

bool ChannelLink::Start(std::shared_ptr<QuorAiEngine::ICloudSrvObserver> observer,
                        std::function<void(unsigned int linkId)> onClosed) {
    AiKelBasic* const channel = AiKelBasic::GetInstance();
    m_observer = std::move(observer);
    channel->Attach(m_observer);
    channel->KelBasicGenerateSubscribeMap();
    quor_platform::SetMessageReceiver(kCloseMessageReceiver,
                                      [this, onClosed = std::move(onClosed)](const unsigned char* message) {
                                          unsigned int id = 0;
                                          std::memcpy(&id, message + OS_MSG_ID_OFFSET, sizeof id);
                                          if (id == kCloseMessageId) {
                                              onClosed(m_endedLink.load());
                                          }
                                      });
    quor_platform::SetLinkEventSink(
        [this](unsigned int event, unsigned int linkId, unsigned int linkType, void* data) {
            if (event == QuorAiEngine::KelEventDisconnect && linkType == kKelLinkTypeConference) {
                m_endedLink.store(linkId);
            }
            AiKelBasic::KelBasicDisposeMsg(event, linkId, linkType, data);
        });
    return channel->UpdateKelLoginInfo(m_login) == 0;
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
    if (AiKelBasic::GetInstance()->KelBasicCreateWebsocket(&m_login) == 0) {
        return true;
    }
    problem = ExplainOpenFailure(quor_platform::LastFailure());
    return false;
}

void ChannelLink::Close() {
    // The result says nothing that matters here: a link that the platform does not know is closed as well,
    // and the next connect event replaces the id that the library keeps then.
    AiKelBasic::GetInstance()->KelBasicDestroyWebsocket();
}

bool ChannelLink::SubscribeWanted(LinkProblem& problem) {
    std::string token;
    if (!PutTokenInPlace(token, problem)) {
        return false;
    }
    // What was subscribed on an earlier link is renewed by the library from its own list. What an earlier
    // link did not live to subscribe comes after it, for the first time. So each service is asked for once.
    if (m_remembered > 0 && AiKelBasic::GetInstance()->KelBasicExecuteAllSubFunc() != 0) {
        problem = SubscribeProblem("the subscriptions could not be renewed");
        return false;
    }
    while (m_remembered < m_services.size()) {
        const Service& service = m_services[m_remembered];
        if (!SubscribeFirstTime(service, token)) {
            problem = SubscribeProblem("service " + std::to_string(service.id) + " could not be subscribed");
            return false;
        }
        AiKelBasic::GetInstance()->KelBasicAddSubsEvent(service.id);
        ++m_remembered;
    }
    return true;
}

// On recovery the library takes the token of every service except check-in from the channel state, where only
// the caption-overlay subscription writes it. This program does not subscribe the overlay, so it writes the
// field itself; otherwise captions would be asked for with an empty token, or with one that has expired
// since.
bool ChannelLink::PutTokenInPlace(std::string& token, LinkProblem& problem) {
    std::string message;
    if (!m_fetchToken(token, message) || !SetField(AiKelBasic::KelGetBasicInfo()->confKey, token)) {
        problem = LinkProblem{};
        problem.exitCode = kExitFailure;
        problem.text = "there is no conference token: " +
                       (message.empty() ? std::string("it is longer than 191 characters") : message);
        problem.advice = "Check --token-file.";
        return false;
    }
    return true;
}

bool ChannelLink::SubscribeFirstTime(const Service& service, const std::string& token) {
    TagQuorAiSubscribeInfo request{};
    request.subId = service.id;
    return SetField(request.confId, m_conference) && SetField(request.language, service.language) &&
           SetField(request.token, token) &&
           AiKelBasic::GetInstance()->KelBasicExecuteSubscribeFunc(&request) == 0;
}

LinkProblem ChannelLink::WhyEnded(unsigned int linkId) {
    return ExplainLinkEnd(quor_platform::LinkFailure(linkId));
}

void ChannelLink::Discard(unsigned int linkId) {
    // Not through the library, which knows the new link only by now.
    QuorOmNmsWebsocketDestory(linkId);
}

}  // namespace quor_terminal
