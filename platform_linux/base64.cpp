// base64.cpp - base64 over OpenSSL's block codec. That codec skips white space and does not look at unused
// bits, so every text is checked before it is decoded.

#include "platform_linux/base64_codec.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "quor_platform/base64.h"
#include "quor_platform/os.h"

namespace quor_platform::internal {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeDigits() {
    std::array<std::uint8_t, 256> digits{};
    digits.fill(kNoDigit);
    for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
        digits[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return digits;
}

constexpr std::array<std::uint8_t, 256> kDigits = MakeDigits();

std::uint8_t DigitOf(char c) {
    return kDigits[static_cast<unsigned char>(c)];
}

std::size_t PaddingOf(std::string_view text) {
    if (text.back() != '=') {
        return 0;
    }
    return text[text.size() - 2] == '=' ? 2 : 1;
}

}  // namespace

void Base64Encode(const unsigned char* in, std::size_t length, char* out) {
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out), in, static_cast<int>(length));
}

std::size_t Base64DecodedLength(std::string_view text) {
    if (text.empty() || text.size() > kBase64MaxText || text.size() % 4 != 0) {
        return 0;
    }
    const std::size_t padding = PaddingOf(text);
    const std::string_view digits = text.substr(0, text.size() - padding);
    std::uint8_t seen = 0;
    for (const char c : digits) {
        seen |= DigitOf(c);
    }
    if ((seen & 0xC0U) != 0) {  // digits have 6 bits
        return 0;
    }
    // One padding character leaves 2 bits of the last digit unused, two leave 4.
    const unsigned int unused = padding == 0 ? 0U : (padding == 1 ? 0x3U : 0xFU);
    return (DigitOf(digits.back()) & unused) == 0 ? text.size() / 4 * 3 - padding : 0;
}

void Base64Decode(std::string_view text, unsigned char* out) {
    // The codec writes whole groups of 3 bytes, so the last one takes a way round.
    const std::size_t whole = text.size() - 4;
    const auto* in = reinterpret_cast<const unsigned char*>(text.data());
    if (whole > 0) {
        EVP_DecodeBlock(out, in, static_cast<int>(whole));
    }
    std::array<unsigned char, 3> last{};
    EVP_DecodeBlock(last.data(), in + whole, 4);
    std::memcpy(out + whole / 4 * 3, last.data(), 3 - PaddingOf(text));
    OPENSSL_cleanse(last.data(), last.size());
}

}  // namespace quor_platform::internal

namespace {

constexpr char kModule[] = "quor_base64";

}  // namespace

unsigned int QUOR_BASE64Encode(const unsigned char* in, unsigned int inLen, char** out,
                               unsigned int* outLen) {
    using namespace quor_platform::internal;
    if (out != nullptr) {
        *out = nullptr;
    }
    if (outLen != nullptr) {
        *outLen = 0;
    }
    if (in == nullptr || out == nullptr || outLen == nullptr || inLen == 0 || inLen > kBase64MaxInput) {
        return 0;
    }
    const auto length = static_cast<unsigned int>(Base64EncodedLength(inLen));
    auto* text = static_cast<char*>(OsMemMallocSetCharMon(length + 1, 0, __LINE__, kModule));
    if (text == nullptr) {
        return 0;
    }
    Base64Encode(in, inLen, text);
    *out = text;
    *outLen = length;
    return length;
}

int QUOR_BASE64Decode(const char* in, unsigned int inLen, unsigned char** out) {
    using namespace quor_platform::internal;
    if (out == nullptr) {
        return 0;
    }
    *out = nullptr;
    if (in == nullptr) {
        return 0;
    }
    const std::string_view text(in, inLen);
    const auto length = static_cast<unsigned int>(Base64DecodedLength(text));
    if (length == 0) {
        return 0;
    }
    auto* bytes = static_cast<unsigned char*>(OsMemMallocSetCharMon(length + 1, 0, __LINE__, kModule));
    if (bytes == nullptr) {
        return 0;
    }
    Base64Decode(text, bytes);
    *out = bytes;
    return static_cast<int>(length);
}

void QUOR_BASE64Free(void* p) {
    OSMemTypeFreeMon(p, __LINE__, kModule);
}
