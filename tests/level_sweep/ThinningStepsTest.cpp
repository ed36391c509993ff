#include "skeleton/ThinningSteps.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "ChangingSets.h"

namespace {

using korvane_test::Between;
using level_sweep::BlockGrid;
using level_sweep::PixelBlock;
using level_sweep::ThinningSteps;

/// The set and the pixels that remain after each step; nothing changes after the last.
using History = std::vector<PixelBlock>;

/// Of steps that mostly take nothing, for some histories over more steps than are at hand.
History RandomHistory(std::mt19937_64& random, const PixelBlock& set, int steps) {
    History history{set};
    for (int step = 1; step <= steps; ++step) {
        PixelBlock remaining = history.back();
        if (random() % 3 == 0) {
            for (auto& row : remaining.rows) row &= random() | random() | random();
        }
        history.push_back(remaining);
    }
    return history;
}

const PixelBlock& After(const History& history, int step) {
    return history[std::min(history.size() - 1, static_cast<std::size_t>(step))];
}

void ExpectHistory(const History& history, const ThinningSteps& steps, std::int32_t block) {
    int last = 0;
    for (int step = 1; step < static_cast<int>(history.size()); ++step) {
        if (!(After(history, step) == After(history, step - 1))) last = step;
    }
    ASSERT_EQ(steps.LastStep(block), last);
    for (int step = 0; step < 30; ++step) {
        ASSERT_TRUE(steps.RemainingAfter(block, step) == After(history, step)) << "step " << step;
    }
}

// Every update replaces the whole record of some blocks, step by step, as thinning does.
TEST(ThinningSteps, HoldEveryStepOfEveryBlockAfterAnyUpdate) {
    for (std::uint32_t seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937_64 random(seed);
        const BlockGrid grid(150, 20);
        ThinningSteps steps(grid);
        std::vector<History> histories(grid.Blocks(), History{PixelBlock{}});
        for (int update = 0; update < 20; ++update) {
            for (std::int32_t block = 0; block < static_cast<std::int32_t>(grid.Blocks()); ++block) {
                if (random() % 2 == 0) continue;
                PixelBlock set;
                for (auto& row : set.rows) row = random();
                const History next = RandomHistory(random, set, static_cast<int>(random() % 25));
                steps.Set(block) = set;
                const int last = std::max(static_cast<int>(next.size()) - 1, steps.LastStep(block));
                for (int step = 1; step <= last; ++step) {
                    steps.Record(block, step, After(next, step - 1), After(next, step));
                }
                steps.Tidy(block);
                histories[static_cast<std::size_t>(block)] = next;
            }
            for (std::int32_t block = 0; block < static_cast<std::int32_t>(grid.Blocks()); ++block) {
                ASSERT_NO_FATAL_FAILURE(ExpectHistory(histories[static_cast<std::size_t>(block)], steps, block));
            }
            steps.CheckInvariants();
        }
    }
}

TEST(ThinningSteps, SurroundingsAreTheWordsOfTheNineBlocksAround) {
    std::mt19937_64 random(3);
    const BlockGrid grid(300, 40);
    ThinningSteps steps(grid);
    std::vector<History> histories(grid.Blocks());
    grid.ForEachBlock([&](std::int32_t block) {
        PixelBlock set;
        for (auto& row : set.rows) row = random();
        History& history = histories[static_cast<std::size_t>(block)];
        history = RandomHistory(random, set, 12);
        steps.Set(block) = set;
        for (int step = 1; step < 13; ++step) steps.Record(block, step, After(history, step - 1), After(history, step));
        steps.Tidy(block);
    });
    const auto rowOf = [&](std::int32_t block, int row, int step) {
        for (; row < 0; row += level_sweep::kBlockRows) block -= grid.Stride();
        for (; row >= level_sweep::kBlockRows; row -= level_sweep::kBlockRows) block += grid.Stride();
        return After(histories[static_cast<std::size_t>(block)], step)[static_cast<std::size_t>(row)];
    };
    grid.ForEachBlock([&](std::int32_t block) {
        if (!grid.IsInside(block)) return;
        for (const int step : {0, 3, 7, 8, 11, 20}) {
            const level_sweep::BlockSurroundings around = steps.SurroundingsAfter(block, step);
            for (int row = -2; row < level_sweep::kBlockRows + 2; ++row) {
                const auto i = static_cast<std::size_t>(row + 2);
                ASSERT_EQ(around.west[i], rowOf(block - 1, row, step));
                ASSERT_EQ(around.centre[i], rowOf(block, row, step));
                ASSERT_EQ(around.east[i], rowOf(block + 1, row, step));
            }
        }
    });
}

TEST(BlockGrid, BeyondIsEveryPixelThatIsNotOfTheImage) {
    for (const auto& [width, height] : {std::pair{1, 1}, std::pair{64, 8}, std::pair{65, 9}, std::pair{150, 20},
                                        std::pair{128, 7}, std::pair{200, 16}}) {
        const BlockGrid grid(width, height);
        const auto isBeyond = [&](int x, int y) { return x < 0 || x >= width || y < 0 || y >= height; };
        int inside = 0;
        grid.ForEachBlock([&](std::int32_t block) {
            if (!grid.IsInside(block)) return;
            ++inside;
            const int x0 = grid.FirstXOf(block);
            const int y0 = grid.FirstRowOf(block);
            ASSERT_EQ(grid.BlockAt(y0 / level_sweep::kBlockRows, x0 / 64), block);
            bool anyBeyond = false;
            for (int y = -1; y <= level_sweep::kBlockRows; ++y) {
                for (int x = -1; x <= 64; ++x) anyBeyond = anyBeyond || isBeyond(x0 + x, y0 + y);
            }
            EXPECT_EQ(grid.IsAtBorder(block), anyBeyond);
            const level_sweep::BlockSurroundings around = grid.BeyondAround(block);
            for (int y = -2; y < level_sweep::kBlockRows + 2; ++y) {
                for (int x = 0; x < 64; ++x) {
                    const auto isSet = [&](std::uint64_t word) { return (word >> x & 1u) != 0; };
                    const auto row = static_cast<std::size_t>(y + 2);
                    ASSERT_EQ(isSet(around.west[row]), isBeyond(x0 + x - 64, y0 + y));
                    ASSERT_EQ(isSet(around.centre[row]), isBeyond(x0 + x, y0 + y));
                    ASSERT_EQ(isSet(around.east[row]), isBeyond(x0 + x + 64, y0 + y));
                    if (y >= 0 && y < level_sweep::kBlockRows) {
                        ASSERT_EQ(isSet(grid.BeyondIn(block)[static_cast<std::size_t>(y)]), isBeyond(x0 + x, y0 + y));
                    }
                }
            }
        });
        EXPECT_EQ(inside, grid.Rows() * grid.Columns());
    }
}

}  // namespace
