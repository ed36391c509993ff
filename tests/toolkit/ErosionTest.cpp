#include "operations/Erosion.h"

#include <gtest/gtest.h>

#include "RasterOperationsSupport.h"
#include "reference/PlainErosion.h"

namespace {

using korvane_test::Draw;
using korvane_test::ExpectError;
using korvane_test::RandomImage;
using korvane_test::SameVoxels;
using korvane_test::TrialSizes;
using Image = qvox::VoxelImage<std::uint16_t>;
using Mask = qvox::VoxelImage<bool>;

TEST(ErodeMask, RadiusOneTakesTheFourNeighbours) {
    Mask eroded;
    qvox::ErodeMask(Draw<bool>({"#####", "#####", "##.##", "#####", "#####"}), eroded, 1);
    EXPECT_TRUE(SameVoxels(Draw<bool>({"#####", "##.##", "#...#", "##.##", "#####"}), eroded));
}

TEST(ErodeMask, VoxelsBeyondTheBorderCountAsSet) {
    const Mask full = Draw<bool>({"####", "####", "####"});
    for (const int radius : {0, 1, 100, 254, 255, 70000, 2147483647}) {
        Mask eroded;
        qvox::ErodeMask(full, eroded, radius);
        EXPECT_TRUE(SameVoxels(full, eroded)) << radius;
    }
}

TEST(ErodeMask, EqualsThePlainVersionAndKeepsItsInput) {
    std::mt19937 random(12);
    for (const auto& [width, height] : TrialSizes()) {
        for (const double density : {0.0, 0.5, 0.9, 0.98, 0.998}) {
            for (const int radius : {0, 1, 2, 3, 5, 8, 13, 40, 300, 2147483647}) {
                Mask mask = korvane_test::RandomMask(random, width, height, density);
                korvane_test::Furnish(mask);
                const Mask before(mask);
                Mask eroded;
                qvox::ErodeMask(mask, eroded, radius);
                ASSERT_TRUE(SameVoxels(korvane_reference::PlainErosion(mask, radius), eroded))
                    << "seed 12, " << width << " x " << height << ", density " << density << ", radius " << radius;
                ASSERT_TRUE(SameVoxels(before, mask));
                korvane_test::ExpectFurnished(eroded);
            }
        }
    }
}

/// One false voxel: what it clears is the disc itself, which needs no plain version to be known.
void ExpectDiscCut(std::uint64_t width, std::uint64_t height, std::uint64_t cx, std::uint64_t cy, int radius) {
    Mask mask;
    mask.Resize(width, height, 1);
    std::fill(mask.begin(), mask.end(), true);
    mask(cx, cy) = false;
    Mask eroded;
    qvox::ErodeMask(mask, eroded, radius);
    std::uint64_t wrong = 0;
    for (std::uint64_t i = 0; i < mask.VoxelCount(); ++i) {
        const auto at = mask.Coordinates(i);
        const auto dx = static_cast<std::int64_t>(at[0]) - static_cast<std::int64_t>(cx);
        const auto dy = static_cast<std::int64_t>(at[1]) - static_cast<std::int64_t>(cy);
        wrong += eroded[i] != (dx * dx + dy * dy > std::int64_t{radius} * radius) ? 1u : 0u;
    }
    EXPECT_EQ(wrong, 0u) << width << " x " << height << ", radius " << radius;
}

TEST(ErodeMask, IsExactOnVeryWideAndVeryTallImages) {
    ExpectDiscCut(5000, 3, 4900, 1, 4500);
    ExpectDiscCut(70000, 3, 69990, 1, 66000);
    ExpectDiscCut(3, 70000, 1, 69990, 66000);
    ExpectDiscCut(3, 600, 1, 300, 254);
    ExpectDiscCut(3, 600, 1, 300, 255);
    ExpectDiscCut(2, 66000, 0, 65990, 65534);
    ExpectDiscCut(2, 66000, 0, 65990, 65535);
}

TEST(ErodeMask, ErodesEachPlaneByItself) {
    Mask mask;
    mask.Resize(3, 1, 2);
    std::fill(mask.begin(), mask.end(), true);
    mask(1, 0, 0) = false;
    Mask eroded;
    qvox::ErodeMask(mask, eroded, 1);
    for (std::uint64_t x = 0; x < 3; ++x) {
        EXPECT_FALSE(eroded(x, 0, 0));
        EXPECT_TRUE(eroded(x, 0, 1));
    }
}

TEST(ErodeMask, RefusesEmptyImagesNegativeRadiiAndItsOwnInput) {
    Mask mask = Draw<bool>({"##"});
    Mask eroded;
    ExpectError("ErodeMask: the input image is empty (0 x 0 x 0).", [&] { qvox::ErodeMask(Mask(), eroded, 1); });
    ExpectError("ErodeMask: the radius is -1 pixels for an image of 2 x 1 x 1; it must not be negative.",
                [&] { qvox::ErodeMask(mask, eroded, -1); });
    ExpectError("ErodeMask: the output is the input image itself (2 x 1 x 1); it must be another image.",
                [&] { qvox::ErodeMask(mask, mask, 1); });
}

}  // namespace
