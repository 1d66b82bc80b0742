#include "platform_linux/log_text.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

namespace {

using quor_platform::internal::AppendOnOneLine;
using quor_platform::internal::FormattedText;

__attribute__((format(printf, 2, 3))) bool Format(std::string* text, const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    const FormattedText formatted(format, args);
    va_end(args);
    text->assign(formatted.Text(), formatted.Length());
    EXPECT_EQ(formatted.Text()[formatted.Length()], '\0');
    return formatted.Valid();
}

std::string OneLine(std::string_view text) {
    std::string line = ">";
    AppendOnOneLine(line, text);
    return line;
}

TEST(FormattedText, HoldsEveryLength) {
    for (const std::size_t size : {0U, 1U, 1022U, 1023U, 1024U, 1025U, 70000U}) {
        const std::string expected(size, 't');
        std::string text;
        EXPECT_TRUE(Format(&text, "%s", expected.c_str()));
        EXPECT_EQ(text, expected);
    }
}

TEST(FormattedText, IsInvalidForABadFormat) {
    std::string text = "old";
    EXPECT_FALSE(Format(&text, "ab%lc", wint_t{0x20AC}));
    EXPECT_EQ(text, "");
}

TEST(AppendOnOneLine, ShowsControlCharacters) {
    EXPECT_EQ(OneLine(""), ">");
    EXPECT_EQ(OneLine("plain"), ">plain");
    EXPECT_EQ(OneLine("\n"), ">\\n");
    EXPECT_EQ(OneLine("a\r\nb\n\nc"), ">a\\r\\nb\\n\\nc");
    EXPECT_EQ(OneLine("\t\x1b\x01\x7f"), ">\\t\\x1b\\x01\\x7f");
    EXPECT_EQ(OneLine(std::string_view("a\0b", 3)), ">a\\x00b");
    EXPECT_EQ(OneLine("\xE4\xB8\xAD \\ \xFF"), ">\xE4\xB8\xAD \\ \xFF");
}

}  // namespace
