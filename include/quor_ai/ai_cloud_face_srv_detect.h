// ai_cloud_face_srv_detect.h - CloudFaceSrvDetect: which of the configured face services answers.
//
// Purpose: keeps up to eight candidates and the credentials, probes every candidate with an authenticated
// request when they are configured and every 30 seconds after, and remembers the one that answered last. An
// application copies what GetValidFaceSrvInfo gives it into its face requests (AiHttpAdapter).
//
// Use, in this order: GetInstance; CloudHttpInit; SetCloudFaceSrvInfo; GetValidFaceSrvInfo before every face
// request; CloudHttpUninit. CloudHttpInit is not counted: one CloudHttpUninit ends what any number of them
// started. Detection runs from SetCloudFaceSrvInfo to CloudHttpUninit; a service that is not configured is
// not looked for. Configured before CloudHttpInit, it is looked for too, but no probe succeeds as long as
// nobody has initialised the transport.
//
// What is valid: every successful answer (status 200 or 302) makes its candidate the valid one; there is no
// ranking. A failed probe and a new configuration leave the valid one as it is, until another one answers or
// CloudHttpUninit forgets it. So url and port may be of the former configuration while account and password
// are of the new one.
//
// Times are the wall clock's: when it is set back, the periodic detection pauses until it has passed the last
// run by 30 seconds again. A tick that comes a moment early is left out.
//
// Threads: CloudHttpInit, SetCloudFaceSrvInfo and CloudHttpUninit are called one after the other, not from a
// callback of the transport; GetValidFaceSrvInfo from any thread. Detection runs on the platform's timer
// thread and inside SetCloudFaceSrvInfo; answers arrive on the transport's callback thread. No call waits for
// an answer, but CloudHttpUninit as the transport's last user waits until outstanding probes are cancelled.
//
// Locks owned: m_faceServerLock (candidates and their count, credentials and the valid service), held while a
// list is parsed, its log records included, while a probe's URL is formatted and for copies; nothing is sent,
// stopped or waited for under it.
//
// The timer is not stopped by the end of the process: the platform ends its timers before the instance goes.
//
// Results: 0 success, -1 failure, unless said otherwise. Failures are logged where they happen. Nothing
// throws.
#ifndef QUOR_AI_AI_CLOUD_FACE_SRV_DETECT_H
#define QUOR_AI_AI_CLOUD_FACE_SRV_DETECT_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

#include "quor_ai/export.h"
#include "quor_ai/face_records.h"
#include "quor_platform/http.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

class HttpProtocol;

// The search for the face service. The head of this file says how it is used and by which threads.
class CloudFaceSrvDetect {
public:
    // The one instance, made by the first call and kept until the process ends. Thread-safe. Null: no memory;
    // a later call tries again.
    QUOR_AI_API static CloudFaceSrvDetect* GetInstance();

    CloudFaceSrvDetect(const CloudFaceSrvDetect&) = delete;
    CloudFaceSrvDetect& operator=(const CloudFaceSrvDetect&) = delete;

    // Starts the transport, or counts one more user of it. Deliberate: called again, it logs an error and
    // returns 0, and nothing is counted.
    QUOR_AI_API int CloudHttpInit();

    // Stops the detection, forgets candidates, credentials and the valid service, and leaves the transport. 0
    // also when nothing was started. -1: something could not be ended; then it counts as started still.
    QUOR_AI_API int CloudHttpUninit();

    // Takes candidates and credentials, probes every candidate and restarts the 30 seconds. faceServerInfo is
    // the caller's again when this returns. A candidate that is not understood is logged and left out; that
    // is no failure, nor is a probe that cannot be sent. -1: the credentials could not be taken, the clock
    // cannot be read or there is no timer.
    //
    // Deliberate: candidates keep their places in the list and as many places as were understood are probed,
    // from the first one on. A candidate that is not understood therefore hides the last good one, and its
    // own place is probed with what an earlier configuration left there.
    QUOR_AI_API int SetCloudFaceSrvInfo(TagQuorAiFaceServerInfo& faceServerInfo);

    // Copies the valid service and the credentials into out. -1: none was found yet, and out is as it was; or
    // the copy failed, and out is empty.
    QUOR_AI_API int GetValidFaceSrvInfo(tagAI_FACE_S_EUA_SERVER_INFO& out);

private:
    friend class CloudFaceSrvDetectTestAccess;

    CloudFaceSrvDetect();
    ~CloudFaceSrvDetect();

    // url_list.cpp. Slots are filled by their place in the list; m_slotCount counts the successes.
    int GetServerUrlList(std::string list)
        QUOR_PLATFORM_THREAD_ATTRIBUTE(requires_capability(m_faceServerLock));
    void GetURLAndPort(std::string item, unsigned int index)
        QUOR_PLATFORM_THREAD_ATTRIBUTE(requires_capability(m_faceServerLock));
    int AiFaceHandleUrlWithoutProtocolAndPort(std::string item, unsigned int index)
        QUOR_PLATFORM_THREAD_ATTRIBUTE(requires_capability(m_faceServerLock));
    int AiFaceHandleUrlOnlyWithProtocol(std::string item, unsigned int index)
        QUOR_PLATFORM_THREAD_ATTRIBUTE(requires_capability(m_faceServerLock));
    int AiFaceHandleUrlOnlyWithPort(std::string item, std::size_t afterColon, unsigned int index)
        QUOR_PLATFORM_THREAD_ATTRIBUTE(requires_capability(m_faceServerLock));
    int AiFaceHandleUrlWithProtocolAndPort(std::string item, std::size_t afterSecondColon, unsigned int index)
        QUOR_PLATFORM_THREAD_ATTRIBUTE(requires_capability(m_faceServerLock));
    static int PortStringToInt(std::string text, unsigned int& port);
    static int ParseHostPort(std::string host);

    // server_detect.cpp
    int AiFaceDoServerDetect(bool force);
    bool IsProbed(const tagAiFaceServerAddrInfo& slot);
    int HttpServerConnectingDetect(tagAiFaceServerAddrInfo* slot, const char* account,
                                   unsigned int accountCapacity, const char* password,
                                   unsigned int passwordCapacity);
    int FormatProbeUrl(const tagAiFaceServerAddrInfo& slot, char* url, std::size_t capacity);
    static unsigned int FaceServerDetectRspNotify(unsigned long handle, EN_HTTP_ERRORCODE error,
                                                  tagST_HTTP_RSP* pstHttpRsp, void* userData);
    int SetValidFaceSrvInfo(tagAiFaceServerAddrInfo* slot);

    // detect_timer.cpp
    int RestartServerDetectTimer();
    static void ServerDetectTimer(void* arg);
    int StopServerDetect(bool clean);
    int CleanServerInfo();

    static OsMutex m_faceServerLock;
    static std::atomic<long long> m_lastDetectTime;  // the wall clock's seconds

    std::atomic<bool> m_inited;
    tagAI_FACE_S_EUA_SERVER_INFO m_faceServerInfo
        QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_faceServerLock));
    tagAiFaceServerAddrInfo m_addrSlots[kQuorAiFaceServerMax] QUOR_PLATFORM_THREAD_ATTRIBUTE(
        guarded_by(m_faceServerLock));
    unsigned int m_slotCount QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_faceServerLock));
    OsRelTimer m_detectTimer;  // of the threads that configure
    std::unique_ptr<HttpProtocol> m_httpProtocol;
};

}  // namespace QuorAiEngine

#endif
