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
// Of the rows that the sums of a tile run over: they stay in a cache of 1 MiB. Below the fewest columns its rows would be
// read in pieces too short; wide rows are better for the memory.
constexpr std::ptrdiff_t kRingFloats = 128 * 1024;
constexpr std::ptrdiff_t kFewestColumns = 512;
// Of the columns that are summed together: they stay in a cache of 32 KiB.
constexpr std::ptrdiff_t kGroupFloats = 6 * 1024;
// Tiles that a plane is cut into at most, for threads, unless it is wider than that many times the columns.
constexpr std::ptrdiff_t kTiles = 16;
constexpr std::ptrdiff_t kFewestRows = 128;
constexpr std::ptrdiff_t kRowsPerRadius = 32;
constexpr std::size_t kCacheLineFloats = 16;

std::ptrdiff_t RoundedUp(std::ptrdiff_t n, std::ptrdiff_t unit) { return (n + unit - 1) / unit * unit; }

// Half of an odd number of weights, the number that OpenCV 4 takes for float images.
std::size_t RadiusFor(double sigmaPx) { return static_cast<std::size_t>(std::lrint(sigmaPx * 8.0 + 1.0)) / 2; }

class TileScratch {
public:
    void Provide(TilePlan& plan) {
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

std::ptrdiff_t ColumnsFor(std::ptrdiff_t width, std::ptrdiff_t radius) {
    const std::ptrdiff_t most = std::max(kRingFloats / (kChunkRows + 2 * radius), kFewestColumns);
    const std::ptrdiff_t count = (width + most - 1) / most;
    return RoundedUp((width + count - 1) / count, kBlockColumns);
}

// Every band smooths the rows around it along themselves once more.
std::ptrdiff_t RowsFor(std::ptrdiff_t height, std::ptrdiff_t radius, std::ptrdiff_t strips) {
    const std::ptrdiff_t fewest = std::max(kFewestRows, kRowsPerRadius * radius);
    const std::ptrdiff_t most = std::max(height / fewest, std::ptrdiff_t{1});
    const std::ptrdiff_t count = std::clamp(kTiles / strips, std::ptrdiff_t{1}, most);
    return RoundedUp((height + count - 1) / count, kChunkRows);
}

std::vector<TilePlan> TilesFor(const VoxelImage<float>& image, const std::vector<float>& weights) {
    TilePlan plan;
    plan.imageWidth = static_cast<std::ptrdiff_t>(image.SizeX());
    plan.height = static_cast<std::ptrdiff_t>(image.SizeY());
    plan.radius = static_cast<std::ptrdiff_t>(weights.size()) - 1;
    plan.weights = weights.data();
    const std::ptrdiff_t group = kGroupFloats / (kChunkRows + 2 * plan.radius);
    plan.groupColumns = RoundedUp(std::max(group, std::ptrdiff_t{1}), kBlockColumns);
    const std::ptrdiff_t columns = ColumnsFor(plan.imageWidth, plan.radius);
    const std::ptrdiff_t rows = RowsFor(plan.height, plan.radius, (plan.imageWidth + columns - 1) / columns);
    std::vector<TilePlan> tiles;
    for (plan.first = 0; plan.first < plan.imageWidth; plan.first += columns) {
        plan.columns = std::min(columns, plan.imageWidth - plan.first);
        for (plan.firstRow = 0; plan.firstRow < plan.height; plan.firstRow += rows) {
            plan.endRow = std::min(plan.firstRow + rows, plan.height);
            tiles.push_back(plan);
        }
    }
    return tiles;
}

TileFunction Function(InstructionSet set) {
    return set == InstructionSet::kAvx512 ? SmoothTileAvx512
           : set == InstructionSet::kAvx2 ? SmoothTileAvx2
                                          : SmoothTileBaseline;
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
    std::vector<TilePlan> tiles = TilesFor(input, weights);
    std::vector<TileScratch> scratch(tiles.size());
    for (std::size_t i = 0; i < tiles.size(); ++i) scratch[i].Provide(tiles[i]);
    ShapeOutputLike(input, output);
    const TileFunction smooth = Function(set);
    for (std::uint64_t z = 0; z < input.SizeZ(); ++z) {
        const float* from = input.Row(0, z);
        float* to = output.Row(0, z);
        run(tiles.size(), [&](std::size_t i) { smooth(tiles[i], from, to); });
    }
}

void SmoothWithGaussian(const VoxelImage<float>& input, VoxelImage<float>& output, double sigmaPx,
                        const PartRunner& run) {
    SmoothWithGaussianWith(WidestInstructionSet(), input, output, sigmaPx, run);
}

}  // namespace qvox
