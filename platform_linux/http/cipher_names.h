// cipher_names.h - from IANA's numbers of cipher suites to OpenSSL's names.
// Threads: callable from any thread.
#ifndef QUOR_PLATFORM_LINUX_HTTP_CIPHER_NAMES_H
#define QUOR_PLATFORM_LINUX_HTTP_CIPHER_NAMES_H

#include <string>

#include "quor_platform/http.h"

namespace quor_platform::internal {

// The suites in their order as OpenSSL takes them for TLS 1.2, separated by colons. A suite that OpenSSL
// lacks is left out, with one log record for each such suite in the life of the process. Empty: it has none
// of them.
std::string CipherNames(const tagHTTP_S_CIPHER_LIST& list);

}  // namespace quor_platform::internal

#endif
