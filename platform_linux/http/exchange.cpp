#include "platform_linux/http/exchange.h"

#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <new>
#include <string_view>
#include <utility>

namespace quor_platform::internal {
namespace {

std::string WithoutBrackets(const std::string& host) {
    return host.front() == '[' ? host.substr(1, host.size() - 2) : host;
}

}  // namespace

Exchange::Exchange(std::unique_ptr<HttpRequest> request, TrustPointer trust)
    : m_request(std::move(request)),
      m_trust(std::move(trust)),
      m_peer(m_request->name + ":" + m_request->port),
      m_begin(std::chrono::steady_clock::now()) {}

Exchange::~Exchange() {
    if (m_added) {
        curl_multi_remove_handle(m_multi, m_easy);
    }
    curl_easy_cleanup(m_easy);
}

void Exchange::Start(CURLM* multi) {
    m_multi = multi;
    if (m_request->isAddress) {
        BeginTransfer();
        return;
    }
    DnsSettings settings = GetDnsSettings();
    settings.totalTimeout = std::min(
        {settings.totalTimeout, TimeLeft(m_request->connectTimeout), TimeLeft(m_request->totalTimeout)});
    m_lookup = std::make_unique<Lookup>(settings);
    m_lookup->FindAddresses(m_request->host);
}

void Exchange::LookupDone() {
    const std::unique_ptr<Lookup> lookup = std::move(m_lookup);
    if (lookup->Result() != DnsResult::kSuccess) {
        Finish(OutcomeOfLookup(lookup->Result(), m_peer));
        return;
    }
    // "+" lets libcurl forget the entry in time.
    m_redirection = "+" + m_request->host + ":" + m_request->port + ":";
    for (const std::string& address : lookup->Addresses()) {
        m_redirection += (m_redirection.back() == ':' ? "" : ",") + address;
    }
    BeginTransfer();
}

void Exchange::BeginTransfer() {
    m_easy = curl_easy_init();
    if (m_easy == nullptr || !SetUp() || curl_multi_add_handle(m_multi, m_easy) != CURLM_OK) {
        Fail();
        return;
    }
    m_added = true;
}

void Exchange::TransferDone(CURLcode code) {
    if (m_tooLarge || code == CURLE_FILESIZE_EXCEEDED) {
        const std::string most = std::to_string(m_request->maxAnswerBytes);
        Finish(FailedOutcome(HTTP_ERRORCODE_ANSWER, Stage::kAnswer,
                             m_peer + ": the answer is longer than " + most + " bytes"));
    } else if (m_noMemory) {
        Finish(
            FailedOutcome(HTTP_ERRORCODE_NO_MEMORY, Stage::kAnswer, m_peer + ": no memory for the answer"));
    } else if (code == CURLE_OK && !m_headComplete) {
        Finish(FailedOutcome(HTTP_ERRORCODE_ANSWER, Stage::kAnswer, m_peer + ": the answer is cut off"));
    } else {
        Finish(OutcomeOfTransfer(m_easy, code, m_tlsBegun, m_peer, m_detail));
    }
}

void Exchange::Cancel() {
    Finish(FailedOutcome(HTTP_ERRORCODE_CANCELLED, Stage::kAborted, m_peer + ": the request was cancelled"));
}

void Exchange::Fail() {
    Finish(FailedOutcome(HTTP_ERRORCODE_NO_MEMORY, Stage::kSettings, m_peer + ": no memory for the request"));
}

void Exchange::Finish(Outcome outcome) {
    if (m_finished) {
        return;
    }
    m_finished = true;
    m_lookup.reset();
    if (outcome.result != HTTP_ERRORCODE_OK) {
        m_body.Drop();
    }
    m_outcome = std::move(outcome);
}

// 1 ms at least: 0 would stand for a default.
std::chrono::milliseconds Exchange::TimeLeft(std::chrono::milliseconds ofAll) const {
    const auto used =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_begin);
    return std::max(ofAll - used, std::chrono::milliseconds(1));
}

bool Exchange::SetUp() {
    return SetUpServer() && SetUpTls() && SetUpMessage();
}

// Nothing is taken from the environment: no proxy, no .netrc, no other protocol. Nothing is followed either.
bool Exchange::SetUpServer() {
    bool good =
        Set(CURLOPT_CURLU, m_request->url.get()) && Set(CURLOPT_PROTOCOLS_STR, "https") &&
        Set(CURLOPT_PROXY, "") && Set(CURLOPT_NOPROXY, "*") && Set(CURLOPT_NOSIGNAL, 1L) &&
        Set(CURLOPT_FOLLOWLOCATION, 0L) && Set(CURLOPT_FAILONERROR, 0L) &&
        Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1)) &&
        Set(CURLOPT_TCP_KEEPALIVE, 1L) && Set(CURLOPT_PRIVATE, this) && Set(CURLOPT_ERRORBUFFER, m_detail) &&
        Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(TimeLeft(m_request->connectTimeout).count())) &&
        Set(CURLOPT_TIMEOUT_MS, static_cast<long>(TimeLeft(m_request->totalTimeout).count()));
    if (m_request->name != m_request->host) {
        m_redirection = "::" + m_request->host + ":";  // whatever the URL says, to this address
        m_redirectionItem.data = m_redirection.data();
        good = good && Set(CURLOPT_CONNECT_TO, &m_redirectionItem);
    } else if (!m_redirection.empty()) {
        m_redirectionItem.data = m_redirection.data();
        good = good && Set(CURLOPT_RESOLVE, &m_redirectionItem);
    }
    return good;
}

// The certificates are ours (OnTlsContext). To libcurl they are a directory that does not exist, whose name
// keeps connections apart that were made under other certificates. Sessions are not resumed for the same
// reason.
bool Exchange::SetUpTls() {
    const bool good =
        Set(CURLOPT_SSL_VERIFYPEER, 1L) && Set(CURLOPT_SSL_VERIFYHOST, 2L) &&
        Set(CURLOPT_CAINFO, static_cast<const char*>(nullptr)) && Set(CURLOPT_CAPATH, m_trust->tag.c_str()) &&
        Set(CURLOPT_SSL_SESSIONID_CACHE, 0L) &&
        Set(CURLOPT_SSLVERSION,
            static_cast<long>(m_request->onlyTls13 ? CURL_SSLVERSION_TLSv1_3 : CURL_SSLVERSION_TLSv1_2)) &&
        Set(CURLOPT_SSL_CTX_FUNCTION, &Exchange::OnTlsContext) && Set(CURLOPT_SSL_CTX_DATA, this);
    return good && (m_request->ciphers.empty() || Set(CURLOPT_SSL_CIPHER_LIST, m_request->ciphers.c_str()));
}

bool Exchange::SetUpMessage() {
    const auto length = static_cast<curl_off_t>(m_request->bodyLength);
    const bool good = Set(CURLOPT_HTTPHEADER, m_request->headers.data()) &&
                      Set(CURLOPT_WRITEFUNCTION, &Exchange::OnBody) && Set(CURLOPT_WRITEDATA, this) &&
                      Set(CURLOPT_HEADERFUNCTION, &Exchange::OnHeadLine) && Set(CURLOPT_HEADERDATA, this) &&
                      Set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(m_request->maxAnswerBytes));
    if (!m_request->method->hasBody) {
        return good && Set(CURLOPT_HTTPGET, 1L);
    }
    return good && Set(CURLOPT_POST, 1L) && Set(CURLOPT_POSTFIELDSIZE_LARGE, length) &&
           Set(CURLOPT_POSTFIELDS, m_request->body) && Set(CURLOPT_CUSTOMREQUEST, m_request->method->name);
}

// A new connection: exactly our certificates are trusted, and the certificate has to name the server, an
// address by an entry for addresses. libcurl compares the name once more.
CURLcode Exchange::OnTlsContext(CURL* /*easy*/, void* context, void* exchange) {
    auto* const self = static_cast<Exchange*>(exchange);
    self->m_tlsBegun = true;
    auto* const tls = static_cast<SSL_CTX*>(context);
    SSL_CTX_set_keylog_callback(tls, nullptr);  // libcurl would write keys where SSLKEYLOGFILE says
    // libcurl still fills the context's own store, from the directory that does not exist; this one goes
    // before it. SSL_CTX_set1_verify_cert_store without its macro, which casts in the style of C.
    if (SSL_CTX_ctrl(tls, SSL_CTRL_SET_VERIFY_CERT_STORE, 1, self->m_trust->store.get()) != 1) {
        return CURLE_SSL_CERTPROBLEM;
    }
    SSL_CTX_set_verify(tls, SSL_VERIFY_PEER, nullptr);
    X509_VERIFY_PARAM* const parameters = SSL_CTX_get0_param(tls);
    X509_VERIFY_PARAM_set_hostflags(parameters, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    const HttpRequest& request = *self->m_request;
    const bool byAddress = request.isAddress && request.name == request.host;
    const int set = byAddress
                        ? X509_VERIFY_PARAM_set1_ip_asc(parameters, WithoutBrackets(request.host).c_str())
                        : X509_VERIFY_PARAM_set1_host(parameters, request.name.c_str(), request.name.size());
    return set == 1 ? CURLE_OK : CURLE_SSL_CERTPROBLEM;
}

// libcurl takes a connection that ends inside an answer's head for the end of the head.
std::size_t Exchange::OnHeadLine(char* bytes, std::size_t /*one*/, std::size_t count, void* exchange) {
    auto* const self = static_cast<Exchange*>(exchange);
    const std::string_view line(bytes, count);
    if (line.substr(0, 5) == "HTTP/") {
        self->m_headComplete = false;
    } else if (line == "\r\n" || line == "\n") {
        self->m_headComplete = true;
    }
    return count;
}

std::size_t Exchange::OnBody(char* bytes, std::size_t /*one*/, std::size_t count, void* exchange) {
    auto* const self = static_cast<Exchange*>(exchange);
    const std::size_t most = self->m_request->maxAnswerBytes;
    if (count > most - std::min(most, self->m_body.Size())) {
        self->m_tooLarge = true;
        return 0;
    }
    if (self->m_body.Size() == 0) {
        curl_off_t announced = 0;
        curl_easy_getinfo(self->m_easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
        if (announced > 0 && static_cast<std::size_t>(announced) <= most) {
            self->m_noMemory = !self->m_body.Reserve(static_cast<std::size_t>(announced));
        }
    }
    self->m_noMemory = self->m_noMemory || !self->m_body.Append(bytes, count);
    return self->m_noMemory ? 0 : count;
}

}  // namespace quor_platform::internal
