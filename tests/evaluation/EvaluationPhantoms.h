#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "EvaluationTable.h"
#include "support/Random.h"

namespace korvane_test {

/// Discs in rows on a grainy ground, with their true labels. The ground between them is larger than the largest
/// candidate at the default parameters: otherwise it would be one.
struct DiscOptions {
    std::uint64_t width = 240;
    std::uint64_t height = 170;
    int radiusPx = 16;
    int spacingPx = 58;
    float perUm = 336.0f;
    float grain = 0.04f;  ///< of the discs' contrast
};

/// Paints a square; the corner lies at (x, y).
template <typename T>
void Square(qvox::VoxelImage<T>& image, std::uint64_t x, std::uint64_t y, T value, std::uint64_t side) {
    for (std::uint64_t dy = 0; dy < side; ++dy) {
        for (std::uint64_t dx = 0; dx < side; ++dx) image(x + dx, y + dy) = value;
    }
}

inline Korvane::TrainingImage DiscImage(unsigned seed, const DiscOptions& options = {}) {
    std::mt19937 random(seed);
    Korvane::TrainingImage result;
    result.name = "discs" + std::to_string(seed) + ".tif";
    result.image.Resize(options.width, options.height, 1);
    result.image.SetResolution({options.perUm, options.perUm, 0.0f});
    result.truth.Resize(options.width, options.height, 1);
    result.truth.SetResolution(result.image.Resolution());
    const auto spacing = options.spacingPx;
    const int shift = UniformInt(random, 0, 5);
    const int columns = static_cast<int>(options.width) / spacing;
    for (std::uint64_t i = 0; i < result.image.VoxelCount(); ++i) {
        const int x = static_cast<int>(i % options.width);
        const int y = static_cast<int>(i / options.width);
        const int dx = x % spacing - spacing / 2 - shift + 2;
        const int dy = y % spacing - spacing / 2;
        const bool isWhole = x / spacing < columns && y / spacing < static_cast<int>(options.height) / spacing;
        const bool inside = isWhole && dx * dx + dy * dy <= options.radiusPx * options.radiusPx;
        result.truth[i] = static_cast<std::uint16_t>(inside ? 1 + x / spacing + columns * (y / spacing) : 0);
        result.image[i] = (inside ? 1.0f : 0.0f) + options.grain * Uniform(random);
    }
    return result;
}

}  // namespace korvane_test
