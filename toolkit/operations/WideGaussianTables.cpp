#include "operations/WideGaussianTables.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "Assert.h"
#include "operations/GaussianWeights.h"

namespace qvox::wide_gaussian {
namespace {

constexpr double kPi = 3.14159265358979324;
// Shape of the window: the largest error of the whole, for any image, is least near it.
constexpr double kShape = 17.5;
constexpr std::ptrdiff_t kHalfReach = kReach / 2;
// Of the series of I0: at kShape the next term is below 2^-90 of the sum.
constexpr int kBesselTerms = 40;
constexpr int kFrequencies = 256;
constexpr int kCosineTerms = 20;
// The middle filter is cut where the Gaussian alone is below 3e-7 of its peak.
constexpr double kMiddleReach = 5.5;

using Weights = std::array<double, static_cast<std::size_t>(kReach)>;

std::ptrdiff_t CeilDivided(std::ptrdiff_t a, std::ptrdiff_t b) { return (a + b - 1) / b; }

std::ptrdiff_t Mirrored(std::ptrdiff_t i, std::ptrdiff_t size) {
    const std::ptrdiff_t period = 2 * size;
    i = (i % period + period) % period;
    return i < size ? i : period - 1 - i;
}

// h at the distances of the pixel from the cells around its own. I0(x) = 1 + y (1 + y / 4 (1 + y / 9 (...))) with
// y = x^2 / 4; side by side, because each waits for its own sum only.
Weights WindowAround(std::ptrdiff_t pixel, std::ptrdiff_t cell, std::ptrdiff_t pixels, std::ptrdiff_t cells) {
    Weights y{};
    Weights sum{};
    for (std::ptrdiff_t s = 0; s < kReach; ++s) {
        const std::ptrdiff_t places = (2 * pixel + 1) * cells - (2 * (cell + s - kHalfReach) + 1) * pixels;
        const double u = static_cast<double>(places) / (static_cast<double>(kReach) * static_cast<double>(pixels));
        const double inside = (1.0 - u) * (1.0 + u);
        y[static_cast<std::size_t>(s)] = inside * (kShape * kShape / 4.0);
        sum[static_cast<std::size_t>(s)] = inside > 0.0 ? 1.0 : 0.0;
    }
    for (int k = kBesselTerms; k > 0; --k) {
        const double inverse = 1.0 / (static_cast<double>(k) * static_cast<double>(k));
        for (std::size_t s = 0; s < sum.size(); ++s) sum[s] = 1.0 + y[s] * inverse * sum[s];
    }
    for (std::size_t s = 0; s < sum.size(); ++s) {
        if (y[s] <= 0.0) sum[s] = 0.0;
    }
    return sum;
}

// Frequency response of the window over that at frequency 0; `theta` in 0 .. pi per cell.
double WindowResponse(double theta) {
    const double phase = theta * static_cast<double>(kReach) / 2.0;
    const double root = std::sqrt(kShape * kShape - phase * phase);
    const auto halfSine = [](double x) { return (1.0 - ExpOfMinus(2.0 * x)) / x; };
    return ExpOfMinus(kShape - root) * halfSine(root) / halfSine(kShape);
}

// For 0 <= x <= pi.
double Cosine(double x) {
    double sum = 1.0;
    for (int k = kCosineTerms; k > 0; --k) sum = 1.0 - x * x / ((2.0 * k - 1.0) * (2.0 * k)) * sum;
    return sum;
}

std::vector<float> MiddleFilter(std::ptrdiff_t cells, double sigmaCells) {
    // All mirror images of a single cell are alike. With more, sigma is below 4.5 cells.
    if (cells == 1) return {1.0f};
    constexpr std::size_t kHalfTurn = std::size_t{2} * kFrequencies;
    std::vector<double> cosines(kHalfTurn + 1);  // of pi i / kHalfTurn
    for (std::size_t i = 0; i <= kHalfTurn; ++i) {
        cosines[i] = Cosine(kPi * static_cast<double>(i) / static_cast<double>(kHalfTurn));
    }
    std::vector<double> response(kFrequencies);
    for (std::size_t q = 0; q < response.size(); ++q) {
        const double theta = kPi * (static_cast<double>(q) + 0.5) / kFrequencies;
        const double window = WindowResponse(theta);
        response[q] = ExpOfMinus(0.5 * sigmaCells * sigmaCells * theta * theta) / (window * window);
    }
    const auto radius = static_cast<std::size_t>(std::ceil(kMiddleReach * sigmaCells));
    std::vector<double> values(radius + 1, 0.0);
    double total = 0.0;
    for (std::size_t k = 0; k <= radius; ++k) {
        for (std::size_t q = 0; q < response.size(); ++q) {
            const std::size_t at = k * (2 * q + 1) % (2 * kHalfTurn);
            values[k] += response[q] * cosines[at <= kHalfTurn ? at : 2 * kHalfTurn - at];
        }
        total += k == 0 ? values[k] : 2.0 * values[k];
    }
    std::vector<float> weights;
    weights.reserve(values.size());
    for (const double value : values) weights.push_back(static_cast<float>(value / total));
    return weights;
}

// The window with mirror images of cells counted to the cells.
std::vector<double> FoldedWindow(const AxisTables& axis) {
    std::vector<double> folded(static_cast<std::size_t>(axis.pixels * kReach), 0.0);
    for (std::ptrdiff_t cell = 0; cell < axis.cells; ++cell) {
        const auto at = static_cast<std::size_t>(cell);
        for (std::ptrdiff_t pixel = axis.firstPixel[at]; pixel < axis.firstPixel[at + 1]; ++pixel) {
            const Weights window = WindowAround(pixel, cell, axis.pixels, axis.cells);
            for (std::ptrdiff_t s = 0; s < kReach; ++s) {
                // A mirror image is as near to the cell as what it mirrors, or nearer.
                const std::ptrdiff_t target = Mirrored(cell + s - kHalfReach, axis.cells) - cell + kHalfReach;
                folded[static_cast<std::size_t>(pixel * kReach + target)] += window[static_cast<std::size_t>(s)];
            }
        }
    }
    return folded;
}

void FillWeights(const std::vector<double>& folded, AxisTables& axis) {
    std::vector<double> cellSums(static_cast<std::size_t>(axis.cells + 2 * kHalfReach), 0.0);
    const auto forEach = [&](auto visit) {
        for (std::ptrdiff_t cell = 0; cell < axis.cells; ++cell) {
            const auto at = static_cast<std::size_t>(cell);
            for (std::ptrdiff_t pixel = axis.firstPixel[at]; pixel < axis.firstPixel[at + 1]; ++pixel) {
                visit(at, static_cast<std::size_t>(pixel));
            }
        }
    };
    constexpr auto kCount = static_cast<std::size_t>(kReach);
    constexpr auto kStride = static_cast<std::size_t>(kWeightStride);
    forEach([&](std::size_t cell, std::size_t pixel) {
        for (std::size_t s = 0; s < kCount; ++s) cellSums[cell + s] += folded[pixel * kCount + s];
    });
    axis.reduce.assign(static_cast<std::size_t>(axis.pixels) * kStride, 0.0f);
    axis.expand.assign(static_cast<std::size_t>(axis.pixels) * kStride, 0.0f);
    forEach([&](std::size_t cell, std::size_t pixel) {
        double pixelSum = 0.0;
        for (std::size_t s = 0; s < kCount; ++s) pixelSum += folded[pixel * kCount + s];
        for (std::size_t s = 0; s < kCount; ++s) {
            const double weight = folded[pixel * kCount + s];
            if (weight == 0.0) continue;
            axis.reduce[pixel * kStride + s] = static_cast<float>(weight / cellSums[cell + s]);
            axis.expand[pixel * kStride + s] = static_cast<float>(weight / pixelSum);
        }
    });
}

void FillWeightsByCell(AxisTables& axis) {
    for (std::ptrdiff_t cell = 0; cell < axis.cells; ++cell) {
        axis.firstWeight.push_back(static_cast<std::int32_t>(axis.reduceByCell.size()));
        const std::ptrdiff_t end = std::min(cell + kHalfReach + 1, axis.cells);
        for (std::ptrdiff_t near = std::max<std::ptrdiff_t>(cell - kHalfReach, 0); near < end; ++near) {
            const auto at = static_cast<std::size_t>(near);
            for (std::ptrdiff_t pixel = axis.firstPixel[at]; pixel < axis.firstPixel[at + 1]; ++pixel) {
                const std::ptrdiff_t place = pixel * kWeightStride + (cell - near) + kHalfReach;
                axis.reduceByCell.push_back(axis.reduce[static_cast<std::size_t>(place)]);
            }
        }
    }
}

}  // namespace

AxisTables MakeAxisTables(std::ptrdiff_t pixels, double sigmaPx) {
    KORVANE_ASSERT(pixels > 0 && sigmaPx >= kLeastSigmaPx);
    AxisTables axis;
    axis.pixels = pixels;
    const double most = static_cast<double>(pixels) / (kCellPerSigma * sigmaPx);
    axis.cells = std::clamp(static_cast<std::ptrdiff_t>(std::ceil(most)), std::ptrdiff_t{1}, pixels);
    for (std::ptrdiff_t cell = 0; cell <= axis.cells; ++cell) {
        const std::ptrdiff_t before = std::max<std::ptrdiff_t>(2 * pixels * cell - axis.cells, 0);
        axis.firstPixel.push_back(static_cast<std::int32_t>(CeilDivided(before, 2 * axis.cells)));
    }
    FillWeights(FoldedWindow(axis), axis);
    FillWeightsByCell(axis);
    axis.middle = MiddleFilter(axis.cells, sigmaPx * static_cast<double>(axis.cells) / static_cast<double>(pixels));
    return axis;
}

}  // namespace qvox::wide_gaussian
