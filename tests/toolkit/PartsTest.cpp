// Operations whose parts run on several threads, against their plain forms.

#include <atomic>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "RasterOperationsSupport.h"
#include "operations/Diffusion.h"
#include "operations/Erosion.h"
#include "operations/PartRunner.h"
#include "operations/Threshold.h"
#include "operations/Watershed.h"
#include "reference/PlainErosion.h"
#include "reference/PlainThreshold.h"
#include "reference/PlainWatershed.h"
#include "support/Random.h"
#include "support/TestThreads.h"

namespace {

using korvane_test::ForEachNumberOfThreads;
using korvane_test::SameVoxels;
using Sizes = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

TEST(Parts, RangesCoverEveryNumberOnceAndHaveNoneBelowTheFewestUnlessThereIsOneOnly) {
    for (const std::uint64_t count : {0u, 1u, 2u, 15u, 16u, 17u, 31u, 32u, 33u, 511u, 512u, 513u, 10007u}) {
        for (const std::uint64_t fewest : {1u, 16u, 300u}) {
            ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
                std::vector<std::atomic<int>> visits(count);
                std::atomic<std::size_t> parts{0};
                qvox::RunRanges(count, fewest, run, [&](const qvox::PartRange& range) {
                    ++parts;
                    EXPECT_LT(range.part, qvox::PartsOf(count, fewest));
                    EXPECT_GE(range.end - range.first, std::min(count, fewest));
                    for (std::uint64_t i = range.first; i < range.end; ++i) ++visits[i];
                });
                for (const std::atomic<int>& visit : visits) ASSERT_EQ(visit.load(), 1) << count << ", " << threads;
                EXPECT_EQ(parts.load(), count == 0 ? 0u : qvox::PartsOf(count, fewest));
            });
        }
    }
    EXPECT_EQ(qvox::PartsOf(1 << 20, 16), 32u);
}

TEST(Parts, ThresholdEqualsThePlainFormOnAnyNumberOfThreads) {
    std::mt19937 random(3);
    for (const auto& [width, height] : Sizes{{1, 1}, {1, 40}, {33, 17}, {300, 171}}) {
        const auto image = korvane_test::RandomImage<std::uint16_t>(random, width, height, 0, 9);
        ForEachNumberOfThreads([&, w = width, h = height](unsigned threads, const qvox::PartRunner& run) {
            qvox::VoxelImage<bool> mask;
            qvox::ThresholdToMask(image, mask, 2, 5, run);
            ASSERT_TRUE(SameVoxels(korvane_reference::PlainThreshold(image, 2, 5), mask))
                << w << " x " << h << " on " << threads;
        });
    }
}

TEST(Parts, ErosionEqualsThePlainFormOnAnyNumberOfThreads) {
    std::mt19937 random(5);
    for (const auto& [width, height] : Sizes{{1, 1}, {1, 40}, {600, 1}, {7, 15}, {31, 33}, {777, 19}, {520, 37}}) {
        for (const int radius : {0, 1, 4, 300}) {
            const auto mask = korvane_test::RandomMask(random, width, height, 0.99);
            const auto expected = korvane_reference::PlainErosion(mask, radius);
            ForEachNumberOfThreads([&, w = width, h = height](unsigned threads, const qvox::PartRunner& run) {
                qvox::VoxelImage<bool> eroded;
                qvox::ErodeMask(mask, eroded, radius, run);
                ASSERT_TRUE(SameVoxels(expected, eroded)) << w << " x " << h << ", " << radius << " on " << threads;
            });
        }
    }
}

TEST(Parts, ErosionWithDistancesOfTwoBytesIsTheSameOnAnyNumberOfThreads) {
    std::mt19937 random(6);
    const auto mask = korvane_test::RandomMask(random, 600, 401, 0.99999);
    qvox::VoxelImage<bool> expected;
    qvox::ErodeMask(mask, expected, 290);
    ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
        qvox::VoxelImage<bool> eroded;
        qvox::ErodeMask(mask, eroded, 290, run);
        ASSERT_TRUE(SameVoxels(expected, eroded)) << threads;
    });
}

TEST(Parts, WatershedEqualsThePlainFormOnAnyNumberOfThreads) {
    std::mt19937 random(8);
    // The last one is large enough that its counts are made by parts.
    for (const auto& [width, height] : Sizes{{1, 1}, {5, 3}, {40, 33}, {65, 47}, {1203, 999}}) {
        qvox::VoxelImage<float> relief;
        relief.Resize(width, height, 1);
        for (float& v : relief) v = static_cast<float>(korvane_test::UniformInt(random, -300, 3000)) / 7.0f;
        qvox::LabelImage markers;
        markers.Resize(width, height, 1);
        for (std::uint16_t& marker : markers) {
            const int drawn = korvane_test::UniformInt(random, 0, 500);
            marker = drawn < 9 ? static_cast<std::uint16_t>(drawn) : std::uint16_t{0};
        }
        const qvox::LabelImage expected = korvane_reference::PlainWatershed(relief, markers);
        ForEachNumberOfThreads([&, w = width, h = height](unsigned threads, const qvox::PartRunner& run) {
            qvox::LabelImage basins;
            qvox::WatershedFromMarkers(relief, markers, basins, qvox::Neighbourhood8{}, run);
            ASSERT_TRUE(SameVoxels(expected, basins)) << w << " x " << h << " on " << threads;
        });
    }
}

TEST(Parts, DiffusionIsTheSameOnAnyNumberOfThreads) {
    std::mt19937 random(9);
    for (const auto& [width, height] : Sizes{{1, 1}, {3, 50}, {70, 33}, {2100, 47}}) {
        const auto image = korvane_test::RandomImage<std::uint16_t>(random, width, height, 0, 65535);
        qvox::VoxelImage<std::uint16_t> expected = image;
        qvox::EdgeEnhancingDiffusion(expected, 5.0f, 0.005f, 0.05f, 4);
        ForEachNumberOfThreads([&, w = width, h = height](unsigned threads, const qvox::PartRunner& run) {
            qvox::VoxelImage<std::uint16_t> diffused = image;
            qvox::EdgeEnhancingDiffusion(diffused, 5.0f, 0.005f, 0.05f, 4, run);
            ASSERT_TRUE(SameVoxels(expected, diffused)) << w << " x " << h << " on " << threads;
        });
    }
}

}  // namespace
