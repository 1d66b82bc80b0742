// Asks the face service who is on a picture.
#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "common/json_member.h"
#include "common/record_field.h"
#include "http_adapter/face_request.h"
#include "http_adapter/http_log.h"
#include "http_adapter/http_scope.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/bounded.h"
#include "utility/http_protocol.h"

namespace QuorAiEngine {

namespace {

constexpr unsigned int kHeaderNum = 3;
constexpr std::size_t kHeadersSize = kHeaderNum * sizeof(tagHTTP_HEADER);
constexpr double kScoreMin = 75.0;      // of a match
constexpr std::size_t kBodyFrame = 64;  // of the body beside the picture's text
constexpr int kBestMatchesOnly = 1;
constexpr int kFormatted = 1;

// Of tagQuorAiFaceEUADetectResult::result.
enum DetectResult : int { kMatch = 0, kNoMatch = 1, kBadInput = 2, kIncomplete = 4 };

// The body's text. The picture's text is not copied for it: it is by far the largest part. Null: no memory.
JsonTextPtr PrintBody(const char* pictureText, unsigned int size) {
    const JsonPtr root(cJSON_CreateObject());
    if (root == nullptr || cJSON_AddNumberToObject(root.get(), "limit", kBestMatchesOnly) == nullptr) {
        return nullptr;
    }
    JsonPtr data(cJSON_CreateStringReference(pictureText));
    if (data == nullptr || cJSON_AddItemToObject(root.get(), "data", data.get()) == 0) {
        return nullptr;
    }
    static_cast<void>(data.release());  // root's from now on
    const auto room = std::min<std::size_t>(size + kBodyFrame, std::numeric_limits<int>::max());
    return JsonTextPtr(cJSON_PrintBuffered(root.get(), static_cast<int>(room), kFormatted));
}

// Copies a text member, cut to its field. False: it is no text.
template <std::size_t N>
bool CopyCut(char (&field)[N], const cJSON* member) {
    return strncpy_s(field, N, member->valuestring, N - 1) == 0;
}

}  // namespace

int AiHttpAdapter::FaceCloudEuaRecogtPhoto(tagAI_FACE_S_DETECT_INFO* recogInfo) {
    char url[kFaceUrlCapacity] = {};
    // Deliberate: the port is printed with its sign, other than in the photo query.
    if (sprintf_s(url, sizeof(url), "%s:%d/eua/face/v1/query/identify",
                  FieldText(recogInfo->serverAddr).Get(), static_cast<int>(recogInfo->serverPort)) < 0) {
        HTTP_LOG_ERROR("<FaceCloudEuaRecogPhoto> sprintf_s acRequestUrl fail");
        return -1;
    }
    std::unique_ptr<char[]> body;
    if (GenerateRequestBody(recogInfo, body) != 0) {
        HTTP_LOG_ERROR("<FaceCloudEuaRecogPhoto> GenerateRequestBody failed.");
        return -1;
    }
    if (body == nullptr) {
        HTTP_LOG_ERROR("<FaceCloudEuaRecogPhoto> pcHttpBody is null!");
        return -1;
    }
    RequestHeaders<kHeaderNum> headers;
    if (memset_s(headers.Get(), kHeadersSize, 0, kHeadersSize) != 0) {
        HTTP_LOG_ERROR("<FaceCloudEuaRecogPhoto> memset_s header failed.");
        return -1;
    }
    if (GenerateRequestHeader(recogInfo, headers.Get(), RequestHeaders<kHeaderNum>::Count()) != 0) {
        return -1;
    }
    tagHTTP_S_SYN_SEND_PARAM param = {};
    if (memset_s(&param, sizeof(param), 0, sizeof(param)) != 0) {
        HTTP_LOG_ERROR("<FaceCloudEuaRecogPhoto> memset_s error!");
        return -1;
    }
    param.method = QUOR_HTTP_METHOD_POST;
    param.url = url;
    param.urlLen = sizeof(url);
    param.headers = headers.Get();
    param.headerCount = RequestHeaders<kHeaderNum>::Count();
    param.body = body.get();
    param.bodyLen = BodyLength(body.get());
    const auto result = static_cast<int>(m_httpProtocol->AiCommonHttpSynSend(&param));
    const SyncAnswer answer(param);
    headers.Wipe();     // deliberate: its result does not count, other than in the photo query
    if (result != 0) {  // deliberate: the one text with the operation's own name, and the transport's result
        HTTP_LOG_ERROR("<FaceCloudEuaRecogtPhoto> AiCommonHttpSynSend failed ret = %d.", result);
        NotifyDetectKELServer(result);
        return result;
    }
    return FaceRecognizeRspNotify(param, recogInfo->requestId, recogInfo->recogType);
}

int AiHttpAdapter::GenerateRequestHeader(const tagAI_FACE_S_DETECT_INFO* recogInfo, tagHTTP_HEADER* headers,
                                         unsigned int headerNum) {
    if (headerNum != kHeaderNum) {
        HTTP_LOG_ERROR("<GenerateRequestHeader> header num is %d", static_cast<int>(headerNum));
        return -1;
    }
    if (HttpProtocol::GenerateHeaderAccount(headers[0], recogInfo->account, sizeof(recogInfo->account)) !=
        0) {
        HTTP_LOG_ERROR("<GenerateRequestHeader> GenerateHeaderAccount fail");
        return -1;
    }
    if (HttpProtocol::GenerateHeaderPwd(headers[1], recogInfo->password, sizeof(recogInfo->password)) != 0) {
        HTTP_LOG_ERROR("<GenerateRequestHeader> GenerateHeaderPwd fail");
        return -1;
    }
    if (strcpy_s(headers[2].name, sizeof(headers[2].name), "Content-Type") != 0) {
        HTTP_LOG_ERROR("cp AI_HTTP_D_CONTENT_TYPE fail");
        return -1;
    }
    if (strcpy_s(headers[2].value, sizeof(headers[2].value), "application/json") != 0) {
        HTTP_LOG_ERROR("cp str application/json fail");
        return -1;
    }
    return 0;
}

// A success without a body: there was no memory for it.
int AiHttpAdapter::GenerateRequestBody(const tagAI_FACE_S_DETECT_INFO* recogInfo,
                                       std::unique_ptr<char[]>& body) {
    std::unique_ptr<char[]> pictureText;
    unsigned int pictureTextSize = 0;
    if (HttpProtocol::AiUtilityCovert2Base64(pictureText,
                                             reinterpret_cast<const unsigned char*>(recogInfo + 1),
                                             recogInfo->picLen, pictureTextSize) != 0) {
        HTTP_LOG_ERROR("base64 pictrue data fail");
        return -1;
    }
    const JsonTextPtr text = PrintBody(pictureText.get(), pictureTextSize);
    if (text == nullptr) {
        return -1;
    }
    pictureText.reset();
    const std::size_t size = std::strlen(text.get()) + 1;
    body.reset(new (std::nothrow) char[size]);
    if (body != nullptr && strcpy_s(body.get(), size, text.get()) != 0) {
        HTTP_LOG_ERROR("strcpy_s fail!");
        return -1;
    }
    return 0;
}

// Deliberate: observers are told of everything that the service answered, understood or not.
int AiHttpAdapter::FaceRecognizeRspNotify(const tagHTTP_S_SYN_SEND_PARAM& param, unsigned int requestId,
                                          TagFaceRecogType recogType) {
    if (param.rspStatus != kFaceStatusOk) {
        HTTP_LOG_ERROR("<FaceRecognizeRspNotify>:http status code:%d, requestId:%d",
                       static_cast<int>(param.rspStatus), static_cast<int>(requestId));
        return -1;
    }
    const BodyTextPtr pcString(
        HttpProtocol::AiUtilityHttpGetStrFromBody(param.rspBody, BodyLength(param.rspBody)));
    if (pcString == nullptr) {  // deliberate: the text names another operation; log readers know it so
        HTTP_LOG_ERROR("<AiHttpAdapter::ProcFaceRecogSynRsp>: pcString is null");
        return -1;
    }
    tagQuorAiFaceEUADetectResult detectResult = {};
    detectResult.result = JsonParseEuaPhotoDetectRsul(pcString.get(), &detectResult);
    detectResult.recogType = recogType;
    detectResult.requestId = requestId;
    Notify(AI_SUB_ID_FACE_RECOGNIZE, reinterpret_cast<unsigned char*>(&detectResult), sizeof(detectResult));
    return 0;
}

int AiHttpAdapter::JsonParseEuaPhotoDetectRsul(const char* pcRsp,
                                               tagQuorAiFaceEUADetectResult* pstDetectResult) {
    if (pcRsp == nullptr || pstDetectResult == nullptr) {
        HTTP_LOG_ERROR("pcRsp or pstDetectResult is nullptr");
        return kBadInput;
    }
    const JsonPtr root(cJSON_Parse(pcRsp));
    if (root == nullptr) {
        HTTP_LOG_ERROR("parse root faild");
        return kNoMatch;
    }
    const cJSON* status = FindMember(root.get(), "status");
    if (cJSON_IsString(status) == 0) {
        HTTP_LOG_ERROR("get status fail");
        return kNoMatch;
    }
    if (!IsSuccess(status)) {
        GetErrorMessage(root.get(), pstDetectResult->message, sizeof(pstDetectResult->message),
                        pstDetectResult->code, sizeof(pstDetectResult->code));
        return kNoMatch;
    }
    const cJSON* results = FindMember(root.get(), "results");
    if (results == nullptr) {
        HTTP_LOG_ERROR("status is succes but get result array fail");
        return kNoMatch;
    }
    return ParseEuaPhotoDetectRsulHelp(results, pstDetectResult);
}

// Deliberate: every element overwrites what the former one left, so that the last one is reported, not the
// best; one below the threshold ends the search with what was stored before it; no element at all is a match
// without a name.
int AiHttpAdapter::ParseEuaPhotoDetectRsulHelp(const cJSON* results,
                                               tagQuorAiFaceEUADetectResult* pstDetectResult) {
    if (cJSON_IsArray(results) == 0) {
        HTTP_LOG_ERROR("get results fail");
        return kNoMatch;
    }
    for (const cJSON* item = results->child; item != nullptr; item = item->next) {
        const cJSON* userid = FindMember(item, "userid");
        const cJSON* photoid = FindMember(item, "photoid");
        const cJSON* score = FindMember(item, "score");
        const cJSON* name = FindMember(item, "name");
        if (userid == nullptr || photoid == nullptr || score == nullptr || name == nullptr) {
            HTTP_LOG_ERROR("prase photos_result faild");
            return kIncomplete;
        }
        if (score->valuedouble < kScoreMin) {  // 0 of what is no number
            return kNoMatch;
        }
        pstDetectResult->score = score->valueint;  // cut towards zero, and to the range of an int
        if (!CopyCut(pstDetectResult->photoid, photoid) || !CopyCut(pstDetectResult->userid, userid) ||
            !CopyCut(pstDetectResult->name, name)) {
            HTTP_LOG_INFO("params cpy fail!");
            return kIncomplete;
        }
    }
    return kMatch;
}

}  // namespace QuorAiEngine
