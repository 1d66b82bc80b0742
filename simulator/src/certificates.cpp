#include "certificates.h"

#include <arpa/inet.h>
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

#include <algorithm>
#include <cctype>
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

void AddExtension(X509* certificate, X509* issuer, int nid, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
    const bool added = extension != nullptr && X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    if (!added) {
        Fail("cannot add a certificate extension");
    }
}

struct Profile {
    const char* commonName;
    std::string names; /* subject alternative names; empty for an authority */
    long beginDays;    /* from now */
    long endDays;
    int authoritiesBelow = 0; /* of an authority */
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
    if (profile.names.empty()) {
        AddExtension(certificate.get(), signer, NID_basic_constraints,
                     "critical,CA:TRUE,pathlen:" + std::to_string(profile.authoritiesBelow));
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
    const Profile profile{"quor-simulator CA", "", -1, kCaDays, 1};
    authority.certificate = Issue(profile, authority.key.get(), nullptr, authority.key.get());
    WriteWhole(keyFile, ToPem(authority.key.get()), 0600);
    WriteWhole(file, ToPem(authority.certificate.get()), 0644);
    return authority;
}

/* What the good certificates are good for. */
struct GoodNames {
    std::vector<std::string> hosts = {"localhost"};
    std::vector<std::string> addresses = {"127.0.0.1", "::1"};

    std::string Hosts() const { return List("DNS:", hosts); }
    std::string Addresses() const { return List("IP:", addresses); }
    std::string All() const { return Hosts() + "," + Addresses(); }

private:
    static std::string List(const char* kind, const std::vector<std::string>& names) {
        std::string list;
        for (const std::string& name : names) {
            list.append(list.empty() ? "" : ",").append(kind).append(name);
        }
        return list;
    }
};

bool IsAddress(const std::string& text) {
    unsigned char bytes[sizeof(in6_addr)];
    return ::inet_pton(AF_INET, text.c_str(), bytes) == 1 || ::inet_pton(AF_INET6, text.c_str(), bytes) == 1;
}

GoodNames NamesWith(const std::vector<std::string>& more) {
    GoodNames names;
    for (const std::string& name : more) {
        const bool plain = std::all_of(name.begin(), name.end(), [](unsigned char c) {
            return std::isalnum(c) != 0 || c == '.' || c == '-' || c == '_' || c == '*';
        });
        if (IsAddress(name)) {
            names.addresses.push_back(name);
        } else if (plain && !name.empty() && name.size() <= 253) {
            names.hosts.push_back(name);
        } else {
            throw Error("\"" + name + "\" is neither a host's name nor an IP address");
        }
    }
    return names;
}

bool StillGood(X509* certificate, EVP_PKEY* key, const Authority& authority, const GoodNames& names) {
    std::time_t renewal = std::time(nullptr) + kRenewDays * kDaySeconds;
    return X509_check_private_key(certificate, key) == 1 &&
           X509_verify(certificate, authority.key.get()) == 1 &&
           X509_cmp_time(X509_get0_notAfter(certificate), &renewal) > 0 &&
           std::all_of(names.hosts.begin(), names.hosts.end(),
                       [&](const std::string& host) {
                           return X509_check_host(certificate, host.c_str(), host.size(), 0, nullptr) == 1;
                       }) &&
           std::all_of(names.addresses.begin(), names.addresses.end(), [&](const std::string& address) {
               return X509_check_ip_asc(certificate, address.c_str(), 0) == 1;
           });
}

ServerIdentity LoadOrMakeServer(const fs::path& directory, const Authority& authority,
                                const GoodNames& names) {
    const fs::path file = directory / "server.pem";
    const fs::path keyFile = directory / "server-key.pem";
    if (fs::exists(file) && fs::exists(keyFile)) {
        const X509Ptr certificate = ReadCertificate(file);
        const Key key = ReadKey(keyFile);
        if (StillGood(certificate.get(), key.get(), authority, names)) {
            return {ReadWhole(file), ReadWhole(keyFile)};
        }
        ERR_clear_error();
    }
    const Key key = NewKey();
    const Profile profile{"localhost", names.All(), -1, kServerDays};
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

/* Issued by an authority that the client has not heard of and is not told of, below the one that it trusts.
 */
ServerIdentity MakeIncomplete(const Profile& profile, const Authority& authority) {
    const Key middleKey = NewKey();
    const Profile middleProfile{"quor-simulator intermediate CA", "", -1, kServerDays};
    const X509Ptr middle =
        Issue(middleProfile, middleKey.get(), authority.certificate.get(), authority.key.get());
    const Key key = NewKey();
    return {ToPem(Issue(profile, key.get(), middle.get(), middleKey.get()).get()), ToPem(key.get())};
}

}  // namespace

Identities PrepareIdentities(const std::string& directory, const std::vector<std::string>& moreNames) {
    const GoodNames names = NamesWith(moreNames);
    const std::string all = names.All();
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
    servers[Certificate::kGood] = LoadOrMakeServer(path, authority, names);
    servers[Certificate::kWrongHost] = MakeServer(
        {"wrong.host.invalid", "DNS:wrong.host.invalid,IP:192.0.2.1", -1, kServerDays}, &authority);
    servers[Certificate::kExpired] = MakeServer({"localhost", all, -30, -1}, &authority);
    servers[Certificate::kNotYetValid] = MakeServer({"localhost", all, 1, kServerDays}, &authority);
    servers[Certificate::kSelfSigned] = MakeServer({"localhost", all, -1, kServerDays}, nullptr);
    servers[Certificate::kIncomplete] = MakeIncomplete({"localhost", all, -1, kServerDays}, authority);
    servers[Certificate::kNamesOnly] = MakeServer({"localhost", names.Hosts(), -1, kServerDays}, &authority);
    /* A common name could be taken for a host's name where no other name is. */
    servers[Certificate::kAddressesOnly] =
        MakeServer({"addresses only", names.Addresses(), -1, kServerDays}, &authority);
    return identities;
}

}  // namespace quor_simulator
