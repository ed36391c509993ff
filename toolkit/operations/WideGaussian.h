#pragma once

#include <cstddef>
#include <vector>

#include "InstructionSet.h"
#include "operations/PartRunner.h"
#include "operations/WideGaussianPass.h"
#include "operations/WideGaussianTables.h"

namespace qvox {

/// Least sigma, in px, for WideGaussian.
constexpr double kLeastWideSigmaPx = wide_gaussian::kLeastSigmaPx;

/// Smooths planes of one size by a Gaussian that is not cut, at a cost that does not grow with its sigma.
///
/// The plane is reduced to cells of about 0.45 sigma, first along y, then along x, and smoothed there; then it is
/// interpolated along x, row by row of cells, and along y for those rows that the caller asks for. The windows are those
/// of operations/WideGaussianTables.h. From the Gaussian in double precision, sampled at whole pixels, not cut and of
/// sum 1, the result is off by at most 1e-6 of the range of any image, about half of which is the rounding of single
/// precision; tests hold it to that from sigma 2.25 to 500.
///
/// Border: the image goes on as its mirror image, the border pixel repeated, as often as the Gaussian reaches. Every sum
/// is one of single-precision operations in a fixed order (tests/reference/PlainWideGaussian.h), so the bits depend
/// neither on the processor nor on what runs the parts. Cost per pixel: 14 multiplications and additions along y, and
/// what is proportional to 1 / sigma. Memory: 1 / (0.45 sigma) floats per pixel.
class WideGaussian {
public:
    struct Sizes {
        std::ptrdiff_t width = 1;
        std::ptrdiff_t height = 1;
        /// Floats from one row to the next; at least the width, filled up to a multiple of kBlock.
        std::ptrdiff_t stride = 16;
    };
    static constexpr std::ptrdiff_t kBlock = wide_gaussian::kBlock;

    /// `sigmaPx`: kLeastWideSigmaPx or more.
    WideGaussian(const Sizes& sizes, double sigmaPx, InstructionSet set);
    WideGaussian(const WideGaussian&) = delete;
    WideGaussian& operator=(const WideGaussian&) = delete;

    /// Does everything but the interpolation along y. The floats behind a row, up to a multiple of kBlock, are read, but
    /// count for nothing.
    void Prepare(const float* plane, const PartRunner& run);

    /// Rows of the plane that was prepared last; several threads may ask at the same time.
    using Window = wide_gaussian::Window;
    void Rows(const Window& window, float* const* out) const { passes_.expandRows(plan_, window, out); }

    /// For code that is compiled apart: Rows(...) is ExpandRowsOf()(Plan(), ...).
    const wide_gaussian::Plan& Plan() const { return plan_; }
    wide_gaussian::ExpandRows ExpandRowsOf() const { return passes_.expandRows; }

private:
    std::vector<wide_gaussian::Part> PartsOf(std::ptrdiff_t columns, std::ptrdiff_t columnsPerPart) const;
    void ProvideParts();

    wide_gaussian::AxisTables alongX_;
    wide_gaussian::AxisTables alongY_;
    wide_gaussian::Passes passes_;
    wide_gaussian::Plan plan_;
    std::vector<wide_gaussian::Part> reduceDown_;
    std::vector<wide_gaussian::Part> reduceAcross_;
    std::vector<wide_gaussian::Part> expandAcross_;
    std::vector<std::vector<float>> memory_;
};

}  // namespace qvox
