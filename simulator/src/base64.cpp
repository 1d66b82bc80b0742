#include "base64.h"

#include <openssl/evp.h>

#include <array>
#include <cstdint>

namespace quor_simulator {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 64;

constexpr std::array<std::uint8_t, 256> MakeDigits() {
    std::array<std::uint8_t, 256> digits{};
    for (std::uint8_t& digit : digits) {
        digit = kNoDigit;
    }
    for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
        digits.at(static_cast<unsigned char>(kAlphabet[i])) = static_cast<std::uint8_t>(i);
    }
    return digits;
}

constexpr std::array<std::uint8_t, 256> kDigits = MakeDigits();

}  // namespace

std::string EncodeBase64(std::string_view bytes) {
    std::string out(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const auto* input = reinterpret_cast<const unsigned char*>(bytes.data());
    auto* output = reinterpret_cast<unsigned char*>(out.data());
    const int length = EVP_EncodeBlock(output, input, static_cast<int>(bytes.size()));
    out.resize(static_cast<std::size_t>(length));
    return out;
}

std::optional<std::string> DecodeBase64(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    std::size_t padding = 0;
    while (padding < 2 && text.size() > padding && text[text.size() - 1 - padding] == '=') {
        ++padding;
    }
    std::string out;
    out.reserve(text.size() / 4 * 3);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool padded = i >= text.size() - padding;
        const std::uint8_t digit = padded ? std::uint8_t{0} : kDigits.at(static_cast<unsigned char>(text[i]));
        if (digit == kNoDigit) {
            return std::nullopt;
        }
        bits = bits << 6U | digit;
        if (i % 4 == 3) {
            out += static_cast<char>(bits >> 16U & 0xffU);
            out += static_cast<char>(bits >> 8U & 0xffU);
            out += static_cast<char>(bits & 0xffU);
        }
    }
    out.resize(out.size() - padding);
    return out;
}

}  // namespace quor_simulator
