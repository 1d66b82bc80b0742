#include <cjson/cJSON.h>

#include <cstring>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

class CheckinTest : public ChannelTest {
protected:
    CheckinTest() { Watch(); }
    static int Run(const std::string& body) { return Access::Handle(Access::kCheckin, body); }
    static std::string One(const JsonFields& fields) { return CheckinBody({fields.Text()}); }
    void ExpectDropped() { EXPECT_THAT(observer->results, IsEmpty()); }
};

TEST_F(CheckinTest, DeliversTheWholeRecord) {
    EXPECT_EQ(Run(One(CheckinFields())), 0);
    TagQuorAiCheckinList expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.num = 1;
    Put(expected.content[0].name, "Ada");
    Put(expected.content[0].account, "ada@example.org");
    Put(expected.content[0].checkInTime, "2024-05-06 07:08:09");
    Put(expected.content[0].type, "face");
    Put(expected.content[0].participantName, "Room One");
    ASSERT_EQ(observer->results.size(), 1U);
    EXPECT_EQ(observer->results[0].id, AI_SUB_ID_CHECKIN);
    EXPECT_EQ(observer->results[0].len, 5284U);
    EXPECT_EQ(std::memcmp(observer->results[0].bytes.data(), &expected, sizeof(expected)), 0);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
}

TEST_F(CheckinTest, FiveEntriesInOrder) {
    std::vector<std::string> entries;
    entries.reserve(5);
    for (int i = 0; i < 5; ++i) {
        entries.push_back(CheckinFields().With("name", Quoted("n" + std::to_string(i))).Text());
    }
    EXPECT_EQ(Run(CheckinBody(entries)), 0);
    const auto list = observer->As<TagQuorAiCheckinList>(0);
    EXPECT_EQ(list.num, 5U);
    EXPECT_STREQ(list.content[0].name, "n0");
    EXPECT_STREQ(list.content[4].name, "n4");
}

TEST_F(CheckinTest, TheDocumentIsReleasedBeforeObserversRun) {
    std::size_t live = 99;
    observer->onUpdate = [&](const auto&) { live = Fake().LiveCJsonBlocks(); };
    Run(One(CheckinFields()));
    EXPECT_EQ(live, 0U);
}

TEST_F(CheckinTest, BadInput) {
    EXPECT_EQ(Access::Handle(Access::kCheckin, nullptr, 5), 1);
    EXPECT_EQ(Access::Handle(Access::kCheckin, "{}", 0), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelParseCheckinTextMessage>: input is error"),
                                    E("<KelParseCheckinTextMessage>: input is error")));
}

TEST_F(CheckinTest, BodyThatDoesNotParse) {
    EXPECT_EQ(Run("{"), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelParseCheckinTextMessage>: prase root faild")));
}

TEST_F(CheckinTest, LengthIsOnlyTestedForZeroAndTextAfterTheDocumentIsAccepted) {
    const std::string body = One(CheckinFields()) + " trailing";
    EXPECT_EQ(Access::Handle(Access::kCheckin, body.c_str(), 1), 0);
    EXPECT_EQ(observer->results.size(), 1U);
}

TEST_F(CheckinTest, ListMissingOrNoArray) {
    EXPECT_EQ(Run("{}"), 1);
    EXPECT_EQ(Run(R"({"checkInfoList":{}})"), 1);
    EXPECT_EQ(Run("[]"), 1);
    const LogLine line = E("<KelParseCheckinTextMessage>: parse checkinlist faild");
    EXPECT_THAT(Logs(), ElementsAre(line, line, line));
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
    ExpectDropped();
}

TEST_F(CheckinTest, ListOfNoneOrSix) {
    EXPECT_EQ(Run(CheckinBody({})), 1);
    EXPECT_EQ(Run(CheckinBody(std::vector<std::string>(6, CheckinFields().Text()))), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelParseCheckinTextMessage>: listSize(0) is invalid"),
                                    E("<KelParseCheckinTextMessage>: listSize(6) is invalid")));
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
    ExpectDropped();
}

TEST_F(CheckinTest, OneBadEntryDropsTheWholeList) {
    const std::string good = CheckinFields().Text();
    EXPECT_EQ(Run(CheckinBody({good, CheckinFields().Without("participantName").Text(), good})), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelParseCheckinTextMessage>: parse checkin[1] failed")))
        << "the missing field itself is no error line";
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U);
    ExpectDropped();
}

TEST_F(CheckinTest, MissingFieldsAreTracedWhenTheTraceLevelIsAboveZero) {
    for (const std::string field : {"name", "account", "checkInTime", "type", "participantName"}) {
        Fake().ClearRecords();
        Fake().traceLevel = 0;
        EXPECT_EQ(Run(One(CheckinFields().Without(field))), 1);
        EXPECT_THAT(TraceTexts(), IsEmpty());
        Fake().traceLevel = 1;
        EXPECT_EQ(Run(One(CheckinFields().Without(field))), 1);
        EXPECT_THAT(TraceTexts(), ElementsAre("<ParseCheckinContent>: get " + field + " failed"));
    }
}

TEST_F(CheckinTest, FieldsAreReadInOrderAndTheFirstFailureEnds) {
    Fake().traceLevel = 1;
    Run(CheckinBody({"{}"}));
    EXPECT_THAT(TraceTexts(), ElementsAre("<ParseCheckinContent>: get name failed"));
}

TEST_F(CheckinTest, EmptyFieldDropsTheList) {
    EXPECT_EQ(Run(One(CheckinFields().With("account", "\"\""))), 1);
    ExpectDropped();
}

TEST_F(CheckinTest, FieldsAreCutToTheirCapacities) {
    const std::string longText(400, 'x');
    JsonFields fields = CheckinFields();
    for (const char* field : {"name", "account", "checkInTime", "type", "participantName"}) {
        fields = fields.With(field, Quoted(longText));
    }
    EXPECT_EQ(Run(One(fields)), 0);
    const auto list = observer->As<TagQuorAiCheckinList>(0);
    EXPECT_EQ(std::strlen(list.content[0].name), 255U);
    EXPECT_EQ(std::strlen(list.content[0].account), 255U);
    EXPECT_EQ(std::strlen(list.content[0].checkInTime), 255U);
    EXPECT_EQ(std::strlen(list.content[0].type), 31U);
    EXPECT_EQ(std::strlen(list.content[0].participantName), 255U);
}

TEST_F(CheckinTest, EntryNeedsAnItem) {
    TagQuorAiGetSigninContent entry{};
    EXPECT_EQ(Access::CheckinContent(nullptr, entry), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("Null ptr.")));
}

TEST_F(CheckinTest, EntryWithAMissingFieldHasItsOwnResult) {
    TagQuorAiGetSigninContent entry{};
    cJSON* item = cJSON_Parse("{}");
    EXPECT_EQ(Access::CheckinContent(item, entry), 0xFFFFFFFFU);
    cJSON_Delete(item);
}

TEST_F(CheckinTest, EntryThatIsNoObject) {
    EXPECT_EQ(Run(CheckinBody({"1"})), 1);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelParseCheckinTextMessage>: parse checkin[0] failed")));
}

}  // namespace
}  // namespace QuorTest
