#include <cstring>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

constexpr unsigned kHead = 8;
constexpr unsigned kEntry = 448;
constexpr unsigned kBufferBytes = 716808;

class SitesTest : public ChannelTest {
protected:
    SitesTest() { Watch(); }
    static int Run(const std::string& body) { return Access::Handle(Access::kConfSite, body); }
    // The head and entry i of the last notification.
    unsigned Word(unsigned at) {
        unsigned value = 0;
        std::memcpy(&value, observer->results.back().bytes.data() + at, sizeof(value));
        return value;
    }
    std::string Id(unsigned i) { return TextAt(kHead + i * kEntry); }
    std::string Name(unsigned i) { return TextAt(kHead + i * kEntry + 192); }

private:
    std::string TextAt(std::size_t at) {
        const std::string& bytes = observer->results.back().bytes;
        return bytes.substr(at, bytes.find('\0', at) - at);
    }
};

TEST_F(SitesTest, DeliversHeadAndEntries) {
    EXPECT_EQ(Run(SitesBody("2", SiteElements(2))), 0);
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_CONF_SITE);
    EXPECT_EQ(observer->results[0].len, 904U);
    EXPECT_EQ(Word(0), 2U) << "type";
    EXPECT_EQ(Word(4), 2U) << "count";
    EXPECT_EQ(Id(0), "site-0");
    EXPECT_EQ(Name(0), "Room 0");
    EXPECT_EQ(Id(1), "site-1");
    EXPECT_EQ(Name(1), "Room 1");
    EXPECT_EQ(observer->results[0].data, reinterpret_cast<const unsigned char*>(Access::Sites()));
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(SitesTest, ObserversRunBeforeTheDocumentIsReleased) {
    std::size_t live = 0;
    observer->onUpdate = [&](const auto&) { live = Fake().LiveCJsonBlocks(); };
    Run(SitesBody("1", SiteElements(1)));
    EXPECT_GT(live, 0U);
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
}

TEST_F(SitesTest, BadInputIsSilent) {
    EXPECT_EQ(Access::Handle(Access::kConfSite, nullptr, 5), 1);
    EXPECT_EQ(Access::Handle(Access::kConfSite, "{}", 0), 1);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_EQ(Access::Sites(), nullptr) << "no buffer was made";
}

TEST_F(SitesTest, BufferIsMadeOnceAndReused) {
    Run(SitesBody("1", SiteElements(1)));
    const auto* first = Access::Sites();
    Run(SitesBody("2", SiteElements(2)));
    EXPECT_EQ(Access::Sites(), first);
    EXPECT_EQ(Fake().CountOf(Fn::HeapAlloc), 1U);
    ASSERT_EQ(Fake().LiveBlocks().size(), 1U);
    EXPECT_EQ(Fake().LiveBlocks()[0].sizeBytes, kBufferBytes);
    EXPECT_EQ(Fake().LiveBlocks()[0].fill, 0);
    EXPECT_EQ(Fake().LiveBlocks()[0].module, kKelModule);
}

TEST_F(SitesTest, NothingOfTheMessageBeforeStays) {
    Run(SitesBody("2",
                  {JsonFields({{"id", Quoted(std::string(191, 'i'))}, {"name", Quoted("long name")}}).Text(),
                   SiteElements(1)[0]}));
    Run(SitesBody("1", {"{}"}));
    EXPECT_EQ(observer->results.back().bytes.substr(kHead), std::string(kEntry, '\0'));
    const auto* rest = reinterpret_cast<const char*>(Access::Sites()) + kHead;
    EXPECT_EQ(std::string(rest, 2UL * kEntry), std::string(2UL * kEntry, '\0'));
}

TEST_F(SitesTest, BufferIsClearedBeforeTheBodyIsParsed) {
    Run(SitesBody("1", SiteElements(1)));
    EXPECT_EQ(Run("no json"), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelConfSiteParseTextMessage>: prase root faild")));
    EXPECT_STREQ(Access::Sites()->sites[0].id, "");
    EXPECT_EQ(observer->results.size(), 1U);
}

TEST_F(SitesTest, BufferWithoutMemory) {
    Fake().FailCall(Fn::HeapAlloc, 1);
    EXPECT_EQ(Run(SitesBody("1", SiteElements(1))), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<MallocSiteInfoBuffer>: failed malloc m_siteInfoBuffer error"),
                                    E("<KelConfSiteParseTextMessage>: MallocSiteInfoBuffer faild")));
    EXPECT_EQ(Fake().CountOf(Fn::CJsonAlloc), 0U);
}

TEST_F(SitesTest, BufferThatDoesNotClear) {
    Fake().FailCall(Fn::MemsetS, 1);
    EXPECT_EQ(Run(SitesBody("1", SiteElements(1))), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<MallocSiteInfoBuffer>: failed memset m_siteInfoBuffer error"),
                                    E("<KelConfSiteParseTextMessage>: MallocSiteInfoBuffer faild")));
    EXPECT_EQ(Access::SiteBuffer(), 0U) << "the next message tries again";
}

TEST_F(SitesTest, MissingTypeIsOnlyLogged) {
    EXPECT_EQ(Run(R"({"size":1,"changeList":[{"id":"a","name":"b"}]})"), 0);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelJsonGetNum>: key type jsonObj is error"),
                                    E("<KelConfSiteParseTextMessage>: get type failed")));
    EXPECT_EQ(Word(0), 0U);
}

TEST_F(SitesTest, MissingSizeIsRefused) {
    EXPECT_EQ(Run(R"({"type":1,"changeList":[{"id":"a","name":"b"}]})"), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelJsonGetNum>: key size jsonObj is error"),
                                    E("<KelConfSiteParseTextMessage>: get size failed"),
                                    E("<KelConfSiteParseTextMessage>: failed totalSiteNum 0 invalid")));
    EXPECT_THAT(observer->results, IsEmpty());
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
}

TEST_F(SitesTest, SizeOutOfRangeIsRefused) {
    for (const std::string size : {"0", "1601", "-1"}) {
        Fake().ClearRecords();
        EXPECT_EQ(Run(SitesBody(size, SiteElements(1))), 1);
        EXPECT_THAT(Logs(), ElementsAre(E("<KelConfSiteParseTextMessage>: failed totalSiteNum " + size +
                                          " invalid")));
        EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
    }
    EXPECT_THAT(observer->results, IsEmpty());
}

TEST_F(SitesTest, SixteenHundredSitesFit) {
    EXPECT_EQ(Run(SitesBody("1600", SiteElements(1600))), 0);
    EXPECT_EQ(observer->results.back().len, kBufferBytes);
    EXPECT_EQ(Word(4), 1600U);
    EXPECT_EQ(Id(1599), "site-1599");
}

TEST_F(SitesTest, CountIsWhatTheListHas) {
    EXPECT_EQ(Run(SitesBody("3", SiteElements(2))), 0);
    EXPECT_EQ(Word(4), 2U);
    EXPECT_EQ(observer->results.back().len, 904U);
    EXPECT_EQ(Run(SitesBody("1", SiteElements(2))), 0);
    EXPECT_EQ(Word(4), 1U);
    EXPECT_EQ(Run(SitesBody("2", {})), 0);
    EXPECT_EQ(Word(4), 0U);
    EXPECT_EQ(observer->results.back().len, 8U);
    EXPECT_EQ(Run(R"({"type":1,"size":2})"), 0) << "no list at all";
    EXPECT_EQ(observer->results.back().len, 8U);
}

TEST_F(SitesTest, ListThatIsAnObjectIsWalkedLikeAnArray) {
    EXPECT_EQ(Run(R"({"type":1,"size":5,"changeList":{"x":{"id":"a","name":"b"},"y":{"id":"c"}}})"), 0);
    EXPECT_EQ(Word(4), 2U);
    EXPECT_EQ(Id(1), "c");
}

TEST_F(SitesTest, ElementsThatAreNoObjectsCountWithEmptyFields) {
    EXPECT_EQ(Run(R"({"type":1,"size":3,"changeList":[null,7,{"id":"a","name":"b"}]})"), 0);
    EXPECT_EQ(Word(4), 3U);
    EXPECT_EQ(Id(0), "");
    EXPECT_EQ(Id(1), "");
    EXPECT_EQ(Id(2), "a");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(SitesTest, MissingFieldsLeaveTheEntryEmpty) {
    EXPECT_EQ(Run(R"({"type":1,"size":2,"changeList":[{"name":"only name"},{"id":"only id"}]})"), 0);
    EXPECT_EQ(Id(0), "");
    EXPECT_EQ(Name(0), "only name");
    EXPECT_EQ(Id(1), "only id");
    EXPECT_EQ(Name(1), "");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(SitesTest, FieldsAreCutToTheirCapacities) {
    const std::string longText = Quoted(std::string(400, 'x'));
    EXPECT_EQ(Run(SitesBody("1", {JsonFields({{"id", longText}, {"name", longText}}).Text()})), 0);
    EXPECT_EQ(Id(0).size(), 191U);
    EXPECT_EQ(Name(0).size(), 255U);
}

TEST_F(SitesTest, BufferLayout) {
    EXPECT_EQ(sizeof(TagQuorAiSiteInfoList), kBufferBytes);
    EXPECT_EQ(sizeof(TagQuorAiSiteInfo), kEntry);
    EXPECT_EQ(offsetof(TagQuorAiSiteInfoList, sites), kHead);
}

}  // namespace
}  // namespace QuorTest
