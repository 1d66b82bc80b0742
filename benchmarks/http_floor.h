// http_floor.h - the floor of the HTTP roads: libcurl and cJSON used directly, as one would for one purpose,
// verified TLS included.
#ifndef BENCHMARKS_HTTP_FLOOR_H
#define BENCHMARKS_HTTP_FLOOR_H

#include <curl/curl.h>

#include <memory>
#include <string>
#include <vector>

#include "quor_ai/http_records.h"

namespace bench {

struct EasyFreed {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct MultiFreed {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct ListFreed {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

// All participants, page by page, on one kept connection.
class ListFloor {
public:
    ListFloor(unsigned int port, std::string caFile);
    // The number of participants; 0: a page failed.
    unsigned int Query();

private:
    bool QueryPage(unsigned int page, bool* hasMore);

    const unsigned int m_port;
    const std::string m_caFile;
    std::unique_ptr<curl_slist, ListFreed> m_headers;
    std::unique_ptr<CURL, EasyFreed> m_easy;
    std::string m_body;
    std::unique_ptr<TagQuorAiConfList> m_list = std::make_unique<TagQuorAiConfList>();
};

// Many requests for a sign-in list at a time, on one multi handle that keeps its connections. The answers are
// received and not looked at.
class FlightFloor {
public:
    FlightFloor(unsigned int port, std::string caFile);
    ~FlightFloor();
    FlightFloor(const FlightFloor&) = delete;
    FlightFloor& operator=(const FlightFloor&) = delete;

    // The number of good answers.
    unsigned int Query(unsigned int requests);

private:
    struct Request {
        std::unique_ptr<CURL, EasyFreed> easy;
        std::string body;
    };
    void Begin(Request& request);
    unsigned int TakeFinished();

    const std::string m_url;
    const std::string m_caFile;
    std::unique_ptr<curl_slist, ListFreed> m_headers;
    std::unique_ptr<CURLM, MultiFreed> m_multi;
};

}  // namespace bench

#endif
