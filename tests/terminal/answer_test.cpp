#include "answer.h"

#include <gtest/gtest.h>

#include "quor_ai/ids.h"

namespace quor_terminal {
namespace {

AnswerPiece Read(TagQuorAiSubId id, std::string text) {
    AnswerPiece piece;
    const TagAiCloudSrvResult result = {id, reinterpret_cast<unsigned char*>(text.data()),
                                        static_cast<unsigned int>(text.size())};
    EXPECT_TRUE(ReadAnswer(result, piece));
    return piece;
}

AnswerPiece OnConference(const std::string& body) {
    return Read(AI_SUB_ID_LLM_RESULT_KEL,
                "MESSAGE\ndestination:/topic/chat/c/u\ncontent-type:application/json\n\n" + body);
}

AnswerPiece OnManager(const std::string& text) {
    return Read(AI_SUB_ID_LLM_RESULT_MANAGER, text + '\0');
}

TEST(Answer, APieceOnTheConferenceLinkIsTheBodyOfItsFrame) {
    const AnswerPiece piece =
        OnConference(R"({"seqNum":"7","reqType":"FREE_CHAT","piece":2,"content":"two\nlines","final":true})");
    EXPECT_EQ(piece.serviceId, 8U);
    EXPECT_TRUE(piece.understood);
    EXPECT_EQ(piece.sequenceNumber, 7U);
    EXPECT_EQ(piece.requestType, "FREE_CHAT");
    EXPECT_EQ(piece.number, 2);
    EXPECT_EQ(piece.content, "two\nlines");
    EXPECT_TRUE(piece.isFinal);
    EXPECT_EQ(piece.refusal, "");
}

TEST(Answer, APieceOnTheManagerLinkIsTheWholeTextOrTheBodyOfAMessage) {
    const std::string body = R"({"seqNum":4294967295,"content":"x","final":false})";
    for (const AnswerPiece& piece : {OnManager(body), OnManager("MESSAGE\nn:v\n\n" + body)}) {
        EXPECT_EQ(piece.serviceId, 9U);
        EXPECT_TRUE(piece.understood);
        EXPECT_EQ(piece.sequenceNumber, 4294967295U);
        EXPECT_EQ(piece.content, "x");
        EXPECT_FALSE(piece.isFinal);
        EXPECT_FALSE(piece.number.has_value());
    }
}

TEST(Answer, WhatHasAnotherFormIsShownAsItIs) {
    for (const char* text :
         {"plain words", "[1,2]", "{\"answer\":\"x\"}", "{\"content\":5}", "{\"content\":\"cut"}) {
        const AnswerPiece piece = OnManager(text);
        EXPECT_FALSE(piece.understood) << text;
        EXPECT_EQ(piece.content, text);
        EXPECT_FALSE(piece.sequenceNumber.has_value());
        EXPECT_FALSE(piece.isFinal);
    }
    EXPECT_EQ(OnConference("plain words").content, "plain words");
    EXPECT_EQ(Read(AI_SUB_ID_LLM_RESULT_KEL, "no frame at all").content, "");
}

TEST(Answer, NumbersThatAreNoneAreLeftOut) {
    for (const char* number : {"\"\"", "\"7x\"", "\"-7\"", "-7", "7.5", "4294967296", "null", "true"}) {
        const AnswerPiece piece =
            OnConference(std::string(R"({"seqNum":)") + number + R"(,"piece":"1","content":"x","final":1})");
        EXPECT_TRUE(piece.understood) << number;
        EXPECT_FALSE(piece.sequenceNumber.has_value()) << number;
        EXPECT_FALSE(piece.number.has_value());
        EXPECT_FALSE(piece.isFinal) << "only true is true";
    }
}

TEST(Answer, AnErrorFrameOnTheManagerLinkIsARefusal) {
    EXPECT_EQ(OnManager("ERROR\ncontent-length:0\nmessage:quota exceeded\n\n").refusal, "quota exceeded");
    EXPECT_EQ(OnManager("ERROR\nversion:1.2\n\nno more today").refusal, "no more today");
    EXPECT_EQ(OnManager("ERROR\n\n").refusal, "an error without a reason");
    EXPECT_EQ(OnManager("ERRORS are human").content, "ERRORS are human");
}

TEST(Answer, OtherResultsAreNoAnswers) {
    unsigned char byte = 0;
    AnswerPiece piece;
    EXPECT_FALSE(ReadAnswer({AI_SUB_ID_CAPTION, &byte, 1}, piece));
    EXPECT_FALSE(ReadAnswer({AI_SUB_ID_LLM_RESULT_KEL, nullptr, 0}, piece));
    EXPECT_TRUE(ReadAnswer({AI_SUB_ID_LLM_RESULT_MANAGER, &byte, 0}, piece));
    EXPECT_EQ(piece.content, "");
}

}  // namespace
}  // namespace quor_terminal
