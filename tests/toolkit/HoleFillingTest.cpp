#include "operations/HoleFilling.h"

#include <gtest/gtest.h>

#include "RasterOperationsSupport.h"
#include "reference/PlainHoleFilling.h"

namespace {

using korvane_test::Draw;
using korvane_test::ExpectError;
using korvane_test::RandomImage;
using korvane_test::SameVoxels;
using korvane_test::TrialSizes;
using Image = qvox::VoxelImage<std::uint16_t>;
using Mask = qvox::VoxelImage<bool>;

Image Filled(const Image& image) {
    Image output;
    qvox::FillHoles(image, output);
    return output;
}

TEST(FillHoles, AClosedContourIsFilledAlsoWhereItsVoxelsTouchAtCornersOnly) {
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({".....", "..#..", ".###.", "..#..", "....."}, 65535),
                           Filled(Draw<std::uint16_t>({".....", "..#..", ".#.#.", "..#..", "....."}, 65535))));
}

TEST(FillHoles, AnOpenContourLeavesTheInsideUnfilled) {
    const Image open = Draw<std::uint16_t>({".....", ".###.", ".#.#.", ".#.#.", "....."}, 65535);
    EXPECT_TRUE(SameVoxels(open, Filled(open)));
}

TEST(FillHoles, AContourAtTheImageBorderIsOpenThere) {
    const Image atBorder = Draw<std::uint16_t>({"#.#", "#.#", "###"}, 65535);
    EXPECT_TRUE(SameVoxels(atBorder, Filled(atBorder)));
}

TEST(FillHoles, ARegionRisesToTheLowestLevelOfItsBoundary) {
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"99999", "97779", "97775", "99999"}),
                           Filled(Draw<std::uint16_t>({"99999", "91239", "95475", "99999"}))));
}

TEST(FillHoles, EqualsThePlainVersionAndKeepsItsInputAndIsIdempotent) {
    std::mt19937 random(16);
    for (const auto& [width, height] : TrialSizes()) {
        for (const int high : {1, 2, 5, 30, 65535}) {
            for (int trial = 0; trial < 40; ++trial) {
                Image image = RandomImage<std::uint16_t>(random, width, height, 0, high);
                if (trial % 4 == 1) {
                    for (auto& voxel : image) voxel = voxel * 2 > high ? 65535 : voxel;
                }
                korvane_test::Furnish(image);
                const Image before(image);
                const Image filled = Filled(image);
                ASSERT_TRUE(SameVoxels(korvane_reference::PlainHoleFilling(image), filled))
                    << "seed 16, " << width << " x " << height << ", values to " << high << ", trial " << trial;
                ASSERT_TRUE(SameVoxels(before, image));
                ASSERT_TRUE(SameVoxels(filled, Filled(filled)));
                korvane_test::ExpectFurnished(filled);
            }
        }
    }
}

TEST(FillHoles, FillsEachPlaneByItself) {
    Image image;
    image.Resize(3, 3, 2);
    image.Zero();
    for (std::uint64_t i = 0; i < 9; ++i) image[i] = i == 4 ? 0 : 8;
    const Image filled = Filled(image);
    EXPECT_EQ(filled(1, 1, 0), 8);
    EXPECT_EQ(filled(1, 1, 1), 0);
}

TEST(FillHoles, RefusesEmptyImagesAndItsOwnInput) {
    Image image = Draw<std::uint16_t>({"12"});
    Image output;
    ExpectError("FillHoles: the input image is empty (0 x 0 x 0).", [&] { qvox::FillHoles(Image(), output); });
    ExpectError("FillHoles: the output is the input image itself (2 x 1 x 1); it must be another image.",
                [&] { qvox::FillHoles(image, image); });
}

}  // namespace
