#include "stomp_frame.h"

#include <gtest/gtest.h>

namespace quor_simulator::stomp {
namespace {

using namespace std::string_literals;

constexpr std::size_t kLimit = 1000;

struct Parsed {
    std::vector<Frame> frames;
    std::string error;
};

/* Feeds the text cut into pieces of that many bytes. */
Parsed Parse(const std::string& text, std::size_t pieceBytes, Version version = Version::k12) {
    Parser parser(kLimit);
    parser.SetVersion(version);
    Parsed parsed;
    for (std::size_t from = 0; from < text.size(); from += pieceBytes) {
        parser.Feed(std::string_view(text).substr(from, pieceBytes));
        Frame frame;
        for (;;) {
            const Parser::Result result = parser.Next(frame);
            if (result == Parser::Result::kFrame) {
                parsed.frames.push_back(frame);
            } else {
                parsed.error = parser.error();
                break;
            }
        }
        if (!parsed.error.empty()) {
            break;
        }
    }
    return parsed;
}

TEST(StompEscape, FollowsTheVersion) {
    const std::string text = "a\\b:c\nd\re";
    EXPECT_EQ(Escape(text, Version::k12), "a\\\\b\\cc\\nd\\re");
    EXPECT_EQ(Escape(text, Version::k11), "a\\\\b\\cc\\nd\re");
    EXPECT_EQ(Escape(text, Version::k10), text);
}

TEST(StompEscape, IsUndoneByUnescape) {
    const std::string text = "\\:\n\r\\c\\n plain \xE4\xBD\xA0";
    for (const Version version : {Version::k10, Version::k11, Version::k12}) {
        std::string back;
        EXPECT_TRUE(Unescape(Escape(text, version), version, back));
        EXPECT_EQ(back, text);
    }
}

TEST(StompEscape, UnknownEscapesAreRefused) {
    std::string out;
    EXPECT_FALSE(Unescape("a\\t", Version::k12, out));
    EXPECT_FALSE(Unescape("a\\", Version::k12, out));
    EXPECT_FALSE(Unescape("a\\r", Version::k11, out));
    EXPECT_TRUE(Unescape("a\\t", Version::k10, out));
    EXPECT_EQ(out, "a\\t");
}

TEST(StompEncode, WritesCommandHeadersBodyAndNul) {
    const Frame frame{"MESSAGE", {{"destination", "/a:b"}, {"content-length", "3"}}, "x\0y"s};
    EXPECT_EQ(Encode(frame, Version::k12), "MESSAGE\ndestination:/a\\cb\ncontent-length:3\n\nx\0y\0"s);
    EXPECT_EQ(Encode(frame, Version::k12, {true, false}),
              "MESSAGE\r\ndestination:/a:b\r\ncontent-length:3\r\n\r\nx\0y\0"s);
}

TEST(StompEncode, ConnectedIsNeverEscaped) {
    EXPECT_EQ(Encode({"CONNECTED", {{"server", "a:b"}}, {}}, Version::k12), "CONNECTED\nserver:a:b\n\n\0"s);
}

TEST(StompParser, CutsTheStreamAnywhere) {
    const std::string stream =
        "\n\r\nSEND\ndestination:/a\ncontent-length:5\n\nab\0cd\0\n\n"
        "SUBSCRIBE\nid:1\ndestination:/b\\cc\n\n\0"
        "SEND\r\ndestination:/c\r\n\r\nbody\0"s;
    for (std::size_t pieceBytes = 1; pieceBytes <= stream.size(); ++pieceBytes) {
        const Parsed parsed = Parse(stream, pieceBytes);
        ASSERT_EQ(parsed.error, "") << pieceBytes;
        ASSERT_EQ(parsed.frames.size(), 3U) << pieceBytes;
        EXPECT_EQ(parsed.frames[0].body, "ab\0cd"s);
        EXPECT_EQ(*parsed.frames[1].Find("destination"), "/b:c");
        EXPECT_EQ(parsed.frames[1].body, "");
        EXPECT_EQ(parsed.frames[2].command, "SEND");
        EXPECT_EQ(*parsed.frames[2].Find("destination"), "/c");
        EXPECT_EQ(parsed.frames[2].body, "body");
    }
}

TEST(StompParser, FirstOfRepeatedHeadersCounts) {
    const Parsed parsed = Parse("SEND\nfoo:World\nfoo:Hello\n\n\0"s, 100);
    ASSERT_EQ(parsed.frames.size(), 1U);
    EXPECT_EQ(*parsed.frames[0].Find("foo"), "World");
}

TEST(StompParser, ConnectIsNotUnescaped) {
    const Parsed parsed = Parse("CONNECT\npasscode:a\\tb:c\n\n\0"s, 100);
    ASSERT_EQ(parsed.frames.size(), 1U);
    EXPECT_EQ(*parsed.frames[0].Find("passcode"), "a\\tb:c");
}

TEST(StompParser, CarriageReturnBelongsToTheValueBefore12) {
    const Parsed parsed = Parse("SEND\ndestination:/a\r\n\n\0"s, 100, Version::k11);
    ASSERT_EQ(parsed.frames.size(), 1U);
    EXPECT_EQ(*parsed.frames[0].Find("destination"), "/a\r");
}

struct BadText {
    const char* name;
    std::string text;
    std::string error;
};

class StompParserError : public ::testing::TestWithParam<BadText> {};

TEST_P(StompParserError, IsFoundWhateverThePieces) {
    for (const std::size_t pieceBytes : {std::size_t{1}, std::size_t{7}, std::size_t{100000}}) {
        EXPECT_EQ(Parse(GetParam().text, pieceBytes).error, GetParam().error) << pieceBytes;
    }
}

std::string ManyHeaders() {
    std::string text = "SEND\n";
    for (int i = 0; i < 129; ++i) {
        text += "a:\n";
    }
    return text + "\n\0"s;
}

INSTANTIATE_TEST_SUITE_P(
    All, StompParserError,
    ::testing::Values(
        BadText{"NoColon", "SEND\ndestination\n\n\0"s, "malformed header line"},
        BadText{"EmptyName", "SEND\n:x\n\n\0"s, "malformed header line"},
        BadText{"NulInHead", "SEND\ndestination:/a\n\0"s, "no empty line after the headers"},
        BadText{"LengthNoNumber", "SEND\ncontent-length:5x\n\nabcde\0"s, "content-length is not a number"},
        BadText{"LengthNegative", "SEND\ncontent-length:-1\n\nabcde\0"s, "content-length is not a number"},
        BadText{"LengthEmpty", "SEND\ncontent-length:\n\nabcde\0"s, "content-length is not a number"},
        BadText{"LengthHuge", "SEND\ncontent-length:99999999999999999999\n\n\0"s,
                "content-length is not a number"},
        BadText{"LengthAboveLimit", "SEND\ncontent-length:5000\n\n\0"s, "frame larger than 1000 bytes"},
        BadText{"LengthTooShort", "SEND\ncontent-length:2\n\nabcde\0"s,
                "no NUL after a body of content-length bytes"},
        BadText{"Escape", "SEND\ndestination:\\x\n\n\0"s, "undefined escape in a header"},
        BadText{"EndlessHead", "SEND\na:" + std::string(2000, 'x'), "frame larger than 1000 bytes"},
        BadText{"EndlessBody", "SEND\n\n" + std::string(2000, 'x'), "frame larger than 1000 bytes"},
        BadText{"TooManyHeaders", ManyHeaders(), "more than 128 headers"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(StompParser, StaysInErrorAndNeedsNoMemory) {
    Parser parser(kLimit);
    Frame frame;
    parser.Feed("SEND\nbad\n\n\0SEND\n\n\0"s);
    EXPECT_EQ(parser.Next(frame), Parser::Result::kError);
    EXPECT_EQ(parser.Next(frame), Parser::Result::kError);
    EXPECT_EQ(parser.error(), "malformed header line");
}

TEST(StompParser, TakesAFrameOfExactlyTheLimit) {
    const std::string head = "SEND\n\n";
    const std::string fits = head + std::string(kLimit - 1 - head.size(), 'x') + '\0';
    EXPECT_EQ(Parse(fits, 100).frames.size(), 1U);
    EXPECT_EQ(Parse("SEND\n\n" + std::string(kLimit - head.size(), 'x') + '\0', 100).frames.size(), 0U);
}

}  // namespace
}  // namespace quor_simulator::stomp
