// The participant list page by page: how many requests it takes, and what comes of long, odd and broken ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/http_terminal_test.h"

namespace quor_test {
namespace {

using quor_simulator::Conference;
using quor_simulator::Endpoint;
using quor_simulator::GenerateConference;
using quor_simulator::RestFault;
using ::testing::ElementsAre;

constexpr char kEnd[] = "<HttpThreadExecute>: execute subId:10 failed.";

class HttpParticipants : public HttpTerminalTest {
protected:
    void Hold(Conference conference) { rest().SetConference(kMeeting, std::move(conference)); }
    void Query() {
        TagQuorAiKelInfo query = ParticipantQuery();
        ASSERT_EQ(adapter().CloudQueryConfList(&query), 0U);
    }
    void ExpectParticipants(std::size_t people) {
        ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_QUERY_CONF_LIST, 1))
            << ::testing::PrintToString(terminal().Errors());
        ExpectNotified(AI_SUB_ID_QUERY_CONF_LIST, {ParticipantList(GenerateConference(people).participants)});
    }
    // Every page asked for once, in order, with the same token and body, on one connection.
    void ExpectPages(std::size_t count) {
        const auto requests = rest().Requests();
        ASSERT_EQ(requests.size(), count);
        for (std::size_t page = 0; page < count; ++page) {
            EXPECT_EQ(requests[page].method, "POST");
            EXPECT_EQ(requests[page].target,
                      "/conf-portal/online/conferences/conf-1/participants/conditions?page=" +
                          std::to_string(page) + "&size=200");
            EXPECT_EQ(requests[page].body, "{}");
            EXPECT_THAT(requests[page].headers, ::testing::IsSupersetOf(HeadersOfEveryPage()));
        }
        EXPECT_EQ(Connections(), 1U);
    }

private:
    static quor_simulator::HeaderList HeadersOfEveryPage() {
        return {{"token", kOwnToken}, {"Content-Type", "application/json"}, {"Content-Length", "2"}};
    }
};

struct Paging {
    std::size_t people;
    std::size_t requests;
};
class HttpPaging : public HttpParticipants, public ::testing::WithParamInterface<Paging> {};

// A full page is followed by the question for the next one, but for the eighth: the list is full.
TEST_P(HttpPaging, TheWholeListArrivesAtOnce) {
    Hold(GenerateConference(GetParam().people));
    Query();
    ExpectParticipants(GetParam().people);
    ExpectPages(GetParam().requests);
    EXPECT_THAT(terminal().Errors(), ::testing::IsEmpty());
    EXPECT_EQ(terminal().LogCount("<DoQueryConfList>: site num = " +
                                  std::to_string(std::min<std::size_t>(GetParam().people, 1600)) +
                                  ", page = " + std::to_string(GetParam().requests)),
              1U);
}

INSTANTIATE_TEST_SUITE_P(All, HttpPaging,
                         ::testing::Values(Paging{0, 1}, Paging{1, 1}, Paging{199, 1}, Paging{200, 2},
                                           Paging{201, 2}, Paging{1599, 8}, Paging{1600, 8}, Paging{1601, 8}),
                         [](const auto& test) { return std::to_string(test.param.people); });

TEST_F(HttpParticipants, PagesThatAreLargerThanAskedForAreTakenWhileThereIsRoom) {
    Hold(GenerateConference(1600));
    RestFault fault;
    fault.pageSize = 250;
    ASSERT_TRUE(rest().SetFault(Endpoint::kParticipants, fault));
    Query();
    ExpectParticipants(1600);
    ExpectPages(7);
}

TEST_F(HttpParticipants, AListThatOutgrowsTheRoomIsGivenUpWhole) {
    Hold(GenerateConference(1751));
    RestFault fault;
    fault.pageSize = 250;
    ASSERT_TRUE(rest().SetFault(Endpoint::kParticipants, fault));
    Query();
    ASSERT_TRUE(terminal().WaitForLog(kEnd));
    ExpectSilence();
    ExpectPages(7);
    EXPECT_THAT(
        terminal().Errors(),
        ElementsAre("<ParseConfListToBuffer>: curSiteNum(1500) + totalSiteNum(250) > MAX_SITE_NUM(1600)",
                    "<DoQueryConfList>: call CloudQueryConfListPage failed!",
                    "<DoQueryConfList> QueryConfListGetUrl error!",
                    "<AiHttpProcSyncRequest> failed: DoQueryConfList error", kEnd));
}

TEST_F(HttpParticipants, APageThatFailsFailsTheListAndTheNextListIsWhole) {
    Hold(GenerateConference(1000));
    RestFault fault;
    fault.status = 500;
    fault.skip = 3;
    fault.times = 1;
    ASSERT_TRUE(rest().SetFault(Endpoint::kParticipants, fault));
    Query();
    ASSERT_TRUE(terminal().WaitForLog(kEnd));
    ExpectSilence();
    ExpectPages(4);
    Query();
    ExpectParticipants(1000);
}

TEST_F(HttpParticipants, TextsThatDoNotFitStayEmpty) {
    Conference conference;
    conference.participants = {{std::string(192, 'i'), "Ana"}, {"site-2", std::string(256, 'n')}, {"", ""}};
    Hold(conference);
    Query();
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_QUERY_CONF_LIST, 1));
    ExpectNotified(AI_SUB_ID_QUERY_CONF_LIST, {ParticipantList({{"", "Ana"}, {"site-2", ""}, {"", ""}})});
    EXPECT_THAT(
        terminal().Errors(),
        ElementsAre("<HttpJsonGetStr>: strcpy_s value failed", "<HttpJsonGetStr>: strcpy_s value failed",
                    "<HttpJsonGetStr>: value is error", "<HttpJsonGetStr>: value is error"));
}

// Queries wait for each other, so their results come one at a time and in order of the workers' turns.
TEST_F(HttpParticipants, ManyQueriesAtATimeAreAllAnswered) {
    constexpr std::size_t kQueries = 30;
    Hold(GenerateConference(250));
    for (std::size_t i = 0; i < kQueries; ++i) {
        ASSERT_NO_FATAL_FAILURE(Query());
    }
    ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_QUERY_CONF_LIST, kQueries));
    ExpectNotified(AI_SUB_ID_QUERY_CONF_LIST,
                   std::vector<std::string>(kQueries, ParticipantList(GenerateConference(250).participants)));
    EXPECT_EQ(Requests(Kind::kParticipants), 2 * kQueries);
    EXPECT_EQ(Connections(), 1U);
}

TEST_F(HttpParticipants, AConferenceThatIsNotThereHasNoList) {
    rest().RemoveConference(kMeeting);
    Query();
    ASSERT_TRUE(terminal().WaitForLog(kEnd));
    ExpectSilence();
    EXPECT_EQ(terminal().LogCount("<CloudQueryConfListPage>: http status code = 404"), 1U);
}

}  // namespace
}  // namespace quor_test
