// base64_codec.h - base64 (RFC 4648 section 4) over buffers of the caller, for base64.cpp and keys.cpp.
//
// Threads: pure in the arguments.
#ifndef QUOR_PLATFORM_LINUX_BASE64_CODEC_H
#define QUOR_PLATFORM_LINUX_BASE64_CODEC_H

#include <climits>
#include <cstddef>
#include <string_view>

namespace quor_platform::internal {

// The codec underneath counts in int, output included.
constexpr std::size_t kBase64MaxInput = std::size_t{INT_MAX - 1} / 4 * 3;
constexpr std::size_t kBase64MaxText = INT_MAX;

// Characters that length bytes encode to, without terminator. length is at most kBase64MaxInput.
constexpr std::size_t Base64EncodedLength(std::size_t length) {
    return (length + 2) / 3 * 4;
}

// Encodes at most kBase64MaxInput bytes into Base64EncodedLength(length) characters and a terminator.
void Base64Encode(const unsigned char* in, std::size_t length, char* out);

// Bytes that text decodes to; 0 when it is empty, longer than kBase64MaxText or not canonical base64: another
// character, padding that is missing or misplaced, or bits set that padding says are unused.
std::size_t Base64DecodedLength(std::string_view text);

// Decodes a text for which Base64DecodedLength is not 0 into exactly so many bytes.
void Base64Decode(std::string_view text, unsigned char* out);

}  // namespace quor_platform::internal

#endif
