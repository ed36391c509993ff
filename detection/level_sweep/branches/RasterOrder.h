#pragma once

#include <cstdint>

#include "bits/Pixels.h"

namespace level_sweep {

/// The positions of an image, numbered so that they compare as in raster order; numbers have gaps between rows.
class RasterOrder {
public:
    using Rank = std::uint32_t;
    /// Above the rank of any position.
    static constexpr Rank kBeyondAll = UINT32_MAX;

    explicit RasterOrder(int width) {
        while ((std::int64_t{1} << shift_) < width) {
            ++shift_;
        }
    }
    Rank RankOf(int x, int y) const { return static_cast<Rank>(y) << shift_ | static_cast<Rank>(x); }
    PixelPosition PositionOf(Rank rank) const {
        const Rank y = rank >> shift_;
        return {static_cast<int>(rank ^ y << shift_), static_cast<int>(y)};
    }

private:
    int shift_ = 0;
};

}  // namespace level_sweep
