// What every platform's base64, key management, login, certificate and log services do.

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <string_view>

#include "quor_platform/base64.h"
#include "quor_platform/certificate.h"
#include "quor_platform/key_management.h"
#include "quor_platform/log.h"
#include "quor_platform/login.h"
#include "quor_platform/os.h"

namespace {

constexpr char kModule[] = "services_test.cpp";

std::string Encode(std::string_view bytes) {
    char* out = nullptr;
    unsigned int length = 0;
    const unsigned int result = QUOR_BASE64Encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                                                  static_cast<unsigned int>(bytes.size()), &out, &length);
    EXPECT_EQ(result, length);
    std::string text = out != nullptr ? out : "";
    EXPECT_EQ(text.size(), length);
    OSMemTypeFreeMon(out, __LINE__, kModule);  // a block of the accounted heap, as the library frees it
    return text;
}

// "refused" for a text that does not decode.
std::string Decode(std::string_view text) {
    unsigned char* out = nullptr;
    const int length = QUOR_BASE64Decode(text.data(), static_cast<unsigned int>(text.size()), &out);
    if (length <= 0) {
        EXPECT_EQ(out, nullptr);
        return "refused";
    }
    std::string bytes(reinterpret_cast<const char*>(out), static_cast<std::size_t>(length));
    EXPECT_EQ(out[length], 0);
    QUOR_BASE64Free(out);
    return bytes;
}

TEST(ContractBase64, GoesThereAndBack) {
    EXPECT_EQ(Encode("f"), "Zg==");
    EXPECT_EQ(Encode("foobar"), "Zm9vYmFy");
    const std::string picture(std::size_t{1} << 20U, '\xFF');
    EXPECT_EQ(Decode(Encode(picture)), picture);
    EXPECT_EQ(Encode(""), "");
    QUOR_BASE64Free(nullptr);
}

TEST(ContractBase64, DecodesStrictly) {
    for (const char* text : {"", "Zg=", "Zg", "Zg==\n", "Z g=", "Zg==Zg==", "Zm9v!mFy"}) {
        EXPECT_EQ(Decode(text), "refused") << text;
    }
}

TEST(ContractKeys, WhatWasNotSealedDoesNotOpen) {
    char plain[QUOR_OM_KEYM_PLAIN_CAPACITY] = "left over";
    unsigned int length = 77;
    EXPECT_NE(QuorOmKeymDecrypt("QuorUIConf", "not sealed", 10, plain, &length), 0U);
    EXPECT_STREQ(plain, "");
    EXPECT_EQ(length, 0U);
    EXPECT_NE(QuorOmKeymDecrypt(nullptr, "x", 1, plain, &length), 0U);
    EXPECT_NE(QuorOmKeymDecrypt("QuorUIConf", nullptr, 1, plain, &length), 0U);
    EXPECT_NE(QuorOmKeymDecrypt("QuorUIConf", "x", 1, nullptr, &length), 0U);
    EXPECT_NE(QuorOmKeymDecrypt("QuorUIConf", "x", 1, plain, nullptr), 0U);
}

TEST(ContractKeys, RandomNumbersFillTheBufferAndDiffer) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        unsigned char bytes[16] = {};
        ASSERT_EQ(QuorOmKeymGenRealRandom(bytes, sizeof bytes), 0);
        EXPECT_TRUE(seen.emplace(reinterpret_cast<const char*>(bytes), sizeof bytes).second);
    }
    EXPECT_NE(QuorOmKeymGenRealRandom(nullptr, 4), 0);
}

void OnLogin(unsigned int /*event*/, void* /*data*/) {}

TEST(ContractLogin, ATokenComesWholeOrNotAtAll) {
    EXPECT_EQ(QuorLoginInitialize(OnLogin), 0);
    EXPECT_EQ(QuorLoginInitialize(OnLogin), 0) << "again";
    char one[1] = {'x'};
    EXPECT_NE(QuorLoginGetConfToken(one, sizeof one), 0) << "no room for a token and its terminator";
    EXPECT_EQ(one[0], '\0');
    EXPECT_NE(QuorLoginGetConfToken(nullptr, 0), 0);
}

TEST(ContractCertificate, AnUnknownQueryHasNoPath) {
    const QuorOmCertQuery unknown = {77, 77};
    QuorOmCertPath path = {"left over"};
    EXPECT_NE(QuorOmCertGetCertPath(&unknown, 0, &path), 0U);
    EXPECT_STREQ(path.path, "");
    EXPECT_NE(QuorOmCertGetCertPath(nullptr, 0, &path), 0U);
    EXPECT_NE(QuorOmCertGetCertPath(&unknown, 0, nullptr), 0U);
}

TEST(ContractLog, TakesRecordsOfEveryLevel) {
    const auto file = static_cast<unsigned short>(QuorAiGetAiLogFileId("AiLog.log"));
    EXPECT_EQ(static_cast<unsigned short>(QuorAiGetAiLogFileId("AiLog.log")), file) << "the same each time";
    constexpr unsigned int kLength = sizeof kModule - 1;
    for (const unsigned int level :
         {QUOR_OM_LOG_LEVEL_ERROR, QUOR_OM_LOG_LEVEL_WARNING, QUOR_OM_LOG_LEVEL_INFO}) {
        EXPECT_EQ(QuorOmLogModuleLogRecord(level, file, kModule, kLength, __LINE__, "%s %d", "text", 1), 0U);
        EXPECT_EQ(QuorOmLogGeneralLogRecord(level, file, kModule, kLength, __LINE__, "%s %d", "text", 1), 0U);
        EXPECT_EQ(QuorOmLogStormLogRecord(level, file, kModule, kLength, __LINE__, "%s %d", "text", 1), 0U);
    }
}

TEST(ContractLog, TracesHaveAPrefix) {
    ASSERT_NE(QuorAiGetTraceString(), nullptr);
    EXPECT_EQ(GetGucAITraceLevel(), GetGucAITraceLevel());
    QuorAiTracePrintf("%s[%s:%u]:%s\n", QuorAiGetTraceString(), __func__, 1U, "a trace");
}

}  // namespace
