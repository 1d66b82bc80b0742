#include "support/http_terminal_test.h"

#include <gmock/gmock.h>

#include <cstring>
#include <set>
#include <utility>

#include "support/bodies.h"
#include "support/host_terminal.h"

namespace quor_test {

using quor_simulator::Attendee;
using quor_simulator::Conference;
using quor_simulator::Endpoint;
using quor_simulator::SignIn;

namespace {

constexpr char kAccount[] = "ana.torres";
constexpr char kAccountTime[] = "2026-01-01 09:00:00";
constexpr unsigned int kStatusOk = 200;

struct KindInfo {
    Kind kind;
    const char* name;
    TagQuorAiSubId id;
    Endpoint endpoint;
};
constexpr KindInfo kKinds[] = {
    {Kind::kParticipants, "Participants", AI_SUB_ID_QUERY_CONF_LIST, Endpoint::kParticipants},
    {Kind::kCheckedIn, "CheckedIn", AI_SUB_ID_QUERY_SIGN_IN, Endpoint::kSignInList},
    {Kind::kNotCheckedIn, "NotCheckedIn", AI_SUB_ID_QUERY_SIGN_IN, Endpoint::kSignInList},
    {Kind::kPastCheckedIn, "PastCheckedIn", AI_SUB_ID_QUERY_SIGN_IN, Endpoint::kSignInHistory},
    {Kind::kPastNotCheckedIn, "PastNotCheckedIn", AI_SUB_ID_QUERY_SIGN_IN, Endpoint::kSignInHistory},
    {Kind::kReportOwnToken, "ReportOwnToken", AI_SUB_ID_REPORT_SIGN_IN, Endpoint::kSignInReport},
    {Kind::kReportLoginToken, "ReportLoginToken", AI_SUB_ID_REPORT_SIGN_IN, Endpoint::kSignInReport},
    {Kind::kAccount, "Account", AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, Endpoint::kAccountQuery},
    {Kind::kMatch, "Match", AI_SUB_ID_REPORT_AV_MATCH, Endpoint::kMatchReport},
};

const KindInfo& InfoOf(Kind kind) {
    return kKinds[static_cast<std::size_t>(kind)];
}

// One CA for all tests of the process: making certificates is the slowest step of a test.
const std::string& StateDirectory() {
    static const TemporaryFolder folder;
    static const std::string path = folder.Path().string();
    return path;
}

// Texts that must survive the road: other scripts, what JSON escapes, as long as the records allow.
Conference Meeting() {
    Conference conference;
    conference.participants = {{"site-ana", "Ana Torres"},
                               {"site-\"quoted\"", "会场 1, \\ and / and \n"},
                               {std::string(191, 'i'), std::string(255, 'n')}};
    conference.attendees = {
        Attendee{"Ana Torres", kAccount, SignIn{kAccountTime, "face", "Room 7"}},
        Attendee{"王芳", "wang.fang", {}},
        Attendee{std::string(255, 'n'), std::string(255, 'a'),
                 SignIn{std::string(255, 't'), std::string(31, 'y'), std::string(255, 'p')}},
        Attendee{"Bob \"B\" Miller", "bob", {}},
    };
    return conference;
}

Conference PastMeeting() {
    Conference conference;
    conference.attendees = {Attendee{"Cem", "cem", SignIn{"2025-12-31 23:59:59", "normal", "Saal"}},
                            Attendee{"Dana", "dana", {}}};
    return conference;
}

}  // namespace

std::string NameOf(Kind kind) {
    return InfoOf(kind).name;
}

std::ostream& operator<<(std::ostream& out, Kind kind) {
    return out << NameOf(kind);
}

TagQuorAiSubId IdOf(Kind kind) {
    return InfoOf(kind).id;
}

Endpoint EndpointOf(Kind kind) {
    return InfoOf(kind).endpoint;
}

void HttpTerminalTest::SetUp() {
    m_terminal = std::make_unique<HttpTerminal>();
    m_terminal->SetLoginToken(kLoginToken);
    StartServer();
    ASSERT_EQ(m_terminal->Start(), 0);
}

void HttpTerminalTest::TearDown() {
    if (m_terminal != nullptr) {
        EXPECT_EQ(m_terminal->Stop(), 0);
        EXPECT_EQ(m_terminal->HeapGrowth(), 0U);
    }
    m_terminal.reset();
    m_server.reset();
}

void HttpTerminalTest::StartServer(quor_simulator::Options options) {
    options.stateDirectory = StateDirectory();
    options.port = m_serverPort.Port();
    options.moreAddresses = {kIpv6Host};
    options.serverNames = {kAddressName, kServiceName, kIpv6Name};
    options.tokens = {kLoginToken, kOwnToken};
    m_server.reset();
    m_server = std::make_unique<quor_simulator::Simulator>(std::move(options));
    m_server->Start();
    rest().SetConference(kMeeting, Meeting());
    rest().SetHistory(kPastMeeting, PastMeeting());
    HttpTerminal::Trust(m_server->caFile());
}

TagQuorAiKelInfo HttpTerminalTest::ParticipantQuery(const std::string& host,
                                                    const std::string& conference) const {
    TagQuorAiKelInfo query = {};
    SetText(query.serverAddr, host);
    query.serverPort = Port();
    SetText(query.confId, conference);
    SetText(query.token, kOwnToken);
    return query;
}

TagQuorAiQuerySignIn HttpTerminalTest::SignInQuery(bool checkedIn, const std::string& host,
                                                   bool history) const {
    TagQuorAiQuerySignIn query = {};
    SetText(query.confId, history ? kPastMeeting : kMeeting);
    query.size = kQuorAiSignInMax;
    query.checkedIn = checkedIn ? 1 : 0;
    query.history = history ? 1 : 0;
    query.serverPort = Port();
    SetText(query.serverAddr, host);
    return query;
}

TagQuorAiReportSiginIn HttpTerminalTest::Report(const std::string& host, const std::string& ownToken) const {
    TagQuorAiReportSiginIn report = {};
    SetText(report.confId, kMeeting);
    report.reportCount = 2;
    TagQuorAiGetSigninContent& expected = report.entries[0];
    SetText(expected.name, "王芳");
    SetText(expected.account, "wang.fang");
    SetText(expected.checkInTime, "2026-01-01 09:05:00");
    SetText(expected.type, "voice");
    SetText(expected.participantName, "会场 \"7\"");
    TagQuorAiGetSigninContent& guest = report.entries[1];
    SetText(guest.name, "Guest");
    SetText(guest.account, "guest");
    SetText(guest.checkInTime, "09:06");
    SetText(guest.type, "face");
    SetText(guest.participantName, "Room\\8");
    report.serverPort = Port();
    SetText(report.serverAddr, host);
    SetText(report.ownToken, ownToken);
    report.tokenSource = kQuorAiTokenSourceOwn;
    return report;
}

TagQuorAiQuerySignAccount HttpTerminalTest::AccountQuery(const std::string& host) const {
    TagQuorAiQuerySignAccount query = {};
    SetText(query.confId, kMeeting);
    SetText(query.serverAddr, host);
    query.serverPort = Port();
    query.accountCount = 1;
    SetText(query.account, kAccount);
    return query;
}

TagQuorAiAVMatchtData HttpTerminalTest::Match(const std::string& host) const {
    TagQuorAiAVMatchtData match = {};
    match.faceid = 17;
    match.serverPort = Port();
    match.start = 1500;
    match.end = 2750;
    match.doa = 0.5F;
    match.score = 87.25F;
    SetText(match.userid, "user-1");
    SetText(match.site, "site-ana");
    SetText(match.uuid, kMeeting);
    SetText(match.serverAddr, host);
    SetText(match.token, kOwnToken);
    match.rect = {-1, 2, 300, 400};
    return match;
}

Asked HttpTerminalTest::Ask(Kind kind, const std::string& host) {
    switch (kind) {
        case Kind::kParticipants:
            return AskParticipants(host);
        case Kind::kCheckedIn:
        case Kind::kNotCheckedIn:
        case Kind::kPastCheckedIn:
        case Kind::kPastNotCheckedIn:
            return AskSignIns(kind, host);
        case Kind::kReportOwnToken:
        case Kind::kReportLoginToken:
            return AskReport(kind, host);
        case Kind::kAccount:
            return AskAccount(host);
        case Kind::kMatch:
            break;
    }
    return AskMatch(host);
}

Asked HttpTerminalTest::AskParticipants(const std::string& host) {
    TagQuorAiKelInfo query = ParticipantQuery(host);
    Asked asked = {};
    asked.id = AI_SUB_ID_QUERY_CONF_LIST;
    asked.result = adapter().CloudQueryConfList(&query);
    asked.serverAddr = query.serverAddr;
    asked.success = ParticipantList(Meeting().participants);
    return asked;
}

Asked HttpTerminalTest::AskSignIns(Kind kind, const std::string& host) {
    const bool history = kind == Kind::kPastCheckedIn || kind == Kind::kPastNotCheckedIn;
    TagQuorAiQuerySignIn query =
        SignInQuery(kind == Kind::kCheckedIn || kind == Kind::kPastCheckedIn, host, history);
    Asked asked = {};
    asked.id = AI_SUB_ID_QUERY_SIGN_IN;
    asked.result = adapter().CloudQuerySignInInfo(query);
    asked.serverAddr = query.serverAddr;
    asked.success = SignInList((history ? PastMeeting() : Meeting()).attendees, query);
    return asked;
}

Asked HttpTerminalTest::AskReport(Kind kind, const std::string& host) {
    TagQuorAiReportSiginIn report = Report(host);
    if (kind == Kind::kReportLoginToken) {
        SetText(report.ownToken, "not looked at");
        report.tokenSource = 0;
    }
    Asked asked = {};
    asked.id = AI_SUB_ID_REPORT_SIGN_IN;
    asked.result = adapter().CloudReportSignInInfo(report);
    asked.serverAddr = report.serverAddr;
    asked.failure = Bytes(report);
    report.result = 1;
    asked.success = Bytes(report);
    return asked;
}

Asked HttpTerminalTest::AskAccount(const std::string& host) {
    TagQuorAiQuerySignAccount query = AccountQuery(host);
    Asked asked = {};
    asked.id = AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN;
    asked.result = adapter().CloudQueryAccountSignInInfo(query);
    asked.serverAddr = query.serverAddr;
    asked.success = AccountResult(kStatusOk, kAccount, kAccountTime);
    asked.failure = AccountResult(0);
    return asked;
}

Asked HttpTerminalTest::AskMatch(const std::string& host) {
    TagQuorAiAVMatchtData match = Match(host);
    Asked asked = {};
    asked.id = AI_SUB_ID_REPORT_AV_MATCH;
    asked.result = adapter().CloudReportAVMatchInfo(match);
    asked.serverAddr = match.serverAddr;
    asked.failure = Bytes(match);
    match.success = 1;
    asked.success = Bytes(match);
    return asked;
}

void HttpTerminalTest::ExpectSuccess(Kind kind, const std::string& host) {
    SCOPED_TRACE(NameOf(kind) + " of " + host);
    observer().Clear();
    terminal().ClearLog();
    const Asked asked = Ask(kind, host);
    EXPECT_EQ(asked.result, 0U);
    EXPECT_TRUE(observer().WaitFor(asked.id, 1)) << ::testing::PrintToString(terminal().Errors());
    ExpectNotified(asked.id, {asked.success});
    EXPECT_THAT(terminal().Errors(), ::testing::IsEmpty());
}

void HttpTerminalTest::ExpectTransportFailure(Kind kind, unsigned int code, const std::string& host) {
    SCOPED_TRACE(NameOf(kind) + " of " + host);
    observer().Clear();
    terminal().ClearLog();
    const Asked asked = Ask(kind, host);
    const std::string number = std::to_string(code);
    if (kind == Kind::kParticipants) {
        EXPECT_TRUE(terminal().WaitForLog("<HttpThreadExecute>: execute subId:10 failed."));
        EXPECT_EQ(terminal().LogCount("<CloudQueryConfListPage>: HTTP_SynSend failed:" + number), 1U)
            << ::testing::PrintToString(terminal().Errors());
    } else {
        EXPECT_TRUE(terminal().WaitForLog("<GetErrorCode>: Send func ret =  " + number))
            << ::testing::PrintToString(terminal().Errors());
    }
    if (asked.failure.empty()) {
        ExpectSilence();
    } else {
        EXPECT_TRUE(observer().WaitFor(asked.id, 1));
        ExpectNotified(asked.id, {asked.failure});
    }
}

void HttpTerminalTest::ExpectNotified(TagQuorAiSubId id, const std::vector<std::string>& results) {
    EXPECT_EQ(observer().Total(), results.size());
    const std::vector<std::string> all = observer().All(id);
    ASSERT_EQ(all.size(), results.size());
    for (std::size_t i = 0; i < results.size(); ++i) {
        ASSERT_EQ(all[i].size(), results[i].size()) << "notification " << i;
        EXPECT_EQ(std::memcmp(all[i].data(), results[i].data(), results[i].size()), 0)
            << "notification " << i;
    }
}

std::size_t HttpTerminalTest::Requests(Kind kind) {
    return rest().GetStatistics().endpoints.at(std::string(EndpointName(EndpointOf(kind)))).requests;
}

std::size_t HttpTerminalTest::Connections() {
    std::set<std::uint64_t> connections;
    for (const quor_simulator::RestRequest& request : rest().Requests()) {
        connections.insert(request.connection);
    }
    return connections.size();
}

}  // namespace quor_test
