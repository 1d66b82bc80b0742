#include "certificates.h"

#include <fcntl.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <system_error>

namespace quor_simulator {
namespace {

namespace fs = std::filesystem;

constexpr long kDaySeconds = 24L * 3600L;
constexpr long kCaDays = 3650;
constexpr long kServerDays = 365;
/* A stored certificate is issued anew this long before its end, so that no run outlives it. */
constexpr long kRenewDays = 7;

template <auto Free>
struct Deleter {
    template <class T>
    void operator()(T* object) const {
        Free(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY_free>>;
using X509Ptr = std::unique_ptr<X509, Deleter<X509_free>>;
using Bio = std::unique_ptr<BIO, Deleter<BIO_free_all>>;

[[noreturn]] void Fail(const std::string& what) {
    const unsigned long code = ERR_get_error();
    char text[256] = "";
    if (code != 0) {
        ERR_error_string_n(code, text, sizeof(text));
    }
    ERR_clear_error();
    throw Error(code == 0 ? what : what + ": " + text);
}

[[noreturn]] void FailWithErrno(const std::string& what) {
    throw Error(what + ": " + std::error_code(errno, std::generic_category()).message());
}

/* Holds an exclusive lock on the directory's lock file while it lives. */
class DirectoryLock {
public:
    explicit DirectoryLock(const fs::path& directory)
        : m_file(::open((directory / "lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)) {
        if (m_file < 0 || ::flock(m_file, LOCK_EX) != 0) {
            const int error = errno;
            if (m_file >= 0) {
                ::close(m_file);
            }
            errno = error;
            FailWithErrno("cannot lock state directory " + directory.string());
        }
    }
    ~DirectoryLock() { ::close(m_file); }
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

private:
    const int m_file;
};

void WriteWhole(const fs::path& path, const std::string& text, mode_t mode) {
    const fs::path temporary = path.string() + ".new";
    ::unlink(temporary.c_str());
    const int file = ::open(temporary.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, mode);
    if (file < 0) {
        FailWithErrno("cannot write " + temporary.string());
    }
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(file, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR) {
            const int error = errno;
            ::close(file);
            errno = error;
            FailWithErrno("cannot write " + temporary.string());
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    if (::close(file) != 0 || ::rename(temporary.c_str(), path.c_str()) != 0) {
        FailWithErrno("cannot write " + path.string());
    }
}

std::string ReadWhole(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file) {
        throw Error("cannot read " + path.string());
    }
    return text.str();
}

std::string TextOf(BIO* bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return {data, static_cast<std::size_t>(size)};
}

std::string ToPem(X509* certificate) {
    const Bio bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_X509(bio.get(), certificate) != 1) {
        Fail("cannot encode a certificate");
    }
    return TextOf(bio.get());
}

std::string ToPem(EVP_PKEY* key) {
    const Bio bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        Fail("cannot encode a key");
    }
    return TextOf(bio.get());
}

X509Ptr ReadCertificate(const fs::path& path) {
    const std::string text = ReadWhole(path);
    const Bio bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    X509Ptr certificate(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    if (!certificate) {
        Fail(path.string() + " holds no certificate");
    }
    return certificate;
}

Key ReadKey(const fs::path& path) {
    const std::string text = ReadWhole(path);
    const Bio bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    Key key(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
    if (!key) {
        Fail(path.string() + " holds no key");
    }
    return key;
}

Key NewKey() {
    Key key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    if (!key) {
        Fail("cannot make a key");
    }
    return key;
}

void AddExtension(X509* certificate, X509* issuer, int nid, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
    const bool added = extension != nullptr && X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    if (!added) {
        Fail("cannot add a certificate extension");
    }
}

struct Profile {
    const char* commonName;
    const char* names; /* subject alternative names; null for an authority */
    long beginDays;    /* from now */
    long endDays;
};

/* A random serial number: clients may refuse two certificates of one issuer with the same one. */
void SetSerial(X509* certificate) {
    unsigned char bytes[8];
    if (RAND_bytes(bytes, sizeof(bytes)) != 1) {
        Fail("no random numbers");
    }
    std::uint64_t number = 0;
    std::memcpy(&number, bytes, sizeof(number));
    if (ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), number >> 1) != 1) {
        Fail("cannot set a serial number");
    }
}

/* issuer null: self-signed with key. */
X509Ptr Issue(const Profile& profile, EVP_PKEY* key, X509* issuer, EVP_PKEY* issuerKey) {
    X509Ptr certificate(X509_new());
    if (!certificate || X509_set_version(certificate.get(), 2) != 1) {
        Fail("cannot make a certificate");
    }
    SetSerial(certificate.get());
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), profile.beginDays * kDaySeconds);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), profile.endDays * kDaySeconds);
    X509_NAME* subject = X509_get_subject_name(certificate.get());
    const auto* name = reinterpret_cast<const unsigned char*>(profile.commonName);
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8, name, -1, -1, 0);
    X509* signer = issuer == nullptr ? certificate.get() : issuer;
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(signer));
    X509_set_pubkey(certificate.get(), key);
    AddExtension(certificate.get(), signer, NID_subject_key_identifier, "hash");
    if (profile.names == nullptr) {
        AddExtension(certificate.get(), signer, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
        AddExtension(certificate.get(), signer, NID_key_usage, "critical,keyCertSign,cRLSign");
    } else {
        AddExtension(certificate.get(), signer, NID_basic_constraints, "critical,CA:FALSE");
        AddExtension(certificate.get(), signer, NID_key_usage, "critical,digitalSignature");
        AddExtension(certificate.get(), signer, NID_ext_key_usage, "serverAuth");
        AddExtension(certificate.get(), signer, NID_subject_alt_name, profile.names);
    }
    AddExtension(certificate.get(), signer, NID_authority_key_identifier, "keyid:always");
    if (X509_sign(certificate.get(), issuerKey, EVP_sha256()) == 0) {
        Fail("cannot sign a certificate");
    }
    return certificate;
}

struct Authority {
    X509Ptr certificate;
    Key key;
};

Authority LoadOrMakeAuthority(const fs::path& directory) {
    const fs::path file = directory / "ca.pem";
    const fs::path keyFile = directory / "ca-key.pem";
    Authority authority;
    if (fs::exists(file) && fs::exists(keyFile)) {
        authority.certificate = ReadCertificate(file);
        authority.key = ReadKey(keyFile);
        if (X509_check_private_key(authority.certificate.get(), authority.key.get()) != 1) {
            Fail(file.string() + " and " + keyFile.string() + " do not belong together; remove both");
        }
        if (X509_cmp_current_time(X509_get0_notAfter(authority.certificate.get())) < 0) {
            throw Error(file.string() + " has expired; remove the state directory");
        }
        return authority;
    }
    authority.key = NewKey();
    const Profile profile{"quor-simulator CA", nullptr, -1, kCaDays};
    authority.certificate = Issue(profile, authority.key.get(), nullptr, authority.key.get());
    WriteWhole(keyFile, ToPem(authority.key.get()), 0600);
    WriteWhole(file, ToPem(authority.certificate.get()), 0644);
    return authority;
}

constexpr const char* kGoodNames = "DNS:localhost,IP:127.0.0.1,IP:::1";

bool StillGood(X509* certificate, EVP_PKEY* key, const Authority& authority) {
    std::time_t renewal = std::time(nullptr) + kRenewDays * kDaySeconds;
    return X509_check_private_key(certificate, key) == 1 &&
           X509_verify(certificate, authority.key.get()) == 1 &&
           X509_cmp_time(X509_get0_notAfter(certificate), &renewal) > 0;
}

ServerIdentity LoadOrMakeServer(const fs::path& directory, const Authority& authority) {
    const fs::path file = directory / "server.pem";
    const fs::path keyFile = directory / "server-key.pem";
    if (fs::exists(file) && fs::exists(keyFile)) {
        const X509Ptr certificate = ReadCertificate(file);
        const Key key = ReadKey(keyFile);
        if (StillGood(certificate.get(), key.get(), authority)) {
            return {ReadWhole(file), ReadWhole(keyFile)};
        }
        ERR_clear_error();
    }
    const Key key = NewKey();
    const Profile profile{"localhost", kGoodNames, -1, kServerDays};
    const X509Ptr certificate = Issue(profile, key.get(), authority.certificate.get(), authority.key.get());
    ServerIdentity identity{ToPem(certificate.get()) + ToPem(authority.certificate.get()), ToPem(key.get())};
    WriteWhole(keyFile, identity.keyPem, 0600);
    WriteWhole(file, identity.certificatePem, 0644);
    return identity;
}

ServerIdentity MakeServer(const Profile& profile, const Authority* authority) {
    const Key key = NewKey();
    if (authority == nullptr) {
        return {ToPem(Issue(profile, key.get(), nullptr, key.get()).get()), ToPem(key.get())};
    }
    const X509Ptr certificate = Issue(profile, key.get(), authority->certificate.get(), authority->key.get());
    return {ToPem(certificate.get()) + ToPem(authority->certificate.get()), ToPem(key.get())};
}

}  // namespace

Identities PrepareIdentities(const std::string& directory) {
    if (directory.empty()) {
        throw Error("the simulator needs a state directory for its certificates");
    }
    const fs::path path = fs::absolute(directory);
    std::error_code error;
    if (fs::create_directories(path, error)) {
        fs::permissions(path, fs::perms::owner_all, error);
    }
    if (error) {
        throw Error("cannot make state directory " + path.string() + ": " + error.message());
    }
    const DirectoryLock lock(path);
    const Authority authority = LoadOrMakeAuthority(path);
    Identities identities;
    identities.caFile = (path / "ca.pem").string();
    auto& servers = identities.servers;
    servers[Certificate::kGood] = LoadOrMakeServer(path, authority);
    servers[Certificate::kWrongHost] = MakeServer(
        {"wrong.host.invalid", "DNS:wrong.host.invalid,IP:192.0.2.1", -1, kServerDays}, &authority);
    servers[Certificate::kExpired] = MakeServer({"localhost", kGoodNames, -30, -1}, &authority);
    servers[Certificate::kNotYetValid] = MakeServer({"localhost", kGoodNames, 1, kServerDays}, &authority);
    servers[Certificate::kSelfSigned] = MakeServer({"localhost", kGoodNames, -1, kServerDays}, nullptr);
    return identities;
}

}  // namespace quor_simulator
