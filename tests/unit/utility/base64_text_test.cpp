// Base64 through the platform.
#include <cjson/cJSON.h>

#include <cstring>
#include <memory>

#include "quor_platform/base64.h"
#include "support/http_test.h"

namespace QuorTest {
namespace {

constexpr unsigned kFailed = 0xFFFFFFFFU;

struct JsonDelete {
    void operator()(cJSON* item) const { cJSON_Delete(item); }
};
using Json = std::unique_ptr<cJSON, JsonDelete>;

class Base64Test : public HttpTest {
protected:
    unsigned Encode(const std::string& text) {
        return HttpProtocol::AiUtilityCovert2Base64(m_text,
                                                    reinterpret_cast<const unsigned char*>(text.data()),
                                                    static_cast<unsigned>(text.size()), m_length);
    }
    unsigned Decode(cJSON* item) { return HttpProtocol::AiUtilityDecodeBase64(item, m_bytes, m_decoded); }

    std::unique_ptr<char[]> m_text;
    unsigned m_length = 0;
    unsigned char* m_bytes = nullptr;
    int m_decoded = -7;
};

TEST_F(Base64Test, TheLengthCountsTheTerminator) {
    EXPECT_EQ(Encode("operator"), 0U);
    EXPECT_STREQ(m_text.get(), "b3BlcmF0b3I=");
    EXPECT_EQ(m_length, 13U);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(Base64Test, ThePlatformsTextIsWipedBeforeItIsGivenBack) {
    EXPECT_EQ(Encode("operator"), 0U);
    ASSERT_EQ(Fake().freedBlocks.size(), 1U);
    EXPECT_EQ(Fake().freedBlocks[0].contentAtFree, std::string(13, '\0'));
    EXPECT_TRUE(Wiped(12, "b3BlcmF0b3I="));
    EXPECT_EQ(Fake().CountOf(Fn::Base64Free), 1U);
}

TEST_F(Base64Test, NullIsNotLogged) {
    EXPECT_EQ(HttpProtocol::AiUtilityCovert2Base64(m_text, nullptr, 5, m_length), kFailed);
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_EQ(Fake().CountOf(Fn::Base64Encode), 0U);
    EXPECT_EQ(m_text, nullptr);
}

TEST_F(Base64Test, AFailedEncodingGoesToTheStormLog) {
    EXPECT_EQ(Encode(""), kFailed) << "nothing to encode";
    Fake().FailCall(Fn::Base64Encode, 1);
    EXPECT_EQ(Encode("x"), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(US("<AiUtilityCovert2Base64> QUOR_BASE64Encode pIn failed."),
                                    US("<AiUtilityCovert2Base64> QUOR_BASE64Encode pIn failed.")));
    EXPECT_EQ(m_text, nullptr);
    EXPECT_EQ(Fake().CountOf(Fn::Base64Free), 0U);
}

TEST_F(Base64Test, WithoutMemoryThePlatformsTextIsWipedAllTheSame) {
    Fake().FailCall(Fn::NothrowNew, 1);
    EXPECT_EQ(Encode("operator"), kFailed);
    EXPECT_TRUE(Fake().FaultHit(Fn::NothrowNew));
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_EQ(m_text, nullptr);
    ASSERT_EQ(Fake().freedBlocks.size(), 1U);
    EXPECT_EQ(Fake().freedBlocks[0].contentAtFree, std::string(13, '\0'));
}

TEST_F(Base64Test, WithoutMemoryAFailedWipeIsLoggedAndTheTextGoneAllTheSame) {
    Fake().wipesDoNothing = true;
    Fake().FailCall(Fn::NothrowNew, 1);
    Fake().FailCall(Fn::MemsetS, 1, FailMode::kFromThenOn);
    EXPECT_EQ(Encode("operator"), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<AiUtilityCovert2Base64> memset_s pcTmp failed.")));
    EXPECT_EQ(Fake().freedBlocks.at(0).contentAtFree, std::string(13, '\0'));
}

TEST_F(Base64Test, AFailedWipeIsLoggedWithALineFeedAndIsASuccess) {
    Fake().wipesDoNothing = true;
    Fake().FailCall(Fn::MemsetS, 1, FailMode::kFromThenOn);
    EXPECT_EQ(Encode("operator"), 0U);
    EXPECT_STREQ(m_text.get(), "b3BlcmF0b3I=");
    EXPECT_EQ(m_length, 13U);
    EXPECT_THAT(Logs(), ElementsAre(UE("<AiUtilityCovert2Base64> securec memset_s fail\n")));
    EXPECT_EQ(Fake().freedBlocks.at(0).contentAtFree, std::string(13, '\0'));
}

// ---- Decoding ----

TEST_F(Base64Test, AJsonStringIsDecoded) {
    const Json item(cJSON_CreateString("b3BlcmF0b3I="));
    EXPECT_EQ(Decode(item.get()), 0U);
    EXPECT_EQ(m_decoded, 8);
    EXPECT_STREQ(reinterpret_cast<char*>(m_bytes), "operator");
    EXPECT_THAT(Logs(), IsEmpty());
    QUOR_BASE64Free(m_bytes);
}

TEST_F(Base64Test, ANumberOrAMissingItemIsNoString) {
    const Json number(cJSON_CreateNumber(5));
    EXPECT_EQ(Decode(number.get()), kFailed);
    EXPECT_EQ(Decode(nullptr), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<AiUtilityDecodeBase64> data is null or is not string"),
                                    UE("<AiUtilityDecodeBase64> data is null or is not string")));
    EXPECT_EQ(Fake().CountOf(Fn::Base64Decode), 0U);
    EXPECT_EQ(m_bytes, nullptr);
}

TEST_F(Base64Test, ATextThatDoesNotDecode) {
    for (const char* text : {"", "b3B", "b3B*"}) {
        const Json item(cJSON_CreateString(text));
        EXPECT_EQ(Decode(item.get()), kFailed);
        EXPECT_EQ(Logs().back(), UE("<AiUtilityDecodeBase64> QUOR_BASE64Decode failed"));
        EXPECT_EQ(m_bytes, nullptr);
        EXPECT_LT(m_decoded, 1) << "the decoder's own result";
    }
    EXPECT_EQ(Logs().size(), 3U);
}

TEST_F(Base64Test, ABlockWithoutBytesIsAFailureAndStaysTheCallers) {
    Fake().SetFailResult(Fn::Base64Decode, 0);
    Fake().FailCall(Fn::Base64Decode, 1);
    const Json item(cJSON_CreateString("b3BlcmF0b3I="));
    EXPECT_EQ(Decode(item.get()), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(UE("<AiUtilityDecodeBase64> QUOR_BASE64Decode failed")));
    EXPECT_EQ(Fake().CountOf(Fn::Base64Free), 0U);
    ASSERT_NE(m_bytes, nullptr);
    QUOR_BASE64Free(m_bytes);
}

}  // namespace
}  // namespace QuorTest
