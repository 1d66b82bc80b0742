// The two headers that carry credentials. Every copy of a credential but the header's value is wiped,
// whatever happens in between.
#include <algorithm>
#include <cstring>

#include "common/scope.h"
#include "quor_platform/bounded.h"
#include "quor_platform/key_management.h"
#include "utility/http_protocol.h"
#include "utility/srv_utility_log.h"
#include "utility/wiped_text.h"

namespace QuorAiEngine {

namespace {

constexpr char kAccountHeader[] = "authAccount";
constexpr char kPasswordHeader[] = "authPassword";
// The only domain: passwords of the login client open nothing here.
constexpr char kKeyDomain[] = "QuorUIConf";
constexpr std::size_t kPasswordCapacity = 1024;

unsigned int BoundedLength(const char* text, unsigned int maxLen) {
    return text == nullptr ? 0 : static_cast<unsigned int>(strnlen(text, maxLen));
}

}  // namespace

unsigned int HttpProtocol::GenerateHeaderAccount(tagHTTP_HEADER& header, const char* account,
                                                 unsigned int maxAccountLen) {
    if (strcpy_s(header.name, sizeof(header.name), kAccountHeader) != 0) {
        UTILITY_LOG_ERROR("<GenerateHeaderAccount> cp str auth header fail");
        return kHttpProtocolFailed;
    }
    WipedText encoded;
    AiUtilityCovert2Base64(encoded.Text(), reinterpret_cast<const unsigned char*>(account),
                           BoundedLength(account, maxAccountLen), encoded.Length());
    if (encoded.IsEmpty()) {
        UTILITY_LOG_ERROR("<GenerateHeaderAccount> create auth account base64  fail");
        return kHttpProtocolFailed;
    }
    const bool copied = strcpy_s(header.value, sizeof(header.value), encoded.Text().get()) == 0;
    if (!copied) {
        UTILITY_LOG_ERROR("<GenerateHeaderAccount> cp str auth account header fail");
    }
    if (encoded.Wipe() != 0) {
        UTILITY_LOG_ERROR("<GenerateHeaderAccount> clear authAccountBase64 fail");
        return kHttpProtocolFailed;
    }
    return copied ? 0 : kHttpProtocolFailed;
}

unsigned int HttpProtocol::GenerateHeaderPwd(tagHTTP_HEADER& header, const char* sealedPwd,
                                             unsigned int maxLen) {
    if (strcpy_s(header.name, sizeof(header.name), kPasswordHeader) != 0) {
        UTILITY_LOG_ERROR("<GenerateHeaderPwd> cp str auth pwd header fail");
        return kHttpProtocolFailed;
    }
    WipedText encoded;
    // What is opened is never longer than what was sealed: the buffer for it bounds the length.
    const unsigned int sealedLen =
        BoundedLength(sealedPwd, std::min(maxLen, static_cast<unsigned int>(kPasswordCapacity)));
    if (EncodePassword(encoded, sealedPwd, sealedLen) != 0) {
        return kHttpProtocolFailed;
    }
    const bool copied = strcpy_s(header.value, sizeof(header.value), encoded.Text().get()) == 0;
    if (!copied) {  // the text of the name's failure; log readers know it so
        UTILITY_LOG_ERROR("<GenerateHeaderPwd> cp str auth pwd header fail");
    }
    if (encoded.Wipe() != 0) {
        UTILITY_LOG_ERROR("<GenerateHeaderPwd> clear auth pwd base64 fail");
        return kHttpProtocolFailed;
    }
    return copied ? 0 : kHttpProtocolFailed;
}

// The password is in clear between its opening and its encoding only.
unsigned int HttpProtocol::EncodePassword(WipedText& encoded, const char* sealedPwd, unsigned int sealedLen) {
    SecretBuffer<kPasswordCapacity> password;
    if (password.Wipe() != 0) {
        UTILITY_LOG_ERROR("<GenerateHeaderPwd> failed: memset_s decryptPwd failed.");
        return kHttpProtocolFailed;
    }
    unsigned int passwordLen =
        0;  // deliberate: not used; the text's end counts, as for whoever compares passwords
    if (QuorOmKeymDecrypt(kKeyDomain, sealedPwd, sealedLen, password.Data(), &passwordLen) != 0) {
        UTILITY_LOG_ERROR("<GenerateHeaderPwd> failed: Decrypt euaPassword failed.");
        return kHttpProtocolFailed;
    }
    password.Terminate();
    AiUtilityCovert2Base64(encoded.Text(), reinterpret_cast<const unsigned char*>(password.Data()),
                           static_cast<unsigned int>(std::strlen(password.Data())), encoded.Length());
    if (password.Wipe() != 0) {
        UTILITY_LOG_ERROR("<GenerateHeaderPwd> failed: memset_s decryptPwd to clear failed.");
        return kHttpProtocolFailed;
    }
    if (encoded.IsEmpty()) {  // deliberate: a text without the operation's name
        UTILITY_LOG_ERROR("create auth pwd base64  fail");
        return kHttpProtocolFailed;
    }
    return 0;
}

}  // namespace QuorAiEngine
