#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "quor_platform/os.h"
#include "quor_platform_linux/host.h"
#include "tests/platform_linux/support/threads.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QUOR_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define QUOR_TEST_SANITIZED 1
#endif
#endif

namespace {

using quor_platform::HeapEntry;
using quor_platform::HeapLiveBytes;
using quor_platform::HeapReport;

constexpr char kModule[] = "heap_test";

HeapEntry EntryOf(const char* module, unsigned int line) {
    const std::vector<HeapEntry> report = HeapReport();
    const auto found = std::find_if(report.begin(), report.end(), [&](const HeapEntry& entry) {
        return entry.module == module && entry.line == line;
    });
    return found != report.end() ? *found : HeapEntry{};
}

TEST(Heap, FillsAlignsAndFrees) {
    for (const unsigned int size : {1U, 7U, 16U, 100U, 4096U, 5U << 20U}) {
        for (const unsigned int value : {0U, 1U, 0xFFU}) {
            const auto fill = static_cast<unsigned char>(value);
            auto* block = static_cast<unsigned char*>(OsMemMallocSetCharMon(size, fill, 1, kModule));
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
            EXPECT_EQ(block[0], fill);
            EXPECT_EQ(std::memcmp(block, block + 1, size - 1), 0);
            std::memset(block, 0xA5, size);
            OSMemTypeFreeMon(block, 2, kModule);
        }
    }
}

TEST(Heap, ABlockOfNothingIsNull) {
    EXPECT_EQ(OsMemMallocSetCharMon(0, 0, 1, kModule), nullptr);
}

TEST(Heap, FreeingNullIsIgnored) {
    OSMemTypeFreeMon(nullptr, 1, kModule);
    OSMemTypeFreeMon(nullptr, 1, nullptr);
}

TEST(Heap, AccountsByPlace) {
    const std::size_t before = HeapLiveBytes();
    void* a = OsMemMallocSetCharMon(100, 0, 10, kModule);
    void* b = OsMemMallocSetCharMon(50, 1, 10, kModule);
    void* c = OsMemMallocSetCharMon(7, 0, 11, kModule);
    void* d = OsMemMallocSetCharMon(5, 0, 10, nullptr);
    EXPECT_EQ(HeapLiveBytes(), before + 162);
    EXPECT_EQ(EntryOf(kModule, 10).liveBlocks, 2U);
    EXPECT_EQ(EntryOf(kModule, 10).liveBytes, 150U);
    EXPECT_EQ(EntryOf(kModule, 11).liveBytes, 7U);
    EXPECT_EQ(EntryOf("?", 10).liveBytes, 5U);
    OSMemTypeFreeMon(a, 1, "another place");
    EXPECT_EQ(EntryOf(kModule, 10).liveBlocks, 1U);
    EXPECT_EQ(EntryOf(kModule, 10).liveBytes, 50U);
    for (void* block : {b, c, d}) {
        OSMemTypeFreeMon(block, 1, kModule);
    }
    EXPECT_EQ(HeapLiveBytes(), before);
    EXPECT_EQ(EntryOf(kModule, 10).liveBlocks, 0U);
}

TEST(Heap, ReportsTheLargestFirstAndMergesEqualNames) {
    char nameHere[] = "merged";
    char nameThere[] = "merged";
    void* a = OsMemMallocSetCharMon(1000, 0, 20, nameHere);
    void* b = OsMemMallocSetCharMon(2000, 0, 20, nameThere);
    void* c = OsMemMallocSetCharMon(2500, 0, 21, kModule);
    EXPECT_EQ(EntryOf("merged", 20).liveBytes, 3000U);
    EXPECT_EQ(EntryOf("merged", 20).liveBlocks, 2U);
    const std::vector<HeapEntry> report = HeapReport();
    EXPECT_TRUE(std::is_sorted(report.begin(), report.end(), [](const HeapEntry& x, const HeapEntry& y) {
        return x.liveBytes > y.liveBytes;
    }));
    for (void* block : {a, b, c}) {
        OSMemTypeFreeMon(block, 1, kModule);
    }
}

TEST(Heap, CountsFromManyThreads) {
    constexpr int kThreads = 4;
    constexpr unsigned int kRounds = 5000;
    const std::size_t before = HeapLiveBytes();
    RunInThreads(kThreads, [](int) {
        void* kept = nullptr;
        for (unsigned int round = 1; round < kRounds; ++round) {
            void* next = OsMemMallocSetCharMon(round % 100 + 1, 0, 1000 + round % 50, kModule);
            OSMemTypeFreeMon(kept, 1, kModule);
            kept = next;
        }
        OSMemTypeFreeMon(kept, 1, kModule);
    });
    EXPECT_EQ(HeapLiveBytes(), before);
}

// Under a sanitizer its own report comes first, which is as good.
TEST(HeapDeathTest, ForeignAndStalePointersEndTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
        {
            alignas(16) unsigned char block[64] = {};
            OSMemTypeFreeMon(block + 32, 77, kModule);
        },
        "heap_test:77 frees .* no live block");
    EXPECT_DEATH(
        {
            alignas(16) unsigned char block[64] = {};
            OSMemTypeFreeMon(block + 33, 78, nullptr);
        },
        "\\?:78 frees .* no block");
    EXPECT_DEATH(
        {
            void* block = OsMemMallocSetCharMon(64, 0, 1, kModule);
            OSMemTypeFreeMon(block, 2, kModule);
            OSMemTypeFreeMon(block, 79, kModule);
        },
        "heap_test:79 frees .* no live block|Sanitizer");
    EXPECT_DEATH(
        {
            auto* block = static_cast<char*>(OsMemMallocSetCharMon(64, 0, 1, kModule));
            *const_cast<volatile char*>(block - 1) = 1;  // an underrun
            OSMemTypeFreeMon(block, 80, kModule);
        },
        "heap_test:80 frees .* no live block|Sanitizer");
}

#if !defined(QUOR_TEST_SANITIZED)
TEST(HeapDeathTest, NoMemoryIsNull) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            rlimit limit{};
            limit.rlim_cur = 256U << 20U;
            limit.rlim_max = limit.rlim_cur;
            setrlimit(RLIMIT_AS, &limit);
            const bool refused = OsMemMallocSetCharMon(0xFFFFFFFFU, 0, 1, kModule) == nullptr &&
                                 OsMemMallocSetCharMon(0xFFFFFFFFU, 1, 1, kModule) == nullptr;
            _exit(refused && HeapLiveBytes() == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
