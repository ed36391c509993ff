// Gaussian smoothing of a tile. Included once per instruction set by GaussianPassBaseline.cpp,
// GaussianPassAvx2.cpp and GaussianPassAvx512.cpp, which set KORVANE_GAUSSIAN_LANES. Everything here has internal linkage
// and nothing from the standard library is called: a function compiled for a newer processor must not be the one that
// the linker keeps for all.

#include "operations/GaussianPass.h"

#define KORVANE_INLINE inline __attribute__((always_inline))

namespace qvox::gaussian {
namespace {

constexpr std::ptrdiff_t kLanes = KORVANE_GAUSSIAN_LANES;
constexpr std::size_t kWidth = KORVANE_GAUSSIAN_LANES;
using Lanes = float __attribute__((vector_size(kLanes * 4)));
using LooseLanes = float __attribute__((vector_size(kLanes * 4), aligned(4), may_alias));

/// Vectors that are summed side by side: one sum waits for its own addition before, several fill the time.
constexpr std::size_t kVectors = 4;
constexpr std::ptrdiff_t kStep = static_cast<std::ptrdiff_t>(kVectors) * kLanes;

KORVANE_INLINE Lanes Load(const float* p) { return *reinterpret_cast<const LooseLanes*>(p); }
KORVANE_INLINE void Store(float* p, Lanes v) { *reinterpret_cast<LooseLanes*>(p) = v; }

/// The place that stands for place i of `size`: mirrored about the middle of the first and of the last.
KORVANE_INLINE std::ptrdiff_t Mirrored(std::ptrdiff_t i, std::ptrdiff_t size) {
    if (i >= 0 && i < size) return i;
    if (size == 1) return 0;
    const std::ptrdiff_t period = 2 * (size - 1);
    i = (i % period + period) % period;
    return i < size ? i : period - i;
}

/// The weighted sum over 2 radius + 1 places, outermost pairs first, of kStep columns.
template <typename At>
KORVANE_INLINE void SymmetricSum(const float* weights, std::ptrdiff_t radius, At at, float* out) {
    Lanes sum[kVectors] = {};
    for (std::ptrdiff_t k = radius; k > 0; --k) {
        const float* before = at(-k);
        const float* after = at(k);
        const float weight = weights[k];
        for (std::size_t v = 0; v < kVectors; ++v) {
            sum[v] += weight * (Load(before + v * kWidth) + Load(after + v * kWidth));
        }
    }
    const float* centre = at(0);
    for (std::size_t v = 0; v < kVectors; ++v) Store(out + v * kWidth, sum[v] + weights[0] * Load(centre + v * kWidth));
}

/// The row from the tile's first column on, with `radius` columns before and, behind the last one of a whole block,
/// after it: the image's own where it has them, else a copy with its mirror image.
const float* WithSurroundings(const TilePlan& plan, const float* row) {
    const std::ptrdiff_t filled = (plan.columns + kBlockColumns - 1) / kBlockColumns * kBlockColumns;
    const std::ptrdiff_t end = filled + plan.radius;
    if (plan.first >= plan.radius && plan.first + end <= plan.imageWidth) return row + plan.first;
    const std::ptrdiff_t inImage = plan.imageWidth - plan.first < end ? plan.imageWidth - plan.first : end;
    std::ptrdiff_t x = -plan.radius;
    for (; x < -plan.first; ++x) plan.line[x] = row[Mirrored(plan.first + x, plan.imageWidth)];
    for (; x < inImage; ++x) plan.line[x] = row[plan.first + x];
    // Beyond the last column's surroundings anything will do.
    const std::ptrdiff_t needed = plan.columns + plan.radius;
    for (; x < needed; ++x) plan.line[x] = row[Mirrored(plan.first + x, plan.imageWidth)];
    for (; x < end; ++x) plan.line[x] = 0.0f;
    return plan.line;
}

void SmoothAlongRow(const TilePlan& plan, const float* row, float* out) {
    const float* line = WithSurroundings(plan, row);
    for (std::ptrdiff_t x = 0; x < plan.columns; x += kStep) {
        SymmetricSum(plan.weights, plan.radius, [line, x](std::ptrdiff_t k) { return line + x + k; }, out + x);
    }
}

/// Columns of the rows [first, end) of the result.
void SmoothAlongColumns(const TilePlan& plan, std::ptrdiff_t first, std::ptrdiff_t end, float* output) {
    for (std::ptrdiff_t y = first - plan.radius; y < end + plan.radius; ++y) {
        const std::ptrdiff_t slot = Mirrored(y, plan.height) % plan.ringRows;
        plan.smoothedRows[y - (first - plan.radius)] = plan.ring + slot * plan.ringStride;
    }
    // The rows of some columns stay in the fastest cache while all sums over them are made.
    for (std::ptrdiff_t group = 0; group < plan.columns; group += plan.groupColumns) {
        const std::ptrdiff_t groupEnd =
            group + plan.groupColumns < plan.columns ? group + plan.groupColumns : plan.columns;
        for (std::ptrdiff_t y = first; y < end; ++y) {
            const float* const* rows = plan.smoothedRows + (y - first) + plan.radius;
            float* out = output + y * plan.imageWidth + plan.first;
            for (std::ptrdiff_t x = group; x < groupEnd; x += kStep) {
                const auto at = [rows, x](std::ptrdiff_t k) { return rows[k] + x; };
                const std::ptrdiff_t left = plan.columns - x;
                float part[kStep];
                SymmetricSum(plan.weights, plan.radius, at, left < kStep ? part : out + x);
                for (std::ptrdiff_t i = 0; left < kStep && i < left; ++i) out[x + i] = part[i];
            }
        }
    }
}

void SmoothTile(const TilePlan& plan, const float* input, float* output) {
    std::ptrdiff_t smoothed = plan.firstRow > plan.radius ? plan.firstRow - plan.radius : 0;
    for (std::ptrdiff_t first = plan.firstRow; first < plan.endRow; first += kChunkRows) {
        const std::ptrdiff_t end = first + kChunkRows < plan.endRow ? first + kChunkRows : plan.endRow;
        const std::ptrdiff_t wanted = end + plan.radius < plan.height ? end + plan.radius : plan.height;
        for (; smoothed < wanted; ++smoothed) {
            SmoothAlongRow(plan, input + smoothed * plan.imageWidth,
                           plan.ring + smoothed % plan.ringRows * plan.ringStride);
        }
        SmoothAlongColumns(plan, first, end, output);
    }
}

}  // namespace
}  // namespace qvox::gaussian
