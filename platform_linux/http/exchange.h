// exchange.h - one request on its way: the look-up of its server, then its transfer on libcurl.
//
// Threads: an object belongs to the thread of the loop that drives it.
#ifndef QUOR_PLATFORM_LINUX_HTTP_EXCHANGE_H
#define QUOR_PLATFORM_LINUX_HTTP_EXCHANGE_H

#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "platform_linux/dns/lookup.h"
#include "platform_linux/http/answer_body.h"
#include "platform_linux/http/outcome.h"
#include "platform_linux/http/request.h"
#include "platform_linux/http/trust.h"

namespace quor_platform::internal {

class Exchange {
public:
    Exchange(std::unique_ptr<HttpRequest> request, TrustPointer trust);
    ~Exchange();
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    // Begins on multi, which outlives the object. Afterwards it is looking up, transferring or finished.
    void Start(CURLM* multi);
    bool LookingUp() const { return m_lookup != nullptr; }
    Lookup& ServerLookup() { return *m_lookup; }
    // The look-up has finished: begins the transfer.
    void LookupDone();
    // libcurl reported the transfer's end.
    void TransferDone(CURLcode code);
    void Cancel();
    void Fail();  // no memory

    bool Finished() const { return m_finished; }
    Outcome TakeResult() { return std::move(m_outcome); }
    AnswerBody& Body() { return m_body; }
    const TrustPointer& TrustOf() const { return m_trust; }
    // Server and address: requests with the same ones, under the same certificates, can share a connection.
    static std::string KeyOf(const HttpRequest& request) {
        return request.name + "/" + request.host + ":" + request.port;
    }

private:
    void BeginTransfer();
    bool SetUp();
    bool SetUpServer();
    bool SetUpTls();
    bool SetUpMessage();
    void Finish(Outcome outcome);
    std::chrono::milliseconds TimeLeft(std::chrono::milliseconds ofAll) const;
    static CURLcode OnTlsContext(CURL* easy, void* context, void* exchange);
    static std::size_t OnHeadLine(char* bytes, std::size_t one, std::size_t count, void* exchange);
    static std::size_t OnBody(char* bytes, std::size_t one, std::size_t count, void* exchange);

    template <typename Value>
    bool Set(CURLoption option, Value value) {
        return curl_easy_setopt(m_easy, option, value) == CURLE_OK;
    }

    std::unique_ptr<HttpRequest> m_request;
    TrustPointer m_trust;
    std::string m_peer;  // for texts
    std::unique_ptr<Lookup> m_lookup;
    std::chrono::steady_clock::time_point m_begin{};
    CURLM* m_multi = nullptr;
    CURL* m_easy = nullptr;
    bool m_added = false;
    std::string m_redirection;  // what the list below holds
    curl_slist m_redirectionItem{};
    char m_detail[CURL_ERROR_SIZE] = {};
    bool m_tlsBegun = false;
    bool m_headComplete = false;
    bool m_tooLarge = false;
    bool m_noMemory = false;
    bool m_finished = false;
    AnswerBody m_body;
    Outcome m_outcome;
};

}  // namespace quor_platform::internal

#endif
