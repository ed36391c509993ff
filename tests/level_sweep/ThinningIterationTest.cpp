#include "skeleton/ThinningIteration.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>

#include "reference/ThinningRemoval.h"

namespace {

using level_sweep::BlockSurroundings;
using qvox::InstructionSet;

/// Columns -2 to 65 and rows -2 to 9.
using Pixels = std::array<std::array<bool, 68>, BlockSurroundings::kRows>;

Pixels PixelsOf(const BlockSurroundings& around) {
    Pixels pixels;
    for (std::size_t y = 0; y < pixels.size(); ++y) {
        for (std::size_t x = 0; x < pixels[y].size(); ++x) {
            const std::uint64_t word = x < 2 ? around.west[y] : x < 66 ? around.centre[y] : around.east[y];
            pixels[y][x] = (word >> ((x + 62) % 64) & 1u) != 0;
        }
    }
    return pixels;
}

/// The pixels that a subiteration leaves of those that have all their neighbours.
Pixels ThinPixelByPixel(const Pixels& set, const Pixels& fixedPixels, int subiteration) {
    constexpr int dx[] = {0, 1, 1, 1, 0, -1, -1, -1};
    constexpr int dy[] = {-1, -1, 0, 1, 1, 1, 0, -1};
    Pixels remaining = set;
    for (int y = 1; y + 1 < static_cast<int>(set.size()); ++y) {
        for (int x = 1; x + 1 < static_cast<int>(set[0].size()); ++x) {
            const auto at = [&](const Pixels& pixels, int u, int v) {
                return pixels[static_cast<std::size_t>(v)][static_cast<std::size_t>(u)];
            };
            std::size_t code = 0;
            for (std::size_t i = 0; i < 8; ++i) {
                code |= static_cast<std::size_t>(at(set, x + dx[i], y + dy[i]) ? 1 : 0) << i;
            }
            if ((korvane_reference::kThinningRemoval[code] & subiteration) != 0 && !at(fixedPixels, x, y)) {
                remaining[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] = false;
            }
        }
    }
    return remaining;
}

class ThinningIterationTest : public ::testing::TestWithParam<InstructionSet> {};

TEST_P(ThinningIterationTest, ABlockKeepsThePixelsThatTheTableOfRemovalsKeepsPixelByPixel) {
    if (!qvox::RunsHere(GetParam())) GTEST_SKIP() << "not run by this processor";
    std::mt19937_64 random(5);
    for (int round = 0; round < 500; ++round) {
        BlockSurroundings around;
        BlockSurroundings fixedPixels{};
        const bool anyFixed = round % 3 == 0;
        for (BlockSurroundings::Rows* rows : {&around.west, &around.centre, &around.east}) {
            for (std::uint64_t& row : *rows) row = round % 2 != 0 ? random() : random() | random();
        }
        if (anyFixed) {
            for (std::size_t i = 0; i < BlockSurroundings::kRows; ++i) {
                fixedPixels.west[i] = around.west[i] & random();
                fixedPixels.centre[i] = around.centre[i] & random();
                fixedPixels.east[i] = around.east[i] & random();
            }
        }
        BlockSurroundings used = around;
        level_sweep::PixelBlock remaining;
        level_sweep::ThinWith(GetParam(), used, anyFixed ? &fixedPixels : nullptr, remaining);
        const Pixels isFixed = PixelsOf(fixedPixels);
        const Pixels expected = ThinPixelByPixel(ThinPixelByPixel(PixelsOf(around), isFixed, 1), isFixed, 2);
        for (std::size_t y = 0; y < level_sweep::kBlockRows; ++y) {
            for (std::size_t x = 0; x < 64; ++x) {
                ASSERT_EQ((remaining[y] >> x & 1u) != 0, expected[y + 2][x + 2])
                    << "round " << round << ", column " << x << ", row " << y;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Variants, ThinningIterationTest,
                         ::testing::Values(InstructionSet::kBaseline, InstructionSet::kAvx2, InstructionSet::kAvx512));

}  // namespace
