// Captions and translations: one record, one id, two handlers.
#include <cstring>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

constexpr unsigned kMissing = 0xFFFFFFFFU;

class CaptionsTest : public ChannelTest {
protected:
    CaptionsTest() {
        Watch();
        Fake().traceLevel = 1;
    }
    static unsigned Caption(const JsonFields& fields) {
        return static_cast<unsigned>(Access::Handle(Access::kVoice, fields.Text()));
    }
    static unsigned Translation(const JsonFields& fields) {
        return static_cast<unsigned>(Access::Handle(Access::kTranslation, fields.Text()));
    }
    TagQuorAiKelVoiceTranslateInfo Record() { return observer->As<TagQuorAiKelVoiceTranslateInfo>(0); }
    void ExpectDropped(const std::vector<LogLine>& logs, const std::vector<std::string>& traces) {
        EXPECT_EQ(Logs(), logs);
        EXPECT_EQ(TraceTexts(), traces);
        EXPECT_THAT(observer->results, IsEmpty());
        EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U) << "the document is released on every path";
        Fake().ClearRecords();
    }
    // The first fields of a caption record, everything else zero.
    static TagQuorAiKelVoiceTranslateInfo ExpectedCaption() {
        TagQuorAiKelVoiceTranslateInfo record;
        std::memset(static_cast<void*>(&record), 0, sizeof(record));
        Put(record.srcLang, "en-US");
        record.startTime = 1.25;
        record.endTime = 2.5;
        Put(record.text, "hello");
        record.final = 1;
        Put(record.uuid, "site-1");
        Put(record.name, "Room One");
        return record;
    }
};

TEST_F(CaptionsTest, CaptionByteForByte) {
    EXPECT_EQ(Caption(CaptionFields()), 0U);
    const TagQuorAiKelVoiceTranslateInfo expected = ExpectedCaption();
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_CAPTION);
    EXPECT_EQ(observer->results[0].len, 2496U);
    EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), &expected, sizeof(expected)), 0);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_THAT(TraceTexts(), IsEmpty());
}

TEST_F(CaptionsTest, TranslationByteForByteUnderTheCaptionsId) {
    EXPECT_EQ(Translation(TranslationFields()), 0U);
    TagQuorAiKelVoiceTranslateInfo expected = ExpectedCaption();
    expected.isTranslation = 1;
    Put(expected.dstLang, "fr-FR");
    Put(expected.transText, "bonjour");
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_CAPTION);
    EXPECT_EQ(observer->results[0].len, 2496U);
    EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), &expected, sizeof(expected)), 0);
}

TEST_F(CaptionsTest, CaptionDoesNotReadTheTranslationsFields) {
    EXPECT_EQ(Caption(TranslationFields()), 0U);
    EXPECT_STREQ(Record().dstLang, "");
    EXPECT_STREQ(Record().transText, "");
    EXPECT_EQ(Record().isTranslation, 0U);
}

TEST_F(CaptionsTest, TheDocumentIsReleasedBeforeObserversRun) {
    std::size_t live = 99;
    observer->onUpdate = [&](const auto&) { live = Fake().LiveCJsonBlocks(); };
    Caption(CaptionFields());
    EXPECT_EQ(live, 0U);
    live = 99;
    Translation(TranslationFields());
    EXPECT_EQ(live, 0U);
}

TEST_F(CaptionsTest, BadInputHasOneTextForBothHandlers) {
    for (const Access::BodyHandler handler : {Access::kVoice, Access::kTranslation}) {
        EXPECT_EQ(Access::Handle(handler, nullptr, 3), 1);
        EXPECT_EQ(Access::Handle(handler, "{}", 0), 1);
        const LogLine line = E("<KelVoiceParseTextMessage>: input is error");
        ExpectDropped({line, line}, {});
    }
}

TEST_F(CaptionsTest, RecordThatDoesNotZero) {
    for (const Access::BodyHandler handler : {Access::kVoice, Access::kTranslation}) {
        Fake().FailCall(Fn::MemsetS, 1);
        EXPECT_EQ(Access::Handle(handler, TranslationFields().Text()), 1);
        ExpectDropped({E("<KelVoiceParseTextMessage>: memset_s transinfo faild")}, {});
    }
}

TEST_F(CaptionsTest, TheRecordIsZeroedBeforeTheBodyIsParsed) {
    Fake().FailCall(Fn::MemsetS, 1);
    EXPECT_EQ(Access::Handle(Access::kVoice, "no json"), 1);
    ExpectDropped({E("<KelVoiceParseTextMessage>: memset_s transinfo faild")}, {});
}

TEST_F(CaptionsTest, BodyThatDoesNotParse) {
    for (const Access::BodyHandler handler : {Access::kVoice, Access::kTranslation}) {
        EXPECT_EQ(Access::Handle(handler, "no json"), 1);
        ExpectDropped({E("<KelVoiceParseTextMessage>: prase root faild")}, {});
    }
}

TEST_F(CaptionsTest, CaptionMissingTextFieldsAreOnlyTraced) {
    const std::vector<std::pair<std::string, std::string>> fields = {
        {"text", "text"}, {"uuid", "site"}, {"srcLang", "srcLanguage"}};
    for (const auto& [key, named] : fields) {
        EXPECT_EQ(Caption(CaptionFields().Without(key)), kMissing);
        ExpectDropped({}, {"<KelVoiceParseTextMessage>: get " + named + " failed"});
        EXPECT_EQ(Caption(CaptionFields().With(key, "1")), kMissing);
        ExpectDropped({}, {"<KelVoiceParseTextMessage>: get " + named + " failed"});
        EXPECT_EQ(Caption(CaptionFields().With(key, "\"\"")), kMissing) << "empty texts are missing texts";
        ExpectDropped({}, {"<KelJsonGetStr>: key " + key + " value is error",
                           "<KelVoiceParseTextMessage>: get " + named + " failed"});
    }
}

TEST_F(CaptionsTest, MissingFlagsAndTimesAreTracedAndTheGetterWritesItsErrorLine) {
    EXPECT_EQ(Caption(CaptionFields().Without("final")), kMissing);
    ExpectDropped({E("<KelJsonGetBool>: key final jsonObj is error")},
                  {"<KelVoiceParseTextMessage>: get final failed"});
    EXPECT_EQ(Caption(CaptionFields().With("final", "1")), kMissing) << "only true and false are booleans";
    ExpectDropped({E("<KelJsonGetBool>: key final jsonObj is error")},
                  {"<KelVoiceParseTextMessage>: get final failed"});
    for (const std::string key : {"startTime", "endTime"}) {
        EXPECT_EQ(Caption(CaptionFields().Without(key)), kMissing);
        ExpectDropped({E("<KelJsonGetDouble>: key not found in JSON object")},
                      {"<KelVoiceParseTextMessage>: get " + key + " failed"});
        EXPECT_EQ(Caption(CaptionFields().With(key, "\"1\"")), kMissing);
        ExpectDropped({E("<KelJsonGetDouble>: key " + key + " jsonObj is error")},
                      {"<KelVoiceParseTextMessage>: get " + key + " failed"});
    }
}

TEST_F(CaptionsTest, NothingIsTracedAtLevelZero) {
    Fake().traceLevel = 0;
    EXPECT_EQ(Caption(CaptionFields().Without("text")), kMissing);
    ExpectDropped({}, {});
}

TEST_F(CaptionsTest, CaptionFieldsAreReadInTheirOrder) {
    const std::vector<std::pair<std::string, std::string>> order = {
        {"text", "text"},           {"uuid", "site"},           {"final", "final"},
        {"srcLang", "srcLanguage"}, {"startTime", "startTime"}, {"endTime", "endTime"}};
    JsonFields fields({});
    for (const auto& [key, named] : order) {
        Fake().ClearRecords();
        EXPECT_EQ(Caption(fields), kMissing);
        EXPECT_THAT(TraceTexts(), ElementsAre("<KelVoiceParseTextMessage>: get " + named + " failed"));
        fields = fields.With(key, key == "final"                           ? "true"
                                  : key == "startTime" || key == "endTime" ? "1"
                                                                           : "\"x\"");
    }
    EXPECT_EQ(Caption(fields), 0U);
}

TEST_F(CaptionsTest, NameIsOptional) {
    EXPECT_EQ(Caption(CaptionFields().Without("name")), 0U);
    EXPECT_STREQ(Record().name, "");
    observer->results.clear();
    EXPECT_EQ(Caption(CaptionFields().With("name", "5")), 0U);
    EXPECT_STREQ(Record().name, "");
    observer->results.clear();
    EXPECT_EQ(Translation(TranslationFields().Without("name")), 0U);
    EXPECT_STREQ(Record().name, "");
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_THAT(TraceTexts(), IsEmpty());
}

TEST_F(CaptionsTest, NameThatDoesNotCopyIsEmptied) {
    Fake().boundedFault = [](const BoundedCall& c) { return c.fn == Fn::StrncpyS && c.destMax == 193; };
    EXPECT_EQ(Caption(CaptionFields()), 0U);
    EXPECT_STREQ(Record().name, "");
    EXPECT_THAT(Logs(), ElementsAre(E("<KelJsonGetStr>: strcpy_s key name value failed")));
}

TEST_F(CaptionsTest, TextsAreCutToTheirCapacities) {
    const std::string longText(2000, 'x');
    JsonFields fields = TranslationFields();
    for (const char* key : {"srcLang", "dstLang", "text", "transText", "uuid", "name"}) {
        fields = fields.With(key, Quoted(longText));
    }
    EXPECT_EQ(Translation(fields), 0U);
    const auto record = Record();
    EXPECT_EQ(std::strlen(record.srcLang), 15U);
    EXPECT_EQ(std::strlen(record.dstLang), 15U);
    EXPECT_EQ(std::strlen(record.text), 1023U);
    EXPECT_EQ(std::strlen(record.transText), 1023U);
    EXPECT_EQ(std::strlen(record.uuid), 191U);
    EXPECT_EQ(std::strlen(record.name), 192U);
}

TEST_F(CaptionsTest, TimesKeepTheirFractions) {
    EXPECT_EQ(Caption(CaptionFields().With("startTime", "0.0078125").With("endTime", "-3e2")), 0U);
    EXPECT_EQ(Record().startTime, 0.0078125);
    EXPECT_EQ(Record().endTime, -300.0);
}

TEST_F(CaptionsTest, InterimCaption) {
    EXPECT_EQ(Caption(CaptionFields().With("final", "false")), 0U);
    EXPECT_EQ(Record().final, 0);
}

TEST_F(CaptionsTest, KeysAreFoundWhateverTheirCase) {
    EXPECT_EQ(Caption(CaptionFields().Without("text").With("TEXT", "\"upper\"")), 0U);
    EXPECT_STREQ(Record().text, "upper");
}

TEST_F(CaptionsTest, TranslationsFirstFourFieldsAreAlsoAnErrorLine) {
    const LogLine line = E("<KelVoiceParseTextMessage>: KelParseTransTextMessage faild");
    const std::vector<std::pair<std::string, std::string>> fields = {
        {"srcLang", "srcLanguage"}, {"dstLang", "dstLanguage"}, {"text", "text"}, {"transText", "text"}};
    for (const auto& [key, named] : fields) {
        EXPECT_EQ(Translation(TranslationFields().Without(key)), 1U);
        ExpectDropped({line}, {"<KelVoiceParseTextMessage>: get " + named + " failed"});
    }
}

TEST_F(CaptionsTest, TranslationsOtherFieldsAreAsInACaption) {
    EXPECT_EQ(Translation(TranslationFields().Without("uuid")), kMissing);
    ExpectDropped({}, {"<KelVoiceParseTextMessage>: get site failed"});
    EXPECT_EQ(Translation(TranslationFields().Without("final")), kMissing);
    ExpectDropped({E("<KelJsonGetBool>: key final jsonObj is error")},
                  {"<KelVoiceParseTextMessage>: get final failed"});
    for (const std::string key : {"startTime", "endTime"}) {
        EXPECT_EQ(Translation(TranslationFields().Without(key)), kMissing);
        ExpectDropped({E("<KelJsonGetDouble>: key not found in JSON object")},
                      {"<KelVoiceParseTextMessage>: get " + key + " failed"});
    }
}

TEST_F(CaptionsTest, TranslationFieldsAreReadInTheirOrder) {
    const std::vector<std::pair<std::string, std::string>> order = {
        {"srcLang", "srcLanguage"}, {"dstLang", "dstLanguage"}, {"text", "text"},
        {"transText", "text"},      {"uuid", "site"},           {"final", "final"},
        {"startTime", "startTime"}, {"endTime", "endTime"}};
    JsonFields fields({});
    for (const auto& [key, named] : order) {
        Fake().ClearRecords();
        EXPECT_NE(Translation(fields), 0U);
        EXPECT_THAT(TraceTexts(), ElementsAre("<KelVoiceParseTextMessage>: get " + named + " failed"));
        fields = fields.With(key, key == "final"                           ? "true"
                                  : key == "startTime" || key == "endTime" ? "1"
                                                                           : "\"x\"");
    }
    EXPECT_EQ(Translation(fields), 0U);
}

TEST_F(CaptionsTest, TextAfterTheDocumentIsAccepted) {
    EXPECT_EQ(Access::Handle(Access::kVoice, CaptionFields().Text() + "\n garbage"), 0);
    EXPECT_EQ(observer->results.size(), 1U);
}

TEST_F(CaptionsTest, RecordLayout) {
    EXPECT_EQ(sizeof(TagQuorAiKelVoiceTranslateInfo), 2496U);
    EXPECT_EQ(offsetof(TagQuorAiKelVoiceTranslateInfo, startTime), 40U);
    EXPECT_EQ(offsetof(TagQuorAiKelVoiceTranslateInfo, text), 56U);
    EXPECT_EQ(offsetof(TagQuorAiKelVoiceTranslateInfo, transText), 1080U);
    EXPECT_EQ(offsetof(TagQuorAiKelVoiceTranslateInfo, final), 2104U);
    EXPECT_EQ(offsetof(TagQuorAiKelVoiceTranslateInfo, uuid), 2105U);
    EXPECT_EQ(offsetof(TagQuorAiKelVoiceTranslateInfo, name), 2297U);
}

}  // namespace
}  // namespace QuorTest
