#include "operations/GaussianSmoothing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "InstructionSet.h"
#include "ToolkitError.h"
#include "operations/GaussianPass.h"
#include "operations/GaussianSmoothingWith.h"
#include "operations/GaussianWeights.h"
#include "operations/OperationChecks.h"

namespace qvox {

using namespace gaussian;

namespace {

constexpr const char* kOperation = "SmoothWithGaussian";
constexpr double kLargestSigmaPx = 1e5;
// Of a strip, so that the rows that its sums run over stay in a cache of 1 MiB up to a radius of 200.
constexpr std::ptrdiff_t kStripColumns = 512;
constexpr std::size_t kCacheLineFloats = 16;

std::ptrdiff_t RoundedUp(std::ptrdiff_t n, std::ptrdiff_t unit) { return (n + unit - 1) / unit * unit; }

// Half of an odd number of weights, the number that OpenCV 4 takes for float images.
std::size_t RadiusFor(double sigmaPx) { return static_cast<std::size_t>(std::lrint(sigmaPx * 8.0 + 1.0)) / 2; }

class StripScratch {
public:
    void Provide(StripPlan& plan) {
        const std::ptrdiff_t filled = RoundedUp(plan.columns, kBlockColumns);
        plan.ringRows = std::min(plan.height, kChunkRows + 2 * plan.radius);
        // An odd number of cache lines: rows below each other then fall into different sets of the cache.
        plan.ringStride = filled + static_cast<std::ptrdiff_t>(kCacheLineFloats);
        ring_.resize(static_cast<std::size_t>(plan.ringRows * plan.ringStride) + kCacheLineFloats);
        const auto misaligned = reinterpret_cast<std::uintptr_t>(ring_.data()) / sizeof(float) % kCacheLineFloats;
        plan.ring = ring_.data() + (kCacheLineFloats - misaligned) % kCacheLineFloats;
        line_.resize(static_cast<std::size_t>(filled + 2 * plan.radius));
        plan.line = line_.data() + plan.radius;
        rows_.resize(static_cast<std::size_t>(kChunkRows + 2 * plan.radius));
        plan.smoothedRows = rows_.data();
    }

private:
    std::vector<float> ring_;
    std::vector<float> line_;
    std::vector<const float*> rows_;
};

std::vector<StripPlan> StripsFor(const VoxelImage<float>& image, const std::vector<float>& weights) {
    StripPlan plan;
    plan.imageWidth = static_cast<std::ptrdiff_t>(image.SizeX());
    plan.height = static_cast<std::ptrdiff_t>(image.SizeY());
    plan.radius = static_cast<std::ptrdiff_t>(weights.size()) - 1;
    plan.weights = weights.data();
    const std::ptrdiff_t count = (plan.imageWidth + kStripColumns - 1) / kStripColumns;
    const std::ptrdiff_t columns = RoundedUp((plan.imageWidth + count - 1) / count, kBlockColumns);
    std::vector<StripPlan> strips;
    for (plan.first = 0; plan.first < plan.imageWidth; plan.first += columns) {
        plan.columns = std::min(columns, plan.imageWidth - plan.first);
        strips.push_back(plan);
    }
    return strips;
}

StripFunction Function(InstructionSet set) {
    return set == InstructionSet::kAvx512 ? SmoothStripAvx512
           : set == InstructionSet::kAvx2 ? SmoothStripAvx2
                                          : SmoothStripBaseline;
}

}  // namespace

void SmoothWithGaussianWith(InstructionSet set, const VoxelImage<float>& input, VoxelImage<float>& output,
                            double sigmaPx, const PartRunner& run) {
    RequireVoxels(kOperation, input);
    RequireSeparateOutput(kOperation, input, output);
    if (!(sigmaPx > 0.0 && sigmaPx <= kLargestSigmaPx)) {
        throw ToolkitError(std::string(kOperation) + ": the standard deviation must be above 0 and at most 100000 px, " +
                           "it is " + std::to_string(sigmaPx) + ".");
    }
    const std::vector<float> weights = GaussianWeights(sigmaPx, RadiusFor(sigmaPx));
    std::vector<StripPlan> strips = StripsFor(input, weights);
    std::vector<StripScratch> scratch(strips.size());
    for (std::size_t i = 0; i < strips.size(); ++i) scratch[i].Provide(strips[i]);
    ShapeOutputLike(input, output);
    const StripFunction smooth = Function(set);
    for (std::uint64_t z = 0; z < input.SizeZ(); ++z) {
        const float* from = input.Row(0, z);
        float* to = output.Row(0, z);
        run(strips.size(), [&](std::size_t i) { smooth(strips[i], from, to); });
    }
}

void SmoothWithGaussian(const VoxelImage<float>& input, VoxelImage<float>& output, double sigmaPx,
                        const PartRunner& run) {
    SmoothWithGaussianWith(WidestInstructionSet(), input, output, sigmaPx, run);
}

}  // namespace qvox
