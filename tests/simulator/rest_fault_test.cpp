/* rest_fault_test.cpp - every fault of the HTTP side, what it leaves done, and how it ends. */
#include "http_fixture.h"

namespace quor_test {
namespace {

using quor_simulator::Content;
using quor_simulator::Cut;
using quor_simulator::Endpoint;
using quor_simulator::Milliseconds;
using quor_simulator::RestFault;

class RestFaults : public HttpTest {
protected:
    void SetUp() override { StartWithPeople(3); }
    void Set(const RestFault& fault, Endpoint endpoint = Endpoint::kParticipants) {
        EXPECT_TRUE(rest().SetFault(endpoint, fault));
    }
    std::size_t CheckedIn() { return Good(SignInsText("c", true))["totalElements"]; }

    const std::string kQuestion = ParticipantsText("c", 0);
    const std::string kReport = ReportText("c", OneReport("Person 1", "account-1"));
};

TEST_F(RestFaults, StatusesRefuseEveryEndpoint) {
    rest().SetHistory("c", {});
    const std::pair<Endpoint, std::string> requests[] = {
        {Endpoint::kParticipants, kQuestion},
        {Endpoint::kSignInList, SignInsText("c", true)},
        {Endpoint::kSignInHistory, HistoryText("c", true)},
        {Endpoint::kSignInReport, kReport},
        {Endpoint::kAccountQuery, AccountText("c", R"({"accountList":[]})")},
        {Endpoint::kMatchReport, MatchText("c")}};
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    for (const auto& [endpoint, request] : requests) {
        for (const unsigned int status : {302U, 400U, 401U, 404U, 418U, 500U, 503U, 599U}) {
            RestFault fault;
            fault.status = status;
            fault.times = 1;
            Set(fault, endpoint);
            const HttpReply reply = link.Ask(request);
            EXPECT_EQ(reply.status, status) << request;
            EXPECT_TRUE(reply.whole);
            EXPECT_EQ(reply.Header("Location"), status == 302 ? "/redirected" : "");
        }
        EXPECT_EQ(
            rest().GetStatistics().endpoints[std::string(quor_simulator::EndpointName(endpoint))].faulty, 8U);
    }
    EXPECT_EQ(CheckedIn(), 0U); /* refused reports report nothing */
    EXPECT_TRUE(rest().MatchReports().empty());
    for (const auto& [endpoint, request] : requests) {
        EXPECT_EQ(link.Ask(request).status, 200U) << request;
    }
    EXPECT_TRUE(rest().Requests().front().faulty);
    EXPECT_EQ(rest().Requests().front().status, 302U);
    EXPECT_FALSE(rest().Requests().back().faulty);
}

TEST_F(RestFaults, NoContentHasNoBodyAndAcceptsReports) {
    RestFault fault;
    fault.status = 204;
    Set(fault, Endpoint::kSignInReport);
    const HttpReply reply = Ask(kReport);
    EXPECT_EQ(reply.status, 204U);
    EXPECT_TRUE(reply.whole);
    EXPECT_EQ(reply.body, "");
    EXPECT_EQ(reply.Header("Content-Length"), "");
    EXPECT_EQ(CheckedIn(), 1U);
    fault.status = 206;
    Set(fault);
    EXPECT_EQ(Ask(kQuestion).status, 206U);
    EXPECT_EQ(Json::parse(Ask(kQuestion).body)["content"].size(), 3U);
}

TEST_F(RestFaults, OnlyAnswerStatusesAreTaken) {
    RestFault fault;
    for (const unsigned int status : {0U, 100U, 101U, 199U, 600U, 1000U}) {
        fault.status = status;
        EXPECT_FALSE(rest().SetFault(Endpoint::kParticipants, fault)) << status;
    }
    EXPECT_EQ(Ask(kQuestion).status, 200U);
}

TEST_F(RestFaults, AreCounted) {
    RestFault fault;
    fault.status = 500;
    fault.skip = 2;
    fault.times = 2;
    Set(fault);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    std::vector<unsigned int> statuses;
    for (int i = 0; i < 6; ++i) {
        statuses.push_back(link.Ask(kQuestion).status);
        EXPECT_EQ(link.Ask(SignInsText("c", true)).status, 200U); /* another kind: not touched */
    }
    EXPECT_EQ(statuses, (std::vector<unsigned int>{200, 200, 500, 500, 200, 200}));
    fault = {};
    fault.status = 500;
    fault.times = 0;
    Set(fault);
    EXPECT_EQ(link.Ask(kQuestion).status, 200U);
}

TEST_F(RestFaults, AreClearedOneOrAll) {
    RestFault fault;
    fault.status = 500;
    Set(fault);
    Set(fault, Endpoint::kSignInList);
    Set(fault, Endpoint::kAccountQuery);
    rest().ClearFault(Endpoint::kParticipants);
    EXPECT_EQ(Ask(kQuestion).status, 200U);
    EXPECT_EQ(Ask(SignInsText("c", true)).status, 500U);
    rest().ClearFault();
    EXPECT_EQ(Ask(SignInsText("c", true)).status, 200U);
    EXPECT_EQ(Ask(AccountText("c", R"({"accountList":[]})")).status, 200U);
}

TEST_F(RestFaults, DelaysHoldTheAnswerBack) {
    RestFault fault;
    fault.delay = Milliseconds(150);
    Set(fault);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Ask(kQuestion).status, 200U);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, Milliseconds(150));
}

TEST_F(RestFaults, HeldAnswersWaitUntilTheyAreReleased) {
    RestFault fault;
    fault.hold = true;
    fault.delay = Milliseconds(1);
    Set(fault);
    Set(fault, Endpoint::kSignInReport);
    HttpsClient links[3];
    for (HttpsClient& link : links) {
        ASSERT_TRUE(Connect(link));
    }
    ASSERT_TRUE(links[0].Send(kQuestion));
    ASSERT_TRUE(links[1].Send(kQuestion));
    ASSERT_TRUE(links[2].Send(kReport));
    ASSERT_TRUE(rest().WaitForHeld(3, kPatience));
    EXPECT_FALSE(rest().WaitForHeld(4, Milliseconds(0)));
    EXPECT_EQ(CheckedIn(), 1U); /* done, only not answered */
    EXPECT_EQ(links[2].Read(Milliseconds(100)).status, 0U);

    EXPECT_EQ(rest().ReleaseHeld(Endpoint::kParticipants), 2U);
    EXPECT_EQ(links[0].Read().status, 200U);
    EXPECT_EQ(links[1].Read().status, 200U);
    EXPECT_FALSE(rest().WaitForNoneHeld(Milliseconds(0)));

    rest().ClearFault();
    EXPECT_FALSE(rest().WaitForNoneHeld(Milliseconds(0)));
    EXPECT_EQ(rest().ReleaseHeld(), 1U);
    EXPECT_TRUE(rest().WaitForNoneHeld(Milliseconds(0)));
    EXPECT_EQ(rest().ReleaseHeld(), 0U);
    EXPECT_EQ(links[0].Ask(kQuestion).status, 200U); /* the connection goes on */
}

TEST_F(RestFaults, ClientsThatLeaveAreNotHeld) {
    RestFault fault;
    fault.hold = true;
    Set(fault);
    {
        HttpsClient abandoned;
        ASSERT_TRUE(Connect(abandoned));
        ASSERT_TRUE(abandoned.Send(kQuestion));
        HttpsClient ahead;
        ASSERT_TRUE(Connect(ahead));
        ASSERT_TRUE(ahead.Send(kQuestion + kQuestion));
        ASSERT_TRUE(rest().WaitForHeld(2, kPatience));
    }
    EXPECT_TRUE(rest().WaitForNoneHeld(kPatience));
}

TEST_F(RestFaults, StopForgetsWhatIsHeld) {
    RestFault fault;
    fault.hold = true;
    Set(fault);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    ASSERT_TRUE(link.Send(kQuestion));
    ASSERT_TRUE(rest().WaitForHeld(1, kPatience));
    simulator().Stop();
    EXPECT_TRUE(rest().WaitForNoneHeld(Milliseconds(0)));
    EXPECT_NE(link.WaitForEnd(), StreamEnd::kOpen);
}

TEST_F(RestFaults, ConnectionsAreCutWhereItIsSaid) {
    const auto cut = [&](Cut where, const std::string& request, HttpReply& reply) {
        RestFault fault;
        fault.cut = where;
        fault.times = 1;
        Set(fault);
        HttpsClient link;
        EXPECT_TRUE(Connect(link));
        reply = link.Ask(request);
        EXPECT_FALSE(reply.whole);
        return link.WaitForEnd();
    };
    HttpReply reply;
    EXPECT_EQ(cut(Cut::kBefore, kQuestion, reply), StreamEnd::kCut);
    EXPECT_EQ(reply.status, 0U);
    EXPECT_EQ(cut(Cut::kHead, kQuestion, reply), StreamEnd::kCut);
    EXPECT_EQ(reply.status, 0U);
    EXPECT_EQ(cut(Cut::kBody, kQuestion, reply), StreamEnd::kCut);
    EXPECT_EQ(reply.status, 200U);
    EXPECT_EQ(reply.body.size(), Ask(kQuestion).body.size() / 2);
    EXPECT_EQ(cut(Cut::kReset, kQuestion, reply), StreamEnd::kReset);
    EXPECT_EQ(reply.status, 0U);
    EXPECT_EQ(rest().GetStatistics().connectionsCut, 4U);
}

TEST_F(RestFaults, ABodyThatIsNotThereIsCutInTheHead) {
    RestFault fault;
    fault.cut = Cut::kBody;
    fault.status = 204;
    Set(fault, Endpoint::kSignInReport);
    HttpsClient link;
    ASSERT_TRUE(Connect(link));
    EXPECT_EQ(link.Ask(kReport).status, 0U);
    EXPECT_EQ(link.WaitForEnd(), StreamEnd::kCut);
    EXPECT_EQ(CheckedIn(), 1U); /* the report counts, only its answer was lost */
}

TEST_F(RestFaults, BodiesAreSpoilt) {
    const std::string good = Ask(kQuestion).body;
    const auto spoilt = [&](Content content) {
        RestFault fault;
        fault.content = content;
        Set(fault);
        HttpReply reply = Ask(kQuestion);
        EXPECT_EQ(reply.status, 200U);
        EXPECT_TRUE(reply.whole);
        return reply;
    };
    EXPECT_EQ(spoilt(Content::kBadJson).body, good.substr(0, (good.size() + 1) / 2));
    EXPECT_FALSE(Json::accept(spoilt(Content::kBadJson).body));
    EXPECT_EQ(spoilt(Content::kEmpty).body, "");
    EXPECT_EQ(spoilt(Content::kEmpty).Header("Content-Length"), "0");
    EXPECT_EQ(spoilt(Content::kNotJson).Header("Content-Type"), "text/html");
    EXPECT_FALSE(Json::accept(spoilt(Content::kNotJson).body));
    EXPECT_EQ(spoilt(Content::kOtherJson).body, R"({"unexpected":[1,2,3]})");
    const Json wrong = Json::parse(spoilt(Content::kWrongTypes).body);
    EXPECT_EQ(wrong["content"][0], Json::parse(R"({"generalParam":{"id":7,"name":7}})"));
    EXPECT_EQ(wrong["totalElements"], "3");
    EXPECT_EQ(wrong["first"], nullptr);
    EXPECT_EQ(spoilt(Content::kGood).body, good);
}

TEST_F(RestFaults, TheShortestJsonIsBadToo) {
    RestFault fault;
    fault.content = Content::kBadJson;
    Set(fault, Endpoint::kSignInReport);
    EXPECT_EQ(Ask(kReport).body, "{");
}

TEST_F(RestFaults, MembersAreLeftOutWhereverTheyOccur) {
    RestFault fault;
    fault.omit = {"totalPages", "name"};
    Set(fault);
    const Json answer = Json::parse(Ask(kQuestion).body);
    EXPECT_FALSE(answer.contains("totalPages"));
    EXPECT_TRUE(answer.contains("totalElements"));
    for (const Json& entry : answer["content"]) {
        EXPECT_EQ(entry["generalParam"].size(), 1U);
    }
    fault.omit = {"content"};
    Set(fault);
    EXPECT_FALSE(Json::parse(Ask(kQuestion).body).contains("content"));
    fault.omit = {"generalParam"};
    Set(fault);
    EXPECT_EQ(Json::parse(Ask(kQuestion).body)["content"], Json::parse("[{},{},{}]"));
}

TEST_F(RestFaults, PagesMayHoldMoreThanWasAsked) {
    rest().SetConference("c", quor_simulator::GenerateConference(1601));
    RestFault fault;
    fault.pageSize = 250;
    Set(fault);
    std::vector<std::size_t> sizes;
    for (std::size_t page = 0; page < 8; ++page) {
        const Json answer = Json::parse(Ask(ParticipantsText("c", page, 200)).body);
        sizes.push_back(answer["content"].size());
        if (page == 6) {
            EXPECT_EQ(answer["content"].back()["generalParam"]["id"], "site-1601");
        }
    }
    EXPECT_EQ(sizes, (std::vector<std::size_t>{250, 250, 250, 250, 250, 250, 101, 0}));
    fault.pageSize = 33;
    Set(fault, Endpoint::kSignInList);
    EXPECT_EQ(Good(SignInsText("c", false, 0, 32))["content"].size(), 33U);
    fault.pageSize = 0; /* counts as 1 */
    Set(fault, Endpoint::kSignInList);
    EXPECT_EQ(Good(SignInsText("c", false, 0, 32))["content"].size(), 1U);
}

TEST_F(RestFaults, AnyBodyCanBeSent) {
    RestFault fault;
    fault.body = std::string("\0{", 2);
    fault.omit = {"content"};
    fault.content = Content::kNotJson;
    Set(fault);
    const HttpReply reply = Ask(kQuestion);
    EXPECT_EQ(reply.body, std::string("\0{", 2));
    EXPECT_EQ(reply.Header("Content-Type"), "application/json;charset=UTF-8");
    fault.status = 500;
    Set(fault);
    EXPECT_EQ(Ask(kQuestion).status, 500U);
    EXPECT_EQ(Ask(kQuestion).body, std::string("\0{", 2));
}

TEST_F(RestFaults, RefusalsCanBeSpoiltToo) {
    RestFault fault;
    fault.content = Content::kBadJson;
    Set(fault);
    const HttpReply reply = Ask(ParticipantsText("c", 0, 200, ""));
    EXPECT_EQ(reply.status, 401U);
    EXPECT_FALSE(Json::accept(reply.body));
}

}  // namespace
}  // namespace quor_test
