#include "support/host_terminal.h"

#include <cstring>
#include <stdexcept>
#include <utility>

#include "quor_platform/os.h"
#include "quor_platform/websocket.h"

namespace quor_test {

using quor_platform::internal::MutexLock;
using QuorAiEngine::AiKelBasic;

namespace {

constexpr char kCloseNoticeReceiver[] = "srvConClient";
constexpr char kKeyDomain[] = "QuorUIConf";
constexpr unsigned int kLogInformation = 3;

}  // namespace

HostTerminal::HostTerminal(Delivery delivery)
    : m_delivery(delivery), m_observer(std::make_shared<RecordingObserver>()) {
    const std::string keyFile = m_folder.File("key");
    if (!quor_platform::CreateKeyFile(keyFile)) {
        throw std::runtime_error("no key file: " + quor_platform::LastFailure().text);
    }
    quor_platform::SetKeyFile(keyFile);
    quor_platform::SetTokenSource([this](std::string& token) {
        ++m_tokenFetches;
        MutexLock lock(m_tokenMutex);
        token = m_token;
        return token.empty() ? 1 : 0;
    });
    quor_platform::SetLogLevel(kLogInformation);
    quor_platform::SetLogListener([this](const quor_platform::LogRecord& record) {
        m_log.Add({record.level, std::string(record.module, record.moduleLength), record.text});
    });
    quor_platform::SetMessageReceiver(kCloseNoticeReceiver, [this](const unsigned char* message) {
        m_closeNotices.Add(std::string(reinterpret_cast<const char*>(message), OS_MSG_SIZE));
    });
    m_observer->OnNotification(AI_SUB_ID_WS_CONNECTED,
                               [this](const TagAiCloudSrvResult& result) { OnConnected(result); });
    channel().Attach(m_observer);
    channel().KelBasicGenerateSubscribeMap();
    StartEvents();
}

// The events end first: frames may still flow, and ending the links writes their ids.
HostTerminal::~HostTerminal() {
    StopEvents();
    EndLinks();
    quor_platform::Shutdown();
    quor_platform::SetMessageReceiver(kCloseNoticeReceiver, {});
    ForgetSubscriptions();
    StopObserving();
    std::memset(AiKelBasic::KelGetBasicInfo(), 0, sizeof(TagQuorAiKelBasicInfo));
    quor_platform::SetLogListener({});
    quor_platform::SetTokenSource({});
    quor_platform::SetKeyFile({});
    quor_platform::SetTlsSettings({});
    quor_platform::SetLinkSettings({});
}

// The library ends the conference link; a manager link is the application's to end.
void HostTerminal::EndLinks() {
    Destroy();
    for (const LinkEvent& event : m_linkEvents.All()) {
        if (event.event == QuorAiEngine::KelEventConnect && event.linkType == kKelLinkTypeManager) {
            QuorOmNmsWebsocketDestory(event.linkId);
        }
    }
}

// The handlers are removed although the platform refuses the frames: there is no link any more.
void HostTerminal::ForgetSubscriptions() {
    MutexLock lock(m_requestsMutex);
    for (const TagQuorAiSubId id : m_remembered) {
        channel().KelBasicDeleteSubsEvent(id);
    }
    for (unsigned int id = 0; id < kQuorAiSubIdTableSize; ++id) {
        channel().KelStompUnSubscribeService(static_cast<TagQuorAiSubId>(id));
    }
}

void HostTerminal::Trust(const std::string& caFile) {
    quor_platform::TlsSettings settings;
    settings.caFile = caFile;
    quor_platform::SetTlsSettings(settings);
}

void HostTerminal::StopEvents() {
    quor_platform::SetLinkEventSink({});
}

void HostTerminal::StartEvents() {
    quor_platform::SetLinkEventSink([this](unsigned int event, unsigned int linkId, unsigned int linkType,
                                           void* data) { OnLinkEvent(event, linkId, linkType, data); });
}

int HostTerminal::StopObserving() {
    return channel().Detach(m_observer.get());
}

void HostTerminal::SetLoginToken(const std::string& token) {
    MutexLock lock(m_tokenMutex);
    m_token = token;
}

TagQuorAiKelLoginInfo HostTerminal::Login(std::uint16_t port, const std::string& userName,
                                          const std::string& password) const {
    TagQuorAiKelLoginInfo login = {};
    SetText(login.serverAddr, "127.0.0.1");
    login.port = port;
    SetText(login.userName, userName);
    SetText(login.kelPassWord, quor_platform::SealSecret(kKeyDomain, password));
    login.linkType = kKelLinkTypeConference;
    return login;
}

TagQuorAiKelLoginInfo HostTerminal::ManagerLogin(std::uint16_t port) {
    TagQuorAiKelLoginInfo login = {};
    SetText(login.serverAddr, "127.0.0.1");
    login.port = port;
    login.linkType = kKelLinkTypeManager;
    return login;
}

void HostTerminal::SubscribeOnConnect(std::vector<TagQuorAiSubscribeInfo> requests) {
    MutexLock lock(m_requestsMutex);
    m_requests = std::move(requests);
}

// Runs inside Update. Recovery takes conference and token from the channel state, where check-in and sites
// alone write the former and the overlay alone the latter, so the application keeps both there itself.
void HostTerminal::OnConnected(const TagAiCloudSrvResult& result) {
    unsigned int linkId = 0;
    std::memcpy(&linkId, result.data, sizeof linkId);
    if (linkId == 0) {
        return;
    }
    MutexLock lock(m_requestsMutex);
    if (!m_remembered.empty()) {
        m_subscribeFailures += channel().KelBasicExecuteAllSubFunc() == 0 ? 0U : 1U;
    }
    for (const TagQuorAiSubscribeInfo& request : m_requests) {
        m_subscribeFailures += channel().KelBasicExecuteSubscribeFunc(&request) == 0 ? 0U : 1U;
        channel().KelBasicAddSubsEvent(request.subId);
        m_remembered.push_back(request.subId);
        if (request.subId != AI_SUB_ID_CAPTION_OVERLAY) {  // whose id is the terminal's
            SetText(AiKelBasic::KelGetBasicInfo()->uuid, request.confId);
        }
        if (request.token[0] != '\0') {
            SetText(AiKelBasic::KelGetBasicInfo()->confKey, request.token);
        }
    }
    m_requests.clear();
}

void HostTerminal::OnLinkEvent(unsigned int event, unsigned int linkId, unsigned int linkType, void* data) {
    if (event != QuorAiEngine::KelEventReceive) {
        m_linkEvents.Add({event, linkId, linkType});
    }
    if (m_delivery == Delivery::kDirect) {
        AiKelBasic::KelBasicDisposeMsg(event, linkId, linkType, data);
        return;
    }
    MutexLock lock(m_gate);
    AiKelBasic::KelBasicDisposeMsg(event, linkId, linkType, data);
}

unsigned int HostTerminal::Create(const TagQuorAiKelLoginInfo& login) {
    TagQuorAiKelLoginInfo copy = login;
    if (m_delivery == Delivery::kDirect) {
        return channel().KelBasicCreateWebsocket(&copy);
    }
    MutexLock lock(m_gate);
    return channel().KelBasicCreateWebsocket(&copy);
}

unsigned int HostTerminal::Destroy() {
    if (m_delivery == Delivery::kDirect) {
        return channel().KelBasicDestroyWebsocket();
    }
    MutexLock lock(m_gate);
    return channel().KelBasicDestroyWebsocket();
}

bool HostTerminal::Open(const TagQuorAiKelLoginInfo& login) {
    const std::size_t before = m_observer->Count(AI_SUB_ID_WS_CONNECTED);
    return Create(login) == 0 && m_observer->WaitFor(AI_SUB_ID_WS_CONNECTED, before + 1) && SubscribedWell();
}

bool HostTerminal::Rebuild(const TagQuorAiKelLoginInfo& login) {
    return Destroy() == 0 && Open(login);
}

unsigned int HostTerminal::LinkId() const {
    unsigned int linkId = 0;
    for (const LinkEvent& event : m_linkEvents.All()) {
        if (event.event == QuorAiEngine::KelEventConnect && event.linkType == kKelLinkTypeConference) {
            linkId = event.linkId;
        }
    }
    return linkId;
}

TagQuorAiSubscribeInfo Request(TagQuorAiSubId id, const std::string& conference, const std::string& token,
                               const std::string& language, const std::string& uri) {
    TagQuorAiSubscribeInfo request = {};
    request.subId = id;
    SetText(request.confId, conference);
    SetText(request.token, token);
    SetText(request.language, language);
    SetText(request.uri, uri);
    return request;
}

}  // namespace quor_test
