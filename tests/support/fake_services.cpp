// The WebSocket client, the login client, the key service and base64.
#include <cstring>

#include "quor_platform/base64.h"
#include "quor_platform/key_management.h"
#include "quor_platform/login.h"
#include "quor_platform/websocket.h"
#include "support/failing_new.h"
#include "support/fake_platform.h"

using QuorTest::Fake;
using QuorTest::Fn;

namespace {

constexpr const char* kPlatformModule = "fake_platform";
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

unsigned SendFrame(Fn fn, const TagQuorOmNmsWebsocketStompFrame* frame) {
    const bool fails = Fake().Enter(fn);
    {
        const std::lock_guard<std::mutex> guard(Fake().mutex);
        Fake().frames.emplace_back();
        Fake().frames.back().fn = fn;
        std::memcpy(&Fake().frames.back().frame, frame, sizeof(*frame));
    }
    if (Fake().onFrame) {
        const QuorTest::FrameCall call = Fake().frames.back();
        Fake().onFrame(call);
    }
    return fails ? Fake().FailResult(fn) : 0;
}

bool AllZero(const char* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (bytes[i] != 0) {
            return false;
        }
    }
    return true;
}

// Value of a base64 character, or -1.
int Sextet(char c) {
    const char* at = c == '\0' ? nullptr : std::strchr(kAlphabet, c);
    return at == nullptr ? -1 : static_cast<int>(at - kAlphabet);
}

}  // namespace

extern "C" {

unsigned int QuorOmNmsWebsocketStartUp(TagQuorOmNmsWebsocketInfo* info, unsigned int* linkId) {
    const bool fails = Fake().Enter(Fn::WsStartUp);
    {
        const std::lock_guard<std::mutex> guard(Fake().mutex);
        Fake().startUps.emplace_back();
        std::memcpy(&Fake().startUps.back(), info, sizeof(*info));
        if (*linkId != 0) {
            Fake().violations.emplace_back("QuorOmNmsWebsocketStartUp: link id not preset to 0");
        }
    }
    if (fails) {
        return Fake().FailResult(Fn::WsStartUp);
    }
    *linkId = Fake().startUpLinkId;
    if (Fake().onStartUp) {
        Fake().onStartUp(*info);
    }
    return 0;
}

unsigned int QuorOmNmsWebsocketDestory(unsigned int linkId) {
    const bool fails = Fake().Enter(Fn::WsDestroy);
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    Fake().destroyedLinks.push_back(linkId);
    return fails ? Fake().FailResult(Fn::WsDestroy) : 0;
}

unsigned int QuorOmNmsWebsocketSubscribe(TagQuorOmNmsWebsocketStompFrame* frame) {
    return SendFrame(Fn::WsSubscribe, frame);
}

unsigned int QuorOmNmsWebsocketUnsubscribe(TagQuorOmNmsWebsocketStompFrame* frame) {
    return SendFrame(Fn::WsUnsubscribe, frame);
}

unsigned int QuorOmNmsWebsocketSendData(TagQuorOmNmsWebsocketStompFrame* frame) {
    return SendFrame(Fn::WsSend, frame);
}

int QuorLoginInitialize(QuorLoginCallback callback) {
    const QuorTest::NewsSucceed sheltered;
    const bool fails = Fake().Enter(Fn::LoginInit);
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    Fake().loginCallbacks.push_back(callback);
    return fails ? static_cast<int>(Fake().FailResult(Fn::LoginInit)) : 0;
}

int QuorLoginGetConfToken(char* token, unsigned int capacity) {
    const QuorTest::NewsSucceed sheltered;
    const bool fails = Fake().Enter(Fn::LoginToken);
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    Fake().tokenCapacities.push_back(capacity);
    token[0] = '\0';
    if (fails || Fake().confToken.size() >= capacity) {
        return static_cast<int>(Fake().FailResult(Fn::LoginToken));
    }
    std::memcpy(token, Fake().confToken.c_str(), Fake().confToken.size() + 1);
    return 0;
}

unsigned int QuorOmKeymDecrypt(const char* domain, const char* cipherText, unsigned int cipherLen,
                               char* plainText, unsigned int* plainLen) {
    const QuorTest::NewsSucceed sheltered;
    const bool fails = Fake().Enter(Fn::Decrypt);
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    Fake().decrypts.push_back({domain, std::string(cipherText, cipherLen), *plainLen,
                               AllZero(plainText, QUOR_OM_KEYM_PLAIN_CAPACITY)});
    const auto it = Fake().plainTextByDomain.find(domain);
    const bool opens = !fails && it != Fake().plainTextByDomain.end();
    const std::string& text = opens ? it->second : Fake().plainResidueOnFailure;
    std::memcpy(plainText, text.data(), text.size());
    if (!opens) {
        *plainLen = static_cast<unsigned>(text.size());
        return Fake().FailResult(Fn::Decrypt);
    }
    if (Fake().plainTextHasEnd) {
        plainText[text.size()] = '\0';
    }
    *plainLen = static_cast<unsigned>(text.size());
    return 0;
}

unsigned int QUOR_BASE64Encode(const unsigned char* in, unsigned int inLen, char** out,
                               unsigned int* outLen) {
    const bool fails = Fake().Enter(Fn::Base64Encode);
    *out = nullptr;
    *outLen = 0;
    if (fails || in == nullptr || inLen == 0) {
        return 0;
    }
    const unsigned length = (inLen + 2) / 3 * 4;
    auto* text = static_cast<char*>(Fake().Allocate(length + 1, 0, 1, kPlatformModule));
    char* to = text;
    for (unsigned i = 0; i < inLen; i += 3) {
        const unsigned left = inLen - i;
        const unsigned bits = static_cast<unsigned>(in[i]) << 16U |
                              (left > 1 ? static_cast<unsigned>(in[i + 1]) << 8U : 0U) |
                              (left > 2 ? static_cast<unsigned>(in[i + 2]) : 0U);
        *to++ = kAlphabet[bits >> 18U];
        *to++ = kAlphabet[bits >> 12U & 63U];
        *to++ = left > 1 ? kAlphabet[bits >> 6U & 63U] : '=';
        *to++ = left > 2 ? kAlphabet[bits & 63U] : '=';
    }
    *out = text;
    *outLen = length;
    return length;
}

// A call that is made to fail gives no block, but with 0 as its fail result it gives one without bytes:
// beyond the contract, and yet the caller's to give back.
int QUOR_BASE64Decode(const char* in, unsigned int inLen, unsigned char** out) {
    *out = nullptr;
    const bool fails = Fake().Enter(Fn::Base64Decode);
    if (fails && Fake().FailResult(Fn::Base64Decode) == 0) {
        *out = static_cast<unsigned char*>(Fake().Allocate(1, 0, 1, kPlatformModule));
        return 0;
    }
    if (fails || in == nullptr || inLen == 0 || inLen % 4 != 0) {
        return -1;
    }
    const unsigned padding = in[inLen - 1] != '=' ? 0U : in[inLen - 2] != '=' ? 1U : 2U;
    const unsigned length = inLen / 4 * 3 - padding;
    auto* bytes = static_cast<unsigned char*>(Fake().Allocate(length + 1, 0, 1, kPlatformModule));
    unsigned at = 0;
    for (unsigned i = 0; i < inLen; i += 4) {
        unsigned bits = 0;
        for (unsigned k = 0; k < 4; ++k) {
            const int value = i + k >= inLen - padding ? 0 : Sextet(in[i + k]);
            if (value < 0) {
                Fake().Release(bytes, 1, kPlatformModule);
                return -1;
            }
            bits = bits << 6U | static_cast<unsigned>(value);
        }
        for (unsigned k = 0; k < 3 && at < length; ++k) {
            bytes[at++] = static_cast<unsigned char>(bits >> (16U - 8U * k) & 255U);
        }
    }
    *out = bytes;
    return static_cast<int>(length);
}

void QUOR_BASE64Free(void* p) {
    Fake().Enter(Fn::Base64Free);
    Fake().Release(p, 1, kPlatformModule);
}

}  // extern "C"
