// From the queue to the request: the dispatcher's thread and what a worker runs.
#include <chrono>
#include <exception>
#include <memory>
#include <utility>

#include "http_adapter/http_log.h"
#include "http_adapter/http_scope.h"
#include "http_adapter/http_thread_execute.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/bounded.h"
#include "quor_platform/os.h"
#include "thread_pool/thread_pool.h"

namespace QuorAiEngine {

namespace {

constexpr std::chrono::milliseconds kPopWait{500};  // the longest that a dispatcher outlives the last user

}  // namespace

// Ends when nobody uses the adapter, or when a later start has its own dispatcher: a start within the wait
// would keep this one alive beside it. A record that it holds by then still goes to the workers of the day.
void AiHttpAdapter::HttpQueueThread(AiHttpAdapter* adapter, unsigned int generation) noexcept {
    OsPthreadSetName("httpQueueThread");
    while (adapter->m_initCnt.load() != 0 && m_dispatcherGeneration.load() == generation) {
        TagAiCloudSrvResult record;
        if (memset_s(&record, sizeof(record), 0, sizeof(record)) != 0) {
            HTTP_LOG_ERROR("<CloudHttpInit>: memset_s error");
            continue;
        }
        if (adapter->m_requestQueue.WaitAndPop(record, kPopWait)) {
            adapter->RunOnPool(record);
        }
    }
    HTTP_LOG_INFO("<CloudHttpInit> http thread exit.");
}

// Without workers, or when they have enough to do, the task goes at once and the copy with it.
void AiHttpAdapter::RunOnPool(TagAiCloudSrvResult& record) {
    std::unique_ptr<unsigned char, WipedBlockDeleter> copy(record.data, WipedBlockDeleter(record.len));
    try {
        auto task = std::make_shared<HttpThreadExecute>(
            [this](TagQuorAiSubId id, void* data, unsigned int length) {
                return AiHttpProcSyncRequest(id, data, length);
            },
            record);
        static_cast<void>(copy.release());  // the task's from now on
        const QuorAiComm::MutexLock lock(m_threadPoolLock);
        if (m_threadPool != nullptr) {
            // The worker's alone from now on, so that the copy is gone when the workers are.
            m_threadPool->Execute(std::move(task));
        }
    } catch (const std::exception&) {
        return;  // no memory for the task
    }
}

// A length that does not fit its id falls through to the end. The ids come from the queue, so a record of
// another size was made by another version of the interface.
int AiHttpAdapter::AiHttpProcSyncRequest(TagQuorAiSubId id, void* data, unsigned int length) {
    if (data == nullptr) {
        HTTP_LOG_INFO("<AiHttpProcSyncRequest>: data is nullptr");
        return -1;
    }
    switch (id) {
        case AI_SUB_ID_QUERY_CONF_LIST:
            if (length == sizeof(TagQuorAiKelInfo)) {
                if (DoQueryConfList(static_cast<TagQuorAiKelInfo*>(data)) != 0) {
                    HTTP_LOG_ERROR("<AiHttpProcSyncRequest> failed: DoQueryConfList error");
                    return -1;
                }
                return 0;
            }
            break;
        case AI_SUB_ID_FACE_RECOGNIZE:
            if (length >= sizeof(tagAI_FACE_S_DETECT_INFO)) {
                auto* recogInfo = static_cast<tagAI_FACE_S_DETECT_INFO*>(data);
                if (recogInfo->picLen > length - sizeof(tagAI_FACE_S_DETECT_INFO)) {
                    break;
                }
                if (FaceCloudEuaRecogtPhoto(recogInfo) != 0) {
                    HTTP_LOG_ERROR("<AiHttpProcSyncRequest> FaceRecogPhotoDeal %d failed",
                                   static_cast<int>(recogInfo->requestId));
                    return -1;
                }
                return 0;
            }
            break;
        case AI_SUB_ID_FACE_PHOTO:
            if (length == sizeof(TagQuorAiFacePhotoParam)) {
                auto* faceParam = static_cast<TagQuorAiFacePhotoParam*>(data);
                if (DoQueryFacePhoto(*faceParam) != 0) {
                    HTTP_LOG_ERROR("<AiHttpProcSyncRequest> FaceQueryPhoto Deal %d failed",
                                   static_cast<int>(faceParam->requestId));
                    return -1;
                }
                return 0;
            }
            break;
        default:  // deliberate: a success, so that the worker does not report it again
            HTTP_LOG_ERROR("<AiHttpProcSyncRequest> failed: unknown msgId %d", static_cast<int>(id));
            return 0;
    }
    HTTP_LOG_ERROR("<AiHttpProcSyncRequest> failed: dataLen is invalid");
    return -1;
}

}  // namespace QuorAiEngine
