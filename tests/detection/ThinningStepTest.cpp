#include "ThinningStep.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>

#include "ThinningRemoval.h"

namespace {

using Korvane::StripNeighbourhood;
using Korvane::ThinningVariant;

/// Rows -1 to 8, columns -1 to 64.
bool IsSet(const StripNeighbourhood& around, int x, int y) {
    const auto row = static_cast<std::size_t>(y + 1);
    if (x < 0) return around.west[row] >> 63 != 0;
    if (x > 63) return (around.east[row] & 1u) != 0;
    return (around.centre[row] >> x & 1u) != 0;
}

bool IsLeft(const StripNeighbourhood& around, int x, int y, int step) {
    constexpr int dx[] = {0, 1, 1, 1, 0, -1, -1, -1};
    constexpr int dy[] = {-1, -1, 0, 1, 1, 1, 0, -1};
    std::size_t code = 0;
    for (std::size_t i = 0; i < 8; ++i) {
        code |= static_cast<std::size_t>(IsSet(around, x + dx[i], y + dy[i]) ? 1 : 0) << i;
    }
    const int subiteration = step % 2 != 0 ? 1 : 2;
    return IsSet(around, x, y) && (Korvane::kThinningRemoval[code] & subiteration) == 0;
}

class ThinningStepTest : public ::testing::TestWithParam<ThinningVariant> {};

TEST_P(ThinningStepTest, AStripIsLeftWhatTheTableOfRemovalsLeavesPixelByPixel) {
    if (!Korvane::RunsHere(GetParam())) GTEST_SKIP() << "not run by this processor";
    std::mt19937_64 random(5);
    for (int round = 0; round < 500; ++round) {
        StripNeighbourhood around;
        for (StripNeighbourhood::Rows* rows : {&around.west, &around.centre, &around.east}) {
            for (std::uint64_t& row : *rows) row = round % 2 != 0 ? random() : random() | random();
        }
        const int step = round / 2 % 2 + 1;
        Korvane::Strip left;
        Korvane::ThinningLeftWith(GetParam(), around, step, left);
        for (int y = 0; y < Korvane::kStripRows; ++y) {
            for (int x = 0; x < 64; ++x) {
                ASSERT_EQ((left[static_cast<std::size_t>(y)] >> x & 1u) != 0, IsLeft(around, x, y, step))
                    << "round " << round << ", column " << x << ", row " << y;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, ThinningStepTest,
                         ::testing::Values(ThinningVariant::Baseline, ThinningVariant::Avx2, ThinningVariant::Avx512));

}  // namespace
