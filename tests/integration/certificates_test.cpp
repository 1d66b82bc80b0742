// Which servers a terminal trusts: one certificate fault each, every one refused before anything secret is
// sent.
#include <gtest/gtest.h>
#include <openssl/x509_vfy.h>

#include <string>

#include "support/terminal_test.h"

namespace quor_test {
namespace {

using quor_platform::Failure;
using quor_platform::Stage;
using quor_simulator::Certificate;

class CertificatesTest : public TerminalTest {
protected:
    Failure ExpectRefused(Stage stage, const char* host = "127.0.0.1") {
        TagQuorAiKelLoginInfo login = Login();
        SetText(login.serverAddr, host);
        EXPECT_EQ(terminal().Create(login), 1U);
        Failure failure = quor_platform::LastFailure();
        EXPECT_EQ(failure.stage, stage) << failure.text;
        EXPECT_EQ(terminal().linkEvents().Count(), 0U);
        const auto statistics = server().GetStatistics();
        EXPECT_EQ(statistics.linksAccepted, 0U) << "the server was spoken to";
        EXPECT_EQ(statistics.upgrades401, 0U) << "the server was spoken to";
        return failure;
    }
};

TEST_F(CertificatesTest, AGoodCertificateIsAcceptedByAddressAndByName) {
    for (const char* host : {"127.0.0.1", "localhost"}) {
        TagQuorAiKelLoginInfo login = Login();
        SetText(login.serverAddr, host);
        ASSERT_TRUE(terminal().Open(login)) << host << ": " << quor_platform::LastFailure().text;
        ASSERT_EQ(terminal().Destroy(), 0U);
    }
}

TEST_F(CertificatesTest, ACertificateOfAnotherHostIsRefused) {
    server().UseCertificate(Certificate::kWrongHost);
    EXPECT_EQ(ExpectRefused(Stage::kTls, "localhost").certificateError, X509_V_ERR_HOSTNAME_MISMATCH);
    EXPECT_EQ(ExpectRefused(Stage::kTls, "127.0.0.1").certificateError, X509_V_ERR_IP_ADDRESS_MISMATCH);
}

TEST_F(CertificatesTest, AnExpiredCertificateIsRefused) {
    server().UseCertificate(Certificate::kExpired);
    EXPECT_EQ(ExpectRefused(Stage::kTls).certificateError, X509_V_ERR_CERT_HAS_EXPIRED);
}

TEST_F(CertificatesTest, ACertificateOfTomorrowIsRefused) {
    server().UseCertificate(Certificate::kNotYetValid);
    EXPECT_EQ(ExpectRefused(Stage::kTls).certificateError, X509_V_ERR_CERT_NOT_YET_VALID);
}

TEST_F(CertificatesTest, ASelfSignedCertificateIsRefused) {
    server().UseCertificate(Certificate::kSelfSigned);
    EXPECT_EQ(ExpectRefused(Stage::kTls).certificateError, X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT);
}

TEST_F(CertificatesTest, ACertificateOfAnUnknownAuthorityIsRefused) {
    const TemporaryFolder otherState;
    quor_simulator::Options options;
    options.stateDirectory = otherState.Path().string();
    quor_simulator::Simulator other(options);
    other.Start();
    terminal().Trust(other.caFile());
    EXPECT_NE(ExpectRefused(Stage::kTls).certificateError, X509_V_OK);
}

TEST_F(CertificatesTest, AMissingCaFileRefusesBeforeConnecting) {
    terminal().Trust(terminal().folder().File("no such file"));
    EXPECT_NE(ExpectRefused(Stage::kSettings).systemError, 0);
    EXPECT_EQ(server().GetStatistics().linksRefused, 0U);
}

TEST_F(CertificatesTest, AnEmptyCaFileOrNoneRefusesBeforeConnecting) {
    const std::string empty = terminal().folder().File("empty.pem");
    TemporaryFolder::Write(empty, "");
    terminal().Trust(empty);
    ExpectRefused(Stage::kSettings);
    terminal().Trust("");
    ExpectRefused(Stage::kSettings);
    TemporaryFolder::Write(empty, "no certificate in here\n");
    terminal().Trust(empty);
    ExpectRefused(Stage::kSettings);
    EXPECT_EQ(server().GetStatistics().linksRefused, 0U);
}

TEST_F(CertificatesTest, ACaFileThatIsReplacedCountsFromTheNextLinkOn) {
    const std::string file = terminal().folder().File("ca.pem");
    TemporaryFolder::Write(file, "");
    terminal().Trust(file);
    ExpectRefused(Stage::kSettings);
    TemporaryFolder::Write(file, TemporaryFolder::Read(server().caFile()));
    EXPECT_TRUE(terminal().Open(Login()));
}

TEST_F(CertificatesTest, ALinkMadeWithAGoodCertificateIsRebuiltOnlyWithAGoodOne) {
    ASSERT_TRUE(terminal().Open(Login()));
    server().UseCertificate(Certificate::kExpired);
    server().DropLinks();
    ASSERT_TRUE(terminal().closeNotices().WaitFor(1));
    ASSERT_EQ(terminal().Destroy(), 0U);
    EXPECT_EQ(terminal().Create(Login()), 1U);
    EXPECT_EQ(quor_platform::LastFailure().certificateError, X509_V_ERR_CERT_HAS_EXPIRED);
    server().UseCertificate(Certificate::kGood);
    EXPECT_TRUE(terminal().Open(Login()));
}

}  // namespace
}  // namespace quor_test
