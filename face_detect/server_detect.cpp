// One run of the detection: a probe for every candidate, and what its answer changes.
#include <cstring>
#include <exception>

#include "common/scope.h"
#include "face_detect/face_log.h"
#include "quor_ai/ai_cloud_face_srv_detect.h"
#include "quor_platform/bounded.h"
#include "utility/http_protocol.h"
#include "utility/request_scope.h"

namespace QuorAiEngine {

namespace {

constexpr long long kDetectPeriodSec = 30;
constexpr char kProbePath[] = "/eua/face/v1/version";
constexpr std::size_t kUrlCapacity = 256;
constexpr unsigned int kHeaderNum = 2;
constexpr unsigned long kStatusOk = 200;
constexpr unsigned long kStatusFound = 302;  // a redirect: somebody is there
constexpr std::size_t kAccountCapacity = sizeof(tagAI_FACE_S_EUA_SERVER_INFO::account);
constexpr std::size_t kPasswordCapacity = sizeof(tagAI_FACE_S_EUA_SERVER_INFO::password);

}  // namespace

// Nothing is sent under the lock, because an answer may arrive inside the send and takes it.
int CloudFaceSrvDetect::AiFaceDoServerDetect(bool force) {
    long long nowSec = 0;
    if (HttpProtocol::GetSystemUptime(&nowSec) != 0) {
        FACE_LOG_ERROR("<AiFaceDoServerDetect> Get system up time failed.");
        return -1;
    }
    // Deliberate: in whole seconds of the wall clock, so that an early tick and a clock that was set back
    // leave the run out; an error line, because log readers know it so.
    if (!force && nowSec - m_lastDetectTime.load() < kDetectPeriodSec) {
        FACE_LOG_ERROR("<AiFaceDoServerDetect> not reach 30s");
        return -1;
    }
    m_lastDetectTime = nowSec;
    SecretBuffer<kAccountCapacity> account;
    SecretBuffer<kPasswordCapacity> password;
    unsigned int slotCount = 0;
    tagAiFaceServerAddrInfo* slots = nullptr;
    {
        const ScopedOsLock lock(m_faceServerLock);
        std::memcpy(account.Data(), m_faceServerInfo.account, kAccountCapacity);
        std::memcpy(password.Data(), m_faceServerInfo.password, kPasswordCapacity);
        slotCount = m_slotCount;
        slots = m_addrSlots;
    }
    FACE_TRACE("<AiFaceDoServerDetect> do Server dectect, serverNum = %u", slotCount);
    for (unsigned int i = 0; i < slotCount; ++i) {
        if (!IsProbed(slots[i])) {
            FACE_LOG_ERROR("<AiFaceDoServerDetect> ParseHostPort failed. %u-%u", slotCount, i);
        } else if (HttpServerConnectingDetect(&slots[i], account.Data(), kAccountCapacity, password.Data(),
                                              kPasswordCapacity) != 0) {
            FACE_LOG_ERROR("<AiFaceDoServerDetect> HttpServerConnectingDetect failed. %u-%u", slotCount, i);
        }
    }
    return force ? RestartServerDetectTimer() : 0;
}

// Only an IPv4 address is probed: a name would have to be resolved for every probe.
bool CloudFaceSrvDetect::IsProbed(const tagAiFaceServerAddrInfo& slot) {
    char host[sizeof(slot.host)];
    {
        const ScopedOsLock lock(m_faceServerLock);
        std::memcpy(host, slot.host, sizeof(host));
    }
    try {
        return ParseHostPort(host) == 0;
    } catch (const std::exception&) {
        return false;
    }
}

int CloudFaceSrvDetect::FormatProbeUrl(const tagAiFaceServerAddrInfo& slot, char* url, std::size_t capacity) {
    const ScopedOsLock lock(m_faceServerLock);
    return sprintf_s(url, capacity, "%s%s:%u%s", slot.protocol, slot.host, slot.port, kProbePath);
}

// The answer carries the slot's address: the table lives as long as the process, so that a late answer finds
// a slot, though perhaps one that was configured anew.
int CloudFaceSrvDetect::HttpServerConnectingDetect(tagAiFaceServerAddrInfo* slot, const char* account,
                                                   unsigned int accountCapacity, const char* password,
                                                   unsigned int passwordCapacity) {
    if (slot == nullptr || account == nullptr || password == nullptr) {
        FACE_LOG_ERROR("Null ptr.");
        return -1;
    }
    char url[kUrlCapacity] = {};
    const int urlLen = FormatProbeUrl(*slot, url, sizeof(url));
    if (urlLen < 0) {
        FACE_LOG_ERROR("<HttpServerConnectingDetect> sprintf_s ret %d.", urlLen);
        return -1;
    }
    RequestHeaders<kHeaderNum> headers;
    // Deliberate: the texts name a step that has no function of its own; log readers know it so.
    if (HttpProtocol::GenerateHeaderAccount(headers.Get()[0], account, accountCapacity) != 0) {
        FACE_LOG_ERROR("<FillDetectHeader> GenerateHeaderAccount failed !!!");
        return -1;
    }
    if (HttpProtocol::GenerateHeaderPwd(headers.Get()[1], password, passwordCapacity) != 0) {
        FACE_LOG_ERROR("<FillDetectHeader> GenerateHeaderPwd failed !!!");
        return -1;
    }
    tagHTTP_S_ASYN_SEND_PARAM param = {};
    if (memset_s(&param, sizeof(param), 0, sizeof(param)) != 0) {
        FACE_LOG_ERROR("<HttpServerConnectingDetect> memset_s error!");
        return -1;
    }
    param.url = url;
    param.method = QUOR_HTTP_METHOD_GET;
    param.headers = headers.Get();
    param.headerCount = RequestHeaders<kHeaderNum>::Count();
    param.callback = FaceServerDetectRspNotify;
    param.userData = slot;
    const unsigned int result = m_httpProtocol->AiCommonHttpAsynSend(&param);
    if (headers.Wipe() != 0) {
        FACE_LOG_ERROR("<HttpServerConnectingDetect> memset_s error!");
        return -1;
    }
    if (result != 0) {
        FACE_LOG_ERROR("<HttpServerConnectingDetect> AiCommonHttpAsynSend ret %d.", static_cast<int>(result));
        return -1;
    }
    return 0;
}

// Deliberate: a probe that failed changes nothing; the valid service stays until another one answers.
unsigned int CloudFaceSrvDetect::FaceServerDetectRspNotify(unsigned long handle, EN_HTTP_ERRORCODE error,
                                                           tagST_HTTP_RSP* pstHttpRsp, void* userData) {
    const AnswerHandle answer(handle);
    FACE_TRACE("%s", "<FaceServerDetectRspNotify> IN.");
    auto* slot = static_cast<tagAiFaceServerAddrInfo*>(userData);
    if (slot == nullptr) {
        FACE_LOG_ERROR("<FaceServerDetectRspNotify> serverAddrInfo is nullptr.");
        return kHttpProtocolFailed;
    }
    if (pstHttpRsp == nullptr) {
        FACE_LOG_ERROR("<FaceServerDetectRspNotify> pstHttpRsp is nullptr.");
        return kHttpProtocolFailed;
    }
    const bool answered = error == HTTP_ERRORCODE_OK || error == HTTP_ERRORCODE_OK_ALSO;
    const unsigned long status = pstHttpRsp->statusCode;
    if (!answered || (status != kStatusOk && status != kStatusFound)) {
        FACE_TRACE("<FaceServerDetectRspNotify> detect error code : %d, %d.", static_cast<int>(error),
                   static_cast<int>(status));
        return 0;
    }
    CloudFaceSrvDetect* detect = GetInstance();
    if (detect == nullptr || detect->SetValidFaceSrvInfo(slot) != 0) {
        FACE_LOG_ERROR("<FaceServerDetectRspNotify> SetValidFaceSrvInfo failed.");
        return kHttpProtocolFailed;
    }
    return 0;
}

// A text that does not fit leaves the former valid service as it is. The address itself is never logged.
int CloudFaceSrvDetect::SetValidFaceSrvInfo(tagAiFaceServerAddrInfo* slot) {
    unsigned int port = 0;
    {
        const ScopedOsLock lock(m_faceServerLock);
        char url[sizeof(m_faceServerInfo.url)] = {};
        if (sprintf_s(url, sizeof(url), "%s%s", slot->protocol, slot->host) < 0) {
            FACE_LOG_ERROR("<SetValidFaceSrvInfo> sprintf_s failed.");
            return -1;
        }
        std::memcpy(m_faceServerInfo.url, url, sizeof(url));
        m_faceServerInfo.port = slot->port;
        port = slot->port;
    }
    FACE_TRACE("<SetValidFaceSrvInfo> Set m_faceServerInfo url to ****, port to %d", static_cast<int>(port));
    return 0;
}

}  // namespace QuorAiEngine
