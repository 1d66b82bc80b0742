// What all requests ask of an answer.
#include "common/json_member.h"
#include "http_adapter/http_log.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/bounded.h"

namespace QuorAiEngine {

namespace {

// 200 and 204 differ in this bit only.
constexpr unsigned long kStatusOk = 200;
constexpr unsigned long kNoContentBit = 4;

}  // namespace

int AiHttpAdapter::GetErrorCode(EN_HTTP_ERRORCODE ret, const tagST_HTTP_RSP* pstHttpRsp) {
    if (ret != HTTP_ERRORCODE_OK) {
        HTTP_LOG_ERROR("<GetErrorCode>: Send func ret =  %d", static_cast<int>(ret));
        return -1;
    }
    if (pstHttpRsp == nullptr) {
        HTTP_LOG_ERROR("<GetErrorCode>: pstHttpRsp is null!");
        return -1;
    }
    if ((pstHttpRsp->statusCode & ~kNoContentBit) != kStatusOk) {
        HTTP_LOG_ERROR("<GetErrorCode>: http status code = %lu", pstHttpRsp->statusCode);
        return -1;
    }
    HTTP_TRACE("eHttpRet: %d, httpCode: %d", static_cast<int>(ret), static_cast<int>(pstHttpRsp->statusCode));
    return 0;
}

int AiHttpAdapter::GetErrorMessage(const cJSON* root, char* message, unsigned int messageCapacity, char* code,
                                   unsigned int codeCapacity) {
    if (root == nullptr) {
        HTTP_LOG_ERROR("<GetErrorMessage> root is null");
        return -1;
    }
    if (message == nullptr || messageCapacity == 0 || code == nullptr || codeCapacity == 0) {
        HTTP_LOG_ERROR("<GetErrorMessage> arg is invalid");
        return -1;
    }
    const cJSON* messageItem = FindMember(root, "message");
    const cJSON* codeItem = FindMember(root, "code");
    if (cJSON_IsString(messageItem) == 0 || cJSON_IsString(codeItem) == 0) {
        HTTP_LOG_ERROR("status is failure but get message and code fail");
        return -1;
    }
    if (strncpy_s(message, messageCapacity, messageItem->valuestring, messageCapacity - 1) != 0 ||
        strncpy_s(code, codeCapacity, codeItem->valuestring, codeCapacity - 1) != 0) {
        HTTP_LOG_ERROR("msg cpy fail!");
        return -1;
    }
    return 0;
}

}  // namespace QuorAiEngine
