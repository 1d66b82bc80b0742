#include "platform_linux/websocket/tls_client.h"

#include <arpa/inet.h>
#include <openssl/x509v3.h>

#include <cerrno>
#include <utility>

#include "platform_linux/trust_store.h"

namespace quor_platform::internal {
namespace {

bool IsAddress(const std::string& host) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(AF_INET, host.c_str(), address) == 1 || inet_pton(AF_INET6, host.c_str(), address) == 1;
}

bool SetFailure(Failure* failure, int systemError, std::string text) {
    *failure = Failure{};
    failure->stage = Stage::kSettings;
    failure->systemError = systemError;
    failure->text = std::move(text);
    return false;
}

}  // namespace

SslContext MakeClientContext(const TlsSettings& settings, Failure* failure) {
    SslContext context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    if (context == nullptr || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1) {
        SetFailure(failure, ENOMEM, "no TLS context");
        return nullptr;
    }
    if (settings.insecureSkipVerification) {
        return context;
    }
    if (!settings.caDirectory.empty()) {
        return TrustDirectory(SSL_CTX_get_cert_store(context.get()), settings.caDirectory, failure) ? context
                                                                                                    : nullptr;
    }
    if (settings.caFile.empty()) {
        SetFailure(failure, 0, "neither a CA file nor a CA directory is set");
        return nullptr;
    }
    return TrustFile(SSL_CTX_get_cert_store(context.get()), settings.caFile, failure) ? context : nullptr;
}

bool PrepareClient(SSL* ssl, const std::string& host, bool verify) {
    const bool address = IsAddress(host);
    if (!address) {
        std::string name = host;  // SSL_set_tlsext_host_name without its macro, which casts in the style of C
        if (SSL_ctrl(ssl, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name, name.data()) != 1) {
            return false;
        }
    }
    if (!verify) {
        SSL_set_verify(ssl, SSL_VERIFY_NONE, nullptr);
        return true;
    }
    SSL_set_verify(ssl, SSL_VERIFY_PEER, nullptr);
    X509_VERIFY_PARAM* const parameters = SSL_get0_param(ssl);
    if (address) {
        return X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) == 1;
    }
    X509_VERIFY_PARAM_set_hostflags(parameters, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    return X509_VERIFY_PARAM_set1_host(parameters, host.c_str(), 0) == 1;
}

Failure DescribeTlsFailure(SSL* ssl, const std::string& host, unsigned long tlsError,
                           const std::string& text) {
    Failure failure;
    failure.stage = Stage::kTls;
    failure.tlsError = tlsError;
    const long verdict = SSL_get_verify_result(ssl);
    if (verdict != X509_V_OK && SSL_get_verify_mode(ssl) != SSL_VERIFY_NONE) {
        failure.certificateError = verdict;
        failure.text =
            "the certificate of " + host + " is refused: " + X509_verify_cert_error_string(verdict);
    } else {
        failure.text = "TLS handshake with " + host + " failed: " + text;
    }
    return failure;
}

}  // namespace quor_platform::internal
