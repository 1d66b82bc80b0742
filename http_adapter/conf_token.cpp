// The conference token, fetched anew for every use because tokens expire.
#include <cstring>

#include "common/login_callbacks.h"
#include "common/scope.h"
#include "http_adapter/http_log.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/login.h"

namespace QuorAiEngine {

QuorAiComm::Mutex AiHttpAdapter::m_loginLock;
bool AiHttpAdapter::m_needsLogin = true;
QuorAiComm::Mutex AiHttpAdapter::m_confTokenLock;

int AiHttpAdapter::MonitorConfToken() {
    SecretBuffer<kConfTokenCapacity> token;
    return FetchConfToken(token.Data());
}

// Fetches a token into a header's value. From a copy of its own: another thread may fetch meanwhile.
AiHttpAdapter::TokenResult AiHttpAdapter::CopyConfToken(tagHTTP_HEADER& header) {
    SecretBuffer<kConfTokenCapacity> token;
    if (FetchConfToken(token.Data()) != 0) {
        return TokenResult::kNoToken;
    }
    return strcpy_s(header.value, sizeof(header.value), token.Data()) == 0 ? TokenResult::kCopied
                                                                           : TokenResult::kCopyFailed;
}

// Writes kConfTokenCapacity bytes, and keeps them as the last token.
int AiHttpAdapter::FetchConfToken(char* token) {
    if (RegisterLogin() != 0) {
        return -1;
    }
    const int ret = QuorLoginGetConfToken(token, kConfTokenCapacity);
    token[kConfTokenCapacity - 1] = '\0';
    {
        const QuorAiComm::MutexLock lock(m_confTokenLock);
        std::memcpy(m_confToken, token, sizeof(m_confToken));
    }
    if (ret != 0) {
        HTTP_LOG_ERROR("<MonitorConfToken> QuorLoginGetConfToken ret: %d", ret);
        return -1;
    }
    return 0;
}

// Once for the process, also when two threads make their first requests at the same time. A registration that
// fails is tried again by the next request.
int AiHttpAdapter::RegisterLogin() {
    const QuorAiComm::MutexLock lock(m_loginLock);
    if (!m_needsLogin) {
        return 0;
    }
    const int ret = QuorLoginInitialize(LoginCallbackFunc);
    if (ret != 0) {
        HTTP_LOG_ERROR("<MonitorConfToken> QuorLoginInitialize ret: %d", ret);
        return -1;
    }
    m_needsLogin = false;
    return 0;
}

void AiHttpAdapter::ForgetConfToken() {
    const QuorAiComm::MutexLock lock(m_confTokenLock);
    WipeBytes(m_confToken, sizeof(m_confToken));
}

}  // namespace QuorAiEngine
