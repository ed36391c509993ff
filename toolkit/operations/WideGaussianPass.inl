// The passes of the wide Gaussian. Included once per instruction set by WideGaussianBaseline.cpp, WideGaussianAvx2.cpp
// and WideGaussianAvx512.cpp, which set KORVANE_GAUSSIAN_LANES. Everything here has internal linkage and nothing from
// the standard library is called: a function compiled for a newer processor must not be the one that the linker keeps
// for all.

#include <emmintrin.h>

#include "operations/WideGaussianPass.h"

#define KORVANE_INLINE inline __attribute__((always_inline))
// Arrays of vectors stay in registers only where their loops are unrolled.
#define KORVANE_UNROLL _Pragma("GCC unroll 8")

namespace qvox::wide_gaussian {
namespace {

constexpr std::ptrdiff_t kLanes = KORVANE_GAUSSIAN_LANES;
constexpr std::size_t kWidth = KORVANE_GAUSSIAN_LANES;
using Lanes = float __attribute__((vector_size(kLanes * 4)));
using LooseLanes = float __attribute__((vector_size(kLanes * 4), aligned(4), may_alias));

KORVANE_INLINE Lanes Load(const float* p) { return *reinterpret_cast<const LooseLanes*>(p); }
KORVANE_INLINE void Store(float* p, Lanes v) { *reinterpret_cast<LooseLanes*>(p) = v; }

KORVANE_INLINE std::ptrdiff_t Filled(std::ptrdiff_t n) { return (n + kBlock - 1) / kBlock * kBlock; }

KORVANE_INLINE std::ptrdiff_t Mirrored(std::ptrdiff_t i, std::ptrdiff_t size) {
    if (i >= 0 && i < size) return i;
    const std::ptrdiff_t period = 2 * size;
    i = (i % period + period) % period;
    return i < size ? i : period - 1 - i;
}

KORVANE_INLINE std::ptrdiff_t Smaller(std::ptrdiff_t a, std::ptrdiff_t b) { return a < b ? a : b; }

/// Cells that do not exist have weight 0; any that does may stand for them.
KORVANE_INLINE std::ptrdiff_t Clamped(std::ptrdiff_t i, std::ptrdiff_t size) {
    return i < 0 ? 0 : i < size ? i : size - 1;
}

KORVANE_INLINE std::ptrdiff_t CellOf(const Axis& axis, std::ptrdiff_t pixel) {
    return (2 * pixel + 1) * axis.cells / (2 * axis.pixels);
}

constexpr std::ptrdiff_t kAround = kReach / 2;

/// Adds `count` rows of one cell to the sums of the seven cells around it.
KORVANE_INLINE void AddRows(const float* input, std::ptrdiff_t inputStride, std::ptrdiff_t count, const float* weights,
                            float* const* sums, std::ptrdiff_t columns) {
    for (std::ptrdiff_t x = 0; x < columns; x += kLanes) {
        Lanes sum[kReach];
        KORVANE_UNROLL for (std::ptrdiff_t s = 0; s < kReach; ++s) sum[s] = Load(sums[s] + x);
        const float* from = input + x;
        const float* weight = weights;
        for (std::ptrdiff_t k = 0; k < count; ++k) {
            const Lanes v = Load(from);
            KORVANE_UNROLL for (std::ptrdiff_t s = 0; s < kReach; ++s) sum[s] += weight[s] * v;
            from += inputStride;
            weight += kWeightStride;
        }
        KORVANE_UNROLL for (std::ptrdiff_t s = 0; s < kReach; ++s) Store(sums[s] + x, sum[s]);
    }
}

/// Rows that are added to seven sums before the next columns are: with a longer way down, each row would lie on another
/// page of memory.
constexpr std::ptrdiff_t kRowsAtOnce = 8;

/// Reduces rows to cells, those whose sums are complete once the rows of the cells [first, end) have been added, too:
/// finish(cell, sum) is given each in order. The calls follow each other down the axis. `sums`: kSumRing rows.
template <typename Finish>
KORVANE_INLINE void Reduce(const Axis& axis, std::ptrdiff_t first, std::ptrdiff_t end, const float* input,
                           std::ptrdiff_t inputStride, float* sums, std::ptrdiff_t stride, std::ptrdiff_t columns,
                           Finish finish) {
    const auto slot = [=](std::ptrdiff_t cell) { return sums + (cell & (kSumRing - 1)) * stride; };
    for (std::ptrdiff_t cell = first; cell < end; ++cell) {
        float* around[kReach];
        for (std::ptrdiff_t s = 0; s < kReach; ++s) around[s] = slot(cell + s - kAround);
        for (std::ptrdiff_t x = 0; x < columns; x += kLanes) Store(around[kReach - 1] + x, Lanes{});
        const std::ptrdiff_t rowsEnd = axis.firstPixel[cell + 1];
        for (std::ptrdiff_t row = axis.firstPixel[cell]; row < rowsEnd; row += kRowsAtOnce) {
            const std::ptrdiff_t count = rowsEnd - row < kRowsAtOnce ? rowsEnd - row : kRowsAtOnce;
            AddRows(input + row * inputStride, inputStride, count, axis.reduce + row * kWeightStride, around, columns);
        }
        if (cell >= kAround) finish(cell - kAround, slot(cell - kAround));
    }
    if (end < axis.cells) return;
    const std::ptrdiff_t unfinished = axis.cells > kAround ? axis.cells - kAround : 0;
    for (std::ptrdiff_t cell = unfinished; cell < axis.cells; ++cell) finish(cell, slot(cell));
}

/// Before the first call of Reduce.
KORVANE_INLINE void Clear(float* sums, std::ptrdiff_t floats) {
    for (std::ptrdiff_t i = 0; i < floats; i += kLanes) Store(sums + i, Lanes{});
}

/// The rows [first, first + count) of the smoothed and reduced axis, made of those of its cells.
template <typename RowOf, typename Out>
KORVANE_INLINE void Expand(const Axis& axis, std::ptrdiff_t first, std::ptrdiff_t count, RowOf rowOf, Out out,
                           std::ptrdiff_t columns) {
    std::ptrdiff_t cell = CellOf(axis, first);
    for (std::ptrdiff_t pixel = first; pixel < first + count; ++cell) {
        const std::ptrdiff_t cellEnd = axis.firstPixel[cell + 1];
        const std::ptrdiff_t end = cellEnd < first + count ? cellEnd : first + count;
        const float* rows[kReach];
        for (std::ptrdiff_t s = 0; s < kReach; ++s) rows[s] = rowOf(Clamped(cell + s - kAround, axis.cells));
        for (std::ptrdiff_t x = 0; x < columns; x += kLanes) {
            Lanes value[kReach];
            KORVANE_UNROLL for (std::ptrdiff_t s = 0; s < kReach; ++s) value[s] = Load(rows[s] + x);
            const float* weight = axis.expand + pixel * kWeightStride;
            for (std::ptrdiff_t k = pixel; k < end; ++k) {
                Lanes sum = weight[0] * value[0];
                KORVANE_UNROLL for (std::ptrdiff_t s = 1; s < kReach; ++s) sum += weight[s] * value[s];
                Store(out(k - first) + x, sum);
                weight += kWeightStride;
            }
        }
        pixel = end;
    }
}

/// The middle filter: its sum over 2 radius + 1 places, outermost pairs first. `at(k)` is k places on.
template <std::size_t kVectors, typename At>
KORVANE_INLINE void SmoothAt(const Axis& axis, At at, float* out, std::ptrdiff_t x) {
    Lanes sum[kVectors] = {};
    for (std::ptrdiff_t k = axis.radius; k > 0; --k) {
        const float* before = at(-k) + x;
        const float* after = at(k) + x;
        KORVANE_UNROLL for (std::size_t v = 0; v < kVectors; ++v) {
            sum[v] += axis.middle[k] * (Load(before + v * kWidth) + Load(after + v * kWidth));
        }
    }
    const float* here = at(0) + x;
    KORVANE_UNROLL for (std::size_t v = 0; v < kVectors; ++v) {
        Store(out + x + v * kWidth, sum[v] + axis.middle[0] * Load(here + v * kWidth));
    }
}

template <typename At>
KORVANE_INLINE void Smooth(const Axis& axis, At at, float* out, std::ptrdiff_t columns) {
    // One sum waits for its own addition before; several fill the time.
    constexpr std::size_t kVectors = 4;
    constexpr std::ptrdiff_t kStep = static_cast<std::ptrdiff_t>(kVectors) * kLanes;
    std::ptrdiff_t x = 0;
    for (; x + kStep <= columns; x += kStep) SmoothAt<kVectors>(axis, at, out, x);
    for (; x < columns; x += kLanes) SmoothAt<1>(axis, at, out, x);
}

KORVANE_INLINE void Turn4(const float* from, std::ptrdiff_t fromStride, float* to, std::ptrdiff_t toStride) {
    __m128 a = _mm_loadu_ps(from);
    __m128 b = _mm_loadu_ps(from + fromStride);
    __m128 c = _mm_loadu_ps(from + 2 * fromStride);
    __m128 d = _mm_loadu_ps(from + 3 * fromStride);
    _MM_TRANSPOSE4_PS(a, b, c, d);
    _mm_storeu_ps(to, a);
    _mm_storeu_ps(to + toStride, b);
    _mm_storeu_ps(to + 2 * toStride, c);
    _mm_storeu_ps(to + 3 * toStride, d);
}

/// Turns kBlock rows of `columns` floats into as many rows of kBlock floats.
KORVANE_INLINE void TurnBlock(const float* block, std::ptrdiff_t blockStride, std::ptrdiff_t columns, float* to,
                              std::ptrdiff_t toStride) {
    for (std::ptrdiff_t x = 0; x < columns; x += 4) {
        for (std::ptrdiff_t row = 0; row < kBlock; row += 4) {
            Turn4(block + row * blockStride + x, blockStride, to + x * toStride + row, toStride);
        }
    }
}

/// Columns whose sums stay in the fastest cache while rows are added.
constexpr std::ptrdiff_t kTileColumns = 512;

/// Cells along y [first, end), not more than a block, of all columns into the band's block. The rows down to that of
/// cell `added` have been added before.
KORVANE_INLINE void ReduceDown(const Plan& plan, const Band& band, const float* plane, std::ptrdiff_t first,
                               std::ptrdiff_t end, std::ptrdiff_t added) {
    const std::ptrdiff_t wanted = Smaller(end + kAround, plan.y.cells);
    const std::ptrdiff_t width = Filled(plan.x.pixels);
    for (std::ptrdiff_t tile = 0; tile < width; tile += kTileColumns) {
        const std::ptrdiff_t columns = Smaller(kTileColumns, width - tile);
        Reduce(plan.y, added, wanted, plane + tile, plan.planeStride, band.sums + tile, band.stride, columns,
               [&](std::ptrdiff_t cell, const float* sum) {
                   if (cell < first || cell >= end) return;
                   float* to = band.block + (cell - first) * band.stride + tile;
                   for (std::ptrdiff_t x = 0; x < columns; x += kLanes) Store(to + x, Load(sum + x));
               });
    }
}

/// Reduces rows of kBlock floats to cells, cell by cell: the rows that a cell is made of lie side by side.
KORVANE_INLINE void ReduceTurned(const Axis& axis, const float* rows, float* cells) {
    for (std::ptrdiff_t cell = 0; cell < axis.cells; ++cell) {
        const std::ptrdiff_t first = axis.firstPixel[Clamped(cell - kAround, axis.cells)];
        const std::ptrdiff_t end = axis.firstPixel[Clamped(cell + kAround, axis.cells) + 1];
        const float* weight = axis.reduceByCell + axis.firstWeight[cell];
        constexpr std::size_t kVectors = kBlock / kLanes;
        Lanes sum[kVectors] = {};
        for (std::ptrdiff_t row = first; row < end; ++row, ++weight) {
            KORVANE_UNROLL for (std::size_t v = 0; v < kVectors; ++v) {
                sum[v] += *weight * Load(rows + row * kBlock + v * kWidth);
            }
        }
        KORVANE_UNROLL for (std::size_t v = 0; v < kVectors; ++v) Store(cells + cell * kBlock + v * kWidth, sum[v]);
    }
}

/// Reduces the band's block along x and smooths it.
KORVANE_INLINE void ReduceAcross(const Plan& plan, const Band& band, float* coarse) {
    const Axis& axis = plan.x;
    const float* cells = band.cells;
    TurnBlock(band.block, band.stride, Filled(axis.pixels), band.turned, kBlock);
    ReduceTurned(axis, band.turned, band.cells);
    const auto nearBorder = [&](std::ptrdiff_t cell) {
        const auto at = [&](std::ptrdiff_t k) { return cells + Mirrored(cell + k, axis.cells) * kBlock; };
        Smooth(axis, at, coarse + cell * kBlock, kBlock);
    };
    const std::ptrdiff_t first = Smaller(axis.radius, axis.cells);
    const std::ptrdiff_t end = axis.cells - axis.radius > first ? axis.cells - axis.radius : first;
    for (std::ptrdiff_t cell = 0; cell < first; ++cell) nearBorder(cell);
    Smooth(
        axis, [=](std::ptrdiff_t k) { return cells + (first + k) * kBlock; }, coarse + first * kBlock,
        (end - first) * kBlock);
    for (std::ptrdiff_t cell = end; cell < axis.cells; ++cell) nearBorder(cell);
}

void ReduceBandPass(const Plan& plan, const Band& band, const float* plane) {
    Clear(band.sums, kSumRing * band.stride);
    std::ptrdiff_t added = band.firstCell > kAround ? band.firstCell - kAround : 0;
    for (std::ptrdiff_t first = band.firstCell; first < band.endCell; first += kBlock) {
        const std::ptrdiff_t end = Smaller(first + kBlock, band.endCell);
        ReduceDown(plan, band, plane, first, end, added);
        added = Smaller(end + kAround, plan.y.cells);
        ReduceAcross(plan, band, plan.coarse + first * plan.x.cells);
    }
}

/// The cells along y around a block, for one cell along x.
KORVANE_INLINE void FillLine(const Plan& plan, std::ptrdiff_t block, std::ptrdiff_t x, float* line) {
    const Axis& axis = plan.y;
    const auto blockOf = [&](std::ptrdiff_t at) { return plan.coarse + (at * plan.x.cells + x) * kBlock; };
    const std::ptrdiff_t beside = Filled(axis.radius) / kBlock;
    if (block >= beside && (block + beside + 1) * kBlock <= axis.cells) {
        for (std::ptrdiff_t b = -beside; b <= beside; ++b) {
            const float* from = blockOf(block + b);
            for (std::ptrdiff_t i = 0; i < kBlock; i += kLanes) Store(line + b * kBlock + i, Load(from + i));
        }
        return;
    }
    for (std::ptrdiff_t i = -axis.radius; i < kBlock + axis.radius; ++i) {
        const std::ptrdiff_t y = Mirrored(block * kBlock + i, axis.cells);
        line[i] = blockOf(y / kBlock)[y % kBlock];
    }
}

/// Smooths a block of cells along y, for the cells [first, end) along x, into the strip's cells.
KORVANE_INLINE void SmoothDown(const Plan& plan, const Strip& strip, std::ptrdiff_t block, std::ptrdiff_t first,
                               std::ptrdiff_t end) {
    for (std::ptrdiff_t x = first; x < end; x += kLines) {
        // Several lines at a time: a store has left for the cache when a load that begins elsewhere follows.
        const std::ptrdiff_t count = Smaller(kLines, end - x);
        for (std::ptrdiff_t i = 0; i < count; ++i) FillLine(plan, block, x + i, strip.lines + i * strip.lineStride);
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            const float* line = strip.lines + i * strip.lineStride;
            Smooth(
                plan.y, [line](std::ptrdiff_t k) { return line + k; }, strip.cells + (x + i) * kBlock, kBlock);
        }
    }
}

/// Expands a block of cells along x, into the strip's ring.
KORVANE_INLINE void ExpandBlock(const Plan& plan, const Strip& strip, std::ptrdiff_t block) {
    const Axis& axis = plan.x;
    const std::ptrdiff_t end = strip.firstColumn + strip.columns;
    const std::ptrdiff_t firstCell = Clamped(CellOf(axis, strip.firstColumn) - kAround, axis.cells);
    const std::ptrdiff_t lastCell = Clamped(CellOf(axis, end - 1) + kAround, axis.cells);
    SmoothDown(plan, strip, block, firstCell, lastCell + 1);
    const auto rowOf = [&](std::ptrdiff_t cell) { return strip.cells + cell * kBlock; };
    const auto out = [&](std::ptrdiff_t column) { return strip.turned + column * kBlock; };
    Expand(axis, strip.firstColumn, strip.columns, rowOf, out, kBlock);
    float* to = strip.ring + block * kBlock % strip.ringRows * strip.stride;
    for (std::ptrdiff_t x = 0; x < strip.columns; x += kBlock) {
        TurnBlock(strip.turned + x * kBlock, kBlock, kBlock, to + x, strip.stride);
    }
}

void ExpandRowsPass(const Plan& plan, Strip& strip, std::ptrdiff_t first, std::ptrdiff_t count, float* const* rows) {
    const std::ptrdiff_t lastCell = Clamped(CellOf(plan.y, first + count - 1) + kAround, plan.y.cells);
    for (; strip.blocksMade * kBlock <= lastCell; ++strip.blocksMade) ExpandBlock(plan, strip, strip.blocksMade);
    const auto rowOf = [&](std::ptrdiff_t cell) { return strip.ring + cell % strip.ringRows * strip.stride; };
    const auto out = [rows](std::ptrdiff_t row) { return rows[row]; };
    Expand(plan.y, first, count, rowOf, out, Filled(strip.columns));
}

}  // namespace
}  // namespace qvox::wide_gaussian
