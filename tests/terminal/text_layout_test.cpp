#include "text_layout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace quor_terminal {
namespace {

TEST(DecodeUtf8, WellFormed) {
    EXPECT_EQ(DecodeUtf8("a").codePoint, U'a');
    EXPECT_EQ(DecodeUtf8("é").codePoint, U'é');
    EXPECT_EQ(DecodeUtf8("中").codePoint, U'中');
    EXPECT_EQ(DecodeUtf8("😀").codePoint, U'😀');
    EXPECT_EQ(DecodeUtf8("😀x").bytes, 4U);
}

TEST(DecodeUtf8, IllFormed) {
    for (const char* text :
         {"\x80", "\xBF\xBF", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xF0\x8F\xBF\xBF",
          "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xC3(", "\xE4\xB8("}) {
        const DecodedCharacter character = DecodeUtf8(text);
        EXPECT_FALSE(character.wellFormed) << text;
        EXPECT_FALSE(character.truncated) << text;
        EXPECT_GE(character.bytes, 1U);
        EXPECT_EQ(character.codePoint, U'\uFFFD');
    }
}

TEST(DecodeUtf8, CutByTheEndOfTheText) {
    for (const char* text : {"\xC3", "\xE4", "\xE4\xB8", "\xF0\x9F", "\xF0\x9F\x98"}) {
        const DecodedCharacter character = DecodeUtf8(text);
        EXPECT_FALSE(character.wellFormed);
        EXPECT_TRUE(character.truncated);
        EXPECT_EQ(character.bytes, std::string_view(text).size());
    }
}

TEST(Printable, KeepsTextAndTakesThePowerFromControls) {
    EXPECT_EQ(Printable("Grüße, 早上好 😀"), "Grüße, 早上好 😀");
    EXPECT_EQ(Printable("a\x1b[2Jb"), "a [2Jb");
    EXPECT_EQ(Printable("a\r\n\tb\x7F"), "a   b ");
    EXPECT_EQ(Printable("x\xC2\x9Bz"), "x z");  // C1 control sequence introducer
    const char rightToLeftOverride[] = {'\xE2', '\x80', '\xAE', '\0'};
    EXPECT_EQ(Printable(std::string("abc") + rightToLeftOverride + "def"), "abcdef");
    EXPECT_EQ(Printable(std::string_view("a\0b", 3)), "a b");
}

TEST(Printable, RepairsIllFormedText) {
    EXPECT_EQ(Printable("a\xFF"
                        "b"),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(Printable("ab\xE4\xB8"), "ab");  // a record's capacity cut the last character
    EXPECT_EQ(Printable("\xE4"
                        "a"),
              "\xEF\xBF\xBD"
              "a");
    EXPECT_EQ(Printable(""), "");
}

TEST(Printable, EveryByteStringBecomesWellFormed) {
    // All pairs of bytes, and each of them behind a lead byte of every length.
    for (const char* prefix : {"", "\xC3", "\xE4\xB8", "\xF0\x9F\x98"}) {
        for (unsigned int pair = 0; pair < 0x10000; ++pair) {
            const std::string text =
                std::string(prefix) + static_cast<char>(pair >> 8) + static_cast<char>(pair);
            const std::string clean = Printable(text);
            for (std::size_t pos = 0; pos < clean.size();) {
                const DecodedCharacter character = DecodeUtf8(std::string_view(clean).substr(pos));
                ASSERT_TRUE(character.wellFormed) << pair;
                ASSERT_GE(character.codePoint, U' ');
                pos += character.bytes;
            }
        }
    }
}

TEST(DisplayWidth, CountsColumns) {
    EXPECT_EQ(DisplayWidth(""), 0U);
    EXPECT_EQ(DisplayWidth("abc"), 3U);
    EXPECT_EQ(DisplayWidth("早上好"), 6U);
    EXPECT_EQ(DisplayWidth("かな カナ 한글"), 14U);
    EXPECT_EQ(DisplayWidth("ｆｕｌｌ"), 8U);
    EXPECT_EQ(DisplayWidth("e\xCC\x81"), 1U);  // e and a combining acute accent
    EXPECT_EQ(DisplayWidth("😀"), 2U);
    EXPECT_EQ(DisplayWidth("Łódź…"), 5U);
    EXPECT_EQ(DisplayWidth("𠀀"), 2U);
}

TEST(FitToWidth, PadsAndCuts) {
    EXPECT_EQ(FitToWidth("abc", 5), "abc  ");
    EXPECT_EQ(FitToWidth("abc", 3), "abc");
    EXPECT_EQ(FitToWidth("abcd", 3), "ab…");
    EXPECT_EQ(FitToWidth("早上好", 6), "早上好");
    EXPECT_EQ(FitToWidth("早上好", 5), "早上…");
    EXPECT_EQ(FitToWidth("早上好", 4), "早… ");  // half a character cannot be shown
    EXPECT_EQ(FitToWidth("早", 1), "…");
    EXPECT_EQ(FitToWidth("早", 0), "");
    EXPECT_EQ(FitToWidth("", 3), "   ");
    EXPECT_EQ(FitToWidth("e\xCC\x81x", 1), "…");
    EXPECT_EQ(FitToWidth("xe\xCC\x81", 2), "xe\xCC\x81");
}

TEST(FitToWidth, AlwaysFillsTheWidth) {
    const std::string text = "Ab早c上 e\xCC\x81 好😀 zz";
    for (std::size_t width = 0; width < 30; ++width) {
        EXPECT_EQ(DisplayWidth(FitToWidth(text, width)), width);
    }
}

TEST(WrapToWidth, BreaksAtBlanks) {
    EXPECT_EQ(WrapToWidth("the quick brown fox", 10), (std::vector<std::string>{"the quick", "brown fox"}));
    EXPECT_EQ(WrapToWidth("the quick", 9), (std::vector<std::string>{"the quick"}));
    EXPECT_EQ(WrapToWidth("", 9), (std::vector<std::string>{""}));
    EXPECT_EQ(WrapToWidth("one  two", 4), (std::vector<std::string>{"one", "two"}));
}

TEST(WrapToWidth, BreaksLongWordsAndWideText) {
    EXPECT_EQ(WrapToWidth("abcdefgh", 3), (std::vector<std::string>{"abc", "def", "gh"}));
    EXPECT_EQ(WrapToWidth("早上好各位", 5), (std::vector<std::string>{"早上", "好各", "位"}));
    EXPECT_EQ(WrapToWidth("早上ab好", 5), (std::vector<std::string>{"早上", "ab好"}));
    EXPECT_EQ(WrapToWidth("早上abc", 6), (std::vector<std::string>{"早上", "abc"}));
}

TEST(WrapToWidth, NoLineIsTooWideAndNothingButBlanksIsLost) {
    const std::string text = "Good morning 早上好各位 everyone, supercalifragilistic e\xCC\x81 😀😀 end";
    std::string dense = text;
    dense.erase(std::remove(dense.begin(), dense.end(), ' '), dense.end());
    for (std::size_t width = 2; width < 60; ++width) {
        std::string joined;
        for (const std::string& line : WrapToWidth(text, width)) {
            EXPECT_LE(DisplayWidth(line), width);
            joined += line;
        }
        joined.erase(std::remove(joined.begin(), joined.end(), ' '), joined.end());
        EXPECT_EQ(joined, dense);
    }
}

}  // namespace
}  // namespace quor_terminal
