// 'participants', 'signin', 'account' and 'avmatch' against the simulator, each a process of its own: what
// fails, is late or is stopped.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include "http_program_fixture.h"
#include "tests/platform_linux/support/dns_server.h"

namespace quor_terminal {
namespace {

class HttpFailureProgramTest : public HttpProgramTest {
protected:
    // To a server with a name that no DNS server says anything about.
    Words Unanswered(const SimulatorRun& simulator, const Kind& kind, const SilentDnsPort& dns,
                     const Words& more) const {
        Words options = {"--server", "silent.test:443", "--dns-server", dns.Server()};
        options.insert(options.end(), more.begin(), more.end());
        return Request(simulator, kind.words, options, kind.conference);
    }
    // Ctrl-C while the name is looked up. The library's own limit for that is three seconds at least.
    bool IsStoppedAtOnce(const SimulatorRun& simulator, const Kind& kind) {
        SilentDnsPort dns;
        StartTerminal(Unanswered(simulator, kind, dns, {"--json"}));
        EXPECT_TRUE(dns.AskedFrom(1));
        const auto start = std::chrono::steady_clock::now();
        terminal.Signal(SIGINT);
        // What it says last; a sanitizer may keep the program for a while after that.
        EXPECT_TRUE(WaitUntil([&] { return !Documents().empty(); }));
        const auto said = std::chrono::steady_clock::now();
        return terminal.Wait() == kExitStopped && said - start < std::chrono::seconds(1);
    }
    // A name or an IPv4 address is all that these requests take.
    static bool TakesIpv6(const Kind& kind) {
        const std::string name = kind.name;
        return name != "signin list" && name != "signin history" && name != "avmatch";
    }
};

TEST_F(HttpFailureProgramTest, ATokenThatTheServerRefuses) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    for (const Kind& kind : Kinds()) {
        ExpectFailure(simulator, kind, {}, kExitRefused, "answer", "the token", "", "wrong");
        EXPECT_EQ(Documents().at(0)["httpStatus"], 403);
    }
    EXPECT_EQ(Run(Request(simulator, {"participants"}, {}, "conf-test", "missing")), kExitFailure);
    EXPECT_TRUE(Contains(Errors(), "missing")) << Errors();
}

TEST_F(HttpFailureProgramTest, AConferenceThatTheServerDoesNotKnow) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    for (const Kind& kind : Kinds()) {
        ExpectFailure(simulator, kind, {}, kExitRefused, "answer", "Check --conference", "conf-nowhere");
        EXPECT_EQ(Documents().at(0)["httpStatus"], 404);
    }
}

TEST_F(HttpFailureProgramTest, AServerThatIsNotThere) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    const QuorTest::ClosedPort nobody;
    simulator.port = nobody.Port();
    for (const Kind& kind : Kinds()) {
        ExpectFailure(simulator, kind, {}, kExitUnreachable, "connect", "Check host and port");
    }
}

TEST_F(HttpFailureProgramTest, AServerThatIsNotTrusted) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    for (const char* const certificate : {"selfSigned", "wrongHost"}) {
        Tell(simulator, std::string("certificate ") + certificate);
        for (const Kind& kind : Kinds()) {
            ExpectFailure(simulator, kind, {}, kExitNotTrusted, "tls", "--ca-file");
        }
    }
}

TEST_F(HttpFailureProgramTest, AServerThatCannotServe) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    for (const Kind& kind : Kinds()) {
        Tell(simulator, std::string("http-fault ") + kind.endpoint + " status=500");
        ExpectFailure(simulator, kind, {}, kExitUnreachable, "answer", "HTTP status 500");
        EXPECT_EQ(Documents().at(0)["httpStatus"], 500);
        Tell(simulator, std::string("http-fault ") + kind.endpoint + " status=302");
        ExpectFailure(simulator, kind, {}, kExitFailure, "answer", "the HTTP status 302");
        Tell(simulator, std::string("http-fault ") + kind.endpoint + " cut=before");
        ExpectFailure(simulator, kind, {}, kExitUnreachable, "answer", "try again later");
    }
}

TEST_F(HttpFailureProgramTest, AnswersThatAreNotUnderstoodEndAtOnce) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    Tell(simulator, "http-clear");
    for (const Kind& kind : Kinds()) {
        const std::string endpoint = kind.endpoint;
        if (endpoint == "signInReport" || endpoint == "matchReport") {
            continue;  // of their answers only the status counts
        }
        for (const char* const content : {"badJson", "notJson", "otherJson", "empty"}) {
            Tell(simulator, "http-fault " + endpoint + " content=" + content);
            ExpectFailure(simulator, kind, {}, kExitFailure, "answer", "it is not what the request asks for");
        }
    }
    Tell(simulator, "http-fault signInList omit=totalPages");
    ExpectFailure(simulator, Kinds()[1], {}, kExitFailure, "answer", "res not contain key value");
    Tell(simulator, "http-fault participants skip=1 content=badJson");
    Tell(simulator, "people conf-big 450");
    ExpectFailure(simulator, Kinds()[0], {}, kExitFailure, "answer", "<ParseConfListToBuffer>", "conf-big");
}

TEST_F(HttpFailureProgramTest, ErrorsAreKnownAlsoWithoutALog) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    EXPECT_EQ(Run(Request(simulator, {"participants"}, {"--log-level", "0"}, "conf-nowhere")), kExitRefused);
    EXPECT_FALSE(std::filesystem::exists(directory.File("log")));
}

TEST_F(HttpFailureProgramTest, ANameWithoutAnAddress) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    // Nobody answers there, and the system says so.
    const std::string port = std::to_string(simulator.port);
    for (const Kind& kind : Kinds()) {
        ExpectFailure(simulator, kind,
                      {"--server", "nowhere.test:" + port, "--dns-server", "127.0.0.1:" + port},
                      kExitUnreachable, "resolve", "nowhere.test");
    }
}

// The name is the one that --server gives, not the one of the machine that the requests go to.
TEST_F(HttpFailureProgramTest, ADnsServerOfTheLaboratory) {
    const DnsServer dns({"--host-record=conf.test,127.0.0.1"});
    if (DnsServer::MayBeMissing()) {
        GTEST_SKIP() << "dnsmasq is not installed";
    }
    ASSERT_TRUE(dns.Use());
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator, {"--server-name", "conf.test"}));
    const std::string port = std::to_string(simulator.port);
    for (const Kind& kind : Kinds()) {
        SCOPED_TRACE(kind.name);
        EXPECT_EQ(
            Run(Request(simulator, kind.words,
                        {"--server", "conf.test:" + port, "--dns-server", dns.Server()}, kind.conference)),
            kExitOk)
            << Errors();
        ExpectFailure(simulator, kind, {"--server", "other.test:" + port, "--dns-server", dns.Server()},
                      kExitUnreachable, "resolve", "other.test");
    }
}

TEST_F(HttpFailureProgramTest, AnAnswerThatIsLate) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    for (const Kind& kind : Kinds()) {
        SCOPED_TRACE(kind.name);
        Tell(simulator, std::string("http-fault ") + kind.endpoint + " hold");
        EXPECT_EQ(Run(Request(simulator, kind.words, {"--timeout", "0.3", "--json"}, kind.conference)),
                  kExitNoAnswer);
        EXPECT_TRUE(Contains(Errors(), "--timeout")) << Errors();
        ASSERT_EQ(Documents().size(), 1U);
        EXPECT_EQ(Documents()[0]["stage"], "timeout");
    }
}

TEST_F(HttpFailureProgramTest, CtrlCEndsAtOnce) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    for (const Kind& kind : Kinds()) {
        SCOPED_TRACE(kind.name);
        Tell(simulator, std::string("http-fault ") + kind.endpoint + " hold");
        if (kind.words[0] == "avmatch") {  // it says nothing about where it is; the server does
            StartTerminal(Request(simulator, kind.words, {"--json"}, kind.conference));
            WaitForRequests(simulator, "/ai/caption", 1);
        } else {
            StartTerminal(Request(simulator, kind.words, {"--progress", "--json"}, kind.conference));
            ASSERT_TRUE(WaitUntil([&] { return LineCount(Errors()) > 0; }));
        }
        const auto start = std::chrono::steady_clock::now();
        terminal.Signal(SIGINT);
        EXPECT_EQ(terminal.Wait(), kExitStopped) << Errors();
        // The library's own limit is 30 seconds.
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
        EXPECT_TRUE(Contains(Errors(), "stopped before the answer was complete")) << Errors();
        ASSERT_EQ(Documents().size(), 1U);
        EXPECT_EQ(Documents()[0]["stage"], "stopped");
    }
}

// Once is enough: a machine that stalls must not fail it.
TEST_F(HttpFailureProgramTest, CtrlCEndsANameLookUpAtOnce) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    for (const Kind& kind : Kinds()) {
        SCOPED_TRACE(kind.name);
        EXPECT_TRUE(IsStoppedAtOnce(simulator, kind) || IsStoppedAtOnce(simulator, kind) ||
                    IsStoppedAtOnce(simulator, kind))
            << Errors();
        EXPECT_TRUE(Contains(Errors(), "stopped before the answer was complete")) << Errors();
        ASSERT_EQ(Documents().size(), 1U) << Output();
        EXPECT_EQ(Documents()[0]["stage"], "stopped");
        EXPECT_EQ(Documents()[0]["exitCode"], kExitStopped);
    }
}

// The library would go on for eight seconds with each of two questions.
TEST_F(HttpFailureProgramTest, ANameLookUpEndsWithTheTimeOut) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    for (const Kind& kind : Kinds()) {
        SCOPED_TRACE(kind.name);
        SilentDnsPort dns;
        StartTerminal(Unanswered(simulator, kind, dns, {"--timeout", "1", "--json"}));
        EXPECT_TRUE(dns.AskedFrom(1));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(terminal.Wait(), kExitNoAnswer) << Errors();
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(6));
        EXPECT_TRUE(Contains(Errors(), "--timeout")) << Errors();
        ASSERT_EQ(Documents().size(), 1U) << Output();
        EXPECT_EQ(Documents()[0]["stage"], "timeout");
        EXPECT_EQ(Documents()[0]["exitCode"], kExitNoAnswer);
    }
}

TEST_F(HttpFailureProgramTest, TrustedCertificatesThatAreNotThere) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    WriteWholeFile(directory.File("empty.pem"), "");
    for (const Kind& kind : Kinds()) {
        ExpectFailure(simulator, kind, {"--ca-file", directory.File("missing.pem")}, kExitFailure, "settings",
                      "missing.pem cannot be found");
        ExpectFailure(simulator, kind, {"--ca-file", directory.File("empty.pem")}, kExitFailure, "settings",
                      "empty.pem holds no usable certificate");
    }
    EXPECT_FALSE(Contains(Tell(simulator, "requests"), "conf-test"));
}

TEST_F(HttpFailureProgramTest, AServerWithAnIpv6Address) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator, {"--also-address", "::1"}));
    const Words server = {"--server", "[::1]:" + std::to_string(simulator.port)};
    for (const Kind& kind : Kinds()) {
        SCOPED_TRACE(kind.name);
        const int status = Run(Request(simulator, kind.words, server, kind.conference));
        if (TakesIpv6(kind)) {
            EXPECT_EQ(status, kExitOk) << Errors();
            EXPECT_NE(Output(), "");
        } else {
            EXPECT_EQ(status, kExitUsage);
            EXPECT_TRUE(Contains(Errors(), "not IPv6")) << Errors();
        }
    }
}

TEST_F(HttpFailureProgramTest, AReaderThatLeaves) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    terminal.Start(Request(simulator, {"participants"}), "", directory.File("err"), -1, ends[1]);
    close(ends[1]);
    EXPECT_EQ(terminal.Wait(), kExitFailure);
    EXPECT_TRUE(Contains(Errors(), "standard output cannot be written")) << Errors();
}

}  // namespace
}  // namespace quor_terminal
