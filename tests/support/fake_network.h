// fake_network.h - the part of the fake platform that stands for the network: the HTTP transport, the
// certificate service, the resolver, random numbers and the time of day.
//
// One process-wide object, Network(); Fake().Reset() and Fake().ClearRecords() reach it too, Fake().FailCall
// breaks its functions. What it finds wrong goes to Fake().violations: a send without parameters, a handle
// that is released twice, outside its callback or not at all.
//
// Threads: as Fake(). Hooks and completion callbacks run without any lock of the fake.
#ifndef TESTS_SUPPORT_FAKE_NETWORK_H
#define TESTS_SUPPORT_FAKE_NETWORK_H

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "quor_platform/dns.h"
#include "quor_platform/http.h"

namespace QuorTest {

// A request as the transport received it, copied whole.
struct HttpRequest {
    bool synchronous = false;
    unsigned method = 0;
    std::string url;
    unsigned urlLen = 0;  // synchronous ones only
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<std::string> body;
    // Configuration.
    std::string caPath;
    unsigned verifyPeer = 0;
    unsigned checkRevocation = 0;
    std::vector<unsigned> suites;
    unsigned firstTimeout = 0;
    unsigned secondTimeout = 0;
    bool reservedIsNull = false;
    // OS mutexes that were held, by whomever, when the request came in.
    std::size_t locksHeld = 0;
    // Asynchronous ones only.
    unsigned long handle = 0;
    unsigned long handleOnEntry = 0;
    void* userData = nullptr;
    bool calledBack = false;
    unsigned callbackResult = 0;
    unsigned releases = 0;
};

// What becomes of a request.
struct HttpAnswer {
    unsigned result = 0;  // the transport's; non-zero: there is no answer
    unsigned long status = 200;
    std::optional<std::string> body = "{}";
    bool extra = false;       // a second buffer, synchronous requests only
    bool noRecord = false;    // asynchronous requests only: result 0, and still no answer record
    bool alsoRecord = false;  // asynchronous requests only: an answer record beside a non-zero result
};

struct DnsCall {
    bool service = false;  // of the two functions, the one for service records
    std::string host;
    std::string serviceName;
    std::string protocol;
    unsigned addressKind = 0;
    unsigned option1 = 0;
    unsigned option2 = 0;
    unsigned capacity = 0;
    bool tableIsZero = false;
};

struct CertCall {
    unsigned usage = 0;
    unsigned kind = 0;
    unsigned option = 0;
    bool outIsZero = false;
};

class FakeNetwork {
public:
    // ---- Behaviour to set ----

    // Answers requests in order of arrival; when it is used up, answer is what every further one gets.
    std::deque<HttpAnswer> script;
    HttpAnswer answer;
    // Instead of both, if set.
    std::function<HttpAnswer(const HttpRequest&)> onRequest;
    // Asynchronous requests wait for Complete (or the end of the transport) instead of being answered inside
    // the send. Also those whose send fails.
    bool holdAnswers = false;

    std::string certPath = "/etc/quor/trusted.pem";
    std::vector<QuorNetbDnsAddress> addresses;  // what an address query finds
    std::vector<CloudDnsRecord> services;       // what a service query finds
    unsigned addressResult = 0;                 // what the queries return
    unsigned serviceResult = 0;
    std::optional<unsigned> reportedCount;  // a count that the resolver reports whatever it filled
    std::deque<unsigned> randoms;           // 32-bit numbers in order; then 0x5A5A5A5A
    long timeOfDaySec = 1700000000;
    long timeOfDayUsec = 123456;

    // ---- What happened ----

    std::deque<HttpRequest> requests;
    std::vector<DnsCall> dnsCalls;
    std::vector<CertCall> certCalls;
    std::vector<unsigned> randomLengths;

    bool IsInitialised() const;
    // Asynchronous requests that were not answered yet, by their place in requests.
    std::vector<std::size_t> Held() const;
    // Answers a held request: runs its callback on this thread.
    void Complete(std::size_t request, const HttpAnswer& with);
    void CompleteAll(const HttpAnswer& with);

    void Reset();
    void DropRecords();  // keeps settings and what is under way

    // ---- For the implementations of the functions ----

    HttpAnswer NextAnswer(const HttpRequest& request);
    unsigned SendSynchronous(tagHTTP_S_SYN_SEND_PARAM& param);
    unsigned SendAsynchronous(tagHTTP_S_ASYN_SEND_PARAM& param, unsigned long& handle);
    unsigned Release(unsigned long handle);
    void SetInitialised(bool initialised);

    mutable std::mutex mutex;  // guards everything here while platform functions run

private:
    struct Response {
        tagST_HTTP_RSP record{};
        std::string body;
    };
    // An asynchronous request that was not released yet.
    struct Flight {
        unsigned long handle = 0;
        std::size_t request = 0;  // its place in requests, if generation is the current one
        unsigned generation = 0;
        QuorHttpCallback callback = nullptr;
        void* userData = nullptr;
        std::optional<unsigned> failure;  // of the send itself
        bool inCallback = false;
        bool released = false;
        std::unique_ptr<Response> response;
    };

    // False: another thread answers it, or has done so.
    bool Finish(unsigned long handle, const HttpAnswer& with);
    Flight* Find(unsigned long handle);
    HttpRequest* RecordOf(const Flight& flight);

    bool m_initialised = false;
    unsigned long m_lastHandle = 0x5000;
    unsigned m_generation = 0;
    std::deque<Flight> m_flights;
};

FakeNetwork& Network();

// An address record of IPv4 from its dotted text, and a service record with one.
QuorNetbDnsAddress Ipv4(const std::string& dotted);
CloudDnsRecord Service(const std::string& target, unsigned priority, unsigned weight,
                       const std::string& dotted, unsigned port = 443);

}  // namespace QuorTest

#endif
