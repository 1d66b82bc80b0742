// Response buffers, bounded texts and clocks.
#include <cstring>

#include "quor_platform/bounded.h"
#include "quor_platform/os.h"
#include "support/http_test.h"

namespace QuorTest {
namespace {

constexpr unsigned kFailed = 0xFFFFFFFFU;

class HelpersTest : public HttpTest {
protected:
    static char* Block(const char* text) {
        auto* block = static_cast<char*>(OsMemMallocSetCharMon(16, 0, 1, "test"));
        std::strcpy(block, text);
        return block;
    }
};

// ---- Response buffers ----

TEST_F(HelpersTest, TheSecondBufferIsFreedBeforeTheBody) {
    tagHTTP_S_SYN_SEND_PARAM param = {};
    param.rspBody = Block("body");
    param.rspExtra = Block("extra");
    HttpProtocol::FreeSyncRequestParam(param);
    EXPECT_EQ(param.rspBody, nullptr);
    EXPECT_EQ(param.rspExtra, nullptr);
    ASSERT_EQ(Fake().freedBlocks.size(), 2U);
    EXPECT_EQ(Fake().freedBlocks[0].contentAtFree.substr(0, 5), "extra");
    EXPECT_EQ(Fake().freedBlocks[1].contentAtFree.substr(0, 4), "body");
    EXPECT_EQ(Fake().freedBlocks[0].freeModule, kUtilityModule);
    HttpProtocol::FreeSyncRequestParam(param);
    EXPECT_EQ(Fake().CountOf(Fn::HeapFree), 2U) << "a second call frees nothing";
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(HelpersTest, EitherBufferMayBeMissing) {
    tagHTTP_S_SYN_SEND_PARAM param = {};
    param.rspBody = Block("body");
    HttpProtocol::FreeSyncRequestParam(param);
    EXPECT_EQ(Fake().freedBlocks.size(), 1U);
    param.rspExtra = Block("extra");
    HttpProtocol::FreeSyncRequestParam(param);
    EXPECT_EQ(Fake().freedBlocks.size(), 2U);
}

// ---- Copy of a body ----

TEST_F(HelpersTest, ABodyIsCopiedAndTerminated) {
    const char body[] = {'a', '\0', 'b', 'X'};
    char* copy = HttpProtocol::AiUtilityHttpGetStrFromBody(body, 3);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::string(copy, 4), std::string("a\0b\0", 4));
    const std::vector<BlockRecord> blocks = Fake().LiveBlocks();
    ASSERT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks[0].sizeBytes, 4U);
    EXPECT_EQ(blocks[0].fill, 0);
    EXPECT_EQ(blocks[0].module, kUtilityModule);
    OSMemTypeFreeMon(copy, 1, "test");
}

TEST_F(HelpersTest, NoBodyAndAnEmptyOneAreNull) {
    EXPECT_EQ(HttpProtocol::AiUtilityHttpGetStrFromBody(nullptr, 5), nullptr);
    EXPECT_EQ(HttpProtocol::AiUtilityHttpGetStrFromBody("body", 0), nullptr);
    EXPECT_EQ(Fake().CountOf(Fn::HeapAlloc), 0U);
}

TEST_F(HelpersTest, ABodyThatCannotBeCopiedIsNull) {
    Fake().FailCall(Fn::HeapAlloc, 1);
    EXPECT_EQ(HttpProtocol::AiUtilityHttpGetStrFromBody("body", 4), nullptr);
    EXPECT_EQ(Fake().CountOf(Fn::MemcpyS), 0U);
    Fake().FailCall(Fn::MemcpyS, 1);
    EXPECT_EQ(HttpProtocol::AiUtilityHttpGetStrFromBody("body", 4), nullptr);
    EXPECT_EQ(Fake().freedBlocks.size(), 1U);
    EXPECT_EQ(HttpProtocol::AiUtilityHttpGetStrFromBody("body", 0xFFFFFFFFU), nullptr)
        << "no room for a terminator";
    EXPECT_THAT(Logs(), IsEmpty());
}

// ---- Bounded copy ----

TEST_F(HelpersTest, SafeCopyOfATextThatFits) {
    char dest[5];
    std::memset(dest, 'x', sizeof(dest));
    EXPECT_EQ(HttpProtocol::AiUtilitySafeStrCpyD(dest, "abc", sizeof(dest)), 0U);
    EXPECT_EQ(std::string(dest, 5), std::string("abc\0x", 5));
    EXPECT_EQ(HttpProtocol::AiUtilitySafeStrCpyD(dest, "", sizeof(dest)), 0U);
    EXPECT_STREQ(dest, "");
}

TEST_F(HelpersTest, SafeCopyThatFillsTheDestinationLosesTheLastByteAndReturnsSizeMinusOne) {
    char dest[4];
    EXPECT_EQ(HttpProtocol::AiUtilitySafeStrCpyD(dest, "abcd", 4), 3U);
    EXPECT_STREQ(dest, "abc");
    char one[1] = {'x'};
    EXPECT_EQ(HttpProtocol::AiUtilitySafeStrCpyD(one, "a", 1), 0U);
    EXPECT_EQ(one[0], '\0');
}

TEST_F(HelpersTest, SafeCopyOfATooLongTextReturnsItsLengthAndCopiesNothing) {
    char dest[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(HttpProtocol::AiUtilitySafeStrCpyD(dest, "abcde", 4), 5U);
    EXPECT_EQ(std::string(dest, 4), "xxxx");
    EXPECT_EQ(Fake().CountOf(Fn::MemcpyS), 0U);
}

TEST_F(HelpersTest, SafeCopyOfNothingIsASuccessUnlessTheSizeIsZero) {
    char dest[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(HttpProtocol::AiUtilitySafeStrCpyD(dest, nullptr, 4), 0U);
    EXPECT_EQ(HttpProtocol::AiUtilitySafeStrCpyD(nullptr, "a", 4), 0U);
    EXPECT_EQ(HttpProtocol::AiUtilitySafeStrCpyD(dest, "a", 0), 1U);
    EXPECT_EQ(HttpProtocol::AiUtilitySafeStrCpyD(nullptr, nullptr, 0), 1U);
    EXPECT_EQ(std::string(dest, 4), "xxxx");
}

TEST_F(HelpersTest, SafeCopyReturnsTheErrorOfTheBoundedCopy) {
    char dest[8];
    const int error = memcpy_s(dest, 1, &Fake(), 2);
    ASSERT_NE(error, 0);
    Fake().FailCall(Fn::MemcpyS, 1);
    EXPECT_EQ(HttpProtocol::AiUtilitySafeStrCpyD(dest, "abc", 8), static_cast<unsigned>(error));
    EXPECT_THAT(Logs(), IsEmpty());
}

// ---- Clocks ----

TEST_F(HelpersTest, UptimeIsTheWallClock) {
    Network().timeOfDaySec = 1763692800;
    long long seconds = -1;
    EXPECT_EQ(HttpProtocol::GetSystemUptime(&seconds), 0U);
    EXPECT_EQ(seconds, 1763692800);
    EXPECT_THAT(Logs(), IsEmpty());
}

TEST_F(HelpersTest, UptimeWithoutAPlaceForItGoesToTheStormLog) {
    EXPECT_EQ(HttpProtocol::GetSystemUptime(nullptr), kFailed);
    EXPECT_THAT(Logs(), ElementsAre(US("<GetSystemUptime> pllUptimeSec is null!")));
    EXPECT_EQ(Fake().CountOf(Fn::TimeOfDay), 0U);
}

TEST_F(HelpersTest, UptimeWithoutAClock) {
    Fake().FailCall(Fn::TimeOfDay, 1);
    long long seconds = -1;
    EXPECT_EQ(HttpProtocol::GetSystemUptime(&seconds), kFailed);
    EXPECT_EQ(seconds, -1);
    EXPECT_THAT(Logs(), ElementsAre(UE("<GetSystemUptime> gettimeofday failed!")));
}

TEST_F(HelpersTest, MillisecondsAreCutNotRounded) {
    Network().timeOfDaySec = 1763692800;
    Network().timeOfDayUsec = 999999;
    EXPECT_EQ(HttpProtocol::GetCurTimeMs(), 1763692800999UL);
    Network().timeOfDayUsec = 999;
    EXPECT_EQ(HttpProtocol::GetCurTimeMs(), 1763692800000UL);
    Fake().FailCall(Fn::TimeOfDay, 1);
    EXPECT_EQ(HttpProtocol::GetCurTimeMs(), 0UL);
    EXPECT_THAT(Logs(), IsEmpty());
}

}  // namespace
}  // namespace QuorTest
