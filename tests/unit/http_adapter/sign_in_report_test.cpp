#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "async_request_fixture.h"

namespace QuorTest {
namespace {

class SignInReportTest : public AsyncRequestTest {
protected:
    SignInReportTest() {
        Put(report.confId, "conf-1");
        report.reportCount = 2;
        Put(report.serverAddr, "192.168.1.10");
        report.serverPort = 443;
        Put(report.ownToken, "own-token-of-the-record");
        Put(report.entries[0].name, "Ada \"L\"");
        Put(report.entries[0].account, "ada");
        Put(report.entries[0].checkInTime, "now");
        Put(report.entries[0].type, "face");
        Put(report.entries[0].participantName, "Room One");
        Put(report.entries[1].name, "Bob");
    }

    unsigned Report() { return Http().CloudReportSignInInfo(report); }
    unsigned Send() override { return Report(); }
    unsigned ReportWith(unsigned long status) {
        Network().answer.status = status;
        return Report();
    }

    TagQuorAiReportSiginIn report = {};
};

const LogLine kHeaderFailed = AE("<CloudReportSignInInfo> GetReportHeader fail");

TEST_F(SignInReportTest, TellsTheAcceptedReportByteForByte) {
    EXPECT_EQ(ReportWith(200), 0U);
    report.result = 1;
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_REPORT_SIGN_IN);
    ASSERT_EQ(observer->results[0].len, 5872U);
    EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), &report, 5872), 0);
    EXPECT_EQ(CallbackResult(), 0U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(SignInReportTest, A204IsAccepted) {
    Network().answer.body.reset();
    EXPECT_EQ(ReportWith(204), 0U);
    EXPECT_EQ(observer->As<TagQuorAiReportSiginIn>(0).result, 1);
}

TEST_F(SignInReportTest, ARefusedReportIsToldAndTheCallbackSucceeds) {
    report.result = 1;  // whatever the application left there
    EXPECT_EQ(ReportWith(403), 0U);
    EXPECT_EQ(observer->As<TagQuorAiReportSiginIn>(0).result, 0);
    EXPECT_EQ(CallbackResult(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(AE("<GetErrorCode>: http status code = 403"),
                                    AE("<ReportSignInRspNotify>: 2 signin infos report failed")));
}

TEST_F(SignInReportTest, TheRequestAsItGoesOut) {
    EXPECT_EQ(Report(), 0U);
    const HttpRequest& request = Network().requests.at(0);
    EXPECT_FALSE(request.synchronous);
    EXPECT_EQ(request.method, 5U);
    EXPECT_EQ(request.url,
              "https://192.168.1.10:443/conf-portal/conferences/conf-1/checkinservices/checkininfos");
    EXPECT_THAT(
        request.headers,
        ElementsAre(std::pair<std::string, std::string>("token", "token-of-the-login-client"),
                    std::pair<std::string, std::string>("Content-Type", "application/json;charset=UTF-8")));
    EXPECT_EQ(request.body,
              "{\n\t\"checkInfoList\":\t[{\n"
              "\t\t\t\"name\":\t\"Ada \\\"L\\\"\",\n"
              "\t\t\t\"account\":\t\"ada\",\n"
              "\t\t\t\"checkInTime\":\t\"now\",\n"
              "\t\t\t\"type\":\t\"face\",\n"
              "\t\t\t\"participantName\":\t\"Room One\"\n"
              "\t\t}, {\n"
              "\t\t\t\"name\":\t\"Bob\",\n"
              "\t\t\t\"account\":\t\"\",\n"
              "\t\t\t\"checkInTime\":\t\"\",\n"
              "\t\t\t\"type\":\t\"\",\n"
              "\t\t\t\"participantName\":\t\"\"\n"
              "\t\t}]\n}");
}

TEST_F(SignInReportTest, AnIpv6AddressStandsInBrackets) {
    Put(report.serverAddr, "2001:db8::1");
    Report();
    EXPECT_EQ(Network().requests.at(0).url,
              "https://[2001:db8::1]:443/conf-portal/conferences/conf-1/checkinservices/checkininfos");
}

// The address takes the name's place in the application's record and in what observers get.
TEST_F(SignInReportTest, ANameGivesWayToItsAddress) {
    Put(report.serverAddr, "kel.example.org");
    Network().addresses = {Ipv4("10.1.2.3")};
    EXPECT_EQ(Report(), 0U);
    EXPECT_STREQ(report.serverAddr, "10.1.2.3");
    EXPECT_STREQ(observer->As<TagQuorAiReportSiginIn>(0).serverAddr, "10.1.2.3");
}

// The request goes out all the same.
TEST_F(SignInReportTest, ANameWithoutAnAddressBecomesEmpty) {
    Put(report.serverAddr, "kel.example.org");
    EXPECT_EQ(Report(), 0U);
    ASSERT_EQ(Network().requests.size(), 1U);
    EXPECT_EQ(Network().requests[0].url,
              "https://:443/conf-portal/conferences/conf-1/checkinservices/checkininfos");
    EXPECT_STREQ(report.serverAddr, "");
    EXPECT_STREQ(observer->As<TagQuorAiReportSiginIn>(0).serverAddr, "");
}

TEST_F(SignInReportTest, ThePortIsPrintedWithoutSign) {
    report.serverPort = 4294967295U;
    Report();
    EXPECT_EQ(Network().requests.at(0).url.find("https://192.168.1.10:4294967295/conf-portal/"), 0U);
}

// With its own token the record needs no login client.
TEST_F(SignInReportTest, TheOwnTokenIsSentWithoutAskingForAnother) {
    report.tokenSource = 1;
    EXPECT_EQ(Report(), 0U);
    EXPECT_EQ(Network().requests.at(0).headers.at(0).second, "own-token-of-the-record");
    EXPECT_EQ(Fake().CountOf(Fn::LoginInit) + Fake().CountOf(Fn::LoginToken), 0U);
}

TEST_F(SignInReportTest, AnyOtherSourceIsTheLoginClient) {
    for (const unsigned source : {0U, 2U, 4294967295U}) {
        Network().DropRecords();
        report.tokenSource = source;
        Report();
        EXPECT_EQ(Network().requests.at(0).headers.at(0).second, "token-of-the-login-client");
    }
}

TEST_F(SignInReportTest, AnOwnTokenWithoutEndIsReadToItsEndOnly) {
    report.tokenSource = 1;
    FillWhole(report.ownToken);
    EXPECT_EQ(Report(), 0U);
    EXPECT_EQ(Network().requests.at(0).headers.at(0).second, std::string(131, 'x'));
}

TEST_F(SignInReportTest, AnOwnTokenThatCannotBeCopied) {
    report.tokenSource = 1;
    Fake().FailCall(Fn::StrncpyS, 1);
    ExpectRefused({AE("<GenerateReportHeader> strcpy_s token value fail"), kHeaderFailed});
}

// The count comes before any network activity.
TEST_F(SignInReportTest, CountsOutsideOneToFiveAreRefusedFirst) {
    Put(report.serverAddr, "kel.example.org");
    report.reportCount = 0;
    ExpectRefused({AE("<CloudReportSignInInfo> report num is invalid: 0")});
    report.reportCount = 6;
    ExpectRefused({AE("<CloudReportSignInInfo> report num is invalid: 6")});
    report.reportCount = 4294967295U;
    ExpectRefused({AE("<CloudReportSignInInfo> report num is invalid: -1")});
    EXPECT_EQ(namesResolved, 0U);
    Put(report.serverAddr, "192.168.1.10");
    for (report.reportCount = 1; report.reportCount <= 5; ++report.reportCount) {
        EXPECT_EQ(Report(), 0U);
    }
}

TEST_F(SignInReportTest, UnterminatedTextsAreReadToTheirEndOnly) {
    report.reportCount = 1;
    FillWhole(report.confId, 'c');
    FillWhole(report.entries[0].type, 't');
    FillWhole(report.entries[0].participantName, 'p');
    EXPECT_EQ(Report(), 0U);
    const HttpRequest& request = Network().requests.at(0);
    EXPECT_NE(request.url.find("/" + std::string(192, 'c') + "/checkin"), std::string::npos);
    EXPECT_NE(request.body->find("\"" + std::string(32, 't') + "\""), std::string::npos);
    EXPECT_NE(request.body->find("\"" + std::string(256, 'p') + "\""), std::string::npos);
}

TEST_F(SignInReportTest, WhatCanFailBeforeTheSend) {
    const LogLine urlFailed = AE("<CloudReportSignInInfo> GenerateReportUrl fail");
    Put(report.serverAddr, "a,b");
    ExpectRefused({AE("<CloudReportSignInInfo>: GetAddressType fail"), urlFailed});
    Put(report.serverAddr, "192.168.1.10");
    Fake().FailCall(Fn::SprintfS, 1);
    ExpectRefused({AE("<CloudReportSignInInfo> sprintf_s acRequestUrl fail: -1"), urlFailed});
    Fake().FailCall(Fn::LoginInit, 1);
    ExpectRefused({AE("<MonitorConfToken> QuorLoginInitialize ret: 7"),
                   AE("<GenerateReportHeader> get token fail"), kHeaderFailed});
    const char* copies[] = {"token name", "token value", "content type name", "content type value"};
    for (unsigned i = 0; i < 4; ++i) {
        Fake().FailCall(Fn::StrcpyS, i + 1);
        ExpectRefused(
            {AE("<GenerateReportHeader> strcpy_s " + std::string(copies[i]) + " fail"), kHeaderFailed});
    }
    const LogLine copyFailed = AE("<CloudReportSignInInfo> new and copy report info error!");
    Fake().FailCall(Fn::HeapAlloc, 1);
    ExpectRefused({AE("<NewReportSigninInfo> malloc report info fail"), copyFailed});
    Fake().FailCall(Fn::MemcpyS, 1);
    ExpectRefused({AE("<NewReportSigninInfo> memcpy_s report info fail"), copyFailed});
}

// There is no text for it.
TEST_F(SignInReportTest, ARequestRecordThatCannotBeClearedFailsWithoutAWord) {
    FailClearOf(sizeof(tagHTTP_S_ASYN_SEND_PARAM));
    ExpectRefused({});
}

TEST_F(SignInReportTest, EveryAllocationOfTheBodyMayFail) {
    ExpectRefusedWithoutMemoryForTheBody(AE("<CloudReportSignInInfo> GenerateReportBody null"), 20);
}

TEST_F(SignInReportTest, HeadersOfAnotherNumber) {
    tagHTTP_HEADER headers[3] = {};
    EXPECT_EQ(Adapter::ReportHeader(headers, 3, report), -1);
    EXPECT_EQ(Adapter::ReportHeader(headers, 1, report), -1);
    EXPECT_EQ(Adapter::ReportHeader(nullptr, 2, report), -1);
    const LogLine invalid = AE("<GenerateReportHeader> param is invalid");
    EXPECT_THAT(Logs(), ElementsAre(invalid, invalid, invalid));
}

TEST_F(SignInReportTest, NoTokenStaysBehind) {
    report.tokenSource = 1;
    Report();
    EXPECT_TRUE(Wiped(1152, std::string("token\0", 6)));
    for (const BlockRecord& block : Fake().freedBlocks) {
        EXPECT_EQ(block.contentAtFree.find("own-token"), std::string::npos);
    }
}

TEST_F(SignInReportTest, AWipeThatFailsIsLoggedAndTheSendCounts) {
    FailClearOf(1152);
    EXPECT_EQ(Report(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(AE("<CloudReportSignInInfo> memset_s header fail")));
}

TEST_F(SignInReportTest, ASendThatFailsInTheTransportIsToldByTheCallback) {
    Fake().FailCall(Fn::HttpAsynSend, 1);
    Fake().SetFailResult(Fn::HttpAsynSend, 102);
    EXPECT_EQ(Report(), 102U);
    EXPECT_EQ(observer->As<TagQuorAiReportSiginIn>(0).result, 0);
}

TEST_F(SignInReportTest, TheAnswerMayComeLaterAndTheTransportMayEndFirst) {
    Network().holdAnswers = true;
    EXPECT_EQ(Report(), 0U);
    const TagQuorAiReportSiginIn sent = report;
    std::memset(&report, 0, sizeof(report));
    EXPECT_EQ(Adapter::Protocol().AiUtilityHttpUninit(), 0U);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), &sent, 5736), 0);
    EXPECT_EQ(observer->As<TagQuorAiReportSiginIn>(0).result, 0);
}

}  // namespace
}  // namespace QuorTest
