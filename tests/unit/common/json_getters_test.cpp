#include "common/json_getters.h"

#include <climits>
#include <cstring>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

using QuorAiEngine::JsonGetArray;
using QuorAiEngine::JsonGetBool;
using QuorAiEngine::JsonGetNum;
using QuorAiEngine::JsonGetStr;

constexpr unsigned kFailed = 0xFFFFFFFFU;

class JsonGettersTest : public ChannelTest {
protected:
    ~JsonGettersTest() override { cJSON_Delete(m_root); }

    cJSON* Root(const char* text) {
        cJSON_Delete(m_root);
        m_root = cJSON_Parse(text);
        return m_root;
    }
    static LogLine Error(const std::string& text) { return E(text, kCommonModule); }

    cJSON* m_root = nullptr;
    char m_out[16] = "unchanged";
};

TEST_F(JsonGettersTest, StrCopiesTheWholeText) {
    EXPECT_EQ(JsonGetStr(Root(R"({"a":"text"})"), "a", m_out, sizeof(m_out)), 0U);
    EXPECT_STREQ(m_out, "text");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(JsonGettersTest, StrNullArguments) {
    cJSON* root = Root(R"({"a":"text"})");
    EXPECT_EQ(JsonGetStr(nullptr, "a", m_out, sizeof(m_out)), kFailed);
    EXPECT_EQ(JsonGetStr(root, nullptr, m_out, sizeof(m_out)), kFailed);
    EXPECT_EQ(JsonGetStr(root, "a", nullptr, 16), kFailed);
    const LogLine line = Error("<JsonGetStr>: input param error");
    EXPECT_THAT(Logs(), ElementsAre(line, line, line));
    EXPECT_STREQ(m_out, "unchanged");
}

TEST_F(JsonGettersTest, StrMissingOrOfAnotherType) {
    cJSON* root = Root(R"({"n":1,"z":null})");
    EXPECT_EQ(JsonGetStr(root, "a", m_out, sizeof(m_out)), kFailed);
    EXPECT_EQ(JsonGetStr(root, "n", m_out, sizeof(m_out)), kFailed);
    EXPECT_EQ(JsonGetStr(root, "z", m_out, sizeof(m_out)), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(Error("<JsonGetStr>: key a jsonObj is error"),
                                    Error("<JsonGetStr>: key n jsonObj is error"),
                                    Error("<JsonGetStr>: key z jsonObj is error")));
    EXPECT_STREQ(m_out, "unchanged") << "outputs are not cleared";
}

TEST_F(JsonGettersTest, StrEmptyText) {
    EXPECT_EQ(JsonGetStr(Root(R"({"a":""})"), "a", m_out, sizeof(m_out)), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(Error("<JsonGetStr>: key a value is error")));
    EXPECT_STREQ(m_out, "unchanged");
}

TEST_F(JsonGettersTest, StrNullText) {
    cJSON* root = Root(R"({"a":"x"})");
    cJSON* item = cJSON_GetObjectItem(root, "a");
    cJSON_free(item->valuestring);
    item->valuestring = nullptr;
    EXPECT_EQ(JsonGetStr(root, "a", m_out, sizeof(m_out)), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(Error("<JsonGetStr>: key a value is error")));
}

TEST_F(JsonGettersTest, StrRefusesATextWithoutRoomForItsTerminator) {
    EXPECT_EQ(JsonGetStr(Root(R"({"a":"0123456789"})"), "a", m_out, 10), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(Error("<JsonGetStr>: strcpy_s key a value failed")));
    EXPECT_STREQ(m_out, "") << "what the bounded copy leaves";
    EXPECT_EQ(JsonGetStr(m_root, "a", m_out, 11), 0U);
    EXPECT_STREQ(m_out, "0123456789");
}

TEST_F(JsonGettersTest, KeysAreFoundWhateverTheirCaseAndTheFirstCounts) {
    EXPECT_EQ(JsonGetStr(Root(R"({"NAME":"first","name":"second"})"), "name", m_out, sizeof(m_out)), 0U);
    EXPECT_STREQ(m_out, "first");
}

TEST_F(JsonGettersTest, ArrayGivesNodeAndCount) {
    cJSON* array = nullptr;
    unsigned size = 77;
    EXPECT_EQ(JsonGetArray(Root(R"({"a":[1,2,3]})"), "a", array, size), 0U);
    EXPECT_EQ(array, cJSON_GetObjectItem(m_root, "a"));
    EXPECT_EQ(size, 3U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(JsonGettersTest, ArrayMisuse) {
    cJSON* root = Root(R"({"a":[1]})");
    unsigned size = 77;
    cJSON* array = nullptr;
    EXPECT_EQ(JsonGetArray(nullptr, "a", array, size), kFailed);
    EXPECT_EQ(JsonGetArray(root, nullptr, array, size), kFailed);
    array = root;
    EXPECT_EQ(JsonGetArray(root, "a", array, size), kFailed) << "array must be null on entry";
    EXPECT_EQ(array, root) << "nothing was looked up";
    const LogLine line = Error("<JsonGetArray>: input param error");
    EXPECT_THAT(Logs(), ElementsAre(line, line, line));
    EXPECT_EQ(size, 77U);
}

TEST_F(JsonGettersTest, ArrayOfAnotherTypeIsStoredAllTheSame) {
    cJSON* root = Root(R"({"a":{"b":1}})");
    cJSON* array = nullptr;
    unsigned size = 77;
    EXPECT_EQ(JsonGetArray(root, "a", array, size), kFailed);
    EXPECT_EQ(array, cJSON_GetObjectItem(root, "a"));
    array = nullptr;
    EXPECT_EQ(JsonGetArray(root, "none", array, size), kFailed);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(size, 77U);
    EXPECT_THAT(Logs(), ElementsAre(Error("<JsonGetArray>: key a is error"),
                                    Error("<JsonGetArray>: key none is error")));
}

TEST_F(JsonGettersTest, EmptyArrayIsAnError) {
    cJSON* array = nullptr;
    unsigned size = 77;
    EXPECT_EQ(JsonGetArray(Root(R"({"a":[]})"), "a", array, size), kFailed);
    EXPECT_EQ(array, cJSON_GetObjectItem(m_root, "a"));
    EXPECT_EQ(size, 77U);
    EXPECT_THAT(Logs(), ElementsAre(Error("<JsonGetArray>: key a array is empty")));
}

TEST_F(JsonGettersTest, BoolIsOneOrZero) {
    cJSON* root = Root(R"({"t":true,"f":false})");
    int value = 77;
    EXPECT_EQ(JsonGetBool(root, "t", &value), 0U);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(JsonGetBool(root, "f", &value), 0U);
    EXPECT_EQ(value, 0);
}

TEST_F(JsonGettersTest, BoolRefusesNumbersAndTexts) {
    cJSON* root = Root(R"({"one":1,"text":"true"})");
    int value = 77;
    EXPECT_EQ(JsonGetBool(root, "one", &value), kFailed);
    EXPECT_EQ(JsonGetBool(root, "text", &value), kFailed);
    EXPECT_EQ(JsonGetBool(root, "none", &value), kFailed);
    EXPECT_EQ(value, 77);
    EXPECT_THAT(Logs(), ElementsAre(Error("<JsonGetBool>: key one jsonObj is error"),
                                    Error("<JsonGetBool>: key text jsonObj is error"),
                                    Error("<JsonGetBool>: key none jsonObj is error")));
}

TEST_F(JsonGettersTest, BoolNullArguments) {
    cJSON* root = Root(R"({"t":true})");
    int value = 77;
    EXPECT_EQ(JsonGetBool(nullptr, "t", &value), kFailed);
    EXPECT_EQ(JsonGetBool(root, nullptr, &value), kFailed);
    EXPECT_EQ(JsonGetBool(root, "t", nullptr), kFailed);
    const LogLine line = Error("<JsonGetBool>: input param error");
    EXPECT_THAT(Logs(), ElementsAre(line, line, line));
}

TEST_F(JsonGettersTest, NumIsTheIntegerValue) {
    cJSON* root = Root(R"({"a":-12,"b":3.99,"big":1e12,"small":-1e12})");
    int value = 0;
    EXPECT_EQ(JsonGetNum(root, "a", &value), 0U);
    EXPECT_EQ(value, -12);
    EXPECT_EQ(JsonGetNum(root, "b", &value), 0U);
    EXPECT_EQ(value, 3);
    EXPECT_EQ(JsonGetNum(root, "big", &value), 0U);
    EXPECT_EQ(value, INT_MAX);
    EXPECT_EQ(JsonGetNum(root, "small", &value), 0U);
    EXPECT_EQ(value, INT_MIN);
}

TEST_F(JsonGettersTest, NumRefusesOthers) {
    cJSON* root = Root(R"({"s":"1","t":true})");
    int value = 77;
    EXPECT_EQ(JsonGetNum(root, "s", &value), kFailed);
    EXPECT_EQ(JsonGetNum(root, "t", &value), kFailed);
    EXPECT_EQ(JsonGetNum(root, "none", &value), kFailed);
    EXPECT_EQ(value, 77);
    EXPECT_THAT(Logs(), ElementsAre(Error("<JsonGetNum>: key s jsonObj is error"),
                                    Error("<JsonGetNum>: key t jsonObj is error"),
                                    Error("<JsonGetNum>: key none jsonObj is error")));
}

TEST_F(JsonGettersTest, NumNullArguments) {
    cJSON* root = Root(R"({"a":1})");
    int value = 77;
    EXPECT_EQ(JsonGetNum(nullptr, "a", &value), kFailed);
    EXPECT_EQ(JsonGetNum(root, nullptr, &value), kFailed);
    EXPECT_EQ(JsonGetNum(root, "a", nullptr), kFailed);
    const LogLine line = Error("<JsonGetNum>: input param error");
    EXPECT_THAT(Logs(), ElementsAre(line, line, line));
}

TEST_F(JsonGettersTest, TheFileIdIsFetchedForEveryLine) {
    unsigned size = 0;
    cJSON* array = nullptr;
    JsonGetArray(nullptr, "a", array, size);
    Fake().logFileId = 0x00074321U;
    JsonGetArray(nullptr, "a", array, size);
    EXPECT_THAT(Fake().logFileNames, ElementsAre("AiLog.log", "AiLog.log"));
}

}  // namespace
}  // namespace QuorTest
