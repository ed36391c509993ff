#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/Pixels.h"
#include "distance/TiledSet.h"

namespace level_sweep {

/// The city-block distance of each pixel of a box to the nearest pixel of the box outside a set; width + height of the
/// map or more if there is none. Pixels outside the box count for nothing.
class CityBlockDistances {
public:
    /// Two passes, down and right, then up and left (Rosenfeld and Pfaltz, 1966). Memory: 4 bytes per pixel of the box.
    CityBlockDistances(const TiledSet& set, const PixelBox& box);

    /// The distances from (x, y) on eastwards.
    const std::int32_t* From(int x, int y) const {
        return distances_.data() +
               static_cast<std::size_t>(y - box_.y0) * static_cast<std::size_t>(box_.Width()) + (x - box_.x0);
    }

private:
    PixelBox box_;
    std::vector<std::int32_t> distances_;
};

}  // namespace level_sweep
