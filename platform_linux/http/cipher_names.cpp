#include "platform_linux/http/cipher_names.h"

#include <openssl/ssl.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <set>

#include "platform_linux/host_state.h"
#include "platform_linux/thread_annotations.h"

namespace quor_platform::internal {
namespace {

using Names = std::map<unsigned int, std::string>;

// Every suite with authentication and encryption that this OpenSSL was built with.
Names MakeNames() {
    Names names;
    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()),
                                                               SSL_CTX_free);
    if (context == nullptr || SSL_CTX_set_cipher_list(context.get(), "ALL:!aNULL:!eNULL:@SECLEVEL=0") != 1) {
        return names;
    }
    const STACK_OF(SSL_CIPHER)* const ciphers = SSL_CTX_get_ciphers(context.get());
    for (int i = 0; i < sk_SSL_CIPHER_num(ciphers); ++i) {
        const SSL_CIPHER* const cipher = sk_SSL_CIPHER_value(ciphers, i);
        if (std::strcmp(SSL_CIPHER_get_version(cipher), "TLSv1.3") != 0) {
            names.emplace(SSL_CIPHER_get_protocol_id(cipher), SSL_CIPHER_get_name(cipher));
        }
    }
    return names;
}

const Names& KnownNames() {
    static const Names* const names = new Names(MakeNames());
    return *names;
}

void LogUnknown(unsigned int suite) {
    static Mutex* const mutex = new Mutex;
    static auto* const logged = new std::set<unsigned int>;
    {
        const MutexLock lock(*mutex);
        if (!logged->insert(suite).second) {
            return;
        }
    }
    LogHost(QUOR_OM_LOG_LEVEL_WARNING, "this OpenSSL lacks the cipher suite 0x%04X: it is left out", suite);
}

}  // namespace

std::string CipherNames(const tagHTTP_S_CIPHER_LIST& list) {
    constexpr unsigned int kIanaBits = 0xFFFF;
    std::string text;
    const unsigned int count = std::min(list.count, QUOR_HTTP_CIPHER_SUITES);
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned int suite = list.suites[i] & kIanaBits;
        const auto found = KnownNames().find(suite);
        if (found == KnownNames().end()) {
            LogUnknown(suite);
            continue;
        }
        text += (text.empty() ? "" : ":") + found->second;
    }
    return text;
}

}  // namespace quor_platform::internal
