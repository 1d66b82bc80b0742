#include "link_fixture.h"

#include <cstring>

namespace quor_test {

void EventRecorder::Add(LinkEvent event) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_events.push_back(std::move(event));
    m_changed.notify_all();
}

bool EventRecorder::WaitForCount(std::size_t count) {
    return WaitUntil([count](const auto& events) { return events.size() >= count; });
}

bool EventRecorder::WaitUntil(const std::function<bool(const std::vector<LinkEvent>&)>& condition) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, kDefectLimit, [&] { return condition(m_events); });
}

std::vector<LinkEvent> EventRecorder::Events() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

std::size_t EventRecorder::CountOf(unsigned int event) const {
    std::size_t count = 0;
    for (const LinkEvent& each : Events()) {
        count += each.event == event ? 1U : 0U;
    }
    return count;
}

void Signal::Set() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_set = true;
    m_changed.notify_all();
}

bool Signal::Wait() {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, kDefectLimit, [this] { return m_set; });
}

LinkTest::LinkTest() {
    Authority().WriteCertificate(m_directory.File("ca.pem"));
    quor_platform::TlsSettings tls;
    tls.caFile = m_directory.File("ca.pem");
    quor_platform::SetTlsSettings(tls);
    quor_platform::LinkSettings settings;
    settings.heartBeatSend = std::chrono::milliseconds(0);
    settings.heartBeatReceive = std::chrono::milliseconds(0);
    quor_platform::SetLinkSettings(settings);
    quor_platform::SetLinkEventSink(
        [events = m_events](unsigned int event, unsigned int linkId, unsigned int linkType, void* data) {
            events->Add({event, linkId, linkType, data == nullptr ? "" : static_cast<const char*>(data)});
        });
}

LinkTest::~LinkTest() {
    quor_platform::Shutdown();
    quor_platform::SetLinkEventSink(nullptr);
}

const TestAuthority& LinkTest::Authority() {
    static const TestAuthority authority("Link test CA");
    return authority;
}

std::shared_ptr<SSL_CTX> LinkTest::ServerTls(const CertificateRequest& request) {
    return Authority().ServerContext(request);
}

TagQuorOmNmsWebsocketInfo LinkTest::Info(unsigned int port, const std::string& host) {
    TagQuorOmNmsWebsocketInfo info;
    std::memset(&info, 0xAA, sizeof info);  // fields that nobody writes are not zero
    info.connectParam = 20;
    info.port = port;
    std::snprintf(info.separator, sizeof info.separator, "\n");
    std::snprintf(info.serverAddr, sizeof info.serverAddr, "%s", host.c_str());
    std::snprintf(info.url, sizeof info.url, "/conf-portal/websocket");
    std::snprintf(info.wsCode, sizeof info.wsCode, "dXNlcjpwYXNz");
    info.reserved0 = 0;
    info.isManagerLink = 0;
    info.reserved1 = 1;
    info.reserved2 = 0;
    return info;
}

unsigned int LinkTest::StartUp(const ScriptedPeer& peer, unsigned int* linkId) {
    TagQuorOmNmsWebsocketInfo info = Info(peer.Port());
    return QuorOmNmsWebsocketStartUp(&info, linkId);
}

unsigned int LinkTest::MustStart(const ScriptedPeer& peer) {
    unsigned int linkId = 0;
    EXPECT_EQ(StartUp(peer, &linkId), 0U) << quor_platform::LastFailure().text;
    EXPECT_NE(linkId, 0U);
    return linkId;
}

TagQuorOmNmsWebsocketStompFrame LinkTest::Frame(
    unsigned int linkId, unsigned int kind, const std::vector<std::pair<std::string, std::string>>& headers,
    const std::string& body) {
    TagQuorOmNmsWebsocketStompFrame frame{};
    frame.linkId = linkId;
    frame.frameKind = kind;
    frame.headerNum = static_cast<unsigned int>(headers.size());
    for (std::size_t i = 0; i < headers.size(); ++i) {
        std::snprintf(frame.headers[i].headerName, sizeof frame.headers[i].headerName, "%s",
                      headers[i].first.c_str());
        std::snprintf(frame.headers[i].headerVal, sizeof frame.headers[i].headerVal, "%s",
                      headers[i].second.c_str());
    }
    std::memcpy(frame.body, body.data(), std::min(body.size(), sizeof frame.body));
    return frame;
}

}  // namespace quor_test
