#pragma once

#include <cstddef>
#include <cstdint>

namespace qvox::wide_gaussian {

/// Columns that are turned into rows together, and unit that rows are filled up to.
constexpr std::ptrdiff_t kBlock = 16;
/// Rows of cells that are summed at a time: the reach of a pixel, a power of two.
constexpr std::ptrdiff_t kSumRing = 8;

/// What the code reads of AxisTables.
struct Axis {
    std::ptrdiff_t pixels = 0;
    std::ptrdiff_t cells = 0;
    std::ptrdiff_t radius = 0;
    const std::int32_t* firstPixel = nullptr;
    const float* reduce = nullptr;
    const float* expand = nullptr;
    const float* middle = nullptr;
};

/// One plane: tables and what lies between the passes. Rows are filled up to a multiple of kBlock floats; what lies
/// there is no number that counts. It holds no standard library type, because the code that reads it is compiled for
/// several instruction sets.
struct Plan {
    Axis x;
    Axis y;
    std::ptrdiff_t planeStride = 0;

    /// A row for each column of the plane: its cells along y.
    float* turned = nullptr;
    std::ptrdiff_t turnedStride = 0;
    /// A row for each cell along x, smoothed along x: its cells along y.
    float* coarse = nullptr;
    std::ptrdiff_t coarseStride = 0;
    /// A row for each cell along y, smoothed both ways and expanded along x: the columns of the plane. May share the
    /// memory of `turned`.
    float* rows = nullptr;
    std::ptrdiff_t rowsStride = 0;
};

/// A part of a pass: the columns of the rows that it goes along, and memory of its own. For ExpandAcross these are the
/// rows, whole blocks.
struct Part {
    std::ptrdiff_t first = 0;
    std::ptrdiff_t count = 0;
    float* sums = nullptr;              // kSumRing rows
    std::ptrdiff_t ringRows = 0;        // a power of two, 2 radius + 1 or more, or 0
    float* ring = nullptr;              // ringRows rows
    float* block = nullptr;             // kBlock rows
    float* line = nullptr;              // a row, the radius along y before and after it
    std::ptrdiff_t stride = 0;          // of all these rows
};

/// The three passes that lead to `rows`, to be made one after the other, each by its parts in any order.
/// 1: the plane to `turned`; the parts are columns of the plane.
using ReduceDown = void (*)(const Plan& plan, const Part& part, const float* plane);
/// 2: `turned` to `coarse`; the parts are cells along y.
using ReduceAcross = void (*)(const Plan& plan, const Part& part);
/// 3: `coarse` to `rows`; the parts are columns of the plane.
using ExpandAcross = void (*)(const Plan& plan, const Part& part);

/// Rows of the smoothed plane, made of `rows`: out[i] gets the columns [firstColumn, firstColumn + columns) of row
/// firstRow + i; whole blocks are written.
struct Window {
    std::ptrdiff_t firstRow = 0;
    std::ptrdiff_t rows = 0;
    std::ptrdiff_t firstColumn = 0;
    std::ptrdiff_t columns = 0;
};
using ExpandRows = void (*)(const Plan& plan, const Window& window, float* const* out);

struct Passes {
    ReduceDown reduceDown;
    ReduceAcross reduceAcross;
    ExpandAcross expandAcross;
    ExpandRows expandRows;
};
Passes PassesBaseline();
Passes PassesAvx2();
Passes PassesAvx512();

}  // namespace qvox::wide_gaussian
