#include "platform_linux/websocket/stomp_frame.h"

#include <gtest/gtest.h>

#include <string>

namespace quor_platform::internal {
namespace {

using namespace std::string_literals;

TEST(StompFrameTest, EncodesCommandHeadersBodyAndNul) {
    EXPECT_EQ(EncodeStompFrame("SEND", {{"destination", "/a"}, {"empty", ""}}, "{}", "\n"),
              "SEND\ndestination:/a\nempty:\n\n{}\0"s);
    EXPECT_EQ(EncodeStompFrame("SEND", {{"a", "b"}}, "x\r\ny", "\r\n"), "SEND\r\na:b\r\n\r\nx\r\ny\0"s);
}

TEST(StompFrameTest, EscapesHeadersSoThatNoneOpensALine) {
    EXPECT_EQ(EncodeStompFrame("SEND", {{"a:\n", "x:y\\z\r\n"}}, {}, "\n"),
              "SEND\na\\c\\n:x\\cy\\\\z\\r\\n\n\n\0"s);
    EXPECT_EQ(EncodeStompFrame("CONNECT", {{"host", "a:1"}}, {}, "\n", HeaderEscapes::kNone),
              "CONNECT\nhost:a:1\n\n\0"s);
}

TEST(StompFrameTest, UnescapesTheFourEscapesAndKeepsTheRest) {
    EXPECT_EQ(UnescapeStompHeader("plain"), "plain");
    EXPECT_EQ(UnescapeStompHeader("\\c\\\\\\n\\r"), ":\\\n\r");
    EXPECT_EQ(UnescapeStompHeader("\\\\n"), "\\n");
    EXPECT_EQ(UnescapeStompHeader("C\\temp\\"), "C\\temp\\");
    EXPECT_EQ(UnescapeStompHeader(""), "");
}

TEST(StompFrameTest, ParsesHeartBeats) {
    const auto beat = ParseHeartBeat("0,15000");
    ASSERT_TRUE(beat);
    EXPECT_EQ(beat->sends.count(), 0);
    EXPECT_EQ(beat->wants.count(), 15000);
    EXPECT_EQ(ParseHeartBeat(" 1 , 2 ")->sends.count(), 1);
    EXPECT_EQ(ParseHeartBeat("99999999999999999999,99999999999")->sends.count(), 86'400'000);
    EXPECT_EQ(ParseHeartBeat("99999999999999999999,99999999999")->wants.count(), 86'400'000);
    for (const char* const bad : {"", "1", "a,b", "1,", ",1", "-1,0", "1,2,3", "1.5,2"}) {
        EXPECT_FALSE(ParseHeartBeat(bad)) << bad;
    }
}

TEST(StompFrameTest, KnowsUtf8) {
    for (const std::string& good : {""s, "a"s, "\0"s, "\xC3\xA4"s, "\xE5\xA4\xA7"s, "\xF0\x9F\x98\x80"s,
                                    "\xED\x9F\xBF"s, "\xEE\x80\x80"s, "\xF4\x8F\xBF\xBF"s}) {
        EXPECT_TRUE(IsUtf8(good)) << good;
        EXPECT_TRUE(IsUtf8("x" + good + "y")) << good;
    }
    for (const std::string& bad :
         {"\x80"s, "\xC3"s, "\xC0\xAF"s, "\xC1\xBF"s, "\xE0\x9F\xBF"s, "\xED\xA0\x80"s, "\xF0\x8F\xBF\xBF"s,
          "\xF4\x90\x80\x80"s, "\xF5\x80\x80\x80"s, "\xFF"s, "\xE5\xA4"s, "\xF0\x9F\x98"s, "\xC3("s}) {
        EXPECT_FALSE(IsUtf8(bad)) << testing::PrintToString(bad);
        EXPECT_FALSE(IsUtf8("x" + bad)) << testing::PrintToString(bad);
    }
}

}  // namespace
}  // namespace quor_platform::internal
