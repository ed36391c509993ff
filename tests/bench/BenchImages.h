#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "VoxelImage.h"
#include "support/Random.h"

namespace korvane_bench {

/// Running means of 2 * radius + 1 values along rows, borders repeated, result transposed; two of them smooth an image.
inline std::vector<float> BoxTransposed(const std::vector<float>& in, std::size_t width, std::size_t height,
                                        std::size_t radius) {
    std::vector<float> out(in.size());
    const auto clamped = [width](std::ptrdiff_t x) {
        return x < 0                                     ? std::size_t{0}
               : x >= static_cast<std::ptrdiff_t>(width) ? width - 1
                                                         : static_cast<std::size_t>(x);
    };
    const auto r = static_cast<std::ptrdiff_t>(radius);
    for (std::size_t y = 0; y < height; ++y) {
        const float* row = in.data() + y * width;
        double sum = 0.0;
        for (std::ptrdiff_t x = -r; x < r; ++x) sum += static_cast<double>(row[clamped(x)]);
        for (std::size_t x = 0; x < width; ++x) {
            const auto at = static_cast<std::ptrdiff_t>(x);
            sum += static_cast<double>(row[clamped(at + r)]);
            out[x * height + y] = static_cast<float>(sum / static_cast<double>(2 * radius + 1));
            sum -= static_cast<double>(row[clamped(at - r)]);
        }
    }
    return out;
}

/// Noise of one grey value per voxel, smoothed three times by boxes (near Gaussian); 0 leaves it as it is.
inline std::vector<float> SmoothNoise(std::size_t size, std::size_t radius, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<float> image(size * size);
    for (float& v : image) v = korvane_test::Uniform(random);
    for (int pass = 0; radius > 0 && pass < 6; ++pass) image = BoxTransposed(image, size, size, radius);
    return image;
}

struct DiscPlace {
    double x;
    double y;
    double radius;
};

/// `count` discs that do not touch, on a jittered grid.
inline std::vector<DiscPlace> DiscPlaces(std::size_t size, std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    const auto side = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count))));
    const double cell = static_cast<double>(size) / static_cast<double>(side);
    std::vector<DiscPlace> places;
    for (std::size_t i = 0; i < count; ++i) {
        const double radius = cell * (0.15 + 0.2 * korvane_test::UniformDouble(random));
        const double room = cell / 2.0 - radius - 2.0;
        places.push_back({(static_cast<double>(i % side) + 0.5) * cell + (2.0 * korvane_test::UniformDouble(random) - 1.0) * room,
                          (static_cast<double>(i / side) + 0.5) * cell + (2.0 * korvane_test::UniformDouble(random) - 1.0) * room, radius});
    }
    return places;
}

/// Discs numbered from 1, their radii multiplied by `scale`.
inline qvox::LabelImage DiscLabels(std::size_t size, const std::vector<DiscPlace>& places, double scale) {
    qvox::LabelImage labels;
    labels.Resize(size, size, 1);
    labels.Zero();
    for (std::size_t i = 0; i < places.size(); ++i) {
        const double r = places[i].radius * scale;
        const auto low = [](double v) { return v < 0.0 ? std::size_t{0} : static_cast<std::size_t>(v); };
        for (std::size_t y = low(places[i].y - r); y < size && static_cast<double>(y) <= places[i].y + r; ++y) {
            for (std::size_t x = low(places[i].x - r); x < size && static_cast<double>(x) <= places[i].x + r; ++x) {
                const double dx = static_cast<double>(x) - places[i].x;
                const double dy = static_cast<double>(y) - places[i].y;
                if (dx * dx + dy * dy <= r * r) labels(x, y) = static_cast<std::uint16_t>(i + 1);
            }
        }
    }
    return labels;
}

/// Gradient magnitude of a picture of bright-rimmed discs in smoothed noise, as a watershed meets it.
inline qvox::VoxelImage<float> VesicleRelief(std::size_t size, const std::vector<DiscPlace>& places, unsigned seed) {
    std::vector<float> image = SmoothNoise(size, 0, seed);
    const qvox::LabelImage outer = DiscLabels(size, places, 1.0);
    const qvox::LabelImage inner = DiscLabels(size, places, 0.85);
    for (std::size_t i = 0; i < image.size(); ++i) {
        if (outer[i] != 0 && inner[i] == 0) image[i] += 1.0f;
    }
    for (int pass = 0; pass < 6; ++pass) image = BoxTransposed(image, size, size, 2);
    qvox::VoxelImage<float> relief;
    relief.Resize(size, size, 1);
    relief.Zero();
    for (std::size_t y = 1; y + 1 < size; ++y) {
        for (std::size_t x = 1; x + 1 < size; ++x) {
            const float* v = image.data() + y * size + x;
            const float gx = v[1] - v[-1];
            const float gy = v[size] - v[-static_cast<std::ptrdiff_t>(size)];
            relief(x, y) = std::sqrt(gx * gx + gy * gy);
        }
    }
    return relief;
}

/// Smoothed noise cut into grey levels: about 57,000 plateaus from 1024 on, never more than a label image can number.
inline qvox::LabelImage Plateaus(std::size_t size) {
    const auto noise = korvane_bench::SmoothNoise(size, size / 1024, 2);
    double sum = 0.0;
    for (const float v : noise) sum += (static_cast<double>(v) - 0.5) * (static_cast<double>(v) - 0.5);
    const double step = std::sqrt(sum / static_cast<double>(noise.size())) * (size == 512    ? 1.6
                                                                              : size == 4096 ? 0.87
                                                                                             : 0.77);
    qvox::LabelImage source;
    source.Resize(size, size, 1);
    for (std::size_t i = 0; i < noise.size(); ++i) {
        source[i] = static_cast<std::uint16_t>(100.0 + std::floor((static_cast<double>(noise[i]) - 0.5) / step));
    }
    return source;
}

}  // namespace korvane_bench
