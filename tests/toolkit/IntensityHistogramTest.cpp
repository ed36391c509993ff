#include "operations/IntensityHistogram.h"

#include <gtest/gtest.h>

#include "RasterOperationsSupport.h"
#include "reference/PlainIntensityHistogram.h"

namespace {

using korvane_test::Draw;
using korvane_test::ExpectError;
using korvane_test::RandomImage;
using korvane_test::SameVoxels;
using korvane_test::TrialSizes;
using Image = qvox::VoxelImage<std::uint16_t>;
using Mask = qvox::VoxelImage<bool>;

TEST(IntensityHistogram, HasABinForEveryValueWhateverItHeldBefore) {
    qvox::Histogram histogram(3, 7);
    qvox::IntensityHistogram(Draw<std::uint16_t>({"..1", "599"}), histogram);
    ASSERT_EQ(histogram.size(), 65536u);
    EXPECT_EQ(histogram[0], 2u);
    EXPECT_EQ(histogram[1], 1u);
    EXPECT_EQ(histogram[5], 1u);
    EXPECT_EQ(histogram[9], 2u);
    EXPECT_EQ(histogram[65535], 0u);
}

TEST(IntensityHistogram, EqualsThePlainVersionInNoiseAndInRuns) {
    std::mt19937 random(13);
    for (const auto& [width, height] : TrialSizes()) {
        for (const int high : {0, 1, 3, 255, 65535}) {
            for (const std::uint64_t run : {1u, 5u, 40u}) {
                Image image = RandomImage<std::uint16_t>(random, width, height, 0, high);
                for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = image[i - i % run];
                if (high == 65535) image[0] = 65535;
                qvox::Histogram histogram;
                qvox::IntensityHistogram(image, histogram);
                ASSERT_EQ(korvane_reference::PlainIntensityHistogram(image), histogram)
                    << "seed 13, " << width << " x " << height << ", values to " << high << ", runs of " << run;
            }
        }
    }
}

TEST(IntensityHistogram, RefusesAnEmptyImage) {
    qvox::Histogram histogram;
    ExpectError("IntensityHistogram: the input image is empty (0 x 0 x 0).",
                [&] { qvox::IntensityHistogram(Image(), histogram); });
}

}  // namespace
