// What the four asynchronous requests have in common: who frees the copy of the record, who gives the handle
// back, and what reaches the transport.
#include <algorithm>
#include <cstring>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/adapter_test.h"
#include "support/failing_new.h"

namespace QuorTest {
namespace {

struct AsyncRequest {
    const char* name;
    unsigned copyBytes;
    const char* goodBody;
    std::function<unsigned()> send;
    QuorHttpCallback callback;
    const char* noUserDataText;
    std::vector<LogLine> goodLines;  // of an answer that is told
    std::vector<std::string> tokenSteps;
    bool copyIsLast;  // made after the headers and the body; otherwise before both
    bool hasBody = true;
};

// What a failing test prints as its parameter.
void PrintTo(const AsyncRequest& request, std::ostream* os) {
    *os << request.name;
}

// Most requests name the header before they ask for the token. The match report asks first, although it sends
// another token, and gives its header a capital letter.
const std::vector<std::string> kNameFirst = {"token", "LoginToken"};
const std::vector<std::string> kTokenFirst = {"LoginToken", "Token"};

unsigned QuerySignIn() {
    TagQuorAiQuerySignIn query = {};
    Put(query.serverAddr, "192.168.1.10");
    return Adapter::Http().CloudQuerySignInInfo(query);
}

unsigned ReportSignIn() {
    TagQuorAiReportSiginIn report = {};
    Put(report.serverAddr, "192.168.1.10");
    report.reportCount = 1;
    return Adapter::Http().CloudReportSignInInfo(report);
}

unsigned QueryAccount() {
    TagQuorAiQuerySignAccount query = {};
    Put(query.serverAddr, "192.168.1.10");
    query.accountCount = 1;
    return Adapter::Http().CloudQueryAccountSignInInfo(query);
}

unsigned ReportMatch() {
    TagQuorAiAVMatchtData match = {};
    Put(match.serverAddr, "192.168.1.10");
    Put(match.userid, "u");
    Put(match.site, "s");
    Put(match.uuid, "c");
    return Adapter::Http().CloudReportAVMatchInfo(match);
}

std::vector<AsyncRequest> Requests() {
    return {{"SignInQuery",
             464,
             R"({"totalElements":0,"totalPages":0,"number":0,"content":[]})",
             QuerySignIn,
             Adapter::SignInAnswer,
             "<QuerySignInRspNotify> queryInfo is nullptr",
             {},
             kNameFirst,
             true,
             false},
            {"SignInReport",
             5872,
             "{}",
             ReportSignIn,
             Adapter::ReportAnswer,
             "<ReportSignInRspNotify> reportSignInfo is nullptr",
             {},
             kNameFirst,
             true},
            {"AccountQuery",
             16580,
             R"({"checkInInfos":[]})",
             QueryAccount,
             Adapter::AccountAnswer,
             "<ReportAccountSignNotify> accountCheckInInfo is nullptr",  // borrowed from another operation
             {AI("jsonItem is nullptr")},
             kNameFirst,
             false},
            {"MatchReport",
             1016,
             "{}",
             ReportMatch,
             Adapter::MatchAnswer,
             "<ReportAVMatchRspNotify> reporAVMatchtInfo is nullptr",
             {},
             kTokenFirst,
             true}};
}

class AsyncRequestsTest : public AdapterTest, public ::testing::WithParamInterface<AsyncRequest> {
protected:
    AsyncRequestsTest() {
        Start();
        Network().answer.body = GetParam().goodBody;
    }
    static unsigned Send() { return GetParam().send(); }
    // Blocks of the copy's size that were given back.
    static std::size_t CopiesFreed() {
        return static_cast<std::size_t>(
            std::count_if(Fake().freedBlocks.begin(), Fake().freedBlocks.end(),
                          [](const BlockRecord& block) { return block.sizeBytes == GetParam().copyBytes; }));
    }
};

TEST_P(AsyncRequestsTest, TheCallbackFreesTheCopyAndTheHandleGoesLast) {
    EXPECT_EQ(Send(), 0U);
    EXPECT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(Logs(), GetParam().goodLines);
    EXPECT_EQ(CopiesFreed(), 1U);
    const std::vector<std::string> trail = Fake().Trail({Fn::ModuleLog});
    const auto released = std::find(trail.begin(), trail.end(), "HttpRelease");
    const auto told = std::find_if(trail.begin(), trail.end(),
                                   [](const std::string& entry) { return entry.rfind("Notify ", 0) == 0; });
    ASSERT_NE(released, trail.end());
    EXPECT_LT(told, released);
    // The frees are behind it; what is left is what the caller's thread does after the send.
    EXPECT_THAT(std::vector<std::string>(released + 1, trail.end()), IsEmpty());
    EXPECT_EQ(*(released - 1), "HeapFree");
}

TEST_P(AsyncRequestsTest, TheFirstHeadersNameAndTheTokenComeInTheirOrder) {
    Fake().boundedFault = [](const BoundedCall& call) {
        for (const char* name : {"token", "Token"}) {
            if (call.fn == Fn::StrcpyS && call.SourceIs(name)) {
                Fake().Mark(name);
            }
        }
        return false;
    };
    EXPECT_EQ(Send(), 0U);
    std::vector<std::string> steps;
    for (const std::string& entry : Fake().Trail()) {
        if (entry == "token" || entry == "Token" || entry == "LoginToken") {
            steps.push_back(entry);
        }
    }
    EXPECT_EQ(steps, GetParam().tokenSteps);
}

TEST_P(AsyncRequestsTest, WithoutMemoryItIsRefusedAndNothingIsThrown) {
    unsigned failures = 0;
    for (bool hit = true; hit; failures += hit ? 1U : 0U) {
        unsigned sent = 0;
        {
            const FailingNew failing(failures + 1);
            EXPECT_NO_THROW(sent = Send());
            hit = failing.Hit();
        }
        EXPECT_EQ(sent, hit ? kRefused : 0U) << failures;
    }
    EXPECT_EQ(failures > 0, GetParam().hasBody);  // the other one takes none of the program's
}

TEST_P(AsyncRequestsTest, TheCopyIsMadeBeforeOrAfterTheTokenIsAskedFor) {
    EXPECT_EQ(Send(), 0U);
    const std::vector<std::string> trail = Fake().Trail();
    const auto token = std::find(trail.begin(), trail.end(), "LoginToken");
    const auto copy = std::find(trail.begin(), trail.end(), "HeapAlloc");
    ASSERT_NE(token, trail.end());
    ASSERT_NE(copy, trail.end());
    EXPECT_EQ(token < copy, GetParam().copyIsLast);
}

TEST_P(AsyncRequestsTest, WithoutMemoryForTheCopyTheBodyWasMadeOrNotBegun) {
    Fake().FailCall(Fn::HeapAlloc, 1);
    EXPECT_EQ(Send(), kRefused);
    EXPECT_EQ(Fake().CountOf(Fn::CJsonAlloc) > 0, GetParam().copyIsLast && GetParam().hasBody);
    EXPECT_EQ(Fake().CountOf(Fn::LoginToken), GetParam().copyIsLast ? 1U : 0U);
}

TEST_P(AsyncRequestsTest, WithoutATokenNothingIsSent) {
    Fake().FailCall(Fn::LoginToken, 1);
    EXPECT_EQ(Send(), kRefused);
    EXPECT_THAT(Network().requests, IsEmpty());
    EXPECT_THAT(observer->results, IsEmpty());
    EXPECT_EQ(Fake().LiveBlocks().size(), 3U);  // what Start holds
}

// Entered, the transport runs the callback whatever the send returns.
TEST_P(AsyncRequestsTest, ASendThatFailsInTheTransportReturnsItsCodeAndFreesTheCopyByTheCallback) {
    Fake().FailCall(Fn::HttpAsynSend, 1);
    Fake().SetFailResult(Fn::HttpAsynSend, 101);
    EXPECT_EQ(Send(), 101U);
    EXPECT_EQ(CopiesFreed(), 1U);
    EXPECT_EQ(Network().requests.at(0).releases, 1U);
    EXPECT_EQ(Logs().at(0), AE("<GetErrorCode>: Send func ret =  101"));
}

// Only the callback frees the copy, and here it never runs.
TEST_P(AsyncRequestsTest, TheCopyIsLostWhenTheTransportIsNotAsked) {
    Fake().FailCall(Fn::CertPath, 1);
    EXPECT_EQ(Send(), kRefused);
    EXPECT_THAT(Network().requests, IsEmpty());
    EXPECT_THAT(observer->results, IsEmpty());
    ExpectLost({GetParam().copyBytes});
}

TEST_P(AsyncRequestsTest, AnAnswerWithoutUserDataGivesItsHandleBack) {
    EXPECT_EQ(GetParam().callback(0, HTTP_ERRORCODE_OK, nullptr, nullptr), kRefused);
    EXPECT_THAT(Logs(), ElementsAre(AE(GetParam().noUserDataText)));
    EXPECT_THAT(Fake().Trail({Fn::ModuleLog}), ElementsAre("HttpRelease"));
    EXPECT_EQ(Fake().violations.size(), 1U);  // the handle was none
    Fake().violations.clear();
}

TEST_P(AsyncRequestsTest, WithoutAnInstanceNobodyIsTold) {
    Network().holdAnswers = true;
    Send();
    AiHttpAdapter* instance = Adapter::ExchangeInstance(nullptr);
    Fake().FailCall(Fn::NothrowNew, 1);
    Network().Complete(0, Network().answer);
    Adapter::ExchangeInstance(instance);
    std::vector<LogLine> lines = GetParam().goodLines;
    lines.push_back(AE("httpAdapter is nullptr"));
    EXPECT_EQ(Logs(), lines);
    EXPECT_EQ(Network().requests.at(0).callbackResult, kRefused);
    EXPECT_EQ(CopiesFreed(), 1U);
}

TEST_P(AsyncRequestsTest, AnObserverThatThrowsDoesNotReachTheTransport) {
    observer->onUpdate = [](const auto&) { throw std::runtime_error("observer"); };
    EXPECT_EQ(Send(), 0U);
    EXPECT_EQ(Network().requests.at(0).callbackResult, kRefused);
    EXPECT_EQ(CopiesFreed(), 1U);
}

INSTANTIATE_TEST_SUITE_P(All, AsyncRequestsTest, ::testing::ValuesIn(Requests()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace QuorTest
