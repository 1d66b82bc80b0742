// One page of the list of who has signed in, or of who has not.
#include <cstring>

#include "common/json_member.h"
#include "common/record_field.h"
#include "http_adapter/http_log.h"
#include "http_adapter/http_scope.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/bounded.h"
#include "utility/http_protocol.h"

namespace QuorAiEngine {

namespace {

constexpr unsigned int kHeaderNum = 1;
constexpr std::size_t kUrlCapacity = 1024;

// The address as it stands: this request takes no IPv6 and resolves no name.
int FormatUrl(char* url, unsigned int capacity, const TagQuorAiQuerySignIn& query) {
    const FieldText address(query.serverAddr);
    const FieldText confId(query.confId);
    const bool checkedIn = query.checkedIn != 0;
    if (query.history == 0) {
        return sprintf_s(url, capacity,
                         "https://%s:%u/conf-portal/conferences/%s/checkinservices/"
                         "checkininfos?page=%u&size=%u&checkIn=%s",
                         address.Get(), query.serverPort, confId.Get(), query.page, query.size,
                         checkedIn ? "true" : "false");
    }
    // Deliberate: of a conference that is over the server lists the opposite of what it is asked for.
    return sprintf_s(url, capacity,
                     "https://%s:%u/conf-portal/conferences/history/%s/checkinservices/"
                     "checkininfos?page=%u&size=%u&checkIn=%s",
                     address.Get(), query.serverPort, confId.Get(), query.page, query.size,
                     checkedIn ? "false" : "true");
}

}  // namespace

int AiHttpAdapter::GetQuerySignInfoUrl(const TagQuorAiQuerySignIn& querySignIn, char* url,
                                       unsigned int capacity) {
    if (url == nullptr) {
        HTTP_LOG_ERROR("Null ptr.");
        return -1;
    }
    if (FormatUrl(url, capacity, querySignIn) < 0) {
        HTTP_LOG_ERROR("<GetQuerySignInfoUrl> sprintf_s acRequestUrl fail");
        return -1;
    }
    return 0;
}

// The copy of the record is the callback's from the send on, whatever the send returns.
unsigned int AiHttpAdapter::CloudQuerySignInInfo(TagQuorAiQuerySignIn& querySignIn) {
    char url[kUrlCapacity] = {};
    if (GetQuerySignInfoUrl(querySignIn, url, sizeof(url)) != 0) {
        HTTP_LOG_ERROR("<CloudQuerySignInInfo> GetQuerySignInfoUrl fail");
        return kRequestFailed;
    }
    RequestHeaders<kHeaderNum> headers;
    tagHTTP_HEADER& header = headers.Get()[0];
    if (strcpy_s(header.name, sizeof(header.name), "token") != 0) {
        HTTP_LOG_ERROR("<CloudQuerySignInInfo> strcpy_s header name fail");
        return kRequestFailed;
    }
    const TokenResult token = CopyConfToken(header);
    if (token == TokenResult::kNoToken) {
        HTTP_LOG_ERROR("<CloudQuerySignInInfo> get token fail");
        return kRequestFailed;
    }
    if (token == TokenResult::kCopyFailed) {
        HTTP_LOG_ERROR("<CloudQuerySignInInfo> strcpy_s header value fail");
        return kRequestFailed;
    }
    RecordPtr<TagQuorAiQuerySignIn> queryInfo = NewRecord<TagQuorAiQuerySignIn>(__LINE__);
    if (queryInfo == nullptr) {
        HTTP_LOG_ERROR("<CloudQuerySignInInfo> malloc query info fail");
        return kRequestFailed;
    }
    if (memcpy_s(queryInfo.get(), sizeof(*queryInfo), &querySignIn, sizeof(querySignIn)) != 0) {
        HTTP_LOG_ERROR("<CloudQuerySignInInfo> memcpy_s query info fail");
        return kRequestFailed;
    }
    tagHTTP_S_ASYN_SEND_PARAM param;
    if (memset_s(&param, sizeof(param), 0, sizeof(param)) != 0) {
        HTTP_LOG_ERROR("<CloudQuerySignInInfo> memset_s error!");
        return kRequestFailed;
    }
    param.url = url;
    param.method = QUOR_HTTP_METHOD_GET;
    param.headers = headers.Get();
    param.headerCount = RequestHeaders<kHeaderNum>::Count();
    param.callback = QuerySignInRspNotify;
    param.userData = queryInfo.release();
    const unsigned int result = m_httpProtocol->AiCommonHttpAsynSend(&param);
    if (headers.Wipe() != 0) {
        HTTP_LOG_ERROR("<CloudQuerySignInInfo> memset_s header fail");
    }
    return result;
}

unsigned int AiHttpAdapter::QuerySignInRspNotify(unsigned long handle, EN_HTTP_ERRORCODE ret,
                                                 tagST_HTTP_RSP* pstHttpRsp, void* userData) {
    const AnswerHandle answer(handle);
    const RecordPtr<TagQuorAiQuerySignIn> queryInfo = AdoptRecord<TagQuorAiQuerySignIn>(userData);
    if (queryInfo == nullptr) {
        HTTP_LOG_ERROR("<QuerySignInRspNotify> queryInfo is nullptr");
        return kRequestFailed;
    }
    if (GetErrorCode(ret, pstHttpRsp) != 0) {
        return kRequestFailed;
    }
    HTTP_TRACE("eHttpRet:%d, httpCode:%d,  page = %d, count = %d", static_cast<int>(ret),
               static_cast<int>(pstHttpRsp->statusCode), static_cast<int>(queryInfo->page),
               static_cast<int>(queryInfo->size));
    return static_cast<unsigned int>(
        WithoutExceptions(-1, [&] { return NotifySignInAnswer(*pstHttpRsp, *queryInfo); }));
}

// A good status without a body, as 204 is, fails here.
int AiHttpAdapter::NotifySignInAnswer(const tagST_HTTP_RSP& pstHttpRsp,
                                      const TagQuorAiQuerySignIn& querySignIn) {
    const BodyTextPtr pcString(
        HttpProtocol::AiUtilityHttpGetStrFromBody(pstHttpRsp.body, BodyLength(pstHttpRsp.body)));
    if (pcString == nullptr) {
        HTTP_LOG_ERROR("<QuerySignInRspNotify>: pcString is null");
        return -1;
    }
    TagQuorAiGetSignIn signIn;
    std::memset(&signIn, 0, sizeof(signIn));
    signIn.checkedIn = querySignIn.checkedIn;
    signIn.history = querySignIn.history;
    const int result = ParseSignInRes(pcString.get(), signIn);
    if (result != 0) {
        return result;
    }
    AiHttpAdapter* httpAdapter = GetInstance();
    if (httpAdapter == nullptr) {
        HTTP_LOG_ERROR("httpAdapter is nullptr");
        return -1;
    }
    httpAdapter->Notify(AI_SUB_ID_QUERY_SIGN_IN, reinterpret_cast<unsigned char*>(&signIn), sizeof(signIn));
    return 0;
}

int AiHttpAdapter::ParseSignInRes(const char* body, TagQuorAiGetSignIn& result) {
    if (body == nullptr) {
        HTTP_LOG_ERROR("Null ptr.");
        return -1;
    }
    const JsonPtr root(cJSON_Parse(body));
    if (root == nullptr) {
        HTTP_LOG_ERROR("<ParseSignInRes>: parse root faild");
        return -1;
    }
    const cJSON* totalElements = FindMember(root.get(), "totalElements");
    const cJSON* totalPages = FindMember(root.get(), "totalPages");
    const cJSON* number = FindMember(root.get(), "number");
    if (totalElements == nullptr || totalPages == nullptr || number == nullptr) {
        HTTP_LOG_ERROR("<ParseSignInRes>: res not contain key value");
        return -1;
    }
    result.totalElements = static_cast<unsigned int>(totalElements->valueint);
    result.totalPages = static_cast<unsigned int>(totalPages->valueint);
    result.number = static_cast<unsigned int>(number->valueint);
    const cJSON* content = FindMember(root.get(), "content");
    if (cJSON_IsArray(content) == 0) {
        HTTP_LOG_ERROR("<ParseSignInRes> cannot parse this body");
        return -1;
    }
    const int count = cJSON_GetArraySize(content);
    if (count > static_cast<int>(kQuorAiSignInMax)) {
        HTTP_LOG_ERROR("<ParseSignInRes> result size is too large: %d", count);
        return -1;
    }
    result.count = static_cast<unsigned int>(count);
    TagQuorAiGetSigninContent* entry = result.entries;
    for (const cJSON* item = content->child; item != nullptr; item = item->next, ++entry) {
        // Details are read when they were asked for, not when they are there.
        if (ParseSigninCommonField(item, *entry) != 0 ||
            (result.checkedIn != 0 && ParseSignedUniqueField(item, *entry) != 0)) {
            return -1;
        }
    }
    return 0;
}

// Presence is tested and not the type, deliberately: a value that is no text fails as a copy does.
int AiHttpAdapter::ParseSigninCommonField(const cJSON* item, TagQuorAiGetSigninContent& entry) {
    if (item == nullptr) {
        HTTP_LOG_ERROR("<ParseSigninCommonField>: array item is null");
        return -1;
    }
    const cJSON* name = FindMember(item, "name");
    const cJSON* account = FindMember(item, "account");
    if (name == nullptr || account == nullptr) {
        HTTP_LOG_ERROR("<ParseSigninCommonField>: name or account is null");
        return -1;
    }
    if (strcpy_s(entry.name, sizeof(entry.name), name->valuestring) != 0) {
        HTTP_LOG_ERROR("<ParseSigninCommonField>: strcpy_s name failed");
        return -1;
    }
    if (strcpy_s(entry.account, sizeof(entry.account), account->valuestring) != 0) {
        HTTP_LOG_ERROR("<ParseSigninCommonField>: strcpy_s account failed");
        return -1;
    }
    return 0;
}

int AiHttpAdapter::ParseSignedUniqueField(const cJSON* item, TagQuorAiGetSigninContent& entry) {
    if (item == nullptr) {
        HTTP_LOG_ERROR("<ParseSignedUniqueField>: array item is null");
        return -1;
    }
    const cJSON* checkInTime = FindMember(item, "checkInTime");
    const cJSON* participantName = FindMember(item, "participantName");
    const cJSON* type = FindMember(item, "type");
    if (checkInTime == nullptr || participantName == nullptr || type == nullptr) {
        HTTP_LOG_ERROR("<ParseSignedUniqueField>: checkInTime/participantName/tye is null");
        return -1;
    }
    if (strcpy_s(entry.checkInTime, sizeof(entry.checkInTime), checkInTime->valuestring) != 0) {
        HTTP_LOG_ERROR("<ParseSignedUniqueField>: strcpy_s checkInTime failed");
        return -1;
    }
    if (strcpy_s(entry.participantName, sizeof(entry.participantName), participantName->valuestring) != 0) {
        HTTP_LOG_ERROR("<ParseSignedUniqueField>: strcpy_s participantName failed");
        return -1;
    }
    if (strcpy_s(entry.type, sizeof(entry.type), type->valuestring) != 0) {
        HTTP_LOG_ERROR("<ParseSignedUniqueField>: strcpy_s type failed");
        return -1;
    }
    return 0;
}

}  // namespace QuorAiEngine
