#include "platform_linux/websocket/message_text.h"

#include <gtest/gtest.h>

#include <string>

namespace quor_platform::internal {
namespace {

using namespace std::string_literals;

std::string TextOf(const std::string& frame, bool addContentType = true) {
    StompDecoder decoder(1024);
    decoder.Append(frame);
    EXPECT_EQ(decoder.Next(), StompDecoder::Result::kFrame);
    return BuildMessageText(decoder.Frame(), addContentType);
}

TEST(MessageTextTest, ThePlainlySearchedHeadersComeFirst) {
    EXPECT_EQ(TextOf("MESSAGE\nx-destination:/no\nmessage-id:1\ncontent-length:2\ncontent-type:text/plain\n"
                     "destination:/topic/a\n\n{}\0"s),
              "MESSAGE\ndestination:/topic/a\ncontent-type:text/plain\ncontent-length:2\nx-destination:/no\n"
              "message-id:1\n\n{}");
}

TEST(MessageTextTest, AddsAMissingOrEmptyContentTypeWhenAsked) {
    EXPECT_EQ(TextOf("MESSAGE\ndestination:/a\n\n{}\0"s),
              "MESSAGE\ndestination:/a\ncontent-type:application/json\ncontent-length:2\n\n{}");
    EXPECT_EQ(TextOf("MESSAGE\ndestination:/a\ncontent-type:\n\n{}\0"s),
              "MESSAGE\ndestination:/a\ncontent-type:application/json\ncontent-length:2\n\n{}");
    EXPECT_EQ(TextOf("MESSAGE\ndestination:/a\n\n{}\0"s, false),
              "MESSAGE\ndestination:/a\ncontent-length:2\n\n{}");
}

TEST(MessageTextTest, TheLengthIsTheBytesOfTheBody) {
    EXPECT_EQ(TextOf("MESSAGE\ndestination:/a\ncontent-length:2\n\n\xC3\xA4\xC3\xA4\0"s, false),
              "MESSAGE\ndestination:/a\ncontent-length:4\n\n\xC3\xA4\xC3\xA4");
    EXPECT_EQ(TextOf("MESSAGE\ndestination:/a\n\n\0"s, false),
              "MESSAGE\ndestination:/a\ncontent-length:0\n\n");
}

TEST(MessageTextTest, LineEndsAreNormalisedAndEscapesUndone) {
    EXPECT_EQ(TextOf("MESSAGE\r\ndestination:/a\\cb\\\\c\r\nk\\ck:v\r\n\r\n\r\n\0"s, false),
              "MESSAGE\ndestination:/a:b\\c\ncontent-length:2\nk:k:v\n\n\r\n");
}

TEST(MessageTextTest, NoValueAndNoNameOpensALineOfItsOwn) {
    EXPECT_EQ(TextOf("MESSAGE\ndestination:/a\\ncontent-type:evil\\r\nb\\n\\n:x\ry\n\n{}\0"s, false),
              "MESSAGE\ndestination:/a content-type:evil \ncontent-length:2\nb  :x y\n\n{}");
}

TEST(MessageTextTest, RepeatedHeadersTheFirstCounts) {
    EXPECT_EQ(TextOf("MESSAGE\ndestination:/a\ndestination:/b\nx:1\nx:2\n\n\0"s, false),
              "MESSAGE\ndestination:/a\ncontent-length:0\nx:1\nx:2\n\n");
}

TEST(MessageTextTest, ABodyWithANulEndsThereForTheReader) {
    const std::string text = TextOf("MESSAGE\ndestination:/a\ncontent-length:3\n\na\0b\0"s, false);
    EXPECT_EQ(text, "MESSAGE\ndestination:/a\ncontent-length:3\n\na\0b"s);
    EXPECT_EQ(text.substr(0, text.find('\0')), "MESSAGE\ndestination:/a\ncontent-length:3\n\na");
}

TEST(MessageTextTest, AMissingDestinationStaysMissing) {
    EXPECT_EQ(TextOf("MESSAGE\nx:1\n\n{}\0"s, false), "MESSAGE\ncontent-length:2\nx:1\n\n{}");
}

}  // namespace
}  // namespace quor_platform::internal
