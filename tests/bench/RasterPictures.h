#pragma once

#include <cmath>
#include <cstdint>
#include <random>

#include "VoxelImage.h"
#include "support/TestImages.h"

namespace korvane_bench {

using Image = qvox::VoxelImage<std::uint16_t>;

/// An image made voxel by voxel from its coordinates.
template <typename Value>
Image Make(std::uint64_t size, Value value) {
    Image image;
    image.Resize(size, size, 1);
    for (std::uint64_t y = 0; y < size; ++y) {
        for (std::uint64_t x = 0; x < size; ++x) image(x, y) = static_cast<std::uint16_t>(value(x, y));
    }
    return image;
}

inline Image Noise(std::uint64_t size) {
    std::mt19937 random(1);
    return korvane_test::RandomImage<std::uint16_t>(random, size, size, 0, 65535);
}

/// Hills and hollows some 30 pixels apart.
inline Image Smooth(std::uint64_t size) {
    return Make(size, [](std::uint64_t x, std::uint64_t y) {
        const double u = static_cast<double>(x);
        const double v = static_cast<double>(y);
        return 32768 + 8000 * (std::sin(u * 0.21 + v * 0.03) + std::sin(v * 0.19 - u * 0.05) +
                               std::sin(u * 0.07 + v * 0.11) + std::sin(v * 0.017));
    });
}

/// Rings of 65535 on zeros.
inline Image Contours(std::uint64_t size) {
    return Make(size, [](std::uint64_t x, std::uint64_t y) {
        const double dx = static_cast<double>(x % 100) - 50;
        const double dy = static_cast<double>(y % 100) - 50;
        return std::abs(std::sqrt(dx * dx + dy * dy) - 35) < 1 ? 65535 : 0;
    });
}

/// Discs with a label each on 0.
inline Image Labels(std::uint64_t size) {
    return Make(size, [](std::uint64_t x, std::uint64_t y) {
        const double dx = static_cast<double>(x % 100) - 50;
        const double dy = static_cast<double>(y % 100) - 50;
        return dx * dx + dy * dy < 900 ? 1 + x / 100 + 50 * (y / 100) : 0;
    });
}

inline Image Zeros(std::uint64_t size) {
    return Make(size, [](std::uint64_t, std::uint64_t) { return 0; });
}

}  // namespace korvane_bench
