// test_certificates.h - a certificate authority of the tests' own, made anew for each program run, and the
// files and contexts that servers and clients need of it.
#ifndef QUOR_TESTS_PLATFORM_LINUX_TEST_CERTIFICATES_H
#define QUOR_TESTS_PLATFORM_LINUX_TEST_CERTIFICATES_H

#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace quor_test {

struct CertificateRequest {
    std::string names = "DNS:localhost,IP:127.0.0.1";  // subjectAltName; empty for none
    int validFromDays = -1;                            // days from now
    int validUntilDays = 30;
    std::string commonName = "server";
};

class TestAuthority {
public:
    explicit TestAuthority(const std::string& name);
    // An authority whose certificate issuer has signed.
    TestAuthority(const std::string& name, const TestAuthority& issuer);

    // A server context that presents a certificate of this authority.
    std::shared_ptr<SSL_CTX> ServerContext(const CertificateRequest& request) const;
    // A server context that presents the authority's own certificate.
    std::shared_ptr<SSL_CTX> OwnContext() const;
    // Lets a server context send the authority's certificate along with its own.
    void AddTo(SSL_CTX* context) const;
    // Writes the authority's certificate as PEM.
    void WriteCertificate(const std::string& file) const;
    // The name of the certificate in a certificate directory: "<hash>.0".
    std::string HashedName() const;

private:
    std::shared_ptr<EVP_PKEY> m_key;
    std::shared_ptr<X509> m_certificate;
};

// A directory that is removed with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    std::string File(const std::string& name) const { return m_path + "/" + name; }
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

}  // namespace quor_test

#endif
