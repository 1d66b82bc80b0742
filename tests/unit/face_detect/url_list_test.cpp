#include <cerrno>
#include <limits>
#include <string>
#include <vector>

#include "support/face_detect_test.h"

namespace QuorTest {
namespace {

class UrlListTest : public FaceDetectTest {
protected:
    // Parses a list; the log ends with the count of candidates, whatever happened before.
    static unsigned Parse(const std::string& list, std::vector<LogLine> lines = {}) {
        Fake().ClearRecords();
        EXPECT_EQ(Detector::Parse(list), 0);
        const unsigned count = Detector::SlotCount();
        lines.push_back(FI("<GetServerUrlList> address num = " + std::to_string(count) + "."));
        EXPECT_EQ(Logs(), lines) << list;
        return count;
    }

    static void ExpectSlot(unsigned i, const std::string& host, const std::string& protocol, unsigned port) {
        EXPECT_STREQ(Detector::Slot(i).host, host.c_str()) << i;
        EXPECT_STREQ(Detector::Slot(i).protocol, protocol.c_str()) << i;
        EXPECT_EQ(Detector::Slot(i).port, port) << i;
    }

    // A slot that nobody wrote since Mark.
    static void Mark() {
        for (unsigned i = 0; i < kQuorAiFaceServerMax; ++i) {
            Detector::Slot(i) = SlotOf("old" + std::to_string(i), "old://", 1000 + i);
        }
    }
    static void ExpectOld(unsigned i) { ExpectSlot(i, "old" + std::to_string(i), "old://", 1000 + i); }
};

const LogLine kNoCopy = FE("strncpy error.");

TEST_F(UrlListTest, AHostAlone) {
    EXPECT_EQ(Parse("10.1.1.1"), 1U);
    ExpectSlot(0, "10.1.1.1", "https://", 443);
}

TEST_F(UrlListTest, EveryForm) {
    EXPECT_EQ(Parse("10.1.1.1:8443;http://10.1.1.2;https://10.1.1.3:9443"), 3U);
    ExpectSlot(0, "10.1.1.1", "https://", 8443);
    ExpectSlot(1, "10.1.1.2", "http://", 80);
    ExpectSlot(2, "10.1.1.3", "https://", 9443);
    EXPECT_EQ(Parse("https://10.1.1.4;http://10.1.1.5:81;face.example.org"), 3U);
    ExpectSlot(0, "10.1.1.4", "https://", 443);
    ExpectSlot(1, "10.1.1.5", "http://", 81);
    ExpectSlot(2, "face.example.org", "https://", 443);
}

TEST_F(UrlListTest, AnEmptyListHasNoItems) {
    Mark();
    EXPECT_EQ(Parse(""), 0U);
    ExpectOld(0);
}

TEST_F(UrlListTest, ASeparatorAtTheEndAddsNothing) {
    EXPECT_EQ(Parse("10.1.1.1;"), 1U);
}

TEST_F(UrlListTest, EmptyItemsTakeAPlace) {
    Mark();
    const LogLine empty = FE("<GetURLAndPort> empty url");
    EXPECT_EQ(Parse(";10.1.1.1", {empty}), 1U);
    ExpectOld(0);
    ExpectSlot(1, "10.1.1.1", "https://", 443);
    EXPECT_EQ(Parse(";", {empty}), 0U);
    EXPECT_EQ(Parse("10.1.1.1;;10.1.1.3;", {empty}), 2U);
    ExpectSlot(2, "10.1.1.3", "https://", 443);
}

TEST_F(UrlListTest, OnlyTheFirstEightItemsAreRead) {
    std::string list;
    for (int i = 0; i < 10; ++i) {
        list += (i == 0 ? "10.0.0." : ";10.0.0.") + std::to_string(i);
    }
    EXPECT_EQ(Parse(list), 8U);
    for (unsigned i = 0; i < 8; ++i) {
        ExpectSlot(i, "10.0.0." + std::to_string(i), "https://", 443);
    }
    EXPECT_EQ(Parse("a1;a2;a3;a4;a5;a6;a7;a8"), 8U) << "the eighth without a separator";
    ExpectSlot(7, "a8", "https://", 443);
    EXPECT_EQ(Parse("a1;a2;a3;a4;a5;a6;a7;b8;"), 8U);
    ExpectSlot(7, "b8", "https://", 443);
}

// What is probed are as many slots as there are good items, from the first on: the bad one's slot is among
// them, the last good one is not.
TEST_F(UrlListTest, AFailingItemKeepsItsSlotAndHidesTheLastGoodOne) {
    Mark();
    EXPECT_EQ(Parse("10.1.1.1;a:b:c:d;10.1.1.3", {FE("invalid url")}), 2U);
    ExpectSlot(0, "10.1.1.1", "https://", 443);
    ExpectOld(1);
    ExpectSlot(2, "10.1.1.3", "https://", 443);
}

TEST_F(UrlListTest, ANewListDoesNotClearTheSlots) {
    Parse("10.1.1.1;10.1.1.2");
    EXPECT_EQ(Parse("10.2.2.2"), 1U);
    ExpectSlot(0, "10.2.2.2", "https://", 443);
    ExpectSlot(1, "10.1.1.2", "https://", 443);
}

TEST_F(UrlListTest, ThreeColonsAreInvalid) {
    Mark();
    EXPECT_EQ(Parse("a:b:c:d", {FE("invalid url")}), 0U);
    EXPECT_EQ(Parse("http://a:1:2", {FE("invalid url")}), 0U);
    EXPECT_EQ(Parse("::::::", {FE("invalid url")}), 0U);
    ExpectOld(0);
}

TEST_F(UrlListTest, TwoColonsWithoutASchemeAreAHost) {
    EXPECT_EQ(Parse("::1;HTTPS://10.1.1.1:443"), 2U);
    ExpectSlot(0, "::1", "https://", 443);
    ExpectSlot(1, "HTTPS://10.1.1.1:443", "https://", 443);
}

TEST_F(UrlListTest, WhatBeginsWithHttpAndHasNoColonIsAHost) {
    EXPECT_EQ(Parse("http;https10"), 2U);
    ExpectSlot(0, "http", "https://", 443);
    ExpectSlot(1, "https10", "https://", 443);
}

// The first seven characters go, whatever they are.
TEST_F(UrlListTest, WhatBeginsWithHttpHasAScheme) {
    EXPECT_EQ(Parse("httpserver:8080;httpx:abc;https:/x1"), 3U);
    ExpectSlot(0, "ver:8080", "http://", 80);
    ExpectSlot(1, "bc", "http://", 80);
    ExpectSlot(2, "x1", "http://", 80);
}

TEST_F(UrlListTest, ItemsShorterThanASchemeGiveAnEmptyHost) {
    EXPECT_EQ(Parse("http:;http:1;https:;http://;https://"), 5U);
    for (unsigned i = 0; i < 4; ++i) {
        ExpectSlot(i, "", "http://", 80);
    }
    ExpectSlot(4, "", "https://", 443);
}

TEST_F(UrlListTest, APathStaysInTheHost) {
    EXPECT_EQ(Parse("https://host/path"), 1U);
    ExpectSlot(0, "host/path", "https://", 443);
    EXPECT_EQ(
        Parse("https://host:8443/path", {FE("<PortStringToInt> strtol arg invalid"),
                                         FE("<AiFaceHandleUrlWithProtocolAndPort> PortStringToInt failed.")}),
        0U);
}

// What was written before the failure stays: host and scheme.
TEST_F(UrlListTest, APortThatIsNoneLeavesHostAndScheme) {
    Mark();
    EXPECT_EQ(
        Parse("http://10.1.1.2:abc", {FE("<PortStringToInt> strtol arg invalid"),
                                      FE("<AiFaceHandleUrlWithProtocolAndPort> PortStringToInt failed.")}),
        0U);
    ExpectSlot(0, "10.1.1.2", "http://", 1000);
    EXPECT_EQ(Parse("10.1.1.3:", {FE("<PortStringToInt> port is empty"),
                                  FE("<AiFaceHandleUrlOnlyWithPort> PortStringToInt failed.")}),
              0U);
    ExpectSlot(0, "10.1.1.3", "https://", 1000);
}

TEST_F(UrlListTest, AnEmptyHostBeforeAPort) {
    EXPECT_EQ(Parse(":8080"), 1U);
    ExpectSlot(0, "", "https://", 8080);
    Mark();
    EXPECT_EQ(Parse("https://:80", {FE("<AiFaceHandleUrlWithProtocolAndPort> index is invalid 9.")}), 0U);
    EXPECT_EQ(Parse("http://:80", {FE("<AiFaceHandleUrlWithProtocolAndPort> index is invalid 8.")}), 0U);
    ExpectOld(0);
    EXPECT_EQ(Parse("https://a:80;http://b:80"), 2U) << "one character is enough";
    ExpectSlot(0, "a", "https://", 80);
    ExpectSlot(1, "b", "http://", 80);
}

TEST_F(UrlListTest, AnotherSchemeWithAPortIsRefused) {
    Mark();
    EXPECT_EQ(Parse("httpx://a:80", {FE("<AiFaceHandleUrlWithProtocolAndPort> url invalid.")}), 0U);
    EXPECT_EQ(Parse("http:a:80", {FE("<AiFaceHandleUrlWithProtocolAndPort> url invalid.")}), 0U);
    ExpectOld(0);
}

TEST_F(UrlListTest, HostsOf255CharactersFit) {
    const std::string host(255, 'h');
    EXPECT_EQ(Parse(host), 1U);
    ExpectSlot(0, host, "https://", 443);
    EXPECT_EQ(Parse("http://" + host), 1U);
    ExpectSlot(0, host, "http://", 80);
    EXPECT_EQ(Parse(host + ":1"), 1U);
    ExpectSlot(0, host, "https://", 1);
    EXPECT_EQ(Parse("https://" + host + ":2"), 1U);
    ExpectSlot(0, host, "https://", 2);
}

// With a scheme and no port the port is written first.
TEST_F(UrlListTest, LongerHostsKeepTheSlotsTexts) {
    const std::string host(256, 'h');
    Mark();
    EXPECT_EQ(Parse(host, {kNoCopy}), 0U);
    EXPECT_EQ(Parse(host + ":1", {FE("<AiFaceHandleUrlOnlyWithPort> strncpy error.")}), 0U);
    EXPECT_EQ(Parse("https://" + host + ":1", {FE("<AiFaceHandleUrlWithProtocolAndPort> strncpy error.")}),
              0U);
    ExpectOld(0);
    EXPECT_EQ(Parse("http://" + host, {kNoCopy}), 0U);
    ExpectSlot(0, "old0", "old://", 80);
    EXPECT_EQ(Parse("https://" + host, {kNoCopy}), 0U);
    ExpectSlot(0, "old0", "old://", 443);
}

TEST_F(UrlListTest, ASchemeThatCannotBeWrittenLeavesTheHost) {
    const auto failScheme = [](const std::string& item, const LogLine& line) {
        Fake().FailCall(Fn::StrncpyS, 2);
        Mark();
        EXPECT_EQ(Parse(item, {line}), 0U);
        EXPECT_STREQ(Detector::Slot(0).host, "10.1.1.1");
        EXPECT_STREQ(Detector::Slot(0).protocol, "old://");
    };
    failScheme("10.1.1.1", kNoCopy);
    failScheme("https://10.1.1.1", kNoCopy);
    failScheme("10.1.1.1:5", FE("<AiFaceHandleUrlOnlyWithPort> strncpy error."));
    failScheme("http://10.1.1.1:5", FE("<AiFaceHandleUrlWithProtocolAndPort> strncpy error."));
}

// ---- Ports ----

TEST_F(UrlListTest, AnyNumberIsAPort) {
    const auto expectPort = [](const std::string& text, unsigned expected) {
        unsigned port = 7;
        EXPECT_EQ(Detector::PortOf(text, port), 0) << text;
        EXPECT_EQ(port, expected) << text;
    };
    expectPort("0", 0);
    expectPort("443", 443);
    expectPort("70000", 70000);
    expectPort("-1", 4294967295U);
    expectPort("99999999999", 1215752191U);
    expectPort(" 80", 80);
    expectPort("+80", 80);
    expectPort("\t\n080", 80);
    expectPort(std::to_string(std::numeric_limits<long>::max()), 4294967295U);
    expectPort(std::to_string(std::numeric_limits<long>::min()), 0);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(UrlListTest, WhatIsNoPortIsLeftAlone) {
    const LogLine invalid = FE("<PortStringToInt> strtol arg invalid");
    const auto expectNone = [](const std::string& text, const LogLine& line) {
        Fake().ClearRecords();
        unsigned port = 7;
        EXPECT_EQ(Detector::PortOf(text, port), -1) << text;
        EXPECT_EQ(port, 7U) << text;
        EXPECT_THAT(Logs(), ElementsAre(line)) << text;
    };
    expectNone("", FE("<PortStringToInt> port is empty"));
    expectNone("80 ", invalid);
    expectNone("8o", invalid);
    expectNone("abc", invalid);
    expectNone(" ", invalid);
    expectNone("-", invalid);
    expectNone("0x50", invalid);
    expectNone("9223372036854775808", invalid);
    expectNone("-9223372036854775809", invalid);
}

TEST_F(UrlListTest, AnOldErrorOfTheSystemIsNotThePorts) {
    errno = ERANGE;
    unsigned port = 7;
    EXPECT_EQ(Detector::PortOf("1", port), 0);
}

// ---- Hosts ----

TEST_F(UrlListTest, OnlyDottedIpv4IsProbed) {
    for (const char* host : {"10.1.1.1", "255.255.255.255", "0.0.0.0"}) {
        EXPECT_EQ(Detector::HostOf(host), 0) << host;
    }
    for (const char* host : {"face.example.org", "fe80::1", "localhost", "10.1.1", "10.1.1.256", "010.1.1.1",
                             "10.1.1.1/x", "10.1.1.1 ", "::ffff:10.1.1.1", "ab", ".."}) {
        EXPECT_EQ(Detector::HostOf(host), -1) << host;
    }
    EXPECT_THAT(Logs(), IsEmpty()) << "these refusals are the caller's to log";
}

TEST_F(UrlListTest, HostsTooShortOrTooLong) {
    EXPECT_EQ(Detector::HostOf(""), -1);
    EXPECT_EQ(Detector::HostOf("1"), -1);
    EXPECT_EQ(Detector::HostOf(std::string(256, '.')), -1);
    EXPECT_EQ(Detector::HostOf(std::string(255, '.')), -1);
    const LogLine invalid = FE("<ParseHostPort> uriStr is invalid.");
    EXPECT_THAT(Logs(), ElementsAre(invalid, invalid, FE("<ParseHostPort> dump Str failed.")));
}

}  // namespace
}  // namespace QuorTest
