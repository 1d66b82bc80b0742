// outcome.h - what became of a request, from libcurl's results to the transport's.
#ifndef QUOR_PLATFORM_LINUX_HTTP_OUTCOME_H
#define QUOR_PLATFORM_LINUX_HTTP_OUTCOME_H

#include <curl/curl.h>

#include <string>

#include "platform_linux/dns/lookup.h"
#include "quor_platform/http.h"
#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

struct Outcome {
    EN_HTTP_ERRORCODE result = HTTP_ERRORCODE_OK;
    unsigned long status = 0;  // HTTP status; 0 if no answer arrived
    Failure failure;
};

Outcome FailedOutcome(EN_HTTP_ERRORCODE result, Stage stage, std::string text);

// peer names the server in the failure's text.
Outcome OutcomeOfLookup(DnsResult result, const std::string& peer);

// What the transfer of easy ended with. tlsBegun: it had a connection and began TLS on it. detail is
// libcurl's text about a failure.
Outcome OutcomeOfTransfer(CURL* easy, CURLcode code, bool tlsBegun, const std::string& peer,
                          const char* detail);

}  // namespace quor_platform::internal

#endif
