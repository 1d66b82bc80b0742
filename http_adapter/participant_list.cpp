// The participant list: page by page into one buffer, which observers read in place.
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

constexpr unsigned int kHeaderNum = 2;
constexpr unsigned int kPageSize = 200;  // as the URL asks
constexpr unsigned int kPageMax = 8;     // pages of that size fill the buffer
constexpr unsigned int kStatusOk = 200;
constexpr std::size_t kUrlCapacity = 1024;
constexpr char kBody[] = "{}";

// A page's URL; negative: it does not fit.
int FormatUrl(char (&url)[kUrlCapacity], unsigned int addressType, const TagQuorAiKelInfo& kelInfo,
              unsigned int page) {
    const FieldText address(kelInfo.serverAddr);
    const FieldText confId(kelInfo.confId);
    if (addressType == kAddressTypeIpv6) {
        return sprintf_s(
            url, sizeof(url),
            "https://[%s]:%u/conf-portal/online/conferences/%s/participants/conditions?page=%u&size=200",
            address.Get(), kelInfo.serverPort, confId.Get(), page);
    }
    return sprintf_s(
        url, sizeof(url),
        "https://%s:%u/conf-portal/online/conferences/%s/participants/conditions?page=%u&size=200",
        address.Get(), kelInfo.serverPort, confId.Get(), page);
}

}  // namespace

// The buffer is locked until the observers have read it. Observers must copy what they keep.
int AiHttpAdapter::DoQueryConfList(TagQuorAiKelInfo* kelInfo) {
    RequestHeaders<kHeaderNum> headers;
    if (GenerateConfListHeader(headers.Get(), RequestHeaders<kHeaderNum>::Count(), kelInfo->token,
                               sizeof(kelInfo->token)) != 0) {
        HTTP_LOG_ERROR("<DoQueryConfList> GenerateConfListHeader error!");
        return -1;
    }
    tagHTTP_S_SYN_SEND_PARAM param;
    if (AssignQueryConfListParam(param, kBody, sizeof(kBody) - 1, headers.Get(),
                                 RequestHeaders<kHeaderNum>::Count()) != 0) {
        HTTP_LOG_ERROR("<DoQueryConfList> memset_s error!");
        return -1;
    }
    ScopedOsLock siteInfoLock(m_siteInfoBufferLock);
    if (m_siteInfoBuffer == nullptr) {
        HTTP_LOG_ERROR("<DoQueryConfList>: m_siteInfoBuffer is nullptr");
        return -1;
    }
    if (memset_s(m_siteInfoBuffer, sizeof(*m_siteInfoBuffer), 0, sizeof(*m_siteInfoBuffer)) != 0) {
        HTTP_LOG_ERROR("<DoQueryConfList>: memset_s m_siteInfoBuffer error");
        return -1;
    }
    bool hasMore = true;
    unsigned int page = 0;
    while (hasMore && page < kPageMax) {
        if (QueryConfListGetUrl(kelInfo, param, hasMore, page, siteInfoLock) != 0) {
            HTTP_LOG_ERROR("<DoQueryConfList> QueryConfListGetUrl error!");
            return -1;
        }
    }
    const unsigned int siteCount = m_siteInfoBuffer->siteCount;
    HTTP_LOG_INFO("<DoQueryConfList>: site num = %d, page = %d", static_cast<int>(siteCount),
                  static_cast<int>(page));
    Notify(AI_SUB_ID_QUERY_CONF_LIST, reinterpret_cast<unsigned char*>(m_siteInfoBuffer),
           static_cast<unsigned int>(kQuorAiConfListHeadSize + siteCount * sizeof(TagQuorAiSiteInfo)));
    return 0;
}

int AiHttpAdapter::GenerateConfListHeader(tagHTTP_HEADER* headers, unsigned int headerNum, const char* token,
                                          unsigned int tokenLimit) {
    if (headerNum != kHeaderNum) {
        HTTP_LOG_ERROR("<GenerateConfListHeader>: header num invalid: %d", static_cast<int>(headerNum));
        return -1;
    }
    const std::size_t size = kHeaderNum * sizeof(*headers);
    if (memset_s(headers, size, 0, size) != 0 ||
        strcpy_s(headers[0].name, sizeof(headers[0].name), "token") != 0 ||
        strncpy_s(headers[0].value, sizeof(headers[0].value), token, tokenLimit) != 0 ||
        strcpy_s(headers[1].name, sizeof(headers[1].name), "Content-Type") != 0 ||
        strcpy_s(headers[1].value, sizeof(headers[1].value), "application/json") != 0) {
        return -1;
    }
    return 0;
}

int AiHttpAdapter::AssignQueryConfListParam(tagHTTP_S_SYN_SEND_PARAM& param, const char* body,
                                            unsigned int bodyLen, tagHTTP_HEADER* headers,
                                            unsigned int headerNum) {
    if (memset_s(&param, sizeof(param), 0, sizeof(param)) != 0) {
        return -1;
    }
    param.method = QUOR_HTTP_METHOD_POST;
    param.body = body;
    param.bodyLen = bodyLen;
    param.headers = headers;
    param.headerCount = headerNum;
    return 0;
}

// Gives the buffer's lock up on every failure: the caller has nothing left to do with it. Deliberate: its own
// messages carry the caller's name. A name is resolved for the first page only, because the address replaces
// it in the record.
int AiHttpAdapter::QueryConfListGetUrl(TagQuorAiKelInfo* kelInfo, tagHTTP_S_SYN_SEND_PARAM& param,
                                       bool& hasMore, unsigned int& page, ScopedOsLock& siteInfoLock)
    QUOR_PLATFORM_THREAD_ATTRIBUTE(no_thread_safety_analysis) {
    const unsigned int addressType =
        HttpProtocol::GetAddressType(kelInfo->serverAddr, sizeof(kelInfo->serverAddr));
    if (addressType != kAddressTypeIpv4 && addressType != kAddressTypeIpv6) {
        HTTP_LOG_ERROR("<DoQueryConfList>: GetAddressType fail");
        siteInfoLock.Unlock();
        return -1;
    }
    char url[kUrlCapacity] = {};
    if (FormatUrl(url, addressType, *kelInfo, page) < 0) {
        HTTP_LOG_ERROR("<DoQueryConfList>: url sprintf failed!");
        siteInfoLock.Unlock();
        return -1;
    }
    param.url = url;
    param.urlLen = sizeof(url);
    const int result = CloudQueryConfListPage(param, hasMore, m_siteInfoBuffer);
    param.url = nullptr;
    param.urlLen = 0;
    if (result != 0) {
        HTTP_LOG_ERROR("<DoQueryConfList>: call CloudQueryConfListPage failed!");
        siteInfoLock.Unlock();
        return -1;
    }
    ++page;
    return 0;
}

int AiHttpAdapter::CloudQueryConfListPage(tagHTTP_S_SYN_SEND_PARAM& param, bool& hasMore,
                                          TagQuorAiConfList* buffer) {
    const unsigned int result = m_httpProtocol->AiCommonHttpSynSend(&param);
    if (result != 0) {
        HTTP_LOG_ERROR("<CloudQueryConfListPage>: HTTP_SynSend failed:%u", result);
        return -1;
    }
    const unsigned int status = param.rspStatus;
    if (status != kStatusOk) {
        HTTP_LOG_ERROR("<CloudQueryConfListPage>: http status code = %d", static_cast<int>(status));
        HttpProtocol::FreeSyncRequestParam(param);
        return -1;
    }
    const BodyTextPtr body(
        HttpProtocol::AiUtilityHttpGetStrFromBody(param.rspBody, BodyLength(param.rspBody)));
    if (body == nullptr) {
        HTTP_LOG_ERROR("<CloudQueryConfListPage>: call AiUtilityHttpGetStrFromBody failed.");
        HttpProtocol::FreeSyncRequestParam(param);
        return -1;
    }
    const int parsed = ParseConfListToBuffer(body.get(), hasMore, buffer);
    HttpProtocol::FreeSyncRequestParam(param);
    HTTP_LOG_INFO("<CloudQueryConfListPage>: parse conf list result: %d", parsed);
    return parsed;
}

// An element without data still takes an entry, an empty one: the count is the server's.
int AiHttpAdapter::ParseConfListToBuffer(const char* body, bool& hasMore, TagQuorAiConfList* buffer) {
    if (buffer == nullptr) {
        HTTP_LOG_ERROR("<ParseConfListToBuffer>: buffer is nullptr");
        return -1;
    }
    const JsonPtr root(cJSON_Parse(body));
    if (root == nullptr) {
        HTTP_LOG_ERROR("<ParseConfListToBuffer>: prase root faild");
        return -1;
    }
    const cJSON* content = FindMember(root.get(), "content");
    if (cJSON_IsArray(content) == 0) {
        HTTP_LOG_ERROR("<ParseConfListToBuffer>: failed resultArray is error");
        return -1;
    }
    buffer->parsed = 1;
    const auto pageSites = static_cast<unsigned int>(cJSON_GetArraySize(content));
    if (pageSites > kQuorAiSiteMax - buffer->siteCount) {
        // Deliberate: the first number is that of the sites so far, the second this page's.
        HTTP_LOG_ERROR("<ParseConfListToBuffer>: curSiteNum(%d) + totalSiteNum(%d) > MAX_SITE_NUM(%d)",
                       static_cast<int>(buffer->siteCount), static_cast<int>(pageSites),
                       static_cast<int>(kQuorAiSiteMax));
        return -1;
    }
    hasMore = pageSites >= kPageSize;
    for (const cJSON* item = content->child; item != nullptr; item = item->next) {
        TagQuorAiSiteInfo& site = buffer->sites[buffer->siteCount];
        const cJSON* generalParam = FindMember(item, "generalParam");
        HttpJsonGetStr(generalParam, "id", site.id, sizeof(site.id));
        HttpJsonGetStr(generalParam, "name", site.name, sizeof(site.name));
        ++buffer->siteCount;
    }
    return 0;
}

int AiHttpAdapter::HttpJsonGetStr(const cJSON* object, const char* key, char* out, unsigned int capacity) {
    const cJSON* item = FindMember(object, key);
    if (cJSON_IsString(item) == 0) {
        HTTP_LOG_ERROR("<HttpJsonGetStr>: key %s jsonObj is error", key);
        return -1;
    }
    if (item->valuestring == nullptr || item->valuestring[0] == '\0') {
        HTTP_LOG_ERROR("<HttpJsonGetStr>: value is error");
        return -1;
    }
    if (strcpy_s(out, capacity, item->valuestring) != 0) {
        HTTP_LOG_ERROR("<HttpJsonGetStr>: strcpy_s value failed");
        return -1;
    }
    return 0;
}

}  // namespace QuorAiEngine
