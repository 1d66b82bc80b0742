// Which servers the HTTP side trusts: one certificate fault each, every one refused before anything secret is
// sent; and which files with trusted certificates it takes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "support/host_terminal.h"
#include "support/http_interpose.h"
#include "support/http_terminal_test.h"

namespace quor_test {
namespace {

using quor_platform::Stage;
using quor_simulator::Certificate;

constexpr unsigned int kTlsError = 120;
constexpr unsigned int kCertificateError = 6;
constexpr char kQueryEnd[] = "<HttpThreadExecute>: execute subId:10 failed.";

class HttpCertificates : public HttpTerminalTest {
protected:
    // No request of any kind gets as far as the server.
    void ExpectAllRefused(unsigned int code) {
        rest().ClearRequests();
        for (const Kind kind : kAllKinds) {
            ExpectTransportFailure(kind, code);
        }
        EXPECT_TRUE(rest().Requests().empty());
    }
    void ExpectAllAccepted() {
        for (const Kind kind : kAllKinds) {
            if (kind != Kind::kReportOwnToken && kind != Kind::kReportLoginToken) {
                ExpectSuccess(kind);
            }
        }
    }
    // In place, as an installer does it: nobody sees half a file.
    static void Replace(const std::string& file, const std::string& content) {
        TemporaryFolder::Write(file + ".new", content);
        std::filesystem::rename(file + ".new", file);
    }
};

struct BadCertificate {
    const char* name;
    Certificate certificate;
    long error;
};
class HttpBadCertificates : public HttpCertificates, public ::testing::WithParamInterface<BadCertificate> {};

TEST_P(HttpBadCertificates, AreRefusedByEveryRequest) {
    server().UseCertificate(GetParam().certificate);
    ASSERT_NO_FATAL_FAILURE(ExpectAllRefused(kTlsError));
    const auto failures = terminal().failures().All();
    ASSERT_EQ(failures.size(), 4U);  // two reports, the account query, the match report
    for (const quor_platform::Failure& failure : failures) {
        EXPECT_EQ(failure.stage, Stage::kTls) << failure.text;
        EXPECT_EQ(failure.certificateError, GetParam().error) << failure.text;
    }
    server().UseCertificate(Certificate::kGood);
    ExpectAllAccepted();
}

// A connection that was made while the certificate was good is not verified again.
TEST_P(HttpBadCertificates, AreRefusedByTheNextConnection) {
    ExpectSuccess(Kind::kParticipants);
    ExpectSuccess(Kind::kAccount);
    server().UseCertificate(GetParam().certificate);
    ExpectSuccess(Kind::kParticipants);
    ExpectSuccess(Kind::kAccount);
    server().Stop();
    server().Start();
    server().UseCertificate(GetParam().certificate);
    ExpectTransportFailure(Kind::kParticipants, kTlsError);
    ExpectTransportFailure(Kind::kAccount, kTlsError);
}

INSTANTIATE_TEST_SUITE_P(
    All, HttpBadCertificates,
    ::testing::Values(BadCertificate{"Expired", Certificate::kExpired, X509_V_ERR_CERT_HAS_EXPIRED},
                      BadCertificate{"NotYetValid", Certificate::kNotYetValid, X509_V_ERR_CERT_NOT_YET_VALID},
                      BadCertificate{"SelfSigned", Certificate::kSelfSigned,
                                     X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT},
                      BadCertificate{"WrongHost", Certificate::kWrongHost, X509_V_ERR_IP_ADDRESS_MISMATCH},
                      BadCertificate{"MissingIntermediate", Certificate::kIncomplete,
                                     X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY},
                      BadCertificate{"NamesOnly", Certificate::kNamesOnly, X509_V_ERR_IP_ADDRESS_MISMATCH}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(HttpCertificates, AServerOfAnUnknownAuthorityIsRefused) {
    const TemporaryFolder otherState;
    quor_simulator::Options options;
    options.stateDirectory = otherState.Path().string();
    quor_simulator::Simulator other(options);
    other.Start();
    HttpTerminal::Trust(other.caFile());
    ExpectAllRefused(kTlsError);
}

// While it lives, the process has no right to read what only root may.
class WithoutRoot {
public:
    WithoutRoot() : m_changed(geteuid() == 0 && seteuid(kNobody) == 0) {}
    ~WithoutRoot() {
        if (m_changed && seteuid(0) != 0) {
            ADD_FAILURE() << "root does not come back";
        }
    }
    WithoutRoot(const WithoutRoot&) = delete;
    WithoutRoot& operator=(const WithoutRoot&) = delete;

private:
    static constexpr uid_t kNobody = 65534;
    const bool m_changed;
};

// ---- Trusted certificates that are not there ----

enum class CaFault { kNoFile, kNoPath, kEmpty, kNoCertificate, kUnreadable };

std::string NameOf(CaFault fault) {
    switch (fault) {
        case CaFault::kNoFile:
            return "NoFile";
        case CaFault::kNoPath:
            return "NoPath";
        case CaFault::kEmpty:
            return "Empty";
        case CaFault::kNoCertificate:
            return "NoCertificate";
        case CaFault::kUnreadable:
            break;
    }
    return "Unreadable";
}

// The copy of a request's record that nobody frees when the transport is not asked.
std::vector<std::size_t> LossOf(Kind kind) {
    switch (IdOf(kind)) {
        case AI_SUB_ID_QUERY_SIGN_IN:
            return {464};
        case AI_SUB_ID_REPORT_SIGN_IN:
            return {5872};
        case AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN:
            return {16580};
        case AI_SUB_ID_REPORT_AV_MATCH:
            return {1016};
        default:
            return {};  // the task frees it
    }
}

class HttpUnusableCa : public HttpCertificates,
                       public ::testing::WithParamInterface<std::tuple<CaFault, Kind>> {
protected:
    static CaFault Fault() { return std::get<CaFault>(GetParam()); }
    static Kind RequestKind() { return std::get<Kind>(GetParam()); }

    // What the certificate service does not know never reaches the transport.
    static bool IsUnknown() { return Fault() == CaFault::kNoFile || Fault() == CaFault::kNoPath; }

    void Spoil() {
        const std::string file = terminal().folder().File("ca.pem");
        if (Fault() == CaFault::kUnreadable) {
            TemporaryFolder::Write(file, TemporaryFolder::Read(server().caFile()));
            ASSERT_EQ(chmod(terminal().folder().Path().c_str(), 0755), 0);
            ASSERT_EQ(chmod(file.c_str(), 0), 0);
        } else if (!IsUnknown()) {
            TemporaryFolder::Write(file, Fault() == CaFault::kEmpty ? "" : "no certificate in here\n");
        }
        HttpTerminal::Trust(Fault() == CaFault::kNoPath ? std::string() : file);
    }

    void ExpectNotAsked() {
        terminal().ClearLog();
        const Asked asked = Ask(RequestKind());
        if (RequestKind() == Kind::kParticipants) {
            ASSERT_TRUE(terminal().WaitForLog(kQueryEnd));
            EXPECT_EQ(terminal().LogCount("<aiCommonHttpSynSend> GetConfigParam error!"), 1U);
        } else {
            EXPECT_EQ(asked.result, 0xFFFFFFFFU);
            EXPECT_EQ(terminal().LogCount("<aiCommonHttpAsynSend> GetConfigParam error!"), 1U);
        }
        EXPECT_EQ(terminal().LogCount("QuorOmCertGetCertPath error 2"), 1U);
        ExpectSilence();
    }
};

TEST_P(HttpUnusableCa, RefusesEveryRequestAndGivesWayToAGoodOne) {
    ASSERT_NO_FATAL_FAILURE(Spoil());
    const std::vector<std::size_t> loss = IsUnknown() ? LossOf(RequestKind()) : std::vector<std::size_t>();
    {
        const LiveBlocks blocks;
        if (IsUnknown()) {
            ExpectNotAsked();
        } else {
            std::optional<WithoutRoot> withoutRoot;
            if (Fault() == CaFault::kUnreadable) {
                withoutRoot.emplace();
            }
            ExpectTransportFailure(RequestKind(), kCertificateError);
        }
        EXPECT_TRUE(Eventually([&] { return LiveBlocks::Sizes() == loss; }));
        LiveBlocks::GiveBack();
    }
    EXPECT_TRUE(rest().Requests().empty());
    HttpTerminal::Trust(server().caFile());
    ExpectSuccess(RequestKind());
}

INSTANTIATE_TEST_SUITE_P(Every, HttpUnusableCa,
                         ::testing::Combine(::testing::Values(CaFault::kNoFile, CaFault::kNoPath,
                                                              CaFault::kEmpty, CaFault::kNoCertificate,
                                                              CaFault::kUnreadable),
                                            ::testing::ValuesIn(kAllKinds)),
                         [](const auto& test) {
                             return NameOf(std::get<CaFault>(test.param)) + "_" +
                                    NameOf(std::get<Kind>(test.param));
                         });

// The name under which OpenSSL looks for a certificate in a folder.
std::string HashedName(const std::string& file) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> input(BIO_new_file(file.c_str(), "r"), &BIO_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509(input.get(), nullptr, nullptr, nullptr), &X509_free);
    char name[16];
    std::snprintf(name, sizeof name, "%08lx.0", X509_subject_name_hash(certificate.get()));
    return name;
}

TEST_F(HttpCertificates, AFolderOfHashedCertificatesIsTrustedAndAnEmptyOneRefuses) {
    quor_platform::TlsSettings settings;
    settings.caDirectory = terminal().folder().Path().string();
    quor_platform::SetTlsSettings(settings);
    ExpectAllRefused(kCertificateError);
    TemporaryFolder::Write(terminal().folder().File(HashedName(server().caFile())),
                           TemporaryFolder::Read(server().caFile()));
    ExpectAllAccepted();
}

// Also for connections that are kept: what is not trusted any more is not spoken to any more.
TEST_F(HttpCertificates, ACaFileThatIsReplacedCountsFromTheNextRequestOn) {
    const TemporaryFolder otherState;
    quor_simulator::Options options;
    options.stateDirectory = otherState.Path().string();
    quor_simulator::Simulator other(options);
    other.Start();
    const std::string right = TemporaryFolder::Read(server().caFile());
    const std::string wrong = TemporaryFolder::Read(other.caFile());
    const std::string file = terminal().folder().File("ca.pem");
    HttpTerminal::Trust(file);
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        Replace(file, wrong);
        ASSERT_NO_FATAL_FAILURE(ExpectAllRefused(kTlsError));
        Replace(file, right);
        ASSERT_NO_FATAL_FAILURE(ExpectAllAccepted());
    }
    // Written over instead of replaced.
    TemporaryFolder::Write(file, "");
    ExpectAllRefused(kCertificateError);
}

}  // namespace
}  // namespace quor_test
