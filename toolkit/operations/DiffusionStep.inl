// One time step of the edge-enhancing diffusion. Included once per instruction set by DiffusionBaseline.cpp,
// DiffusionAvx2.cpp and DiffusionAvx512.cpp, which set KORVANE_DIFFUSION_LANES. Everything here has internal linkage and
// nothing from the standard library is called: a function compiled for a newer processor must not be the one that the
// linker keeps for all.

#include <cstdint>

#include "operations/DiffusionStep.h"

#define KORVANE_INLINE inline __attribute__((always_inline))

namespace qvox::diffusion {
namespace {

static_assert(kChunkRows + 2 <= wide_gaussian::kMostRows);

constexpr std::size_t kWidth = KORVANE_DIFFUSION_LANES;
constexpr std::ptrdiff_t kLanes = KORVANE_DIFFUSION_LANES;
using Lanes = float __attribute__((vector_size(kLanes * 4)));
using IntLanes = std::int32_t __attribute__((vector_size(kLanes * 4)));
using BitLanes = std::uint32_t __attribute__((vector_size(kLanes * 4)));
using LooseLanes = float __attribute__((vector_size(kLanes * 4), aligned(4), may_alias));

KORVANE_INLINE Lanes Load(const float* p) { return *reinterpret_cast<const LooseLanes*>(p); }
KORVANE_INLINE void Store(float* p, Lanes v) { *reinterpret_cast<LooseLanes*>(p) = v; }
KORVANE_INLINE void PrefetchToRead(const float* p) { __builtin_prefetch(p, 0); }
KORVANE_INLINE void PrefetchToWrite(const float* p) { __builtin_prefetch(p, 1); }
KORVANE_INLINE Lanes Smaller(Lanes a, Lanes b) { return a < b ? a : b; }
KORVANE_INLINE Lanes Larger(Lanes a, Lanes b) { return a > b ? a : b; }

KORVANE_INLINE std::ptrdiff_t Lesser(std::ptrdiff_t a, std::ptrdiff_t b) { return a < b ? a : b; }

KORVANE_INLINE std::ptrdiff_t Mirrored(std::ptrdiff_t i, std::ptrdiff_t size) {
    if (i >= 0 && i < size) return i;
    const std::ptrdiff_t period = 2 * size;
    i = (i % period + period) % period;
    return i < size ? i : period - 1 - i;
}

/// exp(-q) for 0 <= q <= 24: a power of two times the Taylor polynomial of 2^f, |f| <= 1/2, to below 1e-8.
KORVANE_INLINE Lanes ExpOfMinus(Lanes q) {
    const Lanes t = q * -1.44269504f;
    const IntLanes n = __builtin_convertvector(t - 0.5f, IntLanes);
    const Lanes f = t - __builtin_convertvector(n, Lanes);
    Lanes p = f * 1.52527338e-5f + 1.54035304e-4f;
    p = p * f + 1.33335581e-3f;
    p = p * f + 9.61812911e-3f;
    p = p * f + 5.55041087e-2f;
    p = p * f + 2.40226507e-1f;
    p = p * f + 6.93147181e-1f;
    p = p * f + 1.0f;
    return reinterpret_cast<Lanes>(reinterpret_cast<BitLanes>(p) + (reinterpret_cast<BitLanes>(n) << 23));
}

/// Weighted sum over 2 radius + 1 places, outermost pairs first, for kVectors x kLanes columns from x on. Symmetric in
/// its order, so that a mirrored image gives the mirrored bits.
template <std::size_t kVectors, typename At>
KORVANE_INLINE void SymmetricSum(const float* weights, std::ptrdiff_t radius, At at, float* out) {
    Lanes sum[kVectors] = {};
    for (std::ptrdiff_t k = radius; k > 0; --k) {
        const float* before = at(-k);
        const float* after = at(k);
        for (std::size_t v = 0; v < kVectors; ++v) {
            sum[v] += weights[k] * (Load(before + v * kWidth) + Load(after + v * kWidth));
        }
    }
    const float* centre = at(0);
    for (std::size_t v = 0; v < kVectors; ++v) Store(out + v * kWidth, sum[v] + weights[0] * Load(centre + v * kWidth));
}

template <std::size_t kVectors>
KORVANE_INLINE void SmoothColumnsAt(const StepPlan& plan, std::ptrdiff_t x, std::ptrdiff_t count) {
    for (std::ptrdiff_t j = 0; j < count; ++j) {
        const float** rows = plan.sourceRows + j + plan.radius;
        SymmetricSum<kVectors>(plan.weights, plan.radius, [rows, x](std::ptrdiff_t k) { return rows[k] + x; },
                               plan.lines + j * plan.lineStride + x);
    }
}

template <std::size_t kVectors>
KORVANE_INLINE void SmoothRowAt(const StepPlan& plan, const float* line, float* out, std::ptrdiff_t x) {
    SymmetricSum<kVectors>(plan.weights, plan.radius, [line, x](std::ptrdiff_t k) { return line + x + k; }, out + x);
}

constexpr std::size_t kSumVectors = 4;

KORVANE_INLINE float* SmoothedRow(const StepPlan& plan, std::ptrdiff_t y) {
    return plan.smoothed + y % kChunkRing * plan.stride;
}

/// Direct sum over the rows [first, first + count) of u.
void SumRows(const StepPlan& plan, const float* u, std::ptrdiff_t first, std::ptrdiff_t count) {
    for (std::ptrdiff_t j = 0; j < count + 2 * plan.radius; ++j) {
        plan.sourceRows[j] = u + Mirrored(first + j - plan.radius, plan.height) * plan.planeStride;
    }
    constexpr std::ptrdiff_t kBlock = static_cast<std::ptrdiff_t>(kSumVectors) * kLanes;
    std::ptrdiff_t x = 0;
    for (; x + kBlock <= plan.width; x += kBlock) SmoothColumnsAt<kSumVectors>(plan, x, count);
    for (; x < plan.width; x += kLanes) SmoothColumnsAt<1>(plan, x, count);
    for (std::ptrdiff_t j = 0; j < count; ++j) {
        float* line = plan.lines + j * plan.lineStride;
        for (std::ptrdiff_t k = 0; k < plan.radius; ++k) {
            line[-1 - k] = line[Mirrored(-1 - k, plan.width)];
            line[plan.width + k] = line[Mirrored(plan.width + k, plan.width)];
        }
        float* out = SmoothedRow(plan, first + j);
        x = 0;
        for (; x + kBlock <= plan.width; x += kBlock) SmoothRowAt<kSumVectors>(plan, line, out, x);
        for (; x < plan.width; x += kLanes) SmoothRowAt<1>(plan, line, out, x);
    }
}

/// Gaussian of the rows [first, first + count) of u, at most a chunk and two.
void SmoothRows(const StepPlan& plan, const float* u, std::ptrdiff_t first, std::ptrdiff_t count) {
    if (plan.wide == nullptr) {
        SumRows(plan, u, first, count);
    } else {
        float* rows[kChunkRows + 2];
        for (std::ptrdiff_t j = 0; j < count; ++j) rows[j] = SmoothedRow(plan, first + j);
        plan.expandRows(*plan.wide, *plan.wideStrip, first, count, rows);
    }
    for (std::ptrdiff_t j = 0; j < count; ++j) {
        float* row = SmoothedRow(plan, first + j);
        row[-1] = row[0];
        row[plan.width] = row[plan.width - 1];
    }
}

/// Diffusion tensor of row y, as what the later stages need of it: couplings along x, the yy element, mixed flows.
void TensorRow(const StepPlan& plan, const float* u, std::ptrdiff_t y) {
    const std::ptrdiff_t above = y > 0 ? y - 1 : 0;
    const std::ptrdiff_t below = y + 1 < plan.height ? y + 1 : y;
    const float* v = plan.smoothed + y % kChunkRing * plan.stride;
    const float* vAbove = plan.smoothed + above % kChunkRing * plan.stride;
    const float* vBelow = plan.smoothed + below % kChunkRing * plan.stride;
    const float* uHere = u + y * plan.planeStride;
    const float* uAbove = u + above * plan.planeStride;
    const float* uBelow = u + below * plan.planeStride;
    float* acrossX = plan.acrossX;
    float* acrossY = plan.acrossY + y % kNeighbourRing * plan.stride;
    float* flowX = plan.flowX + y % kNeighbourRing * plan.stride;
    float* flowY = plan.flowY + y % kNeighbourRing * plan.stride;
    const float mixedScale = plan.timeStep * -0.25f;
    const float gradientScale = plan.gradientScale;
    const float* ahead = u + (y + 3 < plan.height ? y + 3 : y) * plan.planeStride;
    for (std::ptrdiff_t x = 0; x < plan.width; x += kLanes) {
        PrefetchToRead(ahead + x);
        const Lanes gx = (Load(v + x + 1) - Load(v + x - 1)) * gradientScale;
        const Lanes gy = (Load(vBelow + x) - Load(vAbove + x)) * gradientScale;
        // Below a quarter of lambda, and from an exponent of 24 on, exp(-q) is lost beside 1 in single precision.
        const Lanes inverse = 1.0f / Larger(gx * gx + gy * gy, Lanes{} + 0.0625f);
        const Lanes fourth = inverse * inverse;
        const Lanes lost = ExpOfMinus(Smaller(fourth * fourth * 3.31488f, Lanes{} + 24.0f)) * inverse;
        Store(acrossX + x, 1.0f - lost * (gx * gx));
        Store(acrossY + x, 1.0f - lost * (gy * gy));
        const Lanes mixed = lost * (gx * gy) * mixedScale;
        Store(flowX + x, mixed * (Load(uBelow + x) - Load(uAbove + x)));
        Store(flowY + x, mixed * (Load(uHere + x + 1) - Load(uHere + x - 1)));
    }
    // A mirrored tensor has the opposite xy element.
    flowX[-1] = -flowX[0];
    flowX[plan.width] = -flowX[plan.width - 1];
    float* coupling = plan.couplingX + y % kCouplingRing * plan.stride;
    for (std::ptrdiff_t x = 0; x < plan.width; x += kLanes) {
        Store(coupling + x, (Load(acrossX + x) + Load(acrossX + x + 1)) * plan.timeStep);
    }
    coupling[plan.width - 1] = 0.0f;
}

/// Right side of the two systems in row y, and the forward sweep of the columns down to row y.
void SweepDown(const StepPlan& plan, const float* u, std::ptrdiff_t y) {
    const bool first = y == 0;
    const bool last = y + 1 == plan.height;
    const auto neighbour = [&plan](float* ring, std::ptrdiff_t row) { return ring + row % kNeighbourRing * plan.stride; };
    const auto sweep = [&plan](float* ring, std::ptrdiff_t row) { return ring + row % plan.sweepRing * plan.stride; };
    const float* here = u + y * plan.planeStride;
    const float* flowX = neighbour(plan.flowX, y);
    const float* flowAbove = neighbour(plan.flowY, first ? y : y - 1);
    const float* flowBelow = neighbour(plan.flowY, last ? y : y + 1);
    const float signAbove = first ? -1.0f : 1.0f;
    const float signBelow = last ? -1.0f : 1.0f;
    const float* acrossHere = neighbour(plan.acrossY, y);
    const float* acrossBelow = neighbour(plan.acrossY, last ? y : y + 1);
    const float couplingScale = last ? 0.0f : plan.timeStep;
    const float* couplingAbove = first ? plan.zeros : neighbour(plan.couplingY, y - 1);
    const float* factorAbove = first ? plan.zeros : sweep(plan.factor, y - 1);
    const float* forwardAbove = first ? plan.zeros : sweep(plan.forward, y - 1);
    float* rightSide = plan.rightSide + y % kRightSideRing * plan.stride;
    float* coupling = neighbour(plan.couplingY, y);
    float* factor = sweep(plan.factor, y);
    float* forward = sweep(plan.forward, y);
    for (std::ptrdiff_t x = 0; x < plan.width; x += kLanes) {
        const Lanes flow = (Load(flowX + x + 1) - Load(flowX + x - 1)) +
                           (Load(flowBelow + x) * signBelow - Load(flowAbove + x) * signAbove);
        const Lanes right = Load(here + x) + flow;
        const Lanes up = Load(couplingAbove + x);
        const Lanes down = (Load(acrossHere + x) + Load(acrossBelow + x)) * couplingScale;
        const Lanes inverse = 1.0f / ((1.0f + down) + up * (1.0f - Load(factorAbove + x)));
        Store(rightSide + x, right);
        Store(coupling + x, down);
        Store(factor + x, down * inverse);
        Store(forward + x, (right + up * Load(forwardAbove + x)) * inverse);
    }
}

using FourLanes = float __attribute__((vector_size(16)));
using LooseFourLanes = float __attribute__((vector_size(16), aligned(4), may_alias));

KORVANE_INLINE FourLanes LoadFour(const float* p) { return *reinterpret_cast<const LooseFourLanes*>(p); }
KORVANE_INLINE void StoreFour(float* p, FourLanes v) { *reinterpret_cast<LooseFourLanes*>(p) = v; }

// LoadFourApart, StoreFourApart: four floats of each of the rows 0, 4, 8 ..., one row's after the other's. The others
// take pairs and halves of each four lanes of a and b.
#if KORVANE_DIFFUSION_LANES == 16
KORVANE_INLINE Lanes LoadFourApart(const float* from, std::ptrdiff_t stride) {
    const auto low = __builtin_shufflevector(LoadFour(from), LoadFour(from + 4 * stride), 0, 1, 2, 3, 4, 5, 6, 7);
    const auto high =
        __builtin_shufflevector(LoadFour(from + 8 * stride), LoadFour(from + 12 * stride), 0, 1, 2, 3, 4, 5, 6, 7);
    return __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
}
KORVANE_INLINE void StoreFourApart(float* to, std::ptrdiff_t stride, Lanes v) {
    StoreFour(to, __builtin_shufflevector(v, v, 0, 1, 2, 3));
    StoreFour(to + 4 * stride, __builtin_shufflevector(v, v, 4, 5, 6, 7));
    StoreFour(to + 8 * stride, __builtin_shufflevector(v, v, 8, 9, 10, 11));
    StoreFour(to + 12 * stride, __builtin_shufflevector(v, v, 12, 13, 14, 15));
}
KORVANE_INLINE Lanes LowPairs(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 4, 20, 5, 21, 8, 24, 9, 25, 12, 28, 13, 29);
}
KORVANE_INLINE Lanes HighPairs(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 2, 18, 3, 19, 6, 22, 7, 23, 10, 26, 11, 27, 14, 30, 15, 31);
}
KORVANE_INLINE Lanes LowHalves(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 0, 1, 16, 17, 4, 5, 20, 21, 8, 9, 24, 25, 12, 13, 28, 29);
}
KORVANE_INLINE Lanes HighHalves(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 2, 3, 18, 19, 6, 7, 22, 23, 10, 11, 26, 27, 14, 15, 30, 31);
}
#elif KORVANE_DIFFUSION_LANES == 8
KORVANE_INLINE Lanes LoadFourApart(const float* from, std::ptrdiff_t stride) {
    return __builtin_shufflevector(LoadFour(from), LoadFour(from + 4 * stride), 0, 1, 2, 3, 4, 5, 6, 7);
}
KORVANE_INLINE void StoreFourApart(float* to, std::ptrdiff_t stride, Lanes v) {
    StoreFour(to, __builtin_shufflevector(v, v, 0, 1, 2, 3));
    StoreFour(to + 4 * stride, __builtin_shufflevector(v, v, 4, 5, 6, 7));
}
KORVANE_INLINE Lanes LowPairs(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 0, 8, 1, 9, 4, 12, 5, 13);
}
KORVANE_INLINE Lanes HighPairs(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
}
KORVANE_INLINE Lanes LowHalves(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 0, 1, 8, 9, 4, 5, 12, 13);
}
KORVANE_INLINE Lanes HighHalves(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
}
#else
KORVANE_INLINE Lanes LoadFourApart(const float* from, std::ptrdiff_t) { return LoadFour(from); }
KORVANE_INLINE void StoreFourApart(float* to, std::ptrdiff_t, Lanes v) { StoreFour(to, v); }
KORVANE_INLINE Lanes LowPairs(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 0, 4, 1, 5);
}
KORVANE_INLINE Lanes HighPairs(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 2, 6, 3, 7);
}
KORVANE_INLINE Lanes LowHalves(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 0, 1, 4, 5);
}
KORVANE_INLINE Lanes HighHalves(Lanes a, Lanes b) {
    return __builtin_shufflevector(a, b, 2, 3, 6, 7);
}
#endif

/// Columns turned at a time.
constexpr std::ptrdiff_t kTurned = 4;

/// Swaps rows and columns in each 4 x 4 block: lane 4 j + i of columns[c] is lane 4 j + c of rows[i].
KORVANE_INLINE void Turn(const Lanes (&rows)[kTurned], Lanes (&columns)[kTurned]) {
    const Lanes lowOfFirst = LowPairs(rows[0], rows[1]);
    const Lanes lowOfLast = LowPairs(rows[2], rows[3]);
    const Lanes highOfFirst = HighPairs(rows[0], rows[1]);
    const Lanes highOfLast = HighPairs(rows[2], rows[3]);
    columns[0] = LowHalves(lowOfFirst, lowOfLast);
    columns[1] = HighHalves(lowOfFirst, lowOfLast);
    columns[2] = LowHalves(highOfFirst, highOfLast);
    columns[3] = HighHalves(highOfFirst, highOfLast);
}

/// Four columns of kLanes rows, a row in each lane.
KORVANE_INLINE void LoadTurned(const float* from, std::ptrdiff_t stride, Lanes (&columns)[kTurned]) {
    Lanes rows[kTurned];
    for (std::ptrdiff_t i = 0; i < kTurned; ++i) rows[i] = LoadFourApart(from + i * stride, stride);
    Turn(rows, columns);
}

KORVANE_INLINE void StoreTurned(const Lanes (&columns)[kTurned], float* to, std::ptrdiff_t stride) {
    Lanes rows[kTurned];
    Turn(columns, rows);
    for (std::ptrdiff_t i = 0; i < kTurned; ++i) StoreFourApart(to + i * stride, stride, rows[i]);
}

/// Chunks whose rows are solved together. The solution of a row waits for a division in every column; several vectors
/// of rows fill the time.
constexpr std::ptrdiff_t kChunksAtOnce = kLanes > 4 ? kMostChunksAtOnce : 1;

/// Forward elimination of the rows from y on, and back. kRowVectors: vectors of rows.
template <std::size_t kRowVectors>
KORVANE_INLINE void SolveVectorsOfRows(const StepPlan& plan, std::ptrdiff_t y) {
    constexpr std::size_t kColumn = kRowVectors * kWidth;  // floats of a column
    const float* couplings[kRowVectors];
    const float* rightSides[kRowVectors];
    float* out[kRowVectors];
    for (std::size_t v = 0; v < kRowVectors; ++v) {
        const std::ptrdiff_t row = y + static_cast<std::ptrdiff_t>(v) * kLanes;
        couplings[v] = plan.couplingX + row % kCouplingRing * plan.stride;
        rightSides[v] = plan.rightSide + row % kRightSideRing * plan.stride;
        out[v] = plan.alongRows + row % plan.sweepRing * plan.stride;
    }
    float* const laneFactor = plan.laneFactor;
    float* const laneValue = plan.laneValue;
    Lanes before[kRowVectors] = {};
    Lanes factor[kRowVectors] = {};
    Lanes value[kRowVectors] = {};
    for (std::ptrdiff_t x = 0; x < plan.width; x += kTurned) {
        for (std::size_t v = 0; v < kRowVectors; ++v) {
            Lanes after[kTurned];
            Lanes right[kTurned];
            LoadTurned(couplings[v] + x, plan.stride, after);
            LoadTurned(rightSides[v] + x, plan.stride, right);
            for (std::ptrdiff_t c = 0; c < kTurned; ++c) {
                const Lanes inverse = 1.0f / ((1.0f + after[c]) + before[v] * (1.0f - factor[v]));
                factor[v] = after[c] * inverse;
                value[v] = (right[c] + before[v] * value[v]) * inverse;
                before[v] = after[c];
                Store(laneFactor + static_cast<std::size_t>(x + c) * kColumn + v * kWidth, factor[v]);
                Store(laneValue + static_cast<std::size_t>(x + c) * kColumn + v * kWidth, value[v]);
            }
        }
    }
    for (std::size_t v = 0; v < kRowVectors; ++v) value[v] = Lanes{};
    std::ptrdiff_t columns = (plan.width - 1) % kTurned + 1;
    for (std::ptrdiff_t x = plan.width - columns; x >= 0; x -= kTurned) {
        for (std::size_t v = 0; v < kRowVectors; ++v) {
            Lanes solved[kTurned] = {};
            for (std::ptrdiff_t c = kTurned - 1; c >= 0; --c) {
                if (c >= columns) continue;
                const std::size_t at = static_cast<std::size_t>(x + c) * kColumn + v * kWidth;
                value[v] = Load(laneValue + at) + Load(laneFactor + at) * value[v];
                solved[c] = value[v];
            }
            StoreTurned(solved, out[v] + x, plan.stride);
        }
        columns = kTurned;
    }
}

/// Solves the rows of one or of kChunksAtOnce chunks, the first of which starts at row y, each row in a lane.
void SolveRows(const StepPlan& plan, std::ptrdiff_t y, std::ptrdiff_t chunks) {
    constexpr std::size_t kOfChunk = kChunkRows / kWidth;
    if (chunks == kChunksAtOnce) {
        SolveVectorsOfRows<kOfChunk * static_cast<std::size_t>(kChunksAtOnce)>(plan, y);
    } else {
        SolveVectorsOfRows<kOfChunk>(plan, y);
    }
}

/// Backward sweep of the columns from the row before `front` up to row `first`; rows before `end` are finished.
void SweepUp(const StepPlan& plan, float* next, std::ptrdiff_t first, std::ptrdiff_t end, std::ptrdiff_t front) {
    const float* below = plan.zeros;
    for (std::ptrdiff_t y = front - 1; y >= first; --y) {
        const std::ptrdiff_t slot = y % plan.sweepRing * plan.stride;
        const float* factor = plan.factor + slot;
        const float* forward = plan.forward + slot;
        if (y >= end) {
            for (std::ptrdiff_t x = plan.firstOwn; x < plan.endOwn; x += kLanes) {
                Store(plan.below + x, Load(forward + x) + Load(factor + x) * Load(below + x));
            }
        } else {
            const float* alongRow = plan.alongRows + slot;
            float* out = next + y * plan.planeStride;
            const float* ahead = y > first + 1 ? out - 2 * plan.planeStride : out;
            for (std::ptrdiff_t x = plan.firstOwn; x < plan.endOwn; x += kLanes) {
                PrefetchToWrite(ahead + x);
                const Lanes alongColumn = Load(forward + x) + Load(factor + x) * Load(below + x);
                Store(plan.below + x, alongColumn);
                Store(out + x, (Load(alongRow + x) + alongColumn) * 0.5f);
            }
            if (plan.firstOwn == 0) out[-1] = out[0];
            if (plan.endOwn == plan.width) out[plan.width] = out[plan.width - 1];
        }
        below = plan.below;
    }
}

void Step(const StepPlan& plan, const float* u, float* next) {
    std::ptrdiff_t smoothed = 0;
    std::ptrdiff_t tensors = 0;
    std::ptrdiff_t finished = 0;
    if (plan.wide != nullptr) plan.wideStrip->blocksMade = 0;
    for (std::ptrdiff_t first = 0; first < plan.height; first += kChunksAtOnce * kChunkRows) {
        std::ptrdiff_t chunks = 0;
        for (; chunks < kChunksAtOnce && first + chunks * kChunkRows < plan.height; ++chunks) {
            const std::ptrdiff_t chunk = first + chunks * kChunkRows;
            const std::ptrdiff_t front = Lesser(chunk + kChunkRows, plan.height);
            const std::ptrdiff_t wanted = Lesser(front + 2, plan.height);
            SmoothRows(plan, u, smoothed, wanted - smoothed);
            smoothed = wanted;
            for (std::ptrdiff_t y = chunk; y < front; ++y) {
                for (; tensors <= y + 1 && tensors < plan.height; ++tensors) TensorRow(plan, u, tensors);
                SweepDown(plan, u, y);
            }
        }
        SolveRows(plan, first, chunks);
        for (std::ptrdiff_t chunk = first; chunk < first + chunks * kChunkRows; chunk += kChunkRows) {
            const std::ptrdiff_t front = Lesser(chunk + kChunkRows, plan.height);
            if (front == plan.height) {
                SweepUp(plan, next, finished, front, front);
            } else if (front - finished >= plan.bandRows + plan.lookahead) {
                SweepUp(plan, next, finished, front - plan.lookahead, front);
                finished = front - plan.lookahead;
            }
        }
    }
}

}  // namespace
}  // namespace qvox::diffusion
