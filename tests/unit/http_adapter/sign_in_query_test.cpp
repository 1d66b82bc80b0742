#include <cjson/cJSON.h>

#include <cstring>
#include <memory>
#include <string>

#include "async_request_fixture.h"
#include "common/scope.h"
#include "support/stack_probe.h"

namespace QuorTest {
namespace {

using QuorAiEngine::JsonPtr;

const JsonFields kPerson({{"name", "\"Ada\""},
                          {"account", "\"ada@example.org\""},
                          {"checkInTime", "\"2024-05-06 07:08:09\""},
                          {"type", "\"face\""},
                          {"participantName", "\"Room One\""}});

std::string List(const std::string& items) {
    return R"({"totalElements":41,"totalPages":3,"number":1,"content":[)" + items + "]}";
}

std::string Repeated(const std::string& item, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += (i == 0 ? "" : ",") + item;
    }
    return text;
}

class SignInQueryTest : public AsyncRequestTest {
protected:
    SignInQueryTest() {
        Put(query.serverAddr, "kel.example.org");
        query.serverPort = 443;
        Put(query.confId, "conf-1");
        query.page = 1;
        query.size = 20;
        query.checkedIn = 1;
    }

    unsigned Query() { return Http().CloudQuerySignInInfo(query); }
    unsigned Send() override { return Query(); }
    void QueryWith(const HttpAnswer& answer) {
        Network().script = {answer};
        EXPECT_EQ(Query(), 0U);
    }
    // The answer fails with these lines and is told to nobody.
    void ExpectDropped(const HttpAnswer& answer, const std::vector<LogLine>& lines) {
        Fake().ClearRecords();
        QueryWith(answer);
        EXPECT_EQ(Logs(), lines);
        EXPECT_EQ(CallbackResult(), kRefused);
        EXPECT_THAT(observer->results, IsEmpty());
    }

    TagQuorAiQuerySignIn query = {};
};

TEST_F(SignInQueryTest, DeliversThePageByteForByte) {
    StackProbe probe;  // a stack that is not zero: what the record does not fill shows
    probe.Run([this] { QueryWith(Answer(List(kPerson.Text()))); });
    auto expected = std::make_unique<TagQuorAiGetSignIn>();
    std::memset(expected.get(), 0, sizeof(*expected));
    expected->totalElements = 41;
    expected->totalPages = 3;
    expected->number = 1;
    expected->count = 1;
    expected->checkedIn = 1;
    Put(expected->entries[0].name, "Ada");
    Put(expected->entries[0].account, "ada@example.org");
    Put(expected->entries[0].checkInTime, "2024-05-06 07:08:09");
    Put(expected->entries[0].type, "face");
    Put(expected->entries[0].participantName, "Room One");
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_QUERY_SIGN_IN);
    ASSERT_EQ(observer->results[0].len, 33812U);
    EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), expected.get(), 33812), 0);
    EXPECT_EQ(CallbackResult(), 0U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(SignInQueryTest, TheRequestAsItGoesOut) {
    QueryWith(Answer(List("")));
    ASSERT_EQ(Network().requests.size(), 1U);
    const HttpRequest& request = Network().requests[0];
    EXPECT_FALSE(request.synchronous);
    EXPECT_EQ(request.method, 3U);
    EXPECT_THAT(request.headers,
                ElementsAre(std::pair<std::string, std::string>("token", "token-of-the-login-client")));
    EXPECT_FALSE(request.body.has_value());
    EXPECT_EQ(request.locksHeld, 0U);
    EXPECT_EQ(request.handleOnEntry, 0U);
    EXPECT_THAT(Network().dnsCalls, IsEmpty());  // the name goes out as it is
}

TEST_F(SignInQueryTest, NumbersArePrintedWithoutSign) {
    query.serverPort = 4294967295U;
    query.page = 4294967295U;
    query.size = 4294967295U;
    const std::string host = "https://kel.example.org:4294967295/conf-portal/conferences/";
    const std::string page = "checkininfos?page=4294967295&size=4294967295&checkIn=";
    for (const bool history : {false, true}) {
        query.history = history ? 1 : 0;
        Network().DropRecords();
        Query();
        const std::string& url = Network().requests.at(0).url;
        EXPECT_EQ(url.find(host), 0U) << url;
        EXPECT_NE(url.find(page), std::string::npos) << url;
    }
}

// For a conference that is over the flag is turned round.
TEST_F(SignInQueryTest, TheFourUrls) {
    const std::string live = "https://kel.example.org:443/conf-portal/conferences/conf-1/checkinservices/";
    const std::string over =
        "https://kel.example.org:443/conf-portal/conferences/history/conf-1/checkinservices/";
    const std::string page = "checkininfos?page=1&size=20&checkIn=";
    const std::string expected[2][2] = {{live + page + "false", live + page + "true"},
                                        {over + page + "true", over + page + "false"}};
    for (const bool history : {false, true}) {
        for (const bool checkedIn : {false, true}) {
            query.history = history ? 1 : 0;
            query.checkedIn = checkedIn ? 1 : 0;
            Network().DropRecords();
            Query();
            EXPECT_EQ(Network().requests.at(0).url, expected[history ? 1 : 0][checkedIn ? 1 : 0]);
        }
    }
}

TEST_F(SignInQueryTest, AnIpv6AddressGetsNoBrackets) {
    Put(query.serverAddr, "::1");
    char url[1024];
    EXPECT_EQ(Adapter::SignInUrl(query, url, sizeof(url)), 0);
    EXPECT_EQ(std::string(url).find("https://::1:443/"), 0U);
}

TEST_F(SignInQueryTest, UnterminatedFieldsAreReadToTheirEndOnly) {
    FillWhole(query.confId, 'c');
    FillWhole(query.serverAddr, 's');
    char url[1024];
    EXPECT_EQ(Adapter::SignInUrl(query, url, sizeof(url)), 0);
    EXPECT_EQ(std::string(url), "https://" + std::string(256, 's') + ":443/conf-portal/conferences/" +
                                    std::string(192, 'c') +
                                    "/checkinservices/checkininfos?page=1&size=20&checkIn=true");
}

TEST_F(SignInQueryTest, AUrlWithoutRoom) {
    char url[16];
    EXPECT_EQ(Adapter::SignInUrl(query, nullptr, 16), -1);
    EXPECT_EQ(Adapter::SignInUrl(query, url, sizeof(url)), -1);
    EXPECT_THAT(Logs(),
                ElementsAre(AE("Null ptr."), AE("<GetQuerySignInfoUrl> sprintf_s acRequestUrl fail")));
}

TEST_F(SignInQueryTest, WhatCanFailBeforeTheSend) {
    Fake().FailCall(Fn::SprintfS, 1);
    ExpectRefused({AE("<GetQuerySignInfoUrl> sprintf_s acRequestUrl fail"),
                   AE("<CloudQuerySignInInfo> GetQuerySignInfoUrl fail")});
    Fake().FailCall(Fn::StrcpyS, 1);
    ExpectRefused({AE("<CloudQuerySignInInfo> strcpy_s header name fail")});
    Fake().FailCall(Fn::LoginToken, 1);
    ExpectRefused(
        {AE("<MonitorConfToken> QuorLoginGetConfToken ret: 7"), AE("<CloudQuerySignInInfo> get token fail")});
    Fake().FailCall(Fn::StrcpyS, 2);
    ExpectRefused({AE("<CloudQuerySignInInfo> strcpy_s header value fail")});
    Fake().FailCall(Fn::HeapAlloc, 1);
    ExpectRefused({AE("<CloudQuerySignInInfo> malloc query info fail")});
    Fake().FailCall(Fn::MemcpyS, 1);
    ExpectRefused({AE("<CloudQuerySignInInfo> memcpy_s query info fail")});
    FailClearOf(sizeof(tagHTTP_S_ASYN_SEND_PARAM));
    ExpectRefused({AE("<CloudQuerySignInInfo> memset_s error!")});
}

TEST_F(SignInQueryTest, TheHeaderIsWipedAfterTheSend) {
    QueryWith(Answer(List("")));
    EXPECT_TRUE(Wiped(576, std::string("token\0", 6)));
}

TEST_F(SignInQueryTest, AWipeThatFailsIsLoggedAndTheSendCounts) {
    FailClearOf(576);
    QueryWith(Answer(List("")));
    EXPECT_THAT(Logs(), ElementsAre(AE("<CloudQuerySignInInfo> memset_s header fail")));
    EXPECT_EQ(observer->results.size(), 1U);
}

TEST_F(SignInQueryTest, TheAnswerMayComeLater) {
    Network().holdAnswers = true;
    EXPECT_EQ(Query(), 0U);
    std::memset(&query, 0, sizeof(query));  // the caller's again
    Network().Complete(0, Answer(List(kPerson.Text())));
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->As<TagQuorAiGetSignIn>(0).checkedIn, 1);
}

TEST_F(SignInQueryTest, BadAnswersAreDropped) {
    HttpAnswer failed;
    failed.result = 103;
    ExpectDropped(failed, {AE("<GetErrorCode>: Send func ret =  103")});
    HttpAnswer noRecord;
    noRecord.noRecord = true;
    ExpectDropped(noRecord, {AE("<GetErrorCode>: pstHttpRsp is null!")});
    ExpectDropped(Answer(List(""), 500), {AE("<GetErrorCode>: http status code = 500")});
    ExpectDropped(Answer(""), {AE("<QuerySignInRspNotify>: pcString is null")});
    ExpectDropped(Answer("{"), {AE("<ParseSignInRes>: parse root faild")});
}

// Good as a status, and then there is nothing to read.
TEST_F(SignInQueryTest, A204FailsOnItsMissingBody) {
    HttpAnswer answer = Answer("", 204);
    answer.body.reset();
    ExpectDropped(answer, {AE("<QuerySignInRspNotify>: pcString is null")});
}

TEST_F(SignInQueryTest, TheThreeNumbersMustBeThere) {
    const LogLine missing = AE("<ParseSignInRes>: res not contain key value");
    ExpectDropped(Answer(R"({"totalPages":1,"number":1,"content":[]})"), {missing});
    ExpectDropped(Answer(R"({"totalElements":1,"number":1,"content":[]})"), {missing});
    ExpectDropped(Answer(R"({"totalElements":1,"totalPages":1,"content":[]})"), {missing});
}

TEST_F(SignInQueryTest, NumbersOfAnotherTypeAreZero) {
    QueryWith(Answer(R"({"totalElements":"9","totalPages":null,"number":2.9,"content":[]})"));
    const auto list = observer->As<TagQuorAiGetSignIn>(0);
    EXPECT_EQ(list.totalElements, 0U);
    EXPECT_EQ(list.totalPages, 0U);
    EXPECT_EQ(list.number, 2U);
}

TEST_F(SignInQueryTest, TheContentMustBeAnArray) {
    const LogLine unreadable = AE("<ParseSignInRes> cannot parse this body");
    ExpectDropped(Answer(R"({"totalElements":1,"totalPages":1,"number":1})"), {unreadable});
    ExpectDropped(Answer(R"({"totalElements":1,"totalPages":1,"number":1,"content":{}})"), {unreadable});
}

TEST_F(SignInQueryTest, AnEmptyPageIsTold) {
    QueryWith(Answer(List("")));
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].len, 33812U);
    EXPECT_EQ(observer->As<TagQuorAiGetSignIn>(0).count, 0U);
}

// A page is not cut to what fits.
TEST_F(SignInQueryTest, ThirtyTwoEntriesFitAnd33FailThePage) {
    ExpectDropped(Answer(List(Repeated(kPerson.Text(), 33))),
                  {AE("<ParseSignInRes> result size is too large: 33")});
    QueryWith(Answer(List(Repeated(kPerson.Text(), 32))));
    const auto list = observer->As<TagQuorAiGetSignIn>(0);
    EXPECT_EQ(list.count, 32U);
    EXPECT_STREQ(list.entries[31].participantName, "Room One");
}

TEST_F(SignInQueryTest, DetailsAreReadOnlyWhenAskedFor) {
    query.checkedIn = 0;
    query.history = 1;
    QueryWith(Answer(List(kPerson.Text())));
    const auto list = observer->As<TagQuorAiGetSignIn>(0);
    EXPECT_EQ(list.checkedIn, 0);
    EXPECT_EQ(list.history, 1);
    EXPECT_STREQ(list.entries[0].name, "Ada");
    EXPECT_STREQ(list.entries[0].checkInTime, "");
    EXPECT_STREQ(list.entries[0].participantName, "");
}

TEST_F(SignInQueryTest, MissingMembersFailThePage) {
    const std::string good = kPerson.Text() + ",";
    for (const char* key : {"name", "account"}) {
        ExpectDropped(Answer(List(good + kPerson.Without(key).Text())),
                      {AE("<ParseSigninCommonField>: name or account is null")});
    }
    ExpectDropped(Answer(List("null")), {AE("<ParseSigninCommonField>: name or account is null")});
    for (const char* key : {"checkInTime", "participantName", "type"}) {
        ExpectDropped(Answer(List(good + kPerson.Without(key).Text())),
                      {AE("<ParseSignedUniqueField>: checkInTime/participantName/tye is null")});
    }
}

// Texts are taken whole or not at all.
TEST_F(SignInQueryTest, TextsThatDoNotFitOrAreNoneFailThePage) {
    const std::pair<const char*, const char*> fields[] = {
        {"name", "<ParseSigninCommonField>: strcpy_s name failed"},
        {"account", "<ParseSigninCommonField>: strcpy_s account failed"},
        {"checkInTime", "<ParseSignedUniqueField>: strcpy_s checkInTime failed"},
        {"participantName", "<ParseSignedUniqueField>: strcpy_s participantName failed"},
        {"type", "<ParseSignedUniqueField>: strcpy_s type failed"}};
    for (const auto& [key, text] : fields) {
        const std::size_t capacity = std::string(key) == "type" ? 32 : 256;
        ExpectDropped(Answer(List(kPerson.With(key, "\"" + std::string(capacity, 'x') + "\"").Text())),
                      {AE(text)});
        ExpectDropped(Answer(List(kPerson.With(key, "5").Text())), {AE(text)});
        Fake().ClearRecords();
        QueryWith(Answer(List(kPerson.With(key, "\"" + std::string(capacity - 1, 'x') + "\"").Text())));
        QueryWith(Answer(List(kPerson.With(key, "\"\"").Text())));
        EXPECT_EQ(observer->results.size(), 2U);
        observer->results.clear();
    }
}

TEST_F(SignInQueryTest, NullArguments) {
    TagQuorAiGetSigninContent entry;
    auto list = std::make_unique<TagQuorAiGetSignIn>();
    EXPECT_EQ(Adapter::ParseSignIn(nullptr, *list), -1);
    EXPECT_EQ(Adapter::ParseCommon(nullptr, entry), -1);
    EXPECT_EQ(Adapter::ParseUnique(nullptr, entry), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("Null ptr."), AE("<ParseSigninCommonField>: array item is null"),
                                    AE("<ParseSignedUniqueField>: array item is null")));
}

TEST_F(SignInQueryTest, TheTraceHasTwoBlanksBeforeThePage) {
    Fake().traceLevel = 3;
    QueryWith(Answer(List("")));
    EXPECT_THAT(TraceTexts(),
                ElementsAre("eHttpRet: 0, httpCode: 200", "eHttpRet:0, httpCode:200,  page = 1, count = 20"));
}

TEST_F(SignInQueryTest, TheHandleGoesLast) {
    QueryWith(Answer(List("")));
    EXPECT_EQ(Fake().Trail({Fn::MutexLock, Fn::MutexUnlock, Fn::LoginInit, Fn::LoginToken, Fn::CertPath}),
              (std::vector<std::string>{"HeapAlloc", "HttpAsynSend", "HeapAlloc", "Notify 13", "HeapFree",
                                        "HeapFree", "HttpRelease"}));
}

}  // namespace
}  // namespace QuorTest
