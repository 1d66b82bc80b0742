#include "test_certificates.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace quor_test {
namespace {

constexpr long kSecondsPerDay = 86400;

void Require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

std::shared_ptr<EVP_PKEY> MakeKey() {
    std::shared_ptr<EVP_PKEY> key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free);
    Require(key != nullptr, "no key");
    return key;
}

void AddExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
        X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str()), X509_EXTENSION_free);
    Require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1, "no extension");
}

std::shared_ptr<X509> MakeCertificate(const std::string& name, EVP_PKEY* key, X509* issuer, int fromDays,
                                      int untilDays) {
    static long serial = 1;
    std::shared_ptr<X509> certificate(X509_new(), X509_free);
    Require(certificate != nullptr, "no certificate");
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), serial++);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), fromDays * kSecondsPerDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), untilDays * kSecondsPerDay);
    X509_NAME* const subject = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), issuer == nullptr ? subject : X509_get_subject_name(issuer));
    X509_set_pubkey(certificate.get(), key);
    return certificate;
}

}  // namespace

TestAuthority::TestAuthority(const std::string& name) : m_key(MakeKey()) {
    m_certificate = MakeCertificate(name, m_key.get(), nullptr, -2, 365);
    AddExtension(m_certificate.get(), m_certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    AddExtension(m_certificate.get(), m_certificate.get(), NID_key_usage, "critical,keyCertSign");
    Require(X509_sign(m_certificate.get(), m_key.get(), EVP_sha256()) > 0, "not signed");
}

TestAuthority::TestAuthority(const std::string& name, const TestAuthority& issuer) : m_key(MakeKey()) {
    m_certificate = MakeCertificate(name, m_key.get(), issuer.m_certificate.get(), -2, 365);
    AddExtension(m_certificate.get(), issuer.m_certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    AddExtension(m_certificate.get(), issuer.m_certificate.get(), NID_key_usage, "critical,keyCertSign");
    Require(X509_sign(m_certificate.get(), issuer.m_key.get(), EVP_sha256()) > 0, "not signed");
}

std::shared_ptr<SSL_CTX> TestAuthority::OwnContext() const {
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    Require(context != nullptr && SSL_CTX_use_certificate(context.get(), m_certificate.get()) == 1 &&
                SSL_CTX_use_PrivateKey(context.get(), m_key.get()) == 1,
            "no server context");
    return context;
}

void TestAuthority::AddTo(SSL_CTX* context) const {
    Require(SSL_CTX_ctrl(context, SSL_CTRL_CHAIN_CERT, 1, m_certificate.get()) == 1, "no chain");
}

std::shared_ptr<SSL_CTX> TestAuthority::ServerContext(const CertificateRequest& request) const {
    const std::shared_ptr<EVP_PKEY> key = MakeKey();
    const std::shared_ptr<X509> certificate = MakeCertificate(
        request.commonName, key.get(), m_certificate.get(), request.validFromDays, request.validUntilDays);
    if (!request.names.empty()) {
        AddExtension(certificate.get(), m_certificate.get(), NID_subject_alt_name, request.names);
    }
    Require(X509_sign(certificate.get(), m_key.get(), EVP_sha256()) > 0, "not signed");
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    Require(context != nullptr && SSL_CTX_use_certificate(context.get(), certificate.get()) == 1 &&
                SSL_CTX_use_PrivateKey(context.get(), key.get()) == 1,
            "no server context");
    return context;
}

void TestAuthority::WriteCertificate(const std::string& file) const {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen(file.c_str(), "w"), std::fclose);
    Require(out != nullptr && PEM_write_X509(out.get(), m_certificate.get()) == 1, "certificate not written");
}

std::string TestAuthority::HashedName() const {
    char name[16];
    std::snprintf(name, sizeof name, "%08lx.0",
                  X509_NAME_hash_ex(X509_get_subject_name(m_certificate.get()), nullptr, nullptr, nullptr));
    return name;
}

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = std::filesystem::temp_directory_path() / "quor-link-test-XXXXXX";
    Require(mkdtemp(pattern.data()) != nullptr, "no temporary directory");
    m_path = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

}  // namespace quor_test
