#include "AnnotationFilling.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ToolkitError.h"

namespace Korvane {

namespace {

constexpr double kTolerance = 1e-8;  // of the right side's length

/// One equation for each pixel of the mask: the number of its neighbours times its value, less its neighbours in the
/// mask, is the sum of the others.
class HarmonicSystem {
public:
    HarmonicSystem(const qvox::VoxelImage<float>& image, const qvox::VoxelImage<bool>& mask) {
        std::vector<std::int64_t> numbers(mask.VoxelCount(), -1);
        for (std::uint64_t i = 0; i < mask.VoxelCount(); ++i) {
            if (!mask[i]) continue;
            numbers[i] = static_cast<std::int64_t>(pixels_.size());
            pixels_.push_back(i);
        }
        equations_.resize(pixels_.size());
        known_.resize(pixels_.size());
        const std::uint64_t width = image.SizeX();
        for (std::size_t number = 0; number < pixels_.size(); ++number) {
            const std::uint64_t i = pixels_[number];
            const std::uint64_t x = i % width;
            const std::uint64_t y = i / width;
            if (x > 0) Add(number, numbers, image, i - 1);
            if (x + 1 < width) Add(number, numbers, image, i + 1);
            if (y > 0) Add(number, numbers, image, i - width);
            if (y + 1 < image.SizeY()) Add(number, numbers, image, i + width);
        }
    }

    const std::vector<std::uint64_t>& Pixels() const { return pixels_; }

    /// From the mean of what is known around the mask.
    std::vector<double> Solve(double start) const {
        std::vector<double> values(pixels_.size(), start);
        std::vector<double> residual = Product(values);
        for (std::size_t i = 0; i < residual.size(); ++i) residual[i] = known_[i] - residual[i];
        std::vector<double> direction = residual;
        double length = Dot(residual, residual);
        const double enough = kTolerance * kTolerance * std::max(Dot(known_, known_), 1e-300);
        for (std::size_t step = 0; step < 10 * pixels_.size() && length > enough; ++step) {
            const std::vector<double> product = Product(direction);
            const double along = length / Dot(direction, product);
            for (std::size_t i = 0; i < values.size(); ++i) {
                values[i] += along * direction[i];
                residual[i] -= along * product[i];
            }
            const double next = Dot(residual, residual);
            for (std::size_t i = 0; i < values.size(); ++i) direction[i] = residual[i] + next / length * direction[i];
            length = next;
        }
        return values;
    }

private:
    struct Equation {
        double neighbours = 0.0;
        std::size_t unknown = 0;
        std::array<std::size_t, 4> numbers{};
    };

    void Add(std::size_t number, const std::vector<std::int64_t>& numbers, const qvox::VoxelImage<float>& image,
             std::uint64_t neighbour) {
        Equation& equation = equations_[number];
        equation.neighbours += 1.0;
        if (numbers[neighbour] < 0) {
            known_[number] += static_cast<double>(image[neighbour]);
        } else {
            equation.numbers[equation.unknown++] = static_cast<std::size_t>(numbers[neighbour]);
        }
    }

    std::vector<double> Product(const std::vector<double>& values) const {
        std::vector<double> product(values.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            double sum = equations_[i].neighbours * values[i];
            for (std::size_t n = 0; n < equations_[i].unknown; ++n) sum -= values[equations_[i].numbers[n]];
            product[i] = sum;
        }
        return product;
    }

    static double Dot(const std::vector<double>& a, const std::vector<double>& b) {
        double sum = 0.0;
        for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
        return sum;
    }

    std::vector<std::uint64_t> pixels_;
    std::vector<Equation> equations_;
    std::vector<double> known_;
};

void RequirePlanes(const qvox::VoxelImage<float>& image, const qvox::VoxelImage<bool>& mask) {
    if (image.Empty() || image.SizeZ() != 1 || !image.SameSizes(mask)) {
        throw qvox::ToolkitError("FillAnnotations: image and mask must be one plane of the same sizes.");
    }
}

}  // namespace

qvox::VoxelImage<bool> WidenMask(const qvox::VoxelImage<bool>& mask, int marginPx) {
    qvox::VoxelImage<bool> wide;
    wide.Resize(mask.SizeX(), mask.SizeY(), mask.SizeZ());
    wide.Zero();
    const auto margin = static_cast<std::uint64_t>(marginPx);
    for (std::uint64_t y = 0; y < mask.SizeY(); ++y) {
        for (std::uint64_t x = 0; x < mask.SizeX(); ++x) {
            if (!mask(x, y)) continue;
            const std::uint64_t right = std::min(x + margin + 1, mask.SizeX());
            const std::uint64_t bottom = std::min(y + margin + 1, mask.SizeY());
            for (std::uint64_t v = y - std::min(y, margin); v < bottom; ++v) {
                bool* const row = wide.Row(v);
                std::fill(row + (x - std::min(x, margin)), row + right, true);
            }
        }
    }
    return wide;
}

void FillAnnotations(qvox::VoxelImage<float>& image, const qvox::VoxelImage<bool>& mask) {
    RequirePlanes(image, mask);
    double sum = 0.0;
    std::uint64_t left = 0;
    for (std::uint64_t i = 0; i < mask.VoxelCount(); ++i) {
        if (mask[i]) continue;
        sum += static_cast<double>(image[i]);
        ++left;
    }
    if (left == 0) throw qvox::ToolkitError("FillAnnotations: the mask covers the whole image.");
    if (left == mask.VoxelCount()) return;
    const HarmonicSystem system(image, mask);
    const std::vector<double> values = system.Solve(sum / static_cast<double>(left));
    for (std::size_t i = 0; i < values.size(); ++i) image[system.Pixels()[i]] = static_cast<float>(values[i]);
}

}  // namespace Korvane
