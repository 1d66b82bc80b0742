#include "platform_linux/websocket/tls_client.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include <arpa/inet.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

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

// "3a1b2c4d.0": the name under which a certificate directory keeps a certificate.
bool IsHashedName(const std::string& name) {
    constexpr std::size_t kHashDigits = 8;
    const auto isHex = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return name.size() > kHashDigits + 1 && name[kHashDigits] == '.' &&
           std::all_of(name.begin(), name.begin() + kHashDigits, isHex) &&
           std::all_of(name.begin() + kHashDigits + 1, name.end(), isDigit);
}

bool TrustDirectory(SSL_CTX* context, const std::string& directory, Failure* failure) {
    std::error_code error;
    std::filesystem::directory_iterator entries(directory, error);
    if (error) {
        return SetFailure(failure, error.value(),
                          "the CA directory " + directory + " cannot be read: " + error.message());
    }
    bool found = false;
    for (; !found && !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
        found = IsHashedName(entries->path().filename().string());
    }
    if (!found) {
        return SetFailure(failure, 0,
                          "the CA directory " + directory + " holds no certificate under a hash name");
    }
    if (SSL_CTX_load_verify_dir(context, directory.c_str()) != 1) {
        return SetFailure(failure, 0, "the CA directory " + directory + " cannot be used");
    }
    return true;
}

bool TrustFile(SSL_CTX* context, const std::string& file, Failure* failure) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        const std::string reason = error ? error.message() : "not a file";
        return SetFailure(failure, error.value(), "the CA file " + file + " cannot be read: " + reason);
    }
    errno = 0;
    if (!std::ifstream(file, std::ios::binary)) {
        const int systemError = errno;
        return SetFailure(
            failure, systemError,
            "the CA file " + file + " cannot be read: " + std::generic_category().message(systemError));
    }
    ERR_clear_error();
    if (SSL_CTX_load_verify_file(context, file.c_str()) != 1) {
        const unsigned long tlsError = ERR_peek_last_error();
        ERR_clear_error();
        SetFailure(failure, 0, "the CA file " + file + " holds no usable certificate");
        failure->tlsError = tlsError;
        return false;
    }
    return true;
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
        return TrustDirectory(context.get(), settings.caDirectory, failure) ? context : nullptr;
    }
    if (settings.caFile.empty()) {
        SetFailure(failure, 0, "neither a CA file nor a CA directory is set");
        return nullptr;
    }
    return TrustFile(context.get(), settings.caFile, failure) ? context : nullptr;
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
