#include "support/face_detect_access.h"

#include <cstring>
#include <memory>

#include "quor_platform/os.h"
#include "utility/http_protocol.h"

namespace QuorAiEngine {

void CloudFaceSrvDetectTestAccess::Reset() {
    CloudFaceSrvDetect& detect = Detect();
    if (detect.m_detectTimer != nullptr) {
        OsFreeRelTimer(detect.m_detectTimer);
        detect.m_detectTimer = nullptr;
    }
    detect.m_inited = false;
    detect.m_faceServerInfo = {};
    std::memset(detect.m_addrSlots, 0, sizeof(detect.m_addrSlots));
    detect.m_slotCount = 0;
    detect.m_httpProtocol = std::make_unique<HttpProtocol>();  // one that was never the first has no timeouts
    CloudFaceSrvDetect::m_lastDetectTime = 0;
}

}  // namespace QuorAiEngine
