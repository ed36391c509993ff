// The passes of the wide Gaussian. Included once per instruction set by WideGaussianBaseline.cpp, WideGaussianAvx2.cpp
// and WideGaussianAvx512.cpp, which set KORVANE_GAUSSIAN_LANES. Everything here has internal linkage and nothing from the
// standard library is called: a function compiled for a newer processor must not be the one that the linker keeps for
// all.

#include <emmintrin.h>

#include "operations/WideGaussianPass.h"
#include "operations/WideGaussianTables.h"

#define KORVANE_INLINE inline __attribute__((always_inline))
// Arrays of vectors stay in registers only where their loops are unrolled.
#define KORVANE_UNROLL _Pragma("GCC unroll 8")

namespace qvox::wide_gaussian {
namespace {

constexpr std::ptrdiff_t kLanes = KORVANE_GAUSSIAN_LANES;
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

/// Cells that do not exist have weight 0; any that does may stand for them.
KORVANE_INLINE std::ptrdiff_t Clamped(std::ptrdiff_t i, std::ptrdiff_t size) {
    return i < 0 ? 0 : i < size ? i : size - 1;
}

KORVANE_INLINE std::ptrdiff_t CellOf(const Axis& axis, std::ptrdiff_t pixel) {
    return (2 * pixel + 1) * axis.cells / (2 * axis.pixels);
}

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

/// Reduces rows to cells; finish(cell, row) is given them in order.
template <typename Finish>
KORVANE_INLINE void Reduce(const Axis& axis, const float* input, std::ptrdiff_t inputStride, const Part& part,
                           Finish finish) {
    constexpr std::ptrdiff_t kAround = kReach / 2;
    const std::ptrdiff_t columns = Filled(part.count);
    const auto slot = [&part](std::ptrdiff_t cell) { return part.sums + (cell & (kSumRing - 1)) * part.stride; };
    for (std::ptrdiff_t i = 0; i < kSumRing * part.stride; ++i) part.sums[i] = 0.0f;
    for (std::ptrdiff_t cell = 0; cell < axis.cells; ++cell) {
        float* sums[kReach];
        for (std::ptrdiff_t s = 0; s < kReach; ++s) sums[s] = slot(cell + s - kAround);
        float* newest = slot(cell + kAround);
        for (std::ptrdiff_t x = 0; x < columns; ++x) newest[x] = 0.0f;
        const std::ptrdiff_t first = axis.firstPixel[cell];
        AddRows(input + first * inputStride, inputStride, axis.firstPixel[cell + 1] - first,
                axis.reduce + first * kWeightStride, sums, columns);
        if (cell >= kAround) finish(cell - kAround, slot(cell - kAround));
    }
    const std::ptrdiff_t unfinished = axis.cells > kAround ? axis.cells - kAround : 0;
    for (std::ptrdiff_t cell = unfinished; cell < axis.cells; ++cell) finish(cell, slot(cell));
}

/// The rows [first, first + count) of the smoothed and reduced axis, made of those of its cells.
template <typename RowOf>
KORVANE_INLINE void Expand(const Axis& axis, std::ptrdiff_t first, std::ptrdiff_t count, RowOf rowOf,
                           float* const* out, std::ptrdiff_t columns) {
    for (std::ptrdiff_t pixel = first; pixel < first + count;) {
        const std::ptrdiff_t cell = CellOf(axis, pixel);
        const std::ptrdiff_t cellEnd = axis.firstPixel[cell + 1];
        const std::ptrdiff_t end = cellEnd < first + count ? cellEnd : first + count;
        const float* rows[kReach];
        for (std::ptrdiff_t s = 0; s < kReach; ++s) rows[s] = rowOf(Clamped(cell + s - kReach / 2, axis.cells));
        for (std::ptrdiff_t x = 0; x < columns; x += kLanes) {
            Lanes value[kReach];
            KORVANE_UNROLL for (std::ptrdiff_t s = 0; s < kReach; ++s) value[s] = Load(rows[s] + x);
            const float* weight = axis.expand + pixel * kWeightStride;
            for (std::ptrdiff_t k = pixel; k < end; ++k) {
                Lanes sum = weight[0] * value[0];
                KORVANE_UNROLL for (std::ptrdiff_t s = 1; s < kReach; ++s) sum += weight[s] * value[s];
                Store(out[k - first] + x, sum);
                weight += kWeightStride;
            }
        }
        pixel = end;
    }
}

/// The middle filter: its sum over 2 radius + 1 places, outermost pairs first.
template <typename At>
KORVANE_INLINE void Smooth(const Axis& axis, At at, float* out, std::ptrdiff_t columns) {
    for (std::ptrdiff_t x = 0; x < columns; x += kLanes) {
        Lanes sum = {};
        for (std::ptrdiff_t k = axis.radius; k > 0; --k) sum += axis.middle[k] * (Load(at(-k) + x) + Load(at(k) + x));
        Store(out + x, sum + axis.middle[0] * Load(at(0) + x));
    }
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

void ReduceDownPass(const Plan& plan, const Part& part, const float* plane) {
    const std::ptrdiff_t columns = Filled(part.count);
    Reduce(plan.y, plane + part.first, plan.planeStride, part, [&](std::ptrdiff_t cell, const float* row) {
        const std::ptrdiff_t place = cell % kBlock;
        float* to = part.block + place * part.stride;
        for (std::ptrdiff_t x = 0; x < columns; x += kLanes) Store(to + x, Load(row + x));
        if (place + 1 < kBlock && cell + 1 < plan.y.cells) return;
        TurnBlock(part.block, part.stride, columns, plan.turned + part.first * plan.turnedStride + (cell - place),
                  plan.turnedStride);
    });
}

void ReduceAcrossPass(const Plan& plan, const Part& part) {
    const Axis& axis = plan.x;
    const std::ptrdiff_t columns = Filled(part.count);
    const auto slot = [&part](std::ptrdiff_t cell) { return part.ring + (cell & (part.ringRows - 1)) * part.stride; };
    const auto smooth = [&](std::ptrdiff_t cell) {
        const auto at = [&](std::ptrdiff_t k) { return slot(Mirrored(cell + k, axis.cells)); };
        Smooth(axis, at, plan.coarse + cell * plan.coarseStride + part.first, columns);
    };
    Reduce(axis, plan.turned + part.first, plan.turnedStride, part, [&](std::ptrdiff_t cell, const float* row) {
        float* to = slot(cell);
        for (std::ptrdiff_t x = 0; x < columns; x += kLanes) Store(to + x, Load(row + x));
        if (cell >= axis.radius) smooth(cell - axis.radius);
    });
    const std::ptrdiff_t waiting = axis.cells > axis.radius ? axis.cells - axis.radius : 0;
    for (std::ptrdiff_t cell = waiting; cell < axis.cells; ++cell) smooth(cell);
}

/// Smooths the row of one cell along x, which is its cells along y.
void SmoothAlong(const Plan& plan, const Part& part, std::ptrdiff_t cell, float* out) {
    const Axis& axis = plan.y;
    const float* from = plan.coarse + cell * plan.coarseStride;
    const std::ptrdiff_t columns = Filled(axis.cells);
    float* line = part.line;
    for (std::ptrdiff_t i = -axis.radius; i < 0; ++i) line[i] = from[Mirrored(i, axis.cells)];
    for (std::ptrdiff_t i = 0; i < axis.cells; ++i) line[i] = from[i];
    for (std::ptrdiff_t i = axis.cells; i < axis.cells + axis.radius; ++i) line[i] = from[Mirrored(i, axis.cells)];
    Smooth(axis, [line](std::ptrdiff_t k) { return line + k; }, out, columns);
}

void ExpandAcrossPass(const Plan& plan, const Part& part) {
    const Axis& axis = plan.x;
    const std::ptrdiff_t columns = Filled(plan.y.cells);
    const auto slot = [&part](std::ptrdiff_t cell) { return part.sums + (cell & (kSumRing - 1)) * part.stride; };
    const auto needed = [&axis](std::ptrdiff_t pixel, std::ptrdiff_t more) {
        return Clamped(CellOf(axis, pixel) + more, axis.cells);
    };
    float* out[kBlock];
    for (std::ptrdiff_t i = 0; i < kBlock; ++i) out[i] = part.block + i * part.stride;
    std::ptrdiff_t smoothed = needed(part.first, -kReach / 2);
    const std::ptrdiff_t end = part.first + part.count;
    for (std::ptrdiff_t block = part.first; block < end; block += kBlock) {
        const std::ptrdiff_t blockEnd = block + kBlock < end ? block + kBlock : end;
        // One cell's pixels at a time, because the ring holds no more than their seven cells.
        for (std::ptrdiff_t x = block; x < blockEnd;) {
            const std::ptrdiff_t wanted = needed(x, kReach / 2);
            for (; smoothed <= wanted; ++smoothed) SmoothAlong(plan, part, smoothed, slot(smoothed));
            const std::ptrdiff_t cellEnd = axis.firstPixel[CellOf(axis, x) + 1];
            const std::ptrdiff_t next = cellEnd < blockEnd ? cellEnd : blockEnd;
            Expand(axis, x, next - x, slot, out + (x - block), columns);
            x = next;
        }
        TurnBlock(part.block, part.stride, columns, plan.rows + block, plan.rowsStride);
    }
}

void ExpandRowsPass(const Plan& plan, const Window& window, float* const* out) {
    const auto rowOf = [&](std::ptrdiff_t cell) { return plan.rows + cell * plan.rowsStride + window.firstColumn; };
    Expand(plan.y, window.firstRow, window.rows, rowOf, out, Filled(window.columns));
}

}  // namespace
}  // namespace qvox::wide_gaussian
