#include "support/terminal_test.h"

#include <algorithm>
#include <utility>

namespace quor_test {

namespace {

constexpr char kUserName[] = "terminal";
constexpr char kPassword[] = "quor-demo";

// One CA for all tests of the process: making certificates is the slowest step of a test.
const std::string& StateDirectory() {
    static const TemporaryFolder folder;
    static const std::string path = folder.Path().string();
    return path;
}

}  // namespace

std::string ControlTopic(const std::string& conference) {
    return "/topic/conferences/" + conference;
}

std::string CheckinTopic(const std::string& conference) {
    return ControlTopic(conference) + "/checkinservice";
}

std::string CaptionTopic(const std::string& language, const std::string& conference) {
    return ControlTopic(conference) + "/subtitle/" + language;
}

std::string SitesTopic(const std::string& conference) {
    return ControlTopic(conference) + "/participantslist/general";
}

std::string OverlayTopic(const std::string& terminal) {
    return "/topic/terminal/" + terminal + "/subtitleoverlay";
}

std::string ChatTopic(const std::string& uri, const std::string& conference) {
    return "/topic/chat/" + conference + "/" + uri;
}

std::vector<std::string> SubscriptionSet(const quor_simulator::Simulator& server) {
    std::vector<std::string> set;
    for (const quor_simulator::Subscription& subscription : server.Subscriptions()) {
        set.push_back(subscription.destination + " " + subscription.token);
    }
    std::sort(set.begin(), set.end());
    return set;
}

void TerminalTest::StartServer(quor_simulator::Options options) {
    options.stateDirectory = StateDirectory();
    options.port = m_port.Port();
    options.userName = kUserName;
    options.password = kPassword;
    m_server.reset();
    m_server = std::make_unique<quor_simulator::Simulator>(std::move(options));
    m_server->Start();
    StartTerminal();
}

void TerminalTest::StartTerminal(Delivery delivery) {
    m_terminal.reset();
    m_terminal = std::make_unique<HostTerminal>(delivery);
    m_terminal->Trust(m_server->caFile());
}

void TerminalTest::TearDown() {
    m_terminal.reset();
    m_server.reset();
}

TagQuorAiKelLoginInfo TerminalTest::Login() const {
    return m_terminal->Login(m_server->port(), kUserName, kPassword);
}

void TerminalTest::OpenWith(const std::vector<TagQuorAiSubscribeInfo>& requests) {
    terminal().SubscribeOnConnect(requests);
    ASSERT_TRUE(terminal().Open(Login())) << quor_platform::LastFailure().text;
    ASSERT_TRUE(server().WaitForSubscriptionCount(requests.size(), kPatience));
}

void TerminalTest::OpenForCaptions() {
    OpenWith({Request(AI_SUB_ID_CAPTION, kConference, kToken, "zh-CN")});
}

void TerminalTest::OpenManagerLink() {
    const std::size_t links = server().Links().size();
    ASSERT_TRUE(terminal().Open(HostTerminal::ManagerLogin(server().port())));
    ASSERT_TRUE(server().WaitForLinkCount(links + 1, kPatience));
}

void TerminalTest::Publish(const std::string& destination, const std::string& body,
                           const quor_simulator::PublishOptions& options) {
    ASSERT_EQ(server().Publish(destination, body, options), 1U) << destination;
}

quor_platform::Failure TerminalTest::WaitForLinkEnd() {
    const unsigned int linkId = terminal().LinkId();
    const bool ended = terminal().linkEvents().WaitFor(1, [linkId](const LinkEvent& event) {
        return event.event == QuorAiEngine::KelEventDisconnect && event.linkId == linkId;
    });
    EXPECT_TRUE(ended) << "link " << linkId << " did not end";
    return quor_platform::LinkFailure(linkId);
}

}  // namespace quor_test
