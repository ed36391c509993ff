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

TEST(FillHoles, EqualsThePlainVersionWhereTilesMeet) {
    std::mt19937 random(17);
    for (const auto& [width, height] : {std::pair{127, 3}, {128, 128}, {129, 40}, {3, 257}, {130, 258}, {300, 131}}) {
        for (const int high : {1, 3, 40, 65535}) {
            Image image = RandomImage<std::uint16_t>(random, static_cast<std::uint64_t>(width),
                                                     static_cast<std::uint64_t>(height), 0, high);
            ASSERT_TRUE(SameVoxels(korvane_reference::PlainHoleFilling(image), Filled(image)))
                << "seed 17, " << width << " x " << height << ", values to " << high;
            // Broad hollows that reach over several tiles.
            for (std::uint64_t y = 0; y < image.SizeY(); ++y) {
                for (std::uint64_t x = 0; x < image.SizeX(); ++x) {
                    const std::uint64_t hollow = (x / 7 + y / 5) % 31 * 1000 + (x * y) % 17;
                    image(x, y) = static_cast<std::uint16_t>(hollow + image(x, y) / 60);
                }
            }
            ASSERT_TRUE(SameVoxels(korvane_reference::PlainHoleFilling(image), Filled(image)))
                << "hollows, seed 17, " << width << " x " << height << ", values to " << high;
        }
    }
}

/// A corridor between walls that winds from row to row, open to the border at its lower end only. Its level changes by
/// `rise` from voxel to voxel, downwards and then upwards again.
Image Winding(std::uint64_t size, int rise) {
    Image image;
    image.Resize(size, size, 1);
    for (auto& voxel : image) voxel = 60000;
    int level = 30000;
    std::uint64_t x = 1;
    const auto dig = [&](std::uint64_t y) {
        image(x, y) = static_cast<std::uint16_t>(level);
        level += y < size / 2 ? -rise : rise;
    };
    for (std::uint64_t y = 1; y + 1 < size; y += 2) {
        const bool rightwards = x == 1;
        for (std::uint64_t i = 0; i + 2 < size; ++i) {
            x = rightwards ? 1 + i : size - 2 - i;
            dig(y);
        }
        dig(y + 1);
    }
    return image;
}

TEST(FillHoles, FollowsLongWindingWays) {
    for (const std::uint64_t size : {9u, 129u, 150u}) {
        for (const int rise : {0, 1, -1}) {
            const Image image = Winding(size, rise);
            ASSERT_TRUE(SameVoxels(korvane_reference::PlainHoleFilling(image), Filled(image)))
                << "size " << size << ", rise " << rise;
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
