#include <string>

#include "common/scope.h"
#include "support/adapter_test.h"

namespace QuorTest {
namespace {

using AnswerCheckTest = AdapterTest;
using QuorAiEngine::JsonPtr;

int Verdict(int ret, unsigned long status) {
    tagST_HTTP_RSP rsp = {};
    rsp.statusCode = status;
    return Adapter::ErrorCode(static_cast<EN_HTTP_ERRORCODE>(ret), &rsp);
}

TEST_F(AnswerCheckTest, A200AndA204AreGood) {
    EXPECT_EQ(Verdict(0, 200), 0);
    EXPECT_EQ(Verdict(0, 204), 0);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_THAT(TraceTexts(), IsEmpty());
}

TEST_F(AnswerCheckTest, NoOtherStatusIsGood) {
    for (const unsigned long status : {0UL, 100UL, 196UL, 199UL, 201UL, 202UL, 203UL, 205UL, 206UL, 302UL,
                                       404UL, 500UL, 4294967496UL, 4294967500UL}) {
        Fake().ClearRecords();
        EXPECT_EQ(Verdict(0, status), -1);
        EXPECT_THAT(Logs(), ElementsAre(AE("<GetErrorCode>: http status code = " + std::to_string(status))));
    }
}

TEST_F(AnswerCheckTest, ATransportFailureComesFirstWithTwoBlanks) {
    EXPECT_EQ(Verdict(103, 200), -1);
    EXPECT_EQ(Adapter::ErrorCode(static_cast<EN_HTTP_ERRORCODE>(777), nullptr), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("<GetErrorCode>: Send func ret =  103"),
                                    AE("<GetErrorCode>: Send func ret =  777")));
}

TEST_F(AnswerCheckTest, NoAnswerIsAFailure) {
    EXPECT_EQ(Adapter::ErrorCode(HTTP_ERRORCODE_OK, nullptr), -1);
    EXPECT_THAT(Logs(), ElementsAre(AE("<GetErrorCode>: pstHttpRsp is null!")));
}

TEST_F(AnswerCheckTest, AGoodAnswerIsTracedFromLevelThree) {
    Fake().traceLevel = 2;
    Verdict(0, 204);
    EXPECT_THAT(TraceTexts(), IsEmpty());
    Fake().traceLevel = 3;
    Verdict(0, 204);
    Verdict(0, 500);
    EXPECT_THAT(TraceTexts(), ElementsAre("eHttpRet: 0, httpCode: 204"));
}

struct Texts {
    char message[8] = "before";
    char code[4] = "xx";
};

int Message(const std::string& body, Texts& texts) {
    const JsonPtr root(cJSON_Parse(body.c_str()));
    return Adapter::ErrorMessage(root.get(), texts.message, sizeof(texts.message), texts.code,
                                 sizeof(texts.code));
}

TEST_F(AnswerCheckTest, MessageAndCodeAreCutToTheirBuffers) {
    Texts texts;
    EXPECT_EQ(Message(R"({"message":"too long a text","code":"12345"})", texts), 0);
    EXPECT_STREQ(texts.message, "too lon");
    EXPECT_STREQ(texts.code, "123");
    EXPECT_EQ(Message(R"({"message":"","code":""})", texts), 0);
    EXPECT_STREQ(texts.message, "");
    EXPECT_STREQ(texts.code, "");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(AnswerCheckTest, MessageAndCodeMustBothBeTexts) {
    for (const char* body : {"{}", R"({"message":"m"})", R"({"code":"c"})", R"({"message":1,"code":"c"})",
                             R"({"message":"m","code":2})", R"({"message":null,"code":"c"})"}) {
        Fake().ClearRecords();
        Texts texts;
        EXPECT_EQ(Message(body, texts), -1) << body;
        EXPECT_STREQ(texts.message, "before");
        EXPECT_THAT(Logs(), ElementsAre(AE("status is failure but get message and code fail")));
    }
}

TEST_F(AnswerCheckTest, BadArgumentsOfTheMessage) {
    const JsonPtr root(cJSON_Parse("{}"));
    char text[4];
    EXPECT_EQ(Adapter::ErrorMessage(nullptr, text, 4, text, 4), -1);
    EXPECT_EQ(Adapter::ErrorMessage(root.get(), nullptr, 4, text, 4), -1);
    EXPECT_EQ(Adapter::ErrorMessage(root.get(), text, 0, text, 4), -1);
    EXPECT_EQ(Adapter::ErrorMessage(root.get(), text, 4, nullptr, 4), -1);
    EXPECT_EQ(Adapter::ErrorMessage(root.get(), text, 4, text, 0), -1);
    const LogLine invalid = AE("<GetErrorMessage> arg is invalid");
    EXPECT_THAT(Logs(),
                ElementsAre(AE("<GetErrorMessage> root is null"), invalid, invalid, invalid, invalid));
}

TEST_F(AnswerCheckTest, ACopyThatFailsEndsTheMessageWithOneLine) {
    for (const unsigned nth : {1U, 2U}) {
        Fake().ClearRecords();
        Fake().FailCall(Fn::StrncpyS, nth);
        Texts texts;
        EXPECT_EQ(Message(R"({"message":"m","code":"c"})", texts), -1);
        EXPECT_EQ(Fake().CountOf(Fn::StrncpyS), nth);
        EXPECT_THAT(Logs(), ElementsAre(AE("msg cpy fail!")));
    }
}

}  // namespace
}  // namespace QuorTest
