#include "common/anonymize.h"

#include <gtest/gtest.h>

namespace QuorAiEngine {
namespace {

TEST(GetIPTypeTest, EmptyTextIsInvalid) {
    EXPECT_EQ(GetIPType(""), "Invalid");
}

TEST(GetIPTypeTest, DotWithoutColonIsIPv4) {
    EXPECT_EQ(GetIPType("192.168.10.20"), "IPv4");
    EXPECT_EQ(GetIPType("1.2"), "IPv4") << "nothing more is validated";
    EXPECT_EQ(GetIPType("."), "IPv4");
}

TEST(GetIPTypeTest, NeitherDotNorColonIsInvalid) {
    EXPECT_EQ(GetIPType("host"), "Invalid");
}

TEST(GetIPTypeTest, AnyColonIsIPv6) {
    EXPECT_EQ(GetIPType(":"), "IPv6");
    EXPECT_EQ(GetIPType("fe80::1"), "IPv6");
    EXPECT_EQ(GetIPType("a.b:c"), "IPv6");
}

TEST(GetIPTypeTest, IPv4MappedAddressStaysIPv6) {
    EXPECT_EQ(GetIPType("::ffff:10.0.0.1"), "IPv6");
    EXPECT_EQ(GetIPType("::10.0.0.1"), "IPv6");
}

TEST(AnonymizeIPTest, MasksFromAQuarterToThreeQuarters) {
    EXPECT_EQ(AnonymizeIP("192.168.10.20"), "192.***.*0.20");
    EXPECT_EQ(AnonymizeIP("fe80::1"), "f***::1");
}

TEST(AnonymizeIPTest, ShortTexts) {
    EXPECT_EQ(AnonymizeIP(""), "");
    EXPECT_EQ(AnonymizeIP("1"), "1");
    EXPECT_EQ(AnonymizeIP("12"), "*2");
    EXPECT_EQ(AnonymizeIP("123"), "*23");
    EXPECT_EQ(AnonymizeIP("1234"), "1**4");
}

TEST(AnonymizeIPTest, DotsAndColonsStay) {
    EXPECT_EQ(AnonymizeIP("........"), "........");
    EXPECT_EQ(AnonymizeIP("::::"), "::::");
}

TEST(AnonymizeIPTest, TheEndIsRoundedFromTwoDivisions) {
    // 6 / 2 + 6 / 4 = 4, not 6 * 3 / 4 rounded in one go.
    EXPECT_EQ(AnonymizeIP("abcdef"), "a***ef");
    // 7 / 2 + 7 / 4 = 4.
    EXPECT_EQ(AnonymizeIP("abcdefg"), "a***efg");
}

TEST(AnonymizeSNTest, LastFourCharacters) {
    EXPECT_EQ(AnonymizeSN("ABCDEFGH"), "EFGH");
    EXPECT_EQ(AnonymizeSN("ABCD"), "ABCD");
}

TEST(AnonymizeSNTest, ShorterThanFour) {
    EXPECT_EQ(AnonymizeSN("ABC"), "lessThanFour");
    EXPECT_EQ(AnonymizeSN(""), "lessThanFour");
}

}  // namespace
}  // namespace QuorAiEngine
