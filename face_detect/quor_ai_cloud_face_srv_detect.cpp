// The singleton, its start and its stop, and what the application gives and takes.
#include "quor_ai/ai_cloud_face_srv_detect.h"

#include <cstring>
#include <exception>

#include "common/scope.h"
#include "face_detect/face_log.h"
#include "quor_platform/bounded.h"
#include "utility/http_protocol.h"

namespace QuorAiEngine {

OsMutex CloudFaceSrvDetect::m_faceServerLock = OS_MUTEX_INITIALIZER;
std::atomic<long long> CloudFaceSrvDetect::m_lastDetectTime{0};

CloudFaceSrvDetect* CloudFaceSrvDetect::GetInstance() {
    try {
        static CloudFaceSrvDetect instance;
        return &instance;
    } catch (const std::exception&) {
        return nullptr;
    }
}

CloudFaceSrvDetect::CloudFaceSrvDetect()
    : m_inited(false),
      m_faceServerInfo{},
      m_addrSlots{},
      m_slotCount(0),
      m_detectTimer(nullptr),
      m_httpProtocol(std::make_unique<HttpProtocol>()) {}

// Deliberate: the timer is the platform's by then, which stopped its thread before this runs.
CloudFaceSrvDetect::~CloudFaceSrvDetect() = default;

int CloudFaceSrvDetect::CloudHttpInit() {
    if (m_inited.load()) {  // deliberate: an error line and a success; log readers know it so
        FACE_LOG_ERROR("<CloudHttpInit> has been inited.");
        return 0;
    }
    if (m_httpProtocol->AiUtilityHttpInit() != 0) {
        FACE_LOG_ERROR("<CloudHttpInit> call AiUtilityHttpInit failed");
        return -1;
    }
    m_inited = true;
    FACE_LOG_INFO("<CloudHttpInit> Init success.");
    return 0;
}

// Deliberate: after a failure this counts as started still, so that the application sees every later try fail
// until the transport has another user.
int CloudFaceSrvDetect::CloudHttpUninit() {
    if (!m_inited.load()) {
        FACE_LOG_ERROR("<CloudHttpUninit> not inited.");
        return 0;
    }
    if (StopServerDetect(true) != 0) {
        FACE_LOG_ERROR("<CloudHttpUninit> call StopServerDetect failed");
        return -1;
    }
    if (m_httpProtocol->AiUtilityHttpUninit() != 0) {
        FACE_LOG_ERROR("<CloudHttpUninit> call AiUtilityHttpUninit failed");
        return -1;
    }
    m_inited = false;
    FACE_LOG_INFO("<CloudHttpUninit> Uninit success.");
    return 0;
}

// Deliberate: the valid service stays, so that face requests go on while the new candidates are probed.
int CloudFaceSrvDetect::SetCloudFaceSrvInfo(TagQuorAiFaceServerInfo& faceServerInfo) {
    {
        const ScopedOsLock lock(m_faceServerLock);
        m_slotCount = 0;  // also when the list cannot be read: these credentials are for no former candidate
        int listed = -1;
        try {
            listed = GetServerUrlList(
                std::string(faceServerInfo.addressList,
                            strnlen(faceServerInfo.addressList, sizeof(faceServerInfo.addressList))));
        } catch (const std::exception&) {
            listed = -1;  // no memory for its texts; the items before are taken
        }
        if (listed != 0) {
            FACE_LOG_ERROR("<SetCloudFaceSrvInfo> GetServerUrlList error.");
        }
        // The fields as they are, terminated or not: who reads them knows their capacities.
        if (memcpy_s(m_faceServerInfo.account, sizeof(m_faceServerInfo.account), faceServerInfo.account,
                     sizeof(faceServerInfo.account)) != 0 ||
            memcpy_s(m_faceServerInfo.password, sizeof(m_faceServerInfo.password), faceServerInfo.password,
                     sizeof(faceServerInfo.password)) != 0) {
            FACE_LOG_ERROR("<SetCloudFaceSrvInfo> mem cpy error");
            return -1;
        }
    }
    if (AiFaceDoServerDetect(true) != 0) {
        FACE_LOG_ERROR("<SetCloudFaceSrvInfo> AiFaceDoServerDetect error");
        return -1;
    }
    return 0;
}

// Deliberate: whether there is a valid service is tested under the lock and not before it: the first answer
// writes the address on the transport's thread.
int CloudFaceSrvDetect::GetValidFaceSrvInfo(tagAI_FACE_S_EUA_SERVER_INFO& out) {
    bool found = false;
    bool copied = false;
    {
        const ScopedOsLock lock(m_faceServerLock);
        found = m_faceServerInfo.url[0] != '\0';
        copied = found && memcpy_s(&out, sizeof(out), &m_faceServerInfo, sizeof(m_faceServerInfo)) == 0;
    }
    if (!found) {
        FACE_LOG_ERROR("<GetValidFaceSrvInfo> have no valid server url");
        return -1;
    }
    if (!copied) {
        FACE_LOG_ERROR("<GetValidFaceSrvInfo> mem cpy error");
        return -1;
    }
    return 0;
}

}  // namespace QuorAiEngine
