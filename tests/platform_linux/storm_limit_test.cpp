#include "platform_linux/storm_limit.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

using quor_platform::internal::StormLimit;
using std::chrono::milliseconds;

int AdmittedOf(StormLimit& limit, int records, StormLimit::Time at) {
    int admitted = 0;
    for (int i = 0; i < records; ++i) {
        admitted += limit.Admit(at) ? 1 : 0;
    }
    return admitted;
}

TEST(StormLimit, AdmitsItsRateInASecond) {
    StormLimit limit;
    limit.SetRate(4);
    const StormLimit::Time begin{};  // also a clock that stands at its beginning
    EXPECT_EQ(AdmittedOf(limit, 3, begin), 3);
    EXPECT_EQ(limit.TakeDropped(), 0U);
    EXPECT_EQ(AdmittedOf(limit, 3, begin + milliseconds(999)), 1);
    EXPECT_EQ(limit.TakeDropped(), 2U);
    EXPECT_EQ(limit.TakeDropped(), 0U);
    EXPECT_EQ(AdmittedOf(limit, 9, begin + milliseconds(1000)), 4);
    EXPECT_EQ(limit.TakeDropped(), 5U);
}

TEST(StormLimit, ASecondBeginsWithItsFirstRecord) {
    StormLimit limit;
    limit.SetRate(1);
    const StormLimit::Time begin{milliseconds(5000)};
    EXPECT_EQ(AdmittedOf(limit, 2, begin), 1);
    EXPECT_EQ(AdmittedOf(limit, 2, begin + milliseconds(1900)), 1);
    EXPECT_EQ(AdmittedOf(limit, 2, begin + milliseconds(2800)), 0);
    EXPECT_EQ(AdmittedOf(limit, 2, begin + milliseconds(2900)), 1);
}

TEST(StormLimit, ARateOfZeroDropsAll) {
    StormLimit limit;
    limit.SetRate(0);
    EXPECT_EQ(AdmittedOf(limit, 5, StormLimit::Time{}), 0);
    EXPECT_EQ(limit.TakeDropped(), 5U);
}

}  // namespace
