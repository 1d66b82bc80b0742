// http_terminal_test.h - the fixture of the HTTP integration tests: the simulator in this process, the HTTP
// side of a terminal that talks to it, and every kind of request with the result that it must have.
#ifndef QUOR_TESTS_INTEGRATION_HTTP_TERMINAL_TEST_H
#define QUOR_TESTS_INTEGRATION_HTTP_TERMINAL_TEST_H

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "quor_simulator/simulator.h"
#include "support/http_results.h"
#include "support/http_terminal.h"
#include "tests/support/closed_port.h"

namespace quor_test {

inline constexpr char kMeeting[] = "conf-1";
inline constexpr char kPastMeeting[] = "conf-0";
inline constexpr char kLoginToken[] = "login-token";
inline constexpr char kOwnToken[] = "own-token";
inline constexpr char kIpv4Host[] = "127.0.0.1";
inline constexpr char kIpv6Host[] = "::1";
// Names that the good certificate carries besides its addresses.
inline constexpr char kAddressName[] = "address.quor.test";
inline constexpr char kServiceName[] = "service.quor.test";
inline constexpr char kIpv6Name[] = "six.quor.test";

enum class Kind {
    kParticipants,
    kCheckedIn,
    kNotCheckedIn,
    kPastCheckedIn,
    kPastNotCheckedIn,
    kReportOwnToken,
    kReportLoginToken,
    kAccount,
    kMatch,
};
inline constexpr Kind kAllKinds[] = {Kind::kParticipants,     Kind::kCheckedIn,        Kind::kNotCheckedIn,
                                     Kind::kPastCheckedIn,    Kind::kPastNotCheckedIn, Kind::kReportOwnToken,
                                     Kind::kReportLoginToken, Kind::kAccount,          Kind::kMatch};
// Those that classify the server's address, and so know IPv6 and resolve names themselves.
inline constexpr Kind kResolvingKinds[] = {Kind::kParticipants, Kind::kReportOwnToken,
                                           Kind::kReportLoginToken, Kind::kAccount};
// Those whose URL carries the address as it stands in the record.
inline constexpr Kind kPlainKinds[] = {Kind::kCheckedIn, Kind::kNotCheckedIn, Kind::kPastCheckedIn,
                                       Kind::kPastNotCheckedIn, Kind::kMatch};

std::string NameOf(Kind kind);
std::ostream& operator<<(std::ostream& out, Kind kind);
TagQuorAiSubId IdOf(Kind kind);
quor_simulator::Endpoint EndpointOf(Kind kind);

// A request that was made.
struct Asked {
    TagQuorAiSubId id;
    unsigned int result;     // of the call
    std::string serverAddr;  // the record's, after the call
    std::string success;     // what observers must get when all is well
    std::string failure;     // and when the transport failed; empty: nothing
};

class HttpTerminalTest : public ::testing::Test {
protected:
    // A server with the two meetings, a terminal that trusts it, both started.
    void SetUp() override;
    // Nothing that the library allocated may be left.
    void TearDown() override;

    // Replaces the running server by one with these options. All tests of the process share one CA. The port
    // is nobody else's while the server is away.
    void StartServer(quor_simulator::Options options = {});

    quor_simulator::Simulator& server() { return *m_server; }
    quor_simulator::Rest& rest() { return m_server->rest(); }
    HttpTerminal& terminal() { return *m_terminal; }
    RecordingObserver& observer() { return m_terminal->observer(); }
    QuorAiEngine::AiHttpAdapter& adapter() { return m_terminal->adapter(); }

    // The records of an application that asks the server under this host. The port is the server's unless
    // UsePort says otherwise.
    TagQuorAiKelInfo ParticipantQuery(const std::string& host = kIpv4Host,
                                      const std::string& conference = kMeeting) const;
    TagQuorAiQuerySignIn SignInQuery(bool checkedIn, const std::string& host = kIpv4Host,
                                     bool history = false) const;
    TagQuorAiReportSiginIn Report(const std::string& host = kIpv4Host,
                                  const std::string& ownToken = kOwnToken) const;
    TagQuorAiQuerySignAccount AccountQuery(const std::string& host = kIpv4Host) const;
    TagQuorAiAVMatchtData Match(const std::string& host = kIpv4Host) const;
    void UsePort(std::uint16_t port) { m_port = port; }
    std::uint16_t Port() const { return m_port != 0 ? m_port : m_server->port(); }

    Asked Ask(Kind kind, const std::string& host = kIpv4Host);
    // Ask, and exactly the result that all is well has.
    void ExpectSuccess(Kind kind, const std::string& host = kIpv4Host);
    // Ask, and what observers get when no answer came: a result that says so, or nothing. The transport's
    // failure is logged with this number.
    void ExpectTransportFailure(Kind kind, unsigned int code, const std::string& host = kIpv4Host);
    // The only notifications of this id are these.
    void ExpectNotified(TagQuorAiSubId id, const std::vector<std::string>& results);
    void ExpectSilence() { EXPECT_EQ(observer().Total(), 0U); }
    // How many requests of this kind reached the server, and on how many connections.
    std::size_t Requests(Kind kind);
    std::size_t Connections();

private:
    Asked AskParticipants(const std::string& host);
    Asked AskSignIns(Kind kind, const std::string& host);
    Asked AskReport(Kind kind, const std::string& host);
    Asked AskAccount(const std::string& host);
    Asked AskMatch(const std::string& host);

    const QuorTest::ClosedPort m_serverPort;
    std::unique_ptr<quor_simulator::Simulator> m_server;
    std::unique_ptr<HttpTerminal> m_terminal;
    std::uint16_t m_port = 0;
};

}  // namespace quor_test

#endif
