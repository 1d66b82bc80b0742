// What kind of address a text is, and the resolution of names in place.
#include <cstring>

#include "support/http_test.h"

namespace QuorTest {
namespace {

constexpr unsigned kIpv4 = 0;
constexpr unsigned kIpv6 = 1;
constexpr unsigned kUnusable = 2;

class AddressTypeTest : public HttpTest {
protected:
    unsigned Type(const std::string& text) {
        Put(m_address, text);
        return HttpProtocol::GetAddressType(m_address, sizeof(m_address));
    }

    char m_address[256] = {};
};

TEST_F(AddressTypeTest, NullAndZeroCapacityAreInvalid) {
    EXPECT_EQ(HttpProtocol::GetAddressType(nullptr, 256), kUnusable);
    EXPECT_EQ(HttpProtocol::GetAddressType(m_address, 0), kUnusable);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GetAddressType> input is invalid"),
                                    UE("<GetAddressType> input is invalid")));
}

TEST_F(AddressTypeTest, LiteralsStayAsTheyAre) {
    EXPECT_EQ(Type("192.168.1.10"), kIpv4);
    EXPECT_STREQ(m_address, "192.168.1.10");
    for (const char* address : {"fe80::1", "::1", "::", "2001:db8::192.0.2.1", "1:2:3:4:5:6:7:8"}) {
        EXPECT_EQ(Type(address), kIpv6);
        EXPECT_STREQ(m_address, address);
    }
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_THAT(Network().dnsCalls, IsEmpty());
}

TEST_F(AddressTypeTest, AListOfServersIsNotResolvedAndNotLogged) {
    EXPECT_EQ(Type("a.example.org,b.example.org"), kUnusable);
    EXPECT_EQ(Type("192.168.1.10,192.168.1.11"), kUnusable);
    EXPECT_EQ(Type(","), kUnusable);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_THAT(Network().dnsCalls, IsEmpty());
}

TEST_F(AddressTypeTest, AlmostLiteralsAreNames) {
    for (const char* name : {"192.168.1", "192.168.1.256", "192.168.01.10", "fe80::1%eth0", "[::1]", ""}) {
        Network().addresses = {Ipv4("10.0.0.1")};
        EXPECT_EQ(Type(name), kIpv4);
        EXPECT_STREQ(m_address, "10.0.0.1");
        EXPECT_EQ(Network().dnsCalls.back().host, name);
    }
}

TEST_F(AddressTypeTest, ANameIsOverwrittenWithItsAddress) {
    Network().addresses = {Ipv4("203.0.113.7")};
    EXPECT_EQ(Type("conference.example.org"), kIpv4);
    EXPECT_STREQ(m_address, "203.0.113.7");
    ASSERT_EQ(Logs().size(), 4U);
    EXPECT_EQ(Logs()[0], UI("<GetAddressType> conference.example.org is domain"));
    EXPECT_EQ(Logs()[3], UI("<GetIPStrByServerUrl> after dns, ip is 203.0.113.7"));
    ASSERT_EQ(Network().dnsCalls.size(), 1U);
    EXPECT_EQ(Network().dnsCalls[0].host, "conference.example.org");
}

TEST_F(AddressTypeTest, ANameThatDoesNotResolveStaysAsItIs) {
    Network().addressResult = 3;
    Network().serviceResult = 4;
    EXPECT_EQ(Type("nowhere.example.org"), kUnusable);
    EXPECT_STREQ(m_address, "nowhere.example.org");
    EXPECT_THAT(Logs(), ElementsAre(UI("<GetAddressType> nowhere.example.org is domain"),
                                    UE("dns fail, type:2, uiRet = 3"), UE("dns fail, type:1, uiRet = 4"),
                                    UE("dns err ret:4"), UE("<GetAddressType> GetIPStrByServerUrl fail")));
}

TEST_F(AddressTypeTest, ANameWithoutIpv4AddressesBecomesEmptyAndIsASuccess) {
    EXPECT_EQ(Type("six.example.org"), kIpv4);
    EXPECT_STREQ(m_address, "");
    EXPECT_THAT(Logs(), ElementsAre(UI("<GetAddressType> six.example.org is domain"),
                                    UI("dns get addr ok 0 "), UI("<GetIPStrByServerUrl> after dns, ip is ")));
}

TEST_F(AddressTypeTest, AnAddressThatDoesNotFitTheName) {
    Network().addresses = {Ipv4("203.0.113.7")};
    char name[8] = "a.b";
    EXPECT_EQ(HttpProtocol::GetAddressType(name, sizeof(name)), kUnusable);
    EXPECT_EQ(Logs().back(), UE("cpy ip str fail"));
}

TEST_F(AddressTypeTest, AnUnterminatedFieldIsReadToItsEndAndNoFurther) {
    struct {
        char address[16];
        char neighbour[16];
    } record{};
    std::memcpy(record.address, "192.168.100.1000", 16);
    FillWhole(record.neighbour, ',');
    Network().addresses = {Ipv4("10.0.0.1")};
    EXPECT_EQ(HttpProtocol::GetAddressType(record.address, sizeof(record.address)), kIpv4);
    EXPECT_EQ(Network().dnsCalls.at(0).host, "192.168.100.1000");
    EXPECT_STREQ(record.address, "10.0.0.1");
    std::memcpy(record.address, "192.168.1.10", 12);
    EXPECT_EQ(HttpProtocol::GetAddressType(record.address, 12), kIpv4) << "a literal that fills its field";
    EXPECT_EQ(Network().dnsCalls.size(), 1U);
}

// Of larger ones no more than that: no name is as long.
TEST_F(AddressTypeTest, AnUnterminatedFieldOfTheLargestRecordIsReadWhole) {
    Network().addressResult = 3;
    Network().serviceResult = 4;
    char record[256];
    FillWhole(record, 'n');
    EXPECT_EQ(HttpProtocol::GetAddressType(record, sizeof(record)), kUnusable);
    EXPECT_EQ(Network().dnsCalls.at(0).host, std::string(256, 'n'));
    EXPECT_EQ(std::string(record, sizeof(record)), std::string(256, 'n'));
    char larger[300];
    FillWhole(larger, 'n');
    EXPECT_EQ(HttpProtocol::GetAddressType(larger, sizeof(larger)), kUnusable);
    EXPECT_EQ(Network().dnsCalls.at(2).host, std::string(256, 'n'));
}

}  // namespace
}  // namespace QuorTest
