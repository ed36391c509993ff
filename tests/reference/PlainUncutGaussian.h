#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

namespace korvane_reference {

/// Smoothing along a line by the Gaussian, sampled at whole pixels and not cut, in double precision. The line goes on
/// as its mirror image, the border pixel repeated: the weight of pixel i at pixel x is the sum over all its images.
class PlainUncutGaussian {
public:
    /// `sigma` 0 stands for no smoothing.
    PlainUncutGaussian(std::size_t pixels, double sigma) : pixels_(pixels), period_(2 * pixels) {
        // Beyond 12 sigma the weights are below 1e-31, which double precision cannot see beside 1.
        const auto reach = static_cast<std::ptrdiff_t>(std::ceil(12.0 * sigma));
        reach_ = static_cast<std::size_t>(reach);
        ofOffset_.assign(period_, 0.0);
        double sum = 0.0;
        for (std::ptrdiff_t k = -reach; k <= reach; ++k) {
            const double t = k == 0 ? 0.0 : static_cast<double>(k) / sigma;
            const double value = std::exp(-0.5 * t * t);
            const auto period = static_cast<std::ptrdiff_t>(period_);
            ofOffset_[static_cast<std::size_t>((k % period + period) % period)] += value;
            sum += value;
        }
        for (double& weight : ofOffset_) weight /= sum;
    }

    std::size_t Pixels() const { return pixels_; }

    /// Weight of pixel i in the result at pixel x: its own and that of its image -1 - i, each at all periods.
    double Weight(std::size_t x, std::size_t i) const {
        const std::size_t own = x >= i ? x - i : x + period_ - i;
        return ofOffset_[own] + ofOffset_[(x + i + 1) % period_];
    }

    template <typename At>
    double Smoothed(std::size_t x, At at) const {
        // Images beyond the border are farther away than what they are images of.
        const std::size_t first = x > reach_ ? x - reach_ : 0;
        const std::size_t end = x + reach_ < pixels_ ? x + reach_ + 1 : pixels_;
        double sum = 0.0;
        for (std::size_t i = first; i < end; ++i) sum += Weight(x, i) * at(i);
        return sum;
    }

private:
    std::size_t pixels_;
    std::size_t period_;
    std::size_t reach_ = 0;
    std::vector<double> ofOffset_;
};

/// Down the columns, then along the rows, a plane row by row.
inline std::vector<double> SmoothedBothWays(const std::vector<double>& plane, const PlainUncutGaussian& alongX,
                                            const PlainUncutGaussian& alongY) {
    const std::size_t width = alongX.Pixels();
    std::vector<double> columns(plane.size());
    std::vector<double> both(plane.size());
    for (std::size_t y = 0; y < alongY.Pixels(); ++y) {
        for (std::size_t x = 0; x < width; ++x) {
            columns[y * width + x] = alongY.Smoothed(y, [&](std::size_t i) { return plane[i * width + x]; });
        }
    }
    for (std::size_t y = 0; y < alongY.Pixels(); ++y) {
        const double* row = columns.data() + y * width;
        for (std::size_t x = 0; x < width; ++x) {
            both[y * width + x] = alongX.Smoothed(x, [row](std::size_t i) { return row[i]; });
        }
    }
    return both;
}

}  // namespace korvane_reference
