// Every request by IPv4 address, by IPv6 address and by name, the name looked up at a real DNS server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/http_terminal_test.h"
#include "tests/platform_linux/support/dns_server.h"

namespace quor_test {
namespace {

using quor_simulator::Certificate;

constexpr char kTarget[] = "target.quor.test";
constexpr char kFarTarget[] = "far.quor.test";
constexpr char kUnknownName[] = "unknown.quor.test";
// Nobody listens there: who takes the wrong service record is refused.
constexpr char kFarHost[] = "127.0.0.9";
constexpr unsigned int kResolveError = 101;
constexpr unsigned int kInvalidRequest = 1;
constexpr unsigned int kFailed = 0xFFFFFFFFU;

std::string Host(const std::string& name, const std::string& address) {
    return "--host-record=" + name + "," + address;
}

// The port belongs to the record that a service look-up gives; nobody uses it.
std::string Service(const std::string& target, unsigned int priority) {
    return std::string("--srv-host=_https._tcp.") + kServiceName + "," + target + ",443," +
           std::to_string(priority) + ",1";
}

std::vector<std::string> Records() {
    return {Host(kAddressName, kIpv4Host), Host(kTarget, kIpv4Host), Host(kFarTarget, kFarHost),
            Host(kIpv6Name, kIpv6Host),    Service(kFarTarget, 20),  Service(kTarget, 10)};
}

class HttpAddresses : public HttpTerminalTest, public ::testing::WithParamInterface<Kind> {};
class HttpNames : public HttpAddresses {
protected:
    void SetUp() override {
        if (DnsServer::MayBeMissing()) {
            GTEST_SKIP() << "dnsmasq is not installed";
        }
        m_dns = std::make_unique<DnsServer>(Records());
        HttpAddresses::SetUp();
        // Only the name will do: no address stands in this certificate.
        server().UseCertificate(Certificate::kNamesOnly);
        ASSERT_TRUE(m_dns->Use());
    }
    const DnsServer& dns() const { return *m_dns; }

    void ExpectHostHeader(Kind kind, const std::string& host) {
        for (const quor_simulator::RestRequest& request : rest().Requests()) {
            EXPECT_EQ(request.endpoint, EndpointOf(kind));
            EXPECT_THAT(request.headers, ::testing::Contains(::testing::Pair(
                                             "Host", host + ":" + std::to_string(server().port()))));
        }
    }

private:
    std::unique_ptr<DnsServer> m_dns;
};
using HttpAddressesOfAll = HttpAddresses;
using HttpAddressesOfResolving = HttpAddresses;
using HttpAddressesOfPlain = HttpAddresses;
using HttpNamesOfAll = HttpNames;
using HttpNamesOfResolving = HttpNames;
using HttpNamesOfPlain = HttpNames;

std::string KindName(const ::testing::TestParamInfo<Kind>& test) {
    return NameOf(test.param);
}

TEST_P(HttpAddressesOfAll, AnIpv4AddressIsAskedAsItStands) {
    server().UseCertificate(Certificate::kAddressesOnly);
    ExpectSuccess(GetParam());
    EXPECT_EQ(Requests(GetParam()), 1U);
}

TEST_P(HttpAddressesOfResolving, AnIpv6AddressIsAskedAsItStands) {
    server().UseCertificate(Certificate::kAddressesOnly);
    ExpectSuccess(GetParam(), kIpv6Host);
    EXPECT_EQ(Requests(GetParam()), 1U);
}

// Deliberate: these requests write the address into the URL as it stands, without the brackets of IPv6.
TEST_P(HttpAddressesOfPlain, AnIpv6AddressMakesNoUrl) {
    ExpectTransportFailure(GetParam(), kInvalidRequest, kIpv6Host);
    EXPECT_EQ(Ask(GetParam(), kIpv6Host).result, kInvalidRequest);
    EXPECT_EQ(Requests(GetParam()), 0U);
}

TEST_P(HttpNamesOfAll, ANameWithAnAddressIsFound) {
    ExpectSuccess(GetParam(), kAddressName);
    EXPECT_EQ(dns().Queries("A", kAddressName), 1U);
    EXPECT_EQ(dns().Queries("SRV", std::string("_https._tcp.") + kAddressName), 0U);
    ExpectHostHeader(GetParam(), kAddressName);
}

TEST_P(HttpNamesOfResolving, ANameGivesWayToItsAddressInTheRecord) {
    const Asked asked = Ask(GetParam(), kAddressName);
    ASSERT_TRUE(observer().WaitFor(asked.id, 1));
    // The participant query goes through the queue as a copy, and the copy is what changes.
    EXPECT_EQ(asked.serverAddr, GetParam() == Kind::kParticipants ? kAddressName : kIpv4Host);
}

// The target of lower priority is not there; the certificate names the service and not its targets.
TEST_P(HttpNamesOfResolving, ANameWithAServiceRecordOnlyIsFound) {
    const Asked asked = Ask(GetParam(), kServiceName);
    EXPECT_EQ(asked.result, 0U);
    ASSERT_TRUE(observer().WaitFor(asked.id, 1)) << ::testing::PrintToString(terminal().Errors());
    ExpectNotified(asked.id, {asked.success});
    EXPECT_THAT(terminal().Errors(),
                ::testing::ElementsAre(::testing::StartsWith("dns fail, type:2, uiRet = ")));
    EXPECT_EQ(dns().Queries("A", kServiceName), 1U);
    EXPECT_EQ(dns().Queries("SRV", std::string("_https._tcp.") + kServiceName), 1U);
    ExpectHostHeader(GetParam(), kServiceName);
}

TEST_P(HttpNamesOfPlain, ANameWithAServiceRecordOnlyIsNotFound) {
    ExpectTransportFailure(GetParam(), kResolveError, kServiceName);
    EXPECT_EQ(dns().Queries("SRV", std::string("_https._tcp.") + kServiceName), 0U);
    EXPECT_EQ(Requests(GetParam()), 0U);
}

TEST_P(HttpNamesOfPlain, ANameWithAnIpv6AddressOnlyIsFound) {
    ExpectSuccess(GetParam(), kIpv6Name);
    ExpectHostHeader(GetParam(), kIpv6Name);
}

TEST_P(HttpNamesOfResolving, ANameWithNeitherFailsBeforeTheRequest) {
    const Asked asked = Ask(GetParam(), kUnknownName);
    if (GetParam() == Kind::kParticipants) {
        EXPECT_EQ(asked.result, 0U);
        ASSERT_TRUE(terminal().WaitForLog("<HttpThreadExecute>: execute subId:10 failed."));
    } else {
        EXPECT_EQ(asked.result, kFailed);
    }
    EXPECT_EQ(asked.serverAddr, kUnknownName);
    EXPECT_EQ(terminal().LogCount("<GetAddressType> GetIPStrByServerUrl fail"), 1U);
    EXPECT_EQ(dns().Queries("A", kUnknownName), 1U);
    EXPECT_EQ(dns().Queries("SRV", std::string("_https._tcp.") + kUnknownName), 1U);
    EXPECT_EQ(Requests(GetParam()), 0U);
    ExpectSilence();
}

TEST_P(HttpNamesOfPlain, ANameWithNeitherFails) {
    ExpectTransportFailure(GetParam(), kResolveError, kUnknownName);
    EXPECT_EQ(Requests(GetParam()), 0U);
}

// An address that was not looked up must stand in the certificate itself.
TEST_P(HttpNamesOfAll, AnAddressIsNotTakenForTheNameThatItWasNotGivenFor) {
    constexpr unsigned int kTlsError = 120;
    ExpectTransportFailure(GetParam(), kTlsError, kIpv4Host);
    EXPECT_EQ(Requests(GetParam()), 0U);
}

TEST_P(HttpNamesOfAll, ANameThatTheCertificateLacksIsRefused) {
    constexpr unsigned int kTlsError = 120;
    ExpectTransportFailure(GetParam(), kTlsError, kTarget);
    EXPECT_EQ(Requests(GetParam()), 0U);
}

INSTANTIATE_TEST_SUITE_P(Every, HttpAddressesOfAll, ::testing::ValuesIn(kAllKinds), KindName);
INSTANTIATE_TEST_SUITE_P(Every, HttpAddressesOfResolving, ::testing::ValuesIn(kResolvingKinds), KindName);
INSTANTIATE_TEST_SUITE_P(Every, HttpAddressesOfPlain, ::testing::ValuesIn(kPlainKinds), KindName);
INSTANTIATE_TEST_SUITE_P(Every, HttpNamesOfAll, ::testing::ValuesIn(kAllKinds), KindName);
INSTANTIATE_TEST_SUITE_P(Every, HttpNamesOfResolving, ::testing::ValuesIn(kResolvingKinds), KindName);
INSTANTIATE_TEST_SUITE_P(Every, HttpNamesOfPlain, ::testing::ValuesIn(kPlainKinds), KindName);

}  // namespace
}  // namespace quor_test
