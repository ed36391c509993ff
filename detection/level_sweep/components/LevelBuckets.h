#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitPlane.h"
#include "LargePages.h"

namespace level_sweep {

/// The open pixels of an edge map, grouped by a falling sequence of levels.
class LevelBuckets {
public:
    /// Offsets of pixels. Each of the two groups of `Above`, those at the level before and all others, is in raster
    /// order.
    struct Pixels {
        const std::int32_t* first;
        const std::int32_t* last;
        const std::int32_t* begin() const { return first; }
        const std::int32_t* end() const { return last; }
    };

    /// `edges`: as many values as `open` has pixels, row by row; `step`: the approximate difference between adjacent
    /// levels.
    /// Cost: a few instructions per pixel that is open and not below the last level.
    LevelBuckets(const float* edges, const BitPlane& open, const std::vector<float>& levels, float step);

    /// Those above a level that are not above the one before.
    Pixels Above(std::size_t level) const { return Between(2 * level, 2 * level + 2); }
    /// The same without those at the one before.
    Pixels AboveOnly(std::size_t level) const { return Between(2 * level + 1, 2 * level + 2); }
    /// Those exactly at a level.
    Pixels At(std::size_t level) const { return Between(2 * level + 2, 2 * level + 3); }

private:
    Pixels Between(std::size_t first, std::size_t last) const {
        return {pixels_.get() + starts_[first], pixels_.get() + starts_[last]};
    }

    // Buckets 2k + 1 and 2k + 2: between levels k - 1 and k, and exactly at level k; bucket 0 stays empty.
    std::vector<std::size_t> starts_;
    qvox::LargePageArray<std::int32_t> pixels_;
};

}  // namespace level_sweep
