#include "operations/Diffusion.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ToolkitError.h"
#include "operations/DiffusionStep.h"
#include "operations/DiffusionWith.h"
#include "operations/GaussianWeights.h"
#include "operations/WideGaussian.h"

namespace qvox {

using namespace diffusion;

namespace {

constexpr double kGreyRange = 65535.0;
constexpr float kLargestSigmaPx = 1e5f;
// From here on the wide Gaussian takes less time than the direct sum.
constexpr double kWideFromSigmaPx = 3.5;
// The most by which each early start of a sweep may change a voxel in all iterations together, in grey levels. There
// are three: from below, and from both sides of a strip.
constexpr double kLookaheadError = 1.0 / 512.0;
constexpr std::ptrdiff_t kBandRows = 16;
// Of a strip, so that its rings stay in a cache of 2 MiB.
constexpr std::ptrdiff_t kStripColumns = 1024;

std::ptrdiff_t RoundedUp(std::ptrdiff_t n, std::ptrdiff_t unit) { return (n + unit - 1) / unit * unit; }

void CheckArguments(const VoxelImage<std::uint16_t>& image, float sigmaPx, float contrast, float timeStep) {
    const auto fail = [](const std::string& what, float value) {
        throw ToolkitError("EdgeEnhancingDiffusion: the " + what + ", it is " + std::to_string(value) + ".");
    };
    if (image.Empty()) throw ToolkitError("EdgeEnhancingDiffusion: the image is empty.");
    if (!(sigmaPx >= 0.0f && sigmaPx <= kLargestSigmaPx))
        fail("standard deviation must lie between 0 and 100000 px", sigmaPx);
    if (!(contrast >= 0.0f) || !std::isfinite(contrast)) fail("contrast must be a number and not negative", contrast);
    if (!(timeStep >= 0.0f) || !std::isfinite(timeStep)) fail("time step must be a number and not negative", timeStep);
}

// The Gaussian of a step: a direct sum, whose cost grows with sigma, or the wide Gaussian.
struct PreSmoothing {
    PreSmoothing(const WideGaussian::Sizes& sizes, double sigmaPx, InstructionSet set) {
        if (sigmaPx < kWideFromSigmaPx) {
            weights = NearlyUncutGaussianWeights(sigmaPx);
        } else {
            wide.emplace(sizes, sigmaPx, set);
        }
    }
    std::ptrdiff_t Radius() const { return wide ? 0 : static_cast<std::ptrdiff_t>(weights.size()) - 1; }

    std::vector<float> weights;
    std::optional<WideGaussian> wide;
    std::deque<WideGaussianRows> rows;  // one for each strip
};

// Rows, or columns, after which a guess beside them has faded: each shrinks its error by 2 tau / (1 + 2 tau). No more
// than `most`. Counted, because logarithms differ between processors in the last bit.
std::ptrdiff_t Lookahead(double timeStep, std::uint64_t iterations, std::ptrdiff_t most) {
    const double shrink = 2.0 * timeStep / (1.0 + 2.0 * timeStep);
    const double faded = kLookaheadError / (2.0 * kGreyRange * static_cast<double>(iterations));
    std::ptrdiff_t rows = 1;
    for (double error = shrink; error > faded && rows < most; error *= shrink) ++rows;
    return rows;
}

class Scratch {
public:
    /// At a cache line; undefined.
    float* RawFloats(std::ptrdiff_t count) {
        blocks_.emplace_back(new float[static_cast<std::size_t>(count + kMargin)]);
        const auto misaligned = reinterpret_cast<std::uintptr_t>(blocks_.back().get()) % 64 / sizeof(float);
        return blocks_.back().get() + (misaligned == 0 ? 0 : 16 - misaligned);
    }
    float* Floats(std::ptrdiff_t count) {
        float* floats = RawFloats(count);
        std::fill_n(floats, count, 0.0f);
        return floats;
    }
    float* Rows(const StepPlan& plan, std::ptrdiff_t rows) { return Floats(rows * plan.stride) + kMargin; }
    const float** Pointers(std::ptrdiff_t count) {
        pointers_.resize(static_cast<std::size_t>(count));
        return pointers_.data();
    }

private:
    std::vector<std::unique_ptr<float[]>> blocks_;
    std::vector<const float*> pointers_;
};

void TakeScratch(StepPlan& plan, Scratch& scratch) {
    const std::ptrdiff_t mirrored = RoundedUp(plan.radius, kMargin) + kMargin;
    plan.lineStride = RoundedUp(plan.width, kMargin) + 2 * mirrored;
    plan.sourceRows = scratch.Pointers(kChunkRows + 2 + 2 * plan.radius);
    plan.lines = scratch.Floats((kChunkRows + 2) * plan.lineStride) + mirrored;
    plan.smoothed = scratch.Rows(plan, kChunkRing);
    plan.acrossX = scratch.Rows(plan, 1);
    plan.couplingX = scratch.Rows(plan, kCouplingRing);
    plan.acrossY = scratch.Rows(plan, kNeighbourRing);
    plan.couplingY = scratch.Rows(plan, kNeighbourRing);
    plan.flowX = scratch.Rows(plan, kNeighbourRing);
    plan.flowY = scratch.Rows(plan, kNeighbourRing);
    plan.rightSide = scratch.Rows(plan, kRightSideRing);
    plan.zeros = scratch.Rows(plan, 1);
    plan.below = scratch.Rows(plan, 1);
    plan.laneFactor = scratch.Floats(plan.stride * kRightSideRing);
    plan.laneValue = scratch.Floats(plan.stride * kRightSideRing);
    plan.factor = scratch.Rows(plan, plan.sweepRing);
    plan.forward = scratch.Rows(plan, plan.sweepRing);
    plan.alongRows = scratch.Rows(plan, plan.sweepRing);
}

// An odd number of cache lines: rows below each other then fall into different sets of the cache.
std::ptrdiff_t StrideFor(std::ptrdiff_t width) {
    const std::ptrdiff_t stride = RoundedUp(width, kMargin) + 2 * kMargin;
    return stride / kMargin % 2 == 0 ? stride + kMargin : stride;
}

struct Extent {
    std::ptrdiff_t width;
    std::ptrdiff_t height;
};

struct Strip {
    std::ptrdiff_t first;  // column of the plane
    std::ptrdiff_t width;
    std::ptrdiff_t firstOwn;  // columns of the strip
    std::ptrdiff_t endOwn;
};

// Strips overlap by the columns too near to their sides: there a direct sum would miss voxels, and the solution along
// the rows still depends on where it began. Where these are much of a strip, one strip covers the whole plane.
std::vector<Strip> StripsFor(std::ptrdiff_t width, std::ptrdiff_t radius, float timeStep, std::uint64_t iterations) {
    const std::ptrdiff_t most = kStripColumns / 8;
    const std::ptrdiff_t beside = radius + 2 + Lookahead(static_cast<double>(timeStep), iterations, most);
    if (width <= kStripColumns || beside > most) return {{0, width, 0, width}};
    const std::ptrdiff_t overlap = RoundedUp(beside, kMargin);
    const std::ptrdiff_t count = (width + kStripColumns - 1) / kStripColumns;
    const std::ptrdiff_t own = RoundedUp((width + count - 1) / count, kMargin);
    std::vector<Strip> strips;
    for (std::ptrdiff_t x = 0; x < width; x += own) {
        const std::ptrdiff_t first = std::max<std::ptrdiff_t>(x - overlap, 0);
        const std::ptrdiff_t end = std::min(x + own, width);
        strips.push_back({first, std::min(end + overlap, width) - first, x - first, end - first});
    }
    return strips;
}

StepPlan MakePlan(const Extent& extent, const Strip& strip, PreSmoothing& smoothing, float contrast,
                  float timeStep, std::uint64_t iterations) {
    StepPlan plan;
    plan.width = strip.width;
    plan.height = extent.height;
    plan.firstOwn = strip.firstOwn;
    plan.endOwn = strip.endOwn;
    plan.planeStride = StrideFor(extent.width);
    plan.stride = StrideFor(strip.width);
    plan.weights = smoothing.weights.data();
    plan.radius = smoothing.Radius();
    if (smoothing.wide) {
        smoothing.rows.emplace_back(*smoothing.wide, strip.first, strip.width);
        plan.wide = &smoothing.wide->Plan();
        plan.wideStrip = &smoothing.rows.back().Strip();
        plan.expandRows = smoothing.wide->Passes().expandRows;
    }
    plan.gradientScale = static_cast<float>(0.5 / (std::max(static_cast<double>(contrast), 1e-12) * kGreyRange));
    plan.timeStep = timeStep;
    plan.lookahead = Lookahead(static_cast<double>(timeStep), iterations, extent.height);
    plan.bandRows = std::max(kBandRows, plan.lookahead / 2);
    // Chunks fill whole runs of the ring, also where the last one of the image is not full.
    constexpr std::ptrdiff_t kSolved = kMostChunksAtOnce * kChunkRows;
    plan.sweepRing = std::min(RoundedUp(plan.bandRows + plan.lookahead, kSolved) + kSolved,
                              RoundedUp(extent.height, kSolved));
    return plan;
}

StepFunction Function(InstructionSet set) {
    return set == InstructionSet::kAvx512 ? StepAvx512
           : set == InstructionSet::kAvx2 ? StepAvx2
                                               : StepBaseline;
}

// Grey levels are taken relative to the middle of their range: there single precision is finest. The quarter keeps a
// flat background away from 0, next to which values would fade into subnormal numbers.
float Origin(const Extent& extent, const std::uint16_t* voxels, const PartRunner& run) {
    const auto rowCount = static_cast<std::uint64_t>(extent.height);
    std::vector<std::pair<std::uint16_t, std::uint16_t>> ranges(PartsOf(rowCount, kFewestRowsOfPart));
    RunRows(rowCount, run, [&](const PartRange& rows) {
        const std::uint16_t* first = voxels + static_cast<std::ptrdiff_t>(rows.first) * extent.width;
        const std::uint16_t* end = voxels + static_cast<std::ptrdiff_t>(rows.end) * extent.width;
        // Two loops, which the compiler vectorises.
        std::uint16_t least = *first;
        std::uint16_t greatest = *first;
        for (const std::uint16_t* voxel = first; voxel != end; ++voxel) least = std::min(least, *voxel);
        for (const std::uint16_t* voxel = first; voxel != end; ++voxel) greatest = std::max(greatest, *voxel);
        ranges[rows.part] = {least, greatest};
    });
    std::pair<std::uint16_t, std::uint16_t> all = ranges.front();
    for (const auto& [least, greatest] : ranges) all = {std::min(all.first, least), std::max(all.second, greatest)};
    const int middle = (all.first + all.second) / 2;
    return static_cast<float>(middle) + 0.25f;
}

// The margins count for nothing, but lanes compute with them.
void ClearPlane(const Extent& extent, std::ptrdiff_t stride, float* plane, const PartRunner& run) {
    RunRows(static_cast<std::uint64_t>(extent.height), run, [&](const PartRange& rows) {
        std::fill(plane + static_cast<std::ptrdiff_t>(rows.first) * stride - kMargin,
                  plane + static_cast<std::ptrdiff_t>(rows.end) * stride - kMargin, 0.0f);
    });
}

void Spread(const Extent& extent, std::ptrdiff_t stride, const std::uint16_t* voxels, float origin, float* u,
            const PartRunner& run) {
    RunRows(static_cast<std::uint64_t>(extent.height), run, [&](const PartRange& rows) {
        for (auto y = static_cast<std::ptrdiff_t>(rows.first); y < static_cast<std::ptrdiff_t>(rows.end); ++y) {
            float* row = u + y * stride;
            for (std::ptrdiff_t x = 0; x < extent.width; ++x)
                row[x] = static_cast<float>(voxels[y * extent.width + x]) - origin;
            row[-1] = row[0];
            row[extent.width] = row[extent.width - 1];
        }
    });
}

void Collect(const Extent& extent, std::ptrdiff_t stride, const float* u, float origin, std::uint16_t* voxels,
             const PartRunner& run) {
    RunRows(static_cast<std::uint64_t>(extent.height), run, [&](const PartRange& rows) {
        for (auto y = static_cast<std::ptrdiff_t>(rows.first); y < static_cast<std::ptrdiff_t>(rows.end); ++y) {
            const float* row = u + y * stride;
            for (std::ptrdiff_t x = 0; x < extent.width; ++x) {
                // In double: adding the origin in single precision would round to 1/256 grey level first.
                const double grey = static_cast<double>(row[x]) + static_cast<double>(origin) + 0.5;
                const double clamped = grey >= 0.0 ? std::min(grey, kGreyRange) : 0.0;
                voxels[y * extent.width + x] = static_cast<std::uint16_t>(clamped);
            }
        }
    });
}

}  // namespace

void EdgeEnhancingDiffusionWith(InstructionSet set, VoxelImage<std::uint16_t>& image, float preSmoothingSigmaPx,
                                float contrast, float timeStep, std::uint64_t iterations, const PartRunner& run) {
    CheckArguments(image, preSmoothingSigmaPx, contrast, timeStep);
    if (iterations == 0) return;
    const Extent extent{static_cast<std::ptrdiff_t>(image.SizeX()), static_cast<std::ptrdiff_t>(image.SizeY())};
    const std::ptrdiff_t stride = StrideFor(extent.width);
    PreSmoothing smoothing({extent.width, extent.height, stride}, static_cast<double>(preSmoothingSigmaPx), set);
    const std::vector<Strip> strips = StripsFor(extent.width, smoothing.Radius(), timeStep, iterations);
    Scratch planes;
    std::vector<Scratch> scratch(strips.size());
    std::vector<StepPlan> plans;
    for (std::size_t i = 0; i < strips.size(); ++i) {
        plans.push_back(MakePlan(extent, strips[i], smoothing, contrast, timeStep, iterations));
        TakeScratch(plans[i], scratch[i]);
    }
    float* u = planes.RawFloats(extent.height * stride) + kMargin;
    float* next = planes.RawFloats(extent.height * stride) + kMargin;
    ClearPlane(extent, stride, u, run);
    ClearPlane(extent, stride, next, run);
    const StepFunction step = Function(set);
    for (std::uint64_t z = 0; z < image.SizeZ(); ++z) {
        std::uint16_t* voxels = image.Row(0, z);
        const float origin = Origin(extent, voxels, run);
        Spread(extent, stride, voxels, origin, u, run);
        for (std::uint64_t iteration = 0; iteration < iterations; ++iteration) {
            if (smoothing.wide) smoothing.wide->Prepare(u, run);
            run(strips.size(), [&](std::size_t i) { step(plans[i], u + strips[i].first, next + strips[i].first); });
            std::swap(u, next);
        }
        Collect(extent, stride, u, origin, voxels, run);
    }
}

void EdgeEnhancingDiffusion(VoxelImage<std::uint16_t>& image, float preSmoothingSigmaPx, float contrast, float timeStep,
                            std::uint64_t iterations, const PartRunner& run) {
    EdgeEnhancingDiffusionWith(WidestInstructionSet(), image, preSmoothingSigmaPx, contrast, timeStep, iterations, run);
}

}  // namespace qvox
