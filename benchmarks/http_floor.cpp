#include "benchmarks/http_floor.h"

#include <cjson/cJSON.h>

#include <cstring>
#include <utility>

namespace bench {

namespace {

constexpr unsigned int kPageSize = 200;
constexpr unsigned int kPageMax = 8;
constexpr int kWaitMs = 1000;
constexpr long kStatusOk = 200;

std::size_t Append(char* bytes, std::size_t /*one*/, std::size_t count, void* body) {
    static_cast<std::string*>(body)->append(bytes, count);
    return count;
}

void SetUp(CURL* easy, const std::string& caFile, curl_slist* headers, std::string* body) {
    curl_easy_setopt(easy, CURLOPT_CAINFO, caFile.c_str());
    curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Append);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, body);
}

bool IsGood(CURL* easy) {
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    return status == kStatusOk;
}

void CopyText(const cJSON* object, const char* name, char* out, std::size_t capacity) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, name);
    if (cJSON_IsString(item) != 0) {
        const std::size_t length = strnlen(item->valuestring, capacity - 1);
        std::memcpy(out, item->valuestring, length);
        out[length] = '\0';
    }
}

}  // namespace

ListFloor::ListFloor(unsigned int port, std::string caFile)
    : m_port(port), m_caFile(std::move(caFile)), m_easy(curl_easy_init()) {
    m_headers.reset(
        curl_slist_append(curl_slist_append(nullptr, "token: token"), "Content-Type: application/json"));
    SetUp(m_easy.get(), m_caFile, m_headers.get(), &m_body);
    curl_easy_setopt(m_easy.get(), CURLOPT_POSTFIELDS, "{}");
}

unsigned int ListFloor::Query() {
    std::memset(m_list.get(), 0, sizeof *m_list);
    bool hasMore = true;
    for (unsigned int page = 0; hasMore && page < kPageMax; ++page) {
        if (!QueryPage(page, &hasMore)) {
            return 0;
        }
    }
    return m_list->siteCount;
}

bool ListFloor::QueryPage(unsigned int page, bool* hasMore) {
    const std::string url =
        "https://127.0.0.1:" + std::to_string(m_port) +
        "/conf-portal/online/conferences/conf-1/participants/conditions?page=" + std::to_string(page) +
        "&size=200";
    m_body.clear();
    curl_easy_setopt(m_easy.get(), CURLOPT_URL, url.c_str());
    if (curl_easy_perform(m_easy.get()) != CURLE_OK || !IsGood(m_easy.get())) {
        return false;
    }
    cJSON* const root = cJSON_Parse(m_body.c_str());
    const cJSON* const content = cJSON_GetObjectItemCaseSensitive(root, "content");
    const auto count = static_cast<unsigned int>(cJSON_GetArraySize(content));
    *hasMore = count >= kPageSize;
    const bool fits = cJSON_IsArray(content) != 0 && count <= kQuorAiSiteMax - m_list->siteCount;
    const cJSON* item = fits ? content->child : nullptr;
    for (; item != nullptr; item = item->next) {
        TagQuorAiSiteInfo& site = m_list->sites[m_list->siteCount++];
        const cJSON* const general = cJSON_GetObjectItemCaseSensitive(item, "generalParam");
        CopyText(general, "id", site.id, sizeof site.id);
        CopyText(general, "name", site.name, sizeof site.name);
    }
    cJSON_Delete(root);
    return fits;
}

FlightFloor::FlightFloor(unsigned int port, std::string caFile)
    : m_url("https://127.0.0.1:" + std::to_string(port) +
            "/conf-portal/conferences/conf-1/checkinservices/checkininfos?page=0&size=32&checkIn=false"),
      m_caFile(std::move(caFile)),
      m_headers(curl_slist_append(nullptr, "token: token")),
      m_multi(curl_multi_init()) {}

FlightFloor::~FlightFloor() = default;

unsigned int FlightFloor::Query(unsigned int requests) {
    std::vector<Request> all(requests);
    for (Request& request : all) {
        Begin(request);
    }
    unsigned int good = 0;
    int running = 0;
    do {
        curl_multi_perform(m_multi.get(), &running);
        good += TakeFinished();
        if (running > 0) {
            curl_multi_poll(m_multi.get(), nullptr, 0, kWaitMs, nullptr);
        }
    } while (running > 0);
    return good;
}

void FlightFloor::Begin(Request& request) {
    request.easy.reset(curl_easy_init());
    SetUp(request.easy.get(), m_caFile, m_headers.get(), &request.body);
    curl_easy_setopt(request.easy.get(), CURLOPT_URL, m_url.c_str());
    curl_multi_add_handle(m_multi.get(), request.easy.get());
}

unsigned int FlightFloor::TakeFinished() {
    unsigned int good = 0;
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(m_multi.get(), &left)) {
        good += message->data.result == CURLE_OK && IsGood(message->easy_handle) ? 1U : 0U;
        curl_multi_remove_handle(m_multi.get(), message->easy_handle);
    }
    return good;
}

}  // namespace bench
