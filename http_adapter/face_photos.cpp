// Asks the face service for photos, by users or by photo ids.
#include <algorithm>
#include <cstring>
#include <vector>

#include "common/record_field.h"
#include "http_adapter/face_request.h"
#include "http_adapter/http_log.h"
#include "http_adapter/http_scope.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/bounded.h"
#include "utility/http_protocol.h"

namespace QuorAiEngine {

namespace {

constexpr unsigned int kHeaderNum = 2;
constexpr std::size_t kHeadersSize = kHeaderNum * sizeof(tagHTTP_HEADER);
constexpr char kIdSeparator = ',';
constexpr std::size_t kIdCapacity = sizeof(TagQuorAiFacePhotoParam::ids[0]);
// All ids at full length and their separators.
constexpr std::size_t kIdTextCapacity = kQuorAiFacePhotoMax * (kIdCapacity + 1);
static_assert(kIdTextCapacity == 1548, "room for the terminator instead of a last separator");

// The ids of a request, separated. An idCount beyond the ids that a request has counts as all of them.
void JoinIds(const TagQuorAiFacePhotoParam& faceParam, char (&text)[kIdTextCapacity]) {
    const unsigned int count = std::min(faceParam.idCount, kQuorAiFacePhotoMax);
    std::size_t at = 0;
    for (unsigned int i = 0; i < count; ++i) {
        if (i != 0) {
            text[at++] = kIdSeparator;
        }
        const std::size_t length = strnlen(faceParam.ids[i], kIdCapacity);
        std::memcpy(text + at, faceParam.ids[i], length);
        at += length;
    }
    text[at] = '\0';
}

// Deliberate: the texts carry the name of the recognition's builder; log readers know them so.
int GenerateCredentialHeaders(const TagQuorAiFacePhotoParam& faceParam, tagHTTP_HEADER* headers) {
    if (HttpProtocol::GenerateHeaderAccount(headers[0], faceParam.account, sizeof(faceParam.account)) != 0) {
        HTTP_LOG_ERROR("<GenerateRequestHeader> GenerateHeaderAccount fail");
        return -1;
    }
    if (HttpProtocol::GenerateHeaderPwd(headers[1], faceParam.password, sizeof(faceParam.password)) != 0) {
        HTTP_LOG_ERROR("<GenerateRequestHeader> GenerateHeaderPwd fail");
        return -1;
    }
    return 0;
}

}  // namespace

int AiHttpAdapter::DoQueryFacePhoto(TagQuorAiFacePhotoParam& faceParam) {
    const auto requestId = static_cast<int>(faceParam.requestId);
    HTTP_TRACE("requestId = %d, idType = %d", requestId, static_cast<int>(faceParam.idType));
    char url[kFaceUrlCapacity] = {};
    if (GetQueryFaceUrl(faceParam, url, sizeof(url)) != 0) {
        HTTP_LOG_ERROR("<DoQueryFacePhoto> GetQueryFaceUrl failed");
        return -1;
    }
    RequestHeaders<kHeaderNum> headers;
    if (memset_s(headers.Get(), kHeadersSize, 0, kHeadersSize) != 0) {
        HTTP_LOG_ERROR("<DoQueryFacePhoto> memset_s error!");
        return -1;
    }
    if (GenerateCredentialHeaders(faceParam, headers.Get()) != 0) {
        return -1;
    }
    tagHTTP_S_SYN_SEND_PARAM param = {};
    if (memset_s(&param, sizeof(param), 0, sizeof(param)) != 0) {
        HTTP_LOG_ERROR("<DoQueryFacePhoto> memset_s error!");
        return -1;
    }
    param.method = QUOR_HTTP_METHOD_GET;
    param.url = url;
    param.urlLen = sizeof(url);
    param.headers = headers.Get();
    param.headerCount = RequestHeaders<kHeaderNum>::Count();
    const auto result = static_cast<int>(m_httpProtocol->AiCommonHttpSynSend(&param));
    const SyncAnswer answer(param);
    // Deliberate: a failed wipe fails the query whatever became of it, and an unreachable server is then not
    // reported; the headers are gone all the same. The recognition goes on after one.
    if (headers.Wipe() != 0) {
        HTTP_LOG_ERROR("<DoQueryFacePhoto> memset_s error!");
        return -1;
    }
    if (result != 0) {  // deliberate: the transport's own result
        HTTP_LOG_ERROR("<DoQueryFacePhoto>HttpSynSend failed ret:%d, requestId:%d", result, requestId);
        NotifyDetectKELServer(result);
        return result;
    }
    return QueryFacePhotoRspNotify(param, faceParam.idType);
}

int AiHttpAdapter::GetQueryFaceUrl(const TagQuorAiFacePhotoParam& faceParam, char* url,
                                   unsigned int capacity) {
    if (url == nullptr) {
        HTTP_LOG_ERROR("Null ptr.");
        return -1;
    }
    char ids[kIdTextCapacity];
    JoinIds(faceParam, ids);
    const FieldText address(faceParam.serverAddr);
    const int result = faceParam.idType != kQuorAiFaceIdTypeUser
                           ? sprintf_s(url, capacity, "%s:%u/eua/face/v1/photos/%s/data", address.Get(),
                                       faceParam.serverPort, ids)
                           : sprintf_s(url, capacity, "%s:%u/eua/face/v1/users/%s/data", address.Get(),
                                       faceParam.serverPort, ids);
    if (result < 0) {
        HTTP_LOG_ERROR("<GetQueryFaceUrl> sprintf_s failed : %d", result);
        return -1;
    }
    return 0;
}

int AiHttpAdapter::QueryFacePhotoRspNotify(const tagHTTP_S_SYN_SEND_PARAM& param, unsigned int idType) {
    if (param.rspStatus != kFaceStatusOk) {
        HTTP_LOG_ERROR("<QueryFacePhotoRspNotify>: http status code:%d", static_cast<int>(param.rspStatus));
        return -1;
    }
    const BodyTextPtr pcString(
        HttpProtocol::AiUtilityHttpGetStrFromBody(param.rspBody, BodyLength(param.rspBody)));
    if (pcString == nullptr) {
        HTTP_LOG_ERROR("<QueryFacePhotoRspNotify>: pcString is null");
        return -1;
    }
    std::vector<QuorAiSingleFacePhoto> faceInfoVec;
    std::vector<FacePhotoData> photoDataVec;
    if (ParseQueryFacePhotoRes(pcString.get(), idType, faceInfoVec, photoDataVec) != 0) {
        HTTP_LOG_ERROR("<QueryFacePhotoRspNotify>: ParseQueryFacePhotoRes failed");
        return -1;
    }
    if (ProcPhotoDataToNotify(faceInfoVec, photoDataVec, idType) != 0) {
        HTTP_LOG_ERROR("<QueryFacePhotoRspNotify>: ProcPhotoDataToNotify failed");
        return -1;
    }
    return 0;
}

}  // namespace QuorAiEngine
