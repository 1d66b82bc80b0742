#include <cjson/cJSON.h>

#include <cstring>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

class ConferenceControlTest : public ChannelTest {
protected:
    ConferenceControlTest() { Watch(); }
    static int Run(const JsonFields& state) { return Access::Handle(Access::kConfCtrl, ConfCtrlBody(state)); }
    TagQuorAiConfCtrlStatusInfo Record() {
        return observer->results.empty()
                   ? TagQuorAiConfCtrlStatusInfo{}
                   : observer->As<TagQuorAiConfCtrlStatusInfo>(observer->results.size() - 1);
    }
    static LogLine Change(int status) {
        return I("<KelConfCtrlParseTextMessage>: Kel change caption switch to " + std::to_string(status));
    }
    static LogLine Summary(const std::string& rest) { return I("<KelConfCtrlParseTextMessage>: " + rest); }
};

TEST_F(ConferenceControlTest, DeliversTheRecordByteForByte) {
    EXPECT_EQ(Run(ConfCtrlState()), 0);
    TagQuorAiConfCtrlStatusInfo expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.status = 1;
    Put(expected.srcLang, "en-US");
    Put(expected.dstLang, "fr-FR");
    expected.enforce = 1;
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_CONF_CTRL);
    EXPECT_EQ(observer->results[0].len, 44U);
    EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), &expected, sizeof(expected)), 0);
    EXPECT_THAT(Logs(), ElementsAre(Change(1), Summary("srcLang=en-US, dtsLang=fr-FR, enforce=1")));
}

TEST_F(ConferenceControlTest, TheSummaryComesAfterTheReleaseAndBeforeTheObservers) {
    std::size_t live = 99;
    Fake().onLog = [&](LogKind, const std::string& text) {
        if (text.find("dtsLang") != std::string::npos) {
            live = Fake().LiveCJsonBlocks();
        }
    };
    Run(ConfCtrlState());
    EXPECT_EQ(live, 0U);
    EXPECT_THAT(Fake().Trail(), ElementsAre("ModuleLog", "ModuleLog", "Notify 2"));
}

TEST_F(ConferenceControlTest, BadInput) {
    EXPECT_EQ(Access::Handle(Access::kConfCtrl, nullptr, 5), 1);
    EXPECT_EQ(Access::Handle(Access::kConfCtrl, "{}", 0), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelConfCtrlParseTextMessage>: input is error"),
                                    E("<KelConfCtrlParseTextMessage>: input is error")));
}

TEST_F(ConferenceControlTest, RecordThatDoesNotZeroBeforeTheBodyIsParsed) {
    Fake().FailCall(Fn::MemsetS, 1);
    EXPECT_EQ(Access::Handle(Access::kConfCtrl, "no json"), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelConfCtrlParseTextMessage>: memset_s statusInfo faild")));
}

TEST_F(ConferenceControlTest, BodyThatDoesNotParse) {
    EXPECT_EQ(Access::Handle(Access::kConfCtrl, "no json"), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelConfCtrlParseTextMessage>: prase root faild")));
}

TEST_F(ConferenceControlTest, StatusMissingOrNoNumber) {
    const LogLine line = E("<KelConfCtrlParseTextMessage>: key subtitleStatus jsonObj is error");
    EXPECT_EQ(Access::Handle(Access::kConfCtrl, "{}"), 1) << "no state at all";
    EXPECT_EQ(Access::Handle(Access::kConfCtrl, R"({"state":3})"), 1);
    EXPECT_EQ(Run(ConfCtrlState().Without("subtitleStatus")), 1);
    EXPECT_EQ(Run(ConfCtrlState().With("subtitleStatus", "\"1\"")), 1);
    EXPECT_EQ(Run(ConfCtrlState().With("subtitleStatus", "true")), 1);
    EXPECT_THAT(Logs(), ElementsAre(line, line, line, line, line)) << "and no getter's line";
    EXPECT_THAT(observer->results, IsEmpty());
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
    EXPECT_EQ(Access::LastConfCtrl(), -1);
}

TEST_F(ConferenceControlTest, TheDocumentIsReleasedBeforeTheStatusErrorIsLogged) {
    std::size_t live = 99;
    Fake().onLog = [&](LogKind, const std::string&) { live = Fake().LiveCJsonBlocks(); };
    Access::Handle(Access::kConfCtrl, "{}");
    EXPECT_EQ(live, 0U);
}

TEST_F(ConferenceControlTest, EqualMessagesAreBothDeliveredAndOnlyTheFirstIsAChange) {
    Run(ConfCtrlState());
    Run(ConfCtrlState());
    EXPECT_EQ(observer->results.size(), 2U);
    const LogLine summary = Summary("srcLang=en-US, dtsLang=fr-FR, enforce=1");
    EXPECT_THAT(Logs(), ElementsAre(Change(1), summary, summary));
    Run(ConfCtrlState().With("subtitleStatus", "0"));
    EXPECT_EQ(Logs()[3], Change(0));
    EXPECT_EQ(Access::LastConfCtrl(), 0);
    EXPECT_EQ(Record().status, 0);
}

TEST_F(ConferenceControlTest, StatusMinusOneIsNoChangeAfterASubscription) {
    Run(ConfCtrlState().With("subtitleStatus", "-1"));
    EXPECT_EQ(Logs().size(), 1U);
    EXPECT_EQ(Record().status, -1);
}

TEST_F(ConferenceControlTest, SubscriptionForgetsTheLastStatus) {
    Run(ConfCtrlState());
    Subscribe(AI_SUB_ID_CONF_CTRL);
    Run(ConfCtrlState());
    EXPECT_EQ(Logs().front(), Change(1));
}

TEST_F(ConferenceControlTest, SourceLanguageThatIsNoTextEndsBothLanguagesButNotTheMessage) {
    EXPECT_EQ(Run(ConfCtrlState().Without("srcLang")), 0);
    EXPECT_STREQ(Record().srcLang, "");
    EXPECT_STREQ(Record().dstLang, "") << "although it is there";
    EXPECT_EQ(Record().enforce, 1);
    EXPECT_EQ(Logs().back(), Summary("srcLang=, dtsLang=, enforce=1"));
    EXPECT_EQ(Logs().size(), 2U) << "traces only";
}

TEST_F(ConferenceControlTest, MissingLanguagesAreTracedAboveLevelTwo) {
    Fake().traceLevel = 2;
    Run(ConfCtrlState().Without("srcLang"));
    EXPECT_THAT(TraceTexts(), IsEmpty());
    Fake().traceLevel = 3;
    Run(ConfCtrlState().Without("srcLang"));
    EXPECT_THAT(TraceTexts(), ElementsAre("<KelConfCtrlParseTextMessage>: get srcLang failed",
                                          "<KelConfCtrlParseTextMessage>: KelConfCtrlJudgeText failed!"));
    Fake().traces.clear();
    Run(ConfCtrlState().With("dstLang", "7"));
    EXPECT_THAT(TraceTexts(), ElementsAre("<KelConfCtrlParseTextMessage>: get dstLang failed",
                                          "<KelConfCtrlParseTextMessage>: KelConfCtrlJudgeText failed!"));
    EXPECT_STREQ(Record().srcLang, "en-US");
    EXPECT_STREQ(Record().dstLang, "");
}

TEST_F(ConferenceControlTest, OverlongLanguageIsRefusedNotCut) {
    EXPECT_EQ(Run(ConfCtrlState().With("srcLang", Quoted(std::string(16, 's')))), 0);
    EXPECT_STREQ(Record().srcLang, "");
    EXPECT_STREQ(Record().dstLang, "");
    EXPECT_EQ(Run(ConfCtrlState().With("dstLang", Quoted(std::string(16, 'd')))), 0);
    EXPECT_STREQ(Record().srcLang, "en-US");
    EXPECT_STREQ(Record().dstLang, "");
    EXPECT_THAT(Logs(), ElementsAre(Change(1), E("<KelConfCtrlParseTextMessage>: strcpy_s srcLang failed"),
                                    Summary("srcLang=, dtsLang=, enforce=1"),
                                    E("<KelConfCtrlParseTextMessage>: strcpy_s dstLang failed"),
                                    Summary("srcLang=en-US, dtsLang=, enforce=1")));
    EXPECT_EQ(Run(ConfCtrlState().With("dstLang", Quoted(std::string(15, 'd')))), 0);
    EXPECT_EQ(Record().dstLang, std::string(15, 'd'));
}

TEST_F(ConferenceControlTest, EmptyLanguagesAreTexts) {
    EXPECT_EQ(Run(ConfCtrlState().With("srcLang", "\"\"")), 0);
    EXPECT_STREQ(Record().dstLang, "fr-FR");
}

TEST_F(ConferenceControlTest, EnforceFallsBackToMinusOne) {
    Run(ConfCtrlState().Without("enforce"));
    EXPECT_EQ(Record().enforce, -1);
    Run(ConfCtrlState().With("enforce", "\"1\""));
    EXPECT_EQ(Record().enforce, -1);
    Run(ConfCtrlState().With("enforce", "true"));
    EXPECT_EQ(Record().enforce, -1);
    EXPECT_EQ(Logs().back(), Summary("srcLang=en-US, dtsLang=fr-FR, enforce=-1"));
}

TEST_F(ConferenceControlTest, JudgeTextResults) {
    cJSON* text = cJSON_CreateString("en");
    cJSON* number = cJSON_CreateNumber(1);
    TagQuorAiConfCtrlStatusInfo record{};
    EXPECT_EQ(Access::JudgeText(text, text, record), 0U);
    EXPECT_EQ(Access::JudgeText(number, text, record), 1U);
    EXPECT_EQ(Access::JudgeText(text, nullptr, record), 1U);
    cJSON_Delete(text);
    cJSON_Delete(number);
}

TEST_F(ConferenceControlTest, RecordLayout) {
    EXPECT_EQ(sizeof(TagQuorAiConfCtrlStatusInfo), 44U);
    EXPECT_EQ(offsetof(TagQuorAiConfCtrlStatusInfo, srcLang), 5U);
    EXPECT_EQ(offsetof(TagQuorAiConfCtrlStatusInfo, dstLang), 21U);
    EXPECT_EQ(offsetof(TagQuorAiConfCtrlStatusInfo, enforce), 40U);
}

}  // namespace
}  // namespace QuorTest
