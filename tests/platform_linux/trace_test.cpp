#include <gtest/gtest.h>

#include <string>

#include "quor_platform/log.h"
#include "quor_platform_linux/host.h"

namespace {

TEST(Trace, LevelIsOffUntilItIsSet) {
    EXPECT_EQ(GetGucAITraceLevel(), 0);
    quor_platform::SetTraceLevel(255);
    EXPECT_EQ(GetGucAITraceLevel(), 255);
    quor_platform::SetTraceLevel(0);
}

TEST(Trace, PrefixIsStatic) {
    ASSERT_NE(QuorAiGetTraceString(), nullptr);
    EXPECT_EQ(QuorAiGetTraceString(), QuorAiGetTraceString());
}

TEST(Trace, GoesToTheListenerOrElseToStandardError) {
    std::string heard;
    testing::internal::CaptureStderr();
    QuorAiTracePrintf("%s %d", "to standard error", 1);
    quor_platform::SetTraceListener([&](const char* text) {
        heard += text;
        quor_platform::SetTraceListener(nullptr);  // a listener may remove itself
    });
    const std::string longText(5000, 't');
    QuorAiTracePrintf("[%s]", longText.c_str());
    QuorAiTracePrintf(" again");
    EXPECT_EQ(heard, "[" + longText + "]");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "to standard error 1 again");
}

TEST(Trace, IgnoresBadFormats) {
    const char* none = nullptr;
    testing::internal::CaptureStderr();
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    QuorAiTracePrintf(none);
#pragma GCC diagnostic pop
    QuorAiTracePrintf("%lc", wint_t{0x20AC});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
