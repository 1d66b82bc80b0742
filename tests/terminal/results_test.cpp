#include "results.h"

#include <gtest/gtest.h>

#include <cstring>

namespace quor_terminal {
namespace {

template <typename Record>
TagAiCloudSrvResult ResultOf(TagQuorAiSubId id, Record& record) {
    return {id, reinterpret_cast<unsigned char*>(&record), sizeof record};
}

TEST(Results, CaptionIsCopiedOut) {
    TagQuorAiKelVoiceTranslateInfo record{};
    record.isTranslation = 1;
    record.final = 1;
    record.startTime = 1.25;
    std::strcpy(record.uuid, "site-1");
    std::strcpy(record.name, "Anna");
    std::strcpy(record.text, "hello");
    std::strcpy(record.transText, "你好");
    std::strcpy(record.srcLang, "en-US");
    std::strcpy(record.dstLang, "zh-CN");
    Caption caption;
    ASSERT_TRUE(ReadCaption(ResultOf(AI_SUB_ID_CAPTION, record), caption));
    EXPECT_TRUE(caption.isTranslation);
    EXPECT_TRUE(caption.isFinal);
    EXPECT_EQ(caption.speaker, "Anna");
    EXPECT_EQ(caption.site, "site-1");
    EXPECT_EQ(caption.text, "hello");
    EXPECT_EQ(caption.transText, "你好");
    EXPECT_EQ(caption.startTime, 1.25);
}

TEST(Results, ASpeakerWithoutNameIsCalledByItsSite) {
    TagQuorAiKelVoiceTranslateInfo record{};
    std::strcpy(record.uuid, "site-1");
    Caption caption;
    ASSERT_TRUE(ReadCaption(ResultOf(AI_SUB_ID_CAPTION, record), caption));
    EXPECT_EQ(caption.speaker, "site-1");
}

TEST(Results, FieldsWithoutTerminatorEndAtTheirCapacity) {
    TagQuorAiKelVoiceTranslateInfo record{};
    std::memset(record.text, 'x', sizeof record.text);
    std::memset(record.transText, 'y', sizeof record.transText);
    Caption caption;
    ASSERT_TRUE(ReadCaption(ResultOf(AI_SUB_ID_CAPTION, record), caption));
    EXPECT_EQ(caption.text, std::string(sizeof record.text, 'x'));
}

TEST(Results, ShortOrForeignRecordsAreRefused) {
    TagQuorAiKelVoiceTranslateInfo record{};
    Caption caption;
    TagAiCloudSrvResult result = ResultOf(AI_SUB_ID_CAPTION, record);
    result.len -= 1;
    EXPECT_FALSE(ReadCaption(result, caption));
    result = ResultOf(AI_SUB_ID_CAPTION, record);
    result.data = nullptr;
    EXPECT_FALSE(ReadCaption(result, caption));
    EXPECT_FALSE(ReadCaption(ResultOf(AI_SUB_ID_CONF_SITE, record), caption));
    std::vector<Checkin> checkins;
    EXPECT_FALSE(ReadCheckins(result, checkins));
    unsigned int linkId = 0;
    EXPECT_FALSE(ReadLinkId(result, linkId));
}

TEST(Results, CheckinsAreBoundedByTheList) {
    TagQuorAiCheckinList list{};
    list.num = 4000000000U;
    std::strcpy(list.content[4].name, "last");
    std::vector<Checkin> checkins;
    ASSERT_TRUE(ReadCheckins(ResultOf(AI_SUB_ID_CHECKIN, list), checkins));
    ASSERT_EQ(checkins.size(), 5U);
    EXPECT_EQ(checkins[4].name, "last");
}

TEST(Results, LinkId) {
    unsigned int record = 42;
    unsigned int linkId = 0;
    ASSERT_TRUE(ReadLinkId(ResultOf(AI_SUB_ID_WS_CONNECTED, record), linkId));
    EXPECT_EQ(linkId, 42U);
}

}  // namespace
}  // namespace quor_terminal
