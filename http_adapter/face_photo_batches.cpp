// Hands photos to the observers, as many at a time as the shared buffer holds.
#include "common/scope.h"
#include "http_adapter/http_log.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/bounded.h"

namespace QuorAiEngine {

namespace {

constexpr std::size_t kInfoSize = sizeof(QuorAiSingleFacePhoto);
constexpr std::size_t kHeadSize = offsetof(TagQuorAiFacePhotoList, payload);
// Deliberate: a notification stays below the payload's capacity by one byte; one of exactly the capacity was
// never sent.
constexpr std::size_t kBatchLimit = kQuorAiFacePhotoPayloadMax;
constexpr std::size_t kItemMax = kBatchLimit - 1;

// Writes a description and its photo to dest, which has room bytes. Returns the bytes written; 0: a copy
// failed, and the platform emptied the rest of the buffer. The description is copied as bytes: behind a photo
// no record is aligned.
std::size_t WriteItem(unsigned char* dest, std::size_t room, const QuorAiSingleFacePhoto& faceInfo,
                      const std::vector<unsigned char>& photoData) {
    if (memcpy_s(dest, room, &faceInfo, kInfoSize) != 0) {
        return 0;
    }
    if (!photoData.empty() &&
        memcpy_s(dest + kInfoSize, room - kInfoSize, photoData.data(), photoData.size()) != 0) {
        return 0;
    }
    return kInfoSize + photoData.size();
}

// Whether there is one photo for every description, and any.
bool GoTogether(const std::vector<QuorAiSingleFacePhoto>& faceInfoVec,
                const std::vector<std::vector<unsigned char>>& photoDataVec) {
    const auto infos = static_cast<unsigned long>(faceInfoVec.size());
    const auto photos = static_cast<unsigned long>(photoDataVec.size());
    if (infos != 0 && infos == photos) {
        return true;
    }
    HTTP_LOG_ERROR(
        "<ProcPhotoDataToNotify> faceInfoVec is empty(%lu) or photoDataVec is empty(%lu) or not same size",
        infos, photos);
    return false;
}

}  // namespace

// An item that can never be sent closes the open batch, so that observers get the others in order. What
// becomes of a single notification is logged there and does not keep the others back.
int AiHttpAdapter::ProcPhotoDataToNotify(const std::vector<QuorAiSingleFacePhoto>& faceInfoVec,
                                         std::vector<FacePhotoData>& photoDataVec, unsigned int idType) {
    if (!GoTogether(faceInfoVec, photoDataVec)) {
        return -1;
    }
    const int count = static_cast<int>(faceInfoVec.size());
    int first = 0;
    std::size_t batchSize = 0;
    for (int i = 0; i < count; ++i) {
        const std::size_t photoSize = photoDataVec[static_cast<std::size_t>(i)].size();
        const std::size_t itemSize = kInfoSize + photoSize;
        const bool isTooBig = itemSize > kItemMax;
        if (isTooBig) {
            HTTP_LOG_ERROR("<ProcPhotoDataToNotify> photo data is too big to send: %d",
                           static_cast<int>(photoSize));
        }
        if (isTooBig || batchSize + itemSize >= kBatchLimit) {
            if (batchSize != 0) {
                NotifyFacePhotoHelp(faceInfoVec, photoDataVec, batchSize, first, i - 1, idType);
            }
            first = isTooBig ? i + 1 : i;
            batchSize = 0;
        }
        batchSize += isTooBig ? 0 : itemSize;
    }
    if (batchSize != 0) {
        NotifyFacePhotoHelp(faceInfoVec, photoDataVec, batchSize, first, count - 1, idType);
    }
    photoDataVec.clear();
    return 0;
}

// The buffer is locked until the observers have read it. An item that cannot be written is left out; the
// bytes that were meant for it stand empty at the end, so that observers find entryCount descriptions all the
// same.
int AiHttpAdapter::NotifyFacePhotoHelp(const std::vector<QuorAiSingleFacePhoto>& faceInfoVec,
                                       const std::vector<FacePhotoData>& photoDataVec,
                                       std::size_t photoListSize, int first, int last, unsigned int idType) {
    if (first > last) {
        HTTP_LOG_INFO("<NotifyFacePhotoHelp> [%d, %d] has no pic", first, last);
        return 0;
    }
    if (photoListSize > kQuorAiFacePhotoPayloadMax) {
        HTTP_LOG_ERROR("<NotifyFacePhotoHelp> photoListSize is invalid: %d", static_cast<int>(photoListSize));
        return -1;
    }
    const ScopedOsLock lock(m_msgBufferLock);
    if (m_sendMsgBuffer == nullptr) {
        HTTP_LOG_ERROR("<NotifyFacePhotoHelp>: photoResult is nullptr");
        return -1;
    }
    m_sendMsgBuffer->idType = idType;
    m_sendMsgBuffer->entryCount = static_cast<unsigned int>(last - first + 1);
    std::size_t at = 0;
    for (auto i = static_cast<std::size_t>(first); i <= static_cast<std::size_t>(last); ++i) {
        const std::size_t written = WriteItem(m_sendMsgBuffer->payload + at, kQuorAiFacePhotoPayloadMax - at,
                                              faceInfoVec[i], photoDataVec[i]);
        if (written == 0) {
            HTTP_LOG_ERROR("<NotifyFacePhotoHelp>: memcpy QuorAiSingleFacePhoto fail");
        }
        at += written;
    }
    Notify(AI_SUB_ID_FACE_PHOTO, reinterpret_cast<unsigned char*>(m_sendMsgBuffer),
           static_cast<unsigned int>(kHeadSize + photoListSize));
    return 0;
}

}  // namespace QuorAiEngine
