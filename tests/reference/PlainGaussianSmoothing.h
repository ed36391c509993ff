#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace korvane_reference {

/// Gaussian smoothing written straight from the definition; see operations/GaussianSmoothing.h for the order of the
/// sums.
class PlainGaussianSmoothing {
public:
    explicit PlainGaussianSmoothing(double sigma) {
        // The number of weights, halves rounded to the even number, then made odd.
        double count = std::floor(sigma * 8.0 + 1.0);
        const double rest = sigma * 8.0 + 1.0 - count;
        if (rest > 0.5 || (rest == 0.5 && std::fmod(count, 2.0) == 1.0)) count += 1.0;
        if (std::fmod(count, 2.0) == 0.0) count += 1.0;
        radius_ = static_cast<std::ptrdiff_t>(count - 1.0) / 2;

        std::vector<long double> values;
        long double sum = 0.0L;
        for (std::ptrdiff_t k = -radius_; k <= radius_; ++k) {
            const long double distance = static_cast<long double>(k) / static_cast<long double>(sigma);
            const long double value = k == 0 ? 1.0L : std::exp(-0.5L * distance * distance);
            sum += value;
            if (k >= 0) values.push_back(value);
        }
        for (const long double value : values) weights_.push_back(static_cast<float>(value / sum));
    }

    std::ptrdiff_t Radius() const { return radius_; }
    const std::vector<float>& Weights() const { return weights_; }

    qvox::VoxelImage<float> Smoothed(const qvox::VoxelImage<float>& image) const {
        return AlongColumns(AlongRows(image));
    }

private:
    /// abcd goes on as ...dcb abcd cba...: reflected until it lies inside.
    static std::uint64_t Inside(std::ptrdiff_t i, std::uint64_t count) {
        const auto size = static_cast<std::ptrdiff_t>(count);
        if (size == 1) return 0;
        while (i < 0 || i >= size) i = i < 0 ? -i : 2 * (size - 1) - i;
        return static_cast<std::uint64_t>(i);
    }

    template <typename At>
    float Sum(At at) const {
        float sum = 0.0f;
        for (std::ptrdiff_t k = radius_; k > 0; --k) {
            const float pair = at(-k) + at(k);
            const float product = weights_[static_cast<std::size_t>(k)] * pair;
            sum = sum + product;
        }
        const float centre = weights_[0] * at(0);
        return sum + centre;
    }

    qvox::VoxelImage<float> AlongRows(const qvox::VoxelImage<float>& image) const {
        qvox::VoxelImage<float> result(image);
        for (std::uint64_t z = 0; z < image.SizeZ(); ++z) {
            for (std::uint64_t y = 0; y < image.SizeY(); ++y) {
                for (std::uint64_t x = 0; x < image.SizeX(); ++x) {
                    result(x, y, z) = Sum([&](std::ptrdiff_t k) {
                        return image(Inside(static_cast<std::ptrdiff_t>(x) + k, image.SizeX()), y, z);
                    });
                }
            }
        }
        return result;
    }

    qvox::VoxelImage<float> AlongColumns(const qvox::VoxelImage<float>& image) const {
        qvox::VoxelImage<float> result(image);
        for (std::uint64_t z = 0; z < image.SizeZ(); ++z) {
            for (std::uint64_t y = 0; y < image.SizeY(); ++y) {
                for (std::uint64_t x = 0; x < image.SizeX(); ++x) {
                    result(x, y, z) = Sum([&](std::ptrdiff_t k) {
                        return image(x, Inside(static_cast<std::ptrdiff_t>(y) + k, image.SizeY()), z);
                    });
                }
            }
        }
        return result;
    }

    std::ptrdiff_t radius_ = 0;
    std::vector<float> weights_;
};

inline void PlainSmoothWithGaussian(const qvox::VoxelImage<float>& input, qvox::VoxelImage<float>& output,
                                    double sigma) {
    output = PlainGaussianSmoothing(sigma).Smoothed(input);
}

}  // namespace korvane_reference
