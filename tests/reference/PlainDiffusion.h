#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"
#include "reference/PlainUncutGaussian.h"

namespace korvane_reference {

/// Edge-enhancing diffusion of one plane in double precision, written straight from the definition; see
/// operations/Diffusion.h for the model and the scheme.
class PlainDiffusion {
public:
    PlainDiffusion(std::size_t width, std::size_t height, double sigma, double contrast, double timeStep)
        : width_(width),
          height_(height),
          lambda_(contrast),
          tau_(timeStep),
          alongX_(width, sigma),
          alongY_(height, sigma) {}

    using Plane = std::vector<double>;

    /// One time step; intensities in 0..1.
    Plane Step(const Plane& u) const {
        const Plane v = SmoothedBothWays(u, alongX_, alongY_);
        Plane a(u.size());
        Plane b(u.size());
        Plane c(u.size());
        for (std::ptrdiff_t y = 0; y < Height(); ++y) {
            for (std::ptrdiff_t x = 0; x < Width(); ++x) {
                const double gx = (At(v, x + 1, y) - At(v, x - 1, y)) / 2;
                const double gy = (At(v, x, y + 1) - At(v, x, y - 1)) / 2;
                const double squared = gx * gx + gy * gy;
                const double across = squared == 0 ? 1.0 : Diffusivity(std::sqrt(squared));
                const double excess = squared == 0 ? 0.0 : (1.0 - across) / squared;
                a[Index(x, y)] = 1.0 - excess * gx * gx;
                b[Index(x, y)] = -excess * gx * gy;
                c[Index(x, y)] = 1.0 - excess * gy * gy;
            }
        }
        const Plane mixed = MixedTerms(u, b);
        Plane rightSide(u.size());
        for (std::size_t i = 0; i < u.size(); ++i) rightSide[i] = u[i] + tau_ * mixed[i];
        const Plane alongRows = SolveLines(a, rightSide, height_, width_, width_, 1);
        const Plane alongColumns = SolveLines(c, rightSide, width_, height_, 1, width_);
        Plane next(u.size());
        for (std::size_t i = 0; i < u.size(); ++i) next[i] = (alongRows[i] + alongColumns[i]) / 2;
        return next;
    }

private:
    std::ptrdiff_t Width() const { return static_cast<std::ptrdiff_t>(width_); }
    std::ptrdiff_t Height() const { return static_cast<std::ptrdiff_t>(height_); }
    std::size_t Index(std::ptrdiff_t x, std::ptrdiff_t y) const {
        return static_cast<std::size_t>(y) * width_ + static_cast<std::size_t>(x);
    }

    /// The picture goes on beyond its border as its mirror image, the border voxel repeated.
    static std::ptrdiff_t Mirror(std::ptrdiff_t i, std::ptrdiff_t size) {
        const std::ptrdiff_t period = 2 * size;
        i = (i % period + period) % period;
        return i < size ? i : period - 1 - i;
    }
    double At(const Plane& plane, std::ptrdiff_t x, std::ptrdiff_t y) const {
        return plane[Index(Mirror(x, Width()), Mirror(y, Height()))];
    }

    double Diffusivity(double gradient) const {
        return lambda_ == 0 ? 0.0 : 1.0 - std::exp(-3.31488 / std::pow(gradient / lambda_, 8));
    }

    /// d/dx (b du/dy) + d/dy (b du/dx). The mirror image of a tensor has -b: nothing flows through the border.
    Plane MixedTerms(const Plane& u, const Plane& b) const {
        const auto flowX = [&](std::ptrdiff_t x, std::ptrdiff_t y) {
            const double sign = x < 0 || x >= Width() ? -1.0 : 1.0;
            return sign * At(b, x, y) * (At(u, x, y + 1) - At(u, x, y - 1)) / 2;
        };
        const auto flowY = [&](std::ptrdiff_t x, std::ptrdiff_t y) {
            const double sign = y < 0 || y >= Height() ? -1.0 : 1.0;
            return sign * At(b, x, y) * (At(u, x + 1, y) - At(u, x - 1, y)) / 2;
        };
        Plane mixed(u.size());
        for (std::ptrdiff_t y = 0; y < Height(); ++y) {
            for (std::ptrdiff_t x = 0; x < Width(); ++x) {
                mixed[Index(x, y)] = (flowX(x + 1, y) - flowX(x - 1, y)) / 2 + (flowY(x, y + 1) - flowY(x, y - 1)) / 2;
            }
        }
        return mixed;
    }

    /// (I - 2 tau A) x = right side on every line, A the second difference with the diffusivity halfway between voxels.
    Plane SolveLines(const Plane& diffusivity, const Plane& rightSide, std::size_t lines, std::size_t length,
                     std::size_t lineStep, std::size_t step) const {
        Plane solution(rightSide.size());
        std::vector<double> upper(length);
        for (std::size_t line = 0; line < lines; ++line) {
            const auto at = [&](std::size_t i) { return line * lineStep + i * step; };
            const auto coupling = [&](std::size_t i) {
                return i + 1 < length ? 2 * tau_ * (diffusivity[at(i)] + diffusivity[at(i + 1)]) / 2 : 0.0;
            };
            for (std::size_t i = 0; i < length; ++i) {
                const double before = i > 0 ? coupling(i - 1) : 0.0;
                const double pivot = 1 + before + coupling(i) + (i > 0 ? before * upper[i - 1] : 0.0);
                upper[i] = -coupling(i) / pivot;
                solution[at(i)] = (rightSide[at(i)] + (i > 0 ? before * solution[at(i - 1)] : 0.0)) / pivot;
            }
            for (std::size_t i = length - 1; i-- > 0;) solution[at(i)] -= upper[i] * solution[at(i + 1)];
        }
        return solution;
    }

    std::size_t width_;
    std::size_t height_;
    double lambda_;
    double tau_;
    PlainUncutGaussian alongX_;
    PlainUncutGaussian alongY_;
};

inline void PlainEdgeEnhancingDiffusion(qvox::VoxelImage<std::uint16_t>& image, float sigma, float contrast,
                                        float timeStep, std::uint64_t iterations) {
    if (image.Empty()) return;
    const PlainDiffusion diffusion(image.SizeX(), image.SizeY(), static_cast<double>(sigma),
                                   static_cast<double>(contrast), static_cast<double>(timeStep));
    for (std::uint64_t z = 0; z < image.SizeZ(); ++z) {
        std::uint16_t* voxels = image.Row(0, z);
        PlainDiffusion::Plane u(image.SizeX() * image.SizeY());
        for (std::size_t i = 0; i < u.size(); ++i) u[i] = voxels[i] / 65535.0;
        for (std::uint64_t iteration = 0; iteration < iterations; ++iteration) u = diffusion.Step(u);
        for (std::size_t i = 0; i < u.size(); ++i) {
            const double grey = std::floor(u[i] * 65535.0 + 0.5);
            voxels[i] = static_cast<std::uint16_t>(grey < 0 ? 0 : grey > 65535 ? 65535 : grey);
        }
    }
}

}  // namespace korvane_reference
