// What becomes of each request when the server refuses, dawdles, breaks off or answers with something else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "support/http_terminal_test.h"

namespace quor_test {
namespace {

using quor_simulator::Content;
using quor_simulator::Cut;
using quor_simulator::Endpoint;
using quor_simulator::RestFault;

// What observers get.
enum class Outcome {
    kSuccess,
    kFailure,      // a result that says so
    kStatus,       // the same with the HTTP status
    kEmptyResult,  // a success without content
    kSilence,
};

struct FaultCase {
    const char* name;
    Kind kind;
    RestFault fault;
    Outcome outcome;
    std::vector<std::string> errors;  // logged, in order
};

std::ostream& operator<<(std::ostream& out, const FaultCase& test) {
    return out << test.name;
}

RestFault Status(unsigned int status) {
    RestFault fault;
    fault.status = status;
    return fault;
}

RestFault Broken(Cut cut) {
    RestFault fault;
    fault.cut = cut;
    return fault;
}

RestFault With(Content content) {
    RestFault fault;
    fault.content = content;
    return fault;
}

RestFault Without(const char* member) {
    RestFault fault;
    fault.omit = {member};
    return fault;
}

RestFault Body(const char* body) {
    RestFault fault;
    fault.body = body;
    return fault;
}

RestFault PagesOf(std::size_t size) {
    RestFault fault;
    fault.pageSize = size;
    return fault;
}

using Texts = std::vector<std::string>;

// The errors of a participant query whose page failed with these.
Texts PageErrors(Texts first) {
    for (const char* text : {"<DoQueryConfList>: call CloudQueryConfListPage failed!",
                             "<DoQueryConfList> QueryConfListGetUrl error!",
                             "<AiHttpProcSyncRequest> failed: DoQueryConfList error",
                             "<HttpThreadExecute>: execute subId:10 failed."}) {
        first.emplace_back(text);
    }
    return first;
}

class HttpFaults : public HttpTerminalTest, public ::testing::WithParamInterface<FaultCase> {
protected:
    static std::string Expected(const Asked& asked, const FaultCase& test) {
        switch (test.outcome) {
            case Outcome::kSuccess:
                return asked.success;
            case Outcome::kFailure:
                return asked.failure;
            case Outcome::kStatus:
                return AccountResult(*test.fault.status);
            case Outcome::kEmptyResult:
                return test.kind == Kind::kParticipants ? ParticipantList({{}, {}, {}}) : AccountResult(200);
            case Outcome::kSilence:
                break;
        }
        return {};
    }
};

TEST_P(HttpFaults, EndAsTheyShould) {
    const FaultCase& test = GetParam();
    ASSERT_TRUE(rest().SetFault(EndpointOf(test.kind), test.fault));
    const Asked asked = Ask(test.kind);
    EXPECT_EQ(asked.result, 0U);
    const std::string expected = Expected(asked, test);
    if (!test.errors.empty()) {
        EXPECT_TRUE(terminal().WaitForLog(test.errors.back()));
    }
    if (test.outcome == Outcome::kSilence) {
        EXPECT_EQ(terminal().Stop(), 0);  // whatever would have come has come
        ExpectSilence();
    } else {
        EXPECT_TRUE(observer().WaitFor(asked.id, 1));
        ExpectNotified(asked.id, {expected});
    }
    EXPECT_EQ(terminal().Errors(), test.errors);
    EXPECT_GE(rest().GetStatistics().endpoints.at(std::string(EndpointName(EndpointOf(test.kind)))).faulty,
              1U);
}

std::string CaseName(const ::testing::TestParamInfo<FaultCase>& test) {
    return test.param.name;
}

const char kPageNoBody[] = "<CloudQueryConfListPage>: call AiUtilityHttpGetStrFromBody failed.";
const char kPageNoList[] = "<ParseConfListToBuffer>: failed resultArray is error";
const char kPageNoJson[] = "<ParseConfListToBuffer>: prase root faild";
const char kNoId[] = "<HttpJsonGetStr>: key id jsonObj is error";
const char kNoName[] = "<HttpJsonGetStr>: key name jsonObj is error";

// Only 200 will do for a page, unlike for the other requests.
INSTANTIATE_TEST_SUITE_P(
    Participants, HttpFaults,
    ::testing::Values(FaultCase{"Status500", Kind::kParticipants, Status(500), Outcome::kSilence,
                                PageErrors({"<CloudQueryConfListPage>: http status code = 500"})},
                      FaultCase{"Status204", Kind::kParticipants, Status(204), Outcome::kSilence,
                                PageErrors({"<CloudQueryConfListPage>: http status code = 204"})},
                      FaultCase{"Status302", Kind::kParticipants, Status(302), Outcome::kSilence,
                                PageErrors({"<CloudQueryConfListPage>: http status code = 302"})},
                      FaultCase{"CutBeforeTheAnswer", Kind::kParticipants, Broken(Cut::kBefore),
                                Outcome::kSilence,
                                PageErrors({"<CloudQueryConfListPage>: HTTP_SynSend failed:102"})},
                      FaultCase{"CutInTheHead", Kind::kParticipants, Broken(Cut::kHead), Outcome::kSilence,
                                PageErrors({"<CloudQueryConfListPage>: HTTP_SynSend failed:5"})},
                      FaultCase{"CutInTheBody", Kind::kParticipants, Broken(Cut::kBody), Outcome::kSilence,
                                PageErrors({"<CloudQueryConfListPage>: HTTP_SynSend failed:5"})},
                      FaultCase{"Reset", Kind::kParticipants, Broken(Cut::kReset), Outcome::kSilence,
                                PageErrors({"<CloudQueryConfListPage>: HTTP_SynSend failed:102"})},
                      FaultCase{"BadJson", Kind::kParticipants, With(Content::kBadJson), Outcome::kSilence,
                                PageErrors({kPageNoJson})},
                      FaultCase{"NotJson", Kind::kParticipants, With(Content::kNotJson), Outcome::kSilence,
                                PageErrors({kPageNoJson})},
                      FaultCase{"NoBody", Kind::kParticipants, With(Content::kEmpty), Outcome::kSilence,
                                PageErrors({kPageNoBody})},
                      FaultCase{"OtherJson", Kind::kParticipants, With(Content::kOtherJson),
                                Outcome::kSilence, PageErrors({kPageNoList})},
                      FaultCase{"NoContent", Kind::kParticipants, Without("content"), Outcome::kSilence,
                                PageErrors({kPageNoList})},
                      FaultCase{"WrongTypes",
                                Kind::kParticipants,
                                With(Content::kWrongTypes),
                                Outcome::kEmptyResult,
                                {kNoId, kNoName, kNoId, kNoName, kNoId, kNoName}},
                      FaultCase{"NoGeneralParam",
                                Kind::kParticipants,
                                Without("generalParam"),
                                Outcome::kEmptyResult,
                                {kNoId, kNoName, kNoId, kNoName, kNoId, kNoName}}),
    CaseName);

const char kSignInNoBody[] = "<QuerySignInRspNotify>: pcString is null";
const char kSignInNoJson[] = "<ParseSignInRes>: parse root faild";
const char kSignInNoKey[] = "<ParseSignInRes>: res not contain key value";
const char kSignInNoName[] = "<ParseSigninCommonField>: name or account is null";
const char kSignInNoTime[] = "<ParseSignedUniqueField>: checkInTime/participantName/tye is null";

INSTANTIATE_TEST_SUITE_P(
    SignInList, HttpFaults,
    ::testing::Values(
        FaultCase{"Status503",
                  Kind::kCheckedIn,
                  Status(503),
                  Outcome::kSilence,
                  {"<GetErrorCode>: http status code = 503"}},
        FaultCase{"Status204", Kind::kCheckedIn, Status(204), Outcome::kSilence, {kSignInNoBody}},
        FaultCase{"Status302",
                  Kind::kCheckedIn,
                  Status(302),
                  Outcome::kSilence,
                  {"<GetErrorCode>: http status code = 302"}},
        FaultCase{"CutBeforeTheAnswer",
                  Kind::kCheckedIn,
                  Broken(Cut::kBefore),
                  Outcome::kSilence,
                  {"<GetErrorCode>: Send func ret =  102"}},
        FaultCase{"CutInTheHead",
                  Kind::kCheckedIn,
                  Broken(Cut::kHead),
                  Outcome::kSilence,
                  {"<GetErrorCode>: Send func ret =  5"}},
        FaultCase{"CutInTheBody",
                  Kind::kCheckedIn,
                  Broken(Cut::kBody),
                  Outcome::kSilence,
                  {"<GetErrorCode>: Send func ret =  5"}},
        FaultCase{"Reset",
                  Kind::kCheckedIn,
                  Broken(Cut::kReset),
                  Outcome::kSilence,
                  {"<GetErrorCode>: Send func ret =  102"}},
        FaultCase{"BadJson", Kind::kCheckedIn, With(Content::kBadJson), Outcome::kSilence, {kSignInNoJson}},
        FaultCase{"NotJson", Kind::kCheckedIn, With(Content::kNotJson), Outcome::kSilence, {kSignInNoJson}},
        FaultCase{"NoBody", Kind::kCheckedIn, With(Content::kEmpty), Outcome::kSilence, {kSignInNoBody}},
        FaultCase{
            "OtherJson", Kind::kCheckedIn, With(Content::kOtherJson), Outcome::kSilence, {kSignInNoKey}},
        FaultCase{"WrongTypes",
                  Kind::kCheckedIn,
                  With(Content::kWrongTypes),
                  Outcome::kSilence,
                  {"<ParseSigninCommonField>: strcpy_s name failed"}},
        FaultCase{"NoContent",
                  Kind::kCheckedIn,
                  Without("content"),
                  Outcome::kSilence,
                  {"<ParseSignInRes> cannot parse this body"}},
        FaultCase{
            "NoTotalElements", Kind::kCheckedIn, Without("totalElements"), Outcome::kSilence, {kSignInNoKey}},
        FaultCase{"NoTotalPages", Kind::kCheckedIn, Without("totalPages"), Outcome::kSilence, {kSignInNoKey}},
        FaultCase{"NoNumber", Kind::kCheckedIn, Without("number"), Outcome::kSilence, {kSignInNoKey}},
        FaultCase{"NoName", Kind::kCheckedIn, Without("name"), Outcome::kSilence, {kSignInNoName}},
        FaultCase{"NoAccount", Kind::kNotCheckedIn, Without("account"), Outcome::kSilence, {kSignInNoName}},
        FaultCase{"NoTime", Kind::kCheckedIn, Without("checkInTime"), Outcome::kSilence, {kSignInNoTime}},
        FaultCase{"NoType", Kind::kCheckedIn, Without("type"), Outcome::kSilence, {kSignInNoTime}},
        FaultCase{"NoParticipantName",
                  Kind::kPastCheckedIn,
                  Without("participantName"),
                  Outcome::kSilence,
                  {kSignInNoTime}},
        FaultCase{
            "NoTimeWhereNoneIsDue", Kind::kNotCheckedIn, Without("checkInTime"), Outcome::kSuccess, {}}),
    CaseName);

const char kReportFailed[] = "<ReportSignInRspNotify>: 2 signin infos report failed";

// Only the status counts; what the answer says does not.
INSTANTIATE_TEST_SUITE_P(
    Reports, HttpFaults,
    ::testing::Values(
        FaultCase{"Status500",
                  Kind::kReportOwnToken,
                  Status(500),
                  Outcome::kFailure,
                  {"<GetErrorCode>: http status code = 500", kReportFailed}},
        FaultCase{"Status201",
                  Kind::kReportLoginToken,
                  Status(201),
                  Outcome::kFailure,
                  {"<GetErrorCode>: http status code = 201", kReportFailed}},
        FaultCase{"Status204", Kind::kReportOwnToken, Status(204), Outcome::kSuccess, {}},
        FaultCase{"CutInTheHead",
                  Kind::kReportOwnToken,
                  Broken(Cut::kHead),
                  Outcome::kFailure,
                  {"<GetErrorCode>: Send func ret =  5", kReportFailed}},
        FaultCase{"Reset",
                  Kind::kReportLoginToken,
                  Broken(Cut::kReset),
                  Outcome::kFailure,
                  {"<GetErrorCode>: Send func ret =  102", kReportFailed}},
        FaultCase{"BadJson", Kind::kReportOwnToken, With(Content::kBadJson), Outcome::kSuccess, {}},
        FaultCase{"NoBody", Kind::kReportLoginToken, With(Content::kEmpty), Outcome::kSuccess, {}},
        FaultCase{"MatchStatus500",
                  Kind::kMatch,
                  Status(500),
                  Outcome::kFailure,
                  {"<GetErrorCode>: http status code = 500"}},
        FaultCase{"MatchStatus204", Kind::kMatch, Status(204), Outcome::kSuccess, {}},
        FaultCase{"MatchCutBeforeTheAnswer",
                  Kind::kMatch,
                  Broken(Cut::kBefore),
                  Outcome::kFailure,
                  {"<GetErrorCode>: Send func ret =  102"}},
        FaultCase{"MatchCutInTheBody",
                  Kind::kMatch,
                  Broken(Cut::kBody),
                  Outcome::kFailure,
                  {"<GetErrorCode>: Send func ret =  5"}},
        FaultCase{"MatchNotJson", Kind::kMatch, With(Content::kNotJson), Outcome::kSuccess, {}}),
    CaseName);

INSTANTIATE_TEST_SUITE_P(
    Account, HttpFaults,
    ::testing::Values(
        FaultCase{"Status500",
                  Kind::kAccount,
                  Status(500),
                  Outcome::kStatus,
                  {"<GetErrorCode>: http status code = 500"}},
        FaultCase{"Status404",
                  Kind::kAccount,
                  Status(404),
                  Outcome::kStatus,
                  {"<GetErrorCode>: http status code = 404"}},
        FaultCase{"Status204", Kind::kAccount, Status(204), Outcome::kSilence, {kSignInNoBody}},
        FaultCase{"CutBeforeTheAnswer",
                  Kind::kAccount,
                  Broken(Cut::kBefore),
                  Outcome::kFailure,
                  {"<GetErrorCode>: Send func ret =  102"}},
        FaultCase{"CutInTheBody",
                  Kind::kAccount,
                  Broken(Cut::kBody),
                  Outcome::kFailure,
                  {"<GetErrorCode>: Send func ret =  5"}},
        FaultCase{"BadJson",
                  Kind::kAccount,
                  With(Content::kBadJson),
                  Outcome::kSilence,
                  {"<ParseAutoSignInRes>: parse root faild"}},
        FaultCase{"NoBody", Kind::kAccount, With(Content::kEmpty), Outcome::kSilence, {kSignInNoBody}},
        FaultCase{"OtherJson",
                  Kind::kAccount,
                  With(Content::kOtherJson),
                  Outcome::kSilence,
                  {"<ParseAutoSignInRes> cannot parse this body"}},
        FaultCase{"WrongTypes",
                  Kind::kAccount,
                  With(Content::kWrongTypes),
                  Outcome::kSilence,
                  {"<ParseSigninCommonField>: strcpy_s account failed"}},
        FaultCase{"NoTime",
                  Kind::kAccount,
                  Without("checkInTime"),
                  Outcome::kEmptyResult,
                  {"<ParseAutoSignInRes>: res not contain key value"}},
        FaultCase{"NoInfos",
                  Kind::kAccount,
                  Without("checkInInfos"),
                  Outcome::kSilence,
                  {"<ParseAutoSignInRes> cannot parse this body"}},
        FaultCase{"EmptyInfos", Kind::kAccount, Body(R"({"checkInInfos":[]})"), Outcome::kEmptyResult, {}}),
    CaseName);

// ---- Faults that need more than one request ----

class HttpFaultRoads : public HttpTerminalTest {};

TEST_F(HttpFaultRoads, APageThatIsLargerThanTheRecordIsRefused) {
    rest().SetConference(kMeeting, quor_simulator::GenerateConference(100));
    ASSERT_TRUE(rest().SetFault(Endpoint::kSignInList, PagesOf(kQuorAiSignInMax + 1)));
    ASSERT_EQ(Ask(Kind::kNotCheckedIn).result, 0U);
    EXPECT_TRUE(terminal().WaitForLog("<ParseSignInRes> result size is too large: 33"));
    EXPECT_EQ(terminal().Stop(), 0);
    ExpectSilence();
}

// Deliberate: a report that was carried out and whose answer was lost is a failure to the terminal.
TEST_F(HttpFaultRoads, AReportWhoseAnswerIsLostIsAFailureAndTakenAllTheSame) {
    ASSERT_TRUE(rest().SetFault(Endpoint::kSignInReport, Broken(Cut::kBody)));
    const Asked asked = Ask(Kind::kReportOwnToken);
    ASSERT_TRUE(observer().WaitFor(asked.id, 1));
    ExpectNotified(asked.id, {asked.failure});
    EXPECT_EQ(rest().FindConference(kMeeting)->attendees.size(), 5U);
}

TEST_F(HttpFaultRoads, ARedirectionIsNotFollowed) {
    for (const Kind kind : kAllKinds) {
        ASSERT_TRUE(rest().SetFault(EndpointOf(kind), Status(301)));
        Ask(kind);
    }
    EXPECT_TRUE(terminal().WaitForLog("<CloudQueryConfListPage>: http status code = 301"));
    EXPECT_TRUE(terminal().WaitForLog("<GetErrorCode>: http status code = 301", std::size(kAllKinds) - 1));
    EXPECT_EQ(rest().GetStatistics().unknown, 0U);
}

TEST_F(HttpFaultRoads, ALateAnswerIsAnAnswer) {
    for (const Kind kind : kAllKinds) {
        RestFault late;
        late.delay = quor_simulator::Milliseconds(50);
        ASSERT_TRUE(rest().SetFault(EndpointOf(kind), late));
        ExpectSuccess(kind);
    }
}

// Held answers come in the order in which the server lets them go, not in that of the questions.
TEST_F(HttpFaultRoads, AnswersOvertakeEachOther) {
    RestFault hold;
    hold.hold = true;
    ASSERT_TRUE(rest().SetFault(Endpoint::kSignInList, hold));
    const Asked held = Ask(Kind::kCheckedIn);
    ASSERT_TRUE(rest().WaitForHeld(1, kPatience));
    const Asked quick = Ask(Kind::kAccount);
    ASSERT_TRUE(observer().WaitFor(quick.id, 1));
    EXPECT_EQ(observer().Count(held.id), 0U);
    EXPECT_EQ(rest().ReleaseHeld(), 1U);
    ASSERT_TRUE(observer().WaitFor(held.id, 1));
    EXPECT_EQ(observer().All(held.id), std::vector<std::string>{held.success});
}

TEST_F(HttpFaultRoads, AnAnswerThatIsTooLongIsAFailure) {
    quor_platform::HttpSettings settings;
    settings.maxAnswerBytes = 500;
    quor_platform::SetHttpSettings(settings);
    constexpr unsigned int kAnswerError = 5;
    ExpectTransportFailure(Kind::kParticipants, kAnswerError);
    ExpectTransportFailure(Kind::kCheckedIn, kAnswerError);
    settings.maxAnswerBytes = 100000;
    quor_platform::SetHttpSettings(settings);
    ExpectSuccess(Kind::kParticipants);
    ExpectSuccess(Kind::kCheckedIn);
}

}  // namespace
}  // namespace quor_test
