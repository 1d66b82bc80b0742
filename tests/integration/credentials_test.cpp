// How a terminal enters a server, and how it learns why it may not.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/terminal_test.h"

namespace quor_test {
namespace {

using quor_platform::Failure;
using quor_platform::Stage;

// base64 of "terminal:quor-demo" and of "terminal:wrong".
constexpr char kGoodCode[] = "dGVybWluYWw6cXVvci1kZW1v";
constexpr char kWrongCode[] = "dGVybWluYWw6d3Jvbmc=";

class CredentialsTest : public TerminalTest {
protected:
    // Refused at once, with a reason and without an event.
    Failure ExpectRefused(const TagQuorAiKelLoginInfo& login) {
        EXPECT_EQ(terminal().Create(login), 1U);
        Failure failure = quor_platform::LastFailure();
        EXPECT_EQ(terminal().linkEvents().Count(), 0U);
        EXPECT_FALSE(failure.text.empty());
        return failure;
    }
};

TEST_F(CredentialsTest, APasswordSealedByTheKeyServiceOpensTheLink) {
    EXPECT_TRUE(terminal().Open(Login()));
    EXPECT_TRUE(server().WaitForLinkCount(1, kPatience));
    EXPECT_EQ(server().GetStatistics().upgrades401, 0U);
}

TEST_F(CredentialsTest, APasswordSealedForTheSecondDomainOpensTheLinkToo) {
    TagQuorAiKelLoginInfo login = Login();
    SetText(login.kelPassWord, quor_platform::SealSecret("QuorUILogin", "quor-demo"));
    EXPECT_TRUE(terminal().Open(login));
}

TEST_F(CredentialsTest, ReadyMadeCredentialsNeedNeitherNameNorPassword) {
    TagQuorAiKelLoginInfo login = Login();
    SetText(login.userName, "");
    SetText(login.kelPassWord, "");
    SetText(login.wsCode, kGoodCode);
    EXPECT_TRUE(terminal().Open(login));
}

TEST_F(CredentialsTest, AWrongPasswordIsRefusedWithStatus401) {
    const Failure failure = ExpectRefused(terminal().Login(server().port(), "terminal", "wrong"));
    EXPECT_EQ(failure.stage, Stage::kUpgrade);
    EXPECT_EQ(failure.httpStatus, 401);
    EXPECT_EQ(server().GetStatistics().upgrades401, 1U);
}

TEST_F(CredentialsTest, WrongReadyMadeCredentialsAreRefusedWithStatus401) {
    TagQuorAiKelLoginInfo login = Login();
    SetText(login.wsCode, kWrongCode);
    EXPECT_EQ(ExpectRefused(login).httpStatus, 401);
}

TEST_F(CredentialsTest, APasswordThatCannotBeOpenedNeverReachesTheServer) {
    TagQuorAiKelLoginInfo login = Login();
    SetText(login.kelPassWord, quor_platform::SealSecret("another domain", "quor-demo"));
    EXPECT_EQ(ExpectRefused(login).stage, Stage::kKey);
    login = Login();
    quor_platform::SetKeyFile(terminal().folder().File("no such key"));
    EXPECT_EQ(ExpectRefused(login).stage, Stage::kKey);
    const auto statistics = server().GetStatistics();
    EXPECT_EQ(statistics.linksAccepted + statistics.linksRefused, 0U);
}

TEST_F(CredentialsTest, AServerThatRefusesTheUpgradeIsQuotedWithItsStatus) {
    server().RefuseUpgrades(503, 1);
    const Failure failure = ExpectRefused(Login());
    EXPECT_EQ(failure.stage, Stage::kUpgrade);
    EXPECT_EQ(failure.httpStatus, 503);
    EXPECT_TRUE(terminal().Open(Login())) << "one upgrade was to be refused, no more";
}

TEST_F(CredentialsTest, AnErrorFrameInsteadOfConnectedIsARefusalWithItsReason) {
    server().RefuseConnect("licence expired", 1);
    const Failure failure = ExpectRefused(Login());
    EXPECT_EQ(failure.stage, Stage::kStomp);
    EXPECT_NE(failure.text.find("licence expired"), std::string::npos) << failure.text;
    EXPECT_TRUE(terminal().Open(Login()));
}

TEST_F(CredentialsTest, NobodyListening) {
    const TagQuorAiKelLoginInfo login = Login();
    server().Stop();
    const Failure failure = ExpectRefused(login);
    EXPECT_EQ(failure.stage, Stage::kConnect);
    EXPECT_NE(failure.systemError, 0);
}

TEST_F(CredentialsTest, AManagerLinkNeedsNoCredentialsAndIsAnnouncedWithZero) {
    StartTerminal(Delivery::kSerialised);
    ASSERT_NO_FATAL_FAILURE(OpenManagerLink());
    EXPECT_EQ(observer().Records<unsigned int>(AI_SUB_ID_WS_CONNECTED), std::vector<unsigned int>{0});
    EXPECT_EQ(terminal().linkEvents().All()[0].linkType, kKelLinkTypeManager);
    const std::vector<quor_simulator::LinkInfo> links = server().Links();
    ASSERT_EQ(links.size(), 1U);
    EXPECT_TRUE(links[0].manager);
}

TEST_F(CredentialsTest, AServerWithoutManagementRefusesAManagerLink) {
    quor_simulator::Options options;
    options.allowManagerLinks = false;
    StartServer(options);
    EXPECT_EQ(ExpectRefused(HostTerminal::ManagerLogin(server().port())).httpStatus, 401);
}

TEST_F(CredentialsTest, NoSecretIsLogged) {
    ASSERT_TRUE(terminal().Open(Login()));
    ASSERT_EQ(terminal().Destroy(), 0U);
    EXPECT_EQ(terminal().Create(terminal().Login(server().port(), "terminal", "wrong")), 1U);
    const std::string sealed = Login().kelPassWord;
    for (const LogLine& line : terminal().log().All()) {
        for (const std::string& secret :
             {std::string("quor-demo"), std::string(kGoodCode), std::string(kWrongCode), sealed}) {
            EXPECT_EQ(line.text.find(secret), std::string::npos) << line.text;
        }
    }
}

}  // namespace
}  // namespace quor_test
