#include "operations/FloodFill.h"

#include <gtest/gtest.h>

#include "RasterOperationsSupport.h"
#include "reference/PlainFloodFill.h"

namespace {

using korvane_test::Draw;
using korvane_test::ExpectError;
using korvane_test::RandomImage;
using korvane_test::SameVoxels;
using korvane_test::TrialSizes;
using Image = qvox::VoxelImage<std::uint16_t>;
using Mask = qvox::VoxelImage<bool>;

Image Filled(Image image, std::uint16_t value, std::uint64_t x, std::uint64_t y) {
    qvox::FloodFillLabel(image, value, x, y, 0, {});
    return image;
}

TEST(FloodFillLabel, RunsThroughCorners) {
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"7..", ".7.", "..7", "1.."}),
                           Filled(Draw<std::uint16_t>({"1..", ".1.", "..1", "1.."}), 7, 0, 0)));
}

TEST(FloodFillLabel, TheSeedsOwnValueChangesNothing) {
    const Image image = Draw<std::uint16_t>({"12", "11"});
    EXPECT_TRUE(SameVoxels(image, Filled(image, 1, 0, 0)));
}

TEST(FloodFillLabel, FillingTwiceChangesNothingMore) {
    std::mt19937 random(5);
    const Image once = Filled(RandomImage<std::uint16_t>(random, 40, 30, 0, 1), 9, 11, 12);
    EXPECT_TRUE(SameVoxels(once, Filled(once, 9, 11, 12)));
}

TEST(FloodFillLabel, EqualsThePlainVersion) {
    std::mt19937 random(14);
    for (const auto& [width, height] : TrialSizes()) {
        for (int trial = 0; trial < 60; ++trial) {
            Image image = RandomImage<std::uint16_t>(random, width, height, 0, 9);
            for (auto& voxel : image) voxel = voxel < trial % 9 + 1 ? 4 : 65535;
            const std::uint64_t seed = random() % image.VoxelCount();
            const auto at = image.Coordinates(seed);
            const std::uint16_t value = trial % 2 == 0 ? 0 : static_cast<std::uint16_t>(65539 - image[seed]);
            ASSERT_TRUE(SameVoxels(korvane_reference::PlainFloodFill(image, value, at[0], at[1], 0),
                                   Filled(image, value, at[0], at[1])))
                << "seed 14, " << width << " x " << height << ", trial " << trial;
        }
    }
}

TEST(FloodFillLabel, StaysInThePlaneOfTheSeed) {
    Image image;
    image.Resize(2, 2, 2);
    image.Zero();
    qvox::FloodFillLabel(image, 3, 0, 0, 1, {});
    EXPECT_EQ(image(1, 1, 0), 0);
    EXPECT_EQ(image(1, 1, 1), 3);
}

TEST(FloodFillLabel, RefusesEmptyImagesAndSeedsOutside) {
    Image image = Draw<std::uint16_t>({"12"});
    Image empty;
    ExpectError("FloodFillLabel: the input image is empty (0 x 0 x 0).",
                [&] { qvox::FloodFillLabel(empty, 1, 0, 0, 0, {}); });
    ExpectError("FloodFillLabel: the seed (2, 0, 0) lies outside the image of 2 x 1 x 1.",
                [&] { qvox::FloodFillLabel(image, 1, 2, 0, 0, {}); });
    EXPECT_THROW(qvox::FloodFillLabel(image, 1, 0, 1, 0, {}), qvox::ToolkitError);
    EXPECT_THROW(qvox::FloodFillLabel(image, 1, 0, 0, 1, {}), qvox::ToolkitError);
}

}  // namespace
