#include "operations/Erosion.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "operations/OperationChecks.h"

namespace qvox {

namespace {

/// Half the width, rounded down, of the disc's row at vertical distance g from its centre, for g = 0 .. limit;
/// then -1 for limit + 1, which stands for "no false voxel of the column is near enough".
std::vector<std::int32_t> HalfWidths(std::int64_t radius, std::int64_t limit) {
    std::vector<std::int32_t> halfWidths;
    halfWidths.reserve(static_cast<std::size_t>(limit) + 2);
    std::int64_t half = radius;
    for (std::int64_t g = 0; g <= limit; ++g) {
        while (half * half > radius * radius - g * g) --half;
        halfWidths.push_back(static_cast<std::int32_t>(half));
    }
    halfWidths.push_back(-1);
    return halfWidths;
}

/// distance = distances of the next row, away from the row they were taken from: 0 at false voxels, else one more,
/// held at `beyond`.
template <typename Distance>
void StepDistances(const bool* mask, const Distance* previous, Distance* distance, std::uint64_t width,
                   Distance beyond) {
    for (std::uint64_t x = 0; x < width; ++x) {
        const Distance from = previous[x];
        const Distance next = static_cast<Distance>(from + (from < beyond ? 1 : 0));
        distance[x] = mask[x] ? next : Distance{0};
    }
}

/// Clears what the intervals [x - half, x + half] cover and sets the rest: first those that reach a voxel from its
/// left, then those from its right. `left` is how much further the furthest interval reaches, -1 when none does.
void CutIntervals(const std::int32_t* half, bool* output, std::uint64_t width) {
    std::int32_t left = -1;
    for (std::uint64_t x = 0; x < width; ++x) {
        left = std::max(left - (left >= 0 ? 1 : 0), half[x]);
        output[x] = left < 0;
    }
    left = -1;
    for (std::uint64_t x = width; x-- > 0;) {
        left = std::max(left - (left >= 0 ? 1 : 0), half[x]);
        output[x] = output[x] & (left < 0);
    }
}

/// Erodes planes with distances of one integer type. A plane of distances to the nearest false voxel of the column is
/// made by strips of columns: those to the one below from the bottom up, then from the top down the lesser of them and
/// those to the one above. Each row then needs its own distances only.
template <typename Distance>
class PlaneErosion {
public:
    PlaneErosion(const VoxelImage<bool>& input, std::vector<std::int32_t> halfWidths, const PartRunner& run)
        : width_(input.SizeX()),
          height_(input.SizeY()),
          halfWidths_(std::move(halfWidths)),
          beyond_(static_cast<Distance>(halfWidths_.size() - 1)),
          run_(run) {
        if constexpr (sizeof(Distance) > sizeof(bool)) distances_.reset(new Distance[width_ * height_]);
    }

    void Erode(const bool* input, bool* output) {
        // Distances of one byte fit into the output itself, row by row ahead of its final values.
        Distance* distances = distances_.get();
        if constexpr (sizeof(Distance) == sizeof(bool)) distances = reinterpret_cast<Distance*>(output);
        RunRanges(width_, kFewestColumns, run_,
                  [&](const PartRange& columns) { FillColumns(input, distances, columns); });
        RunRows(height_, run_, [&](const PartRange& rows) {
            std::vector<std::int32_t> half(width_);
            for (std::uint64_t y = rows.first; y < rows.end; ++y) {
                const Distance* row = distances + y * width_;
                for (std::uint64_t x = 0; x < width_; ++x) half[x] = halfWidths_[row[x]];
                CutIntervals(half.data(), output + y * width_, width_);
            }
        });
    }

private:
    // Narrower strips would share cache lines and pages too often.
    static constexpr std::uint64_t kFewestColumns = 256;

    void FillColumns(const bool* input, Distance* distances, const PartRange& columns) const {
        const std::uint64_t count = columns.end - columns.first;
        std::vector<Distance> above(count, beyond_);
        const Distance* previous = above.data();
        for (std::uint64_t y = height_; y-- > 0;) {
            const std::uint64_t at = y * width_ + columns.first;
            StepDistances(input + at, previous, distances + at, count, beyond_);
            previous = distances + at;
        }
        for (std::uint64_t y = 0; y < height_; ++y) {
            const std::uint64_t at = y * width_ + columns.first;
            StepDistances(input + at, above.data(), above.data(), count, beyond_);
            Distance* row = distances + at;
            for (std::uint64_t x = 0; x < count; ++x) row[x] = std::min(row[x], above[x]);
        }
    }

    std::uint64_t width_;
    std::uint64_t height_;
    std::vector<std::int32_t> halfWidths_;
    Distance beyond_;
    const PartRunner& run_;
    std::unique_ptr<Distance[]> distances_;
};

template <typename Distance>
void ErodePlanes(const VoxelImage<bool>& input, VoxelImage<bool>& output, std::vector<std::int32_t> halfWidths,
                 const PartRunner& run) {
    PlaneErosion<Distance> erosion(input, std::move(halfWidths), run);
    for (std::uint64_t z = 0; z < input.SizeZ(); ++z) erosion.Erode(input.Row(0, z), output.Row(0, z));
}

}  // namespace

void ErodeMask(const VoxelImage<bool>& input, VoxelImage<bool>& output, int radius, const PartRunner& run) {
    RequireVoxels("ErodeMask", input);
    RequireSeparateOutput("ErodeMask", input, output);
    if (radius < 0) {
        throw ToolkitError("ErodeMask: the radius is " + std::to_string(radius) + " pixels for an image of " +
                           DescribeSizes(input) + "; it must not be negative.");
    }
    ShapeOutputLike(input, output);
    // No two voxels of a plane are further apart vertically than this, so the table stays small for huge radii.
    const std::uint64_t limit = std::min(static_cast<std::uint64_t>(radius), input.SizeY() - 1);
    std::vector<std::int32_t> halfWidths = HalfWidths(radius, static_cast<std::int64_t>(limit));
    if (limit < std::numeric_limits<std::uint8_t>::max()) {
        ErodePlanes<std::uint8_t>(input, output, std::move(halfWidths), run);
    } else if (limit < std::numeric_limits<std::uint16_t>::max()) {
        ErodePlanes<std::uint16_t>(input, output, std::move(halfWidths), run);
    } else {
        ErodePlanes<std::uint32_t>(input, output, std::move(halfWidths), run);
    }
}

}  // namespace qvox
