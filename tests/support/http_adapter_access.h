// http_adapter_access.h - the way of tests to AiHttpAdapter's private members, which name this class a
// friend.
#ifndef TESTS_SUPPORT_HTTP_ADAPTER_ACCESS_H
#define TESTS_SUPPORT_HTTP_ADAPTER_ACCESS_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "http_adapter/account_record.h"
#include "http_adapter/http_thread_execute.h"
#include "quor_ai/ai_http_adapter.h"
#include "thread_pool/thread_pool.h"
#include "utility/http_protocol.h"

#define QUOR_TEST_UNGUARDED QUOR_PLATFORM_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace QuorAiEngine {

class AiHttpAdapterTestAccess {
public:
    using TokenResult = AiHttpAdapter::TokenResult;

    static AiHttpAdapter& Http() { return *AiHttpAdapter::GetInstance(); }

    // As after the process started, but for the instance. Ends the workers and every dispatcher: afterwards
    // the process has no more threads than threadCount. Call it while the fake platform still knows the
    // blocks that the adapter holds. What is still queued is freed.
    static void Reset(std::size_t threadCount) QUOR_TEST_UNGUARDED;
    // Without users: returns once no dispatcher is left and the process has no more threads than threadCount.
    // Leaves records without data in the queue.
    static void EndDispatchers(std::size_t threadCount);
    // The transport is up and the buffers are there, without any thread.
    static bool StartWithoutThreads();
    // One user more or less, without anything being started or ended.
    static void CountUser() { ++Http().m_initCnt; }
    static void UncountUser() { --Http().m_initCnt; }
    static int Users() { return Http().m_initCnt.load(); }
    static unsigned Generation() { return AiHttpAdapter::m_dispatcherGeneration.load(); }
    static void NextGeneration() { ++AiHttpAdapter::m_dispatcherGeneration; }
    // The workers alone, without a dispatcher.
    static void StartPool(std::size_t workers) {
        auto pool = std::make_unique<QuorAiComm::ThreadPool>(workers);
        const QuorAiComm::MutexLock lock(AiHttpAdapter::m_threadPoolLock);
        Http().m_threadPool = std::move(pool);
    }
    static void EndPool() { Http().EndWorkers(); }
    static QuorAiComm::Mutex& ThreadPoolLock() { return AiHttpAdapter::m_threadPoolLock; }
    static bool HasPool() QUOR_TEST_UNGUARDED { return Http().m_threadPool != nullptr; }
    static bool Pop(TagAiCloudSrvResult& record) {
        return Http().m_requestQueue.WaitAndPop(record, std::chrono::milliseconds(0));
    }
    static bool Push(const TagAiCloudSrvResult& record) {
        return Http().m_requestQueue.WaitAndPush(record, std::chrono::milliseconds(0));
    }
    // The dispatcher, on this thread.
    static void RunDispatcher(unsigned generation) { AiHttpAdapter::HttpQueueThread(&Http(), generation); }
    static void RunOnPool(TagAiCloudSrvResult& record) { Http().RunOnPool(record); }
    // One task that a worker would run, on this thread.
    static int Process(TagQuorAiSubId id, void* data, unsigned length) {
        return Http().AiHttpProcSyncRequest(id, data, length);
    }

    // The instance, for tests of its making and its end.
    static AiHttpAdapter* ExchangeInstance(AiHttpAdapter* instance) {
        return AiHttpAdapter::uniqueInstance.exchange(instance);
    }
    // It was never started.
    static void Destroy(AiHttpAdapter* instance) { delete instance; }

    static TagQuorAiFacePhotoList*& Photos() QUOR_TEST_UNGUARDED { return AiHttpAdapter::m_sendMsgBuffer; }
    static TagQuorAiConfList*& Sites() QUOR_TEST_UNGUARDED { return AiHttpAdapter::m_siteInfoBuffer; }
    static OsMutex& InstanceLock() { return AiHttpAdapter::m_instanceLock; }
    static OsMutex& SitesLock() { return AiHttpAdapter::m_siteInfoBufferLock; }
    static OsMutex& PhotosLock() { return AiHttpAdapter::m_msgBufferLock; }
    static OsMutex& ObserversLock() { return Http().m_observersLock; }
    static std::size_t ObserverCount() QUOR_TEST_UNGUARDED { return Http().m_observers.size(); }
    static std::string ConfToken() QUOR_TEST_UNGUARDED { return Http().m_confToken; }
    static std::string ConfTokenBytes() QUOR_TEST_UNGUARDED {
        return {Http().m_confToken, sizeof(Http().m_confToken)};
    }
    static HttpProtocol& Protocol() { return *Http().m_httpProtocol; }
    static int MallocBuffers() { return AiHttpAdapter::MallocMsgBuffer(); }

    // ---- Answers ----
    static int ErrorCode(EN_HTTP_ERRORCODE ret, const tagST_HTTP_RSP* rsp) {
        return AiHttpAdapter::GetErrorCode(ret, rsp);
    }
    static int ErrorMessage(const cJSON* root, char* message, unsigned messageCap, char* code,
                            unsigned codeCap) {
        return AiHttpAdapter::GetErrorMessage(root, message, messageCap, code, codeCap);
    }
    static void DetectServer(int ret) { AiHttpAdapter::NotifyDetectKELServer(ret); }
    static int MonitorToken() { return Http().MonitorConfToken(); }

    // ---- Participant list ----
    static int QueryConfList(TagQuorAiKelInfo& info) { return Http().DoQueryConfList(&info); }
    static int ConfListHeader(tagHTTP_HEADER* headers, unsigned num, const char* token, unsigned limit) {
        return AiHttpAdapter::GenerateConfListHeader(headers, num, token, limit);
    }
    static int ParseConfList(const char* body, bool& hasMore, TagQuorAiConfList* buffer) {
        return AiHttpAdapter::ParseConfListToBuffer(body, hasMore, buffer);
    }

    // ---- Sign-in ----
    static int SignInUrl(const TagQuorAiQuerySignIn& query, char* url, unsigned capacity) {
        return AiHttpAdapter::GetQuerySignInfoUrl(query, url, capacity);
    }
    static unsigned SignInAnswer(unsigned long handle, EN_HTTP_ERRORCODE ret, tagST_HTTP_RSP* rsp,
                                 void* userData) {
        return AiHttpAdapter::QuerySignInRspNotify(handle, ret, rsp, userData);
    }
    static int ParseSignIn(const char* body, TagQuorAiGetSignIn& result) {
        return AiHttpAdapter::ParseSignInRes(body, result);
    }
    static int ParseCommon(const cJSON* item, TagQuorAiGetSigninContent& entry) {
        return AiHttpAdapter::ParseSigninCommonField(item, entry);
    }
    static int ParseUnique(const cJSON* item, TagQuorAiGetSigninContent& entry) {
        return AiHttpAdapter::ParseSignedUniqueField(item, entry);
    }
    static int ReportHeader(tagHTTP_HEADER* headers, unsigned num, const TagQuorAiReportSiginIn& report) {
        return Http().GenerateReportHeader(headers, num, report);
    }
    static unsigned ReportAnswer(unsigned long handle, EN_HTTP_ERRORCODE ret, tagST_HTTP_RSP* rsp,
                                 void* userData) {
        return AiHttpAdapter::ReportSignInRspNotify(handle, ret, rsp, userData);
    }

    // ---- Account and match report ----
    static int AccountHeader(tagHTTP_HEADER* headers, unsigned num) {
        return Http().GenerateAccountSignInHeader(headers, num);
    }
    static unsigned AccountAnswer(unsigned long handle, EN_HTTP_ERRORCODE ret, tagST_HTTP_RSP* rsp,
                                  void* userData) {
        return AiHttpAdapter::QueryAutoSignInRspNotify(handle, ret, rsp, userData);
    }
    static int ParseAccount(const char* body, TagQuorAiAccountCheckInInfo& result) {
        return AiHttpAdapter::ParseAutoSignInRes(body, result);
    }
    static int MatchHeader(tagHTTP_HEADER* headers, unsigned num, const std::string& token) {
        return Http().GenerateAVmatchReportHeader(headers, num, token);
    }
    static std::string MatchBody(const TagQuorAiAVMatchtData& data) {
        return AiHttpAdapter::GenerateReportAVMatchBody(data);
    }
    static unsigned MatchAnswer(unsigned long handle, EN_HTTP_ERRORCODE ret, tagST_HTTP_RSP* rsp,
                                void* userData) {
        return AiHttpAdapter::ReportAVMatchRspNotify(handle, ret, rsp, userData);
    }

    // ---- Face requests ----
    static int Recognise(tagAI_FACE_S_DETECT_INFO& info) { return Http().FaceCloudEuaRecogtPhoto(&info); }
    static int RecognitionHeader(const tagAI_FACE_S_DETECT_INFO& info, tagHTTP_HEADER* headers,
                                 unsigned num) {
        return AiHttpAdapter::GenerateRequestHeader(&info, headers, num);
    }
    static int RecognitionBody(const tagAI_FACE_S_DETECT_INFO& info, std::unique_ptr<char[]>& body) {
        return AiHttpAdapter::GenerateRequestBody(&info, body);
    }
    static int ParseRecognition(const char* body, tagQuorAiFaceEUADetectResult* result) {
        return AiHttpAdapter::JsonParseEuaPhotoDetectRsul(body, result);
    }
    static int QueryPhotos(TagQuorAiFacePhotoParam& param) { return Http().DoQueryFacePhoto(param); }
    static int PhotoUrl(const TagQuorAiFacePhotoParam& param, char* url, unsigned capacity) {
        return AiHttpAdapter::GetQueryFaceUrl(param, url, capacity);
    }
    static int ParsePhotos(const char* body, unsigned idType, std::vector<QuorAiSingleFacePhoto>& infos,
                           std::vector<std::vector<unsigned char>>& photos) {
        return AiHttpAdapter::ParseQueryFacePhotoRes(body, idType, infos, photos);
    }
    static int ParsePhoto(const cJSON* item, QuorAiSingleFacePhoto& info, std::vector<unsigned char>& photo,
                          unsigned idType) {
        return AiHttpAdapter::ParseSingleFaceItem(item, info, photo, idType);
    }
    static int Zoom(std::vector<unsigned char>& photo) { return AiHttpAdapter::ZoomPictures(photo); }
    static int NotifyInBatches(const std::vector<QuorAiSingleFacePhoto>& infos,
                               std::vector<std::vector<unsigned char>>& photos, unsigned idType) {
        return Http().ProcPhotoDataToNotify(infos, photos, idType);
    }
    static int NotifyBatch(const std::vector<QuorAiSingleFacePhoto>& infos,
                           const std::vector<std::vector<unsigned char>>& photos, std::size_t size, int first,
                           int last, unsigned idType) {
        return Http().NotifyFacePhotoHelp(infos, photos, size, first, last, idType);
    }
};

}  // namespace QuorAiEngine

#endif
