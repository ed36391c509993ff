#include "Assignment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "support/Random.h"

namespace Korvane {

namespace {

std::int64_t TotalOf(const PairWeights& pairs, const std::vector<std::optional<std::size_t>>& columns) {
    std::int64_t total = 0;
    std::vector<bool> taken(pairs.columns, false);
    for (std::size_t row = 0; row < columns.size(); ++row) {
        if (!columns[row]) continue;
        EXPECT_FALSE(taken[*columns[row]]) << "two rows have column " << *columns[row];
        taken[*columns[row]] = true;
        EXPECT_GT(pairs.At(row, *columns[row]), 0) << "a pair that cannot be";
        total += pairs.At(row, *columns[row]);
    }
    return total;
}

/// Every assignment is tried.
std::int64_t LargestTotal(const PairWeights& pairs) {
    std::vector<bool> taken(pairs.columns, false);
    const std::function<std::int64_t(std::size_t)> from = [&](std::size_t row) -> std::int64_t {
        if (row == pairs.rows) return 0;
        std::int64_t best = from(row + 1);
        for (std::size_t column = 0; column < pairs.columns; ++column) {
            if (taken[column] || pairs.At(row, column) == 0) continue;
            taken[column] = true;
            best = std::max(best, pairs.At(row, column) + from(row + 1));
            taken[column] = false;
        }
        return best;
    };
    return from(0);
}

PairWeights RandomPairs(std::mt19937& random, std::size_t rows, std::size_t columns) {
    PairWeights pairs{rows, columns, std::vector<std::int64_t>(rows * columns, 0)};
    const float share = korvane_test::Uniform(random, 0.2f, 1.0f);
    const int largest = korvane_test::UniformInt(random, 1, 50);
    for (std::int64_t& weight : pairs.weights) {
        if (korvane_test::Uniform(random) < share) weight = korvane_test::UniformInt(random, 1, largest);
    }
    return pairs;
}

TEST(Assignment, HasTheLargestTotalOfAll) {
    std::mt19937 random(1);
    for (int trial = 0; trial < 2000; ++trial) {
        const auto rows = static_cast<std::size_t>(korvane_test::UniformInt(random, 1, 6));
        const auto columns = static_cast<std::size_t>(korvane_test::UniformInt(random, 1, 6));
        const PairWeights pairs = RandomPairs(random, rows, columns);
        const auto assigned = BestAssignment(pairs);
        ASSERT_EQ(assigned.size(), rows);
        ASSERT_EQ(TotalOf(pairs, assigned), LargestTotal(pairs)) << "trial " << trial;
    }
}

TEST(Assignment, APairThatTakesTheBestFromTwoOthersIsGivenUp) {
    const PairWeights pairs{2, 2, {9, 8, 8, 0}};
    EXPECT_EQ(BestAssignment(pairs), (std::vector<std::optional<std::size_t>>{1, 0}));
}

TEST(Assignment, WithoutPairsNothingIsAssigned) {
    EXPECT_TRUE(BestAssignment({0, 0, {}}).empty());
    EXPECT_EQ(BestAssignment({2, 1, {0, 0}}), (std::vector<std::optional<std::size_t>>{std::nullopt, std::nullopt}));
}

}  // namespace

}  // namespace Korvane
