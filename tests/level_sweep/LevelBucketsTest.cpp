#include "components/LevelBuckets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace {

int Between(std::mt19937& random, int low, int high) {
    return low + static_cast<int>(static_cast<std::uint32_t>(random()) % static_cast<std::uint32_t>(high - low + 1));
}

/// Values on, just above, just below and between levels, beyond all of them, and none at all.
float RandomEdge(std::mt19937& random, const std::vector<float>& levels) {
    const float level = levels[static_cast<std::size_t>(Between(random, 0, static_cast<int>(levels.size()) - 1))];
    switch (Between(random, 0, 9)) {
        case 0:
            return level;
        case 1:
            return std::nextafter(level, 2.0f);
        case 2:
            return std::nextafter(level, -2.0f);
        case 3:
            return std::numeric_limits<float>::infinity();
        case 4:
            return -std::numeric_limits<float>::infinity();
        case 5:
            return std::numeric_limits<float>::quiet_NaN();
        default:
            return 0.001f * static_cast<float>(Between(random, -100, 1200));
    }
}

std::vector<std::int32_t> Sorted(const level_sweep::LevelBuckets::Pixels& pixels) {
    std::vector<std::int32_t> sorted(pixels.begin(), pixels.end());
    std::sort(sorted.begin(), sorted.end());
    return sorted;
}

TEST(LevelBuckets, EachOpenPixelIsUnderTheFirstLevelItIsAboveAndUnderTheOneItIsAt) {
    constexpr float step = 0.005f;
    for (std::uint32_t seed = 1; seed <= 200; ++seed) {
        std::mt19937 random(seed);
        const int width = Between(random, 1, 200);
        const int height = Between(random, 1, 40);
        std::vector<float> levels;
        for (float level = 0.01f * static_cast<float>(Between(random, 6, 100)); level > 0.05f; level = level - step) {
            levels.push_back(level);
        }
        level_sweep::BitPlane open(width, height);
        std::vector<float> edges;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                edges.push_back(RandomEdge(random, levels));
                if (Between(random, 0, 3) > 0) open.Add(x, y);
            }
        }
        const level_sweep::LevelBuckets buckets(edges.data(), open, levels, step);
        for (std::size_t k = 0; k < levels.size(); ++k) {
            std::vector<std::int32_t> above;
            std::vector<std::int32_t> at;
            for (int i = 0; i < width * height; ++i) {
                const float edge = edges[static_cast<std::size_t>(i)];
                if (!open.Has(i % width, i / width)) continue;
                if (edge > levels[k] && (k == 0 || !(edge > levels[k - 1]))) above.push_back(i);
                if (edge == levels[k]) at.push_back(i);
            }
            ASSERT_EQ(Sorted(buckets.Above(k)), above) << "seed " << seed << ", level " << k;
            ASSERT_EQ(Sorted(buckets.At(k)), at) << "seed " << seed << ", level " << k;
            std::vector<std::int32_t> aboveOnly = Sorted(buckets.AboveOnly(k));
            if (k > 0) {
                const std::vector<std::int32_t> atBefore = Sorted(buckets.At(k - 1));
                aboveOnly.insert(aboveOnly.end(), atBefore.begin(), atBefore.end());
                std::sort(aboveOnly.begin(), aboveOnly.end());
            }
            ASSERT_EQ(aboveOnly, above) << "seed " << seed << ", level " << k;
        }
    }
}

}  // namespace
