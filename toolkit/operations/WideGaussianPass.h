#pragma once

#include <cstddef>
#include <cstdint>

namespace qvox::wide_gaussian {

/// Columns that are turned into rows together, and unit that rows are filled up to.
constexpr std::ptrdiff_t kBlock = 16;
/// Cells that a pixel is connected with: its own and three on either side.
constexpr std::ptrdiff_t kReach = 7;
/// Floats from one pixel's weights to the next one's.
constexpr std::ptrdiff_t kWeightStride = 8;
/// Rows of cells that are summed at a time: the reach of a pixel, a power of two.
constexpr std::ptrdiff_t kSumRing = 8;
/// Lines along y that are smoothed together.
constexpr std::ptrdiff_t kLines = 8;

/// What the code reads of AxisTables.
struct Axis {
    std::ptrdiff_t pixels = 0;
    std::ptrdiff_t cells = 0;
    std::ptrdiff_t radius = 0;
    const std::int32_t* firstPixel = nullptr;
    const float* reduce = nullptr;
    const std::int32_t* firstWeight = nullptr;
    const float* reduceByCell = nullptr;
    const float* expand = nullptr;
    const float* middle = nullptr;
};

/// One plane: tables, and what lies between the two passes. It holds no standard library type, because the code that
/// reads it is compiled for several instruction sets.
struct Plan {
    Axis x;
    Axis y;
    std::ptrdiff_t planeStride = 0;
    /// The plane reduced both ways and smoothed along x, in blocks of kBlock cells along y: one block after the other,
    /// in it cells along x, kBlock floats each. What lies beyond the last cell along y counts for nothing.
    float* coarse = nullptr;
};

/// Cells along y that are reduced by one call, and memory of its own.
struct Band {
    std::ptrdiff_t firstCell = 0;  // of a block
    std::ptrdiff_t endCell = 0;
    std::ptrdiff_t stride = 0;  // of the rows of sums and block
    float* sums = nullptr;      // kSumRing rows of the plane's width, filled up
    float* block = nullptr;     // kBlock rows of it
    float* turned = nullptr;    // kBlock floats for each pixel of the width, filled up
    float* cells = nullptr;     // kBlock floats for each cell along x
};

/// Columns of the plane for which rows are made from the coarse plane, downwards, and memory of its own.
struct Strip {
    std::ptrdiff_t firstColumn = 0;
    std::ptrdiff_t columns = 0;
    /// Blocks of cells along y that have been expanded along x. Set to 0 to begin with another plane or further up.
    std::ptrdiff_t blocksMade = 0;
    std::ptrdiff_t ringRows = 0;  // whole blocks, a power of two
    std::ptrdiff_t stride = 0;    // of the ring's rows
    float* ring = nullptr;        // ringRows rows: cells along y
    float* turned = nullptr;      // kBlock floats for each column, filled up
    float* cells = nullptr;       // kBlock floats for each cell along x
    std::ptrdiff_t lineStride = 0;
    float* lines = nullptr;  // kLines times kBlock floats, with the radius along y on both sides
};

/// Rows at most that are asked for at a time.
constexpr std::ptrdiff_t kMostRows = 18;

/// Reduces the plane to the cells of a band; the bands in any order.
using ReduceBand = void (*)(const Plan& plan, const Band& band, const float* plane);
/// The rows [first, first + count) of the smoothed plane; out[i] gets the strip's columns of row first + i. Whole
/// blocks are written. All bands have been reduced before, and rows further down follow only.
using ExpandRows = void (*)(const Plan& plan, Strip& strip, std::ptrdiff_t first, std::ptrdiff_t count,
                            float* const* out);

struct Passes {
    ReduceBand reduceBand;
    ExpandRows expandRows;
};
Passes PassesBaseline();
Passes PassesAvx2();
Passes PassesAvx512();

}  // namespace qvox::wide_gaussian
