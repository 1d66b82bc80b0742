#include <gtest/gtest.h>
#include <pthread.h>

#include <ctime>
#include <string>
#include <thread>

#include "quor_platform/os.h"

namespace {

TEST(Clock, TellsTheSystemTime) {
    const auto before = static_cast<unsigned int>(std::time(nullptr));
    const unsigned int now = OsGetSysTimeSec();
    const auto after = static_cast<unsigned int>(std::time(nullptr));
    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
}

std::string NameAfterSetting(const char* name) {
    std::string result;
    std::thread([&] {
        EXPECT_EQ(OsPthreadSetName(name), 0);
        char kept[32] = {};
        pthread_getname_np(pthread_self(), kept, sizeof kept);
        result = kept;
    }).join();
    return result;
}

TEST(ThreadName, IsCutAtFifteenCharacters) {
    EXPECT_EQ(NameAfterSetting("httpQueueThread"), "httpQueueThread");
    EXPECT_EQ(NameAfterSetting("httpQueueThread2"), "httpQueueThread");
    EXPECT_EQ(NameAfterSetting("a"), "a");
    EXPECT_EQ(NameAfterSetting(""), "");
}

TEST(ThreadName, RefusesNull) {
    EXPECT_NE(OsPthreadSetName(nullptr), 0);
}

}  // namespace
