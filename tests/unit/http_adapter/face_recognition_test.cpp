#include <cjson/cJSON.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "common/scope.h"
#include "face_recognition_fixture.h"
#include "quor_platform/base64.h"

namespace QuorTest {
namespace {

using Header = std::pair<std::string, std::string>;

constexpr std::size_t kHeadersSize = 1728;  // three headers

const LogLine kBodyFailed = AE("<FaceCloudEuaRecogPhoto> GenerateRequestBody failed.");

// Bytes of every value in no simple order, so that one that is lost, doubled or moved shows.
std::string VariedBytes(std::size_t size) {
    std::string bytes(size, '\0');
    unsigned state = 7;
    for (char& byte : bytes) {
        state = state * 1103515245U + 12345U;
        byte = static_cast<char>(state >> 16U);
    }
    return bytes;
}

// The picture that a body carries.
std::string PictureOf(const std::string& body) {
    const QuorAiEngine::JsonPtr root(cJSON_Parse(body.c_str()));
    unsigned char* bytes = nullptr;
    int length = 0;
    EXPECT_EQ(HttpProtocol::AiUtilityDecodeBase64(cJSON_GetObjectItemCaseSensitive(root.get(), "data"), bytes,
                                                  length),
              0U);
    std::string picture(reinterpret_cast<char*>(bytes), static_cast<std::size_t>(std::max(length, 0)));
    QUOR_BASE64Free(bytes);
    return picture;
}

TEST_F(FaceRecognitionTest, TheRequestAsItGoesOut) {
    EXPECT_EQ(Recognise(), 0);
    ASSERT_EQ(Network().requests.size(), 1U);
    const HttpRequest& request = Network().requests[0];
    EXPECT_TRUE(request.synchronous);
    EXPECT_EQ(request.method, 0U);
    EXPECT_EQ(request.url, "https://10.1.1.1:9443/eua/face/v1/query/identify");
    EXPECT_EQ(request.urlLen, 256U);
    EXPECT_THAT(request.headers, ElementsAre(Header("authAccount", "b3BlcmF0b3I="),
                                             Header("authPassword", "ZmFjZS1wYXNzd29yZA=="),
                                             Header("Content-Type", "application/json")));
    EXPECT_EQ(request.body, "{\n\t\"limit\":\t1,\n\t\"data\":\t\"/9hwaWN0dXJl\"\n}");
    EXPECT_EQ(request.firstTimeout, 3U);
    EXPECT_EQ(request.secondTimeout, 30U);
    EXPECT_EQ(request.locksHeld, 0U);
    ASSERT_EQ(Fake().decrypts.size(), 1U);
    EXPECT_EQ(Fake().decrypts[0].domain, "QuorUIConf");
    EXPECT_EQ(Fake().decrypts[0].cipherText, "sealed-password");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(FaceRecognitionTest, LargePicturesArriveWhole) {
    for (const std::size_t size : {1U, 2U, 3U, 64U, 100000U}) {
        const std::string picture = VariedBytes(size);
        SetPicture(picture);
        EXPECT_EQ(Recognise(), 0);
        const std::string body = Network().requests.back().body.value_or("");
        EXPECT_EQ(body.size(), 28 + (size + 2) / 3 * 4);
        EXPECT_EQ(body.substr(body.size() - 3), "\"\n}");
        EXPECT_TRUE(PictureOf(body) == picture) << size;
    }
}

// The port is printed with its sign, other than in the photo query.
TEST_F(FaceRecognitionTest, PortsBeyond2147483647ArePrintedNegative) {
    Info().serverPort = 4294967295U;
    EXPECT_EQ(Recognise(), 0);
    EXPECT_EQ(Network().requests.at(0).url, "https://10.1.1.1:-1/eua/face/v1/query/identify");
}

TEST_F(FaceRecognitionTest, UnterminatedCredentialsAreReadToTheirEndOnly) {
    FillWhole(Info().account, 'a');
    FillWhole(Info().password, 'p');
    EXPECT_EQ(Recognise(), 0);
    EXPECT_EQ(Fake().decrypts.at(0).cipherText, std::string(1024, 'p'));
    EXPECT_EQ(Network().requests.at(0).headers.at(0).second.size(), 344U);
}

TEST_F(FaceRecognitionTest, AUrlThatDoesNotFit) {
    const std::string rest = ":9443/eua/face/v1/query/identify";
    Put(Info().serverAddr, std::string(256 - rest.size(), 'h'));
    ExpectFailure({AE("<FaceCloudEuaRecogPhoto> sprintf_s acRequestUrl fail")});
    FillWhole(Info().serverAddr, 'h');
    ExpectFailure({AE("<FaceCloudEuaRecogPhoto> sprintf_s acRequestUrl fail")});
    Put(Info().serverAddr, std::string(255 - rest.size(), 'h'));
    EXPECT_EQ(Recognise(), 0);
}

// ---- Body ----

TEST_F(FaceRecognitionTest, APictureThatCannotBeEncoded) {
    Fake().FailCall(Fn::Base64Encode, 1);
    ExpectFailure({US("<AiUtilityCovert2Base64> QUOR_BASE64Encode pIn failed."),
                   AE("base64 pictrue data fail"), kBodyFailed});
}

TEST_F(FaceRecognitionTest, NoMemoryForTheBodysParts) {
    unsigned broken = 0;
    for (unsigned nth = 1;; ++nth) {
        Fake().ClearFaults();
        Fake().FailCall(Fn::CJsonAlloc, nth);
        std::unique_ptr<char[]> body;
        const int result = Adapter::RecognitionBody(Info(), body);
        if (!Fake().FaultHit(Fn::CJsonAlloc)) {
            EXPECT_EQ(result, 0);
            break;
        }
        ++broken;
        EXPECT_EQ(result, -1);
        EXPECT_EQ(body, nullptr);
        EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
    }
    EXPECT_GE(broken, 5U);
    EXPECT_THAT(Logs(), IsEmpty());
    Fake().FailCall(Fn::CJsonAlloc, 1);
    ExpectFailure({kBodyFailed});
}

TEST_F(FaceRecognitionTest, NoMemoryForTheBodyItself) {
    Fake().FailCall(Fn::NothrowNew, 2);  // the first one is the picture's text
    ExpectFailure({AE("<FaceCloudEuaRecogPhoto> pcHttpBody is null!")});
}

TEST_F(FaceRecognitionTest, ABodyThatCannotBeCopied) {
    Fake().FailCall(Fn::StrcpyS, 1);
    ExpectFailure({AE("strcpy_s fail!"), kBodyFailed});
}

// ---- Headers ----

TEST_F(FaceRecognitionTest, TheHeadersAreThree) {
    for (const unsigned num : {0U, 2U, 4U}) {
        Fake().ClearRecords();
        tagHTTP_HEADER headers[4] = {};
        EXPECT_EQ(Adapter::RecognitionHeader(Info(), headers, num), -1);
        EXPECT_THAT(Logs(), ElementsAre(AE("<GenerateRequestHeader> header num is " + std::to_string(num))));
        EXPECT_STREQ(headers[0].name, "");
    }
}

TEST_F(FaceRecognitionTest, HeadersThatCannotBeMade) {
    FailClearOf(kHeadersSize);
    ExpectFailure({AE("<FaceCloudEuaRecogPhoto> memset_s header failed.")});
    ExpectFailuresOfCredentials(2);  // the first one is the picture's
    Fake().boundedFault = [](const BoundedCall& call) {
        return call.fn == Fn::StrcpyS && call.SourceIs("Content-Type");
    };
    ExpectFailure({AE("cp AI_HTTP_D_CONTENT_TYPE fail")});
    Fake().boundedFault = [](const BoundedCall& call) {
        return call.fn == Fn::StrcpyS && call.SourceIs("application/json");
    };
    ExpectFailure({AE("cp str application/json fail")});
}

TEST_F(FaceRecognitionTest, ARecordThatCannotBeCleared) {
    FailClearOf(sizeof(tagHTTP_S_SYN_SEND_PARAM));
    ExpectFailure({AE("<FaceCloudEuaRecogPhoto> memset_s error!")});
}

TEST_F(FaceRecognitionTest, TheHeadersAreWipedOnEveryWayOut) {
    ExpectWiped(kHeadersSize, "success");
    Fake().FailCall(Fn::HttpSynSend, 1);
    ExpectWiped(kHeadersSize, "send");
    Fake().FailCall(Fn::Decrypt, 1);
    ExpectWiped(kHeadersSize, "password");
    Fake().boundedFault = [](const BoundedCall& call) {
        return call.fn == Fn::StrcpyS && call.SourceIs("application/json");
    };
    ExpectWiped(kHeadersSize, "content type");
    FailClearOf(sizeof(tagHTTP_S_SYN_SEND_PARAM));
    ExpectWiped(kHeadersSize, "record");
}

// The wipe comes before the answer is looked at.
TEST_F(FaceRecognitionTest, ObserversRunAfterTheWipe) {
    bool wiped = false;
    observer->onUpdate = [&](const auto&) { wiped = Wiped(kHeadersSize, "authAccount"); };
    Told(Success("[]"));
    EXPECT_TRUE(wiped);
}

// Other than in the photo query.
TEST_F(FaceRecognitionTest, HeadersThatCannotBeWipedAreGoneAndTheAnswerCounts) {
    RefuseWipesOf(kHeadersSize);
    std::string left;
    observer->onUpdate = [&](const auto&) { left = HeadersNow(); };
    EXPECT_EQ(Recognise(), 0);
    EXPECT_EQ(observer->results.size(), 1U);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_EQ(left, std::string(kHeadersSize, '\0'));
}

// ---- Answers ----

TEST_F(FaceRecognitionTest, ATransportFailureReturnsItsOwnNumberAndTellsNobody) {
    ExpectTransportFailures([](unsigned result) {
        return "<FaceCloudEuaRecogtPhoto> AiCommonHttpSynSend failed ret = " + std::to_string(result) + ".";
    });
}

TEST_F(FaceRecognitionTest, OnlyStatus200IsGood) {
    for (const unsigned status : {204U, 201U, 302U, 401U, 500U}) {
        Network().script = {Answer(Success("[]"), status)};
        ExpectFailure(
            {AE("<FaceRecognizeRspNotify>:http status code:" + std::to_string(status) + ", requestId:-1")});
    }
}

TEST_F(FaceRecognitionTest, AnAnswerWithoutBodyFails) {
    ExpectFailureWithoutBody("<AiHttpAdapter::ProcFaceRecogSynRsp>: pcString is null");
}

TEST_F(FaceRecognitionTest, AnObserverThatThrowsLeavesNothingBehind) {
    observer->onUpdate = [](const auto&) { throw std::runtime_error("observer"); };
    EXPECT_THROW(Recognise(), std::runtime_error);
    EXPECT_EQ(Fake().LocksHeld(), 0U);
}

TEST_F(FaceRecognitionTest, TheQueueLeadsHere) {
    Network().script = {Answer(Success("[" + Match("90", "1") + "]"))};
    EXPECT_EQ(Adapter::Process(AI_SUB_ID_FACE_RECOGNIZE, &Info(), 1556 + Info().picLen), 0);
    EXPECT_EQ(observer->results.size(), 1U);
}

}  // namespace
}  // namespace QuorTest
