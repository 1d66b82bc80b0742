// The requests that go through the queue: each pushes a copy of its record.
#include <chrono>
#include <limits>

#include "http_adapter/http_log.h"
#include "http_adapter/http_scope.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/bounded.h"
#include "quor_platform/os.h"

namespace QuorAiEngine {

namespace {

constexpr std::chrono::milliseconds kPushWait{500};
constexpr unsigned int kFaceHeaderSize = sizeof(tagAI_FACE_S_DETECT_INFO);

}  // namespace

AiHttpAdapter::QueueResult AiHttpAdapter::QueueCopy(TagQuorAiSubId id, const void* record,
                                                    unsigned int length) {
    std::unique_ptr<unsigned char, WipedBlockDeleter> copy(
        static_cast<unsigned char*>(OsMemMallocSetCharMon(length, 0, __LINE__, kHttpLogModule.name)),
        WipedBlockDeleter(length));
    if (copy == nullptr) {
        return QueueResult::kNoMemory;
    }
    if (memcpy_s(copy.get(), length, record, length) != 0) {
        return QueueResult::kCopyFailed;
    }
    const TagAiCloudSrvResult queued = {id, copy.get(), length};
    if (!m_requestQueue.WaitAndPush(queued, kPushWait)) {
        return QueueResult::kFull;
    }
    static_cast<void>(copy.release());  // the task's, which the dispatcher makes of the queued record
    return QueueResult::kQueued;
}

unsigned int AiHttpAdapter::CloudQueryConfList(TagQuorAiKelInfo* cloudKelInfo) {
    if (cloudKelInfo == nullptr) {
        HTTP_LOG_ERROR("<CloudQueryConfList> failed cloudKelInfo is nullptr");
        return kRequestFailed;
    }
    switch (QueueCopy(AI_SUB_ID_QUERY_CONF_LIST, cloudKelInfo, sizeof(*cloudKelInfo))) {
        case QueueResult::kQueued:
            HTTP_LOG_INFO("<CloudQueryConfList> succeed");
            return 0;
        case QueueResult::kNoMemory:
            HTTP_LOG_ERROR("<CloudQueryConfList> failed malloc kelInfo failed");
            break;
        case QueueResult::kCopyFailed:  // deliberate: the record is not called recogInfo; log readers know it
                                        // so
            HTTP_LOG_ERROR("<CloudQueryConfList> failed: memcpy recogInfo failed");
            break;
        case QueueResult::kFull:
            HTTP_LOG_ERROR("<CloudQueryConfList> failed: push kelInfo failed");
            break;
    }
    return kRequestFailed;
}

unsigned int AiHttpAdapter::CloudFaceRecogPhoto(tagAI_FACE_S_DETECT_INFO* recogInfo) {
    if (recogInfo == nullptr) {
        HTTP_LOG_ERROR("Null ptr.");
        return kRequestFailed;
    }
    const unsigned int picLen = recogInfo->picLen;
    if (picLen == 0 || picLen > std::numeric_limits<unsigned int>::max() - kFaceHeaderSize) {
        HTTP_LOG_ERROR("<CloudFaceRecogPhoto>:err datalen");
        return kRequestFailed;
    }
    switch (QueueCopy(AI_SUB_ID_FACE_RECOGNIZE, recogInfo, kFaceHeaderSize + picLen)) {
        case QueueResult::kQueued:
            return 0;
        case QueueResult::kNoMemory:
            HTTP_LOG_ERROR("<CloudFaceRecogPhoto> failed: malloc recogInfo failed");
            break;
        case QueueResult::kCopyFailed:
            HTTP_LOG_ERROR("<CloudFaceRecogPhoto> failed: memcpy recogInfo failed");
            break;
        case QueueResult::kFull:
            HTTP_LOG_ERROR("<CloudFaceRecogPhoto> failed: push recogInfo failed");
            break;
    }
    return kRequestFailed;
}

unsigned int AiHttpAdapter::CloudQueryFacePhoto(TagQuorAiFacePhotoParam* faceParam) {
    if (faceParam == nullptr) {
        HTTP_LOG_ERROR("Null ptr.");
        return kRequestFailed;
    }
    switch (QueueCopy(AI_SUB_ID_FACE_PHOTO, faceParam, sizeof(*faceParam))) {
        case QueueResult::kQueued:
            return 0;
        case QueueResult::kNoMemory:
            HTTP_LOG_ERROR("<CloudQueryFacePhoto> failed: malloc faceParam failed");
            break;
        case QueueResult::kCopyFailed:
            HTTP_LOG_ERROR("<CloudQueryFacePhoto> failed: memcpy faceParam failed");
            break;
        case QueueResult::kFull:  // deliberate: the text names the recognition; log readers know it so
            HTTP_LOG_ERROR("<CloudFaceRecogPhoto> failed: push faceParam failed");
            break;
    }
    return kRequestFailed;
}

}  // namespace QuorAiEngine
