#include "operations/WideGaussianTables.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using qvox::wide_gaussian::AxisTables;
using qvox::wide_gaussian::kReach;
using qvox::wide_gaussian::kWeightStride;
using qvox::wide_gaussian::MakeAxisTables;

namespace {

constexpr long double kShape = 17.5L;
constexpr long double kPi = 3.141592653589793238462643383279503L;

long double Bessel(long double x) {
    long double sum = 1.0L;
    long double term = 1.0L;
    for (int k = 1; k < 200; ++k) {
        term *= (x / 2.0L / k) * (x / 2.0L / k);
        sum += term;
    }
    return sum;
}

long double Window(long double t) {
    const long double inside = 1.0L - 4.0L * t * t / 49.0L;
    return inside <= 0.0L ? 0.0L : Bessel(kShape * std::sqrt(inside));
}

struct Line {
    std::ptrdiff_t pixels;
    double sigma;
};
const std::vector<Line> kLines{{1, 2.25}, {1, 500.0}, {2, 3.0},   {3, 2.25},   {9, 2.25},    {10, 10.0},  {31, 4.0},
                               {64, 5.0}, {97, 5.0},  {97, 40.0}, {300, 2.25}, {2048, 21.0}, {999, 500.0}};

// Straight from the definition: a pixel and a cell are connected by the window at every mirror image of the cell.
long double Connected(const AxisTables& axis, std::ptrdiff_t pixel, std::ptrdiff_t cell) {
    const auto pixels = static_cast<long double>(axis.pixels);
    const auto cells = static_cast<long double>(axis.cells);
    long double sum = 0.0L;
    for (std::ptrdiff_t period = -4; period <= 4; ++period) {
        for (const std::ptrdiff_t image : {cell + 2 * period * axis.cells, -1 - cell + 2 * period * axis.cells}) {
            const long double here = (2.0L * static_cast<long double>(pixel) + 1.0L) * cells / (2.0L * pixels);
            sum += Window(here - static_cast<long double>(image) - 0.5L);
        }
    }
    return sum;
}

TEST(WideGaussianTables, HaveTheWeightsOfTheDefinition) {
    for (const Line& line : kLines) {
        const AxisTables axis = MakeAxisTables(line.pixels, line.sigma);
        const double fewest = std::ceil(static_cast<double>(line.pixels) / (0.45 * line.sigma));
        ASSERT_EQ(axis.cells, static_cast<std::ptrdiff_t>(fewest));
        std::vector<long double> sums(static_cast<std::size_t>(axis.cells), 0.0L);
        std::vector<std::vector<long double>> windows;
        for (std::ptrdiff_t pixel = 0; pixel < axis.pixels; ++pixel) {
            windows.emplace_back();
            for (std::ptrdiff_t cell = 0; cell < axis.cells; ++cell) {
                const std::ptrdiff_t own = (2 * pixel + 1) * axis.cells / (2 * axis.pixels);
                const bool near = std::abs(own - cell) <= kReach / 2;
                windows.back().push_back(near ? Connected(axis, pixel, cell) : 0.0L);
                sums[static_cast<std::size_t>(cell)] += windows.back().back();
            }
        }
        for (std::ptrdiff_t pixel = 0; pixel < axis.pixels; ++pixel) {
            const std::vector<long double>& window = windows[static_cast<std::size_t>(pixel)];
            long double sum = 0.0L;
            for (const long double value : window) sum += value;
            const std::ptrdiff_t own = (2 * pixel + 1) * axis.cells / (2 * axis.pixels);
            ASSERT_GE(pixel, axis.firstPixel[static_cast<std::size_t>(own)]);
            ASSERT_LT(pixel, axis.firstPixel[static_cast<std::size_t>(own) + 1]);
            for (std::ptrdiff_t s = 0; s < kWeightStride; ++s) {
                const std::ptrdiff_t cell = own + s - kReach / 2;
                const bool there = s < kReach && cell >= 0 && cell < axis.cells;
                const auto at = static_cast<std::size_t>(pixel * kWeightStride + s);
                const long double value = there ? window[static_cast<std::size_t>(cell)] : 0.0L;
                const long double reduce = there ? value / sums[static_cast<std::size_t>(cell)] : 0.0L;
                // A hundred-millionth of what a weight can be: the rounding to float of the largest is six of them.
                ASSERT_NEAR(static_cast<double>(axis.expand[at]), static_cast<double>(value / sum), 6e-8) << at;
                ASSERT_NEAR(static_cast<double>(axis.reduce[at]), static_cast<double>(reduce), 6e-8) << at;
            }
        }
    }
}

// The window's transform by the trapezium rule.
long double WindowResponse(long double theta) {
    long double response = 0.0L;
    long double sum = 0.0L;
    for (int i = -7000; i <= 7000; ++i) {
        const long double t = i / 2000.0L;
        response += Window(t) * std::cos(theta * t);
        sum += Window(t);
    }
    return response / sum;
}

// The filter's response times that of the windows is the Gaussian's.
TEST(WideGaussianTables, TheMiddleFilterMakesUpForTheWindows) {
    constexpr std::size_t kSteps = 40;
    std::vector<long double> responses;
    for (std::size_t step = 0; step <= kSteps; ++step) responses.push_back(WindowResponse(kPi * step / kSteps));
    for (const Line& line : kLines) {
        const AxisTables axis = MakeAxisTables(line.pixels, line.sigma);
        if (axis.cells == 1) {
            ASSERT_EQ(axis.middle, std::vector<float>{1.0f});
            continue;
        }
        const long double sigma = static_cast<long double>(line.sigma) * static_cast<long double>(axis.cells) /
                                  static_cast<long double>(line.pixels);
        for (std::size_t step = 0; step <= kSteps; ++step) {
            const long double theta = kPi * step / kSteps;
            long double filter = static_cast<long double>(axis.middle[0]);
            for (std::size_t k = 1; k < axis.middle.size(); ++k) {
                const long double cosine = std::cos(theta * static_cast<long double>(k));
                filter += 2.0L * static_cast<long double>(axis.middle[k]) * cosine;
            }
            const long double gaussian = std::exp(-0.5L * sigma * sigma * theta * theta);
            const long double whole = filter * responses[step] * responses[step];
            ASSERT_NEAR(static_cast<double>(whole), static_cast<double>(gaussian), 2e-7)
                << line.pixels << " pixels, sigma " << line.sigma << ", step " << step;
        }
    }
}

TEST(WideGaussianTables, AreMirroredWithTheLine) {
    for (const Line& line : kLines) {
        const AxisTables axis = MakeAxisTables(line.pixels, line.sigma);
        for (std::ptrdiff_t pixel = 0; pixel < axis.pixels; ++pixel) {
            // A pixel in the middle between two cells belongs to the later one from either side.
            if ((2 * pixel + 1) * axis.cells % (2 * axis.pixels) == 0) continue;
            for (std::ptrdiff_t s = 0; s < kReach; ++s) {
                const auto at = static_cast<std::size_t>(pixel * kWeightStride + s);
                const auto other = static_cast<std::size_t>((axis.pixels - 1 - pixel) * kWeightStride + kReach - 1 - s);
                ASSERT_NEAR(static_cast<double>(axis.expand[at]), static_cast<double>(axis.expand[other]), 1e-8);
                ASSERT_NEAR(static_cast<double>(axis.reduce[at]), static_cast<double>(axis.reduce[other]), 1e-8);
            }
        }
    }
}

}  // namespace
