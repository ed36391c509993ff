#include "components/ShrinkingComponents.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "ChangingSets.h"
#include "MapOfCodes.h"
#include "reference/CodeMaps.h"

namespace {

using korvane_reference::PixelCode;
using korvane_test::Between;
using korvane_test::CodeMap;
using korvane_test::PixelsOf;
using level_sweep::PixelRun;

/// Areas and first pixels of the 4-connected components of open pixels, by flooding.
std::set<std::pair<int, std::int64_t>> ComponentsByFlooding(CodeMap map, std::int64_t limit) {
    std::set<std::pair<int, std::int64_t>> found;
    korvane_reference::RunFlood flood;
    std::vector<PixelRun> runs;
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            if (map.At(x, y) == korvane_reference::kOpen) {
                const auto area = flood.Fill(map.Plane(), x, y, korvane_reference::kAnalysed,
                                             korvane_reference::Connectivity::k4, runs);
                if (area <= limit) found.emplace(y * map.width + x, area);
            }
        }
    }
    return found;
}
TEST(ShrinkingComponents, TakesExactlyTheSmallComponentsThatFloodingFindsWhilePixelsAreRemoved) {
    for (std::uint32_t seed = 1; seed <= 300; ++seed) {
        std::mt19937 random(seed);
        CodeMap map(Between(random, 1, seed % 3 == 0 ? 150 : 30), Between(random, 1, 30), korvane_reference::kOpen);
        for (PixelCode& code : map.codes) {
            if (Between(random, 0, 9) == 0) code = korvane_reference::kBackground;
        }
        const std::int64_t limit = Between(random, 0, 40);
        level_sweep::ShrinkingComponents components(PixelsOf(map, korvane_reference::kOpen), limit);
        for (int step = 0; step < 30; ++step) {
            const std::set<std::pair<int, std::int64_t>> expected = ComponentsByFlooding(map, limit);
            std::set<std::pair<int, std::int64_t>> taken;
            int last = -1;
            for (const level_sweep::TakenComponent& component : components.TakeSmall()) {
                EXPECT_GT(component.first, last) << "order, seed " << seed;
                last = component.first;
                taken.emplace(component.first, component.area);
                std::int64_t area = 0;
                const level_sweep::BitGrid grid(map.width, map.height);
                for (const level_sweep::WordPixels<level_sweep::BitGrid>& part : component.parts) {
                    const int row = part.word / grid.WordsPerRow();
                    level_sweep::ForEachRun(part.pixels, [&](int from, int to) {
                        area += to - from + 1;
                        const int x0 = (part.word - grid.WordAt(0, row)) * 64;
                        for (int x = x0 + from; x <= x0 + to; ++x) map.At(x, row) = korvane_reference::kAnalysed;
                    });
                }
                EXPECT_EQ(area, component.area) << "seed " << seed << ", step " << step;
            }
            ASSERT_EQ(taken, expected) << "seed " << seed << ", step " << step;
            std::vector<level_sweep::PixelPosition> removed;
            for (int i = Between(random, 1, map.width * map.height / 15 + 1); i > 0; --i) {
                const int pixel = Between(random, 0, map.width * map.height - 1);
                if (map.codes[static_cast<std::size_t>(pixel)] == korvane_reference::kOpen) {
                    map.codes[static_cast<std::size_t>(pixel)] = korvane_reference::kBackground;
                    removed.push_back({pixel % map.width, pixel / map.width});
                }
            }
            components.Remove(removed);
        }
    }
}

TEST(ShrinkingComponents, CutsAlongALineThatMeetsTheBorderAtBothEnds) {
    CodeMap map(5, 3, korvane_reference::kOpen);
    level_sweep::ShrinkingComponents components(PixelsOf(map, korvane_reference::kOpen), 3);
    EXPECT_TRUE(components.TakeSmall().empty());
    components.Remove({{1, 0}, {1, 1}, {1, 2}});
    const auto& taken = components.TakeSmall();
    ASSERT_EQ(taken.size(), 1u);
    EXPECT_EQ(taken[0].first, 0);
    EXPECT_EQ(taken[0].area, 3);
}

TEST(ShrinkingComponents, CutsAlongARingWhosePixelsOnlyTouchDiagonally) {
    CodeMap map(5, 5, korvane_reference::kOpen);
    level_sweep::ShrinkingComponents components(PixelsOf(map, korvane_reference::kOpen), 1);
    EXPECT_TRUE(components.TakeSmall().empty());
    components.Remove({{2, 1}, {1, 2}, {3, 2}, {2, 3}});
    const auto& taken = components.TakeSmall();
    ASSERT_EQ(taken.size(), 1u);
    EXPECT_EQ(taken[0].first, 12);
}

}  // namespace
