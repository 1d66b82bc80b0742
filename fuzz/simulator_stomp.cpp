// Fuzz target: the simulator's parser. The first byte of an input chooses the STOMP version and the size of
// the pieces. The frames must not depend on the cuts, and a frame that is encoded again must parse to itself.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "stomp_frame.h"

namespace {

using quor_simulator::stomp::Encode;
using quor_simulator::stomp::Frame;
using quor_simulator::stomp::Parser;
using quor_simulator::stomp::Version;

constexpr std::size_t kMaxFrameBytes = 4096;

void Require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

std::string Describe(const Frame& frame) {
    std::string out = frame.command + "\n";
    for (const auto& [name, value] : frame.headers) {
        out += name + "=" + value + "\n";
    }
    return out + std::to_string(frame.body.size()) + ":" + frame.body + "\n";
}

// A CR at the end of an unescaped line belongs to the line end when it is read again: that of an unknown
// command, and those of CONNECT, STOMP and CONNECTED, whose headers have no escapes.
bool SurvivesEncoding(const Frame& frame) {
    return !frame.command.ends_with('\r') && !frame.command.starts_with("CONNECT") &&
           frame.command != "STOMP";
}

void RequireRoundTrip(const Frame& frame, Version version) {
    Parser parser(4 * kMaxFrameBytes);
    parser.SetVersion(version);
    parser.Feed(Encode(frame, version));
    Frame again;
    Require(parser.Next(again) == Parser::Result::kFrame, "an encoded frame does not parse");
    Require(Describe(again) == Describe(frame), "an encoded frame parses to another one");
}

std::string Parse(std::string_view bytes, Version version, std::size_t pieceBytes, bool roundTrip) {
    Parser parser(kMaxFrameBytes);
    parser.SetVersion(version);
    std::string out;
    while (!bytes.empty()) {
        parser.Feed(bytes.substr(0, pieceBytes));
        bytes.remove_prefix(std::min(pieceBytes, bytes.size()));
        Frame frame;
        Parser::Result result = parser.Next(frame);
        for (; result == Parser::Result::kFrame; result = parser.Next(frame)) {
            out += Describe(frame);
            if (roundTrip && SurvivesEncoding(frame)) {
                RequireRoundTrip(frame, version);
            }
        }
        if (result == Parser::Result::kError) {
            Require(!parser.error().empty(), "an error without a reason");
            return out + "error\n";
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
    const auto version = static_cast<Version>(data[0] % 3U);
    const std::size_t pieceBytes = 2U + data[0] / 3U;
    // 1.0 has no escapes and 1.1 none for CR, so not every text survives being written again there.
    const bool roundTrip = version == Version::k12;
    Require(Parse(bytes, version, pieceBytes, roundTrip) == Parse(bytes, version, 1, false),
            "the frames depend on how the bytes were cut");
    return 0;
}
