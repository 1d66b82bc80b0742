// Asks whether an account has signed in.
#include <algorithm>
#include <cstring>
#include <string>

#include "common/json_member.h"
#include "common/record_field.h"
#include "http_adapter/account_record.h"
#include "http_adapter/http_log.h"
#include "http_adapter/http_scope.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/bounded.h"
#include "utility/http_protocol.h"

namespace QuorAiEngine {

namespace {

constexpr unsigned int kHeaderNum = 2;
constexpr unsigned int kStatusOk = 200;
constexpr std::size_t kUrlCapacity = 1024;

}  // namespace

unsigned int AiHttpAdapter::CloudQueryAccountSignInInfo(TagQuorAiQuerySignAccount& querySignAccount) {
    return WithoutExceptions(kRequestFailed, [&] { return SendAccountQuery(querySignAccount); });
}

unsigned int AiHttpAdapter::SendAccountQuery(TagQuorAiQuerySignAccount& querySignAccount) {
    RecordPtr<TagQuorAiQueryAccountSignInfo> userInfo = NewRecord<TagQuorAiQueryAccountSignInfo>(__LINE__);
    if (userInfo == nullptr) {
        HTTP_LOG_ERROR("<CloudQueryAccountSignInInfo> malloc userInfo fail");
        return kRequestFailed;
    }
    char url[kUrlCapacity] = {};
    RequestHeaders<kHeaderNum> headers;
    if (GenerateAccountSignIn(url, headers.Get(), userInfo.get(), querySignAccount) != 0) {
        HTTP_LOG_ERROR("<CloudQueryAccountSignInInfo> GenerateAccountSignIn fail");
        return kRequestFailed;
    }
    const std::string jsonStr = GenerateReportAccountSignJson(userInfo.get());
    if (jsonStr.empty()) {
        HTTP_LOG_ERROR("<CloudQueryAccountSignInInfo> jsonStr return null");
        return kRequestFailed;
    }
    tagHTTP_S_ASYN_SEND_PARAM param;
    if (memset_s(&param, sizeof(param), 0, sizeof(param)) != 0) {
        HTTP_LOG_ERROR("<CloudQueryAccountSignInInfo> memset_s error!");
        return kRequestFailed;
    }
    param.url = url;
    param.method = QUOR_HTTP_METHOD_POST;
    param.body = jsonStr.c_str();
    param.bodyLen = static_cast<unsigned int>(jsonStr.size());
    param.headers = headers.Get();
    param.headerCount = RequestHeaders<kHeaderNum>::Count();
    param.callback = QueryAutoSignInRspNotify;
    param.userData = userInfo.release();
    const unsigned int result = m_httpProtocol->AiCommonHttpAsynSend(&param);
    if (headers.Wipe() != 0) {
        HTTP_LOG_ERROR("<CloudQueryAccountSignInInfo> memset_s header fail");
    }
    return result;
}

// Deliberate: the text of a URL that does not fit carries the caller's name, that of an address its own. A
// name gives way to its address in the application's record.
int AiHttpAdapter::GenerateAccountSignIn(char* url, tagHTTP_HEADER* headers,
                                         TagQuorAiQueryAccountSignInfo* userInfo,
                                         TagQuorAiQuerySignAccount& querySignAccount) {
    const unsigned int addressType =
        HttpProtocol::GetAddressType(querySignAccount.serverAddr, sizeof(querySignAccount.serverAddr));
    const FieldText address(querySignAccount.serverAddr);
    const FieldText confId(querySignAccount.confId);
    int length = 0;
    if (addressType == kAddressTypeIpv4) {
        length = sprintf_s(url, kUrlCapacity,
                           "https://%s:%u/conf-portal/conferences/%s/checkinservices/checkininfos/account",
                           address.Get(), querySignAccount.serverPort, confId.Get());
    } else if (addressType == kAddressTypeIpv6) {
        length = sprintf_s(url, kUrlCapacity,
                           "https://[%s]:%u/conf-portal/conferences/%s/checkinservices/checkininfos/account",
                           address.Get(), querySignAccount.serverPort, confId.Get());
    } else {
        HTTP_LOG_ERROR("<GenerateAccountSignIn>: GetAddressType fail");
        return -1;
    }
    if (length < 0) {
        HTTP_LOG_ERROR("<CloudQueryAccountSignInInfo> sprintf_s acRequestUrl fail: %d", length);
        return -1;
    }
    if (GenerateAccountSignInHeader(headers, kHeaderNum) != 0 ||
        GenerateAccountSignInInfo(userInfo, querySignAccount) != 0) {
        HTTP_LOG_ERROR("<CloudQueryAccountSignInInfo> GetReportHeader fail");
        return -1;
    }
    return 0;
}

int AiHttpAdapter::GenerateAccountSignInHeader(tagHTTP_HEADER* headers, unsigned int headerNum) {
    if (headers == nullptr || headerNum != kHeaderNum) {
        HTTP_LOG_ERROR("<GenerateAccountSignInHeader> param is invalid");
        return -1;
    }
    if (strcpy_s(headers[0].name, sizeof(headers[0].name), "token") != 0) {
        HTTP_LOG_ERROR("<GenerateAccountSignInHeader> strcpy_s token name fail");
        return -1;
    }
    const TokenResult token = CopyConfToken(headers[0]);
    if (token == TokenResult::kNoToken) {
        HTTP_LOG_ERROR("<GenerateAccountSignInHeader> get token fail");
        return -1;
    }
    if (token == TokenResult::kCopyFailed) {
        HTTP_LOG_ERROR("<GenerateAccountSignInHeader> strcpy_s token value fail");
        return -1;
    }
    if (strcpy_s(headers[1].name, sizeof(headers[1].name), "Content-Type") != 0) {
        HTTP_LOG_ERROR("<GenerateAccountSignInHeader> strcpy_s content type name fail");
        return -1;
    }
    if (strcpy_s(headers[1].value, sizeof(headers[1].value), "application/json;charset=UTF-8") != 0) {
        HTTP_LOG_ERROR("<GenerateAccountSignInHeader> strcpy_s content type value fail");
        return -1;
    }
    return 0;
}

int AiHttpAdapter::GenerateAccountSignInInfo(TagQuorAiQueryAccountSignInfo* userInfo,
                                             const TagQuorAiQuerySignAccount& querySignAccount) {
    userInfo->accountCount = querySignAccount.accountCount;
    if (CopyField(userInfo->confId, sizeof(userInfo->confId), querySignAccount.confId) != 0) {
        // Deliberate: the text of a header's failure; log readers know it so.
        HTTP_LOG_ERROR("<GenerateAccountSignInHeader> strcpy_s token name fail");
        return -1;
    }
    if (strncpy_s(userInfo->accounts[0], kAccountCapacity, querySignAccount.account, kAccountCapacity - 1) !=
        0) {
        HTTP_LOG_ERROR("<CloudQueryAccountSignInInfo> memcpy_s account fail");
        return -1;
    }
    return 0;
}

// Deliberate: as many texts as accounts were counted, although only the first one is known; the server takes
// empty ones.
std::string AiHttpAdapter::GenerateReportAccountSignJson(const TagQuorAiQueryAccountSignInfo* userInfo) {
    const JsonPtr root(cJSON_CreateObject());
    cJSON* accountList = cJSON_AddArrayToObject(root.get(), "accountList");
    if (accountList == nullptr) {
        return {};
    }
    const unsigned int count = std::min(userInfo->accountCount, kAccountSlots);
    for (unsigned int i = 0; i < count; ++i) {
        cJSON* account = cJSON_CreateString(userInfo->accounts[i]);
        if (account == nullptr) {
            return {};
        }
        cJSON_AddItemToArray(accountList, account);
    }
    const JsonTextPtr text(cJSON_Print(root.get()));
    return text == nullptr ? std::string() : std::string(text.get());
}

unsigned int AiHttpAdapter::QueryAutoSignInRspNotify(unsigned long handle, EN_HTTP_ERRORCODE ret,
                                                     tagST_HTTP_RSP* pstHttpRsp, void* userData) {
    const AnswerHandle answer(handle);
    const RecordPtr<TagQuorAiQueryAccountSignInfo> userInfo =
        AdoptRecord<TagQuorAiQueryAccountSignInfo>(userData);
    if (userInfo == nullptr) {  // deliberate, as the two texts below: they name other operations
        HTTP_LOG_ERROR("<ReportAccountSignNotify> accountCheckInInfo is nullptr");
        return kRequestFailed;
    }
    return static_cast<unsigned int>(
        WithoutExceptions(-1, [&] { return NotifyAccountAnswer(ret, pstHttpRsp); }));
}

// A failure is told to the observers and is a failure of the callback; an answer that is not understood is
// neither.
int AiHttpAdapter::NotifyAccountAnswer(EN_HTTP_ERRORCODE ret, const tagST_HTTP_RSP* pstHttpRsp) {
    TagQuorAiAccountCheckInInfo checkInInfo;
    if (memset_s(&checkInInfo, sizeof(checkInInfo), 0, sizeof(checkInInfo)) != 0) {
        HTTP_LOG_ERROR("<MallocMsgBuffer>: failed memset reportInfo error");
        return -1;
    }
    int result = 0;
    if (GetErrorCode(ret, pstHttpRsp) != 0) {
        result = -1;
        checkInInfo.httpStatus =
            pstHttpRsp == nullptr ? 0 : static_cast<unsigned int>(pstHttpRsp->statusCode);
    } else {
        checkInInfo.httpStatus = kStatusOk;
        const BodyTextPtr pcString(
            HttpProtocol::AiUtilityHttpGetStrFromBody(pstHttpRsp->body, BodyLength(pstHttpRsp->body)));
        if (pcString == nullptr) {
            HTTP_LOG_ERROR("<QuerySignInRspNotify>: pcString is null");
            return -1;
        }
        if (ParseAutoSignInRes(pcString.get(), checkInInfo) != 0) {
            return 0;
        }
    }
    AiHttpAdapter* httpAdapter = GetInstance();
    if (httpAdapter == nullptr) {
        HTTP_LOG_ERROR("httpAdapter is nullptr");
        return -1;
    }
    httpAdapter->Notify(AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, reinterpret_cast<unsigned char*>(&checkInInfo),
                        sizeof(checkInInfo));
    return result;
}

// An account that has not signed in is missing in the answer, and a success with empty texts.
int AiHttpAdapter::ParseAutoSignInRes(const char* body, TagQuorAiAccountCheckInInfo& result) {
    if (body == nullptr) {
        HTTP_LOG_ERROR("Null ptr.");
        return -1;
    }
    const JsonPtr root(cJSON_Parse(body));
    if (root == nullptr) {
        HTTP_LOG_ERROR("<ParseAutoSignInRes>: parse root faild");
        return -1;
    }
    const cJSON* checkInInfos = FindMember(root.get(), "checkInInfos");
    if (cJSON_IsArray(checkInInfos) == 0) {
        HTTP_LOG_ERROR("<ParseAutoSignInRes> cannot parse this body");
        return -1;
    }
    const cJSON* jsonItem = checkInInfos->child;
    if (jsonItem == nullptr) {
        HTTP_LOG_INFO("jsonItem is nullptr");
        return 0;
    }
    const cJSON* account = FindMember(jsonItem, "account");
    const cJSON* checkInTime = FindMember(jsonItem, "checkInTime");
    if (account == nullptr || checkInTime == nullptr) {
        HTTP_LOG_ERROR("<ParseAutoSignInRes>: res not contain key value");
        return 0;
    }
    if (strcpy_s(result.account, sizeof(result.account), account->valuestring) != 0) {
        HTTP_LOG_ERROR("<ParseSigninCommonField>: strcpy_s account failed");
        return -1;
    }
    if (strcpy_s(result.checkInTime, sizeof(result.checkInTime), checkInTime->valuestring) != 0) {
        HTTP_LOG_ERROR("<ParseSigninCommonField>: strcpy_s checkInTime failed");
        return -1;
    }
    return 0;
}

}  // namespace QuorAiEngine
