// The contract of each bounded function, with memory that faults one byte beyond it.

#include "quor_platform/bounded.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "tests/platform_linux/support/guarded_buffer.h"

namespace {

constexpr char kOld = 'o';  // what destinations hold before

// Sizes around everything that could matter: words, vectors, pages, 32,768 and up to 8 MiB.
std::vector<std::size_t> Sizes() {
    std::vector<std::size_t> sizes;
    for (std::size_t power = 1; power <= (8U << 20U); power *= 2) {
        sizes.push_back(power - 1);
        sizes.push_back(power);
        sizes.push_back(power + 1);
    }
    for (std::size_t size = 5; size < 300; size += 7) {
        sizes.push_back(size);
    }
    return sizes;
}

bool AllAre(const char* bytes, std::size_t count, char value) {
    return count == 0 || (bytes[0] == value && std::memcmp(bytes, bytes + 1, count - 1) == 0);
}

class Bounded : public testing::Test {
protected:
    static void SetUpTestSuite() {
        dest = new GuardedBuffer((8U << 20U) + 2);
        src = new GuardedBuffer((8U << 20U) + 2);
    }
    static void TearDownTestSuite() {
        delete dest;
        delete src;
    }
    void SetUp() override {
        std::memset(dest->Last(4096), kOld, 4096);
        std::memset(src->Last(4096), kOld, 4096);
    }
    static GuardedBuffer* dest;
    static GuardedBuffer* src;
};

GuardedBuffer* Bounded::dest = nullptr;
GuardedBuffer* Bounded::src = nullptr;

TEST_F(Bounded, NullDestinationOrNoCapacityTouchesNothing) {
    char* beyond = dest->Last(0);  // any access faults
    EXPECT_NE(memset_s(nullptr, 4, 1, 4), 0);
    EXPECT_NE(memset_s(beyond, 0, 1, 0), 0);
    EXPECT_NE(memset_s(beyond, 0, 1, 4), 0);
    EXPECT_NE(memcpy_s(nullptr, 4, "abc", 3), 0);
    EXPECT_NE(memcpy_s(beyond, 0, "abc", 3), 0);
    EXPECT_NE(memcpy_s(beyond, 0, "abc", 0), 0);
    EXPECT_NE(strcpy_s(nullptr, 4, "abc"), 0);
    EXPECT_NE(strcpy_s(beyond, 0, "abc"), 0);
    EXPECT_NE(strncpy_s(nullptr, 4, "abc", 3), 0);
    EXPECT_NE(strncpy_s(beyond, 0, "abc", 3), 0);
    EXPECT_EQ(sprintf_s(nullptr, 4, "abc"), -1);
    EXPECT_EQ(sprintf_s(beyond, 0, "abc"), -1);
    EXPECT_EQ(snprintf_s(nullptr, 4, 3, "abc"), -1);
    EXPECT_EQ(snprintf_s(beyond, 0, 3, "abc"), -1);
}

TEST_F(Bounded, MemsetSetsCountBytesOfEverySize) {
    for (const std::size_t size : Sizes()) {
        if (size == 0) {
            continue;
        }
        char* to = dest->Last(size);
        std::memset(to, kOld, size);
        ASSERT_EQ(memset_s(to, size, 'n', size - 1), 0) << size;
        ASSERT_TRUE(AllAre(to, size - 1, 'n')) << size;
        ASSERT_EQ(to[size - 1], kOld) << size;
        ASSERT_EQ(memset_s(to, size, 0, size), 0) << size;
        ASSERT_TRUE(AllAre(to, size, 0)) << size;
    }
}

TEST_F(Bounded, MemsetBeyondTheCapacitySetsTheCapacityAndFails) {
    for (const std::size_t count : {std::size_t{9}, std::size_t{1000}, SIZE_MAX}) {
        char* to = dest->Last(8);
        std::memset(to, kOld, 8);
        EXPECT_NE(memset_s(to, 8, 'n', count), 0);
        EXPECT_TRUE(AllAre(to, 8, 'n'));
    }
}

TEST_F(Bounded, MemsetOfNothingSucceeds) {
    char* to = dest->Last(2);
    EXPECT_EQ(memset_s(to, 2, 'n', 0), 0);
    EXPECT_TRUE(AllAre(to, 2, kOld));
}

TEST_F(Bounded, MemcpyCopiesEverySize) {
    for (std::size_t i = 0; i < src->Size(); ++i) {
        src->First()[i] = static_cast<char>(i * 7 + i / 4096);
    }
    for (const std::size_t size : Sizes()) {
        const char* from = src->Last(size);
        char* to = dest->Last(size + 1);
        to[size] = kOld;
        ASSERT_EQ(memcpy_s(to, size + 1, from, size), 0) << size;
        ASSERT_EQ(std::memcmp(to, from, size), 0) << size;
        ASSERT_EQ(to[size], kOld) << size;
    }
}

TEST_F(Bounded, MemcpyFailuresZeroTheWholeDestination) {
    char* to = dest->Last(8);
    for (const std::size_t count : {std::size_t{9}, std::size_t{4096}, SIZE_MAX}) {
        std::memset(to, kOld, 8);
        EXPECT_NE(memcpy_s(to, 8, src->Last(1), count), 0);  // nothing of the source is read either
        EXPECT_TRUE(AllAre(to, 8, 0));
    }
    std::memset(to, kOld, 8);
    EXPECT_NE(memcpy_s(to, 8, nullptr, 3), 0);
    EXPECT_TRUE(AllAre(to, 8, 0));
    std::memset(to, kOld, 8);
    EXPECT_NE(memcpy_s(to, 8, nullptr, 0), 0);
    EXPECT_TRUE(AllAre(to, 8, 0));
}

TEST_F(Bounded, MemcpyOfNothingChangesNothing) {
    char* to = dest->Last(8);
    EXPECT_EQ(memcpy_s(to, 8, src->Last(0), 0), 0);
    EXPECT_TRUE(AllAre(to, 8, kOld));
}

TEST_F(Bounded, MemcpyRefusesOverlap) {
    for (const int distance : {-3, -1, 0, 1, 3}) {
        char* to = dest->Last(64) + 16;
        std::memset(dest->Last(64), kOld, 64);
        EXPECT_NE(memcpy_s(to, 8, to + distance, 4), 0) << distance;
        EXPECT_TRUE(AllAre(to, 8, 0)) << distance;
    }
    char* to = dest->Last(64);
    std::string("abcdefgh").copy(to, 8);
    EXPECT_EQ(memcpy_s(to + 4, 4, to, 4), 0) << "neighbours do not overlap";
    EXPECT_EQ(std::memcmp(to, "abcdabcd", 8), 0);
    EXPECT_EQ(memcpy_s(to, 4, to + 4, 4), 0);
}

TEST_F(Bounded, StrcpyCopiesEverySizeThatFitsExactly) {
    for (const std::size_t size : Sizes()) {
        char* from = src->Last(size + 1);
        std::memset(from, 't', size);
        from[size] = '\0';
        char* to = dest->Last(size + 1);
        std::memset(to, kOld, size + 1);
        ASSERT_EQ(strcpy_s(to, size + 1, from), 0) << size;
        ASSERT_EQ(std::memcmp(to, from, size + 1), 0) << size;
        if (size > 0) {
            ASSERT_NE(strcpy_s(to + 1, size, from), 0) << size;
            ASSERT_EQ(to[1], '\0') << size;
        }
    }
}

TEST_F(Bounded, StrcpyReadsNoMoreThanTheCapacity) {
    // The source has no terminator and ends where memory ends.
    char* to = dest->Last(8);
    EXPECT_NE(strcpy_s(to, 8, src->Place("12345678")), 0);
    EXPECT_EQ(to[0], '\0');
}

TEST_F(Bounded, StrcpyRefusesNullAndOverlap) {
    char* to = dest->Last(16);
    EXPECT_NE(strcpy_s(to, 16, nullptr), 0);
    EXPECT_EQ(to[0], '\0');
    std::memcpy(to, "abcdef", 7);
    EXPECT_NE(strcpy_s(to + 2, 14, to), 0);
    EXPECT_EQ(to[2], '\0');
    std::memcpy(to, "abcdef", 7);
    EXPECT_NE(strcpy_s(to, 16, to), 0);
    EXPECT_EQ(to[0], '\0');
    // The terminator is copied too, so a destination that begins there overlaps.
    std::memcpy(to, "abcdef", 7);
    EXPECT_NE(strcpy_s(to + 6, 10, to), 0);
}

TEST_F(Bounded, StrncpyCopiesAtMostCountCharacters) {
    const auto copy = [](std::size_t capacity, std::string_view source, std::size_t count, int* result) {
        char* to = dest->Last(capacity);
        std::memset(to, kOld, capacity);
        *result = strncpy_s(to, capacity, src->Place(source), count);
        return std::string(to, strnlen(to, capacity));
    };
    int result = -1;
    EXPECT_EQ(copy(8, std::string_view("abc\0", 4), 7, &result), "abc");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(copy(8, "abcdefgh", 7, &result), "abcdefg") << "count ends a text without terminator";
    EXPECT_EQ(result, 0);
    EXPECT_EQ(copy(8, "abcdefgh", 3, &result), "abc");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(copy(8, "abcdefgh", 0, &result), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(copy(8, "abcdefgh", 8, &result), "") << "no room for the terminator";
    EXPECT_NE(result, 0);
    EXPECT_EQ(copy(8, "abcdefgh", SIZE_MAX, &result), "");
    EXPECT_NE(result, 0);
    EXPECT_EQ(copy(4, std::string_view("abc\0", 4), SIZE_MAX, &result), "abc");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(copy(1, std::string_view("\0", 1), 5, &result), "");
    EXPECT_EQ(result, 0);
}

TEST_F(Bounded, StrncpyOfEverySize) {
    std::memset(src->First(), 't', src->Size());  // no terminator anywhere
    for (const std::size_t size : Sizes()) {
        char* to = dest->Last(size + 1);
        to[size] = kOld;
        ASSERT_EQ(strncpy_s(to, size + 1, src->Last(size), size), 0) << size;
        ASSERT_TRUE(AllAre(to, size, 't')) << size;
        ASSERT_EQ(to[size], '\0') << size;
        ASSERT_NE(strncpy_s(to, size + 1, src->Last(size + 1), size + 1), 0) << size;
        ASSERT_EQ(to[0], '\0') << size;
    }
}

TEST_F(Bounded, StrncpyRefusesNullAndOverlap) {
    char* to = dest->Last(16);
    EXPECT_NE(strncpy_s(to, 16, nullptr, 0), 0);
    EXPECT_EQ(to[0], '\0');
    std::memcpy(to, "abcdef", 7);
    EXPECT_NE(strncpy_s(to + 2, 14, to, 4), 0);
    EXPECT_EQ(to[2], '\0');
}

TEST_F(Bounded, SprintfReturnsTheLength) {
    char* to = dest->Last(6);
    EXPECT_EQ(sprintf_s(to, 6, "%d:%s", 12, "ab"), 5);
    EXPECT_STREQ(to, "12:ab");
    EXPECT_EQ(sprintf_s(to, 6, "%s", ""), 0);
    EXPECT_STREQ(to, "");
}

TEST_F(Bounded, SprintfEmptiesWhenTheTextDoesNotFit) {
    char* to = dest->Last(5);
    EXPECT_EQ(sprintf_s(to, 5, "%d:%s", 12, "ab"), -1);
    EXPECT_EQ(to[0], '\0');
    to[0] = kOld;
    EXPECT_EQ(sprintf_s(to, 1, "%s", "a"), -1);
    EXPECT_EQ(to[0], '\0');
}

TEST_F(Bounded, PrintfFunctionsRefuseBadFormats) {
    char* to = dest->Last(64);
    const char* none = nullptr;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    EXPECT_EQ(sprintf_s(to, 64, none), -1);
    EXPECT_EQ(to[0], '\0');
    to[0] = kOld;
    EXPECT_EQ(snprintf_s(to, 64, 63, none), -1);
    EXPECT_EQ(to[0], '\0');
#pragma GCC diagnostic pop
    // A wide character that the C locale cannot encode is the format error that the C library reports.
    to[0] = kOld;
    EXPECT_EQ(sprintf_s(to, 64, "ab%lc", wint_t{0x20AC}), -1);
    EXPECT_EQ(to[0], '\0');
    to[0] = kOld;
    EXPECT_EQ(snprintf_s(to, 64, 63, "ab%lc", wint_t{0x20AC}), -1);
    EXPECT_EQ(to[0], '\0');
}

TEST_F(Bounded, SprintfOfEverySize) {
    for (const std::size_t size : Sizes()) {
        char* from = src->Last(size + 1);
        std::memset(from, 't', size);
        from[size] = '\0';
        ASSERT_EQ(sprintf_s(dest->Last(size + 1), size + 1, "%s", from), static_cast<int>(size));
        ASSERT_EQ(std::memcmp(dest->Last(size + 1), from, size + 1), 0) << size;
    }
}

TEST_F(Bounded, SnprintfKeepsATextThatWasCutAtCount) {
    char* to = dest->Last(8);
    EXPECT_EQ(snprintf_s(to, 8, 7, "%s", "abcdefg"), 7);
    EXPECT_STREQ(to, "abcdefg");
    EXPECT_EQ(snprintf_s(to, 8, 3, "%s", "abcdefg"), -1);
    EXPECT_STREQ(to, "abc");
    EXPECT_EQ(snprintf_s(to, 8, 0, "%s", "a"), -1);
    EXPECT_STREQ(to, "");
    EXPECT_EQ(snprintf_s(to, 8, 0, "%s", ""), 0);
    EXPECT_STREQ(to, "");
}

TEST_F(Bounded, SnprintfEmptiesWhenTheCapacityIsTheLimit) {
    char* to = dest->Last(8);
    for (const std::size_t count : {std::size_t{8}, std::size_t{9}, SIZE_MAX}) {
        EXPECT_EQ(snprintf_s(to, 8, count, "%s", "abcdefg"), 7);
        EXPECT_STREQ(to, "abcdefg");
        EXPECT_EQ(snprintf_s(to, 8, count, "%s", "abcdefgh"), -1);
        EXPECT_STREQ(to, "");
    }
}

}  // namespace
