#include "request_wait.h"

#include <gtest/gtest.h>

#include <future>
#include <string>

namespace quor_terminal {
namespace {

using quor_platform::Failure;
using quor_platform::Stage;

constexpr unsigned int kError = 1;
constexpr unsigned int kInformation = 3;

RequestWait::TimePoint Later() {
    return RequestWait::TimePoint::clock::now() + std::chrono::hours(1);
}

Failure FailureAt(Stage stage) {
    Failure failure;
    failure.stage = stage;
    failure.text = "text";
    return failure;
}

TagAiCloudSrvResult ResultOf(TagQuorAiSubId id, std::string& bytes) {
    return {id, reinterpret_cast<unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size())};
}

TEST(RequestWait, TheNotificationOfTheRequestEndsItAndIsCopied) {
    RequestWait wait(Later());
    wait.Begin(AI_SUB_ID_REPORT_SIGN_IN);
    std::string other = "other";
    wait.OnResult(ResultOf(AI_SUB_ID_QUERY_SIGN_IN, other), {});
    std::string bytes = "bytes";
    wait.OnResult(ResultOf(AI_SUB_ID_REPORT_SIGN_IN, bytes), FailureAt(Stage::kConnect));
    bytes = "again";
    wait.OnResult(ResultOf(AI_SUB_ID_REPORT_SIGN_IN, bytes), {});
    const RequestOutcome outcome = wait.Wait({});
    EXPECT_EQ(outcome.end, RequestEnd::kNotified);
    EXPECT_EQ(std::string(outcome.data.begin(), outcome.data.end()), "bytes");
    EXPECT_EQ(outcome.failure.stage, Stage::kConnect);
}

TEST(RequestWait, TheLimitMayPassBeforeTheRequestIsMade) {
    RequestWait wait(Later());
    wait.Begin(AI_SUB_ID_REPORT_SIGN_IN);
    wait.TimeOut();
    wait.OnRefused(FailureAt(Stage::kResolve));
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kTimedOut);
    wait.Begin(AI_SUB_ID_REPORT_SIGN_IN);
    std::string bytes = "bytes";
    wait.OnResult(ResultOf(AI_SUB_ID_REPORT_SIGN_IN, bytes), {});
    wait.TimeOut();
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kNotified) << "it had ended before";
}

TEST(RequestWait, SilentFailuresEndWithTheirRecord) {
    struct Case {
        TagQuorAiSubId id;
        const char* text;
    };
    constexpr Case kCases[] = {
        {AI_SUB_ID_QUERY_CONF_LIST, "<AiHttpProcSyncRequest> failed: DoQueryConfList error"},
        {AI_SUB_ID_QUERY_SIGN_IN, "<GetErrorCode>: Send func ret =  102"},
        {AI_SUB_ID_QUERY_SIGN_IN, "<ParseSignInRes>: parse root faild"},
        {AI_SUB_ID_QUERY_SIGN_IN, "<ParseSigninCommonField>: name or account is null"},
        {AI_SUB_ID_QUERY_SIGN_IN, "<QuerySignInRspNotify>: pcString is null"},
        {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, "<QuerySignInRspNotify>: pcString is null"},
        {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, "<ParseAutoSignInRes>: parse root faild"},
        {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, "<ParseAutoSignInRes> cannot parse this body"},
        {AI_SUB_ID_FACE_RECOGNIZE, "<AiHttpProcSyncRequest> FaceRecogPhotoDeal 1 failed"},
        {AI_SUB_ID_FACE_PHOTO, "<AiHttpProcSyncRequest> FaceQueryPhoto Deal 1 failed"}};
    for (const Case& item : kCases) {
        RequestWait wait(Later());
        wait.Begin(item.id);
        wait.OnLog(kError, "<GetIPStrByServerUrl> first", FailureAt(Stage::kResolve));
        wait.OnLog(kError, item.text, FailureAt(Stage::kTls));
        const RequestOutcome outcome = wait.Wait({});
        EXPECT_EQ(outcome.end, RequestEnd::kFailed) << item.text;
        EXPECT_EQ(outcome.failure.stage, Stage::kTls) << item.text;
        EXPECT_EQ(outcome.words, "<GetIPStrByServerUrl> first");
    }
}

// The time limit tells that nothing else ended the request: it has passed already.
TEST(RequestWait, OtherRecordsAreNotTheEnd) {
    struct Case {
        TagQuorAiSubId id;
        unsigned int level;
        const char* text;
    };
    constexpr Case kCases[] = {
        {AI_SUB_ID_QUERY_CONF_LIST, kError, "<CloudQueryConfListPage>: HTTP_SynSend failed:102"},
        {AI_SUB_ID_QUERY_CONF_LIST, kError, "<GetErrorCode>: Send func ret =  102"},
        {AI_SUB_ID_QUERY_SIGN_IN, kInformation, "<ParseSignInRes>"},
        {AI_SUB_ID_REPORT_SIGN_IN, kError, "<GetErrorCode>: Send func ret =  102"},
        {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, kError, "<GetErrorCode>: Send func ret =  102"},
        {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, kError, "<ParseAutoSignInRes>: res not contain key value"},
        {AI_SUB_ID_REPORT_AV_MATCH, kError, "<GetErrorCode>: http status code = 500"}};
    for (const Case& item : kCases) {
        RequestWait wait(RequestWait::TimePoint::clock::now());
        wait.Begin(item.id);
        wait.OnLog(item.level, item.text, FailureAt(Stage::kTls));
        EXPECT_EQ(wait.Wait({}).end, RequestEnd::kTimedOut) << item.text;
    }
}

TEST(RequestWait, ParticipantsWithoutNamesAreNotWhatFailed) {
    RequestWait wait(RequestWait::TimePoint::clock::now());
    wait.Begin(AI_SUB_ID_QUERY_CONF_LIST);
    wait.OnLog(kError, "<HttpJsonGetStr>: value is error", {});
    wait.OnLog(kError, "<ParseConfListToBuffer>: prase root faild", {});
    EXPECT_EQ(wait.Wait({}).words, "<ParseConfListToBuffer>: prase root faild");
}

TEST(RequestWait, PagesAreToldBeforeTheEnd) {
    RequestWait wait(Later());
    wait.Begin(AI_SUB_ID_QUERY_CONF_LIST);
    wait.OnLog(kInformation, "<CloudQueryConfListPage>: parse conf list result: 0", {});
    wait.OnLog(kInformation, "<CloudQueryConfListPage>: parse conf list result: -1", {});
    wait.OnLog(kInformation, "<CloudQueryConfListPage>: parse conf list result: 0", {});
    std::string bytes = "x";
    wait.OnResult(ResultOf(AI_SUB_ID_QUERY_CONF_LIST, bytes), {});
    std::vector<unsigned int> told;
    EXPECT_EQ(wait.Wait([&told](unsigned int pages) { told.push_back(pages); }).end, RequestEnd::kNotified);
    EXPECT_EQ(told, std::vector<unsigned int>{2});
}

TEST(RequestWait, ARefusedRequestFailsUnlessItWasNotified) {
    RequestWait wait(Later());
    wait.Begin(AI_SUB_ID_REPORT_SIGN_IN);
    wait.OnRefused(FailureAt(Stage::kResolve));
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kFailed);
    EXPECT_EQ(wait.Wait({}).failure.stage, Stage::kResolve);
    wait.Begin(AI_SUB_ID_REPORT_SIGN_IN);
    std::string bytes = "x";
    wait.OnResult(ResultOf(AI_SUB_ID_REPORT_SIGN_IN, bytes), FailureAt(Stage::kConnect));
    wait.OnRefused(FailureAt(Stage::kSettings));
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kNotified);
    EXPECT_EQ(wait.Wait({}).failure.stage, Stage::kConnect);
}

TEST(RequestWait, StopEndsWhatIsWaitedForAndAllThatFollows) {
    RequestWait wait(Later());
    wait.Begin(AI_SUB_ID_QUERY_SIGN_IN);
    std::future<RequestEnd> end = std::async(std::launch::async, [&wait] { return wait.Wait({}).end; });
    wait.Stop();
    EXPECT_EQ(end.get(), RequestEnd::kStopped);
    wait.Begin(AI_SUB_ID_QUERY_SIGN_IN);
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kStopped);
}

TEST(RequestWait, AnAnswerFromAnotherThreadWakesTheWait) {
    RequestWait wait(Later());
    wait.Begin(AI_SUB_ID_QUERY_SIGN_IN);
    std::future<RequestEnd> end = std::async(std::launch::async, [&wait] { return wait.Wait({}).end; });
    std::string bytes = "x";
    wait.OnResult(ResultOf(AI_SUB_ID_QUERY_SIGN_IN, bytes), {});
    EXPECT_EQ(end.get(), RequestEnd::kNotified);
}

TEST(RequestWait, BeginForgetsTheRequestBefore) {
    RequestWait wait(RequestWait::TimePoint::clock::now());
    wait.Begin(AI_SUB_ID_QUERY_SIGN_IN);
    wait.OnLog(kError, "<GetErrorCode>", FailureAt(Stage::kTls));
    wait.Begin(AI_SUB_ID_QUERY_SIGN_IN);
    const RequestOutcome outcome = wait.Wait({});
    EXPECT_EQ(outcome.end, RequestEnd::kTimedOut);
    EXPECT_EQ(outcome.words, "");
    EXPECT_EQ(outcome.failure.stage, Stage::kNone);
}

TEST(RequestWait, PartsAreKeptAndToldUntilNoneCanCome) {
    RequestWait wait(Later());
    wait.BeginParts(AI_SUB_ID_FACE_PHOTO);
    std::string one = "one";
    wait.OnResult(ResultOf(AI_SUB_ID_FACE_PHOTO, one), {});
    std::string two = "two";
    wait.OnResult(ResultOf(AI_SUB_ID_FACE_PHOTO, two), {});
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kNotified);
    RequestParts parts = wait.TakeParts();
    ASSERT_EQ(parts.notifications.size(), 2U);
    EXPECT_EQ(std::string(parts.notifications[1].begin(), parts.notifications[1].end()), "two");
    wait.OnLog(kError, "<ProcPhotoDataToNotify> photo data is too big to send: 4194000", {});
    wait.OnLog(kError, "<ParseQueryFacePhotoRes> Parse array item 3 failed, continue", {});
    wait.OnLog(kError, "<ParseQueryFacePhotoRes> decode photoid fail", {});  // of an item that comes
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kNotified);
    parts = wait.TakeParts();
    EXPECT_TRUE(parts.notifications.empty());
    EXPECT_EQ(parts.lost.size(), 2U);
    wait.EndParts();
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kNotified);
    EXPECT_TRUE(wait.TakeParts().lost.empty());
}

TEST(RequestWait, PartsEndWithAFailureWithNothingLeftOrWithTheTimeLimit) {
    RequestWait wait(Later());
    wait.BeginParts(AI_SUB_ID_FACE_PHOTO);
    wait.OnLog(kError, "<AiHttpProcSyncRequest> FaceQueryPhoto Deal 1 failed", FailureAt(Stage::kAnswer));
    wait.EndParts();
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kFailed);
    EXPECT_EQ(wait.Wait({}).failure.stage, Stage::kAnswer);
    wait.BeginParts(AI_SUB_ID_FACE_PHOTO);
    wait.OnLog(kError, "<ProcPhotoDataToNotify> faceInfoVec is empty(0) or photoDataVec is empty(0)", {});
    wait.OnLog(kError, "<AiHttpProcSyncRequest> FaceQueryPhoto Deal 1 failed", {});
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kNotified);
    RequestWait late(RequestWait::TimePoint::clock::now());
    late.BeginParts(AI_SUB_ID_FACE_PHOTO);
    EXPECT_EQ(late.Wait({}).end, RequestEnd::kTimedOut);
}

TEST(RequestWait, ARequestOfOneNotificationHasNoParts) {
    RequestWait wait(RequestWait::TimePoint::clock::now());
    wait.BeginParts(AI_SUB_ID_FACE_PHOTO);
    wait.Begin(AI_SUB_ID_FACE_RECOGNIZE);
    wait.OnLog(kError, "<ParseQueryFacePhotoRes> Parse array item 3 failed, continue", {});
    EXPECT_EQ(wait.Wait({}).end, RequestEnd::kTimedOut);
    EXPECT_TRUE(wait.TakeParts().lost.empty());
}

}  // namespace
}  // namespace quor_terminal
