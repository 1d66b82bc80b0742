// Reports that a face was matched to a speaker.
#include <charconv>
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
constexpr float kMsPerSecond = 1000.0F;
constexpr int kSecondsDecimals = 3;
constexpr int kFloatDecimals = 6;
constexpr std::size_t kNumberCapacity = 48;  // of any single-precision number with so many decimals

template <std::size_t N>
int FieldLength(const char (&field)[N]) {
    return static_cast<int>(strnlen(field, N));
}

// A text of a token, wiped at the end.
class TokenText {
public:
    template <std::size_t N>
    explicit TokenText(const char (&field)[N]) : m_text(field, strnlen(field, N)) {}
    ~TokenText() { WipeBytes(m_text.data(), m_text.size()); }
    TokenText(const TokenText&) = delete;
    TokenText& operator=(const TokenText&) = delete;

    const std::string& Get() const { return m_text; }

private:
    std::string m_text;
};

bool AddText(cJSON* object, const char* name, const char* text) {
    return cJSON_AddStringToObject(object, name, text) != nullptr;
}

bool AddText(cJSON* object, const char* name, const std::string& text) {
    return AddText(object, name, text.c_str());
}

// All digits, as printf's %f writes them, but with a point in every locale: the server reads no comma.
bool AddNumber(cJSON* object, const char* name, float number, int decimals) {
    char text[kNumberCapacity] = {};
    std::to_chars(text, text + sizeof(text) - 1, number, std::chars_format::fixed, decimals);
    return AddText(object, name, text);
}

// Deliberate: in single precision, so that long times come in coarse steps; the server expects what it always
// got.
bool AddSeconds(cJSON* object, const char* name, long long timeMs) {
    return AddNumber(object, name, static_cast<float>(timeMs) / kMsPerSecond, kSecondsDecimals);
}

bool AddRect(cJSON* object, const TagQuorAiFaceRect& rect) {
    cJSON* member = cJSON_AddObjectToObject(object, "rect");
    return member != nullptr && AddText(member, "x", std::to_string(rect.x)) &&
           AddText(member, "y", std::to_string(rect.y)) && AddText(member, "w", std::to_string(rect.w)) &&
           AddText(member, "h", std::to_string(rect.h));
}

}  // namespace

unsigned int AiHttpAdapter::CloudReportAVMatchInfo(TagQuorAiAVMatchtData& avMatchData) {
    const int userIdLen = FieldLength(avMatchData.userid);
    const int siteLen = FieldLength(avMatchData.site);
    const int uuidLen = FieldLength(avMatchData.uuid);
    if (userIdLen == 0 || siteLen == 0 || uuidLen == 0) {
        HTTP_LOG_INFO("<%s>userId:%d, site:%d, uuid:%d.", __func__, userIdLen, siteLen, uuidLen);
        return kRequestFailed;
    }
    return WithoutExceptions(kRequestFailed, [&] { return SendAVMatchReport(avMatchData); });
}

// The address as it stands: this request takes no IPv6 and resolves no name.
unsigned int AiHttpAdapter::SendAVMatchReport(const TagQuorAiAVMatchtData& avMatchData) {
    char url[kUrlCapacity] = {};
    if (sprintf_s(url, sizeof(url), "https://%s:%u/conf-portal/online/conferences/%s/participants/ai/caption",
                  FieldText(avMatchData.serverAddr).Get(), avMatchData.serverPort,
                  FieldText(avMatchData.uuid).Get()) < 0) {
        HTTP_LOG_ERROR("<CloudReportAVMatchInfo> sprintf_s acRequestUrl fail");
        return kRequestFailed;
    }
    RequestHeaders<kHeaderNum> headers;
    const TokenText token(avMatchData.token);
    if (GenerateAVmatchReportHeader(headers.Get(), RequestHeaders<kHeaderNum>::Count(), token.Get()) != 0) {
        HTTP_LOG_ERROR("<CloudReportAVMatchInfo> GetReportHeader fail");
        return kRequestFailed;
    }
    const std::string jsonStr = GenerateReportAVMatchBody(avMatchData);
    if (jsonStr.empty()) {
        HTTP_LOG_ERROR("<CloudReportAVMatchInfo> jsonStr return null");
        return kRequestFailed;
    }
    RecordPtr<TagQuorAiAVMatchtData> reportInfo =
        AdoptRecord<TagQuorAiAVMatchtData>(NewReportAVMatchInfo(avMatchData));
    if (reportInfo == nullptr) {
        HTTP_LOG_ERROR("<CloudReportAVMatchInfo> new and copy report info error!");
        return kRequestFailed;
    }
    tagHTTP_S_ASYN_SEND_PARAM param;
    if (memset_s(&param, sizeof(param), 0, sizeof(param)) != 0) {
        HTTP_LOG_ERROR("<CloudReportAVMatchInfo> memset_s error!");
        return kRequestFailed;
    }
    param.url = url;
    param.method = QUOR_HTTP_METHOD_POST;
    param.body = jsonStr.c_str();
    param.bodyLen = static_cast<unsigned int>(jsonStr.size());
    param.headers = headers.Get();
    param.headerCount = RequestHeaders<kHeaderNum>::Count();
    param.callback = ReportAVMatchRspNotify;
    param.userData = reportInfo.release();
    const unsigned int result = m_httpProtocol->AiCommonHttpAsynSend(&param);
    headers.Wipe();
    return result;
}

// Deliberate: the login client must have a token although the record's own is sent; a terminal that is not
// logged in reports nothing. The texts carry the name of the sign-in report's builder.
int AiHttpAdapter::GenerateAVmatchReportHeader(tagHTTP_HEADER* headers, unsigned int headerNum,
                                               const std::string& token) {
    if (headers == nullptr || headerNum != kHeaderNum) {
        HTTP_LOG_ERROR("<GenerateReportHeader> param is invalid");
        return -1;
    }
    if (MonitorConfToken() != 0) {
        HTTP_LOG_ERROR("<GenerateReportHeader> get token fail");
        return -1;
    }
    // Deliberate: with a capital letter, unlike the other requests.
    if (strcpy_s(headers[0].name, sizeof(headers[0].name), "Token") != 0) {
        HTTP_LOG_ERROR("<GenerateReportHeader> strcpy_s token name fail");
        return -1;
    }
    if (strcpy_s(headers[0].value, sizeof(headers[0].value), token.c_str()) != 0) {
        HTTP_LOG_ERROR("<GenerateReportHeader> strcpy_s token value fail");
        return -1;
    }
    if (strcpy_s(headers[1].name, sizeof(headers[1].name), "Content-Type") != 0) {
        HTTP_LOG_ERROR("<GenerateReportHeader> strcpy_s content type name fail");
        return -1;
    }
    if (strcpy_s(headers[1].value, sizeof(headers[1].value), "application/json") != 0) {
        HTTP_LOG_ERROR("<GenerateReportHeader> strcpy_s content type value fail");
        return -1;
    }
    return 0;
}

// Every value is a text, numbers too. Empty: no memory.
std::string AiHttpAdapter::GenerateReportAVMatchBody(const TagQuorAiAVMatchtData& avMatchData) {
    const JsonPtr root(cJSON_CreateObject());
    cJSON* object = root.get();
    if (object == nullptr || !AddText(object, "site", FieldText(avMatchData.site).Get()) ||
        !AddText(object, "msg", "avmatch") || !AddSeconds(object, "start", avMatchData.start) ||
        !AddSeconds(object, "end", avMatchData.end) ||
        !AddText(object, "userid", FieldText(avMatchData.userid).Get()) ||
        !AddNumber(object, "doa", avMatchData.doa, kFloatDecimals) ||
        !AddNumber(object, "score", avMatchData.score, kFloatDecimals) ||
        !AddText(object, "faceid", std::to_string(avMatchData.faceid)) ||
        !AddRect(object, avMatchData.rect)) {
        return {};
    }
    const JsonTextPtr text(cJSON_Print(object));
    return text == nullptr ? std::string() : std::string(text.get());
}

TagQuorAiAVMatchtData* AiHttpAdapter::NewReportAVMatchInfo(const TagQuorAiAVMatchtData& avMatchData) {
    RecordPtr<TagQuorAiAVMatchtData> reportInfo = NewRecord<TagQuorAiAVMatchtData>(__LINE__);
    if (reportInfo == nullptr) {
        HTTP_LOG_ERROR("<NewReportAVMatchInfo> malloc report info fail");
        return nullptr;
    }
    if (memcpy_s(reportInfo.get(), sizeof(*reportInfo), &avMatchData, sizeof(avMatchData)) != 0) {
        HTTP_LOG_ERROR("<NewReportAVMatchInfo> memcpy_s report info fail");
        return nullptr;
    }
    // Whoever reads success as a 32-bit number reads the same value.
    std::memset(reportInfo->reserved, 0, sizeof(reportInfo->reserved));
    return reportInfo.release();
}

unsigned int AiHttpAdapter::ReportAVMatchRspNotify(unsigned long handle, EN_HTTP_ERRORCODE ret,
                                                   tagST_HTTP_RSP* pstHttpRsp, void* userData) {
    const AnswerHandle answer(handle);
    const RecordPtr<TagQuorAiAVMatchtData> avMatchInfo = AdoptRecord<TagQuorAiAVMatchtData>(userData);
    if (avMatchInfo == nullptr) {
        HTTP_LOG_ERROR("<ReportAVMatchRspNotify> reporAVMatchtInfo is nullptr");
        return kRequestFailed;
    }
    avMatchInfo->success = GetErrorCode(ret, pstHttpRsp) == 0 ? 1 : 0;
    HTTP_TRACE("REPORT_AVMATCH_INFO faceid:%d, isSucc:%d", avMatchInfo->faceid,
               static_cast<int>(avMatchInfo->success));
    AiHttpAdapter* httpAdapter = GetInstance();
    if (httpAdapter == nullptr) {
        HTTP_LOG_ERROR("httpAdapter is nullptr");
        return kRequestFailed;
    }
    return WithoutExceptions(kRequestFailed, [&] {
        httpAdapter->Notify(AI_SUB_ID_REPORT_AV_MATCH, reinterpret_cast<unsigned char*>(avMatchInfo.get()),
                            sizeof(*avMatchInfo));
        return 0U;
    });
}

}  // namespace QuorAiEngine
