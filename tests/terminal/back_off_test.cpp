#include "back_off.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace quor_terminal {
namespace {

using std::chrono::milliseconds;

TEST(BackOff, CeilingDoublesFromBaseToCap) {
    BackOff backOff(milliseconds(500), milliseconds(15000), [] { return 0.0; });
    const std::vector<int> expected = {500, 1000, 2000, 4000, 8000, 15000, 15000, 15000};
    for (const int ceiling : expected) {
        EXPECT_EQ(backOff.Ceiling(), milliseconds(ceiling));
        backOff.Next();
    }
}

TEST(BackOff, DrawsOverTheWholeSpan) {
    double draw = 0;
    BackOff backOff(milliseconds(500), milliseconds(15000), [&draw] { return draw; });
    EXPECT_EQ(backOff.Next(), milliseconds(0));
    draw = 0.5;
    EXPECT_EQ(backOff.Next(), milliseconds(500));
    draw = 0.9999;
    EXPECT_EQ(backOff.Next(), milliseconds(1999));
}

TEST(BackOff, EveryWaitIsWithinItsBoundsAndTheirMeanIsHalfTheCeiling) {
    std::mt19937 engine(20240611);  // NOLINT(cert-msc51-cpp): the same draws in every run
    std::uniform_real_distribution<double> even(0.0, 1.0);
    constexpr int kRounds = 4000;
    constexpr int kAttempts = 8;
    std::vector<double> sums(kAttempts, 0.0);
    BackOff backOff(milliseconds(500), milliseconds(15000), [&] { return even(engine); });
    std::vector<double> ceilings(kAttempts, 0.0);
    for (int round = 0; round < kRounds; ++round) {
        backOff.Reset();
        for (std::size_t attempt = 0; attempt < kAttempts; ++attempt) {
            ceilings[attempt] = static_cast<double>(backOff.Ceiling().count());
            const milliseconds wait = backOff.Next();
            ASSERT_GE(wait.count(), 0);
            ASSERT_LE(static_cast<double>(wait.count()), ceilings[attempt]);
            sums[attempt] += static_cast<double>(wait.count());
        }
    }
    for (std::size_t attempt = 0; attempt < kAttempts; ++attempt) {
        EXPECT_NEAR(sums[attempt] / kRounds, ceilings[attempt] / 2, ceilings[attempt] * 0.03);
    }
}

TEST(BackOff, ManyAttemptsDoNotOverflow) {
    BackOff backOff(milliseconds(500), milliseconds(15000), [] { return 0.999; });
    for (int i = 0; i < 1000; ++i) {
        EXPECT_LE(backOff.Next(), milliseconds(15000));
    }
    EXPECT_EQ(backOff.Attempts(), 1000U);
    backOff.Reset();
    EXPECT_EQ(backOff.Attempts(), 0U);
    EXPECT_EQ(backOff.Ceiling(), milliseconds(500));
}

TEST(BackOff, ABadRandomSourceCannotLeaveTheBounds) {
    double draw = 7.0;
    BackOff backOff(milliseconds(500), milliseconds(15000), [&draw] { return draw; });
    EXPECT_EQ(backOff.Next(), milliseconds(500));
    draw = -3.0;
    EXPECT_EQ(backOff.Next(), milliseconds(0));
}

TEST(BackOff, TheSystemRandomDrawsFromZeroToOne) {
    const BackOff::Random random = MakeSystemRandom();
    for (int i = 0; i < 1000; ++i) {
        const double draw = random();
        ASSERT_GE(draw, 0.0);
        ASSERT_LT(draw, 1.0);
    }
}

}  // namespace
}  // namespace quor_terminal
