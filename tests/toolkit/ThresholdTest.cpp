#include "operations/Threshold.h"

#include <gtest/gtest.h>

#include "RasterOperationsSupport.h"
#include "reference/PlainThreshold.h"

namespace {

using korvane_test::Draw;
using korvane_test::ExpectError;
using korvane_test::RandomImage;
using korvane_test::SameVoxels;
using korvane_test::TrialSizes;
using Image = qvox::VoxelImage<std::uint16_t>;
using Mask = qvox::VoxelImage<bool>;

TEST(ThresholdToMask, ZeroToZeroOnAllZeroImageIsAllTrue) {
    Mask mask;
    qvox::ThresholdToMask(Draw<std::uint16_t>({"...", "..."}), mask, 0, 0);
    EXPECT_TRUE(SameVoxels(Draw<bool>({"###", "###"}), mask));
}

TEST(ThresholdToMask, ZeroToZeroWithoutZeroVoxelIsAllFalse) {
    Mask mask;
    qvox::ThresholdToMask(Draw<std::uint16_t>({"123", "456"}), mask, 0, 0);
    EXPECT_TRUE(SameVoxels(Draw<bool>({"...", "..."}), mask));
}

TEST(ThresholdToMask, BothEndsBelongToTheRangeAndAReversedRangeIsEmpty) {
    Mask mask;
    qvox::ThresholdToMask(Draw<std::uint16_t>({"12345"}), mask, 2, 4);
    EXPECT_TRUE(SameVoxels(Draw<bool>({".###."}), mask));
    qvox::ThresholdToMask(Draw<std::uint16_t>({"12345"}), mask, 4, 2);
    EXPECT_TRUE(SameVoxels(Draw<bool>({"....."}), mask));
}

TEST(ThresholdToMask, EqualsThePlainVersionAndKeepsItsInput) {
    std::mt19937 random(11);
    for (const auto& [width, height] : TrialSizes()) {
        for (const auto& [low, high] : std::vector<std::pair<std::uint16_t, std::uint16_t>>{
                 {0, 0}, {0, 65535}, {65535, 65535}, {1000, 40000}, {32767, 32768}, {9, 3}}) {
            Image image = RandomImage<std::uint16_t>(random, width, height, 0, 65535);
            korvane_test::Furnish(image);
            image[0] = low;
            const Image before(image);
            Mask mask;
            qvox::ThresholdToMask(image, mask, low, high);
            ASSERT_TRUE(SameVoxels(korvane_reference::PlainThreshold(image, low, high), mask))
                << "seed 11, " << width << " x " << height << ", " << low << " to " << high;
            EXPECT_TRUE(SameVoxels(before, image));
            korvane_test::ExpectFurnished(mask);
        }
    }
}

TEST(ThresholdToMask, RefusesAnEmptyImage) {
    Mask mask;
    ExpectError("ThresholdToMask: the input image is empty (0 x 0 x 0).",
                [&] { qvox::ThresholdToMask(Image(), mask, 0, 0); });
}

}  // namespace
