#pragma once

#include <cstddef>

#include "operations/WideGaussianPass.h"

namespace qvox::diffusion {

/// Rows that are solved together, one in each lane.
constexpr std::ptrdiff_t kChunkRows = 16;
/// Floats before and after the columns of each row.
constexpr std::ptrdiff_t kMargin = 16;
/// Rows of the ring of smoothed rows: a chunk, two rows beyond it on both sides, a power of two.
constexpr std::ptrdiff_t kChunkRing = 32;
/// Chunks whose rows may be solved together.
constexpr std::ptrdiff_t kMostChunksAtOnce = 2;
/// Rows of the rings of row couplings, one of which is made beyond those chunks, and of right sides.
constexpr std::ptrdiff_t kCouplingRing = (kMostChunksAtOnce + 1) * kChunkRows;
constexpr std::ptrdiff_t kRightSideRing = kMostChunksAtOnce * kChunkRows;
/// Rows of the rings of values that only adjacent rows need.
constexpr std::ptrdiff_t kNeighbourRing = 4;

/// The parameters and scratch memory of one time step of a strip of columns of one plane. Every row pointer points
/// at the strip's first column in its first row; rows are `stride` floats apart, those of the plane `planeStride`,
/// those of `lines` `lineStride` floats. It holds no standard library type, because the code that reads it is compiled
/// for several instruction sets.
struct StepPlan {
    std::ptrdiff_t width = 0;
    std::ptrdiff_t height = 0;
    /// Columns of the strip that are finished; from the others what is beyond the strip is too near.
    std::ptrdiff_t firstOwn = 0;
    std::ptrdiff_t endOwn = 0;
    std::ptrdiff_t planeStride = 0;
    std::ptrdiff_t stride = 0;
    std::ptrdiff_t lineStride = 0;
    /// The Gaussian: rows of a WideGaussian that was prepared, or, where there is none, a direct sum with the weights
    /// at distance 0 .. radius.
    const wide_gaussian::Plan* wide = nullptr;
    wide_gaussian::Strip* wideStrip = nullptr;
    wide_gaussian::ExpandRows expandRows = nullptr;
    std::ptrdiff_t radius = 0;
    const float* weights = nullptr;
    /// Turns a difference over two voxels, in grey levels, into gradient / lambda.
    float gradientScale = 0.0f;
    float timeStep = 0.0f;
    /// Rows that are finished at a time, and rows below them from which the backward sweep starts.
    std::ptrdiff_t bandRows = 0;
    std::ptrdiff_t lookahead = 0;
    std::ptrdiff_t sweepRing = 0;

    const float** sourceRows = nullptr;  // kChunkRows + 2 + 2 radius
    float* lines = nullptr;              // kChunkRows + 2 rows: smoothed along columns, mirrored at both ends
    float* smoothed = nullptr;           // kChunkRing rows
    float* acrossX = nullptr;            // 1 row: the tensor's xx element
    float* couplingX = nullptr;          // kCouplingRing rows: 2 tau x diffusivity between x and x + 1
    float* acrossY = nullptr;            // kNeighbourRing rows: the tensor's yy element
    float* couplingY = nullptr;          // kNeighbourRing rows: 2 tau x diffusivity between y and y + 1
    float* flowX = nullptr;              // kNeighbourRing rows: tau / 4 xy element x difference along y
    float* flowY = nullptr;              // kNeighbourRing rows: tau / 4 xy element x difference along x
    float* rightSide = nullptr;          // kRightSideRing rows
    float* zeros = nullptr;              // 1 row
    float* below = nullptr;              // 1 row
    float* laneFactor = nullptr;         // kRightSideRing floats per column
    float* laneValue = nullptr;          // kRightSideRing floats per column
    float* factor = nullptr;             // sweepRing rows: forward elimination of the columns
    float* forward = nullptr;            // sweepRing rows
    float* alongRows = nullptr;          // sweepRing rows: solution of the rows
};

/// One time step from `u` to `next`, which point at the strip's first column: planes with margins, first and last
/// column repeated once into them.
using StepFunction = void (*)(const StepPlan& plan, const float* u, float* next);

void StepBaseline(const StepPlan& plan, const float* u, float* next);
void StepAvx2(const StepPlan& plan, const float* u, float* next);
void StepAvx512(const StepPlan& plan, const float* u, float* next);

}  // namespace qvox::diffusion
