/* rest_test.cpp - every endpoint: what it lists, what reports change, what is refused, what is recorded. */
#include "http_fixture.h"

namespace quor_test {
namespace {

using quor_simulator::Conference;
using quor_simulator::Endpoint;
using quor_simulator::GenerateConference;
using quor_simulator::Options;
using quor_simulator::SignIn;

class RestSide : public HttpTest {
protected:
    /* The accounts of a sign-in list, in their order. */
    static std::vector<std::string> Accounts(const Json& page) {
        std::vector<std::string> accounts;
        for (const Json& entry : page["content"]) {
            accounts.push_back(entry["account"]);
        }
        return accounts;
    }
    using Texts = std::vector<std::string>;
};

TEST_F(RestSide, ParticipantsComeAsPages) {
    StartWithPeople(3);
    const HttpReply reply = Ask(ParticipantsText("c", 1, 2));
    EXPECT_EQ(reply.status, 200U);
    EXPECT_TRUE(reply.whole);
    EXPECT_EQ(reply.Header("Content-Type"), "application/json;charset=UTF-8");
    EXPECT_EQ(reply.body,
              R"({"content":[{"generalParam":{"id":"site-3","name":"Site 3"}}],"totalElements":3,)"
              R"("totalPages":2,"number":1,"size":2,"numberOfElements":1,"first":false,"last":true})");
}

struct Paging {
    std::size_t people;
    std::size_t size;
    std::vector<std::size_t> pages; /* entries of each, asked from 0 on */
};
class RestPaging : public RestSide, public ::testing::WithParamInterface<Paging> {};

TEST_P(RestPaging, EveryPageHasItsShare) {
    const Paging& wanted = GetParam();
    StartWithPeople(wanted.people);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    std::size_t next = 1;
    for (std::size_t page = 0; page < wanted.pages.size(); ++page) {
        const Json answer = Json::parse(link.Ask(ParticipantsText("c", page, wanted.size)).body);
        ASSERT_EQ(answer["content"].size(), wanted.pages[page]) << page;
        EXPECT_EQ(answer["totalElements"], wanted.people);
        EXPECT_EQ(answer["totalPages"], (wanted.people + wanted.size - 1) / wanted.size);
        EXPECT_EQ(answer["number"], page);
        for (const Json& entry : answer["content"]) {
            ASSERT_EQ(entry["generalParam"]["id"], "site-" + std::to_string(next++));
        }
    }
    EXPECT_EQ(next, wanted.people + 1);
}

INSTANTIATE_TEST_SUITE_P(All, RestPaging,
                         ::testing::Values(Paging{0, 200, {0, 0}}, Paging{1, 200, {1, 0}},
                                           Paging{199, 200, {199, 0}}, Paging{200, 200, {200, 0}},
                                           Paging{201, 200, {200, 1, 0}},
                                           Paging{1600, 200, {200, 200, 200, 200, 200, 200, 200, 200, 0}},
                                           Paging{1601, 200, {200, 200, 200, 200, 200, 200, 200, 200, 1, 0}},
                                           Paging{1600, 250, {250, 250, 250, 250, 250, 250, 100, 0}},
                                           Paging{12000, 10000, {10000, 2000, 0}}),
                         [](const auto& test) {
                             return std::to_string(test.param.people) + "By" +
                                    std::to_string(test.param.size);
                         });

TEST_F(RestSide, HugePageNumbersAreEmptyPages) {
    StartWithPeople(3);
    EXPECT_TRUE(Good(ParticipantsText("c", 4294967295U, 10000))["content"].empty());
}

TEST_F(RestSide, BadPagesAreRefused) {
    StartWithPeople(3);
    for (const char* query : {"page=x&size=2", "page=-1&size=2", "page=0&size=0", "page=0&size=10001",
                              "page=&size=2", "page=0&size=2x", "page=4294967296&size=2"}) {
        const std::string target = "/conf-portal/online/conferences/c/participants/conditions?";
        EXPECT_EQ(Ask(RequestText("POST", target + query, "{}")).status, 400U) << query;
        EXPECT_EQ(Ask(RequestText("GET", SignInsTarget("c") + "?checkIn=true&" + query)).status, 400U)
            << query;
    }
    EXPECT_EQ(
        Good(RequestText("POST", "/conf-portal/online/conferences/c/participants/conditions", "{}"))["size"],
        20);
}

TEST_F(RestSide, ReportsMoveAttendeesBetweenTheLists) {
    StartWithPeople(3);
    EXPECT_EQ(Accounts(Good(SignInsText("c", false))), (Texts{"account-1", "account-2", "account-3"}));
    EXPECT_EQ(Good(SignInsText("c", true))["totalElements"], 0);

    const HttpReply reply = Ask(ReportText("c", OneReport("Person 2", "account-2")));
    EXPECT_EQ(reply.status, 200U);
    EXPECT_EQ(reply.body, "{}");

    EXPECT_EQ(Accounts(Good(SignInsText("c", false))), (Texts{"account-1", "account-3"}));
    EXPECT_EQ(Good(SignInsText("c", true))["content"],
              Json::parse(R"([{"name":"Person 2","account":"account-2","checkInTime":"09:00","type":"face",)"
                          R"("participantName":"Room 1"}])"));
    EXPECT_EQ(rest().FindConference("c")->attendees[1].signIn->type, "face");
}

TEST_F(RestSide, WhoWasNotExpectedIsListedAfterTheOthers) {
    StartWithPeople(1);
    EXPECT_EQ(Ask(ReportText("c", OneReport("Guest", "guest"))).status, 200U);
    EXPECT_EQ(Ask(ReportText("c", OneReport("Person 1", "account-1"))).status, 200U);
    EXPECT_EQ(Ask(ReportText("c", OneReport("Guest", "guest"))).status, 200U);
    EXPECT_EQ(Accounts(Good(SignInsText("c", true))), (Texts{"account-1", "guest"}));
    EXPECT_EQ(Good(SignInsText("c", false))["totalElements"], 0);
}

TEST_F(RestSide, SignInListsArePaged) {
    StartWithPeople(65);
    const Json last = Good(SignInsText("c", false, 2, 32));
    EXPECT_EQ(Accounts(last), Texts{"account-65"});
    EXPECT_EQ(last["totalElements"], 65);
    EXPECT_EQ(last["totalPages"], 3);
    EXPECT_EQ(last["number"], 2);
    EXPECT_EQ(last["content"][0], Json::parse(R"({"name":"Person 65","account":"account-65"})"));
}

TEST_F(RestSide, HistoryInvertsTheMeaningOfCheckIn) {
    Start();
    Conference conference = GenerateConference(2);
    conference.attendees[0].signIn = SignIn{"08:00", "card", "Room 1"};
    rest().SetHistory("old", conference);
    EXPECT_EQ(Good(HistoryText("old", false))["content"],
              Json::parse(R"([{"name":"Person 1","account":"account-1","checkInTime":"08:00","type":"card",)"
                          R"("participantName":"Room 1"}])"));
    EXPECT_EQ(Accounts(Good(HistoryText("old", true))), Texts{"account-2"});
    EXPECT_EQ(Ask(SignInsText("old", true)).status, 404U);
    EXPECT_EQ(rest().FindHistory("old")->attendees.size(), 2U);
    EXPECT_FALSE(rest().FindConference("old"));
}

TEST_F(RestSide, SignInListsNeedCheckIn) {
    StartWithPeople(1);
    for (const char* query : {"?page=0&size=1", "?page=0&size=1&checkIn=", "?page=0&size=1&checkIn=TRUE"}) {
        EXPECT_EQ(Ask(RequestText("GET", SignInsTarget("c") + query)).status, 400U) << query;
    }
}

TEST_F(RestSide, BadReportsChangeNothing) {
    StartWithPeople(1);
    const std::string good = OneReport("Person 1", "account-1");
    const std::string entry = good.substr(18, good.size() - 20);
    for (const std::string& body :
         {std::string("nonsense"), std::string("[]"), std::string("{}"),
          std::string(R"({"checkInfoList":[]})"), std::string(R"({"checkInfoList":{}})"), OneReport("x", ""),
          R"({"checkInfoList":[)" + entry + R"(,{"name":"n","account":"a"}]})",
          R"({"checkInfoList":[)" + entry + R"(,5]})"}) {
        EXPECT_EQ(Ask(ReportText("c", body)).status, 400U) << body;
    }
    EXPECT_EQ(Good(SignInsText("c", true))["totalElements"], 0);
    EXPECT_EQ(Ask(ReportText("c", R"({"checkInfoList":[)" + entry + "]}")).status, 200U);
}

TEST_F(RestSide, AccountsThatCheckedInAreFound) {
    StartWithPeople(3);
    rest().CheckIn("c", {"Person 3", "account-3", SignIn{"09:30", "face", "Room 3"}});
    rest().CheckIn("c", {"Person 1", "account-1", SignIn{"09:10", "face", "Room 1"}});
    EXPECT_EQ(Good(AccountText("c", R"({"accountList":["account-1"]})")),
              Json::parse(R"({"checkInInfos":[{"account":"account-1","checkInTime":"09:10"}]})"));
    EXPECT_EQ(Good(AccountText("c", R"({"accountList":["account-3","","account-2","nobody","account-1"]})")),
              Json::parse(R"({"checkInInfos":[{"account":"account-3","checkInTime":"09:30"},)"
                          R"({"account":"account-1","checkInTime":"09:10"}]})"));
    EXPECT_EQ(Ask(AccountText("c", R"({"accountList":["account-2"]})")).body, R"({"checkInInfos":[]})");
    for (const char* body :
         {"{}", R"({"accountList":"account-1"})", R"({"accountList":[1]})", "\"account-1\""}) {
        EXPECT_EQ(Ask(AccountText("c", body)).status, 400U) << body;
    }
}

TEST_F(RestSide, MatchReportsAreKept) {
    StartWithPeople(0);
    EXPECT_EQ(Ask(MatchText("c")).body, "{}");
    const auto matches = rest().MatchReports();
    ASSERT_EQ(matches.size(), 1U);
    EXPECT_EQ(matches[0].conference, "c");
    EXPECT_EQ(matches[0].token, "t");
    EXPECT_EQ(matches[0].site, "s");
    EXPECT_EQ(matches[0].start, "1.234");
    EXPECT_EQ(matches[0].end, "2.000");
    EXPECT_EQ(matches[0].userId, "u");
    EXPECT_EQ(matches[0].doa, "12.500000");
    EXPECT_EQ(matches[0].score, "0.900000");
    EXPECT_EQ(matches[0].faceId, "7");
    EXPECT_EQ(matches[0].rect, (std::array<std::string, 4>{"1", "2", "3", "4"}));
    rest().ClearRequests();
    EXPECT_TRUE(rest().MatchReports().empty());
}

TEST_F(RestSide, IncompleteMatchReportsAreRefused) {
    StartWithPeople(0);
    for (const char* name : {"site", "msg", "start", "end", "userid", "doa", "score", "faceid", "rect"}) {
        Json body = Json::parse(kMatchBody);
        body.erase(name);
        EXPECT_EQ(Ask(MatchText("c", body.dump())).status, 400U) << name;
        body[name] = 5;
        EXPECT_EQ(Ask(MatchText("c", body.dump())).status, 400U) << name;
    }
    Json body = Json::parse(kMatchBody);
    body["rect"].erase("h");
    EXPECT_EQ(Ask(MatchText("c", body.dump())).status, 400U);
    body = Json::parse(kMatchBody);
    body["msg"] = "avmatched";
    EXPECT_EQ(Ask(MatchText("c", body.dump())).status, 400U);
    EXPECT_TRUE(rest().MatchReports().empty());
}

TEST_F(RestSide, EveryEndpointChecksTheToken) {
    Options options;
    options.tokens = {"alpha", "beta"};
    StartWithPeople(1, options);
    rest().SetHistory("c", {});
    const std::string requests[] = {ParticipantsText("c", 0),
                                    SignInsText("c", true),
                                    HistoryText("c", true),
                                    ReportText("c", OneReport("n", "a")),
                                    AccountText("c", R"({"accountList":[]})"),
                                    MatchText("c")};
    for (const std::string& request : requests) {
        const auto with = [&](const std::string& header) {
            return std::string(request).replace(request.find("token: t\r\n"), 10, header);
        };
        EXPECT_EQ(Ask(with("")).status, 401U) << request;
        EXPECT_EQ(Ask(with("token:\r\n")).status, 401U) << request;
        EXPECT_EQ(Ask(with("token: gamma\r\n")).status, 403U) << request;
        EXPECT_EQ(Ask(with("token: alpha \r\n")).status, 200U) << request;
        EXPECT_EQ(Ask(with("Token: beta\r\n")).status, 200U) << request;
    }
    for (const auto& [name, count] : rest().GetStatistics().endpoints) {
        if (name.rfind("face", 0) == 0) { /* without a token */
            continue;
        }
        EXPECT_EQ(count.requests, 5U) << name;
        EXPECT_EQ(count.good, 2U) << name;
        EXPECT_EQ(count.refused, 3U) << name;
        EXPECT_EQ(count.tokenRefused, 3U) << name;
        EXPECT_EQ(count.faulty, 0U) << name;
    }
    simulator().SetTokens({"gamma"});
    EXPECT_EQ(Ask(ParticipantsText("c", 0, 200, "gamma")).status, 200U);
    EXPECT_EQ(Ask(ParticipantsText("c", 0, 200, "alpha")).status, 403U);
}

TEST_F(RestSide, UnknownConferencesAre404) {
    StartWithPeople(1);
    EXPECT_EQ(Ask(ParticipantsText("other", 0)).status, 404U);
    EXPECT_EQ(Ask(SignInsText("other", true)).status, 404U);
    EXPECT_EQ(Ask(HistoryText("c", true)).status, 404U);
    EXPECT_EQ(Ask(ReportText("other", OneReport("n", "a"))).status, 404U);
    rest().CheckIn("other", {"n", "a", SignIn{}});
    EXPECT_EQ(Accounts(Good(SignInsText("other", true))), Texts{"a"});
    rest().RemoveConference("c");
    EXPECT_EQ(Ask(ParticipantsText("c", 0)).status, 404U);
}

TEST_F(RestSide, EveryConferenceCanBeGenerated) {
    Options options;
    options.people = 201;
    Start(options);
    EXPECT_EQ(Good(ParticipantsText("one", 1))["content"].size(), 1U);
    EXPECT_EQ(Good(ParticipantsText("two", 0))["totalElements"], 201);
    EXPECT_EQ(Ask(ReportText("one", OneReport("n", "account-1"))).status, 200U);
    EXPECT_EQ(Good(SignInsText("one", true))["totalElements"], 1);
    EXPECT_EQ(Good(SignInsText("two", true))["totalElements"], 0);
    rest().SetConference("three", GenerateConference(1));
    EXPECT_EQ(Good(ParticipantsText("three", 0))["totalElements"], 1);
}

TEST_F(RestSide, PathsAndMethodsMustFit) {
    StartWithPeople(1);
    for (const char* path : {"/", "/conf-portal/online/conferences/c/participants",
                             "/conf-portal/conferences//checkinservices/checkininfos",
                             "/conf-portal/online/conferences/c/d/participants/conditions"}) {
        const HttpReply reply = Ask(RequestText("GET", path));
        EXPECT_EQ(reply.status, 404U) << path;
        EXPECT_EQ(reply.body, "no such resource\n") << path;
    }
    const HttpReply wrong = Ask(RequestText("DELETE", SignInsTarget("c")));
    EXPECT_EQ(wrong.status, 405U);
    EXPECT_EQ(wrong.Header("Allow"), "GET, PUT");
    EXPECT_EQ(
        Ask(RequestText("GET", "/conf-portal/online/conferences/c/participants/ai/caption")).Header("Allow"),
        "POST");
    EXPECT_EQ(rest().GetStatistics().unknown, 6U);
    EXPECT_EQ(rest().GetStatistics().malformed, 0U);
    EXPECT_EQ(Ask(RequestText("GET", "/%zz")).status, 400U);
    EXPECT_EQ(rest().GetStatistics().malformed, 1U);
}

TEST_F(RestSide, BodiesMustBeJson) {
    StartWithPeople(1);
    const std::string target = "/conf-portal/online/conferences/c/participants/conditions?page=0&size=1";
    const std::string head = "POST " + target + " HTTP/1.1\r\nHost: h\r\ntoken: t\r\n";
    EXPECT_EQ(Ask(head + "Content-Length: 2\r\n\r\n{}").status, 415U);
    EXPECT_EQ(Ask(head + "Content-Type: text/plain\r\nContent-Length: 2\r\n\r\n{}").status, 415U);
    EXPECT_EQ(Ask(head + "Content-Type: application/json\r\n\r\n").status, 400U);
    EXPECT_EQ(Ask(head + "Content-Type: application/json\r\nContent-Length: 4\r\n\r\nnull").status, 400U);
    EXPECT_EQ(
        Ask(head + "Content-Type: application/json;charset=UTF-8\r\nContent-Length: 2\r\n\r\n{}").status,
        200U);
    EXPECT_EQ(Ask(ParticipantsText("c", 0).replace(0, 0, "")).status, 200U);
    EXPECT_EQ(Ask(RequestText("POST", target, std::string(500000, '['))).status, 400U);
}

TEST_F(RestSide, NamesThatAreNoUtf8AreStillAnswered) {
    Start();
    rest().SetConference("c", {{{"id\xff", "n\xc3"}}, {}});
    EXPECT_EQ(Good(ParticipantsText("c", 0))["content"][0]["generalParam"]["id"], "id\xef\xbf\xbd");
}

TEST_F(RestSide, RequestsAreRecordedAsTheyWereSent) {
    StartWithPeople(1);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    link.Ask(MatchText("c").replace(MatchText("c").find("token"), 5, "Token"));
    link.Ask(RequestText("GET", "/nowhere?x=%41"));
    Ask(SignInsText("none", true));
    ASSERT_TRUE(rest().WaitForRequests(Endpoint::kSignInList, 1, kPatience));
    EXPECT_FALSE(rest().WaitForRequests(Endpoint::kSignInList, 2, quor_simulator::Milliseconds(0)));
    const auto requests = rest().Requests();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].endpoint, Endpoint::kMatchReport);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].target, "/conf-portal/online/conferences/c/participants/ai/caption");
    EXPECT_EQ(requests[0].conference, "c");
    EXPECT_EQ(requests[0].headers, (quor_simulator::HeaderList{
                                       {"Host", "127.0.0.1"},
                                       {"Token", "t"},
                                       {"Content-Type", "application/json"},
                                       {"Content-Length", std::to_string(std::string(kMatchBody).size())}}));
    EXPECT_EQ(requests[0].body, kMatchBody);
    EXPECT_EQ(requests[0].status, 200U);
    EXPECT_FALSE(requests[0].faulty);
    EXPECT_EQ(requests[1].endpoint, std::nullopt);
    EXPECT_EQ(requests[1].target, "/nowhere?x=%41");
    EXPECT_EQ(requests[1].status, 404U);
    EXPECT_EQ(requests[1].connection, requests[0].connection);
    EXPECT_EQ(requests[2].status, 404U);
    EXPECT_EQ(requests[2].conference, "none");
    EXPECT_NE(requests[2].connection, requests[0].connection);
    rest().ClearRequests();
    EXPECT_TRUE(rest().Requests().empty());
    EXPECT_FALSE(rest().WaitForRequests(Endpoint::kSignInList, 1, quor_simulator::Milliseconds(0)));
    EXPECT_EQ(rest().GetStatistics().endpoints["signInList"].requests, 1U);
}

TEST_F(RestSide, OnlyTheNewestRequestsAreKept) {
    Options options;
    options.receivedKept = 2;
    StartWithPeople(1, options);
    for (int i = 0; i < 3; ++i) {
        Ask(SignInsText("c", true, static_cast<std::size_t>(i)));
        Ask(MatchText("c"));
    }
    const auto requests = rest().Requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_NE(requests[0].target.find("page=2"), std::string::npos);
    EXPECT_EQ(rest().MatchReports().size(), 2U);
}

TEST_F(RestSide, ContentsSurviveARestart) {
    StartWithPeople(1, OnHeldPort());
    const auto port = simulator().port();
    Ask(ReportText("c", OneReport("Person 1", "account-1")));
    simulator().Stop();
    simulator().Start();
    EXPECT_EQ(simulator().port(), port);
    EXPECT_EQ(Accounts(Good(SignInsText("c", true))), Texts{"account-1"});
    EXPECT_EQ(rest().Requests().size(), 2U);
}

}  // namespace
}  // namespace quor_test
