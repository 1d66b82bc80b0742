// secret.h - holders of secrets that overwrite them with zeros on every way out of a scope.
#ifndef QUOR_PLATFORM_LINUX_SECRET_H
#define QUOR_PLATFORM_LINUX_SECRET_H

#include <openssl/crypto.h>

#include <array>
#include <cstddef>
#include <string>

namespace quor_platform::internal {

// Size bytes of key or plain text.
template <std::size_t Size>
struct SecretBytes {
    SecretBytes() = default;
    ~SecretBytes() { OPENSSL_cleanse(bytes.data(), bytes.size()); }
    SecretBytes(const SecretBytes&) = delete;
    SecretBytes& operator=(const SecretBytes&) = delete;

    unsigned char* Data() { return bytes.data(); }
    const unsigned char* Data() const { return bytes.data(); }

    std::array<unsigned char, Size> bytes{};
};

// A text, wiped with all of its capacity. What it left behind in smaller buffers while it grew is out of
// reach.
struct SecretText {
    SecretText() = default;
    ~SecretText() {
        text.resize(text.capacity());
        OPENSSL_cleanse(text.data(), text.size());
    }
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;

    std::string text;
};

}  // namespace quor_platform::internal

#endif
