#include <cstring>
#include <string>
#include <utility>

#include "face_recognition_fixture.h"

namespace QuorTest {
namespace {

using FaceRecognitionAnswerTest = FaceRecognitionTest;

TEST_F(FaceRecognitionAnswerTest, AMatchIsDeliveredByteForByte) {
    Network().script = {Answer(Success("[" + Match("90.9", "1") + "]"))};
    EXPECT_EQ(Recognise(), 0);
    tagQuorAiFaceEUADetectResult expected = {};
    expected.recogType = kRecogType;
    Put(expected.name, "name-1");
    expected.requestId = 4294967295U;
    Put(expected.photoid, "photo-1");
    expected.score = 90;
    Put(expected.userid, "user-1");
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_FACE_RECOGNIZE);
    EXPECT_EQ(observer->results[0].len, 816U);
    EXPECT_EQ(observer->results[0].bytes, std::string(reinterpret_cast<char*>(&expected), 816));
    EXPECT_THAT(Logs(), IsEmpty());
}

// The last one is told, not the best one.
TEST_F(FaceRecognitionAnswerTest, OfSeveralMatchesTheLastOneCounts) {
    const auto result = Told(Success("[" + Match("90", "1") + "," + Match("80", "2") + "]"));
    EXPECT_EQ(result.result, 0);
    EXPECT_EQ(result.score, 80);
    EXPECT_STREQ(result.name, "name-2");
}

// What was stored before it stays in the record.
TEST_F(FaceRecognitionAnswerTest, AScoreBelow75EndsTheSearch) {
    auto result = Told(Success("[" + Match("90", "1") + "," + Match("70", "2") + "]"));
    EXPECT_EQ(result.result, 1);
    EXPECT_EQ(result.score, 90);
    EXPECT_STREQ(result.name, "name-1");
    result = Told(Success("[" + Match("74.999", "1") + "," + Match("90", "2") + "]"));
    EXPECT_EQ(result.result, 1);
    EXPECT_STREQ(result.name, "");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(FaceRecognitionAnswerTest, ThresholdAndRangeOfTheScore) {
    EXPECT_EQ(Told(Success("[" + Match("75", "1") + "]")).result, 0);
    EXPECT_EQ(Told(Success("[" + Match("75.0", "1") + "]")).score, 75);
    EXPECT_EQ(Told(Success("[" + Match("99.999", "1") + "]")).score, 99);
    EXPECT_EQ(Told(Success("[" + Match("1e20", "1") + "]")).score, 2147483647);
    EXPECT_EQ(Told(Success("[" + Match("-80", "1") + "]")).result, 1);
    for (const char* notANumber : {"\"99\"", "null", "true", "[99]", "{}"}) {
        EXPECT_EQ(Told(Success("[" + Match(notANumber, "1") + "]")).result, 1) << notANumber;
    }
}

TEST_F(FaceRecognitionAnswerTest, NoElementIsAMatchWithoutName) {
    const auto result = Told(Success("[]"));
    EXPECT_EQ(result.result, 0);
    EXPECT_STREQ(result.name, "");
}

TEST_F(FaceRecognitionAnswerTest, AMissingMemberIsIncomplete) {
    const JsonFields fields({{"userid", "\"u\""}, {"photoid", "\"p\""}, {"score", "10"}, {"name", "\"n\""}});
    for (const char* member : {"userid", "photoid", "score", "name"}) {
        Fake().ClearRecords();
        EXPECT_EQ(Told(Success("[" + fields.Without(member).Text() + "]")).result, 4)
            << "although the score is below the threshold";
        EXPECT_THAT(Logs(), ElementsAre(AE("prase photos_result faild")));
    }
    for (const char* item : {"null", "7", "\"x\"", "{}", "[]"}) {
        EXPECT_EQ(Told(Success("[" + std::string(item) + "]")).result, 4) << item;
    }
}

TEST_F(FaceRecognitionAnswerTest, AMemberThatIsNoTextIsIncompleteAndAnInfo) {
    const JsonFields fields({{"userid", "\"u\""}, {"photoid", "\"p\""}, {"score", "80"}, {"name", "\"n\""}});
    for (const char* member : {"userid", "photoid", "name"}) {
        Fake().ClearRecords();
        const auto result = Told(Success("[" + fields.With(member, "5").Text() + "]"));
        EXPECT_EQ(result.result, 4);
        EXPECT_EQ(result.score, 80);
        EXPECT_THAT(Logs(), ElementsAre(AI("params cpy fail!")));
    }
}

TEST_F(FaceRecognitionAnswerTest, LongTextsAreCut) {
    const std::string text(300, 't');
    const auto result = Told(Success(R"([{"userid":")" + text + R"(","photoid":")" + text +
                                     R"(","score":80,"name":")" + text + "\"}]"));
    EXPECT_EQ(result.result, 0);
    EXPECT_EQ(result.userid, std::string(255, 't'));
    EXPECT_EQ(result.photoid, std::string(127, 't'));
    EXPECT_EQ(result.name, std::string(255, 't'));
}

TEST_F(FaceRecognitionAnswerTest, FailuresOfTheServiceAreTold) {
    auto result = Told(R"({"status":"failure","message":"no such face","code":"4711"})");
    EXPECT_EQ(result.result, 1);
    EXPECT_STREQ(result.message, "no such face");
    EXPECT_STREQ(result.code, "4711");
    EXPECT_THAT(Logs(), IsEmpty());
    result = Told(R"({"status":"","message":")" + std::string(200, 'm') + R"(","code":")" +
                  std::string(200, 'c') + "\"}");
    EXPECT_EQ(result.message, std::string(127, 'm'));
    EXPECT_EQ(result.code, std::string(31, 'c'));
    result = Told(R"({"status":"failure"})");
    EXPECT_EQ(result.result, 1);
    EXPECT_THAT(Logs(), ElementsAre(AE("status is failure but get message and code fail")));
}

TEST_F(FaceRecognitionAnswerTest, TheCaseOfSuccessDoesNotMatter) {
    EXPECT_EQ(Told(R"({"status":"SuCCess","results":[]})").result, 0);
    EXPECT_EQ(Told(R"({"status":"success ","results":[],"message":"m","code":"c"})").result, 1);
}

TEST_F(FaceRecognitionAnswerTest, AnswersThatAreNotUnderstoodAreTold) {
    const std::pair<const char*, const char*> cases[] = {
        {"{\"status\":", "parse root faild"},
        {"{}", "get status fail"},
        {R"({"status":0})", "get status fail"},
        {"[]", "get status fail"},
        {R"({"status":"success"})", "status is succes but get result array fail"},
        {R"({"status":"success","results":{}})", "get results fail"},
        {R"({"status":"success","results":null})", "get results fail"}};
    for (const auto& [body, line] : cases) {
        Fake().ClearRecords();
        EXPECT_EQ(Told(body).result, 1) << body;
        EXPECT_THAT(Logs(), ElementsAre(AE(line)));
    }
}

TEST_F(FaceRecognitionAnswerTest, ParsingWithoutBodyOrResult) {
    tagQuorAiFaceEUADetectResult result = {};
    EXPECT_EQ(Adapter::ParseRecognition(nullptr, &result), 2);
    EXPECT_EQ(Adapter::ParseRecognition("{}", nullptr), 2);
    const LogLine refused = AE("pcRsp or pstDetectResult is nullptr");
    EXPECT_THAT(Logs(), ElementsAre(refused, refused));
}

}  // namespace
}  // namespace QuorTest
