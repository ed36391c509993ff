#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "operations/WideGaussianPass.h"

namespace qvox::wide_gaussian {

/// A Gaussian along one axis, cut into three: the axis is reduced to few cells of equal length, the cells are smoothed,
/// and every pixel is interpolated between them.
///
/// Pixels and cells lie on the same length, so that both go on as their mirror image, the border one repeated, and
/// nothing is lost at a border. Pixel k lies in cell j = floor((2 k + 1) cells / (2 pixels)); the distance from the
/// middle of cell c, in cells, is t = ((2 k + 1) cells - (2 c + 1) pixels) / (2 pixels). Reduction and interpolation
/// weigh by the same window of seven cells,
///     h(t) = I0(17.5 sqrt(1 - (2 t / 7)^2)),   0 where |t| = 3.5,
/// I0 being the modified Bessel function of order 0. `middle` is the filter whose product with both windows has the
/// frequency response of the Gaussian up to half the cells' sampling rate: the Gaussian's divided by the square of the
/// window's. Its weights are the integral of that times a cosine, by the midpoint rule at kFrequencies places, divided
/// by their sum. Window and its transform: Kaiser (1966), as in gridding, Jackson, Meyer, Nishimura, Macovski (1991).
struct AxisTables {
    std::ptrdiff_t pixels = 0;
    std::ptrdiff_t cells = 0;
    /// First pixel of each cell; one more element, `pixels`.
    std::vector<std::int32_t> firstPixel;
    /// For each pixel in cell j the weights that connect it with the cells j - 3 .. j + 3. The mirror images of a cell
    /// are counted to it, cells that do not exist have 0. `reduce` sums to 1 over the pixels of a cell, `expand` over
    /// the cells of a pixel.
    std::vector<float> reduce;
    std::vector<float> expand;
    /// The weights of `reduce` once more, cell by cell: those of all pixels in the cells j - 3 .. j + 3 follow each
    /// other from place firstWeight[j] on.
    std::vector<std::int32_t> firstWeight;
    std::vector<float> reduceByCell;
    /// Weights at distance 0 .. radius, in cells.
    std::vector<float> middle;
};

/// Largest length of a cell, in sigma. With longer ones less of the Gaussian's band would be kept.
constexpr double kCellPerSigma = 0.45;
/// Least sigma: no cell is shorter than a pixel.
constexpr double kLeastSigmaPx = 2.25;

/// The fewest cells that are not longer than that. Made in double precision without the C library's functions, whose
/// last bit may differ between processors. `pixels`: 1 or more. `sigmaPx`: kLeastSigmaPx or more.
AxisTables MakeAxisTables(std::ptrdiff_t pixels, double sigmaPx);

}  // namespace qvox::wide_gaussian
