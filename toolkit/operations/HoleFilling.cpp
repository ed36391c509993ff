#include "operations/HoleFilling.h"

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

#include "operations/OperationChecks.h"

namespace qvox {

namespace {

/// The highest level. Nothing is filled beyond it, so what no flood has reached in the end has it.
constexpr std::uint16_t kTop = 65535;

/// Voxels waiting for their level: one list per level, and a bit per level that has a list.
template <typename Index>
class LevelQueue {
public:
    LevelQueue() : heads_(kLevels, kNone) {}

    void Push(std::uint16_t level, Index voxel) {
        Index node = free_;
        if (node == kNone) {
            node = static_cast<Index>(nodes_.size());
            nodes_.push_back({});
        } else {
            free_ = nodes_[node].next;
        }
        nodes_[node] = {voxel, heads_[level]};
        heads_[level] = node;
        occupied_[level / 64] |= std::uint64_t{1} << level % 64;
    }

    /// Moves the voxels of the lowest level to `voxels`; false when none are left. Levels may be pushed at or above the
    /// one taken last only.
    bool TakeLowest(std::uint16_t& level, std::vector<Index>& voxels) {
        while (word_ < occupied_.size() && occupied_[word_] == 0) ++word_;
        if (word_ == occupied_.size()) return false;
        const std::size_t lowest = word_ * 64 + static_cast<std::size_t>(__builtin_ctzll(occupied_[word_]));
        occupied_[word_] &= occupied_[word_] - 1;
        level = static_cast<std::uint16_t>(lowest);
        voxels.clear();
        for (Index node = heads_[lowest]; node != kNone;) {
            const Index next = nodes_[node].next;
            voxels.push_back(nodes_[node].voxel);
            nodes_[node].next = free_;
            free_ = node;
            node = next;
        }
        heads_[lowest] = kNone;
        return true;
    }

private:
    static constexpr std::size_t kLevels = 65536;
    static constexpr Index kNone = std::numeric_limits<Index>::max();
    struct Node {
        Index voxel;
        Index next;
    };
    std::vector<Index> heads_;
    std::vector<Node> nodes_;
    Index free_ = kNone;
    std::array<std::uint64_t, kLevels / 64> occupied_{};
    std::size_t word_ = 0;
};

/// The flood over one plane. A voxel that is reached gets its final level at once and spreads from there:
/// - to neighbours as high as itself or higher, which keep their value, since a way that climbs no further leads to them;
/// - to lower neighbours, which are raised to it, only when it is at the flood's own level. A higher voxel may be the
///   spill of a region that fills from elsewhere at a lower level, so it waits for its level, if then still needed.
template <typename Index>
class BorderFlood {
public:
    BorderFlood(const std::uint16_t* input, std::uint16_t* output, Index width, Index height)
        : input_(input), output_(output), width_(width), count_(width * height) {
        std::fill(output, output + count_, kTop);
        for (Index x = 0; x < width; ++x) {
            Seed(x);
            Seed(count_ - width + x);
        }
        for (Index y = 1; y + 1 < height; ++y) {
            Seed(y * width);
            Seed(y * width + width - 1);
        }
    }

    void Run() {
        std::vector<Index> voxels;
        std::uint16_t level = 0;
        while (queue_.TakeLowest(level, voxels)) {
            for (const Index voxel : voxels) Spread(voxel, level);
            // Most of those that would have waited are no spill any more, now that this level's flood has come to rest.
            for (const Index voxel : spills_) {
                if (HasLowerUnreached(voxel)) queue_.Push(output_[voxel], voxel);
            }
            spills_.clear();
        }
    }

private:
    void Seed(Index voxel) {
        output_[voxel] = input_[voxel];
        if (input_[voxel] != kTop) queue_.Push(input_[voxel], voxel);
    }

    /// The neighbours above and below may lie outside. Those beside a voxel of the first or last column are voxels of
    /// the border of another row, which are reached from the start, so going round does no harm.
    bool Unreached(Index voxel) const { return voxel < count_ && output_[voxel] == kTop; }

    bool HasLowerUnreached(Index voxel) const {
        const std::uint16_t level = output_[voxel];
        for (const Index next : {voxel - width_, voxel - 1, voxel + 1, voxel + width_}) {
            if (Unreached(next) && input_[next] < level) return true;
        }
        return false;
    }

    void Spread(Index start, std::uint16_t level) {
        stack_.push_back(start);
        while (!stack_.empty()) {
            const Index voxel = stack_.back();
            stack_.pop_back();
            const std::uint16_t own = output_[voxel];
            bool spill = false;
            for (const Index next : {voxel - width_, voxel - 1, voxel + 1, voxel + width_}) {
                if (!Unreached(next) || input_[next] == kTop) continue;
                if (input_[next] >= own) {
                    output_[next] = input_[next];
                } else if (own == level) {
                    output_[next] = level;
                } else {
                    spill = true;
                    continue;
                }
                stack_.push_back(next);
            }
            if (spill) spills_.push_back(voxel);
        }
    }

    const std::uint16_t* input_;
    std::uint16_t* output_;
    Index width_;
    Index count_;
    LevelQueue<Index> queue_;
    std::vector<Index> stack_;
    std::vector<Index> spills_;
};

template <typename Index>
void FillPlanes(const VoxelImage<std::uint16_t>& input, VoxelImage<std::uint16_t>& output) {
    for (std::uint64_t z = 0; z < input.SizeZ(); ++z) {
        BorderFlood<Index>(input.Row(0, z), output.Row(0, z), static_cast<Index>(input.SizeX()),
                           static_cast<Index>(input.SizeY()))
            .Run();
    }
}

}  // namespace

void FillHoles(const VoxelImage<std::uint16_t>& input, VoxelImage<std::uint16_t>& output) {
    RequireVoxels("FillHoles", input);
    RequireSeparateOutput("FillHoles", input, output);
    ShapeOutputLike(input, output);
    // Half of the range of 32 bits: a neighbour's index that falls below 0 must not come out as one of the plane.
    if (input.SizeX() * input.SizeY() <= std::numeric_limits<std::uint32_t>::max() / 2) {
        FillPlanes<std::uint32_t>(input, output);
    } else {
        FillPlanes<std::uint64_t>(input, output);
    }
}

}  // namespace qvox
