#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "async_request_fixture.h"

namespace QuorTest {
namespace {

class AccountSignInTest : public AsyncRequestTest {
protected:
    AccountSignInTest() {
        Put(query.confId, "conf-1");
        Put(query.serverAddr, "192.168.1.10");
        query.serverPort = 443;
        query.accountCount = 1;
        Put(query.account, "zhang");
        Network().answer.body = R"({"checkInInfos":[{"account":"zhang","checkInTime":"2024-05-06"}]})";
    }

    unsigned Query() { return Http().CloudQueryAccountSignInInfo(query); }
    unsigned Send() override { return Query(); }
    void QueryWith(const HttpAnswer& answer) {
        Network().script = {answer};
        EXPECT_EQ(Query(), 0U);
    }
    void ExpectTold(unsigned status, const std::string& account, const std::string& time) {
        TagQuorAiAccountCheckInInfo expected;
        std::memset(&expected, 0, sizeof(expected));
        expected.httpStatus = status;
        Put(expected.account, account);
        Put(expected.checkInTime, time);
        ASSERT_EQ(observer->results.size(), 1U);
        EXPECT_EQ(observer->results[0].id, AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN);
        ASSERT_EQ(observer->results[0].len, 388U);
        EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), &expected, 388), 0);
        observer->results.clear();
    }
    std::string SentBody() { return Network().requests.at(0).body.value_or("none"); }

    TagQuorAiQuerySignAccount query = {};
};

const LogLine kHeaderFailed = AE("<CloudQueryAccountSignInInfo> GetReportHeader fail");
const LogLine kGenerateFailed = AE("<CloudQueryAccountSignInInfo> GenerateAccountSignIn fail");

TEST_F(AccountSignInTest, TellsTheAnswerByteForByte) {
    EXPECT_EQ(Query(), 0U);
    ExpectTold(200, "zhang", "2024-05-06");
    EXPECT_EQ(CallbackResult(), 0U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(AccountSignInTest, TheRequestAsItGoesOut) {
    Query();
    const HttpRequest& request = Network().requests.at(0);
    EXPECT_FALSE(request.synchronous);
    EXPECT_EQ(request.method, 0U);
    EXPECT_EQ(request.url,
              "https://192.168.1.10:443/conf-portal/conferences/conf-1/checkinservices/checkininfos/account");
    EXPECT_THAT(
        request.headers,
        ElementsAre(std::pair<std::string, std::string>("token", "token-of-the-login-client"),
                    std::pair<std::string, std::string>("Content-Type", "application/json;charset=UTF-8")));
    EXPECT_EQ(SentBody(), "{\n\t\"accountList\":\t[\"zhang\"]\n}");
}

TEST_F(AccountSignInTest, AnIpv6AddressStandsInBrackets) {
    Put(query.serverAddr, "::1");
    Query();
    EXPECT_EQ(Network().requests.at(0).url,
              "https://[::1]:443/conf-portal/conferences/conf-1/checkinservices/checkininfos/account");
}

TEST_F(AccountSignInTest, ANameGivesWayToItsAddress) {
    Put(query.serverAddr, "kel.example.org");
    Network().addresses = {Ipv4("10.1.2.3")};
    Query();
    EXPECT_STREQ(query.serverAddr, "10.1.2.3");
}

// The request goes out all the same.
TEST_F(AccountSignInTest, ANameWithoutAnAddressBecomesEmpty) {
    Put(query.serverAddr, "kel.example.org");
    EXPECT_EQ(Query(), 0U);
    ASSERT_EQ(Network().requests.size(), 1U);
    EXPECT_EQ(Network().requests[0].url,
              "https://:443/conf-portal/conferences/conf-1/checkinservices/checkininfos/account");
    EXPECT_STREQ(query.serverAddr, "");
}

TEST_F(AccountSignInTest, ThePortIsPrintedWithoutSign) {
    query.serverPort = 4294967295U;
    Query();
    EXPECT_EQ(Network().requests.at(0).url.find("https://192.168.1.10:4294967295/conf-portal/"), 0U);
}

// The count is taken as it is, the accounts beyond the first are empty.
TEST_F(AccountSignInTest, FurtherAccountsGoOutEmpty) {
    query.accountCount = 3;
    Query();
    EXPECT_EQ(SentBody(), "{\n\t\"accountList\":\t[\"zhang\", \"\", \"\"]\n}");
}

TEST_F(AccountSignInTest, NoMoreAccountsThanSlots) {
    query.accountCount = 4294967295U;
    Query();
    std::size_t commas = 0;
    for (const char c : SentBody()) {
        commas += c == ',' ? 1U : 0U;
    }
    EXPECT_EQ(commas, 31U);
}

TEST_F(AccountSignInTest, NoAccountAtAll) {
    query.accountCount = 0;
    Query();
    EXPECT_EQ(SentBody(), "{\n\t\"accountList\":\t[]\n}");
}

TEST_F(AccountSignInTest, AnAccountIsCutAt255Characters) {
    FillWhole(query.account, 'a');
    Query();
    EXPECT_EQ(SentBody(), "{\n\t\"accountList\":\t[\"" + std::string(255, 'a') + "\"]\n}");
}

TEST_F(AccountSignInTest, WhatCanFailBeforeTheSend) {
    Put(query.serverAddr, "kel.example.org");  // the record comes before its name is looked up
    Fake().FailCall(Fn::HeapAlloc, 1);
    ExpectRefused({AE("<CloudQueryAccountSignInInfo> malloc userInfo fail")});
    EXPECT_EQ(loginsAsked + namesResolved, 0U);
    Put(query.serverAddr, "a,b");
    ExpectRefused({AE("<GenerateAccountSignIn>: GetAddressType fail"), kGenerateFailed});
    Put(query.serverAddr, "192.168.1.10");
    Fake().FailCall(Fn::SprintfS, 1);  // the text carries the name of the whole query
    ExpectRefused({AE("<CloudQueryAccountSignInInfo> sprintf_s acRequestUrl fail: -1"), kGenerateFailed});
    Fake().FailCall(Fn::LoginToken, 1);
    ExpectRefused({AE("<MonitorConfToken> QuorLoginGetConfToken ret: 7"),
                   AE("<GenerateAccountSignInHeader> get token fail"), kHeaderFailed, kGenerateFailed});
    const char* copies[] = {"token name", "token value", "content type name", "content type value"};
    for (unsigned i = 0; i < 4; ++i) {
        Fake().FailCall(Fn::StrcpyS, i + 1);
        ExpectRefused({AE("<GenerateAccountSignInHeader> strcpy_s " + std::string(copies[i]) + " fail"),
                       kHeaderFailed, kGenerateFailed});
    }
    Fake().FailCall(Fn::StrncpyS, 1);
    ExpectRefused(
        {AE("<CloudQueryAccountSignInInfo> memcpy_s account fail"), kHeaderFailed, kGenerateFailed});
    FailClearOf(sizeof(tagHTTP_S_ASYN_SEND_PARAM));
    ExpectRefused({AE("<CloudQueryAccountSignInInfo> memset_s error!")});
}

// A conference id is reported with the text of the header's name.
TEST_F(AccountSignInTest, AConferenceIdThatCannotBeCopied) {
    const LogLine text = AE("<GenerateAccountSignInHeader> strcpy_s token name fail");
    Fake().FailCall(Fn::StrcpyS, 5);
    ExpectRefused({text, kHeaderFailed, kGenerateFailed});
    FillWhole(query.confId);
    ExpectRefused({text, kHeaderFailed, kGenerateFailed});
}

TEST_F(AccountSignInTest, EveryAllocationOfTheBodyMayFail) {
    query.accountCount = 2;
    ExpectRefusedWithoutMemoryForTheBody(AE("<CloudQueryAccountSignInInfo> jsonStr return null"), 5);
}

TEST_F(AccountSignInTest, HeadersOfAnotherNumber) {
    tagHTTP_HEADER headers[3] = {};
    EXPECT_EQ(Adapter::AccountHeader(headers, 3), -1);
    EXPECT_EQ(Adapter::AccountHeader(nullptr, 2), -1);
    const LogLine invalid = AE("<GenerateAccountSignInHeader> param is invalid");
    EXPECT_THAT(Logs(), ElementsAre(invalid, invalid));
}

// The status of the server and not that of success.
TEST_F(AccountSignInTest, AFailureIsToldAndIsAFailureOfTheCallback) {
    QueryWith(Answer("{}", 500));
    ExpectTold(500, "", "");
    EXPECT_EQ(CallbackResult(), kRefused);
    EXPECT_THAT(Logs(), ElementsAre(AE("<GetErrorCode>: http status code = 500")));
}

TEST_F(AccountSignInTest, WithoutAnAnswerTheStatusIsZero) {
    HttpAnswer failed;
    failed.result = 103;
    QueryWith(failed);
    ExpectTold(0, "", "");
    HttpAnswer noRecord;
    noRecord.noRecord = true;
    QueryWith(noRecord);
    ExpectTold(0, "", "");
}

TEST_F(AccountSignInTest, ATransportFailureWithAnAnswerPassesItsStatusOn) {
    HttpAnswer both;
    both.result = 5;
    both.alsoRecord = true;
    QueryWith(both);
    ExpectTold(200, "", "");
    EXPECT_EQ(CallbackResult(), kRefused);
}

// A good status without a body: nobody is told. The text is another answer's.
TEST_F(AccountSignInTest, AGoodAnswerWithoutBody) {
    for (const unsigned status : {200U, 204U}) {
        Fake().ClearRecords();
        HttpAnswer answer = Answer("", status);
        answer.body.reset();
        QueryWith(answer);
        EXPECT_THAT(observer->results, IsEmpty());
        EXPECT_EQ(CallbackResult(), kRefused);
        EXPECT_THAT(Logs(), ElementsAre(AE("<QuerySignInRspNotify>: pcString is null")));
    }
}

TEST_F(AccountSignInTest, A204WithABodyIsToldAs200) {
    QueryWith(Answer(R"({"checkInInfos":[]})", 204));
    ExpectTold(200, "", "");
}

TEST_F(AccountSignInTest, WhoHasNotSignedInIsASuccessWithEmptyTexts) {
    QueryWith(Answer(R"({"checkInInfos":[]})"));
    ExpectTold(200, "", "");
    EXPECT_THAT(Logs(), ElementsAre(AI("jsonItem is nullptr")));
    Fake().ClearRecords();
    for (const char* item : {"{}", R"({"account":"a"})", R"({"checkInTime":"t"})", "null"}) {
        Fake().ClearRecords();
        QueryWith(Answer(R"({"checkInInfos":[)" + std::string(item) + "]}"));
        ExpectTold(200, "", "");
        EXPECT_THAT(Logs(), ElementsAre(AE("<ParseAutoSignInRes>: res not contain key value")));
    }
}

TEST_F(AccountSignInTest, OnlyTheFirstEntryIsRead) {
    QueryWith(Answer(R"({"checkInInfos":[{},{"account":"b","checkInTime":"t"}]})"));
    ExpectTold(200, "", "");
}

// Nobody is told, and the callback succeeds.
TEST_F(AccountSignInTest, AnAnswerThatIsNotUnderstood) {
    const auto expectDropped = [this](const std::string& body, const std::string& line) {
        Fake().ClearRecords();
        QueryWith(Answer(body));
        EXPECT_THAT(observer->results, IsEmpty());
        EXPECT_EQ(CallbackResult(), 0U);
        EXPECT_THAT(Logs(), ElementsAre(AE(line)));
    };
    expectDropped("[", "<ParseAutoSignInRes>: parse root faild");
    expectDropped("{}", "<ParseAutoSignInRes> cannot parse this body");
    expectDropped(R"({"checkInInfos":{}})", "<ParseAutoSignInRes> cannot parse this body");
    const std::string account = "<ParseSigninCommonField>: strcpy_s account failed";
    const std::string time = "<ParseSigninCommonField>: strcpy_s checkInTime failed";
    expectDropped(R"({"checkInInfos":[{"account":5,"checkInTime":"t"}]})", account);
    expectDropped(R"({"checkInInfos":[{"account":")" + std::string(256, 'a') + R"(","checkInTime":"t"}]})",
                  account);
    expectDropped(R"({"checkInInfos":[{"account":"a","checkInTime":null}]})", time);
    expectDropped(R"({"checkInInfos":[{"account":"a","checkInTime":")" + std::string(128, 't') + R"("}]})",
                  time);
}

TEST_F(AccountSignInTest, TheLongestTextsFit) {
    QueryWith(Answer(R"({"checkInInfos":[{"account":")" + std::string(255, 'a') + R"(","checkInTime":")" +
                     std::string(127, 't') + R"("}]})"));
    ExpectTold(200, std::string(255, 'a'), std::string(127, 't'));
}

// The text is that of another operation.
TEST_F(AccountSignInTest, AResultThatCannotBeCleared) {
    FailClearOf(388);
    EXPECT_EQ(Query(), 0U);
    EXPECT_EQ(CallbackResult(), kRefused);
    EXPECT_THAT(observer->results, IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre(AE("<MallocMsgBuffer>: failed memset reportInfo error")));
}

TEST_F(AccountSignInTest, ParsingNothing) {
    TagQuorAiAccountCheckInInfo result = {};
    EXPECT_EQ(Adapter::ParseAccount(nullptr, result), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("Null ptr.")));
}

TEST_F(AccountSignInTest, TheHeadersAreWiped) {
    Query();
    EXPECT_TRUE(Wiped(1152, std::string("token\0", 6)));
    Fake().ClearRecords();
    FailClearOf(1152);
    EXPECT_EQ(Query(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(AE("<CloudQueryAccountSignInInfo> memset_s header fail")));
}

TEST_F(AccountSignInTest, WithoutAnInstanceNobodyIsToldOfAFailureEither) {
    Network().holdAnswers = true;
    Query();
    AiHttpAdapter* instance = Adapter::ExchangeInstance(nullptr);
    Fake().FailCall(Fn::NothrowNew, 1);
    Network().Complete(0, Answer("", 500));
    Adapter::ExchangeInstance(instance);
    EXPECT_THAT(Logs(),
                ElementsAre(AE("<GetErrorCode>: http status code = 500"), AE("httpAdapter is nullptr")));
}

}  // namespace
}  // namespace QuorTest
