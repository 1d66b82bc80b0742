#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "quor_platform/dns.h"
#include "tests/platform_linux/support/dns_server.h"
#include "tests/platform_linux/support/guarded_buffer.h"
#include "tests/platform_linux/support/threads.h"

namespace {

using quor_platform::LastFailure;
using quor_platform::Stage;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

// What the look-ups of platform_linux answer with; dns.h promises non-zero.
constexpr unsigned int kBadArgument = 1;
constexpr unsigned int kNoSuchName = 2;
constexpr unsigned int kNoRecord = 3;
constexpr unsigned int kNoAnswer = 4;

struct Addresses {
    unsigned int result = 0;
    unsigned int count = 0;
    std::vector<std::string> texts;
};

Addresses AddressesOf(const char* host, unsigned int capacity = 12) {
    std::vector<QuorNetbDnsAddress> table(capacity + 1);
    std::memset(table.data(), 'o', table.size() * sizeof table[0]);
    Addresses found;
    found.count = capacity;
    found.result = QUOR_NETB_DnsGetIpBySynResolveEx(host, 2, table.data(), &found.count, 1, 1);
    for (unsigned int i = 0; i < found.count; ++i) {
        char text[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &table[i].ipv4, text, sizeof text);
        found.texts.emplace_back(text);
        EXPECT_EQ(table[i].type, QUOR_NETB_DNS_ADDRESS_IPV4);
        EXPECT_EQ(table[i].reserved, 0U);
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(table[i].rest), sizeof table[i].rest),
                  std::string(sizeof table[i].rest, '\0'));
    }
    EXPECT_EQ(table[capacity].reserved, 0x6F6F6F6FU) << "written behind the table";
    return found;
}

struct Services {
    unsigned int result = 0;
    unsigned int count = 0;
    std::vector<std::string> texts;  // "target priority weight port address"
};

Services ServicesOf(const char* host, unsigned int capacity = 12) {
    std::vector<CloudDnsRecord> table(capacity + 1);
    std::memset(static_cast<void*>(table.data()), 'o', table.size() * sizeof table[0]);
    Services found;
    found.count = capacity;
    found.result = QUOR_NETB_DnsGetSrvBySynResolveEx("https", "tcp", host, table.data(), &found.count, 1, 1);
    for (unsigned int i = 0; i < found.count; ++i) {
        char text[INET_ADDRSTRLEN] = {};
        inet_ntop(AF_INET, &table[i].address.ipv4, text, sizeof text);
        found.texts.push_back(std::string(table[i].target) + " " + std::to_string(table[i].priority) + " " +
                              std::to_string(table[i].weight) + " " + std::to_string(table[i].port) + " " +
                              text);
        EXPECT_EQ(table[i].address.type, QUOR_NETB_DNS_ADDRESS_IPV4);
    }
    EXPECT_EQ(table[capacity].target[0], 'o') << "written behind the table";
    return found;
}

class Dns : public testing::Test {
protected:
    ~Dns() override { quor_platform::SetDnsSettings({}); }

    static void UseServers(const std::vector<std::string>& servers, int attemptMs = 50, int totalMs = 8000) {
        quor_platform::DnsSettings settings;
        settings.servers = servers;
        settings.attemptTimeout = std::chrono::milliseconds(attemptMs);
        settings.totalTimeout = std::chrono::milliseconds(totalMs);
        quor_platform::SetDnsSettings(settings);
    }
};

class DnsWithServer : public Dns {
protected:
    void SetUp() override {
        if (DnsServer::MayBeMissing()) {
            GTEST_SKIP() << "dnsmasq is not installed";
        }
        ASSERT_TRUE(m_server.Use());
    }

    DnsServer m_server{{"--host-record=a.test,192.0.2.1", "--host-record=three.test,192.0.2.1",
                        "--host-record=three.test,192.0.2.2", "--host-record=three.test,192.0.2.3",
                        "--host-record=six.test,2001:db8::1", "--cname=alias.test,a.test",
                        "--srv-host=_https._tcp.s.test,a.test,8443,20,0",
                        "--srv-host=_https._tcp.s.test,three.test,8444,10,5",
                        "--srv-host=_https._tcp.s.test,lost.test,8445,10,65535",
                        "--txt-record=text.test,text"}};
};

TEST_F(DnsWithServer, FindsTheAddressesOfAName) {
    EXPECT_THAT(AddressesOf("a.test").texts, UnorderedElementsAre("192.0.2.1"));
    EXPECT_THAT(AddressesOf("three.test").texts, UnorderedElementsAre("192.0.2.1", "192.0.2.2", "192.0.2.3"));
    EXPECT_THAT(AddressesOf("alias.test").texts, UnorderedElementsAre("192.0.2.1"));
    EXPECT_THAT(AddressesOf("A.TEST.").texts, UnorderedElementsAre("192.0.2.1"));
}

TEST_F(DnsWithServer, FillsNoMoreThanTheTable) {
    EXPECT_EQ(AddressesOf("three.test", 2).texts.size(), 2U);
    EXPECT_EQ(ServicesOf("s.test", 2).texts.size(), 2U);
}

TEST_F(DnsWithServer, ANameWithoutAddressesIsAFailure) {
    for (const char* name : {"six.test", "text.test"}) {
        const Addresses found = AddressesOf(name);
        EXPECT_EQ(found.result, kNoRecord) << name;
        EXPECT_EQ(found.count, 0U);
        EXPECT_EQ(LastFailure().stage, Stage::kResolve);
        EXPECT_THAT(LastFailure().text, HasSubstr(name));
    }
    const Addresses found = AddressesOf("nobody.test");
    EXPECT_EQ(found.result, kNoSuchName);
    EXPECT_EQ(found.count, 0U);
}

TEST_F(DnsWithServer, FindsServicesWithTheirTargetsAddresses) {
    const Services found = ServicesOf("s.test");
    EXPECT_EQ(found.result, 0U);
    ASSERT_EQ(found.texts.size(), 3U);
    EXPECT_THAT(found.texts, testing::Contains("a.test 20 0 8443 192.0.2.1"));
    EXPECT_THAT(found.texts, testing::Contains(testing::StartsWith("three.test 10 5 8444 192.0.2.")));
    EXPECT_THAT(found.texts, testing::Contains("lost.test 10 65535 8445 0.0.0.0"));
}

TEST_F(DnsWithServer, ANameWithoutServicesIsAFailure) {
    for (const char* name : {"a.test", "nobody.test"}) {
        const Services found = ServicesOf(name);
        EXPECT_NE(found.result, 0U) << name;
        EXPECT_EQ(found.count, 0U);
        EXPECT_EQ(LastFailure().stage, Stage::kResolve);
    }
    EXPECT_NE(AddressesOf("s.test").result, 0U) << "services only";
}

TEST_F(DnsWithServer, AServerThatIsSilentGivesWayToTheNext) {
    const SilentDnsPort silent;
    constexpr int kAttemptMs = 1000;  // enough for the second one to answer
    UseServers({silent.Server(), m_server.Server()}, kAttemptMs);
    EXPECT_THAT(AddressesOf("a.test").texts, UnorderedElementsAre("192.0.2.1"));
    UseServers({SilentDnsPort().Server(), m_server.Server()}, kAttemptMs);  // nobody listens there: refused
    EXPECT_THAT(AddressesOf("a.test").texts, UnorderedElementsAre("192.0.2.1"));
}

TEST_F(DnsWithServer, AnswersManyThreads) {
    RunInThreads(8, [](int) {
        for (int i = 0; i < 10; ++i) {
            EXPECT_EQ(AddressesOf("three.test").count, 3U);
            EXPECT_EQ(ServicesOf("s.test").count, 3U);
        }
    });
}

TEST_F(Dns, ALiteralAddressStandsForItself) {
    UseServers({SilentDnsPort().Server()});
    const Addresses found = AddressesOf("192.0.2.77");
    EXPECT_EQ(found.result, 0U);
    EXPECT_THAT(found.texts, UnorderedElementsAre("192.0.2.77"));
    EXPECT_EQ(AddressesOf("2001:db8::1").result, kNoRecord) << "it has no IPv4 address";
}

TEST_F(Dns, SilentServersEndWithinTheTime) {
    const SilentDnsPort silent;
    UseServers({silent.Server()}, 20);
    const Addresses found = AddressesOf("a.test");
    EXPECT_EQ(found.result, kNoAnswer);
    EXPECT_EQ(found.count, 0U);
    EXPECT_THAT(LastFailure().text, HasSubstr("no DNS server answered in time"));
    EXPECT_EQ(ServicesOf("a.test").result, kNoAnswer);
    // The whole look-up has its own bound.
    UseServers({silent.Server()}, 500'000, 50);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(AddressesOf("a.test").result, kNoAnswer);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

TEST_F(Dns, BadNamesAreRefused) {
    UseServers({SilentDnsPort().Server()});
    EXPECT_EQ(AddressesOf("").result, kBadArgument);
    EXPECT_EQ(AddressesOf("a b.test").result, kBadArgument);
    EXPECT_EQ(AddressesOf("a\n.test").result, kBadArgument);
    EXPECT_EQ(AddressesOf(std::string(254, 'a').c_str()).result, kBadArgument);
    EXPECT_NE(AddressesOf((std::string(64, 'a') + ".test").c_str()).result, 0U)
        << "a label has 63 characters";
    EXPECT_EQ(ServicesOf("").result, kBadArgument);
    EXPECT_EQ(ServicesOf(std::string(250, 'a').c_str()).result, kBadArgument);
    GuardedBuffer memory(256);  // not terminated within any name's length
    EXPECT_EQ(AddressesOf(memory.Place(std::string(256, 'a'))).result, kBadArgument);
}

TEST_F(Dns, NullsAreRefused) {
    QuorNetbDnsAddress address{};
    CloudDnsRecord record{};
    unsigned int count = 1;
    EXPECT_EQ(QUOR_NETB_DnsGetIpBySynResolveEx(nullptr, 2, &address, &count, 1, 1), kBadArgument);
    EXPECT_EQ(count, 0U);
    count = 1;
    EXPECT_EQ(QUOR_NETB_DnsGetIpBySynResolveEx("192.0.2.1", 2, nullptr, &count, 1, 1), kBadArgument);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(QUOR_NETB_DnsGetIpBySynResolveEx("192.0.2.1", 2, &address, nullptr, 1, 1), kBadArgument);
    EXPECT_EQ(QUOR_NETB_DnsGetIpBySynResolveEx("192.0.2.1", 2, &address, &count, 1, 1), kBadArgument)
        << "room for 0";
    for (const int missing : {0, 1, 2, 3}) {
        count = 1;
        EXPECT_EQ(QUOR_NETB_DnsGetSrvBySynResolveEx(
                      missing == 0 ? nullptr : "https", missing == 1 ? nullptr : "tcp",
                      missing == 2 ? nullptr : "a.test", missing == 3 ? nullptr : &record, &count, 1, 1),
                  kBadArgument);
        EXPECT_EQ(count, 0U);
    }
    EXPECT_EQ(QUOR_NETB_DnsGetSrvBySynResolveEx("https", "tcp", "a.test", &record, nullptr, 1, 1),
              kBadArgument);
}

TEST_F(Dns, AServerThatIsNoAddressFailsEveryLookUp) {
    UseServers({"dns.example"});
    EXPECT_EQ(AddressesOf("a.test").result, kBadArgument);
    EXPECT_EQ(LastFailure().stage, Stage::kResolve);
}

TEST_F(Dns, SettingsWithoutSenseCountAsTheDefault) {
    quor_platform::DnsSettings settings;
    settings.attemptTimeout = std::chrono::milliseconds(0);
    settings.totalTimeout = std::chrono::hours(5);
    settings.attempts = 0;
    quor_platform::SetDnsSettings(settings);
    const quor_platform::DnsSettings usual;
    EXPECT_EQ(quor_platform::GetDnsSettings().attemptTimeout, usual.attemptTimeout);
    EXPECT_EQ(quor_platform::GetDnsSettings().totalTimeout, usual.totalTimeout);
    EXPECT_EQ(quor_platform::GetDnsSettings().attempts, usual.attempts);
}

}  // namespace
