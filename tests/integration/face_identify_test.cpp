// Whose face is on a picture: what the service finds and what observers get of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "quor_platform/base64.h"
#include "support/bodies.h"
#include "support/face_terminal_test.h"
#include "support/host_terminal.h"

namespace quor_test {
namespace {

using quor_simulator::Cut;
using quor_simulator::Endpoint;
using quor_simulator::RestFault;

enum Verdict : int { kMatch = 0, kNoMatch = 1, kIncomplete = 4 };

constexpr unsigned int kRequest = 7;

class FaceIdentify : public FaceTerminalTest {
protected:
    void SetUp() override {
        FaceTerminalTest::SetUp();
        FindService();
    }

    void AnswerWith(const std::string& body) {
        RestFault fault;
        fault.body = body;
        ASSERT_TRUE(rest().SetFault(Endpoint::kFaceIdentify, fault));
    }
    // Asks, and takes the one result.
    tagQuorAiFaceEUADetectResult Result(const std::string& picture = "picture") {
        observer().Clear();
        EXPECT_EQ(Identify(picture, kRequest), 0U);
        EXPECT_TRUE(observer().WaitFor(AI_SUB_ID_FACE_RECOGNIZE, 1))
            << ::testing::PrintToString(terminal().Errors());
        const auto results =
            observer().RecordingObserver::Records<tagQuorAiFaceEUADetectResult>(AI_SUB_ID_FACE_RECOGNIZE);
        EXPECT_EQ(results.size(), 1U);
        EXPECT_EQ(observer().Total(), 1U);
        return results.empty() ? tagQuorAiFaceEUADetectResult{} : results.front();
    }
    static tagQuorAiFaceEUADetectResult Expected(Verdict verdict) {
        tagQuorAiFaceEUADetectResult result = {};
        result.result = verdict;
        result.recogType = static_cast<TagFaceRecogType>(3);
        result.requestId = kRequest;
        return result;
    }
};

TEST_F(FaceIdentify, EveryoneIsFoundOnAnotherPicture) {
    for (const quor_simulator::FacePerson& person : quor_simulator::ReadGallery(QUOR_GALLERY)) {
        SCOPED_TRACE(person.userId);
        const tagQuorAiFaceEUADetectResult result = Result(PictureFile("probes/" + person.userId + ".jpg"));
        EXPECT_EQ(result.result, kMatch);
        EXPECT_EQ(result.userid, person.userId);
        EXPECT_EQ(result.name, person.name);
        EXPECT_GE(result.score, 75);
        EXPECT_EQ(result.requestId, kRequest);
    }
    EXPECT_THAT(terminal().Errors(), ::testing::IsEmpty());
}

TEST_F(FaceIdentify, AStrangerIsNobody) {
    const tagQuorAiFaceEUADetectResult result = Result(PictureFile("probes/stranger.jpg"));
    EXPECT_EQ(Bytes(result), Bytes(Expected(kNoMatch)));
}

TEST_F(FaceIdentify, TheRequestCarriesCredentialsLimitAndPicture) {
    Result(std::string("\x00\xFF\x10", 3));
    const quor_simulator::RestRequest request = rest().Requests().back();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, "/eua/face/v1/query/identify");
    EXPECT_EQ(request.body, "{\n\t\"limit\":\t1,\n\t\"data\":\t\"AP8Q\"\n}");
    EXPECT_THAT(request.headers,
                ::testing::IsSupersetOf({std::make_pair("authAccount", "ZmFjZS1zZXJ2aWNl"),
                                         std::make_pair("authPassword", "cXVvci1mYWNlLWRlbW8="),
                                         std::make_pair("Content-Type", "application/json")}));
}

struct ScoreCase {
    const char* name;
    std::vector<double> scores;
    Verdict verdict;
    int score;  // of the result
};

class FaceScores : public FaceIdentify, public ::testing::WithParamInterface<ScoreCase> {};

// The last of several counts, and one below the threshold spoils all of them.
TEST_P(FaceScores, Decide) {
    RestFault fault;
    fault.scores = GetParam().scores;
    ASSERT_TRUE(rest().SetFault(Endpoint::kFaceIdentify, fault));
    const tagQuorAiFaceEUADetectResult result = Result();
    EXPECT_EQ(result.result, GetParam().verdict);
    EXPECT_EQ(result.score, GetParam().score);
}

INSTANTIATE_TEST_SUITE_P(, FaceScores,
                         ::testing::Values(ScoreCase{"Exactly75", {75.0}, kMatch, 75},
                                           ScoreCase{"JustBelow", {74.9}, kNoMatch, 0},
                                           ScoreCase{"IsTruncated", {99.9}, kMatch, 99},
                                           ScoreCase{"TheSecondCounts", {90, 80}, kMatch, 80},
                                           ScoreCase{"TheSecondSpoils", {90, 70}, kNoMatch, 90},
                                           ScoreCase{"TheFirstSpoils", {70, 90}, kNoMatch, 0}),
                         [](const auto& test) { return test.param.name; });

TEST_F(FaceIdentify, AnEmptyListIsAMatchWithoutAPerson) {
    AnswerWith(R"({"status":"success","results":[]})");
    EXPECT_EQ(Bytes(Result()), Bytes(Expected(kMatch)));
}

TEST_F(FaceIdentify, AnAnswerWithoutANameIsIncomplete) {
    RestFault fault;
    fault.omit = {"name"};
    ASSERT_TRUE(rest().SetFault(Endpoint::kFaceIdentify, fault));
    EXPECT_EQ(Bytes(Result(PictureFile("probes/stranger.jpg"))), Bytes(Expected(kIncomplete)));
    EXPECT_THAT(terminal().Errors(), ::testing::ElementsAre("prase photos_result faild"));
}

TEST_F(FaceIdentify, WhatIsNoPictureComesBackAsTheServicesError) {
    const tagQuorAiFaceEUADetectResult result = Result("this is no picture");
    EXPECT_EQ(result.result, kNoMatch);
    EXPECT_STRNE(result.code, "");
    EXPECT_STRNE(result.message, "");
    EXPECT_STREQ(result.userid, "");
}

TEST_F(FaceIdentify, AnErrorOfTheServiceIsHandedOn) {
    AnswerWith(R"({"status":"failed","code":"QF-17","message":"no face on the picture"})");
    tagQuorAiFaceEUADetectResult expected = Expected(kNoMatch);
    SetText(expected.code, "QF-17");
    SetText(expected.message, "no face on the picture");
    EXPECT_EQ(Bytes(Result()), Bytes(expected));
}

TEST_F(FaceIdentify, RefusedCredentialsAndOtherStatusesNotifyNothing) {
    for (const unsigned int status : {401U, 204U, 302U, 500U}) {
        SCOPED_TRACE(status);
        RestFault fault;
        fault.status = status;
        ASSERT_TRUE(rest().SetFault(Endpoint::kFaceIdentify, fault));
        terminal().ClearLog();
        EXPECT_EQ(Identify("picture", kRequest), 0U);
        EXPECT_TRUE(terminal().WaitForLog(
            "<FaceRecognizeRspNotify>:http status code:" + std::to_string(status) + ", requestId:7"));
        EXPECT_TRUE(terminal().WaitForLog("<HttpThreadExecute>: execute subId:11 failed."));
    }
    ExpectSilence();
}

TEST_F(FaceIdentify, AWrongPasswordIsRefused) {
    ASSERT_EQ(Configure({firstPort()}, "wrong"), 0);  // the service found before stays valid
    EXPECT_EQ(Identify("picture", kRequest), 0U);
    EXPECT_TRUE(terminal().WaitForLog("<FaceRecognizeRspNotify>:http status code:401, requestId:7"));
    EXPECT_EQ(rest().GetStatistics().endpoints.at("faceIdentify").refused, 1U);
    ExpectSilence();
}

// The signal that a face service is gone has no data, and so reaches nobody.
TEST_F(FaceIdentify, AServiceThatIsGoneIsSignalledAndWorksWhenItIsBack) {
    server().Stop();
    EXPECT_EQ(Identify("picture", kRequest), 0U);
    EXPECT_TRUE(terminal().WaitForLog("<HttpThreadExecute>: execute subId:11 failed."));
    EXPECT_THAT(terminal().Errors(),
                ::testing::Contains(::testing::MatchesRegex(
                    "<FaceCloudEuaRecogtPhoto> AiCommonHttpSynSend failed ret = 1[0-9][0-9]\\.")));
    EXPECT_EQ(terminal().LogCount("<Notify>: data is nullptr!"), 1U);
    ExpectSilence();
    server().Start();
    EXPECT_EQ(Result(PictureFile("probes/stranger.jpg")).result, kNoMatch);
}

TEST_F(FaceIdentify, APictureOfSeveralMegabytesArrivesWhole) {
    std::string picture(5000000, '\0');
    for (std::size_t i = 0; i < picture.size(); ++i) {
        picture[i] = static_cast<char>(i * i % 251);
    }
    Result(picture);
    char* text = nullptr;
    unsigned int length = 0;
    QUOR_BASE64Encode(reinterpret_cast<const unsigned char*>(picture.data()),
                      static_cast<unsigned int>(picture.size()), &text, &length);
    ASSERT_NE(text, nullptr);
    const std::string expected = "{\n\t\"limit\":\t1,\n\t\"data\":\t\"" + std::string(text, length) + "\"\n}";
    QUOR_BASE64Free(text);
    EXPECT_TRUE(rest().Requests().back().body == expected);
}

TEST_F(FaceIdentify, AnAnswerThatBreaksOffNotifiesNothing) {
    RestFault fault;
    fault.cut = Cut::kBody;
    ASSERT_TRUE(rest().SetFault(Endpoint::kFaceIdentify, fault));
    EXPECT_EQ(Identify("picture", kRequest), 0U);
    EXPECT_TRUE(terminal().WaitForLog("<HttpThreadExecute>: execute subId:11 failed."));
    ExpectSilence();
}

}  // namespace
}  // namespace quor_test
