// Whom HTTPS requests trust: the certificates named, the name or address in the server's certificate, the
// suites.
#include <gmock/gmock.h>
#include <openssl/x509_vfy.h>
#include <unistd.h>

#include <filesystem>

#include "quor_platform/certificate.h"
#include "quor_platform/dns.h"
#include "quor_platform/os.h"
#include "tests/platform_linux/http/http_fixture.h"
#include "tests/platform_linux/support/dns_server.h"

namespace quor_test {
namespace {

using quor_platform::Stage;
using testing::HasSubstr;

class HttpCertificates : public HttpTest {
protected:
    void ExpectNoTrust(const std::string& caPath, const char* why) const {
        const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
        const Reply reply = Call(caPath, peer.Url()).Send();
        EXPECT_EQ(reply.result, static_cast<unsigned int>(HTTP_ERRORCODE_CERTIFICATE)) << caPath;
        EXPECT_EQ(reply.failure.stage, Stage::kSettings);
        EXPECT_THAT(reply.failure.text, HasSubstr(why));
        EXPECT_EQ(peer.Accepted(), 0);
    }
    static int GetAddress(const std::string& name, std::string* text) {
        QuorNetbDnsAddress address{};
        unsigned int count = 1;
        const unsigned int result = QUOR_NETB_DnsGetIpBySynResolveEx(name.c_str(), 2, &address, &count, 1, 1);
        char buffer[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &address.ipv4, buffer, sizeof buffer);
        *text = buffer;
        return static_cast<int>(result);
    }
};

TEST_F(HttpCertificates, OneForTheAddressIsAccepted) {
    const HttpPeer peer(
        ServerTls({"IP:127.0.0.1"}),
        HttpPeer::Serve([](HttpConnection& c, const PeerRequest&) { c.Answer(200, c.ServerName()); }));
    const Reply reply = SendGet(peer.Url());
    EXPECT_EQ(reply.status, 200U) << reply.failure.text;
    EXPECT_EQ(reply.body, "") << "an address is not sent as a server name";
}

TEST_F(HttpCertificates, OneForAnIpv6AddressIsAccepted) {
    const HttpPeer peer(ServerTls({"IP:::1"}), HttpPeer::Always(200, "six"), "::1");
    EXPECT_EQ(SendGet(peer.Url()).body, "six");
    const HttpPeer other(ServerTls({"IP:::2"}), HttpPeer::Always(200, "six"), "::1");
    ExpectRefused(other.Url(), X509_V_ERR_IP_ADDRESS_MISMATCH);
}

TEST_F(HttpCertificates, OneForANameIsAcceptedForTheNameOnly) {
    const HttpPeer peer(ServerTls({"DNS:localhost"}),
                        HttpPeer::Serve([](HttpConnection& c, const PeerRequest& r) {
                            c.Answer(200, c.ServerName() + " " + r.headers.at("host"));
                        }));
    const std::string port = std::to_string(peer.Port());
    EXPECT_EQ(SendGet("https://localhost:" + port + "/").body, "localhost localhost:" + port);
    ExpectRefused(peer.Url(), X509_V_ERR_IP_ADDRESS_MISMATCH);
}

TEST_F(HttpCertificates, ACommonNameIsNoAddress) {
    CertificateRequest request;
    request.names = "";
    request.commonName = "127.0.0.1";
    const HttpPeer peer(ServerTls(request), HttpPeer::Always(200, "x"));
    ExpectRefused(peer.Url(), X509_V_ERR_IP_ADDRESS_MISMATCH);
}

TEST_F(HttpCertificates, OneForSomebodyElseIsRefused) {
    const HttpPeer peer(ServerTls({"DNS:other.example,IP:127.0.0.2"}), HttpPeer::Always(200, "x"));
    ExpectRefused(peer.Url(), X509_V_ERR_IP_ADDRESS_MISMATCH);
    ExpectRefused("https://localhost:" + std::to_string(peer.Port()) + "/", X509_V_ERR_HOSTNAME_MISMATCH);
    EXPECT_THAT(quor_platform::LastFailure().text, HasSubstr("the certificate of localhost:"));
}

TEST_F(HttpCertificates, OneOutOfItsTimeIsRefused) {
    CertificateRequest request;
    request.validFromDays = -10;
    request.validUntilDays = -1;
    const HttpPeer expired(ServerTls(request), HttpPeer::Always(200, "x"));
    ExpectRefused(expired.Url(), X509_V_ERR_CERT_HAS_EXPIRED);
    request.validFromDays = 1;
    request.validUntilDays = 10;
    const HttpPeer early(ServerTls(request), HttpPeer::Always(200, "x"));
    ExpectRefused(early.Url(), X509_V_ERR_CERT_NOT_YET_VALID);
}

TEST_F(HttpCertificates, OneThatNobodyTrustedSignedIsRefused) {
    const TestAuthority stranger("Stranger");
    const HttpPeer foreign(stranger.ServerContext({}), HttpPeer::Always(200, "x"));
    ExpectRefused(foreign.Url(), X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
    const HttpPeer selfSigned(stranger.OwnContext(), HttpPeer::Always(200, "x"));
    ExpectRefused(selfSigned.Url(), X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT);
}

TEST_F(HttpCertificates, AChainNeedsItsIntermediate) {
    // Its file has another length than the one that it replaces, so that it is seen within the same tick of
    // the file system's clock.
    const TestAuthority intermediate("Intermediate authority", Authority());
    const auto context = intermediate.ServerContext({});
    {
        const HttpPeer peer(context, HttpPeer::Always(200, "x"));
        ExpectRefused(peer.Url(), X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
    }
    intermediate.AddTo(context.get());
    const HttpPeer peer(context, HttpPeer::Always(200, "x"));
    EXPECT_EQ(SendGet(peer.Url()).status, 200U);
    // An intermediate alone ends no chain.
    intermediate.WriteCertificate(m_ca);
    ExpectRefused(peer.Url(), X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT);
}

TEST_F(HttpCertificates, TheSystemsAreNotTrustedBesidesTheOnesNamed) {
    if (!std::filesystem::exists("/etc/ssl/certs/ca-certificates.crt")) {
        GTEST_SKIP() << "this machine has no trusted certificates of its own";
    }
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    const Reply reply = Call("/etc/ssl/certs/ca-certificates.crt", peer.Url()).Send();
    EXPECT_EQ(reply.result, static_cast<unsigned int>(HTTP_ERRORCODE_TLS));
}

TEST_F(HttpCertificates, MissingEmptyAndUnreadableOnesRefuseEveryRequest) {
    ExpectNoTrust("", "no trusted certificates are named");
    ExpectNoTrust(m_folder.File("missing.pem"), "No such file");
    TemporaryFolder::Write(m_folder.File("empty.pem"), "");
    ExpectNoTrust(m_folder.File("empty.pem"), "no usable certificate");
    TemporaryFolder::Write(m_folder.File("text.pem"), "no certificate\n");
    ExpectNoTrust(m_folder.File("text.pem"), "no usable certificate");
    ExpectNoTrust("/dev/null", "not a file");
    std::filesystem::create_directory(m_folder.File("empty"));
    ExpectNoTrust(m_folder.File("empty"), "no certificate under a hash name");
    if (geteuid() == 0) {
        return;  // root reads everything
    }
    std::filesystem::permissions(m_ca, std::filesystem::perms::none);
    ExpectNoTrust(m_ca, "Permission denied");
}

TEST_F(HttpCertificates, ADirectoryServesToo) {
    const std::string directory = m_folder.File("certs");
    std::filesystem::create_directory(directory);
    Authority().WriteCertificate(directory + "/" + Authority().HashedName());
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    EXPECT_EQ(Call(directory, peer.Url()).Send().status, 200U);
    const TestAuthority stranger("Stranger");
    const HttpPeer foreign(stranger.ServerContext({}), HttpPeer::Always(200, "x"));
    EXPECT_EQ(Call(directory, foreign.Url()).Send().result, static_cast<unsigned int>(HTTP_ERRORCODE_TLS));
    stranger.WriteCertificate(directory + "/" + stranger.HashedName());
    EXPECT_EQ(Call(directory, foreign.Url()).Send().status, 200U);
}

// The directory itself stays as it is when the certificate behind a link in it is replaced.
TEST_F(HttpCertificates, ACertificateReplacedBehindALinkCountsFromTheNextRequest) {
    const std::string directory = m_folder.File("certs");
    const std::string file = m_folder.File("authority.pem");
    std::filesystem::create_directory(directory);
    Authority().WriteCertificate(file);
    std::filesystem::create_symlink(file, directory + "/" + Authority().HashedName());
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    EXPECT_EQ(Call(directory, peer.Url()).Send().status, 200U);
    const TestAuthority stranger("Stranger");
    stranger.WriteCertificate(file);
    EXPECT_EQ(Call(directory, peer.Url()).Send().result, static_cast<unsigned int>(HTTP_ERRORCODE_TLS))
        << "kept connections too";
    Authority().WriteCertificate(file);
    EXPECT_EQ(Call(directory, peer.Url()).Send().status, 200U);
}

TEST_F(HttpCertificates, AReplacedFileCountsFromTheNextRequest) {
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    EXPECT_EQ(SendGet(peer.Url()).status, 200U);
    EXPECT_EQ(SendGet(peer.Url()).status, 200U);
    EXPECT_EQ(peer.Accepted(), 1);
    const TestAuthority stranger("Stranger");
    stranger.WriteCertificate(m_folder.File("new.pem"));
    std::filesystem::rename(m_folder.File("new.pem"), m_ca);
    EXPECT_EQ(SendGet(peer.Url()).result, static_cast<unsigned int>(HTTP_ERRORCODE_TLS))
        << "kept connections too";
    EXPECT_EQ(peer.Accepted(), 2);
    Authority().WriteCertificate(m_ca);  // in place
    EXPECT_EQ(SendGet(peer.Url()).status, 200U);
    std::filesystem::remove(m_ca);
    EXPECT_EQ(SendGet(peer.Url()).result, static_cast<unsigned int>(HTTP_ERRORCODE_CERTIFICATE));
}

TEST_F(HttpCertificates, AReplacedFileCountsForAsynchronousRequestsToo) {
    const HttpPeer peer(ServerTls(), HttpPeer::Always(200, "x"));
    const auto send = [&] {
        Completions completions;
        const auto call = Get(peer.Url());
        tagHTTP_S_ASYN_SEND_PARAM param = call->Async(Completions::Take, &completions);
        unsigned long handle = 0;
        quor_http_asyn_send(&param, &handle);
        EXPECT_TRUE(completions.Reached(1));
        return completions.All().at(0).error;
    };
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(send(), 0);
    EXPECT_EQ(peer.Accepted(), 1);
    const TestAuthority stranger("Stranger");
    stranger.WriteCertificate(m_folder.File("new.pem"));
    std::filesystem::rename(m_folder.File("new.pem"), m_ca);
    EXPECT_EQ(send(), HTTP_ERRORCODE_TLS);
    EXPECT_EQ(peer.Accepted(), 2);
}

TEST_F(HttpCertificates, TheNameThatDnsGaveAnAddressForIsSentAndVerified) {
    const DnsServer dns({"--host-record=conf.test,127.0.0.1", "--host-record=other.test,127.0.0.1"});
    if (DnsServer::MayBeMissing()) {
        GTEST_SKIP() << "dnsmasq is not installed";
    }
    ASSERT_TRUE(dns.Use());
    const HttpPeer peer(ServerTls({"DNS:conf.test"}),
                        HttpPeer::Serve([](HttpConnection& c, const PeerRequest& r) {
                            c.Answer(200, c.ServerName() + " " + r.headers.at("host"));
                        }));
    const std::string port = std::to_string(peer.Port());
    ExpectRefused(peer.Url(), X509_V_ERR_IP_ADDRESS_MISMATCH);
    std::string address;
    ASSERT_EQ(GetAddress("conf.test", &address), 0);
    EXPECT_EQ(address, "127.0.0.1");
    EXPECT_EQ(SendGet(peer.Url()).body, "conf.test conf.test:" + port);
    // The newest name counts.
    ASSERT_EQ(GetAddress("other.test", &address), 0);
    ExpectRefused(peer.Url(), X509_V_ERR_HOSTNAME_MISMATCH);
    // Names in URLs are looked up with the same settings.
    EXPECT_EQ(SendGet("https://conf.test:" + port + "/").status, 200U);
    const Reply reply = SendGet("https://nobody.test:" + port + "/");
    EXPECT_EQ(reply.result, static_cast<unsigned int>(HTTP_ERRORCODE_RESOLVE));
    EXPECT_EQ(reply.failure.stage, Stage::kResolve);
    // New settings forget what the old servers said.
    ASSERT_EQ(GetAddress("conf.test", &address), 0);
    quor_platform::SetDnsSettings({});
    ExpectRefused(peer.Url(), X509_V_ERR_IP_ADDRESS_MISMATCH);
}

TEST_F(HttpCertificates, AfterAServiceLookupTheNameAskedForIsVerified) {
    const DnsServer dns(
        {"--host-record=node.test,127.0.0.1", "--srv-host=_https._tcp.conf.test,node.test,443,1,1"});
    if (DnsServer::MayBeMissing()) {
        GTEST_SKIP() << "dnsmasq is not installed";
    }
    ASSERT_TRUE(dns.Use());
    CloudDnsRecord record{};
    unsigned int count = 1;
    ASSERT_EQ(QUOR_NETB_DnsGetSrvBySynResolveEx("https", "tcp", "conf.test", &record, &count, 1, 1), 0U);
    const HttpPeer asked(ServerTls({"DNS:conf.test"}), HttpPeer::Always(200, "x"));
    EXPECT_EQ(SendGet(asked.Url()).status, 200U);
    const HttpPeer target(ServerTls({"DNS:node.test"}), HttpPeer::Always(200, "x"));
    ExpectRefused(target.Url(), X509_V_ERR_HOSTNAME_MISMATCH);
}

// What a client's first message offers, without the suites of TLS 1.3 and the renegotiation mark.
class HttpSuites : public HttpCertificates {
protected:
    std::vector<unsigned int> OfferedWith(const tagHTTP_S_CIPHER_LIST* list) {
        m_offered.clear();
        const auto context = ServerTls();
        SSL_CTX_set_client_hello_cb(context.get(), OnHello, this);
        const HttpPeer peer(context, HttpPeer::Always(200, "x"));
        const auto call = Get(peer.Url());
        tagHTTP_S_SYN_SEND_PARAM param = call->Blocking();
        param.config.cipherSuites = list;
        m_result = quor_http_syn_send(&param);
        OSFree(param.rspBody);
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_offered;
    }
    static void OSFree(char* body);

    static int OnHello(SSL* ssl, int* /*alert*/, void* self) {
        auto* test = static_cast<HttpSuites*>(self);
        const unsigned char* bytes = nullptr;
        const std::size_t size = SSL_client_hello_get0_ciphers(ssl, &bytes);
        const std::lock_guard<std::mutex> lock(test->m_mutex);
        for (std::size_t i = 0; i + 1 < size; i += 2) {
            const unsigned int suite = (static_cast<unsigned int>(bytes[i]) << 8U) | bytes[i + 1];
            if (suite != 0x00FF && (suite >> 8U) != 0x13) {
                test->m_offered.push_back(suite);
            }
        }
        return SSL_CLIENT_HELLO_SUCCESS;
    }

    std::mutex m_mutex;
    std::vector<unsigned int> m_offered;
    unsigned int m_result = 0;
};

void HttpSuites::OSFree(char* body) {
    OSMemTypeFreeMon(body, __LINE__, "test");
}

TEST_F(HttpSuites, TheListIsWhatIsOfferedForTls12InItsOrder) {
    const tagHTTP_S_CIPHER_LIST list = {
        8, {0x0300C030, 0x0300C02F, 0x0300C02C, 0x0300C02B, 0x0300009E, 0x0300009F, 0x030000A2, 0x030000A3}};
    EXPECT_EQ(OfferedWith(&list),
              (std::vector<unsigned int>{0xC030, 0xC02F, 0xC02C, 0xC02B, 0x9E, 0x9F, 0xA2, 0xA3}));
    EXPECT_EQ(m_result, 0U);
    const tagHTTP_S_CIPHER_LIST reversed = {2, {0x0300C02B, 0x0300C02C, 0x0300C030}};
    EXPECT_EQ(OfferedWith(&reversed), (std::vector<unsigned int>{0xC02B, 0xC02C}));
}

TEST_F(HttpSuites, UnknownOnesAreLeftOutWithOneRecord) {
    std::mutex mutex;
    std::vector<std::string> records;
    quor_platform::SetLogListener([&](const quor_platform::LogRecord& record) {
        const std::lock_guard<std::mutex> lock(mutex);
        records.emplace_back(record.text);
    });
    const tagHTTP_S_CIPHER_LIST list = {3, {0x0300FEFE, 0x0300C02C, 0x0300FEFE}};
    EXPECT_EQ(OfferedWith(&list), (std::vector<unsigned int>{0xC02C}));
    EXPECT_EQ(OfferedWith(&list), (std::vector<unsigned int>{0xC02C}));
    quor_platform::SetLogListener(nullptr);
    EXPECT_EQ(records,
              (std::vector<std::string>{"this OpenSSL lacks the cipher suite 0xFEFE: it is left out"}));
}

TEST_F(HttpSuites, AListOfUnknownOnesLeavesTls13) {
    const tagHTTP_S_CIPHER_LIST list = {1, {0x0300FEFD}};
    EXPECT_EQ(OfferedWith(&list), (std::vector<unsigned int>{}));
    EXPECT_EQ(m_result, 0U);
}

TEST_F(HttpSuites, WithoutAListOpenSslChooses) {
    EXPECT_GT(OfferedWith(nullptr).size(), 8U);
    EXPECT_EQ(m_result, 0U);
}

TEST_F(HttpSuites, ACountBeyondTheListIsNotBelieved) {
    const tagHTTP_S_CIPHER_LIST list = {
        900,
        {0x0300C030, 0x0300C02F, 0x0300C02C, 0x0300C02B, 0x0300009E, 0x0300009F, 0x030000A2, 0x030000A3}};
    EXPECT_EQ(OfferedWith(&list).size(), 8U);
}

TEST_F(HttpSuites, NothingBelowTls12IsSpoken) {
    const auto context = ServerTls();
    SSL_CTX_set_security_level(context.get(), 0);
    SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context.get(), TLS1_1_VERSION);
    const HttpPeer peer(context, HttpPeer::Always(200, "x"));
    ExpectRefused(peer.Url(), 0);
    EXPECT_NE(quor_platform::LastFailure().tlsError, 0U) << quor_platform::LastFailure().text;
}

TEST_F(HttpSuites, Tls12WithTheListsSuitesWorks) {
    const auto context = ServerTls();
    SSL_CTX_set_max_proto_version(context.get(), TLS1_2_VERSION);
    const HttpPeer peer(context, HttpPeer::Always(200, "x"));
    EXPECT_EQ(SendGet(peer.Url()).status, 200U);
}

class CertificateService : public testing::Test {
protected:
    ~CertificateService() override { quor_platform::SetTlsSettings({}); }
    static unsigned int Ask(std::string* path, QuorOmCertQuery query = {1, 2}) {
        QuorOmCertPath out{};
        out.path[0] = 'o';
        const unsigned int result = QuorOmCertGetCertPath(&query, 0, &out);
        *path = out.path;
        return result;
    }
    TemporaryFolder m_folder;
    std::string m_path;
};

TEST_F(CertificateService, NamesWhatTheHostSet) {
    quor_platform::TlsSettings settings;
    settings.caFile = m_folder.File("ca.pem");
    quor_platform::SetTlsSettings(settings);
    EXPECT_EQ(Ask(&m_path), static_cast<unsigned int>(ENOENT)) << "it does not exist yet";
    EXPECT_EQ(m_path, "");
    EXPECT_EQ(quor_platform::LastFailure().stage, Stage::kSettings);
    TemporaryFolder::Write(settings.caFile, "x");
    EXPECT_EQ(Ask(&m_path), 0U);
    EXPECT_EQ(m_path, settings.caFile);
    settings.caDirectory = m_folder.Path().string();
    quor_platform::SetTlsSettings(settings);
    EXPECT_EQ(Ask(&m_path), 0U);
    EXPECT_EQ(m_path, settings.caDirectory) << "the directory goes before the file";
}

TEST_F(CertificateService, RefusesWhatItCannotAnswer) {
    for (const QuorOmCertQuery query :
         {QuorOmCertQuery{0, 2}, QuorOmCertQuery{1, 1}, QuorOmCertQuery{2, 1}}) {
        EXPECT_NE(Ask(&m_path, query), 0U);
        EXPECT_EQ(m_path, "");
    }
    QuorOmCertPath out{};
    const QuorOmCertQuery query{1, 2};
    EXPECT_NE(QuorOmCertGetCertPath(nullptr, 0, &out), 0U);
    EXPECT_NE(QuorOmCertGetCertPath(&query, 0, nullptr), 0U);
    quor_platform::TlsSettings settings;
    settings.caFile = "";
    quor_platform::SetTlsSettings(settings);
    EXPECT_NE(Ask(&m_path), 0U);
    settings.caFile = std::string(1024, '/');
    quor_platform::SetTlsSettings(settings);
    EXPECT_NE(Ask(&m_path), 0U);
    EXPECT_EQ(m_path, "");
}

}  // namespace
}  // namespace quor_test
