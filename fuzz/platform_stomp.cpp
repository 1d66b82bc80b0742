// Fuzz target: the bytes of a link, before anything in them can be trusted. Beyond "it neither crashes nor
// reads out of bounds":
//  - how the bytes are cut into pieces changes nothing;
//  - a decoded frame that is encoded again and decoded again is the same frame;
//  - no header opens a line of its own in the text that goes up.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform_linux/websocket/message_text.h"
#include "platform_linux/websocket/stomp_decoder.h"
#include "platform_linux/websocket/stomp_frame.h"

namespace {

using quor_platform::internal::BuildMessageText;
using quor_platform::internal::EncodeStompFrame;
using quor_platform::internal::StompDecoder;
using quor_platform::internal::StompFrameView;
using quor_platform::internal::StompHeader;
using quor_platform::internal::UnescapeStompHeader;

constexpr std::size_t kMaxFrameBytes = 4096;

void Require(bool condition, const char* property) {
    if (!condition) {
        std::fprintf(stderr, "property violated: %s\n", property);
        std::abort();
    }
}

// Everything of a frame in one text with unambiguous borders.
std::string Fingerprint(const StompFrameView& frame) {
    std::string text(frame.command);
    for (const auto& header : frame.headers) {
        text.append("\n").append(header.name).append(":").append(header.value);
    }
    return text.append("\n\n").append(frame.body);
}

void CheckText(const StompFrameView& frame) {
    const std::string text = BuildMessageText(frame, true);
    Require(frame.command != "MESSAGE" || text.starts_with("MESSAGE\n"), "a message begins with its command");
    Require(text.size() >= frame.body.size() + 2 && text.find("\n\n") == text.size() - frame.body.size() - 2,
            "the first empty line is the one before the body");
    Require(std::string_view(text).substr(text.size() - frame.body.size()) == frame.body,
            "the body is unchanged");
}

void CheckRoundTrip(const StompFrameView& frame) {
    std::vector<StompHeader> headers{{"content-length", std::to_string(frame.body.size())}};
    for (const auto& header : frame.headers) {
        if (header.name != "content-length") {
            headers.push_back({UnescapeStompHeader(header.name), UnescapeStompHeader(header.value)});
        }
    }
    for (const std::string_view lineEnd : {"\n", "\r\n"}) {
        StompDecoder decoder(16 * kMaxFrameBytes);  // escapes make it longer
        decoder.Append(EncodeStompFrame("MESSAGE", headers, frame.body, lineEnd));
        Require(decoder.Next() == StompDecoder::Result::kFrame, "an encoded frame is a frame");
        const StompFrameView& again = decoder.Frame();
        Require(
            again.command == "MESSAGE" && again.body == frame.body && again.headers.size() == headers.size(),
            "an encoded frame keeps command, body and headers");
        for (std::size_t i = 0; i < headers.size(); ++i) {
            Require(UnescapeStompHeader(again.headers[i].name) == headers[i].name &&
                        UnescapeStompHeader(again.headers[i].value) == headers[i].value,
                    "an encoded header is the same header");
        }
        Require(decoder.Idle(), "nothing is left of an encoded frame");
    }
}

struct Outcome {
    std::vector<std::string> frames;
    std::string error;
    bool operator==(const Outcome& other) const { return frames == other.frames && error == other.error; }
};

void Drain(StompDecoder& decoder, Outcome& outcome, bool check) {
    for (;;) {
        const StompDecoder::Result result = decoder.Next();
        if (result == StompDecoder::Result::kError) {
            outcome.error = decoder.ErrorText();
            Require(!outcome.error.empty(), "an error has a reason");
        }
        if (result != StompDecoder::Result::kFrame) {
            return;
        }
        outcome.frames.push_back(Fingerprint(decoder.Frame()));
        if (check) {
            CheckText(decoder.Frame());
            CheckRoundTrip(decoder.Frame());
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    // The first byte chooses the pieces, the rest is the stream.
    std::size_t piece = data[0] % 16 + 1U;
    const std::string_view stream(reinterpret_cast<const char*>(data) + 1, size - 1);
    Outcome whole;
    StompDecoder atOnce(kMaxFrameBytes);
    atOnce.Append(stream);
    Drain(atOnce, whole, true);

    Outcome cut;
    StompDecoder inPieces(kMaxFrameBytes);
    for (std::size_t at = 0; at < stream.size(); at += piece, piece = piece * 7 % 61 + 1) {
        inPieces.Append(stream.substr(at, piece));
        Drain(inPieces, cut, false);
    }
    Require(whole.frames == cut.frames, "pieces change no frame");
    Require(whole.error.empty() == cut.error.empty(), "pieces change no verdict");
    return 0;
}
