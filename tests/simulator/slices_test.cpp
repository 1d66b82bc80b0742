#include "slices.h"

#include <gtest/gtest.h>

namespace quor_simulator {
namespace {

std::vector<std::string> Messages(const std::vector<Slice>& slices) {
    std::vector<std::string> messages;
    for (const Slice& slice : slices) {
        if (slice.begins) {
            messages.emplace_back();
        }
        messages.back() += slice.bytes;
    }
    return messages;
}

TEST(Slices, UncutIsOneSlice) {
    const Outbound data{"abc", false, 1, 1};
    const auto slices = CutIntoSlices(data);
    ASSERT_EQ(slices.size(), 1U);
    EXPECT_EQ(slices[0].bytes, "abc");
    EXPECT_TRUE(slices[0].begins);
    EXPECT_TRUE(slices[0].ends);
}

TEST(Slices, EmptyTextIsOneEmptyMessage) {
    const Outbound data{"", false, 5, 5};
    const auto slices = CutIntoSlices(data);
    ASSERT_EQ(slices.size(), 1U);
    EXPECT_TRUE(slices[0].bytes.empty());
    EXPECT_TRUE(slices[0].ends);
}

TEST(Slices, TextMessagesAreCutBetweenCharacters) {
    const Outbound data{"\xE4\xBD\xA0\xE5\xA5\xBD\xF0\x9F\x98\x80!", false, 11, 1};
    EXPECT_EQ(Messages(CutIntoSlices(data)),
              (std::vector<std::string>{"\xE4\xBD\xA0", "\xE5\xA5\xBD", "\xF0\x9F\x98\x80", "!"}));
}

TEST(Slices, BinaryMessagesAreCutAnywhere) {
    const Outbound data{"\xE4\xBD\xA0", true, 3, 1};
    EXPECT_EQ(Messages(CutIntoSlices(data)), (std::vector<std::string>{"\xE4", "\xBD", "\xA0"}));
}

TEST(Slices, EveryCutKeepsEveryByteAndMarksTheEnds) {
    const std::string text = "The quick \xE4\xBD\xA0 brown \xF0\x9F\x98\x80 fox";
    for (std::size_t messages = 1; messages < 50; ++messages) {
        for (std::size_t fragments = 1; fragments < 10; ++fragments) {
            const Outbound data{text, false, messages, fragments};
            const auto slices = CutIntoSlices(data);
            std::string whole;
            bool expectBegin = true;
            for (const Slice& slice : slices) {
                EXPECT_EQ(slice.begins, expectBegin);
                EXPECT_FALSE(slice.bytes.empty());
                whole += slice.bytes;
                expectBegin = slice.ends;
            }
            EXPECT_TRUE(slices.back().ends);
            EXPECT_EQ(whole, text);
        }
    }
}

}  // namespace
}  // namespace quor_simulator
