// The fake platform itself: what other tests conclude from it is only as good as it is.
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "quor_platform/base64.h"
#include "quor_platform/bounded.h"
#include "support/channel_test.h"
#include "support/stack_probe.h"
#include "support/stopped_clock.h"

namespace QuorTest {
namespace {

class SupportTest : public ChannelTest {};

TEST_F(SupportTest, BoundedFunctionsKeepTheirContract) {
    char d[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(strcpy_s(d, 4, "abc"), 0);
    EXPECT_NE(strcpy_s(d, 4, "abcd"), 0);
    EXPECT_EQ(d[0], '\0');
    EXPECT_EQ(strncpy_s(d, 4, "abcd", 3), 0);
    EXPECT_STREQ(d, "abc");
    EXPECT_NE(strncpy_s(d, 4, "abcd", 4), 0);
    EXPECT_EQ(memcpy_s(d, 4, "abcd", 4), 0);
    EXPECT_NE(memcpy_s(d, 4, "abcde", 5), 0);
    EXPECT_EQ(std::string(d, 4), std::string(4, '\0'));
    EXPECT_EQ(memset_s(d, 4, 'y', 4), 0);
    EXPECT_NE(memset_s(d, 4, 'z', 5), 0);
    EXPECT_EQ(std::string(d, 4), "zzzz");
    EXPECT_EQ(sprintf_s(d, 4, "%d", 123), 3);
    EXPECT_EQ(sprintf_s(d, 4, "%d", 1234), -1);
    EXPECT_EQ(d[0], '\0');
    EXPECT_EQ(snprintf_s(d, 4, 3, "%d", 123), 3);
    EXPECT_EQ(snprintf_s(d, 4, 2, "%d", 123), -1);
    EXPECT_STREQ(d, "12") << "cut at count, and it stays";
    EXPECT_EQ(snprintf_s(d, 4, 9, "%d", 12345), -1);
    EXPECT_EQ(d[0], '\0');
    EXPECT_NE(strcpy_s(nullptr, 4, "a"), 0);
    EXPECT_NE(strcpy_s(d, 0, "a"), 0);
    EXPECT_NE(strcpy_s(d, 4, nullptr), 0);
}

TEST_F(SupportTest, Base64VectorsOfRfc4648) {
    const std::map<std::string, std::string> vectors = {{"f", "Zg=="},         {"fo", "Zm8="},
                                                        {"foo", "Zm9v"},       {"foob", "Zm9vYg=="},
                                                        {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, coded] : vectors) {
        char* text = nullptr;
        unsigned length = 0;
        EXPECT_EQ(QUOR_BASE64Encode(reinterpret_cast<const unsigned char*>(plain.data()),
                                    static_cast<unsigned>(plain.size()), &text, &length),
                  coded.size());
        EXPECT_EQ(text, coded);
        unsigned char* bytes = nullptr;
        EXPECT_EQ(QUOR_BASE64Decode(text, length, &bytes), static_cast<int>(plain.size()));
        EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes)), plain);
        QUOR_BASE64Free(text);
        QUOR_BASE64Free(bytes);
    }
}

TEST_F(SupportTest, NthCallFailsOnceOrFromThenOn) {
    Fake().FailCall(Fn::MsgSend, 2);
    char message[OS_MSG_SIZE] = {};
    EXPECT_EQ(OsMsgAsynSend(message), 0U);
    EXPECT_FALSE(Fake().FaultHit(Fn::MsgSend));
    EXPECT_NE(OsMsgAsynSend(message), 0U);
    EXPECT_TRUE(Fake().FaultHit(Fn::MsgSend));
    EXPECT_EQ(OsMsgAsynSend(message), 0U);
    Fake().FailCall(Fn::MsgSend, 1, FailMode::kFromThenOn);
    EXPECT_NE(OsMsgAsynSend(message), 0U);
    EXPECT_NE(OsMsgAsynSend(message), 0U);
}

// Misuse on purpose: the analysis that forbids it at compile time must not see it.
void LockTwice(OsMutex& m) QUOR_PLATFORM_THREAD_ATTRIBUTE(no_thread_safety_analysis);
void LockTwice(OsMutex& m) {
    EXPECT_EQ(OsMutexLock(&m), 0U);
    EXPECT_NE(OsMutexLock(&m), 0U);
    EXPECT_TRUE(Fake().IsLocked(&m));
    EXPECT_EQ(OsMutexUnLock(&m), 0U);
    EXPECT_NE(OsMutexUnLock(&m), 0U);
}

TEST_F(SupportTest, LockMisuseIsNoticed) {
    OsMutex m = OS_MUTEX_INITIALIZER;
    LockTwice(m);
    EXPECT_EQ(Fake().violations.size(), 2U);
    Fake().violations.clear();
}

TEST_F(SupportTest, BlocksAreAccountedAndTheirLastContentKept) {
    void* p = OsMemMallocSetCharMon(4, 'a', 10, "m");
    ASSERT_EQ(Fake().LiveBlocks().size(), 1U);
    std::memcpy(p, "last", 4);
    OSMemTypeFreeMon(p, 11, "n");
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U);
    EXPECT_EQ(Fake().freedBlocks.at(0).contentAtFree, "last");
    OSMemTypeFreeMon(&Fake(), 11, "n");
    EXPECT_EQ(Fake().violations.size(), 1U);
    Fake().violations.clear();
}

TEST_F(SupportTest, WipesKeepWhatWasThere) {
    char secret[8] = "hidden";
    memset_s(secret, sizeof(secret), 0, sizeof(secret));
    ASSERT_EQ(Fake().wipes.size(), 1U);
    EXPECT_EQ(Fake().wipes[0].before, std::string("hidden\0\0", 8));
}

// A function that leaves a secret behind, far down on its stack, where the end of the thread does not
// overwrite it.
__attribute__((noinline)) void LeaveBehind(const char* secret) {
    char buffer[32768];
    std::strncpy(buffer, secret, 63);
    asm volatile("" : : "r"(buffer) : "memory");  // the copy counts as used
}

TEST_F(SupportTest, StackProbeFindsWhatAFunctionLeftAndWhatIsLeftOfIt) {
    static const char* const secret = "a-secret-of-some-length";
    StackProbe probe;
    probe.Run([] { LeaveBehind(secret); });
    EXPECT_GT(probe.UsedBytes(), 32768U);
    EXPECT_THAT(probe.Find(secret), ::testing::Not(IsEmpty()));
    EXPECT_THAT(probe.Find("another-secret-of-some-length-"),
                ::testing::Not(::testing::Contains("another-")));
    probe.Run([] {});
    EXPECT_THAT(probe.Find(secret), IsEmpty());
    const std::string bytes = "xxsecret-oxx";
    EXPECT_THAT(FindPieces(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), secret, 8),
                ElementsAre("secret-o"));
}

TEST_F(SupportTest, SleepsAreRecordedNotSlept) {
    std::this_thread::sleep_for(std::chrono::hours(1));
    EXPECT_THAT(Fake().sleepsUs, ElementsAre(3600U * 1000U * 1000U));
}

TEST_F(SupportTest, AStoppedClockMovesInWaitsOnly) {
    using std::chrono::system_clock;
    constexpr std::chrono::hours kHour{1};
    std::mutex mutex;
    std::condition_variable condition;
    const auto before = system_clock::now();
    {
        StoppedClock clock;
        const auto start = system_clock::now();
        EXPECT_GE(start, before);
        EXPECT_EQ(system_clock::now(), start);
        std::unique_lock<std::mutex> lock(mutex);
        EXPECT_EQ(condition.wait_until(lock, start + kHour), std::cv_status::timeout);
        EXPECT_EQ(system_clock::now(), start + kHour);
        bool unlocked = false;
        clock.onWait = [&] {
            unlocked = mutex.try_lock();
            mutex.unlock();
            clock.Advance(kHour);
            return true;
        };
        EXPECT_EQ(condition.wait_until(lock, start + 3 * kHour), std::cv_status::no_timeout);
        EXPECT_TRUE(unlocked);
        EXPECT_EQ(system_clock::now(), start + 2 * kHour);
        EXPECT_THAT(clock.Waits(), ElementsAre(kHour, 2 * kHour));
        unsigned ones = 0;
        clock.onNotifyOne = [&] { ++ones; };
        condition.notify_one();
        EXPECT_EQ(clock.Notifications(), 1U);
        condition.notify_all();
        EXPECT_EQ(clock.Notifications(), 2U);
        EXPECT_EQ(ones, 1U);
        const unsigned readings = clock.Readings();
        static_cast<void>(system_clock::now());
        EXPECT_EQ(clock.Readings(), readings + 1);
    }
    EXPECT_LT(system_clock::now(), before + kHour);
}

}  // namespace
}  // namespace QuorTest
