#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

#include "participant_list_fixture.h"

namespace QuorTest {
namespace {

const LogLine kPageFailed = AE("<DoQueryConfList>: call CloudQueryConfListPage failed!");
const LogLine kQueryFailed = AE("<DoQueryConfList> QueryConfListGetUrl error!");

TEST_F(ParticipantListTest, DeliversTheListByteForByte) {
    Network().script = {Answer(Page(2))};
    EXPECT_EQ(Query(), 0);
    auto expected = std::make_unique<TagQuorAiConfList>();
    expected->parsed = 1;
    expected->siteCount = 2;
    Put(expected->sites[0].id, "id0");
    Put(expected->sites[0].name, "name0");
    Put(expected->sites[1].id, "id1");
    Put(expected->sites[1].name, "name1");
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_QUERY_CONF_LIST);
    EXPECT_EQ(observer->results[0].len, 8U + 2U * 448U);
    EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), expected.get(), 8 + 2 * 448), 0);
    EXPECT_THAT(Logs(), ElementsAre(AI("<CloudQueryConfListPage>: parse conf list result: 0"),
                                    AI("<DoQueryConfList>: site num = 2, page = 1")));
}

TEST_F(ParticipantListTest, TheRequestAsItGoesOut) {
    Network().script = {Answer(Page(0))};
    EXPECT_EQ(Query(), 0);
    ASSERT_EQ(Network().requests.size(), 1U);
    const HttpRequest& request = Network().requests[0];
    EXPECT_TRUE(request.synchronous);
    EXPECT_EQ(request.method, 0U);
    EXPECT_EQ(request.url,
              "https://192.168.1.10:8443/conf-portal/online/conferences/conf-77/participants/"
              "conditions?page=0&size=200");
    EXPECT_EQ(request.urlLen, 1024U);
    EXPECT_THAT(request.headers,
                ElementsAre(std::pair<std::string, std::string>("token", kConfListToken),
                            std::pair<std::string, std::string>("Content-Type", "application/json")));
    EXPECT_EQ(request.body, "{}");
    EXPECT_EQ(request.firstTimeout, 3U);
    EXPECT_EQ(request.secondTimeout, 30U);
}

TEST_F(ParticipantListTest, AnIpv6AddressStandsInBrackets) {
    Put(info.serverAddr, "2001:db8::1");
    Network().script = {Answer(Page(0))};
    EXPECT_EQ(Query(), 0);
    EXPECT_EQ(Network().requests.at(0).url,
              "https://[2001:db8::1]:8443/conf-portal/online/conferences/conf-77/participants/"
              "conditions?page=0&size=200");
}

TEST_F(ParticipantListTest, ThePortIsPrintedWithoutSign) {
    info.serverPort = 4294967295U;
    Network().script = {Answer(Page(0))};
    EXPECT_EQ(Query(), 0);
    EXPECT_EQ(Network().requests.at(0).url.find("https://192.168.1.10:4294967295/conf-portal/"), 0U);
}

TEST_F(ParticipantListTest, ANameIsResolvedOnceForAllPages) {
    Put(info.serverAddr, "kel.example.org");
    Network().addresses = {Ipv4("10.1.2.3")};
    Network().script = {Answer(Page(200)), Answer(Page(3))};
    EXPECT_EQ(Query(), 0);
    EXPECT_EQ(Network().dnsCalls.size(), 1U);
    ASSERT_EQ(Network().requests.size(), 2U);
    EXPECT_EQ(Network().requests[1].url,
              "https://10.1.2.3:8443/conf-portal/online/conferences/conf-77/participants/"
              "conditions?page=1&size=200");
}

// The request goes out all the same, and fails in the transport.
TEST_F(ParticipantListTest, ANameWithoutAnAddressBecomesEmpty) {
    Put(info.serverAddr, "kel.example.org");
    HttpAnswer failed;
    failed.result = 3;
    Network().script = {failed};
    EXPECT_EQ(Query(), -1);
    EXPECT_STREQ(info.serverAddr, "");
    ASSERT_EQ(Network().requests.size(), 1U);
    EXPECT_EQ(Network().requests[0].url,
              "https://:8443/conf-portal/online/conferences/conf-77/participants/conditions?page=0&size=200");
    EXPECT_EQ(Logs().at(3), AE("<CloudQueryConfListPage>: HTTP_SynSend failed:3"));
}

TEST_F(ParticipantListTest, NobodyIsAListOfEightBytes) {
    Network().script = {Answer(R"({"content":[]})")};
    EXPECT_EQ(Query(), 0);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].bytes, std::string("\1\0\0\0\0\0\0\0", 8));
}

TEST_F(ParticipantListTest, ExactlyAFullPageCostsASecondRequest) {
    Network().script = {Answer(Page(200)), Answer(Page(0))};
    EXPECT_EQ(Query(), 0);
    EXPECT_EQ(Network().requests.size(), 2U);
    EXPECT_EQ(observer->results.at(0).len, 8U + 200U * 448U);
    EXPECT_EQ(Logs().back(), AI("<DoQueryConfList>: site num = 200, page = 2"));
}

TEST_F(ParticipantListTest, A199PageEndsTheQuery) {
    Network().script = {Answer(Page(199))};
    EXPECT_EQ(Query(), 0);
    EXPECT_EQ(Network().requests.size(), 1U);
}

// Of more participants than fit, a server that keeps to the page size is never asked for the rest.
TEST_F(ParticipantListTest, EightFullPagesEndTheQueryWith1600) {
    Network().onRequest = [](const HttpRequest&) {
        return Answer(Page(200, static_cast<unsigned>(Network().requests.size() - 1) * 200));
    };
    EXPECT_EQ(Query(), 0);
    EXPECT_EQ(Network().requests.size(), 8U);
    EXPECT_NE(Network().requests[7].url.find("page=7&"), std::string::npos);
    ASSERT_EQ(observer->results.size(), 1U);
    ASSERT_EQ(observer->results[0].len, 716808U);
    const auto* list = reinterpret_cast<const TagQuorAiConfList*>(observer->results[0].bytes.data());
    EXPECT_STREQ(list->sites[0].id, "id0");
    EXPECT_STREQ(list->sites[1599].id, "id1599");
    EXPECT_EQ(Logs().back(), AI("<DoQueryConfList>: site num = 1600, page = 8"));
}

TEST_F(ParticipantListTest, APageThatPasses1600FailsTheWholeQuery) {
    Network().script.assign(6, Answer(Page(250)));
    Network().script.push_back(Answer(Page(101)));
    EXPECT_EQ(Query(), -1);
    EXPECT_EQ(Network().requests.size(), 7U);
    EXPECT_THAT(observer->results, IsEmpty());
    // The labels stand in this order: the sites so far are called current, this page's total.
    EXPECT_EQ(Logs()[6],
              AE("<ParseConfListToBuffer>: curSiteNum(1500) + totalSiteNum(101) > MAX_SITE_NUM(1600)"));
    EXPECT_EQ(Logs()[7], AI("<CloudQueryConfListPage>: parse conf list result: -1"));
    EXPECT_EQ(Logs()[8], kPageFailed);
    EXPECT_EQ(Logs()[9], kQueryFailed);
    ExpectNextSucceeds();
}

TEST_F(ParticipantListTest, TheListIsEmptiedBeforeEveryQuery) {
    Network().script = {Answer(Page(3)), Answer(Page(1))};
    Query();
    Query();
    EXPECT_EQ(observer->results.at(1).len, 8U + 448U);
    EXPECT_STREQ(Adapter::Sites()->sites[2].id, "");
}

TEST_F(ParticipantListTest, ElementsWithoutDataTakeEmptyEntries) {
    Network().script = {Answer(R"({"content":[{},{"generalParam":{"id":"a"}},null,7,)"
                               R"({"generalParam":{"id":"","name":3}},)" +
                               Site(9) + "]}")};
    EXPECT_EQ(Query(), 0);
    const TagQuorAiConfList& list = *Adapter::Sites();
    EXPECT_EQ(list.siteCount, 6U);
    EXPECT_STREQ(list.sites[0].id, "");
    EXPECT_STREQ(list.sites[1].id, "a");
    EXPECT_STREQ(list.sites[1].name, "");
    EXPECT_STREQ(list.sites[5].name, "name9");
    const LogLine id = AE("<HttpJsonGetStr>: key id jsonObj is error");
    const LogLine name = AE("<HttpJsonGetStr>: key name jsonObj is error");
    EXPECT_THAT(Logs(),
                ElementsAre(id, name, name, id, name, id, name, AE("<HttpJsonGetStr>: value is error"), name,
                            AI("<CloudQueryConfListPage>: parse conf list result: 0"),
                            AI("<DoQueryConfList>: site num = 6, page = 1")));
}

TEST_F(ParticipantListTest, TextsThatDoNotFitStayEmpty) {
    const std::string id191(191, 'i');
    const std::string name255(255, 'n');
    Network().script = {Answer(R"({"content":[{"generalParam":{"id":")" + id191 + R"(","name":")" + name255 +
                               R"("}},{"generalParam":{"id":")" + id191 + R"(x","name":")" + name255 +
                               R"(x"}}]})")};
    EXPECT_EQ(Query(), 0);
    EXPECT_EQ(Adapter::Sites()->sites[0].id, id191);
    EXPECT_EQ(Adapter::Sites()->sites[0].name, name255);
    EXPECT_STREQ(Adapter::Sites()->sites[1].id, "");
    EXPECT_STREQ(Adapter::Sites()->sites[1].name, "");
    const LogLine failed = AE("<HttpJsonGetStr>: strcpy_s value failed");
    EXPECT_EQ(Logs()[0], failed);
    EXPECT_EQ(Logs()[1], failed);
}

TEST_F(ParticipantListTest, ATransportFailureSignalsNothing) {
    HttpAnswer answer;
    answer.result = 150;
    Network().script = {answer};
    ExpectFailure({AE("<CloudQueryConfListPage>: HTTP_SynSend failed:150"), kPageFailed, kQueryFailed});
}

TEST_F(ParticipantListTest, OnlyStatus200IsGood) {
    for (const unsigned status : {204U, 201U, 302U, 404U, 500U}) {
        Fake().ClearRecords();
        observer->results.clear();
        Network().script = {Answer(Page(1), status)};
        ExpectFailure({AE("<CloudQueryConfListPage>: http status code = " + std::to_string(status)),
                       kPageFailed, kQueryFailed});
    }
}

TEST_F(ParticipantListTest, AnAnswerWithoutBodyFails) {
    HttpAnswer none = Answer("");
    none.body.reset();
    for (const HttpAnswer& answer : {none, Answer("")}) {
        Fake().ClearRecords();
        observer->results.clear();
        Network().script = {answer};
        ExpectFailure({AE("<CloudQueryConfListPage>: call AiUtilityHttpGetStrFromBody failed."), kPageFailed,
                       kQueryFailed});
    }
}

TEST_F(ParticipantListTest, BodiesThatAreNotUnderstood) {
    const LogLine parsed = AI("<CloudQueryConfListPage>: parse conf list result: -1");
    Network().script = {Answer("{\"content\":[")};
    ExpectFailure({AE("<ParseConfListToBuffer>: prase root faild"), parsed, kPageFailed, kQueryFailed});
    for (const char* body : {"{}", R"({"content":{}})", R"({"content":null})", "[]"}) {
        Fake().ClearRecords();
        observer->results.clear();
        Network().script = {Answer(body)};
        ExpectFailure(
            {AE("<ParseConfListToBuffer>: failed resultArray is error"), parsed, kPageFailed, kQueryFailed});
    }
}

TEST_F(ParticipantListTest, TheSecondPageFailingLosesTheFirst) {
    HttpAnswer failed;
    failed.result = 102;
    Network().script = {Answer(Page(200)), failed};
    EXPECT_EQ(Query(), -1);
    EXPECT_THAT(observer->results, IsEmpty());
    ExpectNextSucceeds();
}

// The messages of a page's URL carry the name of the whole query.
TEST_F(ParticipantListTest, AnAddressThatIsNone) {
    Put(info.serverAddr, "a,b");
    ExpectFailure({AE("<DoQueryConfList>: GetAddressType fail"), kQueryFailed});
}

TEST_F(ParticipantListTest, AUrlThatDoesNotFit) {
    Fake().FailCall(Fn::SprintfS, 1);
    ExpectFailure({AE("<DoQueryConfList>: url sprintf failed!"), kQueryFailed});
}

TEST_F(ParticipantListTest, WithoutTheBuffer) {
    TagQuorAiConfList* buffer = Adapter::Sites();
    Adapter::Sites() = nullptr;
    EXPECT_EQ(Query(), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("<DoQueryConfList>: m_siteInfoBuffer is nullptr")));
    Adapter::Sites() = buffer;
    ExpectNextSucceeds();
}

TEST_F(ParticipantListTest, ClearingFails) {
    FailClearOf(1152);
    ExpectFailure({AE("<DoQueryConfList> GenerateConfListHeader error!")});
    Fake().ClearRecords();
    observer->results.clear();
    FailClearOf(sizeof(tagHTTP_S_SYN_SEND_PARAM));
    ExpectFailure({AE("<DoQueryConfList> memset_s error!")});
    Fake().ClearRecords();
    observer->results.clear();
    FailClearOf(716808);
    ExpectFailure({AE("<DoQueryConfList>: memset_s m_siteInfoBuffer error")});
}

TEST_F(ParticipantListTest, TheHeadersAreTwo) {
    tagHTTP_HEADER headers[3] = {};
    EXPECT_EQ(Adapter::ConfListHeader(headers, 3, kConfListToken, 192), -1);
    EXPECT_EQ(Adapter::ConfListHeader(headers, 0, kConfListToken, 192), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("<GenerateConfListHeader>: header num invalid: 3"),
                                    AE("<GenerateConfListHeader>: header num invalid: 0")));
}

TEST_F(ParticipantListTest, EveryCopyIntoTheHeadersMayFail) {
    const auto tryWith = [this](Fn fn, unsigned nth) {
        Fake().ClearRecords();
        observer->results.clear();
        Fake().FailCall(fn, nth);
        ExpectFailure({AE("<DoQueryConfList> GenerateConfListHeader error!")});
    };
    tryWith(Fn::StrcpyS, 1);
    tryWith(Fn::StrncpyS, 1);
    tryWith(Fn::StrcpyS, 2);
    tryWith(Fn::StrcpyS, 3);
}

TEST_F(ParticipantListTest, TheTokenIsCutAt192Bytes) {
    FillWhole(info.token, 't');
    Network().script = {Answer(Page(0))};
    EXPECT_EQ(Query(), 0);
    EXPECT_EQ(Network().requests.at(0).headers.at(0).second, std::string(192, 't'));
}

TEST_F(ParticipantListTest, UnterminatedFieldsAreReadToTheirEndOnly) {
    FillWhole(info.confId, 'c');
    Network().script = {Answer(Page(0))};
    EXPECT_EQ(Query(), 0);
    EXPECT_EQ(Network().requests.at(0).url, "https://192.168.1.10:8443/conf-portal/online/conferences/" +
                                                std::string(192, 'c') +
                                                "/participants/conditions?page=0&size=200");
}

TEST_F(ParticipantListTest, TheTokenIsWiped) {
    Network().script = {Answer(Page(0))};
    Query();
    EXPECT_TRUE(Wiped(1152, std::string("token\0", 6)));
}

TEST_F(ParticipantListTest, ParsingWithoutABuffer) {
    bool hasMore = true;
    EXPECT_EQ(Adapter::ParseConfList("{}", hasMore, nullptr), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("<ParseConfListToBuffer>: buffer is nullptr")));
}

// A page that is refused still counts as one that the server sent.
TEST_F(ParticipantListTest, TheParsedFlagIsSetBeforeTheLimitIsChecked) {
    auto list = std::make_unique<TagQuorAiConfList>();
    list->siteCount = 1600;
    bool hasMore = true;
    EXPECT_EQ(Adapter::ParseConfList(Page(1).c_str(), hasMore, list.get()), -1);
    EXPECT_EQ(list->parsed, 1U);
    EXPECT_TRUE(hasMore);
    EXPECT_EQ(Adapter::ParseConfList(Page(0).c_str(), hasMore, list.get()), 0);
    EXPECT_FALSE(hasMore);
}

}  // namespace
}  // namespace QuorTest
