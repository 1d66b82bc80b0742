// Fuzz target: the bytes of a link, before anything in them can be trusted. The first byte of an input says
// how the rest is cut into pieces. The frames must not depend on the cuts, and what goes up must be a text
// that its reader, who searches for header names in it, cannot be misled by.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform_linux/websocket/message_text.h"
#include "platform_linux/websocket/stomp_decoder.h"

namespace {

using quor_platform::internal::BuildMessageText;
using quor_platform::internal::StompDecoder;
using quor_platform::internal::StompFrameView;

constexpr std::size_t kMaxFrameBytes = 4096;

void Require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

void Describe(const StompFrameView& frame, std::string& out) {
    out.append(frame.command).append("\n");
    for (const StompFrameView::Header& header : frame.headers) {
        out.append(header.name).append("=").append(header.value).append("\n");
    }
    out.append(std::to_string(frame.body.size())).append(":").append(frame.body).append("\n");
    if (frame.command == "MESSAGE") {
        const std::string text = BuildMessageText(frame, true);
        Require(text.starts_with("MESSAGE\n"), "the text does not begin with its command");
        out.append(text);
    }
}

// What a decoder makes of bytes that arrive in pieces of the given size.
std::string Decode(std::string_view bytes, std::size_t pieceBytes) {
    StompDecoder decoder(kMaxFrameBytes);
    std::string out;
    while (!bytes.empty()) {
        decoder.Append(bytes.substr(0, pieceBytes));
        bytes.remove_prefix(std::min(pieceBytes, bytes.size()));
        StompDecoder::Result result = decoder.Next();
        for (; result == StompDecoder::Result::kFrame; result = decoder.Next()) {
            Describe(decoder.Frame(), out);
        }
        if (result == StompDecoder::Result::kError) {
            Require(!decoder.ErrorText().empty(), "an error without a reason");
            return out.append("error\n");
        }
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t pieceBytes = 1U + data[0];
    Require(Decode(bytes, pieceBytes) == Decode(bytes, 1), "the frames depend on how the bytes were cut");
    return 0;
}
