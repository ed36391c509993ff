#include "support/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace {

using namespace korvane_test;

constexpr int kDraws = 100000;

TEST(Random, IntegersAreEquallyFrequentAndReachBothEnds) {
    std::mt19937 random(1);
    std::array<int, 7> counts{};
    for (int i = 0; i < kDraws; ++i) ++counts.at(static_cast<std::size_t>(UniformInt(random, -3, 3) + 3));
    for (const int count : counts) EXPECT_NEAR(count, kDraws / 7.0, 5.0 * std::sqrt(kDraws / 7.0));
}

TEST(Random, TheWholeRangeOfIntegersCanBeAskedFor) {
    constexpr int kMin = std::numeric_limits<int>::min();
    constexpr int kMax = std::numeric_limits<int>::max();
    std::mt19937 random(2);
    std::mt19937 same(2);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(static_cast<std::int64_t>(UniformInt(random, kMin, kMax)), static_cast<std::int64_t>(same()) + kMin);
    }
    EXPECT_EQ(UniformInt(random, kMax, kMax), kMax);
    EXPECT_EQ(UniformInt(random, kMin, kMin), kMin);
}

TEST(Random, RealNumbersAreEvenlySpread) {
    std::mt19937 random(3);
    double sum = 0.0;
    double doubles = 0.0;
    for (int i = 0; i < kDraws; ++i) {
        const float value = Uniform(random, -2.0f, 4.0f);
        ASSERT_GE(value, -2.0f);
        ASSERT_LT(value, 4.0f);
        sum += static_cast<double>(value);
        const double part = UniformDouble(random);
        ASSERT_GE(part, 0.0);
        ASSERT_LT(part, 1.0);
        doubles += part;
    }
    EXPECT_NEAR(sum / kDraws, 1.0, 0.03);
    EXPECT_NEAR(doubles / kDraws, 0.5, 0.005);
}

TEST(Random, GaussiansHaveMean0AndDeviation1) {
    std::mt19937 random(4);
    double sum = 0.0;
    double squares = 0.0;
    int beyondTwo = 0;
    for (int i = 0; i < kDraws; ++i) {
        const double value = Gaussian(random);
        sum += value;
        squares += value * value;
        beyondTwo += std::fabs(value) > 2.0 ? 1 : 0;
    }
    EXPECT_NEAR(sum / kDraws, 0.0, 0.015);
    EXPECT_NEAR(squares / kDraws, 1.0, 0.02);
    EXPECT_NEAR(static_cast<double>(beyondTwo) / kDraws, 0.0455, 0.003);
}

TEST(Random, ShufflingKeepsEveryValueAndAllOrdersOccur) {
    std::mt19937 random(5);
    std::array<int, 6> orders{};
    for (int i = 0; i < 6000; ++i) {
        std::vector<int> values{0, 1, 2};
        Shuffle(random, values);
        ++orders.at(static_cast<std::size_t>(2 * values[0] + (values[1] > values[2] ? 1 : 0)));
        std::sort(values.begin(), values.end());
        ASSERT_EQ(values, (std::vector<int>{0, 1, 2}));
    }
    for (const int count : orders) EXPECT_NEAR(count, 1000, 150);
}

// Worked out by hand from the first five numbers that std::mt19937 gives by the standard: 3499211612, 581869302,
// 3890346734, 3586334585 and 545404204.
TEST(Random, ASeedGivesTheseNumbers) {
    std::mt19937 random(5489);
    EXPECT_EQ(UniformInt(random, 0, 999), 814);
    EXPECT_EQ(Uniform(random), 2272926.0f / 16777216.0f);
    EXPECT_EQ(UniformDouble(random), 0.8350085899945795);
    EXPECT_EQ(OpenUniform(random), 0.12698681198526174);
}

}  // namespace
