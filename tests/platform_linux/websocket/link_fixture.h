// link_fixture.h - what the link tests share: certificates, short time limits, recorded events and logs, and
// records filled the way the library fills them. Every wait has a limit that only a defect reaches.
#ifndef QUOR_TESTS_PLATFORM_LINUX_LINK_FIXTURE_H
#define QUOR_TESTS_PLATFORM_LINUX_LINK_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "quor_platform/websocket.h"
#include "quor_platform_linux/host.h"
#include "scripted_peer.h"
#include "test_certificates.h"

namespace quor_test {

constexpr unsigned int kConnect = 28;
constexpr unsigned int kDisconnect = 29;
constexpr unsigned int kReceive = 30;
constexpr std::chrono::seconds kDefectLimit{60};

struct LinkEvent {
    unsigned int event = 0;
    unsigned int linkId = 0;
    unsigned int linkType = 0;
    std::string text;
};

// The event sink of the tests.
class EventRecorder {
public:
    void Add(LinkEvent event);
    // Waits until there are so many events; false at the limit.
    bool WaitForCount(std::size_t count);
    bool WaitUntil(const std::function<bool(const std::vector<LinkEvent>&)>& condition);
    std::vector<LinkEvent> Events() const;
    std::size_t CountOf(unsigned int event) const;

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<LinkEvent> m_events;
};

// A value that one thread sets once and others wait for.
class Signal {
public:
    void Set();
    bool Wait();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_set = false;
};

class LinkTest : public testing::Test {
protected:
    LinkTest();
    ~LinkTest() override;

    static const TestAuthority& Authority();
    static std::shared_ptr<SSL_CTX> ServerTls(const CertificateRequest& request = {});

    // Start-up record for a conference link to a peer on this machine.
    static TagQuorOmNmsWebsocketInfo Info(unsigned int port, const std::string& host = "localhost");
    unsigned int StartUp(const ScriptedPeer& peer, unsigned int* linkId);
    // Starts a link and expects success.
    unsigned int MustStart(const ScriptedPeer& peer);

    static TagQuorOmNmsWebsocketStompFrame Frame(
        unsigned int linkId, unsigned int kind,
        const std::vector<std::pair<std::string, std::string>>& headers, const std::string& body = {});

    TemporaryDirectory m_directory;
    std::shared_ptr<EventRecorder> m_events = std::make_shared<EventRecorder>();
};

}  // namespace quor_test

#endif
