#include "conference_channel/kel_json.h"

#include <climits>

#include "support/channel_test.h"

namespace QuorTest {
namespace {

using QuorAiEngine::KelJsonGetBool;
using QuorAiEngine::KelJsonGetDouble;
using QuorAiEngine::KelJsonGetNum;
using QuorAiEngine::KelJsonGetStr;

class KelJsonTest : public ChannelTest {
protected:
    ~KelJsonTest() override { cJSON_Delete(m_root); }

    cJSON* Root(const char* text) {
        cJSON_Delete(m_root);
        m_root = cJSON_Parse(text);
        return m_root;
    }

    cJSON* m_root = nullptr;
    char m_out[16] = "unchanged";
};

TEST_F(KelJsonTest, StrCopies) {
    EXPECT_EQ(KelJsonGetStr(Root(R"({"A":"text"})"), "a", m_out, sizeof(m_out)), 0U)
        << "whatever the key's case";
    EXPECT_STREQ(m_out, "text");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(KelJsonTest, StrCutsATextThatIsTooLong) {
    EXPECT_EQ(KelJsonGetStr(Root(R"({"a":"0123456789"})"), "a", m_out, 10), 0U);
    EXPECT_STREQ(m_out, "012345678");
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(KelJsonTest, StrMayCutWithinACharacter) {
    EXPECT_EQ(KelJsonGetStr(Root("{\"a\":\"ab\xC3\xA9\"}"), "a", m_out, 4), 0U);
    EXPECT_STREQ(m_out, "ab\xC3");
}

TEST_F(KelJsonTest, StrTestsOnlyItsOutput) {
    EXPECT_EQ(KelJsonGetStr(Root(R"({"a":"x"})"), "a", nullptr, 10), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelJsonGetStr>: input param error")));
    Fake().ClearRecords();
    EXPECT_EQ(KelJsonGetStr(nullptr, "a", m_out, 10), 1U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(KelJsonTest, StrMissingOrOfAnotherTypeIsSilent) {
    Fake().traceLevel = 255;
    cJSON* root = Root(R"({"n":1,"z":null})");
    EXPECT_EQ(KelJsonGetStr(root, "a", m_out, 10), 1U);
    EXPECT_EQ(KelJsonGetStr(root, "n", m_out, 10), 1U);
    EXPECT_EQ(KelJsonGetStr(root, "z", m_out, 10), 1U);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_THAT(TraceTexts(), IsEmpty());
    EXPECT_STREQ(m_out, "unchanged");
}

TEST_F(KelJsonTest, StrEmptyIsOnlyTraced) {
    cJSON* root = Root(R"({"a":""})");
    EXPECT_EQ(KelJsonGetStr(root, "a", m_out, 10), 1U);
    EXPECT_THAT(TraceTexts(), IsEmpty()) << "level 0: no trace";
    Fake().traceLevel = 1;
    EXPECT_EQ(KelJsonGetStr(root, "a", m_out, 10), 1U);
    EXPECT_THAT(TraceTexts(), ElementsAre("<KelJsonGetStr>: key a value is error"));
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_STREQ(m_out, "unchanged");
}

TEST_F(KelJsonTest, StrCopyFailureNamesAnotherFunction) {
    Fake().FailCall(Fn::StrncpyS, 1);
    EXPECT_EQ(KelJsonGetStr(Root(R"({"a":"x"})"), "a", m_out, 10), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelJsonGetStr>: strcpy_s key a value failed")));
}

TEST_F(KelJsonTest, StrWithoutCapacityFails) {
    EXPECT_EQ(KelJsonGetStr(Root(R"({"a":"x"})"), "a", m_out, 0), 1U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelJsonGetStr>: strcpy_s key a value failed")));
    EXPECT_STREQ(m_out, "unchanged");
}

TEST_F(KelJsonTest, StrCopiesWithOneLessThanTheCapacity) {
    KelJsonGetStr(Root(R"({"a":"x"})"), "a", m_out, 10);
    ASSERT_EQ(Fake().boundedCalls.size(), 1U);
    EXPECT_EQ(Fake().boundedCalls[0].fn, Fn::StrncpyS);
    EXPECT_EQ(Fake().boundedCalls[0].destMax, 10U);
    EXPECT_EQ(Fake().boundedCalls[0].count, 9U);
}

TEST_F(KelJsonTest, Bool) {
    cJSON* root = Root(R"({"t":true,"f":false,"one":1,"s":"true"})");
    unsigned char value = 77;
    EXPECT_EQ(KelJsonGetBool(root, "t", &value), 0U);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(KelJsonGetBool(root, "f", &value), 0U);
    EXPECT_EQ(value, 0);
    value = 77;
    EXPECT_EQ(KelJsonGetBool(root, "one", &value), 1U);
    EXPECT_EQ(KelJsonGetBool(root, "s", &value), 1U);
    EXPECT_EQ(KelJsonGetBool(root, "none", &value), 1U);
    EXPECT_EQ(KelJsonGetBool(nullptr, "t", &value), 1U);
    EXPECT_EQ(value, 77);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelJsonGetBool>: key one jsonObj is error"),
                                    E("<KelJsonGetBool>: key s jsonObj is error"),
                                    E("<KelJsonGetBool>: key none jsonObj is error"),
                                    E("<KelJsonGetBool>: key t jsonObj is error")));
}

TEST_F(KelJsonTest, NumIsUnsignedWithTheBitsOfTheInteger) {
    cJSON* root = Root(R"({"a":12,"neg":-1,"big":4294967295})");
    unsigned value = 0;
    EXPECT_EQ(KelJsonGetNum(root, "a", &value), 0U);
    EXPECT_EQ(value, 12U);
    EXPECT_EQ(KelJsonGetNum(root, "neg", &value), 0U);
    EXPECT_EQ(value, 0xFFFFFFFFU);
    EXPECT_EQ(KelJsonGetNum(root, "big", &value), 0U);
    EXPECT_EQ(value, 2147483647U) << "the integer saturates";
}

TEST_F(KelJsonTest, NumFailures) {
    cJSON* root = Root(R"({"a":1,"s":"1","t":true})");
    unsigned value = 77;
    EXPECT_EQ(KelJsonGetNum(root, "a", nullptr), 1U);
    EXPECT_EQ(KelJsonGetNum(root, "s", &value), 1U);
    EXPECT_EQ(KelJsonGetNum(root, "t", &value), 1U);
    EXPECT_EQ(KelJsonGetNum(root, "none", &value), 1U);
    EXPECT_EQ(KelJsonGetNum(nullptr, "a", &value), 1U);
    EXPECT_EQ(value, 77U);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelJsonGetNum>: input param error"),
                                    E("<KelJsonGetNum>: key s jsonObj is error"),
                                    E("<KelJsonGetNum>: key t jsonObj is error"),
                                    E("<KelJsonGetNum>: key none jsonObj is error"),
                                    E("<KelJsonGetNum>: key a jsonObj is error")));
}

TEST_F(KelJsonTest, DoubleKeepsFractions) {
    double value = 0;
    EXPECT_EQ(KelJsonGetDouble(Root(R"({"a":1.0625})"), "a", &value), 0U);
    EXPECT_EQ(value, 1.0625);
}

TEST_F(KelJsonTest, DoubleMissingMemberIsLoggedWithoutItsName) {
    double value = 77;
    EXPECT_EQ(KelJsonGetDouble(Root(R"({"s":"1"})"), "a", &value), 1U);
    EXPECT_EQ(KelJsonGetDouble(nullptr, "a", &value), 1U);
    EXPECT_EQ(KelJsonGetDouble(m_root, "s", &value), 1U);
    EXPECT_EQ(value, 77);
    EXPECT_THAT(Logs(), ElementsAre(E("<KelJsonGetDouble>: key not found in JSON object"),
                                    E("<KelJsonGetDouble>: key not found in JSON object"),
                                    E("<KelJsonGetDouble>: key s jsonObj is error")));
}

TEST_F(KelJsonTest, TraceLineIsPrefixFunctionLineText) {
    Fake().traceLevel = 1;
    KelJsonGetStr(Root(R"({"a":""})"), "a", m_out, 10);
    ASSERT_EQ(Fake().traces.size(), 1U);
    const TraceLine& trace = Fake().traces[0];
    EXPECT_EQ(trace.format, "%s") << "text from outside is never a format";
    EXPECT_EQ(trace.function, "KelJsonGetStr");
    EXPECT_GT(trace.line, 0U);
    EXPECT_EQ(trace.whole, "AI_TRACE [KelJsonGetStr:" + std::to_string(trace.line) +
                               "]:<KelJsonGetStr>: key a value is error")
        << "no line feed is added";
}

TEST_F(KelJsonTest, TraceThatCannotBeFormattedIsReplaced) {
    Fake().traceLevel = 1;
    Fake().FailCall(Fn::SnprintfS, 1);
    KelJsonGetStr(Root(R"({"a":""})"), "a", m_out, 10);
    ASSERT_EQ(Fake().traces.size(), 1U);
    EXPECT_EQ(Fake().traces[0].whole, "AI_TRACE_ERROR: snprintf_s error!\n");
}

TEST_F(KelJsonTest, TraceLongerThanItsBufferIsReplaced) {
    Fake().traceLevel = 1;
    const std::string key(400, 'k');
    KelJsonGetStr(Root(("{\"" + key + "\":\"\"}").c_str()), key.c_str(), m_out, 10);
    EXPECT_THAT(TraceTexts(), ElementsAre("AI_TRACE_ERROR: snprintf_s error!\n"));
    ASSERT_FALSE(Fake().boundedCalls.empty());
    EXPECT_EQ(Fake().boundedCalls.back().fn, Fn::SnprintfS);
    EXPECT_EQ(Fake().boundedCalls.back().destMax, 400U);
    EXPECT_EQ(Fake().boundedCalls.back().count, 399U);
}

TEST_F(KelJsonTest, TraceOfExactly399BytesIsPrinted) {
    Fake().traceLevel = 1;
    KelJsonGetStr(Root(R"({"a":""})"), "a", m_out, 10);
    const std::size_t shortest = Fake().traces[0].whole.size();
    const std::string key(399 - shortest + 1, 'k');
    const std::string longer = key + "k";
    Fake().traces.clear();
    KelJsonGetStr(Root(("{\"" + key + "\":\"\"}").c_str()), key.c_str(), m_out, 10);
    KelJsonGetStr(Root(("{\"" + longer + "\":\"\"}").c_str()), longer.c_str(), m_out, 10);
    ASSERT_EQ(Fake().traces.size(), 2U);
    EXPECT_EQ(Fake().traces[0].whole.size(), 399U);
    EXPECT_EQ(Fake().traces[1].whole, "AI_TRACE_ERROR: snprintf_s error!\n");
}

TEST_F(KelJsonTest, TracesNeverPrintFormatsFromOutside) {
    Fake().traceLevel = 1;
    KelJsonGetStr(Root(R"({"%s%n":""})"), "%s%n", m_out, 10);
    EXPECT_THAT(TraceTexts(), ElementsAre("<KelJsonGetStr>: key %s%n value is error"));
}

}  // namespace
}  // namespace QuorTest
