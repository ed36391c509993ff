#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <ostream>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "VoxelImage.h"
#include "support/Random.h"

namespace korvane_test {

/// An image drawn with one character per voxel, one string per row: '.' is 0, '1'..'9' are themselves, '#' is `mark`.
template <typename T>
qvox::VoxelImage<T> Draw(std::initializer_list<std::string_view> rows, T mark = T(1)) {
    qvox::VoxelImage<T> image;
    image.Resize(rows.size() == 0 ? 0 : rows.begin()->size(), rows.size(), 1);
    std::uint64_t y = 0;
    for (const std::string_view row : rows) {
        EXPECT_EQ(row.size(), image.SizeX()) << "row " << y << " of a drawn image has another length";
        for (std::uint64_t x = 0; x < image.SizeX(); ++x) {
            const char c = row[x];
            image(x, y) = c == '.' ? T(0) : c == '#' ? mark : static_cast<T>(c - '0');
        }
        ++y;
    }
    return image;
}

/// Same sizes and the same bits in every voxel (NaN equals NaN of the same bits); names the first difference.
template <typename T>
::testing::AssertionResult SameVoxels(const qvox::VoxelImage<T>& expected, const qvox::VoxelImage<T>& actual) {
    if (!expected.SameSizes(actual)) {
        return ::testing::AssertionFailure()
               << "sizes differ: " << expected.SizeX() << " x " << expected.SizeY() << " x " << expected.SizeZ()
               << " and " << actual.SizeX() << " x " << actual.SizeY() << " x " << actual.SizeZ();
    }
    std::uint64_t differences = 0;
    std::uint64_t first = 0;
    for (std::uint64_t i = 0; i < expected.VoxelCount(); ++i) {
        if (std::memcmp(&expected[i], &actual[i], sizeof(T)) != 0 && differences++ == 0) first = i;
    }
    if (differences == 0) return ::testing::AssertionSuccess();
    const auto at = expected.Coordinates(first);
    return ::testing::AssertionFailure() << differences << " voxels differ; first at x " << at[0] << ", y " << at[1]
                                         << ": expected " << ::testing::PrintToString(expected[first]) << ", got "
                                         << ::testing::PrintToString(actual[first]);
}

/// Uniform random integers in [low, high].
template <typename T>
qvox::VoxelImage<T> RandomImage(std::mt19937& random, std::uint64_t width, std::uint64_t height, int low, int high) {
    qvox::VoxelImage<T> image;
    image.Resize(width, height, 1);
    for (T& voxel : image) voxel = static_cast<T>(UniformInt(random, low, high));
    return image;
}

}  // namespace korvane_test
