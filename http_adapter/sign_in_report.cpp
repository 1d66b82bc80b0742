// Reports who signed in at the terminal.
#include <algorithm>
#include <cstring>
#include <string>

#include "common/record_field.h"
#include "http_adapter/http_log.h"
#include "http_adapter/http_scope.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/bounded.h"
#include "utility/http_protocol.h"

namespace QuorAiEngine {

namespace {

constexpr unsigned int kHeaderNum = 2;
constexpr std::size_t kUrlCapacity = 1024;

// One entry as a JSON object; null: no memory.
JsonPtr EntryObject(const TagQuorAiGetSigninContent& entry) {
    JsonPtr object(cJSON_CreateObject());
    // The order of the members is what the server's documents show.
    if (cJSON_AddStringToObject(object.get(), "name", FieldText(entry.name).Get()) == nullptr ||
        cJSON_AddStringToObject(object.get(), "account", FieldText(entry.account).Get()) == nullptr ||
        cJSON_AddStringToObject(object.get(), "checkInTime", FieldText(entry.checkInTime).Get()) == nullptr ||
        cJSON_AddStringToObject(object.get(), "type", FieldText(entry.type).Get()) == nullptr ||
        cJSON_AddStringToObject(object.get(), "participantName", FieldText(entry.participantName).Get()) ==
            nullptr) {
        return nullptr;
    }
    return object;
}

}  // namespace

unsigned int AiHttpAdapter::CloudReportSignInInfo(TagQuorAiReportSiginIn& reportSignIn) {
    return WithoutExceptions(kRequestFailed, [&] { return SendSignInReport(reportSignIn); });
}

unsigned int AiHttpAdapter::SendSignInReport(TagQuorAiReportSiginIn& reportSignIn) {
    if (reportSignIn.reportCount == 0 || reportSignIn.reportCount > kQuorAiReportSignInMax) {
        HTTP_LOG_ERROR("<CloudReportSignInInfo> report num is invalid: %d",
                       static_cast<int>(reportSignIn.reportCount));
        return kRequestFailed;
    }
    std::string url;
    if (GenerateReportUrl(reportSignIn, url) != 0) {
        HTTP_LOG_ERROR("<CloudReportSignInInfo> GenerateReportUrl fail");
        return kRequestFailed;
    }
    RequestHeaders<kHeaderNum> headers;
    if (GenerateReportHeader(headers.Get(), RequestHeaders<kHeaderNum>::Count(), reportSignIn) != 0) {
        HTTP_LOG_ERROR("<CloudReportSignInInfo> GetReportHeader fail");
        return kRequestFailed;
    }
    JsonTextPtr body(GenerateReportBody(reportSignIn));
    if (body == nullptr) {
        HTTP_LOG_ERROR("<CloudReportSignInInfo> GenerateReportBody null");
        return kRequestFailed;
    }
    RecordPtr<TagQuorAiReportSiginIn> reportInfo =
        AdoptRecord<TagQuorAiReportSiginIn>(NewReportSigninInfo(reportSignIn));
    if (reportInfo == nullptr) {
        HTTP_LOG_ERROR("<CloudReportSignInInfo> new and copy report info error!");
        return kRequestFailed;
    }
    tagHTTP_S_ASYN_SEND_PARAM param;
    if (memset_s(&param, sizeof(param), 0, sizeof(param)) != 0) {
        return kRequestFailed;
    }
    param.url = url.c_str();
    param.method = QUOR_HTTP_METHOD_PUT;
    param.body = body.get();
    param.bodyLen = BodyLength(body.get());
    param.headers = headers.Get();
    param.headerCount = RequestHeaders<kHeaderNum>::Count();
    param.callback = ReportSignInRspNotify;
    param.userData = reportInfo.release();
    const unsigned int result = m_httpProtocol->AiCommonHttpAsynSend(&param);
    body.reset();
    if (headers.Wipe() != 0) {
        HTTP_LOG_ERROR("<CloudReportSignInInfo> memset_s header fail");
    }
    return result;
}

// Deliberate: a name gives way to its address in the application's record, and so in the result.
int AiHttpAdapter::GenerateReportUrl(TagQuorAiReportSiginIn& reportSignIn, std::string& url) {
    const unsigned int addressType =
        HttpProtocol::GetAddressType(reportSignIn.serverAddr, sizeof(reportSignIn.serverAddr));
    const FieldText address(reportSignIn.serverAddr);
    const FieldText confId(reportSignIn.confId);
    char acRequestUrl[kUrlCapacity] = {};
    int length = 0;
    if (addressType == kAddressTypeIpv4) {
        length = sprintf_s(acRequestUrl, sizeof(acRequestUrl),
                           "https://%s:%u/conf-portal/conferences/%s/checkinservices/checkininfos",
                           address.Get(), reportSignIn.serverPort, confId.Get());
    } else if (addressType == kAddressTypeIpv6) {
        length = sprintf_s(acRequestUrl, sizeof(acRequestUrl),
                           "https://[%s]:%u/conf-portal/conferences/%s/checkinservices/checkininfos",
                           address.Get(), reportSignIn.serverPort, confId.Get());
    } else {
        HTTP_LOG_ERROR("<CloudReportSignInInfo>: GetAddressType fail");
        return -1;
    }
    if (length < 0) {
        HTTP_LOG_ERROR("<CloudReportSignInInfo> sprintf_s acRequestUrl fail: %d", length);
        return -1;
    }
    url = acRequestUrl;
    return 0;
}

// With a token of its own the report does not ask the login client.
int AiHttpAdapter::GenerateReportHeader(tagHTTP_HEADER* headers, unsigned int headerNum,
                                        const TagQuorAiReportSiginIn& reportSignIn) {
    if (headers == nullptr || headerNum != kHeaderNum) {
        HTTP_LOG_ERROR("<GenerateReportHeader> param is invalid");
        return -1;
    }
    if (strcpy_s(headers[0].name, sizeof(headers[0].name), "token") != 0) {
        HTTP_LOG_ERROR("<GenerateReportHeader> strcpy_s token name fail");
        return -1;
    }
    TokenResult token = TokenResult::kCopied;
    if (reportSignIn.tokenSource != kQuorAiTokenSourceOwn) {
        token = CopyConfToken(headers[0]);
    } else if (strncpy_s(headers[0].value, sizeof(headers[0].value), reportSignIn.ownToken,
                         sizeof(reportSignIn.ownToken)) != 0) {
        token = TokenResult::kCopyFailed;
    }
    if (token == TokenResult::kNoToken) {
        HTTP_LOG_ERROR("<GenerateReportHeader> get token fail");
        return -1;
    }
    if (token == TokenResult::kCopyFailed) {
        HTTP_LOG_ERROR("<GenerateReportHeader> strcpy_s token value fail");
        return -1;
    }
    if (strcpy_s(headers[1].name, sizeof(headers[1].name), "Content-Type") != 0) {
        HTTP_LOG_ERROR("<GenerateReportHeader> strcpy_s content type name fail");
        return -1;
    }
    if (strcpy_s(headers[1].value, sizeof(headers[1].value), "application/json;charset=UTF-8") != 0) {
        HTTP_LOG_ERROR("<GenerateReportHeader> strcpy_s content type value fail");
        return -1;
    }
    return 0;
}

char* AiHttpAdapter::GenerateReportBody(const TagQuorAiReportSiginIn& reportSignIn) {
    const JsonPtr root(cJSON_CreateObject());
    cJSON* checkInfoList = cJSON_AddArrayToObject(root.get(), "checkInfoList");
    if (checkInfoList == nullptr) {
        return nullptr;
    }
    const unsigned int count = std::min(reportSignIn.reportCount, kQuorAiReportSignInMax);
    for (unsigned int i = 0; i < count; ++i) {
        JsonPtr object = EntryObject(reportSignIn.entries[i]);
        if (object == nullptr) {
            return nullptr;
        }
        cJSON_AddItemToArray(checkInfoList, object.release());
    }
    return cJSON_Print(root.get());
}

TagQuorAiReportSiginIn* AiHttpAdapter::NewReportSigninInfo(const TagQuorAiReportSiginIn& reportSignIn) {
    RecordPtr<TagQuorAiReportSiginIn> reportInfo = NewRecord<TagQuorAiReportSiginIn>(__LINE__);
    if (reportInfo == nullptr) {
        HTTP_LOG_ERROR("<NewReportSigninInfo> malloc report info fail");
        return nullptr;
    }
    if (memcpy_s(reportInfo.get(), sizeof(*reportInfo), &reportSignIn, sizeof(reportSignIn)) != 0) {
        HTTP_LOG_ERROR("<NewReportSigninInfo> memcpy_s report info fail");
        return nullptr;
    }
    return reportInfo.release();
}

// Observers are told of a failure too: the record says what became of the report.
unsigned int AiHttpAdapter::ReportSignInRspNotify(unsigned long handle, EN_HTTP_ERRORCODE ret,
                                                  tagST_HTTP_RSP* pstHttpRsp, void* userData) {
    const AnswerHandle answer(handle);
    const RecordPtr<TagQuorAiReportSiginIn> reportSignInfo = AdoptRecord<TagQuorAiReportSiginIn>(userData);
    if (reportSignInfo == nullptr) {
        HTTP_LOG_ERROR("<ReportSignInRspNotify> reportSignInfo is nullptr");
        return kRequestFailed;
    }
    reportSignInfo->result = GetErrorCode(ret, pstHttpRsp) == 0 ? 1 : 0;
    if (reportSignInfo->result == 0) {
        HTTP_LOG_ERROR("<ReportSignInRspNotify>: %d signin infos report failed",
                       static_cast<int>(reportSignInfo->reportCount));
    }
    AiHttpAdapter* httpAdapter = GetInstance();
    if (httpAdapter == nullptr) {
        HTTP_LOG_ERROR("httpAdapter is nullptr");
        return kRequestFailed;
    }
    return WithoutExceptions(kRequestFailed, [&] {
        httpAdapter->Notify(AI_SUB_ID_REPORT_SIGN_IN, reinterpret_cast<unsigned char*>(reportSignInfo.get()),
                            sizeof(*reportSignInfo));
        return 0U;
    });
}

}  // namespace QuorAiEngine
