#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/TestImages.h"

namespace korvane_test {

/// Widths and heights that small images are tried in: single rows and columns, odd and even, around vector lengths.
inline std::vector<std::pair<std::uint64_t, std::uint64_t>> TrialSizes() {
    return {{1, 1},  {1, 7}, {7, 1},   {2, 2},   {2, 16},  {3, 3},   {3, 40},
            {40, 3}, {7, 7}, {16, 16}, {33, 17}, {17, 33}, {64, 31}, {31, 64}};
}

inline qvox::VoxelImage<bool> RandomMask(std::mt19937& random, std::uint64_t width, std::uint64_t height,
                                         double density) {
    qvox::VoxelImage<bool> mask;
    mask.Resize(width, height, 1);
    std::bernoulli_distribution set(density);
    for (bool& voxel : mask) voxel = set(random);
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
