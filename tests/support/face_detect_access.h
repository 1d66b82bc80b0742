// face_detect_access.h - the way of tests to CloudFaceSrvDetect's private members, which name this class a
// friend.
#ifndef TESTS_SUPPORT_FACE_DETECT_ACCESS_H
#define TESTS_SUPPORT_FACE_DETECT_ACCESS_H

#include <string>

#include "quor_ai/ai_cloud_face_srv_detect.h"

#define QUOR_TEST_NO_LOCK QUOR_PLATFORM_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace QuorAiEngine {

class CloudFaceSrvDetectTestAccess {
public:
    static CloudFaceSrvDetect& Detect() { return *CloudFaceSrvDetect::GetInstance(); }

    // As after the process started, but for the instance; a timer is given back, the transport is not left.
    static void Reset() QUOR_TEST_NO_LOCK;

    // ---- State ----
    static bool Inited() { return Detect().m_inited.load(); }
    static tagAI_FACE_S_EUA_SERVER_INFO& Info() QUOR_TEST_NO_LOCK { return Detect().m_faceServerInfo; }
    static tagAiFaceServerAddrInfo& Slot(unsigned i) QUOR_TEST_NO_LOCK { return Detect().m_addrSlots[i]; }
    static unsigned& SlotCount() QUOR_TEST_NO_LOCK { return Detect().m_slotCount; }
    static OsRelTimer Timer() { return Detect().m_detectTimer; }
    static long long LastDetectTime() { return CloudFaceSrvDetect::m_lastDetectTime.load(); }
    static OsMutex& Lock() { return CloudFaceSrvDetect::m_faceServerLock; }
    static HttpProtocol& Protocol() { return *Detect().m_httpProtocol; }
    static OsRelTimerCallback TimerCallback() { return &CloudFaceSrvDetect::ServerDetectTimer; }

    // ---- List ----
    static int Parse(const std::string& list) QUOR_TEST_NO_LOCK { return Detect().GetServerUrlList(list); }
    static int PortOf(const std::string& text, unsigned& port) {
        return CloudFaceSrvDetect::PortStringToInt(text, port);
    }
    static int HostOf(const std::string& host) { return CloudFaceSrvDetect::ParseHostPort(host); }

    // ---- Detection ----
    static int Run(bool force) { return Detect().AiFaceDoServerDetect(force); }
    static int Probe(tagAiFaceServerAddrInfo* slot, const char* account, const char* password) {
        return Detect().HttpServerConnectingDetect(slot, account, 256, password, 1024);
    }
    static unsigned Answered(unsigned long handle, EN_HTTP_ERRORCODE error, tagST_HTTP_RSP* rsp,
                             void* userData) {
        return CloudFaceSrvDetect::FaceServerDetectRspNotify(handle, error, rsp, userData);
    }
    static int SetValid(tagAiFaceServerAddrInfo& slot) { return Detect().SetValidFaceSrvInfo(&slot); }
    static int RestartTimer() { return Detect().RestartServerDetectTimer(); }
    static int Stop(bool clean) { return Detect().StopServerDetect(clean); }
};

}  // namespace QuorAiEngine

#endif
