// ai_http_adapter.h - AiHttpAdapter: every HTTPS request of the library to the conference management server
// and to the face service.
//
// Purpose: takes requests, sends them, parses the answers and hands them to observers.
//
// Use, in this order: GetInstance; Attach; CloudHttpInit; requests; CloudHttpUninit; Detach. CloudHttpInit
// and CloudHttpUninit come in pairs and may be nested; only the first and the last one do anything. They are
// called one after the other, from whatever threads.
//
// Requests take two roads. CloudQueryConfList, CloudFaceRecogPhoto and CloudQueryFacePhoto copy the record
// into a queue of 30; a dispatcher thread hands it to 11 worker threads, which send and wait. Of what they
// cannot start at once 50 may wait; a further one is dropped without a word. The other requests are sent by
// the caller's thread, which may wait for the resolution of a name but never for the answer. Every record
// belongs to the caller again when the call returns, except that a resolved address replaces a name in it.
// Result 0: the request is on its way, and what becomes of it comes to the observers. Otherwise nothing does,
// with one exception: when an asynchronous request fails inside the transport, its observers are told as of
// any other failure. Requests made before the first CloudHttpInit are kept in the queue and run after it; the
// asynchronous ones fail.
//
// Threads: every operation is callable from any thread. Observers run on a worker thread (AI_SUB_ID_QUERY_
// CONF_LIST, AI_SUB_ID_FACE_RECOGNIZE, AI_SUB_ID_FACE_PHOTO) or on the transport's callback thread (all
// others), one notification at a time. Inside Update an observer must not call Attach, Detach or Notify,
// because the lock of the observers is held, and not CloudHttpUninit, which waits for that very thread. The
// transport may refuse an asynchronous request at once, and then it notifies inside the call: make those on
// another thread. Queued requests may be made inside Update. A slow observer holds up all others.
//
// Locks owned: m_observersLock (Attach, Detach, a whole notification); m_msgBufferLock (photo notifications)
// and m_siteInfoBufferLock (a whole participant query), each held while observers run and taken before
// m_observersLock, never both together; m_loginLock (while the login client takes the callback);
// m_threadPoolLock (start and end of the workers, and while a request is handed to them, for which the pool
// takes its own lock); m_instanceLock (the making of the instance); m_confTokenLock (the last token), under
// which nothing else is locked.
//
// Shutdown: the last CloudHttpUninit runs what was handed to the workers to its end, then cancels what is
// outstanding in the transport, whose observers are told. Three things go with it:
// - the copies of requests that are still in the queue, at most 30, are not freed;
// - a request that is made within half a second after it may be dropped instead of waiting for the next
//   CloudHttpInit;
// - when the transport refuses to end, the result buffers (5 MB) stay for the next CloudHttpInit.
// A CloudHttpInit that fails after the transport was started leaves the transport and the buffers for its
// repetition; the transport then runs until the process ends.
//
// A bounded loss: the copy of an asynchronous request that fails before the transport was asked (not
// initialised, no trusted certificates) is not freed, because only the answer frees it: 464, 5872, 16580 or
// 1016 bytes for a sign-in query, a sign-in report, an account query or a match report.
//
// Results: 0 success, -1 failure (0xFFFFFFFF where unsigned), unless said otherwise. A failure is logged
// where it happens and again by each operation that it ends; nothing is retried. Nothing throws.
#ifndef QUOR_AI_AI_HTTP_ADAPTER_H
#define QUOR_AI_AI_HTTP_ADAPTER_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "quor_ai/export.h"
#include "quor_ai/http_records.h"
#include "quor_ai/ids.h"
#include "quor_ai/observer.h"
#include "quor_ai/result.h"
#include "quor_platform/http.h"
#include "quor_platform/os.h"
#include "thread_pool/queue.h"

struct cJSON;

namespace QuorAiComm {
class ThreadPool;
}

namespace QuorAiEngine {

class HttpProtocol;
class ScopedOsLock;
struct TagQuorAiQueryAccountSignInfo;

// The HTTPS requests. The head of this file says how it is used and by which threads.
class AiHttpAdapter {
public:
    // The one instance, made by the first call and kept until the process ends. Null: no memory; a later call
    // tries again.
    QUOR_AI_API static AiHttpAdapter* GetInstance();

    AiHttpAdapter(const AiHttpAdapter&) = delete;
    AiHttpAdapter& operator=(const AiHttpAdapter&) = delete;

    // ---- Lifecycle ----

    // Starts the transport, the workers and the dispatcher, or counts one more user of them. -1: no memory,
    // no thread, or the transport could not be started; it is not initialised then.
    QUOR_AI_API int CloudHttpInit();

    // Ends what CloudHttpInit started when the last user leaves, and waits for it: what the workers took runs
    // to its end, at most 61 requests, each bounded by the transport's time limits, participant lists one
    // after the other. The platform may offer to end them at once. 0 also when nothing was started. -1: the
    // transport refused to end; nothing is started any more all the same.
    QUOR_AI_API int CloudHttpUninit();

    // ---- Observers ----

    // Adds observer at the end; shares its ownership until Detach. Added twice, it is called twice. 0; -1: no
    // memory.
    QUOR_AI_API int Attach(std::shared_ptr<ICloudSrvObserver> observer);

    // Removes the first entry of observer. 0, or -1 when it is not attached. When it returns no notification
    // of observer is under way (unless it is attached twice). The observer may be destroyed inside the call.
    QUOR_AI_API int Detach(const ICloudSrvObserver* observer);

    // Calls Update of every attached observer, in order, on this thread, with the lock of the observers held.
    // data stays the caller's. Without data nobody is called.
    QUOR_AI_API void Notify(TagQuorAiSubId id, unsigned char* data, unsigned int len);

    // ---- Conference management server ----

    // Asks for all participants, page by page. Answer: AI_SUB_ID_QUERY_CONF_LIST, TagQuorAiConfList, once for
    // the whole list; nothing when a page fails. More than kQuorAiSiteMax are not delivered: of a server that
    // keeps to the page size the first kQuorAiSiteMax are. Waits at most half a second for room in the queue.
    // -1: a null record, no memory, or no room.
    QUOR_AI_API unsigned int CloudQueryConfList(TagQuorAiKelInfo* cloudKelInfo);

    // Asks for one page of a sign-in list. Answer: AI_SUB_ID_QUERY_SIGN_IN, TagQuorAiGetSignIn; nothing on
    // failure, also when the page has more than kQuorAiSignInMax entries. The result is the transport's when
    // it was asked (EN_HTTP_ERRORCODE).
    QUOR_AI_API unsigned int CloudQuerySignInInfo(TagQuorAiQuerySignIn& querySignIn);

    // Reports who signed in at the terminal. Answer: AI_SUB_ID_REPORT_SIGN_IN, TagQuorAiReportSiginIn, on
    // success and on failure: see its result. The result is the transport's when it was asked.
    QUOR_AI_API unsigned int CloudReportSignInInfo(TagQuorAiReportSiginIn& reportSignIn);

    // Asks whether an account has signed in. Answer: AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN,
    // TagQuorAiAccountCheckInInfo, on success and when the server or the transport failed; nothing when the
    // answer is not understood. The result is the transport's when it was asked.
    QUOR_AI_API unsigned int CloudQueryAccountSignInInfo(TagQuorAiQuerySignAccount& querySignAccount);

    // Reports that a face was matched to a speaker. Answer: AI_SUB_ID_REPORT_AV_MATCH, TagQuorAiAVMatchtData,
    // on success and on failure: see its success. The result is the transport's when it was asked.
    QUOR_AI_API unsigned int CloudReportAVMatchInfo(TagQuorAiAVMatchtData& avMatchData);

    // Does nothing and returns 0.
    QUOR_AI_API unsigned int CloudQueryRSEAddress(QuorAiRseAddressData& rseAddressData);

    // ---- Face service ----

    // Asks who is on a picture, whose bytes follow the record. Answer: AI_SUB_ID_FACE_RECOGNIZE,
    // tagQuorAiFaceEUADetectResult; nothing when the transport failed or the server refused. Waits at most
    // half a second for room in the queue. -1: a null record, an empty picture, one of more than
    // 4,294,965,739 bytes, no memory, or no room.
    QUOR_AI_API unsigned int CloudFaceRecogPhoto(tagAI_FACE_S_DETECT_INFO* recogInfo);

    // Asks for the photos of users or the photos of the given ids. Answer: AI_SUB_ID_FACE_PHOTO,
    // TagQuorAiFacePhotoList, as often as needed; nothing marks the last one. Nothing on failure, nor when an
    // answer has nothing usable. Ids that together do not fit the URL are a failure, and so is an answer that
    // is longer than the platform's limit of an answer: twelve photos of the largest size are 67 MB of
    // base64. Of an answer the first kQuorAiFacePhotoMax items count. Photos that are too big and items
    // without status or id are left out: the log tells it, no observer learns of it. Waits at most half a
    // second for room in the queue. -1: a null record, no memory, or no room.
    QUOR_AI_API unsigned int CloudQueryFacePhoto(TagQuorAiFacePhotoParam* faceParam);

private:
    friend class AiHttpAdapterTestAccess;

    static constexpr std::size_t kRequestQueueCapacity = 30;
    static constexpr std::size_t kConfTokenCapacity = 256;

    // What became of a request on its way into the queue.
    enum class QueueResult { kQueued, kNoMemory, kCopyFailed, kFull };
    // What became of a token on its way into a header.
    enum class TokenResult { kCopied, kNoToken, kCopyFailed };

    AiHttpAdapter();
    // For an instance that was never started, as tests make them: a dispatcher uses its instance for up to
    // half a second after the last CloudHttpUninit, and the answers of asynchronous requests may use it at
    // any time.
    ~AiHttpAdapter();

    // Zero-filled memory, null when there is none.
    static void* operator new(std::size_t size, const std::nothrow_t& tag) noexcept;
    static void operator delete(void* p) noexcept;
    static void operator delete(void* p, const std::nothrow_t& tag) noexcept;

    // quor_ai_http_adapter.cpp
    static int MallocMsgBuffer();
    bool StartWorkers();
    void StartDispatcher() QUOR_PLATFORM_THREAD_ATTRIBUTE(requires_capability(m_threadPoolLock));
    void EndWorkers();

    // dispatcher.cpp
    static void HttpQueueThread(AiHttpAdapter* adapter, unsigned int generation) noexcept;
    void RunOnPool(TagAiCloudSrvResult& record);
    int AiHttpProcSyncRequest(TagQuorAiSubId id, void* data, unsigned int length);

    // queued_requests.cpp
    QueueResult QueueCopy(TagQuorAiSubId id, const void* record, unsigned int length);

    // answer_check.cpp, observers.cpp
    static int GetErrorCode(EN_HTTP_ERRORCODE ret, const tagST_HTTP_RSP* pstHttpRsp);
    static int GetErrorMessage(const cJSON* root, char* message, unsigned int messageCapacity, char* code,
                               unsigned int codeCapacity);
    static void NotifyDetectKELServer(int ret);

    // conf_token.cpp
    int MonitorConfToken();
    TokenResult CopyConfToken(tagHTTP_HEADER& header);
    int FetchConfToken(char* token);
    static int RegisterLogin();
    void ForgetConfToken();

    // participant_list.cpp
    int DoQueryConfList(TagQuorAiKelInfo* kelInfo);
    static int GenerateConfListHeader(tagHTTP_HEADER* headers, unsigned int headerNum, const char* token,
                                      unsigned int tokenLimit);
    static int AssignQueryConfListParam(tagHTTP_S_SYN_SEND_PARAM& param, const char* body,
                                        unsigned int bodyLen, tagHTTP_HEADER* headers,
                                        unsigned int headerNum);
    int QueryConfListGetUrl(TagQuorAiKelInfo* kelInfo, tagHTTP_S_SYN_SEND_PARAM& param, bool& hasMore,
                            unsigned int& page, ScopedOsLock& siteInfoLock);
    int CloudQueryConfListPage(tagHTTP_S_SYN_SEND_PARAM& param, bool& hasMore, TagQuorAiConfList* buffer);
    static int ParseConfListToBuffer(const char* body, bool& hasMore, TagQuorAiConfList* buffer);
    static int HttpJsonGetStr(const cJSON* object, const char* key, char* out, unsigned int capacity);

    // sign_in_query.cpp
    static int GetQuerySignInfoUrl(const TagQuorAiQuerySignIn& querySignIn, char* url, unsigned int capacity);
    static unsigned int QuerySignInRspNotify(unsigned long handle, EN_HTTP_ERRORCODE ret,
                                             tagST_HTTP_RSP* pstHttpRsp, void* userData);
    static int NotifySignInAnswer(const tagST_HTTP_RSP& pstHttpRsp, const TagQuorAiQuerySignIn& querySignIn);
    static int ParseSignInRes(const char* body, TagQuorAiGetSignIn& result);
    static int ParseSigninCommonField(const cJSON* item, TagQuorAiGetSigninContent& entry);
    static int ParseSignedUniqueField(const cJSON* item, TagQuorAiGetSigninContent& entry);

    // sign_in_report.cpp
    unsigned int SendSignInReport(TagQuorAiReportSiginIn& reportSignIn);
    static int GenerateReportUrl(TagQuorAiReportSiginIn& reportSignIn, std::string& url);
    int GenerateReportHeader(tagHTTP_HEADER* headers, unsigned int headerNum,
                             const TagQuorAiReportSiginIn& reportSignIn);
    static char* GenerateReportBody(const TagQuorAiReportSiginIn& reportSignIn);
    static TagQuorAiReportSiginIn* NewReportSigninInfo(const TagQuorAiReportSiginIn& reportSignIn);
    static unsigned int ReportSignInRspNotify(unsigned long handle, EN_HTTP_ERRORCODE ret,
                                              tagST_HTTP_RSP* pstHttpRsp, void* userData);

    // account_sign_in.cpp
    unsigned int SendAccountQuery(TagQuorAiQuerySignAccount& querySignAccount);
    int GenerateAccountSignIn(char* url, tagHTTP_HEADER* headers, TagQuorAiQueryAccountSignInfo* userInfo,
                              TagQuorAiQuerySignAccount& querySignAccount);
    int GenerateAccountSignInHeader(tagHTTP_HEADER* headers, unsigned int headerNum);
    static int GenerateAccountSignInInfo(TagQuorAiQueryAccountSignInfo* userInfo,
                                         const TagQuorAiQuerySignAccount& querySignAccount);
    static std::string GenerateReportAccountSignJson(const TagQuorAiQueryAccountSignInfo* userInfo);
    static unsigned int QueryAutoSignInRspNotify(unsigned long handle, EN_HTTP_ERRORCODE ret,
                                                 tagST_HTTP_RSP* pstHttpRsp, void* userData);
    static int NotifyAccountAnswer(EN_HTTP_ERRORCODE ret, const tagST_HTTP_RSP* pstHttpRsp);
    static int ParseAutoSignInRes(const char* body, TagQuorAiAccountCheckInInfo& result);

    // av_match_report.cpp
    unsigned int SendAVMatchReport(const TagQuorAiAVMatchtData& avMatchData);
    int GenerateAVmatchReportHeader(tagHTTP_HEADER* headers, unsigned int headerNum,
                                    const std::string& token);
    static std::string GenerateReportAVMatchBody(const TagQuorAiAVMatchtData& avMatchData);
    static TagQuorAiAVMatchtData* NewReportAVMatchInfo(const TagQuorAiAVMatchtData& avMatchData);
    static unsigned int ReportAVMatchRspNotify(unsigned long handle, EN_HTTP_ERRORCODE ret,
                                               tagST_HTTP_RSP* pstHttpRsp, void* userData);

    // face_recognition.cpp
    int FaceCloudEuaRecogtPhoto(tagAI_FACE_S_DETECT_INFO* recogInfo);
    static int GenerateRequestHeader(const tagAI_FACE_S_DETECT_INFO* recogInfo, tagHTTP_HEADER* headers,
                                     unsigned int headerNum);
    static int GenerateRequestBody(const tagAI_FACE_S_DETECT_INFO* recogInfo, std::unique_ptr<char[]>& body);
    int FaceRecognizeRspNotify(const tagHTTP_S_SYN_SEND_PARAM& param, unsigned int requestId,
                               TagFaceRecogType recogType);
    static int JsonParseEuaPhotoDetectRsul(const char* pcRsp, tagQuorAiFaceEUADetectResult* pstDetectResult);
    static int ParseEuaPhotoDetectRsulHelp(const cJSON* results,
                                           tagQuorAiFaceEUADetectResult* pstDetectResult);

    // face_photos.cpp
    int DoQueryFacePhoto(TagQuorAiFacePhotoParam& faceParam);
    static int GetQueryFaceUrl(const TagQuorAiFacePhotoParam& faceParam, char* url, unsigned int capacity);
    int QueryFacePhotoRspNotify(const tagHTTP_S_SYN_SEND_PARAM& param, unsigned int idType);

    // face_photo_answer.cpp. The two lists go together: one photo, possibly empty, for every description.
    using FacePhotoData = std::vector<unsigned char>;
    static int ParseQueryFacePhotoRes(const char* body, unsigned int idType,
                                      std::vector<QuorAiSingleFacePhoto>& faceInfoVec,
                                      std::vector<FacePhotoData>& photoDataVec);
    static int ParseSingleFaceItem(const cJSON* jsonItem, QuorAiSingleFacePhoto& faceInfo,
                                   FacePhotoData& photoData, unsigned int idType);
    static int ZoomPictures(FacePhotoData& photoData);

    // face_photo_batches.cpp
    int ProcPhotoDataToNotify(const std::vector<QuorAiSingleFacePhoto>& faceInfoVec,
                              std::vector<FacePhotoData>& photoDataVec, unsigned int idType);
    int NotifyFacePhotoHelp(const std::vector<QuorAiSingleFacePhoto>& faceInfoVec,
                            const std::vector<FacePhotoData>& photoDataVec, std::size_t photoListSize,
                            int first, int last, unsigned int idType);

    static std::atomic<AiHttpAdapter*> uniqueInstance;
    static OsMutex m_instanceLock;  // while uniqueInstance is made
    static OsMutex m_msgBufferLock;
    static TagQuorAiFacePhotoList* m_sendMsgBuffer
        QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_msgBufferLock));
    static OsMutex m_siteInfoBufferLock;
    static TagQuorAiConfList* m_siteInfoBuffer
        QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_siteInfoBufferLock));
    static QuorAiComm::Mutex m_loginLock;
    // Until the login client took the callback.
    static bool m_needsLogin QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_loginLock));
    static std::atomic<unsigned int> m_dispatcherGeneration;  // only the dispatcher of the last start runs on
    static QuorAiComm::Mutex m_threadPoolLock;
    static QuorAiComm::Mutex m_confTokenLock;

    std::atomic<int> m_initCnt;
    std::unique_ptr<HttpProtocol> m_httpProtocol;
    char m_confToken[kConfTokenCapacity] QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_confTokenLock));
    OsMutex m_observersLock;
    std::thread m_httpQueueThread QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_threadPoolLock));
    std::vector<std::shared_ptr<ICloudSrvObserver>> m_observers
        QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_observersLock));
    QuorAiComm::ThreadSafeQueue<TagAiCloudSrvResult, kRequestQueueCapacity> m_requestQueue;
    std::unique_ptr<QuorAiComm::ThreadPool> m_threadPool
        QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_threadPoolLock));
};

}  // namespace QuorAiEngine

#endif
