// The repetition of the detection, and its end.
#include "common/scope.h"
#include "face_detect/face_log.h"
#include "quor_ai/ai_cloud_face_srv_detect.h"
#include "quor_platform/bounded.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

namespace {

constexpr unsigned int kDetectPeriodMs = 30000;

// Zeroes a record, also one that the platform refuses to overwrite. Returns the platform's result.
template <typename Record>
int Clean(Record& record) {
    const int result = memset_s(&record, sizeof(record), 0, sizeof(record));
    if (result != 0) {
        WipeBytes(reinterpret_cast<char*>(&record), sizeof(record));
    }
    return result;
}

}  // namespace

// Deliberate: only the making of the timer is checked, with a text that names its start.
int CloudFaceSrvDetect::RestartServerDetectTimer() {
    if (m_detectTimer != nullptr) {
        OsStopRelTimerSafe(m_detectTimer);
        OsStartRelTimer(m_detectTimer, kDetectPeriodMs, OS_REL_TIMER_MODE_REPEAT);
        FACE_TRACE("%s", "<RestartServerDetectTimer> Start Timer Succeed.");
        return 0;
    }
    m_detectTimer = OsCreateRelTimerM(ServerDetectTimer, nullptr, __LINE__, kFaceLogModule.name);
    if (m_detectTimer == nullptr) {
        FACE_LOG_ERROR("<RestartServerDetectTimer> failed: Start rel timer failed");
        return -1;
    }
    OsStartRelTimer(m_detectTimer, kDetectPeriodMs, OS_REL_TIMER_MODE_REPEAT);
    FACE_LOG_INFO("<RestartServerDetectTimer> Start Timer Succeed.");
    return 0;
}

void CloudFaceSrvDetect::ServerDetectTimer(void* /*arg*/) {
    FACE_TRACE("%s", "<ServerDetectTimer> enter timer.");
    if (CloudFaceSrvDetect* detect = GetInstance()) {
        detect->AiFaceDoServerDetect(false);
    }
}

// Deliberate: the time of the last run stays, also for the next start.
int CloudFaceSrvDetect::StopServerDetect(bool clean) {
    FACE_LOG_INFO("<StopServerDetect> IN.");
    if (m_detectTimer != nullptr) {
        OsStopRelTimerSafe(m_detectTimer);
        OsFreeRelTimer(m_detectTimer);
        m_detectTimer = nullptr;
    }
    if (clean) {
        FACE_LOG_INFO("<StopServerDetect> clean server info.");
        if (CleanServerInfo() != 0) {
            FACE_LOG_ERROR("<StopServerDetect> memset_s failed");
            return -1;
        }
    }
    FACE_LOG_INFO("<StopServerDetect> SUCCESS.");
    return 0;
}

// Nothing of a configuration stays, whatever the platform says: not its credentials, nor a candidate that the
// next one could probe by mistake.
int CloudFaceSrvDetect::CleanServerInfo() {
    const ScopedOsLock lock(m_faceServerLock);
    m_slotCount = 0;
    const int infoResult = Clean(m_faceServerInfo);
    const int slotsResult = Clean(m_addrSlots);
    return infoResult == 0 && slotsResult == 0 ? 0 : -1;
}

}  // namespace QuorAiEngine
