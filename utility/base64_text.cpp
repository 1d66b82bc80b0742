// Base64 through the platform.
#include <cstring>
#include <new>

#include "common/scope.h"
#include "quor_platform/base64.h"
#include "utility/http_protocol.h"
#include "utility/srv_utility_log.h"
#include "utility/wiped_text.h"

namespace QuorAiEngine {

namespace {

// A text of the platform's base64, given back at the end of the scope.
class EncodedText {
public:
    EncodedText() = default;
    ~EncodedText() {
        if (m_text != nullptr) {
            QUOR_BASE64Free(m_text);
        }
    }
    EncodedText(const EncodedText&) = delete;
    EncodedText& operator=(const EncodedText&) = delete;

    char** Out() { return &m_text; }
    char* Get() const { return m_text; }

private:
    char* m_text = nullptr;
};

}  // namespace

unsigned int HttpProtocol::AiUtilityCovert2Base64(std::unique_ptr<char[]>& out, const unsigned char* in,
                                                  unsigned int inLen, unsigned int& outLen) {
    if (in == nullptr) {
        return kHttpProtocolFailed;
    }
    EncodedText encoded;
    const unsigned int encodedLen = QUOR_BASE64Encode(in, inLen, encoded.Out(), &outLen);
    if (encoded.Get() == nullptr) {
        UTILITY_STORM_LOG("<AiUtilityCovert2Base64> QUOR_BASE64Encode pIn failed.");
        return kHttpProtocolFailed;
    }
    const auto size = static_cast<unsigned int>(std::strlen(encoded.Get()) + 1);
    std::unique_ptr<char[]> text(new (std::nothrow) char[size]);
    if (text == nullptr) {
        if (Wipe(encoded.Get(), encodedLen) != 0) {
            UTILITY_LOG_ERROR("<AiUtilityCovert2Base64> memset_s pcTmp failed.");
        }
        return kHttpProtocolFailed;
    }
    AiUtilitySafeStrCpyD(text.get(), encoded.Get(), size);
    out = std::move(text);
    outLen = size;
    if (Wipe(encoded.Get(), encodedLen) != 0) {  // the line feed belongs to the text that log readers know
        UTILITY_LOG_ERROR("<AiUtilityCovert2Base64> securec memset_s fail\n");
    }
    return 0;
}

unsigned int HttpProtocol::AiUtilityDecodeBase64(cJSON* item, unsigned char*& out, int& outLen) {
    if (cJSON_IsString(item) == 0 || item->valuestring == nullptr) {
        UTILITY_LOG_ERROR("<AiUtilityDecodeBase64> data is null or is not string");
        return kHttpProtocolFailed;
    }
    outLen =
        QUOR_BASE64Decode(item->valuestring, static_cast<unsigned int>(std::strlen(item->valuestring)), &out);
    if (outLen < 1 || out == nullptr) {
        UTILITY_LOG_ERROR("<AiUtilityDecodeBase64> QUOR_BASE64Decode failed");
        return kHttpProtocolFailed;
    }
    return 0;
}

}  // namespace QuorAiEngine
