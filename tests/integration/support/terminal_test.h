// terminal_test.h - the fixture of the integration tests: the simulator in this process, a terminal that
// talks to it.
#ifndef QUOR_TESTS_INTEGRATION_TERMINAL_TEST_H
#define QUOR_TESTS_INTEGRATION_TERMINAL_TEST_H

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "quor_simulator/simulator.h"
#include "support/host_terminal.h"
#include "tests/support/closed_port.h"

namespace quor_test {

inline constexpr char kConference[] = "conf-1";
inline constexpr char kToken[] = "token-1";
inline constexpr char kUri[] = "sip:room7@example.org";

std::string CheckinTopic(const std::string& conference = kConference);
std::string CaptionTopic(const std::string& language, const std::string& conference = kConference);
std::string ControlTopic(const std::string& conference = kConference);
std::string SitesTopic(const std::string& conference = kConference);
std::string OverlayTopic(const std::string& terminal);
std::string ChatTopic(const std::string& uri, const std::string& conference = kConference);

// "destination token" of every subscription, sorted: equal lists are equal sets, each once.
std::vector<std::string> SubscriptionSet(const quor_simulator::Simulator& server);

class TerminalTest : public ::testing::Test {
protected:
    void SetUp() override { StartServer(); }
    void TearDown() override;

    // Replaces the running server, if any, by one with these options; the folder for its CA is this process's
    // own, and its port nobody else's while it is away.
    void StartServer(quor_simulator::Options options = {});
    // Makes the terminal anew.
    void StartTerminal(Delivery delivery = Delivery::kDirect);

    quor_simulator::Simulator& server() { return *m_server; }
    HostTerminal& terminal() { return *m_terminal; }
    RecordingObserver& observer() { return m_terminal->observer(); }
    QuorAiEngine::AiKelBasic& channel() { return m_terminal->channel(); }

    // The login record that the server accepts.
    TagQuorAiKelLoginInfo Login() const;
    // Opens the link, subscribes the requests inside the connect notification and waits until the server has
    // them.
    void OpenWith(const std::vector<TagQuorAiSubscribeInfo>& requests);
    // OpenWith for captions in zh-CN alone.
    void OpenForCaptions();
    // Opens a manager link and waits until the server knows of it, which is a moment after the terminal does.
    void OpenManagerLink();
    // Publishes and expects that exactly one subscription took it.
    void Publish(const std::string& destination, const std::string& body,
                 const quor_simulator::PublishOptions& options = {});
    // Waits for the disconnect event of the newest link; its reason.
    quor_platform::Failure WaitForLinkEnd();

private:
    const QuorTest::ClosedPort m_port;
    std::unique_ptr<quor_simulator::Simulator> m_server;
    std::unique_ptr<HostTerminal> m_terminal;
};

}  // namespace quor_test

#endif
