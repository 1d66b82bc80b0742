// Reads the face service's answer with photos: a description and the bytes of each.
//
// Deliberate, of the texts: most of an item's carry the name of the whole answer's parsing; log readers know
// them so.
#include "common/json_member.h"
#include "http_adapter/face_request.h"
#include "http_adapter/http_log.h"
#include "http_adapter/http_scope.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/base64.h"
#include "quor_platform/bounded.h"
#include "utility/http_protocol.h"

namespace QuorAiEngine {

namespace {

// Bytes of the platform's base64, given back at the end of the scope.
class DecodedBytes {
public:
    DecodedBytes() = default;
    ~DecodedBytes() {
        if (m_bytes != nullptr) {
            QUOR_BASE64Free(m_bytes);
        }
    }
    DecodedBytes(const DecodedBytes&) = delete;
    DecodedBytes& operator=(const DecodedBytes&) = delete;

    unsigned char*& Bytes() { return m_bytes; }
    int& Length() { return m_length; }

private:
    unsigned char* m_bytes = nullptr;
    int m_length = 0;
};

}  // namespace

int AiHttpAdapter::ParseQueryFacePhotoRes(const char* body, unsigned int idType,
                                          std::vector<QuorAiSingleFacePhoto>& faceInfoVec,
                                          std::vector<FacePhotoData>& photoDataVec) {
    if (body == nullptr) {
        HTTP_LOG_ERROR("Null ptr.");
        return -1;
    }
    const JsonPtr root(cJSON_Parse(body));
    if (root == nullptr) {
        HTTP_LOG_ERROR("<ParseQueryFacePhotoRes>: parse root faild");
        return -1;
    }
    const cJSON* results = FindMember(root.get(), "results");
    if (cJSON_IsArray(results) == 0) {
        HTTP_LOG_ERROR("<ParseQueryFacePhotoRes> cannot parse this body");
        return -1;
    }
    // Deliberate: no more than can be asked for; what follows is passed over without a word.
    unsigned int i = 0;
    for (const cJSON* item = results->child; item != nullptr && i < kQuorAiFacePhotoMax;
         item = item->next, ++i) {
        QuorAiSingleFacePhoto faceInfo;
        FacePhotoData photoData;
        if (ParseSingleFaceItem(item, faceInfo, photoData, idType) != 0) {
            HTTP_LOG_ERROR("<ParseQueryFacePhotoRes> Parse array item %d failed, continue",
                           static_cast<int>(i));
            continue;
        }
        faceInfoVec.push_back(faceInfo);
        photoDataVec.push_back(std::move(photoData));
    }
    return 0;
}

// Deliberate: an item that the service refused, or whose photo cannot be read, is a result all the same,
// without a photo: the application learns what became of every id.
int AiHttpAdapter::ParseSingleFaceItem(const cJSON* jsonItem, QuorAiSingleFacePhoto& faceInfo,
                                       FacePhotoData& photoData, unsigned int idType) {
    if (jsonItem == nullptr) {
        HTTP_LOG_ERROR("<ParseSingleFaceItem> jsonItem is null");
        return -1;
    }
    const cJSON* status = FindMember(jsonItem, "status");
    const cJSON* id = FindMember(jsonItem, idType != kQuorAiFaceIdTypeUser ? "photoid" : "userid");
    if (cJSON_IsString(status) == 0 || cJSON_IsString(id) == 0) {
        HTTP_LOG_ERROR("<ParseQueryFacePhotoRes> prase photos_result failed, continue");
        return -1;
    }
    faceInfo = {};
    if (strncpy_s(faceInfo.id, sizeof(faceInfo.id), id->valuestring, sizeof(faceInfo.id) - 1) != 0) {
        HTTP_LOG_ERROR("<ParseQueryFacePhotoRes> cpy photo id fail");
        return -1;
    }
    if (!IsSuccess(status)) {
        if (GetErrorMessage(jsonItem, faceInfo.errorMessage, sizeof(faceInfo.errorMessage),
                            faceInfo.errorCode, sizeof(faceInfo.errorCode)) != 0) {
            HTTP_LOG_ERROR("<ParseQueryFacePhotoRes> photoNum get massage and code fail");
        }
        return 0;
    }
    DecodedBytes decoded;
    if (HttpProtocol::AiUtilityDecodeBase64(FindMember(jsonItem, "data"), decoded.Bytes(),
                                            decoded.Length()) != 0) {
        HTTP_LOG_ERROR("<ParseQueryFacePhotoRes> decode photoid fail");
        return 0;
    }
    photoData.assign(decoded.Bytes(), decoded.Bytes() + decoded.Length());
    if (ZoomPictures(photoData) != 0) {  // never as yet: what was decoded has a byte at least
        HTTP_LOG_ERROR("<ParseSingleFaceItem> call ZoomPictures failed.");
        return 0;
    }
    faceInfo.hasPhoto = 1;
    faceInfo.photoSize = static_cast<unsigned int>(photoData.size());
    return 0;
}

// Deliberate: photos go out in the size they came in; the name is from a time when they did not.
int AiHttpAdapter::ZoomPictures(FacePhotoData& photoData) {
    if (photoData.empty()) {
        HTTP_LOG_ERROR("<ZoomPictures> srcphoto size:%lu.", static_cast<unsigned long>(photoData.size()));
        return -1;
    }
    return 0;
}

}  // namespace QuorAiEngine
