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
/// The plane is reduced to cells of about 0.45 sigma and smoothed there; WideGaussianRows interpolates between them the
/// rows that a caller asks for. The windows are those of operations/WideGaussianTables.h. From the Gaussian in double
/// precision, sampled at whole pixels, not cut and of sum 1, the result is off by at most 1e-6 of the range of any
/// image; tests hold it to that from sigma 2.25 to 500.
///
/// Border: the image goes on as its mirror image, the border pixel repeated, as often as the Gaussian reaches. Every
/// sum is one of single-precision operations in a fixed order (tests/reference/PlainWideGaussian.h), so the bits depend
/// neither on the processor nor on what runs the parts. Cost per pixel: 14 multiplications and additions, and a rest
/// that is proportional to 1 / sigma. Memory: 5 / sigma^2 floats per pixel, and some rows.
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

    /// Reduces a plane. The floats behind a row, up to a multiple of kBlock, are read, but count for nothing. `run` is
    /// given bands of rows.
    void Prepare(const float* plane, const PartRunner& run);

    const wide_gaussian::Plan& Plan() const { return plan_; }
    const wide_gaussian::Passes& Passes() const { return passes_; }

private:
    void ProvideBands();

    wide_gaussian::AxisTables alongX_;
    wide_gaussian::AxisTables alongY_;
    wide_gaussian::Passes passes_;
    wide_gaussian::Plan plan_;
    std::vector<wide_gaussian::Band> bands_;
    std::vector<std::vector<float>> memory_;
};

/// Rows of smoothed planes, from the top down, for a strip of columns; the Gaussian must stay where it is. Each strip
/// may be used by a thread of its own.
class WideGaussianRows {
public:
    static constexpr std::ptrdiff_t kMostRows = wide_gaussian::kMostRows;

    WideGaussianRows(const WideGaussian& gaussian, std::ptrdiff_t firstColumn, std::ptrdiff_t columns);

    /// Begins at the top of the plane that was prepared last.
    void Begin() { strip_.blocksMade = 0; }

    /// Rows [first, first + count), at most kMostRows; no further up than those before. out[i] gets the strip's columns
    /// of row first + i, filled up to a multiple of kBlock.
    void Make(std::ptrdiff_t first, std::ptrdiff_t count, float* const* out) {
        gaussian_->Passes().expandRows(gaussian_->Plan(), strip_, first, count, out);
    }

    /// For code that is compiled apart.
    wide_gaussian::Strip& Strip() { return strip_; }

private:
    const WideGaussian* gaussian_;
    wide_gaussian::Strip strip_;
    std::vector<float> memory_;
};

}  // namespace qvox
