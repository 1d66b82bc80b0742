// From a host name to one IPv4 address.
#include "utility/dns_selection.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "support/http_test.h"

namespace QuorTest {
namespace {

using namespace QuorAiEngine;  // NOLINT(google-build-namespaces): everything under test stands there

constexpr unsigned kFailed = 0xFFFFFFFFU;

class DnsSelectionTest : public HttpTest {
protected:
    DnsSelectionTest() { Fake().SetFailResult(Fn::Random, 7); }

    // The targets in order.
    static std::string Order(const std::vector<CloudDnsRecord>& records) {
        std::string order;
        for (const CloudDnsRecord& record : records) {
            order += record.target;
        }
        return order;
    }
    static unsigned Count(const std::vector<CloudDnsRecord>& records) {
        return static_cast<unsigned>(records.size());
    }

    unsigned Resolve(unsigned type) {
        m_count = kDnsTableCapacity;
        return CloudDnsResolve("host.example.org", type, m_table, m_count);
    }

    unsigned IpOf(const char* host) {
        Put(m_ip, "before");
        return GetIPStrByServerUrl(host, m_ip);
    }

    CloudDnsRecord m_table[kDnsTableCapacity] = {};
    unsigned m_count = 0;
    char m_ip[kIpTextCapacity] = {};
};

// ---- Address text ----

TEST_F(DnsSelectionTest, AddressesAreFormattedFromNetworkOrder) {
    char text[16] = {};
    CloudRightAddrToStr(Ipv4("255.254.253.252").ipv4, text);
    EXPECT_STREQ(text, "255.254.253.252");
    CloudRightAddrToStr(htonl(0x01020304), text);
    EXPECT_STREQ(text, "1.2.3.4");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(DnsSelectionTest, BothFailuresOfTheAddressTextHaveTheTextOfTheStringCopyAndChangeNothing) {
    char text[16] = "before";
    Fake().FailCall(Fn::MemcpyS, 1);
    CloudRightAddrToStr(1, text);
    EXPECT_THAT(Logs(), ElementsAre(UE("<CloudRightAddrToStr> strcpy_s failed")));
    Fake().FailCall(Fn::StrcpyS, 1);
    CloudRightAddrToStr(1, text);
    EXPECT_EQ(Logs().size(), 2U);
    EXPECT_EQ(Logs()[1], UE("<CloudRightAddrToStr> strcpy_s failed"));
    EXPECT_STREQ(text, "before");
}

// ---- Order ----

TEST_F(DnsSelectionTest, SwappingARecordWithItselfChangesNothing) {
    CloudDnsRecord a = Service("a", 1, 2, "10.0.0.1", 3);
    CloudDnsRecord b = Service("b", 4, 5, "10.0.0.2", 6);
    const CloudDnsRecord wasA = a;
    const CloudDnsRecord wasB = b;
    CloudDnsSwapRecord(a, a);
    EXPECT_EQ(std::memcmp(&a, &wasA, sizeof(a)), 0);
    CloudDnsSwapRecord(a, b);
    EXPECT_EQ(std::memcmp(&a, &wasB, sizeof(a)), 0);
    EXPECT_EQ(std::memcmp(&b, &wasA, sizeof(b)), 0);
}

TEST_F(DnsSelectionTest, SortingByPriorityKeepsTheOrderOfEquals) {
    std::vector<CloudDnsRecord> records = {
        Service("a", 20, 0, ""), Service("b", 10, 0, ""),    Service("c", 20, 0, ""), Service("d", 10, 0, ""),
        Service("e", 0, 0, ""),  Service("f", 65535, 0, ""), Service("g", 10, 0, "")};
    CloudDnsSortByPriority(records.data(), Count(records));
    EXPECT_EQ(Order(records), "ebdgacf");
    CloudDnsSortByPriority(records.data(), 0);
    CloudDnsSortByPriority(records.data(), 1);
    EXPECT_EQ(Order(records), "ebdgacf");
}

// r + 1 <= running sum: weights 1, 2, 3 take the remainders 0; 1, 2; 3, 4, 5 of 6.
TEST_F(DnsSelectionTest, TheChosenRecordIsSwappedToTheFront) {
    const std::map<unsigned, std::string> orders = {{0, "abc"}, {1, "bac"}, {2, "bac"}, {3, "cba"},
                                                    {4, "cba"}, {5, "cba"}, {6, "abc"}, {0xFFFFFFFF, "cba"}};
    for (const auto& [random, order] : orders) {
        std::vector<CloudDnsRecord> records = {Service("a", 0, 1, ""), Service("b", 0, 2, ""),
                                               Service("c", 0, 3, "")};
        Network().randoms = {random};
        CloudDNSSlectFirst(records.data(), 3);
        EXPECT_EQ(Order(records), order) << random;
    }
    EXPECT_THAT(Network().randomLengths, ::testing::Each(4U));
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(DnsSelectionTest, WithoutWeightsNothingIsDrawn) {
    std::vector<CloudDnsRecord> records = {Service("a", 0, 0, ""), Service("b", 0, 0, "")};
    CloudDNSSlectFirst(records.data(), 2);
    CloudDNSSlectFirst(records.data(), 0);
    EXPECT_EQ(Fake().CountOf(Fn::Random), 0U);
}

TEST_F(DnsSelectionTest, WithoutARandomNumberTheOrderStays) {
    std::vector<CloudDnsRecord> records = {Service("a", 0, 1, ""), Service("b", 0, 1, "")};
    Fake().FailCall(Fn::Random, 1);
    CloudDNSSlectFirst(records.data(), 2);
    EXPECT_EQ(Order(records), "ab");
    EXPECT_THAT(Logs(), ElementsAre(US("[CloudDNSSlectFirst]get random number is fail")));
}

TEST_F(DnsSelectionTest, AGroupIsOrderedByRepeatedChoiceOfTheNext) {
    std::vector<CloudDnsRecord> records = {Service("a", 0, 1, ""), Service("b", 0, 1, ""),
                                           Service("c", 0, 1, "")};
    Network().randoms = {2, 1};
    CloudDnsOrderGroup(records.data(), 3);
    EXPECT_EQ(Order(records), "cab") << "c comes first, then the second of b and a";
    EXPECT_EQ(Fake().CountOf(Fn::Random), 2U) << "the last one needs no choice";
}

TEST_F(DnsSelectionTest, AGroupGoesOnAfterAFailedRandomNumber) {
    std::vector<CloudDnsRecord> records = {Service("a", 0, 1, ""), Service("b", 0, 1, ""),
                                           Service("c", 0, 1, "")};
    Network().randoms = {1};
    Fake().FailCall(Fn::Random, 1);
    CloudDnsOrderGroup(records.data(), 3);
    EXPECT_EQ(Order(records), "acb");
    Fake().ClearRecords();
    Fake().FailCall(Fn::Random, 1, FailMode::kFromThenOn);
    CloudDnsOrderGroup(records.data(), 3);
    EXPECT_EQ(Order(records), "acb");
    EXPECT_THAT(Logs(), ElementsAre(US("[CloudDNSSlectFirst]get random number is fail"),
                                    US("[CloudDNSSlectFirst]get random number is fail")));
}

TEST_F(DnsSelectionTest, AWeightOfZeroBecomesOneAndRunsOfEqualPriorityAreOrderedApart) {
    std::vector<CloudDnsRecord> records = {Service("a", 1, 0, ""), Service("b", 1, 5, ""),
                                           Service("c", 2, 0, ""), Service("d", 3, 0, ""),
                                           Service("e", 3, 0, "")};
    Network().randoms = {1, 1};  // one for each run of two
    CloudDnsOrderByWeight(records.data(), Count(records));
    EXPECT_EQ(Order(records), "baced");
    EXPECT_EQ(records[1].weight, 1U);
    EXPECT_EQ(records[0].weight, 5U);
    EXPECT_EQ(records[2].weight, 1U);
    EXPECT_EQ(Fake().CountOf(Fn::Random), 2U) << "a run of one needs no choice";
}

TEST_F(DnsSelectionTest, OfThreeUnweightedRecordsEachIsFirstForAThirdOfTheNumbers) {
    std::map<std::string, int> first;
    for (unsigned random = 0; random < 300; ++random) {
        std::vector<CloudDnsRecord> records = {Service("a", 0, 0, ""), Service("b", 0, 0, ""),
                                               Service("c", 0, 0, "")};
        Network().randoms = {random};
        CloudDnsOrderByWeight(records.data(), 3);
        ++first[records[0].target];
    }
    EXPECT_EQ(first, (std::map<std::string, int>{{"a", 100}, {"b", 100}, {"c", 100}}));
}

// ---- Resolution ----

TEST_F(DnsSelectionTest, AnAddressQuery) {
    Network().addresses = {Ipv4("10.0.0.1"), Ipv4("10.0.0.2")};
    Network().randoms = {1};
    EXPECT_EQ(Resolve(2), 0U);
    EXPECT_EQ(m_count, 2U);
    EXPECT_EQ(m_table[0].address.ipv4, Ipv4("10.0.0.2").ipv4);
    EXPECT_EQ(m_table[1].address.ipv4, Ipv4("10.0.0.1").ipv4);
    ASSERT_EQ(Network().dnsCalls.size(), 1U);
    const DnsCall& call = Network().dnsCalls[0];
    EXPECT_FALSE(call.service);
    EXPECT_EQ(call.host, "host.example.org");
    EXPECT_EQ(call.addressKind, 2U);
    EXPECT_EQ(call.capacity, 12U);
    EXPECT_EQ(call.option1, 1U);
    EXPECT_EQ(call.option2, 1U);
    EXPECT_TRUE(call.tableIsZero);
    const std::string second = std::to_string(Ipv4("10.0.0.2").ipv4);
    const std::string first = std::to_string(Ipv4("10.0.0.1").ipv4);
    EXPECT_THAT(Logs(), ElementsAre(UI("target , priority 0, weight 1, port 0 , ip " + second),
                                    UI("target , priority 0, weight 1, port 0 , ip " + first),
                                    UI("dns get addr ok 2 ")));
}

TEST_F(DnsSelectionTest, EveryTypeButThatOfServicesAsksForAddresses) {
    Network().addresses = {Ipv4("10.0.0.1")};
    Network().services = {Service("t", 1, 1, "10.0.0.5")};
    for (const unsigned type : {0U, 7U, 4294967295U}) {
        Fake().ClearRecords();
        EXPECT_EQ(Resolve(type), 0U) << type;
        EXPECT_EQ(m_table[0].address.ipv4, Ipv4("10.0.0.1").ipv4) << type;
        ASSERT_EQ(Network().dnsCalls.size(), 1U);
        EXPECT_FALSE(Network().dnsCalls[0].service) << type;
        EXPECT_EQ(Network().dnsCalls[0].addressKind, 2U) << type;
    }
    Fake().ClearRecords();
    Network().addressResult = 11;
    EXPECT_EQ(Resolve(7), 11U);
    EXPECT_THAT(Logs(), ElementsAre(UE("dns fail, type:7, uiRet = 11")));
}

TEST_F(DnsSelectionTest, AServiceQueryIsSortedByPriorityThenByWeight) {
    Network().services = {Service("low", 20, 9, "10.0.0.3", 8443), Service("a", 10, 0, "10.0.0.1", 443),
                          Service("b", 10, 3, "10.0.0.2", 444)};
    Network().randoms = {1};
    EXPECT_EQ(Resolve(1), 0U);
    EXPECT_EQ(m_count, 3U);
    ASSERT_EQ(Network().dnsCalls.size(), 1U);
    const DnsCall& call = Network().dnsCalls[0];
    EXPECT_TRUE(call.service);
    EXPECT_EQ(call.serviceName, "https");
    EXPECT_EQ(call.protocol, "tcp");
    EXPECT_EQ(call.host, "host.example.org");
    EXPECT_EQ(call.capacity, 12U);
    EXPECT_EQ(call.option1, 1U);
    EXPECT_EQ(call.option2, 1U);
    EXPECT_TRUE(call.tableIsZero);
    const auto ip = [](const char* dotted) { return std::to_string(Ipv4(dotted).ipv4); };
    EXPECT_THAT(Logs(), ElementsAre(UI("target b, priority 10, weight 3, port 444 , ip " + ip("10.0.0.2")),
                                    UI("target a, priority 10, weight 1, port 443 , ip " + ip("10.0.0.1")),
                                    UI("target low, priority 20, weight 9, port 8443 , ip " + ip("10.0.0.3")),
                                    UI("dns get addr ok 3 ")));
}

TEST_F(DnsSelectionTest, RecordsOfOtherAddressTypesAreNotLogged) {
    Network().addresses = {Ipv4("10.0.0.1")};
    Network().addresses[0].type = 1;
    EXPECT_EQ(Resolve(2), 0U);
    EXPECT_THAT(Logs(), ElementsAre(UI("dns get addr ok 1 ")));
}

TEST_F(DnsSelectionTest, AFailedQueryReturnsTheResolversResult) {
    Network().addressResult = 11;
    Network().serviceResult = 0xFFFFFFFFU;
    EXPECT_EQ(Resolve(2), 11U);
    EXPECT_EQ(Resolve(1), 0xFFFFFFFFU);
    EXPECT_THAT(Logs(),
                ElementsAre(UE("dns fail, type:2, uiRet = 11"), UE("dns fail, type:1, uiRet = 4294967295")));
}

TEST_F(DnsSelectionTest, AFailedCopyOfOneAddressLosesOnlyThat) {
    Network().addresses = {Ipv4("10.0.0.1"), Ipv4("10.0.0.2")};
    Network().randoms = {0};
    Fake().FailCall(Fn::MemcpyS, 1);
    EXPECT_EQ(Resolve(2), 0U);
    EXPECT_EQ(Logs().front(), UE("memcpy_s failed"));
    EXPECT_EQ(m_table[0].address.ipv4, 0U);
    EXPECT_EQ(m_table[1].address.ipv4, Ipv4("10.0.0.2").ipv4);
}

TEST_F(DnsSelectionTest, ACountBeyondTheTableIsCutToTwelve) {
    for (unsigned i = 0; i < 12; ++i) {
        Network().addresses.push_back(Ipv4("10.0.0." + std::to_string(i + 1)));
        Network().services.push_back(Service("s", i, 1, "10.0.0.1"));
    }
    Network().reportedCount = 4000000000U;
    EXPECT_EQ(Resolve(2), 0U);
    EXPECT_EQ(m_count, 12U);
    EXPECT_EQ(Resolve(1), 0U);
    EXPECT_EQ(m_count, 12U);
}

TEST_F(DnsSelectionTest, AnUnterminatedTargetIsCut) {
    CloudDnsRecord record = Service("", 1, 1, "10.0.0.1");
    FillWhole(record.target, 't');
    Network().services = {record};
    EXPECT_EQ(Resolve(1), 0U);
    EXPECT_EQ(Logs().front(),
              UI("target " + std::string(255, 't') + ", priority 1, weight 1, port 443 , ip " +
                 std::to_string(record.address.ipv4)));
}

// ---- One address ----

TEST_F(DnsSelectionTest, WithoutAHost) {
    EXPECT_EQ(IpOf(nullptr), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GetIPStrByServerUrl> input is invalid")));
    EXPECT_STREQ(m_ip, "before");
}

TEST_F(DnsSelectionTest, TheFirstUsableAddressIsTaken) {
    Network().addresses = {Ipv4("0.0.0.0"), Ipv4("10.0.0.9"), Ipv4("10.0.0.2"), Ipv4("10.0.0.3")};
    Network().addresses[1].type = 1;
    Network().randoms = {0, 0, 0};
    EXPECT_EQ(IpOf("host"), 0U);
    EXPECT_STREQ(m_ip, "10.0.0.2");
    EXPECT_EQ(Logs().back(), UI("<GetIPStrByServerUrl> after dns, ip is 10.0.0.2"));
    EXPECT_EQ(Network().dnsCalls.size(), 1U);
}

TEST_F(DnsSelectionTest, ServicesAreAskedForOnlyAfterAFailedAddressQuery) {
    Network().services = {Service("t", 1, 1, "10.0.0.5", 8443)};
    Network().addressResult = 5;
    EXPECT_EQ(IpOf("host"), 0U);
    EXPECT_STREQ(m_ip, "10.0.0.5") << "and its port is nobody's concern";
    ASSERT_EQ(Network().dnsCalls.size(), 2U);
    EXPECT_FALSE(Network().dnsCalls[0].service);
    EXPECT_TRUE(Network().dnsCalls[1].service);
    EXPECT_EQ(Network().dnsCalls[1].capacity, 12U);
    EXPECT_TRUE(Network().dnsCalls[1].tableIsZero);
}

TEST_F(DnsSelectionTest, AnEmptyAnswerIsASuccessThatAsksForNoServices) {
    EXPECT_EQ(IpOf("host"), 0U);
    EXPECT_STREQ(m_ip, "before");
    EXPECT_THAT(Logs(),
                ElementsAre(UI("dns get addr ok 0 "), UI("<GetIPStrByServerUrl> after dns, ip is before")));
    EXPECT_EQ(Network().dnsCalls.size(), 1U);
}

TEST_F(DnsSelectionTest, ServicesWithoutAddressesAreASuccess) {
    Network().addressResult = 5;
    Network().services = {Service("t", 1, 1, "0.0.0.0")};
    EXPECT_EQ(IpOf("host"), 0U);
    EXPECT_STREQ(m_ip, "before");
}

TEST_F(DnsSelectionTest, BothQueriesFail) {
    Network().addressResult = 5;
    Network().serviceResult = 6;
    EXPECT_EQ(IpOf("host"), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("dns fail, type:2, uiRet = 5"), UE("dns fail, type:1, uiRet = 6"),
                                    UE("dns err ret:6")));
    EXPECT_STREQ(m_ip, "before");
}

TEST_F(DnsSelectionTest, AnAddressTextThatCannotBeCopied) {
    Network().addresses = {Ipv4("10.0.0.1")};
    Fake().boundedFault = [](const BoundedCall& call) {
        return call.fn == Fn::StrcpyS && call.destMax == 256;
    };
    EXPECT_EQ(IpOf("host"), kFailed);
    EXPECT_EQ(Logs().back(), UE("cpy ip str fail"));
}

TEST_F(DnsSelectionTest, AnAddressThatCannotBeFormattedLeavesAnEmptyText) {
    Network().addresses = {Ipv4("10.0.0.1")};
    Fake().boundedFault = [](const BoundedCall& call) {
        return call.fn == Fn::StrcpyS && call.destMax == 16;
    };
    EXPECT_EQ(IpOf("host"), 0U);
    EXPECT_STREQ(m_ip, "");
    EXPECT_EQ(Logs().back(), UI("<GetIPStrByServerUrl> after dns, ip is "));
}

}  // namespace
}  // namespace QuorTest
