#include "ask_request.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace quor_terminal {
namespace {

TEST(AskRequest, KindsAreFoundByNumberAndByNameInAnyLetterCase) {
    for (unsigned int value = 0; value < kRequestKindCount; ++value) {
        const RequestKind& kind = KindOf(value);
        EXPECT_EQ(kind.value, value);
        EXPECT_EQ(FindKind(std::to_string(value)), &kind);
        EXPECT_EQ(FindKind(kind.name), &kind);
    }
    EXPECT_EQ(FindKind("meeting-summary"), &KindOf(2));
    EXPECT_EQ(FindKind("Model_Config"), &KindOf(18));
    for (const char* text : {"", "19", "-1", "1x", " 1", "FREE", "FREE_CHATS", "free chat"}) {
        EXPECT_EQ(FindKind(text), nullptr) << text;
    }
}

TEST(AskRequest, EachKindOfTheFirstNineIsStoppedByItsOwnStopRequest) {
    for (unsigned int value = 0; value < 9; ++value) {
        ASSERT_TRUE(StopKindOf(value).has_value());
        EXPECT_EQ(KindOf(*StopKindOf(value)).name, std::string(KindOf(value).name) + "_STOP");
        EXPECT_FALSE(IsStopKind(value));
        EXPECT_TRUE(IsStopKind(*StopKindOf(value)));
        EXPECT_FALSE(StopKindOf(*StopKindOf(value)).has_value());
    }
    EXPECT_FALSE(StopKindOf(18).has_value());
    EXPECT_FALSE(IsStopKind(18));
}

TEST(AskRequest, ModelsAreFoundByNumberAndByName) {
    EXPECT_EQ(FindModel("1"), &ModelOf(1));
    EXPECT_EQ(FindModel("deepseek-llm"), &ModelOf(2));
    EXPECT_EQ(FindModel("3"), nullptr);
    EXPECT_EQ(ModelList(), "0 DeepSeek-V3, 1 DeepSeek-R1, 2 DeepSeek-LLM");
}

TEST(AskRequest, TheListNamesEveryKindOnALineOfItsOwn) {
    const std::string list = KindList();
    EXPECT_EQ(list.rfind("   0  FREE_CHAT ", 0), 0U) << list;
    EXPECT_NE(list.find("\n  18  MODEL_CONFIG "), std::string::npos) << list;
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 19);
}

// The bodies are those that the library's own tests expect.
TEST(AskRequest, BytesAreThoseOfTheBodyThatTheLibraryPrints) {
    EXPECT_EQ(ManagerRequestBytes("hello"), std::string("{\n\t\"content\":\t\"hello\"\n}").size());
    EXPECT_EQ(ConferenceRequestBytes("c", "u", "say \"hi\"\n\t\\"),
              std::string("{\n\t\"confId\":\t\"c\",\n\t\"uri\":\t\"u\",\n\t\"content\":\t"
                          "\"say \\\"hi\\\"\\n\\t\\\\\"\n}")
                  .size());
    EXPECT_EQ(ManagerRequestBytes("\x01"), ManagerRequestBytes("\\u0001") - 1) << "one backslash less";
    EXPECT_EQ(ManagerRequestBytes("你"), ManagerRequestBytes("abc"));
}

}  // namespace
}  // namespace quor_terminal
