// Sign-in lists, reports, account queries and match reports: what is reported changes what is listed, and
// whose token goes with each request.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/host_terminal.h"
#include "support/http_terminal_test.h"

namespace quor_test {
namespace {

using quor_simulator::GenerateConference;
using ::testing::Contains;
using ::testing::ElementsAre;

class HttpSignIn : public HttpTerminalTest {
protected:
    // Both lists as they are at the server must arrive.
    void ExpectListsOfTheServer() {
        const auto conference = rest().FindConference(kMeeting);
        ASSERT_TRUE(conference.has_value());
        for (const bool checkedIn : {true, false}) {
            observer().Clear();
            TagQuorAiQuerySignIn query = SignInQuery(checkedIn);
            ASSERT_EQ(adapter().CloudQuerySignInInfo(query), 0U);
            ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_QUERY_SIGN_IN, 1));
            ExpectNotified(AI_SUB_ID_QUERY_SIGN_IN, {SignInList(conference->attendees, query)});
        }
    }
    void ExpectAccount(const std::string& account, const std::string& expected) {
        observer().Clear();
        TagQuorAiQuerySignAccount query = AccountQuery();
        SetText(query.account, account);
        ASSERT_EQ(adapter().CloudQueryAccountSignInInfo(query), 0U);
        ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, 1));
        ExpectNotified(AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, {expected});
    }
    std::string TokenOfTheOnlyRequest(const std::string& headerName = "token") {
        const auto requests = rest().Requests();
        EXPECT_EQ(requests.size(), 1U);
        for (const auto& header : requests.at(0).headers) {
            if (header.first == headerName) {
                return header.second;
            }
        }
        return "no such header";
    }
};

TEST_F(HttpSignIn, WhatIsReportedChangesWhatIsListed) {
    ASSERT_NO_FATAL_FAILURE(ExpectListsOfTheServer());
    ExpectAccount("wang.fang", AccountResult(200));
    ExpectAccount("guest", AccountResult(200));

    ASSERT_NO_FATAL_FAILURE(ExpectSuccess(Kind::kReportOwnToken));

    const auto attendees = rest().FindConference(kMeeting)->attendees;
    ASSERT_EQ(attendees.size(), 5U);
    EXPECT_EQ(attendees[1].signIn->time, "2026-01-01 09:05:00");
    EXPECT_EQ(attendees[1].signIn->type, "voice");
    EXPECT_EQ(attendees[1].signIn->participantName, "会场 \"7\"");
    EXPECT_EQ(attendees[4].name, "Guest");
    EXPECT_EQ(attendees[4].account, "guest");
    ASSERT_NO_FATAL_FAILURE(ExpectListsOfTheServer());
    ExpectAccount("wang.fang", AccountResult(200, "wang.fang", "2026-01-01 09:05:00"));
    ExpectAccount("guest", AccountResult(200, "guest", "09:06"));
    ExpectAccount("nobody", AccountResult(200));
}

TEST_F(HttpSignIn, AReportHasRoomForFiveAndIsSentWhole) {
    TagQuorAiReportSiginIn report = Report();
    report.reportCount = kQuorAiReportSignInMax;
    for (unsigned int i = 0; i < kQuorAiReportSignInMax; ++i) {
        SetText(report.entries[i].account, "account-" + std::to_string(i));
        SetText(report.entries[i].name, std::string(255, static_cast<char>('a' + i)));
    }
    ASSERT_EQ(adapter().CloudReportSignInInfo(report), 0U);
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_REPORT_SIGN_IN, 1));
    ASSERT_NO_FATAL_FAILURE(ExpectListsOfTheServer());
    EXPECT_EQ(rest().FindConference(kMeeting)->attendees.size(), 4U + kQuorAiReportSignInMax);
}

TEST_F(HttpSignIn, EveryPageOfALongListArrives) {
    constexpr unsigned int kPeople = 100;
    rest().SetConference(kMeeting, GenerateConference(kPeople));
    const auto attendees = GenerateConference(kPeople).attendees;
    std::vector<std::string> expected;
    TagQuorAiQuerySignIn query = SignInQuery(false);
    for (query.page = 0; query.page <= 4; ++query.page) {  // the last one is empty
        ASSERT_EQ(adapter().CloudQuerySignInInfo(query), 0U);
        expected.push_back(SignInList(attendees, query));
        ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_QUERY_SIGN_IN, expected.size()));
    }
    ExpectNotified(AI_SUB_ID_QUERY_SIGN_IN, expected);
}

TEST_F(HttpSignIn, AnEmptyListArrivesAsOne) {
    rest().SetConference(kMeeting, {});
    ASSERT_NO_FATAL_FAILURE(ExpectListsOfTheServer());
}

// Deliberate: of a conference that is over the server lists the opposite of what it is asked for.
TEST_F(HttpSignIn, APastConferenceIsAskedForTheOpposite) {
    ExpectSuccess(Kind::kPastCheckedIn);
    ExpectSuccess(Kind::kPastNotCheckedIn);
    const auto requests = rest().Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].target,
              "/conf-portal/conferences/history/conf-0/checkinservices/"
              "checkininfos?page=0&size=32&checkIn=false");
    EXPECT_EQ(requests[1].target,
              "/conf-portal/conferences/history/conf-0/checkinservices/"
              "checkininfos?page=0&size=32&checkIn=true");
}

TEST_F(HttpSignIn, AMatchReportArrivesWithAllItsValuesAsTexts) {
    ASSERT_NO_FATAL_FAILURE(ExpectSuccess(Kind::kMatch));
    const auto reports = rest().MatchReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].conference, kMeeting);
    EXPECT_EQ(reports[0].token, kOwnToken);
    EXPECT_EQ(reports[0].site, "site-ana");
    EXPECT_EQ(reports[0].start, "1.500");
    EXPECT_EQ(reports[0].end, "2.750");
    EXPECT_EQ(reports[0].userId, "user-1");
    EXPECT_EQ(reports[0].doa, "0.500000");
    EXPECT_EQ(reports[0].score, "87.250000");
    EXPECT_EQ(reports[0].faceId, "17");
    EXPECT_THAT(reports[0].rect, ElementsAre("-1", "2", "300", "400"));
}

// ---- Tokens ----

struct TokenRule {
    Kind kind;
    const char* header;
    const char* token;
    unsigned int fetches;  // at the login client
};
class HttpTokens : public HttpSignIn, public ::testing::WithParamInterface<TokenRule> {};

// Deliberate: a match report needs a login although it does not send its token.
TEST_P(HttpTokens, TheRightTokenGoesOut) {
    ExpectSuccess(GetParam().kind);
    EXPECT_EQ(TokenOfTheOnlyRequest(GetParam().header), GetParam().token);
    EXPECT_EQ(terminal().TokenFetches(), GetParam().fetches);
}

TEST_P(HttpTokens, WithoutALoginNothingIsSentThatNeedsOne) {
    terminal().SetLoginToken("");
    if (GetParam().fetches == 0) {
        ExpectSuccess(GetParam().kind);
        return;
    }
    const Asked asked = Ask(GetParam().kind);
    EXPECT_EQ(asked.result, 0xFFFFFFFFU);
    EXPECT_THAT(terminal().Errors(), Contains("<MonitorConfToken> QuorLoginGetConfToken ret: 1"));
    EXPECT_EQ(Requests(GetParam().kind), 0U);
    ExpectSilence();
}

TEST_P(HttpTokens, ATokenThatTheServerRefusesIsAFailure) {
    server().SetTokens({"another-token"});
    const Asked asked = Ask(GetParam().kind);
    EXPECT_EQ(asked.result, 0U);
    switch (asked.id) {
        case AI_SUB_ID_QUERY_CONF_LIST:
            ASSERT_TRUE(terminal().WaitForLog("<HttpThreadExecute>: execute subId:10 failed."));
            EXPECT_EQ(terminal().LogCount("<CloudQueryConfListPage>: http status code = 403"), 1U);
            ExpectSilence();
            break;
        case AI_SUB_ID_QUERY_SIGN_IN:
            ASSERT_TRUE(terminal().WaitForLog("<GetErrorCode>: http status code = 403"));
            ExpectSilence();
            break;
        case AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN:
            ASSERT_TRUE(observer().WaitFor(asked.id, 1));
            ExpectNotified(asked.id, {AccountResult(403)});
            break;
        default:
            ASSERT_TRUE(observer().WaitFor(asked.id, 1));
            ExpectNotified(asked.id, {asked.failure});
            break;
    }
    const auto endpoints = rest().GetStatistics().endpoints;
    EXPECT_EQ(endpoints.at(std::string(EndpointName(EndpointOf(GetParam().kind)))).tokenRefused, 1U);
}

INSTANTIATE_TEST_SUITE_P(Every, HttpTokens,
                         ::testing::Values(TokenRule{Kind::kParticipants, "token", kOwnToken, 0},
                                           TokenRule{Kind::kCheckedIn, "token", kLoginToken, 1},
                                           TokenRule{Kind::kNotCheckedIn, "token", kLoginToken, 1},
                                           TokenRule{Kind::kPastCheckedIn, "token", kLoginToken, 1},
                                           TokenRule{Kind::kPastNotCheckedIn, "token", kLoginToken, 1},
                                           TokenRule{Kind::kReportOwnToken, "token", kOwnToken, 0},
                                           TokenRule{Kind::kReportLoginToken, "token", kLoginToken, 1},
                                           TokenRule{Kind::kAccount, "token", kLoginToken, 1},
                                           TokenRule{Kind::kMatch, "Token", kOwnToken, 1}),
                         [](const auto& test) { return NameOf(test.param.kind); });

// Tokens expire, so each request has the one of its time.
TEST_F(HttpSignIn, EveryRequestFetchesTheLoginTokenAnew) {
    server().SetTokens({"fresh-1", "fresh-2", "fresh-3"});
    for (const char* token : {"fresh-1", "fresh-2", "fresh-3"}) {
        rest().ClearRequests();
        terminal().SetLoginToken(token);
        ExpectSuccess(Kind::kCheckedIn);
        EXPECT_EQ(TokenOfTheOnlyRequest(), token);
    }
    EXPECT_EQ(terminal().TokenFetches(), 3U);
}

}  // namespace
}  // namespace quor_test
