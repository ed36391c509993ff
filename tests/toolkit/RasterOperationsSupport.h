#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "support/Random.h"
#include "support/TestImages.h"
#include "support/TrialSizes.h"

namespace korvane_test {

inline qvox::VoxelImage<bool> RandomMask(std::mt19937& random, std::uint64_t width, std::uint64_t height,
                                         double density) {
    qvox::VoxelImage<bool> mask;
    mask.Resize(width, height, 1);
    for (bool& voxel : mask) voxel = UniformDouble(random) < density;
    return mask;
}

/// Gives an image the properties that an output must take over.
template <typename T>
void Furnish(qvox::VoxelImage<T>& image) {
    image.SetResolution({2, 3, 4});
    image.SetOffset({5, 6, 7});
    image.SetMetadata({{"key", "value"}});
}

template <typename T>
void ExpectFurnished(const qvox::VoxelImage<T>& image) {
    EXPECT_EQ(image.Resolution(), (qvox::PixelResolution{2, 3, 4}));
    EXPECT_EQ(image.Offset(), (qvox::VoxelOffset{5, 6, 7}));
    EXPECT_EQ(image.Metadata(), (qvox::Description{{"key", "value"}}));
}

/// The work must throw a ToolkitError with exactly this text.
template <typename Work>
void ExpectError(const std::string& text, Work work) {
    try {
        work();
        ADD_FAILURE() << "nothing was thrown; expected: " << text;
    } catch (const qvox::ToolkitError& error) {
        EXPECT_EQ(error.what(), text);
    }
}

}  // namespace korvane_test
