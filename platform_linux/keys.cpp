// keys.cpp - sealed secrets and random numbers.
//
// A sealed text is "q1." and the base64 of nonce, cipher text and tag of AES-256-GCM. Its key is derived from
// the master key and the domain's name (HKDF-SHA256, RFC 5869), and the name is authenticated with the text:
// a text of one domain does not open under another.

#include "quor_platform/key_management.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform_linux/base64_codec.h"
#include "platform_linux/host_state.h"
#include "platform_linux/key_file.h"
#include "platform_linux/secret.h"
#include "platform_linux/thread_annotations.h"

namespace quor_platform {
namespace {

using internal::Mutex;
using internal::MutexLock;
using internal::RefuseKey;
using internal::SecretBytes;
using internal::SecretKey;

constexpr std::string_view kVersion = "q1.";
constexpr std::size_t kNonceBytes = 12;
constexpr std::size_t kTagBytes = 16;
constexpr std::size_t kMaxDomainBytes = 64;
// The longest sealed text that is opened: the widest field that sealed texts travel in.
constexpr std::size_t kMaxSealedLength = 1024;

constexpr std::size_t SealedLength(std::size_t plainBytes) {
    return kVersion.size() + internal::Base64EncodedLength(kNonceBytes + plainBytes + kTagBytes);
}

// What SealSecret makes fits the narrower fields too.
static_assert(SealedLength(kMaxSecretBytes) < QUOR_OM_KEYM_PLAIN_CAPACITY);
static_assert(SealedLength(kMaxSecretBytes + 1) >= QUOR_OM_KEYM_PLAIN_CAPACITY);

struct Freed {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
    void operator()(EVP_KDF_CTX* context) const { EVP_KDF_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Freed>;
using KdfContext = std::unique_ptr<EVP_KDF_CTX, Freed>;

// Fetching an algorithm searches the providers, so it is done once; the results live as long as the process.
const EVP_CIPHER* Cipher() {
    static EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr);
    return cipher;
}

EVP_KDF* Kdf() {
    static EVP_KDF* const kdf = EVP_KDF_fetch(nullptr, "HKDF", nullptr);
    return kdf;
}

struct KeyFilePath {
    Mutex mutex;
    std::string path QUOR_GUARDED_BY(mutex);
};

KeyFilePath& CurrentKeyFile() {
    static KeyFilePath* const current = new KeyFilePath;
    return *current;
}

bool RefuseCrypto(const std::string& text) {
    Failure failure;
    failure.stage = Stage::kKey;
    failure.tlsError = ERR_get_error();
    failure.text = text;
    ERR_clear_error();
    RecordFailure(failure);
    return false;
}

bool DeriveKey(const SecretKey& master, std::string_view domain, SecretKey& key) {
    char digest[] = "SHA256";
    char salt[] = "quor_platform sealed text 1";
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_KEY, const_cast<unsigned char*>(master.Data()),
                                          internal::kKeyBytes),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SALT, salt, sizeof salt - 1),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_INFO, const_cast<char*>(domain.data()),
                                          domain.size()),
        OSSL_PARAM_construct_end()};
    const KdfContext context(Kdf() != nullptr ? EVP_KDF_CTX_new(Kdf()) : nullptr);
    return (context != nullptr &&
            EVP_KDF_derive(context.get(), key.Data(), internal::kKeyBytes, parameters) == 1) ||
           RefuseCrypto("the key of the domain cannot be derived");
}

// The domain's key, from the key file as it is now.
bool LoadKey(std::string_view domain, SecretKey& key) {
    if (domain.empty() || domain.size() > kMaxDomainBytes) {
        return RefuseKey(0, "a key domain's name has 1 to " + std::to_string(kMaxDomainBytes) + " bytes");
    }
    std::string path;
    {
        const MutexLock lock(CurrentKeyFile().mutex);
        path = CurrentKeyFile().path;
    }
    SecretKey master;
    return internal::ReadKeyFile(path, master) && DeriveKey(master, domain, key);
}

const unsigned char* Bytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// sealed has room for nonce, plain text and tag.
bool Encrypt(const SecretKey& key, std::string_view domain, std::string_view plain, unsigned char* sealed) {
    unsigned char* const cipherText = sealed + kNonceBytes;
    unsigned char* const tag = cipherText + plain.size();
    int written = 0;
    const CipherContext context(EVP_CIPHER_CTX_new());
    return (QuorOmKeymGenRealRandom(sealed, kNonceBytes) == 0 && context != nullptr && Cipher() != nullptr &&
            EVP_EncryptInit_ex2(context.get(), Cipher(), key.Data(), sealed, nullptr) == 1 &&
            EVP_EncryptUpdate(context.get(), nullptr, &written, Bytes(domain),
                              static_cast<int>(domain.size())) == 1 &&
            EVP_EncryptUpdate(context.get(), cipherText, &written, Bytes(plain),
                              static_cast<int>(plain.size())) == 1 &&
            EVP_EncryptFinal_ex(context.get(), tag, &written) == 1 &&
            EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, kTagBytes, tag) == 1) ||
           RefuseCrypto("the secret cannot be sealed");
}

// plain has room for sealed without nonce and tag. It holds nothing to trust until the result is true.
bool Decrypt(const SecretKey& key, std::string_view domain, std::vector<unsigned char>& sealed,
             unsigned char* plain) {
    const unsigned char* const cipherText = sealed.data() + kNonceBytes;
    const auto length = static_cast<int>(sealed.size() - kNonceBytes - kTagBytes);
    unsigned char* const tag = sealed.data() + sealed.size() - kTagBytes;
    int written = 0;
    unsigned char none = 0;  // the last step of GCM writes nothing
    const CipherContext context(EVP_CIPHER_CTX_new());
    return (context != nullptr && Cipher() != nullptr &&
            EVP_DecryptInit_ex2(context.get(), Cipher(), key.Data(), sealed.data(), nullptr) == 1 &&
            EVP_DecryptUpdate(context.get(), nullptr, &written, Bytes(domain),
                              static_cast<int>(domain.size())) == 1 &&
            EVP_DecryptUpdate(context.get(), plain, &written, cipherText, length) == 1 &&
            EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, kTagBytes, tag) == 1 &&
            EVP_DecryptFinal_ex(context.get(), &none, &written) == 1) ||
           RefuseCrypto("the sealed text is damaged, or of another domain or key file");
}

// The bytes inside a sealed text; empty: it is none, and the reason is recorded.
std::vector<unsigned char> Unwrap(std::string_view text) {
    if (text.size() > kMaxSealedLength) {
        RefuseKey(0, "the sealed text is too long");
        return {};
    }
    if (text.substr(0, kVersion.size()) != kVersion) {
        RefuseKey(0, "the text was not sealed: it does not begin with \"q1.\"");
        return {};
    }
    text.remove_prefix(kVersion.size());
    std::vector<unsigned char> sealed(internal::Base64DecodedLength(text));
    const std::size_t around = kNonceBytes + kTagBytes;
    if (sealed.size() <= around) {
        RefuseKey(0, "the sealed text is damaged: its base64 is bad or its length is");
        return {};
    }
    internal::Base64Decode(text, sealed.data());
    return sealed;
}

bool IsSealable(std::string_view plainText) {
    if (plainText.empty() || plainText.size() > kMaxSecretBytes ||
        plainText.find('\0') != std::string_view::npos) {
        return RefuseKey(0,
                         "a secret has 1 to " + std::to_string(kMaxSecretBytes) + " bytes and no NUL inside");
    }
    return true;
}

bool Open(std::string_view domain, std::string_view cipherText, char* plainText, unsigned int* plainLen) {
    SecretKey key;
    std::vector<unsigned char> sealed = Unwrap(cipherText);
    SecretBytes<kMaxSealedLength> plain;  // sealing makes a text longer
    if (sealed.empty() || !LoadKey(domain, key) || !Decrypt(key, domain, sealed, plain.Data())) {
        return false;
    }
    const std::size_t length = sealed.size() - kNonceBytes - kTagBytes;
    if (length >= cipherText.size()) {  // the caller's buffer is as long as the sealed text
        return RefuseKey(0, "the sealed text is shorter than what it holds");
    }
    std::memcpy(plainText, plain.Data(), length);
    plainText[length] = '\0';
    *plainLen = static_cast<unsigned int>(length);
    return true;
}

}  // namespace

void SetKeyFile(const std::string& path) {
    const MutexLock lock(CurrentKeyFile().mutex);
    CurrentKeyFile().path = path;
}

bool CreateKeyFile(const std::string& path) {
    return internal::WriteNewKeyFile(path);
}

std::string SealSecret(const std::string& domain, const std::string& plainText) {
    SecretKey key;
    if (!IsSealable(plainText) || !LoadKey(domain, key)) {
        return {};
    }
    std::vector<unsigned char> sealed(kNonceBytes + plainText.size() + kTagBytes);
    if (!Encrypt(key, domain, plainText, sealed.data())) {
        return {};
    }
    // The encoder's terminator falls on the string's own.
    std::string text(SealedLength(plainText.size()), '\0');
    kVersion.copy(text.data(), kVersion.size());
    internal::Base64Encode(sealed.data(), sealed.size(), text.data() + kVersion.size());
    return text;
}

}  // namespace quor_platform

unsigned int QuorOmKeymDecrypt(const char* domain, const char* cipherText, unsigned int cipherLen,
                               char* plainText, unsigned int* plainLen) {
    using namespace quor_platform;
    if (plainText != nullptr) {
        plainText[0] = '\0';
    }
    if (plainLen != nullptr) {
        *plainLen = 0;
    }
    if (domain == nullptr || cipherText == nullptr || plainText == nullptr || plainLen == nullptr) {
        RefuseKey(EINVAL, "a sealed text cannot be opened");
        return EINVAL;
    }
    try {
        const std::string_view name(domain, strnlen(domain, kMaxDomainBytes + 1));
        return Open(name, std::string_view(cipherText, cipherLen), plainText, plainLen) ? 0 : EACCES;
    } catch (...) {
        return ENOMEM;
    }
}

int QuorOmKeymGenRealRandom(unsigned char* out, unsigned int len) {
    if (out == nullptr) {
        return EINVAL;
    }
    std::size_t filled = 0;
    while (filled < len) {
        const ssize_t count = ::getrandom(out + filled, len - filled, 0);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        filled += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return 0;
}
