// Connections are kept and used again, and a server that goes away and comes back is found again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "support/http_interpose.h"
#include "support/http_terminal_test.h"

namespace quor_test {
namespace {

constexpr unsigned int kConnectError = 102;

class HttpConnections : public HttpTerminalTest {};

TEST_F(HttpConnections, FiftyListsTakeOneConnection) {
    for (int i = 0; i < 50; ++i) {
        ASSERT_NO_FATAL_FAILURE(ExpectSuccess(Kind::kParticipants));
    }
    EXPECT_EQ(Requests(Kind::kParticipants), 50U);
    EXPECT_EQ(Connections(), 1U);
}

TEST_F(HttpConnections, FiftyRequestsOneAfterTheOtherTakeOneConnection) {
    constexpr Kind kKinds[] = {Kind::kCheckedIn, Kind::kPastNotCheckedIn, Kind::kAccount, Kind::kMatch,
                               Kind::kReportOwnToken};
    for (int i = 0; i < 10; ++i) {
        for (const Kind kind : kKinds) {
            observer().Clear();
            const Asked asked = Ask(kind);
            ASSERT_EQ(asked.result, 0U);
            ASSERT_TRUE(observer().WaitFor(asked.id, 1));
        }
    }
    EXPECT_EQ(rest().Requests().size(), 50U);
    EXPECT_EQ(Connections(), 1U);
}

// As many connections as there are questions at a time, and no more: the second round uses those of the
// first.
TEST_F(HttpConnections, FiftyRequestsAtATimeAreAllAnswered) {
    constexpr std::size_t kRequests = 50;
    const HostTimeLimits hostLimits;  // the library's are short for so many handshakes at a time
    TagQuorAiQuerySignIn query = SignInQuery(true);
    for (int round = 1; round <= 2; ++round) {
        observer().Clear();
        for (std::size_t i = 0; i < kRequests; ++i) {
            ASSERT_EQ(adapter().CloudQuerySignInInfo(query), 0U);
        }
        ASSERT_TRUE(observer().WaitFor(AI_SUB_ID_QUERY_SIGN_IN, kRequests));
        const auto attendees = rest().FindConference(kMeeting)->attendees;
        ExpectNotified(AI_SUB_ID_QUERY_SIGN_IN,
                       std::vector<std::string>(kRequests, SignInList(attendees, query)));
        EXPECT_LE(Connections(), kRequests);
    }
    EXPECT_EQ(Requests(Kind::kCheckedIn), 2 * kRequests);
}

TEST_F(HttpConnections, ARestartOfTheServerIsNotNoticed) {
    for (int restart = 0; restart < 5; ++restart) {
        SCOPED_TRACE(restart);
        ASSERT_NO_FATAL_FAILURE(ExpectSuccess(Kind::kParticipants));
        ASSERT_NO_FATAL_FAILURE(ExpectSuccess(Kind::kAccount));
        ASSERT_NO_FATAL_FAILURE(ExpectSuccess(Kind::kMatch));
        EXPECT_EQ(Connections(), 2U);  // one for lists, one for the others
        rest().ClearRequests();
        server().Stop();
        server().Start();
    }
}

TEST_F(HttpConnections, WithoutTheServerRequestsFailAndWithItTheySucceedAgain) {
    for (const Kind kind : kAllKinds) {
        if (EndpointOf(kind) != quor_simulator::Endpoint::kSignInReport) {
            ASSERT_NO_FATAL_FAILURE(ExpectSuccess(kind));
        }
    }
    server().Stop();
    for (const Kind kind : kAllKinds) {
        ExpectTransportFailure(kind, kConnectError);
    }
    server().Start();
    for (const Kind kind : kAllKinds) {
        if (EndpointOf(kind) != quor_simulator::Endpoint::kSignInReport) {
            ASSERT_NO_FATAL_FAILURE(ExpectSuccess(kind));
        }
    }
}

}  // namespace
}  // namespace quor_test
