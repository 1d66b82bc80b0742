#include "platform_linux/websocket/stomp_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "platform_linux/websocket/stomp_frame.h"

namespace quor_platform::internal {
namespace {

using namespace std::string_literals;

struct Decoded {
    std::string command;
    std::vector<StompHeader> headers;
    std::string body;

    bool operator==(const Decoded& other) const {
        return command == other.command && body == other.body && headers.size() == other.headers.size() &&
               std::equal(
                   headers.begin(), headers.end(), other.headers.begin(),
                   [](const auto& a, const auto& b) { return a.name == b.name && a.value == b.value; });
    }
};

std::ostream& operator<<(std::ostream& out, const Decoded& frame) {
    out << frame.command;
    for (const auto& header : frame.headers) {
        out << " [" << header.name << "=" << header.value << "]";
    }
    return out << " {" << frame.body << "}";
}

// Takes all complete frames. False: the decoder failed.
bool Drain(StompDecoder& decoder, std::vector<Decoded>& frames) {
    for (;;) {
        switch (decoder.Next()) {
            case StompDecoder::Result::kNeedMore:
                return true;
            case StompDecoder::Result::kError:
                return false;
            case StompDecoder::Result::kFrame: {
                Decoded frame{std::string(decoder.Frame().command), {}, std::string(decoder.Frame().body)};
                for (const auto& header : decoder.Frame().headers) {
                    frame.headers.push_back({std::string(header.name), std::string(header.value)});
                }
                frames.push_back(std::move(frame));
            }
        }
    }
}

std::vector<Decoded> DecodeAll(std::string_view bytes) {
    StompDecoder decoder(1024);
    std::vector<Decoded> frames;
    decoder.Append(bytes);
    EXPECT_TRUE(Drain(decoder, frames)) << decoder.ErrorText();
    return frames;
}

std::string ErrorOf(std::string_view bytes, std::size_t limit = 1024) {
    StompDecoder decoder(limit);
    std::vector<Decoded> frames;
    decoder.Append(bytes);
    EXPECT_FALSE(Drain(decoder, frames));
    EXPECT_EQ(decoder.Next(), StompDecoder::Result::kError);
    return decoder.ErrorText();
}

// Everything that servers do between and inside frames, in one stream.
const std::string kStream =
    "\n\r\nCONNECTED\nversion:1.2\nheart-beat:0,0\n\n\0\n"
    "MESSAGE\r\ndestination:/topic/a\r\ncontent-length:5\r\n\r\na\0b\r\n\0\r\n"
    "MESSAGE\ndestination:/topic/\\cb\ncontent-length:3\n\n\xC3\xA4\xC3\xA4\0\n\n"
    "MESSAGE\n\n\0"
    "MESSAGE\nempty:\ncontent-length:0\n\n\0RECEIPT\nreceipt-id:7\n\n\0\n"
    "ERROR\nmessage:no\ncontent-length:x1\n\nline\nline\0"s;

const std::vector<Decoded> kFrames = {
    {"CONNECTED", {{"version", "1.2"}, {"heart-beat", "0,0"}}, ""},
    {"MESSAGE", {{"destination", "/topic/a"}, {"content-length", "5"}}, "a\0b\r\n"s},
    {"MESSAGE", {{"destination", "/topic/\\cb"}, {"content-length", "3"}}, "\xC3\xA4\xC3\xA4"},
    {"MESSAGE", {}, ""},
    {"MESSAGE", {{"empty", ""}, {"content-length", "0"}}, ""},
    {"RECEIPT", {{"receipt-id", "7"}}, ""},
    {"ERROR", {{"message", "no"}, {"content-length", "x1"}}, "line\nline"},
};

TEST(StompDecoderTest, ReadsTheWholeStreamAtOnce) {
    EXPECT_EQ(DecodeAll(kStream), kFrames);
}

TEST(StompDecoderTest, ReadsTheStreamCutAtEveryPairOfPlaces) {
    for (std::size_t first = 0; first <= kStream.size(); ++first) {
        for (std::size_t second = first; second <= kStream.size(); ++second) {
            StompDecoder decoder(1024);
            std::vector<Decoded> frames;
            decoder.Append(std::string_view(kStream).substr(0, first));
            ASSERT_TRUE(Drain(decoder, frames)) << decoder.ErrorText();
            decoder.Append(std::string_view(kStream).substr(first, second - first));
            ASSERT_TRUE(Drain(decoder, frames)) << decoder.ErrorText();
            decoder.Append(std::string_view(kStream).substr(second));
            ASSERT_TRUE(Drain(decoder, frames)) << decoder.ErrorText();
            ASSERT_EQ(frames, kFrames) << "cut at " << first << " and " << second;
        }
    }
}

TEST(StompDecoderTest, ReadsTheStreamByteByByteAndInPiecesWithoutDrainingBetween) {
    StompDecoder byByte(1024);
    std::vector<Decoded> frames;
    for (const char c : kStream) {
        byByte.Append(std::string_view(&c, 1));
        ASSERT_TRUE(Drain(byByte, frames));
    }
    EXPECT_EQ(frames, kFrames);

    StompDecoder late(1024);
    for (const char c : kStream) {
        late.Append(std::string_view(&c, 1));
    }
    frames.clear();
    ASSERT_TRUE(Drain(late, frames));
    EXPECT_EQ(frames, kFrames);
}

TEST(StompDecoderTest, ALengthThatIsTooLargeWaitsForItsBytesAndThenEndsAtTheNul) {
    StompDecoder decoder(1024);
    std::vector<Decoded> frames;
    decoder.Append("MESSAGE\ncontent-length:9\n\nabc\0"s);
    ASSERT_TRUE(Drain(decoder, frames));
    EXPECT_TRUE(frames.empty());
    decoder.Append("MESSAGE\n\nd\0"s);
    ASSERT_TRUE(Drain(decoder, frames));
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0].body, "abc");
    EXPECT_EQ(frames[1].body, "d");
}

TEST(StompDecoderTest, TheFirstOfRepeatedHeadersCounts) {
    const auto frames = DecodeAll("MESSAGE\ncontent-length:3\ncontent-length:1\n\na\0c\0"s);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].body, "a\0c"s);
}

TEST(StompDecoderTest, UnreadableLengthsAreIgnored) {
    for (const std::string length : {"", "-1", "0x1", "1 2", "99999999999999999999999", "+1"}) {
        const auto frames = DecodeAll("MESSAGE\ncontent-length:" + length + "\n\nab\0"s);
        ASSERT_EQ(frames.size(), 1U) << length;
        EXPECT_EQ(frames[0].body, "ab") << length;
    }
}

TEST(StompDecoderTest, BlanksAroundALengthAreIgnored) {
    EXPECT_EQ(DecodeAll("MESSAGE\ncontent-length: 3 \n\na\0c\0"s).at(0).body, "a\0c"s);
}

TEST(StompDecoderTest, RefusesWhatIsNoFrame) {
    EXPECT_NE(ErrorOf("MESSAGE\0"s), "");
    EXPECT_NE(ErrorOf("\0"s), "");
    EXPECT_NE(ErrorOf("MESSAGE\na:b\0"s), "");
    EXPECT_NE(ErrorOf("MESSAGE\na:b\nc\n\n\0"s), "");
    EXPECT_NE(ErrorOf("MESSAGE\n:b\n\n\0"s), "");
}

TEST(StompDecoderTest, StaysFailed) {
    StompDecoder decoder(1024);
    decoder.Append("\0"s);
    EXPECT_EQ(decoder.Next(), StompDecoder::Result::kError);
    decoder.Append("MESSAGE\n\n\0"s);
    EXPECT_EQ(decoder.Next(), StompDecoder::Result::kError);
    EXPECT_FALSE(decoder.Idle());
}

TEST(StompDecoderTest, AFrameOfExactlyTheLimitPassesAndOneByteMoreDoesNot) {
    const std::string frame = "MESSAGE\na:b\n\n0123456789\0"s;
    const std::string withLength = "MESSAGE\ncontent-length:10\n\n0123456789\0"s;
    for (const std::string& each : {frame, withLength}) {
        for (std::size_t cut = 0; cut <= each.size(); ++cut) {
            StompDecoder fits(each.size());
            std::vector<Decoded> frames;
            fits.Append("\n\n" + each.substr(0, cut));
            ASSERT_TRUE(Drain(fits, frames)) << fits.ErrorText();
            fits.Append(each.substr(cut) + "\n");
            ASSERT_TRUE(Drain(fits, frames)) << fits.ErrorText();
            ASSERT_EQ(frames.size(), 1U);
            StompDecoder tight(each.size() - 1);
            tight.Append(each.substr(0, cut));
            Drain(tight, frames);
            tight.Append(each.substr(cut));
            ASSERT_FALSE(Drain(tight, frames));
        }
    }
}

TEST(StompDecoderTest, RefusesALimitlessFrameBeforeItIsThere) {
    EXPECT_NE(ErrorOf(std::string(100, 'A'), 64), "");
    EXPECT_NE(ErrorOf("MESSAGE\na:" + std::string(100, 'A'), 64), "");
    EXPECT_NE(ErrorOf("MESSAGE\n\n" + std::string(100, 'A'), 64), "");
    EXPECT_NE(ErrorOf("MESSAGE\ncontent-length:1000000000000\n\n", 64), "");
    EXPECT_NE(ErrorOf("MESSAGE\ncontent-length:18446744073709551615\n\n", 64), "");
}

TEST(StompDecoderTest, LineEndsBetweenFramesDoNotCountAgainstTheLimit) {
    StompDecoder decoder(16);
    std::vector<Decoded> frames;
    for (int i = 0; i < 1000; ++i) {
        decoder.Append("\n\r\n");
        ASSERT_TRUE(Drain(decoder, frames));
        EXPECT_TRUE(decoder.Idle());
    }
    decoder.Append("A\n\n\0"s);
    ASSERT_TRUE(Drain(decoder, frames));
    EXPECT_EQ(frames.size(), 1U);
}

TEST(StompDecoderTest, KnowsWhetherAFrameIsBegun) {
    StompDecoder decoder(1024);
    EXPECT_TRUE(decoder.Idle());
    const std::string frame = "MESSAGE\na:b\n\nbody\0"s;
    for (std::size_t i = 0; i + 1 < frame.size(); ++i) {
        decoder.Append(frame.substr(i, 1));
        EXPECT_EQ(decoder.Next(), StompDecoder::Result::kNeedMore);
        EXPECT_FALSE(decoder.Idle()) << i;
    }
    decoder.Append("\0"s);
    EXPECT_EQ(decoder.Next(), StompDecoder::Result::kFrame);
    EXPECT_TRUE(decoder.Idle());
}

TEST(StompDecoderTest, AReleasedDecoderTakesNothing) {
    StompDecoder decoder(1024);
    decoder.Append("MESSAGE\nbegun");
    decoder.Release();
    decoder.Append("MESSAGE\n\n\0"s);
    EXPECT_EQ(decoder.Next(), StompDecoder::Result::kError);
}

TEST(StompDecoderTest, ManyLargeFramesInSmallPiecesKeepTheirContent) {
    StompDecoder decoder(1U << 20U);
    std::vector<Decoded> frames;
    std::string stream;
    for (int i = 0; i < 5; ++i) {
        stream += "MESSAGE\nn:" + std::to_string(i) + "\n\n" +
                  std::string(200'000, static_cast<char>('a' + i)) + "\0"s;
    }
    for (std::size_t at = 0; at < stream.size(); at += 1000) {
        decoder.Append(std::string_view(stream).substr(at, 1000));
        ASSERT_TRUE(Drain(decoder, frames));
    }
    ASSERT_EQ(frames.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(frames[i].headers.at(0).value, std::to_string(i));
        EXPECT_EQ(frames[i].body, std::string(200'000, static_cast<char>('a' + i)));
    }
}

TEST(StompDecoderTest, FindUndoesEscapesExceptInConnected) {
    StompDecoder decoder(1024);
    decoder.Append("MESSAGE\na:x\\cy\na:z\n\n\0CONNECTED\na:x\\cy\n\n\0"s);
    ASSERT_EQ(decoder.Next(), StompDecoder::Result::kFrame);
    EXPECT_EQ(decoder.Frame().Find("a"), "x:y");
    EXPECT_EQ(decoder.Frame().Find("b"), std::nullopt);
    ASSERT_EQ(decoder.Next(), StompDecoder::Result::kFrame);
    EXPECT_EQ(decoder.Frame().Find("a"), "x\\cy");
}

}  // namespace
}  // namespace quor_platform::internal
