#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "async_request_fixture.h"
#include "support/comma_locale.h"

namespace QuorTest {
namespace {

class AvMatchReportTest : public AsyncRequestTest {
protected:
    AvMatchReportTest() {
        data.faceid = -7;
        data.serverPort = 443;
        data.start = 1234;
        data.end = 61005;
        data.doa = 12.5F;
        data.score = 0.9F;
        Put(data.userid, "user-1");
        Put(data.site, "site-1");
        Put(data.uuid, "conf-1");
        Put(data.serverAddr, "kel.example.org");
        Put(data.token, "match-token-of-the-record");
        data.rect = {1, -2, 30, 40};
    }

    unsigned Report() { return Http().CloudReportAVMatchInfo(data); }
    unsigned Send() override { return Report(); }
    // The text of a member of the body.
    std::string Member(const std::string& name) {
        const std::string body = Adapter::MatchBody(data);
        const std::string key = "\"" + name + "\":\t\"";
        const std::size_t at = body.find(key);
        return at == std::string::npos
                   ? "none"
                   : body.substr(at + key.size(), body.find('"', at + key.size()) - at - key.size());
    }

    TagQuorAiAVMatchtData data = {};
};

const LogLine kHeaderFailed = AE("<CloudReportAVMatchInfo> GetReportHeader fail");

TEST_F(AvMatchReportTest, TellsTheAcceptedReportByteForByte) {
    EXPECT_EQ(Report(), 0U);
    data.success = 1;
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_REPORT_AV_MATCH);
    ASSERT_EQ(observer->results[0].len, 1016U);
    EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), &data, 1016), 0);
    EXPECT_EQ(CallbackResult(), 0U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(AvMatchReportTest, ARefusedReportIsToldAndTheCallbackSucceeds) {
    data.success = 1;
    Network().answer.status = 401;
    EXPECT_EQ(Report(), 0U);
    EXPECT_EQ(observer->As<TagQuorAiAVMatchtData>(0).success, 0);
    EXPECT_EQ(CallbackResult(), 0U);
    EXPECT_THAT(Logs(), ElementsAre(AE("<GetErrorCode>: http status code = 401")));
}

TEST_F(AvMatchReportTest, A204IsAccepted) {
    Network().answer.status = 204;
    Network().answer.body.reset();
    Report();
    EXPECT_EQ(observer->As<TagQuorAiAVMatchtData>(0).success, 1);
}

// Whoever reads the flag as a 32-bit number reads 1 or 0.
TEST_F(AvMatchReportTest, TheBytesBehindTheFlagAreZero) {
    std::memset(data.reserved, 0xAA, sizeof(data.reserved));
    Report();
    EXPECT_EQ(observer->results.at(0).bytes.substr(24, 4), std::string("\1\0\0\0", 4));
}

// The header's name has a capital letter, and the name of the server is not resolved.
TEST_F(AvMatchReportTest, TheRequestAsItGoesOut) {
    Report();
    const HttpRequest& request = Network().requests.at(0);
    EXPECT_FALSE(request.synchronous);
    EXPECT_EQ(request.method, 0U);
    EXPECT_EQ(request.url,
              "https://kel.example.org:443/conf-portal/online/conferences/conf-1/participants/ai/caption");
    EXPECT_THAT(request.headers,
                ElementsAre(std::pair<std::string, std::string>("Token", "match-token-of-the-record"),
                            std::pair<std::string, std::string>("Content-Type", "application/json")));
    EXPECT_EQ(request.body,
              "{\n\t\"site\":\t\"site-1\",\n\t\"msg\":\t\"avmatch\",\n\t\"start\":\t\"1.234\",\n"
              "\t\"end\":\t\"61.005\",\n\t\"userid\":\t\"user-1\",\n\t\"doa\":\t\"12.500000\",\n"
              "\t\"score\":\t\"0.900000\",\n\t\"faceid\":\t\"-7\",\n\t\"rect\":\t{\n\t\t\"x\":\t\"1\",\n"
              "\t\t\"y\":\t\"-2\",\n\t\t\"w\":\t\"30\",\n\t\t\"h\":\t\"40\"\n\t}\n}");
    EXPECT_THAT(Network().dnsCalls, IsEmpty());
}

TEST_F(AvMatchReportTest, ThePortIsPrintedWithoutSign) {
    data.serverPort = 4294967295U;
    Report();
    EXPECT_EQ(Network().requests.at(0).url.find("https://kel.example.org:4294967295/conf-portal/"), 0U);
}

TEST_F(AvMatchReportTest, TimesAreInSinglePrecision) {
    const std::pair<long long, const char*> times[] = {
        {0, "0.000"},
        {1234, "1.234"},
        {99999999, "100000.000"},
        {1700000000123, "1700000000.000"},
        {-1500, "-1.500"},
        {std::numeric_limits<long long>::max(), "9223372474941440.000"},
        {std::numeric_limits<long long>::min(), "-9223372474941440.000"}};
    for (const auto& [timeMs, text] : times) {
        data.start = timeMs;
        data.end = timeMs;
        EXPECT_EQ(Member("start"), text);
        EXPECT_EQ(Member("end"), text);
    }
}

TEST_F(AvMatchReportTest, FloatsHaveSixDecimals) {
    data.score = 123456.789F;
    EXPECT_EQ(Member("score"), "123456.789062");
    data.doa = -0.0F;
    EXPECT_EQ(Member("doa"), "-0.000000");
    data.doa = std::numeric_limits<float>::max();
    EXPECT_EQ(Member("doa"), "340282346638528859811704183484516925440.000000");
    data.doa = std::numeric_limits<float>::infinity();
    EXPECT_EQ(Member("doa"), "inf");
}

// Whatever the host's locale writes.
TEST_F(AvMatchReportTest, NumbersHaveAPointAndNoComma) {
    const CommaLocale comma;
    char text[8];
    std::snprintf(text, sizeof(text), "%.1f", 1.5);
    ASSERT_STREQ(text, "1,5");
    EXPECT_EQ(Member("start"), "1.234");
    EXPECT_EQ(Member("end"), "61.005");
    EXPECT_EQ(Member("doa"), "12.500000");
    EXPECT_EQ(Member("score"), "0.900000");
    EXPECT_EQ(Member("faceid"), "-7");
}

// At info level, with lengths and not texts.
TEST_F(AvMatchReportTest, EmptyIdsAreRefusedFirst) {
    data.site[0] = '\0';
    ExpectRefused({AI("<CloudReportAVMatchInfo>userId:6, site:0, uuid:6.")});
    Put(data.site, "site-1");
    data.userid[0] = '\0';
    ExpectRefused({AI("<CloudReportAVMatchInfo>userId:0, site:6, uuid:6.")});
    data.uuid[0] = '\0';
    FillWhole(data.userid);
    ExpectRefused({AI("<CloudReportAVMatchInfo>userId:256, site:6, uuid:0.")});
    EXPECT_EQ(loginsAsked, 0U);
}

TEST_F(AvMatchReportTest, UnterminatedTextsAreReadToTheirEndOnly) {
    FillWhole(data.userid, 'u');
    FillWhole(data.site, 's');
    FillWhole(data.uuid, 'c');
    FillWhole(data.serverAddr, 'h');
    FillWhole(data.token, 't');
    EXPECT_EQ(Report(), 0U);
    const HttpRequest& request = Network().requests.at(0);
    EXPECT_EQ(request.url, "https://" + std::string(256, 'h') + ":443/conf-portal/online/conferences/" +
                               std::string(192, 'c') + "/participants/ai/caption");
    EXPECT_EQ(request.headers.at(0).second, std::string(128, 't'));
    EXPECT_EQ(Member("userid"), std::string(256, 'u'));
    EXPECT_EQ(Member("site"), std::string(128, 's'));
}

// The login client's token is not used, and without one the report does not go out. The texts are those of
// the sign-in report.
TEST_F(AvMatchReportTest, ATerminalThatIsNotLoggedInReportsNothing) {
    Fake().FailCall(Fn::LoginToken, 1);
    ExpectRefused({AE("<MonitorConfToken> QuorLoginGetConfToken ret: 7"),
                   AE("<GenerateReportHeader> get token fail"), kHeaderFailed});
}

TEST_F(AvMatchReportTest, WhatElseCanFailBeforeTheSend) {
    Fake().FailCall(Fn::SprintfS, 1);
    ExpectRefused({AE("<CloudReportAVMatchInfo> sprintf_s acRequestUrl fail")});
    const char* copies[] = {"token name", "token value", "content type name", "content type value"};
    for (unsigned i = 0; i < 4; ++i) {
        Fake().FailCall(Fn::StrcpyS, i + 1);
        ExpectRefused(
            {AE("<GenerateReportHeader> strcpy_s " + std::string(copies[i]) + " fail"), kHeaderFailed});
    }
    const LogLine copyFailed = AE("<CloudReportAVMatchInfo> new and copy report info error!");
    Fake().FailCall(Fn::HeapAlloc, 1);
    ExpectRefused({AE("<NewReportAVMatchInfo> malloc report info fail"), copyFailed});
    Fake().FailCall(Fn::MemcpyS, 1);
    ExpectRefused({AE("<NewReportAVMatchInfo> memcpy_s report info fail"), copyFailed});
    FailClearOf(sizeof(tagHTTP_S_ASYN_SEND_PARAM));
    ExpectRefused({AE("<CloudReportAVMatchInfo> memset_s error!")});
}

TEST_F(AvMatchReportTest, EveryAllocationOfTheBodyMayFail) {
    ExpectRefusedWithoutMemoryForTheBody(AE("<CloudReportAVMatchInfo> jsonStr return null"), 20);
}

TEST_F(AvMatchReportTest, HeadersOfAnotherNumber) {
    tagHTTP_HEADER headers[3] = {};
    EXPECT_EQ(Adapter::MatchHeader(headers, 3, "t"), -1);
    EXPECT_EQ(Adapter::MatchHeader(nullptr, 2, "t"), -1);
    const LogLine invalid = AE("<GenerateReportHeader> param is invalid");
    EXPECT_THAT(Logs(), ElementsAre(invalid, invalid));
    EXPECT_EQ(Fake().CountOf(Fn::LoginInit), 0U);
}

TEST_F(AvMatchReportTest, NoTokenStaysBehind) {
    Report();
    EXPECT_TRUE(Wiped(1152, std::string("Token\0", 6)));
    EXPECT_TRUE(Wiped(25, "match-token-of-the-record"));
    for (const BlockRecord& block : Fake().freedBlocks) {
        EXPECT_EQ(block.contentAtFree.find("match-token"), std::string::npos);
    }
}

// There is no text for it.
TEST_F(AvMatchReportTest, AWipeThatFailsIsNotLoggedAndTheSendCounts) {
    FailClearOf(1152);
    EXPECT_EQ(Report(), 0U);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_EQ(observer->results.size(), 1U);
}

TEST_F(AvMatchReportTest, TheTraceTellsTheOutcome) {
    Fake().traceLevel = 3;
    Report();
    Network().answer.status = 500;
    Report();
    EXPECT_THAT(TraceTexts(),
                ElementsAre("eHttpRet: 0, httpCode: 200", "REPORT_AVMATCH_INFO faceid:-7, isSucc:1",
                            "REPORT_AVMATCH_INFO faceid:-7, isSucc:0"));
}

}  // namespace
}  // namespace QuorTest
