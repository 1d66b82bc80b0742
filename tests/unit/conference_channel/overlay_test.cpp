#include <cstring>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

constexpr unsigned kMissing = 0xFFFFFFFFU;

class OverlayTest : public ChannelTest {
protected:
    OverlayTest() {
        Watch();
        Put(Access::State().deviceId, kUri);
    }
    static unsigned Run(const std::string& body) {
        return static_cast<unsigned>(Access::Handle(Access::kOverlay, body));
    }
    void ExpectRefused(const std::vector<LogLine>& afterEntry) {
        std::vector<LogLine> lines = afterEntry;
        lines.insert(lines.begin(), E("KelCaptionOverlayParseTextMessage in"));
        EXPECT_EQ(Logs(), lines);
        EXPECT_THAT(observer->results, IsEmpty());
        EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
        Fake().ClearRecords();
    }
};

TEST_F(OverlayTest, DeliversTheSwitchForThisTerminal) {
    EXPECT_EQ(Run(OverlayFields().Text()), 0U);
    TagQuorAiConfCtrlStatusInfo expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.pause = 1;
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_CAPTION_OVERLAY);
    EXPECT_EQ(observer->results[0].len, 44U);
    EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), &expected, sizeof(expected)), 0)
        << "status 0, empty languages, enforce 0 and not -1";
    EXPECT_EQ(Run(OverlayFields().With("pause", "false").Text()), 0U);
    EXPECT_EQ(observer->results[1].bytes, std::string(44, '\0'));
}

TEST_F(OverlayTest, EntryLineIsAnErrorLine) {
    Run(OverlayFields().Text());
    EXPECT_THAT(Logs(), ElementsAre(E("KelCaptionOverlayParseTextMessage in")));
}

TEST_F(OverlayTest, EntryLineComesBeforeTheInputTest) {
    EXPECT_EQ(Access::Handle(Access::kOverlay, nullptr, 5), 1);
    ExpectRefused({E("<KelCaptionOverlayParseTextMessage>: input is error")});
    EXPECT_EQ(Access::Handle(Access::kOverlay, "{}", 0), 1);
    ExpectRefused({E("<KelCaptionOverlayParseTextMessage>: input is error")});
}

TEST_F(OverlayTest, BodyThatDoesNotParse) {
    EXPECT_EQ(Run("no json"), 1U);
    ExpectRefused({E("<KelCaptionOverlayParseTextMessage>: prase root faild")});
}

TEST_F(OverlayTest, MissingUri) {
    EXPECT_EQ(Run(OverlayFields().Without("uri").Text()), kMissing);
    ExpectRefused({E("<KelCaptionOverlayParseTextMessage>: get uri failed")});
    EXPECT_EQ(Run(OverlayFields().With("uri", "\"\"").Text()), kMissing);
    ExpectRefused({E("<KelCaptionOverlayParseTextMessage>: get uri failed")});
}

TEST_F(OverlayTest, AnotherTerminalsSwitchIsIgnored) {
    EXPECT_EQ(Run(OverlayFields().With("uri", Quoted("other")).Text()), kMissing);
    ExpectRefused(
        {E("<KelCaptionOverlayParseTextMessage>: some site subtile switch changed but not current one")});
}

TEST_F(OverlayTest, UriIsComparedExactly) {
    std::string upper = kUri;
    upper[0] = 'T';
    EXPECT_EQ(Run(OverlayFields().With("uri", Quoted(upper)).Text()), kMissing);
    EXPECT_THAT(observer->results, IsEmpty());
}

TEST_F(OverlayTest, UriIsCutTo255CharactersBeforeItIsCompared) {
    Put(Access::State().deviceId, std::string(255, 'u'));
    EXPECT_EQ(Run(OverlayFields().With("uri", Quoted(std::string(300, 'u'))).Text()), 0U);
    EXPECT_EQ(observer->results.size(), 1U);
}

TEST_F(OverlayTest, UriStoredWithoutTerminatorIsNotReadBeyondItsField) {
    FillWhole(Access::State().deviceId, 'u');
    Put(Access::State().confKey, "key");
    EXPECT_EQ(Run(OverlayFields().With("uri", Quoted(std::string(255, 'u'))).Text()), kMissing);
    EXPECT_THAT(observer->results, IsEmpty());
}

TEST_F(OverlayTest, UriOfTheCapabilityReportIsTheOneCompared) {
    Put(Access::State().deviceId, "");
    const TagQuorAiSubscribeInfo info = SubscribeInfo(AI_SUB_ID_ABILITY_REPORT);
    ASSERT_EQ(Kel().KelStompAiAbilityReport(&info), 0);
    EXPECT_EQ(Run(OverlayFields().Text()), 0U);
    EXPECT_EQ(observer->results.size(), 1U);
}

TEST_F(OverlayTest, MissingPauseIsLoggedByTheGetterAndTheHandler) {
    EXPECT_EQ(Run(OverlayFields().Without("pause").Text()), kMissing);
    ExpectRefused({E("<KelJsonGetBool>: key pause jsonObj is error"),
                   E("<KelCaptionOverlayParseTextMessage>: get pause failed")});
    EXPECT_EQ(Run(OverlayFields().With("pause", "1").Text()), kMissing);
    ExpectRefused({E("<KelJsonGetBool>: key pause jsonObj is error"),
                   E("<KelCaptionOverlayParseTextMessage>: get pause failed")});
}

TEST_F(OverlayTest, RecordThatDoesNotZero) {
    Fake().boundedFault = [](const BoundedCall& c) {
        return c.fn == Fn::MemsetS && c.destMax == sizeof(TagQuorAiConfCtrlStatusInfo);
    };
    EXPECT_EQ(Run(OverlayFields().Text()), 1U);
    ExpectRefused({E("<KelCaptionOverlayParseTextMessage>: memset_s statusInfo faild")});
}

TEST_F(OverlayTest, TheDocumentIsReleasedBeforeObserversRun) {
    std::size_t live = 99;
    observer->onUpdate = [&](const auto&) { live = Fake().LiveCJsonBlocks(); };
    Run(OverlayFields().Text());
    EXPECT_EQ(live, 0U);
}

}  // namespace
}  // namespace QuorTest
