// The transport's life, the parameters of requests, and sending them.
#include <cstring>
#include <mutex>

#include "quor_platform/bounded.h"
#include "quor_platform/certificate.h"
#include "quor_platform/os.h"
#include "utility/http_protocol.h"
#include "utility/srv_utility_log.h"

namespace QuorAiEngine {

namespace {

// Seconds.
constexpr unsigned int kFirstTimeoutDefault = 3;
constexpr unsigned int kSecondTimeoutDefault = 4;
constexpr unsigned int kThirdTimeoutDefault = 30;

// The trusted certificates of HTTPS, as the certificate service knows them.
constexpr QuorOmCertQuery kTrustedCertificates = {1, 2};
constexpr unsigned int kNoCertOption = 0;

constexpr unsigned int kVerifyPeer = 1;
constexpr unsigned int kNoRevocationCheck = 0;

// IANA's TLS numbers under 0x0300, best first. Deliberate: the ECDHE rows prefer 256 bits and the DHE rows
// 128; servers choose by this order.
constexpr tagHTTP_S_CIPHER_LIST kCipherSuites = {QUOR_HTTP_CIPHER_SUITES,
                                                 {
                                                     0x0300C030,  // TLS_ECDHE_RSA_WITH_AES_256_GCM_SHA384
                                                     0x0300C02F,  // TLS_ECDHE_RSA_WITH_AES_128_GCM_SHA256
                                                     0x0300C02C,  // TLS_ECDHE_ECDSA_WITH_AES_256_GCM_SHA384
                                                     0x0300C02B,  // TLS_ECDHE_ECDSA_WITH_AES_128_GCM_SHA256
                                                     0x0300009E,  // TLS_DHE_RSA_WITH_AES_128_GCM_SHA256
                                                     0x0300009F,  // TLS_DHE_RSA_WITH_AES_256_GCM_SHA384
                                                     0x030000A2,  // TLS_DHE_DSS_WITH_AES_128_GCM_SHA256
                                                     0x030000A3,  // TLS_DHE_DSS_WITH_AES_256_GCM_SHA384
                                                 }};

// Guards the TLS block, the pointer to it and the time limits. Held for a comparison or a copy only, never
// while a platform function runs: requests of several threads fill the block with the same bytes, and the
// last uninit frees it.
std::mutex g_tlsLock;

// While it lives, a request refers to parameters of its own. The transport reads them without the lock, when
// another request may change the shared block or the last uninit free it.
class OwnTlsParam {
public:
    OwnTlsParam(tagHTTP_S_CONFIG_PARAM& config, tagHTTP_S_TLS_PARAM& own)
        : m_config(config), m_shared(config.tlsParam) {
        config.tlsParam = &own;
    }
    ~OwnTlsParam() { m_config.tlsParam = m_shared; }
    OwnTlsParam(const OwnTlsParam&) = delete;
    OwnTlsParam& operator=(const OwnTlsParam&) = delete;

private:
    tagHTTP_S_CONFIG_PARAM& m_config;
    tagHTTP_S_TLS_PARAM* m_shared;
};

}  // namespace

std::atomic<unsigned int> HttpProtocol::m_httpInitCnt{0};
tagHTTP_S_TLS_PARAM* HttpProtocol::m_pstTlsPram = nullptr;

// The count is looked at and raised in two steps: the application initialises its services one after the
// other.
unsigned int HttpProtocol::AiUtilityHttpInit() {
    const unsigned int users = m_httpInitCnt.load();
    if (users != 0) {
        // Deliberate: no timeouts for this instance. The services that start later rely on the transport's
        // own.
        UTILITY_LOG_INFO("<AiUtilityHttpInit> http has been inited %d times.", static_cast<int>(users));
        ++m_httpInitCnt;
        return 0;
    }
    if (!MallocTlsParam()) {
        UTILITY_LOG_ERROR("<AiUtilityHttpInit> m_pstTlsPram malloc error!");
        return kHttpProtocolFailed;
    }
    UTILITY_LOG_INFO("<AiUtilityHttpInit> m_pstTlsPram malloc done.");
    const unsigned int result = quor_http_init();
    if (result != 0) {
        // Deliberate: the block stays for the next attempt.
        UTILITY_LOG_ERROR("<AiUtilityHttpInit> call quor_http_init failed: %d.", static_cast<int>(result));
        return kHttpProtocolFailed;
    }
    SetDefaultTimeoutParam();
    UTILITY_LOG_INFO("<AiUtilityHttpInit> http init first time success.");
    ++m_httpInitCnt;
    return 0;
}

// Deliberate: the block goes before the transport, and the count stays lowered when the transport refuses to
// end.
unsigned int HttpProtocol::AiUtilityHttpUninit() {
    if (m_httpInitCnt.load() == 0) {
        UTILITY_LOG_ERROR("<AiUtilityHttpUninit> http not inited.");
        return kHttpProtocolFailed;
    }
    const unsigned int users = --m_httpInitCnt;
    if (users != 0) {
        UTILITY_LOG_INFO("<AiUtilityHttpUninit> http not uninit, still %d users.", static_cast<int>(users));
        return 0;
    }
    if (FreeTlsParam()) {
        UTILITY_LOG_INFO("<AiUtilityHttpUninit> m_pstTlsPram free done.");
    }
    const unsigned int result = quor_http_uninit();
    if (result != 0) {
        UTILITY_LOG_ERROR("<AiUtilityHttpUninit> call quor_http_uninit failed: %d.",
                          static_cast<int>(result));
        return kHttpProtocolFailed;
    }
    return 0;
}

// The second one is kept and passed nowhere.
void HttpProtocol::SetDefaultTimeoutParam() {
    const std::lock_guard<std::mutex> lock(g_tlsLock);
    m_firstTimeout = kFirstTimeoutDefault;
    m_secondTimeout = kSecondTimeoutDefault;
    m_thirdTimeout = kThirdTimeoutDefault;
}

unsigned int HttpProtocol::GetConfigParam(tagHTTP_S_CONFIG_PARAM& config) {
    tagHTTP_S_TLS_PARAM tls;
    return FillConfigParam(config, tls);
}

unsigned int HttpProtocol::AiCommonHttpSynSend(tagHTTP_S_SYN_SEND_PARAM* param) {
    if (param == nullptr) {
        UTILITY_LOG_ERROR("<aiCommonHttpSynSend> param is null");
        return kHttpProtocolFailed;
    }
    tagHTTP_S_TLS_PARAM tls;
    if (FillConfigParam(param->config, tls) != 0) {
        UTILITY_LOG_ERROR("<aiCommonHttpSynSend> GetConfigParam error!");
        return kHttpProtocolFailed;
    }
    const OwnTlsParam own(param->config, tls);
    return quor_http_syn_send(param);
}

// The handle is the callback's to release, which receives it too.
unsigned int HttpProtocol::AiCommonHttpAsynSend(tagHTTP_S_ASYN_SEND_PARAM* param) {
    if (param == nullptr) {
        UTILITY_LOG_ERROR("<aiCommonHttpAsynSend> param is null");
        return kHttpProtocolFailed;
    }
    tagHTTP_S_TLS_PARAM tls;
    if (FillConfigParam(param->config, tls) != 0) {
        UTILITY_LOG_ERROR("<aiCommonHttpAsynSend> GetConfigParam error!");
        return kHttpProtocolFailed;
    }
    const OwnTlsParam own(param->config, tls);
    unsigned long handle = 0;
    return quor_http_asyn_send(param, &handle);
}

// The path is asked for anew every time: certificates that are installed while the library runs count from
// the next request on.
unsigned int HttpProtocol::FillConfigParam(tagHTTP_S_CONFIG_PARAM& config, tagHTTP_S_TLS_PARAM& tls) {
    {
        const std::lock_guard<std::mutex> lock(g_tlsLock);
        config.firstTimeout = m_firstTimeout;
        config.secondTimeout = m_thirdTimeout;
    }
    config.reserved = nullptr;
    config.cipherSuites = &kCipherSuites;
    config.tlsParam = TlsParam();
    if (config.tlsParam == nullptr) {
        UTILITY_LOG_ERROR("<GetConfigParam> m_pstTlsPram is nullptr!");
        return kHttpProtocolFailed;
    }
    QuorOmCertPath certificates = {};
    const unsigned int result = QuorOmCertGetCertPath(&kTrustedCertificates, kNoCertOption, &certificates);
    if (result != 0) {
        UTILITY_LOG_ERROR("QuorOmCertGetCertPath error %u", result);
        return kHttpProtocolNoCertificate;
    }
    tls = {};
    if (strcpy_s(tls.caPath, sizeof(tls.caPath), certificates.path) != 0) {
        UTILITY_LOG_ERROR("<GetConfigParam> strcpy_s error!");
        return kHttpProtocolFailed;
    }
    tls.verifyPeer = kVerifyPeer;
    tls.checkRevocation = kNoRevocationCheck;
    if (!StoreTlsParam(tls)) {  // the last uninit came in between
        UTILITY_LOG_ERROR("<GetConfigParam> m_pstTlsPram is nullptr!");
        return kHttpProtocolFailed;
    }
    return 0;
}

// Makes sure that there is a block. False: no memory.
bool HttpProtocol::MallocTlsParam() {
    if (TlsParam() != nullptr) {
        return true;
    }
    auto* block = static_cast<tagHTTP_S_TLS_PARAM*>(
        OsMemMallocSetCharMon(sizeof(tagHTTP_S_TLS_PARAM), 0, __LINE__, kUtilityLogModule.name));
    const std::lock_guard<std::mutex> guard(g_tlsLock);
    m_pstTlsPram = block;
    return block != nullptr;
}

// False: there was none.
bool HttpProtocol::FreeTlsParam() {
    tagHTTP_S_TLS_PARAM* block = nullptr;
    {
        const std::lock_guard<std::mutex> guard(g_tlsLock);
        block = m_pstTlsPram;
        m_pstTlsPram = nullptr;
    }
    if (block == nullptr) {
        return false;
    }
    OSMemTypeFreeMon(block, __LINE__, kUtilityLogModule.name);
    return true;
}

tagHTTP_S_TLS_PARAM* HttpProtocol::TlsParam() {
    const std::lock_guard<std::mutex> guard(g_tlsLock);
    return m_pstTlsPram;
}

// False: there is no block to store in.
bool HttpProtocol::StoreTlsParam(const tagHTTP_S_TLS_PARAM& tls) {
    const std::lock_guard<std::mutex> guard(g_tlsLock);
    if (m_pstTlsPram == nullptr) {
        return false;
    }
    std::memcpy(m_pstTlsPram, &tls, sizeof(tls));
    return true;
}

}  // namespace QuorAiEngine
