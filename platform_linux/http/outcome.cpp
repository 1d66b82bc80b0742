#include "platform_linux/http/outcome.h"

#include <openssl/x509_vfy.h>

#include <cstdlib>
#include <cstring>
#include <utility>

namespace quor_platform::internal {
namespace {

// Failures that have no number of their own.
constexpr auto kOtherFailure = static_cast<EN_HTTP_ERRORCODE>(99);

constexpr unsigned long kFirstFailedStatus = 400;

struct Meaning {
    EN_HTTP_ERRORCODE result;
    Stage stage;
};

struct Progress {
    bool connected = false;
    bool secured = false;
    bool answered = false;  // at least a byte
};

Progress ProgressOf(CURL* easy, bool tlsBegun) {
    Progress progress;
    curl_off_t readyTime = 0;  // when the request could be sent; also known of a kept connection
    curl_off_t bodyBytes = 0;
    long headerBytes = 0;
    curl_easy_getinfo(easy, CURLINFO_PRETRANSFER_TIME_T, &readyTime);
    curl_easy_getinfo(easy, CURLINFO_SIZE_DOWNLOAD_T, &bodyBytes);
    curl_easy_getinfo(easy, CURLINFO_HEADER_SIZE, &headerBytes);
    progress.answered = bodyBytes > 0 || headerBytes > 0;
    progress.secured = readyTime > 0 || progress.answered;
    progress.connected = tlsBegun || progress.secured;
    return progress;
}

Stage StageOfTimeout(const Progress& progress) {
    if (!progress.connected) {
        return Stage::kConnect;
    }
    return progress.secured ? Stage::kAnswer : Stage::kTls;
}

Meaning MeaningOf(CURLcode code, const Progress& progress) {
    switch (code) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return {HTTP_ERRORCODE_RESOLVE, Stage::kResolve};
        case CURLE_COULDNT_CONNECT:
            return {HTTP_ERRORCODE_CONNECT, Stage::kConnect};
        case CURLE_OPERATION_TIMEDOUT:
            return {HTTP_ERRORCODE_TIMEOUT, StageOfTimeout(progress)};
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_INVALIDCERTSTATUS:
        case CURLE_USE_SSL_FAILED:
            return {HTTP_ERRORCODE_TLS, Stage::kTls};
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_GOT_NOTHING:
            if (progress.answered) {
                return {HTTP_ERRORCODE_ANSWER, Stage::kAnswer};
            }
            return {HTTP_ERRORCODE_CONNECT, progress.secured ? Stage::kAnswer : Stage::kConnect};
        case CURLE_WRITE_ERROR:
        case CURLE_PARTIAL_FILE:
        case CURLE_FILESIZE_EXCEEDED:
        case CURLE_WEIRD_SERVER_REPLY:
        case CURLE_UNSUPPORTED_PROTOCOL:  // an answer of HTTP/0.9, or something that is no HTTP
        case CURLE_BAD_CONTENT_ENCODING:
        case CURLE_HTTP_RETURNED_ERROR:
            return {HTTP_ERRORCODE_ANSWER, Stage::kAnswer};
        case CURLE_OUT_OF_MEMORY:
            return {HTTP_ERRORCODE_NO_MEMORY, Stage::kSettings};
        case CURLE_URL_MALFORMAT:
            return {HTTP_ERRORCODE_INVALID, Stage::kSettings};
        default:
            return {kOtherFailure, Stage::kAnswer};
    }
}

// libcurl's text holds OpenSSL's code as "error:0A000410:...".
unsigned long TlsErrorIn(const char* detail) {
    constexpr char kMark[] = "error:";
    const char* const mark = std::strstr(detail, kMark);
    return mark == nullptr ? 0 : std::strtoul(mark + sizeof kMark - 1, nullptr, 16);
}

}  // namespace

Outcome FailedOutcome(EN_HTTP_ERRORCODE result, Stage stage, std::string text) {
    Outcome outcome;
    outcome.result = result;
    outcome.failure.stage = stage;
    outcome.failure.text = std::move(text);
    return outcome;
}

Outcome OutcomeOfLookup(DnsResult result, const std::string& peer) {
    const std::string text = peer + ": " + DnsResultText(result);
    if (result == DnsResult::kNoResources) {
        return FailedOutcome(HTTP_ERRORCODE_NO_MEMORY, Stage::kResolve, text);
    }
    return FailedOutcome(HTTP_ERRORCODE_RESOLVE, Stage::kResolve, text);
}

Outcome OutcomeOfTransfer(CURL* easy, CURLcode code, bool tlsBegun, const std::string& peer,
                          const char* detail) {
    Outcome outcome;
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    if (code == CURLE_OK) {
        outcome.status = static_cast<unsigned long>(status);
        if (outcome.status >= kFirstFailedStatus) {
            outcome.failure.stage = Stage::kAnswer;
        }
        outcome.failure.httpStatus = static_cast<int>(status);
        outcome.failure.text = peer + " answered with the HTTP status " + std::to_string(status);
        return outcome;
    }
    const Meaning meaning = MeaningOf(code, ProgressOf(easy, tlsBegun));
    const char* const words = detail[0] != '\0' ? detail : curl_easy_strerror(code);
    outcome = FailedOutcome(meaning.result, meaning.stage, peer + ": " + words);
    outcome.failure.tlsError = TlsErrorIn(detail);
    long systemError = 0;
    curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &systemError);
    outcome.failure.systemError = meaning.stage == Stage::kConnect ? static_cast<int>(systemError) : 0;
    long verdict = 0;
    curl_easy_getinfo(easy, CURLINFO_SSL_VERIFYRESULT, &verdict);
    const bool judged = verdict != X509_V_OK && verdict != X509_V_ERR_UNSPECIFIED;
    if (meaning.stage == Stage::kTls && judged) {
        outcome.failure.certificateError = verdict;
        outcome.failure.text =
            "the certificate of " + peer + " is refused: " + X509_verify_cert_error_string(verdict);
    }
    return outcome;
}

}  // namespace quor_platform::internal
