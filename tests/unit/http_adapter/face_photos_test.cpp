#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "face_request_fixture.h"

namespace QuorTest {
namespace {

using Header = std::pair<std::string, std::string>;

constexpr std::size_t kHeadersSize = 1152;

// "data" is base64 of "abc".
constexpr const char* kOnePhoto =
    R"({"results":[{"status":"success","userid":"u1","photoid":"p1","data":"YWJj"}]})";

class FacePhotosTest : public FaceRequestTest {
protected:
    FacePhotosTest() {
        param.idCount = 2;
        Put(param.ids[0], "u1");
        Put(param.ids[1], "u2");
        param.requestId = 77;
        param.serverPort = 9443;
        Put(param.serverAddr, "https://10.1.1.1");
        Put(param.account, "operator");
        Put(param.password, "sealed-password");
        Network().answer = Answer(kOnePhoto);
    }

    int Query() { return Adapter::QueryPhotos(param); }
    int Send() override { return Query(); }
    std::string Url() {
        char url[256] = "untouched";
        EXPECT_EQ(Adapter::PhotoUrl(param, url, sizeof(url)), 0);
        return url;
    }

    TagQuorAiFacePhotoParam param = {};
};

const LogLine kUrlFailed = AE("<DoQueryFacePhoto> GetQueryFaceUrl failed");

TEST_F(FacePhotosTest, TheRequestAsItGoesOut) {
    EXPECT_EQ(Query(), 0);
    ASSERT_EQ(Network().requests.size(), 1U);
    const HttpRequest& request = Network().requests[0];
    EXPECT_TRUE(request.synchronous);
    EXPECT_EQ(request.method, 3U);
    EXPECT_EQ(request.url, "https://10.1.1.1:9443/eua/face/v1/users/u1,u2/data");
    EXPECT_EQ(request.urlLen, 256U);
    EXPECT_THAT(request.headers, ElementsAre(Header("authAccount", "b3BlcmF0b3I="),
                                             Header("authPassword", "ZmFjZS1wYXNzd29yZA==")));
    EXPECT_FALSE(request.body.has_value());
    EXPECT_EQ(request.locksHeld, 0U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(FacePhotosTest, AnyIdTypeButZeroStandsForPhotoIds) {
    for (const unsigned idType : {1U, 2U, 4294967295U}) {
        param.idType = idType;
        EXPECT_EQ(Url(), "https://10.1.1.1:9443/eua/face/v1/photos/u1,u2/data");
    }
}

TEST_F(FacePhotosTest, ThePortIsPrintedWithoutSign) {
    param.serverPort = 4294967295U;
    EXPECT_EQ(Url(), "https://10.1.1.1:4294967295/eua/face/v1/users/u1,u2/data");
}

TEST_F(FacePhotosTest, IdsAreJoinedAsTheyAre) {
    param.idCount = 0;
    EXPECT_EQ(Url(), "https://10.1.1.1:9443/eua/face/v1/users//data");
    param.idCount = 1;
    EXPECT_EQ(Url(), "https://10.1.1.1:9443/eua/face/v1/users/u1/data");
    param.idCount = 4;
    Put(param.ids[3], "u4");
    EXPECT_EQ(Url(), "https://10.1.1.1:9443/eua/face/v1/users/u1,u2,,u4/data") << "an empty one among them";
}

TEST_F(FacePhotosTest, MoreIdsThanThereAreCountAsAll) {
    std::string joined;
    for (unsigned i = 0; i < 12; ++i) {
        Put(param.ids[i], "i" + std::to_string(i));
        joined += (i == 0 ? "" : ",") + std::string("i") + std::to_string(i);
    }
    for (const unsigned count : {12U, 13U, 4294967295U}) {
        param.idCount = count;
        EXPECT_EQ(Url(), "https://10.1.1.1:9443/eua/face/v1/users/" + joined + "/data");
    }
}

// The URL has room for 255 characters, whatever room the ids have: two long ones are too much.
TEST_F(FacePhotosTest, TwoLongIdsDoNotFit) {
    Put(param.ids[0], std::string(127, 'a'));
    Put(param.ids[1], std::string(127, 'b'));
    ExpectFailure({AE("<GetQueryFaceUrl> sprintf_s failed : -1"), kUrlFailed});
    EXPECT_THAT(Network().requests, IsEmpty());
    param.idCount = 1;
    EXPECT_EQ(Query(), 0);
    EXPECT_EQ(Network().requests.back().url,
              "https://10.1.1.1:9443/eua/face/v1/users/" + std::string(127, 'a') + "/data");
}

TEST_F(FacePhotosTest, UnterminatedFieldsAreReadToTheirEndOnly) {
    param.idCount = 12;
    for (auto& id : param.ids) {
        FillWhole(id, 'i');
    }
    ExpectFailure({AE("<GetQueryFaceUrl> sprintf_s failed : -1"), kUrlFailed});
    param.idCount = 1;
    param.idType = 0x69696969U;  // would read on as "iiii"
    EXPECT_EQ(Url(), "https://10.1.1.1:9443/eua/face/v1/photos/" + std::string(128, 'i') + "/data");
    FillWhole(param.serverAddr, 'h');
    ExpectFailure({AE("<GetQueryFaceUrl> sprintf_s failed : -1"), kUrlFailed});
    Put(param.serverAddr, "https://10.1.1.1");
    FillWhole(param.account, 'a');
    FillWhole(param.password, 'p');
    Query();
    EXPECT_EQ(Fake().decrypts.at(0).cipherText, std::string(1024, 'p'));
    EXPECT_EQ(Network().requests.at(0).headers.at(0).second.size(), 344U);
}

TEST_F(FacePhotosTest, AUrlWithoutABuffer) {
    EXPECT_EQ(Adapter::PhotoUrl(param, nullptr, 256), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("Null ptr.")));
}

TEST_F(FacePhotosTest, TheRequestIsTraced) {
    Fake().traceLevel = 3;
    param.requestId = 4294967295U;
    Query();
    EXPECT_THAT(TraceTexts(), ElementsAre("requestId = -1, idType = 0"));
    Fake().ClearRecords();
    Fake().traceLevel = 2;
    Query();
    EXPECT_THAT(TraceTexts(), IsEmpty());
}

TEST_F(FacePhotosTest, HeadersThatCannotBeMade) {
    FailClearOf(kHeadersSize);
    ExpectFailure({AE("<DoQueryFacePhoto> memset_s error!")});
    ExpectFailuresOfCredentials(1);
    EXPECT_THAT(Network().requests, IsEmpty());
}

TEST_F(FacePhotosTest, ARecordThatCannotBeCleared) {
    FailClearOf(sizeof(tagHTTP_S_SYN_SEND_PARAM));
    ExpectFailure({AE("<DoQueryFacePhoto> memset_s error!")});
    EXPECT_THAT(Network().requests, IsEmpty());
}

// A send that failed too is neither logged nor signalled: the wipe comes first.
TEST_F(FacePhotosTest, HeadersThatCannotBeWipedFailTheQueryWhateverBecameOfIt) {
    for (const unsigned sent : {0U, 102U}) {
        Fake().ClearRecords();
        HttpAnswer answer = Answer(kOnePhoto);
        answer.result = sent;
        Network().script = {answer};
        RefuseWipesOf(kHeadersSize);
        std::string left;
        Fake().onLog = [&](LogKind, const std::string&) { left = HeadersNow(); };
        EXPECT_EQ(Query(), -1);
        EXPECT_THAT(Logs(), ElementsAre(AE("<DoQueryFacePhoto> memset_s error!")));
        EXPECT_EQ(left, std::string(kHeadersSize, '\0'));
        EXPECT_EQ(Network().requests.size(), 1U);
        EXPECT_THAT(observer->results, IsEmpty());
    }
}

TEST_F(FacePhotosTest, TheHeadersAreWipedOnEveryWayOut) {
    ExpectWiped(kHeadersSize, "success");
    Fake().FailCall(Fn::HttpSynSend, 1);
    ExpectWiped(kHeadersSize, "send");
    Fake().FailCall(Fn::Decrypt, 1);
    ExpectWiped(kHeadersSize, "password");
    FailClearOf(sizeof(tagHTTP_S_SYN_SEND_PARAM));
    ExpectWiped(kHeadersSize, "record");
}

TEST_F(FacePhotosTest, ATransportFailureReturnsItsOwnNumberAndTellsNobody) {
    ExpectTransportFailures([](unsigned result) {
        return "<DoQueryFacePhoto>HttpSynSend failed ret:" + std::to_string(result) + ", requestId:77";
    });
}

TEST_F(FacePhotosTest, OnlyStatus200IsGood) {
    for (const unsigned status : {204U, 201U, 302U, 401U, 500U}) {
        Network().script = {Answer(kOnePhoto, status)};
        ExpectFailure({AE("<QueryFacePhotoRspNotify>: http status code:" + std::to_string(status))});
    }
}

TEST_F(FacePhotosTest, AnAnswerWithoutBodyFails) {
    ExpectFailureWithoutBody("<QueryFacePhotoRspNotify>: pcString is null");
}

TEST_F(FacePhotosTest, AnswersThatAreNotUnderstood) {
    const LogLine failed = AE("<QueryFacePhotoRspNotify>: ParseQueryFacePhotoRes failed");
    Network().script = {Answer("{")};
    ExpectFailure({AE("<ParseQueryFacePhotoRes>: parse root faild"), failed});
    Network().script = {Answer("{}")};
    ExpectFailure({AE("<ParseQueryFacePhotoRes> cannot parse this body"), failed});
}

TEST_F(FacePhotosTest, AnAnswerWithoutPhotosFails) {
    Network().script = {Answer(R"({"results":[]})")};
    ExpectFailure(
        {AE("<ProcPhotoDataToNotify> faceInfoVec is empty(0) or photoDataVec is empty(0) or not same size"),
         AE("<QueryFacePhotoRspNotify>: ProcPhotoDataToNotify failed")});
}

TEST_F(FacePhotosTest, APhotoIsDeliveredByteForByte) {
    EXPECT_EQ(Query(), 0);
    QuorAiSingleFacePhoto photo = {};
    Put(photo.id, "u1");
    photo.hasPhoto = 1;
    photo.photoSize = 3;
    const std::string expected =
        std::string("\0\0\0\0\1\0\0\0", 8) + std::string(reinterpret_cast<char*>(&photo), 296) + "abc";
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_FACE_PHOTO);
    EXPECT_EQ(observer->results[0].len, 307U);
    EXPECT_EQ(observer->results[0].bytes, expected);
}

TEST_F(FacePhotosTest, PhotoIdsAreThoseOfTheAnswer) {
    param.idType = 5;
    EXPECT_EQ(Query(), 0);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].bytes.substr(0, 10), std::string("\5\0\0\0\1\0\0\0p1", 10));
}

TEST_F(FacePhotosTest, AnObserverThatThrowsLeavesNoLock) {
    observer->onUpdate = [](const auto&) { throw std::runtime_error("observer"); };
    EXPECT_THROW(Query(), std::runtime_error);
    EXPECT_EQ(Fake().LocksHeld(), 0U);
    EXPECT_EQ(Http().CloudQueryFacePhoto(&param), 0U);
    TagAiCloudSrvResult record = {};
    ASSERT_TRUE(Adapter::Pop(record));
    Fake().ClearRecords();
    EXPECT_NO_THROW(QuorAiEngine::HttpThreadExecute(&Adapter::Process, record).Execute());
    EXPECT_THAT(Logs(), ElementsAre(AE("<HttpThreadExecute>: execute subId:12 failed.")));
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

TEST_F(FacePhotosTest, TheQueueLeadsHere) {
    EXPECT_EQ(Adapter::Process(AI_SUB_ID_FACE_PHOTO, &param, sizeof(param)), 0);
    EXPECT_EQ(observer->results.size(), 1U);
    Network().script = {Answer(kOnePhoto, 500)};
    EXPECT_EQ(Adapter::Process(AI_SUB_ID_FACE_PHOTO, &param, sizeof(param)), -1);
    EXPECT_EQ(Logs().back(), AE("<AiHttpProcSyncRequest> FaceQueryPhoto Deal 77 failed"));
}

}  // namespace
}  // namespace QuorTest
